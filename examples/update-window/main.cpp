// SPDX-License-Identifier: LGPL-2.1-or-later
// The update window of an application "Sample Writer", build 41, against a version server.
//
//   qjkit-update-window --base-url http://127.0.0.1:8000/AppServices/Versions/ [--screenshot FILE]
//
// With --screenshot it saves the window as it appears on screen and quits.
#include "QJApplication.h"
#include "QJAutoUpdate.h"
#include "QJBootManager.h"
#include "QJBundle.h"
#include "QJUserDefaults.h"

#include <QCommandLineParser>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{
// The sample application's icon: a page with a few lines of text and a pen stroke.
QIcon sampleIcon()
{
    QPixmap pixmap(128, 128);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient ground(0, 0, 0, 128);
    ground.setColorAt(0, QColor(0x3d, 0x7e, 0xc9));
    ground.setColorAt(1, QColor(0x23, 0x4f, 0x8f));
    p.setPen(Qt::NoPen);
    p.setBrush(ground);
    p.drawRoundedRect(QRectF(4, 4, 120, 120), 26, 26);
    p.setBrush(QColor(0xfb, 0xfb, 0xf7));
    p.drawRoundedRect(QRectF(30, 22, 68, 86), 6, 6);
    p.setPen(QPen(QColor(0x9a, 0xa6, 0xb4), 4, Qt::SolidLine, Qt::RoundCap));
    for (int y = 42; y <= 86; y += 11)
        p.drawLine(QPointF(40, y), QPointF(y == 86 ? 66 : 88, y));
    p.setPen(QPen(QColor(0xf2, 0xb1, 0x34), 9, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(70, 100), QPointF(104, 62));
    return QIcon(pixmap);
}
} // namespace

int main(int argc, char **argv)
{
    QJApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"Sample Writer"_s);
    QCoreApplication::setApplicationVersion(u"4.1"_s);
    QApplication::setWindowIcon(sampleIcon());

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Shows QJKit's update window for the application \"Sample Writer\", build 41."_s);
    parser.addHelpOption();
    parser.addOption({u"base-url"_s, u"The version server's base address."_s, u"URL"_s});
    parser.addOption({u"screenshot"_s, u"Saves the window to FILE and quits."_s, u"FILE"_s});
    parser.process(app);

    // The example keeps its preferences to itself.
    QTemporaryDir preferences;
    QJUserDefaults::setStandardUserDefaultsPath(preferences.filePath(u"preferences.plist"_s));
    QJBundle main = QJBundle::mainBundle();
    main.setObjectForInfoDictionaryKey(u"41"_s, u"CFBundleVersion"_s);
    if (parser.isSet(u"base-url"_s))
        main.setObjectForInfoDictionaryKey(parser.value(u"base-url"_s), u"QJAutoUpdateBaseURL"_s);

    QJBootManager::registerClassForBootSequence<QJAutoUpdate>();
    QJAutoUpdate *updater = QJAutoUpdate::sharedInstance();
    QObject::connect(updater, &QJAutoUpdate::checkFinished, &app, [](const QJUpdateCheckResult &result) {
        if (result.status != QJUpdateCheckResult::UpdateAvailable)
            std::fprintf(stderr, "qjkit-update-window: no update shown: %s\n", qPrintable(result.reason));
    });

    if (parser.isSet(u"screenshot"_s)) {
        const QString file = parser.value(u"screenshot"_s);
        auto *poll = new QTimer(&app);
        QObject::connect(poll, &QTimer::timeout, &app, [poll, updater, file] {
            if (!updater->isOpen())
                return;
            poll->stop();
            // Let the window settle on screen, then take what the display shows.
            QTimer::singleShot(800, updater, [updater, file] {
                QWidget *window = updater->window();
                const QPixmap shot = window->screen()->grabWindow(window->winId());
                const bool saved = shot.save(file);
                std::fprintf(stderr, "%s %s (%dx%d)\n", saved ? "saved" : "could not save", qPrintable(file),
                    shot.width(), shot.height());
                QCoreApplication::exit(saved ? 0 : 1);
            });
        });
        poll->start(100);
        QTimer::singleShot(30000, &app, [] {
            std::fprintf(stderr, "qjkit-update-window: the update window did not appear\n");
            QCoreApplication::exit(1);
        });
    }
    return app.exec();
}
