// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QString>
#include <QStringList>

#include <memory>

class QJBundlePrivate;

/**
 * A folder of resources with an information dictionary and localized string tables.
 *
 * The main bundle is the host application: its folder is the executable's folder (or the one given
 * to setMainBundlePath()), its resources lie in "Resources" below it when that folder exists, and
 * its information dictionary is read from "Info.plist" there, with CFBundleName,
 * CFBundleShortVersionString and CFBundleVersion taken from QCoreApplication when the file does not
 * set them. The framework bundle holds QJKit's own resources, compiled into the library under
 * ":/qjkit".
 *
 * Localized strings live in "<language>.lproj/<Table>.strings" in the old-style format; languages
 * are tried in the order of preferredLanguages(). A table larger than
 * QJPropertyListSerialization::MaximumSize (a pipe or device: once it has given that much) or one
 * that does not parse counts as missing.
 *
 * @code
 * const QString title = QJBundle::frameworkBundle().localizedStringForKey(u"updateNoTitle"_s, QString(),
 *                                                                         u"QJAutoUpdate"_s);
 * @endcode
 */
class QJKITCORE_EXPORT QJBundle
{
public:
    /** @return the host application's bundle. */
    static QJBundle mainBundle();
    /** @return QJKit's own bundle. */
    static QJBundle frameworkBundle();
    /** Makes @p path the folder of the main bundle (its resources and Info.plist are read from there). */
    static void setMainBundlePath(const QString &path);
    /** Makes a bundle of the folder @p path (a file-system folder or a ":/" resource folder). */
    explicit QJBundle(const QString &path);

    /** @return the bundle's folder. */
    QString bundlePath() const;
    /** @return the folder that holds its resources: "Resources" below the bundle folder when present. */
    QString resourcePath() const;

    /** @return the information dictionary (immutable). */
    QJDictionary infoDictionary() const;
    /** @return the information dictionary's value for @p key, or none. */
    QJValue objectForInfoDictionaryKey(const QString &key) const;
    /** Sets @p value for @p key in this bundle's information dictionary, for the life of the process. */
    void setObjectForInfoDictionaryKey(const QJValue &value, const QString &key);

    /**
     * @return the path of the resource "name.type", localized when a "<language>.lproj" folder of a
     * preferred language holds it, or an empty string. @p type may be empty when @p name has its suffix.
     */
    QString pathForResource(const QString &name, const QString &type) const;
    /** @return the path of the image resource @p name (".png", ".svg", ".jpg" are tried), or an empty string. */
    QString pathForImageResource(const QString &name) const;

    /**
     * @return the localized string for @p key from @p table ("Localizable" when empty): the first
     * preferred language whose table has the key wins; a missing key answers @p value, or @p key
     * itself when @p value is empty.
     */
    QString localizedStringForKey(
        const QString &key, const QString &value = QString(), const QString &table = QString()) const;
    /** @return the whole strings table @p table in @p language ("en", "de", ...), or an empty dictionary. */
    QJDictionary stringsTable(const QString &table, const QString &language) const;

    /** @return the user's languages from QLocale::uiLanguages(), each also without its region, then "en". */
    static QStringList preferredLanguages();

    /** @return whether both are the very same bundle. */
    bool operator==(const QJBundle &other) const { return d == other.d; }

private:
    explicit QJBundle(std::shared_ptr<QJBundlePrivate> d);
    std::shared_ptr<QJBundlePrivate> d;
};
