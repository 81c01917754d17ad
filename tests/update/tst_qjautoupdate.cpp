// SPDX-License-Identifier: LGPL-2.1-or-later
// The update window: the start-up check, alerts, "later", the updater hand-over; against a real server.
#include "QJAutoUpdate.h"
#include "QJBootManager.h"
#include "QJBundle.h"
#include "QJNotificationCenter.h"
#include "QJUpdater.h"
#include "QJUserDefaults.h"
#include "versiondirectory.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTextBlock>
#include <QTextEdit>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace
{
// A start-up participant that holds start-up until it is told to finish.
class Holder : public QObject, public QJBootSequence
{
    Q_OBJECT
public:
    static Holder *sharedInstance()
    {
        static Holder holder;
        return &holder;
    }
    bool bootSequence() override { return false; }
};

QMessageBox *shownAlert()
{
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == u"QJAutoUpdateAlert" && widget->isVisible())
            return qobject_cast<QMessageBox *>(widget);
    }
    return nullptr;
}

int indexRequests(const VersionDirectory &v)
{
    return int(v.server.requests().count(VersionDirectory::directoryPath() + u"info.plist"_s));
}
} // namespace

class TestQJAutoUpdate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QGuiApplication::setQuitOnLastWindowClosed(false);
        QJBundle main = QJBundle::mainBundle();
        main.setObjectForInfoDictionaryKey(u"Test Writer"_s, u"CFBundleName"_s);
        main.setObjectForInfoDictionaryKey(u"41"_s, u"CFBundleVersion"_s);
        main.setObjectForInfoDictionaryKey(u"4.1"_s, u"CFBundleShortVersionString"_s);
    }

    void init()
    {
        prefs = std::make_unique<QTemporaryDir>();
        QJUserDefaults::setStandardUserDefaultsPath(prefs->filePath(u"prefs.plist"_s));
        v = std::make_unique<VersionDirectory>();
        QJBundle::mainBundle().setObjectForInfoDictionaryKey(v->server.baseUrl().toString(), QJAutoUpdateBaseURLKey);
        applicationBootSequences.clear();
        manager = std::make_unique<QJBootManager>();
    }

    void cleanup()
    {
        QLocale::setDefault(QLocale::system());
        delete sharedAutoUpdateInstance;
        updater = nullptr;
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == u"QJAutoUpdateAlert")
                delete widget;
        }
        manager.reset();
        v.reset();
        QJUpdater::setPath(QString());
    }

    void windowHasItsOutletsAndPreference_data()
    {
        QTest::addColumn<int>("stored"); // -1: absent
        QTest::addColumn<bool>("checked");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QStringList>("texts"); // title, heading, check box, Update, Later, Cancel, start-up status
        const QStringList english {u"Test Writer Update"_s, u"A new version of Test Writer is available"_s,
            u"Check for updates at start-up"_s, u"Update"_s, u"Remind Me Later"_s, u"Cancel"_s,
            u"Checking for updates…"_s};
        QTest::newRow("absent: switched on and stored") << -1 << true << u"C"_s << english;
        QTest::newRow("stored on") << 1 << true << u"C"_s << english;
        QTest::newRow("stored off") << 0 << false << u"C"_s << english;
        // Every text of the window comes from the table of the user's language.
        QTest::newRow("German") << -1 << true << u"de_DE"_s
                                << QStringList {u"Update für Test Writer"_s,
                                       u"Eine neue Version von Test Writer ist verfügbar"_s,
                                       u"Beim Start nach Updates suchen"_s, u"Aktualisieren"_s, u"Später erinnern"_s,
                                       u"Abbrechen"_s, u"Suche nach Updates …"_s};
        // Chinese (China) finds the Simplified Chinese table by its region.
        QTest::newRow("Chinese (China)") << -1 << true << u"zh_CN"_s
                                         << QStringList {u"Test Writer 更新"_s, u"Test Writer 有新版本可用"_s,
                                                u"启动时检查更新"_s, u"更新"_s, u"稍后提醒"_s, u"取消"_s,
                                                u"正在检查更新…"_s};
        // A regional variant without a table of its own takes its language's table.
        QTest::newRow("Portuguese (Brazil)")
            << -1 << true << u"pt_BR"_s
            << QStringList {u"Atualização de Test Writer"_s, u"Está disponível uma nova versão de Test Writer"_s,
                   u"Procurar atualizações ao iniciar"_s, u"Atualizar"_s, u"Lembrar mais tarde"_s, u"Cancelar"_s,
                   u"A procurar atualizações…"_s};
        // Traditional Chinese has no table: English, not the Simplified one.
        QTest::newRow("Chinese (Taiwan)") << -1 << true << u"zh_TW"_s << english;
    }

    void windowHasItsOutletsAndPreference()
    {
        QFETCH(int, stored);
        QFETCH(bool, checked);
        QFETCH(QString, locale);
        QFETCH(QStringList, texts);
        QJUserDefaults *defaults = QJUserDefaults::standardUserDefaults();
        if (stored >= 0)
            defaults->setBool(stored == 1, QJAutoUpdateSearchOnStartupKey);
        QLocale::setDefault(QLocale(locale));
        makeUpdater();
        QCOMPARE(sharedAutoUpdateInstance, updater);
        QCOMPARE(updater->window()->objectName(), u"_window"_s);
        QVERIFY(outlet<QTextEdit>("_longDescription"));
        QVERIFY(outlet<QLabel>("_shortDescription"));
        auto *buttons = outlet<QDialogButtonBox>("buttonBox");
        auto *update = outlet<QPushButton>("updateButton");
        auto *later = outlet<QPushButton>("laterButton");
        auto *cancel = outlet<QPushButton>("cancelButton");
        QVERIFY(buttons && update && later && cancel);
        // The platform orders the buttons by their roles.
        QCOMPARE(buttons->buttonRole(update), QDialogButtonBox::AcceptRole);
        QCOMPARE(buttons->buttonRole(later), QDialogButtonBox::ActionRole);
        QCOMPARE(buttons->buttonRole(cancel), QDialogButtonBox::RejectRole);
        QVERIFY(update->isDefault());
        auto *box = outlet<QCheckBox>("_checkOnStartup");
        QCOMPARE(box->isChecked(), checked);
        QCOMPARE(defaults->objectForKey(QJAutoUpdateSearchOnStartupKey), QJValue(checked));
        QCOMPARE((QStringList {updater->window()->windowTitle(), outlet<QLabel>("headingLabel")->text(), box->text(),
                     update->text(), later->text(), cancel->text(), updater->bootSequenceName()}),
            texts);
        QCOMPARE(updater->installedVersion(), u"4.1"_s);

        // The setter writes the preference only; saving writes the box.
        updater->setChecksOnStartup(!checked);
        QCOMPARE(box->isChecked(), checked);
        QCOMPARE(updater->checksOnStartup(), !checked);
        updater->_savePreferences();
        QCOMPARE(updater->checksOnStartup(), checked);
        // It takes part in shut-down only as a registered object.
        bool registered = false;
        for (const auto &entry : std::as_const(applicationShutdownSequences))
            registered |= entry.object == updater;
        QVERIFY(registered);
    }

    void startUpCheckWaitsForBootFinished()
    {
        v->publishStandardDirectory();
        makeUpdater();
        QSignalSpy finished(updater, &QJAutoUpdate::checkFinished);
        QJBootManager::registerClassForBootSequence<QJAutoUpdate>();
        QJBootManager::registerClassForBootSequence<Holder>();
        QJNotificationCenter::defaultCenter()->post(QJApplicationWillFinishLaunchingNotification);
        QVERIFY(finished.wait(10000));
        QTest::qWait(50);
        QVERIFY(!updater->isOpen()); // start-up is still held
        QCOMPARE(updater->availableVersion(), u"5.0"_s);
        QVERIFY(updater->lastCheck().isValid());
        QVERIFY(!shownAlert());

        QJBootManager::objectFinishedBootSequence(Holder::sharedInstance());
        QTRY_VERIFY(updater->isOpen());

        auto *list = outlet<QTextEdit>("_longDescription");
        QCOMPARE(list->toPlainText(),
            u"Version 5.0 (build 4a)\nA new look.\n\nVersion 4.3 (build 43)\nA word counter.\n\n"
            "Version 4.2 (build 42)\nFaster saving.\n\n"_s);
        // Headings bold, descriptions plain.
        for (QTextBlock block = list->document()->begin(); block.isValid(); block = block.next()) {
            for (auto it = block.begin(); !it.atEnd(); ++it) {
                const QTextFragment fragment = it.fragment();
                QCOMPARE(fragment.charFormat().font().bold(), fragment.text().startsWith(u"Version "_s));
            }
        }
        QCOMPARE(outlet<QLabel>("_shortDescription")->text(),
            u"Version 5.0 (build 4a) is available. You can update now or be reminded later."_s);
    }

    void startUpNeverWaitsForTheCheck()
    {
        v->publishStandardDirectory();
        v->server.setBehaviour(u"info.plist"_s, VersionServer::Silent);
        makeUpdater();
        bool checkingAtBootFinished = false;
        QJNotificationCenter::defaultCenter()->addObserver(QJApplicationBootFinishedNotification, this,
            [&](const QJNotification &) { checkingAtBootFinished = updater->isChecking(); });
        QJBootManager::registerClassForBootSequence<QJAutoUpdate>();
        QJNotificationCenter::defaultCenter()->post(QJApplicationWillFinishLaunchingNotification);
        QJNotificationCenter::defaultCenter()->removeObserver(this);
        QVERIFY(QJBootManager::isBootFinished());
        QVERIFY(checkingAtBootFinished);
        // The silent server ends the check in the no-update branch, without a word.
        QSignalSpy finished(updater, &QJAutoUpdate::checkFinished);
        QVERIFY(finished.wait(10000));
        QCOMPARE(finished.at(0).at(0).value<QJUpdateCheckResult>().status, QJUpdateCheckResult::NoUpdate);
        QTest::qWait(50);
        QVERIFY(!shownAlert());
        QVERIFY(!updater->isOpen());
    }

    void alertsOnlyOutsideStartUp_data()
    {
        QTest::addColumn<bool>("reachable");
        QTest::addColumn<bool>("atStartUp");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");

        QTest::newRow("unreachable at start-up: silent") << false << true << QString() << QString();
        QTest::newRow("nothing new at start-up: silent") << true << true << QString() << QString();
        QTest::newRow("unreachable") << false << false << u"Update server not reachable"_s
                                     << u"The update server could not be reached. Check the network connection and try "
                                        "again later."_s;
        QTest::newRow("nothing new") << true << false << u"No update available"_s
                                     << u"You are using the latest version of Test Writer."_s;
    }

    void alertsOnlyOutsideStartUp()
    {
        QFETCH(bool, reachable);
        QFETCH(bool, atStartUp);
        QFETCH(QString, title);
        QFETCH(QString, text);
        v->publish({u"40"_s, u"41"_s});
        if (!atStartUp)
            QJUserDefaults::standardUserDefaults()->setBool(false, QJAutoUpdateSearchOnStartupKey);
        makeUpdater(reachable);
        finishBoot();
        QSignalSpy finished(updater, &QJAutoUpdate::checkFinished);
        updater->bootSequence(); // checks when the box is on; else only ends the start-up mode
        if (!atStartUp) {
            QVERIFY(!updater->isChecking());
            updater->open();
        }
        QVERIFY(finished.wait(10000));
        QTest::qWait(50);
        QCOMPARE(updater->lastCheck().isValid(), reachable);
        QCOMPARE(updater->availableVersion(), reachable ? u"4.1"_s : QString());
        QVERIFY(!updater->isOpen());
        QMessageBox *alert = shownAlert();
        QCOMPARE(alert != nullptr, !title.isEmpty());
        if (alert) {
            QCOMPARE(alert->text(), title);
            QCOMPARE(alert->informativeText(), text);
            QCOMPARE(alert->buttons().size(), 1);
            QCOMPARE(alert->buttons().constFirst()->text(), u"OK"_s);
        }
    }

    void serverTextStaysPlain()
    {
        const QString hostile = u"<b>bold</b><img src=\"x.png\"><a href=\"http://x\">link</a>{\\rtf1\\b rtf}&amp;"_s;
        v->publish({u"50"_s});
        v->addRecord(u"50"_s, u"<i>5</i>"_s, hostile);
        openOnAnUpdate();
        auto *list = outlet<QTextEdit>("_longDescription");
        QCOMPARE(list->toPlainText(), u"Version <i>5</i> (build 50)\n"_s + hostile + u"\n\n"_s);
        const QString html = list->document()->toHtml();
        QVERIFY(!html.contains(u"<img"_s) && !html.contains(u"<a href"_s) && !html.contains(u"<i>"_s));
        auto *summary = outlet<QLabel>("_shortDescription");
        QCOMPARE(summary->textFormat(), Qt::PlainText);
        QVERIFY(summary->text().startsWith(u"Version <i>5</i> (build 50)"_s));
    }

    void laterChecksAgainOnce()
    {
        v->publishStandardDirectory();
        openOnAnUpdate();
        outlet<QCheckBox>("_checkOnStartup")->setChecked(false);
        updater->setLaterInterval(300);
        v->server.clearRequests();
        outlet<QPushButton>("laterButton")->click();
        QVERIFY(!updater->isOpen());
        QCOMPARE(updater->checksOnStartup(), false); // the box was saved
        QTRY_VERIFY(updater->isOpen()); // the reminder checked again and found the update
        QTest::qWait(700);
        QCOMPARE(indexRequests(*v), 1); // once only

        // A check that finds the update drops a pending reminder.
        updater->setLaterInterval(800);
        updater->later();
        v->server.clearRequests();
        updater->open();
        QTRY_VERIFY(updater->isOpen());
        QTest::qWait(1200);
        QCOMPARE(indexRequests(*v), 1);
    }

    void updateStartsUpdaterOrStays_data()
    {
        QTest::addColumn<bool>("startable");
        QTest::newRow("updater starts: the application quits") << true;
        QTest::newRow("updater missing: an alert, the application stays") << false;
    }

    void updateStartsUpdaterOrStays()
    {
        QFETCH(bool, startable);
        v->publishStandardDirectory();
        openOnAnUpdate();
        const QString marker = prefs->filePath(u"updater-ran"_s);
        if (startable) {
            const QString script = prefs->filePath(u"Updater"_s);
            QVERIFY(QJTest::writeFile(script, "#!/bin/sh\necho ran > '" + marker.toUtf8() + "'\n"));
            QFile::setPermissions(script, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            QJUpdater::setPath(script);
        } else {
            QJUpdater::setPath(prefs->filePath(u"no/Updater"_s));
        }
        outlet<QCheckBox>("_checkOnStartup")->setChecked(false);

        // update() quits through the application's event loop; a watchdog ends the loop otherwise, after
        // noting what is on screen (quitting closes the windows).
        bool watchdogFired = false;
        bool openAtWatchdog = false;
        QMessageBox *alert = nullptr;
        QString alertText, alertDetail;
        QTimer watchdog;
        watchdog.setSingleShot(true);
        connect(&watchdog, &QTimer::timeout, this, [&] {
            watchdogFired = true;
            openAtWatchdog = updater->isOpen();
            if ((alert = shownAlert())) {
                alertText = alert->text();
                alertDetail = alert->informativeText();
            }
            QCoreApplication::quit();
        });
        watchdog.start(1500);
        QTimer::singleShot(0, updater, &QJAutoUpdate::update);
        QCoreApplication::exec();
        QCOMPARE(watchdogFired, !startable);
        QCOMPARE(updater->checksOnStartup(), false); // saved either way
        if (startable) {
            QTRY_VERIFY(QFile::exists(marker));
        } else {
            QVERIFY(openAtWatchdog);
            QVERIFY(alert);
            QCOMPARE(alertText, u"The updater could not be started"_s);
            QCOMPARE(
                alertDetail, u"“"_s + prefs->filePath(u"no/Updater"_s) + u"” could not be started: no such file"_s);
        }
    }

    void destroyingDuringCheckReturns()
    {
        v->publishStandardDirectory();
        v->server.setBehaviour(u"info.plist"_s, VersionServer::Silent);
        makeUpdater();
        updater->setCheckerConfiguration({}); // the default ten seconds
        finishBoot();
        updater->open();
        QVERIFY(updater->isChecking());
        QTRY_COMPARE(indexRequests(*v), 1);
        QElapsedTimer clock;
        clock.start();
        delete updater;
        updater = nullptr;
        QCOMPARE(sharedAutoUpdateInstance, nullptr);
        QVERIFY2(clock.elapsed() < 5000, "the running check was not stopped");
    }

private:
    QJAutoUpdate *makeUpdater(bool reachable = true)
    {
        updater = QJAutoUpdate::sharedInstance();
        updater->setCheckerConfiguration([reachable](QJUpdateChecker &checker) {
            checker.setTimeout(2000);
            if (!reachable) {
                checker.setReachabilityTest([](const QUrl &, QString *reason) {
                    *reason = u"offline for the test"_s;
                    return false;
                });
            }
        });
        return updater;
    }

    // After start-up, the user asks for a check; the window opens on the update it finds.
    void openOnAnUpdate()
    {
        makeUpdater();
        finishBoot();
        updater->open();
        QTRY_VERIFY_WITH_TIMEOUT(updater->isOpen(), 10000); // a check on a busy machine can take seconds
    }

    // Start-up with no participants: it is over at once.
    void finishBoot()
    {
        QJNotificationCenter::defaultCenter()->post(QJApplicationWillFinishLaunchingNotification);
        QVERIFY(QJBootManager::isBootFinished());
    }

    template<typename T>
    T *outlet(const char *name)
    {
        return updater->window()->findChild<T *>(QString::fromLatin1(name));
    }

    std::unique_ptr<QTemporaryDir> prefs;
    std::unique_ptr<VersionDirectory> v;
    std::unique_ptr<QJBootManager> manager;
    QJAutoUpdate *updater = nullptr;
};

QTEST_MAIN(TestQJAutoUpdate)
#include "tst_qjautoupdate.moc"
