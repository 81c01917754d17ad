// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include <QString>

#include <atomic>

// Unpacking and removing the folders of an update; used by QJUpdateInstaller.
namespace QJUpdatePackage
{
// The most an archive may unpack to: twenty times the package, and never more than 4 GiB.
qint64 maximumUnpackedSize(qint64 packageSize);

// Unpacks the tar archive at @p archive (uncompressed or compressed with gzip, xz or zstd) into the
// folder @p destination, which must not exist yet, keeping file modes (without set-user and
// set-group bits). Entries that would leave the folder (absolute paths, "..", symbolic links pointing
// outside it), hard links, devices and other special files are refused, and so is an archive whose
// entries add up to more than @p maximumSize (each entry counts its size plus 512 bytes). On failure
// what was unpacked stays for the caller to remove, and @p error says why.
bool unpack(const QString &archive, const QString &destination, qint64 maximumSize, const std::atomic<bool> *cancelled,
    QString *error);

// Removes the tree at @p path, including folders that have lost their write permission.
bool removeTree(const QString &path);
} // namespace QJUpdatePackage
