// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QMutex>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QUrl>

#include <atomic>

class VersionServerWorker;

/**
 * A small HTTP/1.1 server on 127.0.0.1 that publishes a version directory, so the update check can
 * run with no network. It answers on a thread of its own, so it serves while its owner waits.
 *
 * GET (and HEAD) of "/AppServices/Versions/<path>" answers the file <root>/<path>; the root may be
 * a folder on disk or a resource folder (":/..."). Each segment of the path is decoded on its own,
 * as one file name: an encoded "/", ".." or "." finds nothing. Anything else answers 404, other
 * methods 405, a request that cannot be read 400, one larger than MaximumRequestSize 431; those
 * close the connection. Otherwise a connection serves further requests until the client asks to
 * close it; one that stays idle for 10 seconds is closed.
 *
 * The tests of HTTP clients make it misbehave for some paths with setBehaviour().
 */
class VersionServer
{
public:
    /** How requests for a path are answered. */
    enum Behaviour {
        Serve, ///< the file, or 404
        Silent, ///< reads the request and never answers
        Endless, ///< answers 200 with a body that never ends
        Trickle, ///< announces a long body and sends one byte every 50 ms
        HugeHeaders, ///< sends header lines without end
        RedirectLoop, ///< answers 302 to the same path, again and again
        RedirectToOtherHost, ///< answers 302 to the same path on "localhost" instead of 127.0.0.1
        RedirectToMoved, ///< answers 302 to the path with "/moved" inserted before its file name
        NotFound, ///< answers 404
        CutShort, ///< announces the whole file and closes the connection after half of it
        Chunked, ///< the file in chunks of 100 bytes (Transfer-Encoding: chunked)
        UntilClose, ///< the file without a length, ended by closing the connection
    };

    /** The path below which the directory is published. */
    static const QString BasePath;
    /** Requests larger than this (request line and headers) are refused. */
    static constexpr qsizetype MaximumRequestSize = 16 * 1024;

    /** A server for the version directory in @p root; nothing listens until listen(). */
    explicit VersionServer(const QString &root);
    ~VersionServer();

    /** Listens on 127.0.0.1, on @p port or a free one when 0. @return success; see errorString(). */
    bool listen(quint16 port = 0);
    /** @return the port listened on, or 0. */
    quint16 port() const { return m_port; }
    /** @return the address to give the update check: "http://127.0.0.1:PORT/AppServices/Versions/". */
    QUrl baseUrl() const;
    /** @return why listen() failed. */
    QString errorString() const;

    /** Makes requests whose path ends with @p pathSuffix behave as @p behaviour (the latest call first). */
    void setBehaviour(const QString &pathSuffix, Behaviour behaviour);
    /** @return the request targets received so far, as sent ("/AppServices/Versions/app/info.plist"). */
    QStringList requests() const;
    /** @return the Host headers of those requests. */
    QStringList hosts() const;
    /** Forgets the requests received so far. */
    void clearRequests();

private:
    friend class VersionServerWorker;
    Behaviour behaviourFor(const QString &path) const;
    void record(const QString &target, const QString &host);

    const QString m_root;
    QThread m_thread;
    VersionServerWorker *m_worker = nullptr;
    // Set on the server's thread; atomic so that the thread sanitizer sees the hand-over, which
    // Qt's blocking queued call makes with a lock the sanitizer cannot see.
    std::atomic<quint16> m_port = 0;
    std::atomic<bool> m_finished = false;
    mutable QMutex m_mutex;
    QString m_error;
    QList<std::pair<QString, Behaviour>> m_behaviours;
    QStringList m_requests;
    QStringList m_hosts;
};
