// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DemoSettings.h"

#include "NaturalStringComparison.h"
#include "QJBlowfishCoding.h"
#include "QJPropertyListSerialization.h"
#include "QJThreadingExtensions.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
const QString GeometryKey = u"WindowGeometry"_s;
const QString RecentFilesKey = u"RecentFiles"_s;
const QString PathKey = u"Path"_s;
const QString OpenedKey = u"Opened"_s;
} // namespace

DemoSettings::DemoSettings(const QString &path, QObject *parent) : QObject(parent), m_path(path) { }

DemoSettings::~DemoSettings()
{
    m_savePending = false;
    waitForBackgroundSave();
}

QString DemoSettings::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) + u"/settings.coded"_s;
}

bool DemoSettings::load()
{
    const QJValue value = QJBlowfishCoding::readFromCodedFile(m_path);
    if (!value.isDictionary())
        return false;
    setDictionary(value.toDictionary());
    return true;
}

QJDictionary DemoSettings::toDictionary() const
{
    QJArray recent;
    for (const RecentFile &file : m_recent) {
        QJDictionary entry {{PathKey, file.path}};
        if (file.opened.isValid())
            entry.setObject(file.opened, OpenedKey);
        recent.append(entry);
    }
    QJDictionary dictionary {{RecentFilesKey, recent}};
    if (!m_geometry.isEmpty())
        dictionary.setObject(m_geometry, GeometryKey);
    return dictionary.copy();
}

void DemoSettings::setDictionary(const QJDictionary &dictionary)
{
    const QJValue geometry = dictionary.objectForKey(GeometryKey);
    m_geometry = geometry.isData() ? geometry.toByteArray() : QByteArray();
    m_recent.clear();
    const QJValue recent = dictionary.objectForKey(RecentFilesKey);
    if (recent.isArray()) {
        for (const QJValue &entry : recent.toArray()) {
            const QJValue path = entry.valueForKey(PathKey);
            const QJValue opened = entry.valueForKey(OpenedKey);
            if (entry.isDictionary() && path.isString() && !path.toString().isEmpty())
                m_recent.append({path.toString(), opened.isDate() ? opened.toDateTime() : QDateTime()});
        }
    }
    sortRecentFiles();
    Q_EMIT recentFilesChanged();
}

void DemoSettings::setWindowGeometry(const QByteArray &geometry)
{
    m_geometry = geometry;
}

QStringList DemoSettings::recentFiles() const
{
    QStringList paths;
    for (const RecentFile &file : m_recent)
        paths.append(file.path);
    return paths;
}

QString DemoSettings::lastOpenedFile() const
{
    const auto last = std::max_element(
        m_recent.begin(), m_recent.end(), [](const RecentFile &a, const RecentFile &b) { return a.opened < b.opened; });
    return last == m_recent.end() ? QString() : last->path;
}

void DemoSettings::addRecentFile(const QString &path, const QDateTime &when)
{
    const QString absolute = QFileInfo(path).absoluteFilePath();
    m_recent.removeIf([&](const RecentFile &file) { return file.path == absolute; });
    m_recent.append({absolute, when});
    while (m_recent.size() > MaximumRecentFiles) {
        const auto oldest = std::min_element(m_recent.begin(), m_recent.end(),
            [](const RecentFile &a, const RecentFile &b) { return a.opened < b.opened; });
        m_recent.erase(oldest);
    }
    sortRecentFiles();
    Q_EMIT recentFilesChanged();
}

void DemoSettings::removeRecentFile(const QString &path)
{
    if (m_recent.removeIf([&](const RecentFile &file) { return file.path == path; }) > 0)
        Q_EMIT recentFilesChanged();
}

void DemoSettings::sortRecentFiles()
{
    // By name first, as the menu shows them, then by folder for files of the same name. The
    // natural ordering calls names that differ only in case equal, so the sort must be stable.
    std::stable_sort(m_recent.begin(), m_recent.end(), [](const RecentFile &a, const RecentFile &b) {
        const int byName
            = NaturalStringComparison::naturalCompare(QFileInfo(a.path).fileName(), QFileInfo(b.path).fileName());
        return byName != 0 ? byName < 0 : NaturalStringComparison::naturalCompare(a.path, b.path) < 0;
    });
}

QByteArray DemoSettings::codedFile(const QJDictionary &dictionary)
{
    const QByteArray xml = QJPropertyListSerialization::dataFromPropertyList(dictionary);
    return xml.isEmpty() ? QByteArray() : QJBlowfishCoding::encodeWithBlowfishKey(xml, QJCodedFilePrimaryKey);
}

bool DemoSettings::saveNow()
{
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    return QJBlowfishCoding::writeCodedToFile(toDictionary(), m_path);
}

void DemoSettings::saveInBackground()
{
    if (m_worker) {
        m_savePending = true;
        return;
    }
    m_savePending = false;
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    auto written = std::make_shared<std::atomic<bool>>(false);
    // The worker owns its own tree: nothing it reads is touched by the main thread meanwhile.
    m_worker = QThread::create([dictionary = toDictionary(), path = m_path, written] {
        const QByteArray coded = codedFile(dictionary);
        written->store(!coded.isEmpty() && QJThreadingExtensions::threadSecureWriteToFile(coded, path));
    });
    m_worker->setObjectName(u"settings writer"_s);
    connect(m_worker, &QThread::finished, this, [this, written] {
        m_worker->deleteLater();
        m_worker = nullptr;
        Q_EMIT backgroundSaveFinished(written->load());
        if (m_savePending)
            saveInBackground();
    });
    m_worker->start();
}

void DemoSettings::waitForBackgroundSave()
{
    // The worker's write runs on this (the main) thread, so wait by running the event loop.
    while (m_worker) {
        QEventLoop loop;
        connect(this, &DemoSettings::backgroundSaveFinished, &loop, &QEventLoop::quit);
        loop.exec();
    }
}

bool DemoSettings::bootSequence()
{
    load();
    return true;
}

QString DemoSettings::bootSequenceName() const
{
    return tr("Reading settings…");
}

bool DemoSettings::shutdownSequence()
{
    m_savePending = false;
    waitForBackgroundSave();
    saveNow();
    return true;
}
