// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QDateTime>

/** Building calendar dates (QDateTime in local time) from parts of others. */
namespace QJDateExtensions
{
/**
 * @return a new local date and time with the year, month and day of @p dateInfo and the hour,
 * minute and second of @p timeInfo, both read in the local time zone; fractions of a second are
 * dropped. A local time that falls into a daylight-saving gap resolves as QDateTime does.
 * An invalid argument gives an invalid result.
 *
 * @code
 * // 31 January 23:00 with 5 June 08:15:30 gives 31 January 08:15:30.
 * QJDateExtensions::calendarDateByMergingDateInfo(dateInfo, timeInfo);
 * @endcode
 */
QJKITCORE_EXPORT QDateTime calendarDateByMergingDateInfo(const QDateTime &dateInfo, const QDateTime &timeInfo);
} // namespace QJDateExtensions
