// SPDX-License-Identifier: LGPL-2.1-or-later
// The two archive formats; see QJArchiving.h for their layout.
#include "QJArchiving.h"

#include <QCborArray>
#include <QCborMap>
#include <QCborStreamReader>
#include <QCborValue>
#include <QDataStream>
#include <QIODevice>
#include <QLine>
#include <QMetaProperty>
#include <QPoint>
#include <QRect>
#include <QSize>
#include <QUrl>
#include <QtEndian>

#include <cmath>
#include <limits>
#include <new>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{
constexpr char SequentialSignature[] = "QJSA";
constexpr quint16 SequentialFormatVersion = 1;
constexpr auto SequentialStreamVersion = QDataStream::Qt_6_0;
const QString KeyedArchiver = u"QJKeyedArchive"_s;
constexpr qint64 KeyedFormatVersion = 1;

// Types whose own stream operators would read nested QVariants without our depth bound.
bool nestsVariants(const QMetaType &type)
{
    return QByteArrayView(type.name()).contains("QVariant");
}

bool isVariantContainer(int id)
{
    return id == QMetaType::QVariantList || id == QMetaType::QVariantMap || id == QMetaType::QVariantHash;
}

bool isStreamable(const QMetaType &type)
{
    return type.isValid() && type.hasRegisteredDataStreamOperators() && !nestsVariants(type)
        && !type.flags().testFlag(QMetaType::PointerToQObject);
}

// Some of Qt's own readers trust the count their data starts with: they reserve room for it, or
// mishandle bit counts near 2^32. For those types the count must fit in the bytes that are left
// (every element takes at least one byte).
bool leadingCountFits(QDataStream &stream, const QMetaType &type)
{
    const QByteArrayView name(type.name());
    const bool bits = name == "QBitArray";
    const bool counted = bits || name == "QStringList" || name == "QByteArrayList" || name == "QPolygon"
        || name == "QPolygonF" || name.startsWith("QList<") || name.startsWith("QVector<") || name.startsWith("QQueue<")
        || name.startsWith("QStack<") || name.startsWith("QSet<") || name.startsWith("QMap<")
        || name.startsWith("QHash<") || name.startsWith("QMultiMap<") || name.startsWith("QMultiHash<");
    if (!counted)
        return true;
    QIODevice *device = stream.device();
    if (!device || device->isSequential())
        return false;
    const QByteArray head = device->peek(4);
    if (head.size() < 4)
        return false;
    const quint64 count = qFromBigEndian<quint32>(head.constData());
    const quint64 left = quint64(device->bytesAvailable() - 4);
    return bits ? count <= 0xfffffff8u && (count + 7) / 8 <= left : count <= left;
}

// Loads one value of @p type from bytes that may be hostile.
std::optional<QVariant> loadValue(QDataStream &stream, const QMetaType &type)
{
    if (!isStreamable(type) || stream.byteOrder() != QDataStream::BigEndian || !leadingCountFits(stream, type))
        return std::nullopt;
    QVariant value(type);
    if (!value.isValid() || !value.data())
        return std::nullopt;
    try {
        if (!type.load(stream, value.data()) || stream.status() != QDataStream::Ok)
            return std::nullopt;
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
    return value;
}

// ------------------------------------------------------------------------------------------------
// Sequential: QVariant in QDataStream format, written and read with the nesting in our hands.

bool writeVariant(QDataStream &s, const QVariant &v, int depth)
{
    if (depth > QJArchiving::MaximumDepth || !v.isValid())
        return false;
    const QMetaType type = v.metaType();
    if (type.id() >= QMetaType::User)
        s << quint32(QMetaType::User) << qint8(0) << type.name();
    else
        s << quint32(type.id()) << qint8(0);
    switch (type.id()) {
    case QMetaType::QVariantList: {
        const QVariantList list = v.toList();
        s << quint32(list.size());
        for (const QVariant &element : list) {
            if (!writeVariant(s, element, depth + 1))
                return false;
        }
        break;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap map = v.toMap();
        s << quint32(map.size());
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            s << it.key();
            if (!writeVariant(s, it.value(), depth + 1))
                return false;
        }
        break;
    }
    case QMetaType::QVariantHash: {
        const QVariantHash hash = v.toHash();
        s << quint32(hash.size());
        for (auto it = hash.cbegin(); it != hash.cend(); ++it) {
            s << it.key();
            if (!writeVariant(s, it.value(), depth + 1))
                return false;
        }
        break;
    }
    default:
        if (!isStreamable(type) || !type.save(s, v.constData()))
            return false;
    }
    return s.status() == QDataStream::Ok;
}

