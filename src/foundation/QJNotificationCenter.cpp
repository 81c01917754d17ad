// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJNotificationCenter.h"

#include <QMutex>

#include <vector>

class QJNotificationCenterPrivate
{
public:
    struct Observer
    {
        quint64 id;
        QString name;
        QPointer<QObject> context;
        bool hasContext;
        std::shared_ptr<const QJNotificationCenter::Callback> callback;
        QMetaObject::Connection destroyed;
    };

    void remove(const std::function<bool(const Observer &)> &matches)
    {
        QMutexLocker lock(&mutex);
        std::erase_if(observers, [&](const Observer &o) {
            if (!matches(o))
                return false;
            QObject::disconnect(o.destroyed);
            return true;
        });
    }

    QMutex mutex;
    std::vector<Observer> observers;
    quint64 nextId = 1;
};

QJNotificationCenter *QJNotificationCenter::defaultCenter()
{
    static QJNotificationCenter center;
    return &center;
}

QJNotificationCenter::QJNotificationCenter() : d(std::make_unique<QJNotificationCenterPrivate>()) { }

QJNotificationCenter::~QJNotificationCenter()
{
    for (const auto &o : d->observers)
        QObject::disconnect(o.destroyed);
}

quint64 QJNotificationCenter::addObserver(const QString &name, QObject *context, Callback callback)
{
    QMutexLocker lock(&d->mutex);
    const quint64 id = d->nextId++;
    QJNotificationCenterPrivate::Observer observer {
        id, name, context, context != nullptr, std::make_shared<const Callback>(std::move(callback)), {}};
    if (context) {
        // Direct connection: the observer must be gone before the context's destructor returns.
        observer.destroyed = QObject::connect(context, &QObject::destroyed, [this, id] { removeObserver(id); });
    }
    d->observers.push_back(std::move(observer));
    return id;
}

void QJNotificationCenter::removeObserver(quint64 id)
{
    d->remove([id](const auto &o) { return o.id == id; });
}

void QJNotificationCenter::removeObserver(QObject *context)
{
    d->remove([context](const auto &o) { return o.hasContext && o.context == context; });
}

void QJNotificationCenter::removeObserver(QObject *context, const QString &name)
{
    d->remove([&](const auto &o) { return o.hasContext && o.context == context && o.name == name; });
}

void QJNotificationCenter::post(const QJNotification &notification)
{
    // Observers are collected first, so a callback may add or remove observers while it runs.
    std::vector<std::pair<quint64, std::shared_ptr<const Callback>>> targets;
    {
        QMutexLocker lock(&d->mutex);
        for (const auto &o : d->observers) {
            if ((o.name.isEmpty() || o.name == notification.name) && (!o.hasContext || o.context))
                targets.emplace_back(o.id, o.callback);
        }
    }
    for (const auto &[id, callback] : targets) {
        bool stillObserving = false;
        {
            QMutexLocker lock(&d->mutex);
            for (const auto &o : d->observers)
                stillObserving |= o.id == id;
        }
        if (stillObserving)
            (*callback)(notification);
    }
}

void QJNotificationCenter::post(const QString &name, QObject *object, const QJDictionary &userInfo)
{
    post(QJNotification {name, object, userInfo});
}
