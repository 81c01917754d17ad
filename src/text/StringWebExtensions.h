// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QString>
#include <QStringView>

/** Percent-encoding of request parameters. */
namespace StringWebExtensions
{
/**
 * @return @p receiver with every UTF-16 code unit written as "%" and its value in lower-case
 * hexadecimal, at least two digits. Nothing is left unencoded, and a code unit above 0xFF gives
 * three or four digits ("€" becomes "%20ac"); the receiving side decodes it the same way.
 *
 * @code
 * StringWebExtensions::netEncode(u"a b"); // "%61%20%62"
 * @endcode
 */
QJKITCORE_EXPORT QString netEncode(QStringView receiver);
} // namespace StringWebExtensions
