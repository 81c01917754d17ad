// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QString>
#include <QStringView>

/** Removing characters from strings. */
namespace NSStringDeletion
{
/**
 * @return a copy of @p receiver without any U+0020 space. Tabs, line feeds and other blanks stay.
 *
 * @code
 * NSStringDeletion::stringByDeletingSpaces(u"1. 2 b"); // "1.2b"
 * @endcode
 */
QJKITCORE_EXPORT QString stringByDeletingSpaces(QStringView receiver);
} // namespace NSStringDeletion
