// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJBootSequence.h"
#include "QJValue.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <QThread>

/**
 * The demo's settings: the editor window's geometry and the recently opened files, kept in a coded
 * property-list file.
 *
 * The file is read with QJBlowfishCoding::readFromCodedFile(). While the application runs, changes
 * are saved from a worker thread, which builds and codes the property list and hands the bytes to
 * the main-thread writer (QJThreadingExtensions); the last save, at quit, writes the file directly
 * with QJBlowfishCoding::writeCodedToFile(). Both give the same bytes.
 *
 * The file holds a dictionary:
 * - "WindowGeometry": data, the window geometry as QWidget::saveGeometry() gives it;
 * - "RecentFiles": an array of dictionaries with "Path" (string) and "Opened" (date), in the
 *   natural order of the files' names (chapter 2 before chapter 10).
 *
 * It takes part in start-up, where it reads the file, and in shut-down, where it writes it.
 */
class DemoSettings : public QObject, public QJBootSequence, public QJBootSequenceName, public QJShutdownSequence
{
    Q_OBJECT

public:
    /** How many recent files are kept; opening one more forgets the one opened longest ago. */
    static constexpr int MaximumRecentFiles = 8;

    /** Settings kept in the file at @p path. Nothing is read until load(). */
    explicit DemoSettings(const QString &path, QObject *parent = nullptr);
    /** Waits for a save that is still running. */
    ~DemoSettings() override;

    /** @return the default file: "settings.coded" in the application's configuration folder. */
    static QString defaultPath();
    QString path() const { return m_path; }

    /**
     * Reads the file. A missing or unreadable file, or one that holds no dictionary, leaves the
     * defaults (no geometry, no recent files) and @return false.
     */
    bool load();
    /** @return the settings as a new property-list dictionary. */
    QJDictionary toDictionary() const;
    /** Takes the settings from @p dictionary; entries of the wrong kind are ignored. */
    void setDictionary(const QJDictionary &dictionary);

    QByteArray windowGeometry() const { return m_geometry; }
    void setWindowGeometry(const QByteArray &geometry);

    /** @return the recent files, in the natural order of their names. */
    QStringList recentFiles() const;
    /** @return the recent file opened last, or an empty string. */
    QString lastOpenedFile() const;
    /** Notes that @p path was opened at @p when (now by default). */
    void addRecentFile(const QString &path, const QDateTime &when = QDateTime::currentDateTime());
    /** Forgets @p path (a file that has gone). */
    void removeRecentFile(const QString &path);

    /**
     * Saves the settings from a worker thread through the main-thread writer; the main thread must
     * keep running its event loop. A save asked for while one runs follows when it ends.
     */
    void saveInBackground();
    /** Saves the settings now, on this thread. @return whether the whole file was written. */
    bool saveNow();
    /** @return whether a background save is running or queued. */
    bool isSaving() const { return m_worker || m_savePending; }
    /** Runs the event loop until no background save is running or queued. */
    void waitForBackgroundSave();

    /** Reads the settings. @return true: start-up never waits for them. */
    bool bootSequence() override;
    /** @return what the status panel shows while the settings are read. */
    QString bootSequenceName() const override;
    /** Waits for a background save, then writes the file. @return true. */
    bool shutdownSequence() override;

    /** @return the bytes of the coded file for @p dictionary (empty when it cannot be coded). */
    static QByteArray codedFile(const QJDictionary &dictionary);

Q_SIGNALS:
    void recentFilesChanged();
    /** A background save ended; @p ok tells whether the file was written. */
    void backgroundSaveFinished(bool ok);

private:
    struct RecentFile
    {
        QString path;
        QDateTime opened;
    };
    void sortRecentFiles();

    QString m_path;
    QByteArray m_geometry;
    QList<RecentFile> m_recent;
    QPointer<QThread> m_worker;
    bool m_savePending = false;
};
