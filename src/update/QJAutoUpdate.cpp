// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJAutoUpdate.h"
#include "QJBootManager.h"
#include "QJBundle.h"
#include "QJFormat.h"
#include "QJNotificationCenter.h"
#include "QJUpdater.h"
#include "QJUserDefaults.h"
#include "StringSizingWidgets.h"
#include "qjsanitizer_p.h"
#include "ui_QJAutoUpdate.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QTextCursor>
#include <QThread>
#include <QTimer>

using namespace Qt::StringLiterals;

QJAutoUpdate *sharedAutoUpdateInstance = nullptr;

namespace
{
QString localized(const QString &key)
{
    return QJBundle::frameworkBundle().localizedStringForKey(key, QString(), QJAutoUpdateStringsFileName);
}

QFont smallSystemFont(bool bold)
{
    QFont font = StringSizing::smallSystemFont();
    font.setBold(bold);
    return font;
}

void destroySharedInstance()
{
    delete sharedAutoUpdateInstance;
}
} // namespace

QJAutoUpdate *QJAutoUpdate::sharedInstance()
{
    if (!sharedAutoUpdateInstance) {
        new QJAutoUpdate;
        static bool routineAdded = false;
        if (!routineAdded) {
            routineAdded = true;
            qAddPostRoutine(destroySharedInstance); // while the application object still exists
        }
    }
    return sharedAutoUpdateInstance;
}

QJAutoUpdate::QJAutoUpdate(QObject *parent) : QObject(parent), m_ui(std::make_unique<Ui::QJAutoUpdate>())
{
    _window = new QDialog;
    m_ui->setupUi(_window);
    _checkOnStartup = m_ui->_checkOnStartup;
    _longDescription = m_ui->_longDescription;
    _shortDescription = m_ui->_shortDescription;
    _longDescription->document()->setDocumentMargin(8);

    const QString name = applicationName();
    _window->setWindowTitle(QJFormat::format(localized(u"windowTitle"_s), {name}));
    m_ui->headingLabel->setText(QJFormat::format(localized(u"windowHeading"_s), {name}));
    QFont heading = m_ui->headingLabel->font();
    heading.setBold(true);
    heading.setPointSizeF(heading.pointSizeF() * 1.15);
    m_ui->headingLabel->setFont(heading);
    const QIcon icon = QApplication::windowIcon();
    if (!icon.isNull())
        m_ui->iconLabel->setPixmap(icon.pixmap(64, 64));
    else
        m_ui->iconLabel->hide();

    _checkOnStartup->setText(localized(u"checkOnStartup"_s));
    // The button box orders the buttons as the platform does; hosts and tests find them by name.
    // "Later" is neither accepting nor rejecting: an action, kept apart from the two.
    const auto addButton = [this](const QString &name, QDialogButtonBox::ButtonRole role) {
        QPushButton *button = m_ui->buttonBox->addButton(localized(name), role);
        button->setObjectName(name);
        button->setAutoDefault(false);
        return button;
    };
    QPushButton *updateButton = addButton(u"updateButton"_s, QDialogButtonBox::AcceptRole);
    QPushButton *laterButton = addButton(u"laterButton"_s, QDialogButtonBox::ActionRole);
    QPushButton *cancelButton = addButton(u"cancelButton"_s, QDialogButtonBox::RejectRole);
    updateButton->setDefault(true);
    connect(updateButton, &QPushButton::clicked, this, &QJAutoUpdate::update);
    connect(laterButton, &QPushButton::clicked, this, &QJAutoUpdate::later);
    connect(cancelButton, &QPushButton::clicked, this, &QJAutoUpdate::cancel);
    // Escape and the window's close button close it as Cancel does.
    connect(_window, &QDialog::rejected, this, &QJAutoUpdate::_savePreferences);

    QJUserDefaults *defaults = QJUserDefaults::standardUserDefaults();
    if (defaults->objectForKey(QJAutoUpdateSearchOnStartupKey).isNone()) {
        _checkOnStartup->setChecked(true);
        defaults->setBool(true, QJAutoUpdateSearchOnStartupKey);
    } else {
        _checkOnStartup->setChecked(defaults->boolForKey(QJAutoUpdateSearchOnStartupKey));
    }
    sharedAutoUpdateInstance = this;
    QJBootManager::registerObjectForShutdownSequence(this);
    QJNotificationCenter::defaultCenter()->addObserver(
        QJApplicationBootFinishedNotification, this, [this](const QJNotification &) { bootDidFinish(); });
}

