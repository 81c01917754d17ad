// SPDX-License-Identifier: LGPL-2.1-or-later
#include "UpdaterWindow.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QLabel>
#include <QLocale>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>
#include <QTimer>
#include <QVBoxLayout>

#include <cerrno>
#include <csignal>

#include <spawn.h>
#include <sys/wait.h>

extern char **environ;

using namespace Qt::StringLiterals;

namespace
{
// Starts @p program as a child whose end can be watched; @return its process id, or 0.
qint64 spawn(const QString &program)
{
    const QByteArray path = QFile::encodeName(program);
    char *argv[] = {const_cast<char *>(path.constData()), nullptr};
    pid_t pid = 0;
    return ::posix_spawn(&pid, path.constData(), nullptr, nullptr, argv, environ) == 0 ? pid : 0;
}
} // namespace

UpdaterWindow::UpdaterWindow(const QJUpdateHandover &handover, int startupGraceMs, int hostWaitMs)
    : m_handover(handover), m_startupGraceMs(startupGraceMs), m_hostWaitMs(hostWaitMs)
{
    setObjectName(u"updaterWindow"_s);
    setWindowTitle(tr("%1 Updater").arg(m_handover.applicationName));
    m_heading = new QLabel(tr("Updating %1").arg(m_handover.applicationName));
    QFont font = m_heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.2);
    m_heading->setFont(font);
    m_heading->setTextFormat(Qt::PlainText);
    m_status = new QLabel;
    m_status->setWordWrap(true);
    m_status->setTextFormat(Qt::PlainText);
    m_progress = new QProgressBar;
    m_progress->setRange(0, 0);
    m_progress->setTextVisible(false);
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    m_buttons->button(QDialogButtonBox::Cancel)->setEnabled(false);
    connect(m_buttons, &QDialogButtonBox::rejected, this, [this] {
        if (m_installer)
            m_installer->cancel();
        else
            close();
    });

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 18, 20, 14);
    layout->setSpacing(10);
    layout->addWidget(m_heading);
    layout->addWidget(m_status);
    layout->addWidget(m_progress);
    layout->addStretch(1);
    layout->addWidget(m_buttons);
    resize(460, 170);
}

UpdaterWindow::~UpdaterWindow()
{
    // Quit while installing: whatever the install reached is undone, so nothing is left half done.
    if (m_worker) {
        if (m_installer)
            m_installer->cancel();
        m_worker->wait();
        QJUpdateInstaller::recover(m_handover.installPath);
    }
}

void UpdaterWindow::start()
{
    show();
    waitForHost();
}

void UpdaterWindow::waitForHost()
{
    m_status->setText(tr("Waiting for %1 to quit…").arg(m_handover.applicationName));
    m_clock.start();
    auto *poll = new QTimer(this);
    connect(poll, &QTimer::timeout, this, [this, poll] {
        const bool running
            = m_handover.processId > 0 && (::kill(pid_t(m_handover.processId), 0) == 0 || errno == EPERM);
        if (!running) {
            poll->deleteLater();
            install();
        } else if (m_clock.hasExpired(m_hostWaitMs)) {
            poll->deleteLater();
            finishWithMessage(tr("%1 is still running").arg(m_handover.applicationName),
                tr("Nothing was changed. Quit %1 and choose Update again.").arg(m_handover.applicationName), false);
        }
    });
    poll->start(100);
}

void UpdaterWindow::install()
{
    if (m_handover.publicKey.isEmpty()) {
        finishWithMessage(tr("This version cannot be installed automatically"),
            tr("%1 names no key to verify updates with. Nothing was changed.").arg(m_handover.applicationName), true);
        return;
    }
    m_installer = new QJUpdateInstaller(this);
    m_installer->setBaseUrl(m_handover.baseUrl);
    m_installer->setApplicationName(m_handover.applicationName);
    m_installer->setInstalledBuild(m_handover.installedBuild);
    m_installer->setVersionKey(m_handover.versionKey);
    m_installer->setPublicKey(m_handover.publicKey);
    m_installer->setInstallPath(m_handover.installPath);
    connect(m_installer, &QJUpdateInstaller::stepChanged, this, &UpdaterWindow::showStep);
    connect(m_installer, &QJUpdateInstaller::downloadProgress, this, &UpdaterWindow::showProgress);
    auto outcome = std::make_shared<QJUpdateInstaller::Outcome>(QJUpdateInstaller::Failed);
    m_worker = QThread::create([installer = m_installer, outcome] { *outcome = installer->install(); });
    connect(m_worker, &QThread::finished, this, [this, outcome] {
        m_worker->deleteLater();
        m_worker = nullptr;
        installEnded(*outcome);
    });
    m_worker->start();
}

