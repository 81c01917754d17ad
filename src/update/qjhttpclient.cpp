// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qjhttpclient_p.h"
#include "qjkitversion.h"

#include <QPointer>
#include <QtNetwork/qtnetworkglobal.h>
#if QT_CONFIG(ssl)
#include <QSslSocket>
#endif
#include <QTcpSocket>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace
{
// The status line, the header lines and a chunked body's size and trailer lines, together. The
// body is bounded by the caller; this bounds what is read before it.
constexpr qsizetype MaximumHeadSize = 64 * 1024;
// What the socket takes in before it is read, so a fast server cannot pile up memory.
constexpr qint64 ReadBufferSize = 1 << 20;

bool isTls(const QUrl &url)
{
    return url.scheme().compare(u"https"_s, Qt::CaseInsensitive) == 0;
}

int portOf(const QUrl &url)
{
    return url.port(isTls(url) ? 443 : 80);
}

QString serverKey(const QUrl &url)
{
    return url.scheme().toLower() + u"://"_s + url.host().toLower() + u':' + QString::number(portOf(url));
}

// A transfer error in the words users of the update have always seen.
QString socketError(const QAbstractSocket *socket, const QString &host)
{
    switch (socket->error()) {
    case QAbstractSocket::ConnectionRefusedError:
        return u"Connection refused"_s;
    case QAbstractSocket::RemoteHostClosedError:
        return u"Connection closed"_s;
    case QAbstractSocket::HostNotFoundError:
        return u"Host %1 not found"_s.arg(host);
    case QAbstractSocket::SslHandshakeFailedError:
        return u"SSL handshake failed: "_s + socket->errorString();
    default:
        return socket->errorString();
    }
}
} // namespace

struct QJHttpClient::Exchange
{
    quint64 id;
    QUrl url;
    Handlers handlers;
    QJHttpConnection *connection = nullptr;
    QTimer *silence = nullptr;
    bool onUsedConnection = false; // sent on a connection that had answered before
    bool answered = false; // a byte of the answer has arrived
    bool retried = false;
};

// One connection to a server, serving one request at a time.
class QJHttpConnection : public QObject
{
public:
    QJHttpConnection(QJHttpClient *client, const QString &key, const QUrl &url)
        : QObject(client), key(key), m_client(client), m_host(url.host())
    {
        const quint16 port = quint16(portOf(url));
#if QT_CONFIG(ssl)
        if (isTls(url)) {
            auto *tls = new QSslSocket(this);
            connect(tls, &QSslSocket::encrypted, this, &QJHttpConnection::ready);
            listen(tls);
            tls->connectToHostEncrypted(url.host(), port);
            return;
        }
#endif
        auto *plain = new QTcpSocket(this);
        connect(plain, &QTcpSocket::connected, this, &QJHttpConnection::ready);
        listen(plain);
        m_socket->connectToHost(url.host(), port);
    }

    bool isOpen() const
    {
        return !m_dead && m_socket->state() == QAbstractSocket::ConnectedState;
    }

    // Sends the request of @p exchange, now or once the connection is up.
    void start(QJHttpClient::Exchange *exchange)
    {
        m_current = exchange->id;
        m_request = request(exchange->url);
        resetParser();
        if (m_ready)
            send();
    }

    // Closes the connection for good; nothing is reported any more.
    void close()
    {
        if (m_dead)
            return;
        m_dead = true;
        m_current = 0;
        m_socket->abort();
        deleteLater();
    }

    const QString key;

private:
    enum State { StatusLine, HeaderLines, Body, ChunkSize, ChunkData, ChunkEnd, Trailers };

    static QByteArray request(const QUrl &url)
    {
        QByteArray target = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
        if (!target.startsWith('/'))
            target.prepend('/');
        QByteArray host = url.host(QUrl::FullyEncoded).toLatin1();
        if (host.contains(':'))
            host = '[' + host + ']';
        if (url.port() >= 0)
            host += ':' + QByteArray::number(url.port());
        return "GET " + target + " HTTP/1.1\r\nHost: " + host
            + "\r\nUser-Agent: QJKit/" QJKIT_VERSION_STRING "\r\nConnection: keep-alive\r\n\r\n";
    }

