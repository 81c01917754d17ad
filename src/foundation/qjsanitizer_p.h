// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

// Hand-overs between threads that the thread sanitizer cannot see by itself: Qt's queued calls
// and thread ends pass work from one thread to another under locks that the distribution's Qt,
// not built with the sanitizer, does not report. The sending side releases an address just before
// it hands over, the receiving side acquires the same address first thing. Nothing in other builds.

#if defined(__SANITIZE_THREAD__)
#define QJKIT_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QJKIT_THREAD_SANITIZER 1
#endif
#endif

#ifdef QJKIT_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#define QJ_HANDOVER_RELEASE(address) __tsan_release(const_cast<void *>(static_cast<const void *>(address)))
#define QJ_HANDOVER_ACQUIRE(address) __tsan_acquire(const_cast<void *>(static_cast<const void *>(address)))
#else
#define QJ_HANDOVER_RELEASE(address) static_cast<void>(address)
#define QJ_HANDOVER_ACQUIRE(address) static_cast<void>(address)
#endif
