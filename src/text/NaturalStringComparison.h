// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QStringView>

/**
 * Orderings in which runs of digits compare by their numeric value, so that "file9" sorts before
 * "file10": the natural ordering (decimal digits) and the hexanumerical ordering (hexadecimal
 * digits, so that the version "1.2.a" reads as 1, 2, 10).
 *
 * Code units are compared as they are: no normalisation, no locale. Results are -1 (the first
 * string orders first), 0 and 1. Some behaviour is deliberate and relied upon by stored orderings:
 *
 * - Two code units that differ only in ASCII case end the comparison with 0, whatever follows:
 *   "abc1" and "ABC2" compare equal.
 * - When one string is a prefix of the other, the remaining lengths are compared after the same
 *   fold as letters: a remainder of 97 to 122 units counts as 32 less.
 * - Digit runs are read into 64 bits without an overflow check, so very long runs wrap.
 *
 * Because of the first two, the orderings are strict weak orderings only on strings without
 * case-only differences and shorter than 97 code units (and, for the hexanumerical one, without
 * ':' to '@', which sort between the digit characters as text); sort with a stable sort that
 * tolerates an inconsistent comparator when the input may contain such strings.
 */
namespace NaturalStringComparison
{
/** Reads the code unit of @p string at @p index (looked up once per comparison, then called directly). */
using CharacterAccess = char16_t (*)(QStringView string, quint32 index);

/** The plain character access: indexes the string's UTF-16 buffer. */
QJKITCORE_EXPORT char16_t characterAtIndex(QStringView string, quint32 index) noexcept;

/**
 * Compares @p a from @p posA with @p b from @p posB in the natural ordering, reading code units
 * through @p accessA and @p accessB.
 * @return -1, 0 or 1.
 * @throws std::out_of_range when a position lies past its string's end.
 */
QJKITCORE_EXPORT int compareNumerically(QStringView a, QStringView b, quint32 posA, quint32 posB,
    CharacterAccess accessA = characterAtIndex, CharacterAccess accessB = characterAtIndex);

/**
 * Compares like compareNumerically(), with hexadecimal digits: '0'-'9', 'a'-'f' and 'A'-'F' are
 * digits, so letters a-f inside words are read as numbers ("face" < "fade").
 * @return -1, 0 or 1.
 * @throws std::out_of_range when a position lies past its string's end.
 */
QJKITCORE_EXPORT int compareHexaNumerically(QStringView a, QStringView b, quint32 posA, quint32 posB,
    CharacterAccess accessA = characterAtIndex, CharacterAccess accessB = characterAtIndex);

/**
 * @return the natural ordering of @p receiver against @p other: -1, 0 or 1; 0 at once when both
 * are the very same characters in memory.
 *
 * @code
 * NaturalStringComparison::naturalCompare(u"file9", u"file10"); // -1
 * @endcode
 */
QJKITCORE_EXPORT int naturalCompare(QStringView receiver, QStringView other) noexcept;

/**
 * @return the hexanumerical ordering of @p receiver against @p other: -1, 0 or 1.
 *
 * @code
 * NaturalStringComparison::hexanumericalCompare(u"1.2.a", u"1.2.9"); // 1
 * @endcode
 */
QJKITCORE_EXPORT int hexanumericalCompare(QStringView receiver, QStringView other) noexcept;

/**
 * The natural ordering as a comparator object: compare() answers -1, 0 or 1, and the call operator
 * answers "orders first", for std::sort, std::stable_sort or sorting a QStringList.
 *
 * @code
 * std::stable_sort(names.begin(), names.end(), NaturalStringComparison::NaturalOrder());
 * @endcode
 */
struct NaturalOrder
{
    /** @return naturalCompare(@p a, @p b): -1, 0 or 1. */
    int compare(QStringView a, QStringView b) const noexcept { return naturalCompare(a, b); }
    /** @return whether @p a orders before @p b. */
    bool operator()(QStringView a, QStringView b) const noexcept { return naturalCompare(a, b) < 0; }
};

/** The hexanumerical ordering as a comparator object, like NaturalOrder. */
struct HexanumericalOrder
{
    /** @return hexanumericalCompare(@p a, @p b): -1, 0 or 1. */
    int compare(QStringView a, QStringView b) const noexcept { return hexanumericalCompare(a, b); }
    /** @return whether @p a orders before @p b. */
    bool operator()(QStringView a, QStringView b) const noexcept { return hexanumericalCompare(a, b) < 0; }
};
} // namespace NaturalStringComparison
