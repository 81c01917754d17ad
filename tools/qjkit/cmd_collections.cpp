// SPDX-License-Identifier: LGPL-2.1-or-later
// qjkit plist keypaths / merge / localize: the collection utilities on property-list files.
#include "cli.h"
#include "plistio.h"

#include "QJBundle.h"
#include "QJDictionaryExtensions.h"
#include "QJPlistLocalization.h"
#include "QJPropertyListSerialization.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
// Every table NAME.strings under DIR must parse; at least one must exist.
void checkStringsTables(const QString &dir, const QString &table)
{
    const QString resources = QJBundle(dir).resourcePath();
    QStringList files;
    const QString plain = resources + u'/' + table + u".strings"_s;
    if (QFileInfo::exists(plain))
        files.append(plain);
    const QStringList folders = QDir(resources).entryList({u"*.lproj"_s}, QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &folder : folders) {
        const QString file = resources + u'/' + folder + u'/' + table + u".strings"_s;
        if (QFileInfo::exists(file))
            files.append(file);
    }
    if (files.isEmpty())
        throw Cli::UsageError(u"%1: no strings table \"%2.strings\" in any <lang>.lproj folder"_s.arg(dir, table));
    for (const QString &file : std::as_const(files)) {
        QString error;
        if (QJPropertyListSerialization::stringsTableFromFile(file, &error).isNone())
            throw Cli::UsageError(u"%1: %2"_s.arg(file, error));
    }
}

const Cli::Registrar keypaths({
    .name = u"plist keypaths"_s,
    .arguments = u"[FILE|-]"_s,
    .summary = u"Lists every key path of a dictionary property list, one per line, sorted."_s,
    .minPositional = 0,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            const QString file = args.at(0, u"-"_s);
            QStringList paths = QJDictionaryExtensions::allKeyPaths(Cli::readDictionary(file, QJMutability::Mutable));
            std::sort(paths.begin(), paths.end()); // by UTF-16 code unit
            for (const QString &path : std::as_const(paths))
                Cli::printLine(path);
            return 0;
        },
    .details = u"Nested dictionaries are listed as \"key.subkey\"; an empty nested dictionary gives no line."_s,
});

const Cli::Registrar merge({
    .name = u"plist merge"_s,
    .arguments = u"BASE OVERLAY"_s,
    .summary = u"Merges OVERLAY into BASE, dictionaries deeply, and prints the result as an XML property list."_s,
    .minPositional = 2,
    .maxPositional = 2,
    .run =
        [](const Cli::Args &args) {
            const QJDictionary base = Cli::readDictionary(args.at(0), QJMutability::Mutable);
            const QJDictionary overlay = Cli::readDictionary(args.at(1), QJMutability::Immutable);
            QJDictionaryExtensions::recursiveAddEntriesFromDictionary(base, overlay);
            Cli::printPropertyList(base, args.at(0));
            return 0;
        },
    .details = u"Nested dictionaries merge key by key; an array or any other value of OVERLAY replaces "
               "BASE's value. Keys that OVERLAY lacks keep BASE's values."_s,
});

const Cli::Registrar localize({
    .name = u"plist localize"_s,
    .arguments = u"[FILE|-]"_s,
    .summary
    = u"Replaces every string value by its translation from DIR/<lang>.lproj/NAME.strings and prints the list."_s,
    .options = {{u"--table"_s, u"NAME"_s, u"The strings table, NAME.strings (required)."_s},
        {u"--strings-dir"_s, u"DIR"_s, u"The folder holding the <lang>.lproj folders (required)."_s}},
    .minPositional = 0,
    .maxPositional = 1,
    .run =
        [](const Cli::Args &args) {
            if (!args.has(u"--table"_s) || args.value(u"--table"_s).isEmpty())
                throw Cli::UsageError(u"plist localize: --table NAME is required"_s);
            if (!args.has(u"--strings-dir"_s))
                throw Cli::UsageError(u"plist localize: --strings-dir DIR is required"_s);
            const QString table = args.value(u"--table"_s);
            const QString dir = args.value(u"--strings-dir"_s);
            if (!QFileInfo(dir).isDir())
                throw Cli::UsageError(u"%1: no such folder"_s.arg(dir));
            checkStringsTables(dir, table);

            const QString file = args.at(0, u"-"_s);
            const QJValue plist = Cli::readPropertyList(file, QJMutability::Mutable);
            // Nested containers take their strings from the main bundle: make DIR the main bundle
            // too, so the whole tree is localized from it.
            QJBundle::setMainBundlePath(dir);
            const QJBundle bundle(dir);
            if (plist.isDictionary())
                QJPlistLocalization::localizeUsingTable(plist.toDictionary(), table, bundle);
            else if (plist.isArray())
                QJPlistLocalization::localizeUsingTable(plist.toArray(), table, bundle);
            else
                throw Cli::UsageError(
                    u"%1: the property list is not an array or a dictionary"_s.arg(Cli::inputName(file)));
            Cli::printPropertyList(plist, file);
            return 0;
        },
    .details = u"Keys are never translated; numbers, dates and data stay, and a string the table lacks stays "
               "as it is. Languages are tried in the user's order (LANGUAGE, LC_ALL, LC_MESSAGES, LANG), then "
               "\"en\". DIR serves as both the given bundle and the main bundle, so nested arrays and "
               "dictionaries are translated from DIR as well."_s,
});
} // namespace
