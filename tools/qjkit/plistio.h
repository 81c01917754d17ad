// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"

#include <QString>

namespace Cli
{
/** Reads a property list (any readable format); a usage error "FILE: reason" when it cannot. */
QJValue readPropertyList(const QString &file, QJMutability mutability = QJMutability::Immutable);
/** Reads a property list whose top level must be a dictionary. */
QJDictionary readDictionary(const QString &file, QJMutability mutability = QJMutability::Immutable);
/** Writes @p plist to standard output as an XML property list; @p file names the input in errors. */
void printPropertyList(const QJValue &plist, const QString &file);
/** Prints a leaf as plain text (strings as themselves, booleans as true/false), a container as XML. */
void printValue(const QJValue &value, const QString &file);
} // namespace Cli
