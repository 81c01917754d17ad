// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DemoSettings.h"

#include "QJBlowfishCoding.h"
#include "QJPropertyListSerialization.h"
#include "qjtestsupport.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using QJTest::readFile;

static const QDateTime Monday(QDate(2025, 3, 3), QTime(9, 0), Qt::UTC);

class TestDemoSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Saved from a worker thread through the main-thread writer, read back with the coded-file reader.
    void roundTripThroughWorkerThread()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"nested/settings.coded"_s);
        DemoSettings settings(path);
        settings.setWindowGeometry(QByteArray("\x01\xd9\xd0\xcb\x00\x03geometry", 14));
        settings.addRecentFile(dir.filePath(u"chapter 10.txt"_s), Monday);
        settings.addRecentFile(dir.filePath(u"chapter 2.txt"_s), Monday.addDays(1));

        QSignalSpy finished(&settings, &DemoSettings::backgroundSaveFinished);
        settings.saveInBackground();
        QVERIFY(settings.isSaving());
        QVERIFY(finished.wait(10000));
        QCOMPARE(finished.constFirst().constFirst().toBool(), true);
        QVERIFY(!settings.isSaving());

        // The file is the coded XML property list, byte for byte what the direct writer gives.
        const QByteArray written = readFile(path);
        QVERIFY(QJBlowfishCoding::writeCodedToFile(settings.toDictionary(), dir.filePath(u"direct.coded"_s)));
        QCOMPARE(written, readFile(dir.filePath(u"direct.coded"_s)));
        QCOMPARE(QJBlowfishCoding::readFromCodedFile(path), QJValue(settings.toDictionary()));

        DemoSettings read(path);
        QVERIFY(read.load());
        QCOMPARE(read.toDictionary(), settings.toDictionary()); // made from the geometry and the recent files
        QCOMPARE(read.lastOpenedFile(), dir.filePath(u"chapter 2.txt"_s));
    }

    // A save asked for during another one follows it and writes the later state.
    void saveAskedForWhileSaving()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath(u"settings.coded"_s);
        DemoSettings settings(path);
        QSignalSpy finished(&settings, &DemoSettings::backgroundSaveFinished);
        settings.setWindowGeometry("first");
        settings.saveInBackground();
        settings.setWindowGeometry("second");
        settings.saveInBackground();
        settings.saveInBackground(); // folded into the one already queued
        settings.waitForBackgroundSave();
        QCOMPARE(finished.count(), 2);
        QCOMPARE(QJBlowfishCoding::readFromCodedFile(path).valueForKey(u"WindowGeometry"_s).toByteArray(),
            QByteArray("second"));

        // The shut-down step writes what changed since, after any save still running.
        settings.setWindowGeometry("third");
        settings.saveInBackground();
        QVERIFY(settings.shutdownSequence());
        QVERIFY(!settings.isSaving());
        QCOMPARE(QJBlowfishCoding::readFromCodedFile(path).valueForKey(u"WindowGeometry"_s).toByteArray(),
            QByteArray("third"));
    }

    void recentFilesInNaturalOrder()
    {
        DemoSettings settings(QString {});
        QSignalSpy changed(&settings, &DemoSettings::recentFilesChanged);
        settings.addRecentFile(u"/b/chapter 10.txt"_s, Monday);
        settings.addRecentFile(u"/b/chapter 2.txt"_s, Monday.addSecs(60));
        settings.addRecentFile(u"/a/chapter 2.txt"_s, Monday.addSecs(120));
        settings.addRecentFile(u"/b/chapter 1.txt"_s, Monday.addSecs(180));
        QCOMPARE(settings.recentFiles(),
            (QStringList {
                u"/b/chapter 1.txt"_s, u"/a/chapter 2.txt"_s, u"/b/chapter 2.txt"_s, u"/b/chapter 10.txt"_s}));
        QCOMPARE(changed.count(), 4);

        // Opening one again moves it to now instead of listing it twice.
        settings.addRecentFile(u"/b/chapter 10.txt"_s, Monday.addDays(1));
        QCOMPARE(settings.recentFiles().count(u"/b/chapter 10.txt"_s), 1);
        QCOMPARE(settings.lastOpenedFile(), u"/b/chapter 10.txt"_s);

        // Past the limit the file opened longest ago goes, wherever it stands in the order.
        for (int i = 0; i < DemoSettings::MaximumRecentFiles - 4; ++i)
            settings.addRecentFile(u"/c/notes %1.txt"_s.arg(i), Monday.addDays(2 + i));
        QCOMPARE(settings.recentFiles().size(), DemoSettings::MaximumRecentFiles);
        settings.addRecentFile(u"/c/zz.txt"_s, Monday.addDays(30));
        QCOMPARE(settings.recentFiles().size(), DemoSettings::MaximumRecentFiles);
        QVERIFY(!settings.recentFiles().contains(u"/b/chapter 2.txt"_s));
        QVERIFY(settings.recentFiles().contains(u"/b/chapter 10.txt"_s));

        settings.removeRecentFile(u"/c/zz.txt"_s);
        QVERIFY(!settings.recentFiles().contains(u"/c/zz.txt"_s));
    }

    void unreadableFilesLeaveDefaults_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("readable");
        QTest::addColumn<int>("recentFiles");

        QTest::newRow("not coded") << QByteArray("<plist><dict/></plist>") << false << 0;
        QTest::newRow("empty") << QByteArray() << false << 0;
        const QByteArray array = QJPropertyListSerialization::dataFromPropertyList(QJArray {u"a"_s});
        QTest::newRow("coded array") << QJBlowfishCoding::encodeWithBlowfishKey(array, QJCodedFilePrimaryKey) << false
                                     << 0;
        const QJDictionary wrongKinds {{u"WindowGeometry"_s, u"not data"_s},
            {u"RecentFiles"_s,
                QJArray {u"/plain/string"_s, QJDictionary {{u"Path"_s, 7}}, QJDictionary {{u"Path"_s, u"/ok.txt"_s}}}}};
        QTest::newRow("entries of the wrong kind") << DemoSettings::codedFile(wrongKinds) << true << 1;
    }

    void unreadableFilesLeaveDefaults()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, readable);
        QFETCH(int, recentFiles);

        QTemporaryDir dir;
        const QString path = dir.filePath(u"settings.coded"_s);
        QVERIFY(QJTest::writeFile(path, bytes));

        DemoSettings settings(path);
        settings.addRecentFile(u"/before.txt"_s);
        QCOMPARE(settings.load(), readable);
        QCOMPARE(settings.windowGeometry(), QByteArray());
        QCOMPARE(settings.recentFiles().size(), readable ? recentFiles : 1);
        QVERIFY(!DemoSettings(dir.filePath(u"missing.coded"_s)).load());
    }
};

QTEST_MAIN(TestDemoSettings)
#include "tst_demosettings.moc"
