// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJBootSequence.h"

#include <QObject>
#include <QString>

class DemoSettings;
class QThread;

/**
 * The start-up step that reads the document the editor opens with: the file asked for on the
 * command line, else the one opened last, else a copy of the sample in the application's data
 * folder. It reads on a worker thread and tells the boot manager when it is done, so a large file
 * keeps the status panel up instead of freezing it.
 */
class DocumentLoader : public QObject, public QJBootSequence, public QJBootSequenceName
{
    Q_OBJECT

public:
    DocumentLoader(const DemoSettings *settings, const QString &requested, QObject *parent = nullptr);
    ~DocumentLoader() override;

    /** Starts reading. @return false: the boot manager waits until the text is read. */
    bool bootSequence() override;
    /** @return "Opening <file>…". */
    QString bootSequenceName() const override;

    /** @return the file read (empty when there was none). */
    QString path() const { return m_path; }
    /** @return its text. */
    QString text() const { return m_text; }
    /** @return why the file could not be read, or an empty string. */
    QString error() const { return m_error; }

private:
    QString chosenPath() const;

    const DemoSettings *m_settings;
    QString m_requested;
    QString m_path;
    QString m_text;
    QString m_error;
    QThread *m_worker = nullptr;
};
