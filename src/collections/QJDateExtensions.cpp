// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDateExtensions.h"

QDateTime QJDateExtensions::calendarDateByMergingDateInfo(const QDateTime &dateInfo, const QDateTime &timeInfo)
{
    if (!dateInfo.isValid() || !timeInfo.isValid())
        return QDateTime();
    // Both are read through their instant, so each is seen in the local zone whatever zone it was given in.
    const QDateTime day = QDateTime::fromMSecsSinceEpoch(dateInfo.toMSecsSinceEpoch(), Qt::LocalTime);
    const QDateTime time = QDateTime::fromMSecsSinceEpoch(timeInfo.toMSecsSinceEpoch(), Qt::LocalTime);
    const QTime clock = time.time();
    return QDateTime(day.date(), QTime(clock.hour(), clock.minute(), clock.second()), Qt::LocalTime);
}
