// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QByteArray>
#include <QVariant>

/**
 * Turns a tree of arrays and dictionaries whose leaves may be any streamable Qt value (a QColor,
 * a QFont, a QRect, a QUrl, a Q_GADGET, ...) into a pure property-list tree by archiving every leaf
 * that is not a property-list value into data, and back by unarchiving every data leaf.
 *
 * Two archive formats, each recognised by its signature; data in neither is not an archive, and
 * unarchiving it answers an invalid QVariant (a leaf stays the data it was):
 *
 * - Sequential: the 4 bytes "QJSA", a big-endian quint16 format version (1), a big-endian quint16
 *   QDataStream version (QDataStream::Qt_6_0 when written), then the object as a QVariant in that
 *   QDataStream format, and nothing after it. The body reads back with `QDataStream >> QVariant`;
 *   QVariantList, QVariantMap and QVariantHash inside it are walked by QJKit itself, with their
 *   nesting bounded by MaximumDepth.
 *
 * - Keyed: one CBOR document, the self-describing tag 55799 on the array
 *   ["QJKeyedArchive", 1, object], so its first 19 bytes are always the same. An object is a map
 *   naming its type, {"type": "QRect", ...}, and holding one of:
 *   "value" (a CBOR boolean, integer, float, text or byte string; for numbers, strings, data, QUrl
 *   and enumerations), "fields" (a map of field name to object; for QPoint, QPointF, QSize, QSizeF,
 *   QRect, QRectF, QLine, QLineF and Q_GADGETs with writable properties), "items" (an array of
 *   objects; QVariantList), "entries" (a map of string to object; QVariantMap, QVariantHash), or
 *   "stream" (the value's own QDataStream bytes, with "streamVersion"; any other streamable type).
 *
 * Unarchiving never trusts its input: reads are bounded, truncated or malformed data, unknown types,
 * types that are not streamable and nesting deeper than MaximumDepth all answer an invalid QVariant.
 * One thing lies outside QJKit's hands: the stream readers of some of Qt's own types (a font's
 * family list, a pen's dash pattern) reserve room for the element count their data states before
 * they read the elements. Such a reservation is address space that is never touched and is given
 * back at once, and one that cannot be had throws std::bad_alloc, which unarchiving catches: the
 * answer is again an invalid QVariant.
 * Types whose stream would nest QVariants beyond QJKit's control (any type name containing
 * "QVariant" other than the three containers above) are refused.
 *
 * Walking the tree is iterative: containers of any depth are handled. Dictionaries keep their
 * key order.
 */
namespace QJArchiving
{
/** The deepest nesting of QVariant containers or gadgets inside one archived leaf. */
inline constexpr int MaximumDepth = 512;

/** @return @p object archived (keyed or sequential), or empty data when it cannot be (a QObject pointer, a type without
 * stream operators). */
QJKITCORE_EXPORT QByteArray archivedDataWithRootObject(const QVariant &object, bool keyed);
/** @return the object that @p data archives in the chosen format, or an invalid QVariant when it is not such an
 * archive. */
QJKITCORE_EXPORT QVariant unarchiveObjectWithData(const QByteArray &data, bool keyed);

/**
 * The worker: converts @p receiver (a dictionary when @p isDictionary, else an array) into a new
 * container. Nested arrays and dictionaries are converted alike; when unarchiving, each data leaf
 * that is an archive becomes its object; when archiving, each leaf that is not a string, number,
 * date or data becomes its archive. A leaf that cannot be converted is kept as it is.
 *
 * Each container comes out mutable when its own flag is set (@p dictionariesMutable for a
 * dictionary, @p arraysMutable for an array) and immutable otherwise. Below an array,
 * @p arraysMutable stands for both flags: the dictionaries inside an array follow the arrays flag.
 */
QJKITCORE_EXPORT QJValue _archiveSelf(const QJValue &receiver, bool isDictionary, bool unarchive,
    bool dictionariesMutable, bool arraysMutable, bool keyed);

/** @return _archiveSelf() of @p array with the given flags. */
QJKITCORE_EXPORT QJArray archive(
    const QJArray &array, bool unarchive, bool dictionariesMutable, bool arraysMutable, bool keyed);
/** @return _archiveSelf() of @p dictionary with the given flags. */
QJKITCORE_EXPORT QJDictionary archive(
    const QJDictionary &dictionary, bool unarchive, bool dictionariesMutable, bool arraysMutable, bool keyed);

/** @return @p array archived, with containers of the given mutability. */
QJKITCORE_EXPORT QJArray archiveWithDictionariesMutable(
    const QJArray &array, bool dictionariesMutable, bool arraysMutable, bool keyed);
/** @return @p dictionary archived, with containers of the given mutability. */
QJKITCORE_EXPORT QJDictionary archiveWithDictionariesMutable(
    const QJDictionary &dictionary, bool dictionariesMutable, bool arraysMutable, bool keyed);
/** @return @p array unarchived, with containers of the given mutability. */
QJKITCORE_EXPORT QJArray unarchiveWithDictionariesMutable(
    const QJArray &array, bool dictionariesMutable, bool arraysMutable, bool keyed);
/** @return @p dictionary unarchived, with containers of the given mutability. */
QJKITCORE_EXPORT QJDictionary unarchiveWithDictionariesMutable(
    const QJDictionary &dictionary, bool dictionariesMutable, bool arraysMutable, bool keyed);

/** @return @p array archived sequentially, all containers immutable. */
QJKITCORE_EXPORT QJArray archive(const QJArray &array);
/** @return @p dictionary archived sequentially, all containers immutable. */
QJKITCORE_EXPORT QJDictionary archive(const QJDictionary &dictionary);
/** @return @p array archived keyed, all containers immutable. */
QJKITCORE_EXPORT QJArray keyedArchive(const QJArray &array);
/** @return @p dictionary archived keyed, all containers immutable. */
QJKITCORE_EXPORT QJDictionary keyedArchive(const QJDictionary &dictionary);
/** @return @p array unarchived from sequential archives, all containers immutable. */
QJKITCORE_EXPORT QJArray unarchive(const QJArray &array);
/** @return @p dictionary unarchived from sequential archives, all containers immutable. */
QJKITCORE_EXPORT QJDictionary unarchive(const QJDictionary &dictionary);
/** @return @p array unarchived from keyed archives, all containers immutable. */
QJKITCORE_EXPORT QJArray keyedUnarchive(const QJArray &array);
/** @return @p dictionary unarchived from keyed archives, all containers immutable. */
QJKITCORE_EXPORT QJDictionary keyedUnarchive(const QJDictionary &dictionary);
/** @return @p array unarchived from sequential archives, all containers mutable. */
QJKITCORE_EXPORT QJArray mutableUnarchive(const QJArray &array);
/** @return @p dictionary unarchived from sequential archives, all containers mutable. */
QJKITCORE_EXPORT QJDictionary mutableUnarchive(const QJDictionary &dictionary);
/** @return @p array unarchived from keyed archives, all containers mutable. */
QJKITCORE_EXPORT QJArray mutableKeyedUnarchive(const QJArray &array);
/** @return @p dictionary unarchived from keyed archives, all containers mutable. */
QJKITCORE_EXPORT QJDictionary mutableKeyedUnarchive(const QJDictionary &dictionary);
} // namespace QJArchiving
