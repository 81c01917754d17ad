// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJStringCounting.h"

#include <bit>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace QJStringCounting
{
namespace
{
constexpr char16_t LineFeed = 0x0A;
constexpr char16_t CarriageReturn = 0x0D;

constexpr bool isWhitespace(char16_t c) noexcept
{
    return c == u' ' || c == u'\t' || c == LineFeed;
}

constexpr bool isLineTerminator(char16_t c) noexcept
{
    return c == LineFeed || c == CarriageReturn || c == 0x0085 || c == 0x2028 || c == 0x2029;
}

// Start of the line that holds index i (i may be the string's length). The line feed of a
// carriage return + line feed belongs to the line that the pair ends.
qsizetype lineStart(const char16_t *s, qsizetype n, qsizetype i) noexcept
{
    if (i > 0 && i < n && s[i] == LineFeed && s[i - 1] == CarriageReturn)
        --i;
    while (i > 0 && !isLineTerminator(s[i - 1]))
        --i;
    return i;
}

// End of the line that holds index i, past its terminator.
qsizetype lineEnd(const char16_t *s, qsizetype n, qsizetype i) noexcept
{
    while (i < n && !isLineTerminator(s[i]))
        ++i;
    if (i < n)
        i += (s[i] == CarriageReturn && i + 1 < n && s[i + 1] == LineFeed) ? 2 : 1;
    return i;
}

// Length of the line holding i, terminator included (the platform's line range for (i, 0)).
quint32 lineLengthAt(const char16_t *s, qsizetype n, qsizetype i) noexcept
{
    return quint32(lineEnd(s, n, i) - lineStart(s, n, i));
}

constexpr quint32 ceilDiv(quint32 a, quint32 w) noexcept
{
    return a / w + (a % w != 0 ? 1 : 0);
}

[[noreturn]] void throwOutside(const char *function, QJRange range, qsizetype length)
{
    throw std::out_of_range(std::string(function) + ": range {" + std::to_string(range.location) + ", "
        + std::to_string(range.length) + "} lies outside the string (length " + std::to_string(length) + ")");
}

// Line ends seen during the walk. Kept apart from the word and character counting, which only
// needs to know which code units are whitespace.
struct Walk
{
    const char16_t *s;
    qsizetype n;
    quint32 width;
    bool wholeLines;
    bool countEmptyLines;
    qsizetype lineStart; // absolute index where the current line began inside the span
    quint32 paragraphs = 0;
    quint32 lines = 0;

    void lineFeedAt(qsizetype i) noexcept
    {
        // An empty line (a line feed at the string's start or after another one) counts only when
        // asked. The unit walked before i is s[i - 1], also at the span's first position.
        if (countEmptyLines || (i != 0 && s[i - 1] != LineFeed)) {
            ++paragraphs;
            quint32 len = wholeLines ? lineLengthAt(s, n, i) - 1 : quint32(i - lineStart);
            if (len == 0)
                len = 1;
            lines += ceilDiv(len, width);
        }
        lineStart = i + 1;
    }
};

struct Tally
{
    quint64 whitespace = 0;
    quint64 wordStarts = 0;
};

// Scalar walk of [from, to): whitespace count, word starts, line feeds. prevWs is the state of the
// code unit before from, and is left at the state of the last one walked.
void walkScalar(const char16_t *s, qsizetype from, qsizetype to, bool &prevWs, Tally &tally, Walk &walk) noexcept
{
    for (qsizetype i = from; i < to; ++i) {
        const char16_t c = s[i];
        const bool ws = isWhitespace(c);
        tally.whitespace += ws;
        tally.wordStarts += prevWs & !ws;
        prevWs = ws;
        if (c == LineFeed)
            walk.lineFeedAt(i);
    }
}

#if defined(__SSE2__)
// Eight code units at a time. Counters live in 16-bit lanes and are folded into the tally before
// they can overflow.
qsizetype walkVector(const char16_t *s, qsizetype from, qsizetype to, bool &prevWs, Tally &tally, Walk &walk) noexcept
{
    const __m128i space = _mm_set1_epi16(0x20);
    const __m128i tab = _mm_set1_epi16(0x09);
    const __m128i lf = _mm_set1_epi16(0x0A);
    const __m128i ones = _mm_set1_epi16(1);
    __m128i carry = prevWs ? _mm_cvtsi32_si128(0xFFFF) : _mm_setzero_si128(); // lane 0: the unit before
    __m128i wsAcc = _mm_setzero_si128();
    __m128i startAcc = _mm_setzero_si128();
    int pending = 0;
    auto fold = [&] {
        // Lanes hold at most 32767, so the signed multiply-add is exact.
        const __m128i w = _mm_madd_epi16(wsAcc, ones);
        const __m128i st = _mm_madd_epi16(startAcc, ones);
        alignas(16) qint32 wl[4], sl[4];
        _mm_store_si128(reinterpret_cast<__m128i *>(wl), w);
        _mm_store_si128(reinterpret_cast<__m128i *>(sl), st);
        tally.whitespace += quint64(wl[0]) + quint64(wl[1]) + quint64(wl[2]) + quint64(wl[3]);
        tally.wordStarts += quint64(sl[0]) + quint64(sl[1]) + quint64(sl[2]) + quint64(sl[3]);
        wsAcc = _mm_setzero_si128();
        startAcc = _mm_setzero_si128();
        pending = 0;
    };

    qsizetype i = from;
    for (; to - i >= 8; i += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i));
        const __m128i isLf = _mm_cmpeq_epi16(v, lf);
        const __m128i ws = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, space), _mm_cmpeq_epi16(v, tab)), isLf);
        const __m128i before = _mm_or_si128(_mm_slli_si128(ws, 2), carry);
        wsAcc = _mm_sub_epi16(wsAcc, ws);
        startAcc = _mm_sub_epi16(startAcc, _mm_andnot_si128(ws, before));
        carry = _mm_srli_si128(ws, 14);
        if (unsigned lfBits = unsigned(_mm_movemask_epi8(isLf)) & 0x5555u) {
            do {
                walk.lineFeedAt(i + std::countr_zero(lfBits) / 2);
                lfBits &= lfBits - 1;
            } while (lfBits);
        }
        if (++pending == 32767)
            fold();
    }
    fold();
    prevWs = _mm_cvtsi128_si32(carry) != 0;
    return i;
}
#endif
} // namespace

