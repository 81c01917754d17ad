// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <cstdint>
#include <vector>

/**
 * A counted multiset of C strings: each entry maps a key to an integer value and carries an
 * occurrence count; a lookup through get() consumes one occurrence.
 *
 * Keys are borrowed (the caller keeps every key alive for the table's life) and compared by
 * content, bytewise. An entry whose count has fallen to 0 stays in the table but is invisible to
 * lookups; setting its key again appends a fresh entry. Entries are never removed, and among the
 * entries of one key the first live one in insertion order is the one found.
 *
 * Lookups are constant time on average, so a diff grows linearly with its number of tokens.
 *
 * @code
 * Dict d;
 * d.set("k", 1);
 * d.set("k", 1);  // one entry, count 2
 * d.get("k");     // 1, count 1
 * d.get("k");     // 1, count 0
 * d.get("k");     // 0: the entry is spent
 * d.set("k", 5);  // a second entry for "k"; _length() is 3, _index("k") is 1
 * @endcode
 */
class QJKITCORE_EXPORT Dict
{
public:
    /** An empty table: _length() is 1. */
    Dict();
    ~Dict();
    Dict(const Dict &) = delete;
    Dict &operator=(const Dict &) = delete;

    /** @return the number of key slots including the terminating null one: the entries + 1. */
    int _length() const { return int(keys.size()); }

    /**
     * @return the index of the first entry, in insertion order, whose key equals @p key and whose
     * count is greater than 0; -1 if there is none.
     */
    int _index(const char *key);

    /**
     * Consumes one occurrence of @p key.
     * @return the value of the entry _index() finds, after decrementing its count; 0 (and no
     * change) when the key has no live entry.
     */
    int get(const char *key);

    /**
     * Adds one occurrence of @p key with @p value: the live entry of the key gets the value and
     * one more count; without a live entry a new one is appended with count 1.
     * The table keeps the pointer @p key, not a copy.
     */
    void set(const char *key, int value);

    /** @return the remaining count of entry @p i (0 <= i < _length(); the terminator reads 0). */
    int count_at(int i) const { return counts[std::size_t(i)]; }
    /** @return the value of entry @p i (the terminator reads 0). */
    int value_at(int i) const { return values[std::size_t(i)]; }
    /** @return the key pointer of entry @p i (the terminator reads null). */
    const char *key_at(int i) const { return keys[std::size_t(i)]; }
    /** A key with its length and hash, computed once for lookups in several tables. */
    struct hashed_key
    {
        const char *text; ///< the key itself, borrowed
        std::size_t length; ///< its length in bytes
        std::uint64_t hash; ///< the hash of its content
        std::uint64_t head[2]; ///< the first 16 bytes, zero-padded: a short key compares here
    };
    /** @return @p key with its length and the hash of its content. */
    static hashed_key hash(const char *key);
    /** The same as _index(key.text). */
    int _index(const hashed_key &key);
    /** The same as set(key.text, value). */
    void set(const hashed_key &key, int value);

    /**
     * Consumes one occurrence of entry @p i directly, for a caller that has just found it with
     * _index(): the same as get() without a second lookup.
     */
    void decrement_at(int i) { --counts[std::size_t(i)]; }

private:
    friend class DiffEngine;
    // Appends an entry for @p key, which has no entry, holding @p value and @p count at once: the
    // state that set() calls and lookups of the key would leave, for an engine that works out the
    // counts by itself. The entry is found by lookups once index_appended() has run.
    void append_unindexed(const char *key, int value, int count);
    // Indexes the entries appended by append_unindexed() from entry @p first on.
    void index_appended(int first);
    // Makes room for @p entries more entries.
    void reserve_entries(std::size_t entries);

    // 12 bytes a key: a long input's table stays small. The key itself is that of its entries.
    struct Slot
    {
        std::uint32_t hash; // the hash's low bits: they place the slot, also when the table grows
        int live; // no entry of this key before it has a count above 0; -1: none known
        int last; // the key's most recent entry; -1: free slot
    };

    Slot *find(const hashed_key &key, std::size_t *freePosition);
    // Appends an entry for @p key, found in @p slot (null: not indexed yet, @p position is free).
    int append(const hashed_key &key, Slot *slot, std::size_t position);
    int firstLive(Slot &slot);
    void grow(std::size_t size);

    // Parallel entry arrays, each with one slot more than there are entries: the last slot is the
    // terminator (count 0, value 0, key null).
    std::vector<int> counts;
    std::vector<int> values;
    std::vector<const char *> keys;
    // nextSameKey[i]: the next entry, in insertion order, with the same key as entry i; -1 at the end.
    std::vector<int> nextSameKey;

    // Hash index over the keys' contents, open addressing with linear probing. For each distinct
    // key it chains that key's entries in insertion order and keeps a cursor ("live") on that
    // chain, so the first live entry in insertion order still wins, exactly as a scan from entry 0
    // would find it. Counts only fall (get, decrement_at) except through set(), which raises only
    // the entry this cursor answers or a newly appended one; so an entry the cursor has passed
    // never becomes live again and the cursor only moves forward: constant time amortised.
    std::vector<Slot> slots;
    std::size_t usedSlots = 0;
};
