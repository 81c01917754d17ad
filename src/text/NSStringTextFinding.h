// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJGlobal.h"
#include "qjkitcore_export.h"

#include <QStringView>

/**
 * Find-next with wrap-around, and the range search it is built on.
 *
 * Options are bits with the platform's values:
 * - CaseInsensitiveSearch (1): letters match whatever their case (Unicode case folding).
 * - LiteralSearch (2): code units must match exactly. Without it, canonically equivalent text
 *   matches ("é" as one code point or as "e" + combining acute), and a match only begins and ends
 *   on whole characters (grapheme clusters).
 * - BackwardsSearch (4): the last match in the range instead of the first.
 * - AnchoredSearch (8): the match must begin at the range's start (at its end when backwards).
 * - RegularExpressionSearch (1024): the needle is a QRegularExpression pattern, matched inside the
 *   range as if the range were the whole text; only CaseInsensitiveSearch and AnchoredSearch apply
 *   to it, and an invalid pattern finds nothing.
 *
 * Every other bit (numeric, diacritic-insensitive, width-insensitive, forced-ordering, ...) is
 * ignored.
 */
namespace NSStringTextFinding
{
/** The search option bits. */
enum SearchOption : quint32 {
    CaseInsensitiveSearch = 1,
    LiteralSearch = 2,
    BackwardsSearch = 4,
    AnchoredSearch = 8,
    RegularExpressionSearch = 1024,
};

/**
 * @return the range of the first (or, with BackwardsSearch, the last) match of @p string inside
 * @p range of @p receiver, or QJNotFoundRange. An empty needle finds nothing.
 * @throws std::out_of_range when @p range does not lie inside @p receiver.
 */
QJKITCORE_EXPORT QJRange rangeOfString(QStringView receiver, QStringView string, quint32 options, QJRange range);

/**
 * Finds the next match of @p string after the selection @p selectedRange (before it, with
 * BackwardsSearch), and, when nothing is found there and @p wrap is set, once more in the other part
 * of the text. The selection itself is never searched. @p options pass through to rangeOfString().
 * @return the range found, or QJNotFoundRange.
 * @throws std::out_of_range when @p selectedRange does not lie inside @p receiver.
 *
 * @code
 * // "a" after the selection (2, 1) of "a-a-a", wrapping: (4, 1)
 * NSStringTextFinding::findString(u"a-a-a", u"a", {2, 1}, 0, true);
 * @endcode
 */
QJKITCORE_EXPORT QJRange findString(
    QStringView receiver, QStringView string, QJRange selectedRange, quint32 options, bool wrap);
} // namespace NSStringTextFinding
