// SPDX-License-Identifier: LGPL-2.1-or-later
// The text functions: natural ordering, counting, finding, encoding and fitting.
#include "ArrayWebExtensions.h"
#include "NSStringDeletion.h"
#include "NSStringTextFinding.h"
#include "NaturalStringComparison.h"
#include "QJBundle.h"
#include "QJStringCounting.h"
#include "StringSizing.h"
#include "StringWebExtensions.h"
#include "qjtestsupport.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace NaturalStringComparison;
using namespace NSStringTextFinding;

namespace
{
// Random strings on which an ordering must be a strict weak ordering: no lower-case letter
// that could differ only in case from a capital, short remainders, no wrapping digit runs.
QStringList sample(QStringView alphabet, int maxRun)
{
    QRandomGenerator rng(7);
    QStringList list;
    while (list.size() < 150) {
        QString s;
        for (int parts = int(rng.bounded(5)); parts >= 0; --parts) {
            const QChar c = alphabet[rng.bounded(int(alphabet.size()))];
            s += QString(int(rng.bounded(maxRun)) + 1, c);
        }
        list.append(s);
    }
    return list;
}

void checkStrictWeakOrdering(const QStringList &list, int (*compare)(QStringView, QStringView) noexcept)
{
    for (const QString &a : list) {
        QCOMPARE(compare(a, a), 0);
        for (const QString &b : list) {
            const int ab = compare(a, b);
            QCOMPARE(compare(b, a), -ab);
            for (const QString &c : list) {
                const int bc = compare(b, c);
                if (ab <= 0 && bc <= 0 && (ab | bc) != 0 && compare(a, c) >= 0)
                    QFAIL(qPrintable(u"not transitive: %1 / %2 / %3"_s.arg(a, b, c)));
                if (ab == 0 && bc == 0 && compare(a, c) != 0)
                    QFAIL(qPrintable(u"equivalence not transitive: %1 / %2 / %3"_s.arg(a, b, c)));
            }
        }
    }
}

using Counts = QList<int>; // paragraphs, lines, chars, words
enum Flag { WholeWords = 1, WholeLines = 2, CountEmptyLines = 4, CountSpaces = 8 };

Counts count(QStringView s, QJRange r, int flags, quint32 width = 0, qint32 m = 1, Counts c = {0, 0, 0, 0})
{
    QJStringCounting::countForRange(s, r, flags & WholeWords, flags & WholeLines, &c[0], &c[1], &c[2], &c[3], width,
        flags & CountEmptyLines, flags & CountSpaces, m);
    return c;
}

// Over a whole text, without widening, the counts follow from splitting it: at line feeds for
// paragraphs and display lines (an empty piece is an empty line), at whitespace for words.
Counts splitCounts(const QString &s, int flags, quint32 lineWidth)
{
    const qsizetype width = lineWidth ? lineWidth : 30;
    Counts c {0, 0, 0, 0};
    const QStringList pieces = s.split(u'\n');
    for (qsizetype k = 0; k < pieces.size(); ++k) {
        const qsizetype len = pieces[k].size();
        if (len == 0 && (k == pieces.size() - 1 || !(flags & CountEmptyLines)))
            continue;
        c[0] += 1;
        c[1] += int((qMax<qsizetype>(len, 1) + width - 1) / width);
    }
    const QStringList words = s.split(QRegularExpression(u"[ \t\n]"_s), Qt::SkipEmptyParts);
    c[3] = int(words.size());
    c[2] = (flags & CountSpaces) ? int(s.size()) : int(words.join(QString()).size());
    return c;
}

// One width unit per code unit: fitting becomes countable.
float unitWidth(QStringView text)
{
    return float(text.size());
}
} // namespace

