// SPDX-License-Identifier: LGPL-2.1-or-later
// Index paths and key-path searches over an arbitrary property list whose top level is an array.
// Input lines: the child key path, the parent key path, the index path (indexes joined by "."),
// the searched key path; the rest is the property list.
//
// A node found by an index path, looked up again with indexPathOfObject(), gives a path that leads
// to an equal node; the different values of a key path are pairwise unequal and all among its
// values, and every element with a value is found again by searching for the values.
#include "QJArrayExtensions.h"
#include "QJArraySearch.h"
#include "QJPropertyListSerialization.h"

#include <cstdlib>
#include <vector>

namespace
{
// Reals compare equal to integers by value, so equality is not transitive where they meet, and
// NaN equals nothing: the properties below hold only without them.
bool holdsReal(const QJValue &root)
{
    std::vector<QJValue> work {root};
    while (!work.empty()) {
        const QJValue v = work.back();
        work.pop_back();
        if (v.isReal())
            return true;
        if (v.isArray()) {
            for (const QJValue &e : v.toArray())
                work.push_back(e);
        } else if (v.isDictionary()) {
            for (const auto &entry : v.toDictionary())
                work.push_back(entry.second);
        }
    }
    return false;
}

QByteArray takeLine(QByteArray &bytes, bool *ok)
{
    const qsizetype newline = bytes.indexOf('\n');
    *ok = *ok && newline >= 0;
    const QByteArray line = bytes.left(newline);
    bytes.remove(0, newline + 1);
    return line;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    bool ok = true;
    const QString childKeyPath = QString::fromUtf8(takeLine(bytes, &ok));
    const QString parentKeyPath = QString::fromUtf8(takeLine(bytes, &ok));
    const QByteArray pathText = takeLine(bytes, &ok);
    const QString searchKeyPath = QString::fromUtf8(takeLine(bytes, &ok));
    if (!ok)
        return 0;
    QList<quint32> indexes;
    for (const QByteArray &part : pathText.split('.'))
        indexes.append(part.toUInt());
    const QJValue plist = QJPropertyListSerialization::propertyListFromData(bytes, QJMutability::Immutable);
    if (!plist.isArray())
        return 0;
    const QJArray top = plist.toArray();
    const bool comparable = !holdsReal(plist);

    const QJValue node = QJArrayExtensions::objectForIndexPath(top, QJIndexPath(indexes), childKeyPath);
    if (!node.isNone()) {
        const auto path = QJArrayExtensions::indexPathOfObject(top, node, parentKeyPath, childKeyPath);
        if (path && comparable && !QJArrayExtensions::objectForIndexPath(top, *path, childKeyPath).isEqual(node))
            std::abort();
    }

    if (top.count() > 2000)
        return 0; // the searches are quadratic by nature
    const QJArray all = QJArraySearch::arrayWithAllValuesForKeyPath(top, searchKeyPath);
    const QJArray different = QJArraySearch::arrayWithAllDifferentValuesForKeyPath(top, searchKeyPath);
    if (different.count() > all.count())
        std::abort();
    if (comparable) {
        for (qsizetype i = 0; i < different.count(); ++i) {
            if (!all.containsObject(different.at(i)))
                std::abort();
            for (qsizetype j = 0; j < i; ++j) {
                if (different.at(i).isEqual(different.at(j)))
                    std::abort();
            }
        }
        if (QJArraySearch::objectsContainingValues(top, different, searchKeyPath).count() != all.count())
            std::abort();
    }
    return 0;
}
