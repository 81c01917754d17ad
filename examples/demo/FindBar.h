// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QToolButton;
class DocumentStatistics;

/**
 * The editor's find bar: finds the next or previous match after the selection with
 * NSStringTextFinding::findString(), wrapping around the document once when asked to, and says when
 * it wrapped or found nothing. It searches the statistics' copy of the text, so a search costs no
 * copy of the document.
 */
class FindBar : public QWidget
{
    Q_OBJECT

public:
    FindBar(QPlainTextEdit *editor, const DocumentStatistics *statistics, QWidget *parent = nullptr);

    /** Shows the bar with its field focused and its text selected. */
    void activate();
    /** Sets the text to find. */
    void setFindText(const QString &text);
    QString findText() const;
    /**
     * Selects the next match (the previous one with @p backwards).
     * @return whether something was found.
     */
    bool find(bool backwards = false);

    /** @return the message shown now ("Not found", "Wrapped around to the top", or nothing). */
    QString message() const;

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void showMessage(const QString &text, bool failed);

    QPlainTextEdit *m_editor;
    const DocumentStatistics *m_statistics;
    QLineEdit *m_field;
    QCheckBox *m_matchCase;
    QCheckBox *m_wrap;
    QLabel *m_message;
};
