// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnRefList.h>
#include <vnBase/vnReference.h>
#include <vnBase/vnThread.h>

/// Takes the last `unref` of an object, and with it the destructor, off a thread whose time is precious:
///
///     vnRefPointer<Scene> scene; // a class derived from vnThreadSafeReference
///     ...
///     vnThreadDeallocator::deallocObject(scene, 0);
///     scene = nullptr;
///
/// One thread of the process deletes the objects once nobody else holds them. It ends when it has nothing to
/// do and is started again by the next object.
///
/// Thread-safety: any thread. Objects of a class that is not thread-safe must not be used by others any more.
class VN_BASE_API vnThreadDeallocator : public vnThread
{
public:
    /// Hands an object over, which takes a reference on it; the caller drops its own one afterwards, in any
    /// case. An object whose `releaseRefs()` answers 0 is not taken, and neither is one that comes without
    /// `force` while as many are pending as the limit allows. Null only starts the thread.
    static void deallocObject(vnReference* object, unsigned char force);

    static void startDeallocator();

    /// Ends the thread; what is still pending is let go on the calling thread.
    static void stopDeallocator();
    static unsigned char isDeallocatorRunning();

    /// Lets the thread look at once; it looks twice a second by itself.
    static void trigger();

    /// The lock of the pending objects. While it is held nothing is taken from them.
    static void waitLock();
    static void unLock();

    /// How many objects may be pending, 1000 at the start.
    static unsigned int getMaxPendingDeletes() noexcept;
    static void setMaxPendingDeletes(const unsigned int& count) noexcept;

    void process() override;

private:
    struct Shared;

    vnThreadDeallocator() noexcept;
    ~vnThreadDeallocator() noexcept(false) override;

    static vnThreadDeallocator& instance();
    static Shared& shared();

    void serve();
    void end();
    void deleteUnowned();
    void takeUnowned(vnRefList<vnReference>& objects);
    bool mayEnd();
    void leave();
};