std::optional<QVariant> readVariant(QDataStream &s, int depth)
{
    if (depth > QJArchiving::MaximumDepth)
        return std::nullopt;
    quint32 id = 0;
    qint8 isNull = 0;
    s >> id >> isNull;
    if (s.status() != QDataStream::Ok)
        return std::nullopt;
    QMetaType type;
    if (id == QMetaType::User) {
        QByteArray name;
        s >> name;
        if (s.status() != QDataStream::Ok)
            return std::nullopt;
        if (name.endsWith('\0'))
            name.chop(1);
        type = QMetaType::fromName(name);
    } else if (id < QMetaType::User && QMetaType::isRegistered(int(id))) {
        type = QMetaType(int(id));
    }
    if (!type.isValid())
        return std::nullopt;

    if (isVariantContainer(type.id())) {
        quint32 count = 0;
        s >> count;
        QVariantList list;
        QVariantMap map;
        QVariantHash hash;
        // No reservation from the count: a hostile count simply runs out of data.
        for (quint32 i = 0; i < count && s.status() == QDataStream::Ok; ++i) {
            QString key;
            if (type.id() != QMetaType::QVariantList)
                s >> key;
            const std::optional<QVariant> element = readVariant(s, depth + 1);
            if (!element)
                return std::nullopt;
            if (type.id() == QMetaType::QVariantList)
                list.append(*element);
            else if (type.id() == QMetaType::QVariantMap)
                map.insert(key, *element);
            else
                hash.insert(key, *element);
        }
        if (s.status() != QDataStream::Ok)
            return std::nullopt;
        if (type.id() == QMetaType::QVariantList)
            return QVariant(list);
        return type.id() == QMetaType::QVariantMap ? QVariant(map) : QVariant(hash);
    }
    return loadValue(s, type);
}

QByteArray sequentialData(const QVariant &object)
{
    QByteArray data;
    QDataStream s(&data, QIODevice::WriteOnly);
    s.writeRawData(SequentialSignature, 4);
    s << SequentialFormatVersion << quint16(SequentialStreamVersion);
    s.setVersion(SequentialStreamVersion);
    if (!writeVariant(s, object, 0))
        return QByteArray();
    return data;
}

QVariant sequentialObject(const QByteArray &data)
{
    if (!data.startsWith(SequentialSignature))
        return QVariant();
    QDataStream s(data);
    s.skipRawData(4);
    quint16 format = 0;
    quint16 version = 0;
    s >> format >> version;
    if (s.status() != QDataStream::Ok || format != SequentialFormatVersion || version < QDataStream::Qt_6_0
        || version > QDataStream::Qt_DefaultCompiledVersion)
        return QVariant();
    s.setVersion(version);
    const std::optional<QVariant> object = readVariant(s, 0);
    if (!object || !s.atEnd())
        return QVariant();
    return *object;
}

// ------------------------------------------------------------------------------------------------
// Keyed: a CBOR document of typed objects.

bool isScalar(const QMetaType &type)
{
    switch (type.id()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::QString:
    case QMetaType::QByteArray:
    case QMetaType::QUrl:
        return true;
    default:
        return type.flags().testFlag(QMetaType::IsEnumeration);
    }
}

