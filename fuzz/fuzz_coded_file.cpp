// SPDX-License-Identifier: LGPL-2.1-or-later
// The coded-file reader on arbitrary files. With the first byte 'P' the rest is taken as plain
// text and coded under the file key first, so the property-list parser behind the decoder is
// reached; otherwise the bytes are the file as they are. Whatever reads as a dictionary must
// write as a coded file again and read back the same.
#include "QJBlowfishCoding.h"
#include "QJPropertyListSerialization.h"

#include <QDir>
#include <QFile>

#include <cstdlib>

using namespace Qt::StringLiterals;
#include <unistd.h>

namespace
{
QString scratch(const char *name)
{
    return QDir::tempPath() + u"/fuzz_coded_file-"_s + QString::number(getpid()) + u'-' + QLatin1StringView(name);
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size() && file.flush();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString in = scratch("in");
    static const QString out = scratch("out");
    QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    if (bytes.startsWith('P')) {
        QByteArray plain = bytes.mid(1);
        plain.replace('\0', ' ');
        bytes = QJBlowfishCoding::encodeWithBlowfishKey(plain, QJCodedFilePrimaryKey);
        if (bytes.size() != plain.size() * 10)
            std::abort();
    }

    // The decoder alone: one byte per ten, or nothing for data with a zero byte.
    const QByteArray decoded = QJBlowfishCoding::decodeWithBlowfishKey(bytes, QJCodedFileFallbackKey);
    if (decoded.size() != (bytes.contains('\0') ? 0 : bytes.size() / 10))
        std::abort();

    if (!writeFile(in, bytes))
        std::abort();
    const QJValue plist = QJBlowfishCoding::readFromCodedFile(in);
    if (plist.isDictionary()) {
        const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(plist);
        if (!xml.isEmpty()) {
            if (!QJBlowfishCoding::writeCodedToFile(plist.toDictionary(), out))
                std::abort();
            const QJValue again = QJBlowfishCoding::readFromCodedFile(out);
            // Reals may be NaN, which equals nothing; compare the text.
            if (QJPropertyListSerialization::dataFromPropertyList(again) != xml)
                std::abort();
        }
    }
    return 0;
}
