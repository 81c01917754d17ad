// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceEngine.h"

#include "DiffEngine.h"
#include "qjdifftokens_p.h"

#include <QByteArray>
#include <QStringDecoder>
#include <QtEndian>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>

using namespace Qt::StringLiterals;

namespace
{
enum ByteClass : unsigned char {
    Ordinary = 0,
    Separator = 1, // ends a token and is dropped
    StartsToken = 2, // ends a token and starts the next one, unless there was no token to end
};

using ByteClasses = std::array<unsigned char, 256>;

constexpr ByteClasses byteClasses(int type)
{
    ByteClasses classes {};
    switch (type) {
    case ComparisonWords:
        classes[' '] = Separator;
        classes['\n'] = Separator;
        break;
    case ComparisonLines:
        classes['\n'] = Separator;
        break;
    case ComparisonPunctuation:
        classes[' '] = Separator;
        classes['\n'] = Separator;
        for (unsigned char c : {'!', ',', '.', '?', ':', '(', ')'})
            classes[c] = StartsToken;
        break;
    default:
        break;
    }
    return classes;
}

constexpr ByteClasses wordClasses = byteClasses(ComparisonWords);
constexpr ByteClasses lineClasses = byteClasses(ComparisonLines);
constexpr ByteClasses punctuationClasses = byteClasses(ComparisonPunctuation);
constexpr ByteClasses wholeClasses = byteClasses(-1);

const ByteClasses &classesFor(int type)
{
    switch (type) {
    case ComparisonWords:
        return wordClasses;
    case ComparisonLines:
        return lineClasses;
    case ComparisonPunctuation:
        return punctuationClasses;
    default:
        return wholeClasses;
    }
}

// The index of the first separator of type @p type (words or lines; any other type but
// punctuation has none) at or after @p i, or @p n. Eight bytes at a time.
qsizetype nextSeparator(const char *bytes, qsizetype i, qsizetype n, int type)
{
    if (type != ComparisonWords && type != ComparisonLines)
        return n;
    constexpr quint64 ones = 0x0101010101010101ull;
    constexpr quint64 highs = 0x8080808080808080ull;
    const auto hasByte = [](quint64 w, unsigned char b) {
        const quint64 v = w ^ (b * ones);
        return (v - ones) & ~v & highs;
    };
    for (; n - i >= 8; i += 8) {
        // Byte k of the text is byte k of the word, so the lowest flagged byte is the first
        // separator (a false flag can only follow a true one).
        const quint64 w = qFromLittleEndian<quint64>(bytes + i);
        if (const quint64 found = hasByte(w, '\n') | (type == ComparisonWords ? hasByte(w, ' ') : 0))
            return i + std::countr_zero(found) / 8;
    }
    while (i < n && bytes[i] != '\n' && (type != ComparisonWords || bytes[i] != ' '))
        ++i;
    return i;
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
} // namespace

void QJDiffTokenizer::split(QJDiffTokens &out, const QString &text, int type)
{
    out.tokens.clear();
    out.tokens.shrink_to_fit();
    out.storage = text.toUtf8();
    // Deliberately the UTF-16 length: a text beyond ASCII has its last bytes left out. The UTF-8
    // form is never shorter, so the bound only guards.
    const qsizetype n = std::min(text.size(), out.storage.size());
    char *bytes = out.storage.data();
    const ByteClasses &classes = classesFor(type);

    if (type != ComparisonPunctuation) {
        // Every token ends at a dropped separator or at the end of the scan, so the UTF-8 form
        // itself holds the tokens once each such byte is a NUL (past the last byte there is one).
        // A token and its separator take two bytes at least: the array never grows, and the
        // room it does not use is never touched.
        out.tokens.reserve(std::size_t(n / 2 + 1));
        for (qsizetype i = 0; i < n;) {
            while (i < n && classes[static_cast<unsigned char>(bytes[i])] != Ordinary)
                ++i;
            if (i == n)
                break;
            out.tokens.push_back(bytes + i);
            i = nextSeparator(bytes, i, n, type);
            if (i < n)
                bytes[i++] = '\0'; // the separator, scanned
            else if (n < out.storage.size())
                bytes[n] = '\0'; // the first byte left out of the scan
        }
        return;
    }

    // A punctuation mark ends one token and starts the next, so each token is copied, into one
    // buffer: a first pass finds its size.
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
    QByteArray copies(size, Qt::Uninitialized);
    char *w = copies.data();
    scan([&](qsizetype from, qsizetype to) {
        out.tokens.push_back(w);
        std::memcpy(w, bytes + from, std::size_t(to - from));
        w += to - from;
        *w++ = '\0';
    });
    out.storage = std::move(copies);
}

DiffObject::DiffObject(const DiffOperation *op)
    : _newValue(joined(op->to)), _oldValue(op->from == op->to ? _newValue : joined(op->from)), _type(op->type)
{ }

QJDifferenceEngine::QJDifferenceEngine()
    : engine(std::make_unique<DiffEngine>()),
      _newString(u""_s),
      _oldString(u""_s),
      _oldobj(std::make_unique<QJDiffTokens>()),
      _newobj(std::make_unique<QJDiffTokens>())
{
    // Both tables exist from the start, so a side that was never set compares as empty.
    engine->set_from(_oldobj->tokens.data(), 0);
    engine->set_to(_newobj->tokens.data(), 0);
}

QJDifferenceEngine::~QJDifferenceEngine() = default;

void QJDifferenceEngine::setNewString(const QString &text)
{
    _newString = text;
    QJDiffTokenizer::split(*_newobj, text, _comparisonType);
    _nnewobj = unsigned(_newobj->tokens.size());
    engine->set_to(_newobj->tokens.data(), int(_nnewobj));
}

void QJDifferenceEngine::setOldString(const QString &text)
{
    _oldString = text;
    QJDiffTokenizer::split(*_oldobj, text, _comparisonType);
    _noldobj = unsigned(_oldobj->tokens.size());
    engine->set_from(_oldobj->tokens.data(), int(_noldobj));
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
