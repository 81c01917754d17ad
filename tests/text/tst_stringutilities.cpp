// SPDX-License-Identifier: LGPL-2.1-or-later
#include "ArrayWebExtensions.h"
#include "NSStringDeletion.h"
#include "NSStringTextFinding.h"
#include "QJBundle.h"
#include "StringSizing.h"
#include "StringWebExtensions.h"

#include <QDir>
#include <QFile>
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
constexpr qint64 Whole = -1;
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
        QTest::addColumn<quint32>("location");
        QTest::addColumn<qint64>("length");
        QTest::addColumn<QJRange>("expected");
        const QString hh = u"Hello hello"_s;
        QTest::newRow("case-sensitive") << hh << u"hello"_s << 0u << 0u << Whole << QJRange {6, 5};
        QTest::newRow("case-insensitive") << hh << u"hello"_s << 1u << 0u << Whole << QJRange {0, 5};
        QTest::newRow("backwards") << hh << u"HELLO"_s << 5u << 0u << Whole << QJRange {6, 5};
        QTest::newRow("anchored misses") << hh << u"hello"_s << 8u << 0u << Whole << QJNotFoundRange;
        QTest::newRow("anchored at the end, backwards") << hh << u"hello"_s << 12u << 0u << Whole << QJRange {6, 5};
        QTest::newRow("inside the range only") << u"abcabc"_s << u"abc"_s << 0u << 1u << 4LL << QJNotFoundRange;
        QTest::newRow("range start") << u"abcabc"_s << u"abc"_s << 0u << 1u << 5LL << QJRange {3, 3};
        QTest::newRow("unsupported bits ignored")
            << hh << u"hello"_s << 64u + 128 + 256 + 512 << 0u << Whole << QJRange {6, 5};
        QTest::newRow("empty needle") << hh << QString() << 0u << 0u << Whole << QJNotFoundRange;
        QTest::newRow("precomposed finds decomposed")
            << u"cafe\u0301 caf\u00e9"_s << u"caf\u00e9"_s << 0u << 0u << Whole << QJRange {0, 5};
        QTest::newRow("literal does not")
            << u"cafe\u0301 caf\u00e9"_s << u"caf\u00e9"_s << 2u << 0u << Whole << QJRange {6, 4};
        QTest::newRow("no match inside a character")
            << u"cafe\u0301"_s << u"e"_s << 0u << 0u << Whole << QJNotFoundRange;
        QTest::newRow("literal matches inside") << u"cafe\u0301"_s << u"e"_s << 2u << 0u << Whole << QJRange {3, 1};
        QTest::newRow("equivalent, case-insensitive")
            << u"CAFE\u0301!"_s << u"caf\u00e9"_s << 1u << 0u << Whole << QJRange {0, 5};
        QTest::newRow("line feed of CR LF") << u"a\r\nb\u0301"_s << u"\n"_s << 0u << 0u << Whole << QJRange {2, 1};
        QTest::newRow("surrogate pair") << u"x\U0001F600y"_s << u"\U0001F600y"_s << 0u << 0u << Whole << QJRange {1, 3};
        QTest::newRow("regex") << u"a1b22c333"_s << u"\\d{2,}"_s << 1024u << 0u << Whole << QJRange {3, 2};
        QTest::newRow("regex ignores backwards")
            << u"a1b22c333"_s << u"\\d+"_s << 1028u << 0u << Whole << QJRange {1, 1};
        QTest::newRow("regex anchored") << u"a1b22c333"_s << u"\\d+"_s << 1032u << 0u << Whole << QJNotFoundRange;
        QTest::newRow("regex sees the range as the text")
            << u"a1b22c333"_s << u"^b2+"_s << 1025u << 2u << Whole << QJRange {2, 3};
        QTest::newRow("invalid regex") << u"a(b"_s << u"("_s << 1024u << 0u << Whole << QJNotFoundRange;
    }
    void rangeOfString()
    {
        QFETCH(QString, text);
        QFETCH(QString, needle);
        QFETCH(uint, options);
        QFETCH(quint32, location);
        QFETCH(qint64, length);
        QFETCH(QJRange, expected);
        const QJRange range {location, length < 0 ? quint32(text.size() - location) : quint32(length)};
        QCOMPARE(NSStringTextFinding::rangeOfString(text, needle, options, range), expected);
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
        QTest::newRow("next after the selection") << t << u"two"_s << QJRange {0, 3} << 0u << false << QJRange {8, 3};
        QTest::newRow("nothing after, no wrap") << t << u"two"_s << QJRange {8, 3} << 0u << false << QJNotFoundRange;
        QTest::newRow("wraps to the start") << t << u"two"_s << QJRange {8, 3} << 0u << true << QJRange {0, 3};
        QTest::newRow("not into the selection")
            << u"aaa"_s << u"aa"_s << QJRange {1, 2} << 0u << true << QJNotFoundRange;
        QTest::newRow("only inside the selection")
            << u"xabx"_s << u"ab"_s << QJRange {1, 2} << 0u << true << QJNotFoundRange;
        QTest::newRow("backwards") << t << u"two"_s << QJRange {8, 3} << 4u << false << QJRange {0, 3};
        QTest::newRow("backwards wraps to the end") << t << u"two"_s << QJRange {0, 3} << 4u << true << QJRange {8, 3};
        QTest::newRow("backwards, wrapped finds nothing")
            << u"one two"_s << u"one"_s << QJRange {0, 3} << 4u << true << QJNotFoundRange;
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
    }
    void searchesLongTexts()
    {
        // Long texts are searched in pieces of about 65536 code units; matches across the pieces'
        // ends must still be found, forwards (the first) and backwards (the second occurrence).
        const QString e = u"xe\u0301y"_s;
        const QString text = QString(65535, u'a') + e + QString(70000, u'b') + e + QString(65534, u'c');
        const quint32 second = 65535 + 4 + 70000;
        const QJRange all {0, quint32(text.size())};
        QCOMPARE(NSStringTextFinding::rangeOfString(text, u"x\u00e9y", 0, all), (QJRange {65535, 4}));
        QCOMPARE(
            NSStringTextFinding::rangeOfString(text, u"X\u00c9Y", CaseInsensitiveSearch, all), (QJRange {65535, 4}));
        QCOMPARE(NSStringTextFinding::rangeOfString(text, u"x\u00e9y", BackwardsSearch, all), (QJRange {second, 4}));
        QCOMPARE(NSStringTextFinding::rangeOfString(text, u"\u00e9yccc", BackwardsSearch | AnchoredSearch, all),
            QJNotFoundRange);
        QCOMPARE(NSStringTextFinding::rangeOfString(text, u"a\u00e9", 0, all), QJNotFoundRange);
    }
    void findOutsideThrows()
    {
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, NSStringTextFinding::findString(u"abc", u"a", {2, 2}, 0, true));
    }

    void netEncode_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("letters and space") << u"a b"_s << u"%61%20%62"_s;
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("control and percent") << u"\n%"_s << u"%0a%25"_s;
        QTest::newRow("latin-1 top") << u"\u00ff"_s << u"%ff"_s;
        QTest::newRow("three digits") << u"\u0100"_s << u"%100"_s;
        QTest::newRow("euro") << u"\u20ac"_s << u"%20ac"_s;
        QTest::newRow("surrogates each") << u"\U0001F600"_s << u"%d83d%de00"_s;
    }
    void netEncode()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(StringWebExtensions::netEncode(text), expected);
    }
    void netEncodeArray()
    {
        const QJArray inner({u"\u20ac"_s, QJArray(QJMutability::Immutable)}, QJMutability::Immutable);
        const QJArray array({u"a b"_s, inner, u""_s}, QJMutability::Immutable);
        const QJArray encoded = ArrayWebExtensions::netEncode(array);
        QCOMPARE(encoded, (QJArray {u"%61%20%62"_s, QJArray {u"%20ac"_s, QJArray()}, u""_s}));
        QVERIFY(encoded.isMutable());
        QVERIFY(encoded.at(1).toArray().isMutable());
        QCOMPARE(array.at(0).toString(), u"a b"_s);
        QCOMPARE(ArrayWebExtensions::netEncode(QJArray()).count(), 0);
        QVERIFY_THROWS_EXCEPTION(std::invalid_argument, ArrayWebExtensions::netEncode(QJArray {u"a"_s, QJArray {12}}));
    }

    void deletingSpaces_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("spaces") << u"1. 2 b"_s << u"1.2b"_s;
        QTest::newRow("tab stays") << u"\t1"_s << u"\t1"_s;
        QTest::newRow("other blanks stay") << u"a\u00a0b\nc  "_s << u"a\u00a0b\nc"_s;
    }
    void deletingSpaces()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(NSStringDeletion::stringByDeletingSpaces(text), expected);
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
        QTest::newRow("one unit") << u"abcdef"_s << 4.f << u"..."_s << u"a..."_s;
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
    void ellipsisIsLocalizedOnEachUse()
    {
        QCOMPARE(StringSizing::shortenedStringWithSize(u"abcdef"_s, 5, unitWidth), u"...f"_s);
        QTemporaryDir bundle;
        QVERIFY(QDir(bundle.path()).mkpath(u"en.lproj"_s));
        QFile strings(bundle.filePath(u"en.lproj/Localizable.strings"_s));
        QVERIFY(strings.open(QIODevice::WriteOnly));
        strings.write("\"...\" = \"\u2026\";\n");
        strings.close();
        const QString before = QJBundle::mainBundle().bundlePath();
        QJBundle::setMainBundlePath(bundle.path());
        QCOMPARE(StringSizing::shortenedStringWithSize(u"abcdef"_s, 5, unitWidth), u"\u2026def"_s);
        QCOMPARE(StringSizing::stringAdjustedToSize(u"abcdef"_s, QSizeF(5, 0), unitWidth), u"abcd\u2026"_s);
        QJBundle::setMainBundlePath(before);
    }
};

QTEST_GUILESS_MAIN(TestStringUtilities)
#include "tst_stringutilities.moc"
