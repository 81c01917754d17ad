// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBlowfishCoding.h"
#include "QJBlowfish.h"
#include "QJPropertyListSerialization.h"
#include "qjblowfish_p.h"

#include <QFile>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

const QString QJCodedFilePrimaryKey = u"Quill~Ψυχή·Feder€Écrire§·Слово→Tinte¶Øræ✎Kåñßü"_s;
const QString QJCodedFileFallbackKey
    = u"Alte Tinte (v1.0):旧い鍵で読む古い手紙と記録—старый ключ≈παλιό κλειδί…±µ½Åßøæð✓✓✓✎ #2"_s;

namespace
{
struct FreeDeleter
{
    void operator()(char *p) const noexcept { std::free(p); }
};
using CBuffer = std::unique_ptr<char, FreeDeleter>;

QString code(const QString &string, const QString &key, bool encode)
{
    const QByteArray text = string.toLocal8Bit();
    const QByteArray keyBytes = key.toLocal8Bit();
    const CBuffer result(encode ? QJBlowfish_Encode(text.constData(), keyBytes.constData())
                                : QJBlowfish_Decode(text.constData(), keyBytes.constData()));
    return result ? QString::fromLocal8Bit(result.get()) : QString();
}

QJValue parse(const QByteArray &xml)
{
    return QJPropertyListSerialization::propertyListFromData(xml, QJMutability::Immutable);
}

// Writes @p bytes over the file at @p path in place: an existing file keeps its identity (links,
// permissions, owner). Room for the new contents is reserved before anything is overwritten, so a
// full disk or an exhausted quota fails the write while the old contents are still whole, and a
// file that this call created is removed again. Only a failure in the middle of writing (an I/O
// error, the process ending) can leave the file damaged.
bool writeInPlace(const QString &path, const QByteArray &bytes, QString *errorString)
{
    // Every failure is described by the errno of the call that failed, kept before cleaning up.
    auto failWith = [&](int error) {
        if (errorString)
            *errorString = qt_error_string(error);
        return false;
    };
    const QByteArray name = QFile::encodeName(path);
    bool created = true;
    int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0 && errno == EEXIST) {
        created = false;
        fd = ::open(name.constData(), O_WRONLY | O_CLOEXEC);
    }
    if (fd < 0)
        return failWith(errno);
    auto fail = [&](int error) {
        ::close(fd);
        if (created)
            ::unlink(name.constData());
        return failWith(error);
    };
    struct stat status;
    if (::fstat(fd, &status) != 0)
        return fail(errno);
    const bool regular = S_ISREG(status.st_mode);
    const off_t oldSize = regular ? status.st_size : 0;
    const off_t newSize = off_t(bytes.size());
    if (regular && newSize > oldSize) {
        const int error = ::posix_fallocate(fd, 0, newSize);
        // A file system that cannot reserve room says so; then the write has to take its chance.
        if (error != 0 && error != EOPNOTSUPP && error != EINVAL && error != ENOSYS) {
            (void)::ftruncate(fd, oldSize); // undo a partial extension; the old bytes are untouched
            return fail(error);
        }
    }
    for (qsizetype written = 0; written < bytes.size();) {
        const ssize_t n = ::write(fd, bytes.constData() + written, size_t(bytes.size() - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail(n < 0 ? errno : ENOSPC);
        written += n;
    }
    if (regular && newSize < oldSize && ::ftruncate(fd, newSize) != 0)
        return fail(errno);
    return ::close(fd) == 0 || failWith(errno);
}

// A coded file being read: its bytes are decoded under one key a block at a time, so that only the
// plain text (a tenth of the file) is kept, never the coded bytes.
struct Decoding
{
    explicit Decoding(const QString &keyText) : key(keyText.toUtf8()) { }

    QByteArray key;
    QByteArray plain;
    qsizetype chunks = 0; // decoded so far, zero bytes included

    void add(const char *coded, qsizetype chunkCount)
    {
        const qsizetype at = plain.size();
        plain.resize(at + chunkCount);
        const size_t length = QJBlowfishPrivate::decode(coded, size_t(chunkCount), key.constData(), plain.data() + at);
        plain.truncate(at + qsizetype(length));
        chunks += chunkCount;
    }
    // As decodeWithBlowfishKey() gives it: the decoded zero bytes left out, zeros in their place at the end.
    QByteArray result()
    {
        plain.append(QByteArray(chunks - plain.size(), '\0'));
        return plain;
    }
};
} // namespace

// The data forms code straight into their result. A zero byte would end the coder's string while
// the result size would not, so such data is refused.
QByteArray QJBlowfishCoding::encodeWithBlowfishKey(const QByteArray &data, const QString &key)
{
    if (data.contains('\0'))
        return QByteArray();
    QByteArray coded(data.size() * 10, Qt::Uninitialized);
    QJBlowfishPrivate::encode(data.constData(), size_t(data.size()), key.toUtf8().constData(), coded.data());
    return coded;
}

QByteArray QJBlowfishCoding::decodeWithBlowfishKey(const QByteArray &data, const QString &key)
{
    if (data.contains('\0'))
        return QByteArray();
    QByteArray plain(data.size() / 10, Qt::Uninitialized);
    QJBlowfishPrivate::decode(data.constData(), size_t(plain.size()), key.toUtf8().constData(), plain.data());
    return plain;
}

QString QJBlowfishCoding::encodeWithBlowfishKey(const QString &string, const QString &key)
{
    return code(string, key, true);
}

QString QJBlowfishCoding::decodeWithBlowfishKey(const QString &string, const QString &key)
{
    return code(string, key, false);
}

bool QJBlowfishCoding::writeCodedToFile(const QJDictionary &dictionary, const QString &path, QString *errorString)
{
    const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(
        dictionary, QJPropertyListSerialization::XmlFormat_v1_0, errorString);
    if (xml.isEmpty())
        return false;
    return writeInPlace(path, encodeWithBlowfishKey(xml, QJCodedFilePrimaryKey), errorString);
}

QJValue QJBlowfishCoding::readFromCodedFile(const QString &path)
{
    constexpr qint64 MaximumCodedSize = QJPropertyListSerialization::MaximumSize * 10;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || (!file.isSequential() && file.size() > MaximumCodedSize))
        return QJValue();
    // Both keys at once, in one pass, so that a pipe is read only once as well.
    Decoding decodings[] = {Decoding(QJCodedFilePrimaryKey), Decoding(QJCodedFileFallbackKey)};
    constexpr qint64 BlockSize = 10 * 65536;
    QByteArray block(BlockSize, Qt::Uninitialized);
    qint64 filled = 0; // bytes in the block, the last partial chunk included
    qint64 total = 0;
    for (bool atEnd = false; !atEnd;) {
        const qint64 n = file.read(block.data() + filled, BlockSize - filled);
        if (n < 0)
            return QJValue();
        atEnd = n == 0;
        // Coded data never holds a zero byte: what does is not coded data, however long it goes on.
        if (std::memchr(block.constData() + filled, 0, size_t(n)))
            return QJValue();
        filled += n;
        total += n;
        if (total > MaximumCodedSize)
            return QJValue();
        if (filled == BlockSize || atEnd) {
            for (Decoding &decoding : decodings)
                decoding.add(block.constData(), filled / 10); // a partial chunk at the end is ignored
            filled = 0;
        }
    }
    for (Decoding &decoding : decodings) {
        if (QJValue plist = parse(decoding.result()); !plist.isNone())
            return plist;
    }
    return QJValue();
}
