// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceEngine.h"

#include "DiffEngine.h"
#include "qjdiffcore_p.h"
#include "qjdifftokens_p.h"

#include <QByteArray>
#include <QStringDecoder>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>

using namespace Qt::StringLiterals;

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

QString decodedUtf8(std::string_view bytes, bool *ok)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
    *ok = !decoder.hasError();
    return text;
}

// Joins @p tokens with single blanks. A token cut inside a multi-byte character has no string
// form; the join shows what a missing string formats as.
QString joined(const std::vector<const char *> &tokens)
{
    if (tokens.empty())
        return u""_s;
    std::string bytes;
    bytes.reserve(tokens.size() * 8);
    for (const char *token : tokens)
        bytes.append(token).push_back(' ');
    bytes.pop_back();
    // The blanks are ASCII, so the whole is valid exactly when every token is: decode it at once,
    // and token by token only when something is amiss.
    bool ok;
    QString text = decodedUtf8(bytes, &ok);
    if (ok)
        return text;
    text.clear();
    for (const char *token : tokens) {
        const QString t = decodedUtf8(token, &ok);
        text += (ok ? t : u"(null)"_s) + u' ';
    }
    text.chop(1);
    return text;
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

namespace
{
// Appends the stretch of text from the first to the end of the last of @p tokens, its NULs made
// blanks. @return false, appending nothing, unless exactly one NUL separates each two tokens
// there. @p beyondAscii tells whether any byte appended is beyond ASCII.
bool appendStretch(QByteArray &out, std::span<const char *const> tokens, bool *beyondAscii)
{
    const char *first = tokens.front();
    const char *last = tokens.back();
    const qsizetype length = (last - first) + qsizetype(std::strlen(last));
    const qsizetype start = out.size();
    if (out.capacity() < start + length)
        out.reserve(std::max(out.capacity() * 2, start + length));
    out.resize(start + length);
    char *w = out.data() + start;
    qsizetype k = 0;
    qsizetype nuls = 0;
    unsigned char seen = 0;
#if defined(__SSE2__)
    __m128i high = _mm_setzero_si128();
    const __m128i zero = _mm_setzero_si128();
    const __m128i blank = _mm_set1_epi8(' ');
    for (; length - k >= 16; k += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(first + k));
        const __m128i isNul = _mm_cmpeq_epi8(v, zero);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(w + k), _mm_or_si128(v, _mm_and_si128(isNul, blank)));
        nuls += std::popcount(unsigned(_mm_movemask_epi8(isNul)));
        high = _mm_or_si128(high, v);
    }
    seen = _mm_movemask_epi8(high) ? 0x80 : 0;
#endif
    for (; k < length; ++k) {
        const char c = first[k];
        nuls += c == '\0';
        w[k] = c == '\0' ? ' ' : c;
        seen |= static_cast<unsigned char>(c);
    }
    if (nuls != qsizetype(tokens.size()) - 1) {
        out.resize(start);
        return false;
    }
    *beyondAscii = seen & 0x80;
    return true;
}

