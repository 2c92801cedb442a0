// SPDX-License-Identifier: MIT
#include "vnThreadNumber.h"

#include <vnBase/vnThread.h>

#include <atomic>

namespace
{
constexpr unsigned int tableSize = 10000;
constexpr unsigned int step = 99; // without a divisor in common with the size, so that it reaches all slots

std::atomic<unsigned int> s_numbers[tableSize]; // the ids by number, 0 in free slots

// How many probes the longest search for a place has taken. A number may be freed in front of one that was
// taken because of it, so that a search must not end at the first free slot.
std::atomic<unsigned int> s_longestProbe{1};

unsigned int slotOf(unsigned int id, unsigned int probe)
{
    return (id + step * probe) % tableSize;
}

unsigned int findNumber(unsigned int id)
{
    const unsigned int probes = s_longestProbe.load(std::memory_order_acquire);
    for (unsigned int probe = 0; probe < probes; ++probe)
        if (s_numbers[slotOf(id, probe)].load(std::memory_order_relaxed) == id)
            return slotOf(id, probe);
    return tableSize;
}

void noteProbe(unsigned int probes)
{
    unsigned int longest = s_longestProbe.load(std::memory_order_relaxed);
    while (longest < probes &&
           !s_longestProbe.compare_exchange_weak(longest, probes, std::memory_order_acq_rel))
        continue;
}

unsigned int takeNumber(unsigned int id)
{
    for (unsigned int probe = 0; probe < tableSize; ++probe)
    {
        const unsigned int slot = slotOf(id, probe);
        unsigned int holder = s_numbers[slot].load(std::memory_order_relaxed);
        if (holder == 0)
        {
            noteProbe(probe + 1);
            if (s_numbers[slot].compare_exchange_strong(holder, id, std::memory_order_acq_rel))
                return slot;
        }
        if (holder == id)
            return slot;
    }
    return tableSize;
}

// Threads that this library did not start free their number, too, when they end.
struct OwnNumber
{
    unsigned int id = 0;

    ~OwnNumber() { vnReleaseThreadNumber(id); }
};
} // namespace

unsigned int vnThread::getThreadEnum(unsigned int id) noexcept
{
    const unsigned int self = vnCurrentThreadID();
    if (id == 0)
        id = self;
    const unsigned int found = findNumber(id);
    if (found != tableSize)
        return found;
    if (id == self)
    {
        static thread_local OwnNumber own;
        own.id = self;
    }
    return takeNumber(id);
}

void vnReleaseThreadNumber(unsigned int id) noexcept
{
    if (id == 0)
        return;
    const unsigned int probes = s_longestProbe.load(std::memory_order_acquire);
    for (unsigned int probe = 0; probe < probes; ++probe)
    {
        unsigned int holder = id;
        s_numbers[slotOf(id, probe)].compare_exchange_strong(holder, 0, std::memory_order_acq_rel);
    }
}
