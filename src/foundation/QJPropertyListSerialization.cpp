// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"

#include <QFile>
#include <QSaveFile>

#ifdef Q_OS_UNIX
#include <sys/mman.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace
{
void setError(QString *errorString, const QString &message)
{
    if (errorString)
        *errorString = message;
}

// The bytes of a file no larger than the limit. A regular file is mapped, not copied: a reader
// then lets go of the pages it has passed (they read again from the file if it needs them), so a
// large list is not held twice, as text and as values.
class FileBytes
{
public:
    // Reads the whole file at path; a file whose size says it is over the limit is refused unread,
    // and one whose size says nothing (a pipe, a device) is read only up to one byte past it.
    bool read(const QString &path, const QString &what, QString *errorString)
    {
        constexpr qint64 Limit = QJPropertyListSerialization::MaximumSize;
        m_file.setFileName(path);
        if (!m_file.open(QIODevice::ReadOnly)) {
            setError(errorString, m_file.errorString());
            return false;
        }
        if (!m_file.isSequential() && m_file.size() > Limit) {
            setError(errorString, u"the %1 is larger than %2 bytes"_s.arg(what).arg(Limit));
            return false;
        }
        if (!m_file.isSequential() && m_file.size() > 0) {
            if (uchar *mapped = m_file.map(0, m_file.size())) {
                m_mapped = mapped;
                data = QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), m_file.size());
                return true;
            }
        }
        bool ok = true;
        data = QJPlist::readBounded(m_file, Limit, &ok);
        if (!ok) {
            setError(errorString, m_file.errorString());
            return false;
        }
        return true; // the parsers refuse what is past the limit
    }

    // Lets go of the mapped pages before @p offset.
    void release(qsizetype offset)
    {
#ifdef MADV_DONTNEED
        static const qsizetype pageSize = qsizetype(sysconf(_SC_PAGESIZE));
        const qsizetype end = offset / pageSize * pageSize;
        if (m_mapped && end > m_released) {
            madvise(m_mapped + m_released, std::size_t(end - m_released), MADV_DONTNEED);
            m_released = end;
        }
#else
        Q_UNUSED(offset);
#endif
    }

    QJPlist::Progress progress()
    {
        return m_mapped ? QJPlist::Progress([this](qsizetype offset) { release(offset); }) : QJPlist::Progress();
    }

    QByteArray data;

private:
    QFile m_file;
    uchar *m_mapped = nullptr;
    qsizetype m_released = 0;
};

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

namespace
{
QJValue fromData(const QByteArray &data, QJMutability mutability, QJPropertyListSerialization::Format *format,
    QString *errorString, const QJPlist::Progress &progress)
{
    using PL = QJPropertyListSerialization;
    if (data.size() > PL::MaximumSize) {
        setError(errorString, u"the property list is larger than %1 bytes"_s.arg(PL::MaximumSize));
        return QJValue();
    }
    if (data.startsWith("bplist")) {
        if (format)
            *format = PL::BinaryFormat_v1_0;
        return QJPlist::readBinary(data, mutability, errorString);
    }
    if (!looksLikeUtf16(data) && looksLikeXml(data)) {
        if (format)
            *format = PL::XmlFormat_v1_0;
        return QJPlist::readXml(data, mutability, errorString, progress);
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
            *format = PL::XmlFormat_v1_0;
        return QJPlist::readXml(
            text.toUtf8().replace("encoding=\"UTF-16\"", "encoding=\"UTF-8\""), mutability, errorString);
    }
    if (format)
        *format = PL::OpenStepFormat;
    return QJPlist::readOldStyle(text, mutability, /*stringsFile=*/false, errorString);
}

} // namespace

QJValue QJPropertyListSerialization::propertyListFromData(
    const QByteArray &data, QJMutability mutability, Format *format, QString *errorString)
{
    return fromData(data, mutability, format, errorString, {});
}

QJValue QJPropertyListSerialization::propertyListFromFile(
    const QString &path, QJMutability mutability, Format *format, QString *errorString)
{
    FileBytes file;
    return file.read(path, u"file"_s, errorString)
        ? fromData(file.data, mutability, format, errorString, file.progress())
        : QJValue();
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
    FileBytes file;
    return file.read(path, u"strings table"_s, errorString) ? stringsTableFromData(file.data, errorString) : QJValue();
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