// Appends @p tokens with a blank after each but the last, a word at a time (the engine's token
// buffers are padded for it). @p beyondAscii tells whether any byte appended is beyond ASCII.
void appendTokens(QByteArray &out, std::span<const char *const> tokens, bool *beyondAscii)
{
    const qsizetype start = out.size();
    qsizetype size = start;
    char *w = nullptr;
    char *limit = nullptr;
    auto reserve = [&](qsizetype room) {
        size = w ? w - out.data() : size;
        if (out.size() - size < room + 16)
            out.resize(std::max(out.size() * 2, size + room + 4096));
        w = out.data() + size;
        limit = out.data() + out.size() - 16;
    };
    reserve(qsizetype(tokens.size()) * 8);
    constexpr quint64 ones = 0x0101010101010101ull;
    constexpr quint64 highs = 0x8080808080808080ull;
    quint64 seen = 0;
    for (const char *p : tokens) {
        if constexpr (std::endian::native == std::endian::little) {
            for (;;) {
                if (w > limit)
                    reserve(4096);
                quint64 word;
                std::memcpy(&word, p, 8);
                std::memcpy(w, &word, 8);
                if (const quint64 zero = (word - ones) & ~word & highs) {
                    // The lowest flagged byte is the NUL: bytes before it are the token's.
                    const int k = std::countr_zero(zero) / 8;
                    seen |= word & ((quint64(1) << (8 * k)) - 1);
                    w += k;
                    break;
                }
                seen |= word;
                w += 8;
                p += 8;
            }
        } else {
            const qsizetype length = qsizetype(std::strlen(p));
            reserve(length + 1);
            for (qsizetype k = 0; k < length; ++k)
                seen |= static_cast<unsigned char>(p[k]);
            std::memcpy(w, p, std::size_t(length));
            w += length;
        }
        *w++ = ' ';
    }
    out.resize(w - 1 - out.data()); // without the last blank
    *beyondAscii = seen & highs;
}
} // namespace

void QJDiffRun::appendJoined(QByteArray &out, std::span<const char *const> tokens)
{
    if (tokens.empty())
        return;
    // A run's tokens are consecutive tokens of one side, in text order in one buffer: where the
    // text had a single separator between each two, the run is a stretch of that buffer.
    const qsizetype start = out.size();
    bool beyondAscii = false;
    if (!appendStretch(out, tokens, &beyondAscii))
        appendTokens(out, tokens, &beyondAscii);
    if (!beyondAscii)
        return;
    // Only a run beyond ASCII needs checking, as a whole: blanks cannot make invalid UTF-8 valid
    // or the reverse.
    const QByteArrayView joined(out.constData() + start, out.size() - start);
    if (QJDiffTokenizer::utf16Length(joined) >= 0) {
        // Decoding drops a byte order mark at the start of the text.
        if (joined.startsWith("\xef\xbb\xbf"))
            out.remove(start, 3);
        return;
    }
    // Token by token: one that is not valid UTF-8 (cut inside a character) has no string form and
    // shows what a missing string formats as.
    out.truncate(start);
    for (const char *p : tokens) {
        QByteArrayView token(p);
        if (QJDiffTokenizer::utf16Length(token) < 0)
            token = "(null)";
        else if (token.startsWith("\xef\xbb\xbf"))
            token = token.sliced(3);
        out.append(token.data(), token.size());
        out.append(' ');
    }
    out.chop(1);
}

DiffObject::DiffObject(const DiffOperation *op)
    : _newValue(joined(op->to)), _oldValue(op->from == op->to ? _newValue : joined(op->from)), _type(op->type)
{ }

QJDifferenceEngine::QJDifferenceEngine()
    : engine(std::make_unique<DiffEngine>()),
      _old {u""_s, {}, false, std::make_unique<QJDiffTokens>(), false},
      _new {u""_s, {}, false, std::make_unique<QJDiffTokens>(), true}
{
    // Both tables exist from the start, so a side that was never set compares as empty.
    tokensChanged(_old);
    tokensChanged(_new);
}

QJDifferenceEngine::~QJDifferenceEngine() = default;

QString QJDifferenceEngine::text(const Side &side) const
{
    if (side.pending) {
        side.string = QString::fromUtf8(side.utf8);
        side.utf8 = QByteArray();
        side.pending = false;
    }
    return side.string;
}

void QJDifferenceEngine::tokensChanged(const Side &side)
{
    const int count = int(side.tokens->tokens.size());
    if (side.isNew)
        engine->set_to(side.tokens->tokens.data(), count);
    else
        engine->set_from(side.tokens->tokens.data(), count);
}

void QJDifferenceEngine::setText(Side &side, const QString &text)
{
    side.string = text;
    side.utf8 = QByteArray();
    side.pending = false;
    QJDiffTokenizer::split(*side.tokens, text, _comparisonType);
    tokensChanged(side);
}

