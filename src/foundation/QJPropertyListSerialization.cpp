// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"

#include <QFile>
#include <QSaveFile>

#include <optional>

using namespace Qt::StringLiterals;

namespace
{
void setError(QString *errorString, const QString &message)
{
    if (errorString)
        *errorString = message;
}

// Reads the whole file at path; a file whose size says it is over the limit is refused unread, and
// one whose size says nothing (a pipe, a device) is read only up to one byte past it.
std::optional<QByteArray> readFileWithinLimit(const QString &path, const QString &what, QString *errorString)
{
    constexpr qint64 Limit = QJPropertyListSerialization::MaximumSize;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        setError(errorString, file.errorString());
        return std::nullopt;
    }
    if (!file.isSequential() && file.size() > Limit) {
        setError(errorString, u"the %1 is larger than %2 bytes"_s.arg(what).arg(Limit));
        return std::nullopt;
    }
    bool ok = true;
    QByteArray data = QJPlist::readBounded(file, Limit, &ok);
    if (!ok) {
        setError(errorString, file.errorString());
        return std::nullopt;
    }
    return data; // the parsers refuse what is past the limit
}

bool isHexDigit(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// An XML document starts with '<' and markup; old-style data is '<' hexadecimal digits and blanks '>'.
bool looksLikeXml(const QByteArray &data)
{
    qsizetype i = data.startsWith("\xEF\xBB\xBF") ? 3 : 0;
    while (i < data.size() && (data.at(i) == ' ' || data.at(i) == '\t' || data.at(i) == '\n' || data.at(i) == '\r'))
        ++i;
    if (i >= data.size() || data.at(i) != '<')
        return false;
    for (++i; i < data.size() && data.at(i) != '>'; ++i) {
        const char c = data.at(i);
        if (!isHexDigit(c) && c != ' ' && c != '\t' && c != '\n' && c != '\r')
            return true;
    }
    return false;
}

bool looksLikeUtf16(const QByteArray &data)
{
    return data.startsWith("\xFF\xFE") || data.startsWith("\xFE\xFF");
}
} // namespace

QByteArray QJPropertyListSerialization::dataFromPropertyList(const QJValue &plist, Format format, QString *errorString)
{
    if (format != XmlFormat_v1_0) {
        setError(errorString, u"only the XML format can be written"_s);
        return QByteArray();
    }
    return QJPlist::writeXml(plist, errorString);
}

bool QJPropertyListSerialization::propertyListIsValidForFormat(const QJValue &plist, Format format)
{
    return format == XmlFormat_v1_0 && QJPlist::isWritableAsXml(plist);
}

QJValue QJPropertyListSerialization::propertyListFromData(
    const QByteArray &data, QJMutability mutability, Format *format, QString *errorString)
{
    if (data.size() > MaximumSize) {
        setError(errorString, u"the property list is larger than %1 bytes"_s.arg(MaximumSize));
        return QJValue();
    }
    if (data.startsWith("bplist")) {
        if (format)
            *format = BinaryFormat_v1_0;
        return QJPlist::readBinary(data, mutability, errorString);
    }
    if (!looksLikeUtf16(data) && looksLikeXml(data)) {
        if (format)
            *format = XmlFormat_v1_0;
        return QJPlist::readXml(data, mutability, errorString);
    }
    QString text;
    if (!QJPlist::decodeText(data, &text)) {
        setError(errorString, u"the text is not valid UTF-8 or UTF-16"_s);
        return QJValue();
    }
    if (text.trimmed().isEmpty()) {
        setError(errorString, u"the data is empty"_s);
        return QJValue();
    }
    if (text.trimmed().startsWith(u"<?xml"_s)) { // XML in UTF-16
        if (format)
            *format = XmlFormat_v1_0;
        return QJPlist::readXml(
            text.toUtf8().replace("encoding=\"UTF-16\"", "encoding=\"UTF-8\""), mutability, errorString);
    }
    if (format)
        *format = OpenStepFormat;
    return QJPlist::readOldStyle(text, mutability, /*stringsFile=*/false, errorString);
}

