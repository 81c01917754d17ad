// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Helpers shared by the diff core's sources: the key hash, inline where tokens are hashed by the
// million, and prefaulting of large buffers.

#include "Dict.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>

#if __has_include(<sys/mman.h>)
#include <sys/mman.h>
#endif

namespace QJDiffCore
{
inline std::uint64_t load64(const char *p)
{
    std::uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}

inline std::uint64_t load32(const char *p)
{
    std::uint32_t w;
    std::memcpy(&w, p, 4);
    return w;
}

// load64() for a word that may reach past the end of the object read, but not past its memory
// page: the bytes beyond the object are masked out by the caller.
#if defined(__GNUC__)
__attribute__((no_sanitize("address", "thread")))
#endif
inline std::uint64_t
loadWithin64(const char *p)
{
    std::uint64_t w;
    __builtin_memcpy(&w, p, 8);
    return w;
}

inline std::uint64_t mix(std::uint64_t h, std::uint64_t word)
{
    h = (h ^ word) * 0xbf58476d1ce4e5b9ull;
    return h ^ (h >> 31);
}

// The lowest set high bit marks the first zero byte of @p w, if any (bits above it may be false).
inline std::uint64_t zeroBytes(std::uint64_t w)
{
    return (w - 0x0101010101010101ull) & ~w & 0x8080808080808080ull;
}

// Bytes [0, n) of @p w, n <= 8.
inline std::uint64_t lowBytes(std::uint64_t w, unsigned n)
{
    return n >= 8 ? w : w & ((std::uint64_t(1) << (8 * n)) - 1);
}

/** Dict::hash(). */
#if defined(__GNUC__)
__attribute__((no_sanitize("address", "thread")))
#endif
inline Dict::hashed_key
hash(const char *key)
{
    // head holds the first 16 bytes, zero-padded, in little-endian order; short keys compare
    // there. Most keys are short words of scattered lengths, where branching on the length
    // mispredicts: a key that lies 16 bytes or more before the end of its memory page is read in
    // two words at once, whatever its length (the bytes past its NUL are read but masked out, and
    // a page either is readable throughout or not at all); the length is where the first NUL is.
    Dict::hashed_key k {key, 0, 0, {0, 0}};
    constexpr std::uintptr_t page = 4096;
    if (std::endian::native == std::endian::little
        && (reinterpret_cast<std::uintptr_t>(key) & (page - 1)) <= page - 16) {
        const std::uint64_t a = loadWithin64(key);
        const std::uint64_t b = loadWithin64(key + 8);
        const std::uint64_t za = zeroBytes(a);
        const std::uint64_t zb = zeroBytes(b);
        const unsigned na = za ? unsigned(std::countr_zero(za)) / 8 : 8;
        const unsigned nb = zb ? unsigned(std::countr_zero(zb)) / 8 : 8;
        k.head[0] = lowBytes(a, na);
        k.head[1] = na < 8 ? 0 : lowBytes(b, nb);
        k.length = na < 8 ? na : 8 + nb;
        if (k.length == 16)
            k.length += std::strlen(key + 16);
    } else {
        const std::size_t n = k.length = std::strlen(key);
        if (n >= 8) {
            k.head[0] = load64(key);
            if (n >= 16)
                k.head[1] = load64(key + 8);
            else if (n > 8)
                k.head[1] = load64(key + n - 8) >> (8 * (16 - n));
        } else if (n >= 4) {
            k.head[0] = load32(key) | (load32(key + n - 4) << (8 * (n - 4)));
        } else if (n > 0) {
            const auto byte = [key](std::size_t i) { return std::uint64_t(static_cast<unsigned char>(key[i])); };
            k.head[0] = byte(0) | (byte(n / 2) << (8 * (n / 2))) | (byte(n - 1) << (8 * (n - 1)));
        }
    }
    const std::size_t n = k.length;
    std::uint64_t h = mix(mix(0x9e3779b97f4a7c15ull ^ n, k.head[0]), k.head[1]);
    if (n > 16) {
        std::size_t i = 16;
        for (; i + 8 <= n; i += 8)
            h = mix(h, load64(key + i));
        if (i < n)
            h = mix(h, load64(key + n - 8));
    }
    h *= 0x94d049bb133111ebull;
    k.hash = h ^ (h >> 32);
    return k;
}

/**
 * Maps the pages of a large buffer that is about to be written, in one call: much cheaper than
 * a fault on each page's first write. The contents do not change; nothing happens where the
 * system cannot do it.
 */
inline void prefault(void *data, std::size_t bytes)
{
#ifdef MADV_POPULATE_WRITE
    constexpr std::size_t page = 4096;
    constexpr std::size_t worthIt = 64 * page;
    if (bytes < worthIt)
        return;
    const auto begin = (reinterpret_cast<std::uintptr_t>(data) + page - 1) & ~(page - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(data) + bytes) & ~(page - 1);
    if (end > begin)
        madvise(reinterpret_cast<void *>(begin), end - begin, MADV_POPULATE_WRITE);
#else
    (void)data;
    (void)bytes;
#endif
}
// The difference engine's one thread policy: work smaller than this (bytes to scan, tokens to
// match, text to format) is done on one thread, where a second would cost more than it saves.
constexpr std::size_t parallelWork = std::size_t(1) << 16;

/**
 * Runs @p first and @p second, which share nothing, and returns when both have run. When @p work
 * reaches parallelWork, @p second goes to a helper thread, unless this thread gets to it before the
 * helper has started it: on a busy machine the helper may wait long for a processor, and then
 * nothing waits for it.
 */
template<typename First, typename Second>
void both(std::size_t work, const First &first, const Second &second)
{
    if (work < parallelWork) {
        first();
        second();
        return;
    }
    // 0: second is free, 1: the helper runs it, 2: this thread took it, 3: the helper is done.
    struct Shared
    {
        std::atomic<int> state {0};
    };
    const auto shared = std::make_shared<Shared>();
    const auto claim = [](std::atomic<int> &state, int by) {
        int expected = 0;
        return state.compare_exchange_strong(expected, by);
    };
    try {
        std::thread([shared, claim, task = &second] {
            if (!claim(shared->state, 1))
                return; // taken: nothing of the caller's is touched any more
            (*task)();
            shared->state.store(3);
            shared->state.notify_one();
        }).detach();
    } catch (const std::system_error &) {
        // No thread to be had: second runs here.
    }
    // Whatever happens to first, the helper does not start second afterwards, and is waited for
    // when it did.
    struct Finish
    {
        Shared &shared;
        ~Finish()
        {
            int expected = 0;
            shared.state.compare_exchange_strong(expected, 2);
            for (int state = shared.state.load(); state == 1; state = shared.state.load())
                shared.state.wait(state);
        }
    } finish {*shared};
    first();
    if (claim(shared->state, 2))
        second();
}
} // namespace QJDiffCore
