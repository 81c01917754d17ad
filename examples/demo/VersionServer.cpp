// SPDX-License-Identifier: LGPL-2.1-or-later
#include "VersionServer.h"

#include <QFile>
#include <QFileInfo>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

const QString VersionServer::BasePath = u"/AppServices/Versions/"_s;

namespace
{
// A client that sends nothing useful is dropped after this long.
constexpr int IdleTimeout = 10000;
// Version records are small; anything bigger is not one.
constexpr qint64 MaximumFileSize = 4 * 1024 * 1024;
} // namespace

VersionServer::VersionServer(const QString &root, QObject *parent)
    : QObject(parent), m_root(root), m_server(new QTcpServer(this))
{
    connect(m_server, &QTcpServer::newConnection, this, &VersionServer::acceptConnections);
}

VersionServer::~VersionServer() = default;

bool VersionServer::listen(quint16 port)
{
    return m_server->listen(QHostAddress::LocalHost, port);
}

quint16 VersionServer::port() const
{
    return m_server->isListening() ? m_server->serverPort() : 0;
}

QUrl VersionServer::baseUrl() const
{
    QUrl url;
    url.setScheme(u"http"_s);
    url.setHost(u"127.0.0.1"_s);
    url.setPort(port());
    url.setPath(BasePath);
    return url;
}

QString VersionServer::errorString() const
{
    return m_server->errorString();
}

void VersionServer::acceptConnections()
{
    while (QTcpSocket *socket = m_server->nextPendingConnection()) {
        m_pending.insert(socket, QByteArray());
        auto *idle = new QTimer(socket);
        idle->setSingleShot(true);
        connect(idle, &QTimer::timeout, socket, &QTcpSocket::abort);
        idle->start(IdleTimeout);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequest(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            m_pending.remove(socket);
            socket->deleteLater();
        });
    }
}

void VersionServer::readRequest(QTcpSocket *socket)
{
    auto pending = m_pending.find(socket);
    if (pending == m_pending.end()) {
        socket->readAll(); // answered already: whatever follows is ignored
        return;
    }
    pending->append(socket->readAll());
    const qsizetype end = pending->indexOf("\r\n\r\n");
    if (end < 0) {
        if (pending->size() > MaximumRequestSize) {
            m_pending.erase(pending);
            respond(socket, 431, "Request Header Fields Too Large", "request too large\n", "text/plain", true);
        }
        return;
    }
    const QByteArray request = pending->left(end);
    m_pending.erase(pending);
    answer(socket, request);
}

void VersionServer::answer(QTcpSocket *socket, const QByteArray &request)
{
    ++m_requests;
    const qsizetype lineEnd = request.indexOf("\r\n");
    const QList<QByteArray> line = (lineEnd < 0 ? request : request.left(lineEnd)).split(' ');
    if (line.size() != 3 || !line.at(1).startsWith('/') || !line.at(2).startsWith("HTTP/1.")) {
        respond(socket, 400, "Bad Request", "bad request\n", "text/plain", true);
        return;
    }
    const QByteArray &method = line.at(0);
    const bool head = method == "HEAD";
    if (method != "GET" && !head) {
        respond(socket, 405, "Method Not Allowed", "only GET and HEAD\n", "text/plain", true);
        return;
    }
    const QUrl target(QString::fromLatin1(line.at(1)), QUrl::StrictMode);
    const QString path = target.path(QUrl::FullyDecoded);
    const QString file
        = target.isValid() && path.startsWith(BasePath) ? fileForPath(path.mid(BasePath.size())) : QString();
    QFile content(file);
    if (file.isEmpty() || content.size() > MaximumFileSize || !content.open(QIODevice::ReadOnly)) {
        respond(socket, 404, "Not Found", "not found\n", "text/plain", !head);
        return;
    }
    const QByteArray type = file.endsWith(u".plist"_s) ? "application/xml" : "application/octet-stream";
    respond(socket, 200, "OK", content.readAll(), type, !head);
}

QString VersionServer::fileForPath(const QString &path) const
{
    // Only plain names below the root: no empty, "." or ".." segment can lead elsewhere.
    const QStringList segments = path.split(u'/');
    for (const QString &segment : segments) {
        if (segment.isEmpty() || segment == u"."_s || segment == u".."_s || segment.contains(QChar(0)))
            return QString();
    }
    const QString file = m_root + u'/' + path;
    return QFileInfo(file).isFile() ? file : QString();
}

void VersionServer::respond(QTcpSocket *socket, int status, const QByteArray &reason, const QByteArray &body,
    const QByteArray &contentType, bool withBody)
{
    QByteArray response = "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason + "\r\n";
    response += "Content-Type: " + contentType + "\r\n";
    response += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    if (status == 405)
        response += "Allow: GET, HEAD\r\n";
    response += "Connection: close\r\n\r\n";
    if (withBody)
        response += body;
    socket->write(response);
    socket->disconnectFromHost();
}
