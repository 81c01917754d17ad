// SPDX-License-Identifier: LGPL-2.1-or-later
#include "StringSizing.h"

#include "QJBundle.h"

using namespace Qt::StringLiterals;

namespace StringSizing
{
QString ellipsis()
{
    return QJBundle::mainBundle().localizedStringForKey(u"..."_s, QString(), QString());
}

// The two fittings differ at the limit on purpose: the tail must stay strictly below the maximum,
// the head may reach the width exactly.
QString shortenedStringWithSize(const QString &receiver, float maxWidth, const WidthFunction &measure)
{
    if (measure(receiver) <= maxWidth)
        return receiver;
    const QString dots = ellipsis();
    const float dotsWidth = measure(dots);
    const QStringView text(receiver);
    qsizetype k = text.size();
    while (k > 0 && measure(text.sliced(k - 1)) + dotsWidth < maxWidth)
        --k;
    return dots + text.sliced(k);
}

QString stringAdjustedToSize(const QString &receiver, QSizeF size, const WidthFunction &measure)
{
    QString cleaned = receiver.trimmed();
    cleaned.replace(u'\n', u' ');
    const float width = float(size.width());
    if (measure(cleaned) <= width)
        return cleaned;
    const QString dots = ellipsis();
    const float dotsWidth = measure(dots);
    const QStringView text(cleaned);
    qsizetype n = text.size();
    qsizetype cut;
    for (;;) {
        cut = n - 1;
        if (n < 2 || measure(text.first(cut)) + dotsWidth <= width)
            break;
        --n;
    }
    // Only an empty cleaned string that still does not fit (a negative width) gets here with -1.
    return text.first(qMax<qsizetype>(cut, 0)) + dots;
}
} // namespace StringSizing
