// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJUpdateChecker.h"
#include "qjkitcore_export.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>

class QJUpdateInstallerPrivate;

/**
 * Installs a newer version of an application into its install folder: finds it with the update
 * check, downloads its package, verifies its signature, unpacks it beside the install folder and
 * swaps the two folders, so that at every moment the install folder holds the whole old version or
 * the whole new one.
 *
 * After install() the old version is kept as a backup beside the folder until confirm() (the new
 * version has started) or rollBack() (it has not). A run that was cut off at any point is rolled
 * back by recover(), which install() calls first: the old version is put back and nothing is left
 * beside the folder. Whatever fails, the install folder keeps its files, bytes and modes.
 *
 * An update is never installed without a signature that verifies against the public key: a record
 * without a package, or an installer without a key, installs nothing.
 *
 * The calls wait for the network while processing this thread's events; run them on a worker thread
 * behind a window.
 */
class QJKITCORE_EXPORT QJUpdateInstaller : public QObject
{
    Q_OBJECT

public:
    /** What install() is doing; reported by stepChanged(). */
    enum Step {
        Checking, ///< asking the version server for the newest version
        Downloading, ///< fetching the package (downloadProgress() follows it)
        Verifying, ///< checking the package's signature
        Unpacking, ///< unpacking the package beside the install folder
        Swapping, ///< putting the new version in place of the old one
    };
    Q_ENUM(Step)

    /** How install() ended. */
    enum Outcome {
        Installed, ///< the new version is in place; the old one is kept until confirm() or rollBack()
        NothingToInstall, ///< no newer version names a package (or the chosen one names none)
        Failed, ///< nothing changed; errorString() says why
    };
    Q_ENUM(Outcome)

    /** Makes an installer for the main bundle's application, its CFBundleName and CFBundleVersion. */
    explicit QJUpdateInstaller(QObject *parent = nullptr);
    ~QJUpdateInstaller() override;

    /** Sets the base address of the version server (default QJUpdateChecker::infoBaseUrl()). */
    void setBaseUrl(const QUrl &url);
    /** Sets the application's name. */
    void setApplicationName(const QString &name);
    /** Sets the installed build. */
    void setInstalledBuild(const QString &build);
    /** Sets the version key to install; empty (the default) takes the newest one that names a package. */
    void setVersionKey(const QString &key);
    /** Sets the public key signatures must verify against (default: the main bundle's QJAutoUpdatePublicKey). */
    void setPublicKey(const QString &key);
    /** Sets the install folder whose contents the new version replaces. */
    void setInstallPath(const QString &path);
    /** @return the install folder. */
    QString installPath() const;
    /** Sets the time, in milliseconds, within which each request and each silence in a download ends (default 30000).
     */
    void setTimeout(int milliseconds);

    /** Installs the newest version (see the class description) and waits for the outcome. */
    Outcome install();
    /** @return the record of the version that install() chose (with no package when it found nothing to install). */
    QJUpdateRecord record() const;
    /** @return why install() failed or found nothing, in plain words. */
    QString errorString() const;
    /** Stops a download under way from any thread; install() then fails with "cancelled". */
    void cancel();

    /** Keeps the installed version: removes the old version and everything beside the folder. */
    bool confirm();
    /** Puts the old version back in place of the one install() put there. */
    bool rollBack();
    /**
     * Rolls back an install into @p installPath that was cut off at any point, so the folder holds
     * the old version and nothing is left beside it. @return false, with @p error set, when it cannot.
     */
    static bool recover(const QString &installPath, QString *error = nullptr);

Q_SIGNALS:
    /** install() has begun @p step. */
    void stepChanged(QJUpdateInstaller::Step step);
    /** The download has received @p received of @p total bytes. */
    void downloadProgress(qint64 received, qint64 total);

private:
    std::unique_ptr<QJUpdateInstallerPrivate> d;
};
