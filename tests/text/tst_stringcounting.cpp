// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJStringCounting.h"

#include <QRandomGenerator>
#include <QTest>

#include <vector>

using namespace Qt::StringLiterals;

namespace
{
struct Counts
{
    qint32 paragraphs = 0, lines = 0, chars = 0, words = 0;
    bool operator==(const Counts &) const = default;
};

enum Flag { WholeWords = 1, WholeLines = 2, CountEmptyLines = 4, CountSpaces = 8 };

Counts count(QStringView s, QJRange r, int flags, quint32 width = 0, qint32 m = 1, Counts c = {})
{
    QJStringCounting::countForRange(s, r, flags & WholeWords, flags & WholeLines, &c.paragraphs, &c.lines, &c.chars,
        &c.words, width, flags & CountEmptyLines, flags & CountSpaces, m);
    return c;
}

// The counting rules written out one code unit at a time, with line ranges found by splitting the
// text into lines first: the optimised walk must agree with it on any input.
Counts reference(QStringView s, QJRange r, int flags, quint32 lineWidth, qint32 m)
{
    const qsizetype n = s.size();
    auto isTerminator = [](char16_t c) { return c == 0x0A || c == 0x0D || c == 0x85 || c == 0x2028 || c == 0x2029; };
    std::vector<std::pair<qsizetype, qsizetype>> textLines; // [start, end) with terminator
    for (qsizetype start = 0, i = 0; i < n; ++i) {
        const char16_t c = s[i].unicode();
        if (c == 0x0D && i + 1 < n && s[i + 1] == u'\n')
            ++i;
        else if (!isTerminator(c) && i + 1 < n)
            continue;
        textLines.push_back({start, i + 1});
        start = i + 1;
    }
    auto lineLength = [&](qsizetype i) -> qint64 {
        for (const auto &[from, to] : textLines)
            if (i >= from && i < to)
                return to - from;
        // At the end: the unterminated last line, or nothing after a terminator.
        return textLines.empty() || i < n || isTerminator(s[n - 1].unicode())
            ? 0
            : textLines.back().second - textLines.back().first;
    };
    auto ws = [](char16_t c) { return c == u' ' || c == u'\t' || c == u'\n'; };
    auto at = [&](qsizetype i) { return s[i].unicode(); };
    const quint32 width = lineWidth ? lineWidth : 30;
    auto ceilDiv = [width](quint32 a) { return a / width + (a % width ? 1 : 0); };
    Counts c;
    qint64 start = r.location, count = r.length;
    if (flags & WholeWords) {
        while (start > 0) {
            if (ws(at(--start))) {
                ++start;
                break;
            }
        }
        qint64 end = r.location + r.length;
        while (end < n - 1 && !ws(at(++end)))
            ;
        count = end - start;
    } else if (!ws(start > 0 ? at(start - 1) : u' ') && !ws(start < n ? at(start) : u' ')) {
        c.words += m;
    }
    char16_t prev = start > 0 ? at(start - 1) : u' ';
    qint64 lineStart = 0;
    for (qint64 done = 0; done < count; ++done) {
        const qint64 i = start + done;
        const char16_t ch = at(i);
        if (ch == u'\n') {
            if (!(flags & CountEmptyLines) && (i == 0 || prev == u'\n')) {
            } else {
                c.paragraphs += m;
                quint32 len = (flags & WholeLines) ? quint32(lineLength(i) - 1) : quint32(done - lineStart);
                c.lines += qint32(ceilDiv(len ? len : 1)) * m;
            }
            lineStart = done + 1;
            c.chars += (flags & CountSpaces) ? m : 0;
        } else if (ws(ch)) {
            c.chars += (flags & CountSpaces) ? m : 0;
        } else {
            c.words += ws(prev) ? m : 0;
            c.chars += m;
        }
        prev = ch;
    }
    if (prev != u'\n') {
        const qint64 e = start + count;
        quint32 tail = (flags & WholeLines) ? quint32(lineLength(e) - (e < n ? 1 : 0)) : quint32(count - lineStart);
        if (tail == 0 && e < n)
            tail = 1;
        c.lines += qint32(ceilDiv(tail)) * m;
        c.paragraphs += tail ? m : 0;
    }
    return c;
}
} // namespace

