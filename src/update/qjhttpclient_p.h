// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QByteArray>
#include <QMultiHash>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <unordered_map>

class QJHttpConnection;

// The status line and the header lines of an answer, as far as the update needs them.
struct QJHttpHead
{
    int status = 0;
    QByteArray reason; // the reason phrase, trimmed
    QByteArray location; // the Location header, as sent; empty when there is none
    qint64 length = -1; // the Content-Length; -1 when the answer gives none (or a broken one)

    // @return whether the status is one of those that name a new address in Location.
    bool isRedirect() const
    {
        return status == 301 || status == 302 || status == 303 || status == 305 || status == 307 || status == 308;
    }
};

// A small HTTP/1.1 client for the update check and the update download: GET only, on this thread,
// the answers read in large pieces as they arrive. A connection the server keeps open is used
// again for the next request to the same server; requests under way at the same time each have a
// connection of their own. Redirects are not followed here: the caller sees them and decides.
//
// Time limits belong to the caller, except the silence limit of a request (see Handlers).
class QJHttpClient : public QObject
{
public:
    // What one request reports. Each handler may end the request by returning an error text; done()
    // then follows with that text.
    struct Handlers
    {
        // The status line and headers have arrived (answers 1xx are skipped).
        std::function<QString(const QJHttpHead &)> head;
        // A piece of the body, in order.
        std::function<QString(QByteArrayView)> body;
        // The request has ended, exactly once: @p error is empty when the whole answer arrived.
        std::function<void(const QString &error)> done;
        // Ends the request with "Operation canceled" after this many milliseconds in which nothing
        // arrived; 0 for no limit.
        int silence = 0;
    };

    explicit QJHttpClient(QObject *parent = nullptr);
    ~QJHttpClient() override;

    // Starts a GET of the http or https address @p url. @return its id. done() is never called from
    // within this call, not even for an address that cannot be asked.
    quint64 get(const QUrl &url, Handlers handlers);
    // Ends the request @p id, if it is still under way, with done(@p why). Its connection is closed.
    void abort(quint64 id, const QString &why);

private:
    friend class QJHttpConnection;
    struct Exchange;

    void dispatch(Exchange *exchange, bool fresh);
    void release(QJHttpConnection *connection, bool reusable);
    void drop(QJHttpConnection *connection);
    void end(quint64 id, const QString &error);
    void connectionFailed(quint64 id, const QString &error);
    Exchange *exchange(quint64 id) const;

    quint64 m_nextId = 1;
    std::unordered_map<quint64, std::unique_ptr<Exchange>> m_exchanges; // the requests under way
    QMultiHash<QString, QJHttpConnection *> m_idle; // open connections by server, free for a request
};
