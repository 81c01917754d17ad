// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DocumentStatistics.h"

#include <QPlainTextEdit>
#include <QRandomGenerator>
#include <QSignalSpy>
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
} // namespace

class TestDocumentStatistics : public QObject
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
        QTextCursor cursor(editor.document());
        cursor.setPosition(position);
        cursor.setPosition(position + removed, QTextCursor::KeepAnchor);
        cursor.insertText(inserted);

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
};

QTEST_MAIN(TestDocumentStatistics)
#include "tst_documentstatistics.moc"
