// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QList>
#include <QString>

namespace QJFormat
{
/**
 * Fills a format in the platform's printf style: "%@" takes an argument's description (a string
 * as itself, nothing as "(null)"), "%d", "%i", "%u", "%x", "%f", "%g", "%s" and the like take
 * numbers and strings, "%%" is a percent sign, and "%2$@" picks an argument by position.
 * Length modifiers (l, ll, q, h, z) are accepted and ignored. A missing argument prints "(null)".
 *
 * @code
 * QJFormat::format(u"Version %@ (%@)"_s, {u"1.2"_s, 42}); // "Version 1.2 (42)"
 * @endcode
 */
QJKITCORE_EXPORT QString format(const QString &format, const QList<QJValue> &arguments);
} // namespace QJFormat
