// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QCoreApplication>

class QJApplicationLaunch;
class QJBootManager;

/**
 * The application object of a host without windows: a QCoreApplication that makes the one
 * QJBootManager. It posts "QJApplicationWillFinishLaunching" once, when its event loop starts (or
 * when finishLaunching() is called first), which runs the boot sequence, and
 * "QJApplicationWillTerminate" when it is about to quit, which runs the shut-down sequence.
 * QJApplication is the same for hosts with windows.
 */
class QJKITCORE_EXPORT QJCoreApplication : public QCoreApplication
{
    Q_OBJECT

public:
    /** Makes the application object and the boot manager; @p argc and @p argv as for QCoreApplication. */
    QJCoreApplication(int &argc, char **argv);
    ~QJCoreApplication() override;

    /** Posts "QJApplicationWillFinishLaunching" now, unless it has been posted already. */
    void finishLaunching();
    /** @return the application's boot manager (also sharedBootManager). */
    QJBootManager *bootManager() const;

private:
    QJApplicationLaunch *m_launch;
};