class TestStringCounting : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void counts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<quint32>("location");
        QTest::addColumn<qint64>("length"); // -1: to the end
        QTest::addColumn<int>("flags");
        QTest::addColumn<quint32>("width");
        QTest::addColumn<QList<int>>("expected"); // paragraphs, lines, chars, words
        const QString p61(61, u'x');
        QTest::newRow("empty string, all flags") << QString() << 0u << -1LL << 15 << 0u << QList {0, 0, 0, 0};
        QTest::newRow("two words") << u"one two"_s << 0u << -1LL << 0 << 0u << QList {1, 1, 6, 2};
        QTest::newRow("two words, spaces count")
            << u"one two"_s << 0u << -1LL << +CountSpaces << 0u << QList {1, 1, 7, 2};
        QTest::newRow("61 units at width 30") << p61 << 0u << -1LL << 0 << 30u << QList {1, 3, 61, 1};
        QTest::newRow("61 units, width 0 means 30") << p61 << 0u << -1LL << 0 << 0u << QList {1, 3, 61, 1};
        QTest::newRow("60 units at width 30") << p61.first(60) << 0u << -1LL << 0 << 30u << QList {1, 2, 60, 1};
        QTest::newRow("empty line skipped") << u"a\n\nb"_s << 0u << -1LL << 0 << 0u << QList {2, 2, 2, 2};
        QTest::newRow("empty line counted")
            << u"a\n\nb"_s << 0u << -1LL << +CountEmptyLines << 0u << QList {3, 3, 2, 2};
        QTest::newRow("line feeds as chars") << u"a\n\nb"_s << 0u << -1LL << +CountSpaces << 0u << QList {2, 2, 4, 2};
        QTest::newRow("no line after final feed") << u"a\n"_s << 0u << -1LL << 0 << 0u << QList {1, 1, 1, 1};
        QTest::newRow("feed at index 0 is empty") << u"\na"_s << 0u << -1LL << 0 << 0u << QList {1, 1, 1, 1};
        QTest::newRow("feed at 0, empty counted")
            << u"\na"_s << 0u << -1LL << +CountEmptyLines << 0u << QList {2, 2, 1, 1};
        QTest::newRow("range starts inside a word") << u"hello world"_s << 2u << 5LL << 0 << 0u << QList {1, 1, 4, 2};
        QTest::newRow("empty range inside a word") << u"hello world"_s << 2u << 0LL << 0 << 0u << QList {1, 1, 0, 1};
        QTest::newRow("empty range after a feed") << u"a\nb"_s << 2u << 0LL << 0 << 0u << QList {0, 0, 0, 0};
        QTest::newRow("whole words (0,3): hello")
            << u"hello world"_s << 0u << 3LL << +WholeWords << 0u << QList {1, 1, 5, 1};
        QTest::newRow("whole words (0,5): hello worl")
            << u"hello world"_s << 0u << 5LL << +WholeWords << 0u << QList {1, 1, 9, 2};
        QTest::newRow("whole words (6,2): worl")
            << u"hello world"_s << 6u << 2LL << +WholeWords << 0u << QList {1, 1, 4, 1};
        QTest::newRow("carriage return is a char") << u"a\r\nb"_s << 0u << -1LL << 0 << 0u << QList {2, 2, 3, 2};
        const QString long40 = QString(40, u'x') + u"\nyy"_s;
        QTest::newRow("whole lines measure the paragraph")
            << long40 << 35u << -1LL << +WholeLines << 10u << QList {2, 5, 7, 2};
        QTest::newRow("without whole lines") << long40 << 35u << -1LL << 0 << 10u << QList {2, 2, 7, 2};
        QTest::newRow("whole lines, range ends in a line")
            << u"abc def\nghi"_s << 0u << 2LL << +WholeLines << 1u << QList {1, 7, 2, 1};
        QTest::newRow("whole lines stop at a CR")
            << u"ab\rcd\nef"_s << 0u << -1LL << +WholeLines << 1u << QList {2, 4, 7, 2};
    }
    void counts()
    {
        QFETCH(QString, text);
        QFETCH(quint32, location);
        QFETCH(qint64, length);
        QFETCH(int, flags);
        QFETCH(quint32, width);
        QFETCH(QList<int>, expected);
        const QJRange range {location, length < 0 ? quint32(text.size() - location) : quint32(length)};
        const Counts c = count(text, range, flags, width);
        QCOMPARE((QList {c.paragraphs, c.lines, c.chars, c.words}), expected);
        // Multiplying scales every counter; subtracting the same range again restores them.
        const Counts tripled = count(text, range, flags, width, 3, {7, 7, 7, 7});
        QCOMPARE((QList {tripled.paragraphs, tripled.lines, tripled.chars, tripled.words}),
            (QList {7 + 3 * expected[0], 7 + 3 * expected[1], 7 + 3 * expected[2], 7 + 3 * expected[3]}));
        QCOMPARE(count(text, range, flags, width, -1, c), Counts());
    }

    void agreesWithReference()
    {
        // Long enough to cross the eight-unit blocks of the fast path at every offset.
        const char16_t alphabet[] = {u'a', u'b', u' ', u'\t', u'\n', u'\r', 0x2028, 0x85, u'\x00e9'};
        QRandomGenerator rng(20240517);
        for (int round = 0; round < 3000; ++round) {
            QString s;
            for (int i = int(rng.bounded(70)); i > 0; --i)
                s += QChar(alphabet[rng.bounded(int(std::size(alphabet)))]);
            const quint32 location = rng.bounded(quint32(s.size()) + 1);
            const QJRange range {location, rng.bounded(quint32(s.size()) - location + 1)};
            const int flags = int(rng.bounded(16));
            const quint32 width = rng.bounded(5);
            const qint32 m = round % 3 == 0 ? -2 : 1;
            QCOMPARE(count(s, range, flags, width, m), reference(s, range, flags, width, m));
        }
    }

    void sumsWrap()
    {
        const Counts c = count(u"word", {0, 4}, 0, 0, 1, {0, 0, 0, std::numeric_limits<qint32>::max()});
        QCOMPARE(c.words, std::numeric_limits<qint32>::min());
    }

    void rejectsBadArguments()
    {
        Counts c {1, 2, 3, 4};
        QVERIFY_THROWS_EXCEPTION(std::out_of_range,
            QJStringCounting::countForRange(
                u"hello", {3, 3}, false, false, &c.paragraphs, &c.lines, &c.chars, &c.words, 0, false, false, 1));
        QVERIFY_THROWS_EXCEPTION(std::out_of_range,
            QJStringCounting::countForRange(u"hello", {0xFFFFFFFF, 2}, true, true, &c.paragraphs, &c.lines, &c.chars,
                &c.words, 0, false, false, 1));
        QCOMPARE(c, (Counts {1, 2, 3, 4}));
        QVERIFY_THROWS_EXCEPTION(std::invalid_argument,
            QJStringCounting::countForRange(
                u"hello", {0, 1}, false, false, nullptr, &c.lines, &c.chars, &c.words, 0, false, false, 1));
    }

    void lineRange_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<quint32>("location");
        QTest::addColumn<quint32>("length");
        QTest::addColumn<quint32>("expectedLocation");
        QTest::addColumn<quint32>("expectedLength");
        QTest::newRow("first line") << u"ab\ncd"_s << 0u << 0u << 0u << 3u;
        QTest::newRow("its line feed") << u"ab\ncd"_s << 2u << 0u << 0u << 3u;
        QTest::newRow("unterminated last line") << u"ab\ncd"_s << 5u << 0u << 3u << 2u;
        QTest::newRow("after a final terminator") << u"ab\n"_s << 3u << 0u << 3u << 0u;
        QTest::newRow("CR LF is one terminator") << u"ab\r\ncd"_s << 3u << 0u << 0u << 4u;
        QTest::newRow("CR alone") << u"a\rb"_s << 2u << 0u << 2u << 1u;
        QTest::newRow("CR then CR LF") << u"\r\r\n"_s << 1u << 0u << 1u << 2u;
        QTest::newRow("line separator") << u"a\u2028b\u0085c\u2029d"_s << 2u << 0u << 2u << 2u;
        QTest::newRow("next line") << u"a\u2028b\u0085c\u2029d"_s << 4u << 0u << 4u << 2u;
        QTest::newRow("paragraph separator") << u"a\u2028b\u0085c\u2029d"_s << 6u << 0u << 6u << 1u;
        QTest::newRow("range over two lines") << u"ab\ncd\nef"_s << 1u << 3u << 0u << 6u;
        QTest::newRow("range ending on a CR of CR LF") << u"a\r\nb"_s << 0u << 2u << 0u << 3u;
        QTest::newRow("empty string") << QString() << 0u << 0u << 0u << 0u;
    }
    void lineRange()
    {
        QFETCH(QString, text);
        QFETCH(quint32, location);
        QFETCH(quint32, length);
        QFETCH(quint32, expectedLocation);
        QFETCH(quint32, expectedLength);
        QCOMPARE(QJStringCounting::lineRangeForRange(text, {location, length}),
            (QJRange {expectedLocation, expectedLength}));
    }
    void lineRangeOutside()
    {
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, QJStringCounting::lineRangeForRange(u"ab", {2, 1}));
    }
};

QTEST_GUILESS_MAIN(TestStringCounting)
#include "tst_stringcounting.moc"
