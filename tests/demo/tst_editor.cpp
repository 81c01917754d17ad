// SPDX-License-Identifier: LGPL-2.1-or-later
// The demo's editor: its running statistics, its comparison with the saved file, the find bar and
// the window around them.
#include "DemoSettings.h"
#include "DocumentComparison.h"
#include "DocumentStatistics.h"
#include "EditorWindow.h"
#include "FindBar.h"
#include "StringSizing.h"
#include "qjtestsupport.h"

#include <QAction>
#include <QCheckBox>
#include <QDir>
#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>

using namespace Qt::StringLiterals;

QT_BEGIN_NAMESPACE
namespace QTest
{
template<>
char *toString(const TextCounts &c)
{
    return qstrdup(QByteArray("words " + QByteArray::number(c.words) + ", lines " + QByteArray::number(c.lines)
        + ", paragraphs " + QByteArray::number(c.paragraphs) + ", chars " + QByteArray::number(c.chars))
                       .constData());
}
} // namespace QTest
QT_END_NAMESPACE

namespace
{
// Pieces text is made of, the awkward ones included: empty lines, runs of blanks, tabs, carriage
// returns, no-break spaces and line separators (both rewritten by toPlainText()), and a character
// outside the Basic Multilingual Plane.
const QStringList Pieces {u"harbour"_s, u"lantern"_s, u"a"_s, u" "_s, u"  "_s, u"\t"_s, u"\n"_s, u"\n\n"_s, u"\r"_s,
    u"\u00a0"_s, u"\u2028"_s, u"é"_s, u"\U0001F600"_s, u"word."_s, u"x"_s};

QString randomText(QRandomGenerator &random, qsizetype size)
{
    QString text;
    while (text.size() < size)
        text += Pieces.at(random.bounded(int(Pieces.size())));
    return text;
}

// Key presses carrying @p text, one per character (QTest's typing knows only ASCII).
void type(QWidget *widget, const QString &text)
{
    for (const QChar c : text) {
        const Qt::Key key = c == u'\n' ? Qt::Key_Return : c == u'\t' ? Qt::Key_Tab : Qt::Key_A;
        QTest::sendKeyEvent(QTest::Click, widget, key, c == u'\n' ? u"\r"_s : QString(c), Qt::NoModifier);
    }
}

// What the running totals must always equal: a count of the whole plain text.
TextCounts recount(const QPlainTextEdit &editor, quint32 width)
{
    const QString text = editor.toPlainText();
    return DocumentStatistics::count(text, {0, quint32(text.size())}, width);
}

void select(QPlainTextEdit *editor, int start, int length)
{
    QTextCursor cursor(editor->document());
    cursor.setPosition(start);
    cursor.setPosition(start + length, QTextCursor::KeepAnchor);
    editor->setTextCursor(cursor);
}
} // namespace

