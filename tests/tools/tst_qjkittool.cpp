// SPDX-License-Identifier: LGPL-2.1-or-later
// Every qjkit command, run as a user runs it: its arguments, its input, and then its exit status and
// the exact bytes it writes (the README documents them, so they are contracts).
#include "NaturalStringComparison.h"
#include "QJBlowfishCoding.h"
#include "QJPropertyListSerialization.h"
#include "qjkitversion.h"
#include "qjtestsupport.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using D = QJDictionary;
using A = QJArray;

class TestQJKitTool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QFileInfo(qEnvironmentVariable("QJKIT_TOOL")).isExecutable());
        // As on a console without a session: no display, no runtime folder, one language.
        m_environment = QProcessEnvironment::systemEnvironment();
        for (const auto &name :
            {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s, u"XDG_RUNTIME_DIR"_s, u"LANGUAGE"_s})
            m_environment.remove(name);
        // The commands run in a folder of their own; "data" there holds the shared property lists and tables.
        QVERIFY(QFile::link(QJTest::dataPath(), m_dir.filePath(u"data"_s)));
        QVERIFY(QJPropertyListSerialization::writePropertyListToFile(
            m_settings, m_dir.filePath(u"settings.plist"_s), true));
        QVERIFY(QJBlowfishCoding::writeCodedToFile(m_settings, m_dir.filePath(u"settings.coded"_s)));
        const QList<std::pair<QString, QByteArray>> files {
            {u"a"_s, "x\n\"y\" <&\n\x01\tz\n"}, {u"b"_s, "x\nq"}, {u"c"_s, "!"}, {u"bad"_s, "a \xff b"}};
        for (const auto &[name, bytes] : files)
            QVERIFY(QJTest::writeFile(m_dir.filePath(name), bytes));
        QVERIFY(
            QJTest::writeFile(m_dir.filePath(u"broken.plist"_s), "<plist><dict><key>k</key><string>v</dict></plist>"));
        QVERIFY(QJTest::makeSparseFile(m_dir.filePath(u"large.plist"_s), QJPropertyListSerialization::MaximumSize + 1));
    }

    void commands_data()
    {
        // The words after "qjkit", split as a shell splits them ("" groups); leading NAME=value words
        // set the environment, a last word <FILE or >FILE redirects standard input or output.
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("input"); // standard input
        QTest::addColumn<int>("status");
        // The exact output; an expectation without a final line feed is only how the output starts.
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("err");
        const QByteArray none, version = "qjkit " QJKIT_VERSION_STRING "\n";
        const auto xml = [](const QJValue &value) { return QJPropertyListSerialization::dataFromPropertyList(value); };
        const auto row
            = [](const char *name, const QString &command, const QByteArray &input, int status, const QByteArray &out,
                  const QByteArray &err) { QTest::newRow(name) << command << input << status << out << err; };

        // Help and version, long and short, on the tool, a group and a command.
        row("version", u"--version"_s, none, 0, version, none);
        row("-v", u"-v"_s, none, 0, version, none);
        row("command -v", u"stats -v"_s, none, 0, version, none);
        // publish-update's own --version keeps its meaning; -v is still the tool's.
        row("-v beside --version", u"publish-update -v"_s, none, 0, version, none);
        row("help", u"--help"_s, none, 0, "Usage: qjkit COMMAND [OPTIONS] ARGS\n\nTries", none);
        row("command help", u"plist get --help"_s, none, 0, "Usage: qjkit plist get KEYPATH", none);
        row("command -h", u"stats -h"_s, none, 0, "Usage: qjkit stats [OPTIONS]", none);
        row("group help", u"plist -h"_s, none, 0, "Usage: qjkit COMMAND", none);
        // Every error is one line, without a usage dump before it.
        row("nothing", QString(), none, 2, none, "qjkit: a command is missing (see \"qjkit --help\")\n");
        row("unknown command", u"frobnicate"_s, none, 2, none,
            "qjkit: unknown command \"frobnicate\" (see \"qjkit --help\")\n");
        row("unknown group command", u"plist frob"_s, none, 2, none, "qjkit: plist: unknown command \"frob\"\n");
        row("unknown option", u"plist convert --fast"_s, none, 2, none,
            "qjkit: plist convert: unknown option 'fast' (see \"qjkit plist convert --help\")\n");
        row("missing value", u"stats --width"_s, none, 2, none,
            "qjkit: stats: missing value after '--width' (see \"qjkit stats --help\")\n");
        row("too many arguments", u"plist convert a b"_s, none, 2, none,
            "qjkit: plist convert: expected [FILE|-], got 2 arguments (see \"qjkit plist convert --help\")\n");
        row("missing file", u"plist convert /no/such/file"_s, none, 2, none,
            "qjkit: /no/such/file: No such file or directory\n");
        // Texts that start with one dash are arguments, as they always were.
        row("dash argument", u"netencode -5"_s, none, 0, "%2d%35\n", none);
        // Output that cannot be written is an error, whether it fails at once or when flushed at the end.
        row("full output", u"netencode a >/dev/full"_s, none, 2, none,
            "qjkit: cannot write the output: No space left on device\n");
        // Input without end stops at the limit, from a pipe and from a device named as the file.
        row("endless input", u"plist convert </dev/zero"_s, none, 2, none,
            "qjkit: standard input: larger than 268435456 bytes\n");
        row("endless file", u"plist convert /dev/zero"_s, none, 2, none,
            "qjkit: /dev/zero: larger than 268435456 bytes\n");
        // A regular file says its size: refused unread, in the tool's words.
        row("file over the limit", u"plist convert large.plist"_s, none, 2, none,
            "qjkit: large.plist: larger than 268435456 bytes\n");
        // A regular file is mapped and read by the library: the reader's reason, with its place.
        row("broken file", u"plist convert broken.plist"_s, none, 2, none,
            "qjkit: broken.plist: Opening and ending tag mismatch. (line 1, column 41)\n");
        // Invalid UTF-8 is an input error, named for the file it came from.
        row("bad UTF-8", u"sort"_s, "a\n\xff\n", 2, none, "qjkit: standard input: not valid UTF-8 text\n");

        // plist convert and get: any format in, XML or a plain leaf out; a message names the character.
        row("convert old-style", u"plist convert"_s, "{ b = (1, two); a = <0aff>; }", 0,
            xml(D {{u"a"_s, QByteArray("\x0a\xff")}, {u"b"_s, A {u"1"_s, u"two"_s}}}), none);
        row("convert, key without value", u"plist convert -"_s, "<plist><dict><key>k</key></dict></plist>", 2, none,
            "qjkit: standard input: the key \"k\" has no value");
        row("convert, character named", u"plist convert"_s, "chapter one\n", 2, none,
            "qjkit: standard input: unexpected \"o\" after");
        row("get string", u"plist get name settings.plist"_s, none, 0, "Chapter One\n", none);
        row("get integer", u"plist get width settings.plist"_s, none, 0, "800\n", none);
        row("get real", u"plist get ratio settings.plist"_s, none, 0, "0.5\n", none);
        row("get boolean", u"plist get spell settings.plist"_s, none, 0, "false\n", none);
        row("get date", u"plist get when settings.plist"_s, none, 0, "2026-01-02T03:04:05Z\n", none);
        row("get data", u"plist get blob settings.plist"_s, none, 0, "aGk=\n", none);
        // An array on the path gives each element's value, printed as XML.
        row("get through an array", u"plist get files.n settings.plist"_s, none, 0, xml(A {u"a"_s, u"b"_s}), none);
        row("get nothing", u"plist get missing settings.plist"_s, none, 1, none,
            "qjkit: settings.plist: nothing at the key path \"missing\"\n");

        // plist keypaths, merge, localize.
        row("keypaths", u"plist keypaths data/base.plist"_s, none, 0, "recent\ntitle\nwindow.buttons\nwindow.width\n",
            none);
        // Code-unit order: upper case before lower case.
        row("keypaths, code-unit order", u"plist keypaths"_s, "{ b = { Z = 1; a = 2; }; A = 3; }", 0, "A\nb.Z\nb.a\n",
            none);
        row("keypaths, not a dictionary", u"plist keypaths"_s, "(1, 2)", 2, none,
            "qjkit: standard input: the property list is not a dictionary\n");
        // Old-style values are strings; new keys come last, in the overlay's order.
        row("merge", u"plist merge data/base.plist data/overlay.plist"_s, none, 0,
            xml(D {{u"title"_s, u"Hello"_s},
                {u"window"_s,
                    D {{u"width"_s, 800}, {u"buttons"_s, A {u"Open"_s, u"Close"_s}}, {u"height"_s, u"600"_s}}},
                {u"recent"_s, A {u"c.txt"_s}}, {u"empty"_s, D()}, {u"theme"_s, u"dark"_s}}),
            none);
        row("merge, broken overlay", u"plist merge - -"_s, "{ a = ", 2, none, "qjkit: standard input: ");
        // Nested containers too come from DIR, which the command makes the main bundle.
        row("localize", u"LC_ALL=de_DE.UTF-8 plist localize --table Menus --strings-dir data/other data/base.plist"_s,
            none, 0,
            xml(D {{u"title"_s, u"Servus"_s},
                {u"window"_s, D {{u"width"_s, 800}, {u"buttons"_s, A {u"Aufmachen"_s, u"Close"_s}}}},
                {u"recent"_s, A {u"a.txt"_s, u"b.txt"_s}}, {u"empty"_s, D()}}),
            none);
        row("localize, no table", u"plist localize --table None --strings-dir data/main"_s, "{}", 2, none,
            "qjkit: data/main: no strings table \"None.strings\"");

        // Coding.
        row("encrypt", u"blowfish encrypt --key-hex 0123456789ABCDEF 1111111111111111"_s, none, 0, "61f9c3802281b096\n",
            none);
        row("decrypt", u"blowfish decrypt --key-hex=FEDCBA9876543210 0aceab0fc6a0a28d"_s, none, 0, "0123456789abcdef\n",
            none);
        const QByteArray coded = QJBlowfishCoding::encodeWithBlowfishKey(QByteArray("Some text\n"), u"clé"_s);
        row("code encode", u"code encode --key clé"_s, "Some text\n", 0, coded, none);
        row("code decode", u"code decode --key clé -"_s, coded, 0, "Some text\n", none);
        row("read-coded", u"plist read-coded settings.coded"_s, none, 0, xml(m_settings), none);
        row("read-coded, plain file", u"plist read-coded settings.plist"_s, none, 1, none,
            "qjkit: settings.plist: not a coded property list\n");
        // A failed write says why, in the system's words.
        row("write-coded, no folder", u"plist write-coded settings.plist none/out.coded"_s, none, 1, none,
            "qjkit: none/out.coded: could not be written: No such file or directory\n");

        // Text: compare, sort, stats, find, netencode, delete-spaces, fit.
        const QByteArray t = "two one two";
        row("compare natural", u"compare natural file9 file10"_s, none, 0, "-1\n", none);
        row("compare, bad ordering", u"compare octal 1 2"_s, none, 2, none,
            "qjkit: compare: the ordering is \"natural\" or \"hex\", not \"octal\"\n");
        row("sort", u"sort"_s, "x10\nx9\n\nx1", 0, "\nx1\nx9\nx10\n", none);
        row("sort is stable", u"sort -"_s, "b01\nb1\na\nb001\n", 0, "a\nb01\nb1\nb001\n", none);
        row("sort hex", u"sort --hex"_s, "1.0b10\n1.0b2\n1.9\n", 0, "1.9\n1.0b2\n1.0b10\n", none);
        row("sort, byte-order mark", u"sort"_s, "\xef\xbb\xbf\xc3\xa9\na\n", 0, "a\n\xc3\xa9\n", none);
        {
            // Enough lines for the two-thread merge; values repeat with different zero padding, so
            // equal lines must keep their input order.
            QRandomGenerator random(11);
            QStringList lines;
            for (int i = 0; i < 70000; ++i)
                lines.append(
                    u"n%1-%2"_s.arg(int(random.bounded(5000)), int(random.bounded(3)) + 1, 10, QChar(u'0')).arg(i % 7));
            QStringList sorted = lines;
            std::stable_sort(sorted.begin(), sorted.end(), NaturalStringComparison::NaturalOrder());
            row("sort, large and stable", u"sort"_s, lines.join(u'\n').toUtf8(), 0,
                (sorted.join(u'\n') + u'\n').toUtf8(), none);
        }
        const QByteArray oneTwo = "{\"chars\":6,\"lines\":1,\"paragraphs\":1,\"words\":2}\n";
        row("stats", u"stats"_s, "one two", 0, oneTwo, none);
        row("stats, options", u"stats --count-spaces --width 2 --multiply -1"_s, "one two", 0,
            "{\"chars\":-7,\"lines\":-4,\"paragraphs\":-1,\"words\":-2}\n", none);
        row("stats, whole words", u"stats --whole-words --range 0:5"_s, "one two!", 0, oneTwo, none);
        row("stats, UTF-16", u"stats --range=1:3"_s, "\xf0\x9f\x98\x80 x", 0,
            "{\"chars\":2,\"lines\":1,\"paragraphs\":1,\"words\":2}\n", none);
        row("stats of a file, not of the input", u"stats /dev/null"_s, "one two", 0,
            "{\"chars\":0,\"lines\":0,\"paragraphs\":0,\"words\":0}\n", none);
        row("stats, range outside", u"stats --range 3:5"_s, "hello", 2, none,
            "qjkit: range 3:5 is outside the text (length 5)\n");
        row("find", u"find --selection 0:3 two"_s, t, 0, "8 3\n", none);
        row("find wraps", u"find --wrap --selection 8:3 two"_s, t, 0, "0 3\n", none);
        row("find nothing", u"find --selection 8:3 two"_s, t, 1, "not found\n", none);
        row("find backwards", u"find --backwards --case-insensitive --selection=11:0 TWO"_s, t, 0, "8 3\n", none);
        row("find regex", u"find --regex --selection 0:0 o\\w+"_s, t, 0, "4 3\n", none);
        row("find, bad regex", u"find --regex --selection 0:0 ("_s, t, 2, none,
            "qjkit: find: invalid regular expression \"(\"");
        row("find, selection outside", u"find --selection 20:1 two"_s, t, 2, none,
            "qjkit: selection 20:1 is outside the text (length 11)\n");
        row("netencode", u"netencode \"a b\" \u20ac"_s, none, 0, "%61%20%62\n%20ac\n", none);
        row("delete-spaces", u"delete-spaces \"1. 2 b\""_s, none, 0, "1.2b\n", none);
        // Measuring starts Qt's GUI part without a display, which must not add a word of its own.
        row("fit, room to spare", u"fit --width 1000 short"_s, none, 0, "short\n", none);
        row("fit, no width", u"fit abc"_s, none, 2, none, "qjkit: fit: the option --width W is required\n");

        // diff: JSON runs by default, HTML on request.
        const QByteArray runs = "{\"differences\":[{\"new\":\"x\",\"old\":\"x\",\"type\":0},{\"new\":\"q\",\"old\":"
                                "\"\\\"y\\\" <& \\u0001\\tz\",\"type\":1}],\"match\":";
        row("diff lines by default", u"diff a b"_s, none, 0, runs + "0.4}\n", none);
        row("diff words", u"diff --type words a b"_s, none, 0, runs + "0.33333334}\n", none);
        row("diff, nothing to compare", u"diff --type=punctuation c -"_s, none, 0,
            "{\"differences\":[],\"match\":null}\n", none);
        row("diff html", u"diff --html --type=0 a b"_s, none, 0,
            "<div class=\"qj-diff\"><span class=\"qj-same\">x</span> <del class=\"qj-changed\">"
            "&quot;y&quot; &lt;&amp; \x01\tz</del><ins class=\"qj-changed\">q</ins></div>\n",
            none);
        row("diff, invalid UTF-8", u"diff a bad"_s, none, 2, none, "qjkit: bad: not valid UTF-8 text\n");
        row("diff, bad type", u"diff --type=chars a b"_s, none, 2, none,
            "qjkit: diff: --type needs words, lines, punctuation or a number, not \"chars\"\n");
        row("diff, standard input twice", u"diff - -"_s, none, 2, none,
            "qjkit: diff: OLD and NEW cannot both be standard input\n");
    }

    void commands()
    {
        QFETCH(QString, command);
        QFETCH(QByteArray, input);
        QFETCH(int, status);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        const auto matches = [](const QByteArray &got, const QByteArray &expected) {
            return expected.isEmpty() || expected.endsWith('\n') ? got == expected : got.startsWith(expected);
        };
        const auto result = run(command, input);
        QVERIFY2(matches(result.out, out), result.out.left(2000).constData());
        QVERIFY2(matches(result.err, err), result.err.constData());
        QCOMPARE(result.exitCode, status);
        QVERIFY(result.err.count('\n') <= 1); // a message is one line
    }

    void helpFitsTheTerminal()
    {
        // Every command's help, as the manual page is made from it: no line past 80 columns.
        const QByteArray tool = run(u"--help"_s).out;
        QStringList commands;
        for (const QByteArray &line : tool.split('\n')) {
            if (line.startsWith("  ") && !line.startsWith("   ") && !line.startsWith("  -"))
                commands.append(QString::fromUtf8(line.mid(2)).section(u"  "_s, 0, 0));
        }
        QVERIFY(commands.size() > 20);
        for (const QString &command : std::as_const(commands)) {
            const auto help = run(command + u" --help"_s);
            QCOMPARE(help.exitCode, 0);
            for (const QByteArray &line : (tool + help.out).split('\n'))
                QVERIFY2(QString::fromUtf8(line).size() <= 80, line.constData());
        }
    }

    void fitKeepsTheEndOrTheStart()
    {
        // How much fits depends on the fonts installed, so only the shape of the answer is fixed.
        const QString path = u"/home/ada/Documents/Drafts/chapter twelve.txt"_s;
        const auto end = run(u"fit --width 80 \"%1\""_s.arg(path));
        QCOMPARE(end.exitCode, 0);
        QVERIFY(end.out.startsWith("...") && end.out.size() < path.size());
        QVERIFY(path.endsWith(QString::fromUtf8(end.out.sliced(3).chopped(1))));
        const auto start = run(u"fit --keep-start --width=80 \"%1\""_s.arg(path));
        QVERIFY(start.out.endsWith("...\n") && path.startsWith(QString::fromUtf8(start.out.chopped(4))));
    }

    void writtenCodedFileReadsBack()
    {
        QCOMPARE(run(u"plist write-coded settings.plist out.coded"_s).exitCode, 0);
        QCOMPARE(QJBlowfishCoding::readFromCodedFile(m_dir.filePath(u"out.coded"_s)), QJValue(m_settings));
    }

