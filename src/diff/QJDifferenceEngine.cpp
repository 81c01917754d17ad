// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceEngine.h"

#include "qjdiffcore_p.h"
#include "qjdifferenceengine_p.h"

#include <QByteArray>
#include <QStringDecoder>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>

using namespace Qt::StringLiterals;

namespace
{
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
} // namespace

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
    // NULs are counted per byte lane and summed before a lane can wrap: std::popcount of the mask
    // is a library call on baseline x86-64.
    __m128i lanes = zero;
    const auto sumLanes = [&] {
        const __m128i sums = _mm_sad_epu8(lanes, zero);
        nuls += _mm_cvtsi128_si32(sums) + _mm_extract_epi16(sums, 4);
        lanes = zero;
    };
    for (int round = 1; length - k >= 16; k += 16, ++round) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(first + k));
        const __m128i isNul = _mm_cmpeq_epi8(v, zero);
        _mm_storeu_si128(reinterpret_cast<__m128i *>(w + k), _mm_or_si128(v, _mm_and_si128(isNul, blank)));
        lanes = _mm_sub_epi8(lanes, isNul);
        if (round % 255 == 0)
            sumLanes();
        high = _mm_or_si128(high, v);
    }
    sumLanes();
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

void QJDifferenceEnginePrivate::appendJoined(QByteArray &out, std::span<const char *const> tokens)
{
    appendJoinedPart(out, tokens, true, -1);
}

void QJDifferenceEnginePrivate::appendJoinedPart(
    QByteArray &out, std::span<const char *const> tokens, bool first, int valid)
{
    if (tokens.empty())
        return;
    if (!first)
        out += ' ';
    const qsizetype start = out.size();
    if (valid != 0) {
        // A run's tokens are consecutive tokens of one side, in text order in one buffer: where the
        // text had a single separator between each two, the run is a stretch of that buffer.
        bool beyondAscii = false;
        if (!appendStretch(out, tokens, &beyondAscii))
            appendTokens(out, tokens, &beyondAscii);
        // Only text beyond ASCII needs checking, as a whole: blanks cannot make invalid UTF-8 valid
        // or the reverse.
        const QByteArrayView joined(out.constData() + start, out.size() - start);
        if (valid == 1 || !beyondAscii || QJDiffTokenizer::utf16Length(joined) >= 0) {
            // Decoding drops a byte order mark at the start of the text.
            if (first && joined.startsWith("\xef\xbb\xbf"))
                out.remove(start, 3);
            return;
        }
        out.truncate(start);
    }
    // Token by token: one that is not valid UTF-8 (cut inside a character) has no string form and
    // shows what a missing string formats as.
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

bool QJDifferenceEnginePrivate::isValid(std::span<const char *const> tokens)
{
    // Between a run's tokens lie only NULs and separators, all ASCII.
    return QJDiffTokenizer::utf16Length(stretch(tokens)) >= 0;
}

DiffObject::DiffObject(const DiffOperation *op)
    : _newValue(joined(op->to)), _oldValue(op->from == op->to ? _newValue : joined(op->from)), _type(op->type)
{ }

QJDifferenceEngine::QJDifferenceEngine() : d(std::make_unique<QJDifferenceEnginePrivate>())
{
    // Both tables exist from the start, so a side that was never set compares as empty.
    d->tokensChanged(d->_old);
    d->tokensChanged(d->_new);
}

QJDifferenceEngine::~QJDifferenceEngine() = default;

QString QJDifferenceEnginePrivate::text(const Side &side) const
{
    if (side.pending) {
        side.string = QString::fromUtf8(side.utf8);
        side.utf8 = QByteArray();
        side.pending = false;
    }
    return side.string;
}

void QJDifferenceEnginePrivate::tokensChanged(const Side &side)
{
    const int count = int(side.tokens.tokens.size());
    if (&side == &_new)
        engine->set_to(side.tokens.tokens.data(), count);
    else
        engine->set_from(side.tokens.tokens.data(), count);
}

void QJDifferenceEnginePrivate::setText(Side &side, const QString &text)
{
    side.string = text;
    side.utf8 = QByteArray();
    side.pending = false;
    QJDiffTokenizer::split(side.tokens, text, _comparisonType);
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

bool QJDifferenceEnginePrivate::setUtf8(Side &side, const QByteArray &utf8)
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
    QJDiffTokenizer::splitUtf8(side.tokens, text, units, _comparisonType);
    tokensChanged(side);
    return true;
}

int QJDifferenceEngine::comparisonType() const
{
    return d->_comparisonType;
}

void QJDifferenceEngine::setComparisonType(int type)
{
    d->_comparisonType = type;
}

QString QJDifferenceEngine::newString() const
{
    return d->text(d->_new);
}

QString QJDifferenceEngine::oldString() const
{
    return d->text(d->_old);
}

void QJDifferenceEngine::setNewString(const QString &text)
{
    d->setText(d->_new, text);
}

void QJDifferenceEngine::setOldString(const QString &text)
{
    d->setText(d->_old, text);
}

bool QJDifferenceEngine::setNewUtf8(const QByteArray &utf8)
{
    return d->setUtf8(d->_new, utf8);
}

bool QJDifferenceEngine::setOldUtf8(const QByteArray &utf8)
{
    return d->setUtf8(d->_old, utf8);
}

bool QJDifferenceEngine::setUtf8Strings(const QByteArray &oldUtf8, const QByteArray &newUtf8)
{
    // The two sides share nothing: each has its own text, tokens, table and buffers in the engine.
    bool oldValid = false;
    bool newValid = false;
    QJDiffCore::both(
        std::size_t(oldUtf8.size() + newUtf8.size()), [&] { oldValid = setOldUtf8(oldUtf8); },
        [&] { newValid = setNewUtf8(newUtf8); });
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

void QJDifferenceEngine::computeDifferencesDetailled(bool detailed)
{
    d->runs = d->engine->diff_runs();
    float same = 0;
    float changed = 0;
    for (const DiffRun &run : d->runs) {
        if (run.type == DiffOpCopy)
            same += float(run.from_end - run.from_begin);
        else
            changed += float(run.from_end - run.from_begin + run.to_end - run.to_begin);
    }
    d->_matchValue = same / (changed * 0.5f + same);
    if (!detailed)
        return;
    QList<DiffObject> differences;
    differences.reserve(qsizetype(d->runs.size()));
    for (const DiffRun &run : d->runs) {
        const DiffOperation op = d->engine->operation(run);
        differences.append(DiffObject(&op));
    }
    d->_differences = std::move(differences);
}

QList<DiffObject> QJDifferenceEngine::differences() const
{
    return d->_differences;
}

float QJDifferenceEngine::matchValue() const
{
    return d->_matchValue;
}
