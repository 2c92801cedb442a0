// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnNotifyChannel.h>

/// The sender's side of notification: a list of subscribers, and a queue of data that is handed to them in
/// passes. `Master` is the class that derives from it, `Slave` the receiving class (which derives from
/// `vnNotifySlave` over the same three types), `Data` what is sent.
///
///     class Clock : public vnNotifyMaster<Clock, ClockListener, int> {};
///     class ClockListener : public vnNotifySlave<Clock, ClockListener, int>
///     {
///     public:
///         ~ClockListener() noexcept(false) override { endSubscriptions(); }
///         void onNotify(Clock* clock, int& second, vnUInt64 source) override;
///     };
///     clock.addSubscriber(&listener);
///     clock.post(59, 0);
///
/// Subscribing and leaving take effect at the start of the next pass, so both are possible from within
/// `onNotify`. One pass runs at a time; a pass that is asked for from within one delivers nothing, so what is
/// posted there waits for the next.
///
/// Thread-safety: any thread may post, subscribe, unsubscribe and trigger. Queueing doesn't wait for a
/// running pass of another thread; triggering does, and so does a post that triggers. Callbacks run on the
/// thread that triggers. A master or a slave may be destroyed on any thread, also from within a callback: its
/// destructor waits for a pass of another thread. Since the derived part is gone by then, `onNotify` among
/// it, each class whose callbacks another thread can run calls `endSubscriptions()` first thing in its own
/// destructor, also when it has no state. A callback that triggers another master, or destroys what is
/// subscribed to it, waits for that one's pass: no callback there may wait for this one's.
///
/// Data passes from the thread that posts to the one that triggers. What it refers to, such as the object
/// behind a `vnRefPointer`, is either given away with it or made for use by several threads.
template <class Master, class Slave, class Data>
class vnNotifyMaster
{
public:
    vnNotifyMaster() : m_channel(new Channel(this)) {}
    vnNotifyMaster(const vnNotifyMaster&) = delete;
    vnNotifyMaster& operator=(const vnNotifyMaster&) = delete;

    /// Ends all subscriptions; what is queued is dropped.
    virtual ~vnNotifyMaster() noexcept(false)
    {
        // What a status call throws must not keep the channel alive, nor pointing here.
        std::exception_ptr error;
        try
        {
            m_channel->close(true);
        }
        catch (...)
        {
            error = std::current_exception();
        }
        m_channel->releaseByMaster();
        // A second error, behind that of a derived destructor, would end the process.
        if (error && std::uncaught_exceptions() == 0)
            std::rethrow_exception(error);
    }

    /// Tells what became of a subscription. Called under the locks of the pass: it must not wait for another
    /// thread, nor subscribe a slave to another master, nor trigger a pass when slaves have other masters.
    virtual void onNotifyStatus(Slave*, vnNotifyState) {}

    /// Asks for the data whose source id is `filter`, or for all with 0. A slave may subscribe with several
    /// filters; 0 replaces them all.
    void addSubscriber(Slave* slave, vnUInt64 filter = 0)
    {
        if (slave)
            m_channel->addSubscriber(static_cast<Master*>(this), slave, filter);
    }

    /// Asks for the end of all subscriptions of the slave that were asked for before.
    void removeSubscriber(Slave* slave)
    {
        if (slave)
            m_channel->removeSubscriber(static_cast<Master*>(this), slave);
    }

    /// Queues data, behind all data of the same or a higher priority. It is dropped when it is not delivered
    /// within `lifetime` seconds (0: never), and not delivered before `earliest`, in seconds of
    /// `vnTime::systemSeconds` (0: at once). With `trigger`, or when this master delivers at once, a pass
    /// runs before the call returns. The data moves into the queue; a `vnRefPointer` that is not moved in is
    /// copied as its object's copy mode says.
    void post(Data data, vnUInt64 source, const double& lifetime = 0, const double& earliest = 0,
              unsigned int priority = 0, unsigned char trigger = 0)
    {
        m_channel->post(std::move(data), source, lifetime, earliest, priority);
        if (trigger || getDeliverAtOnce())
            triggerNotify();
    }

    /// Runs a pass. What a subscriber throws ends the pass and comes out here; the item that it was given
    /// counts as delivered, the others wait for the next pass.
    void triggerNotify() { m_channel->trigger(); }

    /// Whether each post runs a pass; 1 at the start.
    void setDeliverAtOnce(unsigned char deliverAtOnce) noexcept
    {
        m_deliverAtOnce.store(deliverAtOnce, std::memory_order_relaxed);
    }
    unsigned char getDeliverAtOnce() const noexcept
    {
        return m_deliverAtOnce.load(std::memory_order_relaxed);
    }

protected:
    /// Ends all subscriptions, also those not yet in effect, and drops what is queued. In a destructor what
    /// subscribers ask of the master in the status calls of their end must not outlast this call: a slave
    /// that another thread may destroy meanwhile asks for nothing there.
    void endSubscriptions() { m_channel->close(false); }

    /// The same unless a pass of another thread is running; answers whether it was done.
    unsigned char tryEndSubscriptions() { return m_channel->tryClose(); }

private:
    using Channel = vnNotifyChannel<Master, Slave, Data>;
    friend Channel;

    // Not a counted pointer: a pass in which the master dies lets go of the channel when it ends.
    Channel* m_channel;
    std::atomic<unsigned char> m_deliverAtOnce{1};
};

/// The receiving side; see `vnNotifyMaster`.
template <class Master, class Slave, class Data>
class vnNotifySlave
{
public:
    vnNotifySlave() : m_member(new Membership(this)) {}

    /// A copy is subscribed to nothing; assignment changes no subscription.
    vnNotifySlave(const vnNotifySlave&) : vnNotifySlave() {}
    vnNotifySlave& operator=(const vnNotifySlave&) noexcept { return *this; }

    /// Ends all subscriptions; each master is told with `VN_NOTIFY_DESTROYED`.
    virtual ~vnNotifySlave() noexcept(false) { m_member->close(); }

    /// Receives an item. All subscribers of the pass get the same `data`, one after the other.
    virtual void onNotify(Master* master, Data& data, vnUInt64 source) = 0;

    /// Tells what became of a subscription of `slave`, this object. Called under its lock and those of the
    /// pass: it must not subscribe the object to another master, whose pass may be waiting for that lock, and
    /// trigger no pass when subscribers have other masters.
    virtual void onNotifyStatus(Master*, Slave*, vnNotifyState) {}

protected:
    /// What the destructor does, for the destructors of derived classes. The object can't subscribe again.
    void endSubscriptions() { m_member->close(); }

private:
    using Membership = vnNotifyMembership<Master, Slave, Data>;
    friend class vnNotifyChannel<Master, Slave, Data>;

    vnRefPointer<Membership> m_member;
};
