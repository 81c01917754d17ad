// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJArchiving.h"
#include "QJArrayExtensions.h"
#include "QJArraySearch.h"
#include "QJDictionaryExtensions.h"
#include "QJPlistLocalization.h"
#include "QJPropertyListSerialization.h"
#include "QJSecurityExtensions.h"
#include "QJUserDefaults.h"
#include "qjtestnode.h"

#include <QDir>
#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using D = QJDictionary;
using A = QJArray;
constexpr auto Immutable = QJMutability::Immutable;

// The "qjkit" lines that must be logged, each once; any other "error caught" line fails the test.
static void expectLogged(const QStringList &lines)
{
    QTest::failOnWarning(QRegularExpression(u"^error caught"_s));
    for (const QString &line : lines)
        QTest::ignoreMessage(QtWarningMsg, qPrintable(line));
}

namespace
{
D node(const QString &name, const A &children = A())
{
    return D {{u"name"_s, name}, {u"children"_s, children}};
}

// top: [A [A1, A2], B [B1 [B1a]]]
A sampleTree()
{
    return A {node(u"A"_s, A {node(u"A1"_s), node(u"A2"_s)}), node(u"B"_s, A {node(u"B1"_s, A {node(u"B1a"_s)})})};
}
} // namespace

class TestCollections : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_data = qEnvironmentVariable("QJKIT_TEST_DATA");
        QVERIFY(QFileInfo(m_data + u"/main/de.lproj/Menus.strings"_s).exists());
        QLocale::setDefault(QLocale(u"de_DE"_s));
    }

    void objectForIndexPath_data()
    {
        QTest::addColumn<QJIndexPath>("path");
        QTest::addColumn<QString>("expected"); // the node's name, empty for none

        QTest::newRow("empty path") << QJIndexPath() << QString();
        QTest::newRow("top level") << QJIndexPath {1} << u"B"_s;
        QTest::newRow("two levels") << QJIndexPath {0, 1} << u"A2"_s;
        QTest::newRow("three levels") << QJIndexPath {1, 0, 0} << u"B1a"_s;
        QTest::newRow("index = count at top") << QJIndexPath {2} << QString();
        QTest::newRow("index = count below") << QJIndexPath {0, 2} << QString();
        QTest::newRow("below a leaf") << QJIndexPath {0, 0, 0} << QString();
        QTest::newRow("not found index") << QJIndexPath {QJNotFound} << QString();
    }

    void objectForIndexPath()
    {
        QFETCH(QJIndexPath, path);
        QFETCH(QString, expected);
        const QJValue found = QJArrayExtensions::objectForIndexPath(sampleTree(), path, u"children"_s);
        QCOMPARE(found.valueForKey(u"name"_s).toString(), expected);
        QCOMPARE(found.isNone(), expected.isEmpty());
    }

    void indexPathOfDictionaryNodes()
    {
        const A top = sampleTree();
        // Parent links make cycles of shared handles; they are undone at the end.
        QList<D> linked;
        auto link = [&](const QJIndexPath &childPath, const QJIndexPath &parentPath) {
            D child = QJArrayExtensions::objectForIndexPath(top, childPath, u"children"_s).toDictionary();
            child.setObject(QJArrayExtensions::objectForIndexPath(top, parentPath, u"children"_s), u"parent"_s);
            linked.append(child);
        };
        link({0, 0}, {0});
        link({0, 1}, {0});
        link({1, 0}, {1});
        link({1, 0, 0}, {1, 0});

        const QJValue deep = QJArrayExtensions::objectForIndexPath(top, {1, 0, 0}, u"children"_s);
        const auto path = QJArrayExtensions::indexPathOfObject(top, deep, u"parent"_s, u"children"_s);
        QVERIFY(path);
        QCOMPARE(*path, (QJIndexPath {1, 0, 0}));
        QVERIFY(QJArrayExtensions::objectForIndexPath(top, *path, u"children"_s).isSameObject(deep));

        // A node whose parent does not list it.
        const D stray {{u"name"_s, u"stray"_s}, {u"parent"_s, top.at(0)}};
        QVERIFY(!QJArrayExtensions::indexPathOfObject(top, stray, u"parent"_s, u"children"_s));

        // Equal siblings: the first equal element wins.
        D second = QJArrayExtensions::objectForIndexPath(top, {0, 1}, u"children"_s).toDictionary();
        second.setObject(u"A1"_s, u"name"_s);
        QCOMPARE(*QJArrayExtensions::indexPathOfObject(top, second, u"parent"_s, u"children"_s), (QJIndexPath {0, 0}));

        // Parents that lead round in a circle give no path instead of looping.
        D loopA {{u"name"_s, u"x"_s}};
        D loopB {{u"name"_s, u"y"_s}, {u"parent"_s, loopA}};
        loopA.setObject(loopB, u"parent"_s);
        QVERIFY(!QJArrayExtensions::indexPathOfObject(top, loopA, u"parent"_s, u"children"_s));
        loopA.removeObjectForKey(u"parent"_s);
        // An array's parent is the array of its elements' parents, made afresh at every step: the
        // chain repeats by value, never by identity.
        const A arrayNode {u"a"_s, u"b"_s};
        QVERIFY(!QJArrayExtensions::indexPathOfObject(A {arrayNode}, arrayNode, u"parent"_s, u"children"_s));

        const A found = QJArrayExtensions::objectsForIndexPaths(top, {{1}, {9}, {0, 1}, {}}, u"children"_s);
        QCOMPARE(found.count(), 2);
        QVERIFY(found.isMutable());
        QVERIFY(found.at(0).isSameObject(top.at(1)));

        for (D &d : linked)
            d.removeObjectForKey(u"parent"_s);
    }

    void indexPathOfObjectNodes()
    {
        auto a = std::make_unique<Node>(u"A"_s);
        auto b = std::make_unique<Node>(u"B"_s);
        new Node(u"A1"_s, a.get());
        auto *b1 = new Node(u"B1"_s, b.get());
        new Node(u"B2"_s, b.get());
        auto *b2a = new Node(u"B2a"_s, static_cast<Node *>(b->childNodes().at(1)));
        const A top {QJValue(a.get()), QJValue(b.get())};

        // object -> index path -> object
        const auto path = QJArrayExtensions::indexPathOfObject(top, QJValue(b2a), u"parentNode"_s, u"childNodes"_s);
        QVERIFY(path);
        QCOMPARE(*path, (QJIndexPath {1, 1, 0}));
        QCOMPARE(QJArrayExtensions::objectForIndexPath(top, *path, u"childNodes"_s).toNode(), b2a);
        QCOMPARE(QJArrayExtensions::objectForIndexPath(top, {1, 0}, u"childNodes"_s).toNode(), b1);
        QCOMPARE(QJArrayExtensions::objectForIndexPath(top, {1, 1, 0}, u"childNodes.@count"_s).toNode(), nullptr);

        // A top-level node that the receiver does not hold.
        Node outsider(u"C"_s);
        QVERIFY(!QJArrayExtensions::indexPathOfObject(top, QJValue(&outsider), u"parentNode"_s, u"childNodes"_s));
    }

    void search()
    {
        const A elements {D {{u"v"_s, 1}}, D {{u"w"_s, 7}}, D {{u"v"_s, 2}}, D {{u"v"_s, 1.0}}};
        QCOMPARE(QJArraySearch::arrayWithAllValuesForKeyPath(elements, u"v"_s), (A {1, 2, 1}));
        const A different = QJArraySearch::arrayWithAllDifferentValuesForKeyPath(elements, u"v"_s);
        QCOMPARE(different, (A {1, 2}));
        QVERIFY(different.at(0).isInteger()); // the first appearance wins over the equal 1.0
        QVERIFY(different.isMutable());

        // An element without a value never matches, not even none.
        QCOMPARE(QJArraySearch::objectsContainingValue(elements, QJValue(), u"v"_s).count(), 0);
        const A ones = QJArraySearch::objectsContainingValue(elements, 1, u"v"_s);
        QCOMPARE(ones.count(), 2);
        QVERIFY(ones.at(0).isSameObject(elements.at(0)));
        QVERIFY(ones.at(1).isSameObject(elements.at(3)));

        // Grouped by value, in the order of the values, duplicates kept.
        const A grouped = QJArraySearch::objectsContainingValues(elements, A {2, 1, 1}, u"v"_s);
        QCOMPARE(grouped.count(), 5);
        QVERIFY(grouped.at(0).isSameObject(elements.at(2)));
        QVERIFY(grouped.at(1).isSameObject(elements.at(0)));
        QVERIFY(grouped.at(3).isSameObject(elements.at(0)));
    }

    void merge_data()
    {
        QTest::addColumn<QJDictionary>("receiver");
        QTest::addColumn<QJDictionary>("other");
        QTest::addColumn<QJDictionary>("expected");
        QTest::addColumn<QStringList>("notices"); // on the receiver, in order

        QTest::newRow("nested dictionary merges, new array")
            << D {{u"a"_s, D {{u"x"_s, 1}}}} << D({{u"a"_s, D {{u"y"_s, 2}}}, {u"b"_s, A {1}}}, Immutable)
            << D {{u"a"_s, D {{u"x"_s, 1}, {u"y"_s, 2}}}, {u"b"_s, A {1}}} << QStringList {u"will b"_s, u"did b"_s};
        QTest::newRow("array is replaced, not appended to")
            << D {{u"a"_s, A {1, 2}}} << D {{u"a"_s, A {3}}} << D {{u"a"_s, A {3}}}
            << QStringList {u"will a"_s, u"did a"_s};
        QTest::newRow("immutable nested dictionary is copied and merged")
            << D {{u"a"_s, D({{u"x"_s, 1}}, Immutable)}} << D {{u"a"_s, D {{u"y"_s, 2}}}}
            << D {{u"a"_s, D {{u"x"_s, 1}, {u"y"_s, 2}}}} << QStringList();
        QTest::newRow("dictionary replaced by a scalar") << D {{u"a"_s, D {{u"x"_s, 1}}}} << D {{u"a"_s, 5}}
                                                         << D {{u"a"_s, 5}} << QStringList {u"will a"_s, u"did a"_s};
        QTest::newRow("scalar replaced by an array") << D {{u"a"_s, u"s"_s}} << D {{u"a"_s, A {1}}}
                                                     << D {{u"a"_s, A {1}}} << QStringList {u"will a"_s, u"did a"_s};
        QTest::newRow("keys the other lacks stay, order of the other")
            << D {{u"k"_s, 1}, {u"z"_s, 0}} << D {{u"z"_s, 2}, {u"m"_s, 3}} << D {{u"k"_s, 1}, {u"z"_s, 2}, {u"m"_s, 3}}
            << QStringList {u"will z"_s, u"did z"_s, u"will m"_s, u"did m"_s};
    }

    void merge()
    {
        QFETCH(QJDictionary, receiver);
        QFETCH(QJDictionary, other);
        QFETCH(QJDictionary, expected);
        QFETCH(QStringList, notices);

        QStringList heard;
        receiver.addChangeObserver([&heard](const QString &key, QJChange phase) {
            heard.append((phase == QJChange::WillChange ? u"will "_s : u"did "_s) + key);
        });
        QJDictionaryExtensions::recursiveAddEntriesFromDictionary(receiver, other);
        QCOMPARE(receiver, expected);
        QCOMPARE(heard, notices);
        for (const auto &[key, value] : receiver) {
            if (value.isDictionary())
                QVERIFY2(value.toDictionary().isMutable(), qPrintable(key));
        }
    }

    void mergeKeepsAndSharesObjects()
    {
        const D inner {{u"x"_s, 1}};
        D receiver {{u"a"_s, inner}, {u"s"_s, u"old"_s}};
        const A otherArray({1, 2}, Immutable);
        const D replacement {{u"deep"_s, true}};
        const D other({{u"a"_s, D({{u"y"_s, 2}}, Immutable)}, {u"b"_s, otherArray}, {u"s"_s, replacement}}, Immutable);

        QStringList innerHeard;
        D(inner).addChangeObserver([&innerHeard](const QString &key, QJChange phase) {
            innerHeard.append((phase == QJChange::WillChange ? u"will "_s : u"did "_s) + key);
        });
        QJDictionaryExtensions::recursiveAddEntriesFromDictionary(receiver, other);

        QVERIFY(receiver.objectForKey(u"a"_s).isSameObject(inner)); // merged in place
        QCOMPARE(innerHeard, (QStringList {u"will y"_s, u"did y"_s})); // the sub-dictionary's own keys notify
        const A b = receiver.objectForKey(u"b"_s).toArray();
        QVERIFY(b.isMutable());
        QVERIFY(!b.isSameObject(otherArray));
        QVERIFY(receiver.objectForKey(u"s"_s).isSameObject(replacement)); // a plain set keeps the object

        QVERIFY_THROWS_EXCEPTION(
            QJImmutableMutationError, QJDictionaryExtensions::recursiveAddEntriesFromDictionary(D(Immutable), other));
    }

    void recursiveAddObjectsFromArrayReplaces()
    {
        const D frozen({{u"k"_s, A({1}, Immutable)}}, Immutable);
        const A kept {1};
        const A source({frozen, kept, A({D({{u"z"_s, 0}}, Immutable)}, Immutable), u"s"_s}, Immutable);
        const A receiver {u"old"_s, u"gone"_s};
        QJArrayExtensions::recursiveAddObjectsFromArray(receiver, source);

        QCOMPARE(receiver, source);
        const D copied = receiver.at(0).toDictionary();
        QVERIFY(copied.isMutable());
        QVERIFY(!copied.isSameObject(frozen));
        QVERIFY(copied.objectForKey(u"k"_s).toArray().isMutable());
        QVERIFY(receiver.at(1).isSameObject(kept)); // mutable: the same object
        QVERIFY(receiver.at(2).toArray().isMutable());
        QVERIFY(receiver.at(2).toArray().at(0).toDictionary().isMutable());
        QVERIFY(QJArrayExtensions::isMutable(receiver));
        QVERIFY(!QJArrayExtensions::isMutable(source));
    }

    void allKeyPaths_data()
    {
        QTest::addColumn<QJDictionary>("dictionary");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("all mutable") << D {{u"a"_s, D {{u"b"_s, 1}, {u"c"_s, D {{u"d"_s, 2}}}}}}
                                     << QStringList {u"a.b"_s, u"a.c.d"_s};
        QTest::newRow("immutable nested dictionary is a leaf")
            << D {{u"a"_s, D {{u"b"_s, 1}, {u"c"_s, D({{u"d"_s, 2}}, Immutable)}}}} << QStringList {u"a.b"_s, u"a.c"_s};
        QTest::newRow("empty mutable dictionary gives nothing")
            << D {{u"a"_s, D()}, {u"b"_s, A {D {{u"x"_s, 1}}}}} << QStringList {u"b"_s};
        QTest::newRow("repeats removed") << D {{u"a.b"_s, 1}, {u"a"_s, D {{u"b"_s, 2}}}} << QStringList {u"a.b"_s};
    }

    void allKeyPaths()
    {
        QFETCH(QJDictionary, dictionary);
        QFETCH(QStringList, expected);
        QStringList paths = QJDictionaryExtensions::allKeyPaths(dictionary);
        paths.sort();
        QCOMPARE(paths, expected);
    }

    void deepTrees()
    {
        constexpr int Depth = 100000;
        // {k: {k: ... {v: "Hello"}}}, immutable, and the same as nested mutable arrays.
        D deepDictionary({{u"v"_s, u"Hello"_s}}, Immutable);
        A deepArray {u"Hello"_s};
        for (int i = 0; i < Depth; ++i) {
            deepDictionary = D({{u"k"_s, deepDictionary}}, Immutable);
            deepArray = A {deepArray};
        }
        auto bottom = [](QJValue v) {
            int levels = 0;
            while (v.isDictionary() && v.toDictionary().contains(u"k"_s)) {
                v = v.toDictionary().objectForKey(u"k"_s);
                ++levels;
            }
            while (v.isArray() && v.toArray().first().isArray()) {
                v = v.toArray().first();
                ++levels;
            }
            return std::pair {levels, v};
        };

        D merged;
        QJDictionaryExtensions::recursiveAddEntriesFromDictionary(merged, deepDictionary);
        auto [levels, last] = bottom(merged);
        QCOMPARE(levels, Depth);
        QVERIFY(last.toDictionary().isMutable());

        const QStringList paths = QJDictionaryExtensions::allKeyPaths(merged);
        QCOMPARE(paths.size(), 1);
        QCOMPARE(paths.first().size(), Depth * 2 + 1);

        const D archived = QJArchiving::mutableKeyedUnarchive(deepDictionary);
        std::tie(levels, last) = bottom(archived);
        QCOMPARE(levels, Depth);
        QVERIFY(last.toDictionary().isMutable());

        const A replaced;
        QJArrayExtensions::recursiveAddObjectsFromArray(replaced, deepArray.copy());
        QJPlistLocalization::localizeUsingTable(replaced, u"Menus"_s, QJBundle(m_data + u"/main"_s));
        std::tie(levels, last) = bottom(replaced);
        QCOMPARE(levels, Depth);
        QCOMPARE(last.toArray().first().toString(), u"Hello"_s); // the deep strings come from the main bundle
    }

    void containersInsideThemselves()
    {
        // Every walk ends at a container met again inside itself, and takes it as a leaf there.
        D root;
        A list {u"x"_s};
        root.setObject(root, u"self"_s);
        root.setObject(list, u"list"_s);
        list.append(list);
        QCOMPARE(QJDictionaryExtensions::allKeyPaths(root), (QStringList {u"self"_s, u"list"_s}));
        const D archived = QJArchiving::archive(root);
        QVERIFY(archived.objectForKey(u"self"_s).isSameObject(root));
        QVERIFY(archived.objectForKey(u"list"_s).toArray().at(1).isSameObject(list));
        QJPlistLocalization::localizeUsingTable(root, u"Menus"_s, QJBundle(m_data + u"/main"_s));
        QCOMPARE(QJValue(list).valueForKey(u"k"_s), QJValue(A {QJValue(), QJValue()}));
        // The cycles are undone, so nothing is left behind.
        root.removeObjectForKey(u"self"_s);
        list.removeLast();
    }

    void secureSetObject_data()
    {
        QTest::addColumn<bool>("isMutable");
        QTest::addColumn<QJValue>("object");
        QTest::addColumn<bool>("nilKey");
        QTest::addColumn<QString>("logged");

        QTest::newRow("nil object") << true << QJValue() << false
                                    << u"error caught: tried to set \"(null)\" for key \"k\""_s;
        QTest::newRow("nil key") << true << QJValue(u"v"_s) << true
                                 << u"error caught: tried to set \"v\" for key \"(null)\""_s;
        QTest::newRow("immutable")
            << false << QJValue(7) << false
            << u"error caught: tried to mutate immutable dictionary with set \"7\" for key \"k\""_s;
        QTest::newRow("nil object on immutable is a nil")
            << false << QJValue() << false << u"error caught: tried to set \"(null)\" for key \"k\""_s;
        QTest::newRow("set") << true << QJValue(u"v"_s) << false << QString();
    }

    void secureSetObject()
    {
        QFETCH(bool, isMutable);
        QFETCH(QJValue, object);
        QFETCH(bool, nilKey);
        QFETCH(QString, logged);

        D dictionary({{u"old"_s, 1}}, isMutable ? QJMutability::Mutable : Immutable);
        expectLogged(logged.isEmpty() ? QStringList() : QStringList {logged});
        QJSecurityExtensions::secureSetObject(dictionary, object, nilKey ? QString() : u"k"_s);
        QCOMPARE(dictionary.count(), logged.isEmpty() ? 2 : 1);
        if (logged.isEmpty())
            QCOMPARE(dictionary.objectForKey(u"k"_s), object);
    }

    void secureArrayAddAndDefaults()
    {
        QTemporaryDir dir;
        QJUserDefaults defaults(dir.filePath(u"defaults.plist"_s));
        A array {1};
        expectLogged(
            {u"error caught: tried to add \"(null)\""_s, u"error caught: tried to set \"(null)\" for key \"size\""_s,
                u"error caught: tried to set \"12\" for key \"(null)\""_s});
        QJSecurityExtensions::secureAddObject(array, QJValue());
        QJSecurityExtensions::secureAddObject(array, 2);
        QJSecurityExtensions::secureSetObject(defaults, QJValue(), u"size"_s);
        QJSecurityExtensions::secureSetObject(defaults, 12, QString());
        QJSecurityExtensions::secureSetObject(defaults, 12, u"size"_s);
        QCOMPARE(array, (A {1, 2}));
        QCOMPARE(defaults.objectForKey(u"size"_s), QJValue(12));

        const A fromNil = QJSecurityExtensions::secureArrayWithObject(QJMutability::Mutable, QJValue());
        QVERIFY(fromNil.isEmpty());
        QVERIFY(!fromNil.isMutable()); // deliberately immutable, whatever was asked
        const A made = QJSecurityExtensions::secureArrayWithObject(QJMutability::Mutable, u"x"_s);
        QVERIFY(made.isMutable());
        QCOMPARE(made, (A {u"x"_s}));
        QVERIFY(!QJSecurityExtensions::secureArrayWithObject(Immutable, u"x"_s).isMutable());
    }

    void secureWriteToFile()
    {
        QTemporaryDir dir;
        const D dictionary {{u"name"_s, u"Draft"_s}, {u"nested"_s, D {{u"n"_s, 3}}}};

        const QString missing = dir.filePath(u"absent/sub/file.plist"_s);
        QVERIFY(QJSecurityExtensions::secureWriteToFile(dictionary, missing, true));
        QVERIFY(!QFileInfo::exists(dir.filePath(u"absent"_s)));

        QVERIFY(QJSecurityExtensions::secureWriteToFile(dictionary, dir.filePath(u"a.plist"_s), false));
        QCOMPARE(QJPropertyListSerialization::propertyListFromFile(dir.filePath(u"a.plist"_s)), QJValue(dictionary));

        // The folder exists but is a file: the write itself fails, and says so.
        QVERIFY(!QJSecurityExtensions::secureWriteToFile(dictionary, dir.filePath(u"a.plist/inside.plist"_s), false));
    }

    void localize()
    {
        QJBundle::setMainBundlePath(m_data + u"/main"_s);
        const QJBundle other(m_data + u"/other"_s);
        const A frozen({u"Hello"_s}, Immutable);
        const D menu {{u"Hello"_s, u"Hello"_s}, {u"n"_s, 3}, {u"missing"_s, u"Nope"_s},
            {u"nested"_s, D {{u"button"_s, u"Open"_s}}}, {u"frozen"_s, frozen}, {u"list"_s, A {u"Hello"_s, 4}}};

        QJPlistLocalization::localizeUsingTable(menu, u"Menus"_s, other);
        const D expected {{u"Hello"_s, u"Servus"_s}, {u"n"_s, 3}, {u"missing"_s, u"Nope"_s},
            {u"nested"_s, D {{u"button"_s, u"Öffnen"_s}}}, {u"frozen"_s, A {u"Hello"_s}},
            {u"list"_s, A {u"Hallo"_s, 4}}};
        QCOMPARE(menu, expected);
        QVERIFY(menu.objectForKey(u"frozen"_s).isSameObject(frozen));
        QCOMPARE(menu.allKeys().first(), u"Hello"_s); // keys keep their places

        const A list {u"Open"_s, u"Hello"_s};
        QJPlistLocalization::localizeUsingTable(list, u"Menus"_s);
        QCOMPARE(list, (A {u"Öffnen"_s, u"Hallo"_s}));
        QVERIFY_THROWS_EXCEPTION(QJImmutableMutationError, QJPlistLocalization::localizeUsingTable(frozen, u"Menus"_s));
    }

private:
    QString m_data;
};

QTEST_GUILESS_MAIN(TestCollections)
#include "tst_collections.moc"
