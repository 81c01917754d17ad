// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJArrayExtensions.h"
#include "qjmerge_p.h"

using namespace Qt::StringLiterals;

namespace
{
// The children of a node; anything but an array counts as no children.
std::optional<QJArray> childrenOf(const QJValue &node, const QString &childKeyPath)
{
    const QJValue children = node.valueForKeyPath(childKeyPath);
    if (!children.isArray())
        return std::nullopt;
    return children.toArray();
}
} // namespace

QJValue QJArrayExtensions::objectForIndexPath(
    const QJArray &array, const QJIndexPath &path, const QString &childKeyPath)
{
    QJValue current;
    for (qsizetype position = 0; position < path.length(); ++position) {
        const std::optional<QJArray> container = position == 0 ? array : childrenOf(current, childKeyPath);
        const quint32 index = path.indexAtPosition(position);
        if (!container || index >= quint64(container->count()))
            return QJValue();
        current = container->at(index);
    }
    return current;
}

QJArray QJArrayExtensions::objectsForIndexPaths(
    const QJArray &array, const QList<QJIndexPath> &paths, const QString &childKeyPath)
{
    QJArray result(QJMutability::Mutable);
    for (const QJIndexPath &path : paths) {
        const QJValue node = objectForIndexPath(array, path, childKeyPath);
        if (!node.isNone())
            result.append(node);
    }
    return result;
}

std::optional<QJIndexPath> QJArrayExtensions::indexPathOfObject(
    const QJArray &array, const QJValue &node, const QString &parentKeyPath, const QString &childKeyPath)
{
    // chain[0] is the node, chain[i + 1] the parent of chain[i]; the last one has no parent.
    QList<QJValue> chain {node};
    for (;;) {
        const QJValue parent = chain.last().valueForKeyPath(parentKeyPath);
        if (parent.isNone())
            break;
        chain.append(parent);
        // Parents that lead round in a circle never end: compare position 2k with position k.
        // By value, not identity: an array's value for a key is a new array each time, so the
        // parents of an array node repeat without ever being the same object. Equal values have
        // equal parents, so a repeat by value is a circle.
        const qsizetype last = chain.size() - 1;
        if (last % 2 == 0 && chain.at(last).isEqual(chain.at(last / 2)))
            return std::nullopt;
    }

    QList<quint32> indexes(chain.size());
    for (qsizetype level = 0; level < chain.size(); ++level) {
        const bool top = level + 1 == chain.size();
        const std::optional<QJArray> container = top ? array : childrenOf(chain.at(level + 1), childKeyPath);
        const qsizetype index = container ? container->indexOfObject(chain.at(level)) : qsizetype(QJNotFound);
        if (index == qsizetype(QJNotFound))
            return std::nullopt;
        indexes[chain.size() - 1 - level] = quint32(index);
    }
    return QJIndexPath(indexes);
}

bool QJArrayExtensions::isMutable(const QJArray &array)
{
    return array.isMutable();
}

void QJArrayExtensions::recursiveAddObjectsFromArray(const QJArray &receiver, const QJArray &other)
{
    if (!receiver.isMutable())
        throw QJImmutableMutationError(
            "-[QJArray recursiveAddObjectsFromArray:]: mutating method sent to immutable object");
    QJMerge::mergeArray(receiver, other);
}
