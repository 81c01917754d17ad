// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QString>

class QJUserDefaults;

/**
 * Guarded variants of common mutating calls: they first test the inputs for which the plain call
 * would throw (a none object, a null key, an immutable dictionary) and, instead of throwing, log
 * one line in the "qjkit" logging category and do nothing. A none QJValue and a null QString
 * (QString(), not "") stand for "nil". Objects and keys are logged by their descriptions, so
 * none shows as "(null)".
 *
 * @code
 * QJSecurityExtensions::secureSetObject(settings, QJValue(), u"size"_s);
 * // logs: error caught: tried to set "(null)" for key "size"
 * @endcode
 */
namespace QJSecurityExtensions
{
/**
 * Stores @p object under @p key in @p defaults when both are given; otherwise logs
 * `error caught: tried to set "<object>" for key "<key>"`.
 */
QJKITCORE_EXPORT void secureSetObject(QJUserDefaults &defaults, const QJValue &object, const QString &key);

/**
 * Sets @p object under @p key in @p dictionary. A missing object or key logs
 * `error caught: tried to set "<object>" for key "<key>"`; an immutable dictionary logs
 * `error caught: tried to mutate immutable dictionary with set "<object>" for key "<key>"`.
 */
QJKITCORE_EXPORT void secureSetObject(QJDictionary &dictionary, const QJValue &object, const QString &key);

/**
 * Appends @p object to @p array; a none object logs `error caught: tried to add "(null)"`. Only the
 * missing object is guarded: appending to an immutable array throws as usual.
 */
QJKITCORE_EXPORT void secureAddObject(QJArray &array, const QJValue &object);

/**
 * @return a new array of @p arrayClass holding @p object; for a none object, an empty IMMUTABLE
 * array, whatever @p arrayClass asks for.
 */
QJKITCORE_EXPORT QJArray secureArrayWithObject(QJMutability arrayClass, const QJValue &object);

/**
 * Writes @p dictionary to @p path as an XML property list (QJPropertyListSerialization::
 * writePropertyListToFile()) when the folder that would hold the file exists, and answers the
 * write's result. When that folder is missing it writes nothing, creates nothing and answers true:
 * a missing place to write counts as nothing to do. A bare file name lies in the current folder.
 */
QJKITCORE_EXPORT bool secureWriteToFile(const QJDictionary &dictionary, const QString &path, bool atomically);
} // namespace QJSecurityExtensions
