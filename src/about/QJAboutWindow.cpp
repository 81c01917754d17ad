// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJAboutWindow.h"
#include "QJAboutBackgroundView.h"

#include <QEvent>
#include <QGuiApplication>
#include <QWindow>

namespace
{
Qt::WindowFlags windowFlagsForMask(Qt::WindowFlags styleMask)
{
    if (!styleMask)
        return Qt::Window | Qt::FramelessWindowHint;
    return Qt::Window | Qt::CustomizeWindowHint | styleMask;
}

QWidget *firstSubview(QWidget *view)
{
    for (QObject *child : view->children()) {
        auto *widget = qobject_cast<QWidget *>(child);
        if (widget && !widget->isWindow())
            return widget;
    }
    return nullptr;
}
} // namespace

QJAboutWindow::QJAboutWindow(const QRect &contentRect, Qt::WindowFlags styleMask, QWidget *parent)
    : QWidget(parent, windowFlagsForMask(styleMask))
{
    setAttribute(Qt::WA_DeleteOnClose, false);
    // An about box is never the window whose closing ends the application.
    setAttribute(Qt::WA_QuitOnClose, false);
    setGeometry(contentRect);
    setFixedSize(contentRect.size());
    // Not deferred: the platform window exists from the start, so it can be made a transient at once.
    create();
}

QJAboutWindow::~QJAboutWindow() = default;

void QJAboutWindow::setTarget(QObject *target)
{
    if (_backgroundView)
        _backgroundView->setTarget(target);
}

void QJAboutWindow::setAction(const QByteArray &action)
{
    if (_backgroundView)
        _backgroundView->setAction(action);
}

void QJAboutWindow::setContentView(QWidget *view)
{
    if (!view)
        return;
    auto *background = new QJAboutBackgroundView(this);
    background->setGeometry(QRect(QPoint(0, 0), view->size()));
    QPointer<QJAboutBackgroundView> previous = _backgroundView;
    if (previous) {
        background->setTarget(previous->target());
        background->setAction(previous->action());
    }
    // Always the first remaining child: each one is appended behind the ones moved before it, so the
    // order, and with it the stacking, stays as it was.
    while (QWidget *subview = firstSubview(view)) {
        const QRect frame = subview->geometry();
        // Children never shown yet also count as hidden, but appear with their parent: only an
        // explicit hide() is carried over.
        const bool hidden = subview->isHidden() && subview->testAttribute(Qt::WA_WState_ExplicitShowHide);
        subview->setParent(background);
        subview->setGeometry(frame);
        subview->setVisible(!hidden);
    }
    _backgroundView = background;
    background->show();
    if (previous && previous != view)
        previous->deleteLater();
}

QJAboutBackgroundView *QJAboutWindow::contentView() const
{
    return _backgroundView;
}

void QJAboutWindow::setVisible(bool visible)
{
    // A window shown while an application-modal dialog runs is blocked from input and activation,
    // unless it is a transient of that dialog. Qt keeps the most recent modal window, so the
    // window follows whichever dialog is modal when it is shown.
    if (visible && windowHandle()) {
        QWindow *modal = worksWhenModal() ? QGuiApplication::modalWindow() : nullptr;
        windowHandle()->setTransientParent(modal != windowHandle() ? modal : nullptr);
    }
    setAttribute(Qt::WA_ShowWithoutActivating, !canBecomeKeyWindow());
    QWidget::setVisible(visible);
}

bool QJAboutWindow::event(QEvent *event)
{
    if (event->type() == QEvent::WindowDeactivate)
        Q_EMIT didResignActive();
    return QWidget::event(event);
}
