// SPDX-License-Identifier: LGPL-2.1-or-later
// Key-value coding: reading values by key and key path through containers and object nodes.
#include "QJValue.h"
#include "QJValueWalk.h"
#include "qjvalue_p.h"

#include <QDebug>
#include <QMetaProperty>
#include <QObject>
#include <QSet>
#include <QVarLengthArray>

#include <vector>

namespace
{
// The value of every element of @p array for @p key, with arrays inside arrays answered alike
// (an array of their elements' values); an array met again inside itself gives none at that place.
QJValue valuesForKey(const QJArray &array, const QString &key)
{
    struct Values
    {
        const QString &key;
        std::vector<QList<QJValue>> open; // the values of each array walked into
        QJValue done;

        bool enter(const QJValue &container, const QJValue &parent, qsizetype, const QString &)
        {
            if (!parent.isNone() && !container.isArray())
                return false;
            open.emplace_back();
            return true;
        }
        void leaf(const QJValue &value, const QJValue &, qsizetype, const QString &)
        {
            open.back().append(value.isArray() ? QJValue() : value.valueForKey(key));
        }
        void leave(const QJValue &)
        {
            const QJValue values = QJArray(std::move(open.back()), QJMutability::Immutable);
            open.pop_back();
            if (open.empty())
                done = values;
            else
                open.back().append(values);
        }
    } values {key, {}, {}};
    QJValueWalk::walk(array, values);
    return values.done;
}
} // namespace

QJValue QJValue::valueForKey(const QString &key) const
{
    switch (type()) {
    case Dictionary:
        return toDictionary().objectForKey(key);
    case Array:
        if (key == u"@count")
            return toArray().count();
        return valuesForKey(toArray(), key);
    case Object:
        if (QObject *node = toNode()) {
            const QByteArray name = key.toUtf8();
            const int index = node->metaObject()->indexOfProperty(name.constData());
            if (index < 0 && !node->dynamicPropertyNames().contains(name))
                return QJValue();
            return fromVariant(node->property(name.constData()));
        }
        return QJValue();
    default:
        return QJValue();
    }
}

QJValue QJValue::valueForKeyPath(QStringView keyPath) const
{
    // One key at a time, so a key path of any length needs no recursion.
    QJValue current = *this;
    for (;;) {
        const qsizetype dot = keyPath.indexOf(u'.');
        if (dot < 0)
            return current.valueForKey(keyPath.toString());
        current = current.valueForKey(keyPath.left(dot).toString());
        if (current.isNone())
            return current;
        keyPath = keyPath.mid(dot + 1);
    }
}
