// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>
#include <vnBase/vnReference.h>

#include <atomic>

template <class T>
class vnRefList;

/// A condition variable together with its mutex. `fire()` sets no state: with no sleeper it is lost, so users
/// test a condition of their own under the mutex:
///
///     vnBodyGuard guard(*event);
///     while (!ready)
///         event->waitAndLock(1000, 1);
///
/// Time-outs are milliseconds on a monotonic clock, 0xFFFFFFFF for none. As a `vnReference` it is
/// thread-safe: its own mutex guards the count.
///
/// Thread-safety: all operations, on any thread.
class VN_BASE_API vnEvent : public vnReference, public vnMutex
{
public:
    vnEvent() noexcept = default;
    vnEvent(const vnEvent& other) noexcept : vnReference(other), vnMutex(other) {}
    vnEvent& operator=(const vnEvent& other) noexcept
    {
        vnReference::operator=(other);
        vnMutex::operator=(other);
        return *this;
    }
    ~vnEvent() noexcept(false) override;

    void ref() override;
    void unref() override;
    unsigned int unrefNoDelete() override;
    unsigned char checkDelete() override;
    unsigned int getRef() const override;

    /// Wakes all sleepers.
    void fire();

    /// Wakes one sleeper. Others that are only just falling asleep may wake with it.
    void fireOnlyOne();

    /// Sleeps until woken or until `milliseconds` have passed; non-zero when woken, 0 at the time-out. With
    /// `locked` the caller holds the mutex, and has one hold less afterwards. All holds are given up while it
    /// sleeps.
    unsigned char wait(unsigned int milliseconds, unsigned char locked);

    /// The same, but the caller holds the mutex afterwards: one hold when it came without, as many as before
    /// with `locked`.
    unsigned char waitAndLock(unsigned int milliseconds, unsigned char locked);

    /// Waits for any of `events` (include vnRefList.h): the first that fired, or null after `milliseconds`.
    /// Null elements are passed over; with no time-out and nothing to wait for, the answer is null at once.
    /// The caller's holds of the events are given up while it waits, as above; it gets them back all at once,
    /// so that it never waits for one while it has another. It costs a thread for each event.
    static vnEvent* wait(const vnRefList<vnEvent>& events, unsigned int milliseconds);

private:
    friend class vnEventWaiter;
    class Holds;

    unsigned char sleepReleased(unsigned int milliseconds, unsigned char keep, unsigned int fired);

    std::atomic<unsigned int> m_fired{0}; // counts the wake-ups, so that one between unlock and sleep is seen
    std::atomic<unsigned int> m_sleepers{0}; // a fire with none costs one load
};
