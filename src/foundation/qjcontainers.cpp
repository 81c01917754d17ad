// SPDX-License-Identifier: LGPL-2.1-or-later
// QJArray and QJDictionary.
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
[[noreturn]] void throwImmutable(const char *className, const char *operation)
{
    throw QJImmutableMutationError(
        std::string("-[") + className + ' ' + operation + "]: mutating method sent to immutable object");
}
} // namespace

// ---------------------------------------------------------------------------------------------
// QJArray

QJArray::QJArray() : d(std::make_shared<QJArrayData>()) { }

QJArray::QJArray(QJMutability mutability) : d(std::make_shared<QJArrayData>())
{
    d->isMutable = mutability == QJMutability::Mutable;
}

QJArray::QJArray(std::initializer_list<QJValue> values, QJMutability mutability)
    : QJArray(QList<QJValue>(values), mutability)
{ }

QJArray::QJArray(const QList<QJValue> &values, QJMutability mutability) : d(std::make_shared<QJArrayData>())
{
    d->values = values;
    d->isMutable = mutability == QJMutability::Mutable;
}

QJArray::QJArray(std::shared_ptr<QJArrayData> data) noexcept : d(std::move(data)) { }

QJArray QJArray::fromVariantList(const QVariantList &list, QJMutability mutability)
{
    QList<QJValue> values;
    values.reserve(list.size());
    for (const QVariant &v : list)
        values.append(QJValue::fromVariant(v, mutability));
    return QJArray(values, mutability);
}

void QJArray::detachCheck(const char *operation) const
{
    if (!d->isMutable)
        throwImmutable("QJArray", operation);
}

bool QJArray::isMutable() const noexcept
{
    return d->isMutable;
}
qsizetype QJArray::count() const noexcept
{
    return d->values.size();
}

const QJValue &QJArray::at(qsizetype index) const
{
    if (index < 0 || index >= d->values.size())
        throw std::out_of_range("QJArray: index " + std::to_string(index) + " beyond bounds [0 .. "
            + std::to_string(d->values.size()) + ")");
    return d->values.at(index);
}

QJValue QJArray::first() const
{
    return d->values.isEmpty() ? QJValue() : d->values.first();
}
QJValue QJArray::last() const
{
    return d->values.isEmpty() ? QJValue() : d->values.last();
}

qsizetype QJArray::indexOfObject(const QJValue &value) const
{
    for (qsizetype i = 0; i < d->values.size(); ++i) {
        if (d->values.at(i).isEqual(value))
            return i;
    }
    return QJNotFound;
}

qsizetype QJArray::indexOfObjectIdenticalTo(const QJValue &value) const
{
    for (qsizetype i = 0; i < d->values.size(); ++i) {
        if (d->values.at(i).isSameObject(value))
            return i;
    }
    return QJNotFound;
}

QList<QJValue> QJArray::toList() const
{
    return d->values;
}
QJArray::const_iterator QJArray::begin() const noexcept
{
    return d->values.cbegin();
}
QJArray::const_iterator QJArray::end() const noexcept
{
    return d->values.cend();
}

void QJArray::append(const QJValue &value)
{
    detachCheck("addObject:");
    d->values.append(value);
}

void QJArray::insert(qsizetype index, const QJValue &value)
{
    detachCheck("insertObject:atIndex:");
    if (index < 0 || index > d->values.size())
        throw std::out_of_range("QJArray: insertion index " + std::to_string(index) + " beyond bounds");
    d->values.insert(index, value);
}

void QJArray::replace(qsizetype index, const QJValue &value)
{
    detachCheck("replaceObjectAtIndex:withObject:");
    at(index); // range check
    d->values[index] = value;
}

void QJArray::removeAt(qsizetype index)
{
    detachCheck("removeObjectAtIndex:");
    at(index);
    d->values.removeAt(index);
}

void QJArray::removeLast()
{
    detachCheck("removeLastObject");
    if (!d->values.isEmpty())
        d->values.removeLast();
}

void QJArray::removeAll()
{
    detachCheck("removeAllObjects");
    d->values.clear();
}

void QJArray::setArray(const QJArray &other)
{
    detachCheck("setArray:");
    d->values = other.d->values;
}

void QJArray::addObjectsFromArray(const QJArray &other)
{
    detachCheck("addObjectsFromArray:");
    const QList<QJValue> values = other.d->values; // other may be this very array
    d->values.append(values);
}

QJArray QJArray::copy() const
{
    return QJArray(d->values, QJMutability::Immutable);
}
QJArray QJArray::mutableCopy() const
{
    return QJArray(d->values, QJMutability::Mutable);
}

bool QJArray::isEqual(const QJArray &other) const
{
    return QJValue(*this).isEqual(QJValue(other));
}

QString QJArray::description() const
{
    return QJValue(*this).description();
}

QVariantList QJArray::toVariantList() const
{
    QVariantList list;
    list.reserve(d->values.size());
    for (const QJValue &v : d->values)
        list.append(v.toVariant());
    return list;
}

QJValue QJArray::valueForKey(const QString &key) const
{
    return QJValue(*this).valueForKey(key);
}
QJValue QJArray::valueForKeyPath(QStringView keyPath) const
{
    return QJValue(*this).valueForKeyPath(keyPath);
}

// ---------------------------------------------------------------------------------------------
// QJDictionary

