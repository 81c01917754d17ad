// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DocumentStatistics.h"

#include "QJStringCounting.h"

#include <QTextCursor>
#include <QTextDocument>

namespace
{
// Characters QTextDocument::toPlainText() rewrites, so the copy reads exactly as the plain text.
void toPlainCharacters(QString &text)
{
    for (QChar &c : text) {
        switch (c.unicode()) {
        case QChar::ParagraphSeparator:
        case QChar::LineSeparator:
        case 0xfdd0: // beginning of a frame
        case 0xfdd1: // end of a frame
            c = u'\n';
            break;
        case QChar::Nbsp:
            c = u' ';
            break;
        default:
            break;
        }
    }
}
} // namespace

DocumentStatistics::DocumentStatistics(QTextDocument *document, QObject *parent) : QObject(parent), m_document(document)
{
    // A document reports its changes only once it has a layout; an editor's document has one, a
    // bare document gets the default one here.
    document->documentLayout();
    connect(document, &QTextDocument::contentsChange, this, &DocumentStatistics::contentsChange);
    recount();
}

TextCounts DocumentStatistics::count(QStringView text, QJRange range, quint32 lineWidth)
{
    TextCounts counts;
    QJStringCounting::countForRange(text, range, false, false, &counts.paragraphs, &counts.lines, &counts.chars,
        &counts.words, lineWidth, false, false, 1);
    return counts;
}

TextCounts DocumentStatistics::countRange(QJRange range) const
{
    const quint32 size = quint32(m_text.size());
    const quint32 location = std::min(range.location, size);
    const quint32 length = std::min(range.length, size - location);
    return count(m_text, {location, length}, m_lineWidth);
}

void DocumentStatistics::setLineWidth(quint32 width)
{
    if (width == m_lineWidth)
        return;
    m_lineWidth = width;
    m_totals = count(m_text, {0, quint32(m_text.size())}, m_lineWidth);
    Q_EMIT changed();
}

void DocumentStatistics::recount()
{
    m_text = m_document ? m_document->toPlainText() : QString();
    m_totals = count(m_text, {0, quint32(m_text.size())}, m_lineWidth);
    Q_EMIT changed();
}

QJRange DocumentStatistics::paragraphsAround(qsizetype position, qsizetype length) const
{
    // From the start of the paragraph holding position to the line feed (excluded) that ends the
    // paragraph holding position + length.
    const qsizetype start = position == 0 ? 0 : m_text.lastIndexOf(u'\n', position - 1) + 1;
    qsizetype end = m_text.indexOf(u'\n', position + length);
    if (end < 0)
        end = m_text.size();
    return {quint32(start), quint32(end - start)};
}

void DocumentStatistics::addParagraphs(QJRange range, qint32 multiplier)
{
    // An empty range is an empty paragraph, which counts nothing; counting it would not say so at
    // the very start of a text (the last-line rule takes an empty span before more text as one).
    if (range.length == 0)
        return;
    QJStringCounting::countForRange(m_text, range, false, false, &m_totals.paragraphs, &m_totals.lines, &m_totals.chars,
        &m_totals.words, m_lineWidth, false, false, multiplier);
}

QString DocumentStatistics::documentText(int position, int length) const
{
    if (length <= 0)
        return QString();
    QTextCursor cursor(m_document);
    cursor.setPosition(position);
    cursor.setPosition(position + length, QTextCursor::KeepAnchor);
    QString text = cursor.selectedText();
    toPlainCharacters(text);
    return text;
}

void DocumentStatistics::contentsChange(int position, int removed, int added)
{
    if (!m_document)
        return;
    // The document's last paragraph separator is not part of its text, yet a change of the whole
    // document (setPlainText, clear) reports it in both counts.
    const qsizetype newSize = m_document->characterCount() - 1;
    const qsizetype oldSize = m_text.size();
    if (position < 0 || position > oldSize) {
        recount();
        return;
    }
    removed = int(std::min<qsizetype>(removed, oldSize - position));
    added = int(std::min<qsizetype>(added, newSize - position));
    if (removed < 0 || added < 0 || oldSize - removed + added != newSize) {
        recount(); // a report that does not add up; never seen, but the totals must stay exact
        return;
    }

    addParagraphs(paragraphsAround(position, removed), -1);
    m_text.replace(position, removed, documentText(position, added));
    addParagraphs(paragraphsAround(position, added), 1);
    Q_EMIT changed();
}
