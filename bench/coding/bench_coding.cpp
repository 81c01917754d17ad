// SPDX-License-Identifier: LGPL-2.1-or-later
// Raw block encryption beside OpenSSL's BF_encrypt, the key schedule, and coding 1 MB.
#include "QJBlowfish.h"
#include "QJBlowfishCoding.h"

#include <benchmark/benchmark.h>

#ifdef QJKIT_BENCH_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED // the low-level block interface is what is compared
#include <openssl/blowfish.h>
#endif

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace
{
constexpr int Blocks = 4096; // 32 KB per pass: stays in the cache, so the cipher alone is timed
constexpr size_t PlainSize = 1 << 20;
const unsigned char Key[16]
    = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xF0, 0xE1, 0xD2, 0xC3, 0xB4, 0xA5, 0x96, 0x87};

std::vector<uint32_t> blocks()
{
    std::vector<uint32_t> words(2 * Blocks);
    std::mt19937 random(42);
    for (uint32_t &w : words)
        w = random();
    return words;
}

// 1 MB of property-list text, the kind of input coded files hold.
std::string plainText()
{
    const std::string entry
        = "\t<key>recentFiles</key>\n\t<array>\n\t\t<string>Chapter 12 – draft.txt</string>\n\t</array>\n";
    std::string text;
    while (text.size() + entry.size() <= PlainSize)
        text += entry;
    text.append(PlainSize - text.size(), ' ');
    return text;
}

void QJKit_EncryptBlocks(benchmark::State &state)
{
    QJBlowfishContext context;
    QJBlowfish_Init(&context, Key, sizeof Key);
    std::vector<uint32_t> data = blocks();
    for (auto _ : state) {
        for (int i = 0; i < Blocks; ++i)
            QJBlowfish_Encrypt(&context, &data[2 * i], &data[2 * i + 1]);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * Blocks * 8);
}
BENCHMARK(QJKit_EncryptBlocks);

void QJKit_KeySchedule(benchmark::State &state)
{
    QJBlowfishContext context;
    for (auto _ : state) {
        QJBlowfish_Init(&context, Key, sizeof Key);
        benchmark::DoNotOptimize(context.P[0]);
    }
}
BENCHMARK(QJKit_KeySchedule);

#ifdef QJKIT_BENCH_OPENSSL
void OpenSSL_EncryptBlocks(benchmark::State &state)
{
    BF_KEY key;
    BF_set_key(&key, sizeof Key, Key);
    std::vector<uint32_t> words = blocks();
    std::vector<BF_LONG> data(words.begin(), words.end());
    for (auto _ : state) {
        for (int i = 0; i < Blocks; ++i)
            BF_encrypt(&data[2 * i], &key);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * Blocks * 8);
}
BENCHMARK(OpenSSL_EncryptBlocks);

void OpenSSL_KeySchedule(benchmark::State &state)
{
    BF_KEY key;
    for (auto _ : state) {
        BF_set_key(&key, sizeof Key, Key);
        benchmark::DoNotOptimize(key.P[0]);
    }
}
BENCHMARK(OpenSSL_KeySchedule);
#endif

// Bytes processed are plain bytes in every coding benchmark; each call keys its own context.
void QJKit_Encode1MB(benchmark::State &state)
{
    const std::string plain = plainText();
    for (auto _ : state) {
        char *coded = QJBlowfish_Encode(plain.c_str(), "coding key");
        benchmark::DoNotOptimize(coded);
        std::free(coded);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * PlainSize);
}
BENCHMARK(QJKit_Encode1MB)->Unit(benchmark::kMillisecond);

void QJKit_Decode1MB(benchmark::State &state)
{
    char *coded = QJBlowfish_Encode(plainText().c_str(), "coding key");
    for (auto _ : state) {
        char *plain = QJBlowfish_Decode(coded, "coding key");
        benchmark::DoNotOptimize(plain);
        std::free(plain);
    }
    std::free(coded);
    state.SetBytesProcessed(int64_t(state.iterations()) * PlainSize);
}
BENCHMARK(QJKit_Decode1MB)->Unit(benchmark::kMillisecond);

// Every chunk different (damaged or foreign input): each one is deciphered.
void QJKit_DecodeDistinctChunks1MB(benchmark::State &state)
{
    std::string coded(PlainSize * 10, '\1');
    std::mt19937 random(7);
    for (char &c : coded)
        c = char(1 + random() % 169);
    for (auto _ : state) {
        char *plain = QJBlowfish_Decode(coded.c_str(), "coding key");
        benchmark::DoNotOptimize(plain);
        std::free(plain);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * PlainSize);
}
BENCHMARK(QJKit_DecodeDistinctChunks1MB)->Unit(benchmark::kMillisecond);

void QJKit_EncodeData1MB(benchmark::State &state)
{
    const std::string text = plainText();
    const QByteArray plain(text.data(), qsizetype(text.size()));
    const QString key = QStringLiteral("coding key");
    for (auto _ : state)
        benchmark::DoNotOptimize(QJBlowfishCoding::encodeWithBlowfishKey(plain, key));
    state.SetBytesProcessed(int64_t(state.iterations()) * PlainSize);
}
BENCHMARK(QJKit_EncodeData1MB)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
