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
// Version records and test packages are small; anything bigger is not one.
constexpr qint64 MaximumFileSize = 4 * 1024 * 1024;

QByteArray answer(int status, const QByteArray &reason, const QByteArray &headers = {})
{
    return "HTTP/1.1 " + QByteArray::number(status) + ' ' + reason + "\r\n" + headers;
}

QByteArray redirect(const QString &location)
{
    return answer(302, "Found", "Location: " + location.toLatin1() + "\r\nContent-Length: 0\r\n\r\n");
}
} // namespace

class VersionServerWorker : public QObject
{
public:
    explicit VersionServerWorker(VersionServer *owner) : m_owner(owner), m_server(new QTcpServer(this))
    {
        connect(m_server, &QTcpServer::newConnection, this, &VersionServerWorker::accept);
    }

    quint16 listen(quint16 port, QString *error)
    {
        if (m_server->listen(QHostAddress::LocalHost, port))
            return m_server->serverPort();
        *error = m_server->errorString();
        return 0;
    }

private:
    void accept()
    {
        while (QTcpSocket *socket = m_server->nextPendingConnection()) {
            auto *idle = new QTimer(socket);
            idle->setSingleShot(true);
            connect(idle, &QTimer::timeout, socket, &QTcpSocket::abort);
            idle->start(IdleTimeout);
            struct Connection
            {
                QByteArray pending; // received, not answered yet
                bool open = true; // false once answered for the last time, or taken over by a misbehaviour
            };
            auto connection = std::make_shared<Connection>();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket, idle, connection] {
                const QByteArray received = socket->readAll();
                if (!connection->open)
                    return;
                connection->pending += received;
                qsizetype end;
                while (connection->open && (end = connection->pending.indexOf("\r\n\r\n")) >= 0) {
                    const QByteArray request = connection->pending.left(end);
                    connection->pending.remove(0, end + 4);
                    connection->open = respond(socket, request);
                    if (connection->open)
                        idle->start(IdleTimeout);
                }
                if (connection->open && connection->pending.size() > VersionServer::MaximumRequestSize) {
                    connection->open = false;
                    plain(socket, answer(431, "Request Header Fields Too Large"), "request too large\n", true);
                }
            });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        }
    }

    // Writes a plain-text answer, closing the connection unless @p keepAlive. @return whether it stays open.
    static bool plain(
        QTcpSocket *socket, const QByteArray &head, const QByteArray &text, bool withBody, bool keepAlive = false)
    {
        socket->write(head + "Content-Type: text/plain\r\nContent-Length: " + QByteArray::number(text.size())
            + (keepAlive ? "\r\n\r\n" : "\r\nConnection: close\r\n\r\n") + (withBody ? text : QByteArray()));
        if (!keepAlive)
            socket->disconnectFromHost();
        return keepAlive;
    }

    // Answers the request whose head is @p request. @return whether the connection takes further requests.
    bool respond(QTcpSocket *socket, const QByteArray &request)
    {
        const QList<QByteArray> lines = request.split('\n');
        const QList<QByteArray> line = lines.value(0).trimmed().split(' ');
        QByteArray host;
        bool keepAlive = line.value(2) == "HTTP/1.1";
        for (const QByteArray &header : lines.mid(1)) {
            const QByteArray lower = header.trimmed().toLower();
            if (lower.startsWith("host:"))
                host = header.trimmed().mid(5).trimmed();
            else if (lower.startsWith("connection:"))
                keepAlive = lower.contains("keep-alive") || (keepAlive && !lower.contains("close"));
        }
        m_owner->record(QString::fromLatin1(line.value(1)), QString::fromLatin1(host));
        if (line.size() != 3 || !line.at(1).startsWith('/') || !line.at(2).startsWith("HTTP/1.")) {
            return plain(socket, answer(400, "Bad Request"), "bad request\n", true);
        }
        const QByteArray &method = line.at(0);
        const bool head = method == "HEAD";
        if (method != "GET" && !head) {
            return plain(
                socket, answer(405, "Method Not Allowed", "Allow: GET, HEAD\r\n"), "only GET and HEAD\n", true);
        }
        const QString path = QString::fromLatin1(line.at(1)).section(u'?', 0, 0);
        const VersionServer::Behaviour behaviour = m_owner->behaviourFor(path);
        switch (behaviour) {
        case VersionServer::Serve:
        case VersionServer::CutShort:
        case VersionServer::Chunked:
        case VersionServer::UntilClose:
            return serveFile(socket, path, head, keepAlive, behaviour);
        case VersionServer::NotFound:
            return plain(socket, answer(404, "Not Found"), "not found\n", !head, keepAlive);
        case VersionServer::Silent:
            return false;
        case VersionServer::RedirectLoop:
            socket->write(redirect(path));
            return true;
        case VersionServer::RedirectToOtherHost:
            socket->write(redirect(u"http://localhost:%1%2"_s.arg(m_server->serverPort()).arg(path)));
            return true;
        case VersionServer::RedirectToMoved: {
            const qsizetype slash = path.lastIndexOf(u'/');
            socket->write(redirect(path.left(slash) + u"/moved"_s + path.mid(slash)));
            return true;
        }
        case VersionServer::Endless:
            socket->write(answer(200, "OK", "Content-Type: application/xml\r\nConnection: close\r\n\r\n"));
            feed(socket, QByteArray(64 * 1024, 'x'));
            return false;
        case VersionServer::HugeHeaders:
            socket->write(answer(200, "OK"));
            feed(socket, "X-Filler: " + QByteArray(1000, 'a') + "\r\n");
            return false;
        case VersionServer::Trickle: {
            socket->write(answer(200, "OK", "Content-Length: 50000\r\n\r\n"));
            auto *timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [socket] { socket->write("x"); });
            timer->start(50);
            return false;
        }
        }
        return false;
    }

    // Keeps writing @p chunk for as long as the client reads.
    static void feed(QTcpSocket *socket, const QByteArray &chunk)
    {
        socket->write(chunk);
        connect(socket, &QTcpSocket::bytesWritten, socket, [socket, chunk] {
            if (socket->bytesToWrite() < 4 * chunk.size())
                socket->write(chunk);
        });
    }

    // @return the file for a request path, or empty when there is none.
    QString fileForPath(const QString &path) const
    {
        if (!path.startsWith(VersionServer::BasePath))
            return QString();
        QString file = m_owner->m_root;
        for (const QString &segment : path.mid(VersionServer::BasePath.size()).split(u'/')) {
            const QString name = QUrl::fromPercentEncoding(segment.toLatin1());
            if (name.isEmpty() || name == u"." || name == u".." || name.contains(u'/') || name.contains(QChar(0)))
                return QString();
            file += u'/' + name;
        }
        const QFileInfo info(file);
        return info.isFile() && info.size() <= MaximumFileSize ? file : QString();
    }

    // Answers the file for @p path as @p behaviour says. @return whether the connection stays open.
    bool serveFile(
        QTcpSocket *socket, const QString &path, bool head, bool keepAlive, VersionServer::Behaviour behaviour)
    {
        const QString name = fileForPath(path);
        QFile file(name);
        if (name.isEmpty() || !file.open(QIODevice::ReadOnly))
            return plain(socket, answer(404, "Not Found"), "not found\n", !head, keepAlive);
        const QByteArray body = head ? QByteArray() : file.readAll();
        QByteArray headers = "Content-Type: "
            + QByteArray(name.endsWith(u".plist"_s) ? "application/xml" : "application/octet-stream") + "\r\n";
        keepAlive = keepAlive && behaviour != VersionServer::CutShort && behaviour != VersionServer::UntilClose;
        if (behaviour == VersionServer::Chunked)
            headers += "Transfer-Encoding: chunked\r\n";
        else if (behaviour != VersionServer::UntilClose)
            headers += "Content-Length: " + QByteArray::number(file.size()) + "\r\n";
        socket->write(answer(200, "OK", headers + (keepAlive ? "\r\n" : "Connection: close\r\n\r\n")));
        if (behaviour == VersionServer::Chunked) {
            for (qsizetype at = 0; at < body.size(); at += 100) {
                const QByteArray chunk = body.mid(at, 100);
                socket->write(QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n");
            }
            if (!head)
                socket->write("0\r\n\r\n");
        } else {
            socket->write(behaviour == VersionServer::CutShort ? body.left(body.size() / 2) : body);
        }
        if (!keepAlive)
            socket->disconnectFromHost();
        return keepAlive;
    }

    VersionServer *m_owner;
    QTcpServer *m_server;
};

