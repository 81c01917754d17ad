// SPDX-License-Identifier: LGPL-2.1-or-later
#include "QJUpdater.h"
#include "QJBundle.h"
#include "QJUpdateSignature.h"

#include <QCoreApplication>

#include <QFileInfo>
#include <QMutex>
#include <QProcess>

#include <dlfcn.h>

using namespace Qt::StringLiterals;

const QString QJAutoUpdateUpdaterPathKey = u"QJAutoUpdateUpdaterPath"_s;
const QString QJAutoUpdateInstallPathKey = u"QJAutoUpdateInstallPath"_s;

QStringList QJUpdateHandover::arguments() const
{
    return {u"--pid"_s, QString::number(processId), u"--install-dir"_s, installPath, u"--program"_s, program,
        u"--base-url"_s, baseUrl.toString(), u"--application-name"_s, applicationName, u"--build"_s, installedBuild,
        u"--version"_s, versionKey, u"--public-key"_s, publicKey};
}

QJUpdateHandover QJUpdateHandover::forRunningApplication(
    const QUrl &baseUrl, const QString &applicationName, const QString &installedBuild, const QString &versionKey)
{
    const QJBundle main = QJBundle::mainBundle();
    const QString folder = main.objectForInfoDictionaryKey(QJAutoUpdateInstallPathKey).toString();
    QJUpdateHandover handover;
    handover.processId = QCoreApplication::applicationPid();
    handover.installPath = folder.isEmpty() ? QCoreApplication::applicationDirPath() : folder;
    handover.program = QCoreApplication::applicationFilePath();
    handover.baseUrl = baseUrl;
    handover.applicationName = applicationName;
    handover.installedBuild = installedBuild;
    handover.versionKey = versionKey;
    handover.publicKey = main.objectForInfoDictionaryKey(QJAutoUpdatePublicKeyKey).toString();
    return handover;
}

namespace
{
QMutex mutex;
QString chosenPath;

// The folder of the library this code is in: the updater lies beside it in a build tree.
QString libraryFolder()
{
    Dl_info info {};
    if (dladdr(reinterpret_cast<const void *>(&QJUpdater::defaultPath), &info) && info.dli_fname)
        return QFileInfo(QString::fromLocal8Bit(info.dli_fname)).absolutePath();
    return QString();
}
} // namespace

QString QJUpdater::defaultPath()
{
    const QString folder = libraryFolder();
    if (!folder.isEmpty()) {
        const QFileInfo beside(folder + u"/Updater"_s);
        if (beside.isFile() && beside.isExecutable())
            return beside.absoluteFilePath();
    }
    return QStringLiteral(QJKIT_LIBEXECDIR) + u"/Updater"_s;
}

QString QJUpdater::path()
{
    {
        QMutexLocker lock(&mutex);
        if (!chosenPath.isEmpty())
            return chosenPath;
    }
    const QString fromInfo = QJBundle::mainBundle().objectForInfoDictionaryKey(QJAutoUpdateUpdaterPathKey).toString();
    return fromInfo.isEmpty() ? defaultPath() : fromInfo;
}

void QJUpdater::setPath(const QString &path)
{
    QMutexLocker lock(&mutex);
    chosenPath = path;
}

bool QJUpdater::launch(QString *error)
{
    return launch(QStringList(), error);
}

bool QJUpdater::launch(const QStringList &arguments, QString *error)
{
    const QString program = path();
    const QFileInfo file(program);
    QString why;
    if (!file.exists())
        why = u"no such file"_s;
    else if (!file.isFile() || !file.isExecutable())
        why = u"not an executable file"_s;
    else {
        QProcess process;
        process.setProgram(file.absoluteFilePath());
        process.setArguments(arguments);
        process.setWorkingDirectory(file.absolutePath());
        if (process.startDetached())
            return true;
        why = process.errorString();
    }
    if (error)
        *error = why;
    return false;
}
