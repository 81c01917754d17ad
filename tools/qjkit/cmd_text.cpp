// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit compare / sort / stats / find / netencode / delete-spaces / fit: the text utilities.
#include "cli.h"

#include "NSStringDeletion.h"
#include "NSStringTextFinding.h"
#include "NaturalStringComparison.h"
#include "QJStringCounting.h"
#include "StringWebExtensions.h"
#include "measure.h"

#include <QFile>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringDecoder>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{
// "LOC:LEN", both unsigned 32-bit.
QJRange parseRange(const QString &option, const QString &text)
{
    const qsizetype colon = text.indexOf(u':');
    bool okLocation = false;
    bool okLength = false;
    const quint32 location = colon > 0 ? text.first(colon).toUInt(&okLocation) : 0;
    const quint32 length = colon > 0 ? text.sliced(colon + 1).toUInt(&okLength) : 0;
    if (!okLocation || !okLength)
        throw Cli::UsageError(u"option %1 needs LOC:LEN (two unsigned integers), not \"%2\""_s.arg(option, text));
    return {location, length};
}

QString rangeText(QJRange range)
{
    return u"%1:%2"_s.arg(range.location).arg(range.length);
}

const Cli::Registrar compare({
    .name = u"compare"_s,
    .arguments = u"natural|hex A B"_s,
    .summary = u"Compares A with B in the natural or hexanumerical ordering: prints -1, 0 or 1."_s,
    .minPositional = 3,
    .maxPositional = 3,
    .run =
        [](const Cli::Args &args) {
            const QString mode = args.at(0);
            int result;
            if (mode == u"natural")
                result = NaturalStringComparison::naturalCompare(args.at(1), args.at(2));
            else if (mode == u"hex")
                result = NaturalStringComparison::hexanumericalCompare(args.at(1), args.at(2));
            else
                throw Cli::UsageError(u"compare: the ordering is \"natural\" or \"hex\", not \"%1\""_s.arg(mode));
            Cli::printLine(QString::number(result));
            return 0;
        },
    .details = u"Runs of digits compare by value (\"file9\" < \"file10\"); with hex, a-f and A-F are digits too, "
               "so \"1.2.a\" > \"1.2.9\". Letters that differ only in case end the comparison as equal."_s,
});

// One input line: its UTF-16 text for comparing, its UTF-8 bytes for writing back unchanged.
struct Line
{
    const char16_t *text;
    quint32 length;
    quint32 index;
};

const Cli::Registrar sort({
    .name = u"sort"_s,
    .arguments = u"[FILE|-]"_s,
    .summary = u"Prints the lines sorted by the natural (or hexanumerical) ordering, equal lines kept in order."_s,
    .options = {{u"--hex"_s, QString(), u"Sorts by the hexanumerical ordering."_s}},
    .minPositional = 0,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            const QString file = args.at(0, u"-"_s);
            const QByteArray bytes = Cli::readInput(file);
            QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
            const QString text = decoder(bytes);
            if (decoder.hasError())
                throw Cli::UsageError(u"%1: not valid UTF-8 text"_s.arg(Cli::inputName(file)));

            // Line feeds are the same single unit in UTF-8 and UTF-16, so the k-th line feed of the
            // bytes is the k-th of the text; only a leading byte-order mark (dropped when decoding)
            // shifts the first line.
            std::vector<Line> lines;
            std::vector<qsizetype> byteStarts;
            lines.reserve(size_t(bytes.count('\n')) + 1);
            byteStarts.reserve(lines.capacity() + 1);
            const char16_t *s = QStringView(text).utf16();
            const char *b = bytes.constData();
            qsizetype from16 = 0;
            qsizetype from8 = (bytes.startsWith("\xEF\xBB\xBF") && !text.startsWith(QChar(0xFEFF))) ? 3 : 0;
            while (from16 < text.size()) {
                qsizetype lf16 = text.indexOf(u'\n', from16);
                const char *lf8 = static_cast<const char *>(std::memchr(b + from8, '\n', size_t(bytes.size() - from8)));
                if (lf16 < 0) {
                    lf16 = text.size();
                    lf8 = b + bytes.size();
                }
                lines.push_back({s + from16, quint32(lf16 - from16), quint32(lines.size())});
                byteStarts.push_back(from8);
                from16 = lf16 + 1;
                from8 = (lf8 - b) + 1;
            }
            byteStarts.push_back(from8);

            if (args.flag(u"--hex"_s)) {
                NaturalStringComparison::stableSort(lines.begin(), lines.end(), [](const Line &x, const Line &y) {
                    return NaturalStringComparison::hexanumericalCompare({x.text, x.length}, {y.text, y.length}) < 0;
                });
            } else {
                NaturalStringComparison::stableSort(lines.begin(), lines.end(), [](const Line &x, const Line &y) {
                    return NaturalStringComparison::naturalCompare({x.text, x.length}, {y.text, y.length}) < 0;
                });
            }

            QByteArray out;
            out.reserve(bytes.size() + 1);
            for (const Line &line : lines) {
                const qsizetype start = byteStarts[line.index];
                // The next line's start is one past this line's line feed (or past the end).
                const qsizetype end = byteStarts[line.index + 1] - 1;
                out.append(b + start, end - start);
                out.append('\n');
            }
            Cli::writeOut(out);
            return 0;
        },
    .details = u"A final line without a line feed counts as a line; every output line ends in a line feed."_s,
});

