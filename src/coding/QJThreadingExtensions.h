// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "QJFileWrapper.h"
#include "QJValue.h"
#include "qjkitcore_export.h"

#include <QByteArray>
#include <QString>

#include <atomic>

/**
 * The outcome of the last write performed by the QJThreadingExtensions writers, process-wide.
 */
QJKITCORE_EXPORT extern std::atomic<bool> QJThreadingExtensionsSaveResult;

/**
 * Writing data, property lists and file-wrapper trees from any thread: the write itself always runs
 * on the main thread (the thread of the QCoreApplication) while the caller waits, so all disk
 * access of this family is serialised there. Failures are logged in the "qjkit" category as
 * `Error while writing file "PATH": REASON` or `Error while encoding file "PATH": REASON`.
 *
 * From a worker thread the main thread must be running its event loop, and the worker must not
 * hold anything the main thread waits for. On the main thread, or when there is no application
 * object, the write happens at once.
 *
 * @code
 * QThread *worker = QThread::create([&] {
 *     if (!QJThreadingExtensions::threadSecureWriteToFile(settings, path))
 *         ...
 * });
 * @endcode
 */
namespace QJThreadingExtensions
{
/**
 * Writes @p data to @p path on the main thread (plain, not atomic).
 * @return the result of this write, which is also stored in QJThreadingExtensionsSaveResult.
 * Taken on the main thread right after the write, it cannot be changed by another caller's write.
 */
QJKITCORE_EXPORT bool threadSecureWriteToFile(const QByteArray &data, const QString &path);
/** Writes @p dictionary as an XML property list on the main thread; @return as for data. */
QJKITCORE_EXPORT bool threadSecureWriteToFile(const QJDictionary &dictionary, const QString &path);
/** Writes @p array as an XML property list on the main thread; @return as for data. */
QJKITCORE_EXPORT bool threadSecureWriteToFile(const QJArray &array, const QString &path);
/** Writes the tree @p wrapper on the main thread; @return as for data. */
QJKITCORE_EXPORT bool threadSecureWriteToFile(const QJFileWrapper &wrapper, const QString &path);

/**
 * The main-thread writer for data: stores the write's success in QJThreadingExtensionsSaveResult
 * and logs `Error while writing file "PATH": REASON` when it fails. Call on the main thread only.
 */
QJKITCORE_EXPORT void _threadSecureWriteToFile(const QByteArray &data, const QString &path);
/**
 * The main-thread writer for a dictionary: serializes it and writes the data. When it cannot be
 * serialized, logs `Error while encoding file "PATH": REASON`, writes nothing and leaves
 * QJThreadingExtensionsSaveResult as the previous write left it. Call on the main thread only.
 */
QJKITCORE_EXPORT void _threadSecureWriteToFile(const QJDictionary &dictionary, const QString &path);
/** The main-thread writer for an array, as for a dictionary. Call on the main thread only. */
QJKITCORE_EXPORT void _threadSecureWriteToFile(const QJArray &array, const QString &path);
/**
 * The main-thread writer for a file-wrapper tree. A regular file is written as data (its result
 * counts). A directory is created when nothing exists at @p path, then each child is written to
 * "PATH/NAME" in name order, and the result is true whatever the children did; a child whose name
 * is not a single path component is not written and logged as a write error. A symbolic link writes
 * nothing; its result is true as well. Call on the main thread only.
 */
QJKITCORE_EXPORT void _threadSecureWriteToFile(const QJFileWrapper &wrapper, const QString &path);
} // namespace QJThreadingExtensions
