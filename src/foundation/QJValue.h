// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJGlobal.h"
#include "qjkitcore_export.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <concepts>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <utility>
#include <variant>

class QDebug;
class QObject;
class QJArray;
class QJDictionary;
class QJArrayData;
class QJDictionaryData;

/**
 * Whether a container may change after it was made. It is fixed when the container is created.
 */
enum class QJMutability { Immutable, Mutable };

/**
 * A property-list value: none, a string, an integer, a real, a boolean, a date, data, an array or a
 * dictionary; or an object leaf, which holds any other QVariant (a QColor, a QRect, ...) or a
 * QObject node.
 *
 * Scalars are values. Arrays and dictionaries are shared handles: copying a QJValue that holds one
 * copies the handle, not the container, so two values can hold the very same container.
 * isSameObject() tests that identity; isEqual() and operator== compare contents deeply.
 *
 * @code
 * QJDictionary settings{{u"name"_s, u"Draft"_s}, {u"size"_s, 12}};
 * QJValue v = settings;
 * v.valueForKeyPath(u"size"_s).toInteger(); // 12
 * @endcode
 */
class QJKITCORE_EXPORT QJValue
{
public:
    /** The kind of value held. */
    enum Type { None, String, Integer, Real, Boolean, Date, Data, Array, Dictionary, Object };