const Cli::Registrar stats({
    .name = u"stats"_s,
    .arguments = u"[FILE|-]"_s,
    .summary = u"Counts characters, display lines, paragraphs and words of the text (or of a range of it)."_s,
    .options =
        {
            {u"--range"_s, u"LOC:LEN"_s, u"Counts only this range of UTF-16 code units."_s},
            {u"--whole-words"_s, QString(), u"Widens the range to whole words first."_s},
            {u"--whole-lines"_s, QString(), u"Measures each paragraph over its whole line."_s},
            {u"--width"_s, u"N"_s, u"Code units per display line (0, the default, means 30)."_s},
            {u"--count-empty-lines"_s, QString(), u"Counts empty lines as paragraphs and lines."_s},
            {u"--count-spaces"_s, QString(), u"Counts spaces, tabs and line feeds as characters."_s},
            {u"--multiply"_s, u"M"_s, u"Adds M for every item counted (default 1)."_s},
        },
    .minPositional = 0,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            const quint32 width = quint32(args.integer(u"--width"_s, 0, 0, std::numeric_limits<quint32>::max()));
            const qint32 multiply = qint32(args.integer(
                u"--multiply"_s, 1, std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()));
            const QString file = args.at(0, u"-"_s);
            qint32 paragraphs = 0, lines = 0, chars = 0, words = 0;
            if (!args.has(u"--range"_s)) {
                // The whole text is counted as it is read, never held: the memory stays the same
                // however large the file.
                QJStringCounting::Utf8Counter counter(args.flag(u"--whole-lines"_s), width,
                    args.flag(u"--count-empty-lines"_s), args.flag(u"--count-spaces"_s));
                const auto invalid = [&] { return Cli::UsageError(u"%1: not valid UTF-8 text"_s.arg(Cli::inputName(file))); };
                Cli::readPieces(file, Cli::MaximumInputSize, [&](QByteArrayView piece) {
                    if (!counter.add(piece))
                        throw invalid();
                });
                if (counter.length() > std::numeric_limits<quint32>::max())
                    throw Cli::UsageError(u"the text is too long to count (%1 code units)"_s.arg(counter.length()));
                if (!counter.finish(&paragraphs, &lines, &chars, &words, multiply))
                    throw invalid();
            } else {
                const QJRange range = parseRange(u"--range"_s, args.value(u"--range"_s));
                const QString text = Cli::readText(file);
                if (range.end() > quint64(text.size()))
                    throw Cli::UsageError(
                        u"range %1 is outside the text (length %2)"_s.arg(rangeText(range)).arg(text.size()));
                QJStringCounting::countForRange(text, range, args.flag(u"--whole-words"_s),
                    args.flag(u"--whole-lines"_s), &paragraphs, &lines, &chars, &words, width,
                    args.flag(u"--count-empty-lines"_s), args.flag(u"--count-spaces"_s), multiply);
            }
            Cli::printJson(QJsonObject {
                {u"chars"_s, chars}, {u"lines"_s, lines}, {u"paragraphs"_s, paragraphs}, {u"words"_s, words}});
            return 0;
        },
    .details = u"Words are runs of anything but space, tab and line feed; only line feeds end paragraphs. "
               "Ranges and counts are in UTF-16 code units."_s,
});

