// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJGlobal.h"
#include "qjkitcore_export.h"

#include <QByteArrayView>
#include <QStringView>

#include <memory>

/**
 * Statistics of a range of text: paragraphs, display lines, characters and words.
 *
 * Whitespace here is exactly space, tab and line feed; every other code unit (carriage return and
 * no-break space included) is a word character, and only line feeds end paragraphs.
 */
namespace QJStringCounting
{
/**
 * Counts the range @p range of @p string in one pass and adds the counts, each multiplied by
 * @p multiplyWith, to the four counters. Counters are never reset, so several ranges can be totalled,
 * and a range is taken out again with @p multiplyWith = -1. Sums wrap in 32 bits.
 *
 * - @p wholeWords widens the range to whole words first (the unit just after the range is never
 *   examined, and the widening forward stops before the string's last unit).
 * - @p wholeLines measures each paragraph over its whole line of the string, see lineRangeForRange().
 * - @p lineWidth is the width of a display line in code units (0 means 30); a paragraph of n units
 *   fills ceil(n / width) display lines.
 * - @p countEmptyLines counts empty lines as paragraphs and display lines.
 * - @p countSpaces counts spaces, tabs and line feeds as characters too.
 *
 * Allocates nothing and keeps no state.
 *
 * @throws std::out_of_range when @p range does not lie inside @p string (nothing is counted then).
 * @throws std::invalid_argument when a counter pointer is null.
 *
 * @code
 * qint32 paragraphs = 0, lines = 0, chars = 0, words = 0;
 * QJStringCounting::countForRange(u"one two", {0, 7}, false, false, &paragraphs, &lines, &chars, &words,
 *                                 0, false, false, 1); // 1, 1, 6, 2
 * @endcode
 */
QJKITCORE_EXPORT void countForRange(QStringView string, QJRange range, bool wholeWords, bool wholeLines,
    qint32 *paragraphs, qint32 *lines, qint32 *chars, qint32 *words, quint32 lineWidth, bool countEmptyLines,
    bool countSpaces, qint32 multiplyWith);

/**
 * @return the range of the whole line or lines that contain @p range, each with its terminator:
 * from the start of the line holding range.location to the end of the line holding the range's last
 * code unit (or range.location itself when the range is empty).
 *
 * Lines end at line feed, carriage return, carriage return + line feed (one terminator), U+0085,
 * U+2028 and U+2029. An empty range at the end of a string that ends in a terminator answers an empty
 * range there.
 *
 * @throws std::out_of_range when @p range does not lie inside @p string.
 */
QJKITCORE_EXPORT QJRange lineRangeForRange(QStringView string, QJRange range);

class Utf8CounterPrivate;

/**
 * Counts a whole UTF-8 text given in pieces exactly as countForRange() counts all of it once
 * decoded (a leading byte-order mark skipped; widths and counts in UTF-16 code units), without
 * ever holding it: memory stays the same however long the text.
 */
class QJKITCORE_EXPORT Utf8Counter
{
public:
    /** A counter with countForRange()'s options. */
    Utf8Counter(bool wholeLines, quint32 lineWidth, bool countEmptyLines, bool countSpaces);
    ~Utf8Counter();
    Utf8Counter(const Utf8Counter &) = delete;
    Utf8Counter &operator=(const Utf8Counter &) = delete;

    /** Counts the next piece (a character may continue into the next one). @return false once the text is not valid
     * UTF-8. */
    bool add(QByteArrayView piece);
    /** @return the UTF-16 code units counted so far. */
    quint64 length() const;
    /**
     * Ends the text and adds the counts, each multiplied by @p multiplyWith, to the counters as
     * countForRange() does. @return false (counting nothing) when the text is not valid UTF-8.
     */
    bool finish(qint32 *paragraphs, qint32 *lines, qint32 *chars, qint32 *words, qint32 multiplyWith);

private:
    std::unique_ptr<Utf8CounterPrivate> d;
};
} // namespace QJStringCounting
