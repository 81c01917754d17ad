// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDifferenceJson.h"

#include "qjdiffcore_p.h"
#include "qjdifferenceengine_p.h"

#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>

#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>

namespace
{
// Appends @p text to @p out as a JSON string, escaped as QJsonDocument escapes it. Written here
// rather than taken from QJsonDocument, which would first build a UTF-16 copy of every run.
void appendString(QByteArray &out, QByteArrayView text)
{
    static constexpr char hex[] = "0123456789abcdef";
    out += '"';
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
            // An unchanged run holds one text on both sides: escape it once.
            out.reserve(out.size() + newLength);
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

// Gives the document to @p take in pieces. A long list of runs is cut into chunks of about a
// megabyte, formatted two at a time side by side and given in order. @return false as soon as
// @p take does.
bool writeDocument(const QJDifferenceEngine &engine, const std::function<bool(const QByteArray &)> &take)
{
    const QJDifferenceEnginePrivate &d = QJDifferenceEnginePrivate::get(engine);
    constexpr std::size_t chunkTokens = 1 << 17; // text counted in tokens, an unchanged run's twice
    std::vector<std::size_t> bounds {0};
    std::size_t tokens = 0;
    for (std::size_t i = 0; i < d.runs.size(); ++i) {
        const DiffRun &run = d.runs[i];
        tokens += std::size_t(run.type == DiffOpCopy ? 2 * (run.from_end - run.from_begin)
                                                     : run.from_end - run.from_begin + run.to_end - run.to_begin);
        if (tokens >= chunkTokens || i + 1 == d.runs.size()) {
            bounds.push_back(i + 1);
            tokens = 0;
        }
    }
    QByteArray first = "{\"differences\":[";
    QByteArray second;
    QByteArray firstText;
    QByteArray secondText;
    for (std::size_t k = 0; k + 1 < bounds.size(); k += 2) {
        const bool pair = k + 2 < bounds.size();
        QJDiffCore::both(
            pair ? 2 * chunkTokens : 0, [&] { appendRuns(first, firstText, d, bounds[k], bounds[k + 1]); },
            [&] {
                if (pair)
                    appendRuns(second, secondText, d, bounds[k + 1], bounds[k + 2]);
            });
        if (!take(first) || (pair && !take(second)))
            return false;
        first.truncate(0); // keeps its room for the next chunk
        second.truncate(0);
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
