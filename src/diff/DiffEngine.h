// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <cstdint>
#include <memory>
#include <vector>

class Dict;

/** The kind of a run of tokens in a diff. */
enum DiffOpType : std::int32_t {
    DiffOpCopy = 0, ///< unchanged tokens; from and to both hold them, taken from the from side
    DiffOpChange = 1, ///< deleted from-tokens immediately followed by added to-tokens
    DiffOpDelete = 2, ///< tokens only in the old text; to is empty
    DiffOpAdd = 3, ///< tokens only in the new text; from is empty
};

/**
 * One run of a diff. The arrays hold pointers only: the strings belong to the token arrays given
 * to the engine and must outlive the operation.
 */
class QJKITCORE_EXPORT DiffOperation
{
public:
    /**
     * Copies each of @p from and @p to that is not null (a null array leaves that side empty) and
     * keeps @p type.
     */
    DiffOperation(const std::vector<const char *> *from, const std::vector<const char *> *to, DiffOpType type);

    std::vector<const char *> from; ///< the from-side tokens
    std::vector<const char *> to; ///< the to-side tokens
    DiffOpType type; ///< what the run is
};

/**
 * A run of a diff by token positions: what a DiffOperation holds, without copying its tokens.
 * from[from_begin, from_end) are the run's from-tokens and to[to_begin, to_end) its to-tokens. A
 * copy run's operation holds its from-tokens on both sides; its to positions are those of the
 * to-tokens paired with them, which need not be equal strings.
 */
struct DiffRun
{
    DiffOpType type; ///< what the run is
    int from_begin; ///< first from-token of the run
    int from_end; ///< one past the last from-token of the run
    int to_begin; ///< first to-token of the run
    int to_end; ///< one past the last to-token of the run
};

/**
 * Compares a "from" and a "to" sequence of C strings and lists the runs kept, changed, deleted
 * and added.
 *
 * This is a counted-multiset match, not a longest-common-subsequence search: after the common
 * prefix and suffix are trimmed, a middle token is unchanged when the other side's middle still
 * holds an unconsumed occurrence of the same string, wherever it stands. Reordered tokens are
 * therefore unchanged; order only decides how tokens are grouped into runs. The cost is linear in
 * the number of tokens.
 *
 * @code
 * const char *from[] = {"a", "b", "c"};
 * const char *to[] = {"a", "x", "c"};
 * DiffEngine engine;
 * engine.set_from(from, 3);
 * engine.set_to(to, 3);
 * const std::vector<DiffOperation> ops = engine.diff(); // copy (a), change (b -> x), copy (c)
 * @endcode
 *
 * The fields are public for inspection; only the engine writes them.
 */
class QJKITCORE_EXPORT DiffEngine
{
public:
    /** An engine with no inputs and no tables yet. */
    DiffEngine();
    ~DiffEngine();
    DiffEngine(const DiffEngine &) = delete;
    DiffEngine &operator=(const DiffEngine &) = delete;

    /**
     * Takes the from sequence: a fresh, empty from table replaces the old one, and the flag and
     * common-token buffers grow to @p count when needed (they never shrink). @p tokens is
     * borrowed, not copied.
     */
    void set_from(const char *const *tokens, int count);
    /** The same as set_from() for the to sequence. */
    void set_to(const char *const *tokens, int count);

    /**
     * Compares the sequences given with set_from() and set_to() (both must have been given).
     * May be called again on the same inputs with the same result; the tables are not cleared in
     * between, so they keep their spent entries and append fresh ones.
     * @return the operations in text order: each copy run is followed by at most one change,
     * delete or add.
     */
    std::vector<DiffOperation> diff();

    /** The same comparison as diff(), listing the runs by position instead of copying their tokens. */
    std::vector<DiffRun> diff_runs();
    /** @return the operation that diff() lists for @p run, one of diff_runs() on the same inputs. */
    DiffOperation operation(const DiffRun &run) const;

    std::vector<unsigned char> from_changed; ///< per from-token: 1 changed, 0 unchanged
    std::vector<unsigned char> to_changed; ///< per to-token: 1 changed, 0 unchanged
    std::unique_ptr<Dict> from_dict; ///< occurrences of the from-side middle tokens
    std::unique_ptr<Dict> to_dict; ///< occurrences of the matched to-side tokens
    std::vector<const char *> from_common; ///< matched from-tokens in order (n_from_common used)
    std::vector<const char *> to_common; ///< matched to-tokens in order (n_to_common used)
    int n_from_common = 0; ///< entries used in from_common
    int n_to_common = 0; ///< entries used in to_common
    const char *const *from = nullptr; ///< the from tokens, borrowed
    const char *const *to = nullptr; ///< the to tokens, borrowed
    int n_from = 0; ///< number of from tokens
    int n_to = 0; ///< number of to tokens

private:
    void match();
    void match_fresh();
    template<typename Emit>
    void runs(Emit &&emit) const;
};
