// SPDX-License-Identifier: LGPL-2.1-or-later
// The text commands of qjkit, run as a user runs them.
#include "NaturalStringComparison.h"
#include "qjtestsupport.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

using QJTest::runTool;

class TestTextCommands : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void commands_data()
    {
        QTest::addColumn<QString>("line"); // arguments separated by "|"
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("out");
        QTest::addColumn<QByteArray>("errStart");
        const QByteArray t = "two one two", none;
        const QByteArray one = "{\"chars\":6,\"lines\":1,\"paragraphs\":1,\"words\":2}\n";
        QTest::newRow("compare natural") << u"compare|natural|file9|file10"_s << none << 0 << "-1\n"_ba << none;
        QTest::newRow("compare, bad ordering")
            << u"compare|octal|1|2"_s << none << 2 << none
            << "qjkit: compare: the ordering is \"natural\" or \"hex\", not \"octal\"\n"_ba;
        QTest::newRow("sort") << u"sort"_s << "x10\nx9\n\nx1"_ba << 0 << "\nx1\nx9\nx10\n"_ba << none;
        QTest::newRow("sort is stable") << u"sort|-"_s << "b01\nb1\na\nb001\n"_ba << 0 << "a\nb01\nb1\nb001\n"_ba
                                        << none;
        QTest::newRow("sort hex") << u"sort|--hex"_s << "1.0b10\n1.0b2\n1.9\n"_ba << 0 << "1.9\n1.0b2\n1.0b10\n"_ba
                                  << none;
        QTest::newRow("sort, byte-order mark")
            << u"sort"_s << "\xef\xbb\xbf\xc3\xa9\na\n"_ba << 0 << "a\n\xc3\xa9\n"_ba << none;
        QTest::newRow("sort, bad UTF-8") << u"sort"_s << "a\n\xff\n"_ba << 2 << none
                                         << "qjkit: standard input: not valid UTF-8 text\n"_ba;
        QTest::newRow("stats") << u"stats"_s << "one two"_ba << 0 << one << none;
        QTest::newRow("stats, options") << u"stats|--count-spaces|--width|2|--multiply|-1"_s << "one two"_ba << 0
                                        << "{\"chars\":-7,\"lines\":-4,\"paragraphs\":-1,\"words\":-2}\n"_ba << none;
        QTest::newRow("stats, whole words")
            << u"stats|--whole-words|--range|0:5"_s << "one two!"_ba << 0 << one << none;
        QTest::newRow("stats, UTF-16") << u"stats|--range=1:3"_s << "\xf0\x9f\x98\x80 x"_ba << 0
                                       << "{\"chars\":2,\"lines\":1,\"paragraphs\":1,\"words\":2}\n"_ba << none;
        QTest::newRow("stats of a file, not of the input")
            << u"stats|/dev/null"_s << "one two"_ba << 0
            << "{\"chars\":0,\"lines\":0,\"paragraphs\":0,\"words\":0}\n"_ba << none;
        QTest::newRow("stats, missing file")
            << u"stats|/nonexistent/file"_s << none << 2 << none << "qjkit: /nonexistent/file: "_ba;
        QTest::newRow("stats, range outside") << u"stats|--range|3:5"_s << "hello"_ba << 2 << none
                                              << "qjkit: range 3:5 is outside the text (length 5)\n"_ba;
        QTest::newRow("find") << u"find|--selection|0:3|two"_s << t << 0 << "8 3\n"_ba << none;
        QTest::newRow("find wraps") << u"find|--wrap|--selection|8:3|two"_s << t << 0 << "0 3\n"_ba << none;
        QTest::newRow("find nothing") << u"find|--selection|8:3|two"_s << t << 1 << "not found\n"_ba << none;
        QTest::newRow("find backwards") << u"find|--backwards|--case-insensitive|--selection=11:0|TWO"_s << t << 0
                                        << "8 3\n"_ba << none;
        QTest::newRow("find regex") << u"find|--regex|--selection|0:0|o\\w+"_s << t << 0 << "4 3\n"_ba << none;
        QTest::newRow("find, bad regex") << u"find|--regex|--selection|0:0|("_s << t << 2 << none
                                         << "qjkit: find: invalid regular expression \"(\""_ba;
        QTest::newRow("find, selection outside") << u"find|--selection|20:1|two"_s << t << 2 << none
                                                 << "qjkit: selection 20:1 is outside the text (length 11)\n"_ba;
        QTest::newRow("netencode") << u"netencode|a b|\u20ac"_s << none << 0 << "%61%20%62\n%20ac\n"_ba << none;
        QTest::newRow("delete-spaces") << u"delete-spaces|1. 2 b"_s << none << 0 << "1.2b\n"_ba << none;
        QTest::newRow("fit, no width") << u"fit|abc"_s << none << 2 << none
                                       << "qjkit: fit: the option --width W is required\n"_ba;
    }
    void commands()
    {
        QFETCH(QString, line);
        QFETCH(QByteArray, input);
        QFETCH(int, status);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, errStart);
        const auto r = runTool(line.split(u'|'), input);
        QCOMPARE(r.out, out);
        QVERIFY2(r.err.startsWith(errStart) && (errStart.isEmpty() == r.err.isEmpty()), r.err.constData());
        QCOMPARE(r.exitCode, status);
    }

    void sortsLargeInputsStably()
    {
        // Enough lines for the two-thread merge; values repeat with different zero padding, so
        // equal lines must keep their input order.
        QRandomGenerator rng(11);
        QStringList lines;
        for (int i = 0; i < 70000; ++i)
            lines.append(u"n%1-%2"_s.arg(int(rng.bounded(5000)), int(rng.bounded(3)) + 1, 10, QChar(u'0')).arg(i % 7));
        QStringList expected = lines;
        std::stable_sort(expected.begin(), expected.end(), NaturalStringComparison::NaturalOrder());
        const auto r = runTool({u"sort"_s}, lines.join(u'\n').toUtf8());
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, (expected.join(u'\n') + u'\n').toUtf8());
    }

    void fitsWithoutDisplay()
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const auto &name : {u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s, u"QT_QPA_PLATFORM"_s})
            env.remove(name);
        const QString path = u"/home/ada/Documents/Drafts/chapter twelve.txt"_s;
        const auto end = runTool({u"fit"_s, u"--width"_s, u"80"_s, path}, {}, env);
        QCOMPARE(end.exitCode, 0);
        QVERIFY(end.out.startsWith("...") && end.out.size() < path.size());
        QVERIFY(path.endsWith(QString::fromUtf8(end.out.sliced(3).chopped(1))));
        const auto start = runTool({u"fit"_s, u"--keep-start"_s, u"--width=80"_s, path}, {}, env);
        QVERIFY(start.out.endsWith("...\n") && path.startsWith(QString::fromUtf8(start.out.chopped(4))));
        QCOMPARE(runTool({u"fit"_s, u"--width"_s, u"1000"_s, u"short"_s}, {}, env).out, "short\n"_ba);
    }
};

QTEST_GUILESS_MAIN(TestTextCommands)
#include "tst_textcommands.moc"
