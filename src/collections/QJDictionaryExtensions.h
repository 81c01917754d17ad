// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QStringList>

/**
 * Deep, mutability-aware merging of dictionaries, and the listing of their key paths.
 *
 * Mutability is fixed when a container is made, so asking a dictionary (QJDictionary::isMutable())
 * and testing whether it is "of the mutable dictionary class" are the same question here.
 *
 * Every operation works iteratively with its own stack, so trees of any depth are handled
 * (100 000 levels and more) without exhausting the call stack.
 */
namespace QJDictionaryExtensions
{
/** @return whether @p dictionary can change, asked of the container itself. */
QJKITCORE_EXPORT bool isMutable(const QJDictionary &dictionary);

/**
 * Merges @p other into @p receiver. For each key k of @p other, in its order, with o the
 * receiver's value and n the other's:
 * 1. an immutable dictionary o, or no o when n is a dictionary, is replaced (without notice) by a
 *    new mutable dictionary holding o's entries;
 * 2. then an immutable array o, or no o when n is an array, is replaced likewise by a new mutable array;
 * 3. a mutable dictionary o and a dictionary n: n is merged into o, and @p receiver sends no
 *    change notice for k (o's own observers hear about o's keys);
 * 4. else a mutable array o and an array n: willChangeValueForKey(k), o is replaced by n's elements
 *    with QJArrayExtensions::recursiveAddObjectsFromArray(), didChangeValueForKey(k);
 * 5. else: willChangeValueForKey(k), n is set under k (the very same object), didChangeValueForKey(k).
 * Keys that @p other lacks stay. A dictionary that contains itself is not entered again.
 * @p receiver must be mutable (QJImmutableMutationError otherwise).
 *
 * Cost: one visit per entry of @p other and per element of the arrays it replaces, plus the
 * copies of immutable containers of @p receiver met on the way: linear in the size of the trees.
 */
QJKITCORE_EXPORT void recursiveAddEntriesFromDictionary(const QJDictionary &receiver, const QJDictionary &other);

/**
 * @return every key path of @p dictionary, without repeats, in depth-first order: a key whose
 * value is a mutable dictionary gives "key." + each key path of that dictionary (and not the key
 * itself; an empty one gives nothing); any other key, including one holding an immutable
 * dictionary, gives the key alone. A dictionary met again inside itself counts as a leaf.
 *
 * Cost: linear in the number of entries plus the total length of the paths returned.
 */
QJKITCORE_EXPORT QStringList allKeyPaths(const QJDictionary &dictionary);
} // namespace QJDictionaryExtensions
