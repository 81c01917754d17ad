// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJUserDefaults.h"
#include "QJPropertyListSerialization.h"
#include "qjplistformats_p.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QMutex>
#include <QSettings>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace
{
// QSettings keeps values as QVariants in memory; this format writes them as one XML property list.
bool readPlist(QIODevice &device, QSettings::SettingsMap &map)
{
    // Larger files are refused unread; a pipe or device is read up to just past the limit.
    if (!device.isSequential() && device.size() > QJPropertyListSerialization::MaximumSize)
        return false;
    const QByteArray data = QJPlist::readBounded(device, QJPropertyListSerialization::MaximumSize);
    if (data.trimmed().isEmpty())
        return true;
    const QJValue plist = QJPropertyListSerialization::propertyListFromData(data);
    if (!plist.isDictionary())
        return false;
    for (const auto &[key, value] : plist.toDictionary())
        map.insert(key, QVariant::fromValue(value));
    return true;
}

bool writePlist(QIODevice &device, const QSettings::SettingsMap &map)
{
    QJDictionary dict;
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        dict.setObject(QJValue::fromVariant(it.value()), it.key());
    const QByteArray data = QJPropertyListSerialization::dataFromPropertyList(dict);
    return !data.isEmpty() && device.write(data) == data.size();
}

QSettings::Format plistFormat()
{
    static const QSettings::Format format = QSettings::registerFormat(u"plist"_s, readPlist, writePlist);
    return format;
}

QString defaultPath()
{
    const QString organization = QCoreApplication::organizationName();
    QString application = QCoreApplication::applicationName();
    if (application.isEmpty())
        application = u"qjkit"_s;
    const QString base = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    if (organization.isEmpty())
        return base + u'/' + application + u".plist"_s;
    return base + u'/' + organization + u'/' + application + u".plist"_s;
}

struct Standard
{
    QMutex mutex;
    std::unique_ptr<QJUserDefaults> defaults;
};

Standard &standard()
{
    static Standard s;
    return s;
}
} // namespace

class QJUserDefaultsPrivate
{
public:
    explicit QJUserDefaultsPrivate(const QString &path) : settings(path, plistFormat()) { }

    mutable QMutex mutex;
    QSettings settings;
    QJDictionary registered;
};

QJUserDefaults *QJUserDefaults::standardUserDefaults()
{
    Standard &s = standard();
    QMutexLocker lock(&s.mutex);
    if (!s.defaults)
        s.defaults = std::make_unique<QJUserDefaults>(defaultPath());
    return s.defaults.get();
}

void QJUserDefaults::setStandardUserDefaultsPath(const QString &path)
{
    Standard &s = standard();
    QMutexLocker lock(&s.mutex);
    if (s.defaults && s.defaults->path() == QFileInfo(path).absoluteFilePath())
        return;
    if (s.defaults)
        s.defaults->synchronize();
    s.defaults = std::make_unique<QJUserDefaults>(path);
}

QJUserDefaults::QJUserDefaults(const QString &path)
    : d(std::make_unique<QJUserDefaultsPrivate>(QFileInfo(path).absoluteFilePath()))
{ }

QJUserDefaults::~QJUserDefaults() = default;

QString QJUserDefaults::path() const
{
    return d->settings.fileName();
}

QJValue QJUserDefaults::objectForKey(const QString &key) const
{
    QMutexLocker lock(&d->mutex);
    const QVariant v = d->settings.value(key);
    if (v.isValid())
        return QJValue::fromVariant(v);
    return d->registered.objectForKey(key);
}

void QJUserDefaults::setObject(const QJValue &value, const QString &key)
{
    QMutexLocker lock(&d->mutex);
    if (value.isNone())
        d->settings.remove(key);
    else
        d->settings.setValue(key, QVariant::fromValue(value));
}

void QJUserDefaults::removeObjectForKey(const QString &key)
{
    setObject(QJValue(), key);
}
bool QJUserDefaults::boolForKey(const QString &key) const
{
    return objectForKey(key).toBool();
}
void QJUserDefaults::setBool(bool value, const QString &key)
{
    setObject(value, key);
}
QString QJUserDefaults::stringForKey(const QString &key) const
{
    return objectForKey(key).toString();
}

void QJUserDefaults::registerDefaults(const QJDictionary &defaults)
{
    QMutexLocker lock(&d->mutex);
    d->registered.addEntriesFromDictionary(defaults);
}

bool QJUserDefaults::synchronize()
{
    QMutexLocker lock(&d->mutex);
    d->settings.sync();
    return d->settings.status() == QSettings::NoError;
}
