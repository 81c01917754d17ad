// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitwidgets_export.h"

#include <QApplication>

class QJApplicationLaunch;
class QJBootManager;

/**
 * The host application's application object: a QApplication that makes the one QJBootManager.
 * It posts "QJApplicationWillFinishLaunching" once, when its event loop starts (or when
 * finishLaunching() is called first), which runs the boot sequence, and "QJApplicationWillTerminate"
 * when it is about to quit, which runs the shut-down sequence.
 *
 * @code
 * int main(int argc, char **argv)
 * {
 *     QJApplication app(argc, argv);
 *     QJBootManager::registerClassForBootSequence<QJAutoUpdate>();
 *     return app.exec();
 * }
 * @endcode
 */
class QJKITWIDGETS_EXPORT QJApplication : public QApplication
{
    Q_OBJECT

public:
    /** Makes the application object and the boot manager; @p argc and @p argv as for QApplication. */
    QJApplication(int &argc, char **argv);
    ~QJApplication() override;

    /** Posts "QJApplicationWillFinishLaunching" now, unless it has been posted already. */
    void finishLaunching();
    /** @return the application's boot manager (also sharedBootManager). */
    QJBootManager *bootManager() const;

private:
    QJApplicationLaunch *m_launch;
};
