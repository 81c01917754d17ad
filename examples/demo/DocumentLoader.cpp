// SPDX-License-Identifier: LGPL-2.1-or-later
#include "DocumentLoader.h"

#include "DemoSettings.h"
#include "QJBootManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringDecoder>
#include <QThread>

#include <memory>

using namespace Qt::StringLiterals;

namespace
{
struct ReadResult
{
    QString text;
    QString error;
};

ReadResult readText(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {QString(), file.errorString()};
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decode(file.readAll());
    if (decode.hasError())
        return {QString(), QObject::tr("it is not a UTF-8 text file")};
    return {text, QString()};
}
} // namespace

DocumentLoader::DocumentLoader(const DemoSettings *settings, const QString &requested, QObject *parent)
    : QObject(parent), m_settings(settings), m_requested(requested)
{ }

DocumentLoader::~DocumentLoader()
{
    if (m_worker) {
        m_worker->wait();
        delete m_worker;
    }
}

QString DocumentLoader::chosenPath() const
{
    if (!m_requested.isEmpty())
        return QFileInfo(m_requested).absoluteFilePath();
    const QString last = m_settings->lastOpenedFile();
    if (!last.isEmpty() && QFileInfo(last).isFile())
        return last;
    // The first run: a copy of the sample that the user may change and save.
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::AppDataLocation);
    const QString sample = folder + u"/The Harbour Notebook.txt"_s;
    if (!QFileInfo::exists(sample) && QDir().mkpath(folder)) {
        QFile::copy(u":/demo/sample/harbour-notes.txt"_s, sample);
        QFile::setPermissions(sample, QFile::ReadOwner | QFile::WriteOwner);
    }
    return sample;
}

QString DocumentLoader::bootSequenceName() const
{
    return tr("Opening %1…").arg(QFileInfo(chosenPath()).fileName());
}

bool DocumentLoader::bootSequence()
{
    m_path = chosenPath();
    auto result = std::make_shared<ReadResult>();
    m_worker = QThread::create([path = m_path, result] { *result = readText(path); });
    connect(m_worker, &QThread::finished, this, [this, result] {
        m_worker->deleteLater();
        m_worker = nullptr;
        m_text = result->text;
        m_error = result->error;
        QJBootManager::objectFinishedBootSequence(this);
    });
    m_worker->start();
    return false;
}
