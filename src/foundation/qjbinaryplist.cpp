// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"
#include "qjvalue_p.h"

#include <QHash>
#include <QTimeZone>

#include <cmath>
#include <cstring>

using namespace Qt::StringLiterals;

// The binary format: "bplist00", the objects, a table of object offsets, and a 32-byte trailer
// (offset size, reference size, object count, top object, table offset). Every number in the file
// is checked against the file's bounds before it is used.

namespace
{
constexpr qint64 TrailerSize = 32;
constexpr qint64 HeaderSize = 8;
constexpr qint64 ReferenceDate = 978307200; // 2001-01-01T00:00:00Z in seconds since 1970

// What is known of each container object: whether it is being read (a reference to it then is a
// cycle) and, when reading immutably, the value already read (a graph may share a container) with
// the number of objects it holds. A table by object number while the count is moderate, a hash
// beyond that, so that the memory stays bounded by what is actually read.
class ContainerTable
{
public:
    // A container read once and shared, with the number of objects it holds, itself included.
    struct Shared
    {
        QJValue value;
        qint64 weight;
    };

    void reset(quint64 objectCount, bool keepValues)
    {
        m_keepValues = keepValues;
        if (objectCount <= DenseLimit)
            m_dense.assign(std::size_t(objectCount), Unseen);
    }

    const Shared *done(quint64 ref) const
    {
        const qint32 state = stateOf(ref);
        return state >= 0 ? &m_values[std::size_t(state)] : nullptr;
    }
    bool isOpen(quint64 ref) const { return stateOf(ref) == Open; }
    void open(quint64 ref) { setState(ref, Open); }
    // Marks @p ref read; @p value, of @p weight objects, is kept for later references when values are kept.
    void close(quint64 ref, const QJValue &value, qint64 weight)
    {
        if (!m_keepValues || value.isNone()) {
            setState(ref, Unseen);
            return;
        }
        m_values.push_back({value, weight});
        setState(ref, qint32(m_values.size() - 1));
    }

private:
    static constexpr quint64 DenseLimit = quint64(1) << 24;
    static constexpr qint32 Unseen = -1;
    static constexpr qint32 Open = -2;

    qint32 stateOf(quint64 ref) const
    {
        if (!m_dense.empty())
            return m_dense[std::size_t(ref)];
        return m_sparse.value(ref, Unseen);
    }
    void setState(quint64 ref, qint32 state)
    {
        if (!m_dense.empty())
            m_dense[std::size_t(ref)] = state;
        else if (state == Unseen)
            m_sparse.remove(ref);
        else
            m_sparse.insert(ref, state);
    }

    std::vector<qint32> m_dense;
    QHash<quint64, qint32> m_sparse;
    std::vector<Shared> m_values;
    bool m_keepValues = false;
};

class BinaryReader
{
public:
    BinaryReader(const QByteArray &data, QJMutability mutability)
        : m_data(reinterpret_cast<const uchar *>(data.constData())), m_size(data.size()), m_mutability(mutability)
    { }

    QJValue read(QString *error)
    {
        QJValue result = readTrailerAndTop();
        if (m_failed) {
            if (error)
                *error = m_error;
            return QJValue();
        }
        return result;
    }

private:
    QJValue fail(const QString &message)
    {
        if (!m_failed) {
            m_failed = true;
            m_error = message;
        }
        return QJValue();
    }

    quint64 readUnsigned(qint64 at, int size) const
    {
        quint64 v = 0;
        for (int i = 0; i < size; ++i)
            v = (v << 8) | m_data[at + i];
        return v;
    }

    QJValue readTrailerAndTop()
    {
        if (m_size < HeaderSize + TrailerSize || std::memcmp(m_data, "bplist00", 8) != 0)
            return fail(u"not a binary property list"_s);
        const qint64 t = m_size - TrailerSize;
        m_offsetSize = m_data[t + 6];
        m_refSize = m_data[t + 7];
        m_objectCount = readUnsigned(t + 8, 8);
        const quint64 top = readUnsigned(t + 16, 8);
        m_tableOffset = readUnsigned(t + 24, 8);
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_refSize < 1 || m_refSize > 8)
            return fail(u"the trailer gives invalid offset or reference sizes"_s);
        if (m_objectCount == 0 || top >= m_objectCount)
            return fail(u"the trailer names no valid top object"_s);
        if (m_tableOffset < quint64(HeaderSize) || m_tableOffset > quint64(t)
            || m_objectCount > (quint64(t) - m_tableOffset) / m_offsetSize)
            return fail(u"the offset table lies outside the file"_s);
        // A graph may share objects; unshared, it cannot hold more references than it has bytes.
        // Shared containers are charged in full each time they are referenced, see reuse().
        m_budget = std::max<qint64>(qint64(1) << 20, 2 * m_size);
        m_containers.reset(m_objectCount, m_mutability == QJMutability::Immutable);
        return readObject(top, 0);
    }

