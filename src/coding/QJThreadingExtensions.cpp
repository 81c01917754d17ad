// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJThreadingExtensions.h"
#include "QJGlobal.h"
#include "QJPropertyListSerialization.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#if defined(__SANITIZE_THREAD__)
#define QJKIT_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QJKIT_THREAD_SANITIZER
#endif
#endif
#ifdef QJKIT_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

using namespace Qt::StringLiterals;

std::atomic<bool> QJThreadingExtensionsSaveResult {false};

namespace
{
void logWriteError(const QString &path, const QString &reason)
{
    QJLog::warning(u"Error while writing file \"%1\": %2"_s.arg(path, reason));
}

#ifdef QJKIT_THREAD_SANITIZER
void announceRelease(const void *token)
{
    __tsan_release(const_cast<void *>(token));
}
void announceAcquire(const void *token)
{
    __tsan_acquire(const_cast<void *>(token));
}
#else
void announceRelease(const void *) { }
void announceAcquire(const void *) { }
#endif

// A blocking queued call hands its data to the main thread through Qt's event queue and back through
// a semaphore inside Qt; a thread sanitizer sees neither unless Qt itself was built for it. This
// member of the queued call announces both hand-overs, with its own address as the token: released
// once the call is built, acquired where it runs and wherever its memory may be freed.
struct HandOverAnnouncement
{
    HandOverAnnouncement() { announceRelease(this); }
    HandOverAnnouncement(const HandOverAnnouncement &) { announceRelease(this); }
    ~HandOverAnnouncement() { announceAcquire(this); }
};

// Runs the main-thread writer for `value` there and answers the flag as it stood right after it.
template<typename T>
bool writeOnMainThread(const T &value, const QString &path)
{
    bool result = false;
    const auto write = [&] {
        QJThreadingExtensions::_threadSecureWriteToFile(value, path);
        result = QJThreadingExtensionsSaveResult.load();
    };
    QCoreApplication *app = QCoreApplication::instance();
    if (!app || QThread::currentThread() == app->thread()) {
        write();
        return result;
    }
    QMetaObject::invokeMethod(
        app,
        [&write, &result, announcement = HandOverAnnouncement()] {
            announceAcquire(&announcement);
            write();
            announceRelease(&result);
            announceRelease(&announcement); // last: the call's memory is not touched after it
        },
        Qt::BlockingQueuedConnection);
    announceAcquire(&result);
    return result;
}

void writePropertyList(const QJValue &plist, const QString &path)
{
    QString error;
    const QByteArray data
        = QJPropertyListSerialization::dataFromPropertyList(plist, QJPropertyListSerialization::XmlFormat_v1_0, &error);
    if (data.isEmpty() || !error.isEmpty())
        QJLog::warning(u"Error while encoding file \"%1\": %2"_s.arg(path, error));
    // Without data nothing is written, and the flag keeps the previous write's outcome.
    if (!data.isEmpty())
        QJThreadingExtensions::_threadSecureWriteToFile(data, path);
}

bool isSingleComponent(const QString &name)
{
    return !name.isEmpty() && name != u"." && name != u".." && !name.contains(u'/');
}
} // namespace

bool QJThreadingExtensions::threadSecureWriteToFile(const QByteArray &data, const QString &path)
{
    return writeOnMainThread(data, path);
}

bool QJThreadingExtensions::threadSecureWriteToFile(const QJDictionary &dictionary, const QString &path)
{
    return writeOnMainThread(dictionary, path);
}

bool QJThreadingExtensions::threadSecureWriteToFile(const QJArray &array, const QString &path)
{
    return writeOnMainThread(array, path);
}

bool QJThreadingExtensions::threadSecureWriteToFile(const QJFileWrapper &wrapper, const QString &path)
{
    return writeOnMainThread(wrapper, path);
}

void QJThreadingExtensions::_threadSecureWriteToFile(const QByteArray &data, const QString &path)
{
    QFile file(path);
    const bool ok = file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        && file.write(data) == data.size() && file.flush();
    QJThreadingExtensionsSaveResult = ok;
    if (!ok)
        logWriteError(path, file.errorString());
}

void QJThreadingExtensions::_threadSecureWriteToFile(const QJDictionary &dictionary, const QString &path)
{
    writePropertyList(dictionary, path);
}

void QJThreadingExtensions::_threadSecureWriteToFile(const QJArray &array, const QString &path)
{
    writePropertyList(array, path);
}

void QJThreadingExtensions::_threadSecureWriteToFile(const QJFileWrapper &wrapper, const QString &path)
{
    switch (wrapper.kind()) {
    case QJFileWrapper::RegularFile:
        _threadSecureWriteToFile(wrapper.regularFileContents(), path);
        return;
    case QJFileWrapper::Directory: {
        const QFileInfo target(path);
        if (!target.exists() && !target.isSymLink())
            QDir().mkdir(path); // a failure shows in the children's writes
        const QMap<QString, QJFileWrapper> children = wrapper.fileWrappers();
        for (auto it = children.cbegin(); it != children.cend(); ++it) {
            const QString childPath = path + u'/' + it.key();
            if (isSingleComponent(it.key()))
                _threadSecureWriteToFile(it.value(), childPath);
            else
                logWriteError(childPath, u"the name is not a single file name"_s);
        }
        // A tree write reports success whatever its children did.
        QJThreadingExtensionsSaveResult = true;
        return;
    }
    case QJFileWrapper::SymbolicLink:
        QJThreadingExtensionsSaveResult = true;
        return;
    }
}
