// SPDX-License-Identifier: LGPL-2.1-or-later
#include "qjaboutaction_p.h"

#include <QMetaMethod>
#include <QMouseEvent>
#include <QObject>

namespace QJAboutAction
{
bool send(QObject *target, const QByteArray &action, QObject *sender)
{
    if (!target || action.isEmpty())
        return false;
    const QMetaObject *meta = target->metaObject();
    int index = meta->indexOfMethod(QMetaObject::normalizedSignature(QByteArray(action + "(QObject*)").constData()));
    if (index >= 0)
        return meta->method(index).invoke(target, Qt::DirectConnection, Q_ARG(QObject *, sender));
    index = meta->indexOfMethod(QMetaObject::normalizedSignature(QByteArray(action + "()").constData()));
    return index >= 0 && meta->method(index).invoke(target, Qt::DirectConnection);
}

bool trackPress(QMouseEvent *event, bool *tracking)
{
    if (event->button() != Qt::LeftButton)
        return false;
    event->accept();
    *tracking = true;
    return true;
}

bool trackRelease(QMouseEvent *event, bool *tracking, QObject *target, const QByteArray &action, QObject *sender)
{
    if (!*tracking || event->button() != Qt::LeftButton)
        return false;
    event->accept();
    *tracking = false;
    send(target, action, sender);
    return true;
}
} // namespace QJAboutAction