void UpdaterWindow::showStep(QJUpdateInstaller::Step step)
{
    QPushButton *cancel = m_buttons->button(QDialogButtonBox::Cancel);
    if (cancel)
        cancel->setEnabled(step == QJUpdateInstaller::Downloading);
    switch (step) {
    case QJUpdateInstaller::Checking:
        m_status->setText(tr("Asking the update server…"));
        break;
    case QJUpdateInstaller::Downloading:
        m_heading->setText(tr("Updating %1 to %2").arg(m_handover.applicationName, m_installer->record().version));
        m_status->setText(tr("Downloading…"));
        m_clock.start();
        break;
    case QJUpdateInstaller::Verifying:
        m_progress->setRange(0, 0);
        m_status->setText(tr("Verifying the signature…"));
        break;
    case QJUpdateInstaller::Unpacking:
    case QJUpdateInstaller::Swapping:
        m_status->setText(tr("Installing…"));
        break;
    }
}

void UpdaterWindow::showProgress(qint64 received, qint64 total)
{
    const QLocale locale;
    m_progress->setRange(0, 1000);
    m_progress->setValue(total > 0 ? int(received * 1000 / total) : 0);
    const double seconds = std::max<qint64>(m_clock.elapsed(), 1) / 1000.0;
    m_status->setText(tr("Downloading: %1 of %2 (%3/s)")
                          .arg(locale.formattedDataSize(received), locale.formattedDataSize(total),
                              locale.formattedDataSize(qint64(received / seconds))));
    if (total > 0 && received == total)
        Q_EMIT downloaded();
}

void UpdaterWindow::installEnded(QJUpdateInstaller::Outcome outcome)
{
    const QString name = m_handover.applicationName;
    const QJUpdateRecord record = m_installer->record();
    switch (outcome) {
    case QJUpdateInstaller::NothingToInstall:
        finishWithMessage(
            tr("This version cannot be installed automatically"), tr("Nothing was changed."), true, record.webPage);
        return;
    case QJUpdateInstaller::Failed:
        if (m_installer->errorString() == u"cancelled")
            finishWithMessage(tr("The update was cancelled"), tr("Nothing was changed."), true);
        else
            finishWithMessage(tr("The update was not installed"),
                tr("Nothing was changed: %1.").arg(m_installer->errorString()), true);
        return;
    case QJUpdateInstaller::Installed:
        break;
    }
    m_status->setText(tr("Starting %1 %2…").arg(name, record.version));
    const qint64 pid = spawn(m_handover.program);
    if (pid == 0) {
        m_installer->rollBack();
        finishWithMessage(
            tr("The new version could not be started"), tr("The previous version of %1 was put back.").arg(name), true);
        return;
    }
    watchNewVersion(pid);
}

// A new version that ends with a failure within its first seconds is taken as broken.
void UpdaterWindow::watchNewVersion(qint64 pid)
{
    m_clock.start();
    auto *poll = new QTimer(this);
    connect(poll, &QTimer::timeout, this, [this, poll, pid] {
        int status = 0;
        const pid_t ended = ::waitpid(pid_t(pid), &status, WNOHANG);
        const bool failed = ended == pid && (WIFSIGNALED(status) || WEXITSTATUS(status) != 0);
        if (failed) {
            poll->deleteLater();
            m_installer->rollBack();
            finishWithMessage(tr("%1 %2 did not start").arg(m_handover.applicationName, m_installer->record().version),
                tr("The previous version was put back and started again."), true);
        } else if (ended == pid || m_clock.hasExpired(m_startupGraceMs)) {
            poll->deleteLater();
            m_installer->confirm();
            QApplication::quit();
        }
    });
    poll->start(100);
}

void UpdaterWindow::finishWithMessage(const QString &heading, const QString &text, bool startOld, const QUrl &webPage)
{
    m_heading->setText(heading);
    m_status->setText(text);
    QString said = text;
    // Only web addresses become links: the record comes from the server.
    if (webPage.isValid() && (webPage.scheme() == u"https" || webPage.scheme() == u"http")) {
        const QString address = webPage.toString(QUrl::FullyEncoded);
        const QString offer = tr("You can download it from %1.");
        said += u' ' + offer.arg(address);
        m_status->setTextFormat(Qt::RichText);
        m_status->setOpenExternalLinks(true);
        m_status->setText(
            text.toHtmlEscaped() + u' ' + offer.arg(u"<a href=\"%1\">%1</a>"_s.arg(address.toHtmlEscaped())));
    }
    m_progress->hide();
    m_buttons->setStandardButtons(QDialogButtonBox::Close);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QWidget::close, Qt::UniqueConnection);
    if (startOld && QFileInfo(m_handover.program).isExecutable())
        QProcess::startDetached(m_handover.program, {});
    std::fprintf(stderr, "Updater: %s %s\n", qPrintable(heading), qPrintable(said));
}
