// SPDX-License-Identifier: MIT
#include "vnThreadNumber.h"

#include <vnBase/vnMutex.h>
#include <vnBase/vnThread.h>

#include "../core/vnEternal.h"

#include <atomic>

namespace
{
constexpr unsigned int tableSize = 10000;
constexpr unsigned int step = 99; // without a divisor in common with the size, so that it reaches all slots

std::atomic<unsigned int> s_numbers[tableSize]; // the ids by number, 0 in free slots

// How many probes the longest search for a place has taken. A number may be freed in front of one that was
// taken because of it, so that a search must not end at the first free slot.
std::atomic<unsigned int> s_longestProbe{1};

// Held while numbers are taken and given back, so that an id never gets two. Threads look without it.
vnEternal<vnMutex> s_changes;
unsigned int s_taken = 0;

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

// For changes of the table. A thread that is killed must not take the lock with it.
class ChangeGuard
{
    vnKillGuard m_kept;
    vnBodyGuard m_lock{s_changes.value};
};

unsigned int takeNumber(unsigned int id)
{
    const ChangeGuard guard;
    const unsigned int found = findNumber(id); // another thread may have been faster
    for (unsigned int probe = 0; found == tableSize && probe < tableSize; ++probe)
    {
        const unsigned int slot = slotOf(id, probe);
        if (s_numbers[slot].load(std::memory_order_relaxed) != 0)
            continue;
        if (probe >= s_longestProbe.load(std::memory_order_relaxed))
            s_longestProbe.store(probe + 1, std::memory_order_release);
        s_numbers[slot].store(id, std::memory_order_release);
        ++s_taken;
        return slot;
    }
    return found;
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
    const ChangeGuard guard;
    const unsigned int slot = findNumber(id);
    if (slot == tableSize)
        return;
    s_numbers[slot].store(0, std::memory_order_release);
    if (--s_taken == 0)
        s_longestProbe.store(1, std::memory_order_relaxed);
}
