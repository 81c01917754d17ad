// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBlowfish.h"
#include "qjblowfish_p.h"

#include <cstdlib>
#include <cstring>

namespace
{
constexpr unsigned ChunkSize = 10; // coded bytes per plain byte
constexpr unsigned HalfDigits = 5; // base-169 digits per 32-bit half
constexpr uint32_t Base = 169;

inline uint32_t f(const QJBlowfishContext &c, uint32_t x)
{
    return ((c.S[0][x >> 24] + c.S[1][(x >> 16) & 0xFF]) ^ c.S[2][(x >> 8) & 0xFF]) + c.S[3][x & 0xFF];
}

// Two rounds per step, so the halves trade places by name instead of being swapped; after the
// sixteenth round the final swap-back and the last two subkeys land on the right halves.
inline void encryptBlock(const QJBlowfishContext &c, uint32_t &left, uint32_t &right)
{
    uint32_t l = left;
    uint32_t r = right;
#pragma GCC unroll 8
    for (int i = 0; i < 16; i += 2) {
        l ^= c.P[i];
        r ^= f(c, l);
        r ^= c.P[i + 1];
        l ^= f(c, r);
    }
    left = r ^ c.P[17];
    right = l ^ c.P[16];
}

inline void decryptBlock(const QJBlowfishContext &c, uint32_t &left, uint32_t &right)
{
    uint32_t l = left;
    uint32_t r = right;
#pragma GCC unroll 8
    for (int i = 17; i > 1; i -= 2) {
        l ^= c.P[i];
        r ^= f(c, l);
        r ^= c.P[i - 1];
        l ^= f(c, r);
    }
    left = r ^ c.P[0];
    right = l ^ c.P[1];
}

inline void writeHalf(uint32_t x, char *out)
{
    for (int k = HalfDigits - 1; k >= 0; --k) {
        out[k] = char(x % Base + 1);
        x /= Base;
    }
}

// Digits are summed in 64 bits (at most 254 * 169^4 * 1.006, far below 2^64) and the sum is taken
// modulo 2^32: digits that add up beyond a 32-bit half wrap around, as documented in the header.
inline uint32_t readHalf(const unsigned char *in)
{
    constexpr uint64_t W1 = Base, W2 = W1 * Base, W3 = W2 * Base, W4 = W3 * Base;
    const uint64_t sum
        = (in[0] - 1ull) * W4 + (in[1] - 1ull) * W3 + (in[2] - 1ull) * W2 + (in[3] - 1ull) * W1 + (in[4] - 1ull);
    return uint32_t(sum);
}

void keyContext(QJBlowfishContext &context, const char *key)
{
    QJBlowfish_Init(&context, reinterpret_cast<const unsigned char *>(key), std::strlen(key));
}
} // namespace

extern "C" {

void QJBlowfish_Init(QJBlowfishContext *context, const unsigned char *key, size_t keyLength)
{
    std::memcpy(context->S, ORIG_S, sizeof context->S);
    size_t k = 0;
    for (int i = 0; i < 18; ++i) {
        uint32_t word = 0;
        for (int j = 0; j < 4; ++j) {
            word = (word << 8) | (keyLength ? key[k] : 0u);
            if (keyLength && ++k == keyLength)
                k = 0;
        }
        context->P[i] = ORIG_P[i] ^ word;
    }
    uint32_t l = 0;
    uint32_t r = 0;
    for (int i = 0; i < 18; i += 2) {
        encryptBlock(*context, l, r);
        context->P[i] = l;
        context->P[i + 1] = r;
    }
    for (auto &box : context->S) {
        for (int j = 0; j < 256; j += 2) {
            encryptBlock(*context, l, r);
            box[j] = l;
            box[j + 1] = r;
        }
    }
}

void QJBlowfish_Encrypt(const QJBlowfishContext *context, uint32_t *left, uint32_t *right)
{
    encryptBlock(*context, *left, *right);
}

void QJBlowfish_Decrypt(const QJBlowfishContext *context, uint32_t *left, uint32_t *right)
{
    decryptBlock(*context, *left, *right);
}

char *QJBlowfish_Encode(const char *plain, const char *key)
{
    const size_t size = std::strlen(plain);
    if (size > (SIZE_MAX - 1) / ChunkSize)
        return nullptr;
    char *out = static_cast<char *>(std::malloc(ChunkSize * size + 1));
    if (!out)
        return nullptr;
    QJBlowfishPrivate::encode(plain, size, key, out);
    out[ChunkSize * size] = '\0';
    return out;
}

char *QJBlowfish_Decode(const char *coded, const char *key)
{
    const size_t chunkCount = std::strlen(coded) / ChunkSize;
    char *out = static_cast<char *>(std::malloc(chunkCount + 1));
    if (!out)
        return nullptr;
    QJBlowfishPrivate::decode(coded, chunkCount, key, out);
    out[chunkCount] = '\0';
    return out;
}

} // extern "C"

void QJBlowfishPrivate::encode(const char *plain, size_t size, const char *key, char *out)
{
    QJBlowfishContext context;
    keyContext(context, key);

    // There is no chaining: under one key a byte always codes to the same chunk. Each distinct
    // byte is therefore enciphered once per call and its chunk copied for every occurrence.
    char chunks[256][ChunkSize];
    bool known[256] = {};
    for (size_t i = 0; i < size; ++i, out += ChunkSize) {
        const unsigned char c = static_cast<unsigned char>(plain[i]);
        if (!known[c]) {
            uint32_t l = c;
            uint32_t r = 255u - c;
            encryptBlock(context, l, r);
            writeHalf(l, chunks[c]);
            writeHalf(r, chunks[c] + HalfDigits);
            known[c] = true;
        }
        std::memcpy(out, chunks[c], ChunkSize);
    }
}

size_t QJBlowfishPrivate::decode(const char *coded, size_t chunkCount, const char *key, char *out)
{
    QJBlowfishContext context;
    keyContext(context, key);

    // Coded text repeats the same few chunks (one per distinct plain byte), so recently deciphered
    // blocks are remembered in a small direct-mapped cache; a miss simply deciphers again.
    struct Slot
    {
        uint64_t block;
        int plain; // -1: empty
    };
    constexpr unsigned SlotBits = 9;
    Slot cache[1u << SlotBits];
    for (Slot &slot : cache)
        slot.plain = -1;

    const unsigned char *in = reinterpret_cast<const unsigned char *>(coded);
    size_t length = 0;
    for (size_t i = 0; i < chunkCount; ++i, in += ChunkSize) {
        uint32_t l = readHalf(in);
        uint32_t r = readHalf(in + HalfDigits);
        const uint64_t block = (uint64_t(l) << 32) | r;
        Slot &slot = cache[(block * 0x9E3779B97F4A7C15ull) >> (64 - SlotBits)];
        if (slot.plain < 0 || slot.block != block) {
            decryptBlock(context, l, r);
            slot.block = block;
            slot.plain = int(l & 0xFF);
        }
        // The low byte of the left half is the plain byte; the right half is not checked against
        // its complement. A zero byte would end the string, so it adds nothing.
        if (slot.plain != 0)
            out[length++] = char(slot.plain);
    }
    std::memset(out + length, 0, chunkCount - length);
    return length;
}
