// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJUpdateSignature.h"

#include <QFile>
#include <QStringList>

#include <sodium.h>

#include <cstring>

using namespace Qt::StringLiterals;

const QString QJAutoUpdatePublicKeyKey = u"QJAutoUpdatePublicKey"_s;

namespace
{
constexpr qsizetype KeyIdSize = 8;

struct PublicKey
{
    QByteArray keyId; // 8 bytes
    QByteArray key; // 32 bytes
};

bool fail(QString *error, const QString &why)
{
    if (error)
        *error = why;
    return false;
}

// The lines of a key or signature file, without line ends; a lone key line is a file of one line.
QStringList linesOf(const QString &text)
{
    QStringList lines = text.split(u'\n');
    for (QString &line : lines) {
        if (line.endsWith(u'\r'))
            line.chop(1);
    }
    while (!lines.isEmpty() && lines.constLast().isEmpty())
        lines.removeLast();
    return lines;
}

QByteArray decodeBase64(const QString &line, qsizetype size)
{
    const auto decoded
        = QByteArray::fromBase64Encoding(line.trimmed().toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    return decoded && decoded.decoded.size() == size ? decoded.decoded : QByteArray();
}

bool readPublicKey(const QString &text, PublicKey *key, QString *error)
{
    QStringList lines = linesOf(text);
    if (lines.size() == 2 && lines.constFirst().startsWith(u"untrusted comment:"_s))
        lines.removeFirst();
    if (lines.size() != 1)
        return fail(error, u"the public key is not one key line"_s);
    const QByteArray bytes = decodeBase64(lines.constFirst(), 2 + KeyIdSize + crypto_sign_PUBLICKEYBYTES);
    if (bytes.isEmpty())
        return fail(error, u"the public key line is damaged"_s);
    if (!bytes.startsWith("Ed"))
        return fail(error, u"the public key is not an Ed25519 key"_s);
    key->keyId = bytes.mid(2, KeyIdSize);
    key->key = bytes.mid(2 + KeyIdSize);
    return true;
}

bool initialized()
{
    static const bool ready = sodium_init() >= 0;
    return ready;
}

bool verifyDetached(const QByteArray &signature, const unsigned char *message, size_t size, const QByteArray &key)
{
    return crypto_sign_verify_detached(reinterpret_cast<const unsigned char *>(signature.constData()), message, size,
               reinterpret_cast<const unsigned char *>(key.constData()))
        == 0;
}

// The BLAKE2b-512 hash of the file, read a block at a time.
bool hashFile(QFile &file, unsigned char (&hash)[crypto_generichash_BYTES_MAX], QString *error)
{
    crypto_generichash_state state;
    crypto_generichash_init(&state, nullptr, 0, sizeof hash);
    QByteArray block(1 << 16, Qt::Uninitialized);
    for (;;) {
        const qint64 n = file.read(block.data(), block.size());
        if (n < 0)
            return fail(error, u"the package cannot be read: "_s + file.errorString());
        if (n == 0)
            break;
        crypto_generichash_update(&state, reinterpret_cast<const unsigned char *>(block.constData()), size_t(n));
    }
    crypto_generichash_final(&state, hash, sizeof hash);
    return true;
}
} // namespace

bool QJUpdateSignature::isValidPublicKey(const QString &publicKey, QString *error)
{
    PublicKey key;
    return readPublicKey(publicKey, &key, error);
}

bool QJUpdateSignature::verifyFile(
    const QString &path, const QString &signature, const QString &publicKey, QString *error)
{
    if (!initialized())
        return fail(error, u"the signature library cannot be used"_s);
    PublicKey key;
    if (!readPublicKey(publicKey, &key, error))
        return false;

    const QStringList lines = linesOf(signature);
    if (lines.size() != 4 || !lines.at(0).startsWith(u"untrusted comment:"_s)
        || !lines.at(2).startsWith(u"trusted comment: "_s))
        return fail(error, u"the signature is not a four-line signature file"_s);
    const QByteArray line2 = decodeBase64(lines.at(1), 2 + KeyIdSize + crypto_sign_BYTES);
    const QByteArray global = decodeBase64(lines.at(3), crypto_sign_BYTES);
    if (line2.isEmpty() || global.isEmpty())
        return fail(error, u"the signature is damaged"_s);
    const QByteArray algorithm = line2.left(2);
    const bool prehashed = algorithm == "ED";
    if (!prehashed && algorithm != "Ed")
        return fail(error, u"the signature uses an unknown algorithm"_s);
    if (line2.mid(2, KeyIdSize) != key.keyId)
        return fail(error, u"the package is signed with another key"_s);
    const QByteArray packageSignature = line2.mid(2 + KeyIdSize);

    // The trusted comment is signed together with the package's signature.
    const QByteArray comment = lines.at(2).mid(int(std::strlen("trusted comment: "))).toUtf8();
    const QByteArray signedComment = packageSignature + comment;
    if (!verifyDetached(global, reinterpret_cast<const unsigned char *>(signedComment.constData()),
            size_t(signedComment.size()), key.key))
        return fail(error, u"the signature's trusted comment does not verify"_s);

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(error, u"the package cannot be read: "_s + file.errorString());
    bool good;
    if (prehashed) {
        unsigned char hash[crypto_generichash_BYTES_MAX];
        if (!hashFile(file, hash, error))
            return false;
        good = verifyDetached(packageSignature, hash, sizeof hash, key.key);
    } else {
        // A signature over the bytes themselves needs them all at once: mapped, not copied.
        const qint64 size = file.size();
        const unsigned char *bytes = size > 0 ? file.map(0, size) : reinterpret_cast<const unsigned char *>("");
        if (!bytes)
            return fail(error, u"the package cannot be read: "_s + file.errorString());
        good = verifyDetached(packageSignature, bytes, size_t(size), key.key);
    }
    return good || fail(error, u"the package does not match its signature"_s);
}
