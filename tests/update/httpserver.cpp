// SPDX-License-Identifier: LGPL-2.1-or-later
#include "httpserver.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSemaphore>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

class HttpServerWorker : public QObject
{
public:
    explicit HttpServerWorker(HttpServer *owner) : m_owner(owner) { }

    quint16 listen()
    {
        m_server = new QTcpServer(this);
        m_server->listen(QHostAddress::LocalHost, 0);
        connect(m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server->nextPendingConnection())
                serve(socket);
        });
        return m_server->serverPort();
    }

private:
    void serve(QTcpSocket *socket)
    {
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, socket, [this, socket, buffer] {
            *buffer += socket->readAll();
            qsizetype end;
            while ((end = buffer->indexOf("\r\n\r\n")) >= 0) {
                const QByteArray head = buffer->left(end);
                buffer->remove(0, end + 4);
                if (!answer(socket, head))
                    return; // the connection is taken over by a misbehaviour
            }
        });
    }

    // @return whether the connection can take further requests.
    bool answer(QTcpSocket *socket, const QByteArray &head)
    {
        const QList<QByteArray> lines = head.split('\n');
        const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
        const QString target = QString::fromLatin1(requestLine.value(1));
        QString host;
        for (const QByteArray &line : lines) {
            if (line.toLower().startsWith("host:"))
                host = QString::fromLatin1(line.mid(5).trimmed());
        }
        m_owner->record(target, host);
        const QString path = target.section(u'?', 0, 0);

        switch (m_owner->behaviourFor(path)) {
        case HttpServer::Serve:
            return serveFile(socket, path);
        case HttpServer::NotFound:
            socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
            return true;
        case HttpServer::Silent:
            return false;
        case HttpServer::RedirectLoop:
            socket->write("HTTP/1.1 302 Found\r\nLocation: " + path.toLatin1() + "\r\nContent-Length: 0\r\n\r\n");
            return true;
        case HttpServer::RedirectToOtherHost:
            socket->write("HTTP/1.1 302 Found\r\nLocation: http://localhost:"
                + QByteArray::number(m_server->serverPort()) + path.toLatin1() + "\r\nContent-Length: 0\r\n\r\n");
            return true;
        case HttpServer::RedirectToMoved: {
            const qsizetype slash = path.lastIndexOf(u'/');
            const QString moved = path.left(slash) + u"/moved"_s + path.mid(slash);
            socket->write("HTTP/1.1 302 Found\r\nLocation: " + moved.toLatin1() + "\r\nContent-Length: 0\r\n\r\n");
            return true;
        }
        case HttpServer::Endless:
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/xml\r\nConnection: close\r\n\r\n");
            feed(socket, QByteArray(64 * 1024, 'x'));
            return false;
        case HttpServer::HugeHeaders:
            socket->write("HTTP/1.1 200 OK\r\n");
            feed(socket, "X-Filler: " + QByteArray(1000, 'a') + "\r\n");
            return false;
        case HttpServer::CutShort:
            serveFile(socket, path, true);
            return false;
        case HttpServer::Trickle: {
            socket->write("HTTP/1.1 200 OK\r\nContent-Length: 50000\r\n\r\n");
            auto *timer = new QTimer(socket);
            connect(timer, &QTimer::timeout, socket, [socket] { socket->write("x"); });
            timer->start(50);
            return false;
        }
        }
        return false;
    }

    // Keeps writing @p chunk for as long as the client reads.
    void feed(QTcpSocket *socket, const QByteArray &chunk)
    {
        socket->write(chunk);
        connect(socket, &QTcpSocket::bytesWritten, socket, [socket, chunk] {
            if (socket->bytesToWrite() < 4 * chunk.size())
                socket->write(chunk);
        });
    }

    bool serveFile(QTcpSocket *socket, const QString &path, bool cutShort = false)
    {
        // Each segment is decoded on its own, as a file name: an encoded "/" or ".." finds no file.
        QString file = m_owner->m_root;
        bool valid = true;
        for (const QString &segment : path.split(u'/', Qt::SkipEmptyParts)) {
            const QString name = QUrl::fromPercentEncoding(segment.toLatin1());
            valid = valid && !name.contains(u'/') && name != u".." && name != u".";
            file += u'/' + name;
        }
        QFile f(file);
        if (!valid || !QFileInfo(file).isFile() || !f.open(QIODevice::ReadOnly)) {
            socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
            return true;
        }
        const QByteArray body = f.readAll();
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/xml\r\nContent-Length: "
            + QByteArray::number(body.size()) + "\r\n\r\n" + (cutShort ? body.left(body.size() / 2) : body));
        if (cutShort)
            socket->disconnectFromHost();
        return true;
    }

    HttpServer *m_owner;
    QTcpServer *m_server = nullptr;
};

HttpServer::HttpServer(const QString &root) : m_root(root)
{
    m_worker = new HttpServerWorker(this);
    m_worker->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_worker, &QObject::deleteLater);
    // The thread's last act, seen by the destructor after wait(): the thread sanitizer cannot see
    // QThread::wait(), so without this it takes this object's memory, reused later, as shared.
    QObject::connect(&m_thread, &QThread::finished, [this] { m_finished.store(true, std::memory_order_release); });
    m_thread.start();
    QMetaObject::invokeMethod(
        m_worker, [this] { m_port = m_worker->listen(); }, Qt::BlockingQueuedConnection);
}

HttpServer::~HttpServer()
{
    m_thread.quit();
    m_thread.wait();
    (void)m_finished.load(std::memory_order_acquire);
}

QUrl HttpServer::baseUrl() const
{
    return QUrl(u"http://127.0.0.1:%1/AppServices/Versions/"_s.arg(m_port));
}

void HttpServer::setBehaviour(const QString &pathSuffix, Behaviour behaviour)
{
    QMutexLocker lock(&m_mutex);
    m_behaviours.prepend({pathSuffix, behaviour});
}

HttpServer::Behaviour HttpServer::behaviourFor(const QString &path) const
{
    QMutexLocker lock(&m_mutex);
    for (const auto &[suffix, behaviour] : m_behaviours) {
        if (path.endsWith(suffix))
            return behaviour;
    }
    return Serve;
}

void HttpServer::record(const QString &target, const QString &host)
{
    QMutexLocker lock(&m_mutex);
    m_requests.append(target);
    m_hosts.append(host);
}

QStringList HttpServer::requests() const
{
    QMutexLocker lock(&m_mutex);
    return m_requests;
}

QStringList HttpServer::hosts() const
{
    QMutexLocker lock(&m_mutex);
    return m_hosts;
}

void HttpServer::clearRequests()
{
    QMutexLocker lock(&m_mutex);
    m_requests.clear();
    m_hosts.clear();
}
