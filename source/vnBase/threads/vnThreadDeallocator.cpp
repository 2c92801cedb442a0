// SPDX-License-Identifier: MIT
#include <vnBase/vnThreadDeallocator.h>

#include <vnBase/vnEvent.h>
#include <vnBase/vnRefList.h>

#include "../core/vnEternal.h"
#include "vnTryGuard.h"

namespace
{
constexpr unsigned int lookMilliseconds = 500;

std::atomic<unsigned int> s_maxPendingDeletes{1000};
} // namespace

// What the thread shares with the others. It is never destroyed, since objects may be handed over until the
// very end.
struct vnThreadDeallocator::Shared
{
    vnMutex lock; // guards the fields below
    vnRefList<vnReference> pending;
    // A thread will look at the pending objects after the lock was given back. Only an error that ends the
    // thread while another one holds the lock clears it without.
    std::atomic<bool> isServed{false};

    vnEvent event; // its mutex comes after the lock
};

vnThreadDeallocator::vnThreadDeallocator() noexcept : vnThread(VN_THREAD_PRIORITY_NORMAL) {}

vnThreadDeallocator::~vnThreadDeallocator() noexcept(false)
{
    stopDeallocator();
}

vnThreadDeallocator& vnThreadDeallocator::instance()
{
    static vnThreadDeallocator deallocator;
    return deallocator;
}

vnThreadDeallocator::Shared& vnThreadDeallocator::shared()
{
    static vnEternal<Shared> eternal;
    return eternal.value;
}

// Starts the thread when none is going to look. A thread that is about to end is waited for; it takes no lock
// of others any more. One that stopDeallocator() stops may be inside a destructor and is not: whoever stops
// it lets go of what is pending afterwards.
void vnThreadDeallocator::serve()
{
    {
        vnBodyGuard guard(shared().lock);
        if (shared().isServed && isRunning(0))
            return;
        shared().isServed = true;
    }
    if (isOwnThread()) // it reports the error that it ends with
    {
        runAgain();
        return;
    }
    while (run(0) && isStopping(0))
        awaitEnd();
}

void vnThreadDeallocator::deallocObject(vnReference* object, unsigned char force)
{
    vnThreadDeallocator& deallocator = instance();
    if (!deallocator.isValidMemory())
        return;
    if (object)
    {
        vnBodyGuard guard(shared().lock);
        if (!object->releaseRefs())
            object = nullptr;
        else if (!force && shared().pending.getCount() >= getMaxPendingDeletes())
            trigger();
        else
            shared().pending.append(object);
    }
    deallocator.serve();
}

void vnThreadDeallocator::startDeallocator()
{
    deallocObject(nullptr, 0);
}

void vnThreadDeallocator::stopDeallocator()
{
    vnThreadDeallocator& deallocator = instance();
    if (!deallocator.isValidMemory())
        return;
    if (!deallocator.isOwnThread())
        deallocator.end();
    // Called by a destructor, it ends by itself: without pending objects it has nothing left to do.
    vnBodyGuard guard(shared().lock);
    shared().pending.clear();
}

void vnThreadDeallocator::end()
{
    if (isRunning(0))
    {
        trigger();
        stop(0);
        trigger();
    }
    // Also when it has ended by itself, since the system keeps its stack until somebody has waited for it.
    stop(1);
}

unsigned char vnThreadDeallocator::isDeallocatorRunning()
{
    return instance().isRunning(0);
}

void vnThreadDeallocator::trigger()
{
    // Under the mutex, so that a thread that has looked at its flags and does not sleep yet hears it.
    vnBodyGuard guard(shared().event);
    shared().event.fire();
}

void vnThreadDeallocator::waitLock()
{
    shared().lock.waitLock();
}

void vnThreadDeallocator::unLock()
{
    shared().lock.unLock();
}

unsigned int vnThreadDeallocator::getMaxPendingDeletes() noexcept
{
    return s_maxPendingDeletes.load(std::memory_order_relaxed);
}

void vnThreadDeallocator::setMaxPendingDeletes(const unsigned int& count) noexcept
{
    s_maxPendingDeletes.store(count, std::memory_order_relaxed);
}

void vnThreadDeallocator::process()
{
    try
    {
        deleteUnowned();
    }
    catch (...)
    {
        leave(); // an error ends the thread, and the next object starts it again
        throw;
    }
}

void vnThreadDeallocator::deleteUnowned()
{
    vnRefList<vnReference> objects;
    do
    {
        {
            vnBodyGuard guard(shared().event);
            if (!isStopping(1))
                shared().event.waitAndLock(lookMilliseconds, 1);
        }
        takeUnowned(objects);
        objects.clear(); // outside the lock, since it runs the destructors
    } while (!mayEnd());
}

void vnThreadDeallocator::takeUnowned(vnRefList<vnReference>& objects)
{
    const vnTryGuard guard(shared().lock);
    if (!guard.isHeld())
        return;
    for (vnRefList<vnReference>::Iterator it(shared().pending); it.isValid();)
    {
        vnReference* object = it.getItem();
        if (object->getRef() != 1)
        {
            ++it;
            continue;
        }
        objects.append(object);
        it.remove();
    }
}

// Decided under the lock, so that no object is handed over to a thread that has just found nothing to do.
bool vnThreadDeallocator::mayEnd()
{
    const vnTryGuard guard(shared().lock);
    // Whoever stops the thread may hold the lock, and counts with its end.
    if (!guard.isHeld())
        return isStopping(0);
    if (!isStopping(0) && !shared().pending.isEmpty())
        return false;
    leave();
    return true;
}

void vnThreadDeallocator::leave()
{
    const vnTryGuard guard(shared().lock); // whoever holds it may wait for the end
    stop(0);
    shared().isServed = false;
}
