// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DiffEngine.h"

#include "Dict.h"
#include "qjdiffcore_p.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace
{
// The distinct strings of a token sequence, numbered in order of first occurrence.
class KeyIndex
{
public:
    // @return the numbers of @p count tokens.
    std::unique_ptr<int[]> add(const char *const *tokens, int count)
    {
        std::unique_ptr<int[]> ids(new int[std::size_t(count)]);
        QJDiffCore::prefault(ids.get(), std::size_t(count) * sizeof(int));
        // Most lookups miss the caches: each token is hashed some tokens ahead of its lookup and
        // its slot fetched meanwhile.
        constexpr int ahead = 8;
        Dict::hashed_key pending[ahead];
        for (int i = 0; i < count + ahead; ++i) {
            if (i >= ahead)
                ids[std::size_t(i - ahead)] = add(pending[(i - ahead) % ahead]);
            if (i < count) {
                const Dict::hashed_key &key = pending[i % ahead] = QJDiffCore::hash(tokens[i]);
                if (!slots.empty())
                    __builtin_prefetch(&slots[std::size_t(key.hash) & (slots.size() - 1)]);
            }
        }
        return ids;
    }

    // @return the numbers of @p count tokens that mostly repeat @p reference, another sequence's
    // tokens, in the same order: a token equal to the reference token in the same place of a
    // running alignment gets -1 - that token's index instead, and needs no lookup; the others are
    // numbered here. How well the alignment holds decides the speed, never the result.
    std::unique_ptr<int[]> addAligned(
        const char *const *tokens, int count, const char *const *reference, int referenceCount)
    {
        std::unique_ptr<int[]> ids(new int[std::size_t(count)]);
        QJDiffCore::prefault(ids.get(), std::size_t(count) * sizeof(int));
        int i = 0; // the reference token aligned with the next token
        int misses = 0; // tokens in a row not at their place
        const auto same = [&](int r, int j) {
            return r >= 0 && r < referenceCount && j < count && std::strcmp(reference[r], tokens[j]) == 0;
        };
        for (int j = 0; j < count; ++j) {
            if (same(i, j)) {
                ids[std::size_t(j)] = -1 - i++;
                misses = 0;
                continue;
            }
            // A reference token removed; after a few misses in a row, a longer shift looked for
            // near the place, less and less often while it is not found.
            int found = -1;
            ++misses;
            if (misses <= 8 && same(i + 1, j)) {
                found = i + 1;
            } else if (misses >= 2 && (misses & (misses - 1)) == 0) {
                constexpr int window = 64;
                for (int d = 1; d <= window && found < 0; ++d) {
                    if (same(i - d, j))
                        found = i - d;
                    else if (same(i + d, j))
                        found = i + d;
                }
            }
            if (found >= 0) {
                ids[std::size_t(j)] = -1 - found;
                i = found + 1;
                misses = 0;
                continue;
            }
            ids[std::size_t(j)] = add(QJDiffCore::hash(tokens[j]));
            // A token replaced, unless one was added here (the next token is at this place).
            if (!(misses <= 8 && same(i, j + 1)) && i < referenceCount)
                ++i;
        }
        return ids;
    }

    // @return the number of @p key, newly given when it is a new string.
    int add(const Dict::hashed_key &key)
    {
        if (!slots.empty()) {
            if (const int id = slots[position(key)].id; id >= 0) {
                ++counts[std::size_t(id)];
                return id;
            }
        }
        return insert(key);
    }

    // @return the number of @p key; -1 when the sequence does not hold it.
    int find(const Dict::hashed_key &key) const { return slots.empty() ? -1 : slots[position(key)].id; }

    int size() const { return int(firsts.size()); }

    // By number: the string's first occurrence, and its occurrences.
    std::vector<const char *> firsts;
    std::vector<int> counts;

private:
    // 8 bytes a slot keep long inputs' tables small. Most lookups are for a text's frequent words,
    // whose first occurrences stay in the caches for the comparison.
    struct Slot
    {
        std::uint32_t hash; // the hash's low bits: they also place the slot when the table grows
        int id; // -1: free
    };

    bool matches(const Slot &slot, const Dict::hashed_key &key) const
    {
        return slot.hash == std::uint32_t(key.hash) && std::strcmp(firsts[std::size_t(slot.id)], key.text) == 0;
    }

    // The slot of @p key, or the free one where it goes. Linear probing, at most half full.
    std::size_t position(const Dict::hashed_key &key) const
    {
        const std::size_t mask = slots.size() - 1;
        std::size_t i = std::size_t(key.hash) & mask;
        while (slots[i].id >= 0 && !matches(slots[i], key))
            i = (i + 1) & mask;
        return i;
    }

    // Gives @p key, a new string, its number.
    [[gnu::noinline]] int insert(const Dict::hashed_key &key)
    {
        if ((firsts.size() + 1) * 2 > slots.size())
            grow();
        const int id = int(firsts.size());
        slots[position(key)] = Slot {std::uint32_t(key.hash), id};
        firsts.push_back(key.text);
        counts.push_back(1);
        return id;
    }

    void grow()
    {
        std::vector<Slot> old = std::move(slots);
        slots.assign(old.empty() ? 1024 : old.size() * 2, Slot {0, -1});
        const std::size_t mask = slots.size() - 1;
        for (const Slot &slot : old) {
            if (slot.id < 0)
                continue;
            std::size_t i = slot.hash & mask;
            while (slots[i].id >= 0)
                i = (i + 1) & mask;
            slots[i] = slot;
        }
    }

    std::vector<Slot> slots;
};
} // namespace

