// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QStringView>

#include <iterator>
#include <thread>
#include <utility>
#include <vector>

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
 * ':' to '@', which sort between the digit characters as text). The standard algorithms that need
 * a strict weak ordering (std::sort, std::stable_sort, std::partial_sort, std::nth_element, the
 * sorted containers) are safe with them only on such strings: on others they may read outside the
 * range. stableSort() below is safe on any strings; std::lower_bound and std::upper_bound on its
 * results, std::min_element and std::max_element never leave their range.
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
 * answers "orders first", for stableSort() (see above for the standard algorithms).
 *
 * @code
 * NaturalStringComparison::stableSort(names.begin(), names.end(), NaturalStringComparison::NaturalOrder());
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

namespace detail
{
template<typename T, typename Less>
void insertionSort(T *a, std::size_t n, Less &less)
{
    for (std::size_t i = 1; i < n; ++i) {
        T x = std::move(a[i]);
        std::size_t j = i;
        for (; j > 0 && less(x, a[j - 1]); --j)
            a[j] = std::move(a[j - 1]);
        a[j] = std::move(x);
    }
}

// Merges the sorted runs [a, a + mid) and [a + mid, a + n) through buf; equal elements keep the
// left run first. Every index is bounded by the run lengths, never by what less() answers.
template<typename T, typename Less>
void merge(T *a, T *buf, std::size_t mid, std::size_t n, Less &less)
{
    if (!less(a[mid], a[mid - 1]))
        return; // already in order
    std::size_t i = 0, j = mid, k = 0;
    while (i < mid && j < n)
        buf[k++] = less(a[j], a[i]) ? std::move(a[j++]) : std::move(a[i++]);
    while (i < mid)
        buf[k++] = std::move(a[i++]);
    // What is left of the right run is already in place.
    for (std::size_t t = 0; t < k; ++t)
        a[t] = std::move(buf[t]);
}

template<typename T, typename Less>
void mergeSort(T *a, T *buf, std::size_t n, Less &less)
{
    if (n <= 24) {
        insertionSort(a, n, less);
        return;
    }
    const std::size_t mid = n / 2;
    mergeSort(a, buf, mid, less);
    mergeSort(a + mid, buf + mid, n - mid, less);
    merge(a, buf, mid, n, less);
}
} // namespace detail

/**
 * Sorts the contiguous range [@p first, @p last) stably by @p less, staying inside the range
 * whatever @p less answers, so it is safe with the orderings above on any strings. Ranges of 65536
 * elements and more are split in two halves sorted on two threads: @p less is then called from
 * both at once (the orderings above allow that).
 *
 * @code
 * NaturalStringComparison::stableSort(names.begin(), names.end(), NaturalStringComparison::NaturalOrder());
 * @endcode
 */
template<typename ContiguousIt, typename Less>
void stableSort(ContiguousIt first, ContiguousIt last, Less less)
{
    using T = typename std::iterator_traits<ContiguousIt>::value_type;
    const std::size_t n = std::size_t(last - first);
    if (n < 2)
        return;
    T *a = &*first;
    std::vector<T> buffer(n);
    if (n < 65536 || std::thread::hardware_concurrency() < 2) {
        detail::mergeSort(a, buffer.data(), n, less);
        return;
    }
    const std::size_t mid = n / 2;
    Less otherLess = less;
    std::thread left([&] { detail::mergeSort(a, buffer.data(), mid, otherLess); });
    detail::mergeSort(a + mid, buffer.data() + mid, n - mid, less);
    left.join();
    detail::merge(a, buffer.data(), mid, n, less);
}
} // namespace NaturalStringComparison