QJDictionary::QJDictionary() : d(std::make_shared<QJDictionaryData>()) { }

QJDictionary::QJDictionary(QJMutability mutability) : d(std::make_shared<QJDictionaryData>())
{
    d->isMutable = mutability == QJMutability::Mutable;
}

QJDictionary::QJDictionary(std::initializer_list<Entry> entries, QJMutability mutability)
    : d(std::make_shared<QJDictionaryData>())
{
    for (const Entry &e : entries)
        setObject(e.second, e.first);
    d->isMutable = mutability == QJMutability::Mutable;
}

QJDictionary::QJDictionary(std::shared_ptr<QJDictionaryData> data) noexcept : d(std::move(data)) { }

QJDictionary QJDictionary::fromVariantMap(const QVariantMap &map, QJMutability mutability)
{
    QJDictionary dict;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        dict.setObject(QJValue::fromVariant(it.value(), mutability), it.key());
    dict.d->isMutable = mutability == QJMutability::Mutable;
    return dict;
}

void QJDictionary::detachCheck(const char *operation) const
{
    if (!d->isMutable)
        throwImmutable("QJDictionary", operation);
}

bool QJDictionary::isMutable() const noexcept
{
    return d->isMutable;
}
qsizetype QJDictionary::count() const noexcept
{
    return d->entries.size();
}
bool QJDictionary::contains(const QString &key) const
{
    return d->indexOf(key) >= 0;
}

QJValue QJDictionary::objectForKey(const QString &key) const
{
    const qsizetype i = d->indexOf(key);
    return i < 0 ? QJValue() : d->entries.at(i).second;
}

QStringList QJDictionary::allKeys() const
{
    QStringList keys;
    keys.reserve(d->entries.size());
    for (const Entry &e : d->entries)
        keys.append(e.first);
    return keys;
}

QList<QJValue> QJDictionary::allValues() const
{
    QList<QJValue> values;
    values.reserve(d->entries.size());
    for (const Entry &e : d->entries)
        values.append(e.second);
    return values;
}

QJDictionary::const_iterator QJDictionary::begin() const noexcept
{
    return d->entries.cbegin();
}
QJDictionary::const_iterator QJDictionary::end() const noexcept
{
    return d->entries.cend();
}

void QJDictionary::setObject(const QJValue &value, const QString &key)
{
    detachCheck("setObject:forKey:");
    if (value.isNone()) {
        removeObjectForKey(key);
        return;
    }
    const qsizetype i = d->indexOf(key);
    if (i >= 0)
        d->entries[i].second = value;
    else
        d->append(key, value);
}

void QJDictionary::removeObjectForKey(const QString &key)
{
    detachCheck("removeObjectForKey:");
    const qsizetype i = d->indexOf(key);
    if (i < 0)
        return;
    d->removeAt(i);
}

void QJDictionary::removeAllObjects()
{
    detachCheck("removeAllObjects");
    d->entries.clear();
    d->index.clear();
}

void QJDictionary::addEntriesFromDictionary(const QJDictionary &other)
{
    detachCheck("addEntriesFromDictionary:");
    const QList<Entry> entries = other.d->entries; // other may be this very dictionary
    for (const Entry &e : entries)
        setObject(e.second, e.first);
}

void QJDictionary::setDictionary(const QJDictionary &other)
{
    detachCheck("setDictionary:");
    if (d == other.d)
        return;
    d->entries = other.d->entries;
    d->index = other.d->index;
}

QJDictionary QJDictionary::copy() const
{
    auto data = std::make_shared<QJDictionaryData>();
    data->entries = d->entries;
    data->index = d->index;
    data->isMutable = false;
    return QJDictionary(data);
}

QJDictionary QJDictionary::mutableCopy() const
{
    auto data = std::make_shared<QJDictionaryData>();
    data->entries = d->entries;
    data->index = d->index;
    return QJDictionary(data);
}

bool QJDictionary::isEqual(const QJDictionary &other) const
{
    return QJValue(*this).isEqual(QJValue(other));
}

quint64 QJDictionary::addChangeObserver(ChangeObserver observer, const QString &key)
{
    const quint64 id = d->nextObserverId++;
    d->observers.push_back({id, key, std::move(observer)});
    return id;
}

void QJDictionary::removeChangeObserver(quint64 id)
{
    std::erase_if(d->observers, [id](const QJDictionaryData::Observer &o) { return o.id == id; });
}

void QJDictionary::notify(const QString &key, QJChange phase) const
{
    // A copy, so an observer may add or remove observers while it is called.
    const std::vector<QJDictionaryData::Observer> observers = d->observers;
    for (const auto &o : observers) {
        if (o.key.isEmpty() || o.key == key)
            o.callback(key, phase);
    }
}

void QJDictionary::willChangeValueForKey(const QString &key) const
{
    notify(key, QJChange::WillChange);
}
void QJDictionary::didChangeValueForKey(const QString &key) const
{
    notify(key, QJChange::DidChange);
}

QString QJDictionary::description() const
{
    return QJValue(*this).description();
}

QVariantMap QJDictionary::toVariantMap() const
{
    QVariantMap map;
    for (const Entry &e : d->entries)
        map.insert(e.first, e.second.toVariant());
    return map;
}

QJValue QJDictionary::valueForKeyPath(QStringView keyPath) const
{
    return QJValue(*this).valueForKeyPath(keyPath);
}
