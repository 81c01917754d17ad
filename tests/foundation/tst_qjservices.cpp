// SPDX-License-Identifier: LGPL-2.1-or-later
// The notification centre, the user defaults and file wrappers.
#include "QJFileWrapper.h"
#include "QJNotificationCenter.h"
#include "QJPropertyListSerialization.h"
#include "QJUserDefaults.h"
#include "qjtestsupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <QThread>

#include <atomic>

using namespace Qt::StringLiterals;

class TestQJServices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void notificationsReachTheirObserversInOrder()
    {
        QJNotificationCenter center;
        QStringList calls;
        QObject context;
        center.addObserver(u"Boot"_s, &context, [&](const QJNotification &n) { calls << u"first:"_s + n.name; });
        center.addObserver(QString(), &context, [&](const QJNotification &n) { calls << u"any:"_s + n.name; });
        center.addObserver(u"Boot"_s, nullptr,
            [&](const QJNotification &n) { calls << u"info:"_s + n.userInfo.objectForKey(u"step"_s).toString(); });
        center.post(u"Boot"_s, nullptr, QJDictionary {{u"step"_s, u"3"_s}});
        center.post(u"Other"_s);
        QCOMPARE(calls, (QStringList {u"first:Boot"_s, u"any:Boot"_s, u"info:3"_s, u"any:Other"_s}));
        calls.clear();
        center.removeObserver(&context, u"Boot"_s);
        {
            QObject gone; // an observer ends with its context
            center.addObserver(u"Boot"_s, &gone, [&](const QJNotification &) { calls << u"gone"_s; });
        }
        center.post(u"Boot"_s);
        QCOMPARE(calls, (QStringList {u"any:Boot"_s, u"info:"_s}));
    }

    void observersMayRemoveThemselvesWhileCalled()
    {
        QJNotificationCenter center;
        QStringList calls;
        quint64 second = 0;
        center.addObserver(u"N"_s, nullptr, [&](const QJNotification &) {
            calls << u"first"_s;
            center.removeObserver(second); // the second is not called any more
            center.addObserver(u"N"_s, nullptr, [&](const QJNotification &) { calls << u"late"_s; });
        });
        second = center.addObserver(u"N"_s, nullptr, [&](const QJNotification &) { calls << u"second"_s; });
        center.post(u"N"_s);
        QCOMPARE(calls, QStringList {u"first"_s});
    }

    void notificationsArriveOnThePostingThread()
    {
        // Atomic: the thread sanitizer cannot see that QThread::wait() orders the worker's write first.
        std::atomic<QThread *> deliveredOn = nullptr;
        QJNotificationCenter::defaultCenter()->addObserver(
            u"FromWorker"_s, this, [&](const QJNotification &) { deliveredOn = QThread::currentThread(); });
        QThread *worker = QThread::create([] { QJNotificationCenter::defaultCenter()->post(u"FromWorker"_s); });
        worker->start();
        QVERIFY(worker->wait(10000));
        QCOMPARE(deliveredOn.load(), worker);
        delete worker;
        QJNotificationCenter::defaultCenter()->removeObserver(this);
    }

    void userDefaultsKeepKindsAcrossInstances()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"prefs.plist"_s);
        const QDateTime when(QDate(2026, 11, 21), QTime(9, 30, 0), Qt::UTC);
        {
            QJUserDefaults defaults(path);
            defaults.setBool(true, u"QJAutoUpdateSearchOnStartup"_s);
            defaults.setObject(when, u"QJAutoUpdateLastCheck"_s);
            defaults.setObject(u"true"_s, u"text"_s);
            defaults.setObject(7, u"gone"_s);
            defaults.removeObjectForKey(u"gone"_s);
            QVERIFY(defaults.synchronize());
        }
        // The file is an ordinary XML property list.
        QCOMPARE(QJPropertyListSerialization::propertyListFromFile(path).valueForKey(u"QJAutoUpdateSearchOnStartup"_s),
            QJValue(true));

        QJUserDefaults again(path);
        QCOMPARE(again.objectForKey(u"QJAutoUpdateSearchOnStartup"_s).type(), QJValue::Boolean);
        QVERIFY(again.boolForKey(u"QJAutoUpdateSearchOnStartup"_s));
        QCOMPARE(again.objectForKey(u"QJAutoUpdateLastCheck"_s).toDateTime(), when);
        QCOMPARE(again.objectForKey(u"text"_s).type(), QJValue::String); // "true" stays text
        QCOMPARE(again.objectForKey(u"gone"_s).type(), QJValue::None);
    }

    void userDefaultsFallBackToRegisteredValues()
    {
        QTemporaryDir dir;
        QJUserDefaults::setStandardUserDefaultsPath(dir.filePath(u"standard.plist"_s));
        QJUserDefaults *defaults = QJUserDefaults::standardUserDefaults();
        QCOMPARE(defaults->path(), dir.filePath(u"standard.plist"_s));
        defaults->registerDefaults(QJDictionary {{u"width"_s, 80}});
        QCOMPARE(defaults->objectForKey(u"width"_s), QJValue(80));
        defaults->setObject(100, u"width"_s);
        QCOMPARE(defaults->objectForKey(u"width"_s), QJValue(100));
        defaults->removeObjectForKey(u"width"_s);
        QCOMPARE(defaults->objectForKey(u"width"_s), QJValue(80));
        QVERIFY(defaults->synchronize());
        QCOMPARE(QJPropertyListSerialization::propertyListFromFile(defaults->path()).toDictionary().count(), 0);
    }

    void fileWrappersReadTrees()
    {
        QTemporaryDir dir;
        QVERIFY(QJTest::writeFile(dir.filePath(u"tree/sub/a.txt"_s), "alpha"));
        QVERIFY(QFile::link(u"sub/a.txt"_s, dir.filePath(u"tree/link"_s)));

        bool ok = false;
        const QJFileWrapper tree = QJFileWrapper::fromPath(dir.filePath(u"tree"_s), &ok);
        QVERIFY(ok);
        // Kinds, names, contents and the link's destination (made absolute), all compared.
        const QJFileWrapper built = QJFileWrapper::directory(
            {{u"sub"_s, QJFileWrapper::directory({{u"a.txt"_s, QJFileWrapper::regularFile("alpha")}})},
                {u"link"_s, QJFileWrapper::symbolicLink(dir.filePath(u"tree/sub/a.txt"_s))}});
        QVERIFY(built == tree);
        QJFileWrapper changed = built;
        changed.removeFileWrapper(u"link"_s); // implicitly shared: the original stays
        QCOMPARE(built.fileWrappers().size(), 2);
        QVERIFY(!(changed == built));
        QJFileWrapper::fromPath(dir.filePath(u"absent"_s), &ok);
        QVERIFY(!ok);
    }
};

QTEST_GUILESS_MAIN(TestQJServices)
#include "tst_qjservices.moc"
