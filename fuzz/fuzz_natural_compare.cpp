// SPDX-License-Identifier: LGPL-2.1-or-later
// Both numeric orderings on two arbitrary strings: results are -1, 0 or 1, swapping the strings
// negates the result, a string equals itself (also as a copy), and the free functions agree with
// the methods, also from arbitrary start positions.
//
// Input: a mode byte (bit 0: two bytes per code unit), a split byte and two position bytes, then
// the text, which the split byte divides into the two strings.
#include "NaturalStringComparison.h"

#include <QString>

#include <cstdlib>
#include <stdexcept>

using namespace NaturalStringComparison;

namespace
{
using Method = int (*)(QStringView, QStringView) noexcept;
using Function = int (*)(QStringView, QStringView, quint32, quint32, CharacterAccess, CharacterAccess);

// A character access that is not the default one, so the indirect path is taken.
char16_t viaAt(QStringView s, quint32 i)
{
    return s.at(i).unicode();
}

void check(Method method, Function function, const QString &a, const QString &b, quint32 posA, quint32 posB)
{
    const int ab = method(a, b);
    if (ab < -1 || ab > 1 || method(b, a) != -ab)
        std::abort();
    const QString copyA(a.constData(), a.size()); // another buffer: no identity shortcut
    if (method(a, a) != 0 || method(a, copyA) != 0 || method(copyA, a) != 0)
        std::abort();
    if (function(a, b, 0, 0, viaAt, characterAtIndex) != ab)
        std::abort();

    if (posA <= quint32(a.size()) && posB <= quint32(b.size())) {
        const int r = function(a, b, posA, posB, viaAt, viaAt);
        if (r != -function(b, a, posB, posA, characterAtIndex, viaAt))
            std::abort();
        if (r != method(QStringView(a).sliced(posA), QStringView(b).sliced(posB)))
            std::abort();
    } else {
        try {
            function(a, b, posA, posB, nullptr, nullptr);
        } catch (const std::out_of_range &) {
            return;
        }
        std::abort(); // a position past the end must be refused
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 4)
        return 0;
    const bool wide = data[0] & 1;
    const uint8_t split = data[1];
    const quint32 posA = data[2];
    const quint32 posB = data[3];
    data += 4;
    size -= 4;

    QString text;
    if (wide) {
        for (size_t i = 0; i + 1 < size; i += 2)
            text.append(QChar(char16_t(data[i] | (data[i + 1] << 8))));
    } else {
        for (size_t i = 0; i < size; ++i)
            text.append(QChar(char16_t(data[i])));
    }
    const qsizetype cut = text.size() * split / 255;
    const QString a = text.left(cut);
    const QString b = text.mid(cut);
    check(naturalCompare, compareNumerically, a, b, posA, posB);
    check(hexanumericalCompare, compareHexaNumerically, a, b, posA, posB);
    return 0;
}
