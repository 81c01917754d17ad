// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitwidgets_export.h"

#include <QByteArray>
#include <QLabel>
#include <QPixmap>
#include <QPointer>

/**
 * An image view of the about box that acts on a click like QJAboutBackgroundView: a left-button
 * press followed by its release, wherever that happens, sends the action to the target once.
 *
 * The image is scaled down proportionally to fit the view and centred. Until an image is set the
 * view can show text like any QLabel.
 */
class QJKITWIDGETS_EXPORT QJAboutImageView : public QLabel
{
    Q_OBJECT
public:
    /** Makes an empty image view. */
    explicit QJAboutImageView(QWidget *parent = nullptr);
    ~QJAboutImageView() override;

    /** Shows @p image, scaled down to fit; a null pixmap clears the view. */
    void setImage(const QPixmap &image);
    /** @return the image as it was given, or a null pixmap. */
    QPixmap image() const { return _image; }

    /** Sets the name of the method a click invokes on the target (see QJAboutBackgroundView::setAction()). */
    void setAction(const QByteArray &action) { _action = action; }
    /** @return the action's method name. */
    QByteArray action() const { return _action; }
    /** Sets the object that receives the action; it is not owned. */
    void setTarget(QObject *target) { _target = target; }
    /** @return the target, or nullptr. */
    QObject *target() const { return _target; }

protected:
    /** Starts tracking a left-button click. */
    void mousePressEvent(QMouseEvent *event) override;
    /** Ends a tracked click and sends the action to the target. */
    void mouseReleaseEvent(QMouseEvent *event) override;
    /** Forgets a click in progress. */
    void hideEvent(QHideEvent *event) override;
    /** Scales the image again for the new size. */
    void resizeEvent(QResizeEvent *event) override;

private:
    void updateScaledImage();

    QPixmap _image;
    QByteArray _action;
    QPointer<QObject> _target;
    bool _tracking = false;
};