void countForRange(QStringView string, QJRange range, bool wholeWords, bool wholeLines, qint32 *paragraphs,
    qint32 *lines, qint32 *chars, qint32 *words, quint32 lineWidth, bool countEmptyLines, bool countSpaces,
    qint32 multiplyWith)
{
    const char16_t *s = string.utf16();
    const qsizetype n = string.size();
    if (range.end() > quint64(n))
        throwOutside("QJStringCounting::countForRange", range, n);
    if (!paragraphs || !lines || !chars || !words)
        throw std::invalid_argument("QJStringCounting::countForRange: a counter pointer is null");

    const quint32 width = lineWidth ? lineWidth : 30;
    qsizetype start;
    qsizetype count;
    char16_t prev;
    quint32 startRuleWords = 0;
    if (wholeWords) {
        start = range.location;
        while (start > 0) {
            --start;
            if (isWhitespace(s[start])) {
                ++start;
                break;
            }
        }
        // The unit at the range's end is never examined, and the scan never reaches the last unit
        // of the string; both are long-standing behaviour that callers' totals depend on.
        qsizetype end = qsizetype(range.end());
        while (end < n - 1) {
            ++end;
            if (isWhitespace(s[end]))
                break;
        }
        count = end - start;
        prev = start > 0 ? s[start - 1] : u' ';
    } else {
        start = range.location;
        count = range.length;
        prev = start > 0 ? s[start - 1] : u' ';
        const char16_t cur = start < n ? s[start] : u' ';
        // A range that begins inside a word: the walk only counts words where they begin.
        if (!isWhitespace(prev) && !isWhitespace(cur))
            startRuleWords = 1;
    }

    const qsizetype spanEnd = start + count;
    Walk walk {s, n, width, wholeLines, countEmptyLines, start};
    Tally tally;
    bool prevWs = isWhitespace(prev);
    qsizetype i = start;
#if defined(__SSE2__)
    i = walkVector(s, i, spanEnd, prevWs, tally, walk);
#endif
    walkScalar(s, i, spanEnd, prevWs, tally, walk);

    quint32 nParagraphs = walk.paragraphs;
    quint32 nLines = walk.lines;
    const quint32 nChars = quint32(countSpaces ? quint64(count) : quint64(count) - tally.whitespace);
    const quint32 nWords = quint32(tally.wordStarts) + startRuleWords;

    const char16_t last = count > 0 ? s[spanEnd - 1] : prev;
    if (last != LineFeed) {
        quint32 tail;
        if (wholeLines)
            tail = lineLengthAt(s, n, spanEnd) - (spanEnd < n ? 1 : 0);
        else
            tail = quint32(spanEnd - walk.lineStart);
        if (tail == 0 && spanEnd < n)
            tail = 1;
        nLines += ceilDiv(tail, width);
        if (tail != 0)
            ++nParagraphs;
    }

    // Every item adds multiplyWith, so each counter grows by (items × multiplyWith) modulo 2^32.
    const quint32 m = quint32(multiplyWith);
    auto add = [m](qint32 *counter, quint32 items) { *counter = qint32(quint32(*counter) + items * m); };
    add(paragraphs, nParagraphs);
    add(lines, nLines);
    add(chars, nChars);
    add(words, nWords);
}

