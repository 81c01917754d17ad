// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPlistLocalization.h"

#include <QSet>

#include <vector>

namespace
{
struct Frame
{
    QJValue container; // a mutable array or dictionary
    qsizetype next = 0;
    bool mainBundle; // nested containers take their strings from the main bundle
};

void localize(const QJValue &root, const QString &table, const QJBundle &bundle)
{
    const bool mutableRoot = root.isArray() ? root.toArray().isMutable() : root.toDictionary().isMutable();
    if (!mutableRoot)
        throw QJImmutableMutationError("-[QJPlistLocalization localizeUsingTable:]: receiver is immutable");

    const QJBundle main = QJBundle::mainBundle();
    std::vector<Frame> stack {{root, 0, false}};
    QSet<const void *> active {root.containerIdentity()};

    // Handles the value at one place: descends into a mutable container, or answers the
    // localized string (or none when nothing is to be replaced).
    auto visit = [&](const QJValue &value, bool mainBundle) -> QJValue {
        if (value.isArray() || value.isDictionary()) {
            const bool isMutable = value.isArray() ? value.toArray().isMutable() : value.toDictionary().isMutable();
            if (isMutable && !active.contains(value.containerIdentity())) {
                active.insert(value.containerIdentity());
                stack.push_back({value, 0, true});
            }
            return QJValue();
        }
        if (value.isString())
            return (mainBundle ? main : bundle).localizedStringForKey(value.toString(), QString(), table);
        return QJValue();
    };

    while (!stack.empty()) {
        Frame &f = stack.back();
        const bool mainBundle = f.mainBundle;
        if (f.container.isArray()) {
            QJArray array = f.container.toArray();
            if (f.next >= array.count()) {
                active.remove(f.container.containerIdentity());
                stack.pop_back();
                continue;
            }
            const qsizetype i = f.next++;
            const QJValue localized = visit(array.at(i), mainBundle); // may move `f`
            if (!localized.isNone())
                array.replace(i, localized);
        } else {
            QJDictionary dictionary = f.container.toDictionary();
            if (f.next >= dictionary.count()) {
                active.remove(f.container.containerIdentity());
                stack.pop_back();
                continue;
            }
            const QString key = (dictionary.begin() + f.next++)->first;
            const QJValue localized = visit(dictionary.objectForKey(key), mainBundle);
            if (!localized.isNone())
                dictionary.setObject(localized, key); // an existing key keeps its place
        }
    }
}
} // namespace

void QJPlistLocalization::localizeUsingTable(const QJArray &array, const QString &table, const QJBundle &bundle)
{
    localize(array, table, bundle);
}

void QJPlistLocalization::localizeUsingTable(
    const QJDictionary &dictionary, const QString &table, const QJBundle &bundle)
{
    localize(dictionary, table, bundle);
}

void QJPlistLocalization::localizeUsingTable(const QJArray &array, const QString &table)
{
    localize(array, table, QJBundle::mainBundle());
}

void QJPlistLocalization::localizeUsingTable(const QJDictionary &dictionary, const QString &table)
{
    localize(dictionary, table, QJBundle::mainBundle());
}
