// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJValue.h"
#include "qjvalue_p.h"

#include <QAssociativeIterable>
#include <QDebug>
#include <QMetaProperty>
#include <QObject>
#include <QSequentialIterable>
#include <QSet>
#include <QVarLengthArray>

#include <cmath>

namespace
{
enum Alternative {
    NoneIndex,
    StringIndex,
    SignedIndex,
    UnsignedIndex,
    RealIndex,
    BoolIndex,
    DateIndex,
    DataIndex,
    ArrayIndex,
    DictionaryIndex,
    ObjectIndex
};

const std::shared_ptr<QJArrayData> &emptyImmutableArray()
{
    static const auto empty = [] {
        auto d = std::make_shared<QJArrayData>();
        d->isMutable = false;
        return d;
    }();
    return empty;
}

const std::shared_ptr<QJDictionaryData> &emptyImmutableDictionary()
{
    static const auto empty = [] {
        auto d = std::make_shared<QJDictionaryData>();
        d->isMutable = false;
        return d;
    }();
    return empty;
}

} // namespace

QString qjFormatReal(double value)
{
    if (std::isnan(value))
        return QStringLiteral("nan");
    if (std::isinf(value))
        return value < 0 ? QStringLiteral("-inf") : QStringLiteral("inf");

    // Shortest round-trip digits in scientific form, "d.ddde+XX", then laid out again.
    const QString sci = QString::number(value, 'e', QLocale::FloatingPointShortest);
    const qsizetype e = sci.indexOf(u'e');
    QString mantissa = sci.left(e);
    const int exponent = sci.mid(e + 1).toInt();
    const bool negative = std::signbit(value); // "-0.0" keeps its sign
    if (mantissa.startsWith(u'-'))
        mantissa.remove(0, 1);
    QString digits = mantissa;
    digits.remove(u'.');
    const int point = exponent + 1; // digits before the decimal point

    QString out;
    if (point > -4 && point <= 16) {
        if (point <= 0)
            out = QStringLiteral("0.") + QString(-point, u'0') + digits;
        else if (point >= digits.size())
            out = digits + QString(point - digits.size(), u'0') + QStringLiteral(".0");
        else
            out = digits.left(point) + u'.' + digits.mid(point);
    } else {
        out = digits.left(1);
        if (digits.size() > 1)
            out += u'.' + digits.mid(1);
        out += u'e' + QString(exponent < 0 ? u'-' : u'+')
            + QStringLiteral("%1").arg(std::abs(exponent), 2, 10, QLatin1Char('0'));
    }
    return negative ? u'-' + out : out;
}

// ---------------------------------------------------------------------------------------------
// Releasing deep trees

QJArrayData::~QJArrayData()
{
    QJValuePrivate::releaseNested(values);
}

QJDictionaryData::~QJDictionaryData()
{
    QJValuePrivate::releaseNested(entries);
}

void QJValuePrivate::releaseNested(QList<QJValue> &values)
{
    // A shared list still holds its elements elsewhere: nothing is released through this one.
    if (values.isEmpty() || !values.isDetached())
        return;
    std::vector<QJValue> pending;
    // Only containers whose last handle is here are taken; the others live on elsewhere.
    auto take = [&pending](QJValue &v) {
        const auto *a = std::get_if<std::shared_ptr<QJArrayData>>(&v.m_data);
        const auto *d = std::get_if<std::shared_ptr<QJDictionaryData>>(&v.m_data);
        if ((a && a->use_count() == 1) || (d && d->use_count() == 1))
            pending.push_back(std::move(v));
    };
    for (QJValue &v : values)
        take(v);
    while (!pending.empty()) {
        QJValue v = std::move(pending.back());
        pending.pop_back();
        // Empty the container's own list first, so that its destructor finds nothing left to descend.
        if (auto *a = std::get_if<std::shared_ptr<QJArrayData>>(&v.m_data); a && *a && (*a)->values.isDetached()) {
            for (QJValue &child : (*a)->values)
                take(child);
        } else if (auto *d = std::get_if<std::shared_ptr<QJDictionaryData>>(&v.m_data);
                   d && *d && (*d)->entries.isDetached()) {
            for (auto &entry : (*d)->entries)
                take(entry.second);
        }
    }
}

void QJValuePrivate::releaseNested(QList<QJDictionary::Entry> &entries)
{
    if (entries.isEmpty() || !entries.isDetached())
        return;
    QList<QJValue> values;
    values.reserve(entries.size());
    for (auto &entry : entries)
        values.append(std::move(entry.second));
    releaseNested(values);
}

