// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit-demo: a small writing application that shows how a host uses QJKit.
//
//   qjkit-demo [--local-updates] [--tour DIR] [--settings FILE] [FILE]
#include "CompareWindow.h"
#include "DemoArt.h"
#include "DemoSettings.h"
#include "DocumentStatistics.h"
#include "EditorWindow.h"
#include "FindBar.h"
#include "Tour.h"
#include "VersionServer.h"

#include "QJBundle.h"
#include "QJUserDefaults.h"

#include <QAction>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
// The demo's own version, the one its sample version directory is written for.
const QString DemoVersion = u"0.1.0"_s;

struct Options
{
    bool localUpdates = false;
    QString tourDirectory;
    QString settingsPath;
    QString file;
};

Options parseOptions(const QApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(u"A small writing application built with QJKit."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption localUpdates(
        u"local-updates"_s, u"Serve the demo's sample version directory on 127.0.0.1 and check for updates there."_s);
    const QCommandLineOption tour(u"tour"_s,
        u"Open each window in turn, save screenshots into <dir>, and quit (exit status 0 when all were saved)."_s,
        u"dir"_s);
    const QCommandLineOption settings(
        u"settings"_s, u"Keep the settings in <file> (a coded property list)."_s, u"file"_s);
    parser.addOptions({localUpdates, tour, settings});
    parser.addPositionalArgument(u"file"_s, u"A UTF-8 text file to open."_s, u"[file]"_s);
    parser.process(app);
    Options options;
    options.localUpdates = parser.isSet(localUpdates);
    options.tourDirectory = parser.value(tour);
    options.settingsPath = parser.value(settings);
    if (!parser.positionalArguments().isEmpty())
        options.file = parser.positionalArguments().constFirst();
    return options;
}

// The tour works on a copy of the sample in a deep folder, so the title has a folder to shorten.
QString prepareTourDocument(const QString &root)
{
    const QString folder = root + u"/Documents/Writing/Manuscripts/2025/Drafts/The Harbour Notebook/Revisions"_s;
    QDir().mkpath(folder);
    const QString path = folder + u"/chapter-03.txt"_s;
    QFile::copy(u":/demo/sample/harbour-notes.txt"_s, path);
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
    return path;
}

void scriptTour(Tour &tour, EditorWindow *window)
{
    QPlainTextEdit *editor = window->editor();
    tour.addWait(u"editor on screen"_s, [window] { return window->isVisible(); });
    tour.add(u"type into the editor"_s, [editor](const Tour::Next &next) {
        editor->setFocus();
        // After the first paragraph of the chapter, a new sentence.
        QTextCursor cursor(editor->document());
        cursor.setPosition(int(editor->toPlainText().indexOf(u"never sent."_s) + 11));
        editor->setTextCursor(cursor);
        Tour::typeText(editor, u" The kettle on the stove began to sing."_s, 25, next);
    });
    tour.addAfter(u"delete a few words"_s, 300, [editor] {
        QTextCursor cursor(editor->document());
        const int at = int(editor->toPlainText().indexOf(u"an apology that had grown too long"_s));
        cursor.setPosition(at + int(QStringLiteral("an apology").size()));
        editor->setTextCursor(cursor);
        Tour::pressKey(editor, Qt::Key_Backspace, int(QStringLiteral("an apology").size()));
        Tour::typeText(editor, u"a confession"_s, 1, [] {});
    });
    tour.addShot(u"02-editor"_s, [window] { return window; });
    tour.addAfter(u"find \"lantern\""_s, 200, [window] {
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
    tour.addAfter(u"close the compare view"_s, 100, [window] { window->compareWindow()->close(); });
}
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(u"QJKit"_s);
    QApplication::setApplicationName(u"QJKit Demo"_s);
    QApplication::setApplicationVersion(DemoVersion);
    QApplication::setWindowIcon(DemoArt::applicationIcon());
    const Options options = parseOptions(app);
    const bool touring = !options.tourDirectory.isEmpty();

    // A tour starts from nothing: its own preferences, settings and document.
    QTemporaryDir scratch;
    QString settingsPath = options.settingsPath.isEmpty() ? DemoSettings::defaultPath() : options.settingsPath;
    QString file = options.file;
    if (touring) {
        // Its own home too, so paths read as they would for a user ("~/Documents/...").
        qputenv("HOME", QFile::encodeName(scratch.path()));
        QJUserDefaults::setStandardUserDefaultsPath(scratch.filePath(u"defaults.plist"_s));
        settingsPath = scratch.filePath(u"settings.coded"_s);
        file = prepareTourDocument(scratch.path());
    }

    VersionServer server(u":/demo/versions"_s);
    if (options.localUpdates) {
        if (!server.listen()) {
            std::fprintf(stderr, "qjkit-demo: cannot serve the versions: %s\n", qPrintable(server.errorString()));
            return 1;
        }
        QJBundle::mainBundle().setObjectForInfoDictionaryKey(server.baseUrl().toString(), u"QJAutoUpdateBaseURL"_s);
        std::printf("Serving the sample versions at %s\n", qPrintable(server.baseUrl().toString()));
    }

    DemoSettings settings(settingsPath);
    settings.load();
    EditorWindow window(&settings);
    if (!file.isEmpty())
        window.openFile(file);
    if (touring)
        window.resize(960, 640);
    window.show();

    int status = 0;
    std::unique_ptr<Tour> tour;
    if (touring) {
        tour = std::make_unique<Tour>(options.tourDirectory);
        scriptTour(*tour, &window);
        QObject::connect(tour.get(), &Tour::finished, &app, [](bool ok) { QApplication::exit(ok ? 0 : 1); });
        QTimer::singleShot(0, tour.get(), &Tour::start);
    }
    status = app.exec();
    settings.waitForBackgroundSave();
    settings.saveNow();
    return status;
}
