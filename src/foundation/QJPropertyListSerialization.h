// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>

/**
 * Reads and writes property lists.
 *
 * Writing produces the XML format, version 1.0: the XML header and DOCTYPE, one tab per level,
 * dictionary keys sorted by code point, `<true/>` and `<false/>`, base64 `<data>` wrapped to the line
 * width of its level, and `<date>` in ISO 8601 UTC with whole seconds.
 *
 * Reading accepts the XML format, the binary format ("bplist00") and the old-style text format
 * (`{ key = value; }`, `( a, b )`, `<0a1b>`). Readers are bounded: nesting deeper than
 * MaximumDepth, input larger than MaximumSize, entity declarations, unknown elements and malformed
 * values are refused with an error description; they never crash or hang. A binary list may
 * reference one object from several places; it is refused when its objects, a shared container
 * counted once per reference, outnumber the larger of 2^20 and twice its size in bytes, so that
 * whatever is read can also be walked, compared and written out in bounded time and memory.
 * A regular file is mapped, and the XML reader lets go of the pages it has read; other files are
 * read in blocks. Either way memory grows with the file, never with the limit.
 *
 * @code
 * QString error;
 * const QJValue plist = QJPropertyListSerialization::propertyListFromData(bytes, QJMutability::Mutable,
 *                                                                        nullptr, &error);
 * if (plist.isNone())
 *     qWarning() << error;
 * @endcode
 */
class QJKITCORE_EXPORT QJPropertyListSerialization
{
public:
    /** Property-list formats, with the platform's numeric codes. */
    enum Format { OpenStepFormat = 1, XmlFormat_v1_0 = 100, BinaryFormat_v1_0 = 200 };

    /** The deepest nesting of arrays and dictionaries that is read or written. */
    static constexpr int MaximumDepth = 512;
    /** The largest input, in bytes, that is read. */
    static constexpr qint64 MaximumSize = qint64(256) * 1024 * 1024;

    /**
     * Serializes @p plist in @p format (only XmlFormat_v1_0 can be written).
     * @return the bytes, or empty data with @p errorString set when @p plist holds something that is
     * not a property-list value (none, an object leaf, a control character in a string, nesting
     * deeper than MaximumDepth).
     */
    static QByteArray dataFromPropertyList(
        const QJValue &plist, Format format = XmlFormat_v1_0, QString *errorString = nullptr);

    /**
     * Writes @p plist in the XML format to @p write, a piece at a time as it is made, so that a large
     * list is never held whole in memory. Nothing is written when @p plist cannot be written (see
     * dataFromPropertyList()); @p write answers false to stop. @return whether all of it was written.
     */
    static bool writePropertyList(
        const QJValue &plist, const std::function<bool(QByteArrayView)> &write, QString *errorString = nullptr);

    /**
     * Parses @p data in any readable format; containers are made with @p mutability.
     * @return the property list, or none with @p errorString set. @p format receives the format read.
     */
    static QJValue propertyListFromData(const QByteArray &data, QJMutability mutability = QJMutability::Immutable,
        Format *format = nullptr, QString *errorString = nullptr);

    /** Reads and parses the file at @p path; larger files than MaximumSize are refused unread. */
    static QJValue propertyListFromFile(const QString &path, QJMutability mutability = QJMutability::Immutable,
        Format *format = nullptr, QString *errorString = nullptr);

    /**
     * Writes @p plist to @p path in the XML format; @p atomically writes a temporary file first and
     * renames it over the target. @return whether the file was written.
     */
    static bool writePropertyListToFile(
        const QJValue &plist, const QString &path, bool atomically, QString *errorString = nullptr);

    /** @return whether @p plist can be written in @p format. */
    static bool propertyListIsValidForFormat(const QJValue &plist, Format format = XmlFormat_v1_0);

    /**
     * Parses an old-style strings table (`"key" = "value";` with comments and escapes, in UTF-8 or
     * UTF-16 with a byte-order mark); XML and binary property lists holding a dictionary of strings
     * are read as well. @return the table, or none with @p errorString set.
     */
    static QJValue stringsTableFromData(const QByteArray &data, QString *errorString = nullptr);

    /** Reads and parses the strings table at @p path; larger files than MaximumSize are refused unread. */
    static QJValue stringsTableFromFile(const QString &path, QString *errorString = nullptr);
};
