// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <QUrl>

class QTcpServer;
class QTcpSocket;

/**
 * A small HTTP server on 127.0.0.1 that publishes a version directory, so the update check can run
 * with no network.
 *
 * GET (and HEAD) of "/AppServices/Versions/<path>" answers the file <root>/<path>; the root may be
 * a folder on disk or a resource folder (":/..."). Anything else answers 404, other methods 405,
 * a request that cannot be read 400. Every answer closes its connection.
 */
class VersionServer : public QObject
{
    Q_OBJECT

public:
    /** The path below which the directory is published. */
    static const QString BasePath;

    /** A server for the version directory in @p root; nothing listens until listen(). */
    explicit VersionServer(const QString &root, QObject *parent = nullptr);
    ~VersionServer() override;

    /** Listens on 127.0.0.1, on @p port or a free one when 0. @return success; see errorString(). */
    bool listen(quint16 port = 0);
    /** @return the port listened on, or 0. */
    quint16 port() const;
    /** @return the address to give the update check: "http://127.0.0.1:PORT/AppServices/Versions/". */
    QUrl baseUrl() const;
    QString errorString() const;
    /** @return how many requests have been answered. */
    int requestCount() const { return m_requests; }

    /** Requests larger than this (request line and headers) are refused. */
    static constexpr qsizetype MaximumRequestSize = 16 * 1024;

private:
    void acceptConnections();
    void readRequest(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const QByteArray &request);
    void respond(QTcpSocket *socket, int status, const QByteArray &reason, const QByteArray &body,
        const QByteArray &contentType, bool withBody);
    QString fileForPath(const QString &path) const;

    QString m_root;
    QTcpServer *m_server;
    QHash<QTcpSocket *, QByteArray> m_pending;
    int m_requests = 0;
};
