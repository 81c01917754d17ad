// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJAboutTextView.h"

#include <QCoreApplication>
#include <QGraphicsOpacityEffect>
#include <QLinearGradient>
#include <QResizeEvent>
#include <QScrollBar>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>

namespace
{
// Where the first line sits below the top of the visible area when the credits (re)start.
constexpr qreal FirstLineOffset = 50.0;
} // namespace

QJAboutTextView::QJAboutTextView(QWidget *parent) : QTextEdit(parent)
{
    setReadOnly(true);
    setUndoRedoEnabled(false);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    // Only the background of the selection changes; selected text keeps its own colour.
    QPalette colors = palette();
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        colors.setColor(group, QPalette::Highlight, selectedTextBackgroundColor());
        colors.setColor(group, QPalette::HighlightedText, colors.color(group, QPalette::Text));
    }
    setPalette(colors);

    _startTimer.setSingleShot(true);
    _startTimer.setInterval(2000);
    connect(&_startTimer, &QTimer::timeout, this, [this] { timer(&_startTimer); });
    // Precise, so the steps come evenly and the text moves smoothly.
    _scrollTimer.setTimerType(Qt::PreciseTimer);
    _scrollTimer.setInterval(50);
    connect(&_scrollTimer, &QTimer::timeout, this, [this] { timer(&_scrollTimer); });
}

QJAboutTextView::~QJAboutTextView() = default;

QColor QJAboutTextView::selectedTextBackgroundColor()
{
    return QColor::fromRgb(39, 74, 109);
}

void QJAboutTextView::start()
{
    stop();
    _top = qMax(0, qRound(_inset.height() - FirstLineOffset));
    verticalScrollBar()->setValue(_top);
    // The text cursor goes to the first line, now in sight, so that showing the view, which brings
    // the cursor into sight, does not move the credits.
    moveCursor(QTextCursor::Start);
    verticalScrollBar()->setValue(_top);
    _startTimer.start();
}

void QJAboutTextView::stop()
{
    _startTimer.stop();
    _scrollTimer.stop();
    _restartPending = false;
}

void QJAboutTextView::timer(QTimer *timer)
{
    if (timer == &_startTimer) {
        _startTimer.stop();
        _scrollTimer.start();
        return;
    }
    QScrollBar *bar = verticalScrollBar();
    const int top = _top + 1;
    // The scroll range ends where the visible area's bottom meets the document's bottom.
    if (top >= bar->maximum()) {
        _scrollTimer.stop();
        // Restarted from the event loop, once this timer callback has returned; stop() cancels it.
        _restartPending = true;
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (_restartPending)
                    start();
            },
            Qt::QueuedConnection);
        return;
    }
    _top = top;
    bar->setValue(top);
}

QJAboutTextView::State QJAboutTextView::state() const
{
    if (_scrollTimer.isActive())
        return State::Scrolling;
    if (_startTimer.isActive() || _restartPending)
        return State::Pausing;
    return State::Idle;
}

void QJAboutTextView::setTextContainerInset(const QSizeF &inset)
{
    _inset = inset;
    applyInset();
}

void QJAboutTextView::applyInset()
{
    QTextFrame *root = document()->rootFrame();
    QTextFrameFormat format = root->frameFormat();
    if (format.leftMargin() == _inset.width() && format.rightMargin() == _inset.width()
        && format.topMargin() == _inset.height() && format.bottomMargin() == _inset.height())
        return;
    format.setLeftMargin(_inset.width());
    format.setRightMargin(_inset.width());
    format.setTopMargin(_inset.height());
    format.setBottomMargin(_inset.height());
    root->setFrameFormat(format);
}

void QJAboutTextView::sizeToFit()
{
    // Replacing the text resets the document's margins.
    applyInset();
    // A hidden window delivers its pending resize only when shown; delivering it now lays the
    // viewport and the text out for the current frame and sets the scroll range.
    QResizeEvent resize(size(), size());
    QCoreApplication::sendEvent(this, &resize);
}

void QJAboutTextView::setForegroundColor(const QColor &color)
{
    QPalette colors = palette();
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        colors.setColor(group, QPalette::Text, color);
        colors.setColor(group, QPalette::HighlightedText, color);
    }
    setPalette(colors);
    QTextCharFormat format;
    format.setForeground(color);
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    all.mergeCharFormat(format);
    setTextColor(color);
}

void QJAboutTextView::setDrawsBackground(bool draws)
{
    setAutoFillBackground(draws);
    viewport()->setAutoFillBackground(draws);
}

bool QJAboutTextView::drawsBackground() const
{
    return viewport()->autoFillBackground();
}

void QJAboutTextView::showEvent(QShowEvent *event)
{
    QTextEdit::showEvent(event);
    keepPosition();
}

void QJAboutTextView::resizeEvent(QResizeEvent *event)
{
    QTextEdit::resizeEvent(event);
    updateFade();
    keepPosition();
}

void QJAboutTextView::setFadeHeight(int height)
{
    _fadeHeight = qMax(0, height);
    updateFade();
}

void QJAboutTextView::updateFade()
{
    if (_fadeHeight == 0 || height() == 0) {
        setGraphicsEffect(nullptr);
        return;
    }
    auto *effect = qobject_cast<QGraphicsOpacityEffect *>(graphicsEffect());
    if (!effect) {
        effect = new QGraphicsOpacityEffect(this);
        effect->setOpacity(1.0);
        setGraphicsEffect(effect);
    }
    const qreal edge = qMin(0.5, qreal(_fadeHeight) / height());
    QLinearGradient mask(0, 0, 0, 1);
    mask.setCoordinateMode(QGradient::ObjectBoundingMode);
    mask.setColorAt(0, Qt::transparent);
    mask.setColorAt(edge, Qt::black);
    mask.setColorAt(1 - edge, Qt::black);
    mask.setColorAt(1, Qt::transparent);
    effect->setOpacityMask(mask);
}

void QJAboutTextView::keepPosition()
{
    // Laying the text out again (the first show, a new size) sends the scroll position to the top
    // for a moment; running credits go on from where they were.
    if (state() != State::Idle)
        verticalScrollBar()->setValue(_top);
}

QRect QJAboutTextView::visibleRect() const
{
    return QRect(QPoint(horizontalScrollBar()->value(), verticalScrollBar()->value()), viewport()->size());
}

void QJAboutTextView::setPauseInterval(int msec)
{
    _startTimer.setInterval(qMax(0, msec));
}

void QJAboutTextView::setStepInterval(int msec)
{
    _scrollTimer.setInterval(qMax(0, msec));
}
