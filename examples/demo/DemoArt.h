// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QIcon>
#include <QPixmap>
#include <QString>

/** The demo's pictures, drawn when asked for, so the demo ships no image files. */
namespace DemoArt
{
/** @return the application icon: a page of text with a paragraph mark, at several sizes. */
QIcon applicationIcon();
/** @return the icon drawn at @p size device-independent pixels and @p ratio. */
QPixmap iconPixmap(int size, qreal ratio = 1.0);
/** @return the application's name set in white, for the about box. */
QPixmap nameImage(const QString &name, QSize size, qreal ratio = 1.0);
/** @return the start-up picture with name, version and a band at the bottom for the status text. */
QPixmap splashPixmap(const QString &name, const QString &version, qreal ratio = 1.0);
/** The colour the splash shows its status text in. */
QColor splashTextColor();
} // namespace DemoArt
