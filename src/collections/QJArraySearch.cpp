// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJArraySearch.h"

QJArray QJArraySearch::arrayWithAllValuesForKeyPath(const QJArray &array, const QString &keyPath)
{
    QJArray result(QJMutability::Mutable);
    for (const QJValue &element : array) {
        const QJValue value = element.valueForKeyPath(keyPath);
        if (!value.isNone())
            result.append(value);
    }
    return result;
}

QJArray QJArraySearch::arrayWithAllDifferentValuesForKeyPath(const QJArray &array, const QString &keyPath)
{
    QJArray result(QJMutability::Mutable);
    for (const QJValue &element : array) {
        const QJValue value = element.valueForKeyPath(keyPath);
        if (!value.isNone() && !result.containsObject(value))
            result.append(value);
    }
    return result;
}

QJArray QJArraySearch::objectsContainingValue(const QJArray &array, const QJValue &value, const QString &keyPath)
{
    QJArray result(QJMutability::Mutable);
    for (const QJValue &element : array) {
        const QJValue own = element.valueForKeyPath(keyPath);
        if (!own.isNone() && own.isEqual(value))
            result.append(element);
    }
    return result;
}

QJArray QJArraySearch::objectsContainingValues(const QJArray &array, const QJArray &values, const QString &keyPath)
{
    QJArray result(QJMutability::Mutable);
    for (const QJValue &value : values)
        result.addObjectsFromArray(objectsContainingValue(array, value, keyPath));
    return result;
}