    /** Makes a value that holds nothing (the platform's nil). */
    QJValue() noexcept = default;
    /** Makes a value that holds nothing. */
    QJValue(std::nullptr_t) noexcept { }
    /** Holds a string. */
    QJValue(const QString &string);
    /** Holds a string. */
    QJValue(QString &&string) noexcept;
    /** Holds a string given as UTF-8. */
    QJValue(const char *utf8);
    /** Holds a string. */
    QJValue(QStringView string);
    /** Holds an integer of any width (values above the signed 64-bit range stay unsigned). */
    template<std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char> && !std::same_as<T, char16_t>) QJValue(T integer)
    noexcept
    {
        if constexpr (std::is_unsigned_v<T> && sizeof(T) >= sizeof(qint64)) {
            if (quint64(integer) > quint64(std::numeric_limits<qint64>::max())) {
                m_data = quint64(integer);
                return;
            }
        }
        m_data = qint64(integer);
    }
    /** Holds a real number. */
    QJValue(double real) noexcept;
    /** Holds a boolean. */
    QJValue(bool boolean) noexcept;
    /** Holds a date (an invalid QDateTime holds nothing). */
    QJValue(const QDateTime &date);
    /** Holds data (bytes). */
    QJValue(const QByteArray &data);
    /** Holds the array itself (not a copy). */
    QJValue(const QJArray &array);
    /** Holds the dictionary itself (not a copy). */
    QJValue(const QJDictionary &dictionary);
    /** Holds a QObject node, reached by key-value coding through its properties (nullptr holds nothing). */
    QJValue(QObject *node);
    /** Other pointers would silently become booleans; they are refused. */
    QJValue(const void *) = delete;

    /**
     * Converts a QVariant: strings, numbers, booleans, dates, byte arrays and QObject pointers map to
     * their kinds, QVariantList / QStringList and any other sequence become arrays, QVariantMap and
     * QVariantHash become dictionaries (of @p mutability), a QJValue is taken as it is, and anything
     * else becomes an object leaf. Nested containers are converted recursively, as Qt builds and
     * destroys QVariant containers recursively anyway: keep such trees shallow (the readers bound
     * theirs at QJPropertyListSerialization::MaximumDepth).
     */
    static QJValue fromVariant(const QVariant &variant, QJMutability mutability = QJMutability::Immutable);
    /** Holds any QVariant as an object leaf, without converting it. */
    static QJValue fromObject(const QVariant &object);

    /**
     * @return the value as a QVariant; arrays become QVariantList and dictionaries QVariantMap.
     * Recursive, like fromVariant().
     */
    QVariant toVariant() const;

    /** @return the kind of value held. */
    Type type() const noexcept;
    /** @return whether the value holds nothing. */
    bool isNone() const noexcept { return type() == None; }
    /** @return whether the value is a string. */
    bool isString() const noexcept { return type() == String; }
    /** @return whether the value is an integer. */
    bool isInteger() const noexcept { return type() == Integer; }
    /** @return whether the value is a real number. */
    bool isReal() const noexcept { return type() == Real; }
    /** @return whether the value is a boolean. */
    bool isBool() const noexcept { return type() == Boolean; }
    /** @return whether the value is a number: an integer, a real or a boolean. */
    bool isNumber() const noexcept;
    /** @return whether the value is a date. */
    bool isDate() const noexcept { return type() == Date; }
    /** @return whether the value is data. */
    bool isData() const noexcept { return type() == Data; }
    /** @return whether the value is an array. */
    bool isArray() const noexcept { return type() == Array; }
    /** @return whether the value is a dictionary. */
    bool isDictionary() const noexcept { return type() == Dictionary; }
    /** @return whether the value is an object leaf (a QVariant of another type, or a QObject node). */
    bool isObject() const noexcept { return type() == Object; }
    /** @return whether the value is a QObject node. */
    bool isNode() const noexcept;
    /** @return whether the integer held lies above the signed 64-bit range. */
    bool isUnsignedInteger() const noexcept;
    /** @return whether the value is a string, number, date or data: a property-list leaf. */
    bool isPropertyListLeaf() const noexcept;

    /** @return the string held, or an empty string. */
    QString toString() const;
    /** @return the number held as an integer (reals are truncated), or 0. */
    qint64 toInteger() const noexcept;
    /** @return the number held as an unsigned integer, or 0. */
    quint64 toUnsignedInteger() const noexcept;
    /** @return the number held as a real, or 0. */
    double toDouble() const noexcept;
    /** @return the number held as a boolean (non-zero is true), or false. */
    bool toBool() const noexcept;
    /** @return the date held (in UTC), or an invalid QDateTime. */
    QDateTime toDateTime() const;
    /** @return the data held, or empty data. */
    QByteArray toByteArray() const;
    /** @return the array held (the same container), or an empty immutable array. */
    QJArray toArray() const;
    /** @return the dictionary held (the same container), or an empty immutable dictionary. */
    QJDictionary toDictionary() const;
    /** @return the QObject node held, or nullptr. */
    QObject *toNode() const noexcept;
    /** @return the object leaf's QVariant, or the value as a QVariant for other kinds. */
    QVariant toObject() const;

    /** @return whether both hold the same container or node; for other kinds, whether they are equal. */
    bool isSameObject(const QJValue &other) const noexcept;
    /**
     * @return the identity of the array or dictionary held (what isSameObject() compares, for as
     * long as the container lives), or nullptr for any other value: walks over a tree keep the
     * containers on their path by it, so that one that contains itself is not entered again.
     */
    const void *containerIdentity() const noexcept;
    /**
     * @return whether both values are equal in content, containers compared deeply, numbers by value.
     * Works without recursion, so trees of any depth compare; a pair of containers met again (a
     * shared container, or one that contains itself) counts as equal there, so it ends and visits
     * each pair once.
     */
    bool isEqual(const QJValue &other) const;
    /** @return @p a.isEqual(@p b). */
    friend bool operator==(const QJValue &a, const QJValue &b) { return a.isEqual(b); }

    /**
     * @return the value in the platform's description style: a string as itself, numbers plainly,
     * data as <0a1b2c3d ...>, arrays as "(" ... ")" and dictionaries as "{" key = value; "}" with
     * four-space indentation, and "(null)" for none. Works without recursion; a container met again
     * inside itself is written "(...)" or "{...}". The text grows with the square of the nesting
     * depth (every line is indented) and with every path through shared containers.
     */
    QString description() const;

    /**
     * @return the value for @p key: a dictionary's entry, the value of every element of an array
     * (as a new immutable array; "@count" gives the count), or a QObject node's property
     * (a QObject property gives a node). Anything else, or a missing key, gives none. Arrays inside
     * arrays give arrays of their elements' values at any depth, without recursion; an array met
     * again inside itself gives none at that place.
     */
    QJValue valueForKey(const QString &key) const;
    /** @return the value reached by following the "."-separated keys of @p keyPath with valueForKey(), one at a time.
     */
    QJValue valueForKeyPath(QStringView keyPath) const;

private:
    friend class QJArray;
    friend class QJDictionary;
    friend class QJValuePrivate;
    std::variant<std::monostate, QString, qint64, quint64, double, bool, QDateTime, QByteArray,
        std::shared_ptr<QJArrayData>, std::shared_ptr<QJDictionaryData>, QVariant>
        m_data;
};

Q_DECLARE_METATYPE(QJValue)

/**
 * An ordered array of QJValue: a shared handle to one container whose mutability is fixed when it
 * is made. Copying the handle shares the container; copy() and mutableCopy() make new ones.
 * Mutating an immutable array throws QJImmutableMutationError.
 */
class QJKITCORE_EXPORT QJArray
{
public:
    /** Iterates over the elements in order. */
    using const_iterator = QList<QJValue>::const_iterator;