// ---------------------------------------------------------------------------------------------
// QJValue

QJValue::QJValue(const QString &string) : m_data(string) { }
QJValue::QJValue(QString &&string) noexcept : m_data(std::move(string)) { }
QJValue::QJValue(const char *utf8)
{
    if (utf8)
        m_data = QString::fromUtf8(utf8);
}
QJValue::QJValue(QStringView string) : m_data(string.toString()) { }
QJValue::QJValue(double real) noexcept : m_data(real) { }
QJValue::QJValue(bool boolean) noexcept : m_data(boolean) { }
QJValue::QJValue(const QDateTime &date)
{
    if (date.isValid())
        m_data = date.toUTC();
}
QJValue::QJValue(const QByteArray &data) : m_data(data) { }
QJValue::QJValue(const QJArray &array) : m_data(array.d) { }
QJValue::QJValue(const QJDictionary &dictionary) : m_data(dictionary.d) { }
QJValue::QJValue(QObject *node)
{
    if (node)
        m_data = QVariant::fromValue(node);
}

QJValue QJValue::fromObject(const QVariant &object)
{
    QJValue v;
    if (object.isValid())
        v.m_data = object;
    return v;
}

QJValue QJValue::fromVariant(const QVariant &variant, QJMutability mutability)
{
    if (!variant.isValid())
        return QJValue();
    const QMetaType type = variant.metaType();
    switch (type.id()) {
    case QMetaType::QString:
        return variant.toString();
    case QMetaType::QChar:
        return QString(variant.toChar());
    case QMetaType::QByteArray:
        return variant.toByteArray();
    case QMetaType::Bool:
        return variant.toBool();
    case QMetaType::Int:
    case QMetaType::Short:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::SChar:
    case QMetaType::Char:
        return variant.toLongLong();
    case QMetaType::UInt:
    case QMetaType::UShort:
    case QMetaType::ULong:
    case QMetaType::ULongLong:
    case QMetaType::UChar:
        return variant.toULongLong();
    case QMetaType::Double:
    case QMetaType::Float:
        return variant.toDouble();
    case QMetaType::QDateTime:
        return variant.toDateTime();
    case QMetaType::QVariantMap: {
        const QVariantMap map = variant.toMap();
        return QJDictionary::fromVariantMap(map, mutability);
    }
    case QMetaType::QVariantHash: {
        const QVariantHash hash = variant.toHash();
        QJDictionary dict(QJMutability::Mutable);
        for (auto it = hash.cbegin(); it != hash.cend(); ++it)
            dict.setObject(fromVariant(it.value(), mutability), it.key());
        return mutability == QJMutability::Mutable ? dict : dict.copy();
    }
    default:
        break;
    }
    if (type == QMetaType::fromType<QJValue>())
        return variant.value<QJValue>();
    if (type == QMetaType::fromType<QJArray>())
        return variant.value<QJArray>();
    if (type == QMetaType::fromType<QJDictionary>())
        return variant.value<QJDictionary>();
    if (QJValueDetail::isNodeVariant(variant))
        return QJValue(variant.value<QObject *>());
    if (variant.canConvert<QSequentialIterable>()) {
        QJArray array(QJMutability::Mutable);
        const QSequentialIterable iterable = variant.value<QSequentialIterable>();
        for (const QVariant &element : iterable)
            array.append(fromVariant(element, mutability));
        return mutability == QJMutability::Mutable ? array : array.copy();
    }
    if (variant.canConvert<QAssociativeIterable>()) {
        const QAssociativeIterable iterable = variant.value<QAssociativeIterable>();
        if (iterable.metaContainer().keyMetaType() == QMetaType::fromType<QString>()) {
            QJDictionary dict(QJMutability::Mutable);
            for (auto it = iterable.begin(); it != iterable.end(); ++it)
                dict.setObject(fromVariant(it.value(), mutability), it.key().toString());
            return mutability == QJMutability::Mutable ? dict : dict.copy();
        }
    }
    return fromObject(variant);
}

QVariant QJValue::toVariant() const
{
    switch (m_data.index()) {
    case StringIndex:
        return std::get<QString>(m_data);
    case SignedIndex:
        return std::get<qint64>(m_data);
    case UnsignedIndex:
        return std::get<quint64>(m_data);
    case RealIndex:
        return std::get<double>(m_data);
    case BoolIndex:
        return std::get<bool>(m_data);
    case DateIndex:
        return std::get<QDateTime>(m_data);
    case DataIndex:
        return std::get<QByteArray>(m_data);
    case ArrayIndex:
        return toArray().toVariantList();
    case DictionaryIndex:
        return toDictionary().toVariantMap();
    case ObjectIndex:
        return std::get<QVariant>(m_data);
    }
    return QVariant();
}

