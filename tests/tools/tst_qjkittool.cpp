// SPDX-License-Identifier: LGPL-2.1-or-later
// The qjkit tool's conventions and its property-list commands, run as a user runs them.
#include "QJPropertyListSerialization.h"
#include "qjtestsupport.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using QJTest::runProgram;
using QJTest::runTool;

class TestQJKitTool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void conventions_data();
    void conventions();
    void helpFitsTheTerminal();
    void plistGetPrintsLeavesPlainly_data();
    void plistGetPrintsLeavesPlainly();
    void plistConvertWritesXml();

private:
    QTemporaryDir m_dir;
    QString m_settings;
    QString m_large; // a sparse file one byte over the input limit
};

void TestQJKitTool::initTestCase()
{
    QVERIFY(QFileInfo(qEnvironmentVariable("QJKIT_TOOL")).isExecutable());
    m_settings = m_dir.filePath(u"settings.plist"_s);
    const QJDictionary settings {{u"name"_s, u"Chapter One"_s}, {u"width"_s, 800}, {u"ratio"_s, 0.5},
        {u"spell"_s, false}, {u"when"_s, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC)},
        {u"blob"_s, QByteArray("hi")},
        {u"files"_s, QJArray {QJDictionary {{u"n"_s, u"a"_s}}, QJDictionary {{u"n"_s, u"b"_s}}}}};
    QVERIFY(QJPropertyListSerialization::writePropertyListToFile(settings, m_settings, true));
    m_large = m_dir.filePath(u"large.plist"_s);
    QVERIFY(QJTest::makeSparseFile(m_large, QJPropertyListSerialization::MaximumSize + 1));
}

void TestQJKitTool::conventions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("redirect"); // a shell redirection of the tool's input or output
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QByteArray>("stdoutStart");
    QTest::addColumn<QByteArray>("stderrStart");
    // Help and version, long and short, on the tool, a group and a command.
    QTest::newRow("version") << QStringList {u"--version"_s} << QString() << 0 << QByteArray("qjkit 0.")
                             << QByteArray();
    QTest::newRow("-v") << QStringList {u"-v"_s} << QString() << 0 << QByteArray("qjkit 0.") << QByteArray();
    QTest::newRow("command -v") << QStringList {u"stats"_s, u"-v"_s} << QString() << 0 << QByteArray("qjkit 0.")
                                << QByteArray();
    // publish-update's own --version keeps its meaning; -v is still the tool's.
    QTest::newRow("-v beside --version") << QStringList {u"publish-update"_s, u"-v"_s} << QString() << 0
                                         << QByteArray("qjkit 0.") << QByteArray();
    QTest::newRow("help") << QStringList {u"--help"_s} << QString() << 0 << QByteArray("Usage: qjkit COMMAND")
                          << QByteArray();
    QTest::newRow("command help") << QStringList {u"plist"_s, u"get"_s, u"--help"_s} << QString() << 0
                                  << QByteArray("Usage: qjkit plist get") << QByteArray();
    QTest::newRow("command -h") << QStringList {u"stats"_s, u"-h"_s} << QString() << 0
                                << QByteArray("Usage: qjkit stats") << QByteArray();
    QTest::newRow("group help") << QStringList {u"plist"_s, u"-h"_s} << QString() << 0 << QByteArray("Usage:")
                                << QByteArray();
    // Every error is one line, without a usage dump before it.
    QTest::newRow("nothing") << QStringList {} << QString() << 2 << QByteArray()
                             << QByteArray("qjkit: a command is missing");
    QTest::newRow("unknown command") << QStringList {u"frobnicate"_s} << QString() << 2 << QByteArray()
                                     << QByteArray("qjkit: unknown command \"frobnicate\"");
    QTest::newRow("unknown group command") << QStringList {u"plist"_s, u"frob"_s} << QString() << 2 << QByteArray()
                                           << QByteArray("qjkit: plist: unknown command \"frob\"");
    QTest::newRow("unknown option") << QStringList {u"plist"_s, u"convert"_s, u"--fast"_s} << QString() << 2
                                    << QByteArray() << QByteArray("qjkit: plist convert: unknown option 'fast'");
    QTest::newRow("missing value") << QStringList {u"stats"_s, u"--width"_s} << QString() << 2 << QByteArray()
                                   << QByteArray("qjkit: stats: missing value after '--width'");
    QTest::newRow("too many arguments") << QStringList {u"plist"_s, u"convert"_s, u"a"_s, u"b"_s} << QString() << 2
                                        << QByteArray() << QByteArray("qjkit: plist convert: expected");
    QTest::newRow("missing file") << QStringList {u"plist"_s, u"convert"_s, u"/no/such/file"_s} << QString() << 2
                                  << QByteArray() << QByteArray("qjkit: /no/such/file: ");
    // Text measuring starts Qt's GUI part, which must not add a word of its own.
    QTest::newRow("fit says only its answer") << QStringList {u"fit"_s, u"--width"_s, u"400"_s, u"abc"_s} << QString()
                                              << 0 << QByteArray("abc\n") << QByteArray();
    // Texts that start with one dash are arguments, as they always were.
    QTest::newRow("dash argument") << QStringList {u"netencode"_s, u"-5"_s} << QString() << 0 << QByteArray("%2d%35\n")
                                   << QByteArray();
    // Output that cannot be written is an error, whether it fails at once or when flushed at the end.
    QTest::newRow("full output") << QStringList {u"netencode"_s, u"a"_s} << u"> /dev/full"_s << 2 << QByteArray()
                                 << QByteArray("qjkit: cannot write the output: No space left on device");
    // Input without end stops at the limit, from a pipe and from a device named as the file.
    QTest::newRow("endless input") << QStringList {u"plist"_s, u"convert"_s} << u"< /dev/zero"_s << 2 << QByteArray()
                                   << QByteArray("qjkit: standard input: larger than 268435456 bytes");
    // A regular file says its size: refused unread, in the tool's words.
    QTest::newRow("file over the limit") << QStringList {u"plist"_s, u"convert"_s, m_large} << QString() << 2
                                         << QByteArray()
                                         << QByteArray("qjkit: " + m_large.toUtf8() + ": larger than 268435456 bytes");
    QTest::newRow("endless file") << QStringList {u"plist"_s, u"convert"_s, u"/dev/zero"_s} << QString() << 2
                                  << QByteArray() << QByteArray("qjkit: /dev/zero: larger than 268435456 bytes");
    // A message names the character it stumbled on, not its code.
    QTest::newRow("character named") << QStringList {u"plist"_s, u"convert"_s} << u"<<< 'chapter one'"_s << 2
                                     << QByteArray() << QByteArray("qjkit: standard input: unexpected \"o\" after");
}