class TestText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void compare_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("natural");
        QTest::addColumn<int>("hex");
        QTest::newRow("empty first") << QString() << u"a"_s << -1 << -1;
        QTest::newRow("numbers by value") << u"file9"_s << u"file10"_s << -1 << -1;
        QTest::newRow("leading zeros") << u"file010"_s << u"file10"_s << 0 << 1;
        QTest::newRow("runs skipped together") << u"x007y"_s << u"x7y"_s << 0 << 0;
        QTest::newRow("prefix") << u"abc"_s << u"abcd"_s << -1 << -1;
        QTest::newRow("case-only difference ends it") << u"abc1"_s << u"ABC2"_s << 0 << -1;
        QTest::newRow("letters folded") << u"a"_s << u"B"_s << -1 << -1;
        QTest::newRow("folded against underscore") << u"a"_s << u"_"_s << -1 << -1;
        QTest::newRow("letter after digit") << u"xa"_s << u"x9"_s << 1 << 1;
        QTest::newRow("versions") << u"1.2.10"_s << u"1.2.9"_s << 1 << 1;
        QTest::newRow("version letter") << u"1.2.a"_s << u"1.2.9"_s << 1 << 1;
        QTest::newRow("version letter vs ten") << u"1.2.a"_s << u"1.2.10"_s << 1 << -1;
        QTest::newRow("hex beta") << u"1.0b2"_s << u"1.0b10"_s << -1 << -1;
        QTest::newRow("hex words") << u"face"_s << u"fade"_s << -1 << -1;
        QTest::newRow("no fold beyond ASCII") << u"\u00e4"_s << u"\u00c4"_s << 1 << 1;
        // The remainders 100 and 68: 100 folds like 'd' to 68.
        QTest::newRow("remainder length fold") << QString(100, u'x') << QString(68, u'x') << 0 << 0;
        QTest::newRow("remainder 96 is not folded") << QString(96, u'x') << QString(64, u'x') << 1 << 1;
        // 10^24 wraps to 2003764205206896640 in 64 bits; 16^16 wraps to 0.
        QTest::newRow("decimal run wraps") << u"1"_s + QString(24, u'0') << u"2003764205206896640"_s << 0 << -1;
        QTest::newRow("hex run wraps") << u"1"_s + QString(16, u'0') << u"0"_s << 1 << 0;
    }
    void compare()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QFETCH(int, natural);
        QFETCH(int, hex);
        QCOMPARE(naturalCompare(a, b), natural);
        QCOMPARE(naturalCompare(b, a), -natural);
        QCOMPARE(hexanumericalCompare(a, b), hex);
        QCOMPARE(hexanumericalCompare(b, a), -hex);
        QCOMPARE(compareNumerically(a, b, 0, 0), natural);
        QCOMPARE(compareHexaNumerically(a, b, 0, 0), hex);
    }

    void positionsAndAccess()
    {
        QCOMPARE(compareNumerically(u"ab10", u"9", 2, 0), 1);
        QCOMPARE(compareHexaNumerically(u"zz", u"zz", 2, 1), -1);
        const CharacterAccess shifted = [](QStringView s, quint32 i) { return char16_t(s[i].unicode() + 1); };
        QCOMPARE(compareNumerically(u"a", u"b", 0, 0), -1);
        QCOMPARE(compareNumerically(u"a", u"b", 0, 0, shifted, characterAtIndex), 0);
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, compareNumerically(u"ab", u"c", 3, 0));
    }

    void strictWeakOrdering()
    {
        checkStrictWeakOrdering(sample(u"0123456789AZ._-", 4), naturalCompare);
        checkStrictWeakOrdering(sample(u"0123456789ABCFabcfXY.-", 4), hexanumericalCompare);
    }

    void comparators()
    {
        QStringList names {u"file10"_s, u"file9"_s, u"file010b"_s, u"file1"_s, u"file10a"_s, u"file01"_s};
        NaturalStringComparison::stableSort(names.begin(), names.end(), NaturalOrder());
        QCOMPARE(names, (QStringList {u"file1"_s, u"file01"_s, u"file9"_s, u"file10"_s, u"file10a"_s, u"file010b"_s}));
        // Strings on which the ordering is inconsistent (case-only differences, long remainders),
        // many of them and on two threads: the sort keeps every string and stays in its range,
        // which the sanitizer run checks.
        QStringList mixed;
        for (int i = 0; i < 70000; ++i)
            mixed.append((i % 3 ? u"Abc"_s : u"aBC"_s) + QString::number(i % 97) + QString(i % 130, u'x'));
        QStringList sorted = mixed;
        NaturalStringComparison::stableSort(sorted.begin(), sorted.end(), NaturalOrder());
        std::sort(mixed.begin(), mixed.end());
        std::sort(sorted.begin(), sorted.end());
        QCOMPARE(sorted, mixed);
        QStringList versions {u"1.10"_s, u"1.9"_s, u"1.a"_s, u"1.0b10"_s, u"1.0b2"_s};
        std::sort(versions.begin(), versions.end(), HexanumericalOrder());
        QCOMPARE(versions, (QStringList {u"1.9"_s, u"1.a"_s, u"1.10"_s, u"1.0b2"_s, u"1.0b10"_s}));
        QCOMPARE(HexanumericalOrder().compare(u"1.a", u"1.9"), 1);
    }

    void counts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QJRange>("range"); // length 0xFFFFFFFF: to the end
        QTest::addColumn<int>("flags");
        QTest::addColumn<quint32>("width");
        QTest::addColumn<Counts>("expected");
        const QJRange all {0, 0xFFFFFFFF};
        const QString x61(61, u'x'), x40yy = QString(40, u'x') + u"\nyy"_s, hw = u"hello world"_s;
        QTest::newRow("empty string") << QString() << all << 15 << 0u << Counts {0, 0, 0, 0};
        QTest::newRow("61 units, width 0 = 30") << x61 << all << 0 << 0u << Counts {1, 3, 61, 1};
        QTest::newRow("empty line") << u"a\n\nb"_s << all << 0 << 0u << Counts {2, 2, 2, 2};
        QTest::newRow("empty line counted") << u"a\n\nb"_s << all << +CountEmptyLines << 0u << Counts {3, 3, 2, 2};
        QTest::newRow("final line feed") << u"a\n"_s << all << 0 << 0u << Counts {1, 1, 1, 1};
        QTest::newRow("feed at index 0") << u"\na"_s << QJRange {0, 1} << 0 << 0u << Counts {0, 0, 0, 0};
        QTest::newRow("starts in a word") << hw << QJRange {2, 5} << 0 << 0u << Counts {1, 1, 4, 2};
        QTest::newRow("empty, in a word") << hw << QJRange {2, 0} << 0 << 0u << Counts {1, 1, 0, 1};
        QTest::newRow("empty, after a feed") << u"a\nb"_s << QJRange {2, 0} << 0 << 0u << Counts {0, 0, 0, 0};
        QTest::newRow("whole words (0,3)") << hw << QJRange {0, 3} << +WholeWords << 0u << Counts {1, 1, 5, 1};
        QTest::newRow("whole words (0,5)") << hw << QJRange {0, 5} << +WholeWords << 0u << Counts {1, 1, 9, 2};
        QTest::newRow("whole words (6,2)") << hw << QJRange {6, 2} << +WholeWords << 0u << Counts {1, 1, 4, 1};
        QTest::newRow("CR is a char") << u"a\r\nb"_s << all << 0 << 0u << Counts {2, 2, 3, 2};
        QTest::newRow("whole lines") << x40yy << QJRange {35, 8} << +WholeLines << 10u << Counts {2, 5, 7, 2};
        QTest::newRow("part of the lines") << x40yy << QJRange {35, 8} << 0 << 10u << Counts {2, 2, 7, 2};
        QTest::newRow("whole last line") << u"abc def\ng"_s << QJRange {0, 2} << +WholeLines << 1u
                                         << Counts {1, 7, 2, 1};
        QTest::newRow("lines end at a CR") << u"ab\rcd\nef"_s << all << +WholeLines << 1u << Counts {2, 4, 7, 2};
    }
    void counts()
    {
        QFETCH(QString, text);
        QFETCH(QJRange, range);
        QFETCH(int, flags);
        QFETCH(quint32, width);
        QFETCH(Counts, expected);
        if (range.length == 0xFFFFFFFF)
            range.length = quint32(text.size());
        const Counts c = count(text, range, flags, width);
        QCOMPARE(c, expected);
        // Multiplying scales every counter; subtracting the same range again restores them.
        QCOMPARE(count(text, range, flags, width, 3, {7, 7, 7, 7}),
            (Counts {7 + 3 * c[0], 7 + 3 * c[1], 7 + 3 * c[2], 7 + 3 * c[3]}));
        QCOMPARE(count(text, range, flags, width, -1, c), (Counts {0, 0, 0, 0}));
    }

    void agreesWithSplitting()
    {
        // Long enough to cross the eight-unit blocks of the fast walk in every arrangement.
        const char16_t alphabet[] = {u'a', u'b', u' ', u'\t', u'\n', u'\n', u'\r', 0xE9};
        QRandomGenerator rng(20240517);
        for (int round = 0; round < 3000; ++round) {
            QString s;
            for (int i = int(rng.bounded(90)); i > 0; --i)
                s += QChar(alphabet[rng.bounded(int(std::size(alphabet)))]);
            const int flags = int(rng.bounded(16)) & (CountEmptyLines | CountSpaces);
            const quint32 width = rng.bounded(5);
            QCOMPARE(count(s, {0, quint32(s.size())}, flags, width), splitCounts(s, flags, width));
        }
    }

    // The streaming count of UTF-8 pieces equals decoding all of it and counting the whole text, and
    // refuses exactly what the decoder refuses. The pieces split characters and the mark anywhere;
    // long ones, with the runs of words and spaces, take the paths that count blocks at a time.
    void streamingAgreesWithDecoding()
    {
        const QByteArrayList fragments {"a", "b", " ", "\t", "\n", "\n", "\r", "\xC3\xA9", "\xC2\x85", "\xE2\x80\xA8",
            "\xF0\x9F\x98\x80", "\xEF\xBB\xBF", "\xEF\xBF\xBF", "the quick brown fox ", "jumps over "};
        const QByteArrayList broken {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80", "\xE2\x80", "\xFF"};
        QRandomGenerator rng(20261125);
        for (int round = 0; round < 4000; ++round) {
            QByteArray bytes;
            for (int i = int(rng.bounded(40)); i > 0; --i)
                bytes += fragments.at(rng.bounded(int(fragments.size())));
            if (rng.bounded(8) == 0)
                bytes.insert(rng.bounded(int(bytes.size()) + 1), broken.at(rng.bounded(int(broken.size()))));
            const int flags = int(rng.bounded(16)) & (WholeLines | CountEmptyLines | CountSpaces);
            const quint32 width = rng.bounded(4);

            QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
            const QString text = decoder(bytes);
            QJStringCounting::Utf8Counter counter(
                flags & WholeLines, width, flags & CountEmptyLines, flags & CountSpaces);
            for (qsizetype at = 0; at < bytes.size();) {
                const qsizetype piece = qMin<qsizetype>(rng.bounded(rng.bounded(2) ? 5 : 80), bytes.size() - at);
                counter.add(QByteArrayView(bytes).sliced(at, piece));
                at += piece;
            }
            Counts c {0, 0, 0, 0};
            const bool counted = counter.finish(&c[0], &c[1], &c[2], &c[3], 1);
            QCOMPARE(counted, !decoder.hasError());
            if (counted)
                QCOMPARE(c, count(text, {0, quint32(text.size())}, flags, width));
        }
    }

    void wrapsAndRejects()
    {
        QCOMPARE(count(u"word", {0, 4}, 0, 0, 1, {0, 0, 0, std::numeric_limits<qint32>::max()})[3],
            std::numeric_limits<qint32>::min());
        qint32 c = 5;
        QVERIFY_THROWS_EXCEPTION(std::out_of_range,
            QJStringCounting::countForRange(u"hello", {3, 3}, false, false, &c, &c, &c, &c, 0, false, false, 1));
        QVERIFY_THROWS_EXCEPTION(std::out_of_range,
            QJStringCounting::countForRange(u"hello", {0xFFFFFFFF, 2}, true, true, &c, &c, &c, &c, 0, false, false, 1));
        QCOMPARE(c, 5);
        QVERIFY_THROWS_EXCEPTION(std::invalid_argument,
            QJStringCounting::countForRange(u"hello", {0, 1}, false, false, nullptr, &c, &c, &c, 0, false, false, 1));
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, QJStringCounting::lineRangeForRange(u"ab", {2, 1}));
    }

    void lineRange_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QJRange>("range");
        QTest::addColumn<QJRange>("expected");
        const QString seps = u"a\u2028b\u0085c\u2029d"_s;
        QTest::newRow("first line") << u"ab\ncd"_s << QJRange {0, 0} << QJRange {0, 3};
        QTest::newRow("at its line feed") << u"ab\ncd"_s << QJRange {2, 0} << QJRange {0, 3};
        QTest::newRow("unterminated end") << u"ab\ncd"_s << QJRange {5, 0} << QJRange {3, 2};
        QTest::newRow("after the last terminator") << u"ab\n"_s << QJRange {3, 0} << QJRange {3, 0};
        QTest::newRow("CR LF is one terminator") << u"ab\r\ncd"_s << QJRange {3, 0} << QJRange {0, 4};
        QTest::newRow("CR, then CR LF") << u"\r\r\n"_s << QJRange {1, 0} << QJRange {1, 2};
        QTest::newRow("U+2028") << seps << QJRange {2, 0} << QJRange {2, 2};
        QTest::newRow("U+0085") << seps << QJRange {4, 0} << QJRange {4, 2};
        QTest::newRow("U+2029") << seps << QJRange {6, 0} << QJRange {6, 1};
        QTest::newRow("two lines") << u"ab\ncd\nef"_s << QJRange {1, 3} << QJRange {0, 6};
        QTest::newRow("ends on the CR of CR LF") << u"a\r\nb"_s << QJRange {0, 2} << QJRange {0, 3};
    }
    void lineRange()
    {
        QFETCH(QString, text);
        QFETCH(QJRange, range);
        QFETCH(QJRange, expected);
        QCOMPARE(QJStringCounting::lineRangeForRange(text, range), expected);
    }

    void rangeOfString_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("needle");
        QTest::addColumn<uint>("options");
        QTest::addColumn<QJRange>("range"); // length 0xFFFFFFFF: to the end
        QTest::addColumn<QJRange>("expected");
        const QString hh = u"Hello hello"_s, cafe = u"cafe\u0301 caf\u00e9"_s, digits = u"a1b22c333"_s;
        const QJRange all {0, 0xFFFFFFFF}, none = QJNotFoundRange;
        QTest::newRow("case-sensitive") << hh << u"hello"_s << 0u << all << QJRange {6, 5};
        QTest::newRow("case-insensitive") << hh << u"hello"_s << 1u << all << QJRange {0, 5};
        QTest::newRow("anchored") << hh << u"hello"_s << 8u << all << none;
        QTest::newRow("anchored at the end") << hh << u"hello"_s << 12u << all << QJRange {6, 5};
        QTest::newRow("only inside the range") << u"abcabc"_s << u"abc"_s << 0u << QJRange {1, 4} << none;
        QTest::newRow("other bits ignored") << hh << u"hello"_s << 64u + 128 + 256 + 512 << all << QJRange {6, 5};
        QTest::newRow("empty needle") << hh << QString() << 0u << all << none;
        QTest::newRow("canonical equivalence") << cafe << u"caf\u00e9"_s << 0u << all << QJRange {0, 5};
        QTest::newRow("literal") << cafe << u"caf\u00e9"_s << 2u << all << QJRange {6, 4};
        QTest::newRow("not inside a character") << cafe << u"e"_s << 0u << all << none;
        QTest::newRow("literal, inside") << cafe << u"e"_s << 2u << all << QJRange {3, 1};
        QTest::newRow("equivalent, any case") << u"CAFE\u0301!"_s << u"caf\u00e9"_s << 1u << all << QJRange {0, 5};
        QTest::newRow("line feed of CR LF") << u"a\r\nb\u0301"_s << u"\n"_s << 0u << all << QJRange {2, 1};
        QTest::newRow("regex") << digits << u"\\d{2,}"_s << 1024u << all << QJRange {3, 2};
        QTest::newRow("regex, not backwards") << digits << u"\\d+"_s << 1028u << all << QJRange {1, 1};
        QTest::newRow("regex, anchored") << digits << u"\\d+"_s << 1032u << all << none;
        QTest::newRow("regex in a range") << digits << u"^B2+"_s << 1025u << QJRange {2, 7} << QJRange {2, 3};
        QTest::newRow("invalid regex") << digits << u"("_s << 1024u << all << none;
        // A range is a slice of a longer string: a backwards search must not see a match just past
        // either end of it, whether the needle is one unit or more, and whatever its case.
        QTest::newRow("backwards in a slice") << u"bxbyb"_s << u"b"_s << 4u << QJRange {1, 3} << QJRange {2, 1};
        QTest::newRow("backwards in a slice, any case")
            << u"AxaxA"_s << u"a"_s << 5u << QJRange {1, 3} << QJRange {2, 1};
        QTest::newRow("backwards, match overhanging the end")
            << u"abxab"_s << u"ab"_s << 4u << QJRange {0, 4} << QJRange {0, 2};
        QTest::newRow("backwards, any case, overhanging the end")
            << u"ABxAB"_s << u"ab"_s << 5u << QJRange {1, 3} << none;
        QTest::newRow("backwards in an empty slice") << u"aa"_s << u"a"_s << 4u << QJRange {1, 0} << none;
    }
    void rangeOfString()
    {
        QFETCH(QString, text);
        QFETCH(QString, needle);
        QFETCH(uint, options);
        QFETCH(QJRange, range);
        QFETCH(QJRange, expected);
        if (range.length == 0xFFFFFFFF)
            range.length = quint32(text.size());
        QCOMPARE(NSStringTextFinding::rangeOfString(text, needle, options, range), expected);
    }

    void searchesLongTexts()
    {
        // Long texts are searched in pieces of about 65536 code units; matches across the pieces'
        // ends must still be found, forwards (the first) and backwards (the second occurrence).
        const QString e = u"xe\u0301y"_s;
        const QString text = QString(65535, u'a') + e + QString(70000, u'b') + e + QString(65534, u'c');
        const QJRange all {0, quint32(text.size())};
        QCOMPARE(
            NSStringTextFinding::rangeOfString(text, u"X\u00c9Y", CaseInsensitiveSearch, all), (QJRange {65535, 4}));
        QCOMPARE(NSStringTextFinding::rangeOfString(text, u"x\u00e9y", BackwardsSearch, all), (QJRange {135539, 4}));
        QCOMPARE(NSStringTextFinding::rangeOfString(text, u"a\u00e9", 0, all), QJNotFoundRange);
    }

    void findString_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("needle");
        QTest::addColumn<QJRange>("selection");
        QTest::addColumn<uint>("options");
        QTest::addColumn<bool>("wrap");
        QTest::addColumn<QJRange>("expected");
        const QString t = u"two one two"_s;
        QTest::newRow("not into the selection")
            << u"aaa"_s << u"aa"_s << QJRange {1, 2} << 0u << true << QJNotFoundRange;
        QTest::newRow("backwards") << t << u"two"_s << QJRange {8, 3} << 4u << false << QJRange {0, 3};
        QTest::newRow("backwards, wrapped") << t << u"two"_s << QJRange {0, 3} << 4u << true << QJRange {8, 3};
        QTest::newRow("wrapped, nothing")
            << u"one two"_s << u"one"_s << QJRange {0, 3} << 4u << true << QJNotFoundRange;
        // Backwards from a selection, the search covers only what lies before it: the match at the
        // selection itself is outside, even beside astral characters and in any case.
        QTest::newRow("backwards, not at the selection")
            << u"bbéb b😀b😀é😀aééébbbb"_s << u"b"_s << QJRange {5, 0} << 4u << false << QJRange {3, 1};
        QTest::newRow("backwards, any case, wrapped")
            << u"ccA ca   b bcbbbcB"_s << u"A"_s << QJRange {2, 0} << 5u << true << QJRange {5, 1};
    }
    void findString()
    {
        QFETCH(QString, text);
        QFETCH(QString, needle);
        QFETCH(QJRange, selection);
        QFETCH(uint, options);
        QFETCH(bool, wrap);
        QFETCH(QJRange, expected);
        QCOMPARE(NSStringTextFinding::findString(text, needle, selection, options, wrap), expected);
        QVERIFY_THROWS_EXCEPTION(
            std::out_of_range, NSStringTextFinding::findString(text, needle, {quint32(text.size()), 1}, 0, wrap));
    }

    // "a b" and "1. 2 b" are rows of the qjkit table (netencode, delete-spaces).
    void encodesAndDeletes()
    {
        QCOMPARE(StringWebExtensions::netEncode(u""), QString());
        QCOMPARE(StringWebExtensions::netEncode(u"\n%\u00ff\u0100\u20ac\U0001F600"), u"%0a%25%ff%100%20ac%d83d%de00"_s);
        const QJArray inner({u"\u20ac"_s, QJArray(QJMutability::Immutable)}, QJMutability::Immutable);
        const QJArray array({u"a b"_s, inner}, QJMutability::Immutable);
        const QJArray encoded = ArrayWebExtensions::netEncode(array);
        QCOMPARE(encoded, (QJArray {u"%61%20%62"_s, QJArray {u"%20ac"_s, QJArray()}}));
        QVERIFY(encoded.isMutable() && encoded.at(1).toArray().isMutable());
        QCOMPARE(array.at(0).toString(), u"a b"_s);
        QVERIFY(ArrayWebExtensions::netEncode(QJArray()).isEmpty());
        QVERIFY_THROWS_EXCEPTION(std::invalid_argument, ArrayWebExtensions::netEncode(QJArray {u"a"_s, QJArray {12}}));

        QCOMPARE(NSStringDeletion::stringByDeletingSpaces(u"\t1\u00a0 \n"), u"\t1\u00a0\n"_s);
    }

    void fitting_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<float>("width");
        QTest::addColumn<QString>("keepingEnd");
        QTest::addColumn<QString>("keepingStart");
        // Keeping the start cleans white space first; how much fits is checked against removing
        // one unit at a time (below).
        QTest::newRow("start is cleaned") << u"  a\nb  "_s << 50.f << u"  a\nb  "_s << u"a b"_s;
        QTest::newRow("cleaned, then cut") << u"\tab\ncdef\n"_s << 6.f << u"...f\n"_s << u"ab ..."_s;
    }
    void fitting()
    {
        QFETCH(QString, text);
        QFETCH(float, width);
        QFETCH(QString, keepingEnd);
        QFETCH(QString, keepingStart);
        QCOMPARE(StringSizing::shortenedStringWithSize(text, width, unitWidth), keepingEnd);
        QCOMPARE(StringSizing::stringAdjustedToSize(text, QSizeF(width, 0), unitWidth), keepingStart);
    }
    // The fittings search by halving; they must give what removing one unit at a time gives, for
    // every width, with a measure whose units weigh differently (so ties and jumps both occur).
    void fittingMatchesRemovingOneUnitAtATime()
    {
        const auto weighed = [](QStringView t) {
            float w = 0;
            for (QChar c : t)
                w += float(c.unicode() % 4) * 0.5f;
            return w;
        };
        const auto keepEnd = [&](const QString &text, float max) {
            if (weighed(text) <= max)
                return text;
            qsizetype k = text.size();
            while (k > 0 && weighed(QStringView(text).sliced(k - 1)) + weighed(u"...") < max)
                --k;
            return u"..."_s + text.sliced(k);
        };
        const auto keepStart = [&](const QString &text, float max) {
            if (weighed(text) <= max)
                return text;
            qsizetype n = text.size(), cut;
            while ((cut = n - 1) >= 1 && weighed(QStringView(text).first(cut)) + weighed(u"...") > max)
                --n;
            return text.first(qMax<qsizetype>(cut, 0)) + u"..."_s;
        };
        const QString sample = u"The harbour notebook, chapter three: a lantern never sent."_s;
        for (qsizetype length = 0; length <= sample.size(); length += 7) {
            const QString text = sample.first(length);
            for (float max = -1; max < 40; max += 0.5f) {
                QCOMPARE(StringSizing::shortenedStringWithSize(text, max, weighed), keepEnd(text, max));
                QCOMPARE(StringSizing::stringAdjustedToSize(text, QSizeF(max, 0), weighed), keepStart(text, max));
            }
        }
    }
    void ellipsisIsLocalizedOnEachUse()
    {
        QTemporaryDir bundle;
        QVERIFY(QJTest::writeFile(bundle.filePath(u"en.lproj/Localizable.strings"_s), "\"...\" = \"\u2026\";\n"));
        const QString before = QJBundle::mainBundle().bundlePath();
        QJBundle::setMainBundlePath(bundle.path());
        QCOMPARE(StringSizing::shortenedStringWithSize(u"abcdef"_s, 5, unitWidth), u"\u2026def"_s);
        QCOMPARE(StringSizing::stringAdjustedToSize(u"abcdef"_s, QSizeF(5, 0), unitWidth), u"abcd\u2026"_s);
        QJBundle::setMainBundlePath(before);
        QCOMPARE(StringSizing::ellipsis(), u"..."_s);
    }
};

QTEST_GUILESS_MAIN(TestText)
#include "tst_text.moc"