    /** Makes a new, empty, mutable array. */
    QJArray();
    /** Makes a new, empty array of @p mutability. */
    explicit QJArray(QJMutability mutability);
    /** Makes a new array holding @p values. */
    QJArray(std::initializer_list<QJValue> values, QJMutability mutability = QJMutability::Mutable);
    /** Makes a new array holding @p values. */
    explicit QJArray(const QList<QJValue> &values, QJMutability mutability = QJMutability::Mutable);
    /** Makes a new array from a QVariantList, converting each element with QJValue::fromVariant(). */
    static QJArray fromVariantList(const QVariantList &list, QJMutability mutability = QJMutability::Mutable);

    /** @return whether the array can change (asked of the container, not of the handle). */
    bool isMutable() const noexcept;
    /** @return the number of elements. */
    qsizetype count() const noexcept;
    /** @return whether the array has no element. */
    bool isEmpty() const noexcept { return count() == 0; }

    /** @return the element at @p index; throws std::out_of_range beyond the end. */
    const QJValue &at(qsizetype index) const;
    /** @return at(@p index). */
    const QJValue &operator[](qsizetype index) const { return at(index); }
    /** @return the first element, or none when empty. */
    QJValue first() const;
    /** @return the last element, or none when empty. */
    QJValue last() const;
    /** @return the index of the first element equal to @p value, or QJNotFound. */
    qsizetype indexOfObject(const QJValue &value) const;
    /** @return the index of the first element that is the very same object as @p value, or QJNotFound. */
    qsizetype indexOfObjectIdenticalTo(const QJValue &value) const;
    /** @return whether an element equal to @p value is present. */
    bool containsObject(const QJValue &value) const { return indexOfObject(value) != QJNotFound; }
    /** @return the elements as a list. */
    QList<QJValue> toList() const;
    /** @return an iterator at the first element. */
    const_iterator begin() const noexcept;
    /** @return an iterator past the last element. */
    const_iterator end() const noexcept;

    /** Appends @p value. */
    void append(const QJValue &value);
    /** Inserts @p value at @p index (0 ... count). */
    void insert(qsizetype index, const QJValue &value);
    /** Replaces the element at @p index. */
    void replace(qsizetype index, const QJValue &value);
    /** Removes the element at @p index. */
    void removeAt(qsizetype index);
    /** Removes the last element; nothing happens when empty. */
    void removeLast();
    /** Removes every element. */
    void removeAll();
    /** Replaces the contents with the elements of @p other. */
    void setArray(const QJArray &other);
    /** Appends the elements of @p other. */
    void addObjectsFromArray(const QJArray &other);

    /** @return a new immutable array with the same elements (nested containers are shared). */
    QJArray copy() const;
    /** @return a new mutable array with the same elements (nested containers are shared). */
    QJArray mutableCopy() const;

    /** @return whether both handles refer to the very same container. */
    bool isSameObject(const QJArray &other) const noexcept { return d == other.d; }
    /** @return the container's identity, what isSameObject() compares, for as long as it lives. */
    const void *identity() const noexcept { return d.get(); }
    /** @return whether both arrays hold equal elements in the same order. */
    bool isEqual(const QJArray &other) const;
    /** @return @p a.isEqual(@p b). */
    friend bool operator==(const QJArray &a, const QJArray &b) { return a.isEqual(b); }

    /** @return the platform-style description, see QJValue::description(). */
    QString description() const;
    /** @return the elements converted with QJValue::toVariant(). */
    QVariantList toVariantList() const;
    /** @return the value of every element for @p key, see QJValue::valueForKey(). */
    QJValue valueForKey(const QString &key) const;
    /** @return the value of every element for @p keyPath, see QJValue::valueForKeyPath(). */
    QJValue valueForKeyPath(QStringView keyPath) const;

private:
    friend class QJValue;
    friend class QJValuePrivate;
    explicit QJArray(std::shared_ptr<QJArrayData> data) noexcept;
    void detachCheck(const char *operation) const;
    std::shared_ptr<QJArrayData> d;
};

Q_DECLARE_METATYPE(QJArray)

/** When a dictionary change notice is sent: before or after the key's value changes. */
enum class QJChange { WillChange, DidChange };

/**
 * A dictionary from strings to QJValue that keeps its keys in insertion order, so allKeys() and
 * allValues() match. A shared handle, like QJArray; mutating an immutable dictionary throws
 * QJImmutableMutationError.
 *
 * Change observers receive the notices that willChangeValueForKey() and didChangeValueForKey()
 * send; plain mutations send none by themselves, so callers decide which changes are announced.
 */
class QJKITCORE_EXPORT QJDictionary
{
public:
    /** One key and its value. */
    using Entry = std::pair<QString, QJValue>;
    /** Iterates over the entries in insertion order. */
    using const_iterator = QList<Entry>::const_iterator;
    /** Receives a change notice for @p key. */
    using ChangeObserver = std::function<void(const QString &key, QJChange phase)>;