namespace
{
// The text that QString::fromUtf8() decodes: without a byte order mark at the start.
QByteArrayView withoutBom(const QByteArray &utf8)
{
    const QByteArrayView text(utf8);
    return text.startsWith("\xef\xbb\xbf") ? text.sliced(3) : text;
}
} // namespace

bool QJDifferenceEngine::setUtf8(Side &side, const QByteArray &utf8)
{
    const QByteArrayView text = withoutBom(utf8);
    const qsizetype units = QJDiffTokenizer::utf16Length(text);
    if (units < 0) {
        setText(side, QString::fromUtf8(utf8));
        return false;
    }
    side.string = QString();
    side.utf8 = utf8;
    side.pending = true;
    QJDiffTokenizer::splitUtf8(*side.tokens, text, units, _comparisonType);
    tokensChanged(side);
    return true;
}

QString QJDifferenceEngine::newString() const
{
    return text(_new);
}

QString QJDifferenceEngine::oldString() const
{
    return text(_old);
}

void QJDifferenceEngine::setNewString(const QString &text)
{
    setText(_new, text);
}

void QJDifferenceEngine::setOldString(const QString &text)
{
    setText(_old, text);
}

bool QJDifferenceEngine::setNewUtf8(const QByteArray &utf8)
{
    return setUtf8(_new, utf8);
}

bool QJDifferenceEngine::setOldUtf8(const QByteArray &utf8)
{
    return setUtf8(_old, utf8);
}

bool QJDifferenceEngine::setUtf8Strings(const QByteArray &oldUtf8, const QByteArray &newUtf8)
{
    // Below this many bytes a thread costs more than it saves.
    constexpr qsizetype threadedSize = 1 << 16;
    if (oldUtf8.size() + newUtf8.size() < threadedSize) {
        const bool oldValid = setOldUtf8(oldUtf8);
        return setNewUtf8(newUtf8) && oldValid;
    }
    // The two sides share nothing: each has its own text, tokens, table and buffers in the engine.
    bool oldValid = false;
    bool newValid = false;
    QJDiffCore::both([&] { oldValid = setOldUtf8(oldUtf8); }, [&] { newValid = setNewUtf8(newUtf8); });
    return oldValid && newValid;
}

void QJDifferenceEngine::computeMatchValueOnly()
{
    computeDifferencesDetailled(false);
}

void QJDifferenceEngine::computeDifferences()
{
    computeDifferencesDetailled(true);
}

QList<QJDiffRun> QJDifferenceEngine::computeRuns()
{
    const std::vector<DiffRun> runs = engine->diff_runs();
    QList<QJDiffRun> result;
    result.reserve(qsizetype(runs.size()));
    float same = 0;
    float changed = 0;
    for (const DiffRun &run : runs) {
        const std::span<const char *const> from(
            engine->from + run.from_begin, std::size_t(run.from_end - run.from_begin));
        if (run.type == DiffOpCopy) {
            result.append(QJDiffRun(run.type, from, from));
            same += float(from.size());
            continue;
        }
        const std::span<const char *const> to(engine->to + run.to_begin, std::size_t(run.to_end - run.to_begin));
        result.append(QJDiffRun(run.type, from, to));
        changed += float(from.size() + to.size());
    }
    _matchValue = same / (changed * 0.5f + same);
    return result;
}

void QJDifferenceEngine::computeDifferencesDetailled(bool detailed)
{
    if (detailed)
        _differences = QList<DiffObject>();
    float same = 0;
    float changed = 0;
    // Operations are turned into objects as they come, so the whole list is never held at once.
    engine->diff([&](DiffOperation &&op) {
        if (detailed)
            _differences.append(DiffObject(&op));
        if (op.type == DiffOpCopy)
            same += float(op.to.size());
        else
            changed += float(op.from.size() + op.to.size());
    });
    _matchValue = same / (changed * 0.5f + same);
}
