// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBootManager.h"
#include "QJNotificationCenter.h"

#include <QHash>
#include <QTimer>

#include <algorithm>

#include <cstdlib>
#include <cxxabi.h>
#include <stdexcept>

using namespace Qt::StringLiterals;

const QString QJApplicationBootFinishedNotification = u"QJApplicationBootFinished"_s;
const QString QJApplicationShutdownFinishedNotification = u"QJApplicationShutdownFinished"_s;
const QString QJApplicationWillFinishLaunchingNotification = u"QJApplicationWillFinishLaunching"_s;
const QString QJApplicationWillTerminateNotification = u"QJApplicationWillTerminate"_s;

// Constant-initialized, so classes may register from static initializers of other files.
constinit QStringList applicationBootSequences;
constinit QList<QJShutdownRegistration> applicationShutdownSequences;
constinit QJBootManager *sharedBootManager = nullptr;

QJBootSequence::~QJBootSequence() = default;
QJBootSequenceName::~QJBootSequenceName() = default;
QJShutdownSequence::~QJShutdownSequence() = default;
QJBootStatusPanelProvider::~QJBootStatusPanelProvider() = default;

namespace
{
// The class registry: what NSClassFromString and +sharedInstance / +alloc are to the platform.
QHash<QString, QJBootManager::ClassFactory> &classFactories()
{
    static QHash<QString, QJBootManager::ClassFactory> factories;
    return factories;
}

[[noreturn]] void invalidObject()
{
    throw std::invalid_argument("invalid or nil object given");
}

// Start-up and shut-down advance alike: from the participant after the one that reported (from the
// first when the manager starts or resumes), each takes its turn until one says it reports later.
// @p turn runs one participant and answers whether it is done; @p run counts advances, so a loop
// notices a participant that reported (and so advanced the sequence) from inside its turn.
// @return whether the sequence is complete.
template<typename Participant, typename Turn>
bool advance(const std::optional<QList<Participant>> &participants, const void *identity, bool fromManager,
    quint64 &run, const Turn &turn)
{
    qsizetype position = -1;
    if (!fromManager) {
        if (!identity)
            invalidObject();
        const auto found = std::find_if(participants->cbegin(), participants->cend(),
            [identity](const Participant &p) { return p.identity == identity; });
        if (found == participants->cend())
            invalidObject();
        position = found - participants->cbegin();
    }
    const quint64 mine = ++run;
    for (qsizetype i = position + 1; i < participants->size(); ++i) {
        const Participant participant = participants->at(i); // a copy: the turn may end the list
        if (!turn(participant) || mine != run || !participants)
            return false;
    }
    return true;
}
} // namespace

QJBootManager::QJBootManager(QObject *parent) : QObject(parent), _bootObjects(QList<BootParticipant>())
{
    auto *center = QJNotificationCenter::defaultCenter();
    center->addObserver(
        QJApplicationWillFinishLaunchingNotification, this, [this](const QJNotification &) { startBootSequence(); });
    center->addObserver(
        QJApplicationWillTerminateNotification, this, [this](const QJNotification &) { startShutdownSequence(); });
    sharedBootManager = this;
}

QJBootManager::~QJBootManager()
{
    QJNotificationCenter::defaultCenter()->removeObserver(this);
    if (sharedBootManager == this)
        sharedBootManager = nullptr;
}

void QJBootManager::registerClassForBootSequence(const QString &className, ClassFactory factory)
{
    if (className.isEmpty() || applicationBootSequences.contains(className))
        return;
    applicationBootSequences.append(className);
    if (factory && !classFactories().contains(className))
        classFactories().insert(className, std::move(factory));
}

QString QJBootManager::demangledTypeName(const std::type_info &type)
{
    int status = 0;
    char *readable = abi::__cxa_demangle(type.name(), nullptr, nullptr, &status);
    const QString name = QString::fromUtf8(status == 0 && readable ? readable : type.name());
    std::free(readable);
    return name;
}

void QJBootManager::registerObjectForShutdownSequence(QObject *object)
{
    if (!object)
        return;
    for (const auto &entry : std::as_const(applicationShutdownSequences)) {
        if (entry.object == object)
            return;
    }
    applicationShutdownSequences.append({object, nullptr});
}

void QJBootManager::registerObjectForShutdownSequence(const std::shared_ptr<QObject> &object)
{
    if (!object)
        return;
    for (const auto &entry : std::as_const(applicationShutdownSequences)) {
        if (entry.object == object.get())
            return;
    }
    applicationShutdownSequences.append({object.get(), object});
}

void QJBootManager::objectFinishedBootSequence(QJBootSequence *participant)
{
    if (sharedBootManager)
        sharedBootManager->advanceBoot(dynamic_cast<const void *>(participant), false);
}

void QJBootManager::objectFinishedBootSequence(QJBootManager *manager)
{
    if (!sharedBootManager)
        return;
    if (manager == sharedBootManager)
        sharedBootManager->advanceBoot(nullptr, true);
    else
        sharedBootManager->advanceBoot(manager, false);
}

void QJBootManager::objectFinishedShutdownSequence(QJShutdownSequence *participant)
{
    if (sharedBootManager)
        sharedBootManager->advanceShutdown(dynamic_cast<const void *>(participant), false);
}

void QJBootManager::objectFinishedShutdownSequence(QJBootManager *manager)
{
    if (!sharedBootManager)
        return;
    if (manager == sharedBootManager)
        sharedBootManager->advanceShutdown(nullptr, true);
    else
        sharedBootManager->advanceShutdown(manager, false);
}

