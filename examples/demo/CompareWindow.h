// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "DocumentComparison.h"

#include <QPointer>
#include <QWidget>

class QLabel;
class QTextBrowser;

/**
 * "Compare with Saved Version": the word differences between the file on disk and the text in
 * the editor, marked up (deleted words struck through in red, added ones in green, changed ones as
 * the old words followed by the new), with the match value of the two texts.
 *
 * The comparison runs on Qt's thread pool, so a long document does not stop the editor; the window
 * never waits for it, and a result that a newer comparison has overtaken is dropped.
 */
class CompareWindow : public QWidget
{
    Q_OBJECT

public:
    explicit CompareWindow(QWidget *parent = nullptr);
    ~CompareWindow() override;

    /** Compares @p current with the file @p path (read as UTF-8) and shows the result when it is ready. */
    void compare(const QString &path, const QString &current);
    /** @return whether a comparison is running. */
    bool isComparing() const { return m_pending > 0; }
    /** @return the comparison shown. */
    DocumentComparison result() const { return m_result; }

Q_SIGNALS:
    /** A comparison has been shown. */
    void compared();
    /** The user asked to compare again (the editor's text may have changed). */
    void refreshRequested();

private:
    void showResult(const DocumentComparison &result);

    QLabel *m_heading;
    QLabel *m_details;
    QLabel *m_matchLabel;
    QTextBrowser *m_view;
    int m_pending = 0; // comparisons started and not yet ended
    DocumentComparison m_result;
    QString m_saved;
    quint64 m_generation = 0;
};