// The streaming count keeps what the walk over decoded text looks back at: the unit before, where
// the current paragraph began, and where the line holding a line feed began (for whole lines, which
// also end at carriage returns, U+0085, U+2028 and U+2029, a carriage return + line feed being one).
class Utf8CounterPrivate
{
public:
    Utf8CounterPrivate(bool wholeLines, quint32 width, bool countEmptyLines, bool countSpaces)
        : wholeLines(wholeLines), width(width), countEmptyLines(countEmptyLines), countSpaces(countSpaces)
    { }

    void unit(char16_t c) noexcept
    {
        const bool ws = isWhitespace(c);
        whitespace += ws;
        wordStarts += prevWs & !ws;
        prevWs = ws;
        if (c == LineFeed)
            lineFeed();
        if (isLineTerminator(c)) {
            termEndBeforePrev = termEnd;
            termEnd = pos + 1;
        } else {
            termEndBeforePrev = termEnd;
        }
        prevCr = c == CarriageReturn;
        prevLf = c == LineFeed;
        ++pos;
    }

    void lineFeed() noexcept
    {
        if (countEmptyLines || (pos != 0 && !prevLf)) {
            ++paragraphs;
            // The line holding a line feed that follows a carriage return began before the return.
            quint64 len = wholeLines ? pos - (prevCr ? termEndBeforePrev : termEnd) : pos - paragraphStart;
            if (len == 0)
                len = 1;
            lines += quint32(len / width + (len % width != 0 ? 1 : 0));
        }
        paragraphStart = pos + 1;
    }

    // @p n visible ASCII characters in a row: all word characters, none ends a line.
    void plainRun(qsizetype n) noexcept
    {
        wordStarts += prevWs;
        prevWs = prevCr = prevLf = false;
        termEndBeforePrev = termEnd;
        pos += quint64(n);
    }

    void codePoint(char32_t cp) noexcept
    {
        if (cp < 0x10000) {
            unit(char16_t(cp));
        } else {
            unit(char16_t(0xD800 + ((cp - 0x10000) >> 10)));
            unit(char16_t(0xDC00 + ((cp - 0x10000) & 0x3FF)));
        }
    }

    const bool wholeLines;
    const quint32 width;
    const bool countEmptyLines;
    const bool countSpaces;
    quint64 pos = 0;
    quint64 whitespace = 0;
    quint64 wordStarts = 0;
    quint32 paragraphs = 0;
    quint32 lines = 0;
    quint64 paragraphStart = 0;
    quint64 termEnd = 0;
    quint64 termEndBeforePrev = 0;
    bool prevWs = true; // the text starts as after a space
    bool prevCr = false;
    bool prevLf = false;
    // A character split between pieces: its value so far, the continuation bytes it still needs,
    // and the smallest and largest value its second byte may have.
    char32_t partial = 0;
    int needed = 0;
    uchar low = 0x80, high = 0xBF;
    bool failed = false;
    int bomSeen = 0; // bytes of a leading byte-order mark matched so far; -1 once past the start
};

