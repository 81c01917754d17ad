// SPDX-License-Identifier: LGPL-2.1-or-later
// Splitting texts into the tokens the difference engine compares.
#include "QJDifferenceEngine.h"
#include "qjdiffcore_p.h"
#include "qjdifftokens_p.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace
{
// The bytes of the punctuation type: the words and lines types need separators only.
enum ByteClass : unsigned char {
    Ordinary = 0,
    Separator = 1, // ends a token and is dropped
    StartsToken = 2, // ends a token and starts the next one, unless there was no token to end
};

using ByteClasses = std::array<unsigned char, 256>;

constexpr ByteClasses punctuationClasses = [] {
    ByteClasses classes {};
    classes[' '] = Separator;
    classes['\n'] = Separator;
    for (unsigned char c : {'!', ',', '.', '?', ':', '(', ')'})
        classes[c] = StartsToken;
    return classes;
}();

// Past its last token, every token buffer holds this many more bytes, NULs at first.
constexpr qsizetype tokenPadding = 16;

// Copies 64 bytes from @p src to @p dst with every separator of the words type (@p blanks) or
// the lines type (not @p blanks) made a NUL. @return the separators' positions as bits.
quint64 copyBlock(const char *src, char *dst, bool blanks)
{
    quint64 separators = 0;
#if defined(__SSE2__)
    const __m128i lineFeed = _mm_set1_epi8('\n');
    const __m128i blank = _mm_set1_epi8(blanks ? ' ' : '\n');
    for (int q = 0; q < 4; ++q) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + 16 * q));
        const __m128i found = _mm_or_si128(_mm_cmpeq_epi8(v, lineFeed), _mm_cmpeq_epi8(v, blank));
        _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + 16 * q), _mm_andnot_si128(found, v));
        separators |= quint64(unsigned(_mm_movemask_epi8(found))) << (16 * q);
    }
#else
    for (int k = 0; k < 64; ++k) {
        const char c = src[k];
        const bool found = c == '\n' || (blanks && c == ' ');
        dst[k] = found ? '\0' : c;
        separators |= quint64(found) << k;
    }
#endif
    return separators;
}

// Cuts the tokens out of the first @p n bytes of @p src into out.storage, which holds
// tokenPadding bytes at least past them (@p src may be that storage itself). Every token ends at a
// dropped separator or at the end of the scan, so the text itself holds the tokens once each
// separator is a NUL. The text goes by in blocks of 64 bytes: the tokens start where a separator
// is followed by another byte.
void splitInPlace(QJDiffTokens &out, const char *src, qsizetype n, int type)
{
    char *bytes = out.storage.data();
    out.tokens.clear();
    if (type != ComparisonWords && type != ComparisonLines) {
        if (n > 0) {
            if (src != bytes)
                std::memcpy(bytes, src, std::size_t(n));
            out.tokens.push_back(bytes);
        }
        bytes[n] = '\0';
        return;
    }
    const bool blanks = type == ComparisonWords;
    // A token and its separator take two bytes at least: the array never grows, and the room it
    // does not use is never touched.
    out.tokens.reserve(std::size_t(n / 2 + 1));
    std::size_t mapped = 0; // the tokens whose room has been mapped
    quint64 before = 1; // whether the byte before the block is a separator (or the start)
    for (qsizetype base = 0; base < n; base += 64) {
        quint64 separators;
        if (n - base >= 64) {
            separators = copyBlock(src + base, bytes + base, blanks);
        } else {
            // The last block, through a buffer: what lies past the scan counts as separators.
            char block[64] = {};
            const std::size_t left = std::size_t(n - base);
            std::memcpy(block, src + base, left);
            separators = copyBlock(block, block, blanks) | (~quint64(0) << left);
            std::memcpy(bytes + base, block, left);
        }
        quint64 starts = ~separators & ((separators << 1) | before);
        before = separators >> 63;
        if (out.tokens.size() + 64 > mapped) {
            const std::size_t more = std::min(out.tokens.capacity() - mapped, std::size_t(1) << 16);
            QJDiffCore::prefault(out.tokens.data() + mapped, more * sizeof(const char *));
            mapped += more;
        }
        for (; starts; starts &= starts - 1)
            out.tokens.push_back(bytes + base + std::countr_zero(starts));
    }
    bytes[n] = '\0'; // the first byte left out of the scan, if any
}

