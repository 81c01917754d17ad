// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJDictionaryExtensions.h"
#include "QJValueWalk.h"
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

namespace
{
// Every key path once, in walk order: nested mutable dictionaries are walked into, everything
// else (arrays, immutable dictionaries, a dictionary inside itself) ends a path.
struct KeyPaths
{
    QStringList result;
    QSet<QString> seen;
    QString path; // one growing path instead of a prefix per level keeps deep trees linear
    std::vector<qsizetype> prefix {0}; // where the open dictionaries' keys start in `path`

    bool enter(const QJValue &value, const QJValue &parent, qsizetype, const QString &key)
    {
        if (parent.isNone())
            return true;
        if (!value.isDictionary() || !value.toDictionary().isMutable())
            return false;
        path.truncate(prefix.back());
        path += key + u'.';
        prefix.push_back(path.size());
        return true;
    }
    void leaf(const QJValue &, const QJValue &, qsizetype, const QString &key)
    {
        path.truncate(prefix.back());
        path += key;
        if (!seen.contains(path)) {
            seen.insert(path);
            result.append(path);
        }
    }
    void leave(const QJValue &) { prefix.pop_back(); }
};
} // namespace

QStringList QJDictionaryExtensions::allKeyPaths(const QJDictionary &dictionary)
{
    KeyPaths paths;
    QJValueWalk::walk(dictionary, paths);
    return paths.result;
}
