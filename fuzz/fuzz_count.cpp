// SPDX-License-Identifier: LGPL-2.1-or-later
// Text statistics over arbitrary text, range, flags, line width and multiplier, checked against a
// literal one-unit-at-a-time walk. A range outside the text must throw std::out_of_range and leave
// the counters alone; counting again with the negated multiplier must bring them back to zero.
//
// Input: flags (1 byte), line width, multiplier, location, length (4 bytes each, little-endian),
// then the text: one code unit per byte, or two bytes per unit when flag bit 7 is set.
#include "QJStringCounting.h"

#include <QString>

#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace
{
struct Counts
{
    quint32 paragraphs = 0, lines = 0, chars = 0, words = 0;
    bool operator==(const Counts &) const = default;
};

constexpr bool isWhitespace(char16_t c)
{
    return c == u' ' || c == u'\t' || c == u'\n';
}

quint32 ceilDiv(quint32 a, quint32 w)
{
    return a / w + (a % w != 0 ? 1 : 0);
}

// The counting walk exactly as its steps read, with no shortcuts.
Counts reference(QStringView s, QJRange range, bool wholeWords, bool wholeLines, quint32 lineWidth,
    bool countEmptyLines, bool countSpaces, qint32 multiplyWith)
{
    Counts out;
    const quint32 m = quint32(multiplyWith);
    const qsizetype n = s.size();
    auto at = [&](qsizetype i) { return s.at(i).unicode(); };
    const quint32 width = lineWidth ? lineWidth : 30;
    qsizetype start;
    qsizetype count;
    char16_t prev;
    if (wholeWords) {
        start = range.location;
        while (start > 0) {
            --start;
            if (isWhitespace(at(start))) {
                ++start;
                break;
            }
        }
        qsizetype end = qsizetype(range.end());
        while (end < n - 1) {
            ++end;
            if (isWhitespace(at(end)))
                break;
        }
        count = end - start;
        prev = start > 0 ? at(start - 1) : u' ';
    } else {
        start = range.location;
        count = range.length;
        prev = start > 0 ? at(start - 1) : u' ';
        const char16_t cur = start < n ? at(start) : u' ';
        if (!isWhitespace(prev) && !isWhitespace(cur))
            out.words += m;
    }
    qsizetype lineStart = 0;
    for (qsizetype done = 0; done != count; ++done) {
        const qsizetype i = start + done;
        const char16_t c = at(i);
        if (c == u' ' || c == u'\t') {
            if (countSpaces)
                out.chars += m;
        } else if (c == u'\n') {
            if (!countEmptyLines && (i == 0 || prev == u'\n')) {
                lineStart = done + 1;
                if (countSpaces)
                    out.chars += m;
            } else {
                out.paragraphs += m;
                quint32 len = wholeLines ? QJStringCounting::lineRangeForRange(s, {quint32(i), 0}).length - 1
                                         : quint32(done - lineStart);
                if (len == 0)
                    len = 1;
                out.lines += ceilDiv(len, width) * m;
                lineStart = done + 1;
                if (countSpaces)
                    out.chars += m;
            }
        } else {
            if (isWhitespace(prev))
                out.words += m;
            out.chars += m;
        }
        prev = c;
    }
    if (prev != u'\n') {
        const qsizetype e = start + count;
        quint32 tail = wholeLines ? QJStringCounting::lineRangeForRange(s, {quint32(e), 0}).length - (e < n ? 1 : 0)
                                  : quint32(count - lineStart);
        if (tail == 0 && e < n)
            tail = 1;
        out.lines += ceilDiv(tail, width) * m;
        if (tail != 0)
            out.paragraphs += m;
    }
    return out;
}

bool isTerminator(char16_t c)
{
    return c == u'\n' || c == u'\r' || c == 0x85 || c == 0x2028 || c == 0x2029;
}

quint32 read32(const uint8_t *p)
{
    quint32 v;
    std::memcpy(&v, p, 4);
    return v;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 17)
        return 0;
    const uint8_t flags = data[0];
    quint32 lineWidth = read32(data + 1);
    const qint32 multiplyWith = qint32(read32(data + 5));
    QJRange range {read32(data + 9), read32(data + 13)};
    data += 17;
    size -= 17;

    QString text;
    if (flags & 0x80) {
        for (size_t i = 0; i + 1 < size; i += 2)
            text.append(QChar(char16_t(data[i] | (data[i + 1] << 8))));
    } else {
        for (size_t i = 0; i < size; ++i)
            text.append(QChar(char16_t(data[i])));
    }
    const quint32 n = quint32(text.size());
    if (!(flags & 0x10)) { // most inputs: a range inside the text
        range.location %= n + 1;
        range.length %= n - range.location + 1;
    }
    if (!(flags & 0x20))
        lineWidth %= 100;
    const bool wholeWords = flags & 1, wholeLines = flags & 2, countEmptyLines = flags & 4, countSpaces = flags & 8;

    qint32 c[4] = {0, 0, 0, 0};
    auto count = [&](qint32 m) {
        QJStringCounting::countForRange(text, range, wholeWords, wholeLines, &c[0], &c[1], &c[2], &c[3], lineWidth,
            countEmptyLines, countSpaces, m);
    };

    if (range.end() > n) {
        try {
            count(multiplyWith);
        } catch (const std::out_of_range &) {
            if (c[0] || c[1] || c[2] || c[3])
                std::abort(); // a refused range must count nothing
            return 0;
        }
        std::abort(); // a range outside the text must be refused
    }

    count(multiplyWith);
    const Counts expected
        = reference(text, range, wholeWords, wholeLines, lineWidth, countEmptyLines, countSpaces, multiplyWith);
    if (!(Counts {quint32(c[0]), quint32(c[1]), quint32(c[2]), quint32(c[3])} == expected))
        std::abort();
    count(qint32(0u - quint32(multiplyWith))); // wraps for the lowest value, as the counters do
    if (c[0] || c[1] || c[2] || c[3])
        std::abort();

    // The line range holds the range, starts at the text's start or after a terminator, and ends
    // at the text's end or after one.
    const QJRange lines = QJStringCounting::lineRangeForRange(text, range);
    if (lines.location > range.location || lines.end() < range.end() || lines.end() > n)
        std::abort();
    if (lines.location > 0 && !isTerminator(text.at(lines.location - 1).unicode()))
        std::abort();
    if (lines.end() < n && !isTerminator(text.at(qsizetype(lines.end()) - 1).unicode()))
        std::abort();
    return 0;
}