// Splits the first @p n bytes of @p bytes for the punctuation type into out.storage. A mark ends one
// token and starts the next, so each token is copied, into one buffer: a first pass finds its size.
void splitCopying(QJDiffTokens &out, const char *bytes, qsizetype n)
{
    const ByteClasses &classes = punctuationClasses;
    auto scan = [&](auto &&emit) {
        qsizetype start = -1; // the pending token's first byte; -1 while there is none
        for (qsizetype i = 0; i < n; ++i) {
            const unsigned char c = classes[static_cast<unsigned char>(bytes[i])];
            if (c == Ordinary) {
                if (start < 0)
                    start = i;
            } else if (start >= 0) {
                emit(start, i);
                start = c == StartsToken ? i : -1;
            }
        }
        if (start >= 0)
            emit(start, n);
    };
    std::size_t count = 0;
    qsizetype size = 0;
    scan([&](qsizetype from, qsizetype to) {
        ++count;
        size += to - from + 1;
    });
    out.tokens.reserve(count);
    QByteArray copies(size + tokenPadding, '\0');
    char *w = copies.data();
    scan([&](qsizetype from, qsizetype to) {
        out.tokens.push_back(w);
        std::memcpy(w, bytes + from, std::size_t(to - from));
        w += to - from;
        *w++ = '\0';
    });
    out.storage = std::move(copies);
}
} // namespace

void QJDiffTokenizer::split(QJDiffTokens &out, const QString &text, int type)
{
    out.tokens.clear();
    out.tokens.shrink_to_fit();
    out.storage = QByteArray();
    QByteArray utf8 = text.toUtf8();
    // Deliberately the UTF-16 length: a text beyond ASCII has its last bytes left out. The UTF-8
    // form is never shorter, so the bound only guards.
    const qsizetype n = std::min(text.size(), utf8.size());
    if (type == ComparisonPunctuation) {
        splitCopying(out, utf8.constData(), n);
        return;
    }
    if (utf8.size() < n + tokenPadding)
        utf8.resize(n + tokenPadding, '\0');
    out.storage = std::move(utf8);
    splitInPlace(out, out.storage.constData(), n, type);
}

void QJDiffTokenizer::splitUtf8(QJDiffTokens &out, QByteArrayView utf8, qsizetype units, int type)
{
    out.tokens.clear();
    out.tokens.shrink_to_fit();
    out.storage = QByteArray();
    const qsizetype n = std::min(units, utf8.size());
    if (type == ComparisonPunctuation) {
        splitCopying(out, utf8.data(), n);
        return;
    }
    // The tokens are cut out of a copy, made while scanning.
    QByteArray storage(n + tokenPadding, Qt::Uninitialized);
    QJDiffCore::prefault(storage.data(), std::size_t(n));
    std::memset(storage.data() + n, 0, tokenPadding);
    out.storage = std::move(storage);
    splitInPlace(out, utf8.data(), n, type);
}

qsizetype QJDiffTokenizer::utf16Length(QByteArrayView utf8)
{
    const auto *p = reinterpret_cast<const unsigned char *>(utf8.data());
    const auto *end = p + utf8.size();
    qsizetype units = 0;
    while (p < end) {
        const auto *ascii = p;
#if defined(__SSE2__)
        for (; end - p >= 64; p += 64) {
            const auto load = [p](int k) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 16 * k)); };
            if (_mm_movemask_epi8(_mm_or_si128(_mm_or_si128(load(0), load(1)), _mm_or_si128(load(2), load(3)))))
                break;
        }
#endif
        for (quint64 w; end - p >= 8 && (std::memcpy(&w, p, 8), (w & 0x8080808080808080ull) == 0);)
            p += 8;
        while (p < end && *p < 0x80)
            ++p;
        units += p - ascii;
        if (p == end)
            break;
        // A sequence of 2 to 4 bytes, no longer than needed, neither a surrogate nor above U+10FFFF.
        const unsigned c = *p;
        int length;
        unsigned low = 0x80, high = 0xbf; // the range of the second byte
        if (c >= 0xc2 && c <= 0xdf) {
            length = 2;
        } else if (c >= 0xe0 && c <= 0xef) {
            length = 3;
            low = c == 0xe0 ? 0xa0 : 0x80;
            high = c == 0xed ? 0x9f : 0xbf;
        } else if (c >= 0xf0 && c <= 0xf4) {
            length = 4;
            low = c == 0xf0 ? 0x90 : 0x80;
            high = c == 0xf4 ? 0x8f : 0xbf;
        } else {
            return -1;
        }
        if (end - p < length || p[1] < low || p[1] > high)
            return -1;
        for (int k = 2; k < length; ++k) {
            if ((p[k] & 0xc0) != 0x80)
                return -1;
        }
        p += length;
        units += length == 4 ? 2 : 1;
    }
    return units;
}
