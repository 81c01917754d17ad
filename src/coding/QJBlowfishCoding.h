// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QByteArray>
#include <QString>

/**
 * The key coded property-list files are written under, and the first one tried when reading:
 * 46 UTF-16 units (23 printable ASCII, 23 beyond ASCII) whose UTF-8 form is exactly 72 bytes, the
 * longest key the cipher uses.
 */
QJKITCORE_EXPORT extern const QString QJCodedFilePrimaryKey;

/**
 * The key tried when a coded file does not read under QJCodedFilePrimaryKey: 72 UTF-16 units
 * (49 beyond ASCII), 141 bytes of UTF-8 of which the cipher uses the first 72.
 */
QJKITCORE_EXPORT extern const QString QJCodedFileFallbackKey;

/**
 * Coding of data, strings and property-list files under a text key with the framing of
 * QJBlowfish.h: ten bytes, each in 1..169, per plain byte. There is no integrity check: a wrong key
 * decodes silently to other bytes.
 *
 * @code
 * const QByteArray coded = QJBlowfishCoding::encodeWithBlowfishKey(QByteArray("note"), u"key"_s); // 40 bytes
 * QJBlowfishCoding::decodeWithBlowfishKey(coded, u"key"_s); // "note"
 * @endcode
 */
namespace QJBlowfishCoding
{
/**
 * Codes @p data under @p key (its UTF-8 bytes).
 * @return exactly 10 * data.size() bytes. Data holding a zero byte cannot be coded (the framing is
 * a zero-terminated string) and is refused: the result is then empty.
 */
QJKITCORE_EXPORT QByteArray encodeWithBlowfishKey(const QByteArray &data, const QString &key);

/**
 * Decodes @p data under @p key (its UTF-8 bytes); a trailing partial chunk is ignored.
 * @return exactly data.size() / 10 bytes. A chunk that decodes to a zero byte (a wrong key or
 * damage) adds nothing, and the bytes missing at the end are zero. Data holding a zero byte is not
 * coded data and is refused: the result is then empty.
 */
QJKITCORE_EXPORT QByteArray decodeWithBlowfishKey(const QByteArray &data, const QString &key);

/**
 * Codes @p string under @p key, both converted with QString::toLocal8Bit(); the coded bytes become
 * a string again with QString::fromLocal8Bit(). Coding stops at a U+0000 character.
 *
 * Where the 8-bit encoding is UTF-8 (every Unix), coded bytes 128..169 are not valid UTF-8 and turn
 * into U+FFFD, so such a coded string does not decode back; use the data forms to keep coded text.
 */
QJKITCORE_EXPORT QString encodeWithBlowfishKey(const QString &string, const QString &key);

/**
 * Decodes @p string under @p key, both converted with QString::toLocal8Bit(); the plain bytes
 * become a string with QString::fromLocal8Bit(), up to the first zero byte.
 */
QJKITCORE_EXPORT QString decodeWithBlowfishKey(const QString &string, const QString &key);

/**
 * Writes @p dictionary as a coded file: its XML property list coded under QJCodedFilePrimaryKey,
 * ten bytes per byte, nothing else.
 *
 * The file is written in place, not atomically, so that an existing file keeps its identity (hard
 * links, permissions, owner): writing needs permission to write the file, not its folder. Room for
 * the new contents is reserved before the old ones are overwritten, so a full disk or an exhausted
 * quota fails the write with the old file whole, and a file the call created is removed again. A
 * failure in the middle of writing (an I/O error, the process ending) leaves the file damaged.
 *
 * @return whether the dictionary could be serialized and the whole file was written; if not,
 * @p errorString receives why (the system's words for a file error: no room, a read-only file
 * system, no permission, a folder in the way).
 */
QJKITCORE_EXPORT bool writeCodedToFile(
    const QJDictionary &dictionary, const QString &path, QString *errorString = nullptr);

/**
 * Reads the coded file at @p path under QJCodedFilePrimaryKey and, when that does not give a
 * property list, under QJCodedFileFallbackKey.
 *
 * Reading is bounded: files larger than ten times QJPropertyListSerialization::MaximumSize are
 * refused unread (a pipe, once it has given that much), the file is decoded as it is read so only
 * the plain text under each key is kept (a tenth of the file each), and reading stops at the first
 * zero byte, which coded data never holds.
 *
 * @return the property list (immutable, of whatever kind the file holds), or none when the file is
 * missing, unreadable, empty, too large, not coded data, or reads under neither key.
 */
QJKITCORE_EXPORT QJValue readFromCodedFile(const QString &path);
} // namespace QJBlowfishCoding
