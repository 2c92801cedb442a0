// SPDX-License-Identifier: MIT
#pragma once

/// Moves the profiler's data of a thread that was killed to those that have stopped, in its place. The thread
/// must be gone: it keeps a pointer to its data.
void vnStopKilledPerformanceThread(unsigned int thread);
