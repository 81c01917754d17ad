// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// What QJApplication and QJCoreApplication share: the one boot manager and the two notifications
// that drive it. Exported for QJKitWidgets only; not part of the public interface.

#include "qjkitcore_export.h"

#include <QObject>

#include <memory>

class QCoreApplication;
class QJBootManager;

class QJKITCORE_EXPORT QJApplicationLaunch : public QObject
{
    Q_OBJECT

public:
    /** Makes the boot manager and arranges the launch and terminate notifications of @p application. */
    explicit QJApplicationLaunch(QCoreApplication *application);
    ~QJApplicationLaunch() override;

    /** Posts QJApplicationWillFinishLaunchingNotification, the first time only. */
    void finishLaunching();
    QJBootManager *bootManager() const { return m_manager.get(); }

private:
    std::unique_ptr<QJBootManager> m_manager;
    bool m_launched = false;
    bool m_terminated = false;
};