QJValue::Type QJValue::type() const noexcept
{
    switch (m_data.index()) {
    case StringIndex:
        return String;
    case SignedIndex:
    case UnsignedIndex:
        return Integer;
    case RealIndex:
        return Real;
    case BoolIndex:
        return Boolean;
    case DateIndex:
        return Date;
    case DataIndex:
        return Data;
    case ArrayIndex:
        return Array;
    case DictionaryIndex:
        return Dictionary;
    case ObjectIndex:
        return Object;
    }
    return None;
}

bool QJValue::isNumber() const noexcept
{
    const Type t = type();
    return t == Integer || t == Real || t == Boolean;
}

bool QJValue::isNode() const noexcept
{
    return m_data.index() == ObjectIndex && QJValueDetail::isNodeVariant(std::get<QVariant>(m_data));
}

bool QJValue::isUnsignedInteger() const noexcept
{
    return m_data.index() == UnsignedIndex;
}

bool QJValue::isPropertyListLeaf() const noexcept
{
    const Type t = type();
    return t == String || isNumber() || t == Date || t == Data;
}

QString QJValue::toString() const
{
    if (const auto *s = std::get_if<QString>(&m_data))
        return *s;
    return QString();
}

qint64 QJValue::toInteger() const noexcept
{
    switch (m_data.index()) {
    case SignedIndex:
        return std::get<qint64>(m_data);
    case UnsignedIndex:
        return qint64(std::get<quint64>(m_data));
    case RealIndex: {
        const double d = std::get<double>(m_data);
        if (std::isnan(d))
            return 0;
        if (d >= 9.2233720368547758e18)
            return std::numeric_limits<qint64>::max();
        if (d <= -9.2233720368547758e18)
            return std::numeric_limits<qint64>::min();
        return qint64(d);
    }
    case BoolIndex:
        return std::get<bool>(m_data) ? 1 : 0;
    }
    return 0;
}

quint64 QJValue::toUnsignedInteger() const noexcept
{
    if (m_data.index() == UnsignedIndex)
        return std::get<quint64>(m_data);
    return quint64(toInteger());
}

double QJValue::toDouble() const noexcept
{
    switch (m_data.index()) {
    case SignedIndex:
        return double(std::get<qint64>(m_data));
    case UnsignedIndex:
        return double(std::get<quint64>(m_data));
    case RealIndex:
        return std::get<double>(m_data);
    case BoolIndex:
        return std::get<bool>(m_data) ? 1.0 : 0.0;
    }
    return 0.0;
}

bool QJValue::toBool() const noexcept
{
    if (m_data.index() == RealIndex)
        return std::get<double>(m_data) != 0.0;
    return toUnsignedInteger() != 0;
}

QDateTime QJValue::toDateTime() const
{
    if (const auto *d = std::get_if<QDateTime>(&m_data))
        return *d;
    return QDateTime();
}

QByteArray QJValue::toByteArray() const
{
    if (const auto *d = std::get_if<QByteArray>(&m_data))
        return *d;
    return QByteArray();
}

const void *QJValue::containerIdentity() const noexcept
{
    if (const QJArrayData *array = QJValuePrivate::arrayData(*this))
        return array;
    return QJValuePrivate::dictionaryData(*this);
}

QJArray QJValue::toArray() const
{
    if (const auto *d = std::get_if<std::shared_ptr<QJArrayData>>(&m_data))
        return QJArray(*d);
    return QJArray(emptyImmutableArray());
}

QJDictionary QJValue::toDictionary() const
{
    if (const auto *d = std::get_if<std::shared_ptr<QJDictionaryData>>(&m_data))
        return QJDictionary(*d);
    return QJDictionary(emptyImmutableDictionary());
}

QObject *QJValue::toNode() const noexcept
{
    if (!isNode())
        return nullptr;
    return std::get<QVariant>(m_data).value<QObject *>();
}

QVariant QJValue::toObject() const
{
    if (const auto *v = std::get_if<QVariant>(&m_data))
        return *v;
    return toVariant();
}

bool QJValue::isSameObject(const QJValue &other) const noexcept
{
    switch (m_data.index()) {
    case ArrayIndex:
    case DictionaryIndex:
        return m_data == other.m_data; // compares the shared pointers
    case ObjectIndex:
        if (isNode())
            return toNode() == other.toNode();
        break;
    default:
        break;
    }
    try {
        return isEqual(other);
    } catch (...) {
        return false;
    }
}
