// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit diff: compares two text files as words, lines or punctuated words.
#include "cli.h"

#include <QJDifferenceEngine.h>
#include <QJDifferenceHtml.h>
#include <QJDifferenceJson.h>

#include <optional>

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

Cli::UsageError invalidText(const QString &file)
{
    return Cli::UsageError(u"%1: not valid UTF-8 text"_s.arg(Cli::inputName(file)));
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
            // The engine keeps the texts' bytes: the inputs must outlive it.
            const Cli::Input oldInput(args.at(0));
            std::optional<Cli::Input> newInput;
            try {
                newInput.emplace(args.at(1));
            } catch (const Cli::UsageError &) {
                if (!QByteArrayView(oldInput.bytes).isValidUtf8())
                    throw invalidText(args.at(0)); // the old text's fault comes first
                throw;
            }
            QJDifferenceEngine engine;
            engine.setComparisonType(type);
            if (!engine.setUtf8Strings(oldInput.bytes, newInput->bytes))
                throw invalidText(QByteArrayView(oldInput.bytes).isValidUtf8() ? args.at(1) : args.at(0));
            engine.computeMatchValueOnly(); // the writers take the runs, not DiffObjects
            if (args.flag(u"--html"_s)) {
                Cli::writeOut(QJDifferenceHtml::htmlFragment(engine) + '\n');
            } else {
                Cli::writeTo([&engine](QIODevice *out) { return QJDifferenceJson::write(engine, out); });
                Cli::writeOut(QByteArray("\n"));
            }
            return 0;
        },
    .details = u"Output: {\"differences\":[{\"new\":…,\"old\":…,\"type\":T},…],\"match\":M}, T being 0 unchanged, "
               "1 changed, 2 deleted, 3 added; tokens are joined with single blanks. M is the share of unchanged "
               "tokens when each changed token weighs half (null when both texts have no tokens). Tokens that only "
               "moved count as unchanged. A number as TYPE other than 0, 1 or 2 compares each text as one token."_s,
});
} // namespace
