// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"

#include <QHash>

#include <vector>

class QJArrayData
{
public:
    QList<QJValue> values;
    bool isMutable = true;
};

class QJDictionaryData
{
public:
    struct Observer
    {
        quint64 id;
        QString key; // empty: every key
        QJDictionary::ChangeObserver callback;
    };

    qsizetype indexOf(const QString &key) const { return index.value(key, -1); }

    QList<QJDictionary::Entry> entries;
    QHash<QString, qsizetype> index; // key -> position in entries
    std::vector<Observer> observers;
    quint64 nextObserverId = 1;
    bool isMutable = true;
};

/**
 * Formats @p value the way a shortest round-trip representation reads: "1.5", "100.0", "1e+16",
 * "1.5e-05", "inf", "nan". Fixed notation is used for decimal exponents from -4 to 15.
 */
QJKITCORE_EXPORT QString qjFormatReal(double value);

// Lets the readers build containers in place and fix their mutability once they are complete.
class QJValuePrivate
{
public:
    static QJArray makeArray(QList<QJValue> &&values, QJMutability mutability)
    {
        auto d = std::make_shared<QJArrayData>();
        d->values = std::move(values);
        d->isMutable = mutability == QJMutability::Mutable;
        return QJArray(std::move(d));
    }
    static QJDictionaryData *data(const QJDictionary &dictionary) { return dictionary.d.get(); }
    static QJArrayData *data(const QJArray &array) { return array.d.get(); }
    static void setMutability(const QJDictionary &dictionary, QJMutability mutability)
    {
        dictionary.d->isMutable = mutability == QJMutability::Mutable;
    }
};
