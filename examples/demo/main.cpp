// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit-demo: a small writing application that shows how a host uses QJKit.
//
//   qjkit-demo [--local-updates] [--tour DIR] [--settings FILE] [FILE]
//   qjkit-demo --serve-versions DIR
//
// Start-up runs through QJApplication and the boot manager under a splash-screen status panel:
// the settings are read, the document is read on a worker thread, and the update check starts.
// The editor window appears once start-up is complete.
//
// The version and build come from the information dictionary (Resources/Info.plist beside the
// program), so one program is released as 0.1 and 0.2 (see release.cmake and scripts/demo.sh).
// Two environment variables outlive an update, because the Updater starts the new version with
// the old one's environment: QJKIT_DEMO_UPDATE_URL, the version directory to check, and
// QJKIT_DEMO_ABOUT_SHOT, a file for a picture of the about box, after which the demo quits.
#include "CompareWindow.h"
#include "DemoArt.h"
#include "DemoSettings.h"
#include "DemoSplash.h"
#include "DocumentLoader.h"
#include "DocumentStatistics.h"
#include "EditorWindow.h"
#include "FindBar.h"
#include "Tour.h"
#include "VersionServer.h"

#include "QJAboutBox.h"
#include "QJAboutWindow.h"
#include "QJApplication.h"
#include "QJAutoUpdate.h"
#include "QJBootManager.h"
#include "QJBundle.h"
#include "QJUpdateChecker.h"
#include "QJUserDefaults.h"

#include <QAction>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextDocumentFragment>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
// The version and build when the information dictionary names none: the ones the sample version
// directory is written for.
const QString DefaultVersion = u"0.1"_s;
const QString DefaultBuild = u"0.1.0"_s;

struct Options
{
    bool localUpdates = false;
    QString serveDirectory;
    QString tourDirectory;
    QString settingsPath;
    QString file;
};