bool QJBootManager::isBootFinished()
{
    return sharedBootManager && sharedBootManager->_bootFinished && !sharedBootManager->_statusPanelTimer;
}

bool QJBootManager::isShutdownFinished()
{
    return sharedBootManager && sharedBootManager->_shutdownFinished;
}

void QJBootManager::setMinimumTimeForBootStatusPanel(double seconds)
{
    if (sharedBootManager)
        sharedBootManager->_statusPanelMinTime = seconds;
}

void QJBootManager::provideObjectForBootStatusPanel(QJBootStatusPanelProvider *provider)
{
    if (sharedBootManager)
        sharedBootManager->setProvider(provider);
}

QJBootManager *QJBootManager::_sharedBootManager()
{
    return sharedBootManager;
}

void QJBootManager::setProvider(QJBootStatusPanelProvider *provider)
{
    _statusPanelProvider = provider;
    m_providerGuard = dynamic_cast<QObject *>(provider);
}

QJBootStatusPanelProvider *QJBootManager::provider() const
{
    // A provider that is a QObject is watched, so a destroyed panel is never called.
    if (_statusPanelProvider && dynamic_cast<QObject *>(_statusPanelProvider) && !m_providerGuard)
        return nullptr;
    return _statusPanelProvider;
}

void QJBootManager::startBootSequence()
{
    if (m_bootStarted || !_bootObjects)
        return;
    m_bootStarted = true;
    const QStringList names = applicationBootSequences;
    for (const QString &name : names) {
        const ClassFactory factory = classFactories().value(name);
        if (factory) {
            QJBootClassObject object = factory();
            if (object.owner)
                m_freshObjects.push_back(std::move(object.owner));
            if (object.bootSequence) {
                _bootObjects->append({object.bootSequence, object.bootSequenceName,
                    dynamic_cast<const void *>(object.bootSequence), object.qobject, object.qobject != nullptr});
            }
        }
        // Inside the loop on purpose: the panel opens while the first class is handled, and only then.
        if (QJBootStatusPanelProvider *panel = provider(); panel && !_statusPanelTimer && !_statusPanelCanClose) {
            panel->openBootStatusPanel();
            _statusPanelTimer = new QTimer(this);
            _statusPanelTimer->setSingleShot(true);
            _statusPanelTimer->setInterval(std::max(0, int(_statusPanelMinTime * 1000.0 + 0.5)));
            connect(_statusPanelTimer, &QTimer::timeout, this, &QJBootManager::statusPanelCanClose);
            _statusPanelTimer->start();
        }
    }
    advanceBoot(nullptr, true);
}

void QJBootManager::advanceBoot(const void *identity, bool fromManager)
{
    if (!_bootObjects)
        return; // start-up is complete: a late report changes nothing
    const bool complete = advance(_bootObjects, identity, fromManager, m_bootRun, [this](const BootParticipant &p) {
        if (p.guarded && !p.guard)
            return true; // destroyed before its turn
        if (QJBootStatusPanelProvider *panel = provider())
            panel->setBootStatusPanelInfo(p.name ? p.name->bootSequenceName() : QString());
        return p.object->bootSequence();
    });
    if (!complete)
        return;
    _bootFinished = true;
    _bootObjects.reset();
    finishBoot();
}

void QJBootManager::statusPanelCanClose()
{
    _statusPanelCanClose = true;
    if (_statusPanelTimer) {
        _statusPanelTimer->deleteLater();
        _statusPanelTimer = nullptr;
    }
    if (_bootFinished)
        finishBoot();
}

void QJBootManager::finishBoot()
{
    if (m_bootPosted)
        return;
    QJBootStatusPanelProvider *panel = provider();
    if (_statusPanelCanClose) {
        if (panel)
            panel->closeBootStatusPanel();
    } else if (panel) {
        panel->setBootStatusPanelInfo(QString());
        return; // the panel's timer calls again
    }
    m_bootPosted = true;
    QJNotificationCenter::defaultCenter()->post(QJApplicationBootFinishedNotification);
    Q_EMIT bootFinished();
}

void QJBootManager::startShutdownSequence()
{
    if (m_shutdownStarted)
        return;
    m_shutdownStarted = true;
    QJNotificationCenter::defaultCenter()->removeObserver(this);
    _shutdownObjects.emplace();
    for (QJShutdownRegistration &entry : applicationShutdownSequences) {
        if (QObject *object = entry.object) {
            if (auto *participant = dynamic_cast<QJShutdownSequence *>(object))
                _shutdownObjects->append({participant, dynamic_cast<const void *>(participant), object, entry.claim});
        }
        // The registry gives up its share of every object; the entries themselves stay.
        entry.claim.reset();
    }
    advanceShutdown(nullptr, true);
}

void QJBootManager::advanceShutdown(const void *identity, bool fromManager)
{
    if (!_shutdownObjects)
        return; // not running: nothing to advance
    const bool complete = advance(_shutdownObjects, identity, fromManager, m_shutdownRun,
        [](const ShutdownParticipant &p) { return !p.guard || p.object->shutdownSequence(); });
    if (!complete)
        return;
    _shutdownFinished = true;
    _shutdownObjects.reset();
    QJNotificationCenter::defaultCenter()->post(QJApplicationShutdownFinishedNotification);
    Q_EMIT shutdownFinished();
}
