// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

#include "qjkitcore_export.h"

#include <QString>

/** "QJAutoUpdatePublicKey": the information-dictionary key holding the host's update public key. */
QJKITCORE_EXPORT extern const QString QJAutoUpdatePublicKeyKey;

/**
 * Verifies that an update package comes from its publisher: Ed25519 signatures in the two-line key
 * and four-line signature files of the common signing tool. A signature made over the package's
 * bytes and one made over their BLAKE2b-512 hash are both accepted; the trusted comment's global
 * signature must verify too. An unknown key id, a damaged line or another algorithm is refused.
 */
namespace QJUpdateSignature
{
/**
 * @return whether @p publicKey (the key's base64 line, or the whole text of its key file) is a
 * well-formed Ed25519 public key; when not, @p error says why.
 */
QJKITCORE_EXPORT bool isValidPublicKey(const QString &publicKey, QString *error = nullptr);

/**
 * Verifies @p signature (the whole text of the signature file) for the file at @p path against
 * @p publicKey. The file is read in a streaming pass (mapped, for a signature over its bytes), never
 * copied whole into memory. @return whether it verifies; when not, @p error says why in plain words.
 */
QJKITCORE_EXPORT bool verifyFile(
    const QString &path, const QString &signature, const QString &publicKey, QString *error = nullptr);
} // namespace QJUpdateSignature
