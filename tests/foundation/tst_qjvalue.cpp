// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJFormat.h"
#include "QJValue.h"
#include "qjtestnode.h"
#include "qjtestsupport.h"
#include "qjvalue_p.h"

#include <QObject>
#include <QRandomGenerator>
#include <QRect>
#include <QTest>
#include <QThread>
#include <QUrl>

using namespace Qt::StringLiterals;

// Runs @p work on a thread with a small stack, where a stack frame per level of a deep tree
// overflows at once.
template<typename F>
static void onSmallStack(F work)
{
    std::unique_ptr<QThread> thread(QThread::create(work));
    thread->setStackSize(256 * 1024);
    thread->start();
    QVERIFY(thread->wait());
}

class TestQJValue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void immutableContainersRefuseEveryMutation_data()
    {
        using Mutation = std::function<void()>;
        QTest::addColumn<Mutation>("mutation");
        const QJArray array({1, 2}, QJMutability::Immutable);
        const QJDictionary dict({{u"a"_s, 1}}, QJMutability::Immutable);
        QTest::newRow("append") << Mutation([=] { QJArray(array).append(3); });
        QTest::newRow("insert") << Mutation([=] { QJArray(array).insert(0, 3); });
        QTest::newRow("replace") << Mutation([=] { QJArray(array).replace(0, 3); });
        QTest::newRow("removeAt") << Mutation([=] { QJArray(array).removeAt(0); });
        QTest::newRow("setArray") << Mutation([=] { QJArray(array).setArray(QJArray()); });
        QTest::newRow("setObject") << Mutation([=] { QJDictionary(dict).setObject(2, u"b"_s); });
        QTest::newRow("removeObjectForKey") << Mutation([=] { QJDictionary(dict).removeObjectForKey(u"a"_s); });
        QTest::newRow("addEntries") << Mutation([=] { QJDictionary(dict).addEntriesFromDictionary(QJDictionary()); });
        QTest::newRow("immutable copy") << Mutation([=] { QJArray({1}).copy().removeAll(); });
    }

    void immutableContainersRefuseEveryMutation()
    {
        QFETCH(std::function<void()>, mutation);
        QVERIFY_THROWS_EXCEPTION(QJImmutableMutationError, mutation());
    }

    // Handles share one container; a copy is a new, shallow container with its own mutability.
    void identityIsNotEquality()
    {
        const QJDictionary a {{u"x"_s, QJArray {1, u"two"_s}}};
        const QJDictionary b {{u"x"_s, QJArray {1, u"two"_s}}};
        const QJDictionary frozen = a.copy();
        const QJArray frozenArray = a.objectForKey(u"x"_s).toArray().copy();
        QVERIFY(a.isEqual(b) && !a.isSameObject(b) && frozen.isEqual(a) && !frozen.isSameObject(a));
        QVERIFY(!frozen.isMutable() && !frozenArray.isMutable());
        QVERIFY(frozen.objectForKey(u"x"_s).isSameObject(a.objectForKey(u"x"_s)));
        QJDictionary handle = a;
        QVERIFY(handle.isSameObject(a));
        handle.setObject(3, u"y"_s); // changes the one shared container
        a.objectForKey(u"x"_s).toArray().append(3);
        QCOMPARE(a.count(), 2);
        QVERIFY(!a.isEqual(b));
        QCOMPARE(frozen.count(), 1);
        QCOMPARE(frozenArray.count(), 2);
        const QJArray thawed = frozenArray.mutableCopy();
        QVERIFY(thawed.isMutable());
        QJArray(thawed).append(4);
        QCOMPARE(frozenArray.count(), 2);
        QVERIFY(QJValue(a).isSameObject(QJValue(handle)) && !QJValue(a).isSameObject(QJValue(b)));
        QJArray list {a};
        QCOMPARE(list.indexOfObject(QJValue(b)), QJNotFound); // b differs from a now
        QCOMPARE(list.indexOfObjectIdenticalTo(QJValue(a)), 0);
    }

    void valuesCompareByContents_data()
    {
        QTest::addColumn<QJValue>("a");
        QTest::addColumn<QJValue>("b");
        QTest::addColumn<bool>("equal");
        QTest::newRow("int and real") << QJValue(1) << QJValue(1.0) << true;
        QTest::newRow("bool and int") << QJValue(true) << QJValue(1) << true;
        QTest::newRow("different ints") << QJValue(1) << QJValue(2) << false;
        QTest::newRow("unsigned above the signed range")
            << QJValue(std::numeric_limits<quint64>::max()) << QJValue(qint64(-1)) << false;
        QTest::newRow("string is not a number") << QJValue(u"1"_s) << QJValue(1) << false;
        QTest::newRow("none equals none") << QJValue() << QJValue() << true;
        QTest::newRow("dates by instant") << QJValue(QDateTime(QDate(2020, 1, 1), QTime(1, 0), Qt::OffsetFromUTC, 3600))
                                          << QJValue(QDateTime(QDate(2020, 1, 1), QTime(0, 0), Qt::UTC)) << true;
        QTest::newRow("dictionaries in any order") << QJValue(QJDictionary {{u"b"_s, 1}, {u"a"_s, 2}})
                                                   << QJValue(QJDictionary {{u"a"_s, 2}, {u"b"_s, 1}}) << true;
    }

    void valuesCompareByContents()
    {
        QFETCH(QJValue, a);
        QFETCH(QJValue, b);
        QFETCH(bool, equal);
        QCOMPARE(a.isEqual(b), equal);
        QCOMPARE(b.isEqual(a), equal);
    }

    void dictionariesKeepInsertionOrder()
    {
        // Random insertions, replacements and removals that grow and shrink a dictionary past the
        // size where it starts keeping a hash index, checked against a plain list of entries: a
        // replaced key keeps its place, one removed and added again comes last.
        QJDictionary dict;
        QStringList keys;
        QList<QJValue> values;
        QRandomGenerator random(7);
        for (int step = 0; step < 4000; ++step) {
            const QString key = QString::number(random.bounded(40));
            const qsizetype at = keys.indexOf(key);
            if (random.bounded(3) == 0) {
                if (random.bounded(2))
                    dict.removeObjectForKey(key);
                else
                    dict.setObject(QJValue(), key); // none removes
                if (at >= 0) {
                    keys.removeAt(at);
                    values.removeAt(at);
                }
            } else {
                dict.setObject(step, key);
                if (at >= 0) {
                    values[at] = step;
                } else {
                    keys.append(key);
                    values.append(step);
                }
            }
            if (step % 97 == 0 || dict.count() != keys.size()) {
                QCOMPARE(dict.allKeys(), keys);
                QCOMPARE(dict.allValues(), values);
                for (int k = 0; k < 40; ++k) {
                    const QString probe = QString::number(k);
                    QCOMPARE(dict.contains(probe), keys.contains(probe));
                    QCOMPARE(dict.objectForKey(probe), values.value(keys.indexOf(probe)));
                }
                QVERIFY(dict.copy().isEqual(dict));
            }
        }
    }

    void variantConversionRoundTrips()
    {
        const QVariantMap map {{u"list"_s, QVariantList {1, u"two"_s, QVariantMap {{u"deep"_s, true}}}},
            {u"date"_s, QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9), Qt::UTC)}, {u"data"_s, QByteArray("\x00\x01", 2)},
            {u"real"_s, 2.5}, {u"rect"_s, QRect(1, 2, 3, 4)}};
        const QJValue value = QJValue::fromVariant(map, QJMutability::Mutable);
        QVERIFY(value.toDictionary().isMutable());
        QVERIFY(value.valueForKeyPath(u"list"_s).toArray().isMutable());
        QCOMPARE(value.valueForKeyPath(u"list"_s).toArray().at(2).valueForKey(u"deep"_s), QJValue(true));
        QCOMPARE(value.valueForKey(u"rect"_s).type(), QJValue::Object);
        QCOMPARE(value.toVariant(), QVariant(map));

        QVERIFY(!QJValue::fromVariant(QVariantList {1}).toArray().isMutable());
        QCOMPARE(QJValue::fromVariant(QStringList {u"a"_s, u"b"_s}), QJValue(QJArray {u"a"_s, u"b"_s}));
        QCOMPARE(QJValue::fromVariant(QVariant::fromValue(QJValue(7))), QJValue(7));
        QCOMPARE(QJValue::fromVariant(QVariant()).type(), QJValue::None);
        QCOMPARE(QJValue::fromVariant(QUrl(u"https://example.org"_s)).type(), QJValue::Object);
    }

    void descriptionFollowsThePlatformStyle_data()
    {
        QTest::addColumn<QJValue>("value");
        QTest::addColumn<QString>("description");
        QTest::newRow("none") << QJValue() << u"(null)"_s;
        QTest::newRow("string as itself") << QJValue(u"two words"_s) << u"two words"_s;
        QTest::newRow("boolean") << QJValue(true) << u"1"_s;
        QTest::newRow("data in groups of four bytes")
            << QJValue(QByteArray::fromHex("0102030405")) << u"<01020304 05>"_s;
        QTest::newRow("date") << QJValue(QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC))
                              << u"2001-02-03 04:05:06 +0000"_s;
        QTest::newRow("array") << QJValue(QJArray {1, u"a b"_s, u"plain"_s, QJValue()})
                               << u"(\n    1,\n    \"a b\",\n    plain,\n    <null>\n)"_s;
        QTest::newRow("nested dictionary")
            << QJValue(QJDictionary {{u"k"_s, QJArray {}}, {u"x y"_s, QJDictionary {{u"q"_s, u"\""_s}}}})
            << u"{\n    k = (\n    );\n    \"x y\" = {\n        q = \"\\\"\";\n    };\n}"_s;
    }

    void descriptionFollowsThePlatformStyle()
    {
        QFETCH(QJValue, value);
        QFETCH(QString, description);
        QCOMPARE(value.description(), description);
    }

    void keyValueCodingOverContainers()
    {
        const QJDictionary root {
            {u"books"_s,
                QJArray {QJDictionary {{u"title"_s, u"A"_s}, {u"meta"_s, QJDictionary {{u"pages"_s, 10}}}},
                    QJDictionary {{u"title"_s, u"B"_s}}}},
            {u"name"_s, u"shelf"_s}};
        QCOMPARE(root.valueForKeyPath(u"name"_s), QJValue(u"shelf"_s));
        QCOMPARE(root.valueForKeyPath(u"books.title"_s), QJValue(QJArray {u"A"_s, u"B"_s}));
        // A missing value inside an array stays in its place, as none.
        QCOMPARE(root.valueForKeyPath(u"books.meta.pages"_s), QJValue(QJArray {10, QJValue()}));
        QCOMPARE(root.valueForKeyPath(u"books.@count"_s), QJValue(2));
        QCOMPARE(root.valueForKeyPath(u"name.length"_s).type(), QJValue::None);
        QCOMPARE(root.valueForKeyPath(u"missing.deeper"_s).type(), QJValue::None);
    }

    void keyValueCodingOverObjectNodes()
    {
        Node top(u"top"_s);
        Node child(u"child"_s, &top);
        Node grandchild(u"grandchild"_s, &child);
        const QJValue node(&grandchild);
        QVERIFY(node.isNode());
        QCOMPARE(node.valueForKeyPath(u"parentNode.parentNode.name"_s), QJValue(u"top"_s));
        QVERIFY(node.valueForKeyPath(u"parentNode"_s).isSameObject(QJValue(&child)));
        QCOMPARE(QJValue(&top).valueForKeyPath(u"childNodes.childNodes.name"_s),
            QJValue(QJArray {QJArray {u"grandchild"_s}}));
        QCOMPARE(QJValue(&top).valueForKeyPath(u"parentNode"_s).type(), QJValue::None); // a null QObject* is none
        QCOMPARE(node.valueForKey(u"noSuchProperty"_s).type(), QJValue::None);
    }

    void changeObserversSeeOnlyTheirKeys()
    {
        QJDictionary dict {{u"a"_s, 1}};
        QStringList seen;
        const quint64 all = dict.addChangeObserver([&](const QString &key, QJChange phase) {
            seen.append((phase == QJChange::WillChange ? u"will:"_s : u"did:"_s) + key);
        });
        QStringList onlyB;
        dict.addChangeObserver([&](const QString &key, QJChange) { onlyB.append(key); }, u"b"_s);
        dict.setObject(2, u"a"_s); // plain mutations announce nothing by themselves
        dict.willChangeValueForKey(u"a"_s);
        dict.didChangeValueForKey(u"a"_s);
        dict.willChangeValueForKey(u"b"_s);
        QCOMPARE(seen, (QStringList {u"will:a"_s, u"did:a"_s, u"will:b"_s}));
        QCOMPARE(onlyB, QStringList {u"b"_s});
        dict.removeChangeObserver(all);
        dict.didChangeValueForKey(u"b"_s);
        QCOMPARE(seen.size(), 3);
        QCOMPARE(onlyB.size(), 2);
        // Observers belong to the container: another handle to it notifies them too.
        QJDictionary(dict).didChangeValueForKey(u"b"_s);
        QCOMPARE(onlyB.size(), 3);
    }

    void formatFillsPlaceholders_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QList<QJValue>>("arguments");
        QTest::addColumn<QString>("expected");
        QTest::newRow("objects") << u"tried to set \"%@\" for key \"%@\""_s << QList<QJValue> {QJValue(), u"k"_s}
                                 << u"tried to set \"(null)\" for key \"k\""_s;
        QTest::newRow("numbers") << u"%d items, %05.1f%%, %x"_s << QList<QJValue> {3, 2.26, 255}
                                 << u"3 items, 002.3%, ff"_s;
        QTest::newRow("positions") << u"%2$@ before %1$@"_s << QList<QJValue> {u"one"_s, u"two"_s}
                                   << u"two before one"_s;
        QTest::newRow("missing argument") << u"%@ and %@"_s << QList<QJValue> {u"only"_s} << u"only and (null)"_s;
        QTest::newRow("length modifiers") << u"%ld/%lu/%qd"_s << QList<QJValue> {1, 2, 3} << u"1/2/3"_s;
        QTest::newRow("dangling percent") << u"100%"_s << QList<QJValue> {} << u"100%"_s;
    }

    void formatFillsPlaceholders()
    {
        QFETCH(QString, format);
        QFETCH(QList<QJValue>, arguments);
        QFETCH(QString, expected);
        QCOMPARE(QJFormat::format(format, arguments), expected);
    }

    void realsFormatAsShortestRoundTrip_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("tenth") << 0.1 << u"0.1"_s;
        QTest::newRow("integral") << 100.0 << u"100.0"_s;
        QTest::newRow("negative zero") << -0.0 << u"-0.0"_s;
        QTest::newRow("last fixed") << 1e15 << u"1000000000000000.0"_s;
        QTest::newRow("first exponent") << 1e16 << u"1e+16"_s;
        QTest::newRow("small fixed") << 0.0001 << u"0.0001"_s;
        QTest::newRow("small exponent") << 1.5e-05 << u"1.5e-05"_s;
        QTest::newRow("long") << 1.0 / 3 << u"0.3333333333333333"_s;
        QTest::newRow("large") << 1.2345678901234568e+17 << u"1.2345678901234568e+17"_s;
        QTest::newRow("infinity") << -std::numeric_limits<double>::infinity() << u"-inf"_s;
    }

    void realsFormatAsShortestRoundTrip()
    {
        QFETCH(double, value);
        QFETCH(QString, text);
        QCOMPARE(qjFormatReal(value), text);
    }

    // Trees built by code are not bounded like those the readers make: comparing, describing and
    // key-value coding use no stack frame per level. (A description grows with the square of the
    // depth, as every line is indented, so it is checked at a depth whose text stays small.)
    void deepTreesNeedNoRecursion()
    {
        auto build = [](int depth) {
            QJArray array {u"x"_s};
            QJDictionary dictionary {{u"v"_s, 1}};
            for (int i = 0; i < depth; ++i) {
                array = QJArray {array};
                dictionary = QJDictionary {{u"k"_s, dictionary}};
            }
            return std::pair {array, dictionary};
        };
        constexpr int Depth = 100000;
        const auto [array, dictionary] = build(Depth);
        const auto [array2, dictionary2] = build(Depth);
        const auto [shallower, unused] = build(2500);
        const QString keyPath = QStringList(Depth, u"k"_s).join(u'.');

        bool equal = false, unequal = true;
        int levels = 0;
        QJValue found, notFound;
        QString text;
        onSmallStack([&] {
            equal = array.isEqual(array2) && dictionary.isEqual(dictionary2);
            unequal = QJValue(array).isEqual(QJValue(dictionary)) || array.isEqual(shallower);
            // An array's value for a key is the array of its elements' values, at every level.
            QJValue values = QJValue(array).valueForKey(u"k"_s);
            while (values.isArray() && values.toArray().count() == 1 && values.toArray().at(0).isArray()) {
                values = values.toArray().at(0);
                ++levels;
            }
            found = dictionary.valueForKeyPath(keyPath + u".v"_s);
            notFound = dictionary.valueForKeyPath(keyPath + u".k.v"_s);
            text = shallower.description();
        });
        QVERIFY(equal);
        QVERIFY(!unequal);
        QCOMPARE(levels, Depth);
        QCOMPARE(found, QJValue(1));
        QVERIFY(notFound.isNone());
        QVERIFY(text.startsWith(u"(\n    (\n        (\n"_s));
        QVERIFY(text.contains(u"\n"_s + QString(4 * 2501, u' ') + u"x\n"_s));
        QVERIFY(text.endsWith(u"\n    )\n)"_s));
        QCOMPARE(text.count(u'('), 2501);
    }

    // Containers can be made to hold themselves; comparing and describing them still ends, and
    // comparing trees that share containers visits each pair once (2^60 paths here).
    void containersThatContainThemselves()
    {
        QJArray a {1};
        a.append(a);
        QJArray b {1};
        b.append(b);
        QVERIFY(QJValue(a).isEqual(QJValue(b)));
        b.replace(0, 2);
        QVERIFY(!QJValue(a).isEqual(QJValue(b)));
        QCOMPARE(a.description(), u"(\n    1,\n    (...)\n)"_s);
        QJDictionary d {{u"name"_s, u"x"_s}};
        d.setObject(QJArray {d}, u"list"_s);
        QCOMPARE(d.description(), u"{\n    name = x;\n    list = (\n        {...}\n    );\n}"_s);
        QCOMPARE(QJValue(a).valueForKey(u"k"_s).toArray().count(), 2);
        QVERIFY(QJValue(a).valueForKey(u"k"_s).toArray().at(1).isNone());
        // Cycles of shared handles are never freed by themselves; break them.
        a.removeLast();
        b.removeLast();
        d.removeObjectForKey(u"list"_s);

        auto doubling = [](int levels) {
            QJValue v = 1;
            for (int i = 0; i < levels; ++i)
                v = QJArray {v, v};
            return v;
        };
        QVERIFY(doubling(60).isEqual(doubling(60)));
        QVERIFY(!doubling(60).isEqual(doubling(59)));
    }
};

QTEST_GUILESS_MAIN(TestQJValue)
#include "tst_qjvalue.moc"
