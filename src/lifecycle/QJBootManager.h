// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJBootSequence.h"
#include "qjkitcore_export.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <typeinfo>
#include <vector>

class QTimer;
class QJBootManager;

/** "QJApplicationBootFinished": posted once, when start-up is complete and the status panel may close. */
QJKITCORE_EXPORT extern const QString QJApplicationBootFinishedNotification;
/** "QJApplicationShutdownFinished": posted once, when the last shut-down participant has finished. */
QJKITCORE_EXPORT extern const QString QJApplicationShutdownFinishedNotification;
/** "QJApplicationWillFinishLaunching": posted by the application when its event loop starts; starts the boot sequence.
 */
QJKITCORE_EXPORT extern const QString QJApplicationWillFinishLaunchingNotification;
/** "QJApplicationWillTerminate": posted by the application when it is about to quit; starts the shut-down sequence. */
QJKITCORE_EXPORT extern const QString QJApplicationWillTerminateNotification;

/**
 * What a registered class yields when start-up begins: its object, and the roles the object takes.
 */
struct QJBootClassObject
{
    /** The object as a start-up participant, or nullptr when it does not conform to QJBootSequence. */
    QJBootSequence *bootSequence = nullptr;
    /** The object as a namer of its step, or nullptr. */
    QJBootSequenceName *bootSequenceName = nullptr;
    /** The object as a QObject, or nullptr; a participant that is destroyed before its turn is skipped. */
    QObject *qobject = nullptr;
    /** Set when the object was made fresh for the start-up: the manager keeps it for its own lifetime. */
    std::shared_ptr<void> owner;
};

/**
 * One entry of the shut-down registry. The registry holds a share of the object (@c claim) when the
 * object was registered by std::shared_ptr, and only watches it when it was registered by pointer.
 */
struct QJShutdownRegistration
{
    /** The registered object; null once it has been destroyed. */
    QPointer<QObject> object;
    /** The registry's share of the object; given up when shut-down starts. */
    std::shared_ptr<QObject> claim;
};

/** The names of the classes registered for start-up, in registration order. */
QJKITCORE_EXPORT extern QStringList applicationBootSequences;
/** The objects registered for shut-down, in registration order. */
QJKITCORE_EXPORT extern QList<QJShutdownRegistration> applicationShutdownSequences;
/** The one boot manager (made by QJApplication or QJCoreApplication), or nullptr. */
QJKITCORE_EXPORT extern QJBootManager *sharedBootManager;

namespace QJBootClassDetail
{
template<typename T>
concept HasSharedInstance = requires
{
    {
        T::sharedInstance()
        } -> std::convertible_to<T *>;
};
template<typename T>
concept HasMetaObject = requires
{
    T::staticMetaObject.className();
};
} // namespace QJBootClassDetail

/**
 * Runs the application's start-up and shut-down participants in a fixed order.
 *
 * Classes register for start-up before the application finishes launching. When the application
 * posts QJApplicationWillFinishLaunchingNotification, the manager obtains each class's object
 * (its sharedInstance() when it has one, else a fresh object that the manager keeps), opens the
 * status panel while the first class is handled, and runs the QJBootSequence participants one
 * after another; one that answers false holds the others until it reports. When all have finished
 * and the panel has been up for its minimum time, QJApplicationBootFinishedNotification is posted
 * on the default notification center and bootFinished() is emitted, once.
 *
 * Objects register for shut-down; at QJApplicationWillTerminateNotification the registry gives up
 * its share of every registered object, the QJShutdownSequence participants run the same way, and
 * QJApplicationShutdownFinishedNotification is posted and shutdownFinished() emitted.
 *
 * The static functions act on the one manager, sharedBootManager; without a manager they do
 * nothing and answer false. Everything runs on the main thread.
 *
 * @code
 * QJBootManager::registerClassForBootSequence<QJAutoUpdate>();
 * QJBootManager::provideObjectForBootStatusPanel(&splash);
 * @endcode
 */
class QJKITCORE_EXPORT QJBootManager : public QObject
{
    Q_OBJECT

public:
    /** Yields a registered class's object when start-up begins. */
    using ClassFactory = std::function<QJBootClassObject()>;

    /** Makes a manager and makes it the shared one. It starts the sequences on the application's notifications. */
    explicit QJBootManager(QObject *parent = nullptr);
    ~QJBootManager() override;
    Q_DISABLE_COPY_MOVE(QJBootManager)

    /**
     * Registers the class @p T for start-up, once: its name goes into applicationBootSequences
     * (duplicates are ignored). At start-up its object is T::sharedInstance() when T has one,
     * else a fresh T made with its default constructor and owned by the manager.
     *
     * The name is the meta-object's class name for QObject and Q_GADGET classes (declare
     * Q_OBJECT, or the base class's name is taken), else the demangled C++ type name.
     */
    template<typename T>
    static void registerClassForBootSequence()
    {
        registerClassForBootSequence(classNameForBootSequence<T>(), &makeClassObject<T>);
    }

    /**
     * Registers a class under @p className with the @p factory that yields its object. A name that
     * is registered already is ignored, and so is its factory.
     */
    static void registerClassForBootSequence(const QString &className, ClassFactory factory);

