// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJPlistLocalization.h"

#include "QJValueWalk.h"

namespace
{
// Replaces strings where they are: every mutable container is walked into, and each string in it
// is replaced by its translation. Strings directly in the root come from the given bundle, those
// in nested containers from the main bundle.
struct Localizer
{
    const QString &table;
    const QJBundle &bundle;
    const QJBundle main = QJBundle::mainBundle();

    bool enter(const QJValue &container, const QJValue &, qsizetype, const QString &)
    {
        return container.isArray() ? container.toArray().isMutable() : container.toDictionary().isMutable();
    }
    void leaf(const QJValue &value, const QJValue &parent, qsizetype index, const QString &key)
    {
        if (!value.isString() || parent.isNone())
            return;
        const bool nested = parent.containerIdentity() != rootIdentity;
        const QString localized = (nested ? main : bundle).localizedStringForKey(value.toString(), QString(), table);
        if (parent.isArray())
            parent.toArray().replace(index, localized);
        else
            parent.toDictionary().setObject(localized, key); // an existing key keeps its place
    }
    void leave(const QJValue &) { }

    const void *rootIdentity = nullptr;
};

void localize(const QJValue &root, const QString &table, const QJBundle &bundle)
{
    const bool mutableRoot = root.isArray() ? root.toArray().isMutable() : root.toDictionary().isMutable();
    if (!mutableRoot)
        throw QJImmutableMutationError("-[QJPlistLocalization localizeUsingTable:]: receiver is immutable");
    Localizer localizer {table, bundle};
    localizer.rootIdentity = root.containerIdentity();
    QJValueWalk::walk(root, localizer);
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