namespace
{
// What a UTF-8 lead byte says, by RFC 3629: the sequence's length (0: not a lead byte), the value
// bits it carries, and the range of the second byte, which rules out overlong forms, surrogates
// and values past U+10FFFF.
struct Lead
{
    int length;
    char32_t bits;
    uchar low;
    uchar high;
};

// The set bits of a 16-bit mask, in a few instructions: std::popcount is a library call on
// baseline x86-64.
constexpr unsigned bitCount16(unsigned m) noexcept
{
    m = m - ((m >> 1) & 0x5555);
    m = (m & 0x3333) + ((m >> 2) & 0x3333);
    m = (m + (m >> 4)) & 0x0F0F;
    return (m + (m >> 8)) & 0x1F;
}
static_assert(bitCount16(0) == 0 && bitCount16(0xFFFF) == 16 && bitCount16(0x8421) == 4);

constexpr Lead leadOf(uchar b) noexcept
{
    if (b >= 0xC2 && b <= 0xDF)
        return {2, char32_t(b & 0x1F), 0x80, 0xBF};
    if (b >= 0xE0 && b <= 0xEF)
        return {3, char32_t(b & 0x0F), uchar(b == 0xE0 ? 0xA0 : 0x80), uchar(b == 0xED ? 0x9F : 0xBF)};
    if (b >= 0xF0 && b <= 0xF4)
        return {4, char32_t(b & 0x07), uchar(b == 0xF0 ? 0x90 : 0x80), uchar(b == 0xF4 ? 0x8F : 0xBF)};
    return {0, 0, 0, 0};
}
} // namespace

Utf8Counter::Utf8Counter(bool wholeLines, quint32 lineWidth, bool countEmptyLines, bool countSpaces)
    : d(std::make_unique<Utf8CounterPrivate>(wholeLines, lineWidth ? lineWidth : 30, countEmptyLines, countSpaces))
{ }

Utf8Counter::~Utf8Counter() = default;

bool Utf8Counter::add(QByteArrayView piece)
{
    Utf8CounterPrivate &c = *d;
    const uchar *p = reinterpret_cast<const uchar *>(piece.data());
    const uchar *const end = p + piece.size();
    // A byte-order mark at the very start is not text (the decoder skips it too).
    while (c.bomSeen >= 0 && p < end) {
        static constexpr uchar Bom[] = {0xEF, 0xBB, 0xBF};
        if (*p != Bom[c.bomSeen]) {
            // Not a mark after all: count the bytes held back, then go on as usual.
            const int held = c.bomSeen;
            c.bomSeen = -1;
            if (held > 0 && !add(QByteArrayView(reinterpret_cast<const char *>(Bom), held)))
                return false;
            break;
        }
        ++p;
        if (++c.bomSeen == 3)
            c.bomSeen = -1;
    }
    if (c.failed)
        return false;
    while (p < end) {
        if (c.needed == 0) {
#if defined(__SSE2__)
            const __m128i space = _mm_set1_epi8(0x20);
            // Most prose comes in blocks of visible ASCII and spaces only: sixteen bytes at a time,
            // a word starting at each visible byte after a space, which is exactly what unit() and
            // plainRun() would have counted one run at a time.
            while (end - p >= 16) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
                const unsigned plain = unsigned(_mm_movemask_epi8(_mm_cmpgt_epi8(v, space)));
                const unsigned spaces = unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(v, space)));
                if ((plain | spaces) != 0xFFFF)
                    break;
                c.wordStarts += bitCount16(plain & ((spaces << 1) | unsigned(c.prevWs)));
                c.whitespace += bitCount16(spaces);
                c.prevWs = (spaces >> 15) != 0;
                c.prevCr = c.prevLf = false;
                c.termEndBeforePrev = c.termEnd;
                c.pos += 16;
                p += 16;
            }
            if (p == end)
                break;
#endif
            // Then runs of visible ASCII, which only need their length.
            const uchar *run = p;
#if defined(__SSE2__)
            while (end - p >= 16) {
                // Signed, bytes from 0x80 up are negative: "greater than space" is visible ASCII.
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
                const unsigned plain = unsigned(_mm_movemask_epi8(_mm_cmpgt_epi8(v, space)));
                if (plain != 0xFFFF) {
                    p += std::countr_one(plain);
                    break;
                }
                p += 16;
            }
