// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitwidgets_export.h"

#include <QByteArray>
#include <QPointer>
#include <QWidget>

/**
 * The content view of the about window: draws the library's images "leftBack" and "rightBack" side
 * by side and turns a click anywhere on it into its action.
 *
 * A left-button press arms the view; the next left-button release, wherever it
 * happens (even outside the window), sends the action to the target once, with the view as the
 * argument.
 */
class QJKITWIDGETS_EXPORT QJAboutBackgroundView : public QWidget
{
    Q_OBJECT
public:
    /** Makes an empty background view. */
    explicit QJAboutBackgroundView(QWidget *parent = nullptr);
    ~QJAboutBackgroundView() override;

    /**
     * Sets the name of the method that a click invokes on the target, e.g. "close". A method taking
     * one QObject* (the sender) is preferred over one without arguments. Both must be slots or
     * Q_INVOKABLE.
     */
    void setAction(const QByteArray &action);
    /** @return the action's method name. */
    QByteArray action() const { return _action; }
    /** Sets the object that receives the action; it is not owned. */
    void setTarget(QObject *target);
    /** @return the target, or nullptr. */
    QObject *target() const { return _target; }

protected:
    /** Draws "leftBack" and "rightBack" side by side, read from the framework bundle on every paint. */
    void paintEvent(QPaintEvent *event) override;
    /** Starts tracking a left-button click. */
    void mousePressEvent(QMouseEvent *event) override;
    /** Ends a tracked click and sends the action to the target. */
    void mouseReleaseEvent(QMouseEvent *event) override;
    /** Forgets a click in progress. */
    void hideEvent(QHideEvent *event) override;

private:
    QByteArray _action;
    QPointer<QObject> _target;
    bool _tracking = false;
};
