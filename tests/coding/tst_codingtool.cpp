// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBlowfishCoding.h"
#include "QJPropertyListSerialization.h"
#include "qjtestsupport.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

using QJTest::runTool;

class TestCodingTool : public QObject
{
    Q_OBJECT
private:
    QTemporaryDir m_dir;

private Q_SLOTS:
    void commands_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("err");
        QTest::newRow("encrypt") << QStringList {u"blowfish"_s, u"encrypt"_s, u"--key-hex"_s, u"0123456789ABCDEF"_s,
            u"1111111111111111"_s}
                                 << 0 << QByteArray("61f9c3802281b096\n") << QByteArray();
        QTest::newRow("decrypt") << QStringList {u"blowfish"_s, u"decrypt"_s, u"--key-hex=FEDCBA9876543210"_s,
            u"0aceab0fc6a0a28d"_s}
                                 << 0 << QByteArray("0123456789abcdef\n") << QByteArray();
        const QString plain = m_dir.filePath(u"plain.plist"_s);
        QTest::newRow("plain file") << QStringList {u"plist"_s, u"read-coded"_s, plain} << 1 << QByteArray()
                                    << u"qjkit: %1: not a coded property list\n"_s.arg(plain).toUtf8();
    }

    void commands()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QVERIFY(QJPropertyListSerialization::writePropertyListToFile(
            QJDictionary {{u"a"_s, 1}}, m_dir.filePath(u"plain.plist"_s), false));
        const auto run = runTool(arguments);
        QCOMPARE(run.err, err);
        QCOMPARE(run.out, out);
        QCOMPARE(run.exitCode, status);
    }

    void codeThroughStandardStreams()
    {
        const QString key = u"clé"_s;
        const auto encoded = runTool({u"code"_s, u"encode"_s, u"--key"_s, key}, "Some text\n");
        QCOMPARE(encoded.exitCode, 0);
        QCOMPARE(encoded.out, QJBlowfishCoding::encodeWithBlowfishKey(QByteArray("Some text\n"), key));
        const auto decoded = runTool({u"code"_s, u"decode"_s, u"--key"_s, key, u"-"_s}, encoded.out);
        QCOMPARE(decoded.out, QByteArray("Some text\n"));
    }

    void codedPropertyListFiles()
    {
        const QJDictionary settings {{u"name"_s, u"Chapter One"_s}, {u"width"_s, 800}};
        const QString in = m_dir.filePath(u"in.plist"_s);
        const QString out = m_dir.filePath(u"out.coded"_s);
        QVERIFY(QJPropertyListSerialization::writePropertyListToFile(settings, in, false));
        QCOMPARE(runTool({u"plist"_s, u"write-coded"_s, in, out}).exitCode, 0);
        QCOMPARE(QJBlowfishCoding::readFromCodedFile(out), QJValue(settings));
        const auto read = runTool({u"plist"_s, u"read-coded"_s, out});
        QCOMPARE(read.exitCode, 0);
        QCOMPARE(read.out, QJPropertyListSerialization::dataFromPropertyList(settings));
        // A failed write says why, in the system's words.
        const QString missing = m_dir.filePath(u"none/out.coded"_s);
        const auto failed = runTool({u"plist"_s, u"write-coded"_s, in, missing});
        QCOMPARE(failed.exitCode, 1);
        QCOMPARE(failed.err, u"qjkit: %1: could not be written: No such file or directory\n"_s.arg(missing).toUtf8());
    }
};

QTEST_GUILESS_MAIN(TestCodingTool)
#include "tst_codingtool.moc"