QCborValue scalarToCbor(const QVariant &v)
{
    switch (v.metaType().id()) {
    case QMetaType::Bool:
        return v.toBool();
    case QMetaType::Double:
    case QMetaType::Float:
        return v.toDouble();
    case QMetaType::QString:
        return v.toString();
    case QMetaType::QByteArray:
        return v.toByteArray();
    case QMetaType::QUrl:
        return QString::fromUtf8(v.toUrl().toEncoded());
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (v.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            return QString::number(v.toULongLong()); // above the range of a CBOR integer here
        return qint64(v.toULongLong());
    default:
        return v.toLongLong();
    }
}

std::optional<QVariant> scalarFromCbor(const QCborValue &value, const QMetaType &type)
{
    QVariant v;
    if (type.id() == QMetaType::QUrl) {
        if (!value.isString())
            return std::nullopt;
        const QUrl url = QUrl::fromEncoded(value.toString().toUtf8(), QUrl::StrictMode);
        return url.isValid() || value.toString().isEmpty() ? std::optional<QVariant>(url) : std::nullopt;
    }
    if (value.isBool())
        v = value.toBool();
    else if (value.isInteger())
        v = value.toInteger();
    else if (value.isDouble()) {
        // A real goes only where a real belongs, and into a float only when it fits: other
        // conversions of reals (into integers, a huge one into a float) are undefined.
        const double real = value.toDouble();
        if (type.id() != QMetaType::Double && type.id() != QMetaType::Float)
            return std::nullopt;
        if (type.id() == QMetaType::Float && std::isfinite(real) && std::abs(real) > std::numeric_limits<float>::max())
            return std::nullopt;
        v = real;
    } else if (value.isString())
        v = value.toString();
    else if (value.isByteArray())
        v = value.toByteArray();
    else
        return std::nullopt;
    if (v.metaType() != type && !v.convert(type))
        return std::nullopt;
    return v;
}

// The geometry types, as named numeric fields.
struct Geometry
{
    int typeId;
    QList<QString> names;
};

const QList<Geometry> &geometries()
{
    static const QList<Geometry> list {
        {QMetaType::QPoint, {u"x"_s, u"y"_s}},
        {QMetaType::QPointF, {u"x"_s, u"y"_s}},
        {QMetaType::QSize, {u"width"_s, u"height"_s}},
        {QMetaType::QSizeF, {u"width"_s, u"height"_s}},
        {QMetaType::QRect, {u"x"_s, u"y"_s, u"width"_s, u"height"_s}},
        {QMetaType::QRectF, {u"x"_s, u"y"_s, u"width"_s, u"height"_s}},
        {QMetaType::QLine, {u"x1"_s, u"y1"_s, u"x2"_s, u"y2"_s}},
        {QMetaType::QLineF, {u"x1"_s, u"y1"_s, u"x2"_s, u"y2"_s}},
    };
    return list;
}

const Geometry *geometryFor(int typeId)
{
    for (const Geometry &g : geometries()) {
        if (g.typeId == typeId)
            return &g;
    }
    return nullptr;
}

QList<double> geometryNumbers(const QVariant &v)
{
    switch (v.metaType().id()) {
    case QMetaType::QPoint:
    case QMetaType::QPointF: {
        const QPointF p = v.toPointF();
        return {p.x(), p.y()};
    }
    case QMetaType::QSize:
    case QMetaType::QSizeF: {
        const QSizeF s = v.toSizeF();
        return {s.width(), s.height()};
    }
    case QMetaType::QRect:
    case QMetaType::QRectF: {
        const QRectF r = v.toRectF();
        return {r.x(), r.y(), r.width(), r.height()};
    }
    default: {
        const QLineF l = v.toLineF();
        return {l.x1(), l.y1(), l.x2(), l.y2()};
    }
    }
}

QVariant geometryFromNumbers(int typeId, const QList<double> &n)
{
    switch (typeId) {
    case QMetaType::QPoint:
        return QPoint(int(n[0]), int(n[1]));
    case QMetaType::QPointF:
        return QPointF(n[0], n[1]);
    case QMetaType::QSize:
        return QSize(int(n[0]), int(n[1]));
    case QMetaType::QSizeF:
        return QSizeF(n[0], n[1]);
    case QMetaType::QRect:
        return QRect(int(n[0]), int(n[1]), int(n[2]), int(n[3]));
    case QMetaType::QRectF:
        return QRectF(n[0], n[1], n[2], n[3]);
    case QMetaType::QLine:
        return QLine(int(n[0]), int(n[1]), int(n[2]), int(n[3]));
    default:
        return QLineF(n[0], n[1], n[2], n[3]);
    }
}

bool isIntegerGeometry(int typeId)
{
    return typeId == QMetaType::QPoint || typeId == QMetaType::QSize || typeId == QMetaType::QRect
        || typeId == QMetaType::QLine;
}

// A gadget is written by its properties when every one of them can be written back.
bool isFieldGadget(const QMetaType &type)
{
    const QMetaObject *meta = type.metaObject();
    if (!meta || !type.flags().testFlag(QMetaType::IsGadget) || meta->propertyCount() == 0)
        return false;
    for (int i = 0; i < meta->propertyCount(); ++i) {
        if (!meta->property(i).isWritable())
            return false;
    }
    return true;
}

std::optional<QCborValue> encodeKeyed(const QVariant &v, int depth)
{
    if (depth > QJArchiving::MaximumDepth || !v.isValid())
        return std::nullopt;
    const QMetaType type = v.metaType();
    QCborMap object {{u"type"_s, QString::fromLatin1(type.name())}};
    if (isScalar(type)) {
        object.insert(u"value"_s, scalarToCbor(v));
    } else if (type.id() == QMetaType::QVariantList) {
        QCborArray items;
        for (const QVariant &element : v.toList()) {
            const auto encoded = encodeKeyed(element, depth + 1);
            if (!encoded)
                return std::nullopt;
            items.append(*encoded);
        }
        object.insert(u"items"_s, items);
    } else if (type.id() == QMetaType::QVariantMap || type.id() == QMetaType::QVariantHash) {
        const QVariantMap map = type.id() == QMetaType::QVariantMap ? v.toMap() : QVariantMap();
        const QVariantHash hash = type.id() == QMetaType::QVariantHash ? v.toHash() : QVariantHash();
        QCborMap entries;
        auto add = [&](const QString &key, const QVariant &value) {
            const auto encoded = encodeKeyed(value, depth + 1);
            if (encoded)
                entries.insert(key, *encoded);
            return encoded.has_value();
        };
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!add(it.key(), it.value()))
                return std::nullopt;
        }
        for (auto it = hash.cbegin(); it != hash.cend(); ++it) {
            if (!add(it.key(), it.value()))
                return std::nullopt;
        }
        object.insert(u"entries"_s, entries);
    } else if (const Geometry *geometry = geometryFor(type.id())) {
        const QList<double> numbers = geometryNumbers(v);
        const bool integers = isIntegerGeometry(type.id());
        QCborMap fields;
        for (qsizetype i = 0; i < numbers.size(); ++i) {
            const QVariant field = integers ? QVariant(int(numbers[i])) : QVariant(numbers[i]);
            fields.insert(geometry->names[i], *encodeKeyed(field, depth + 1));
        }
        object.insert(u"fields"_s, fields);
    } else if (isFieldGadget(type)) {
        const QMetaObject *meta = type.metaObject();
        QCborMap fields;
        for (int i = 0; i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            const auto encoded = encodeKeyed(property.readOnGadget(v.constData()), depth + 1);
            if (!encoded)
                return std::nullopt;
            fields.insert(QString::fromLatin1(property.name()), *encoded);
        }
        object.insert(u"fields"_s, fields);
    } else {
        if (!isStreamable(type))
            return std::nullopt;
        QByteArray bytes;
        QDataStream s(&bytes, QIODevice::WriteOnly);
        s.setVersion(SequentialStreamVersion);
        if (!type.save(s, v.constData()) || s.status() != QDataStream::Ok)
            return std::nullopt;
        object.insert(u"stream"_s, bytes);
        object.insert(u"streamVersion"_s, qint64(SequentialStreamVersion));
    }
    return QCborValue(object);
}

