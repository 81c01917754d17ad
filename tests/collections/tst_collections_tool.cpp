// SPDX-License-Identifier: LGPL-2.1-or-later
// The plist keypaths / merge / localize commands, run as a user runs them.
#include "QJPropertyListSerialization.h"
#include "qjtestsupport.h"

#include <QTest>

using namespace Qt::StringLiterals;
using QJTest::runTool;

class TestCollectionsTool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void keypaths();
    void merge();
    void localize();
    void badInput_data();
    void badInput();

private:
    static QString data(const QString &name) { return QJTest::dataPath(name); }
};

void TestCollectionsTool::initTestCase()
{
    QVERIFY(QFileInfo(qEnvironmentVariable("QJKIT_TOOL")).isExecutable());
}

void TestCollectionsTool::keypaths()
{
    const auto r = runTool({u"plist"_s, u"keypaths"_s, data(u"base.plist"_s)});
    QCOMPARE(r.exitCode, 0);
    QCOMPARE(r.out, "recent\ntitle\nwindow.buttons\nwindow.width\n");
    // Standard input, and code-unit order (upper case before lower case).
    const auto piped = runTool({u"plist"_s, u"keypaths"_s}, "{ b = { Z = 1; a = 2; }; A = 3; }");
    QCOMPARE(piped.out, "A\nb.Z\nb.a\n");
}

void TestCollectionsTool::merge()
{
    const auto r = runTool({u"plist"_s, u"merge"_s, data(u"base.plist"_s), data(u"overlay.plist"_s)});
    QCOMPARE(r.exitCode, 0);
    // Old-style values are strings; new keys come last, in the overlay's order.
    const QJDictionary window {
        {u"width"_s, 800}, {u"buttons"_s, QJArray {u"Open"_s, u"Close"_s}}, {u"height"_s, u"600"_s}};
    QCOMPARE(r.out,
        QJPropertyListSerialization::dataFromPropertyList(QJDictionary {{u"title"_s, u"Hello"_s}, {u"window"_s, window},
            {u"recent"_s, QJArray {u"c.txt"_s}}, {u"empty"_s, QJDictionary()}, {u"theme"_s, u"dark"_s}}));
}

void TestCollectionsTool::localize()
{
    const QStringList arguments {u"plist"_s, u"localize"_s, u"--table"_s, u"Menus"_s, u"--strings-dir"_s,
        data(u"other"_s), data(u"base.plist"_s)};
    QProcessEnvironment german = QProcessEnvironment::systemEnvironment();
    german.insert(u"LC_ALL"_s, u"de_DE.UTF-8"_s);
    german.remove(u"LANGUAGE"_s);
    const auto r = runTool(arguments, QByteArray(), german);
    QCOMPARE(r.exitCode, 0);
    const QJValue out = QJPropertyListSerialization::propertyListFromData(r.out);
    QCOMPARE(out.valueForKeyPath(u"title"_s), QJValue(u"Servus"_s));
    // Nested containers too come from DIR, which the command makes the main bundle.
    QCOMPARE(out.valueForKeyPath(u"window.buttons"_s), QJValue(QJArray {u"Aufmachen"_s, u"Close"_s}));
}

void TestCollectionsTool::badInput_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("message");

    QTest::newRow("missing file") << QStringList {u"plist"_s, u"keypaths"_s, u"/nonexistent.plist"_s} << QByteArray()
                                  << QByteArray("qjkit: /nonexistent.plist: ");
    QTest::newRow("not a dictionary") << QStringList {u"plist"_s, u"keypaths"_s} << QByteArray("(1, 2)")
                                      << QByteArray("qjkit: standard input: the property list is not a dictionary");
    QTest::newRow("broken overlay") << QStringList {u"plist"_s, u"merge"_s, u"-"_s, u"-"_s} << QByteArray("{ a = ")
                                    << QByteArray("qjkit: standard input: ");
    QTest::newRow("no table") << QStringList {u"plist"_s, u"localize"_s, u"--table"_s, u"None"_s, u"--strings-dir"_s,
        data(u"main"_s)} << QByteArray("{}")
                              << QByteArray("no strings table \"None.strings\"");
}

void TestCollectionsTool::badInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, message);
    const auto r = runTool(arguments, input);
    QCOMPARE(r.exitCode, 2);
    QVERIFY2(r.err.contains(message), r.err.constData());
    QCOMPARE(r.err.count('\n'), 1);
    QVERIFY(r.out.isEmpty());
}

QTEST_GUILESS_MAIN(TestCollectionsTool)
#include "tst_collections_tool.moc"
