// SPDX-License-Identifier: LGPL-2.1-or-later
#include "VersionServer.h"

#include "QJPropertyListSerialization.h"
#include "QJUpdateChecker.h"
#include "qjtestsupport.h"

#include <QFile>
#include <QTcpSocket>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
struct Response
{
    int status = 0;
    QByteArray headers;
    QByteArray body;
};

// Sends @p request as it is and reads the answer until the server closes the connection.
Response exchange(quint16 port, const QByteArray &request)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    QByteArray received;
    if (socket.waitForConnected(10000) && socket.write(request) == request.size()) {
        while (socket.waitForReadyRead(10000))
            received += socket.readAll();
        received += socket.readAll();
    }

    Response response;
    const qsizetype end = received.indexOf("\r\n\r\n");
    if (end < 0)
        return response;
    response.headers = received.left(end);
    response.body = received.mid(end + 4);
    const QList<QByteArray> statusLine = response.headers.left(response.headers.indexOf("\r\n")).split(' ');
    if (statusLine.size() >= 2 && statusLine.at(0) == "HTTP/1.1")
        response.status = statusLine.at(1).toInt();
    return response;
}

// A request that asks the server to close the connection after its answer.
QByteArray get(const QByteArray &target, const QByteArray &method = "GET")
{
    return method + ' ' + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n";
}
} // namespace

class TestVersionServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<VersionServer>(QJTest::dataPath());
        QVERIFY2(m_server->listen(), qPrintable(m_server->errorString()));
        QCOMPARE(m_server->baseUrl().toString(), u"http://127.0.0.1:%1/AppServices/Versions/"_s.arg(m_server->port()));
    }

    void answersTheIndexAndRecords_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("version");

        QTest::newRow("index") << QByteArray("/AppServices/Versions/qjkitdemo/info.plist") << u"qjkitdemo/info.plist"_s
                               << QString();
        const QList<std::pair<QString, QString>> records {{u"0.0.9"_s, u"0.0.9"_s}, {u"0.1.0"_s, u"0.1"_s},
            {u"0.1.1"_s, u"0.1.1"_s}, {u"0.1.a"_s, u"0.1.10"_s}, {u"0.2.0"_s, u"0.2"_s}};
        for (const auto &[key, version] : records) {
            QTest::newRow(qPrintable(u"record "_s + key))
                << (QByteArray("/AppServices/Versions/qjkitdemo/") + key.toLatin1() + ".plist")
                << u"qjkitdemo/%1.plist"_s.arg(key) << version;
        }
        QTest::newRow("percent-encoded name") << QByteArray("/AppServices/Versions/qjkitdemo/0%2E1%2Ea.plist")
                                              << u"qjkitdemo/0.1.a.plist"_s << u"0.1.10"_s;
    }

    void answersTheIndexAndRecords()
    {
        QFETCH(QByteArray, target);
        QFETCH(QString, file);
        QFETCH(QString, version);

        const Response response = exchange(m_server->port(), get(target));
        QCOMPARE(response.status, 200);
        QCOMPARE(response.body, QJTest::readFile(QJTest::dataPath(file)));
        QVERIFY(response.headers.contains("Content-Length: " + QByteArray::number(response.body.size()) + "\r\n"));
        const QJValue plist = QJPropertyListSerialization::propertyListFromData(response.body);
        QVERIFY(plist.isDictionary());
        if (version.isEmpty()) {
            QCOMPARE(plist.toDictionary().allKeys(),
                (QStringList {u"0.0.9"_s, u"0.1.0"_s, u"0.1.1"_s, u"0.1.a"_s, u"0.2.0"_s}));
        } else {
            QCOMPARE(plist.valueForKey(u"version"_s).toString(), version);
            QVERIFY(!plist.valueForKey(u"en"_s).toString().isEmpty());
        }

        // HEAD: the same headers, no body.
        const Response head = exchange(m_server->port(), get(target, "HEAD"));
        QCOMPARE(head.status, 200);
        QCOMPARE(
            head.headers.mid(head.headers.indexOf("\r\n")), response.headers.mid(response.headers.indexOf("\r\n")));
        QCOMPARE(head.body, QByteArray());
    }

    void refusesEverythingElse_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("status");

        QTest::newRow("missing record") << get("/AppServices/Versions/qjkitdemo/9.9.9.plist") << 404;
        QTest::newRow("the directory itself") << get("/AppServices/Versions/qjkitdemo/") << 404;
        QTest::newRow("outside the base path") << get("/qjkitdemo/info.plist") << 404;
        QTest::newRow("dot-dot segment") << get("/AppServices/Versions/qjkitdemo/../qjkitdemo/info.plist") << 404;
        QTest::newRow("encoded dot-dot") << get("/AppServices/Versions/%2e%2e/versions/qjkitdemo/info.plist") << 404;
        QTest::newRow("encoded slash") << get(
            "/AppServices/Versions/qjkitdemo%2F..%2F..%2Fversions%2Fqjkitdemo%2Finfo.plist")
                                       << 404;
        QTest::newRow("POST") << QByteArray("POST /AppServices/Versions/qjkitdemo/info.plist HTTP/1.1\r\n\r\n") << 405;
        QTest::newRow("not HTTP") << QByteArray("hello there\r\n\r\n") << 400;
        QTest::newRow("absolute target") << get("http://127.0.0.1/AppServices/Versions/qjkitdemo/info.plist") << 400;
        QTest::newRow("endless headers") << (QByteArray("GET / HTTP/1.1\r\n") + QByteArray(20000, 'x')) << 431;
    }

    void refusesEverythingElse()
    {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        const Response response = exchange(m_server->port(), request);
        QCOMPARE(response.status, status);
        QVERIFY(!response.body.contains("<plist"));
    }

    // The version directory the demo ships, served by the demo's server, read by QJKit's update check.
    void updateCheckFindsTheNewerVersions()
    {
        QJUpdateChecker checker;
        checker.setBaseUrl(m_server->baseUrl());
        checker.setApplicationName(u"QJKit Demo"_s);
        checker.setInstalledBuild(u"0.1.0"_s);
        checker.setDescriptionKey(u"en"_s);
        const QJUpdateCheckResult result = checker.check();
        QCOMPARE(result.status, QJUpdateCheckResult::UpdateAvailable);
        QCOMPARE(result.directory, QUrl(m_server->baseUrl().toString() + u"qjkitdemo/"_s));
        QStringList found;
        for (const QJUpdateRecord &record : result.records)
            found.append(
                record.key + u'=' + record.version + (record.description.isEmpty() ? u" (no text)"_s : QString()));
        QCOMPARE(found, (QStringList {u"0.2.0=0.2"_s, u"0.1.a=0.1.10"_s, u"0.1.1=0.1.1"_s}));

        checker.setInstalledBuild(u"0.2.0"_s);
        QCOMPARE(checker.check().status, QJUpdateCheckResult::NoUpdate);
    }

private:
    std::unique_ptr<VersionServer> m_server;
};

QTEST_MAIN(TestVersionServer)
#include "tst_versionserver.moc"
