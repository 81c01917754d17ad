// SPDX-License-Identifier: LGPL-2.1-or-later
// The Updater program as a host starts it: it waits for the host, installs, starts the new version
// and puts the old one back when the new one fails at start.
#include "QJPropertyListSerialization.h"
#include "VersionServer.h"
#include "qjtestsupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class TestUpdater : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    // A version 4.2 package whose program appends "started 4.2" to the log and ends with @p status;
    // without @p packaged, the record names only a web page.
    void publish(int status, bool packaged)
    {
        const QString log = m_dir.filePath(u"started.log"_s);
        const QString stage = m_dir.filePath(u"stage"_s);
        QDir(stage).removeRecursively();
        QVERIFY(QJTest::writeFile(stage + u"/app"_s,
            "#!/bin/sh\necho started 4.2 >> '" + log.toUtf8() + "'\nexit " + QByteArray::number(status) + "\n"));
        QFile::setPermissions(stage + u"/app"_s, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        const QString versions = m_dir.filePath(u"srv/testwriter"_s);
        QVERIFY(QDir().mkpath(versions));
        const QString package = versions + u"/app.tar.gz"_s;
        QVERIFY(QJTest::runProgram(u"tar"_s, {u"-czf"_s, package, u"-C"_s, stage, u"."_s}, m_dir.path()));
        QFile::remove(package + u".minisig"_s);
        QVERIFY(QJTest::runProgram(u"minisign"_s, {u"-S"_s, u"-s"_s, u"key.sec"_s, u"-m"_s, package}, m_dir.path()));
        QJDictionary record {{u"version"_s, u"4.2"_s}, {u"webPage"_s, u"https://example.org/testwriter"_s}};
        if (packaged) {
            record = QJDictionary {{u"version"_s, u"4.2"_s}, {u"package"_s, u"app.tar.gz"_s},
                {u"length"_s, QFileInfo(package).size()},
                {u"signature"_s, QString::fromUtf8(QJTest::readFile(package + u".minisig"_s))}};
        }
        QVERIFY(QJPropertyListSerialization::writePropertyListToFile(record, versions + u"/42.plist"_s, false));
        QVERIFY(QJPropertyListSerialization::writePropertyListToFile(
            QJDictionary {{u"42"_s, u"2026-11-24"_s}}, versions + u"/info.plist"_s, false));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QJTest::runProgram(
            u"minisign"_s, {u"-G"_s, u"-W"_s, u"-p"_s, u"key.pub"_s, u"-s"_s, u"key.sec"_s}, m_dir.path()));
    }

    // What the host's install folder holds in the end, and which versions were started.
    void handOver_data()
    {
        QTest::addColumn<int>("newStatus"); // how the new version's program ends
        QTest::addColumn<bool>("hostRunning");
        QTest::addColumn<bool>("packaged");
        QTest::addColumn<QByteArray>("installed");
        QTest::addColumn<QByteArray>("started");
        // A new version that runs (and ends well) is kept.
        QTest::newRow("new version starts") << 0 << false << true << QByteArray("4.2") << QByteArray("started 4.2\n");
        // A new version that fails at once is replaced by the old one, which is started again.
        QTest::newRow("new version fails")
            << 3 << false << true << QByteArray("4.1") << QByteArray("started 4.2\nstarted 4.1\n");
        // A host that does not quit: nothing is changed, and nothing started.
        QTest::newRow("host still running") << 0 << true << true << QByteArray("4.1") << QByteArray();
        // A version without a package cannot be installed: the old one is started again.
        QTest::newRow("no package") << 0 << false << false << QByteArray("4.1") << QByteArray("started 4.1\n");
    }
    void handOver()
    {
        QFETCH(int, newStatus);
        QFETCH(bool, hostRunning);
        QFETCH(bool, packaged);
        QFETCH(QByteArray, installed);
        QFETCH(QByteArray, started);
        publish(newStatus, packaged);
        VersionServer server(m_dir.filePath(u"srv"_s));
        QVERIFY(server.listen());
        const QString log = m_dir.filePath(u"started.log"_s);
        QFile::remove(log);
        const QString install = m_dir.filePath(u"install"_s);
        QDir(install).removeRecursively();
        QVERIFY(QJTest::writeFile(install + u"/app"_s, "#!/bin/sh\necho started 4.1 >> '" + log.toUtf8() + "'\n"));
        QFile::setPermissions(install + u"/app"_s, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

        QProcess updater;
        updater.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        updater.start(QStringLiteral(QJKIT_UPDATER),
            {u"--pid"_s, QString::number(hostRunning ? QCoreApplication::applicationPid() : 0), u"--install-dir"_s,
                install, u"--program"_s, install + u"/app"_s, u"--base-url"_s, server.baseUrl().toString(),
                u"--application-name"_s, u"Test Writer"_s, u"--build"_s, u"41"_s, u"--version"_s, u"42"_s,
                u"--public-key"_s,
                QString::fromUtf8(QJTest::readFile(m_dir.filePath(u"key.pub"_s))).section(u'\n', 1, 1),
                u"--startup-grace"_s, u"3000"_s, u"--host-wait"_s, u"500"_s});
        QVERIFY(updater.waitForStarted());
        // The Updater stays open after a failure, to say what happened; it is closed once it has acted.
        auto startedSoFar = [&log] { return QFile::exists(log) ? QJTest::readFile(log) : QByteArray(); };
        QElapsedTimer waited;
        waited.start();
        while (startedSoFar() != started || waited.elapsed() < 1500) {
            if (waited.hasExpired(15000))
                break;
            QTest::qWait(100);
        }
        updater.terminate();
        updater.waitForFinished();
        QCOMPARE(startedSoFar(), started);
        QVERIFY(QJTest::readFile(install + u"/app"_s).contains("started " + installed));
        QCOMPARE(QDir(m_dir.path()).entryList({u".install*"_s}, QDir::AllEntries | QDir::Hidden), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestUpdater)
#include "tst_updater.moc"