std::optional<QVariant> decodeKeyed(const QCborValue &value, int depth)
{
    if (depth > QJArchiving::MaximumDepth || !value.isMap())
        return std::nullopt;
    const QCborMap object = value.toMap();
    const QMetaType type = QMetaType::fromName(object.value(u"type"_s).toString().toUtf8());
    if (!type.isValid())
        return std::nullopt;

    if (object.contains(u"value"_s)) {
        if (!isScalar(type))
            return std::nullopt;
        return scalarFromCbor(object.value(u"value"_s), type);
    }
    if (object.contains(u"items"_s)) {
        const QCborValue items = object.value(u"items"_s);
        if (type.id() != QMetaType::QVariantList || !items.isArray())
            return std::nullopt;
        QVariantList list;
        for (const QCborValue &item : items.toArray()) {
            const auto decoded = decodeKeyed(item, depth + 1);
            if (!decoded)
                return std::nullopt;
            list.append(*decoded);
        }
        return QVariant(list);
    }
    if (object.contains(u"entries"_s)) {
        const QCborValue entries = object.value(u"entries"_s);
        if ((type.id() != QMetaType::QVariantMap && type.id() != QMetaType::QVariantHash) || !entries.isMap())
            return std::nullopt;
        QVariantMap map;
        QVariantHash hash;
        const QCborMap entryMap = entries.toMap();
        for (auto it = entryMap.cbegin(); it != entryMap.cend(); ++it) {
            const auto decoded = decodeKeyed(it.value(), depth + 1);
            if (!decoded || !it.key().isString())
                return std::nullopt;
            if (type.id() == QMetaType::QVariantMap)
                map.insert(it.key().toString(), *decoded);
            else
                hash.insert(it.key().toString(), *decoded);
        }
        return type.id() == QMetaType::QVariantMap ? QVariant(map) : QVariant(hash);
    }
    if (object.contains(u"fields"_s)) {
        const QCborValue fieldsValue = object.value(u"fields"_s);
        if (!fieldsValue.isMap())
            return std::nullopt;
        const QCborMap fields = fieldsValue.toMap();
        if (const Geometry *geometry = geometryFor(type.id())) {
            QList<double> numbers;
            for (const QString &name : geometry->names) {
                const QCborValue field = fields.value(name);
                const auto decoded = decodeKeyed(field, depth + 1);
                if (!decoded || !decoded->canConvert<double>())
                    return std::nullopt;
                const double number = decoded->toDouble();
                // An integer geometry takes only what an int holds (NaN included, nothing else fits).
                if (isIntegerGeometry(type.id())
                    && !(number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max()))
                    return std::nullopt;
                numbers.append(number);
            }
            return geometryFromNumbers(type.id(), numbers);
        }
        if (!isFieldGadget(type))
            return std::nullopt;
        QVariant gadget(type);
        if (!gadget.data())
            return std::nullopt;
        const QMetaObject *meta = type.metaObject();
        for (auto it = fields.cbegin(); it != fields.cend(); ++it) {
            const int index = meta->indexOfProperty(it.key().toString().toUtf8().constData());
            if (index < 0)
                continue; // a field this version of the type no longer has
            const auto decoded = decodeKeyed(it.value(), depth + 1);
            if (!decoded || !meta->property(index).writeOnGadget(gadget.data(), *decoded))
                return std::nullopt;
        }
        return gadget;
    }
    if (object.contains(u"stream"_s)) {
        const QCborValue bytes = object.value(u"stream"_s);
        // A real number is no version; turning a huge one into an integer would be undefined.
        const QCborValue versionValue = object.value(u"streamVersion"_s);
        const qint64 version = versionValue.isInteger() ? versionValue.toInteger() : -1;
        if (!bytes.isByteArray() || version < QDataStream::Qt_6_0 || version > QDataStream::Qt_DefaultCompiledVersion)
            return std::nullopt;
        const QByteArray data = bytes.toByteArray();
        QDataStream s(data);
        s.setVersion(int(version));
        auto loaded = loadValue(s, type);
        if (!loaded || !s.atEnd())
            return std::nullopt;
        return loaded;
    }
    return std::nullopt;
}

