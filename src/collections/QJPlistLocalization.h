// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJBundle.h"
#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QString>

/**
 * In-place localization of property lists: every string value of a mutable tree is replaced by its
 * localized form from a strings table, so a list shipped in the development language shows in the
 * user's language.
 *
 * For each element (by index) or entry (in key order) of the receiver:
 * - a nested array or dictionary that is mutable is localized with the same table from the MAIN
 *   bundle, whatever bundle the outer call was given; an immutable one is skipped, not copied;
 * - a string is replaced by bundle.localizedStringForKey(string, "", table), so a string the table
 *   lacks stays as it is.
 * Keys are never localized; numbers, dates and data stay.
 *
 * The receiver must be mutable (QJImmutableMutationError otherwise). Works iteratively, so trees of
 * any depth are handled; a container met again inside itself is not entered again.
 *
 * @code
 * QJDictionary menu = QJPropertyListSerialization::propertyListFromFile(path, QJMutability::Mutable).toDictionary();
 * QJPlistLocalization::localizeUsingTable(menu, u"Menus"_s);
 * @endcode
 */
namespace QJPlistLocalization
{
/** Localizes @p array in place: top-level strings from @p bundle, nested containers from the main bundle. */
QJKITCORE_EXPORT void localizeUsingTable(const QJArray &array, const QString &table, const QJBundle &bundle);
/** Localizes @p dictionary in place: top-level strings from @p bundle, nested containers from the main bundle. */
QJKITCORE_EXPORT void localizeUsingTable(const QJDictionary &dictionary, const QString &table, const QJBundle &bundle);
/** Localizes @p array in place from the main bundle. */
QJKITCORE_EXPORT void localizeUsingTable(const QJArray &array, const QString &table);
/** Localizes @p dictionary in place from the main bundle. */
QJKITCORE_EXPORT void localizeUsingTable(const QJDictionary &dictionary, const QString &table);
} // namespace QJPlistLocalization