    // Reads the count that follows a marker: its low nibble, or an integer object when that is 0xF.
    bool readCount(qint64 *at, quint64 *count)
    {
        const uchar marker = m_data[*at];
        *at += 1;
        if ((marker & 0x0F) != 0x0F) {
            *count = marker & 0x0F;
            return true;
        }
        if (*at >= qint64(m_tableOffset)) {
            fail(u"a length runs past the objects"_s);
            return false;
        }
        const uchar intMarker = m_data[*at];
        const int size = 1 << (intMarker & 0x0F);
        if ((intMarker & 0xF0) != 0x10 || size > 8 || *at + 1 + size > qint64(m_tableOffset)) {
            fail(u"an object has an invalid length"_s);
            return false;
        }
        *count = readUnsigned(*at + 1, size);
        *at += 1 + size;
        return true;
    }

    // Whether count items of itemSize bytes fit between at and the offset table.
    bool fits(qint64 at, quint64 count, quint64 itemSize) const
    {
        const quint64 room = m_tableOffset - quint64(at);
        return quint64(at) <= m_tableOffset && (itemSize == 0 || count <= room / itemSize);
    }

    QJValue readObject(quint64 ref, int depth)
    {
        if (m_failed)
            return QJValue();
        if (--m_budget < 0)
            return fail(u"the object graph is too large"_s);
        if (ref >= m_objectCount)
            return fail(u"a reference points past the object table"_s);
        const qint64 offset = qint64(readUnsigned(qint64(m_tableOffset + ref * m_offsetSize), m_offsetSize));
        if (offset < HeaderSize || quint64(offset) >= m_tableOffset)
            return fail(u"an object offset lies outside the objects"_s);

        const uchar marker = m_data[offset];
        const int low = marker & 0x0F;
        switch (marker >> 4) {
        case 0x0:
            if (marker == 0x08 || marker == 0x09)
                return marker == 0x09;
            return fail(u"unsupported object marker 0x%1"_s.arg(marker, 2, 16, QLatin1Char('0')));
        case 0x1:
            return readInteger(offset, low);
        case 0x2: {
            const int size = 1 << low;
            if ((size != 4 && size != 8) || !fits(offset + 1, 1, size))
                return fail(u"a real has an invalid size"_s);
            const quint64 bits = readUnsigned(offset + 1, size);
            if (size == 4) {
                float f;
                const quint32 b32 = quint32(bits);
                std::memcpy(&f, &b32, 4);
                return double(f);
            }
            double d;
            std::memcpy(&d, &bits, 8);
            return d;
        }
        case 0x3: {
            if (marker != 0x33 || !fits(offset + 1, 1, 8))
                return fail(u"a date has an invalid size"_s);
            const quint64 bits = readUnsigned(offset + 1, 8);
            double seconds;
            std::memcpy(&seconds, &bits, 8);
            // Dates stay within years 1 to 9999 of the proleptic calendar.
            if (!std::isfinite(seconds) || seconds < -63113904000.0 || seconds > 252423993600.0)
                return fail(u"a date lies outside the years 1 to 9999"_s);
            return QDateTime::fromMSecsSinceEpoch(qint64(std::llround((seconds + ReferenceDate) * 1000.0)), Qt::UTC);
        }
        case 0x4: {
            qint64 at = offset;
            quint64 count = 0;
            if (!readCount(&at, &count))
                return QJValue();
            if (!fits(at, count, 1))
                return fail(u"data runs past the objects"_s);
            return QByteArray(reinterpret_cast<const char *>(m_data + at), qsizetype(count));
        }
        case 0x5:
        case 0x6: {
            qint64 at = offset;
            quint64 count = 0;
            if (!readCount(&at, &count))
                return QJValue();
            const bool utf16 = (marker >> 4) == 0x6;
            if (!fits(at, count, utf16 ? 2 : 1))
                return fail(u"a string runs past the objects"_s);
            if (!utf16)
                return QString::fromLatin1(reinterpret_cast<const char *>(m_data + at), qsizetype(count));
            QString s(qsizetype(count), Qt::Uninitialized);
            char16_t *out = reinterpret_cast<char16_t *>(s.data());
            for (quint64 i = 0; i < count; ++i)
                out[i] = char16_t((m_data[at + 2 * i] << 8) | m_data[at + 2 * i + 1]);
            return s;
        }
        case 0x8: {
            if (!fits(offset + 1, 1, low + 1))
                return fail(u"a UID runs past the objects"_s);
            QJDictionary uid {{u"CF$UID"_s, readUnsigned(offset + 1, low + 1)}};
            QJValuePrivate::setMutability(uid, m_mutability);
            return uid;
        }
        case 0xA:
        case 0xC:
            return readArray(ref, offset, depth);
        case 0xD:
            return readDictionary(ref, offset, depth);
        default:
            return fail(u"unknown object marker 0x%1"_s.arg(marker, 2, 16, QLatin1Char('0')));
        }
    }

