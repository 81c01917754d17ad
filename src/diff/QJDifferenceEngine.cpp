// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceEngine.h"

#include "DiffEngine.h"
#include "qjdifftokens_p.h"

#include <QByteArray>

#include <algorithm>
#include <array>
#include <cstring>

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

// Appends @p tokens to @p out, each followed by a blank, as UTF-8.
void appendJoined(QByteArray &out, const std::vector<const char *> &tokens)
{
    static constexpr std::string_view missing = "(null)";
    for (const char *token : tokens) {
        const std::string_view bytes(token);
        // A token cut inside a multi-byte character has no string form; the join shows what a
        // missing string formats as.
        const std::string_view shown = QJDiffTokenizer::isValidUtf8(bytes) ? bytes : missing;
        out.append(shown.data(), qsizetype(shown.size()));
        out.append(' ');
    }
}

QString joined(const std::vector<const char *> &tokens)
{
    if (tokens.empty())
        return u""_s;
    std::size_t size = 0;
    for (const char *token : tokens)
        size += std::strlen(token) + 1;
    QByteArray bytes;
    bytes.reserve(qsizetype(size));
    appendJoined(bytes, tokens);
    bytes.chop(1); // the blank after the last token
    return QString::fromUtf8(bytes);
}
} // namespace

bool QJDiffTokenizer::isValidUtf8(std::string_view bytes)
{
    const auto *p = reinterpret_cast<const unsigned char *>(bytes.data());
    const auto *end = p + bytes.size();
    while (p < end) {
        const unsigned char c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        int length;
        char32_t value;
        char32_t minimum;
        if ((c & 0xE0) == 0xC0) {
            length = 2;
            value = c & 0x1F;
            minimum = 0x80;
        } else if ((c & 0xF0) == 0xE0) {
            length = 3;
            value = c & 0x0F;
            minimum = 0x800;
        } else if ((c & 0xF8) == 0xF0) {
            length = 4;
            value = c & 0x07;
            minimum = 0x10000;
        } else {
            return false;
        }
        if (end - p < length)
            return false;
        for (int k = 1; k < length; ++k) {
            if ((p[k] & 0xC0) != 0x80)
                return false;
            value = (value << 6) | (p[k] & 0x3F);
        }
        if (value < minimum || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
            return false;
        p += length;
    }
    return true;
}

void QJDiffTokenizer::split(QJDiffTokens &out, const QString &text, int type)
{
    const QByteArray utf8 = text.toUtf8();
    // Deliberately the UTF-16 length: a text beyond ASCII has its last bytes left out. The UTF-8
    // form is never shorter, so the bound only guards.
    const qsizetype n = std::min(text.size(), utf8.size());
    const auto *bytes = reinterpret_cast<const unsigned char *>(utf8.constData());
    const ByteClasses &classes = classesFor(type);

    out.tokens.clear();
    out.arena.clear();
    // Every token is a slice of the scanned bytes plus its NUL, and tokens never overlap, so 2n
    // bytes always suffice: the arena never moves and the pointers into it stay valid.
    std::vector<char>().swap(out.arena);
    out.arena.reserve(std::size_t(2 * n));

    auto emit = [&](qsizetype from, qsizetype to) {
        out.tokens.push_back(out.arena.data() + out.arena.size());
        out.arena.insert(out.arena.end(), utf8.constData() + from, utf8.constData() + to);
        out.arena.push_back('\0');
    };

    qsizetype start = -1; // the pending token's first byte; -1 while there is none
    for (qsizetype i = 0; i < n; ++i) {
        const unsigned char c = classes[bytes[i]];
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
