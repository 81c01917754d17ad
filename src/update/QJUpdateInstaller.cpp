// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJUpdateInstaller.h"
#include "QJBundle.h"
#include "QJUpdateSignature.h"
#include "qjkitversion.h"
#include "qjupdatepackage_p.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSaveFile>
#include <QTimer>

#include <atomic>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

// Beside the install folder "Name", an install works in the folder ".Name.update":
//   package   the download
//   next/     the new version, unpacked; after the swap, the old version for a moment
//   previous/ the old version, kept as the backup after the swap
//   journal   "ready <inode>" once next/ is complete (the inode of next/), then
//             "swapped <inode>" once the new version is in place (the inode of the install folder)
// The inode tells, after a cut-off run, whether the swap already happened: the swap exchanges the
// two folders' names atomically, and an inode stays with its folder.
namespace
{
QString stagingPath(const QString &installPath)
{
    const QFileInfo info(QDir::cleanPath(installPath));
    return info.absolutePath() + u"/."_s + info.fileName() + u".update"_s;
}

quint64 inodeOf(const QString &path)
{
    struct stat status;
    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 ? quint64(status.st_ino) : 0;
}

// Exchanges the names of two folders on the same file system in one step.
bool exchange(const QString &a, const QString &b, QString *error)
{
    if (::renameat2(
            AT_FDCWD, QFile::encodeName(a).constData(), AT_FDCWD, QFile::encodeName(b).constData(), RENAME_EXCHANGE)
        == 0)
        return true;
    if (error)
        *error = u"the folders cannot be swapped: "_s + qt_error_string(errno);
    return false;
}

bool writeJournal(const QString &staging, const QByteArray &state, quint64 inode, QString *error)
{
    QSaveFile journal(staging + u"/journal"_s);
    if (journal.open(QIODevice::WriteOnly) && journal.write(state + ' ' + QByteArray::number(inode) + '\n') > 0
        && journal.commit())
        return true;
    if (error)
        *error = u"the install cannot be recorded: "_s + journal.errorString();
    return false;
}

// Makes what was written in the staging folder durable before the swap depends on it.
void syncFileSystem(const QString &path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::syncfs(fd);
        ::close(fd);
    }
}

bool isWritableFolder(const QString &path)
{
    return ::access(QFile::encodeName(path).constData(), W_OK | X_OK) == 0;
}
} // namespace

class QJUpdateInstallerPrivate
{
public:
    QJUpdateInstaller::Outcome failWith(const QString &why)
    {
        error = why;
        QJUpdatePackage::removeTree(stagingPath(installPath));
        return QJUpdateInstaller::Failed;
    }
    bool download(QJUpdateInstaller *q, const QString &target);

    QUrl baseUrl;
    QString applicationName;
    QString installedBuild;
    QString versionKey;
    QString publicKey;
    QString installPath;
    int timeout = 30000;
    QJUpdateRecord record;
    QString error;
    std::atomic<bool> cancelled = false;
};

