// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJArchiving.h"

#include <QSet>

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
    qsizetype next = 0;
};

Frame makeFrame(const QJValue &source, bool isDictionary, bool dictionariesMutable, bool arraysMutable)
{
    if (isDictionary)
        return {source, true, dictionariesMutable, dictionariesMutable, QJDictionary(QJMutability::Mutable), QString()};
    // Below an array, the arrays flag stands for the dictionaries too.
    return {source, false, arraysMutable, arraysMutable, QJArray(QJMutability::Mutable), QString()};
}
} // namespace

QJValue QJArchiving::_archiveSelf(const QJValue &receiver, bool isDictionary, bool unarchive, bool dictionariesMutable,
    bool arraysMutable, bool keyed)
{
    std::vector<Frame> stack;
    stack.push_back(makeFrame(receiver, isDictionary, dictionariesMutable, arraysMutable));
    QSet<const void *> active {receiver.containerIdentity()};
    for (;;) {
        Frame &f = stack.back();
        const qsizetype count = f.isDictionary ? f.source.toDictionary().count() : f.source.toArray().count();
        if (f.next < count) {
            QString key;
            QJValue element;
            if (f.isDictionary) {
                const auto &entry = *(f.source.toDictionary().begin() + f.next);
                key = entry.first;
                element = entry.second;
            } else {
                element = f.source.toArray().at(f.next);
            }
            ++f.next;
            // A container met again inside itself is kept as it is, like a leaf that cannot be converted.
            if ((element.isArray() || element.isDictionary()) && !active.contains(element.containerIdentity())) {
                active.insert(element.containerIdentity());
                Frame child = makeFrame(element, element.isDictionary(), f.dictionariesMutable, arraysMutable);
                child.key = key;
                stack.push_back(std::move(child)); // `f` is not used after this
                continue;
            }
            const QJValue converted
                = element.isArray() || element.isDictionary() ? element : convertLeaf(element, unarchive, keyed);
            if (f.isDictionary)
                f.result.toDictionary().setObject(converted, key);
            else
                f.result.toArray().append(converted);
            continue;
        }

        QJValue done = f.result;
        if (!f.mutableResult)
            done = f.isDictionary ? QJValue(f.result.toDictionary().copy()) : QJValue(f.result.toArray().copy());
        const QString key = f.key;
        active.remove(f.source.containerIdentity());
        stack.pop_back();
        if (stack.empty())
            return done;
        Frame &parent = stack.back();
        if (parent.isDictionary)
            parent.result.toDictionary().setObject(done, key);
        else
            parent.result.toArray().append(done);
    }
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