QJValue QJPropertyListSerialization::propertyListFromFile(
    const QString &path, QJMutability mutability, Format *format, QString *errorString)
{
    const std::optional<QByteArray> data = readFileWithinLimit(path, u"file"_s, errorString);
    return data ? propertyListFromData(*data, mutability, format, errorString) : QJValue();
}

bool QJPropertyListSerialization::writePropertyList(
    const QJValue &plist, const std::function<bool(QByteArrayView)> &write, QString *errorString)
{
    return QJPlist::writeXml(plist, write, errorString);
}

bool QJPropertyListSerialization::writePropertyListToFile(
    const QJValue &plist, const QString &path, bool atomically, QString *errorString)
{
    // The file is opened with the first piece: a list that cannot be written leaves it alone.
    QSaveFile saveFile(path);
    QFile file(path);
    QFileDevice &device = atomically ? static_cast<QFileDevice &>(saveFile) : file;
    bool failed = false;
    const auto write = [&](QByteArrayView piece) {
        if (!device.isOpen()
            && !device.open(atomically ? QIODevice::WriteOnly : QIODevice::WriteOnly | QIODevice::Truncate))
            failed = true;
        else if (device.write(piece.data(), piece.size()) != piece.size())
            failed = true;
        return !failed;
    };
    if (!QJPlist::writeXml(plist, write, errorString)) {
        if (failed)
            setError(errorString, device.errorString());
        return false;
    }
    if (atomically ? !saveFile.commit() : !file.flush()) {
        setError(errorString, device.errorString());
        return false;
    }
    return true;
}

QJValue QJPropertyListSerialization::stringsTableFromData(const QByteArray &data, QString *errorString)
{
    QJValue table;
    if (data.startsWith("bplist") || (!looksLikeUtf16(data) && looksLikeXml(data))) {
        table = propertyListFromData(data, QJMutability::Immutable, nullptr, errorString);
    } else {
        if (data.size() > MaximumSize) {
            setError(errorString, u"the strings table is larger than %1 bytes"_s.arg(MaximumSize));
            return QJValue();
        }
        QString text;
        if (!QJPlist::decodeText(data, &text)) {
            setError(errorString, u"the strings table is not valid UTF-8 or UTF-16"_s);
            return QJValue();
        }
        table = QJPlist::readOldStyle(text, QJMutability::Immutable, /*stringsFile=*/true, errorString);
    }
    if (!table.isNone() && !table.isDictionary()) {
        setError(errorString, u"a strings table must be a dictionary"_s);
        return QJValue();
    }
    return table;
}

QJValue QJPropertyListSerialization::stringsTableFromFile(const QString &path, QString *errorString)
{
    const std::optional<QByteArray> data = readFileWithinLimit(path, u"strings table"_s, errorString);
    return data ? stringsTableFromData(*data, errorString) : QJValue();
}

QByteArray QJPlist::readBounded(QIODevice &device, qint64 limit, bool *ok)
{
    if (ok)
        *ok = true;
    QByteArray data;
    if (!device.isSequential())
        data.reserve(qsizetype(qBound<qint64>(0, device.size() - device.pos(), limit) + 1));
    constexpr qint64 BlockSize = 64 * 1024;
    while (data.size() <= limit) {
        const qsizetype at = data.size();
        const qint64 wanted = qMin<qint64>(BlockSize, limit + 1 - at);
        data.resize(at + qsizetype(wanted));
        const qint64 n = device.read(data.data() + at, wanted);
        if (n <= 0) {
            data.truncate(at);
            if (n < 0) {
                if (ok)
                    *ok = false;
                return QByteArray();
            }
            break;
        }
        data.truncate(at + qsizetype(n));
    }
    return data;
}