DiffOperation::DiffOperation(
    const std::vector<const char *> *from, const std::vector<const char *> *to, DiffOpType type)
    : type(type)
{
    if (from)
        this->from = *from;
    if (to)
        this->to = *to;
}

namespace
{
void grow(std::vector<unsigned char> &changed, std::vector<const char *> &common, int count)
{
    // Both are written in full by every diff(): their pages are mapped at once.
    const std::size_t n = std::size_t(count);
    changed.reserve(n);
    QJDiffCore::prefault(changed.data() + changed.size(), n - changed.size());
    changed.resize(n);
    common.reserve(n);
    QJDiffCore::prefault(common.data() + common.size(), (n - common.size()) * sizeof(const char *));
    common.resize(n);
}
} // namespace

DiffEngine::DiffEngine() = default;

DiffEngine::~DiffEngine() = default;

void DiffEngine::set_from(const char *const *tokens, int count)
{
    from_dict = std::make_unique<Dict>();
    if (count > 0 && std::size_t(count) > from_changed.size())
        grow(from_changed, from_common, count);
    from = tokens;
    n_from = count;
}

void DiffEngine::set_to(const char *const *tokens, int count)
{
    to_dict = std::make_unique<Dict>();
    if (count > 0 && std::size_t(count) > to_changed.size())
        grow(to_changed, to_common, count);
    to = tokens;
    n_to = count;
}

std::vector<DiffOperation> DiffEngine::diff()
{
    match();
    std::vector<DiffOperation> result;
    runs([&](const DiffRun &run) { result.push_back(operation(run)); });
    return result;
}

DiffOperation DiffEngine::operation(const DiffRun &run) const
{
    const std::vector<const char *> fromTokens(from + run.from_begin, from + run.from_end);
    if (run.type == DiffOpCopy)
        return DiffOperation(&fromTokens, &fromTokens, DiffOpCopy);
    const std::vector<const char *> toTokens(to + run.to_begin, to + run.to_end);
    return DiffOperation(
        run.type == DiffOpAdd ? nullptr : &fromTokens, run.type == DiffOpDelete ? nullptr : &toTokens, run.type);
}

std::vector<DiffRun> DiffEngine::diff_runs()
{
    match();
    std::vector<DiffRun> result;
    runs([&result](const DiffRun &run) { result.push_back(run); });
    return result;
}

