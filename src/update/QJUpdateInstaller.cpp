// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJUpdateInstaller.h"
#include "QJBundle.h"
#include "QJUpdateSignature.h"
#include "qjhttpclient_p.h"
#include "qjupdatepackage_p.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
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

// Streams the package to @p target, never more than its announced length. Redirects are followed
// as far as 5, to any server but never from https to http.
bool QJUpdateInstallerPrivate::download(QJUpdateInstaller *q, const QString &target)
{
    QFile file(target);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        error = u"the package cannot be saved: "_s + file.errorString();
        return false;
    }
    QJHttpClient http;
    QEventLoop loop;
    QString failure; // the installer's own reason, said as it is
    QString transfer; // the server's or the network's, said as a failed download
    qint64 received = 0;
    const qint64 length = record.length;
    QUrl url = record.package;
    int redirects = 0;
    quint64 request = 0;
    std::function<void()> fetch = [&] {
        auto head = std::make_shared<QJHttpHead>();
        QJHttpClient::Handlers handlers;
        handlers.silence = timeout;
        handlers.head = [&, head](const QJHttpHead &answer) {
            *head = answer;
            if (answer.isRedirect() || (answer.status >= 200 && answer.status <= 299))
                return QString();
            transfer = answer.status >= 400 && answer.status <= 599
                ? u"Error transferring %1 - server replied: %2"_s.arg(
                    url.toString(), QString::fromLatin1(answer.reason))
                : u"HTTP status %1"_s.arg(answer.status);
            return transfer;
        };
        handlers.body = [&, head](QByteArrayView bytes) {
            if (head->isRedirect())
                return QString();
            received += bytes.size();
            if (received > length)
                failure = u"the server sent more than the package's %1 bytes"_s.arg(length);
            else if (file.write(bytes.data(), bytes.size()) != bytes.size())
                failure = u"the package cannot be saved: "_s + file.errorString();
            else
                Q_EMIT q->downloadProgress(received, length);
            return failure;
        };
        handlers.done = [&, head](const QString &why) {
            if (why.isEmpty() && head->isRedirect()) {
                const QUrl next = url.resolved(QUrl::fromEncoded(head->location));
                const QString scheme = next.scheme().toLower();
                if (++redirects > 5)
                    transfer = u"Too many redirects"_s;
                else if (head->location.isEmpty() || (scheme != u"http" && scheme != u"https"))
                    transfer = u"Unknown protocol specified"_s;
                else if (scheme == u"http" && url.scheme().compare(u"https"_s, Qt::CaseInsensitive) == 0)
                    transfer = u"Insecure redirect"_s;
                if (transfer.isEmpty()) {
                    url = next;
                    return fetch();
                }
            } else if (failure.isEmpty() && transfer.isEmpty()) {
                transfer = why;
            }
            loop.quit();
        };
        request = http.get(url, std::move(handlers));
    };
    fetch();
    QTimer poll; // cancel() may come from another thread: looked at here, on the download's own
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (cancelled) {
            failure = u"cancelled"_s;
            http.abort(request, failure);
        }
    });
    poll.start(50);
    loop.exec();
    if (failure.isEmpty() && !transfer.isEmpty())
        failure = u"the package could not be downloaded: "_s + transfer;
    if (failure.isEmpty() && received != length)
        failure = u"the download ended after %1 of the package's %2 bytes"_s.arg(received).arg(length);
    if (failure.isEmpty() && (!file.flush() || ::fsync(file.handle()) != 0))
        failure = u"the package cannot be saved: "_s + file.errorString();
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
