// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDictionaryExtensions.h"
#include "qjmerge_p.h"

#include <QSet>

#include <vector>

bool QJDictionaryExtensions::isMutable(const QJDictionary &dictionary)
{
    return dictionary.isMutable();
}

void QJDictionaryExtensions::recursiveAddEntriesFromDictionary(const QJDictionary &receiver, const QJDictionary &other)
{
    if (!receiver.isMutable())
        throw QJImmutableMutationError(
            "-[QJDictionary recursiveAddEntriesFromDictionary:]: mutating method sent to immutable object");
    QJMerge::mergeDictionary(receiver, other);
}

QStringList QJDictionaryExtensions::allKeyPaths(const QJDictionary &dictionary)
{
    struct Frame
    {
        QJDictionary dictionary;
        qsizetype next;
        qsizetype prefixLength; // of `path` when this dictionary's keys are appended
    };
    QStringList result;
    QSet<QString> seen;
    // One growing path instead of a prefix per level keeps deep trees linear.
    QString path;
    std::vector<Frame> stack {{dictionary, 0, 0}};
    QSet<const void *> active {dictionary.identity()};

    while (!stack.empty()) {
        Frame &f = stack.back();
        if (f.next >= f.dictionary.count()) {
            active.remove(f.dictionary.identity());
            stack.pop_back();
            continue;
        }
        const auto &[key, value] = *(f.dictionary.begin() + f.next++);
        path.truncate(f.prefixLength);
        path += key;
        if (value.isDictionary() && value.toDictionary().isMutable()) {
            const QJDictionary nested = value.toDictionary();
            if (!active.contains(nested.identity())) {
                path += u'.';
                active.insert(nested.identity());
                stack.push_back({nested, 0, path.size()}); // `f` is not used after this
                continue;
            }
        }
        if (!seen.contains(path)) {
            seen.insert(path);
            result.append(path);
        }
    }
    return result;
}
