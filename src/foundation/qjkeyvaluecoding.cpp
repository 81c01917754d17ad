// SPDX-License-Identifier: LGPL-2.1-or-later
// Key-value coding: reading values by key and key path through containers and object nodes.
#include "QJValue.h"
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
// (an array of their elements' values). Open arrays are kept on a stack instead of recursing, so
// nesting of any depth is handled; an array met again inside itself gives none at that place.
QJValue valuesForKey(const QJArray &array, const QString &key)
{
    struct Frame
    {
        QJArray source;
        QList<QJValue> values;
    };
    std::vector<Frame> stack {{array, {}}};
    QSet<const void *> open {QJValuePrivate::data(array)};
    for (;;) {
        Frame &f = stack.back();
        if (f.values.size() < f.source.count()) {
            const QJValue &element = f.source.at(f.values.size());
            if (element.isArray() && !open.contains(QJValuePrivate::data(element.toArray()))) {
                open.insert(QJValuePrivate::data(element.toArray()));
                stack.push_back({element.toArray(), {}}); // `f` is not used after this
            } else {
                f.values.append(element.isArray() ? QJValue() : element.valueForKey(key));
            }
            continue;
        }
        const QJValue done = QJArray(f.values, QJMutability::Immutable);
        open.remove(QJValuePrivate::data(f.source));
        stack.pop_back();
        if (stack.empty())
            return done;
        stack.back().values.append(done);
    }
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
