// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitwidgets_export.h"

#include <QSizeF>
#include <QTextEdit>
#include <QTimer>

/**
 * The about box's credits: a read-only text view that scrolls its text upwards by itself, forever.
 *
 * It is idle until start(), then pauses (2 s by default) with the first line 50 pixels below the
 * top, then scrolls one pixel per step (every 50 ms by default) until the visible area has reached
 * the bottom of the document, and starts again through the event loop. stop() makes it idle.
 *
 * The text container inset is kept as document margins: its width on the left and right, its height
 * above and below the text. With an inset as high as the view, the text starts below the visible
 * area and scrolls out completely at the top before it restarts.
 */
class QJKITWIDGETS_EXPORT QJAboutTextView : public QTextEdit
{
    Q_OBJECT
    Q_PROPERTY(int fadeHeight READ fadeHeight WRITE setFadeHeight)
public:
    /** What the credits are doing. */
    enum class State {
        Idle, ///< no timer runs
        Pausing, ///< waiting before the scrolling begins
        Scrolling, ///< moving one pixel per step
    };
    Q_ENUM(State)

    /** Makes an idle, read-only credits view with the selection colour of the about box. */
    explicit QJAboutTextView(QWidget *parent = nullptr);
    ~QJAboutTextView() override;

    /** @return the background of selected text: RGB (39, 74, 109). */
    static QColor selectedTextBackgroundColor();

    /**
     * Shows the first line 50 pixels below the top (the visible area's top goes to the inset's
     * height minus 50) and pauses before scrolling. Any running pause or scrolling is replaced.
     */
    Q_INVOKABLE void start();
    /** Cancels the pause, the scrolling and a pending restart: the view becomes idle. */
    Q_INVOKABLE void stop();
    /**
     * Advances the credits: called by the pause timer it begins scrolling, called by anything else
     * (the step timer) it moves one pixel down, or restarts once the end is reached.
     */
    void timer(QTimer *timer);
    /** @return the current state. */
    State state() const;

    /** Sets the inset around the text: @p inset's width left and right, its height above and below. */
    void setTextContainerInset(const QSizeF &inset);
    /** @return the inset around the text. */
    QSizeF textContainerInset() const { return _inset; }
    /**
     * Lays the text out for the view's current size right away, even while the window is hidden,
     * so the scrolling range is known before start().
     */
    void sizeToFit();

    /** Gives every character of the text, and new text, the colour @p color. */
    void setForegroundColor(const QColor &color);
    /** Whether the view paints its background; without it the parent shows through. */
    void setDrawsBackground(bool draws);
    /** @return whether the view paints its background. */
    bool drawsBackground() const;

    /** Lets the text fade in over @p height pixels at the bottom and out at the top; 0 (the default) turns it off. */
    void setFadeHeight(int height);
    /** @return the height of the fading edges. */
    int fadeHeight() const { return _fadeHeight; }

    /** @return the part of the document that is visible, in document coordinates. */
    QRect visibleRect() const;

    /** Sets the pause before scrolling, in milliseconds (2000 by default). */
    void setPauseInterval(int msec);
    /** @return the pause before scrolling, in milliseconds. */
    int pauseInterval() const { return _startTimer.interval(); }
    /** Sets the time between two one-pixel steps, in milliseconds (50 by default). */
    void setStepInterval(int msec);
    /** @return the time between two steps, in milliseconds. */
    int stepInterval() const { return _scrollTimer.interval(); }

protected:
    /** Keeps the credits where they were scrolled to. */
    void showEvent(QShowEvent *event) override;
    /** Adjusts the fading edges and keeps the credits where they were scrolled to. */
    void resizeEvent(QResizeEvent *event) override;

private:
    void applyInset();
    void keepPosition();
    void updateFade();

    // Named with an underscore so they do not hide QObject::startTimer().
    QTimer _startTimer;
    QTimer _scrollTimer;
    bool _restartPending = false;
    int _fadeHeight = 0;
    int _top = 0; // the visible area's top while the credits run
    QSizeF _inset;
};
