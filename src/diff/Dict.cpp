// SPDX-License-Identifier: LGPL-2.1-or-later
#include "Dict.h"

#include <cstring>

namespace
{
constexpr std::size_t initialSlots = 16;
constexpr std::size_t headBytes = 16;
} // namespace

namespace
{
std::uint64_t load64(const char *p)
{
    std::uint64_t w;
    std::memcpy(&w, p, 8);
    return w;
}

std::uint64_t load32(const char *p)
{
    std::uint32_t w;
    std::memcpy(&w, p, 4);
    return w;
}

std::uint64_t mix(std::uint64_t h, std::uint64_t word)
{
    h = (h ^ word) * 0xbf58476d1ce4e5b9ull;
    return h ^ (h >> 31);
}
} // namespace

Dict::hashed_key Dict::hash(const char *key)
{
    // Fixed-size loads only (overlapping ones for the ends): the keys are mostly short words, and
    // every lookup hashes one. head holds the first 16 bytes, zero-padded, in little-endian order.
    const std::size_t n = std::strlen(key);
    hashed_key k {key, n, 0, {0, 0}};
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

Dict::Dict() : counts(1, 0), values(1, 0), keys(1, nullptr), nextSameKey(1, -1) { }

Dict::~Dict() = default;

[[gnu::always_inline]] inline Dict::Slot *Dict::find(const hashed_key &key, std::size_t *freePosition)
{
    if (slots.empty()) {
        *freePosition = std::size_t(-1);
        return nullptr;
    }
    const std::size_t mask = slots.size() - 1;
    for (std::size_t i = std::size_t(key.hash) & mask;; i = (i + 1) & mask) {
        Slot &s = slots[i];
        if (!s.key) {
            *freePosition = i;
            return nullptr;
        }
        if (s.hash != key.hash || s.length != key.length || s.head[0] != key.head[0] || s.head[1] != key.head[1])
            continue;
        if (key.length <= headBytes || std::strcmp(s.key + headBytes, key.text + headBytes) == 0)
            return &s;
    }
}

[[gnu::always_inline]] inline int Dict::firstLive(Slot &slot)
{
    int e = slot.live;
    while (e >= 0 && counts[std::size_t(e)] <= 0)
        e = nextSameKey[std::size_t(e)];
    slot.live = e;
    return e;
}

void Dict::grow()
{
    std::vector<Slot> old = std::move(slots);
    slots.assign(old.empty() ? initialSlots : old.size() * 2, Slot {});
    const std::size_t mask = slots.size() - 1;
    for (const Slot &s : old) {
        if (!s.key)
            continue;
        std::size_t i = std::size_t(s.hash) & mask;
        while (slots[i].key)
            i = (i + 1) & mask;
        slots[i] = s;
    }
}

int Dict::_index(const char *key)
{
    return _index(hash(key));
}

int Dict::_index(const hashed_key &key)
{
    std::size_t position;
    Slot *slot = find(key, &position);
    return slot ? firstLive(*slot) : -1;
}

int Dict::get(const char *key)
{
    const int i = _index(key);
    if (i < 0)
        return 0;
    --counts[std::size_t(i)];
    return values[std::size_t(i)];
}

void Dict::set(const char *key, int value)
{
    set(hash(key), value);
}

void Dict::set(const hashed_key &key, int value)
{
    std::size_t position = 0;
    Slot *slot = find(key, &position);
    int i = slot ? firstLive(*slot) : -1;
    if (i < 0) {
        // Append an entry: it takes the terminator's place and a new terminator follows it.
        i = int(keys.size()) - 1;
        keys[std::size_t(i)] = key.text;
        keys.push_back(nullptr);
        counts.push_back(0);
        values.push_back(0);
        nextSameKey.push_back(-1);
        if (slot) {
            nextSameKey[std::size_t(slot->last)] = i;
            slot->last = i;
            if (slot->live < 0)
                slot->live = i;
        } else {
            if ((usedSlots + 1) * 4 > slots.size() * 3) {
                grow();
                find(key, &position);
            }
            slots[position] = Slot {key.hash, key.text, i, i, key.length, {key.head[0], key.head[1]}};
            ++usedSlots;
        }
    }
    values[std::size_t(i)] = value;
    ++counts[std::size_t(i)];
}
