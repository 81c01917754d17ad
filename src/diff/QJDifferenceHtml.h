// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJDifferenceEngine.h"
#include "qjkitcore_export.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace QJDifferenceHtml
{
/**
 * Renders the runs of a comparison as an HTML fragment for a compare view: a
 * <div class="qj-diff"> holding the runs in order, separated by blanks. Unchanged text is a
 * <span class="qj-same">, deleted text a <del class="qj-deleted">, added text an
 * <ins class="qj-added">, and a change a <del class="qj-changed"> followed by an
 * <ins class="qj-changed">. All text is escaped.
 *
 * @code
 * QJDifferenceHtml::htmlFragment(engine.differences());
 * // <div class="qj-diff"><span class="qj-same">a</span> <del class="qj-changed">b</del><ins ...
 * @endcode
 */
QJKITCORE_EXPORT QString htmlFragment(const QList<DiffObject> &differences);

/**
 * The same fragment for the last computation of @p engine, in UTF-8: what htmlFragment() gives
 * for its differences() after computeDifferences(), without building the DiffObjects.
 */
QJKITCORE_EXPORT QByteArray htmlFragment(const QJDifferenceEngine &engine);
} // namespace QJDifferenceHtml
