// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QString>
#include <QStringList>
#include <QUrl>

/** "QJAutoUpdateUpdaterPath": the information-dictionary key with which a host names its own updater. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateUpdaterPathKey;

/** "QJAutoUpdateInstallPath": the information-dictionary key naming the host's install folder. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateInstallPathKey;

/**
 * What the updater needs to install a version, handed over as its command-line arguments: the
 * host waits for nothing and the updater asks the host nothing.
 */
struct QJKITCORE_EXPORT QJUpdateHandover
{
    /** The host's process id; the updater waits for it to end. */
    qint64 processId = 0;
    /** The install folder whose contents the new version replaces. */
    QString installPath;
    /** The program started again afterwards (inside the install folder). */
    QString program;
    /** The version server's base address. */
    QUrl baseUrl;
    /** The application's name, as the update check uses it. */
    QString applicationName;
    /** The installed build. */
    QString installedBuild;
    /** The version key chosen in the update window. */
    QString versionKey;
    /** The public key the package's signature must verify against; empty when the host has none. */
    QString publicKey;

    /** @return the handover as the updater's arguments. */
    QStringList arguments() const;
    /** @return the running application's handover for @p versionKey, its folder and key from the main bundle. */
    static QJUpdateHandover forRunningApplication(
        const QUrl &baseUrl, const QString &applicationName, const QString &installedBuild, const QString &versionKey);
};

/**
 * The separate updater program "Updater" that installs a newer version.
 *
 * Its path is, in this order: the one given to setPath(); the main bundle's
 * QJAutoUpdateUpdaterPath; "Updater" in the folder of the QJKit library (a build tree); and
 * "Updater" in QJKit's program folder, `<prefix>/libexec/qjkit` (an installation).
 */
namespace QJUpdater
{
/** @return the updater's path, see above. */
QJKITCORE_EXPORT QString path();
/** Makes @p path the updater's path; an empty path restores the default. */
QJKITCORE_EXPORT void setPath(const QString &path);
/** @return the path used when neither setPath() nor the information dictionary names one. */
QJKITCORE_EXPORT QString defaultPath();
/**
 * Starts the updater as a separate process that outlives the application.
 * @return whether it was started; when not, @p error says why.
 */
QJKITCORE_EXPORT bool launch(QString *error = nullptr);
/** Starts the updater with @p arguments (see QJUpdateHandover::arguments()); as launch(). */
QJKITCORE_EXPORT bool launch(const QStringList &arguments, QString *error = nullptr);
} // namespace QJUpdater
