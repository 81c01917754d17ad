// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QString>

/** "QJAutoUpdateUpdaterPath": the information-dictionary key with which a host names its own updater. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateUpdaterPathKey;

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
} // namespace QJUpdater
