// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class QJNotificationCenterPrivate;

/** A posted notification: its name, the object that posted it (or nullptr) and extra information. */
struct QJNotification
{
    QString name; ///< what happened, e.g. "QJApplicationBootFinished"
    QObject *object = nullptr; ///< the object that posted it, or nullptr
    QJDictionary userInfo {QJMutability::Immutable}; ///< extra information; empty when there is none
};

/**
 * Delivers named notifications to the observers registered for them, synchronously, on the thread
 * that posts. An observer tied to a context object goes away when that object is destroyed.
 *
 * @code
 * QJNotificationCenter::defaultCenter()->addObserver(u"QJApplicationBootFinished"_s, this,
 *     [this](const QJNotification &) { showMainWindow(); });
 * @endcode
 */
class QJKITCORE_EXPORT QJNotificationCenter
{
public:
    /** Receives a notification. */
    using Callback = std::function<void(const QJNotification &)>;

    /** @return the process-wide centre. */
    static QJNotificationCenter *defaultCenter();

    /** Makes a centre of its own, with no observers; most code uses defaultCenter(). */
    QJNotificationCenter();
    ~QJNotificationCenter();
    Q_DISABLE_COPY_MOVE(QJNotificationCenter)

    /**
     * Calls @p callback for every notification named @p name (every notification when @p name is
     * empty) until the observer is removed or @p context is destroyed.
     * @return an id for removeObserver().
     */
    quint64 addObserver(const QString &name, QObject *context, Callback callback);
    /** Removes the observer with @p id. */
    void removeObserver(quint64 id);
    /** Removes every observer tied to @p context. */
    void removeObserver(QObject *context);
    /** Removes the observers of @p name tied to @p context. */
    void removeObserver(QObject *context, const QString &name);

    /** Delivers @p notification to its observers, in the order they were added. */
    void post(const QJNotification &notification);
    /** Delivers a notification named @p name. */
    void post(const QString &name, QObject *object = nullptr,
        const QJDictionary &userInfo = QJDictionary(QJMutability::Immutable));

private:
    std::unique_ptr<QJNotificationCenterPrivate> d;
};
