// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// Reads `count` bytes, also from a source that gives fewer at a time, and answers how many came.
unsigned int vnReadFully(vnSerializeAdapter& source, unsigned char* data, unsigned int count);

/// Reads `claimed` bytes of `source` into `bytes`, or what comes of them until there are no more. A claim
/// that nothing stands behind takes no more than 16 MiB, and not for long; up to that, and so for most
/// streams, it is one read.
void vnReadClaimed(vnSerializeAdapter& source, unsigned int claimed, vnDynamicArray<unsigned char>& bytes);

/// Appends what the source has until it has no more, or an error. False when it says that it has data and
/// gives none.
bool vnReadAll(vnSerializeAdapter& source, vnDynamicArray<unsigned char>& bytes);

/// Makes `bytes` `size` long; its capacity grows by its chunk, or by half of itself when that is more.
void vnGrowTo(vnDynamicArray<unsigned char>& bytes, unsigned int size);
