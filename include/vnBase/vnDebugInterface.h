// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

/// What a class is asked to show of itself; the bits belong to the classes.
using vnDebugFlags = unsigned int;

/// What can describe its state in Debug messages.
///
/// Thread-safety: that of the class.
class VN_BASE_API vnDebugInterface
{
public:
    virtual ~vnDebugInterface() noexcept(false) = default;

    /// Describes this object; each line starts with `base`, and `anchor` tells where the object stands. Here:
    /// one Debug message with the address.
    virtual void debugOutput(vnString base, vnString anchor, vnDebugFlags flags);

    /// Describes what hangs below this object. Here: nothing.
    virtual void debugOutputTraverse(vnString base, vnString anchor, vnDebugFlags flags);

    /// Describes this object and what hangs below it.
    void debug(vnDebugFlags flags);
};