Options parseOptions(const QCoreApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(u"A small writing application built with QJKit."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption localUpdates(
        u"local-updates"_s, u"Serve the demo's sample version directory on 127.0.0.1 and check for updates there."_s);
    const QCommandLineOption tour(u"tour"_s,
        u"Open each window in turn, save screenshots into <dir>, and quit (exit status 0 when all were saved). "
        "Implies --local-updates."_s,
        u"dir"_s);
    const QCommandLineOption settings(
        u"settings"_s, u"Keep the settings in <file> (a coded property list)."_s, u"file"_s);
    const QCommandLineOption serve(u"serve-versions"_s,
        u"Serve the version directory <dir> (one folder per application) on 127.0.0.1 until stopped, "
        "printing its address; opens no window."_s,
        u"dir"_s);
    parser.addOptions({localUpdates, tour, settings, serve});
    parser.addPositionalArgument(u"file"_s, u"A UTF-8 text file to open."_s, u"[file]"_s);
    parser.process(app);
    Options options;
    // The tour shows the whole update flow, which needs the local server.
    options.localUpdates = parser.isSet(localUpdates) || parser.isSet(tour);
    options.serveDirectory = parser.value(serve);
    // Absolute: the updater writes its screenshot there too, from its own working folder.
    if (parser.isSet(tour))
        options.tourDirectory = QDir(parser.value(tour)).absolutePath();
    options.settingsPath = parser.value(settings);
    if (!parser.positionalArguments().isEmpty())
        options.file = parser.positionalArguments().constFirst();
    return options;
}

// What the boot manager gets for a start-up participant the application made itself.
template<typename T>
QJBootManager::ClassFactory participant(T *object)
{
    return [object] {
        QJBootClassObject result;
        result.bootSequence = object;
        result.bootSequenceName = object;
        result.qobject = object;
        return result;
    };
}

QString readResource(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void setUpAboutBox()
{
    QJAboutBox *about = QJAboutBox::aboutBox();
    const qreal ratio = qApp->devicePixelRatio();
    about->setImage(DemoArt::iconPixmap(128, ratio));
    about->setNameImage(DemoArt::nameImage(QApplication::applicationName(), QSize(196, 60), ratio));
    about->setAboutText(QTextDocumentFragment::fromHtml(readResource(u":/demo/credits.html"_s)));
}

// The tour works on a copy of the sample in a deep folder, so the title has a folder to shorten.
QString prepareTourDocument(const QString &home)
{
    const QString folder = home + u"/Documents/Writing/Manuscripts/2025/Drafts/The Harbour Notebook/Revisions"_s;
    QDir().mkpath(folder);
    const QString path = folder + u"/chapter-03.txt"_s;
    QFile::copy(u":/demo/sample/harbour-notes.txt"_s, path);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    return path;
}

void scriptTour(Tour &tour, EditorWindow *window, QJAutoUpdate *updates, const bool *splashShot)
{
    QPlainTextEdit *editor = window->editor();
    tour.addWait(u"start-up status panel"_s, [splashShot] { return *splashShot; });
    tour.addWait(u"editor window after start-up"_s, [window] { return window->isVisible(); });
    tour.addWait(u"update window from the start-up check"_s, [updates] { return updates->isOpen(); });
    tour.addAfter(u"close the update window for now"_s, 300, [updates] { updates->cancel(); });

    tour.add(u"type into the editor"_s, [editor](const Tour::Next &next) {
        editor->activateWindow();
        editor->setFocus();
        QTextCursor cursor(editor->document());
        cursor.setPosition(int(editor->toPlainText().indexOf(u"never sent."_s) + 11));
        editor->setTextCursor(cursor);
        Tour::typeText(editor, u" Somewhere, kettles whistled."_s, 25, next);
    });
    tour.add(u"replace a few words"_s, [editor](const Tour::Next &next) {
        const QString old = u"an apology"_s;
        QTextCursor cursor(editor->document());
        cursor.setPosition(int(editor->toPlainText().indexOf(old) + old.size()));
        editor->setTextCursor(cursor);
        Tour::pressKey(editor, Qt::Key_Backspace, int(old.size()));
        Tour::typeText(editor, u"a confession"_s, 25, next);
    });
    tour.addShot(u"02-editor"_s, [window] { return window; });

    tour.addAfter(u"find \"lantern\""_s, 300, [window] {
        window->action(u"editFind"_s)->trigger();
        window->findBar()->setFindText(u"lantern"_s);
        // From the typing point on: the two later matches, then around to the heading.
        for (int i = 0; i < 3; ++i)
            window->findBar()->find();
    });
    tour.addShot(u"03-find"_s, [window] { return window; });

    tour.add(u"compare with the saved version"_s, [window](const Tour::Next &next) {
        window->findBar()->hide();
        window->action(u"fileCompare"_s)->trigger();
        QObject::connect(window->compareWindow(), &CompareWindow::compared, window, next, Qt::SingleShotConnection);
    });
    tour.addShot(u"04-compare"_s, [window] { return window->compareWindow(); });
    tour.addAfter(u"close the compare view"_s, 200, [window] { window->compareWindow()->close(); });

    // The credits wait two seconds, then move 20 pixels a second.
    tour.addAfter(u"Help > About"_s, 1000, [window] { window->action(u"helpAbout"_s)->trigger(); });
    tour.addShot(u"05-about"_s, [] { return QJAboutBox::aboutBox()->window(); });
    tour.addAfter(u"let the credits scroll"_s, 9000, [] {});
    tour.addShot(u"06-about-scrolling"_s, [] { return QJAboutBox::aboutBox()->window(); });
    tour.addAfter(u"close the about box"_s, 200, [] { QJAboutBox::aboutBox()->close(); });

    tour.addAfter(u"File > Save"_s, 200, [window] { window->action(u"fileSave"_s)->trigger(); });
    tour.add(u"Help > Check for Updates"_s, [window, updates](const Tour::Next &next) {
        QObject::connect(updates, &QJAutoUpdate::checkFinished, updates, next, Qt::SingleShotConnection);
        window->action(u"helpCheckForUpdates"_s)->trigger();
    });
    tour.addWait(u"update window"_s, [updates] { return updates->isOpen(); });
    tour.addAfter(u"let it settle"_s, 500, [] {});
    tour.addShot(u"07-update"_s, [updates] { return updates->window(); });

    // The Updater saves a picture of itself when the download is complete; the new version it starts
    // saves one of its about box.
    tour.add(u"Update: start the updater"_s, [&tour, updates](const Tour::Next &next) {
        qputenv("QJKIT_UPDATER_SNAPSHOT", QFile::encodeName(tour.directory() + u"/08-updater.png"_s));
        qputenv("QJKIT_DEMO_ABOUT_SHOT", QFile::encodeName(tour.directory() + u"/09-about-updated.png"_s));
        auto *update = updates->window()->findChild<QPushButton *>(u"updateButton"_s);
        if (!update) {
            tour.fail(u"the update window has no Update button"_s);
            return;
        }
        update->click(); // starts the updater and quits
        next();
    });
}

// After an update: the about box of the version now running, saved as @p file; then the demo quits.
void scriptAboutShot(Tour &tour, EditorWindow *window, const QString &file)
{
    tour.addWait(u"editor window after start-up"_s, [window] { return window->isVisible(); });
    tour.addAfter(u"Help > About"_s, 500, [window] { window->action(u"helpAbout"_s)->trigger(); });
    tour.addAfter(u"let it settle"_s, 1000, [] {});
    tour.addShot(QFileInfo(file).completeBaseName(), [] { return QJAboutBox::aboutBox()->window(); });
}

// --serve-versions: a version server for the demo's update that outlives the demo, since the
// Updater downloads after the demo has quit.
int serveVersions(const QString &directory)
{
    if (!QFileInfo(directory).isDir()) {
        std::fprintf(stderr, "qjkit-demo: %s is no folder\n", qPrintable(directory));
        return 1;
    }
    VersionServer server(directory);
    if (!server.listen()) {
        std::fprintf(stderr, "qjkit-demo: cannot serve the versions: %s\n", qPrintable(server.errorString()));
        return 1;
    }
    std::printf("Serving %s at %s\n", qPrintable(directory), qPrintable(server.baseUrl().toString()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}
} // namespace

int main(int argc, char **argv)
{
    // Help, version and the server need no windows: without a display, they must not need one either.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        for (int i = 1; i < argc; ++i) {
            const QByteArray argument(argv[i]);
            if (argument == "-h" || argument == "--help" || argument == "--help-all" || argument == "-v"
                || argument == "--version" || argument.startsWith("--serve-versions"))
                qputenv("QT_QPA_PLATFORM", "offscreen");
        }
    }
    QJApplication app(argc, argv);
    QApplication::setOrganizationName(u"QJKit"_s);
    QApplication::setApplicationName(u"QJKit Demo"_s);
    // Read before anything else asks the main bundle, which fills in the application's version.
    QJBundle mainBundle = QJBundle::mainBundle();
    const QString version = mainBundle.objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s).toString();
    QApplication::setApplicationVersion(version.isEmpty() ? DefaultVersion : version);
    // The build the update check compares with the versions on the server.
    if (mainBundle.objectForInfoDictionaryKey(u"CFBundleVersion"_s).toString().isEmpty())
        mainBundle.setObjectForInfoDictionaryKey(DefaultBuild, u"CFBundleVersion"_s);
    QApplication::setWindowIcon(DemoArt::applicationIcon());
    const Options options = parseOptions(app);
    if (!options.serveDirectory.isEmpty())
        return serveVersions(options.serveDirectory);
    const QString aboutShot = qEnvironmentVariable("QJKIT_DEMO_ABOUT_SHOT");
    qunsetenv("QJKIT_DEMO_ABOUT_SHOT");
    const bool touring = !options.tourDirectory.isEmpty() || !aboutShot.isEmpty();

    // A tour starts from nothing: its own home, preferences, settings and document.
    QTemporaryDir scratch;
    QString settingsPath = options.settingsPath.isEmpty() ? DemoSettings::defaultPath() : options.settingsPath;
    QString file = options.file;
    if (touring) {
        qputenv("HOME", QFile::encodeName(scratch.path()));
        QJUserDefaults::setStandardUserDefaultsPath(scratch.filePath(u"defaults.plist"_s));
        settingsPath = scratch.filePath(u"settings.coded"_s);
        file = prepareTourDocument(scratch.path());
    }

    VersionServer server(u":/demo/versions"_s);
    const QString updateUrl = qEnvironmentVariable("QJKIT_DEMO_UPDATE_URL");
    if (!updateUrl.isEmpty()) {
        QJBundle::mainBundle().setObjectForInfoDictionaryKey(updateUrl, QJAutoUpdateBaseURLKey);
    } else if (options.localUpdates) {
        if (!server.listen()) {
            std::fprintf(stderr, "qjkit-demo: cannot serve the versions: %s\n", qPrintable(server.errorString()));
            return 1;
        }
        QJBundle::mainBundle().setObjectForInfoDictionaryKey(server.baseUrl().toString(), QJAutoUpdateBaseURLKey);
        std::printf("Serving the sample versions at %s\n", qPrintable(server.baseUrl().toString()));
    }

    DemoSettings settings(settingsPath);
    DocumentLoader loader(&settings, file);
    EditorWindow window(&settings);
    QJAutoUpdate *updates = QJAutoUpdate::sharedInstance();
    setUpAboutBox();

    // Start-up: the settings, the document, then the update check, under the splash screen.
    QJBootManager::registerClassForBootSequence(u"DemoSettings"_s, participant(&settings));
    QJBootManager::registerClassForBootSequence(u"DocumentLoader"_s, participant(&loader));
    QJBootManager::registerClassForBootSequence<QJAutoUpdate>();
    DemoSplash splash;
    QJBootManager::provideObjectForBootStatusPanel(&splash);
    QJBootManager::setMinimumTimeForBootStatusPanel(2.0);
    // Shut-down: the window notes its geometry (and offers to save), then the settings are written.
    QJBootManager::registerObjectForShutdownSequence(&window);
    QJBootManager::registerObjectForShutdownSequence(&settings);

    QObject::connect(app.bootManager(), &QJBootManager::bootFinished, &window, [&] {
        window.applySettings();
        if (touring)
            window.setGeometry(40, 30, 960, 640);
        window.show();
        if (loader.error().isEmpty()) {
            window.openText(loader.text(), loader.path());
        } else {
            QMessageBox::warning(&window, QApplication::applicationName(),
                QObject::tr("%1 could not be opened: %2").arg(loader.path(), loader.error()));
        }
    });
    QObject::connect(window.action(u"helpAbout"_s), &QAction::triggered, QJAboutBox::aboutBox(),
        [] { QJAboutBox::aboutBox()->open(); });
    QObject::connect(window.action(u"helpCheckForUpdates"_s), &QAction::triggered, updates, &QJAutoUpdate::open);

    std::unique_ptr<Tour> tour;
    bool splashShot = false;
    if (!aboutShot.isEmpty()) {
        tour = std::make_unique<Tour>(QFileInfo(aboutShot).absolutePath());
        scriptAboutShot(*tour, &window, aboutShot);
    } else if (touring) {
        tour = std::make_unique<Tour>(options.tourDirectory);
        // Taken the moment the panel names the update check: the manager moves on within the same turn.
        QObject::connect(&splash, &DemoSplash::infoChanged, tour.get(), [&](const QString &info) {
            if (!splashShot && info == updates->bootSequenceName())
                splashShot = !tour->shoot(&splash, u"01-splash"_s).isEmpty();
        });
        scriptTour(*tour, &window, updates, &splashShot);
    }
    if (tour) {
        QObject::connect(tour.get(), &Tour::finished, &app, [&window](bool ok) {
            if (!ok)
                window.editor()->document()->setModified(false); // nobody is there to answer
            QApplication::exit(ok ? 0 : 1);
        });
        QTimer::singleShot(0, tour.get(), &Tour::start);
    }

    return app.exec();
}
