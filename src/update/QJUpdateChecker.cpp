// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJUpdateChecker.h"
#include "NSStringDeletion.h"
#include "NaturalStringComparison.h"
#include "QJBundle.h"
#include "QJPropertyListSerialization.h"
#include "qjhttpclient_p.h"
#include "qjkitversion.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkInformation>
#include <QThread>
#include <QTimer>

#include <vector>

using namespace Qt::StringLiterals;

const QString QJAutoUpdateGetInfoBaseURL = QStringLiteral(QJKIT_UPDATE_BASE_URL);
const QString QJAutoUpdateLastCheckKey = u"QJAutoUpdateLastCheck"_s;
const QString QJAutoUpdateSearchOnStartupKey = u"QJAutoUpdateSearchOnStartup"_s;
const QString QJAutoUpdateNibName = u"QJAutoUpdate"_s;
const QString QJAutoUpdateStringsFileName = u"QJAutoUpdate"_s;
const QString QJAutoUpdateBaseURLKey = u"QJAutoUpdateBaseURL"_s;

namespace
{
// Records are fetched a few at a time, so a request's time-out counts from when it is really sent.
constexpr int ParallelRecords = 4;

bool isLoopbackHost(const QString &host)
{
    const QHostAddress address(host);
    return host.compare(u"localhost"_s, Qt::CaseInsensitive) == 0 || (!address.isNull() && address.isLoopback());
}

int effectivePort(const QUrl &url)
{
    return url.port(url.scheme().compare(u"https"_s, Qt::CaseInsensitive) == 0 ? 443 : 80);
}

bool sameServer(const QUrl &a, const QUrl &b)
{
    return a.scheme().compare(b.scheme(), Qt::CaseInsensitive) == 0
        && a.host().compare(b.host(), Qt::CaseInsensitive) == 0 && effectivePort(a) == effectivePort(b);
}

// A record's field as text: strings as they are, numbers and dates written out, anything else empty.
QString fieldText(const QJValue &value)
{
    if (value.isString())
        return value.toString();
    if (value.isNumber() || value.isDate())
        return value.description();
    return QString();
}

// The package named by a record: a file name in the version directory or an http(s) address. A
// record naming one without a usable address, length or signature names none.
void readPackageFields(const QJDictionary &fields, const QUrl &directory, QJUpdateRecord *record)
{
    const QString package = fieldText(fields.objectForKey(u"package"_s));
    const QJValue length = fields.objectForKey(u"length"_s);
    const QString signature = fields.objectForKey(u"signature"_s).toString();
    const QString webPage = fields.objectForKey(u"webPage"_s).toString();
    const QUrl page(webPage, QUrl::StrictMode);
    if (page.isValid() && (page.scheme() == u"http" || page.scheme() == u"https"))
        record->webPage = page;
    if (package.isEmpty() || !length.isNumber() || signature.isEmpty())
        return;
    QUrl address;
    if (package.startsWith(u"http://"_s) || package.startsWith(u"https://"_s))
        address = QUrl(package, QUrl::StrictMode);
    else if (!package.contains(u'/'))
        address = directory.resolved(QUrl(QString::fromLatin1(QUrl::toPercentEncoding(package)), QUrl::StrictMode));
    const qint64 bytes = length.toInteger();
    if (!address.isValid() || address.host().isEmpty() || bytes < 0)
        return;
    record->package = address;
    record->length = bytes;
    record->signature = signature;
}

} // namespace

class QJUpdateCheckerPrivate
{
public:
    explicit QJUpdateCheckerPrivate(QJUpdateChecker *q) : q(q) { }

    using Done = std::function<void(const QByteArray &data, const QString &error)>;
    void fetch(const QUrl &url, Done done);
    void fetchHop(const QUrl &origin, const QUrl &url, int hops, QDeadlineTimer due, Done done);
    void lookUpHost();
    void fetchIndex();
    void indexArrived(const QByteArray &data, const QString &error);
    void fetchRecords();
    void recordArrived(qsizetype index, const QByteArray &data);
    void finish(QJUpdateCheckResult::Status status, const QString &reason = QString());
    void stopRequests();
    void dropLookupTimer()
    {
        // Later: this may run inside the timer's own timeout.
        if (lookupTimer) {
            lookupTimer->stop();
            lookupTimer->deleteLater();
            lookupTimer = nullptr;
        }
    }

