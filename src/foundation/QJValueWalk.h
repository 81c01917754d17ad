// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"

#include <QSet>

#include <utility>
#include <vector>

/**
 * The one walk over a value tree: depth first, in element order, without recursion (so trees of
 * any depth are walked), with the cycle guard built in.
 *
 * The visitor answers three calls; @p parent is the container holding the value (none for the
 * root), @p index its position there (-1 for the root) and @p key its key in a dictionary (empty
 * otherwise):
 * - `bool enter(const QJValue &container, const QJValue &parent, qsizetype index, const QString &key)`
 *   for an array or dictionary that is not already open on the path; true walks into it.
 * - `void leaf(const QJValue &value, const QJValue &parent, qsizetype index, const QString &key)` for
 *   every other value: not a container, a container enter() declined, or one already open on the
 *   path (a container that contains itself).
 * - `void leave(const QJValue &container)` after the last element of a container walked into.
 *
 * The visitor may replace the value at the place it is given (the walk has read it already), but
 * must not add or remove elements of a container that is open.
 *
 * @code
 * struct Strings {
 *     QStringList found;
 *     bool enter(const QJValue &, const QJValue &, qsizetype, const QString &) { return true; }
 *     void leaf(const QJValue &v, const QJValue &, qsizetype, const QString &) { if (v.isString()) found << v.toString(); }
 *     void leave(const QJValue &) { }
 * };
 * Strings strings;
 * QJValueWalk::walk(settings, strings);
 * @endcode
 */
namespace QJValueWalk
{
/** Walks the tree under @p root, telling @p visitor what it meets (see above). */
template<typename Visitor>
void walk(const QJValue &root, Visitor &visitor)
{
    if (!root.containerIdentity() || !visitor.enter(root, QJValue(), -1, QString())) {
        visitor.leaf(root, QJValue(), -1, QString());
        return;
    }
    struct Frame
    {
        QJValue container;
        qsizetype next;
    };
    std::vector<Frame> stack {{root, 0}};
    QSet<const void *> open {root.containerIdentity()};
    while (!stack.empty()) {
        const QJValue container = stack.back().container; // the stack may move below
        const qsizetype index = stack.back().next;
        const bool isArray = container.isArray();
        if (index >= (isArray ? container.toArray().count() : container.toDictionary().count())) {
            open.remove(container.containerIdentity());
            stack.pop_back();
            visitor.leave(container);
            continue;
        }
        ++stack.back().next;
        QString key;
        QJValue element;
        if (isArray) {
            element = container.toArray().at(index);
        } else {
            const auto &entry = *(container.toDictionary().begin() + index);
            key = entry.first;
            element = entry.second;
        }
        const void *identity = element.containerIdentity();
        if (identity && !open.contains(identity) && visitor.enter(element, container, index, key)) {
            open.insert(identity);
            stack.push_back({std::move(element), 0});
        } else {
            visitor.leaf(element, container, index, key);
        }
    }
}
} // namespace QJValueWalk