VersionServer::VersionServer(const QString &root) : m_root(root) { }

VersionServer::~VersionServer()
{
    if (!m_thread.isRunning())
        return;
    m_thread.quit();
    m_thread.wait();
    (void)m_finished.load(std::memory_order_acquire);
}

bool VersionServer::listen(quint16 port)
{
    if (!m_worker) {
        m_worker = new VersionServerWorker(this);
        m_worker->moveToThread(&m_thread);
        QObject::connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
        // The thread's last act, seen by the destructor after wait(): the thread sanitizer cannot
        // see QThread::wait(), so without this it takes this object's memory, reused later, as shared.
        QObject::connect(&m_thread, &QThread::finished, [this] { m_finished.store(true, std::memory_order_release); });
        m_thread.start();
    }
    QString error;
    QMetaObject::invokeMethod(
        m_worker, [this, port, &error] { m_port = m_worker->listen(port, &error); }, Qt::BlockingQueuedConnection);
    QMutexLocker lock(&m_mutex);
    m_error = error;
    return m_port != 0;
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
    QMutexLocker lock(&m_mutex);
    return m_error;
}

void VersionServer::setBehaviour(const QString &pathSuffix, Behaviour behaviour)
{
    QMutexLocker lock(&m_mutex);
    m_behaviours.prepend({pathSuffix, behaviour});
}

VersionServer::Behaviour VersionServer::behaviourFor(const QString &path) const
{
    QMutexLocker lock(&m_mutex);
    for (const auto &[suffix, behaviour] : m_behaviours) {
        if (path.endsWith(suffix))
            return behaviour;
    }
    return Serve;
}

void VersionServer::record(const QString &target, const QString &host)
{
    QMutexLocker lock(&m_mutex);
    m_requests.append(target);
    m_hosts.append(host);
}

QStringList VersionServer::requests() const
{
    QMutexLocker lock(&m_mutex);
    return m_requests;
}

QStringList VersionServer::hosts() const
{
    QMutexLocker lock(&m_mutex);
    return m_hosts;
}

void VersionServer::clearRequests()
{
    QMutexLocker lock(&m_mutex);
    m_requests.clear();
    m_hosts.clear();
}