    QJUpdateChecker *q;
    QUrl baseUrl;
    QString applicationName;
    QString installedBuild;
    QString descriptionKey;
    bool descriptionKeyChosen = false; // by setDescriptionKey(), not the user's language
    int timeout = 10000;
    int checkTimeout = 60000;
    qint64 maximumSize = qint64(4) * 1024 * 1024;
    int maximumRedirects = 5;
    int maximumVersions = 100;
    QJUpdateChecker::ReachabilityTest reachability;
    // Until a test is set, the system's, made when a check first asks a remote server.
    bool systemReachability = true;

    bool running = false;
    bool expired = false; // the whole check's time is up: no request is started any more
    quint64 run = 0; // tells callbacks of a stopped check from those of the running one
    QJUpdateCheckResult result;
    QJHttpClient *http = nullptr;
    QTimer *deadline = nullptr;
    QTimer *lookupTimer = nullptr;
    int lookupId = -1;
    std::vector<quint64> active; // the requests under way
    QStringList keys; // newer keys, newest first
    qsizetype nextRecord = 0;
};

void QJUpdateCheckerPrivate::fetch(const QUrl &url, Done done)
{
    fetchHop(url, url, 0, QDeadlineTimer(timeout), std::move(done));
}

// One request of a fetch: @p origin is the address first asked, @p hops the redirects followed so
// far. Redirects are followed here, so each one is checked and counted; the time-out covers all of
// them together, and ends a server that trickles as well as a silent one.
void QJUpdateCheckerPrivate::fetchHop(const QUrl &origin, const QUrl &url, int hops, QDeadlineTimer due, Done done)
{
    if (!http)
        http = new QJHttpClient(q);
    struct State
    {
        QByteArray data;
        QJHttpHead head;
        QTimer *timer;
        quint64 id = 0;
    };
    auto state = std::make_shared<State>();
    state->timer = new QTimer(q);
    const quint64 myRun = run;
    QJHttpClient::Handlers handlers;
    handlers.head = [this, state](const QJHttpHead &head) {
        state->head = head;
        return head.length > maximumSize ? u"the answer is larger than %1 bytes"_s.arg(maximumSize) : QString();
    };
    handlers.body = [this, state](QByteArrayView piece) {
        state->data += piece.first(std::min<qint64>(piece.size(), maximumSize + 1 - state->data.size()));
        return state->data.size() > maximumSize ? u"the answer is larger than %1 bytes"_s.arg(maximumSize) : QString();
    };
    handlers.done = [=, this](QString error) {
        state->timer->stop();
        state->timer->deleteLater(); // this may run inside its timeout
        std::erase(active, state->id);
        if (myRun != run)
            return; // the check was stopped
        const int status = state->head.status;
        if (error.isEmpty() && state->head.isRedirect()) {
            const QUrl next = url.resolved(QUrl::fromEncoded(state->head.location));
            if (!sameServer(origin, next))
                done({}, u"redirected to another server (%1)"_s.arg(next.toDisplayString()));
            else if (hops >= maximumRedirects)
                done({}, u"more than %1 redirects"_s.arg(maximumRedirects));
            else if (expired || due.hasExpired())
                done({}, u"no answer within %1 ms"_s.arg(timeout));
            else
                fetchHop(origin, next, hops + 1, due, done);
            return;
        }
        // A status the server gave says more, and more briefly, than a transfer error.
        if (error.isEmpty() && status != 0 && (status < 200 || status > 299))
            error = u"HTTP status %1 %2"_s.arg(status).arg(QString::fromLatin1(state->head.reason)).trimmed();
        done(error.isEmpty() ? state->data : QByteArray(), error);
    };
    state->id = http->get(url, std::move(handlers));
    active.push_back(state->id);
    state->timer->setSingleShot(true);
    QObject::connect(state->timer, &QTimer::timeout, q,
        [this, id = state->id] { http->abort(id, u"no answer within %1 ms"_s.arg(timeout)); });
    state->timer->start(std::max<qint64>(0, due.remainingTime()));
}

