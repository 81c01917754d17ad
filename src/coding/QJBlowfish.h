// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

/*
 * The Blowfish block cipher with its standard key schedule, and the byte framing QJKit codes text
 * with: every plain byte c becomes the block (c, 255 - c), enciphered, and each 32-bit half of the
 * result is written as five base-169 digits, most significant first, each stored as digit + 1.
 * A coded string is therefore ten bytes in 1..169 per plain byte, followed by a zero byte.
 *
 * Plain C interface, no Qt: usable from C and from any thread (each call keys its own context on
 * the stack; nothing is shared but the read-only tables).
 */

#include "qjkitcore_export.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The cipher state: the subkey array and the four substitution boxes. One per call, on the stack. */
typedef struct QJBlowfishContext
{
    uint32_t P[18]; /**< the subkey array */
    uint32_t S[4][256]; /**< the four substitution boxes */
} QJBlowfishContext;

/** The standard initial subkey array: the first 18 words of pi's hexadecimal fraction. */
QJKITCORE_EXPORT extern const uint32_t ORIG_P[18];
/** The standard initial substitution boxes: the next 1024 words of pi's hexadecimal fraction. */
QJKITCORE_EXPORT extern const uint32_t ORIG_S[4][256];

/**
 * Keys @p context with the standard key schedule. The key is used cyclically, so only its first
 * 72 bytes matter; a key of length 0 reads as zero bytes.
 * @param key the key bytes, each taken as unsigned (may be null when @p keyLength is 0)
 */
QJKITCORE_EXPORT void QJBlowfish_Init(QJBlowfishContext *context, const unsigned char *key, size_t keyLength);

/** Enciphers the block (*left, *right) in place (16 rounds). */
QJKITCORE_EXPORT void QJBlowfish_Encrypt(const QJBlowfishContext *context, uint32_t *left, uint32_t *right);

/** Deciphers the block (*left, *right) in place. */
QJKITCORE_EXPORT void QJBlowfish_Decrypt(const QJBlowfishContext *context, uint32_t *left, uint32_t *right);

/**
 * Codes the zero-terminated string @p plain under the zero-terminated @p key: ten bytes in 1..169
 * per plain byte, then a zero byte. Coding stops at the first zero byte of @p plain.
 * @return a buffer of 10 * strlen(plain) + 1 bytes that the caller releases with free(), or null
 * when it cannot be allocated.
 */
QJKITCORE_EXPORT char *QJBlowfish_Encode(const char *plain, const char *key);

/**
 * Decodes the zero-terminated coded string @p coded under @p key, one plain byte per ten coded
 * bytes; a trailing partial chunk is ignored. Nothing is checked: a wrong key or damaged input
 * gives other bytes, never an error.
 *
 * A decoded byte of value zero adds nothing, so the plain string is then shorter than the chunk
 * count; the bytes from its end up to and including index chunk count are all zero.
 *
 * A half is read as the sum of its digits (byte - 1) times their weights in 64-bit arithmetic and
 * then taken modulo 2^32, so a half whose digits exceed 2^32 - 1 (never produced by encoding)
 * wraps around instead of being refused.
 *
 * @return a buffer of strlen(coded) / 10 + 1 bytes that the caller releases with free(), or null
 * when it cannot be allocated.
 */
QJKITCORE_EXPORT char *QJBlowfish_Decode(const char *coded, const char *key);

#ifdef __cplusplus
} // extern "C"
#endif
