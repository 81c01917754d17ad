// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJStringCounting.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{
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
} // namespace

class TestStringCounting : public QObject
{
    Q_OBJECT
private Q_SLOTS:
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
        QTest::newRow("two words") << u"one two"_s << all << 0 << 0u << Counts {1, 1, 6, 2};
        QTest::newRow("spaces count") << u"one two"_s << all << +CountSpaces << 0u << Counts {1, 1, 7, 2};
        QTest::newRow("61 units, width 0 = 30") << x61 << all << 0 << 0u << Counts {1, 3, 61, 1};
        QTest::newRow("60 units, width 30") << x61.first(60) << all << 0 << 30u << Counts {1, 2, 60, 1};
        QTest::newRow("empty line") << u"a\n\nb"_s << all << 0 << 0u << Counts {2, 2, 2, 2};
        QTest::newRow("empty line counted") << u"a\n\nb"_s << all << +CountEmptyLines << 0u << Counts {3, 3, 2, 2};
        QTest::newRow("line feeds as chars") << u"a\n\nb"_s << all << +CountSpaces << 0u << Counts {2, 2, 4, 2};
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
    // refuses exactly what the decoder refuses. The pieces split characters and the mark anywhere.
    void streamingAgreesWithDecoding()
    {
        const QByteArrayList fragments {"a", "b", " ", "\t", "\n", "\n", "\r", "\xC3\xA9", "\xC2\x85", "\xE2\x80\xA8",
            "\xF0\x9F\x98\x80", "\xEF\xBB\xBF", "\xEF\xBF\xBF"};
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
                const qsizetype piece = qMin<qsizetype>(rng.bounded(5), bytes.size() - at);
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
};

QTEST_GUILESS_MAIN(TestStringCounting)
#include "tst_stringcounting.moc"
