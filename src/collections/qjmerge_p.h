// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"

// The one merging engine behind recursiveAddObjectsFromArray() and recursiveAddEntriesFromDictionary():
// they call each other on nested containers, so both run on a shared explicit stack.
namespace QJMerge
{
void mergeArray(const QJArray &receiver, const QJArray &other);
void mergeDictionary(const QJDictionary &receiver, const QJDictionary &other);
} // namespace QJMerge
