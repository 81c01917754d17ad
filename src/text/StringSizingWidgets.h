// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "StringSizing.h"
#include "qjkitwidgets_export.h"

#include <QFont>

/**
 * The font-measuring forms of the StringSizing operations. They measure with QFontMetricsF and so
 * need a QGuiApplication (the offscreen platform will do).
 */
namespace StringSizing
{
/**
 * @return the small system font: the platform's general font (QFontDatabase::GeneralFont) at a
 * pixel size of 11, the small control size of desktop interfaces, so widths come out in
 * device-independent pixels that play the role of points.
 */
QJKITWIDGETS_EXPORT QFont smallSystemFont();

/** @return the width of @p text in @p font, as shortenedStringWithSize() and stringAdjustedToSize() measure it. */
QJKITWIDGETS_EXPORT float widthOfString(QStringView text, const QFont &font);

/**
 * Keeps the end of @p receiver, measured in smallSystemFont(); see the measuring-function form.
 *
 * @code
 * label->setText(StringSizing::shortenedStringWithSize(path, 160));
 * @endcode
 */
QJKITWIDGETS_EXPORT QString shortenedStringWithSize(const QString &receiver, float maxWidth);

/**
 * Keeps the start of @p receiver, measured in @p font (the text attributes); see the
 * measuring-function form.
 */
QJKITWIDGETS_EXPORT QString stringAdjustedToSize(const QString &receiver, QSizeF size, const QFont &font);
} // namespace StringSizing
