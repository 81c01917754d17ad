// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJBootSequence.h"
#include "QJUpdateChecker.h"
#include "qjkitwidgets_export.h"

#include <QDateTime>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class QCheckBox;
class QDialog;
class QLabel;
class QTextEdit;
class QThread;
class QTimer;
class QWidget;
class QJAutoUpdate;
namespace Ui
{
class QJAutoUpdate;
}

/** The one update checker with a window, made by QJAutoUpdate::sharedInstance(). */
QJKITWIDGETS_EXPORT extern QJAutoUpdate *sharedAutoUpdateInstance;

/**
 * The update check with its window: finds newer versions of the application, lists them newest
 * first in the update window, and offers to start the updater, to remind the user later, or to
 * close.
 *
 * Registered for start-up with QJBootManager::registerClassForBootSequence<QJAutoUpdate>(), it
 * checks once at start-up when the user allows it ("Check for updates at start-up", kept in the
 * user preference QJAutoUpdateSearchOnStartupKey). That check is silent, runs on a worker thread
 * and never holds up start-up; a window it has to show waits for "QJApplicationBootFinished".
 * open() checks again, with alerts when there is nothing new or the server cannot be reached.
 *
 * The fetching is QJUpdateChecker's; texts come from the strings table "QJAutoUpdate" of QJKit's
 * own bundle. Server texts are shown as plain text only. Use it on the main thread.
 *
 * @code
 * QJApplication app(argc, argv);
 * QJBootManager::registerClassForBootSequence<QJAutoUpdate>();
 * // a "Check for Updates..." menu item:
 * connect(action, &QAction::triggered, [] { QJAutoUpdate::sharedInstance()->open(); });
 * @endcode
 */
class QJKITWIDGETS_EXPORT QJAutoUpdate : public QObject, public QJBootSequence, public QJBootSequenceName
{
    Q_OBJECT

public:
    /** @return sharedAutoUpdateInstance, made the first time. */
    static QJAutoUpdate *sharedInstance();

    /**
     * Makes the checker and its window and makes it the shared one. The check box follows the user
     * preference; when the preference is absent it is switched on and stored as true.
     */
    explicit QJAutoUpdate(QObject *parent = nullptr);
    ~QJAutoUpdate() override;
    Q_DISABLE_COPY_MOVE(QJAutoUpdate)

    /** @return the localized "bootStatusName". */
    QString bootSequenceName() const override;
    /** Starts the silent start-up check on a worker thread when the check box is on. @return true at once. */
    bool bootSequence() override;

    /** @return the version shown last: the newest found, or the installed one after a check that found none. */
    QString availableVersion() const;
    /** @return the main bundle's CFBundleShortVersionString. */
    QString installedVersion() const;
    /** @return the date of the last check that reached the server, or an invalid date. */
    QDateTime lastCheck() const;
    /** @return the "check at start-up" user preference. */
    bool checksOnStartup() const;
    /** Sets the "check at start-up" user preference (the window's check box stays as it is). */
    void setChecksOnStartup(bool enabled);
    /** @return whether the update window is on screen. */
    bool isOpen() const;
    /** @return whether a check is running. */
    bool isChecking() const;

    /** @return the update window. */
    QWidget *window() const;
    /** Sets how long later() waits before it checks again, in milliseconds (default 600000, ten minutes). */
    void setLaterInterval(int milliseconds);
    /** @return how long later() waits before it checks again, in milliseconds. */
    int laterInterval() const;
    /**
     * Sets a function that adjusts every check's QJUpdateChecker before it runs (base address,
     * time-outs, ...). It runs on the check's worker thread.
     */
    void setCheckerConfiguration(std::function<void(QJUpdateChecker &)> configure);

public Q_SLOTS:
    /** Checks now; shows the window when there are newer versions, else an alert. Does nothing while a check runs. */
    void open();
    /** Saves the check box, starts the updater and quits; when the updater cannot be started, says so and stays. */
    void update();
    /** Closes the window and checks again once, after laterInterval(). */
    void later();
    /** Saves the check box and closes the window. */
    void cancel();
    /** Shows the window of an update found before start-up finished; called on "QJApplicationBootFinished". */
    void bootDidFinish();
    /** The remind-me-later timer's action: checks again. */
    void doTimer();
    /** Writes the check box's state to the "check at start-up" preference. */
    void _savePreferences();

Q_SIGNALS:
    /** A check has ended and its result is shown (or kept for after start-up). */
    void checkFinished(const QJUpdateCheckResult &result);

private:
    void startCheck();
    void checkEnded(const QJUpdateCheckResult &result);
    void showWindow();
    void alert(const QString &title, const QString &text);
    void setAvailableVersion(const QString &version);
    QString applicationName() const;

    QCheckBox *_checkOnStartup = nullptr;
    QTextEdit *_longDescription = nullptr;
    QLabel *_shortDescription = nullptr;
    QDialog *_window = nullptr;
    bool _available = false;
    QString _availableVersion;
    bool _startup = true;
    QPointer<QTimer> _timer;

    std::unique_ptr<Ui::QJAutoUpdate> m_ui;
    QPointer<QThread> m_worker;
    QStringList m_handover; // the updater's arguments for the newest version found
    bool m_checking = false;
    int m_laterInterval = 600000;
    std::function<void(QJUpdateChecker &)> m_configure;
};
