// SPDX-License-Identifier: LGPL-2.1-or-later
// The Blowfish framing on arbitrary coded bytes and keys: decoding never reads or writes out of
// bounds and matches a plain chunk-by-chunk decoding, and any zero-free text codes to bytes in
// 1..169 and decodes back to itself. The data forms agree with the C functions.
//
// Input: the key, a zero byte, then the coded text (up to its own zero byte, if any).
#include "QJBlowfish.h"
#include "QJBlowfishCoding.h"

#include <QByteArray>
#include <QString>

#include <cstdlib>
#include <cstring>

namespace
{
struct Freed
{
    char *p;
    ~Freed() { std::free(p); }
};

uint32_t readHalf(const unsigned char *in)
{
    uint64_t sum = 0;
    for (int k = 0; k < 5; ++k)
        sum = sum * 169 + (in[k] - 1u);
    return uint32_t(sum);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    const qsizetype zero = input.indexOf('\0');
    if (zero < 0)
        return 0;
    const QByteArray key = QString::fromUtf8(input.left(zero)).toUtf8(); // as the data forms see it
    const QByteArray coded = input.mid(zero + 1); // QByteArray keeps a terminating zero
    const size_t codedLength = std::strlen(coded.constData());
    const size_t chunks = codedLength / 10;

    const Freed plain {QJBlowfish_Decode(coded.constData(), key.constData())};
    if (!plain.p)
        std::abort();
    const size_t plainLength = std::strlen(plain.p);
    if (plainLength > chunks)
        std::abort();
    for (size_t i = plainLength; i <= chunks; ++i) {
        if (plain.p[i] != 0)
            std::abort();
    }

    // Chunk by chunk with the block functions.
    QJBlowfishContext context;
    QJBlowfish_Init(&context, reinterpret_cast<const unsigned char *>(key.constData()), size_t(key.size()));
    QByteArray expected;
    const auto *in = reinterpret_cast<const unsigned char *>(coded.constData());
    for (size_t i = 0; i < chunks; ++i, in += 10) {
        uint32_t l = readHalf(in);
        uint32_t r = readHalf(in + 5);
        QJBlowfish_Decrypt(&context, &l, &r);
        if (l & 0xFF)
            expected.append(char(l & 0xFF));
    }
    if (expected != QByteArray(plain.p))
        std::abort();

    // The data form on the whole remainder, zero bytes and all.
    const QByteArray decoded = QJBlowfishCoding::decodeWithBlowfishKey(coded, QString::fromUtf8(key));
    if (coded.contains('\0') ? !decoded.isEmpty() : decoded != QByteArray(plain.p, qsizetype(chunks)))
        std::abort();

    // The coded text taken as plain text: it codes to ten bytes in 1..169 each and decodes back.
    const Freed again {QJBlowfish_Encode(coded.constData(), key.constData())};
    if (!again.p || std::strlen(again.p) != 10 * codedLength)
        std::abort();
    for (size_t i = 0; i < 10 * codedLength; ++i) {
        const auto b = static_cast<unsigned char>(again.p[i]);
        if (b < 1 || b > 169)
            std::abort();
    }
    const Freed back {QJBlowfish_Decode(again.p, key.constData())};
    if (!back.p || std::strcmp(back.p, coded.constData()) != 0)
        std::abort();
    return 0;
}