void QJUpdateCheckerPrivate::lookUpHost()
{
    const QString host = result.directory.host();
    if (!QHostAddress(host).isNull()) {
        fetchIndex();
        return;
    }
    const quint64 myRun = run;
    lookupTimer = new QTimer(q);
    lookupTimer->setSingleShot(true);
    QObject::connect(lookupTimer, &QTimer::timeout, q, [this, host] {
        QHostInfo::abortHostLookup(lookupId);
        lookupId = -1;
        finish(QJUpdateCheckResult::NotReachable, u"looking up %1 took too long"_s.arg(host));
    });
    lookupTimer->start(timeout);
    lookupId = QHostInfo::lookupHost(host, q, [this, myRun, host](const QHostInfo &info) {
        if (myRun != run || !running)
            return;
        lookupId = -1;
        dropLookupTimer();
        if (info.error() != QHostInfo::NoError || info.addresses().isEmpty())
            finish(QJUpdateCheckResult::NotReachable, u"%1: %2"_s.arg(host, info.errorString()));
        else
            fetchIndex();
    });
}

void QJUpdateCheckerPrivate::fetchIndex()
{
    QUrl index = result.directory;
    index.setPath(result.directory.path(QUrl::FullyEncoded) + u"info.plist"_s, QUrl::TolerantMode);
    fetch(index, [this](const QByteArray &data, const QString &error) { indexArrived(data, error); });
}

void QJUpdateCheckerPrivate::indexArrived(const QByteArray &data, const QString &error)
{
    QStringList published;
    QString reason;
    if (!error.isEmpty()) {
        reason = error;
    } else {
        QString parseError;
        const QJValue index
            = QJPropertyListSerialization::propertyListFromData(data, QJMutability::Immutable, nullptr, &parseError);
        if (index.isDictionary())
            published = index.toDictionary().allKeys();
        else
            reason = u"not a property-list dictionary"_s + (parseError.isEmpty() ? QString() : u": "_s + parseError);
    }
    keys = QJUpdateChecker::newerVersions(published, installedBuild);
    if (maximumVersions >= 0 && keys.size() > maximumVersions)
        keys.resize(maximumVersions);
    if (keys.isEmpty()) {
        finish(QJUpdateCheckResult::NoUpdate, reason);
        return;
    }
    result.records.clear();
    for (const QString &key : std::as_const(keys)) {
        QJUpdateRecord record;
        record.key = key;
        result.records.append(record);
    }
    nextRecord = 0;
    fetchRecords();
}

void QJUpdateCheckerPrivate::fetchRecords()
{
    while (running && active.size() < size_t(ParallelRecords) && nextRecord < keys.size()) {
        if (expired) {
            nextRecord = keys.size(); // out of time: the remaining records stay empty
            break;
        }
        const qsizetype index = nextRecord++;
        fetch(QJUpdateChecker::recordUrl(result.directory, keys.at(index)),
            [this, index](const QByteArray &data, const QString &) { recordArrived(index, data); });
    }
    if (running && active.empty() && nextRecord >= keys.size())
        finish(QJUpdateCheckResult::UpdateAvailable);
}

void QJUpdateCheckerPrivate::recordArrived(qsizetype index, const QByteArray &data)
{
    const QJValue record = QJPropertyListSerialization::propertyListFromData(data);
    if (record.isDictionary()) {
        const QJDictionary fields = record.toDictionary();
        result.records[index].version = fieldText(fields.objectForKey(u"version"_s));
        // Servers often publish a version before its texts are translated: English then, not
        // nothing, for the user's language. A key set on purpose means that key alone.
        QJValue description = fields.objectForKey(descriptionKey);
        if (description.isNone() && !descriptionKeyChosen)
            description = fields.objectForKey(u"en"_s);
        result.records[index].description = fieldText(description);
        readPackageFields(fields, result.directory, &result.records[index]);
    }
    fetchRecords();
}

void QJUpdateCheckerPrivate::stopRequests()
{
    ++run;
    if (lookupId >= 0) {
        QHostInfo::abortHostLookup(lookupId);
        lookupId = -1;
    }
    dropLookupTimer();
    const std::vector<quint64> requests = std::exchange(active, {});
    for (const quint64 id : requests)
        http->abort(id, u"cancelled"_s);
}

void QJUpdateCheckerPrivate::finish(QJUpdateCheckResult::Status status, const QString &reason)
{
    if (!running)
        return;
    running = false;
    if (deadline)
        deadline->stop();
    stopRequests();
    result.status = status;
    result.reason = reason;
    if (status != QJUpdateCheckResult::UpdateAvailable)
        result.records.clear();
    Q_EMIT q->finished(result);
}

