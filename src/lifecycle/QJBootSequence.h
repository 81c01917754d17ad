// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QString>

// The roles an object can take in the application's start-up and shut-down. An object "conforms"
// to a role when it derives from its interface (tested with dynamic_cast), so one object may take
// several roles.

/**
 * A start-up participant. Its class is registered with QJBootManager::registerClassForBootSequence(),
 * and its bootSequence() runs once, in registration order, when the application finishes launching.
 */
class QJKITCORE_EXPORT QJBootSequence
{
public:
    virtual ~QJBootSequence();
    /**
     * Does the object's start-up step.
     * @return true when the step is complete now; false when the object will call
     * QJBootManager::objectFinishedBootSequence(this) itself, on the main thread, once it is done.
     * Later participants wait until then.
     */
    virtual bool bootSequence() = 0;
};

/** A start-up participant that names its step for the boot status panel. */
class QJKITCORE_EXPORT QJBootSequenceName
{
public:
    virtual ~QJBootSequenceName();
    /** @return the text the boot status panel shows while this participant runs. */
    virtual QString bootSequenceName() const = 0;
};

/**
 * A shut-down participant, registered with QJBootManager::registerObjectForShutdownSequence().
 * Its shutdownSequence() runs when the application is about to quit.
 */
class QJKITCORE_EXPORT QJShutdownSequence
{
public:
    virtual ~QJShutdownSequence();
    /**
     * Does the object's shut-down step.
     * @return true when it is complete now; false when the object will call
     * QJBootManager::objectFinishedShutdownSequence(this) itself.
     */
    virtual bool shutdownSequence() = 0;
};

/**
 * Shows the boot status panel: the manager opens it while the first registered class is handled,
 * tells it the name of each participant as it runs, and closes it when start-up is complete and
 * the panel has been up for its minimum time. QJSplashStatusPanel is a ready one.
 */
class QJKITCORE_EXPORT QJBootStatusPanelProvider
{
public:
    virtual ~QJBootStatusPanelProvider();
    /** Puts the panel on screen. */
    virtual void openBootStatusPanel() = 0;
    /** Shows @p info, the running participant's name (an empty string between steps). */
    virtual void setBootStatusPanelInfo(const QString &info) = 0;
    /** Takes the panel off screen. */
    virtual void closeBootStatusPanel() = 0;
};