// Streams the package to @p target, never more than its announced length.
bool QJUpdateInstallerPrivate::download(QJUpdateInstaller *q, const QString &target)
{
    QFile file(target);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        error = u"the package cannot be saved: "_s + file.errorString();
        return false;
    }
    QNetworkAccessManager network;
    QNetworkRequest request(record.package);
    request.setTransferTimeout(timeout);
    request.setMaximumRedirectsAllowed(5);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setHeader(QNetworkRequest::UserAgentHeader, QByteArrayLiteral("QJKit/" QJKIT_VERSION_STRING));
    QNetworkReply *reply = network.get(request);
    // Bounded, so that a fast server cannot make the package pile up in memory ahead of the disk.
    reply->setReadBufferSize(1 << 20);
    QString failure;
    qint64 received = 0;
    const qint64 length = record.length;
    auto stop = [&](const QString &why) {
        if (failure.isEmpty())
            failure = why;
        reply->abort();
    };
    auto take = [&] {
        const QByteArray bytes = reply->readAll();
        received += bytes.size();
        if (received > length)
            return stop(u"the server sent more than the package's %1 bytes"_s.arg(length));
        if (file.write(bytes) != bytes.size())
            return stop(u"the package cannot be saved: "_s + file.errorString());
        Q_EMIT q->downloadProgress(received, length);
    };
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::readyRead, &loop, take);
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer poll; // cancel() may come from another thread: looked at here, on the download's own
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (cancelled)
            stop(u"cancelled"_s);
    });
    poll.start(50);
    if (!reply->isFinished())
        loop.exec();
    if (failure.isEmpty() && reply->isReadable())
        take();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (failure.isEmpty() && reply->error() != QNetworkReply::NoError)
        failure = u"the package could not be downloaded: "_s + reply->errorString();
    if (failure.isEmpty() && (status < 200 || status > 299))
        failure = u"the package could not be downloaded: HTTP status %1"_s.arg(status);
    if (failure.isEmpty() && received != length)
        failure = u"the download ended after %1 of the package's %2 bytes"_s.arg(received).arg(length);
    if (failure.isEmpty() && (!file.flush() || ::fsync(file.handle()) != 0))
        failure = u"the package cannot be saved: "_s + file.errorString();
    delete reply;
    error = failure;
    return failure.isEmpty();
}

QJUpdateInstaller::QJUpdateInstaller(QObject *parent) : QObject(parent), d(std::make_unique<QJUpdateInstallerPrivate>())
{
    const QJBundle main = QJBundle::mainBundle();
    d->baseUrl = QJUpdateChecker::infoBaseUrl();
    d->applicationName = main.objectForInfoDictionaryKey(u"CFBundleName"_s).toString();
    d->installedBuild = main.objectForInfoDictionaryKey(u"CFBundleVersion"_s).toString();
    d->publicKey = main.objectForInfoDictionaryKey(QJAutoUpdatePublicKeyKey).toString();
}

QJUpdateInstaller::~QJUpdateInstaller() = default;

void QJUpdateInstaller::setBaseUrl(const QUrl &url)
{
    d->baseUrl = url;
}
void QJUpdateInstaller::setApplicationName(const QString &name)
{
    d->applicationName = name;
}
void QJUpdateInstaller::setInstalledBuild(const QString &build)
{
    d->installedBuild = build;
}
void QJUpdateInstaller::setVersionKey(const QString &key)
{
    d->versionKey = key;
}
void QJUpdateInstaller::setPublicKey(const QString &key)
{
    d->publicKey = key;
}
void QJUpdateInstaller::setInstallPath(const QString &path)
{
    d->installPath = QDir::cleanPath(QDir(path).absolutePath());
}
QString QJUpdateInstaller::installPath() const
{
    return d->installPath;
}
void QJUpdateInstaller::setTimeout(int milliseconds)
{
    d->timeout = std::max(1, milliseconds);
}
QJUpdateRecord QJUpdateInstaller::record() const
{
    return d->record;
}
QString QJUpdateInstaller::errorString() const
{
    return d->error;
}
void QJUpdateInstaller::cancel()
{
    d->cancelled = true;
}

