// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DocumentComparison.h"

#include "DiffEngine.h" // the DiffOpType names
#include "QJDifferenceEngine.h"

#include <QFile>
#include <QStringDecoder>
#include <QStringTokenizer>

using namespace Qt::StringLiterals;

namespace
{
// Word tokens lose the line feeds, and with them the paragraphs. Each line feed becomes this
// token instead (one byte of UTF-8, as it is one UTF-16 unit, so it shifts nothing the engine
// reads), and the rendering turns it back into a line break.
constexpr QChar Break = QChar(0x01);

QString withBreakTokens(QString text)
{
    text.remove(Break);
    text.replace(u'\n', u" \x01 "_s);
    return text;
}

// The text of a run, escaped, with its break tokens back as line breaks: a plain break in unchanged
// text, a paragraph mark and a break where a break was deleted or added.
QString runText(const QString &text, bool same)
{
    const QString escaped = text.toHtmlEscaped();
    QString out;
    out.reserve(escaped.size() + escaped.size() / 8);
    for (qsizetype i = 0; i < escaped.size(); ++i) {
        if (escaped.at(i) != Break) {
            out += escaped.at(i);
            continue;
        }
        out += same ? u"<br/>"_s : u"\u00b6<br/>"_s;
        if (i + 1 < escaped.size() && escaped.at(i + 1) == u' ')
            ++i; // the blank after a break token belongs to it
    }
    return out;
}

// The words of a run's text, break tokens left out.
qsizetype wordCount(const QString &text)
{
    qsizetype words = 0;
    for (const QStringView token : QStringTokenizer(text, u' ', Qt::SkipEmptyParts))
        words += token != QStringView(&Break, 1);
    return words;
}
} // namespace

// One comparison gives everything: the markup is written from its runs, and the match value
// counted from them without the break tokens. Unchanged tokens are matched as a multiset, so a
// break only ever matches a break, and the words' counts are those of the texts without breaks.
DocumentComparison DocumentComparison::compare(const QString &saved, const QString &current)
{
    DocumentComparison result;
    QJDifferenceEngine engine;
    engine.setComparisonType(ComparisonWords);
    engine.setOldString(withBreakTokens(saved));
    engine.setNewString(withBreakTokens(current));
    engine.computeDifferences();
    float same = 0;
    float changed = 0;
    QString html = u"<div class=\"qj-diff\">"_s;
    bool first = true;
    for (const DiffObject &run : engine.differences()) {
        if (!first)
            html += u' ';
        first = false;
        switch (run.type()) {
        case DiffOpChange:
            ++result.changed;
            changed += float(wordCount(run.oldValue()) + wordCount(run.newValue()));
            // A space between the struck-out and the inserted words, or they read as one word.
            html += u"<del class=\"qj-changed\">"_s + runText(run.oldValue(), false)
                + u"</del> <ins class=\"qj-changed\">"_s + runText(run.newValue(), false) + u"</ins>"_s;
            break;
        case DiffOpDelete:
            ++result.deleted;
            changed += float(wordCount(run.oldValue()));
            html += u"<del class=\"qj-deleted\">"_s + runText(run.oldValue(), false) + u"</del>"_s;
            break;
        case DiffOpAdd:
            ++result.added;
            changed += float(wordCount(run.newValue()));
            html += u"<ins class=\"qj-added\">"_s + runText(run.newValue(), false) + u"</ins>"_s;
            break;
        default:
            same += float(wordCount(run.oldValue()));
            html += u"<span class=\"qj-same\">"_s + runText(run.oldValue(), true) + u"</span>"_s;
            break;
        }
    }
    result.html = html + u"</div>"_s;
    // Two texts without a single word are the same text.
    result.matchValue = same + changed == 0 ? 1.0f : same / (changed * 0.5f + same);
    return result;
}

DocumentComparison DocumentComparison::compareWithFile(const QString &path, const QString &current)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        DocumentComparison result;
        result.error = file.errorString();
        return result;
    }
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString saved = decode(file.readAll());
    if (decode.hasError()) {
        DocumentComparison result;
        result.error = u"the file is not UTF-8 text"_s;
        return result;
    }
    return compare(saved, current);
}

QString DocumentComparison::styleSheet()
{
    return u".qj-diff { line-height: 140%; }"
           ".qj-deleted { color: #9b1c2c; background-color: #fbe3e6; text-decoration: line-through; }"
           ".qj-added { color: #155d2e; background-color: #dcf3e3; }"
           "del.qj-changed { color: #8a4b0f; background-color: #fcebd6; text-decoration: line-through; }"
           "ins.qj-changed { color: #155d2e; background-color: #dcf3e3; }"_s;
}
