// SPDX-License-Identifier: LGPL-2.1-or-later
// A small writing window whose Help > About opens QJKit's about box.
//
//   qjkit-aboutbox [--default-credits] [--screenshot-dir DIR]
//
// With --screenshot-dir the program opens the box by itself, saves what the screen shows of it when
// it opens and while its credits scroll, and quits.
#include <QJAboutBox.h>
#include <QJAboutWindow.h>
#include <QJBundle.h>

#include <QAction>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QMainWindow>
#include <QMenuBar>
#include <QScreen>
#include <QTextEdit>
#include <QTimer>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{
QString readResource(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// What the screen shows of the box: the real pixels, not a re-rendering of the widgets.
bool saveScreenshot(QScreen *screen, const QRect &area, const QString &path)
{
    const QPixmap shot = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height());
    const bool saved = !shot.isNull() && shot.save(path);
    std::fprintf(saved ? stdout : stderr, "%s %s\n", saved ? "saved" : "could not save", qPrintable(path));
    return saved;
}
} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(u"QJ Writer"_s);
    QApplication::setApplicationVersion(u"1.4"_s);
    QApplication::setWindowIcon(QIcon(u":/aboutbox/icon.png"_s));

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Opens QJKit's about box from a writing window's Help menu."_s);
    parser.addHelpOption();
    const QCommandLineOption defaultCredits(u"default-credits"_s, u"Show the library's default credits."_s);
    const QCommandLineOption screenshotDir(
        u"screenshot-dir"_s, u"Open the box, save screenshots of it into <dir>, and quit."_s, u"dir"_s);
    parser.addOptions({defaultCredits, screenshotDir});
    parser.process(app);

    // The build number a real application would keep in its Info.plist.
    QJBundle::mainBundle().setObjectForInfoDictionaryKey(u"2207"_s, u"CFBundleVersion"_s);

    QJAboutBox *box = QJAboutBox::aboutBox();
    box->setImage(QPixmap(u":/aboutbox/icon.png"_s));
    box->setNameImage(QPixmap(u":/aboutbox/name.png"_s));
    if (!parser.isSet(defaultCredits))
        box->setAboutText(QTextDocumentFragment::fromHtml(readResource(u":/aboutbox/credits.html"_s)));

    QMainWindow window;
    window.setWindowTitle(u"Chapter One — QJ Writer"_s);
    auto *editor = new QTextEdit;
    editor->setPlainText(u"Chapter One\n\nThe house at the end of the lane had been empty for three winters. "
                         "Nobody remembered who had closed its shutters, only that the lamp in the attic "
                         "window still burned on the longest night of the year."_s);
    window.setCentralWidget(editor);
    QMenu *file = window.menuBar()->addMenu(u"&File"_s);
    file->addAction(u"&Quit"_s, QKeySequence::Quit, &app, &QApplication::quit);
    QMenu *help = window.menuBar()->addMenu(u"&Help"_s);
    QAction *about = help->addAction(u"&About QJ Writer"_s, box, [box] { box->open(); });
    about->setMenuRole(QAction::AboutRole);
    window.resize(760, 520);
    window.show();

    if (parser.isSet(screenshotDir)) {
        const QString dir = parser.value(screenshotDir);
        QDir().mkpath(dir);
        auto failed = std::make_shared<bool>(false);
        // The credits pause for two seconds, then move 20 pixels a second.
        QTimer::singleShot(600, about, &QAction::trigger);
        QTimer::singleShot(1600, &app, [box, dir, failed] {
            QWidget *shown = box->window();
            *failed |= !saveScreenshot(shown->screen(), shown->frameGeometry(), dir + u"/about-start.png"_s);
        });
        QTimer::singleShot(11600, &app, [box, dir, failed] {
            QWidget *shown = box->window();
            *failed |= !saveScreenshot(shown->screen(), shown->frameGeometry(), dir + u"/about-scrolling.png"_s);
            *failed |= !saveScreenshot(shown->screen(), shown->screen()->geometry(), dir + u"/about-over-window.png"_s);
            QApplication::exit(*failed ? 1 : 0);
        });
    }
    return app.exec();
}
