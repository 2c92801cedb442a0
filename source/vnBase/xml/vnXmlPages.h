// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

/// Tells the system that a block of fresh memory will be used whole, so that it may come in large pages.
/// Nothing happens for a small block.
void vnUseLargePages(void* block, std::size_t size) noexcept;
