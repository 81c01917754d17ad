// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Shared by the test programs: readable QCOMPARE output for QJKit's values, and the paths the
// test environment provides.

#include "QJValue.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QString>
#include <QTest>

#include <type_traits>

template<typename T>
requires std::is_same_v<T, QJValue> || std::is_same_v<T, QJArray> || std::is_same_v<T, QJDictionary>
char *toString(const T &value)
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

/** @return the whole contents of the file at @p path, or "(unreadable)". */
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)");
}

/** Writes @p bytes to the file at @p path, making its folders first. @return whether all was written. */
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

/** Makes the file at @p path @p size bytes long without writing them: a sparse file of holes. */
inline bool makeSparseFile(const QString &path, qint64 size)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.resize(size);
}

/** @return a "VmRSS" or "VmHWM" (peak) line of /proc/self/status, in KiB, or -1. */
inline qint64 residentKiB(const char *field)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

/**
 * Measures how far the process's resident memory rises above its present size while @p work
 * runs. @return the rise in KiB, or -1 where the kernel cannot tell.
 */
template<typename F>
qint64 peakMemoryRiseKiB(F work)
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (!clear.open(QIODevice::WriteOnly) || clear.write("5") != 1) // resets the peak
        return -1;
    clear.close();
    const qint64 before = residentKiB("VmRSS");
    work();
    const qint64 peak = residentKiB("VmHWM");
    return before < 0 || peak < 0 ? -1 : peak - before;
}

/** Runs @p program in @p directory. @return whether it ended normally with status 0. */
inline bool runProgram(const QString &program, const QStringList &arguments, const QString &directory)
{
    QProcess process;
    process.setWorkingDirectory(directory);
    process.start(program, arguments);
    return process.waitForFinished(20000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

/** The result of running the qjkit tool. */
struct ToolResult
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

/** Runs the qjkit tool built with the tests in @p process, as set up, feeding @p input on standard input. */
inline ToolResult runTool(QProcess &process, const QStringList &arguments, const QByteArray &input = QByteArray())
{
    process.start(qEnvironmentVariable("QJKIT_TOOL"), arguments);
    if (!process.waitForStarted())
        return {};
    if (!input.isEmpty()) // standard input may come from a file instead
        process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(120000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput(),
        process.readAllStandardError()};
}

/** Runs the tool in @p environment and @p workingDirectory (default: the test's own). */
inline ToolResult runTool(const QStringList &arguments, const QByteArray &input = QByteArray(),
    const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
    const QString &workingDirectory = QString())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workingDirectory);
    return runTool(process, arguments, input);
}
} // namespace QJTest
