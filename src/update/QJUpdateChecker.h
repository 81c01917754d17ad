// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>

/** The build's default address of the version directory, ending in "/AppServices/Versions/". */
QJKITCORE_EXPORT extern const QString QJAutoUpdateGetInfoBaseURL;
/** "QJAutoUpdateLastCheck": the user preference holding the date of the last check that reached the server. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateLastCheckKey;
/** "QJAutoUpdateSearchOnStartup": the user preference that enables the check at start-up. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateSearchOnStartupKey;
/** "QJAutoUpdate": the name of the update window's form. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateNibName;
/** "QJAutoUpdate": the strings table of every text of the update check. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateStringsFileName;
/** "QJAutoUpdateBaseURL": the information-dictionary key with which a host sets its own base address. */
QJKITCORE_EXPORT extern const QString QJAutoUpdateBaseURLKey;

/** One newer version found by a check. */
struct QJUpdateRecord
{
    /** The version key of the server's index (the build). */
    QString key;
    /** The record's "version", the version as shown. */
    QString version;
    /** The record's text under the description key, as plain text. */
    QString description;
    /** The record's "package" resolved against the version directory; empty when it names none. */
    QUrl package;
    /** The record's "length", the package's size in bytes; -1 when it gives none. */
    qint64 length = -1;
    /** The record's "signature", the whole text of the package's signature file. */
    QString signature;
    /** The record's "webPage", where the version can be fetched by hand. */
    QUrl webPage;

    /** @return whether both records have the same key, version and description. */
    friend bool operator==(const QJUpdateRecord &, const QJUpdateRecord &) = default;
};

/** What a check found. */
struct QJUpdateCheckResult
{
    /** How the check ended. */
    enum Status {
        NotReachable, ///< the server could not be reached; @c reason says why
        NoUpdate, ///< reachable, and no version newer than the installed build (or no readable index)
        UpdateAvailable, ///< @c records lists the newer versions
        Cancelled, ///< the check was stopped before it ended
    };
    /** How the check ended. */
    Status status = Cancelled;
    /** The newer versions, newest first. */
    QList<QJUpdateRecord> records;
    /** Why the server was not reachable, or why the index could not be read; empty otherwise. */
    QString reason;
    /** The version directory that was asked. */
    QUrl directory;
};
Q_DECLARE_METATYPE(QJUpdateCheckResult)

class QJUpdateCheckerPrivate;

/**
 * The update check without a window: finds the versions of the application that are newer than
 * the installed build on the version server.
 *
 * The server's version directory is the base address followed by the application's name with its
 * spaces deleted, lower-cased, and "/". It holds an index "info.plist", a dictionary whose keys are
 * the published builds, and one record "<key>.plist" per build, a dictionary with "version" and a
 * description under the key named by the localized "updateKey" text (the "en" one when the record
 * has none in that language). Builds are ordered with
 * NaturalStringComparison::hexanumericalCompare().
 *
 * A check first asks its reachability test and resolves the server's host name; then it fetches the
 * index and the records of the newer builds. Every request ends within timeout(), reads at most
 * maximumSize() bytes and follows at most maximumRedirects() redirects, only on the same server;
 * the whole check ends within checkTimeout(). An index or record that cannot be fetched or read
 * counts as empty.
 *
 * start() checks asynchronously on the checker's thread and emits finished(); check() does the same
 * while it waits, so it serves threads without an event loop and command-line tools. A check on a
 * thread that is told to quit (QThread::quit()) ends as Cancelled.
 *
 * @code
 * QJUpdateChecker checker;
 * checker.setInstalledBuild(u"41"_s);
 * const QJUpdateCheckResult result = checker.check();
 * for (const QJUpdateRecord &record : result.records)
 *     qDebug() << record.version << record.description;
 * @endcode
 */
class QJKITCORE_EXPORT QJUpdateChecker : public QObject
{
    Q_OBJECT

public:
    /**
     * Decides, before any request, whether the server at @p server can be reached at all.
     * @return false, with @p reason set, when it cannot. Runs on the checker's thread.
     */
    using ReachabilityTest = std::function<bool(const QUrl &server, QString *reason)>;

