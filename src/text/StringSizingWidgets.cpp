// SPDX-License-Identifier: LGPL-2.1-or-later
#include "StringSizingWidgets.h"

#include <QFontDatabase>
#include <QFontMetricsF>

namespace StringSizing
{
QFont smallSystemFont()
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPixelSize(11);
    return font;
}

float widthOfString(QStringView text, const QFont &font)
{
    return float(QFontMetricsF(font).horizontalAdvance(text.toString()));
}

QString shortenedStringWithSize(const QString &receiver, float maxWidth)
{
    const QFontMetricsF metrics(smallSystemFont());
    return shortenedStringWithSize(
        receiver, maxWidth, [&metrics](QStringView text) { return float(metrics.horizontalAdvance(text.toString())); });
}

QString stringAdjustedToSize(const QString &receiver, QSizeF size, const QFont &font)
{
    const QFontMetricsF metrics(font);
    return stringAdjustedToSize(
        receiver, size, [&metrics](QStringView text) { return float(metrics.horizontalAdvance(text.toString())); });
}
} // namespace StringSizing