QJUpdateChecker::QJUpdateChecker(QObject *parent) : QObject(parent), d(std::make_unique<QJUpdateCheckerPrivate>(this))
{
    qRegisterMetaType<QJUpdateCheckResult>();
    const QJBundle main = QJBundle::mainBundle();
    d->baseUrl = infoBaseUrl();
    d->applicationName = main.objectForInfoDictionaryKey(u"CFBundleName"_s).toString();
    d->installedBuild = main.objectForInfoDictionaryKey(u"CFBundleVersion"_s).toString();
    d->descriptionKey = localizedDescriptionKey();
}

QJUpdateChecker::~QJUpdateChecker()
{
    d->running = false;
    d->stopRequests();
}

QUrl QJUpdateChecker::infoBaseUrl()
{
    const QString custom = QJBundle::mainBundle().objectForInfoDictionaryKey(QJAutoUpdateBaseURLKey).toString();
    return QUrl(custom.isEmpty() ? QJAutoUpdateGetInfoBaseURL : custom);
}

QUrl QJUpdateChecker::directoryUrl(const QUrl &base, const QString &applicationName)
{
    const QString name = NSStringDeletion::stringByDeletingSpaces(applicationName).toLower();
    QString path = base.path(QUrl::FullyEncoded);
    if (!path.endsWith(u'/'))
        path += u'/';
    QUrl directory = base;
    directory.setPath(path + QString::fromLatin1(QUrl::toPercentEncoding(name)) + u'/', QUrl::TolerantMode);
    directory.setQuery(QString());
    directory.setFragment(QString());
    return directory;
}

QUrl QJUpdateChecker::recordUrl(const QUrl &directory, const QString &key)
{
    // Every reserved character is encoded, "/" included, so "../x" is one segment "..%2Fx.plist".
    QUrl record = directory;
    record.setPath(directory.path(QUrl::FullyEncoded) + QString::fromLatin1(QUrl::toPercentEncoding(key)) + u".plist"_s,
        QUrl::TolerantMode);
    return record;
}

QStringList QJUpdateChecker::newerVersions(const QStringList &keys, const QString &installedBuild)
{
    // A key stays only when the installed build orders first; one linear pass keeps the index's order.
    QStringList newer = keys;
    newer.removeIf([&installedBuild](const QString &key) {
        return NaturalStringComparison::hexanumericalCompare(installedBuild, key) != -1;
    });
    // Version keys come from a server: the sort must stay in bounds whatever they are.
    NaturalStringComparison::stableSort(newer.begin(), newer.end(), NaturalStringComparison::HexanumericalOrder());
    std::reverse(newer.begin(), newer.end());
    return newer;
}

QString QJUpdateChecker::localizedDescriptionKey()
{
    return QJBundle::frameworkBundle().localizedStringForKey(u"updateKey"_s, QString(), QJAutoUpdateStringsFileName);
}

QJUpdateChecker::ReachabilityTest QJUpdateChecker::systemReachabilityTest()
{
    bool offline = false;
    const QCoreApplication *app = QCoreApplication::instance();
    if (app && QThread::currentThread() == app->thread()) {
        static bool tried = false;
        if (!tried) {
            tried = true;
            // Any backend that knows reachability will do; without one the machine is taken as online.
            QNetworkInformation::loadBackendByFeatures(QNetworkInformation::Feature::Reachability);
        }
        if (const QNetworkInformation *info = QNetworkInformation::instance())
            offline = info->reachability() == QNetworkInformation::Reachability::Disconnected;
    }
    return [offline](const QUrl &server, QString *reason) {
        if (offline && !isLoopbackHost(server.host())) {
            if (reason)
                *reason = u"the network is offline"_s;
            return false;
        }
        return true;
    };
}