QJUpdateInstaller::Outcome QJUpdateInstaller::install()
{
    d->error.clear();
    d->record = QJUpdateRecord();
    d->cancelled = false;
    const QString folder = d->installPath;
    if (folder.isEmpty() || !QFileInfo(folder).isDir() || QFileInfo(folder).isSymLink())
        return d->failWith(u"the install folder %1 is not a folder"_s.arg(folder));
    QString why;
    if (!recover(folder, &why)) {
        d->error = u"an earlier install cannot be undone: "_s + why;
        return Failed;
    }
    if (!QJUpdateSignature::isValidPublicKey(d->publicKey, &why)) {
        d->error = d->publicKey.isEmpty() ? u"the application names no public key to verify updates with"_s : why;
        return Failed;
    }

    Q_EMIT stepChanged(Checking);
    QJUpdateChecker checker;
    checker.setBaseUrl(d->baseUrl);
    checker.setApplicationName(d->applicationName);
    checker.setInstalledBuild(d->installedBuild);
    checker.setTimeout(d->timeout);
    const QJUpdateCheckResult found = checker.check();
    if (found.status == QJUpdateCheckResult::NotReachable || !found.reason.isEmpty()) {
        d->error = u"the version server cannot be reached: "_s + found.reason;
        return Failed;
    }
    // The chosen version, or the newest one that names a package.
    for (const QJUpdateRecord &record : found.records) {
        if (d->versionKey.isEmpty() ? !record.package.isEmpty() : record.key == d->versionKey) {
            d->record = record;
            break;
        }
    }
    if (d->record.package.isEmpty()) {
        d->error = u"no newer version to install"_s;
        return NothingToInstall;
    }

    const QString staging = stagingPath(folder);
    if (!isWritableFolder(folder) || !isWritableFolder(QFileInfo(folder).absolutePath()))
        return d->failWith(u"the install folder %1 cannot be changed: %2"_s.arg(folder, qt_error_string(EACCES)));
    if (!QDir().mkdir(staging))
        return d->failWith(u"nothing can be written beside the install folder: "_s + qt_error_string(errno));
    const QString package = staging + u"/package"_s;
    Q_EMIT stepChanged(Downloading);
    if (!d->download(this, package))
        return d->failWith(d->error);

    Q_EMIT stepChanged(Verifying);
    if (!QJUpdateSignature::verifyFile(package, d->record.signature, d->publicKey, &why))
        return d->failWith(why);

    Q_EMIT stepChanged(Unpacking);
    const QString next = staging + u"/next"_s;
    if (!QJUpdatePackage::unpack(
            package, next, QJUpdatePackage::maximumUnpackedSize(d->record.length), &d->cancelled, &why))
        return d->failWith(why);
    QFile::remove(package);
    syncFileSystem(staging);
    if (!writeJournal(staging, "ready", inodeOf(next), &why))
        return d->failWith(why);

    Q_EMIT stepChanged(Swapping);
    if (!exchange(next, folder, &why))
        return d->failWith(why);
    // From here on a cut-off run is recognised by the journal and the inodes, and rolled back.
    const QString previous = staging + u"/previous"_s;
    if (::rename(QFile::encodeName(next).constData(), QFile::encodeName(previous).constData()) != 0
        || !writeJournal(staging, "swapped", inodeOf(folder), &why)) {
        recover(folder);
        d->error = u"the new version cannot be kept in place: "_s + (why.isEmpty() ? qt_error_string(errno) : why);
        return Failed;
    }
    return Installed;
}

bool QJUpdateInstaller::confirm()
{
    return QJUpdatePackage::removeTree(stagingPath(d->installPath));
}

bool QJUpdateInstaller::rollBack()
{
    return recover(d->installPath, &d->error);
}

bool QJUpdateInstaller::recover(const QString &installPath, QString *error)
{
    const QString folder = QDir::cleanPath(QDir(installPath).absolutePath());
    const QString staging = stagingPath(folder);
    if (!QFileInfo::exists(staging))
        return true;
    QFile journal(staging + u"/journal"_s);
    QList<QByteArray> state;
    if (journal.open(QIODevice::ReadOnly))
        state = journal.readAll().trimmed().split(' ');
    const quint64 inode = state.size() == 2 ? state.at(1).toULongLong() : 0;
    // Where the old version is, if the swap happened: next/ right after it, previous/ once renamed.
    QString old;
    if (state.value(0) == "ready" && inode != 0 && inodeOf(folder) == inode)
        old = staging + u"/next"_s;
    else if (state.value(0) == "swapped" && inode != 0 && inodeOf(folder) == inode)
        old = staging + u"/previous"_s;
    if (!old.isEmpty() && !exchange(old, folder, error))
        return false;
    if (!QJUpdatePackage::removeTree(staging)) {
        if (error)
            *error = u"%1 cannot be removed"_s.arg(staging);
        return false;
    }
    return true;
}
