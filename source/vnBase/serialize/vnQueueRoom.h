// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnQueue.h>

#include <algorithm>

// How much is to be reserved in a queue for `count` bytes more: all that there is, or enough that a long
// stream is not copied at every chunk.
inline unsigned int vnQueueRoom(vnQueue<unsigned char>& queue, unsigned int count)
{
    if (queue.isEmpty())
        queue.clear();
    const unsigned int back = queue.getBack();
    const unsigned int room = queue.getCapacity() - back;
    if (count <= room)
        return room;
    const bool fits = back + vnUInt64{back / 2} < 0xFFFFFFFFull - queue.getChunkSize();
    return fits ? std::max(count, back / 2) : count; // half of what is there comes on top
}