    QJValue readInteger(qint64 offset, int low)
    {
        const int size = 1 << low;
        if (size > 16 || !fits(offset + 1, 1, size))
            return fail(u"an integer has an invalid size"_s);
        if (size == 16) {
            const quint64 high = readUnsigned(offset + 1, 8);
            const quint64 value = readUnsigned(offset + 9, 8);
            if (high == 0)
                return value;
            if (high == ~quint64(0) && qint64(value) < 0)
                return qint64(value);
            return fail(u"an integer lies outside the 64-bit range"_s);
        }
        const quint64 value = readUnsigned(offset + 1, size);
        if (size == 8)
            return qint64(value); // eight bytes are signed, fewer are unsigned
        return value;
    }

    // A shared container costs what it would cost unshared: whoever walks the result (a writer,
    // description(), isEqual()) visits it once per reference, so a small file that references
    // one container twice on each of many levels would otherwise expand without bound.
    QJValue reuse(const ContainerTable::Shared &shared)
    {
        m_budget -= shared.weight - 1;
        if (m_budget < 0)
            return fail(u"the object graph is too large"_s);
        return shared.value;
    }

    // Guards against cycles and nesting before a container's elements are read.
    bool enter(quint64 ref, int depth)
    {
        if (depth >= QJPropertyListSerialization::MaximumDepth) {
            fail(u"the property list nests deeper than %1 levels"_s.arg(QJPropertyListSerialization::MaximumDepth));
            return false;
        }
        if (m_containers.isOpen(ref)) {
            fail(u"the property list contains itself"_s);
            return false;
        }
        m_containers.open(ref);
        return true;
    }

    QJValue readArray(quint64 ref, qint64 offset, int depth)
    {
        if (const auto *read = m_containers.done(ref))
            return reuse(*read); // immutable containers are shared: a graph that references one twice reads it once
        const qint64 budgetBefore = m_budget + 1; // this object's own unit is already taken
        qint64 at = offset;
        quint64 count = 0;
        if (!readCount(&at, &count))
            return QJValue();
        if (!fits(at, count, m_refSize))
            return fail(u"an array runs past the objects"_s);
        if (!enter(ref, depth))
            return QJValue();
        QList<QJValue> values;
        values.reserve(qsizetype(count));
        for (quint64 i = 0; i < count && !m_failed; ++i)
            values.append(readObject(readUnsigned(at + qint64(i) * m_refSize, m_refSize), depth + 1));
        if (m_failed)
            return QJValue();
        const QJValue array = QJValuePrivate::makeArray(std::move(values), m_mutability);
        m_containers.close(ref, array, budgetBefore - m_budget);
        return array;
    }

    QJValue readDictionary(quint64 ref, qint64 offset, int depth)
    {
        if (const auto *read = m_containers.done(ref))
            return reuse(*read);
        const qint64 budgetBefore = m_budget + 1;
        qint64 at = offset;
        quint64 count = 0;
        if (!readCount(&at, &count))
            return QJValue();
        if (count > quint64(m_size) || !fits(at, 2 * count, m_refSize))
            return fail(u"a dictionary runs past the objects"_s);
        if (!enter(ref, depth))
            return QJValue();
        QJDictionary dict(QJMutability::Mutable);
        const qint64 valuesAt = at + qint64(count) * m_refSize;
        for (quint64 i = 0; i < count && !m_failed; ++i) {
            const QJValue key = readObject(readUnsigned(at + qint64(i) * m_refSize, m_refSize), depth + 1);
            if (m_failed)
                break;
            if (!key.isString()) {
                fail(u"a dictionary key is not a string"_s);
                break;
            }
            const QJValue value = readObject(readUnsigned(valuesAt + qint64(i) * m_refSize, m_refSize), depth + 1);
            if (!m_failed)
                dict.setObject(value, key.toString());
        }
        if (m_failed)
            return QJValue();
        QJValuePrivate::setMutability(dict, m_mutability);
        m_containers.close(ref, dict, budgetBefore - m_budget);
        return dict;
    }

    const uchar *m_data;
    qint64 m_size;
    QJMutability m_mutability;
    int m_offsetSize = 0;
    int m_refSize = 0;
    quint64 m_objectCount = 0;
    quint64 m_tableOffset = 0;
    qint64 m_budget = 0;
    ContainerTable m_containers;
    QString m_error;
    bool m_failed = false;
};
} // namespace

QJValue QJPlist::readBinary(const QByteArray &data, QJMutability mutability, QString *error)
{
    BinaryReader reader(data, mutability);
    return reader.read(error);
}
