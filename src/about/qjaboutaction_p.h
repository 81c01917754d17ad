// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QByteArray>

class QMouseEvent;
class QObject;

namespace QJAboutAction
{
/**
 * Invokes @p action on @p target: "action(QObject*)" with @p sender when the target has it, else
 * "action()". Nothing happens without a target or an action. @return whether a method was called.
 */
bool send(QObject *target, const QByteArray &action, QObject *sender);

/**
 * Starts tracking a click on a left press. Qt sends the release to the widget that took the press,
 * wherever the pointer is by then (the window system grabs the pointer for the pressing window).
 * @return whether the event was taken; the caller passes other events to its base class.
 */
bool trackPress(QMouseEvent *event, bool *tracking);

/**
 * Ends a tracked click on the left release, wherever it happens, and sends the action once.
 * @return whether the event was taken.
 */
bool trackRelease(QMouseEvent *event, bool *tracking, QObject *target, const QByteArray &action, QObject *sender);
} // namespace QJAboutAction
