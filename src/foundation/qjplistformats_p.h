// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <functional>

// The individual property-list formats behind QJPropertyListSerialization.
namespace QJPlist
{
// Takes the next piece of a text being written; false stops the writing.
using Sink = std::function<bool(QByteArrayView)>;
// Called by a reader with how far into its data it has come, so that the pages before may be let go.
using Progress = std::function<void(qsizetype)>;

QByteArray writeXml(const QJValue &plist, QString *error);
// Writes in pieces; nothing reaches the sink when the list cannot be written.
bool writeXml(const QJValue &plist, const Sink &sink, QString *error);
bool isWritableAsXml(const QJValue &plist);
// Reads an XML property list: with readXmlSubset() when it can, else with readXmlGeneral().
QJValue readXml(const QByteArray &data, QJMutability mutability, QString *error, const Progress &progress = {});
// Reads the documents that keep to the subset of XML that property lists use, straight from the
// UTF-8 bytes: the XML declaration, a DOCTYPE without internal subset, comments, processing
// instructions, CDATA sections, the five predefined entities and character references. Answers
// false, giving no reason, for anything else, well-formed or not; what it accepts, the general
// reader accepts as the same value.
QJKITCORE_EXPORT bool readXmlSubset(
    QByteArrayView data, QJMutability mutability, QJValue *plist, const Progress &progress = {});
// Reads any well-formed XML document with QXmlStreamReader; a refusal says why, where.
QJKITCORE_EXPORT QJValue readXmlGeneral(const QByteArray &data, QJMutability mutability, QString *error);
// The value of a leaf element's text, or none with *error set to the reason; both readers use them.
QJValue integerFromText(const QString &text, QString *error);
QJValue realFromText(const QString &text, QString *error);
QJValue dateFromText(const QString &text, QString *error);
QJValue dataFromText(const QString &text, QString *error);
// The same from the UTF-8 bytes of the text, none on any fault; quicker for the forms writers write.
QJValue integerFromUtf8(QByteArrayView text);
QJValue realFromUtf8(QByteArrayView text);
QJValue dateFromUtf8(QByteArrayView text);
// Uses @p scratch for the base64 text, so that a reader can keep one buffer for all its <data>.
QJValue dataFromUtf8(QByteArrayView text, QByteArray &scratch);
// Whether the text is only white space (the content a <true/> or <false/> may have).
bool isBlankUtf8(QByteArrayView text);
// The text of valid UTF-8, a byte-order mark at its start kept as a character.
QString textFromUtf8(QByteArrayView utf8);
QJValue readBinary(const QByteArray &data, QJMutability mutability, QString *error);
// With stringsFile, a top level without braces is read as the entries of a dictionary.
QJValue readOldStyle(QStringView text, QJMutability mutability, bool stringsFile, QString *error);
// Decodes text by its byte-order mark (UTF-8 or UTF-16 of either order), UTF-8 without one;
// fails on invalid UTF-8.
bool decodeText(const QByteArray &data, QString *text);
// Reads @p device to its end, but no more than @p limit + 1 bytes, so that a caller can tell an
// oversized input. Memory grows with what is read: QIODevice::read(limit + 1) would reserve the
// whole limit even for a small file. Answers an empty array with *ok false on a read error.
QByteArray readBounded(QIODevice &device, qint64 limit, bool *ok = nullptr);
// The characters of an old-style string that needs no quotes: the reader's and the writer's one table.
inline bool isUnquotedCharacter(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_' || c == u'$'
        || c == u'+' || c == u'/' || c == u':' || c == u'.' || c == u'-';
}
// Orders strings by Unicode code point (UTF-16 code-unit order differs above U+D7FF).
bool lessByCodePoint(const QString &a, const QString &b);
} // namespace QJPlist
