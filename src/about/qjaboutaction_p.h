// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QByteArray>

class QObject;

namespace QJAboutAction
{
/**
 * Invokes @p action on @p target: "action(QObject*)" with @p sender when the target has it, else
 * "action()". Nothing happens without a target or an action. @return whether a method was called.
 */
bool send(QObject *target, const QByteArray &action, QObject *sender);
} // namespace QJAboutAction
