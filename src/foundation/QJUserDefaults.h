// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QString>

#include <memory>

class QJUserDefaultsPrivate;

/**
 * The user's preferences: property-list values by key, kept with QSettings in a file written as
 * an XML property list, so every value keeps its kind (a boolean stays a boolean, a date a date).
 *
 * The standard defaults live in the application's settings location
 * (".../<organization>/<application>.plist"); setStandardUserDefaultsPath() points them elsewhere,
 * which tests do with a temporary file. All operations are thread-safe.
 */
class QJKITCORE_EXPORT QJUserDefaults
{
public:
    /** @return the application's defaults. */
    static QJUserDefaults *standardUserDefaults();
    /** Makes the standard defaults use the file at @p path from now on. */
    static void setStandardUserDefaultsPath(const QString &path);

    /** Opens the defaults kept in the file at @p path. */
    explicit QJUserDefaults(const QString &path);
    ~QJUserDefaults();
    Q_DISABLE_COPY_MOVE(QJUserDefaults)

    /** @return the file the defaults are kept in. */
    QString path() const;
    /** @return the value for @p key, else its registered default, else none. */
    QJValue objectForKey(const QString &key) const;
    /** Stores @p value (none removes the key). */
    void setObject(const QJValue &value, const QString &key);
    /** Removes @p key. */
    void removeObjectForKey(const QString &key);
    /** @return the value for @p key as a boolean (false when absent or not a number). */
    bool boolForKey(const QString &key) const;
    /** Stores a boolean. */
    void setBool(bool value, const QString &key);
    /** @return the string for @p key, or an empty string. */
    QString stringForKey(const QString &key) const;
    /** Sets values answered for keys that hold nothing; they are never written. */
    void registerDefaults(const QJDictionary &defaults);
    /**
     * Writes pending changes to the file and reads changes made by others.
     *
     * The file is replaced atomically (a new file beside it, renamed over it), so when writing fails
     * (a full disk, a read-only file system, a folder or file without write permission, a path that
     * is a folder) the file stays as it was, nothing is left beside it, and the changes stay pending.
     * A file larger than QJPropertyListSerialization::MaximumSize is refused unread, and a file that
     * is not a property list reads as empty; either is replaced by the next successful write.
     *
     * @return whether the file could be read and written.
     */
    bool synchronize();

private:
    std::unique_ptr<QJUserDefaultsPrivate> d;
};
