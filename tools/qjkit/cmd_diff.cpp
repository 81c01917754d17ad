// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit diff: compares two text files as words, lines or punctuated words.
#include "cli.h"

#include <QJDifferenceEngine.h>
#include <QJDifferenceHtml.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <charconv>
#include <cmath>

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

// Writes {"differences":[…],"match":M} exactly as QJsonDocument writes the whole object in compact
// form, one difference at a time so that the document is never held whole.
void printDifferences(const QList<DiffObject> &differences, float match)
{
    QByteArray out = "{\"differences\":[";
    for (qsizetype i = 0; i < differences.size(); ++i) {
        const DiffObject &d = differences.at(i);
        if (i > 0)
            out += ',';
        out += QJsonDocument(QJsonObject {{u"new"_s, d.newValue()}, {u"old"_s, d.oldValue()}, {u"type"_s, d.type()}})
                   .toJson(QJsonDocument::Compact);
        if (out.size() > (1 << 20)) {
            Cli::writeOut(out);
            out.clear();
        }
    }
    const QByteArray number = QJsonDocument(QJsonArray {matchJson(match)}).toJson(QJsonDocument::Compact);
    out += "],\"match\":";
    out += number.mid(1, number.size() - 2);
    out += "}\n";
    Cli::writeOut(out);
}

const Cli::Registrar diff({
    .name = u"diff"_s,
    .arguments = u"OLD NEW"_s,
    .summary = u"Compares two UTF-8 text files and prints their differences and match value as JSON."_s,
    .options = {{u"--type"_s, u"TYPE"_s, u"words, lines (the default), punctuation, or a number"_s},
        {u"--html"_s, QString(), u"prints an HTML fragment with deletions and additions marked"_s}},
    .minPositional = 2,
    .maxPositional = 2,
    .run =
        [](const Cli::Args &args) {
            const int type = comparisonType(args);
            if (args.at(0) == u"-" && args.at(1) == u"-")
                throw Cli::UsageError(u"diff: OLD and NEW cannot both be standard input"_s);
            QJDifferenceEngine engine;
            engine.setComparisonType(type);
            engine.setOldString(Cli::readText(args.at(0)));
            engine.setNewString(Cli::readText(args.at(1)));
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
