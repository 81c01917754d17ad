// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBundle.h"
#include "QJPropertyListSerialization.h"
#include "qjtestsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QStringEncoder>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using QJTest::writeFile;

class TestQJBundle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stringsTablesParse_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QJDictionary>("table");
        QTest::newRow("plain") << QByteArray("\"greeting\" = \"Hello\";\n\"bye\"=\"Bye\";")
                               << QJDictionary {{u"greeting"_s, u"Hello"_s}, {u"bye"_s, u"Bye"_s}};
        QTest::newRow("comments") << QByteArray(
            "/* The title\n   of the window */\n\"title\" = \"Main\"; // trailing\n")
                                  << QJDictionary {{u"title"_s, u"Main"_s}};
        QTest::newRow("escapes") << QByteArray(R"("k" = "tab\there \"quoted\" back\\slash\nnew \U00e9 \101";)")
                                 << QJDictionary {{u"k"_s, u"tab\there \"quoted\" back\\slash\nnew \u00e9 A"_s}};
        QTest::newRow("unquoted key and shorthand") << QByteArray(
            "version = \"%@ (%@)\"; \"Same\";") << QJDictionary {{u"version"_s, u"%@ (%@)"_s}, {u"Same"_s, u"Same"_s}};
        QTest::newRow("UTF-8 text and byte-order mark")
            << QByteArray("\xEF\xBB\xBF\"...\" = \"\xE2\x80\xA6\";") << QJDictionary {{u"..."_s, u"\u2026"_s}};
        const QByteArray utf16 = QStringEncoder(QStringEncoder::Utf16LE)(u"\"a\" = \"\u00fc\";");
        QTest::newRow("UTF-16 little endian") << "\xFF\xFE"_ba + utf16 << QJDictionary {{u"a"_s, u"\u00fc"_s}};
        QTest::newRow("XML property list")
            << QJPropertyListSerialization::dataFromPropertyList(QJDictionary {{u"x"_s, u"y"_s}})
            << QJDictionary {{u"x"_s, u"y"_s}};
        QTest::newRow("empty") << QByteArray("  /* nothing */ ") << QJDictionary {};
    }

    void stringsTablesParse()
    {
        QFETCH(QByteArray, data);
        QFETCH(QJDictionary, table);
        QString error;
        const QJValue parsed = QJPropertyListSerialization::stringsTableFromData(data, &error);
        QVERIFY2(parsed.isDictionary(), qPrintable(error));
        QCOMPARE(parsed.toDictionary(), table);
    }

    void brokenStringsTablesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("missing semicolon") << QByteArray("\"a\" = \"b\"\n\"c\" = \"d\";");
        QTest::newRow("unterminated string") << QByteArray("\"a\" = \"b;");
        QTest::newRow("unterminated comment") << QByteArray("/* \"a\" = \"b\";");
        QTest::newRow("not a dictionary") << QJPropertyListSerialization::dataFromPropertyList(QJArray {1});
        QTest::newRow("invalid UTF-8") << QByteArray("\"a\" = \"\xC3\x28\";");
    }

    void brokenStringsTablesAreRefused()
    {
        QFETCH(QByteArray, data);
        QString error;
        QVERIFY(QJPropertyListSerialization::stringsTableFromData(data, &error).isNone());
        QVERIFY(!error.isEmpty());
    }

    void localizedStringsFallBackByLanguageThenKey()
    {
        QTemporaryDir dir;
        writeFile(dir.filePath(u"en.lproj/Menu.strings"_s), "\"open\" = \"Open\"; \"save\" = \"Save\";");
        writeFile(dir.filePath(u"de.lproj/Menu.strings"_s),
            "\"open\" = \"\xC3\x96"
            "ffnen\";");
        writeFile(dir.filePath(u"en.lproj/Localizable.strings"_s), "\"...\" = \"\xE2\x80\xA6\";");
        const QJBundle bundle(dir.path());

        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        const QStringList languages = QJBundle::preferredLanguages();
        QVERIFY(languages.contains(u"de-DE"_s) && languages.contains(u"de_DE"_s)); // both spellings of a region
        QVERIFY(languages.indexOf(u"de"_s) >= 0 && languages.indexOf(u"de"_s) < languages.indexOf(u"en"_s));
        QCOMPARE(languages.last(), u"en"_s);
        QCOMPARE(bundle.localizedStringForKey(u"open"_s, QString(), u"Menu"_s), u"\u00d6ffnen"_s);
        QCOMPARE(bundle.localizedStringForKey(u"save"_s, QString(), u"Menu"_s), u"Save"_s); // from English
        QCOMPARE(bundle.localizedStringForKey(u"quit"_s, u"Quit"_s, u"Menu"_s), u"Quit"_s); // the given value
        QCOMPARE(bundle.localizedStringForKey(u"quit"_s, QString(), u"Menu"_s), u"quit"_s); // the key itself
        QCOMPARE(bundle.localizedStringForKey(u"..."_s), u"\u2026"_s); // default table
        QCOMPARE(bundle.localizedStringForKey(u"open"_s, QString(), u"NoSuchTable"_s), u"open"_s);
        QCOMPARE(bundle.stringsTable(u"Menu"_s, u"de"_s).count(), 1);

        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(bundle.localizedStringForKey(u"open"_s, QString(), u"Menu"_s), u"Open"_s);
    }

    void infoDictionaryComesFromInfoPlistThenTheApplication()
    {
        QCoreApplication::setApplicationName(u"Scribe"_s);
        QCoreApplication::setApplicationVersion(u"2.1"_s);
        QTemporaryDir plain;
        QJBundle::setMainBundlePath(plain.path());
        QJBundle main = QJBundle::mainBundle();
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleName"_s), QJValue(u"Scribe"_s));
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s), QJValue(u"2.1"_s));
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleVersion"_s), QJValue(u"2.1"_s));
        QVERIFY(!main.infoDictionary().isMutable());

        QTemporaryDir shipped;
        QVERIFY(writeFile(shipped.filePath(u"Resources/Info.plist"_s),
            QJPropertyListSerialization::dataFromPropertyList(
                QJDictionary {{u"CFBundleVersion"_s, u"2.1.345"_s}, {u"Extra"_s, true}})));
        QJBundle::setMainBundlePath(shipped.path());
        main = QJBundle::mainBundle();
        QCOMPARE(main.resourcePath(), shipped.filePath(u"Resources"_s));
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleVersion"_s), QJValue(u"2.1.345"_s)); // the file wins
        QCOMPARE(main.objectForInfoDictionaryKey(u"CFBundleName"_s), QJValue(u"Scribe"_s)); // filled in
        QCOMPARE(main.objectForInfoDictionaryKey(u"Extra"_s), QJValue(true));
        main.setObjectForInfoDictionaryKey(u"http://127.0.0.1/AppServices/Versions/"_s, u"QJAutoUpdateBaseURL"_s);
        QCOMPARE(QJBundle::mainBundle().objectForInfoDictionaryKey(u"QJAutoUpdateBaseURL"_s).toString(),
            u"http://127.0.0.1/AppServices/Versions/"_s);
    }

    void resourcesPreferLocalizedCopies()
    {
        QTemporaryDir dir;
        QVERIFY(writeFile(dir.filePath(u"credits.html"_s), "plain"));
        QVERIFY(writeFile(dir.filePath(u"fr.lproj/credits.html"_s), "french"));
        QVERIFY(writeFile(dir.filePath(u"logo.svg"_s), "<svg/>"));
        const QJBundle bundle(dir.path());
        QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
        QCOMPARE(bundle.pathForResource(u"credits"_s, u"html"_s), dir.filePath(u"fr.lproj/credits.html"_s));
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
        QCOMPARE(bundle.pathForResource(u"credits.html"_s, QString()), dir.filePath(u"credits.html"_s));
        QCOMPARE(bundle.pathForImageResource(u"logo"_s), dir.filePath(u"logo.svg"_s));
        QVERIFY(bundle.pathForResource(u"missing"_s, u"txt"_s).isEmpty());
    }

    void frameworkBundleIsCompiledIn()
    {
        const QJBundle framework = QJBundle::frameworkBundle();
        QCOMPARE(framework.bundlePath(), u":/qjkit"_s);
        QCOMPARE(framework.objectForInfoDictionaryKey(u"CFBundleName"_s), QJValue(u"QJKit"_s));
        QVERIFY(!(framework == QJBundle::mainBundle()));
    }
};

QTEST_GUILESS_MAIN(TestQJBundle)
#include "tst_qjbundle.moc"
