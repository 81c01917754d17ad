// SPDX-License-Identifier: LGPL-2.1-or-later
// The plist keypaths / merge / localize commands, run as a user runs them.
#include "QJPropertyListSerialization.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

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
    struct Result
    {
        int status;
        QByteArray out;
        QByteArray err;
    };
    Result run(const QStringList &arguments, const QByteArray &input = QByteArray(), const QString &lang = u"C"_s);
    QString data(const QString &name) const { return m_data + u'/' + name; }
    QString m_data;
};

void TestCollectionsTool::initTestCase()
{
    m_data = qEnvironmentVariable("QJKIT_TEST_DATA");
    QVERIFY(QFileInfo(qEnvironmentVariable("QJKIT_TOOL")).isExecutable());
}

TestCollectionsTool::Result TestCollectionsTool::run(
    const QStringList &arguments, const QByteArray &input, const QString &lang)
{
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"LANG"_s, lang);
    env.insert(u"LC_ALL"_s, lang);
    env.remove(u"LANGUAGE"_s);
    process.setProcessEnvironment(env);
    process.start(qEnvironmentVariable("QJKIT_TOOL"), arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(60000);
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

void TestCollectionsTool::keypaths()
{
    const Result r = run({u"plist"_s, u"keypaths"_s, data(u"base.plist"_s)});
    QCOMPARE(r.status, 0);
    QCOMPARE(r.out, "recent\ntitle\nwindow.buttons\nwindow.width\n");
    // Standard input, and code-unit order (upper case before lower case).
    const Result piped = run({u"plist"_s, u"keypaths"_s}, "{ b = { Z = 1; a = 2; }; A = 3; }");
    QCOMPARE(piped.out, "A\nb.Z\nb.a\n");
}

void TestCollectionsTool::merge()
{
    const Result r = run({u"plist"_s, u"merge"_s, data(u"base.plist"_s), data(u"overlay.plist"_s)});
    QCOMPARE(r.status, 0);
    const QJValue merged = QJPropertyListSerialization::propertyListFromData(r.out);
    QCOMPARE(merged.valueForKeyPath(u"window.width"_s), QJValue(800));
    QCOMPARE(merged.valueForKeyPath(u"window.height"_s), QJValue(u"600"_s)); // old-style values are strings
    QCOMPARE(merged.valueForKeyPath(u"recent"_s), QJValue(QJArray {u"c.txt"_s}));
    QCOMPARE(merged.valueForKeyPath(u"theme"_s), QJValue(u"dark"_s));
    QCOMPARE(merged.valueForKeyPath(u"title"_s), QJValue(u"Hello"_s));
}

void TestCollectionsTool::localize()
{
    const QStringList arguments {u"plist"_s, u"localize"_s, u"--table"_s, u"Menus"_s, u"--strings-dir"_s,
        data(u"other"_s), data(u"base.plist"_s)};
    const Result r = run(arguments, QByteArray(), u"de_DE.UTF-8"_s);
    QCOMPARE(r.status, 0);
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
        qEnvironmentVariable("QJKIT_TEST_DATA") + u"/main"_s}
                              << QByteArray("{}") << QByteArray("no strings table \"None.strings\"");
}

void TestCollectionsTool::badInput()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, message);
    const Result r = run(arguments, input);
    QCOMPARE(r.status, 2);
    QVERIFY2(r.err.contains(message), r.err.constData());
    QCOMPARE(r.err.count('\n'), 1);
    QVERIFY(r.out.isEmpty());
}

QTEST_GUILESS_MAIN(TestCollectionsTool)
#include "tst_collections_tool.moc"