    void listen(QTcpSocket *socket)
    {
        m_socket = socket;
        m_socket->setReadBufferSize(ReadBufferSize);
        connect(m_socket, &QTcpSocket::readyRead, this, &QJHttpConnection::readAnswer);
        connect(m_socket, &QTcpSocket::errorOccurred, this, &QJHttpConnection::closed);
        connect(m_socket, &QTcpSocket::disconnected, this, &QJHttpConnection::closed);
    }

    void ready()
    {
        m_ready = true;
        if (m_current)
            send();
    }

    void send()
    {
        if (m_request.isEmpty())
            return;
        m_socket->write(std::exchange(m_request, QByteArray()));
        m_socket->flush(); // now, not on the next turn of the event loop
    }

    void resetParser()
    {
        m_state = StatusLine;
        m_head = QJHttpHead();
        m_headBytes = 0;
        m_remaining = 0;
        m_chunked = false;
        m_keepAlive = false;
    }

    void readAnswer()
    {
        if (m_dead)
            return;
        m_in += m_socket->readAll();
        if (!m_current) {
            close(); // nothing was asked: whatever this is, the connection cannot be trusted
            m_client->drop(this);
            return;
        }
        if (QJHttpClient::Exchange *exchange = m_client->exchange(m_current)) {
            exchange->answered = true;
            if (exchange->silence)
                exchange->silence->start();
        }
        const QPointer<QJHttpConnection> alive(this); // a handler may end the client itself
        parse();
        if (alive) {
            m_in.remove(0, m_pos);
            m_pos = 0;
        }
    }

    void closed()
    {
        if (m_dead)
            return;
        if (!m_current) {
            close();
            m_client->drop(this);
            return;
        }
        m_in += m_socket->readAll();
        const QPointer<QJHttpConnection> alive(this);
        parse();
        if (!alive || !m_current || m_dead)
            return;
        // An answer without a length ends with its connection; anything else was cut off.
        if (m_state == Body && m_remaining < 0) {
            m_keepAlive = false;
            complete();
            return;
        }
        const quint64 id = m_current;
        const QString error = m_socket->error() == QAbstractSocket::UnknownSocketError ? u"Connection closed"_s
                                                                                       : socketError(m_socket, m_host);
        close();
        m_client->connectionFailed(id, error);
    }

    // An answer that is not HTTP/1.x ends its connection, as a closed one would.
    void broken()
    {
        fail(u"Connection closed"_s);
    }

    void fail(const QString &error)
    {
        const quint64 id = m_current;
        close();
        m_client->end(id, error);
    }

    // @return the next line of the head, without its line end; false when it has not all arrived.
    bool takeLine(QByteArray *line)
    {
        const qsizetype end = m_in.indexOf('\n', m_pos);
        const qsizetype length = (end < 0 ? m_in.size() : end + 1) - m_pos;
        if (m_headBytes + length > MaximumHeadSize) {
            fail(u"the answer's header lines are longer than %1 bytes"_s.arg(MaximumHeadSize));
            return false;
        }
        if (end < 0)
            return false;
        m_headBytes += length;
        *line = m_in.mid(m_pos, end - m_pos);
        if (line->endsWith('\r'))
            line->chop(1);
        m_pos = end + 1;
        return true;
    }

    bool parseStatusLine(const QByteArray &line)
    {
        if (!line.startsWith("HTTP/1.") || line.size() < 9)
            return false;
        m_keepAlive = line.at(7) != '0'; // HTTP/1.1 keeps the connection unless told otherwise
        const qsizetype space = line.indexOf(' ', 9);
        bool ok = false;
        m_head.status = line.mid(9, space < 0 ? -1 : space - 9).toInt(&ok);
        m_head.reason = space < 0 ? QByteArray() : line.mid(space + 1).trimmed();
        return line.at(8) == ' ' && ok && m_head.status >= 0 && m_head.status < 1000;
    }

