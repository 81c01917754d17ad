// SPDX-License-Identifier: LGPL-2.1-or-later
// The boot manager: start-up and shut-down order, the status panel, the notifications.
#include "QJBootManager.h"
#include "QJNotificationCenter.h"

#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
QStringList journal; // what participants, panels and observers did, in order
QHash<QString, bool> answers; // a participant missing here finishes at once

bool runStep(const QString &name)
{
    journal << u"boot:"_s + name;
    return answers.value(name, true);
}

class Alpha : public QObject, public QJBootSequence
{
    Q_OBJECT
public:
    bool bootSequence() override { return runStep(u"Alpha"_s); }
};

// Not a QObject, and named for the panel.
class Gamma : public QJBootSequence, public QJBootSequenceName
{
public:
    bool bootSequence() override { return runStep(u"Gamma"_s); }
    QString bootSequenceName() const override { return u"Loading gamma"_s; }
};

// Takes no part, but is made all the same.
class Bystander
{
public:
    Bystander() { journal << u"made:Bystander"_s; }
};

// The manager uses the shared instance and makes none.
class Singleton : public QJBootSequence
{
public:
    static Singleton *sharedInstance()
    {
        static Singleton instance;
        return &instance;
    }
    bool bootSequence() override { return runStep(u"Singleton"_s); }
};

// Reports its own end from inside bootSequence(), then answers false.
class Eager : public QJBootSequence
{
public:
    bool bootSequence() override
    {
        runStep(u"Eager"_s);
        QJBootManager::objectFinishedBootSequence(this);
        return false;
    }
};

class Panel : public QJBootStatusPanelProvider
{
public:
    void openBootStatusPanel() override { journal << u"open"_s; }
    void setBootStatusPanelInfo(const QString &info) override { journal << u"info:"_s + info; }
    void closeBootStatusPanel() override { journal << u"close"_s; }
};

class Closer : public QObject, public QJShutdownSequence
{
    Q_OBJECT
public:
    explicit Closer(const QString &name) { setObjectName(name); }
    ~Closer() override { journal << u"gone:"_s + objectName(); }
    bool shutdownSequence() override
    {
        journal << u"shut:"_s + objectName();
        return answers.value(objectName(), true);
    }
};

const QHash<QString, std::function<void()>> registrars {
    {u"Alpha"_s, [] { QJBootManager::registerClassForBootSequence<Alpha>(); }},
    {u"Gamma"_s, [] { QJBootManager::registerClassForBootSequence<Gamma>(); }},
    {u"Bystander"_s, [] { QJBootManager::registerClassForBootSequence<Bystander>(); }},
    {u"Singleton"_s, [] { QJBootManager::registerClassForBootSequence<Singleton>(); }},
    {u"Eager"_s, [] { QJBootManager::registerClassForBootSequence<Eager>(); }},
    {u"Unknown"_s, [] { applicationBootSequences.append(u"NoSuchClass"_s); }},
};
} // namespace

class TestQJBootManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        journal.clear();
        answers.clear();
        applicationBootSequences.clear();
        applicationShutdownSequences.clear();
        posted = signalled = 0;
        manager = std::make_unique<QJBootManager>();
        QCOMPARE(sharedBootManager, manager.get());
        for (const QString &name : {QJApplicationBootFinishedNotification, QJApplicationShutdownFinishedNotification}) {
            QJNotificationCenter::defaultCenter()->addObserver(name, this, [this](const QJNotification &n) {
                ++posted;
                journal << n.name;
            });
        }
        connect(manager.get(), &QJBootManager::bootFinished, this, [this] { ++signalled; });
        connect(manager.get(), &QJBootManager::shutdownFinished, this, [this] { ++signalled; });
    }

    void cleanup()
    {
        QJNotificationCenter::defaultCenter()->removeObserver(this);
        manager.reset();
        QCOMPARE(sharedBootManager, nullptr);
    }

    void startUpRunsInOrder_data()
    {
        QTest::addColumn<QStringList>("classes");
        QTest::addColumn<bool>("withPanel");
        QTest::addColumn<QStringList>("expected");
        const QString done = u"QJApplicationBootFinished"_s;

        QTest::newRow("nothing registered: posted at launch") << QStringList() << false << QStringList {done};
        QTest::newRow("nothing registered, a panel: never opened, nothing posted")
            << QStringList() << true << QStringList {u"info:"_s};
        QTest::newRow("registration order, duplicates once") << QStringList {u"Singleton"_s, u"Alpha"_s,
            u"Singleton"_s} << false << QStringList {u"boot:Singleton"_s, u"boot:Alpha"_s, done};
        QTest::newRow("a class that takes no part is made, not run") << QStringList {
            u"Bystander"_s, u"Alpha"_s} << false << QStringList {u"made:Bystander"_s, u"boot:Alpha"_s, done};
        QTest::newRow("a name that resolves to nothing is skipped")
            << QStringList {u"Unknown"_s, u"Alpha"_s} << false << QStringList {u"boot:Alpha"_s, done};
        QTest::newRow("the panel opens while the first class is handled and waits for its time")
            << QStringList {u"Bystander"_s, u"Gamma"_s, u"Alpha"_s} << true
            << QStringList {u"made:Bystander"_s, u"open"_s, u"info:Loading gamma"_s, u"boot:Gamma"_s, u"info:"_s,
                   u"boot:Alpha"_s, u"info:"_s, u"close"_s, done};
        QTest::newRow("a participant reporting from inside its step runs the next once")
            << QStringList {u"Eager"_s, u"Alpha"_s} << false << QStringList {u"boot:Eager"_s, u"boot:Alpha"_s, done};
    }

    void startUpRunsInOrder()
    {
        QFETCH(QStringList, classes);
        QFETCH(bool, withPanel);
        QFETCH(QStringList, expected);
        Panel panel;
        if (withPanel) {
            QJBootManager::provideObjectForBootStatusPanel(&panel);
            QJBootManager::setMinimumTimeForBootStatusPanel(0.05);
        }
        for (const QString &name : std::as_const(classes))
            registrars.value(name)();
        launch();
        launch(); // the launch runs once
        if (withPanel && !classes.isEmpty()) {
            QVERIFY(!QJBootManager::isBootFinished()); // the panel's minimum time is still running
            QVERIFY(!journal.contains(u"close"_s));
            QTRY_COMPARE(posted, 1);
        }
        QCOMPARE(journal, expected);
        QCOMPARE(signalled, posted);
        // Finished even where nothing was posted: no participant and no panel timer is left.
        QVERIFY(QJBootManager::isBootFinished());
    }

    void waitingParticipantHoldsTheRest()
    {
        answers[u"Singleton"_s] = false;
        QJBootManager::registerClassForBootSequence<Alpha>();
        QJBootManager::registerClassForBootSequence<Singleton>();
        QJBootManager::registerClassForBootSequence<Gamma>();
        launch();
        QCOMPARE(journal, (QStringList {u"boot:Alpha"_s, u"boot:Singleton"_s}));
        QVERIFY(!QJBootManager::isBootFinished());

        // Reporting with the manager starts over from the first participant.
        QJBootManager::objectFinishedBootSequence(manager.get());
        QCOMPARE(journal.mid(2), (QStringList {u"boot:Alpha"_s, u"boot:Singleton"_s}));

        QJBootManager::objectFinishedBootSequence(Singleton::sharedInstance());
        QCOMPARE(journal.mid(4), (QStringList {u"boot:Gamma"_s, u"QJApplicationBootFinished"_s}));
        QVERIFY(QJBootManager::isBootFinished());

        // Start-up is over: late reports, of any kind, change nothing.
        journal.clear();
        QJBootManager::objectFinishedBootSequence(Singleton::sharedInstance());
        QJBootManager::objectFinishedBootSequence(manager.get());
        QJBootManager::objectFinishedBootSequence(static_cast<QJBootSequence *>(nullptr));
        manager->finishBoot();
        QCOMPARE(journal, QStringList());
        QCOMPARE(posted, 1);
        QCOMPARE(signalled, 1);
    }

    void badReportsThrowAndChangeNothing_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("nil participant") << 0;
        QTest::newRow("object that is not a participant") << 1;
        QTest::newRow("another manager") << 2;
    }

    void badReportsThrowAndChangeNothing()
    {
        QFETCH(int, kind);
        answers[u"Alpha"_s] = false;
        QJBootManager::registerClassForBootSequence<Alpha>();
        QJBootManager::registerClassForBootSequence<Gamma>();
        launch();
        Alpha stranger;
        QJBootManager other;
        sharedBootManager = manager.get(); // the second manager made itself the shared one
        try {
            if (kind == 0)
                QJBootManager::objectFinishedBootSequence(static_cast<QJBootSequence *>(nullptr));
            else if (kind == 1)
                QJBootManager::objectFinishedBootSequence(&stranger);
            else
                QJBootManager::objectFinishedBootSequence(&other);
            QFAIL("no exception");
        } catch (const std::invalid_argument &e) {
            QCOMPARE(QString::fromUtf8(e.what()), u"invalid or nil object given"_s);
        }
        QCOMPARE(journal, QStringList {u"boot:Alpha"_s});
        // The sequence still goes on.
        answers[u"Alpha"_s] = true;
        QJBootManager::objectFinishedBootSequence(manager.get());
        QCOMPARE(
            journal, (QStringList {u"boot:Alpha"_s, u"boot:Alpha"_s, u"boot:Gamma"_s, u"QJApplicationBootFinished"_s}));
    }

    void panelClosesWhenBothTimeAndParticipantsAreDone()
    {
        // The last participant finishes after the panel's time is up: the panel closes at once.
        Panel panel;
        QJBootManager::provideObjectForBootStatusPanel(&panel);
        QJBootManager::setMinimumTimeForBootStatusPanel(0.01);
        answers[u"Alpha"_s] = false;
        QJBootManager::registerClassForBootSequence<Alpha>();
        launch();
        QTest::qWait(100);
        QCOMPARE(journal, (QStringList {u"open"_s, u"info:"_s, u"boot:Alpha"_s}));
        answers[u"Alpha"_s] = true;
        QJBootManager::objectFinishedBootSequence(manager.get());
        QCOMPARE(
            journal.mid(3), (QStringList {u"info:"_s, u"boot:Alpha"_s, u"close"_s, u"QJApplicationBootFinished"_s}));
    }

    void shutDownRunsParticipantsAndGivesUpClaims()
    {
        answers[u"second"_s] = false;
        auto first = std::make_shared<Closer>(u"first"_s);
        auto second = std::make_shared<Closer>(u"second"_s);
        auto bystander = std::make_shared<QObject>();
        Closer borrowed(u"borrowed"_s);
        Closer *secondObject = second.get();
        std::weak_ptr<Closer> firstAlive = first;
        std::weak_ptr<QObject> bystanderAlive = bystander;
        for (const std::shared_ptr<QObject> &object : {std::shared_ptr<QObject>(first), bystander})
            QJBootManager::registerObjectForShutdownSequence(object);
        QJBootManager::registerObjectForShutdownSequence(&borrowed);
        QJBootManager::registerObjectForShutdownSequence(second);
        QJBootManager::registerObjectForShutdownSequence(first);
        QJBootManager::registerObjectForShutdownSequence(&borrowed);
        QCOMPARE(applicationShutdownSequences.size(), 4);
        first.reset();
        second.reset();
        bystander.reset();
        QVERIFY(!firstAlive.expired()); // the registry keeps them

        QJNotificationCenter::defaultCenter()->post(QJApplicationWillTerminateNotification);
        QCOMPARE(journal, (QStringList {u"shut:first"_s, u"shut:borrowed"_s, u"shut:second"_s}));
        QVERIFY(bystanderAlive.expired()); // the registry's share is given up at once
        QVERIFY(!firstAlive.expired()); // participants are kept until shut-down has finished
        QVERIFY(!QJBootManager::isShutdownFinished());

        journal.clear();
        QJBootManager::objectFinishedShutdownSequence(secondObject);
        QCOMPARE(journal, (QStringList {u"gone:first"_s, u"gone:second"_s, u"QJApplicationShutdownFinished"_s}));
        QVERIFY(QJBootManager::isShutdownFinished());
        QCOMPARE(applicationShutdownSequences.size(), 4); // the registry itself is not emptied
        QCOMPARE(signalled, 1);

        // It runs once, and the manager no longer listens to the application.
        journal.clear();
        QJNotificationCenter::defaultCenter()->post(QJApplicationWillTerminateNotification);
        launch();
        QCOMPARE(journal, QStringList());
    }

    void forwardersWithoutManagerDoNothing()
    {
        manager.reset();
        Alpha alpha;
        QJBootManager::objectFinishedBootSequence(&alpha);
        QJBootManager::objectFinishedShutdownSequence(static_cast<QJShutdownSequence *>(nullptr));
        QJBootManager::setMinimumTimeForBootStatusPanel(1);
        QVERIFY(!QJBootManager::isBootFinished());
        QVERIFY(!QJBootManager::isShutdownFinished());
        QCOMPARE(QJBootManager::_sharedBootManager(), nullptr);
    }

private:
    void launch() { QJNotificationCenter::defaultCenter()->post(QJApplicationWillFinishLaunchingNotification); }
    std::unique_ptr<QJBootManager> manager;
    int posted = 0;
    int signalled = 0;
};

QTEST_GUILESS_MAIN(TestQJBootManager)
#include "tst_qjbootmanager.moc"
