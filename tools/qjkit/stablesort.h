// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// A stable merge sort that stays inside its range whatever the comparator answers. The natural
// orderings are deliberately not strict weak orderings on every input (case-only differences end a
// comparison early), and the standard sorts promise nothing for such comparators.

#include <cstddef>
#include <thread>
#include <utility>
#include <vector>

namespace Cli
{
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

// Merges the sorted runs [a, a + mid) and [a + mid, a + n) through buf; equal elements keep the left
// run first.
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
 * Sorts @p items stably by @p less. Large inputs are split in two halves sorted on two threads;
 * @p less must then be callable from both at once.
 */
template<typename T, typename Less>
void stableSort(std::vector<T> &items, Less less)
{
    const std::size_t n = items.size();
    if (n < 2)
        return;
    std::vector<T> buffer(n);
    if (n < 65536 || std::thread::hardware_concurrency() < 2) {
        detail::mergeSort(items.data(), buffer.data(), n, less);
        return;
    }
    const std::size_t mid = n / 2;
    Less otherLess = less;
    std::thread left([&] { detail::mergeSort(items.data(), buffer.data(), mid, otherLess); });
    detail::mergeSort(items.data() + mid, buffer.data() + mid, n - mid, less);
    left.join();
    detail::merge(items.data(), buffer.data(), mid, n, less);
}
} // namespace Cli
