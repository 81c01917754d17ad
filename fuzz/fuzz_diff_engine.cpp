// SPDX-License-Identifier: LGPL-2.1-or-later
// The difference engine on arbitrary old and new texts and comparison types. The changed flags
// are checked against a plain counting of the rules (common prefix and suffix unchanged; in the
// middle a string keeps its first min(old, new) occurrences unchanged on each side), the runs
// against the token sequences, and the facade's differences and match value against the runs.
//
// Input: the comparison type selector and a split byte, then the text as UTF-8, divided by the
// split byte into the old and the new text.
#include "DiffEngine.h"
#include "QJDifferenceEngine.h"
#include "qjdifftokens_p.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace
{
void check(bool condition)
{
    if (!condition)
        std::abort();
}

// The changed flags the rules give.
void expectedFlags(const std::vector<const char *> &from, const std::vector<const char *> &to,
    std::vector<unsigned char> &fromChanged, std::vector<unsigned char> &toChanged)
{
    const int nFrom = int(from.size());
    const int nTo = int(to.size());
    fromChanged.assign(from.size(), 1);
    toChanged.assign(to.size(), 1);
    int p = 0;
    while (p < nFrom && p < nTo && std::strcmp(from[p], to[p]) == 0) {
        fromChanged[p] = toChanged[p] = 0;
        ++p;
    }
    int s = 0;
    for (int i = nFrom - 1, j = nTo - 1; i > p && j > p && std::strcmp(from[i], to[j]) == 0; --i, --j) {
        fromChanged[i] = toChanged[j] = 0;
        ++s;
    }
    std::map<std::string, int> fromCount, toCount;
    for (int i = p; i < nFrom - s; ++i)
        ++fromCount[from[i]];
    for (int j = p; j < nTo - s; ++j)
        ++toCount[to[j]];
    std::map<std::string, int> fromKept, toKept;
    for (int i = p; i < nFrom - s; ++i) {
        const int keep = std::min(fromCount[from[i]], toCount[from[i]]);
        if (fromKept[from[i]]++ < keep)
            fromChanged[i] = 0;
    }
    for (int j = p; j < nTo - s; ++j) {
        const int keep = std::min(fromCount[to[j]], toCount[to[j]]);
        if (toKept[to[j]]++ < keep)
            toChanged[j] = 0;
    }
}

QString joined(const std::vector<const char *> &tokens)
{
    QStringList parts;
    for (const char *token : tokens)
        parts.append(QString::fromUtf8(token));
    return parts.join(u' ');
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    static const int types[] = {ComparisonWords, ComparisonLines, ComparisonPunctuation, 7};
    const int type = types[data[0] % 4];
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data + 2), qsizetype(size - 2));
    const qsizetype cut = text.size() * data[1] / 255;
    const QString oldText = text.left(cut);
    const QString newText = text.mid(cut);

    QJDiffTokens oldTokens, newTokens;
    QJDiffTokenizer::split(oldTokens, oldText, type);
    QJDiffTokenizer::split(newTokens, newText, type);
    const std::vector<const char *> &from = oldTokens.tokens;
    const std::vector<const char *> &to = newTokens.tokens;

    DiffEngine engine;
    engine.set_from(from.data(), int(from.size()));
    engine.set_to(to.data(), int(to.size()));
    const std::vector<DiffOperation> ops = engine.diff();
    std::vector<unsigned char> fromChanged, toChanged;
    expectedFlags(from, to, fromChanged, toChanged);
    for (std::size_t i = 0; i < from.size(); ++i)
        check(engine.from_changed[i] == fromChanged[i]);
    for (std::size_t j = 0; j < to.size(); ++j)
        check(engine.to_changed[j] == toChanged[j]);

    // The runs walk both sequences in order: copies over unchanged tokens of both, the others
    // over changed ones; no two copies, and no two other runs, follow each other.
    std::size_t i = 0, j = 0;
    float same = 0, changed = 0;
    for (std::size_t k = 0; k < ops.size(); ++k) {
        const DiffOperation &op = ops[k];
        check(k == 0 || (ops[k - 1].type == DiffOpCopy) != (op.type == DiffOpCopy));
        check((op.type == DiffOpAdd) == op.from.empty() && (op.type == DiffOpDelete) == op.to.empty());
        for (const char *token : op.from) {
            check(i < from.size() && token == from[i] && fromChanged[i] == (op.type == DiffOpCopy ? 0 : 1));
            ++i;
        }
        if (op.type == DiffOpCopy) {
            check(op.to == op.from);
            for (std::size_t n = 0; n < op.to.size(); ++n, ++j)
                check(j < to.size() && toChanged[j] == 0);
            same += float(op.to.size());
        } else {
            for (const char *token : op.to) {
                check(j < to.size() && token == to[j] && toChanged[j] == 1);
                ++j;
            }
            changed += float(op.from.size() + op.to.size());
        }
    }
    check(i == from.size() && j == to.size());
    check(engine.diff().size() == ops.size()); // a second call answers the same

    // The facade over the same texts.
    QJDifferenceEngine facade;
    facade.setComparisonType(type);
    facade.setOldString(oldText);
    facade.setNewString(newText);
    facade.computeDifferences();
    const QList<DiffObject> objects = facade.differences();
    check(objects.size() == qsizetype(ops.size()));
    for (qsizetype k = 0; k < objects.size(); ++k) {
        check(objects[k].type() == ops[std::size_t(k)].type);
        // Tokens cut inside a character read differently; compare only where all are whole.
        const QString oldValue = joined(ops[std::size_t(k)].from);
        if (!oldValue.contains(QChar::ReplacementCharacter) && !objects[k].oldValue().contains(u"(null)"))
            check(objects[k].oldValue() == oldValue);
    }
    const float match = same / (changed * 0.5f + same);
    check(std::isnan(match) ? std::isnan(facade.matchValue()) : facade.matchValue() == match);
    facade.computeMatchValueOnly();
    check(facade.differences().size() == objects.size());
    return 0;
}
