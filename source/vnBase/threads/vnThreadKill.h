// SPDX-License-Identifier: MIT
#pragma once

#include "vnThreadPlatform.h"

#include <signal.h>

struct vnThreadState;

/// What ending a thread on the spot needs to know; for vnThreadPosix.cpp.

/// Whether the thread of this state holds locks of the library.
bool vnHoldsLocks(const vnThreadState& state) noexcept;

/// For a thread that is about to be ended: when it sleeps for a mutex, the wake-up that it may have got goes
/// to another sleeper.
void vnPassWakeUpOn(const vnThreadState& state) noexcept;

/// For a thread that is about to be ended: the runs of objects on it end, and give back the objects' own
/// locks. Only calls what may be called in a signal handler.
void vnEndRunsHere() noexcept;

/// The signal that asks a thread to end, with `handler` installed; found at the first call among those that
/// the program does not use. 0 when there is none.
int vnKillSignal(void (*handler)(int, siginfo_t*, void*)) noexcept;

/// Whether the calling thread, interrupted by a signal in `context`, may be ended there. May be called in a
/// signal handler.
bool vnMayBeEndedHere(vnKillForce force, const void* context) noexcept;
