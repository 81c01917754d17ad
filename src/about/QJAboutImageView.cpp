// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJAboutImageView.h"
#include "qjaboutaction_p.h"

#include <QMouseEvent>

QJAboutImageView::QJAboutImageView(QWidget *parent) : QLabel(parent)
{
    setAlignment(Qt::AlignCenter);
}

QJAboutImageView::~QJAboutImageView() = default;

void QJAboutImageView::setImage(const QPixmap &image)
{
    _image = image;
    if (_image.isNull())
        clear();
    else
        updateScaledImage();
}

void QJAboutImageView::updateScaledImage()
{
    if (_image.isNull())
        return;
    const QSizeF available = contentsRect().size();
    const QSizeF size = _image.deviceIndependentSize();
    // Only ever scaled down, proportionally, like the icon and name pictures expect.
    if (size.width() <= available.width() && size.height() <= available.height()) {
        setPixmap(_image);
        return;
    }
    const qreal ratio = devicePixelRatioF();
    QPixmap shown = _image.scaled((size.scaled(available, Qt::KeepAspectRatio) * ratio).toSize(), Qt::IgnoreAspectRatio,
        Qt::SmoothTransformation);
    shown.setDevicePixelRatio(ratio);
    setPixmap(shown);
}

void QJAboutImageView::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    updateScaledImage();
}

void QJAboutImageView::mousePressEvent(QMouseEvent *event)
{
    if (!QJAboutAction::trackPress(event, &_tracking))
        QLabel::mousePressEvent(event);
}

void QJAboutImageView::mouseReleaseEvent(QMouseEvent *event)
{
    if (!QJAboutAction::trackRelease(event, &_tracking, _target, _action, this))
        QLabel::mouseReleaseEvent(event);
}

void QJAboutImageView::hideEvent(QHideEvent *event)
{
    _tracking = false;
    QLabel::hideEvent(event);
}