    void parseHeaderLine(const QByteArray &line)
    {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0 || line.at(0) == ' ' || line.at(0) == '\t')
            return; // not a header line, or a folded continuation: nothing the update needs
        const QByteArray name = line.left(colon).trimmed().toLower();
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (name == "content-length") {
            bool ok = false;
            const qint64 length = value.toLongLong(&ok);
            m_head.length = ok && length >= 0 ? length : -1;
        } else if (name == "transfer-encoding") {
            m_chunked = value.toLower().endsWith("chunked");
        } else if (name == "connection") {
            const QByteArray tokens = value.toLower();
            if (tokens.contains("close"))
                m_keepAlive = false;
            else if (tokens.contains("keep-alive"))
                m_keepAlive = true;
        } else if (name == "location") {
            m_head.location = value;
        }
    }

    // The head is complete: tells the caller, and sets how the body ends. @return false when the
    // request has ended.
    bool headDone()
    {
        if (m_head.status >= 100 && m_head.status < 200) {
            const bool keepAlive = m_keepAlive;
            resetParser(); // an interim answer: the real one follows
            m_keepAlive = keepAlive;
            return true;
        }
        const quint64 id = m_current;
        if (QJHttpClient::Exchange *exchange = m_client->exchange(id)) {
            const QPointer<QJHttpConnection> alive(this);
            const QString error = exchange->handlers.head ? exchange->handlers.head(m_head) : QString();
            if (!alive || m_current != id)
                return false;
            if (!error.isEmpty()) {
                fail(error);
                return false;
            }
        }
        if (m_head.status == 204 || m_head.status == 304) {
            complete();
            return false;
        }
        if (m_chunked) {
            m_state = ChunkSize;
        } else {
            m_state = Body;
            m_remaining = m_head.length; // -1: until the connection closes
            if (m_remaining < 0)
                m_keepAlive = false;
            else if (m_remaining == 0) {
                complete();
                return false;
            }
        }
        return true;
    }

    // Hands @p size bytes of the body to the caller. @return false when the request has ended.
    bool deliver(qsizetype size)
    {
        const quint64 id = m_current;
        const QByteArrayView piece(m_in.constData() + m_pos, size);
        m_pos += size;
        QJHttpClient::Exchange *exchange = m_client->exchange(id);
        const QPointer<QJHttpConnection> alive(this);
        const QString error = exchange && exchange->handlers.body ? exchange->handlers.body(piece) : QString();
        if (!alive || m_current != id)
            return false;
        if (!error.isEmpty()) {
            fail(error);
            return false;
        }
        return true;
    }

    void parse()
    {
        QByteArray line;
        while (m_current && !m_dead) {
            const qsizetype available = m_in.size() - m_pos;
            switch (m_state) {
            case StatusLine:
                if (!takeLine(&line))
                    return;
                if (!parseStatusLine(line))
                    return broken();
                m_state = HeaderLines;
                break;
            case HeaderLines:
                if (!takeLine(&line))
                    return;
                if (line.isEmpty()) {
                    if (!headDone())
                        return;
                } else {
                    parseHeaderLine(line);
                }
                break;
            case Body: {
                if (available == 0)
                    return;
                const qsizetype size
                    = m_remaining < 0 ? available : qsizetype(std::min<qint64>(m_remaining, available));
                if (!deliver(size))
                    return;
                if (m_remaining >= 0 && (m_remaining -= size) == 0)
                    return complete();
                break;
            }
            case ChunkSize: {
                if (!takeLine(&line))
                    return;
                const qsizetype extension = line.indexOf(';');
                bool ok = false;
                m_remaining = (extension < 0 ? line : line.first(extension)).trimmed().toLongLong(&ok, 16);
                if (!ok || m_remaining < 0)
                    return broken();
                m_state = m_remaining == 0 ? Trailers : ChunkData;
                break;
            }
            case ChunkData: {
                if (available == 0)
                    return;
                const qsizetype size = qsizetype(std::min<qint64>(m_remaining, available));
                if (!deliver(size))
                    return;
                if ((m_remaining -= size) == 0)
                    m_state = ChunkEnd;
                break;
            }
            case ChunkEnd:
                if (!takeLine(&line))
                    return;
                if (!line.isEmpty())
                    return broken();
                m_state = ChunkSize;
                break;
            case Trailers:
                if (!takeLine(&line))
                    return;
                if (line.isEmpty())
                    return complete();
                break;
            }
        }
    }

    // The whole answer has arrived.
    void complete()
    {
        const quint64 id = m_current;
        m_current = 0;
        // Only a connection with nothing left over can carry the next answer.
        m_client->release(this, m_keepAlive && m_pos == m_in.size() && isOpen());
        m_in.clear();
        m_pos = 0;
        m_client->end(id, QString());
    }

    QJHttpClient *m_client;
    QString m_host;
    QTcpSocket *m_socket = nullptr;
    bool m_ready = false;
    bool m_dead = false;
    quint64 m_current = 0; // the request under way, 0 when idle
    QByteArray m_request; // not sent yet
    QByteArray m_in; // received, read up to m_pos
    qsizetype m_pos = 0;
    State m_state = StatusLine;
    QJHttpHead m_head;
    qsizetype m_headBytes = 0;
    qint64 m_remaining = 0; // of the body (-1: until closed) or of the chunk
    bool m_chunked = false;
    bool m_keepAlive = false;
};

