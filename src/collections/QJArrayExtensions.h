// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJIndexPath.h"
#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QList>
#include <QString>

#include <optional>

/**
 * Operations on arrays: addressing the nodes of a tree by index path, and deep, mutability-aware
 * merging.
 *
 * A tree's top level is an array; each node holds its children in an array reached by a child key
 * path, and may reach its parent by a parent key path (none for a top-level node). Nodes are
 * dictionaries or QObject nodes whose children (a QList of QObject pointers) and parent (a QObject
 * pointer) are Q_PROPERTYs; key paths are followed with QJValue::valueForKeyPath(). A child key
 * path that gives something other than an array counts as an empty list of children.
 */
namespace QJArrayExtensions
{
/**
 * @return the node that @p path names below @p array: index 0 picks a top-level node, each later
 * index a child of the node before it; none when an index is not below its level's count, and for
 * an empty path.
 */
QJKITCORE_EXPORT QJValue objectForIndexPath(const QJArray &array, const QJIndexPath &path, const QString &childKeyPath);

/** @return a new mutable array of the nodes found for @p paths, in their order; paths that find nothing are skipped. */
QJKITCORE_EXPORT QJArray objectsForIndexPaths(
    const QJArray &array, const QList<QJIndexPath> &paths, const QString &childKeyPath);

/**
 * @return the index path of @p node: its depth is found by following @p parentKeyPath up to a node
 * without parent, then each level's index is the first element of the parent's children (or of
 * @p array at the top) that is equal to the node (isEqual, not identity). std::nullopt when a node
 * is not among its parent's children, or when the parents lead round in a circle (a parent equal to
 * an earlier one: an array node's parents, arrays made afresh at each step, are such a circle).
 */
QJKITCORE_EXPORT std::optional<QJIndexPath> indexPathOfObject(
    const QJArray &array, const QJValue &node, const QString &parentKeyPath, const QString &childKeyPath);

/**
 * @return whether @p array can change. Mutability is fixed when a container is made, so this asks
 * the container itself; it is also the test for "of the mutable array class".
 */
QJKITCORE_EXPORT bool isMutable(const QJArray &array);

/**
 * Despite its name, replaces: sets the contents of @p receiver to those of @p other, then replaces
 * every immutable dictionary or array element by a new mutable one filled from it with
 * QJDictionaryExtensions::recursiveAddEntriesFromDictionary() or this function. Elements that are
 * already mutable containers stay the very same objects and are not descended into.
 *
 * Works iteratively, so trees of any depth are handled. A container that contains itself is not
 * descended into again. @p receiver must be mutable (QJImmutableMutationError otherwise).
 */
QJKITCORE_EXPORT void recursiveAddObjectsFromArray(const QJArray &receiver, const QJArray &other);
} // namespace QJArrayExtensions