#endif
            while (p<end && * p> 0x20 && *p < 0x80)
                ++p;
            if (p != run) {
                c.plainRun(p - run);
                continue;
            }
            if (*p == u' ') { // between words: the commonest unit after letters
                ++p;
                ++c.whitespace;
                c.prevWs = true;
                c.prevCr = c.prevLf = false;
                c.termEndBeforePrev = c.termEnd;
                ++c.pos;
                continue;
            }
            if (*p < 0x80) {
                c.unit(*p++);
                continue;
            }
            // A whole character inside the piece is decoded at once; one that continues into the
            // next piece goes through the byte-by-byte state below.
            const Lead lead = leadOf(*p);
            if (lead.length == 0) {
                c.failed = true;
                return false;
            }
            if (end - p >= lead.length) {
                bool valid = p[1] >= lead.low && p[1] <= lead.high;
                char32_t cp = lead.bits;
                for (int k = 1; k < lead.length; ++k) {
                    valid &= k == 1 || (p[k] >= 0x80 && p[k] <= 0xBF);
                    cp = (cp << 6) | (p[k] & 0x3F);
                }
                if (!valid) {
                    c.failed = true;
                    return false;
                }
                p += lead.length;
                // Only U+0085, U+2028 and U+2029 do more than take their units' place in a word.
                if (cp == 0x85 || cp == 0x2028 || cp == 0x2029)
                    c.codePoint(cp);
                else
                    c.plainRun(lead.length == 4 ? 2 : 1);
                continue;
            }
            ++p;
            c.partial = lead.bits, c.needed = lead.length - 1, c.low = lead.low, c.high = lead.high;
            continue;
        }
        const uchar b = *p++;
        if (b < c.low || b > c.high) {
            c.failed = true;
            return false;
        }
        c.low = 0x80, c.high = 0xBF;
        c.partial = (c.partial << 6) | (b & 0x3F);
        if (--c.needed == 0)
            c.codePoint(c.partial);
    }
    return true;
}

quint64 Utf8Counter::length() const
{
    return d->pos;
}

bool Utf8Counter::finish(qint32 *paragraphs, qint32 *lines, qint32 *chars, qint32 *words, qint32 multiplyWith)
{
    Utf8CounterPrivate &c = *d;
    if (c.bomSeen > 0) { // the text was the start of a mark and no more
        const int held = c.bomSeen;
        c.bomSeen = -1;
        static constexpr char Bom[] = "\xEF\xBB\xBF";
        add(QByteArrayView(Bom, held));
    }
    if (c.failed || c.needed != 0)
        return false;
    if (!paragraphs || !lines || !chars || !words)
        throw std::invalid_argument("QJStringCounting::Utf8Counter::finish: a counter pointer is null");
    quint32 nParagraphs = c.paragraphs;
    quint32 nLines = c.lines;
    if (c.pos > 0 && !c.prevLf) {
        const quint64 tail = c.pos - (c.wholeLines ? c.termEnd : c.paragraphStart);
        nLines += quint32(tail / c.width + (tail % c.width != 0 ? 1 : 0));
        if (tail != 0)
            ++nParagraphs;
    }
    const quint32 nChars = quint32(c.countSpaces ? c.pos : c.pos - c.whitespace);
    const quint32 m = quint32(multiplyWith);
    auto addTo = [m](qint32 *counter, quint32 items) { *counter = qint32(quint32(*counter) + items * m); };
    addTo(paragraphs, nParagraphs);
    addTo(lines, nLines);
    addTo(chars, nChars);
    addTo(words, quint32(c.wordStarts));
    return true;
}

QJRange lineRangeForRange(QStringView string, QJRange range)
{
    const char16_t *s = string.utf16();
    const qsizetype n = string.size();
    if (range.end() > quint64(n))
        throwOutside("QJStringCounting::lineRangeForRange", range, n);
    const qsizetype first = lineStart(s, n, range.location);
    const qsizetype last = range.length > 0 ? qsizetype(range.end()) - 1 : qsizetype(range.location);
    const qsizetype end = lineEnd(s, n, last);
    return {quint32(first), quint32(end - first)};
}
} // namespace QJStringCounting
