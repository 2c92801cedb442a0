// SPDX-License-Identifier: MIT
#pragma once

/// Frees the number of a thread that has ended or is about to.
void vnReleaseThreadNumber(unsigned int id) noexcept;
