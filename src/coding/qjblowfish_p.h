// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// The coder's block work on buffers of known length, so that callers owning their result buffer
// (the data forms) need neither a zero-terminated copy nor a second allocation. Plain C++, no Qt.

#include <cstddef>

namespace QJBlowfishPrivate
{
/**
 * Codes the @p size bytes at @p plain under the zero-terminated @p key into @p out, which receives
 * exactly 10 * @p size bytes and no terminator.
 */
void encode(const char *plain, size_t size, const char *key, char *out);

/**
 * Decodes @p chunkCount chunks of ten bytes at @p coded (none of them zero) under @p key into
 * @p out, which receives exactly @p chunkCount bytes: the plain bytes, decoded zero bytes left out,
 * then zeros. @return the number of plain bytes.
 */
size_t decode(const char *coded, size_t chunkCount, const char *key, char *out);
} // namespace QJBlowfishPrivate
