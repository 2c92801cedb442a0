// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnEvent.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnThread.h>

/// A thread that sleeps on one event, for `vnEvent::wait` on several. What has been fired since the event
/// had fired `fired` wakes it, also before it sleeps; the event counts a sleeper from then on.
class vnEventWaiter : public vnThread, public vnReference
{
public:
    /// `woken` is changed, and its sleepers are woken, when the waiter has been.
    vnEventWaiter(vnEvent* event, unsigned int fired, unsigned int timeoutMilliseconds,
                  std::atomic<unsigned int>& woken);

    /// Wakes all sleepers of the event, which is how its own thread ends early.
    ~vnEventWaiter() noexcept(false) override;

    void process() override;

    vnEvent* getEvent() const noexcept { return m_event; }

    /// Non-zero once the event has fired.
    unsigned char getResult() const noexcept { return m_result.load(std::memory_order_acquire); }

private:
    vnRefPointer<vnEvent> m_event;
    unsigned int m_fired;
    unsigned int m_timeoutMilliseconds;
    std::atomic<unsigned char> m_result{0};
    std::atomic<unsigned int>& m_woken;
};
