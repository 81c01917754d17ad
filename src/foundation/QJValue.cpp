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

Q_LOGGING_CATEGORY(QJKIT_LOG, "qjkit", QtInfoMsg)

void QJLog::warning(const QString &line)
{
    qCWarning(QJKIT_LOG, "%s", qUtf8Printable(line));
}

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

bool isNodeVariant(const QVariant &v)
{
    return v.metaType().flags().testFlag(QMetaType::PointerToQObject);
}

[[noreturn]] void throwImmutable(const char *className, const char *operation)
{
    throw QJImmutableMutationError(
        std::string("-[") + className + ' ' + operation + "]: mutating method sent to immutable object");
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
    if (isNodeVariant(variant))
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
    return m_data.index() == ObjectIndex && isNodeVariant(std::get<QVariant>(m_data));
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

namespace
{
bool isContainer(const QJValue &v) noexcept
{
    return v.isArray() || v.isDictionary();
}

const void *containerIdentity(const QJValue &v) noexcept
{
    return v.isArray() ? static_cast<const void *>(QJValuePrivate::data(v.toArray()))
                       : static_cast<const void *>(QJValuePrivate::data(v.toDictionary()));
}

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

namespace
{
// Old-style property-list strings need no quotes when they are made of these characters only.
bool needsQuotes(const QString &s)
{
    if (s.isEmpty())
        return true;
    for (QChar c : s) {
        const char16_t u = c.unicode();
        const bool plain = (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') || u == u'_'
            || u == u'$' || u == u'+' || u == u'/' || u == u':' || u == u'.' || u == u'-';
        if (!plain)
            return true;
    }
    return false;
}

QString quoted(const QString &s)
{
    if (!needsQuotes(s))
        return s;
    QString out;
    out.reserve(s.size() + 2);
    out += u'"';
    for (QChar c : s) {
        switch (c.unicode()) {
        case u'"':
            out += QStringLiteral("\\\"");
            break;
        case u'\\':
            out += QStringLiteral("\\\\");
            break;
        case u'\n':
            out += QStringLiteral("\\n");
            break;
        case u'\t':
            out += QStringLiteral("\\t");
            break;
        case u'\r':
            out += QStringLiteral("\\r");
            break;
        default:
            if (c.unicode() < 0x20 || c.unicode() > 0x7E)
                out += QStringLiteral("\\U%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            else
                out += c;
        }
    }
    out += u'"';
    return out;
}

QString describeObject(const QVariant &v)
{
    if (isNodeVariant(v)) {
        const QObject *o = v.value<QObject *>();
        if (!o)
            return QStringLiteral("(null)");
        return QStringLiteral("<%1: 0x%2>")
            .arg(QLatin1StringView(o->metaObject()->className()))
            .arg(quintptr(o), 0, 16);
    }
    if (v.canConvert<QString>()) {
        const QString s = v.toString();
        if (!s.isEmpty())
            return s;
    }
    return u'<' + QLatin1StringView(v.metaType().name()) + u'>';
}

// A value that is not an array or a dictionary.
void describeLeaf(const QJValue &value, bool nested, QString &out)
{
    switch (value.type()) {
    case QJValue::None:
        out += nested ? QStringLiteral("<null>") : QStringLiteral("(null)");
        return;
    case QJValue::String:
        out += nested ? quoted(value.toString()) : value.toString();
        return;
    case QJValue::Integer:
        out += value.isUnsignedInteger() ? QString::number(value.toUnsignedInteger())
                                         : QString::number(value.toInteger());
        return;
    case QJValue::Real:
        out += qjFormatReal(value.toDouble());
        return;
    case QJValue::Boolean:
        out += value.toBool() ? u'1' : u'0';
        return;
    case QJValue::Date:
        out += value.toDateTime().toUTC().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")) + QStringLiteral(" +0000");
        return;
    case QJValue::Data: {
        const QByteArray hex = value.toByteArray().toHex();
        out += u'<';
        for (qsizetype i = 0; i < hex.size(); i += 8) {
            if (i)
                out += u' ';
            out += QLatin1StringView(hex.mid(i, 8));
        }
        out += u'>';
        return;
    }
    case QJValue::Object:
        out += describeObject(value.toObject());
        return;
    case QJValue::Array:
    case QJValue::Dictionary:
        return;
    }
}

// One open array or dictionary of a description.
struct DescribeFrame
{
    QJValue container;
    qsizetype count;
    qsizetype next;
    QString pad; // the indentation of its closing bracket
};
} // namespace

// Written with a stack of open containers instead of recursion, so that a tree of any depth can
// be described. A container met again inside itself is written as "(...)" or "{...}".
QString QJValue::description() const
{
    QString out;
    if (!isContainer(*this)) {
        describeLeaf(*this, false, out);
        return out;
    }
    std::vector<DescribeFrame> stack;
    QSet<const void *> open;
    auto enter = [&](const QJValue &container, const QString &pad) {
        const bool isArray = container.isArray();
        if (open.contains(containerIdentity(container))) {
            out += isArray ? QStringLiteral("(...)") : QStringLiteral("{...}");
            return;
        }
        open.insert(containerIdentity(container));
        out += isArray ? QStringLiteral("(\n") : QStringLiteral("{\n");
        const qsizetype count = isArray ? container.toArray().count() : container.toDictionary().count();
        stack.push_back({container, count, 0, pad});
    };
    enter(*this, QString());
    while (!stack.empty()) {
        DescribeFrame &f = stack.back();
        const bool isArray = f.container.isArray();
        if (f.next > 0) // the element before is complete: end its line
            out += isArray ? (f.next < f.count ? QStringLiteral(",\n") : QStringLiteral("\n")) : QStringLiteral(";\n");
        if (f.next == f.count) {
            out += f.pad + (isArray ? u')' : u'}');
            open.remove(containerIdentity(f.container));
            stack.pop_back();
            continue;
        }
        const QString innerPad = f.pad + QStringLiteral("    ");
        QJValue element;
        if (isArray) {
            element = f.container.toArray().at(f.next);
            out += innerPad;
        } else {
            const auto &entry = *(f.container.toDictionary().begin() + f.next);
            element = entry.second;
            out += innerPad + quoted(entry.first) + QStringLiteral(" = ");
        }
        ++f.next;
        if (isContainer(element))
            enter(element, innerPad); // may move `f`
        else
            describeLeaf(element, true, out);
    }
    return out;
}

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

QDebug operator<<(QDebug debug, const QJValue &value)
{
    QDebugStateSaver saver(debug);
    debug.noquote().nospace() << "QJValue(" << value.description() << ')';
    return debug;
}

QDebug operator<<(QDebug debug, const QJArray &array)
{
    QDebugStateSaver saver(debug);
    debug.noquote().nospace() << "QJArray(" << array.description() << ')';
    return debug;
}

QDebug operator<<(QDebug debug, const QJDictionary &dictionary)
{
    QDebugStateSaver saver(debug);
    debug.noquote().nospace() << "QJDictionary(" << dictionary.description() << ')';
    return debug;
}

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
