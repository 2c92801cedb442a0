// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// A number that stands for this machine: the same in all processes and after a restart, and another one on
/// other machines as far as they can be told apart. Determined once, at the first call. Any thread.
vnUInt64 vnMachineIdentifier() noexcept;