void QJUpdateChecker::setBaseUrl(const QUrl &url)
{
    d->baseUrl = url;
}
QUrl QJUpdateChecker::baseUrl() const
{
    return d->baseUrl;
}
void QJUpdateChecker::setApplicationName(const QString &name)
{
    d->applicationName = name;
}
QString QJUpdateChecker::applicationName() const
{
    return d->applicationName;
}
void QJUpdateChecker::setInstalledBuild(const QString &build)
{
    d->installedBuild = build;
}
QString QJUpdateChecker::installedBuild() const
{
    return d->installedBuild;
}
void QJUpdateChecker::setDescriptionKey(const QString &key)
{
    d->descriptionKey = key;
    d->descriptionKeyChosen = true;
}
QString QJUpdateChecker::descriptionKey() const
{
    return d->descriptionKey;
}
QUrl QJUpdateChecker::directoryUrl() const
{
    return directoryUrl(d->baseUrl, d->applicationName);
}
void QJUpdateChecker::setTimeout(int milliseconds)
{
    d->timeout = std::max(1, milliseconds);
}
int QJUpdateChecker::timeout() const
{
    return d->timeout;
}
void QJUpdateChecker::setCheckTimeout(int milliseconds)
{
    d->checkTimeout = std::max(1, milliseconds);
}
int QJUpdateChecker::checkTimeout() const
{
    return d->checkTimeout;
}
void QJUpdateChecker::setMaximumSize(qint64 bytes)
{
    d->maximumSize = std::max<qint64>(0, bytes);
}
qint64 QJUpdateChecker::maximumSize() const
{
    return d->maximumSize;
}
void QJUpdateChecker::setMaximumRedirects(int count)
{
    d->maximumRedirects = std::max(0, count);
}
int QJUpdateChecker::maximumRedirects() const
{
    return d->maximumRedirects;
}
void QJUpdateChecker::setMaximumVersions(int count)
{
    d->maximumVersions = count;
}
int QJUpdateChecker::maximumVersions() const
{
    return d->maximumVersions;
}
void QJUpdateChecker::setReachabilityTest(ReachabilityTest test)
{
    d->reachability = std::move(test);
    d->systemReachability = false;
}

bool QJUpdateChecker::isRunning() const
{
    return d->running;
}

void QJUpdateChecker::start()
{
    if (d->running)
        return;
    d->running = true;
    d->expired = false;
    ++d->run;
    d->result = QJUpdateCheckResult();
    d->result.directory = directoryUrl();
    if (!d->deadline) {
        d->deadline = new QTimer(this);
        d->deadline->setSingleShot(true);
        connect(d->deadline, &QTimer::timeout, this, [this] {
            // Out of time: stop what is under way; requests not yet sent are not sent.
            d->expired = true;
            const std::vector<quint64> requests = d->active;
            for (const quint64 id : requests)
                d->http->abort(id, u"Operation canceled"_s);
            if (d->lookupId >= 0)
                d->finish(QJUpdateCheckResult::NotReachable, u"the check took too long"_s);
        });
    }
    d->deadline->start(d->checkTimeout);

    const QUrl &directory = d->result.directory;
    const QString scheme = directory.scheme().toLower();
    if (!directory.isValid() || directory.host().isEmpty() || (scheme != u"http" && scheme != u"https")) {
        d->finish(QJUpdateCheckResult::NotReachable, u"not an http or https address: %1"_s.arg(directory.toString()));
        return;
    }
    // The system's test loads a network-information plugin, milliseconds of a check against a
    // server on this machine, which it exempts anyway: only a remote server waits for it.
    if (d->systemReachability && !isLoopbackHost(directory.host())) {
        d->reachability = systemReachabilityTest();
        d->systemReachability = false;
    }
    QString reason;
    if (d->reachability && !d->reachability(directory, &reason)) {
        d->finish(QJUpdateCheckResult::NotReachable, reason.isEmpty() ? u"the server cannot be reached"_s : reason);
        return;
    }
    d->lookUpHost();
}

QJUpdateCheckResult QJUpdateChecker::check()
{
    QEventLoop loop;
    bool done = false;
    QJUpdateCheckResult result;
    const auto connection = connect(this, &QJUpdateChecker::finished, &loop, [&](const QJUpdateCheckResult &r) {
        result = r;
        done = true;
        loop.quit();
    });
    start();
    if (!done)
        loop.exec(); // returns at once, or early, when the thread is told to quit
    disconnect(connection);
    if (!done) {
        abort();
        result = QJUpdateCheckResult();
        result.status = QJUpdateCheckResult::Cancelled;
        result.directory = directoryUrl();
    }
    return result;
}

void QJUpdateChecker::abort()
{
    d->finish(QJUpdateCheckResult::Cancelled, u"cancelled"_s);
}
