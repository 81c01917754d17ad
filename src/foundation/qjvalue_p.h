// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"

#include <QHash>

#include <vector>

class QJArrayData
{
public:
    QJArrayData() = default;
    QJArrayData(const QJArrayData &) = delete;
    QJArrayData &operator=(const QJArrayData &) = delete;
    ~QJArrayData();

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

    QJDictionaryData() = default;
    QJDictionaryData(const QJDictionaryData &) = delete;
    QJDictionaryData &operator=(const QJDictionaryData &) = delete;
    ~QJDictionaryData();

    // Small dictionaries, the common case in property lists, are searched in place; from
    // IndexedCount entries on, a hash index beside the entries finds a key in constant time.
    static constexpr qsizetype IndexedCount = 12;

    qsizetype indexOf(const QString &key) const
    {
        if (!index.isEmpty())
            return index.value(key, -1);
        for (qsizetype i = 0; i < entries.size(); ++i) {
            if (entries.at(i).first == key)
                return i;
        }
        return -1;
    }

    void append(const QString &key, const QJValue &value)
    {
        entries.append({key, value});
        if (!index.isEmpty())
            index.insert(key, entries.size() - 1);
        else if (entries.size() >= IndexedCount)
            rebuildIndex(0);
    }

    void removeAt(qsizetype i)
    {
        if (!index.isEmpty())
            index.remove(entries.at(i).first);
        entries.removeAt(i);
        if (entries.size() < IndexedCount)
            index.clear();
        else
            rebuildIndex(i);
    }

    // Indexes the entries from position @p from on.
    void rebuildIndex(qsizetype from)
    {
        for (qsizetype j = from; j < entries.size(); ++j)
            index.insert(entries.at(j).first, j);
    }

    QList<QJDictionary::Entry> entries;
    QHash<QString, qsizetype> index; // key -> position in entries; empty below IndexedCount entries
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
    /**
     * Makes a dictionary of @p entries, whose keys are distinct; @p index maps each key to its
     * position when there are IndexedCount entries or more, and is ignored below.
     */
    static QJDictionary makeDictionary(
        QList<QJDictionary::Entry> &&entries, QHash<QString, qsizetype> &&index, QJMutability mutability)
    {
        auto d = std::make_shared<QJDictionaryData>();
        d->entries = std::move(entries);
        if (d->entries.size() >= QJDictionaryData::IndexedCount)
            d->index = std::move(index);
        d->isMutable = mutability == QJMutability::Mutable;
        return QJDictionary(std::move(d));
    }
    static QJDictionaryData *data(const QJDictionary &dictionary) { return dictionary.d.get(); }
    /** @return the array that @p value holds, or nullptr; no handle is copied. */
    static const QJArrayData *arrayData(const QJValue &value)
    {
        const auto *d = std::get_if<std::shared_ptr<QJArrayData>>(&value.m_data);
        return d ? d->get() : nullptr;
    }
    /** @return the dictionary that @p value holds, or nullptr; no handle is copied. */
    static const QJDictionaryData *dictionaryData(const QJValue &value)
    {
        const auto *d = std::get_if<std::shared_ptr<QJDictionaryData>>(&value.m_data);
        return d ? d->get() : nullptr;
    }
    static QJArrayData *data(const QJArray &array) { return array.d.get(); }
    /** @return the string that @p value holds, or nullptr; nothing is copied. */
    static const QString *string(const QJValue &value) { return std::get_if<QString>(&value.m_data); }
    /** @return the data that @p value holds, or nullptr; nothing is copied. */
    static const QByteArray *bytes(const QJValue &value) { return std::get_if<QByteArray>(&value.m_data); }
    /**
     * Releases the containers nested in @p values that nothing else holds, one after another from
     * a work list, so that dropping a very deep tree does not recurse once per level.
     */
    static void releaseNested(QList<QJValue> &values);
    static void releaseNested(QList<QJDictionary::Entry> &entries);
    static void setMutability(const QJDictionary &dictionary, QJMutability mutability)
    {
        dictionary.d->isMutable = mutability == QJMutability::Mutable;
    }
};

// What the parts of the value model ask of a value: whether it is a container; whether a variant
// holds an object node.
namespace QJValueDetail
{
inline bool isNodeVariant(const QVariant &v)
{
    return v.metaType().flags().testFlag(QMetaType::PointerToQObject);
}

inline bool isContainer(const QJValue &v) noexcept
{
    return v.isArray() || v.isDictionary();
}

} // namespace QJValueDetail
