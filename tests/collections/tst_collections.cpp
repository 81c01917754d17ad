// SPDX-License-Identifier: LGPL-2.1-or-later
// Index paths, searching, merging, key paths, the secure setters, localization, archiving and
// calendar dates, in a fixed zone with daylight-saving time (Central European, CET/CEST).
#include "QJArchiving.h"
#include "QJArrayExtensions.h"
#include "QJArraySearch.h"
#include "QJDateExtensions.h"
#include "QJDictionaryExtensions.h"
#include "QJPlistLocalization.h"
#include "QJPropertyListSerialization.h"
#include "QJSecurityExtensions.h"
#include "QJUserDefaults.h"
#include "qjtestnode.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborValue>
#include <QDataStream>
#include <QDir>
#include <QLineF>
#include <QLocale>
#include <QRandomGenerator>
#include <QRect>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <QUuid>

#include <ctime>
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
// Records the change notices of @p dictionary as "will key" and "did key".
void recordChanges(const D &dictionary, QStringList &notices)
{
    D(dictionary).addChangeObserver([&notices](const QString &key, QJChange phase) {
        notices.append((phase == QJChange::WillChange ? u"will "_s : u"did "_s) + key);
    });
}

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

// A value type a host might keep in its settings: written field by field in keyed archives, and
// not streamable, so a sequential archive cannot hold it.
struct Margins
{
    Q_GADGET
    Q_PROPERTY(int left MEMBER left)
    Q_PROPERTY(QString label MEMBER label)
    Q_PROPERTY(QRectF frame MEMBER frame)
public:
    int left = 0;
    QString label;
    QRectF frame;
    friend bool operator==(const Margins &, const Margins &) = default;
};

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
        const auto at = [&](const QJIndexPath &path) {
            return QJArrayExtensions::objectForIndexPath(top, path, u"children"_s).toDictionary();
        };
        const auto pathOf = [](const A &in, const QJValue &node) {
            return QJArrayExtensions::indexPathOfObject(in, node, u"parent"_s, u"children"_s);
        };
        // Parent links make cycles of shared handles; they are undone at the end.
        const QList<std::pair<QJIndexPath, QJIndexPath>> links {
            {{0, 0}, {0}}, {{0, 1}, {0}}, {{1, 0}, {1}}, {{1, 0, 0}, {1, 0}}};
        for (const auto &[child, parent] : links)
            at(child).setObject(at(parent), u"parent"_s);

        const D deep = at({1, 0, 0});
        const auto path = pathOf(top, deep);
        QVERIFY(path);
        QCOMPARE(*path, (QJIndexPath {1, 0, 0}));
        QVERIFY(at(*path).isSameObject(deep));
        // A node whose parent does not list it.
        QVERIFY(!pathOf(top, D {{u"name"_s, u"stray"_s}, {u"parent"_s, top.at(0)}}));
        // Equal siblings: the first equal element wins.
        at({0, 1}).setObject(u"A1"_s, u"name"_s);
        QCOMPARE(*pathOf(top, at({0, 1})), (QJIndexPath {0, 0}));
        // Parents that lead round in a circle give no path instead of looping.
        D loopA {{u"name"_s, u"x"_s}};
        D loopB {{u"name"_s, u"y"_s}, {u"parent"_s, loopA}};
        loopA.setObject(loopB, u"parent"_s);
        QVERIFY(!pathOf(top, loopA));
        loopA.removeObjectForKey(u"parent"_s);
        // An array's parent is the array of its elements' parents, made afresh at every step: the
        // chain repeats by value, never by identity.
        const A arrayNode {u"a"_s, u"b"_s};
        QVERIFY(!pathOf(A {arrayNode}, arrayNode));

        const A found = QJArrayExtensions::objectsForIndexPaths(top, {{1}, {9}, {0, 1}, {}}, u"children"_s);
        QCOMPARE(found.count(), 2);
        QVERIFY(found.isMutable());
        QVERIFY(found.at(0).isSameObject(top.at(1)));
        for (const auto &[child, parent] : links)
            at(child).removeObjectForKey(u"parent"_s);
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
        recordChanges(receiver, heard);
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
        recordChanges(inner, innerHeard);
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

    void roundTrip_data()
    {
        QTest::addColumn<QVariant>("object");
        QTest::addColumn<bool>("keyed");
        const QVariantList values {QRect(1, -2, 30, 40), QRectF(0.5, 1, 2.25, 3), QPointF(-1.5, 2), QSize(7, 8),
            QLineF(0, 1, 2, 3), QUrl(u"https://example.org/a b?q=1#x"_s),
            QUuid::fromString(u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s),
            QVariant(QVariantList {1, u"a"_s, QRect(1, 2, 3, 4), QVariantMap {{u"k"_s, 2.5}}}),
            QVariant(QVariantHash {{u"h"_s, QVariantList {}}}), QVariant::fromValue(quint64(18446744073709551615ULL)),
            QVariant::fromValue(QStringList {u"x"_s, u"y"_s})};
        for (bool keyed : {false, true}) {
            for (const QVariant &v : values)
                QTest::addRow("%s %s", v.typeName(), keyed ? "keyed" : "sequential") << v << keyed;
        }
        QTest::newRow("gadget keyed") << QVariant::fromValue(Margins {4, u"side"_s, QRectF(1, 2, 3, 4)}) << true;
    }

    void roundTrip()
    {
        QFETCH(QVariant, object);
        QFETCH(bool, keyed);
        const A tree {u"text"_s, 5, QJValue::fromObject(object)};
        const A archived = QJArchiving::archive(tree, false, false, false, keyed);
        QVERIFY(!archived.isMutable());
        QCOMPARE(archived.at(0), QJValue(u"text"_s));
        QCOMPARE(archived.at(1), QJValue(5));
        QVERIFY(archived.at(2).isData());

        const A back = keyed ? QJArchiving::keyedUnarchive(archived) : QJArchiving::unarchive(archived);
        QCOMPARE(back.at(2).toObject().metaType(), object.metaType());
        QCOMPARE(back.at(2).toObject(), object);
    }

    void formatsAreDistinct()
    {
        const QVariant rect = QRect(1, 2, 3, 4);
        const QByteArray sequential = QJArchiving::archivedDataWithRootObject(rect, false);
        const QByteArray keyed = QJArchiving::archivedDataWithRootObject(rect, true);
        QVERIFY(sequential.startsWith("QJSA"));
        QVERIFY(keyed.startsWith(QByteArray::fromHex("d9d9f7836e") + "QJKeyedArchive"));
        QVERIFY(!QJArchiving::unarchiveObjectWithData(sequential, true).isValid());
        QVERIFY(!QJArchiving::unarchiveObjectWithData(keyed, false).isValid());

        // Unarchived with the other kind, a leaf stays the data it was.
        const A tree {QJValue(keyed)};
        QCOMPARE(QJArchiving::unarchive(tree).at(0), QJValue(keyed));
    }

    void sequentialBodyIsAQVariantStream()
    {
        const QVariant nested
            = QVariantList {1, QVariantMap {{u"r"_s, QRect(0, 0, 2, 2)}}, QVariant::fromValue(QList<int> {4, 5})};
        const QByteArray archive = QJArchiving::archivedDataWithRootObject(nested, false);
        QDataStream in(archive);
        in.skipRawData(4);
        quint16 format = 0;
        quint16 version = 0;
        in >> format >> version;
        QCOMPARE(format, quint16(1));
        in.setVersion(version);
        QVariant read;
        in >> read;
        QCOMPARE(in.status(), QDataStream::Ok);
        QVERIFY(in.atEnd());
        QCOMPARE(read, nested);
    }

    void leavesThatStay()
    {
        QObject node;
        const QDateTime date = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
        const QByteArray notAnArchive("QJSA but not really");
        const A tree {
            date, true, 2.5, notAnArchive, QJValue(&node), QJValue::fromObject(QVariant::fromValue(Margins {}))};
        for (bool keyed : {false, true}) {
            const A archived = QJArchiving::archive(tree, false, false, false, keyed);
            QCOMPARE(archived.at(0), QJValue(date)); // a date is never archived
            QVERIFY(archived.at(0).isDate());
            QCOMPARE(archived.at(3), QJValue(notAnArchive));
            QCOMPARE(archived.at(4).toNode(), &node); // a QObject cannot be archived: kept
            QCOMPARE(archived.at(5).isData(), keyed); // the gadget has no stream operators
            const A back = QJArchiving::archive(archived, true, false, false, keyed);
            QCOMPARE(back, tree);
        }
    }

    void mutabilityFlags_data()
    {
        QTest::addColumn<bool>("dictionariesMutable");
        QTest::addColumn<bool>("arraysMutable");
        // Mutability of: top dictionary, its dictionary d, its array a, the dictionary inside a, the array inside d.
        QTest::addColumn<QList<bool>>("expected");

        QTest::newRow("both") << true << true << QList<bool> {true, true, true, true, true};
        QTest::newRow("neither") << false << false << QList<bool> {false, false, false, false, false};
        QTest::newRow("dictionaries only: below an array, the arrays flag rules")
            << true << false << QList<bool> {true, true, false, false, false};
        QTest::newRow("arrays only") << false << true << QList<bool> {false, false, true, true, true};
    }

    void mutabilityFlags()
    {
        QFETCH(bool, dictionariesMutable);
        QFETCH(bool, arraysMutable);
        QFETCH(QList<bool>, expected);
        const D tree({{u"d"_s, D({{u"inner"_s, A({1}, Immutable)}}, Immutable)},
                         {u"a"_s, A({D({{u"x"_s, QJValue::fromObject(QRect(1, 1, 1, 1))}}, Immutable)}, Immutable)}},
            Immutable);
        for (bool keyed : {false, true}) {
            const D archived
                = QJArchiving::archiveWithDictionariesMutable(tree, dictionariesMutable, arraysMutable, keyed);
            const D out
                = QJArchiving::unarchiveWithDictionariesMutable(archived, dictionariesMutable, arraysMutable, keyed);
            const D d = out.objectForKey(u"d"_s).toDictionary();
            const A a = out.objectForKey(u"a"_s).toArray();
            const QList<bool> got {out.isMutable(), d.isMutable(), a.isMutable(), a.at(0).toDictionary().isMutable(),
                d.objectForKey(u"inner"_s).toArray().isMutable()};
            QCOMPARE(got, expected);
            QCOMPARE(out, tree);
        }
        // The fixed members of the family.
        const D archived = QJArchiving::keyedArchive(tree);
        QVERIFY(!QJArchiving::keyedUnarchive(archived).isMutable());
        QVERIFY(QJArchiving::mutableKeyedUnarchive(archived).objectForKey(u"a"_s).toArray().isMutable());
        QCOMPARE(QJArchiving::mutableKeyedUnarchive(archived), tree);
        QCOMPARE(QJArchiving::mutableUnarchive(QJArchiving::archive(tree)), tree);
    }

    void hostileBytes_data()
    {
        QTest::addColumn<bool>("keyed");
        QTest::newRow("sequential") << false;
        QTest::newRow("keyed") << true;
    }

    void hostileBytes()
    {
        QFETCH(bool, keyed);
        const QVariant sample
            = QVariantList {u"text"_s, QRect(1, 2, 3, 4), QVariantMap {{u"u"_s, QUrl(u"file:///x"_s)}},
                QVariant::fromValue(QStringList {u"a"_s}), QUuid::createUuid()};
        const QByteArray good = QJArchiving::archivedDataWithRootObject(sample, keyed);
        QVERIFY(!good.isEmpty());

        // Every truncation is refused.
        for (qsizetype n = 0; n < good.size(); ++n)
            QVERIFY2(
                !QJArchiving::unarchiveObjectWithData(good.left(n), keyed).isValid(), qPrintable(QString::number(n)));

        // Random damage never crashes; whatever comes back is a value or nothing.
        QRandomGenerator random(20240611);
        for (int round = 0; round < 3000; ++round) {
            QByteArray damaged = good;
            const int flips = 1 + random.bounded(4);
            for (int i = 0; i < flips; ++i)
                damaged[random.bounded(int(damaged.size()))] = char(random.bounded(256));
            QJArchiving::unarchiveObjectWithData(damaged, keyed);
        }

        if (!keyed) {
            // Crafted bodies: huge counts, unknown types, nesting far beyond the bound.
            auto body = [](auto write) {
                QByteArray data("QJSA");
                QDataStream s(&data, QIODevice::WriteOnly | QIODevice::Append);
                s << quint16(1) << quint16(QDataStream::Qt_6_0);
                write(s);
                return data;
            };
            const QList<QByteArray> crafted {
                body([](QDataStream &s) { s << quint32(QMetaType::QStringList) << qint8(0) << quint32(0xfffffff0u); }),
                body([](QDataStream &s) { s << quint32(QMetaType::QVariantList) << qint8(0) << quint32(0xffffffffu); }),
                body([](QDataStream &s) { s << quint32(QMetaType::QString) << qint8(0) << quint32(0x7ffffffe); }),
                body([](QDataStream &s) { s << quint32(QMetaType::User) << qint8(0) << "NoSuchType" << quint32(1); }),
                body([](QDataStream &s) { s << quint32(QMetaType::QVariant) << qint8(0) << quint32(QMetaType::Int); }),
                body([](QDataStream &s) {
                    for (int i = 0; i < 200000; ++i)
                        s << quint32(QMetaType::QVariantList) << qint8(0) << quint32(1);
                }),
            };
            for (const QByteArray &data : crafted)
                QVERIFY(!QJArchiving::unarchiveObjectWithData(data, false).isValid());
        } else {
            QByteArray deep = good.left(19) + QByteArray(1, '\x01');
            for (int i = 0; i < 200000; ++i)
                deep += "\xa2\x64type\x6bQVariantMap\x67"
                        "entries\xa1\x61k";
            QVERIFY(!QJArchiving::unarchiveObjectWithData(deep, true).isValid());
        }
    }

    void depthIsBounded()
    {
        QVariant nested = QVariantList {1};
        for (int i = 0; i < QJArchiving::MaximumDepth + 5; ++i)
            nested = QVariantList {nested};
        for (bool keyed : {false, true}) {
            QVERIFY(QJArchiving::archivedDataWithRootObject(nested, keyed).isEmpty());
            const A archived = QJArchiving::archive(A {QJValue::fromObject(nested)}, false, false, false, keyed);
            QVERIFY(archived.at(0).isObject()); // kept as it was
        }
    }

    // Keyed archives whose numbers do not fit where they go: a real where an integer belongs, a value
    // beyond its type. Converting such a number would be undefined behaviour (the sanitizer build
    // stops at it); each is refused instead.
    void numbersOutsideTheirTypeAreRefused_data()
    {
        QTest::addColumn<QByteArray>("data");
        auto document = [](const QCborValue &version, const QCborValue &object) {
            return QCborValue(QCborKnownTags::Signature, QCborArray {u"QJKeyedArchive"_s, version, object}).toCbor();
        };
        auto scalar = [](const QString &type, const QCborValue &value) {
            return QCborMap {{u"type"_s, type}, {u"value"_s, value}};
        };
        QTest::newRow("format version as a huge real") << document(1e300, scalar(u"int"_s, 1));
        QTest::newRow("stream version as a huge real") << document(
            1, QCborMap {{u"type"_s, u"QUuid"_s}, {u"stream"_s, QByteArray(16, '\0')}, {u"streamVersion"_s, 1e300}});
        auto point = [&](double x) {
            return QCborMap {{u"type"_s, u"QPoint"_s},
                {u"fields"_s, QCborMap {{u"x"_s, scalar(u"double"_s, x)}, {u"y"_s, scalar(u"int"_s, 0)}}}};
        };
        QTest::newRow("point coordinate beyond an int") << document(1, point(3e9));
        QTest::newRow("point coordinate not a number") << document(1, point(qQNaN()));
        QTest::newRow("integer given as a real") << document(1, scalar(u"int"_s, 1e300));
        QTest::newRow("float given a real beyond floats") << document(1, scalar(u"float"_s, 1e300));
    }

    void numbersOutsideTheirTypeAreRefused()
    {
        QFETCH(QByteArray, data);
        QVERIFY(!QJArchiving::unarchiveObjectWithData(data, true).isValid());
        // The same point with a coordinate that fits is read.
        const QByteArray fits = QByteArray(data).replace(QCborValue(3e9).toCbor(), QCborValue(-7.0).toCbor());
        if (fits != data)
            QCOMPARE(QJArchiving::unarchiveObjectWithData(fits, true), QVariant(QPoint(-7, 0)));
    }

    void calendarDateByMerging_data()
    {
        QTest::addColumn<QDateTime>("dateInfo");
        QTest::addColumn<QDateTime>("timeInfo");
        QTest::addColumn<QDateTime>("expected");

        const auto local = [](int y, int mo, int d, int h, int mi, int s, int ms = 0) {
            return QDateTime(QDate(y, mo, d), QTime(h, mi, s, ms), Qt::LocalTime);
        };
        QTest::newRow("31 January 23:00 with 5 June 08:15:30")
            << local(2023, 1, 31, 23, 0, 0) << local(2021, 6, 5, 8, 15, 30) << local(2023, 1, 31, 8, 15, 30);
        QTest::newRow("fractions of a second dropped")
            << local(2024, 2, 29, 1, 2, 3) << local(2020, 1, 1, 12, 34, 56, 999) << local(2024, 2, 29, 12, 34, 56);
        // Both are read in the local zone: 23:30 UTC on 30 June is already 1 July (01:30 CEST), and
        // 22:30 UTC on 10 March is 23:30 CET.
        QTest::newRow("UTC arguments are read as local time")
            << QDateTime(QDate(2023, 6, 30), QTime(23, 30), Qt::UTC)
            << QDateTime(QDate(2023, 3, 10), QTime(22, 30), Qt::UTC) << local(2023, 7, 1, 23, 30, 0);
        QTest::newRow("invalid date info") << QDateTime() << local(2021, 6, 5, 8, 15, 30) << QDateTime();
    }

    void calendarDateByMerging()
    {
        QFETCH(QDateTime, dateInfo);
        QFETCH(QDateTime, timeInfo);
        QFETCH(QDateTime, expected);
        const QDateTime merged = QJDateExtensions::calendarDateByMergingDateInfo(dateInfo, timeInfo);
        QCOMPARE(merged, expected);
        if (expected.isValid()) // equal instants, and in local time
            QCOMPARE(merged.timeSpec(), Qt::LocalTime);
    }

private:
    QString m_data;
};

int main(int argc, char **argv)
{
    // The zone must be fixed before Qt reads it.
    qputenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
    tzset();
    QCoreApplication app(argc, argv);
    TestCollections test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_collections.moc"
