// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Token storage and splitting for QJDifferenceEngine; exported for the tests only.

#include "qjkitcore_export.h"

#include <QByteArray>
#include <QString>

#include <vector>

/**
 * The tokens of one text: NUL-terminated byte strings in a single buffer, and pointers to them in
 * text order. Freed as a whole, with the text's other tokens.
 */
struct QJKITCORE_EXPORT QJDiffTokens
{
    QJDiffTokens() = default;
    QJDiffTokens(const QJDiffTokens &) = delete;
    QJDiffTokens &operator=(const QJDiffTokens &) = delete;

    QByteArray storage;
    std::vector<const char *> tokens;
};

namespace QJDiffTokenizer
{
/**
 * Splits @p text for comparison type @p type into @p out (replacing what it held). The scan
 * covers the first text.size() bytes of the text's UTF-8 form.
 */
QJKITCORE_EXPORT void split(QJDiffTokens &out, const QString &text, int type);
} // namespace QJDiffTokenizer
