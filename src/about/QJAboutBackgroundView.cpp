// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJAboutBackgroundView.h"
#include "QJBundle.h"
#include "qjaboutaction_p.h"

#include <QImage>
#include <QMouseEvent>
#include <QPainter>

using namespace Qt::StringLiterals;

QJAboutBackgroundView::QJAboutBackgroundView(QWidget *parent) : QWidget(parent) { }

QJAboutBackgroundView::~QJAboutBackgroundView() = default;

void QJAboutBackgroundView::setAction(const QByteArray &action)
{
    _action = action;
}

void QJAboutBackgroundView::setTarget(QObject *target)
{
    _target = target;
}

void QJAboutBackgroundView::paintEvent(QPaintEvent *)
{
    // Read afresh on every paint, so a host that replaces the resources sees its own pictures.
    const QJBundle bundle = QJBundle::frameworkBundle();
    const QImage left(bundle.pathForImageResource(u"leftBack"_s));
    const QImage right(bundle.pathForImageResource(u"rightBack"_s));

    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (!left.isNull())
        painter.drawImage(QPointF(0, 0), left);
    if (!right.isNull())
        painter.drawImage(QPointF(left.isNull() ? 0 : left.deviceIndependentSize().width(), 0), right);
}

void QJAboutBackgroundView::mousePressEvent(QMouseEvent *event)
{
    if (!QJAboutAction::trackPress(event, &_tracking))
        QWidget::mousePressEvent(event);
}

void QJAboutBackgroundView::mouseReleaseEvent(QMouseEvent *event)
{
    if (!QJAboutAction::trackRelease(event, &_tracking, _target, _action, this))
        QWidget::mouseReleaseEvent(event);
}

void QJAboutBackgroundView::hideEvent(QHideEvent *event)
{
    _tracking = false;
    QWidget::hideEvent(event);
}
