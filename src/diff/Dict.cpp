// SPDX-License-Identifier: LGPL-2.1-or-later
#include "Dict.h"

#include "qjdiffcore_p.h"

#include <algorithm>
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

void Dict::append_entry(const hashed_key &key, int value, int count)
{
    std::size_t position = 0;
    Slot *slot = find(key, &position);
    const int i = append(key, slot, position);
    values[std::size_t(i)] = value;
    counts[std::size_t(i)] = count;
}

void Dict::reserve_entries(std::size_t entries)
{
    const std::size_t n = keys.size() + entries;
    counts.reserve(n);
    values.reserve(n);
    keys.reserve(n);
    nextSameKey.reserve(n);
    std::size_t size = std::max(slots.size(), initialSlots);
    while ((usedSlots + entries) * 4 > size * 3)
        size *= 2;
    if (size > slots.size())
        grow(size);
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
