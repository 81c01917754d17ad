// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit plist convert / get: reading property lists of any format.
#include "cli.h"
#include "plistio.h"

using namespace Qt::StringLiterals;

namespace
{
const Cli::Registrar convert({
    .name = u"plist convert"_s,
    .arguments = u"[FILE|-]"_s,
    .summary = u"Reads an XML, binary or old-style property list and writes it as an XML property list."_s,
    .minPositional = 0,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            const QString file = args.at(0, u"-"_s);
            Cli::printPropertyList(Cli::readPropertyList(file), file);
            return 0;
        },
});

const Cli::Registrar get({
    .name = u"plist get"_s,
    .arguments = u"KEYPATH [FILE|-]"_s,
    .summary
    = u"Prints the value at KEYPATH (keys joined by \".\"): text, a number, true/false, or XML for a container."_s,
    .minPositional = 1,
    .maxPositional = 2,
    .run =
        [](const Cli::Args &args) {
            const QString file = args.at(1, u"-"_s);
            const QJValue value = Cli::readPropertyList(file).valueForKeyPath(args.at(0));
            if (value.isNone())
                throw Cli::NothingError(u"%1: nothing at the key path \"%2\""_s.arg(Cli::inputName(file), args.at(0)));
            Cli::printValue(value, file);
            return 0;
        },
    .details
    = u"Dates print in ISO 8601 (UTC), data in base64. An array on the path gives the value of each of its elements."_s,
});
} // namespace
