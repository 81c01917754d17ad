// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DiffEngine.h"

#include "Dict.h"

#include <cstring>

DiffOperation::DiffOperation(
    const std::vector<const char *> *from, const std::vector<const char *> *to, DiffOpType type)
    : type(type)
{
    if (from)
        this->from = *from;
    if (to)
        this->to = *to;
}

DiffEngine::DiffEngine() = default;

DiffEngine::~DiffEngine() = default;

void DiffEngine::set_from(const char *const *tokens, int count)
{
    from_dict = std::make_unique<Dict>();
    if (count > 0 && std::size_t(count) > from_changed.size()) {
        from_changed.resize(std::size_t(count));
        from_common.resize(std::size_t(count));
    }
    from = tokens;
    n_from = count;
}

void DiffEngine::set_to(const char *const *tokens, int count)
{
    to_dict = std::make_unique<Dict>();
    if (count > 0 && std::size_t(count) > to_changed.size()) {
        to_changed.resize(std::size_t(count));
        to_common.resize(std::size_t(count));
    }
    to = tokens;
    n_to = count;
}

std::vector<DiffOperation> DiffEngine::diff()
{
    std::vector<DiffOperation> result;
    diff([&result](DiffOperation &&op) { result.push_back(std::move(op)); });
    return result;
}

void DiffEngine::diff(const std::function<void(DiffOperation &&)> &emit)
{
    n_from_common = 0;
    n_to_common = 0;

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
        const Dict::hashed_key key = Dict::hash(to[j]);
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

    // Runs. Unchanged tokens pair up by position in their unchanged sequences, not by content;
    // a copy run records the from-tokens on both sides.
    std::vector<const char *> run;
    std::vector<const char *> deleted;
    std::vector<const char *> added;
    int i = 0;
    int j = 0;
    while (i < n_from || j < n_to) {
        run.clear();
        deleted.clear();
        added.clear();
        while (i < n_from && j < n_to && from_changed[std::size_t(i)] == 0 && to_changed[std::size_t(j)] == 0) {
            run.push_back(from[i]);
            ++i;
            ++j;
        }
        if (!run.empty())
            emit(DiffOperation(&run, &run, DiffOpCopy));
        while (i < n_from && from_changed[std::size_t(i)] == 1)
            deleted.push_back(from[i++]);
        while (j < n_to && to_changed[std::size_t(j)] == 1)
            added.push_back(to[j++]);
        if (!deleted.empty() && !added.empty())
            emit(DiffOperation(&deleted, &added, DiffOpChange));
        else if (!deleted.empty())
            emit(DiffOperation(&deleted, nullptr, DiffOpDelete));
        else if (!added.empty())
            emit(DiffOperation(nullptr, &added, DiffOpAdd));
    }
}
