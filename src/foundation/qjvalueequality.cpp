// SPDX-License-Identifier: LGPL-2.1-or-later
// Deep equality of values: containers compared without recursion, cycles ended.
#include "QJValue.h"
#include "qjvalue_p.h"

#include <QDebug>
#include <QMetaProperty>
#include <QObject>
#include <QSet>
#include <QVarLengthArray>

#include <vector>

using QJValueDetail::isContainer;
using QJValueDetail::isNodeVariant;

namespace
{
// Two containers of one kind, compared with a work list instead of recursion, so that trees of any
// depth compare without exhausting the stack. The list holds pointers into the containers, which
// stay put while nothing changes them, so no handle is copied. A pair of containers met a second
// time is taken as equal: if they differ, the first visit finds it. Pairs are remembered only once
// a comparison has met many, so small ones pay nothing for it, while a graph that shares
// containers still compares each pair a bounded number of times and one that contains itself ends.
bool containersEqual(const QJValue &a, const QJValue &b)
{
    using Pair = std::pair<const QJValue *, const QJValue *>;
    QVarLengthArray<Pair, 32> work;
    work.append({&a, &b});
    QSet<std::pair<const void *, const void *>> seen;
    qsizetype visited = 0;
    constexpr qsizetype RememberAfter = 1024;
    // Leaves and mixed kinds are decided at once; pairs of distinct containers go on the list.
    auto compare = [&work](const QJValue &x, const QJValue &y) {
        const auto *ax = QJValuePrivate::arrayData(x);
        const auto *dx = ax ? nullptr : QJValuePrivate::dictionaryData(x);
        if (ax || dx) {
            const void *ix = ax ? static_cast<const void *>(ax) : dx;
            const void *iy = ax ? static_cast<const void *>(QJValuePrivate::arrayData(y))
                                : static_cast<const void *>(QJValuePrivate::dictionaryData(y));
            if (!iy)
                return false; // another kind
            if (ix != iy)
                work.append({&x, &y});
            return true;
        }
        return x.isEqual(y);
    };
    while (!work.isEmpty()) {
        const auto [x, y] = work.last();
        work.removeLast();
        const QJArrayData *ax = QJValuePrivate::arrayData(*x);
        const QJArrayData *ay = QJValuePrivate::arrayData(*y);
        const QJDictionaryData *dx = QJValuePrivate::dictionaryData(*x);
        const QJDictionaryData *dy = QJValuePrivate::dictionaryData(*y);
        if (++visited > RememberAfter) {
            const std::pair<const void *, const void *> pair {
                ax ? static_cast<const void *>(ax) : dx, ay ? static_cast<const void *>(ay) : dy};
            if (seen.contains(pair))
                continue;
            seen.insert(pair);
        }
        if (ax) {
            if (ax->values.size() != ay->values.size())
                return false;
            for (qsizetype i = 0; i < ax->values.size(); ++i) {
                if (!compare(ax->values.at(i), ay->values.at(i)))
                    return false;
            }
        } else {
            if (dx->entries.size() != dy->entries.size())
                return false;
            for (const auto &[key, value] : dx->entries) {
                const qsizetype j = dy->indexOf(key);
                if (j < 0 || !compare(value, dy->entries.at(j).second))
                    return false;
            }
        }
    }
    return true;
}
} // namespace

bool QJValue::isEqual(const QJValue &other) const
{
    const Type a = type();
    const Type b = other.type();
    if (isNumber() && other.isNumber()) {
        // Numbers compare by value across integer, real and boolean, as the platform's numbers do.
        if (a == Real || b == Real)
            return toDouble() == other.toDouble();
        if (isUnsignedInteger() != other.isUnsignedInteger())
            return false; // one is above the signed range, the other is not
        return toUnsignedInteger() == other.toUnsignedInteger();
    }
    if (a != b)
        return false;
    switch (a) {
    case None:
        return true;
    case String:
        return std::get<QString>(m_data) == std::get<QString>(other.m_data);
    case Date:
        return std::get<QDateTime>(m_data) == std::get<QDateTime>(other.m_data);
    case Data:
        return std::get<QByteArray>(m_data) == std::get<QByteArray>(other.m_data);
    case Array:
    case Dictionary:
        return m_data == other.m_data || containersEqual(*this, other);
    case Object:
        if (isNode() || other.isNode())
            return toNode() == other.toNode();
        return std::get<QVariant>(m_data) == std::get<QVariant>(other.m_data);
    default:
        return false;
    }
}
