// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DemoSettings.h"
#include "DocumentStatistics.h"
#include "EditorWindow.h"
#include "FindBar.h"
#include "StringSizing.h"

#include <QAction>
#include <QCheckBox>
#include <QDir>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>

using namespace Qt::StringLiterals;

namespace
{
void select(QPlainTextEdit *editor, int start, int length)
{
    QTextCursor cursor(editor->document());
    cursor.setPosition(start);
    cursor.setPosition(start + length, QTextCursor::KeepAnchor);
    editor->setTextCursor(cursor);
}
} // namespace

class TestEditorWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void findWrapsAround_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("needle");
        QTest::addColumn<bool>("backwards");
        QTest::addColumn<bool>("matchCase");
        QTest::addColumn<bool>("wrap");
        QTest::addColumn<int>("foundAt");
        QTest::addColumn<QString>("message");

        const QString text = u"one two One one"_s;
        QTest::newRow("next after the selection")
            << text << 0 << 3 << u"one"_s << false << false << true << 8 << QString();
        QTest::newRow("around to the top")
            << text << 12 << 3 << u"one"_s << false << false << true << 0 << u"Wrapped around to the top"_s;
        QTest::newRow("backwards around to the end")
            << text << 0 << 3 << u"one"_s << true << false << true << 12 << u"Wrapped around to the end"_s;
        QTest::newRow("backwards before the selection")
            << text << 12 << 3 << u"one"_s << true << false << true << 8 << QString();
        QTest::newRow("no wrapping: nothing after the last")
            << text << 12 << 3 << u"one"_s << false << false << false << 12 << u"Not found"_s;
        QTest::newRow("matching case skips the capital")
            << text << 0 << 3 << u"one"_s << false << true << true << 12 << QString();
        QTest::newRow("the selection itself is never found")
            << u"one two"_s << 0 << 3 << u"one"_s << false << false << true << 0 << u"Not found"_s;
        QTest::newRow("found across a paragraph break")
            << u"ab\ncd ab"_s << 0 << 0 << u"b\nc"_s << false << false << true << 1 << QString();
    }

    void findWrapsAround()
    {
        QFETCH(QString, text);
        QFETCH(int, start);
        QFETCH(int, length);
        QFETCH(QString, needle);
        QFETCH(bool, backwards);
        QFETCH(bool, matchCase);
        QFETCH(bool, wrap);
        QFETCH(int, foundAt);
        QFETCH(QString, message);

        QPlainTextEdit editor;
        editor.setPlainText(text);
        DocumentStatistics statistics(editor.document());
        FindBar bar(&editor, &statistics);
        bar.findChild<QCheckBox *>(u"matchCase"_s)->setChecked(matchCase);
        bar.findChild<QCheckBox *>(u"wrapAround"_s)->setChecked(wrap);
        bar.setFindText(needle);
        select(&editor, start, length);

        QCOMPARE(bar.find(backwards), message != u"Not found"_s);
        // Nothing found leaves the selection as it was.
        QCOMPARE(editor.textCursor().selectionStart(), foundAt);
        QCOMPARE(editor.textCursor().selectionEnd() - foundAt, message == u"Not found"_s ? length : int(needle.size()));
        QCOMPARE(bar.message(), message);
    }

    void statusBarFollowsSelection()
    {
        QTemporaryDir dir;
        DemoSettings settings(dir.filePath(u"settings.coded"_s));
        EditorWindow window(&settings);
        QPlainTextEdit *editor = window.editor();
        window.openText(u"The lantern was lit.\n\nNobody noticed."_s, dir.filePath(u"notes.txt"_s));
        QCOMPARE(window.statisticsText(), u"Document · 6 words · 2 lines · 2 paragraphs · 31 characters"_s);
        QCOMPARE(settings.recentFiles(), QStringList {dir.filePath(u"notes.txt"_s)});

        select(editor, 4, 7);
        QCOMPARE(window.statisticsText(), u"Selection · 1 word · 1 line · 1 paragraph · 7 characters"_s);

        // Typing over the selection changes the totals at once.
        QTest::keyClicks(editor, u"lamp had been"_s);
        QCOMPARE(window.statisticsText(), u"Document · 8 words · 2 lines · 2 paragraphs · 35 characters"_s);
        QVERIFY(window.isWindowModified());
        QTest::keyClick(editor, Qt::Key_Return);
        QCOMPARE(window.statisticsText(), u"Document · 8 words · 3 lines · 3 paragraphs · 35 characters"_s);
        QVERIFY(window.action(u"fileCompare"_s)->isEnabled());

        window.openText(QString(), QString());
        QCOMPARE(window.statisticsText(), u"Document · 0 words · 0 lines · 0 paragraphs · 0 characters"_s);
        QVERIFY(!window.action(u"fileCompare"_s)->isEnabled());
    }

    void titleKeepsTheEndOfTheFolder()
    {
        const QString folder = QDir::homePath() + u"/Documents/Writing/Manuscripts/2025/Drafts/Revisions"_s;
        const QString wide = EditorWindow::titleForPath(folder + u"/chapter-03.txt"_s, 5000);
        QCOMPARE(wide, u"chapter-03.txt[*] — ~/Documents/Writing/Manuscripts/2025/Drafts/Revisions"_s);

        const QString narrow = EditorWindow::titleForPath(folder + u"/chapter-03.txt"_s, 120);
        QVERIFY2(narrow.startsWith(u"chapter-03.txt[*] — "_s + StringSizing::ellipsis()), qPrintable(narrow));
        QVERIFY2(narrow.endsWith(u"/Revisions"_s), qPrintable(narrow));

        QCOMPARE(EditorWindow::titleForPath(QString(), 120), u"Untitled[*]"_s);
        QCOMPARE(EditorWindow::titleForPath(u"/srv/notes.txt"_s, 5000), u"notes.txt[*] — /srv"_s);
    }
};

QTEST_MAIN(TestEditorWindow)
#include "tst_editorwindow.moc"
