// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBundle.h"
#include "QJPropertyListSerialization.h"
#include "qjkitversion.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <QMutex>

#include <optional>

using namespace Qt::StringLiterals;

class QJBundlePrivate
{
public:
    QJBundlePrivate(const QString &path, bool isMain) : path(path), isMain(isMain) { }

    QString resourcePath() const
    {
        const QString resources = path + u"/Resources"_s;
        return QFileInfo(resources).isDir() ? resources : path;
    }

    QJDictionary infoDictionary()
    {
        QMutexLocker lock(&mutex);
        if (!info) {
            QJDictionary dict(QJMutability::Mutable);
            const QJValue read = QJPropertyListSerialization::propertyListFromFile(resourcePath() + u"/Info.plist"_s);
            if (read.isDictionary())
                dict.addEntriesFromDictionary(read.toDictionary());
            auto fill = [&dict](const QString &key, const QString &value) {
                if (!dict.contains(key) && !value.isEmpty())
                    dict.setObject(value, key);
            };
            if (isMain && QCoreApplication::instance()) {
                fill(u"CFBundleName"_s, QCoreApplication::applicationName());
                fill(u"CFBundleShortVersionString"_s, QCoreApplication::applicationVersion());
                fill(u"CFBundleVersion"_s, dict.objectForKey(u"CFBundleShortVersionString"_s).toString());
                fill(u"CFBundleExecutable"_s, QFileInfo(QCoreApplication::applicationFilePath()).fileName());
            } else if (!isMain) {
                fill(u"CFBundleName"_s, u"QJKit"_s);
                fill(u"CFBundleShortVersionString"_s, QStringLiteral(QJKIT_VERSION_STRING));
                fill(u"CFBundleVersion"_s, QStringLiteral(QJKIT_VERSION_STRING));
            }
            for (const auto &[key, value] : overrides)
                dict.setObject(value, key);
            info = dict.copy();
        }
        return *info;
    }

    QString path;
    const bool isMain;
    QMutex mutex;
    std::optional<QJDictionary> info;
    QJDictionary overrides;
};

namespace
{
struct Registry
{
    QMutex mutex;
    std::shared_ptr<QJBundlePrivate> main;
    std::shared_ptr<QJBundlePrivate> framework;
    // Parsed strings tables by file path; a file that cannot be read is remembered as none.
    QHash<QString, std::optional<QJDictionary>> tables;
};

Registry &registry()
{
    static Registry r;
    return r;
}

QString defaultMainBundlePath()
{
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QDir::currentPath();
}

std::optional<QJDictionary> loadTable(const QString &path)
{
    Registry &r = registry();
    {
        QMutexLocker lock(&r.mutex);
        const auto it = r.tables.constFind(path);
        if (it != r.tables.cend())
            return *it;
    }
    std::optional<QJDictionary> table;
    const QJValue parsed = QJPropertyListSerialization::stringsTableFromFile(path);
    if (parsed.isDictionary())
        table = parsed.toDictionary();
    QMutexLocker lock(&r.mutex);
    r.tables.insert(path, table);
    return table;
}
} // namespace

QJBundle::QJBundle(std::shared_ptr<QJBundlePrivate> d) : d(std::move(d)) { }

QJBundle::QJBundle(const QString &path) : d(std::make_shared<QJBundlePrivate>(QDir::cleanPath(path), false)) { }

QJBundle QJBundle::mainBundle()
{
    Registry &r = registry();
    QMutexLocker lock(&r.mutex);
    if (!r.main)
        r.main = std::make_shared<QJBundlePrivate>(defaultMainBundlePath(), true);
    return QJBundle(r.main);
}

QJBundle QJBundle::frameworkBundle()
{
    Registry &r = registry();
    QMutexLocker lock(&r.mutex);
    if (!r.framework)
        r.framework = std::make_shared<QJBundlePrivate>(u":/qjkit"_s, false);
    return QJBundle(r.framework);
}

void QJBundle::setMainBundlePath(const QString &path)
{
    Registry &r = registry();
    QMutexLocker lock(&r.mutex);
    auto fresh = std::make_shared<QJBundlePrivate>(QDir::cleanPath(path), true);
    if (r.main) {
        QMutexLocker oldLock(&r.main->mutex);
        fresh->overrides = r.main->overrides;
    }
    r.main = std::move(fresh);
}

QString QJBundle::bundlePath() const
{
    return d->path;
}
QString QJBundle::resourcePath() const
{
    return d->resourcePath();
}
QJDictionary QJBundle::infoDictionary() const
{
    return d->infoDictionary();
}

QJValue QJBundle::objectForInfoDictionaryKey(const QString &key) const
{
    return d->infoDictionary().objectForKey(key);
}

void QJBundle::setObjectForInfoDictionaryKey(const QJValue &value, const QString &key)
{
    QMutexLocker lock(&d->mutex);
    d->overrides.setObject(value, key);
    d->info.reset();
}

QString QJBundle::pathForResource(const QString &name, const QString &type) const
{
    const QString file = type.isEmpty() ? name : name + u'.' + type;
    const QString resources = resourcePath();
    for (const QString &language : preferredLanguages()) {
        const QString candidate = resources + u'/' + language + u".lproj/"_s + file;
        if (QFileInfo::exists(candidate))
            return candidate;
    }
    const QString plain = resources + u'/' + file;
    return QFileInfo::exists(plain) ? plain : QString();
}

QString QJBundle::pathForImageResource(const QString &name) const
{
    for (const auto &type : {u"png"_s, u"svg"_s, u"jpg"_s, u"jpeg"_s}) {
        const QString path = pathForResource(name, type);
        if (!path.isEmpty())
            return path;
    }
    return QString();
}

QJDictionary QJBundle::stringsTable(const QString &table, const QString &language) const
{
    const QString name = table.isEmpty() ? u"Localizable"_s : table;
    const auto loaded = loadTable(resourcePath() + u'/' + language + u".lproj/"_s + name + u".strings"_s);
    return loaded ? *loaded : QJDictionary(QJMutability::Immutable);
}

QString QJBundle::localizedStringForKey(const QString &key, const QString &value, const QString &table) const
{
    const QString name = table.isEmpty() ? u"Localizable"_s : table;
    const QString resources = resourcePath();
    QStringList candidates;
    for (const QString &language : preferredLanguages())
        candidates.append(resources + u'/' + language + u".lproj/"_s + name + u".strings"_s);
    candidates.append(resources + u'/' + name + u".strings"_s);
    for (const QString &path : std::as_const(candidates)) {
        if (const auto loaded = loadTable(path)) {
            const QJValue found = loaded->objectForKey(key);
            if (found.isString())
                return found.toString();
        }
    }
    return value.isEmpty() ? key : value;
}

QStringList QJBundle::preferredLanguages()
{
    QStringList languages;
    auto add = [&languages](const QString &language) {
        if (!language.isEmpty() && language != u"C" && !languages.contains(language))
            languages.append(language);
    };
    for (const QString &ui : QLocale().uiLanguages()) {
        add(ui);
        QString underscored = ui;
        underscored.replace(u'-', u'_');
        add(underscored);
        add(ui.section(u'-', 0, 0));
    }
    add(u"en"_s);
    return languages;
}
