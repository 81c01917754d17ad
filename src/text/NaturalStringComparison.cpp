// SPDX-License-Identifier: LGPL-2.1-or-later
#include "NaturalStringComparison.h"

#include <stdexcept>
#include <string>

namespace NaturalStringComparison
{
namespace
{
// The ASCII letter fold: 'a'-'z' become capitals; applied to code units and, deliberately, to the
// remaining lengths when one string runs out.
template<typename T>
constexpr T foldLetter(T c) noexcept
{
    return (c >= 0x61 && c <= 0x7A) ? T(c - 32) : c;
}

struct Decimal
{
    static constexpr bool isDigit(char16_t c) noexcept { return quint16(c - u'0') <= 9; }
    static constexpr quint64 value(char16_t c) noexcept { return quint64(c - u'0'); }
    static constexpr quint64 base = 10;
};

struct Hexadecimal
{
    static constexpr bool isDigit(char16_t c) noexcept
    {
        return quint16(c - u'0') <= 9 || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
    }
    static constexpr quint64 value(char16_t c) noexcept
    {
        if (c <= u'9')
            return quint64(c - 48);
        return c >= u'a' ? quint64(c - 87) : quint64(c - 55);
    }
    static constexpr quint64 base = 16;
};

// One comparison: segments of equal text end at the first difference or digit; equal digit runs
// (by value, so "007" equals "7") are skipped together and the next segment starts after them.
// The values wrap modulo 2^64 on purpose.
template<typename Digits, typename AccessA, typename AccessB>
int compareSegments(qsizetype lenA, qsizetype lenB, qsizetype pA, qsizetype pB, AccessA a, AccessB b) noexcept
{
    for (;;) {
        const qsizetype remA = lenA - pA;
        const qsizetype remB = lenB - pB;
        const qsizetype n = remA < remB ? remA : remB;
        qsizetype i = 0;
        char16_t ca = 0;
        char16_t cb = 0;
        for (; i < n; ++i) {
            ca = a(pA + i);
            cb = b(pB + i);
            if (ca != cb || Digits::isDigit(ca))
                break;
        }
        if (i == n) {
            const qsizetype fa = foldLetter(remA);
            const qsizetype fb = foldLetter(remB);
            return fa == fb ? 0 : (fa < fb ? -1 : 1);
        }
        if (!Digits::isDigit(ca) || !Digits::isDigit(cb)) {
            const char16_t fa = foldLetter(ca);
            const char16_t fb = foldLetter(cb);
            return fa == fb ? 0 : (fa < fb ? -1 : 1);
        }
        quint64 va = Digits::value(ca);
        qsizetype ka = 1;
        for (char16_t c; i + ka < remA && Digits::isDigit(c = a(pA + i + ka)); ++ka)
            va = va * Digits::base + Digits::value(c);
        quint64 vb = Digits::value(cb);
        qsizetype kb = 1;
        for (char16_t c; i + kb < remB && Digits::isDigit(c = b(pB + i + kb)); ++kb)
            vb = vb * Digits::base + Digits::value(c);
        if (va != vb)
            return va > vb ? 1 : -1;
        pA += i + ka;
        pB += i + kb;
    }
}

template<typename Digits>
int compareThrough(QStringView a, QStringView b, quint32 posA, quint32 posB, CharacterAccess accessA,
    CharacterAccess accessB, const char *function)
{
    if (posA > quint64(a.size()) || posB > quint64(b.size()))
        throw std::out_of_range(std::string(function) + ": position " + std::to_string(posA) + " or "
            + std::to_string(posB) + " lies past the end of its string (lengths " + std::to_string(a.size()) + " and "
            + std::to_string(b.size()) + ")");
    if (!accessA)
        accessA = characterAtIndex;
    if (!accessB)
        accessB = characterAtIndex;
    return compareSegments<Digits>(
        a.size(), b.size(), posA, posB, [=](qsizetype i) { return accessA(a, quint32(i)); },
        [=](qsizetype i) { return accessB(b, quint32(i)); });
}

template<typename Digits>
int compareDirect(QStringView a, QStringView b) noexcept
{
    if (a.utf16() == b.utf16() && a.size() == b.size())
        return 0;
    const char16_t *sa = a.utf16();
    const char16_t *sb = b.utf16();
    return compareSegments<Digits>(
        a.size(), b.size(), 0, 0, [sa](qsizetype i) { return sa[i]; }, [sb](qsizetype i) { return sb[i]; });
}
} // namespace

char16_t characterAtIndex(QStringView string, quint32 index) noexcept
{
    return string.utf16()[index];
}

int compareNumerically(
    QStringView a, QStringView b, quint32 posA, quint32 posB, CharacterAccess accessA, CharacterAccess accessB)
{
    return compareThrough<Decimal>(a, b, posA, posB, accessA, accessB, "compareNumerically");
}

int compareHexaNumerically(
    QStringView a, QStringView b, quint32 posA, quint32 posB, CharacterAccess accessA, CharacterAccess accessB)
{
    return compareThrough<Hexadecimal>(a, b, posA, posB, accessA, accessB, "compareHexaNumerically");
}

int naturalCompare(QStringView receiver, QStringView other) noexcept
{
    return compareDirect<Decimal>(receiver, other);
}

int hexanumericalCompare(QStringView receiver, QStringView other) noexcept
{
    return compareDirect<Hexadecimal>(receiver, other);
}
} // namespace NaturalStringComparison