void TestQJKitTool::conventions()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, redirect);
    QFETCH(int, exitCode);
    QFETCH(QByteArray, stdoutStart);
    QFETCH(QByteArray, stderrStart);
    if (!redirect.isEmpty()) // through bash, which does the redirection: exec "$QJKIT_TOOL" "$@" REDIRECT
        arguments = QStringList {u"-c"_s, u"exec \"$QJKIT_TOOL\" \"$@\" "_s + redirect, u"bash"_s} + arguments;
    // As on a console without a session: no runtime folder.
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(u"XDG_RUNTIME_DIR"_s);
    const auto result
        = redirect.isEmpty() ? runTool(arguments, {}, environment) : runProgram(u"bash"_s, arguments, {}, environment);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.out.startsWith(stdoutStart), result.out.constData());
    QVERIFY2(result.err.startsWith(stderrStart), result.err.constData());
    if (exitCode == 0)
        QCOMPARE(result.err, QByteArray()); // success says nothing on standard error
    if (exitCode == 2)
        QCOMPARE(result.err.count('\n'), 1); // one line on standard error
}

void TestQJKitTool::helpFitsTheTerminal()
{
    // Every command's help, as the manual page is made from it: no line past 80 columns.
    const QByteArray tool = runTool({u"--help"_s}).out;
    QStringList commands;
    for (const QByteArray &line : tool.split('\n')) {
        if (line.startsWith("  ") && !line.startsWith("   ") && !line.startsWith("  -"))
            commands.append(QString::fromUtf8(line.mid(2)).section(u"  "_s, 0, 0));
    }
    QVERIFY(commands.size() > 20);
    for (const QString &command : std::as_const(commands)) {
        const auto help = runTool(command.split(u' ') + QStringList {u"--help"_s});
        QCOMPARE(help.exitCode, 0);
        for (const QByteArray &line : (tool + help.out).split('\n'))
            QVERIFY2(QString::fromUtf8(line).size() <= 80, line.constData());
    }
}

void TestQJKitTool::plistGetPrintsLeavesPlainly_data()
{
    QTest::addColumn<QString>("keyPath");
    QTest::addColumn<QByteArray>("output");
    QTest::newRow("string") << u"name"_s << QByteArray("Chapter One\n");
    QTest::newRow("integer") << u"width"_s << QByteArray("800\n");
    QTest::newRow("real") << u"ratio"_s << QByteArray("0.5\n");
    QTest::newRow("boolean") << u"spell"_s << QByteArray("false\n");
    QTest::newRow("date") << u"when"_s << QByteArray("2026-01-02T03:04:05Z\n");
    QTest::newRow("data") << u"blob"_s << QByteArray("aGk=\n");
    QTest::newRow("through an array") << u"files.n"_s
                                      << QJPropertyListSerialization::dataFromPropertyList(QJArray {u"a"_s, u"b"_s});
}

void TestQJKitTool::plistGetPrintsLeavesPlainly()
{
    QFETCH(QString, keyPath);
    QFETCH(QByteArray, output);
    const auto result = runTool({u"plist"_s, u"get"_s, keyPath, m_settings});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out, output);
}

void TestQJKitTool::plistConvertWritesXml()
{
    // Standard input, an old-style list.
    auto result = runTool({u"plist"_s, u"convert"_s}, "{ b = (1, two); a = <0aff>; }");
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out,
        QJPropertyListSerialization::dataFromPropertyList(
            QJDictionary {{u"a"_s, QByteArray("\x0a\xff")}, {u"b"_s, QJArray {u"1"_s, u"two"_s}}}));
    result = runTool({u"plist"_s, u"convert"_s, u"-"_s}, "<plist><dict><key>k</key></dict></plist>");
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.startsWith("qjkit: standard input: the key \"k\" has no value"), result.err.constData());
    QVERIFY(result.out.isEmpty());
    // A regular file is read through the library's own reading of files: the same reason, with its position.
    const QByteArray broken = "<plist><dict><key>k</key><string>v</dict></plist>";
    QString reason;
    QVERIFY(
        QJPropertyListSerialization::propertyListFromData(broken, QJMutability::Immutable, nullptr, &reason).isNone());
    const QString brokenFile = m_dir.filePath(u"broken.plist"_s);
    QFile file(brokenFile);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(broken) == broken.size());
    file.close();
    result = runTool({u"plist"_s, u"convert"_s, brokenFile});
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.err, u"qjkit: %1: %2\n"_s.arg(brokenFile, reason).toUtf8());
    result = runTool({u"plist"_s, u"get"_s, u"missing"_s, m_settings});
    QCOMPARE(result.exitCode, 1);
    QVERIFY(result.out.isEmpty());
}

QTEST_GUILESS_MAIN(TestQJKitTool)
#include "tst_qjkittool.moc"
