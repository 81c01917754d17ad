// SPDX-License-Identifier: LGPL-2.1-or-later
#include "Dict.h"

#include "qjdiffcore_p.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace
{
constexpr std::size_t initialSlots = 16;
} // namespace

Dict::hashed_key Dict::hash(const char *key)
{
    return QJDiffCore::hash(key);
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
        if (s.last < 0) {
            *freePosition = i;
            return nullptr;
        }
        if (s.hash == std::uint32_t(key.hash) && std::strcmp(keys[std::size_t(s.last)], key.text) == 0)
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

void Dict::grow(std::size_t size)
{
    std::vector<Slot> old = std::move(slots);
    slots.reserve(size);
    QJDiffCore::prefault(slots.data(), size * sizeof(Slot));
    slots.assign(size, Slot {0, -1, -1});
    const std::size_t mask = slots.size() - 1;
    for (const Slot &s : old) {
        if (s.last < 0)
            continue;
        std::size_t i = std::size_t(s.hash) & mask;
        while (slots[i].last >= 0)
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
    if (i < 0)
        i = append(key, slot, position);
    values[std::size_t(i)] = value;
    ++counts[std::size_t(i)];
}

void Dict::append_unindexed(const char *key, int value, int count)
{
    // The new entry takes the terminator's place and a new terminator follows it.
    const std::size_t i = keys.size() - 1;
    keys[i] = key;
    counts[i] = count;
    values[i] = value;
    keys.push_back(nullptr);
    counts.push_back(0);
    values.push_back(0);
    nextSameKey.push_back(-1);
}

void Dict::index_appended(int first)
{
    const std::size_t end = keys.size() - 1;
    const std::size_t n = end - std::size_t(first);
    if (n == 0)
        return;
    std::size_t size = std::max(slots.size(), initialSlots);
    while ((usedSlots + n) * 4 > size * 3)
        size *= 2;
    if (size > slots.size())
        grow(size);
    // The entries go in by their home slots, in buckets of neighbouring slots: the table is written
    // front to back, where entries in text order would miss the caches at nearly every one in a
    // long input's table. The bucket counts come from a first pass over the keys' hashes.
    const std::size_t mask = slots.size() - 1;
    const int shift = std::max(0, std::countr_zero(slots.size()) - 12);
    std::vector<std::uint32_t> bucketStart(((mask >> shift) + 2), 0);
    // Each key is hashed once: a key may be a long line.
    std::vector<std::uint32_t> hashes(n);
    for (std::size_t e = std::size_t(first); e < end; ++e) {
        const auto h = hashes[e - std::size_t(first)] = std::uint32_t(QJDiffCore::hash(keys[e]).hash);
        ++bucketStart[((h & mask) >> shift) + 1];
    }
    for (std::size_t b = 1; b < bucketStart.size(); ++b)
        bucketStart[b] += bucketStart[b - 1];
    // The entries in bucket order; with the hashes, as much room as the entries and hashes together.
    std::vector<std::uint32_t> order(n);
    for (std::size_t k = 0; k < n; ++k)
        order[bucketStart[(hashes[k] & mask) >> shift]++] = std::uint32_t(k);
    for (const std::uint32_t k : order) {
        const std::uint32_t h = hashes[k];
        std::size_t i = h & mask;
        while (slots[i].last >= 0)
            i = (i + 1) & mask;
        const int entry = first + int(k);
        slots[i] = Slot {h, entry, entry};
    }
    usedSlots += n;
}

void Dict::reserve_entries(std::size_t entries)
{
    const std::size_t n = keys.size() + entries;
    counts.reserve(n);
    values.reserve(n);
    keys.reserve(n);
    nextSameKey.reserve(n);
}

int Dict::append(const hashed_key &key, Slot *slot, std::size_t position)
{
    // The new entry takes the terminator's place and a new terminator follows it.
    const int i = int(keys.size()) - 1;
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
            grow(slots.empty() ? initialSlots : slots.size() * 2);
            find(key, &position);
        }
        slots[position] = Slot {std::uint32_t(key.hash), i, i};
        ++usedSlots;
    }
    return i;
}