class TestEditor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void editsAtParagraphBoundaries_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<int>("position");
        QTest::addColumn<int>("removed");
        QTest::addColumn<QString>("inserted");

        QTest::newRow("line break deleted at the very start") << u"\nabc def\n\nghi"_s << 0 << 1 << QString();
        QTest::newRow("line break typed at the very start") << u"abc def"_s << 0 << 0 << u"\n"_s;
        QTest::newRow("typing on an empty first line") << u"\nabc"_s << 0 << 0 << u"x"_s;
        QTest::newRow("two paragraphs joined") << u"abc\ndef"_s << 3 << 1 << QString();
        QTest::newRow("word split by a line break") << u"abcdef ghi"_s << 3 << 0 << u"\n"_s;
        QTest::newRow("word split by a space") << u"abcdef ghi"_s << 3 << 0 << u" "_s;
        QTest::newRow("space between words deleted") << u"abc def"_s << 3 << 1 << QString();
        QTest::newRow("empty line filled") << u"abc\n\ndef"_s << 4 << 0 << u"x"_s;
        QTest::newRow("last line emptied") << u"abc\nd"_s << 4 << 1 << QString();
        QTest::newRow("line break typed at the end") << u"abc"_s << 3 << 0 << u"\n"_s;
        QTest::newRow("everything deleted") << u"a b\n\nc"_s << 0 << 6 << QString();
        QTest::newRow("typing into an empty document") << QString() << 0 << 0 << u"one two"_s;
        QTest::newRow("paste of paragraphs mid-word") << u"abcdef"_s << 3 << 0 << u"X\n\nY Z\n"_s;
        QTest::newRow("selection across paragraphs replaced") << u"one\ntwo\n\nthree four"_s << 2 << 10 << u"-"_s;
        QTest::newRow("long paragraph crosses a line width") << QString(59, u'x') << 59 << 0 << u"yy"_s;
        QTest::newRow("no-break space typed between letters") << u"ab"_s << 1 << 0 << u"\u00a0"_s;
        QTest::newRow("line separator typed") << u"ab cd"_s << 2 << 0 << u"\u2028"_s;
    }

    void editsAtParagraphBoundaries()
    {
        QFETCH(QString, before);
        QFETCH(int, position);
        QFETCH(int, removed);
        QFETCH(QString, inserted);

        QPlainTextEdit editor;
        editor.setPlainText(before);
        DocumentStatistics statistics(editor.document());
        statistics.setLineWidth(30);
        select(&editor, position, removed);
        editor.textCursor().insertText(inserted);

        QCOMPARE(statistics.text(), editor.toPlainText());
        QCOMPARE(statistics.totals(), recount(editor, 30));
    }

    // Types, deletes, pastes, undoes and redoes at random in a document of one megabyte and checks the
    // running totals against a full count after every step.
    void randomTypingInOneMegabyte()
    {
        // A new seed each run; QJKIT_TEST_SEED repeats a run that failed.
        const quint32 seed = qEnvironmentVariableIsSet("QJKIT_TEST_SEED")
            ? qEnvironmentVariable("QJKIT_TEST_SEED").toUInt()
            : QRandomGenerator::global()->generate();
        qInfo("seed %u (QJKIT_TEST_SEED)", seed);
        QRandomGenerator random(seed);

        QPlainTextEdit editor;
        editor.resize(600, 400);
        editor.setPlainText(randomText(random, 1024 * 1024));
        DocumentStatistics statistics(editor.document());
        constexpr quint32 Width = 72;
        statistics.setLineWidth(Width);
        QCOMPARE(statistics.totals(), recount(editor, Width));

        for (int step = 0; step < 300; ++step) {
            const int size = editor.document()->characterCount() - 1;
            QTextCursor cursor(editor.document());
            const int at = random.bounded(size + 1);
            cursor.setPosition(at);
            QString what;
            switch (random.bounded(8)) {
            case 0: // typing a few keys as a user does, through the editor
                editor.setTextCursor(cursor);
                for (int key = random.bounded(1, 6); key > 0; --key) {
                    const int pick = random.bounded(4);
                    if (pick == 0)
                        QTest::keyClick(&editor, Qt::Key_Backspace);
                    else if (pick == 1)
                        QTest::keyClick(&editor, Qt::Key_Return);
                    else if (pick == 2)
                        QTest::keyClick(&editor, Qt::Key_Delete);
                    else
                        type(&editor, Pieces.at(random.bounded(int(Pieces.size()))));
                }
                what = u"keys at %1"_s.arg(at);
                break;
            case 1:
            case 2: { // a deletion, sometimes across many paragraphs
                const int length = random.bounded(std::min(size - at, random.bounded(2) ? 40 : 4000) + 1);
                cursor.setPosition(at + length, QTextCursor::KeepAnchor);
                cursor.removeSelectedText();
                what = u"delete %1 at %2"_s.arg(length).arg(at);
                break;
            }
            case 3:
            case 4: // a paste
                cursor.insertText(randomText(random, random.bounded(1, 300)));
                what = u"paste at %1"_s.arg(at);
                break;
            case 5: { // two edits in one undo step: one change is reported for both
                cursor.beginEditBlock();
                cursor.insertText(randomText(random, 5));
                cursor.setPosition(random.bounded(editor.document()->characterCount()));
                cursor.deletePreviousChar();
                cursor.endEditBlock();
                what = u"edit block at %1"_s.arg(at);
                break;
            }
            case 6:
                editor.undo();
                what = u"undo"_s;
                break;
            default:
                editor.redo();
                what = u"redo"_s;
                break;
            }
            if (statistics.totals() != recount(editor, Width) || statistics.text() != editor.toPlainText())
                QFAIL(qPrintable(u"step %1 (%2) left the totals at %3, a recount gives %4"_s.arg(step).arg(what,
                    QString::fromLatin1(QTest::toString(statistics.totals())),
                    QString::fromLatin1(QTest::toString(recount(editor, Width))))));
        }
    }

    void lineWidthAndWholeReplacement()
    {
        QPlainTextEdit editor;
        editor.setPlainText(QString(100, u'x') + u"\nshort"_s);
        DocumentStatistics statistics(editor.document());
        QSignalSpy changed(&statistics, &DocumentStatistics::changed);

        statistics.setLineWidth(10);
        QCOMPARE(statistics.totals().lines, 10 + 1);
        statistics.setLineWidth(50);
        QCOMPARE(statistics.totals().lines, 2 + 1);
        QCOMPARE(changed.count(), 2);

        // A whole replacement reports the document's final separator too.
        editor.setPlainText(u"one\n\ntwo three"_s);
        QCOMPARE(statistics.totals(), (TextCounts {3, 2, 2, 11}));
        editor.clear();
        QCOMPARE(statistics.totals(), TextCounts {});
        QCOMPARE(statistics.text(), QString());
    }

    void selectionCounts()
    {
        QPlainTextEdit editor;
        editor.setPlainText(u"hello world\nsecond line"_s);
        DocumentStatistics statistics(editor.document());
        // A selection starting inside a word counts that word.
        QCOMPARE(statistics.countRange({2, 5}), (TextCounts {2, 1, 1, 4}));
        QCOMPARE(statistics.countRange({0, 23}), statistics.totals());
        // A range reaching past the end is cut at the end.
        QCOMPARE(statistics.countRange({12, 1000}), (TextCounts {2, 1, 1, 10}));
        QCOMPARE(statistics.countRange({5000, 3}), TextCounts {});
    }

    // A bare document reports changes only once it has a layout.
    void documentWithoutEditor()
    {
        QTextDocument document;
        DocumentStatistics statistics(&document);
        QTextCursor cursor(&document);
        cursor.insertText(u"one two\nthree"_s);
        QCOMPARE(statistics.totals(), (TextCounts {3, 2, 2, 11}));
        QCOMPARE(statistics.text(), document.toPlainText());
    }

    void marksWordsAndParagraphs_data()
    {
        QTest::addColumn<QString>("saved");
        QTest::addColumn<QString>("current");
        QTest::addColumn<QString>("html");
        QTest::addColumn<float>("match");

        QTest::newRow("same text keeps its paragraphs")
            << u"one two\n\nthree"_s << u"one two\n\nthree"_s
            << u"<div class=\"qj-diff\"><span class=\"qj-same\">one two <br/><br/>three</span></div>"_s << 1.0f;
        // Struck-out and inserted words keep a space between them, or they read as one word.
        QTest::newRow("word changed")
            << u"a b c"_s << u"a x c"_s
            << u"<div class=\"qj-diff\"><span class=\"qj-same\">a</span> <del class=\"qj-changed\">b</del> "
               "<ins class=\"qj-changed\">x</ins> <span class=\"qj-same\">c</span></div>"_s
            << 2.0f / 3.0f;
        QTest::newRow("paragraph split is marked")
            << u"alpha beta"_s << u"alpha\nbeta"_s
            << u"<div class=\"qj-diff\"><span class=\"qj-same\">alpha</span> <ins class=\"qj-added\">\u00b6<br/></ins> "
               "<span class=\"qj-same\">beta</span></div>"_s
            << 1.0f;
        QTest::newRow("paragraphs joined is marked") << u"alpha\nbeta"_s << u"alpha beta"_s
                                                     << u"<div class=\"qj-diff\"><span class=\"qj-same\">alpha</span> "
                                                        u"<del class=\"qj-deleted\">\u00b6<br/></del> "
                                                        "<span class=\"qj-same\">beta</span></div>"_s
                                                     << 1.0f;
        QTest::newRow("control characters in the text are no breaks")
            << u"a\x01 b"_s << u"a\x01 b"_s << u"<div class=\"qj-diff\"><span class=\"qj-same\">a b</span></div>"_s
            << 1.0f;
        QTest::newRow("markup in the text stays text")
            << u"<b>"_s << u"<i>"_s
            << u"<div class=\"qj-diff\"><del class=\"qj-changed\">&lt;b&gt;</del> <ins class=\"qj-changed\">&lt;i&gt;</ins></div>"_s
            << 0.0f;
        QTest::newRow("two empty texts match") << QString() << QString() << u"<div class=\"qj-diff\"></div>"_s << 1.0f;
    }

    void marksWordsAndParagraphs()
    {
        QFETCH(QString, saved);
        QFETCH(QString, current);
        QFETCH(QString, html);
        QFETCH(float, match);

        const DocumentComparison result = DocumentComparison::compare(saved, current);
        QCOMPARE(result.html, html);
        QVERIFY2(qAbs(result.matchValue - match) < 1e-5f, qPrintable(QString::number(result.matchValue)));
        QCOMPARE(result.error, QString());
    }

    void savedFileThatCannotBeRead()
    {
        QTemporaryDir dir;
        const DocumentComparison missing = DocumentComparison::compareWithFile(dir.filePath(u"gone.txt"_s), u"x"_s);
        QVERIFY(!missing.error.isEmpty());
        QCOMPARE(missing.html, QString());

        QVERIFY(QJTest::writeFile(dir.filePath(u"latin1.txt"_s), "caf\xe9"));
        QVERIFY(!DocumentComparison::compareWithFile(dir.filePath(u"latin1.txt"_s), u"café"_s).error.isEmpty());

        QVERIFY(QJTest::writeFile(dir.filePath(u"utf8.txt"_s), "one two"));
        const DocumentComparison read
            = DocumentComparison::compareWithFile(dir.filePath(u"utf8.txt"_s), u"one three"_s);
        QCOMPARE(read.error, QString());
        QCOMPARE(read.changed, 1);
    }

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

QTEST_MAIN(TestEditor)
#include "tst_editor.moc"
