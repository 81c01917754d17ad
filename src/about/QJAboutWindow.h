// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitwidgets_export.h"

#include <QByteArray>
#include <QPointer>
#include <QWidget>

class QJAboutBackgroundView;

/**
 * The about box's window: borderless by default, yet it becomes the active window when shown and
 * keeps working while an application-modal dialog runs.
 *
 * Its content is always a QJAboutBackgroundView: setContentView() moves the given view's child
 * widgets into one, keeping their order and geometry. Clicks on the background are forwarded to the
 * target and action set here.
 *
 * The window is not deleted when closed and never makes the application quit. It emits
 * didResignActive() whenever it stops being the active window.
 */
class QJKITWIDGETS_EXPORT QJAboutWindow : public QWidget
{
    Q_OBJECT
public:
    /**
     * Makes a window whose content area is @p contentRect. @p styleMask adds window decorations
     * (e.g. Qt::WindowTitleHint); none, the default, makes a borderless window.
     */
    explicit QJAboutWindow(const QRect &contentRect, Qt::WindowFlags styleMask = {}, QWidget *parent = nullptr);
    ~QJAboutWindow() override;

    /** @return true: the window takes activation although it has no frame. */
    virtual bool canBecomeKeyWindow() const { return true; }
    /**
     * @return true: the window takes clicks and activation while a modal dialog runs, because it is
     * shown as a transient of the dialog that is modal at that moment.
     */
    virtual bool worksWhenModal() const { return true; }

    /** Sets the object that a click on the background is sent to (forwarded to the background view). */
    void setTarget(QObject *target);
    /** Sets the method a click on the background invokes on the target (forwarded to the background view). */
    void setAction(const QByteArray &action);

    /**
     * Wraps @p view into a new QJAboutBackgroundView of the same size: @p view's child widgets move
     * into it one at a time, always the first, so their order (and stacking) and their geometry are
     * kept. The background view becomes the window's content; @p view is left empty and stays the
     * caller's.
     */
    void setContentView(QWidget *view);
    /** @return the background view installed by setContentView(), or nullptr. */
    QJAboutBackgroundView *contentView() const;

    /** Shows the window as a transient of the modal dialog running now, if any, so it takes input; or hides it. */
    void setVisible(bool visible) override;

Q_SIGNALS:
    /** The window stopped being the active window. */
    void didResignActive();

protected:
    /** Emits didResignActive() when the window is deactivated. */
    bool event(QEvent *event) override;

private:
    QPointer<QJAboutBackgroundView> _backgroundView;
};
