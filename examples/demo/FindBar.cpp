// SPDX-License-Identifier: LGPL-2.1-or-later
#include "FindBar.h"

#include "DocumentStatistics.h"
#include "NSStringTextFinding.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>

using namespace Qt::StringLiterals;

FindBar::FindBar(QPlainTextEdit *editor, const DocumentStatistics *statistics, QWidget *parent)
    : QWidget(parent), m_editor(editor), m_statistics(statistics)
{
    setObjectName(u"findBar"_s);
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 5, 8, 5);
    layout->setSpacing(6);

    auto *label = new QLabel(tr("Find:"));
    m_field = new QLineEdit;
    m_field->setObjectName(u"findField"_s);
    m_field->setClearButtonEnabled(true);
    m_field->setPlaceholderText(tr("Text to find"));
    m_field->setMinimumWidth(220);
    label->setBuddy(m_field);

    auto *previous = new QPushButton(tr("Previous"));
    previous->setObjectName(u"findPrevious"_s);
    auto *next = new QPushButton(tr("Next"));
    next->setObjectName(u"findNext"_s);
    for (QPushButton *button : {previous, next}) {
        button->setAutoDefault(false);
        button->setFocusPolicy(Qt::TabFocus);
    }

    m_matchCase = new QCheckBox(tr("Match case"));
    m_matchCase->setObjectName(u"matchCase"_s);
    m_wrap = new QCheckBox(tr("Wrap around"));
    m_wrap->setObjectName(u"wrapAround"_s);
    m_wrap->setChecked(true);

    m_message = new QLabel;
    m_message->setObjectName(u"findMessage"_s);
    m_message->setMinimumWidth(180);

    auto *close = new QToolButton;
    close->setObjectName(u"findClose"_s);
    close->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
    close->setAutoRaise(true);
    close->setToolTip(tr("Close the find bar (Esc)"));

    layout->addWidget(label);
    layout->addWidget(m_field, 1);
    layout->addWidget(previous);
    layout->addWidget(next);
    layout->addSpacing(6);
    layout->addWidget(m_matchCase);
    layout->addWidget(m_wrap);
    layout->addWidget(m_message);
    layout->addStretch();
    layout->addWidget(close);

    connect(m_field, &QLineEdit::returnPressed, this,
        [this] { find(QApplication::keyboardModifiers().testFlag(Qt::ShiftModifier)); });
    connect(m_field, &QLineEdit::textEdited, this, [this] { showMessage(QString(), false); });
    connect(next, &QPushButton::clicked, this, [this] { find(false); });
    connect(previous, &QPushButton::clicked, this, [this] { find(true); });
    connect(close, &QToolButton::clicked, this, [this] {
        hide();
        m_editor->setFocus();
    });
}

void FindBar::activate()
{
    // A word selected in the editor is what the user most likely wants to find.
    const QString selected = m_editor->textCursor().selectedText();
    if (!selected.isEmpty() && !selected.contains(QChar::ParagraphSeparator))
        m_field->setText(selected);
    show();
    m_field->setFocus();
    m_field->selectAll();
}

void FindBar::setFindText(const QString &text)
{
    m_field->setText(text);
    showMessage(QString(), false);
}

QString FindBar::findText() const
{
    return m_field->text();
}

QString FindBar::message() const
{
    return m_message->text();
}

bool FindBar::find(bool backwards)
{
    const QString needle = m_field->text();
    if (needle.isEmpty())
        return false;
    const QTextCursor cursor = m_editor->textCursor();
    const QJRange selection {
        quint32(cursor.selectionStart()), quint32(cursor.selectionEnd() - cursor.selectionStart())};
    quint32 options = 0;
    if (!m_matchCase->isChecked())
        options |= NSStringTextFinding::CaseInsensitiveSearch;
    if (backwards)
        options |= NSStringTextFinding::BackwardsSearch;
    const QJRange found
        = NSStringTextFinding::findString(m_statistics->text(), needle, selection, options, m_wrap->isChecked());
    if (found == QJNotFoundRange) {
        showMessage(tr("Not found"), true);
        QApplication::beep();
        return false;
    }
    // findString() only searches the other side of the selection after it found nothing on this one.
    const bool wrapped
        = backwards ? found.location >= selection.location + selection.length : found.location < selection.location;
    showMessage(
        wrapped ? (backwards ? tr("Wrapped around to the end") : tr("Wrapped around to the top")) : QString(), false);
    QTextCursor match(m_editor->document());
    match.setPosition(int(found.location));
    match.setPosition(int(found.location + found.length), QTextCursor::KeepAnchor);
    m_editor->setTextCursor(match);
    m_editor->centerCursor();
    return true;
}

void FindBar::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        hide();
        m_editor->setFocus();
        return;
    }
    QWidget::keyPressEvent(event);
}

void FindBar::paintEvent(QPaintEvent *)
{
    // A rule between the text and the bar.
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(0, 0, width(), 0);
}

void FindBar::showMessage(const QString &text, bool failed)
{
    m_message->setText(text);
    QPalette colors = palette();
    if (failed)
        colors.setColor(QPalette::WindowText, QColor(0xb0, 0x1c, 0x2e));
    m_message->setPalette(colors);
    QPalette field = palette();
    if (failed)
        field.setColor(QPalette::Base, QColor(0xfd, 0xe8, 0xea));
    m_field->setPalette(field);
}
