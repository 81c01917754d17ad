// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

/** Percent-encoding of arrays of request parameters. */
namespace ArrayWebExtensions
{
/**
 * @return a new mutable array with one element per element of @p receiver: a string replaced by
 * StringWebExtensions::netEncode() of it, an array by its own netEncode() (recursively). The array is
 * not joined into one string.
 * @throws std::invalid_argument when an element (at any depth) is neither a string nor an array.
 */
QJKITCORE_EXPORT QJArray netEncode(const QJArray &receiver);
} // namespace ArrayWebExtensions
