// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QString>

/**
 * Searches over an array by the value each element has for a key path (QJValue::valueForKeyPath()).
 * Values are compared with QJValue::isEqual(). Every result is a new mutable array.
 *
 * @code
 * const QJArray people{QJDictionary{{u"city"_s, u"Bonn"_s}}, QJDictionary{{u"city"_s, u"Graz"_s}}};
 * QJArraySearch::objectsContainingValue(people, u"Graz"_s, u"city"_s); // the second person
 * @endcode
 */
namespace QJArraySearch
{
/** @return every element's value for @p keyPath that is not none, in element order, duplicates kept. */
QJKITCORE_EXPORT QJArray arrayWithAllValuesForKeyPath(const QJArray &array, const QString &keyPath);

/**
 * @return the values of arrayWithAllValuesForKeyPath() without repeats: a value is added only when
 * no equal value is in the result yet, so the first appearance wins. Costs O(n × distinct values).
 */
QJKITCORE_EXPORT QJArray arrayWithAllDifferentValuesForKeyPath(const QJArray &array, const QString &keyPath);

/**
 * @return the elements whose value for @p keyPath is equal to @p value, in element order. An
 * element without a value never matches, not even when @p value is none.
 */
QJKITCORE_EXPORT QJArray objectsContainingValue(const QJArray &array, const QJValue &value, const QString &keyPath);

/**
 * @return objectsContainingValue() for each of @p values in turn, concatenated: an element that
 * matches two values appears twice.
 */
QJKITCORE_EXPORT QJArray objectsContainingValues(const QJArray &array, const QJArray &values, const QString &keyPath);
} // namespace QJArraySearch
