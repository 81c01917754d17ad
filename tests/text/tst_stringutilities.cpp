// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ArrayWebExtensions.h"
#include "NSStringDeletion.h"
#include "NSStringTextFinding.h"
#include "QJBundle.h"
#include "StringSizing.h"
#include "StringWebExtensions.h"
#include "qjtestsupport.h"

#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace NSStringTextFinding;

namespace
{
// One width unit per code unit: fitting becomes countable.
float unitWidth(QStringView text)
{
    return float(text.size());
}
} // namespace

class TestStringUtilities : public QObject
{
    Q_OBJECT
private Q_SLOTS:
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
        QTest::newRow("after the selection") << t << u"two"_s << QJRange {0, 3} << 0u << false << QJRange {8, 3};
        QTest::newRow("nothing after") << t << u"two"_s << QJRange {8, 3} << 0u << false << QJNotFoundRange;
        QTest::newRow("wraps to the start") << t << u"two"_s << QJRange {8, 3} << 0u << true << QJRange {0, 3};
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
        QTest::newRow("fits exactly") << u"abcdef"_s << 6.f << u"abcdef"_s << u"abcdef"_s;
        // At the same width the tail must stay below it, the head may reach it.
        QTest::newRow("limits differ") << u"abcdef"_s << 5.f << u"...f"_s << u"ab..."_s;
        QTest::newRow("nothing fits") << u"abcdef"_s << 3.f << u"..."_s << u"..."_s;
        QTest::newRow("start is cleaned") << u"  a\nb  "_s << 50.f << u"  a\nb  "_s << u"a b"_s;
        QTest::newRow("cleaned, then cut") << u"\tab\ncdef\n"_s << 6.f << u"...f\n"_s << u"ab ..."_s;
        QTest::newRow("negative width") << QString() << -1.f << u"..."_s << u"..."_s;
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

QTEST_GUILESS_MAIN(TestStringUtilities)
#include "tst_stringutilities.moc"
