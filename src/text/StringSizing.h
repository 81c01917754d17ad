// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QSizeF>
#include <QString>
#include <QStringView>

#include <functional>

/**
 * Fitting a string into a width with an ellipsis, with any way of measuring text.
 *
 * The ellipsis is the main bundle's localized string for the key "..." (default table), looked up
 * on every call, so an untranslated application shows three periods. The result is the one that
 * removing one code unit at a time and measuring again gives, for any measure that grows with the
 * string's length; it is found in O(log k) measures of pieces at most twice the k units kept.
 * StringSizingWidgets.h adds the forms that measure with fonts.
 */
namespace StringSizing
{
/** Answers the width of a piece of text, in points. */
using WidthFunction = std::function<float(QStringView text)>;

/** @return the ellipsis that fitting appends or prepends: the localized string for "...". */
QJKITCORE_EXPORT QString ellipsis();

/**
 * Keeps the end of @p receiver (for paths and file names).
 * @return @p receiver when its width is not greater than @p maxWidth; otherwise the ellipsis
 * followed by the longest tail whose width plus the ellipsis's stays strictly less than
 * @p maxWidth (the ellipsis alone when not even one code unit fits).
 *
 * @code
 * StringSizing::shortenedStringWithSize(u"/home/ada/notes.txt"_s, 14, [](QStringView t) { return float(t.size()); });
 * // ".../notes.txt"
 * @endcode
 */
QJKITCORE_EXPORT QString shortenedStringWithSize(const QString &receiver, float maxWidth, const WidthFunction &measure);

/**
 * Keeps the start of @p receiver (for one-line labels). The string is first cleaned: white space
 * (QChar::isSpace(), line breaks included) is trimmed at both ends and every line feed becomes a
 * space.
 * @return the cleaned string when its width is not greater than @p size's width; otherwise its
 * longest head whose width plus the ellipsis's is not greater than the width, followed by the
 * ellipsis (the ellipsis alone when no head fits). Only the width of @p size is used.
 */
QJKITCORE_EXPORT QString stringAdjustedToSize(const QString &receiver, QSizeF size, const WidthFunction &measure);
} // namespace StringSizing
