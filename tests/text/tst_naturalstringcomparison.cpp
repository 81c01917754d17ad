// SPDX-License-Identifier: LGPL-2.1-or-later
#include "NaturalStringComparison.h"

#include <QRandomGenerator>
#include <QStringList>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace NaturalStringComparison;

class TestNaturalStringComparison : public QObject
{
    Q_OBJECT

    // Random strings on which an ordering must be a strict weak ordering: no lower-case letter
    // that could differ only in case from a capital, short remainders, no wrapping digit runs.
    static QStringList sample(QStringView alphabet, int maxRun)
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

    static void checkStrictWeakOrdering(const QStringList &list, int (*compare)(QStringView, QStringView) noexcept)
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
};

QTEST_GUILESS_MAIN(TestNaturalStringComparison)
#include "tst_naturalstringcomparison.moc"
