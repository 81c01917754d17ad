// SPDX-License-Identifier: LGPL-2.1-or-later
// Updater: started by a host's update window (QJAutoUpdate's "Update") with what it needs as
// arguments. It waits for the host to quit, installs the chosen version with QJUpdateInstaller,
// starts it, and puts the old version back when the new one fails at start. QJKIT_UPDATER_SNAPSHOT
// names a file for a picture of its window, taken when the download is complete.
#include "UpdaterWindow.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(u"Updater"_s);
    QCommandLineParser parser;
    parser.setApplicationDescription(u"Installs a newer version of an application and starts it."_s);
    parser.addHelpOption();
    const QCommandLineOption pid(
        u"pid"_s, u"The process id of the application; the updater waits for it to end."_s, u"PID"_s);
    const QCommandLineOption installDir(u"install-dir"_s, u"The application's install folder."_s, u"DIR"_s);
    const QCommandLineOption program(u"program"_s, u"The program to start afterwards."_s, u"PATH"_s);
    const QCommandLineOption baseUrl(u"base-url"_s, u"The version server's base address."_s, u"URL"_s);
    // Not "--name": the X11 platform takes that (with "-display", "-visual"…) before the parser sees it.
    const QCommandLineOption name(u"application-name"_s, u"The application's name."_s, u"NAME"_s);
    const QCommandLineOption build(u"build"_s, u"The installed build."_s, u"BUILD"_s);
    const QCommandLineOption version(u"version"_s, u"The version key to install."_s, u"KEY"_s);
    const QCommandLineOption publicKey(u"public-key"_s, u"The key the package must be signed with."_s, u"KEY"_s);
    const QCommandLineOption grace(u"startup-grace"_s,
        u"How long, in milliseconds, the new version must run without failing (default 5000)."_s, u"MS"_s, u"5000"_s);
    const QCommandLineOption hostWait(u"host-wait"_s,
        u"How long, in milliseconds, to wait for the application to quit (default 30000)."_s, u"MS"_s, u"30000"_s);
    parser.addOptions({pid, installDir, program, baseUrl, name, build, version, publicKey, grace, hostWait});
    parser.process(app);
    for (const QCommandLineOption &required : {installDir, program, baseUrl, name, build}) {
        if (parser.value(required).isEmpty()) {
            std::fprintf(stderr, "Updater: the option --%s is required\n", qPrintable(required.names().constFirst()));
            return 2;
        }
    }
    QJUpdateHandover handover;
    handover.processId = parser.value(pid).toLongLong();
    handover.installPath = parser.value(installDir);
    handover.program = parser.value(program);
    handover.baseUrl = QUrl(parser.value(baseUrl));
    handover.applicationName = parser.value(name);
    handover.installedBuild = parser.value(build);
    handover.versionKey = parser.value(version);
    handover.publicKey = parser.value(publicKey);
    UpdaterWindow window(handover, parser.value(grace).toInt(), parser.value(hostWait).toInt());
    // For pictures of the window in documentation; the update goes on.
    const QString snapshot = qEnvironmentVariable("QJKIT_UPDATER_SNAPSHOT");
    if (!snapshot.isEmpty()) {
        QObject::connect(
            &window, &UpdaterWindow::downloaded, &window,
            [&window, snapshot] {
                const bool saved = window.grab().save(snapshot);
                std::printf("Updater: %s %s\n", saved ? "saved" : "could not save", qPrintable(snapshot));
                std::fflush(stdout);
            },
            Qt::SingleShotConnection);
    }
    window.start();
    return app.exec();
}