    /** @return the name registerClassForBootSequence<T>() records for @p T. */
    template<typename T>
    static QString classNameForBootSequence()
    {
        if constexpr (QJBootClassDetail::HasMetaObject<T>)
            return QString::fromUtf8(T::staticMetaObject.className());
        else
            return demangledTypeName(typeid(T));
    }

    /** @return the readable C++ name of @p type ("Editor::Spelling"). */
    static QString demangledTypeName(const std::type_info &type);

    /**
     * Registers @p object for shut-down, once. The registry only watches it: whoever owns it keeps
     * it alive until shut-down has finished. An object destroyed earlier is skipped.
     */
    static void registerObjectForShutdownSequence(QObject *object);
    /**
     * Registers @p object for shut-down, once, holding a share of it. The share is given up when
     * shut-down starts; a participant is kept until shut-down has finished.
     */
    static void registerObjectForShutdownSequence(const std::shared_ptr<QObject> &object);

    /**
     * Tells the shared manager that @p participant, which answered false from bootSequence(), has
     * finished; the next participants run. Call it on the main thread.
     * @throws std::invalid_argument "invalid or nil object given" when @p participant is nullptr or
     * not a participant of the running start-up; the manager's state is unchanged. After start-up
     * has completed, a report changes nothing.
     */
    static void objectFinishedBootSequence(QJBootSequence *participant);
    /** Runs the start-up participants again from the first, as the manager does to begin. */
    static void objectFinishedBootSequence(QJBootManager *manager);
    /** The shut-down counterpart of objectFinishedBootSequence(). */
    static void objectFinishedShutdownSequence(QJShutdownSequence *participant);
    /** Runs the shut-down participants again from the first, as the manager does to begin. */
    static void objectFinishedShutdownSequence(QJBootManager *manager);

    /**
     * @return whether start-up is complete: every participant has finished and the status panel's
     * minimum time is not running any more. False without a manager.
     */
    static bool isBootFinished();
    /** @return whether every shut-down participant has finished. False without a manager. */
    static bool isShutdownFinished();
    /** Sets the least time, in seconds, that the status panel stays up (default 2.0). */
    static void setMinimumTimeForBootStatusPanel(double seconds);
    /**
     * Sets the object that shows the boot status panel (not owned; a QObject provider that is
     * destroyed counts as none). Takes effect when given before launching finishes.
     */
    static void provideObjectForBootStatusPanel(QJBootStatusPanelProvider *provider);
    /** @return sharedBootManager. */
    static QJBootManager *_sharedBootManager();

    /** Starts the start-up sequence; called on QJApplicationWillFinishLaunchingNotification. Runs once. */
    void startBootSequence();
    /** Ends the status panel's minimum time; the panel's timer calls it. */
    void statusPanelCanClose();
    /** Ends start-up: closes the panel and posts the notification, or waits for the panel's minimum time. */
    void finishBoot();
    /** Starts the shut-down sequence; called on QJApplicationWillTerminateNotification. Runs once. */
    void startShutdownSequence();

Q_SIGNALS:
    /** Emitted together with QJApplicationBootFinishedNotification. */
    void bootFinished();
    /** Emitted together with QJApplicationShutdownFinishedNotification. */
    void shutdownFinished();

private:
    template<typename T>
    static QJBootClassObject makeClassObject()
    {
        QJBootClassObject result;
        T *object = nullptr;
        if constexpr (QJBootClassDetail::HasSharedInstance<T>) {
            object = T::sharedInstance();
        } else {
            auto fresh = std::make_shared<T>();
            object = fresh.get();
            result.owner = std::move(fresh);
        }
        if constexpr (std::is_polymorphic_v<T>) {
            result.bootSequence = dynamic_cast<QJBootSequence *>(object);
            result.bootSequenceName = dynamic_cast<QJBootSequenceName *>(object);
            result.qobject = dynamic_cast<QObject *>(object);
        }
        return result;
    }

    struct BootParticipant
    {
        QJBootSequence *object;
        QJBootSequenceName *name;
        const void *identity;
        QPointer<QObject> guard;
        bool guarded;
    };
    struct ShutdownParticipant
    {
        QJShutdownSequence *object;
        const void *identity;
        QPointer<QObject> guard;
        std::shared_ptr<QObject> claim;
    };

    void advanceBoot(const void *identity, bool fromManager);
    void advanceShutdown(const void *identity, bool fromManager);
    QJBootStatusPanelProvider *provider() const;
    void setProvider(QJBootStatusPanelProvider *provider);

    bool _bootFinished = false;
    std::optional<QList<BootParticipant>> _bootObjects; // none once start-up is complete
    bool _shutdownFinished = false;
    std::optional<QList<ShutdownParticipant>> _shutdownObjects; // only while shut-down runs
    bool _statusPanelCanClose = false;
    QJBootStatusPanelProvider *_statusPanelProvider = nullptr;
    double _statusPanelMinTime = 2.0;
    QTimer *_statusPanelTimer = nullptr;

    QPointer<QObject> m_providerGuard; // set when the provider is a QObject
    std::vector<std::shared_ptr<void>> m_freshObjects;
    bool m_bootStarted = false;
    bool m_bootPosted = false;
    bool m_shutdownStarted = false;
    quint64 m_bootRun = 0; // counts advances, so a loop notices a participant that reported from inside it
    quint64 m_shutdownRun = 0;
};
