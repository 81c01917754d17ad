// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DocumentComparison.h"

#include "QJDifferenceEngine.h"
#include "QJDifferenceHtml.h"

#include <QFile>
#include <QRegularExpression>
#include <QStringDecoder>

#include <cmath>

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

// Line breaks back into the markup: a plain break inside unchanged text, a paragraph mark and a
// break where a break was deleted or added.
QString withLineBreaks(const QString &html)
{
    static const QRegularExpression run(uR"re((<(span|del|ins) class="([^"]*)">)([^<]*)(</\2>))re"_s);
    static const QRegularExpression breaks(u"\x01 ?"_s);
    QString result;
    result.reserve(html.size() + html.size() / 8);
    qsizetype last = 0;
    for (const QRegularExpressionMatch &match : run.globalMatch(html)) {
        result += QStringView(html).mid(last, match.capturedStart() - last);
        QString content = match.captured(4);
        const bool same = match.captured(2) == u"span"_s;
        content.replace(breaks, same ? u"<br/>"_s : u"\u00b6<br/>"_s);
        result += match.captured(1) + content + match.captured(5);
        last = match.capturedEnd();
    }
    result += QStringView(html).mid(last);
    return result;
}
} // namespace

DocumentComparison DocumentComparison::compare(const QString &saved, const QString &current)
{
    DocumentComparison result;
    QJDifferenceEngine engine;
    engine.setComparisonType(ComparisonWords);
    engine.setOldString(withBreakTokens(saved));
    engine.setNewString(withBreakTokens(current));
    engine.computeDifferences();
    const QList<DiffObject> differences = engine.differences();
    for (const DiffObject &run : differences) {
        result.changed += run.type() == 1;
        result.deleted += run.type() == 2;
        result.added += run.type() == 3;
    }
    result.html = withLineBreaks(QJDifferenceHtml::htmlFragment(differences));
    // A change is the old words struck out, then the new ones: with nothing between them the two
    // read as one word. Escaped text holds no "<", so only adjacent runs match.
    result.html.replace(u"</del><ins"_s, u"</del> <ins"_s);

    // The match value is the texts' own, without the break tokens.
    QJDifferenceEngine words;
    words.setComparisonType(ComparisonWords);
    words.setOldString(saved);
    words.setNewString(current);
    words.computeMatchValueOnly();
    // Two texts without a single word are the same text.
    result.matchValue = std::isnan(words.matchValue()) ? 1.0f : words.matchValue();
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
