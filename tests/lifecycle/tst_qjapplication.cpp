// SPDX-License-Identifier: LGPL-2.1-or-later
// The application object drives the boot manager; the splash screen shows the boot status.
#include "QJApplication.h"
#include "QJBootManager.h"
#include "QJNotificationCenter.h"
#include "QJSplashStatusPanel.h"

#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace
{
QStringList journal;

class Named : public QObject, public QJBootSequence, public QJBootSequenceName
{
    Q_OBJECT
public:
    bool bootSequence() override
    {
        // What the panel shows while this participant runs.
        journal << u"panel says: "_s + panel->bootStatusPanelInfo() + (panel->isVisible() ? u" (shown)"_s : QString());
        return true;
    }
    QString bootSequenceName() const override { return u"Reading <b>fonts</b>"_s; }
    static QJSplashStatusPanel *panel;
};
QJSplashStatusPanel *Named::panel = nullptr;

class Closer : public QObject, public QJShutdownSequence
{
    Q_OBJECT
public:
    bool shutdownSequence() override
    {
        journal << u"shutdown step"_s;
        return true;
    }
};
} // namespace

class TestQJApplication : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void launchRunsTheBootSequenceWithThePanel()
    {
        // The application made the one manager; nothing has launched before an event loop ran.
        auto *app = qobject_cast<QJApplication *>(QCoreApplication::instance());
        QVERIFY(app->bootManager());
        QCOMPARE(sharedBootManager, app->bootManager());
        QVERIFY(!QJBootManager::isBootFinished());
        QVERIFY(journal.isEmpty());

        // The panel's picture is drawn from the application's name and version when none is given.
        QJSplashStatusPanel panel;
        QVERIFY(!panel.pixmap().isNull());
        Named::panel = &panel;
        QJBootManager::provideObjectForBootStatusPanel(&panel);
        QJBootManager::setMinimumTimeForBootStatusPanel(0.2);

        QTest::qWait(50); // the event loop starts: launching finishes
        app->finishLaunching(); // once only
        QCOMPARE(journal,
            (QStringList {u"QJApplicationWillFinishLaunching"_s, u"panel says: Reading <b>fonts</b> (shown)"_s}));
        QCOMPARE(panel.bootStatusPanelInfo(), QString());
        QVERIFY(panel.isVisible());
        QTRY_VERIFY(QJBootManager::isBootFinished());
        QVERIFY(!panel.isVisible());
        QCOMPARE(journal.last(), u"QJApplicationBootFinished"_s);
        QJBootManager::provideObjectForBootStatusPanel(nullptr);
    }

    void quittingRunsTheShutdownSequence()
    {
        journal.clear();
        Closer closer;
        QJBootManager::registerObjectForShutdownSequence(&closer);
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        QCoreApplication::exec();
        QCOMPARE(journal,
            (QStringList {u"QJApplicationWillTerminate"_s, u"shutdown step"_s, u"QJApplicationShutdownFinished"_s}));
        QVERIFY(QJBootManager::isShutdownFinished());
    }
};

int main(int argc, char **argv)
{
    // Observing from before the application exists, so the journal shows every notification in turn.
    QJNotificationCenter::defaultCenter()->addObserver(QString(), nullptr, [](const QJNotification &n) {
        if (n.name.startsWith(u"QJApplication"_s))
            journal << n.name;
    });
    QJApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"Test Writer"_s);
    QCoreApplication::setApplicationVersion(u"4.1"_s);
    QJBootManager::registerClassForBootSequence<Named>();
    TestQJApplication test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_qjapplication.moc"
