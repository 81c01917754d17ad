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

namespace
{
// The largest length in [0, limit] for which fits() holds, for a fits() that holds up to some
// length and not beyond, as it does with any measure that grows with the string. Galloping from
// length 1 and then halving costs O(log answer) measures of pieces at most twice the answer's
// length, where taking one code unit away at a time cost one measure per unit removed: fitting a
// long text into a narrow label was quadratic, and now hardly depends on the text's length.
qsizetype longestFitting(qsizetype limit, const std::function<bool(qsizetype)> &fits)
{
    qsizetype good = 0; // fits (the empty piece always counts as fitting)
    qsizetype bad = limit + 1; // does not fit, or lies beyond the limit
    for (qsizetype length = 1; length <= limit; length *= 2) {
        if (!fits(length)) {
            bad = length;
            break;
        }
        good = length;
    }
    while (bad - good > 1) {
        const qsizetype middle = good + (bad - good) / 2;
        (fits(middle) ? good : bad) = middle;
    }
    return good;
}

// Whether the whole of a text of @p size units fits: measured in growing pieces, so that a text far
// too long is found out by its first units instead of by measuring all of it.
bool wholeFits(qsizetype size, const std::function<float(qsizetype)> &widthOf, float maxWidth)
{
    for (qsizetype length = 1; length < size; length *= 2) {
        if (widthOf(length) > maxWidth)
            return false;
    }
    return widthOf(size) <= maxWidth;
}
} // namespace

// The two fittings differ at the limit on purpose: the tail must stay strictly below the maximum,
// the head may reach the width exactly. Both give what taking one code unit away at a time gives.
QString shortenedStringWithSize(const QString &receiver, float maxWidth, const WidthFunction &measure)
{
    const QStringView text(receiver);
    const qsizetype n = text.size();
    const auto tailWidth = [&](qsizetype length) { return measure(text.last(length)); };
    if (wholeFits(n, tailWidth, maxWidth))
        return receiver;
    const QString dots = ellipsis();
    const float dotsWidth = measure(dots);
    const qsizetype kept
        = longestFitting(n, [&](qsizetype length) { return tailWidth(length) + dotsWidth < maxWidth; });
    return dots + text.last(kept);
}

QString stringAdjustedToSize(const QString &receiver, QSizeF size, const WidthFunction &measure)
{
    QString cleaned = receiver.trimmed();
    cleaned.replace(u'\n', u' ');
    const float width = float(size.width());
    const QStringView text(cleaned);
    const qsizetype n = text.size();
    const auto headWidth = [&](qsizetype length) { return measure(text.first(length)); };
    if (wholeFits(n, headWidth, width))
        return cleaned;
    const QString dots = ellipsis();
    const float dotsWidth = measure(dots);
    // A head of at least one unit and shorter than the text, or none.
    const qsizetype kept
        = n < 2 ? 0 : longestFitting(n - 1, [&](qsizetype length) { return headWidth(length) + dotsWidth <= width; });
    return text.first(kept) + dots;
}
} // namespace StringSizing