QJAutoUpdate::~QJAutoUpdate()
{
    QJNotificationCenter::defaultCenter()->removeObserver(this);
    if (m_worker) {
        // A check under way ends at once when its thread is told to quit; its result is dropped.
        m_worker->quit();
        m_worker->wait();
        QJ_HANDOVER_ACQUIRE(this); // all the worker did, up to its hand-over
        delete m_worker.data();
    }
    delete _window;
    if (sharedAutoUpdateInstance == this)
        sharedAutoUpdateInstance = nullptr;
}

QString QJAutoUpdate::bootSequenceName() const
{
    return localized(u"bootStatusName"_s);
}

bool QJAutoUpdate::bootSequence()
{
    if (_checkOnStartup->isChecked())
        startCheck();
    else
        _startup = false;
    return true;
}

void QJAutoUpdate::open()
{
    if (QThread::currentThread() != thread()) {
        QMetaObject::invokeMethod(this, &QJAutoUpdate::open, Qt::QueuedConnection);
        return;
    }
    startCheck();
}

void QJAutoUpdate::startCheck()
{
    if (m_checking)
        return;
    m_checking = true;
    // The system's network state is read here, on the main thread; the worker only uses the answer.
    QJUpdateChecker::ReachabilityTest reachability = QJUpdateChecker::systemReachabilityTest();
    m_worker = QThread::create([this, reachability, configure = m_configure] {
        QJUpdateChecker checker;
        checker.setReachabilityTest(reachability);
        if (configure)
            configure(checker);
        const QJUpdateCheckResult result = checker.check();
        const QJUpdateHandover handover
            = QJUpdateHandover::forRunningApplication(checker.baseUrl(), checker.applicationName(),
                checker.installedBuild(), result.records.isEmpty() ? QString() : result.records.constFirst().key);
        // Window work goes to the main thread without waiting.
        QJ_HANDOVER_RELEASE(this);
        QMetaObject::invokeMethod(
            this,
            [this, result, handover] {
                QJ_HANDOVER_ACQUIRE(this);
                m_handover = handover.arguments();
                checkEnded(result);
            },
            Qt::QueuedConnection);
    });
    m_worker->setObjectName(u"QJAutoUpdate check"_s);
    connect(m_worker, &QThread::finished, m_worker, &QObject::deleteLater);
    m_worker->start();
}

void QJAutoUpdate::checkEnded(const QJUpdateCheckResult &result)
{
    m_checking = false;
    switch (result.status) {
    case QJUpdateCheckResult::Cancelled:
        break;
    case QJUpdateCheckResult::NotReachable:
        if (!_startup)
            alert(localized(u"updateConnTitle"_s), localized(u"updateConnText"_s));
        break;
    case QJUpdateCheckResult::NoUpdate:
        QJUserDefaults::standardUserDefaults()->setObject(QDateTime::currentDateTime(), QJAutoUpdateLastCheckKey);
        if (!_startup)
            alert(localized(u"updateNoTitle"_s), QJFormat::format(localized(u"updateNoText"_s), {applicationName()}));
        setAvailableVersion(installedVersion());
        break;
    case QJUpdateCheckResult::UpdateAvailable: {
        QJUserDefaults::standardUserDefaults()->setObject(QDateTime::currentDateTime(), QJAutoUpdateLastCheckKey);
        // Built piece by piece as plain text: nothing from the server is read as markup.
        QTextDocument *document = _longDescription->document();
        document->clear();
        QTextCursor cursor(document);
        QTextCharFormat heading;
        heading.setFont(smallSystemFont(true));
        QTextCharFormat plain;
        plain.setFont(smallSystemFont(false));
        const QString headingFormat = localized(u"updateVers"_s);
        for (const QJUpdateRecord &record : result.records) {
            cursor.insertText(QJFormat::format(headingFormat, {record.version, record.key}), heading);
            cursor.insertText(QJFormat::format(u"\n%@\n\n"_s, {record.description}), plain);
        }
        _longDescription->moveCursor(QTextCursor::Start);
        const QJUpdateRecord &newest = result.records.constFirst();
        _shortDescription->setText(QJFormat::format(localized(u"updateInfo"_s), {newest.version, newest.key}));
        setAvailableVersion(newest.version);
        if (QJBootManager::isBootFinished())
            QMetaObject::invokeMethod(this, &QJAutoUpdate::showWindow, Qt::QueuedConnection);
        else
            _available = true;
        if (_timer) {
            _timer->stop();
            delete _timer.data();
        }
        break;
    }
    }
    _startup = false;
    Q_EMIT checkFinished(result);
}