void DiffEngine::match()
{
    n_from_common = 0;
    n_to_common = 0;
    if (from_dict && to_dict && from_dict->_length() == 1 && to_dict->_length() == 1) {
        match_fresh();
        return;
    }

    // Common prefix.
    int p = 0;
    while (p < n_from && p < n_to && std::strcmp(from[p], to[p]) == 0) {
        from_changed[std::size_t(p)] = 0;
        to_changed[std::size_t(p)] = 0;
        ++p;
    }

    // Common suffix. It never reaches index p, even when p is 0: a token there is left to the
    // middle matching, which still finds it.
    int s = 0;
    for (int i = n_from - 1, j = n_to - 1; i > p && j > p; --i, --j) {
        if (std::strcmp(from[i], to[j]) != 0)
            break;
        from_changed[std::size_t(i)] = 0;
        to_changed[std::size_t(j)] = 0;
        ++s;
    }
    const int fromEnd = n_from - s;
    const int toEnd = n_to - s;

    for (int i = p; i < fromEnd; ++i)
        from_dict->set(from[i], 1);

    // A token is unchanged while the other side still has an occurrence of it to give: each
    // string keeps min(occurrences in the from middle, occurrences in the to middle) tokens on
    // each side, its first occurrences in order.
    for (int j = p; j < toEnd; ++j) {
        const Dict::hashed_key key = QJDiffCore::hash(to[j]);
        const int e = from_dict->_index(key);
        unsigned char flag = 1;
        if (e >= 0) {
            from_dict->decrement_at(e);
            flag = from_dict->value_at(e) == 0 ? 1 : 0;
            if (flag == 0) {
                to_dict->set(key, 1);
                to_common[std::size_t(n_to_common++)] = to[j];
            }
        }
        to_changed[std::size_t(j)] = flag;
    }
    for (int i = p; i < fromEnd; ++i) {
        const int e = to_dict->_index(from[i]);
        unsigned char flag = 1;
        if (e >= 0) {
            to_dict->decrement_at(e);
            flag = to_dict->value_at(e) == 0 ? 1 : 0;
            if (flag == 0)
                from_common[std::size_t(n_from_common++)] = from[i];
        }
        from_changed[std::size_t(i)] = flag;
    }
}

// The same matching for empty tables, which the first diff() after set_from() and set_to() meets.
// Each side's strings are numbered once, and the outcome (flags, common tokens, the tables'
// entries) follows from how often each string occurs in each middle: a to-token is unchanged while
// the from middle has occurrences of its string left, that is for the first min(occurrences in
// the from middle, in the to middle) of them, and the from middle then keeps as many. The from
// table holds one entry per string of the from middle, in order of first occurrence, keyed by that
// occurrence, with the occurrences no to-token took as its count; the to table one per matched
// string, in order of first match, all spent. Once the strings are numbered the two sides are
// independent, so long inputs have each worked out on a thread of its own.
void DiffEngine::match_fresh()
{
    const std::size_t work = std::size_t(n_from) + std::size_t(n_to);
    const auto both = [work](const auto &fromSide, const auto &toSide) { QJDiffCore::both(work, fromSide, toSide); };

    // The to side mostly repeats the from side: its tokens are numbered along with it.
    KeyIndex fromKeys;
    KeyIndex toKeys;
    std::unique_ptr<int[]> fromIds;
    std::unique_ptr<int[]> toIds;
    both([&] { fromIds = fromKeys.add(from, n_from); }, [&] { toIds = toKeys.addAligned(to, n_to, from, n_from); });

    // One numbering for both sides: the from side's, then the strings only the to side holds.
    int keyCount = fromKeys.size();
    std::vector<int> global(std::size_t(toKeys.size()));
    for (int k = 0; k < toKeys.size(); ++k) {
        const int f = fromKeys.find(QJDiffCore::hash(toKeys.firsts[std::size_t(k)]));
        global[std::size_t(k)] = f >= 0 ? f : keyCount++;
    }
    // Only the counts of the numberings are needed from here on.
    std::vector<int> fromCount = std::move(fromKeys.counts);
    fromKeys = KeyIndex();
    toKeys = KeyIndex();
    std::vector<int> toCount(std::size_t(keyCount), 0);
    {
        std::vector<int> secondHalf(std::size_t(keyCount), 0);
        const auto renumber = [&](int begin, int end, std::vector<int> &count) {
            for (int j = begin; j < end; ++j) {
                int &id = toIds[std::size_t(j)];
                id = id < 0 ? fromIds[std::size_t(-1 - id)] : global[std::size_t(id)];
                ++count[std::size_t(id)];
            }
        };
        both([&] { renumber(0, n_to / 2, toCount); }, [&] { renumber(n_to / 2, n_to, secondHalf); });
        for (std::size_t k = 0; k < toCount.size(); ++k)
            toCount[k] += secondHalf[k];
        global = {};
    }
    const auto fromKey = [&](int i) { return std::size_t(fromIds[std::size_t(i)]); };
    const auto toKey = [&](int j) { return std::size_t(toIds[std::size_t(j)]); };

    int p = 0;
    while (p < n_from && p < n_to && fromKey(p) == toKey(p)) {
        from_changed[std::size_t(p)] = 0;
        to_changed[std::size_t(p)] = 0;
        ++p;
    }
    int s = 0;
    for (int i = n_from - 1, j = n_to - 1; i > p && j > p && fromKey(i) == toKey(j); --i, --j) {
        from_changed[std::size_t(i)] = 0;
        to_changed[std::size_t(j)] = 0;
        ++s;
    }
    const int fromEnd = n_from - s;
    const int toEnd = n_to - s;

    // Occurrences in each middle: in the whole side, less those in the prefix and the suffix.
    fromCount.resize(std::size_t(keyCount), 0);
    for (int i = 0; i < p; ++i) {
        --fromCount[fromKey(i)];
        --toCount[toKey(i)];
    }
    for (int i = fromEnd, j = toEnd; i < n_from; ++i, ++j) {
        --fromCount[fromKey(i)];
        --toCount[toKey(j)];
    }
    // The tables get one entry per string of the from middle and one per matched string.
    std::vector<int> matched(static_cast<std::size_t>(keyCount));
    std::size_t fromStrings = 0;
    std::size_t matchedStrings = 0;
    for (std::size_t k = 0; k < matched.size(); ++k) {
        matched[k] = std::min(fromCount[k], toCount[k]);
        fromStrings += fromCount[k] > 0;
        matchedStrings += matched[k] > 0;
    }

    // Each side: its tokens' flags and common tokens, and its table's entries, each keyed by the
    // string's first occurrence in the middle. A side's counts array turns into what it has seen of
    // each string: c >= 0 before the first occurrence, -2 - (occurrences seen) after it.
    const auto seen = [](int &c) {
        const int before = c >= 0 ? 0 : -2 - c;
        c = -3 - before;
        return before;
    };
    both(
        [&] {
            from_dict->reserve_entries(fromStrings);
            int common = 0;
            for (int i = p; i < fromEnd; ++i) {
                const std::size_t k = fromKey(i);
                const int middle = fromCount[k];
                const int before = seen(fromCount[k]);
                if (before == 0)
                    from_dict->append_unindexed(from[i], 1, middle - matched[k]);
                const bool kept = before < matched[k];
                if (kept)
                    from_common[std::size_t(common++)] = from[i];
                from_changed[std::size_t(i)] = kept ? 0 : 1;
            }
            fromIds.reset(); // its memory can serve the index
            from_dict->index_appended(0);
            n_from_common = common;
        },
        [&] {
            to_dict->reserve_entries(matchedStrings);
            int common = 0;
            for (int j = p; j < toEnd; ++j) {
                const std::size_t k = toKey(j);
                const int before = seen(toCount[k]);
                const bool kept = before < matched[k];
                if (kept) {
                    if (before == 0)
                        to_dict->append_unindexed(to[j], 1, 0);
                    to_common[std::size_t(common++)] = to[j];
                }
                to_changed[std::size_t(j)] = kept ? 0 : 1;
            }
            toIds.reset();
            to_dict->index_appended(0);
            n_to_common = common;
        });
}