const Cli::Registrar find({
    .name = u"find"_s,
    .arguments = u"NEEDLE [FILE|-]"_s,
    .summary = u"Finds NEEDLE after the selection (before it, backwards): prints \"LOC LEN\", or \"not found\"."_s,
    .options =
        {
            {u"--selection"_s, u"LOC:LEN"_s, u"The current selection (required); it is never searched."_s},
            {u"--backwards"_s, QString(), u"Searches before the selection, the last match first."_s},
            {u"--case-insensitive"_s, QString(), u"Ignores case."_s},
            {u"--regex"_s, QString(), u"NEEDLE is a regular expression."_s},
            {u"--wrap"_s, QString(), u"Searches the other side of the selection when nothing is found."_s},
        },
    .minPositional = 1,
    .maxPositional = 2,
    .run =
        [](const Cli::Args &args) {
            if (!args.has(u"--selection"_s))
                throw Cli::UsageError(u"find: the option --selection LOC:LEN is required"_s);
            const QJRange selection = parseRange(u"--selection"_s, args.value(u"--selection"_s));
            const QString needle = args.at(0);
            quint32 options = 0;
            if (args.flag(u"--backwards"_s))
                options |= NSStringTextFinding::BackwardsSearch;
            if (args.flag(u"--case-insensitive"_s))
                options |= NSStringTextFinding::CaseInsensitiveSearch;
            if (args.flag(u"--regex"_s)) {
                options |= NSStringTextFinding::RegularExpressionSearch;
                const QRegularExpression re(needle);
                if (!re.isValid())
                    throw Cli::UsageError(u"find: invalid regular expression \"%1\": %2"_s.arg(needle, re.errorString()));
            }
            const QString text = Cli::readText(args.at(1, u"-"_s));
            if (selection.end() > quint64(text.size()))
                throw Cli::UsageError(
                    u"selection %1 is outside the text (length %2)"_s.arg(rangeText(selection)).arg(text.size()));
            const QJRange found
                = NSStringTextFinding::findString(text, needle, selection, options, args.flag(u"--wrap"_s));
            if (found.length == 0) {
                Cli::printLine(u"not found"_s);
                return 1;
            }
            Cli::printLine(u"%1 %2"_s.arg(found.location).arg(found.length));
            return 0;
        },
    .details = u"Locations and lengths count UTF-16 code units. Without --regex, canonically equivalent text "
               "matches (a precomposed letter finds its decomposed form)."_s,
});

const Cli::Registrar netencode({
    .name = u"netencode"_s,
    .arguments = u"STRING..."_s,
    .summary = u"Percent-encodes every UTF-16 code unit of each STRING, one result per line."_s,
    .minPositional = 1,
    .maxPositional = -1,
    .run =
        [](const Cli::Args &args) {
            QString out;
            for (const QString &s : args.positional())
                out += StringWebExtensions::netEncode(s) + u'\n';
            Cli::writeOut(out);
            return 0;
        },
    .details = u"Letters and digits are encoded too; a code unit above 0xFF gives three or four digits (\"€\" is "
               "\"%20ac\")."_s,
});

const Cli::Registrar deleteSpaces({
    .name = u"delete-spaces"_s,
    .arguments = u"STRING"_s,
    .summary = u"Prints STRING without its spaces (tabs and other blanks stay)."_s,
    .minPositional = 1,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            Cli::printLine(NSStringDeletion::stringByDeletingSpaces(args.at(0)));
            return 0;
        },
});

#ifdef QJKIT_HAVE_GUI
const Cli::Registrar fit({
    .name = u"fit"_s,
    .arguments = u"STRING"_s,
    .summary = u"Fits STRING into a width with an ellipsis, measured in the small system font."_s,
    .options =
        {
            {u"--width"_s, u"W"_s, u"The width in points (required)."_s},
            {u"--keep-start"_s, QString(), u"Keeps the start (trimmed, line feeds as spaces) instead of the end."_s},
        },
    .minPositional = 1,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            if (!args.has(u"--width"_s))
                throw Cli::UsageError(u"fit: the option --width W is required"_s);
            bool ok = false;
            const float width = args.value(u"--width"_s).toFloat(&ok);
            if (!ok || !std::isfinite(width))
                throw Cli::UsageError(u"option --width needs a number, not \"%1\""_s.arg(args.value(u"--width"_s)));
            Cli::printLine(Cli::measureModule().fit(args.at(0), width, args.flag(u"--keep-start"_s)));
            return 0;
        },
    .details = u"The small system font is the general system font at 11 pixels; widths are in its units. Works "
               "without a display."_s,
    .needsGui = true,
});
#endif
} // namespace
