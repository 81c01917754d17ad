// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJBootManager.h"
#include "QJNotificationCenter.h"
#include "qjapplicationlaunch_p.h"

#include <QCoreApplication>
#include <QTimer>

QJApplicationLaunch::QJApplicationLaunch(QCoreApplication *application)
    : QObject(application), m_manager(std::make_unique<QJBootManager>())
{
    // A zero timer fires as soon as an event loop runs: the moment the application starts.
    QTimer::singleShot(0, this, &QJApplicationLaunch::finishLaunching);
    connect(application, &QCoreApplication::aboutToQuit, this, [this] {
        if (m_terminated)
            return;
        m_terminated = true;
        QJNotificationCenter::defaultCenter()->post(QJApplicationWillTerminateNotification);
    });
}

QJApplicationLaunch::~QJApplicationLaunch() = default;

void QJApplicationLaunch::finishLaunching()
{
    if (m_launched)
        return;
    m_launched = true;
    QJNotificationCenter::defaultCenter()->post(QJApplicationWillFinishLaunchingNotification);
}