private:
    QJTest::ToolResult run(const QString &command, const QByteArray &input = QByteArray()) const
    {
        QStringList words = QProcess::splitCommand(command);
        QProcessEnvironment environment = m_environment;
        while (!words.isEmpty() && words.first().contains(u'=')) {
            const QString assignment = words.takeFirst();
            environment.insert(assignment.section(u'=', 0, 0), assignment.section(u'=', 1));
        }
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(m_dir.path());
        if (!words.isEmpty() && words.last().startsWith(u'>'))
            process.setStandardOutputFile(words.takeLast().mid(1));
        if (!words.isEmpty() && words.last().startsWith(u'<'))
            process.setStandardInputFile(words.takeLast().mid(1));
        return QJTest::runTool(process, words, input);
    }

    QTemporaryDir m_dir;
    QProcessEnvironment m_environment;
    const D m_settings {{u"name"_s, u"Chapter One"_s}, {u"width"_s, 800}, {u"ratio"_s, 0.5}, {u"spell"_s, false},
        {u"when"_s, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC)}, {u"blob"_s, QByteArray("hi")},
        {u"files"_s, A {D {{u"n"_s, u"a"_s}}, D {{u"n"_s, u"b"_s}}}}};
};

QTEST_GUILESS_MAIN(TestQJKitTool)
#include "tst_qjkittool.moc"
