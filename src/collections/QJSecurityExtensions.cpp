// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJSecurityExtensions.h"

#include "QJFormat.h"
#include "QJPropertyListSerialization.h"
#include "QJUserDefaults.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace
{
// A null key is logged as "(null)", like a missing object.
QJValue keyValue(const QString &key)
{
    return key.isNull() ? QJValue() : QJValue(key);
}

void logRefusedSet(const QString &format, const QJValue &object, const QString &key)
{
    QJLog::warning(QJFormat::format(format, {object, keyValue(key)}));
}
} // namespace

void QJSecurityExtensions::secureSetObject(QJUserDefaults &defaults, const QJValue &object, const QString &key)
{
    if (object.isNone() || key.isNull()) {
        logRefusedSet(u"error caught: tried to set \"%@\" for key \"%@\""_s, object, key);
        return;
    }
    defaults.setObject(object, key);
}

void QJSecurityExtensions::secureSetObject(QJDictionary &dictionary, const QJValue &object, const QString &key)
{
    if (object.isNone() || key.isNull()) {
        logRefusedSet(u"error caught: tried to set \"%@\" for key \"%@\""_s, object, key);
        return;
    }
    if (!dictionary.isMutable()) {
        logRefusedSet(
            u"error caught: tried to mutate immutable dictionary with set \"%@\" for key \"%@\""_s, object, key);
        return;
    }
    dictionary.setObject(object, key);
}

void QJSecurityExtensions::secureAddObject(QJArray &array, const QJValue &object)
{
    if (object.isNone()) {
        QJLog::warning(QJFormat::format(u"error caught: tried to add \"%@\""_s, {object}));
        return;
    }
    array.append(object);
}

QJArray QJSecurityExtensions::secureArrayWithObject(QJMutability arrayClass, const QJValue &object)
{
    if (object.isNone())
        return QJArray(QJMutability::Immutable);
    return QJArray({object}, arrayClass);
}

bool QJSecurityExtensions::secureWriteToFile(const QJDictionary &dictionary, const QString &path, bool atomically)
{
    if (!QFileInfo::exists(QFileInfo(path).absolutePath()))
        return true;
    return QJPropertyListSerialization::writePropertyListToFile(dictionary, path, atomically);
}
