// SPDX-License-Identifier: LGPL-2.1-or-later
// The update check without a window, against a real HTTP server on 127.0.0.1, and its qjkit command.
#include "QJUpdateChecker.h"
#include "qjtestsupport.h"
#include "versiondirectory.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <functional>

using namespace Qt::StringLiterals;

using Setup = std::function<void(VersionDirectory &)>;
Q_DECLARE_METATYPE(Setup)

namespace
{
QStringList keysOf(const QJUpdateCheckResult &result)
{
    QStringList keys;
    for (const QJUpdateRecord &record : result.records)
        keys << record.key;
    return keys;
}
} // namespace

class TestQJUpdateChecker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // The build-time default keeps its placeholder host and the fixed path.
        QVERIFY(QJAutoUpdateGetInfoBaseURL.endsWith(u"/AppServices/Versions/"_s));
        QCOMPARE(QJUpdateChecker::infoBaseUrl(), QUrl(QJAutoUpdateGetInfoBaseURL));
        QCOMPARE(QJUpdateChecker::localizedDescriptionKey(), u"en"_s);
    }

    void addresses_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("record");

        const QString base = u"http://updates.example.org/AppServices/Versions/"_s;
        QTest::newRow("name without spaces, lower-cased")
            << base << u"My Writer 2"_s << u"42"_s
            << u"http://updates.example.org/AppServices/Versions/mywriter2/42.plist"_s;
        QTest::newRow("base without a final slash")
            << u"https://h.example.org:8443/AppServices/Versions"_s << u"W"_s << u"1.0b2"_s
            << u"https://h.example.org:8443/AppServices/Versions/w/1.0b2.plist"_s;
        QTest::newRow("parent path in a key stays inside")
            << base << u"W"_s << u"../x"_s << u"http://updates.example.org/AppServices/Versions/w/..%2Fx.plist"_s;
        QTest::newRow("separator in a key")
            << base << u"W"_s << u"a/b"_s << u"http://updates.example.org/AppServices/Versions/w/a%2Fb.plist"_s;
        QTest::newRow("percent sign and query characters")
            << base << u"W"_s << u"50%?#"_s << u"http://updates.example.org/AppServices/Versions/w/50%25%3F%23.plist"_s;
        QTest::newRow("a key that is two dots")
            << base << u"W"_s << u".."_s << u"http://updates.example.org/AppServices/Versions/w/...plist"_s;
        QTest::newRow("slash in the name")
            << base << u"A/B"_s << u"1"_s << u"http://updates.example.org/AppServices/Versions/a%2Fb/1.plist"_s;
    }

    void addresses()
    {
        QFETCH(QString, base);
        QFETCH(QString, name);
        QFETCH(QString, key);
        QFETCH(QString, record);
        const QUrl directory = QJUpdateChecker::directoryUrl(QUrl(base), name);
        const QUrl url = QJUpdateChecker::recordUrl(directory, key);
        QCOMPARE(url.toString(QUrl::FullyEncoded), record);
        // What is sent is what was built: no normalisation folds a key out of the directory.
        QVERIFY(url.path(QUrl::FullyEncoded).startsWith(directory.path(QUrl::FullyEncoded)));
        QCOMPARE(url.adjusted(QUrl::NormalizePathSegments).toString(QUrl::FullyEncoded), record);
    }

    void newerVersions_data()
    {
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QString>("installed");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("newest first, equal and older dropped") << QStringList {u"1.2"_s, u"1.10"_s, u"1.9"_s, u"1.3"_s,
            u"1.1"_s} << u"1.2"_s << QStringList {u"1.10"_s, u"1.9"_s, u"1.3"_s};
        QTest::newRow("hexadecimal digits count") << QStringList {u"1.2.9"_s, u"1.2.a"_s, u"1.2.10"_s} << u"1.2.8"_s
                                                  << QStringList {u"1.2.10"_s, u"1.2.a"_s, u"1.2.9"_s};
        QTest::newRow("leading zeros make no newer build")
            << QStringList {u"1.02"_s, u"1.002"_s} << u"1.2"_s << QStringList();
        QTest::newRow("a difference of case only is no newer build")
            << QStringList {u"1.0B"_s, u"1.0c"_s} << u"1.0b"_s << QStringList {u"1.0c"_s};
        QTest::newRow("nothing newer") << QStringList {u"3"_s, u"2"_s} << u"3"_s << QStringList();
        QTest::newRow("betas order by their hexadecimal number")
            << QStringList {u"1.0b10"_s, u"1.0b2"_s} << u"1.0b1"_s << QStringList {u"1.0b10"_s, u"1.0b2"_s};
    }

    void newerVersions()
    {
        QFETCH(QStringList, keys);
        QFETCH(QString, installed);
        QFETCH(QStringList, expected);
        QCOMPARE(QJUpdateChecker::newerVersions(keys, installed), expected);
    }

    void checkAgainstServer_data()
    {
        QTest::addColumn<Setup>("setup");
        QTest::addColumn<int>("status");
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QStringList>("texts");

        const int available = QJUpdateCheckResult::UpdateAvailable;
        const int none = QJUpdateCheckResult::NoUpdate;

        QTest::newRow("newer versions newest first, equal build dropped")
            << Setup(&VersionDirectory::publishStandardDirectory) << available
            << QStringList {u"4a"_s, u"43"_s, u"42"_s}
            << QStringList {u"5.0|A new look."_s, u"4.3|A word counter."_s, u"4.2|Faster saving."_s};
        QTest::newRow("only equal and older builds") << Setup([](VersionDirectory &v) {
            v.publish({u"40"_s, u"41"_s, u"041"_s});
        }) << none << QStringList() << QStringList();
        QTest::newRow("no index") << Setup([](VersionDirectory &) {}) << none << QStringList() << QStringList();
        QTest::newRow("index is not a property list")
            << Setup([](VersionDirectory &v) { v.writeFile(u"info.plist"_s, "<html><body>Not here</body></html>"); })
            << none << QStringList() << QStringList();
        QTest::newRow("index is an array") << Setup([](VersionDirectory &v) {
            v.writeFile(u"info.plist"_s, QJPropertyListSerialization::dataFromPropertyList(QJArray {u"42"_s}));
        }) << none << QStringList() << QStringList();
        QTest::newRow("entity expansion is refused") << Setup([](VersionDirectory &v) {
            // Each entity holds ten of the one before: expanded, "&j;" would be ten thousand million bytes.
            QByteArray bomb = "<?xml version=\"1.0\"?>\n<!DOCTYPE plist [\n<!ENTITY a \"aaaaaaaaaa\">\n";
            for (char name = 'b'; name <= 'j'; ++name)
                bomb += "<!ENTITY " + QByteArray(1, name) + " \""
                    + ("&" + QByteArray(1, char(name - 1)) + ";").repeated(10) + "\">\n";
            bomb += "]>\n<plist "
                    "version=\"1.0\"><dict><key>&j;</key><string>x</string><key>99</key><string/></dict></plist>";
            v.writeFile(u"info.plist"_s, bomb);
        }) << none << QStringList() << QStringList();
        QTest::newRow("missing and broken records give empty texts") << Setup([](VersionDirectory &v) {
            v.publish({u"42"_s, u"43"_s, u"44"_s});
            v.addRecord(u"43"_s, u"4.3"_s, u"Kept."_s);
            v.writeFile(u"44.plist"_s, "{ version = ");
        }) << available << QStringList {u"44"_s, u"43"_s, u"42"_s} << QStringList {u"|"_s, u"4.3|Kept."_s, u"|"_s};
        QTest::newRow("keys with separators and percent signs stay in the directory")
            << Setup([](VersionDirectory &v) {
                   v.installed = QString(); // "../50" orders before every digit
                   v.publish({u"../50"_s, u"5/1"_s, u"5%2F2"_s});
                   v.addRecord(u"../50"_s, u"outside"_s, u"outside"_s, u"../50.plist"_s);
                   v.addRecord(u"5/1"_s, u"nested"_s, u"nested"_s, u"5/1.plist"_s);
                   v.addRecord(u"5%2F2"_s, u"5.2"_s, u"the file named 5%2F2"_s);
               })
            << available << QStringList {u"5/1"_s, u"5%2F2"_s, u"../50"_s}
            << QStringList {u"|"_s, u"5.2|the file named 5%2F2"_s, u"|"_s};
        QTest::newRow("redirect on the same server is followed") << Setup([](VersionDirectory &v) {
            v.publishStandardDirectory();
            v.writeFile(u"moved/info.plist"_s,
                QJPropertyListSerialization::dataFromPropertyList(QJDictionary {{u"42"_s, u""_s}}));
            v.server.setBehaviour(u"testwriter/info.plist"_s, VersionServer::RedirectToMoved);
        }) << available << QStringList {u"42"_s} << QStringList {u"4.2|Faster saving."_s};
        // The two other ways a server may end an answer: a chunk of size 0, and closing the connection.
        QTest::newRow("index in chunks, records without a length")
            << Setup([](VersionDirectory &v) {
                   v.publishStandardDirectory();
                   v.server.setBehaviour(u".plist"_s, VersionServer::UntilClose);
                   v.server.setBehaviour(u"info.plist"_s, VersionServer::Chunked);
               })
            << available << QStringList {u"4a"_s, u"43"_s, u"42"_s}
            << QStringList {u"5.0|A new look."_s, u"4.3|A word counter."_s, u"4.2|Faster saving."_s};
        // A German user reads the German text the server publishes.
        QTest::newRow("description in the user's language") << Setup([](VersionDirectory &v) {
            v.publish({u"42"_s});
            v.addRecord(u"42"_s, u"4.2"_s, u"Faster saving."_s);
            v.language = u"de_DE"_s;
        }) << available << QStringList {u"42"_s} << QStringList {u"4.2|Beschreibung"_s};
        // A record not yet translated shows its English text rather than none.
        QTest::newRow("no text in the user's language: the English one") << Setup([](VersionDirectory &v) {
            v.publish({u"42"_s});
            v.addRecord(u"42"_s, u"4.2"_s, u"Faster saving."_s);
            v.language = u"ja_JP"_s;
        }) << available << QStringList {u"42"_s} << QStringList {u"4.2|Faster saving."_s};
        // A key chosen on purpose (qjkit check-update --language-key) means that key alone.
        QTest::newRow("a chosen key without a text: none") << Setup([](VersionDirectory &v) {
            v.publish({u"42"_s});
            v.addRecord(u"42"_s, u"4.2"_s, u"Faster saving."_s);
            v.descriptionKey = u"ja"_s;
        }) << available << QStringList {u"42"_s} << QStringList {u"4.2|"_s};
        QTest::newRow("a silent record leaves its texts empty")
            << Setup([](VersionDirectory &v) {
                   v.publishStandardDirectory();
                   v.server.setBehaviour(u"/43.plist"_s, VersionServer::Silent);
               })
            << available << QStringList {u"4a"_s, u"43"_s, u"42"_s}
            << QStringList {u"5.0|A new look."_s, u"|"_s, u"4.2|Faster saving."_s};
    }

    void checkAgainstServer()
    {
        QFETCH(Setup, setup);
        QFETCH(int, status);
        QFETCH(QStringList, keys);
        QFETCH(QStringList, texts);
        VersionDirectory v;
        setup(v);
        if (!v.language.isEmpty())
            QLocale::setDefault(QLocale(v.language)); // read when the checker is made
        const auto restore = qScopeGuard([] { QLocale::setDefault(QLocale::system()); });
        const QJUpdateCheckResult result = runCheck(v, 1000, v.installed, [&v](QJUpdateChecker &checker) {
            if (!v.descriptionKey.isEmpty())
                checker.setDescriptionKey(v.descriptionKey);
        });
        QCOMPARE(int(result.status), status);
        QCOMPARE(keysOf(result), keys);
        QStringList actualTexts;
        for (const QJUpdateRecord &record : result.records)
            actualTexts << record.version + u'|' + record.description;
        QCOMPARE(actualTexts, texts);
        for (const QString &request : v.server.requests()) {
            QVERIFY2(request.startsWith(VersionDirectory::directoryPath()), qPrintable(request));
            QVERIFY2(!request.contains(u"/../"_s), qPrintable(request));
        }
        QVERIFY(result.directory.toString().endsWith(VersionDirectory::directoryPath()));
    }

    void hostileServerEndsTheCheck_data()
    {
        QTest::addColumn<int>("behaviour");
        QTest::newRow("silent") << int(VersionServer::Silent);
        QTest::newRow("endless answer") << int(VersionServer::Endless);
        QTest::newRow("trickling answer") << int(VersionServer::Trickle);
        QTest::newRow("header lines without end") << int(VersionServer::HugeHeaders);
        QTest::newRow("redirect loop") << int(VersionServer::RedirectLoop);
        QTest::newRow("redirect to another host") << int(VersionServer::RedirectToOtherHost);
        QTest::newRow("not found") << int(VersionServer::NotFound);
    }

    void hostileServerEndsTheCheck()
    {
        QFETCH(int, behaviour);
        VersionDirectory v;
        v.publishStandardDirectory();
        v.server.setBehaviour(u"info.plist"_s, VersionServer::Behaviour(behaviour));
        const QJUpdateCheckResult result = runCheck(v, 700);
        QCOMPARE(result.status, QJUpdateCheckResult::NoUpdate);
        QVERIFY(result.records.isEmpty());
        QVERIFY(!result.reason.isEmpty());
        // Nothing was fetched beyond the index, and nothing from another host.
        QVERIFY(!v.server.hosts().contains(u"localhost:%1"_s.arg(v.server.port())));
        for (const QString &request : v.server.requests())
            QVERIFY2(request.endsWith(u"info.plist"_s), qPrintable(request));
        if (behaviour == VersionServer::RedirectLoop)
            QCOMPARE(v.server.requests().size(), 1 + 5); // the request and five redirects
    }

    void unreachableServer_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<bool>("reachable"); // what the injected reachability test answers
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("reason");

        QTest::newRow("reported offline")
            << QString() << false << int(QJUpdateCheckResult::NotReachable) << u"test network down"_s;
        QTest::newRow("host name that does not resolve")
            << u"http://no-such-host.invalid/AppServices/Versions/"_s << true << int(QJUpdateCheckResult::NotReachable)
            << u"no-such-host.invalid: "_s;
        // A closed port is reachable, with no index: the qjkit rows below state its status and reason.
        QTest::newRow("not an http address") << u"ftp://127.0.0.1/AppServices/Versions/"_s << true
                                             << int(QJUpdateCheckResult::NotReachable) << u"not an http or https"_s;
    }

    void unreachableServer()
    {
        QFETCH(QString, base);
        QFETCH(bool, reachable);
        QFETCH(int, status);
        QFETCH(QString, reason);
        VersionDirectory v;
        v.publishStandardDirectory();
        const QJUpdateCheckResult result = runCheck(v, 3000, u"41"_s, [&](QJUpdateChecker &checker) {
            if (!base.isEmpty())
                checker.setBaseUrl(QUrl(base));
            checker.setReachabilityTest([reachable](const QUrl &, QString *why) {
                *why = u"test network down"_s;
                return reachable;
            });
        });
        QCOMPARE(int(result.status), status);
        QVERIFY2(result.reason.startsWith(reason), qPrintable(result.reason));
        if (base.isEmpty())
            QCOMPARE(v.server.requests(), QStringList()); // nothing is asked of a server that cannot be reached
    }

    void thousandsOfVersions()
    {
        VersionDirectory v;
        // Mixed shapes: numbers, hexadecimal-looking, case variants, separators, non-ASCII.
        const QStringList shapes {u"%1"_s, u"%1.0b7"_s, u"Beta%1"_s, u"beta%1/x"_s, u"ß%1"_s, u"%1_aaaa"_s};
        QStringList keys;
        for (int i = 0; i < 3000; ++i)
            keys << shapes.at(i % shapes.size()).arg(i);
        v.publish(keys);
        // The index of 3000 versions is larger than the other tests allow.
        const QJUpdateCheckResult result
            = runCheck(v, 10000, u"0"_s, [](QJUpdateChecker &c) { c.setMaximumSize(1 << 20); });
        QCOMPARE(result.status, QJUpdateCheckResult::UpdateAvailable);
        // The newest hundred are fetched and listed, in the order of newerVersions().
        QCOMPARE(keysOf(result), QJUpdateChecker::newerVersions(keys, u"0"_s).mid(0, 100));
        QCOMPARE(v.server.requests().size(), 101);
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("arguments"); // "@" stands for the server's base address
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("err");

        const QStringList check {u"check-update"_s, u"--base-url"_s, u"@"_s, u"--name"_s, u"Test Writer"_s};
        QTest::newRow("newer versions newest first")
            << check + QStringList {u"--build"_s, u"42"_s} << 0
            << QByteArray(R"([{"description":"A new look.","key":"4a","version":"5.0"},)"
                          R"({"description":"A word counter.","key":"43","version":"4.3"}])"
                          "\n")
            << QByteArray();
        QTest::newRow("another language key")
            << check + QStringList {u"--build"_s, u"43"_s, u"--language-key"_s, u"de"_s} << 0
            << QByteArray(R"([{"description":"Beschreibung","key":"4a","version":"5.0"}])"
                          "\n")
            << QByteArray();
        QTest::newRow("nothing newer") << check + QStringList {u"--build"_s, u"4a"_s} << 0 << QByteArray("[]\n")
                                       << QByteArray();
        QTest::newRow("server not reachable") << QStringList {u"check-update"_s, u"--base-url"_s,
            u"http://no-such-host.invalid/AppServices/Versions/"_s, u"--name"_s, u"W"_s, u"--build"_s,
            u"1"_s} << 1 << QByteArray() << QByteArray("qjkit: update server not reachable: no-such-host.invalid: ");
        // No index (a misspelt name: 404; a closed port) is still "nothing newer", but it says why.
        QTest::newRow("no index") << QStringList {u"check-update"_s, u"--base-url"_s, u"@"_s, u"--name"_s,
            u"Test Writr"_s, u"--build"_s, u"1"_s}
                                  << 0 << QByteArray("[]\n")
                                  << QByteArray("qjkit: no version index: HTTP status 404 Not Found\n");
        QTest::newRow("closed port") << QStringList {u"check-update"_s, u"--base-url"_s,
            u"http://127.0.0.1:1/AppServices/Versions/"_s, u"--name"_s, u"W"_s, u"--build"_s, u"1"_s}
                                     << 0 << QByteArray("[]\n")
                                     << QByteArray("qjkit: no version index: Connection refused\n");
        QTest::newRow("missing build") << check << 2 << QByteArray()
                                       << QByteArray("qjkit: check-update: the option --build is required");
    }

    void commandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        VersionDirectory v;
        v.publishStandardDirectory();
        arguments.replaceInStrings(QRegularExpression(u"^@$"_s), v.server.baseUrl().toString());
        const QJTest::ToolResult result = QJTest::runTool(arguments);
        QCOMPARE(result.exitCode, exitCode);
        QCOMPARE(result.out, out);
        QVERIFY2(result.err.startsWith(err), result.err.constData());
    }

private:
    QJUpdateCheckResult runCheck(VersionDirectory &v, int timeout = 10000, const QString &installed = u"41"_s,
        const std::function<void(QJUpdateChecker &)> &adjust = {})
    {
        QJUpdateChecker checker;
        checker.setBaseUrl(v.server.baseUrl());
        checker.setApplicationName(u"Test Writer"_s);
        checker.setInstalledBuild(installed);
        checker.setTimeout(timeout);
        checker.setMaximumSize(64 * 1024);
        if (adjust)
            adjust(checker);
        return checker.check();
    }
};

QTEST_GUILESS_MAIN(TestQJUpdateChecker)
#include "tst_qjupdatechecker.moc"
