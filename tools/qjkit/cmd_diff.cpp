// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit diff: compares two text files as words, lines or punctuated words.
#include "cli.h"

#include <QJDifferenceEngine.h>
#include <QJDifferenceHtml.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStringDecoder>

#include <charconv>
#include <cmath>
#include <cstring>

using namespace Qt::StringLiterals;

namespace
{
int comparisonType(const Cli::Args &args)
{
    const QString type = args.value(u"--type"_s, u"lines"_s);
    if (type == u"words")
        return ComparisonWords;
    if (type == u"lines")
        return ComparisonLines;
    if (type == u"punctuation")
        return ComparisonPunctuation;
    bool ok = false;
    const int number = type.toInt(&ok);
    if (!ok)
        throw Cli::UsageError(u"diff: --type needs words, lines, punctuation or a number, not \"%1\""_s.arg(type));
    return number;
}

// The match value as its shortest single-precision decimal ("0.6666667", not the digits of the
// double it widens to); null when it is not a number.
QJsonValue matchJson(float match)
{
    if (std::isnan(match))
        return QJsonValue(QJsonValue::Null);
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, match).ptr;
    return QJsonValue(QByteArray(digits, end - digits).toDouble());
}

// Appends @p text to @p out as a JSON string, escaped as QJsonDocument escapes it.
void appendJsonString(QByteArray &out, const QString &text)
{
    static constexpr char hex[] = "0123456789abcdef";
    const QByteArray utf8 = text.toUtf8();
    out += '"';
    const char *p = utf8.constData();
    const char *end = p + utf8.size();
    // Whether any of eight bytes is a control character, a quote or a backslash.
    auto needsEscape = [](quint64 w) {
        constexpr quint64 ones = 0x0101010101010101ull, highs = 0x8080808080808080ull;
        auto hasZero = [](quint64 v) { return (v - ones) & ~v & highs; };
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

// Writes {"differences":[…],"match":M} exactly as QJsonDocument writes the whole object in compact
// form, streaming it so that the document is never held whole.
void printDifferences(const QList<DiffObject> &differences, float match)
{
    QByteArray out = "{\"differences\":[";
    for (qsizetype i = 0; i < differences.size(); ++i) {
        const DiffObject &d = differences.at(i);
        const QString newValue = d.newValue(), oldValue = d.oldValue();
        out += i > 0 ? ",{\"new\":" : "{\"new\":";
        const qsizetype newStart = out.size();
        appendJsonString(out, newValue);
        const qsizetype newEnd = out.size();
        out += ",\"old\":";
        // An unchanged run usually holds one string on both sides: escape it once.
        if (oldValue.constData() == newValue.constData() && oldValue.size() == newValue.size())
            out += out.mid(newStart, newEnd - newStart);
        else
            appendJsonString(out, oldValue);
        out += ",\"type\":";
        out += QByteArray::number(d.type());
        out += '}';
        if (out.size() > (1 << 20)) {
            Cli::writeOut(out);
            out.truncate(0); // keeps the buffer
        }
    }
    const QByteArray number = QJsonDocument(QJsonArray {matchJson(match)}).toJson(QJsonDocument::Compact);
    out += "],\"match\":";
    out += number.mid(1, number.size() - 2);
    out += "}\n";
    Cli::writeOut(out);
}

// Reads a text file as Cli::readText() does, but maps a regular file instead of copying it.
QString readText(const QString &file)
{
    QFile f(file);
    if (file == u"-" || !f.open(QIODevice::ReadOnly) || f.size() == 0)
        return Cli::readText(file);
    const uchar *mapped = f.map(0, f.size());
    if (!mapped)
        return Cli::readText(file);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(QByteArrayView(mapped, f.size()));
    if (decoder.hasError())
        throw Cli::UsageError(u"%1: not valid UTF-8 text"_s.arg(file));
    return text;
}

const Cli::Registrar diff({
    .name = u"diff"_s,
    .arguments = u"OLD NEW"_s,
    .summary = u"Compares two UTF-8 text files and prints their differences and match value as JSON."_s,
    .options = {{u"--type"_s, u"TYPE"_s, u"Words, lines (the default), punctuation, or a number."_s},
        {u"--html"_s, QString(), u"Prints an HTML fragment with deletions and additions marked."_s}},
    .minPositional = 2,
    .maxPositional = 2,
    .run =
        [](const Cli::Args &args) {
            const int type = comparisonType(args);
            if (args.at(0) == u"-" && args.at(1) == u"-")
                throw Cli::UsageError(u"diff: OLD and NEW cannot both be standard input"_s);
            QJDifferenceEngine engine;
            engine.setComparisonType(type);
            engine.setOldString(readText(args.at(0)));
            engine.setNewString(readText(args.at(1)));
            engine.computeDifferences();
            if (args.flag(u"--html"_s))
                Cli::printLine(QJDifferenceHtml::htmlFragment(engine.differences()));
            else
                printDifferences(engine.differences(), engine.matchValue());
            return 0;
        },
    .details = u"Output: {\"differences\":[{\"new\":…,\"old\":…,\"type\":T},…],\"match\":M}, T being 0 unchanged, "
               "1 changed, 2 deleted, 3 added; tokens are joined with single blanks. M is the share of unchanged "
               "tokens when each changed token weighs half (null when both texts have no tokens). Tokens that only "
               "moved count as unchanged. A number as TYPE other than 0, 1 or 2 compares each text as one token."_s,
});
} // namespace