QJHttpClient::QJHttpClient(QObject *parent) : QObject(parent) { }

QJHttpClient::~QJHttpClient() = default;

quint64 QJHttpClient::get(const QUrl &url, Handlers handlers)
{
    const quint64 id = m_nextId++;
    auto owned = std::make_unique<Exchange>();
    Exchange *request = owned.get();
    request->id = id;
    request->url = url;
    request->handlers = std::move(handlers);
    m_exchanges.emplace(id, std::move(owned));
    const QString scheme = url.scheme().toLower();
#if QT_CONFIG(ssl)
    const bool known = scheme == u"http" || scheme == u"https";
#else
    const bool known = scheme == u"http"; // Qt was built without TLS
#endif
    if (!known || url.host().isEmpty()) {
        // Reported later, as every other end, never from within this call.
        const QString error = u"Protocol \"%1\" is unknown"_s.arg(url.scheme());
        QMetaObject::invokeMethod(
            this, [this, id, error] { end(id, error); }, Qt::QueuedConnection);
        return id;
    }
    if (request->handlers.silence > 0) {
        request->silence = new QTimer(this);
        request->silence->setSingleShot(true);
        request->silence->setInterval(request->handlers.silence);
        connect(request->silence, &QTimer::timeout, this, [this, id] { abort(id, u"Operation canceled"_s); });
        request->silence->start();
    }
    dispatch(request, false);
    return id;
}

void QJHttpClient::dispatch(Exchange *exchange, bool fresh)
{
    const QString key = serverKey(exchange->url);
    QJHttpConnection *connection = nullptr;
    while (!fresh && !connection && m_idle.contains(key)) {
        QJHttpConnection *idle = m_idle.take(key);
        if (idle->isOpen())
            connection = idle;
        else
            idle->close();
    }
    exchange->onUsedConnection = connection != nullptr;
    if (!connection)
        connection = new QJHttpConnection(this, key, exchange->url);
    exchange->connection = connection;
    connection->start(exchange);
}

QJHttpClient::Exchange *QJHttpClient::exchange(quint64 id) const
{
    const auto found = m_exchanges.find(id);
    return found == m_exchanges.end() ? nullptr : found->second.get();
}

void QJHttpClient::release(QJHttpConnection *connection, bool reusable)
{
    if (reusable)
        m_idle.insert(connection->key, connection);
    else
        connection->close();
}

void QJHttpClient::drop(QJHttpConnection *connection)
{
    m_idle.remove(connection->key, connection);
}

void QJHttpClient::end(quint64 id, const QString &error)
{
    const auto found = m_exchanges.find(id);
    if (found == m_exchanges.end())
        return;
    const std::unique_ptr<Exchange> exchange = std::move(found->second);
    m_exchanges.erase(found);
    if (exchange->silence) {
        exchange->silence->stop();
        exchange->silence->deleteLater(); // this may run inside its timeout
    }
    if (exchange->handlers.done)
        exchange->handlers.done(error);
}

void QJHttpClient::connectionFailed(quint64 id, const QString &error)
{
    Exchange *exchange = this->exchange(id);
    // A server may close a kept connection just as it is used again: the request goes once more,
    // on a new connection, when nothing of its answer had come.
    if (exchange && exchange->onUsedConnection && !exchange->answered && !exchange->retried) {
        exchange->retried = true;
        dispatch(exchange, true);
        return;
    }
    end(id, error);
}

void QJHttpClient::abort(quint64 id, const QString &why)
{
    Exchange *exchange = this->exchange(id);
    if (!exchange)
        return;
    if (exchange->connection) {
        drop(exchange->connection);
        exchange->connection->close();
    }
    end(id, why);
}