void QJAutoUpdate::bootDidFinish()
{
    if (_available)
        QMetaObject::invokeMethod(this, &QJAutoUpdate::showWindow, Qt::QueuedConnection);
}

void QJAutoUpdate::showWindow()
{
    _window->show();
    _window->raise();
    _window->activateWindow();
}

void QJAutoUpdate::update()
{
    _savePreferences();
    QString error;
    if (QJUpdater::launch(m_handover, &error)) {
        QCoreApplication::quit();
        return;
    }
    alert(localized(u"updaterTitle"_s), QJFormat::format(localized(u"updaterText"_s), {QJUpdater::path(), error}));
}

void QJAutoUpdate::later()
{
    cancel();
    if (_timer) {
        _timer->stop();
        delete _timer.data();
    }
    _timer = new QTimer(this);
    _timer->setSingleShot(true);
    connect(_timer, &QTimer::timeout, this, &QJAutoUpdate::doTimer);
    _timer->start(m_laterInterval);
}

void QJAutoUpdate::cancel()
{
    _savePreferences();
    _window->hide();
}

void QJAutoUpdate::doTimer()
{
    if (_timer) {
        _timer->deleteLater();
        _timer = nullptr;
    }
    open();
}

void QJAutoUpdate::_savePreferences()
{
    QJUserDefaults::standardUserDefaults()->setBool(_checkOnStartup->isChecked(), QJAutoUpdateSearchOnStartupKey);
}

void QJAutoUpdate::alert(const QString &title, const QString &text)
{
    auto *box = new QMessageBox(_window->isVisible() ? _window : nullptr);
    box->setObjectName(u"QJAutoUpdateAlert"_s);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Information);
    box->setTextFormat(Qt::PlainText);
    box->setWindowTitle(title);
    box->setText(title);
    box->setInformativeText(text);
    box->addButton(localized(u"alertButton"_s), QMessageBox::AcceptRole);
    box->setWindowModality(Qt::ApplicationModal);
    box->show();
}

void QJAutoUpdate::setAvailableVersion(const QString &version)
{
    _availableVersion = version;
}

QString QJAutoUpdate::availableVersion() const
{
    return _availableVersion;
}

QString QJAutoUpdate::installedVersion() const
{
    return QJBundle::mainBundle().objectForInfoDictionaryKey(u"CFBundleShortVersionString"_s).toString();
}

QDateTime QJAutoUpdate::lastCheck() const
{
    return QJUserDefaults::standardUserDefaults()->objectForKey(QJAutoUpdateLastCheckKey).toDateTime();
}

bool QJAutoUpdate::checksOnStartup() const
{
    return QJUserDefaults::standardUserDefaults()->boolForKey(QJAutoUpdateSearchOnStartupKey);
}

void QJAutoUpdate::setChecksOnStartup(bool enabled)
{
    QJUserDefaults::standardUserDefaults()->setBool(enabled, QJAutoUpdateSearchOnStartupKey);
}

bool QJAutoUpdate::isOpen() const
{
    return _window->isVisible();
}

bool QJAutoUpdate::isChecking() const
{
    return m_checking;
}

QWidget *QJAutoUpdate::window() const
{
    return _window;
}

void QJAutoUpdate::setLaterInterval(int milliseconds)
{
    m_laterInterval = std::max(0, milliseconds);
}

int QJAutoUpdate::laterInterval() const
{
    return m_laterInterval;
}

void QJAutoUpdate::setCheckerConfiguration(std::function<void(QJUpdateChecker &)> configure)
{
    m_configure = std::move(configure);
}

QString QJAutoUpdate::applicationName() const
{
    // The name the user knows the application by; a bundle folder's name means nothing here.
    const QJBundle main = QJBundle::mainBundle();
    const QString name = main.objectForInfoDictionaryKey(u"CFBundleName"_s).toString();
    return name.isEmpty() ? QFileInfo(QCoreApplication::applicationFilePath()).completeBaseName() : name;
}
