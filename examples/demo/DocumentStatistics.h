// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJGlobal.h"

#include <QObject>
#include <QPointer>
#include <QString>

class QTextDocument;

/** The four numbers the status bar shows. */
struct TextCounts
{
    qint32 words = 0;
    qint32 lines = 0;
    qint32 paragraphs = 0;
    qint32 chars = 0;

    friend bool operator==(const TextCounts &, const TextCounts &) = default;
};

/**
 * Live statistics of a text document: words, display lines at a line width, paragraphs and
 * characters (spaces, tabs and line feeds not counted), as QJStringCounting counts them.
 *
 * The totals are kept up to date while the document changes without counting it again: before a
 * change is applied to a copy of the text, the paragraphs it touches are counted out with a
 * multiplier of -1, and afterwards the same paragraphs are counted in again. Each paragraph adds
 * up on its own (no word or paragraph spans a line feed), so the running totals always equal a
 * count of the whole text. A keystroke in a 1 MB document costs a scan of its paragraph and one
 * move of the copy.
 *
 * The copy is the document's plain text as QTextDocument::toPlainText() gives it, and text()
 * offers it to other readers (the find bar searches it).
 */
class DocumentStatistics : public QObject
{
    Q_OBJECT

public:
    explicit DocumentStatistics(QTextDocument *document, QObject *parent = nullptr);

    /** @return the statistics of the whole text. */
    TextCounts totals() const { return m_totals; }
    /** @return the statistics of @p range of the text (a selection); out-of-range parts are dropped. */
    TextCounts countRange(QJRange range) const;

    /** Sets the display-line width in characters (0 means 30) and counts the text again. */
    void setLineWidth(quint32 width);
    quint32 lineWidth() const { return m_lineWidth; }

    /** @return the document's plain text, kept in step with every change. */
    const QString &text() const { return m_text; }

    /** Takes the whole text from the document again and counts it from scratch. */
    void recount();

    /** @return the statistics of @p range of @p text at @p lineWidth, counted in one pass. */
    static TextCounts count(QStringView text, QJRange range, quint32 lineWidth);

Q_SIGNALS:
    /** The totals (or the text) changed. */
    void changed();

private:
    void contentsChange(int position, int removed, int added);
    void addParagraphs(QJRange range, qint32 multiplier);
    QJRange paragraphsAround(qsizetype position, qsizetype length) const;
    QString documentText(int position, int length) const;

    QPointer<QTextDocument> m_document;
    QString m_text;
    TextCounts m_totals;
    quint32 m_lineWidth = 0;
};
