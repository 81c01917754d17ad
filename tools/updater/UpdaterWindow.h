// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJUpdateInstaller.h"
#include "QJUpdater.h"

#include <QElapsedTimer>
#include <QUrl>
#include <QWidget>

class QDialogButtonBox;
class QLabel;
class QProgressBar;
class QThread;

// The Updater's one window: it waits for the host to end, installs the chosen version on a worker
// thread while showing the progress, starts the new version and watches its first seconds, and
// puts the old version back when the new one fails.
class UpdaterWindow : public QWidget
{
    Q_OBJECT

public:
    UpdaterWindow(const QJUpdateHandover &handover, int startupGraceMs, int hostWaitMs);
    ~UpdaterWindow() override;

    // Begins the work; the window closes itself when there is nothing more to say.
    void start();

Q_SIGNALS:
    // The whole package has arrived; the window shows it, full bar, size and speed.
    void downloaded();

private:
    void waitForHost();
    void install();
    void installEnded(QJUpdateInstaller::Outcome outcome);
    void watchNewVersion(qint64 pid);
    void finishWithMessage(const QString &heading, const QString &text, bool startOld, const QUrl &webPage = {});
    void showStep(QJUpdateInstaller::Step step);
    void showProgress(qint64 received, qint64 total);

    QJUpdateHandover m_handover;
    int m_startupGraceMs;
    int m_hostWaitMs;
    QJUpdateInstaller *m_installer = nullptr;
    QThread *m_worker = nullptr;
    QElapsedTimer m_clock;
    QLabel *m_heading = nullptr;
    QLabel *m_status = nullptr;
    QProgressBar *m_progress = nullptr;
    QDialogButtonBox *m_buttons = nullptr;
};
