// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Token storage and splitting for QJDifferenceEngine; exported for the tests only.

#include "qjkitcore_export.h"

#include <QByteArray>
#include <QString>

#include <vector>

/**
 * The tokens of one text: NUL-terminated byte strings in a single buffer, and pointers to them in
 * text order. Freed as a whole, with the text's other tokens. At least 8 readable bytes follow
 * every token's NUL in the buffer, so that tokens can be read a machine word at a time.
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

/**
 * Splits the valid UTF-8 text @p utf8 (its byte order mark, if any, already left out) as split()
 * splits its decoded string, whose length is @p units: the scan covers the first @p units bytes.
 */
QJKITCORE_EXPORT void splitUtf8(QJDiffTokens &out, QByteArrayView utf8, qsizetype units, int type);

/** @return the length of @p utf8 in UTF-16 code units; -1 when it is not valid UTF-8. */
QJKITCORE_EXPORT qsizetype utf16Length(QByteArrayView utf8);
} // namespace QJDiffTokenizer
