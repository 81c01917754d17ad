// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBlowfishCoding.h"
#include "QJBlowfish.h"
#include "QJPropertyListSerialization.h"
#include "qjblowfish_p.h"

#include <QFile>

#include <cstdlib>
#include <memory>

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

bool QJBlowfishCoding::writeCodedToFile(const QJDictionary &dictionary, const QString &path)
{
    const QByteArray xml
        = QJPropertyListSerialization::dataFromPropertyList(dictionary, QJPropertyListSerialization::XmlFormat_v1_0);
    const QByteArray coded = encodeWithBlowfishKey(xml, QJCodedFilePrimaryKey);
    if (coded.isEmpty())
        return false;
    // In place on purpose: an existing file keeps its identity (links, permissions).
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(coded) == coded.size() && file.flush();
}

QJValue QJBlowfishCoding::readFromCodedFile(const QString &path)
{
    constexpr qint64 MaximumCodedSize = QJPropertyListSerialization::MaximumSize * 10;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || (!file.isSequential() && file.size() > MaximumCodedSize))
        return QJValue();
    QByteArray data;
    if (!file.isSequential()) {
        data = file.readAll();
    } else {
        // A pipe has no size to check beforehand: read in blocks up to just past the limit.
        while (data.size() <= MaximumCodedSize) {
            const QByteArray block = file.read(qint64(1) << 20);
            if (block.isEmpty())
                break;
            data += block;
        }
    }
    if (file.error() != QFileDevice::NoError || data.size() > MaximumCodedSize)
        return QJValue();
    if (QJValue plist = parse(decodeWithBlowfishKey(data, QJCodedFilePrimaryKey)); !plist.isNone())
        return plist;
    return parse(decodeWithBlowfishKey(data, QJCodedFileFallbackKey));
}