QByteArray keyedPrefix()
{
    static const QByteArray prefix = [] {
        QByteArray full
            = QCborValue(QCborKnownTags::Signature, QCborArray {KeyedArchiver, KeyedFormatVersion, 0}).toCbor();
        return full.left(full.size() - 2); // less the version and the placeholder, one byte each
    }();
    return prefix;
}

QByteArray keyedData(const QVariant &object)
{
    const auto root = encodeKeyed(object, 0);
    if (!root)
        return QByteArray();
    return QCborValue(QCborKnownTags::Signature, QCborArray {KeyedArchiver, KeyedFormatVersion, *root}).toCbor();
}

QVariant keyedObject(const QByteArray &data)
{
    if (!data.startsWith(keyedPrefix()))
        return QVariant();
    QCborStreamReader reader(data);
    const QCborValue document = QCborValue::fromCbor(reader);
    if (reader.lastError() != QCborError::NoError || reader.currentOffset() != data.size())
        return QVariant();
    if (!document.isTag() || document.tag() != QCborTag(QCborKnownTags::Signature) || !document.taggedValue().isArray())
        return QVariant();
    const QCborArray top = document.taggedValue().toArray();
    if (top.size() != 3 || top.at(0).toString() != KeyedArchiver || !top.at(1).isInteger()
        || top.at(1).toInteger() != KeyedFormatVersion)
        return QVariant();
    return decodeKeyed(top.at(2), 0).value_or(QVariant());
}
} // namespace

QByteArray QJArchiving::archivedDataWithRootObject(const QVariant &object, bool keyed)
{
    return keyed ? keyedData(object) : sequentialData(object);
}

QVariant QJArchiving::unarchiveObjectWithData(const QByteArray &data, bool keyed)
{
    return keyed ? keyedObject(data) : sequentialObject(data);
}
