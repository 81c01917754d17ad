// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Shared by the test programs: readable QCOMPARE output for QJKit's values, and the paths the
// test environment provides.

#include "QJValue.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTest>

inline char *toString(const QJValue &value)
{
    return qstrdup(value.description().toUtf8().constData());
}

inline char *toString(const QJArray &value)
{
    return qstrdup(value.description().toUtf8().constData());
}

inline char *toString(const QJDictionary &value)
{
    return qstrdup(value.description().toUtf8().constData());
}

namespace QJTest
{
/** The folder of the running test's data files. */
inline QString dataPath(const QString &name = QString())
{
    const QString dir = qEnvironmentVariable("QJKIT_TEST_DATA");
    return name.isEmpty() ? dir : dir + u'/' + name;
}

/** The result of running the qjkit tool. */
struct ToolResult
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

/** Runs the qjkit tool built with the tests, feeding @p input on standard input. */
inline ToolResult runTool(const QStringList &arguments, const QByteArray &input = QByteArray())
{
    QProcess process;
    process.start(qEnvironmentVariable("QJKIT_TOOL"), arguments);
    if (!process.waitForStarted())
        return {};
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(120000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
        process.readAllStandardError()};
}
} // namespace QJTest