    /** Makes a checker for the main bundle's application, its CFBundleName and CFBundleVersion. */
    explicit QJUpdateChecker(QObject *parent = nullptr);
    ~QJUpdateChecker() override;

    /** @return the main bundle's QJAutoUpdateBaseURL when it sets one, else QJAutoUpdateGetInfoBaseURL. */
    static QUrl infoBaseUrl();
    /** @return the version directory of @p applicationName below @p base. */
    static QUrl directoryUrl(const QUrl &base, const QString &applicationName);
    /** @return the address of the record of @p key: the key is percent-encoded, so it never leaves @p directory. */
    static QUrl recordUrl(const QUrl &directory, const QString &key);
    /**
     * @return the keys of @p keys that are newer than @p installedBuild (the installed build orders
     * first), newest first. Equal builds are dropped.
     */
    static QStringList newerVersions(const QStringList &keys, const QString &installedBuild);
    /** @return the localized "updateKey" text: the record key of the description in the user's language. */
    static QString localizedDescriptionKey();
    /**
     * @return the system's reachability test: the machine must not be reported offline (where a
     * network-information backend exists; loopback servers are exempt). Call it on the main thread,
     * which is where the system's state is read; the test can then run on any thread.
     */
    static ReachabilityTest systemReachabilityTest();

    /** Sets the base address (default infoBaseUrl()). */
    void setBaseUrl(const QUrl &url);
    /** @return the base address. */
    QUrl baseUrl() const;
    /** Sets the application's name (default: the main bundle's CFBundleName). */
    void setApplicationName(const QString &name);
    /** @return the application's name. */
    QString applicationName() const;
    /** Sets the installed build (default: the main bundle's CFBundleVersion). */
    void setInstalledBuild(const QString &build);
    /** @return the installed build. */
    QString installedBuild() const;
    /**
     * Sets the record key of the descriptions (default localizedDescriptionKey(), which falls back
     * to a record's "en" text; a key set here does not).
     */
    void setDescriptionKey(const QString &key);
    /** @return the record key of the descriptions. */
    QString descriptionKey() const;
    /** @return the version directory asked: directoryUrl(baseUrl(), applicationName()). */
    QUrl directoryUrl() const;

    /** Sets the time, in milliseconds, within which every request (and the host lookup) ends (default 10000). */
    void setTimeout(int milliseconds);
    /** @return the time limit of one request, in milliseconds. */
    int timeout() const;
    /** Sets the time, in milliseconds, within which the whole check ends (default 60000). */
    void setCheckTimeout(int milliseconds);
    /** @return the time limit of a whole check, in milliseconds. */
    int checkTimeout() const;
    /** Sets the largest response, in bytes, that is read (default 4 MiB). */
    void setMaximumSize(qint64 bytes);
    /** @return the largest response read, in bytes. */
    qint64 maximumSize() const;
    /** Sets how many redirects a request follows, each to the same scheme, host and port (default 5). */
    void setMaximumRedirects(int count);
    /** @return how many redirects a request follows. */
    int maximumRedirects() const;
    /** Sets how many of the newest versions are fetched and listed (default 100). */
    void setMaximumVersions(int count);
    /** @return how many of the newest versions are fetched and listed. */
    int maximumVersions() const;
    /**
     * Sets the reachability test (default systemReachabilityTest(), taken when a check first asks a
     * server that is not on this machine).
     */
    void setReachabilityTest(ReachabilityTest test);

    /** Starts a check on the checker's thread; finished() follows. Does nothing while one runs. */
    void start();
    /** Checks and waits for the result, processing this thread's events meanwhile. */
    QJUpdateCheckResult check();
    /** Stops a running check; finished() follows with Cancelled. */
    void abort();
    /** @return whether a check is running. */
    bool isRunning() const;

Q_SIGNALS:
    /** A check has ended. */
    void finished(const QJUpdateCheckResult &result);

private:
    std::unique_ptr<QJUpdateCheckerPrivate> d;
};