    /** Makes a new, empty, mutable dictionary. */
    QJDictionary();
    /** Makes a new, empty dictionary of @p mutability. */
    explicit QJDictionary(QJMutability mutability);
    /** Makes a new dictionary holding @p entries, in their order (a repeated key keeps its first place). */
    QJDictionary(std::initializer_list<Entry> entries, QJMutability mutability = QJMutability::Mutable);
    /** Makes a new dictionary from a QVariantMap, converting each value with QJValue::fromVariant(). */
    static QJDictionary fromVariantMap(const QVariantMap &map, QJMutability mutability = QJMutability::Mutable);

    /** @return whether the dictionary can change (asked of the container, not of the handle). */
    bool isMutable() const noexcept;
    /** @return the number of entries. */
    qsizetype count() const noexcept;
    /** @return whether the dictionary has no entry. */
    bool isEmpty() const noexcept { return count() == 0; }
    /** @return whether @p key is present. */
    bool contains(const QString &key) const;
    /** @return the value for @p key, or none. */
    QJValue objectForKey(const QString &key) const;
    /** @return the value for @p key, or none. */
    QJValue value(const QString &key) const { return objectForKey(key); }
    /** @return the keys in insertion order. */
    QStringList allKeys() const;
    /** @return the values in the order of allKeys(). */
    QList<QJValue> allValues() const;
    /** @return an iterator at the first (key, value) entry; entries come in insertion order. */
    const_iterator begin() const noexcept;
    /** @return an iterator past the last entry. */
    const_iterator end() const noexcept;

    /** Sets @p value for @p key (a new key goes last; none removes the key). */
    void setObject(const QJValue &value, const QString &key);
    /** Removes @p key if present. */
    void removeObjectForKey(const QString &key);
    /** Removes every entry. */
    void removeAllObjects();
    /** Sets every entry of @p other in this dictionary. */
    void addEntriesFromDictionary(const QJDictionary &other);
    /** Replaces the contents with the entries of @p other. */
    void setDictionary(const QJDictionary &other);

    /** @return a new immutable dictionary with the same entries (nested containers are shared). */
    QJDictionary copy() const;
    /** @return a new mutable dictionary with the same entries (nested containers are shared). */
    QJDictionary mutableCopy() const;

    /** @return whether both handles refer to the very same container. */
    bool isSameObject(const QJDictionary &other) const noexcept { return d == other.d; }
    /** @return the container's identity, what isSameObject() compares, for as long as it lives. */
    const void *identity() const noexcept { return d.get(); }
    /** @return whether both dictionaries hold the same keys with equal values, in any order. */
    bool isEqual(const QJDictionary &other) const;
    /** @return @p a.isEqual(@p b). */
    friend bool operator==(const QJDictionary &a, const QJDictionary &b) { return a.isEqual(b); }

    /**
     * Adds an observer of change notices: for @p key only, or for every key when @p key is empty.
     * @return an id for removeChangeObserver().
     */
    quint64 addChangeObserver(ChangeObserver observer, const QString &key = QString());
    /** Removes the observer with @p id. */
    void removeChangeObserver(quint64 id);
    /** Tells the observers of @p key that its value is about to change. */
    void willChangeValueForKey(const QString &key) const;
    /** Tells the observers of @p key that its value has changed. */
    void didChangeValueForKey(const QString &key) const;

    /** @return the platform-style description, see QJValue::description(). */
    QString description() const;
    /** @return the entries as a QVariantMap (ordered by key, as QVariantMap is). */
    QVariantMap toVariantMap() const;
    /** @return the value for @p key, see QJValue::valueForKey(). */
    QJValue valueForKey(const QString &key) const { return objectForKey(key); }
    /** @return the value reached by @p keyPath, see QJValue::valueForKeyPath(). */
    QJValue valueForKeyPath(QStringView keyPath) const;

private:
    friend class QJValue;
    friend class QJValuePrivate;
    explicit QJDictionary(std::shared_ptr<QJDictionaryData> data) noexcept;
    void detachCheck(const char *operation) const;
    void notify(const QString &key, QJChange phase) const;
    std::shared_ptr<QJDictionaryData> d;
};

Q_DECLARE_METATYPE(QJDictionary)

/** Writes @p value to @p debug as "QJValue(" + its description() + ")". */
QJKITCORE_EXPORT QDebug operator<<(QDebug debug, const QJValue &value);
/** Writes @p array to @p debug as "QJArray(" + its description() + ")". */
QJKITCORE_EXPORT QDebug operator<<(QDebug debug, const QJArray &array);
/** Writes @p dictionary to @p debug as "QJDictionary(" + its description() + ")". */
QJKITCORE_EXPORT QDebug operator<<(QDebug debug, const QJDictionary &dictionary);
