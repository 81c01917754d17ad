// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceJson.h"

#include "qjdiffcore_p.h"
#include "qjdifferenceengine_p.h"

#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>

namespace
{
// Appends @p text to @p out escaped for a JSON string as QJsonDocument escapes it. Written here
// rather than taken from QJsonDocument, which would first build a UTF-16 copy of every run.
void appendEscaped(QByteArray &out, QByteArrayView text)
{
    static constexpr char hex[] = "0123456789abcdef";
    const char *p = text.data();
    const char *end = p + text.size();
    // Whether any of eight bytes is a control character, a quote or a backslash.
    const auto needsEscape = [](quint64 w) {
        constexpr quint64 ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
        const auto hasZero = [](quint64 v) { return (v - ones) & ~v & highs; };
        return ((w - 0x20 * ones) & ~w & highs) | hasZero(w ^ ('"' * ones)) | hasZero(w ^ ('\\' * ones));
    };
    while (p < end) {
        const char *plain = p;
        for (quint64 w; end - p >= 8 && (std::memcpy(&w, p, 8), !needsEscape(w));)
            p += 8;
        while (p < end && static_cast<unsigned char>(*p) >= 0x20 && *p != '"' && *p != '\\')
            ++p;
        out.append(plain, p - plain);
        if (p == end)
            break;
        const unsigned char c = static_cast<unsigned char>(*p++);
        switch (c) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\b':
            out += "\\b";
            break;
        case '\f':
            out += "\\f";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += "\\u00";
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
}

void appendString(QByteArray &out, QByteArrayView text)
{
    out += '"';
    appendEscaped(out, text);
    out += '"';
}

// Appends runs [begin, end) as the objects of the "differences" array, each after a comma but the
// very first one. @p text is scratch space.
void appendRuns(
    QByteArray &out, QByteArray &text, const QJDifferenceEnginePrivate &d, std::size_t begin, std::size_t end)
{
    for (std::size_t i = begin; i < end; ++i) {
        const DiffRun &run = d.runs[i];
        out += i > 0 ? ",{\"new\":" : "{\"new\":";
        text.truncate(0);
        QJDifferenceEnginePrivate::appendJoined(text, d.newTokens(run));
        const qsizetype newStart = out.size();
        appendString(out, text);
        const qsizetype newLength = out.size() - newStart;
        out += ",\"old\":";
        if (run.type == DiffOpCopy) {
            // An unchanged run holds one text on both sides: escape it once. The copy comes from the
            // buffer itself, which must not move meanwhile; it grows as appending would grow it.
            if (out.capacity() < out.size() + newLength)
                out.reserve(std::max(2 * out.capacity(), out.size() + newLength));
            out.append(out.constData() + newStart, newLength);
        } else {
            text.truncate(0);
            QJDifferenceEnginePrivate::appendJoined(text, d.oldTokens(run));
            appendString(out, text);
        }
        out += ",\"type\":";
        out += QByteArray::number(run.type);
        out += '}';
    }
}

// The match value as QJsonDocument writes the shortest single-precision decimal ("0.6666667", not
// the digits of the double it widens to); null when it is not a number.
QByteArray matchText(float match)
{
    if (std::isnan(match))
        return "null";
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, match).ptr;
    const QJsonArray number {QByteArray(digits, end - digits).toDouble()};
    const QByteArray array = QJsonDocument(number).toJson(QJsonDocument::Compact);
    return array.mid(1, array.size() - 2);
}

using Take = std::function<bool(const QByteArray &)>;

// Text is formatted in chunks of about a megabyte, measured in the bytes the tokens span: a count
// of tokens would make chunks of long lines a hundred times larger than chunks of words, buffers
// that no longer stay in the cache and are faulted in afresh.
constexpr std::size_t chunkBytes = 1 << 20;

std::size_t bytes(std::span<const char *const> tokens)
{
    return std::size_t(QJDifferenceEnginePrivate::stretch(tokens).size());
}

// Appends run @p i, longer than a chunk, a part at a time, giving @p out to @p take whenever it
// has grown to a chunk: such a run is never held whole.
bool appendLongRun(QByteArray &out, const QJDifferenceEnginePrivate &d, std::size_t i, const Take &take)
{
    const DiffRun &run = d.runs[i];
    QByteArray text;
    const auto side = [&](std::span<const char *const> tokens) {
        const int valid = QJDifferenceEnginePrivate::isValid(tokens) ? 1 : 0;
        out += '"';
        for (std::size_t at = 0, next; at < tokens.size(); at = next) {
            // The part ends at the first token a chunk past its start; tokens lie in text order.
            const char *start = tokens[at];
            next = std::size_t(std::partition_point(tokens.begin() + qsizetype(at) + 1, tokens.end(),
                                   [start](const char *t) { return std::size_t(t - start) < chunkBytes; })
                - tokens.begin());
            text.truncate(0);
            QJDifferenceEnginePrivate::appendJoinedPart(text, tokens.subspan(at, next - at), at == 0, valid);
            appendEscaped(out, text);
            if (!take(out))
                return false;
            out.truncate(0);
        }
        out += '"';
        return true;
    };
    out += i > 0 ? ",{\"new\":" : "{\"new\":";
    if (!side(d.newTokens(run)))
        return false;
    out += ",\"old\":";
    if (!side(d.oldTokens(run)))
        return false;
    out += ",\"type\":";
    out += QByteArray::number(run.type);
    out += '}';
    return true;
}

// Gives the document to @p take in pieces: the runs in chunks, formatted two at a time side by
// side, and given in order. @return false as soon as @p take does.
bool writeDocument(const QJDifferenceEngine &engine, const Take &take)
{
    const QJDifferenceEnginePrivate &d = QJDifferenceEnginePrivate::get(engine);
    // The chunks' first runs; a run longer than a chunk is one of its own.
    std::vector<std::size_t> bounds {0};
    std::vector<bool> longRun;
    std::size_t chunk = 0;
    for (std::size_t i = 0; i < d.runs.size(); ++i) {
        const DiffRun &run = d.runs[i];
        const std::size_t length
            = run.type == DiffOpCopy ? 2 * bytes(d.oldTokens(run)) : bytes(d.oldTokens(run)) + bytes(d.newTokens(run));
        if (length > chunkBytes && chunk > 0) {
            bounds.push_back(i);
            longRun.push_back(false);
            chunk = 0;
        }
        chunk += length;
        if (chunk >= chunkBytes || i + 1 == d.runs.size()) {
            bounds.push_back(i + 1);
            longRun.push_back(length > chunkBytes);
            chunk = 0;
        }
    }
    QByteArray first = "{\"differences\":[";
    QByteArray second;
    QByteArray firstText;
    QByteArray secondText;
    for (std::size_t k = 0; k < longRun.size();) {
        if (longRun[k]) {
            if (!appendLongRun(first, d, bounds[k], take))
                return false;
            ++k;
            continue;
        }
        const bool pair = k + 1 < longRun.size() && !longRun[k + 1];
        QJDiffCore::both(
            pair ? 2 * chunkBytes : 0, [&] { appendRuns(first, firstText, d, bounds[k], bounds[k + 1]); },
            [&] {
                if (pair)
                    appendRuns(second, secondText, d, bounds[k + 1], bounds[k + 2]);
            });
        if (!take(first) || (pair && !take(second)))
            return false;
        first.truncate(0); // keeps its room for the next chunk
        second.truncate(0);
        k += pair ? 2 : 1;
    }
    first += "],\"match\":";
    first += matchText(d._matchValue);
    first += '}';
    return take(first);
}
} // namespace

QByteArray QJDifferenceJson::document(const QJDifferenceEngine &engine)
{
    QByteArray json;
    writeDocument(engine, [&json](const QByteArray &piece) {
        json += piece;
        return true;
    });
    return json;
}

bool QJDifferenceJson::write(const QJDifferenceEngine &engine, QIODevice *device)
{
    return writeDocument(engine, [device](const QByteArray &piece) { return device->write(piece) == piece.size(); });
}
