// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <atomic>

// A small HTTP/1.1 server on 127.0.0.1 for the update tests. It runs on its own thread, serves the
// files of a folder (the request path, percent-decoded, below the folder), and misbehaves on
// request for the paths given to setBehaviour().

#include <QHash>
#include <QMutex>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QUrl>

class HttpServerWorker;

class HttpServer
{
public:
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
    };

    explicit HttpServer(const QString &root);
    ~HttpServer();

    quint16 port() const { return m_port; }
    /** @return "http://127.0.0.1:<port>/AppServices/Versions/". */
    QUrl baseUrl() const;
    /** Makes requests whose path ends with @p pathSuffix behave as @p behaviour. */
    void setBehaviour(const QString &pathSuffix, Behaviour behaviour);
    /** @return the request targets received so far, as sent ("/AppServices/Versions/app/info.plist"). */
    QStringList requests() const;
    /** @return the Host headers received so far. */
    QStringList hosts() const;
    void clearRequests();

private:
    friend class HttpServerWorker;
    Behaviour behaviourFor(const QString &path) const;
    void record(const QString &target, const QString &host);

    QString m_root;
    QThread m_thread;
    HttpServerWorker *m_worker = nullptr;
    // Set on the server's thread; atomic so that the thread sanitizer sees the hand-over, which
    // Qt's blocking queued call makes with a lock the sanitizer cannot see.
    std::atomic<quint16> m_port = 0;
    std::atomic<bool> m_finished = false;
    mutable QMutex m_mutex;
    QList<std::pair<QString, Behaviour>> m_behaviours;
    QStringList m_requests;
    QStringList m_hosts;
};
