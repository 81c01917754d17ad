// SPDX-License-Identifier: LGPL-2.1-or-later
// The windowed example of docs/lifecycle.md and docs/update.md: a writing application whose
// start-up shows a splash screen and checks for updates, with Help > Check for Updates.
#include <QJKit/QJApplication.h>
#include <QJKit/QJAutoUpdate.h>
#include <QJKit/QJBootManager.h>
#include <QJKit/QJBundle.h>
#include <QJKit/QJSplashStatusPanel.h>

#include <QMainWindow>
#include <QMenuBar>
#include <QPlainTextEdit>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    //! [application]
    QJApplication app(argc, argv); // makes the boot manager
    QJApplication::setApplicationName(u"Sample Writer"_s);
    QJApplication::setApplicationVersion(u"1.4"_s);

    QJSplashStatusPanel splash; // shows each start-up step's name
    QJBootManager::provideObjectForBootStatusPanel(&splash);
    QJBootManager::setMinimumTimeForBootStatusPanel(1.5); // seconds
    QJBootManager::registerClassForBootSequence<QJAutoUpdate>();

    QMainWindow window;
    window.setCentralWidget(new QPlainTextEdit);
    // The window appears once start-up is complete and the splash screen has closed.
    QObject::connect(app.bootManager(), &QJBootManager::bootFinished, &window, &QWidget::show);
    //! [application]

    //! [updates]
    // Where the versions are published, and this build's number; an Info.plist beside the program
    // can hold both instead.
    QJBundle::mainBundle().setObjectForInfoDictionaryKey(
        u"https://updates.example.org/AppServices/Versions/"_s, u"QJAutoUpdateBaseURL"_s);
    QJBundle::mainBundle().setObjectForInfoDictionaryKey(u"41"_s, u"CFBundleVersion"_s);

    QMenu *help = window.menuBar()->addMenu(u"&Help"_s);
    help->addAction(u"Check for &Updates…"_s, [] { QJAutoUpdate::sharedInstance()->open(); });
    //! [updates]

    return app.exec(); // start-up runs when the event loop starts
}
