// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJDifferenceEngine.h"
#include "qjkitcore_export.h"

#include <QByteArray>

class QIODevice;

namespace QJDifferenceJson
{
/**
 * @return the last computation of @p engine as one compact JSON object, byte for byte what
 * QJsonDocument writes for it: {"differences":[{"new":N,"old":O,"type":T},…],"match":M}, one
 * object per run as DiffObject gives it, M the match value's shortest decimal (null when it is not
 * a number).
 *
 * @code
 * engine.computeMatchValueOnly();      // the runs are kept either way
 * QJDifferenceJson::document(engine);  // {"differences":[{"new":"a","old":"a","type":0},…],"match":0.6666667}
 * @endcode
 */
QJKITCORE_EXPORT QByteArray document(const QJDifferenceEngine &engine);

/**
 * Writes document(@p engine) to @p device a piece at a time, so that a long comparison is never
 * held whole. @return false when a write fails (the device's errorString() says why).
 */
QJKITCORE_EXPORT bool write(const QJDifferenceEngine &engine, QIODevice *device);
} // namespace QJDifferenceJson
