// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJArchiving.h"

#include "QJValueWalk.h"

#include <vector>

namespace
{
QJValue convertLeaf(const QJValue &leaf, bool unarchive, bool keyed)
{
    if (unarchive) {
        if (!leaf.isData())
            return leaf;
        const QVariant object = QJArchiving::unarchiveObjectWithData(leaf.toByteArray(), keyed);
        if (!object.isValid())
            return leaf;
        // A property-list value comes back as that value; anything else as an object leaf.
        const QJValue value = QJValue::fromVariant(object);
        return value.isPropertyListLeaf() ? value : QJValue::fromObject(object);
    }
    if (leaf.isNone() || leaf.isPropertyListLeaf())
        return leaf;
    const QByteArray data = QJArchiving::archivedDataWithRootObject(leaf.toObject(), keyed);
    return data.isEmpty() ? leaf : QJValue(data);
}

struct Frame
{
    QJValue source;
    bool isDictionary;
    bool mutableResult; // this container's own flag
    bool dictionariesMutable; // handed to the containers below
    QJValue result; // a new mutable array or dictionary
    QString key; // where the result goes in the parent dictionary
};

Frame makeFrame(const QJValue &source, bool isDictionary, bool dictionariesMutable, bool arraysMutable)
{
    if (isDictionary)
        return {source, true, dictionariesMutable, dictionariesMutable, QJDictionary(QJMutability::Mutable), QString()};
    // Below an array, the arrays flag stands for the dictionaries too.
    return {source, false, arraysMutable, arraysMutable, QJArray(QJMutability::Mutable), QString()};
}

// Builds the converted copy while the walk goes: a result container per container entered, leaves
// converted into the innermost one, each finished container handed to its parent's.
struct Archiver
{
    bool rootIsDictionary;
    bool unarchive;
    bool keyed;
    bool dictionariesMutable;
    bool arraysMutable;
    std::vector<Frame> open;
    QJValue done;

    bool enter(const QJValue &container, const QJValue &parent, qsizetype, const QString &key)
    {
        Frame f = parent.isNone()
            ? makeFrame(container, rootIsDictionary, dictionariesMutable, arraysMutable)
            : makeFrame(container, container.isDictionary(), open.back().dictionariesMutable, arraysMutable);
        f.key = key;
        open.push_back(std::move(f));
        return true;
    }
    void add(const QJValue &value, const QString &key)
    {
        Frame &f = open.back();
        if (f.isDictionary)
            f.result.toDictionary().setObject(value, key);
        else
            f.result.toArray().append(value);
    }
    // A container met again inside itself is kept as it is, like a leaf that cannot be converted.
    void leaf(const QJValue &value, const QJValue &, qsizetype, const QString &key)
    {
        add(value.containerIdentity() ? value : convertLeaf(value, unarchive, keyed), key);
    }
    void leave(const QJValue &)
    {
        const Frame f = std::move(open.back());
        open.pop_back();
        QJValue result = f.result;
        if (!f.mutableResult)
            result = f.isDictionary ? QJValue(f.result.toDictionary().copy()) : QJValue(f.result.toArray().copy());
        if (open.empty())
            done = result;
        else
            add(result, f.key);
    }
};
} // namespace

QJValue QJArchiving::_archiveSelf(const QJValue &receiver, bool isDictionary, bool unarchive, bool dictionariesMutable,
    bool arraysMutable, bool keyed)
{
    Archiver archiver {isDictionary, unarchive, keyed, dictionariesMutable, arraysMutable, {}, {}};
    if (!receiver.containerIdentity()) { // nothing to convert: an empty result of the kind asked for
        archiver.enter(receiver, QJValue(), -1, QString());
        archiver.leave(receiver);
    } else {
        QJValueWalk::walk(receiver, archiver);
    }
    return archiver.done;
}

QJArray QJArchiving::archive(
    const QJArray &array, bool unarchive, bool dictionariesMutable, bool arraysMutable, bool keyed)
{
    return _archiveSelf(array, false, unarchive, dictionariesMutable, arraysMutable, keyed).toArray();
}

QJDictionary QJArchiving::archive(
    const QJDictionary &dictionary, bool unarchive, bool dictionariesMutable, bool arraysMutable, bool keyed)
{
    return _archiveSelf(dictionary, true, unarchive, dictionariesMutable, arraysMutable, keyed).toDictionary();
}

QJArray QJArchiving::archiveWithDictionariesMutable(
    const QJArray &array, bool dictionariesMutable, bool arraysMutable, bool keyed)
{
    return archive(array, false, dictionariesMutable, arraysMutable, keyed);
}

QJDictionary QJArchiving::archiveWithDictionariesMutable(
    const QJDictionary &dictionary, bool dictionariesMutable, bool arraysMutable, bool keyed)
{
    return archive(dictionary, false, dictionariesMutable, arraysMutable, keyed);
}

QJArray QJArchiving::unarchiveWithDictionariesMutable(
    const QJArray &array, bool dictionariesMutable, bool arraysMutable, bool keyed)
{
    return archive(array, true, dictionariesMutable, arraysMutable, keyed);
}

QJDictionary QJArchiving::unarchiveWithDictionariesMutable(
    const QJDictionary &dictionary, bool dictionariesMutable, bool arraysMutable, bool keyed)
{
    return archive(dictionary, true, dictionariesMutable, arraysMutable, keyed);
}

// clang-format off
QJArray QJArchiving::archive(const QJArray &array) { return archive(array, false, false, false, false); }
QJDictionary QJArchiving::archive(const QJDictionary &dictionary) { return archive(dictionary, false, false, false, false); }
QJArray QJArchiving::keyedArchive(const QJArray &array) { return archive(array, false, false, false, true); }
QJDictionary QJArchiving::keyedArchive(const QJDictionary &dictionary) { return archive(dictionary, false, false, false, true); }
QJArray QJArchiving::unarchive(const QJArray &array) { return archive(array, true, false, false, false); }
QJDictionary QJArchiving::unarchive(const QJDictionary &dictionary) { return archive(dictionary, true, false, false, false); }
QJArray QJArchiving::keyedUnarchive(const QJArray &array) { return archive(array, true, false, false, true); }
QJDictionary QJArchiving::keyedUnarchive(const QJDictionary &dictionary) { return archive(dictionary, true, false, false, true); }
QJArray QJArchiving::mutableUnarchive(const QJArray &array) { return archive(array, true, true, true, false); }
QJDictionary QJArchiving::mutableUnarchive(const QJDictionary &dictionary) { return archive(dictionary, true, true, true, false); }
QJArray QJArchiving::mutableKeyedUnarchive(const QJArray &array) { return archive(array, true, true, true, true); }
QJDictionary QJArchiving::mutableKeyedUnarchive(const QJDictionary &dictionary) { return archive(dictionary, true, true, true, true); }
// clang-format on
