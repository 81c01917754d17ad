// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMetaType>
#include <QString>

/** The word differences between a saved text and the current one, ready to show. */
struct DocumentComparison
{
    /** The differences as an HTML fragment (QJDifferenceHtml's markup). */
    QString html;
    /** The share of unchanged words, 0 to 1 (a changed word weighs half); 1 for two empty texts. */
    float matchValue = 1;
    /** How many runs of each kind the comparison found. */
    int changed = 0;
    int deleted = 0;
    int added = 0;
    /** Set when the saved text could not be read; @c html is empty then. */
    QString error;

    /** Compares @p saved with @p current word by word. Runs on any thread. */
    static DocumentComparison compare(const QString &saved, const QString &current);
    /** Reads the UTF-8 file @p path and compares it with @p current. */
    static DocumentComparison compareWithFile(const QString &path, const QString &current);
    /** @return the style sheet that colours QJDifferenceHtml's classes. */
    static QString styleSheet();
};

Q_DECLARE_METATYPE(DocumentComparison)
