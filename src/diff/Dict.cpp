// SPDX-License-Identifier: LGPL-2.1-or-later
#include "Dict.h"

#include <cstring>

namespace
{
// 64-bit FNV-1a over the key's bytes, with a final mix so that both halves are usable.
std::uint64_t hashKey(const char *key)
{
    std::uint64_t h = 0xcbf29ce484222325ull;
    for (const unsigned char *p = reinterpret_cast<const unsigned char *>(key); *p; ++p)
        h = (h ^ *p) * 0x100000001b3ull;
    h ^= h >> 29;
    h *= 0xbf58476d1ce4e5b9ull;
    h ^= h >> 32;
    return h;
}

constexpr std::size_t initialSlots = 16;
} // namespace

Dict::Dict() : counts(1, 0), values(1, 0), keys(1, nullptr), nextSameKey(1, -1) { }

Dict::~Dict() = default;

Dict::Slot *Dict::find(const char *key, std::uint64_t hash, std::size_t *freePosition)
{
    if (slots.empty()) {
        if (freePosition)
            *freePosition = std::size_t(-1);
        return nullptr;
    }
    const std::size_t mask = slots.size() - 1;
    for (std::size_t i = std::size_t(hash) & mask;; i = (i + 1) & mask) {
        Slot &s = slots[i];
        if (!s.key) {
            if (freePosition)
                *freePosition = i;
            return nullptr;
        }
        if (s.hash == hash && std::strcmp(s.key, key) == 0)
            return &s;
    }
}

int Dict::firstLive(Slot &slot)
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
    slots.assign(old.empty() ? initialSlots : old.size() * 2, Slot {nullptr, 0, -1, -1});
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
    Slot *slot = find(key, hashKey(key), nullptr);
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
    const std::uint64_t hash = hashKey(key);
    std::size_t position = 0;
    Slot *slot = find(key, hash, &position);
    int i = slot ? firstLive(*slot) : -1;
    if (i < 0) {
        // Append an entry: it takes the terminator's place and a new terminator follows it.
        i = int(keys.size()) - 1;
        keys[std::size_t(i)] = key;
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
            if ((usedSlots + 1) * 2 > slots.size()) {
                grow();
                find(key, hash, &position);
            }
            slots[position] = Slot {key, hash, i, i};
            ++usedSlots;
        }
    }
    values[std::size_t(i)] = value;
    ++counts[std::size_t(i)];
}
