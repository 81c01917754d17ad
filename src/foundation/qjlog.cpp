// SPDX-License-Identifier: LGPL-2.1-or-later
// The library's log category and its warnings.
#include "QJValue.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(QJKIT_LOG, "qjkit", QtInfoMsg)

void QJLog::warning(const QString &line)
{
    qCWarning(QJKIT_LOG, "%s", qUtf8Printable(line));
}