// Step through the flags in runs. Unchanged tokens pair up by position in their unchanged
// sequences, not by content. Each pass gives at most one copy run, then at most one change,
// delete or add.
template<typename Emit>
void DiffEngine::runs(Emit &&emit) const
{
    const unsigned char *fromFlags = from_changed.data();
    const unsigned char *toFlags = to_changed.data();
    int i = 0;
    int j = 0;
    while (i < n_from || j < n_to) {
        const int copyFrom = i;
        const int copyTo = j;
        // Eight flags of each side at a time while both have that many left: the flags are 0 or 1,
        // so the lowest set byte of the two words or'ed is the first token that ends the run.
        bool ended = false;
        while (std::endian::native == std::endian::little && n_from - i >= 8 && n_to - j >= 8) {
            std::uint64_t a, b;
            std::memcpy(&a, fromFlags + i, 8);
            std::memcpy(&b, toFlags + j, 8);
            if (const std::uint64_t either = a | b) {
                const int k = std::countr_zero(either) / 8;
                i += k;
                j += k;
                ended = true;
                break;
            }
            i += 8;
            j += 8;
        }
        if (!ended) {
            while (i < n_from && j < n_to && fromFlags[i] == 0 && toFlags[j] == 0) {
                ++i;
                ++j;
            }
        }
        if (i > copyFrom)
            emit(DiffRun {DiffOpCopy, copyFrom, i, copyTo, j});
        const int deleted = i;
        while (i < n_from && fromFlags[i] == 1)
            ++i;
        const int added = j;
        while (j < n_to && toFlags[j] == 1)
            ++j;
        if (i > deleted && j > added)
            emit(DiffRun {DiffOpChange, deleted, i, added, j});
        else if (i > deleted)
            emit(DiffRun {DiffOpDelete, deleted, i, added, added});
        else if (j > added)
            emit(DiffRun {DiffOpAdd, deleted, deleted, added, j});
    }
}
