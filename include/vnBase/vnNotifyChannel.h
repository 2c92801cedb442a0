// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnPendData.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnTime.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <mutex>
#include <new>
#include <utility>

/// The machinery behind `vnNotifyMaster` and `vnNotifySlave`; use those. A master owns a channel, a slave a
/// membership. Both are counted, and what runs through the other side holds them, so that either object may
/// be destroyed at any time, on any thread, also inside a pass.
///
/// Locks are taken in this order: delivery, subscriber, a slave's lock. The data lock is only held while
/// lists are joined.

template <class Master, class Slave, class Data>
class vnNotifyMaster;
template <class Master, class Slave, class Data>
class vnNotifySlave;
template <class Master, class Slave, class Data>
class vnNotifyChannel;

/// What a status call tells of a subscription.
enum vnNotifyState : unsigned int
{
    VN_NOTIFY_SUBSCRIBED = 0,   // it took effect
    VN_NOTIFY_DROPPED = 1,      // it was dropped before it took effect; only the master is told so
    VN_NOTIFY_UNSUBSCRIBED = 3, // it ended
    VN_NOTIFY_DESTROYED = 5,    // the subscriber is being destroyed
};

/// The masters that a slave is subscribed to, and its lock.
template <class Master, class Slave, class Data>
class vnNotifyMembership : public vnThreadSafeReference
{
public:
    using Channel = vnNotifyChannel<Master, Slave, Data>;
    using Receiver = vnNotifySlave<Master, Slave, Data>;

    explicit vnNotifyMembership(Receiver* receiver) noexcept : m_receiver(receiver) {}
    unsigned char useDeepCopy() override { return 0; }

    /// One more subscription to `channel`; false when the slave is being destroyed.
    bool enter(Channel* channel, Slave* slave)
    {
        vnBodyGuard guard(m_lock);
        if (m_closing)
            return false;
        if (Entry* entry = find(channel))
        {
            ++entry->count;
            return true;
        }
        m_entries.append(Entry{channel, slave, 1});
        return true;
    }

    /// One subscription less, or with `all` none left.
    void forget(Channel* channel, bool all = false)
    {
        vnRefPointer<Channel> released; // let go of behind the lock
        vnBodyGuard guard(m_lock);
        Entry* entry = find(channel);
        if (!entry || (!all && --entry->count > 0))
            return;
        released = std::move(entry->channel);
        // The others keep their order, in which they are told of the slave's end.
        std::move(entry + 1, m_entries.end(), entry);
        m_entries[m_entries.getSize() - 1] = Entry{};
        m_entries.setSize(m_entries.getSize() - 1);
    }

    /// How many subscriptions to `channel` there are, with those that are not in effect yet, and removals
    /// that are still to be applied.
    unsigned int getCount(Channel* channel)
    {
        vnBodyGuard guard(m_lock);
        const Entry* entry = find(channel);
        return entry ? entry->count : 0;
    }

    /// Whether the slave is being destroyed. Needs no lock.
    bool isClosing() const noexcept { return m_closing; }

    void tell(Master* master, Slave* slave, vnNotifyState state)
    {
        vnBodyGuard guard(m_lock);
        if (m_receiver)
            m_receiver->onNotifyStatus(master, slave, state);
    }

    /// Whether all subscriptions have ended for good.
    bool isClosed()
    {
        vnBodyGuard guard(m_lock);
        return !m_receiver;
    }

    /// Ends all subscriptions, for good. What a status call throws comes out once all have ended.
    void close()
    {
        std::exception_ptr error;
        vnRefPointer<Channel> channel;
        while (Slave* slave = nextToClose(channel))
            try
            {
                channel->detach(this, slave);
            }
            catch (...)
            {
                error = std::current_exception();
            }
        if (error)
            std::rethrow_exception(error);
    }

private:
    struct Entry
    {
        vnRefPointer<Channel> channel;
        Slave* slave = nullptr;
        unsigned int count = 0;
    };

    // Null when none is left; the receiver is called no more then.
    Slave* nextToClose(vnRefPointer<Channel>& channel)
    {
        vnRefPointer<Channel> released = std::move(channel); // let go of behind the lock
        vnBodyGuard guard(m_lock);
        m_closing = true;
        if (m_entries.isEmpty())
        {
            m_receiver = nullptr;
            return nullptr;
        }
        channel = m_entries[0].channel;
        return m_entries[0].slave;
    }

    Entry* find(Channel* channel)
    {
        for (Entry& entry : m_entries)
            if (entry.channel.get() == channel)
                return &entry;
        return nullptr;
    }

    vnMutex m_lock;
    Receiver* m_receiver; // null once the slave is gone
    std::atomic<bool> m_closing{false};
    vnDynamicArray<Entry> m_entries{4};
};

/// A subscription: asked for, in effect, or asked to end.
template <class Master, class Slave, class Data>
struct vnPendSub
{
    vnNotifySlave<Master, Slave, Data>* receiver = nullptr; // null in a place that was given up
    vnRefPointer<vnNotifyMembership<Master, Slave, Data>> member;
    Slave* slave = nullptr;
    vnUInt64 filter = 0;
    unsigned int sequence = 0;
};

template <class Master, class Slave, class Data>
class vnNotifyChannel : public vnThreadSafeReference
{
public:
    using Sender = vnNotifyMaster<Master, Slave, Data>;
    using Membership = vnNotifyMembership<Master, Slave, Data>;
    using Subscription = vnPendSub<Master, Slave, Data>;
    using Item = vnPendData<Data>;

    /// The sender holds the channel by the count that this sets.
    explicit vnNotifyChannel(Sender* sender) : m_sender(sender) { this->ref(); }
    unsigned char useDeepCopy() override { return 0; }

    void addSubscriber(Master* master, Slave* slave, vnUInt64 filter)
    {
        queue(m_adds, master, slave, filter);
    }

    void removeSubscriber(Master* master, Slave* slave) { queue(m_removes, master, slave, 0); }

    /// Leaves `data` empty: what counts its holders without a lock is the pass's alone from then on.
    void post(Data&& data, vnUInt64 source, double lifetime, double earliest, unsigned int priority)
    {
        const double latest =
            lifetime == 0 ? std::numeric_limits<double>::max() : vnTime::systemSeconds() + lifetime;
        vnBodyGuard guard(m_dataLock);
        if (m_spare.isEmpty())
            m_spare.append(new Item);
        Item* item = m_spare.pop();
        try
        {
            item->data = std::move(data);
        }
        catch (...)
        {
            m_spare.append(item);
            throw;
        }
        item->source = source;
        item->earliest = earliest;
        item->latest = latest;
        item->priority = priority;
        m_incoming.append(item);
    }

    void trigger()
    {
        Frame frame(this);
        applyPending();
        if (m_busy || m_closed)
            return;
        takeIncoming();
        if (!m_inDelivery.isEmpty())
            deliver();
    }

    /// Takes the slave out of all lists, in the course of its destruction.
    void detach(Membership* member, Slave* slave)
    {
        Frame frame(this);
        try
        {
            if (!m_closed)
                leave(member, slave);
        }
        catch (...)
        {
            member->forget(this, true);
            throw;
        }
        member->forget(this, true);
    }

    /// Ends all subscriptions and drops all data, `forGood` when the master is being destroyed. What a status
    /// call throws comes out once all that is done.
    void close(bool forGood)
    {
        std::exception_ptr error;
        {
            vnPendChain<Data> dropped;
            Frame frame(this);
            error = endAll(forGood);
            ++m_closings;
            vnBodyGuard guard(m_dataLock);
            dropped.appendAll(m_incoming);
            dropped.appendAll(m_inDelivery);
            dropped.appendAll(m_spare);
            dropped.appendAll(m_delivered);
        }
        if (error)
            std::rethrow_exception(error);
    }

    /// `close(false)` unless a pass of another thread is running; answers whether it was done.
    bool tryClose()
    {
        if (!m_deliveryLock.tryLock())
            return false;
        Frame frame(this, std::adopt_lock); // a status call may destroy the master, and the channel with it
        close(false);
        return true;
    }

    /// The master lets go of the channel; frames of the calling thread that still use it do so in its place.
    void releaseByMaster()
    {
        Frame frame(this);
        m_orphaned = true;
    }

private:
    /// A list that is worked off from its start.
    struct Pending
    {
        vnDynamicArray<Subscription> list{16};
        unsigned int head = 0;

        void shrink()
        {
            if (list.isEmpty())
                list.reallocate(0);
        }
    };

    /// An operation of the calling thread under the delivery lock. Frames stack up when callbacks call in
    /// again; only the outermost one closes up the subscribers, since the others are walking over them.
    class Frame
    {
    public:
        explicit Frame(vnNotifyChannel* channel) : m_channel(channel)
        {
            m_channel->m_deliveryLock.waitLock();
            ++m_channel->m_frames;
        }
        Frame(vnNotifyChannel* channel, std::adopt_lock_t) noexcept : m_channel(channel)
        {
            ++m_channel->m_frames;
        }
        ~Frame() noexcept(false)
        {
            const bool outermost = --m_channel->m_frames == 0;
            if (outermost && m_channel->m_gaps)
                m_channel->closeGaps();
            const bool orphaned = outermost && std::exchange(m_channel->m_orphaned, false);
            m_channel->m_deliveryLock.unLock();
            if (orphaned)
                m_channel->unref();
        }
        Frame(const Frame&) = delete;
        Frame& operator=(const Frame&) = delete;

    private:
        vnNotifyChannel* m_channel;
    };

    /// The pass's hold on the items: puts what was not delivered back, also when a subscriber throws.
    class Pass
    {
    public:
        explicit Pass(vnNotifyChannel* channel) noexcept : m_channel(channel), m_closings(channel->m_closings)
        {
            m_channel->m_busy = true;
        }
        ~Pass() noexcept(false)
        {
            m_channel->m_busy = false;
            // What was put aside before the subscriptions were ended is dropped like the rest.
            if (m_closings == m_channel->m_closings)
            {
                m_waiting.appendAll(m_channel->m_inDelivery);
                m_channel->m_inDelivery.swap(m_waiting);
            }
            if (m_current)
                m_channel->recycle(m_current);
        }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

        Item* next()
        {
            if (m_current)
                m_channel->recycle(std::exchange(m_current, nullptr));
            return m_current = m_channel->m_closed ? nullptr : m_channel->m_inDelivery.pop();
        }
        void keepForLater() noexcept { m_waiting.append(std::exchange(m_current, nullptr)); }

    private:
        vnNotifyChannel* m_channel;
        const unsigned int m_closings;
        Item* m_current = nullptr;
        vnPendChain<Data> m_waiting;
    };

    /// Takes one subscription, or removal, from what its slave counts, also when a status call throws.
    struct Forgetting
    {
        ~Forgetting() noexcept(false) { member->forget(channel); }

        vnNotifyChannel* channel;
        Membership* member;
    };

    static Subscription createSubscription(Slave* slave, vnUInt64 filter)
    {
        Subscription subscription;
        subscription.receiver = slave;
        subscription.member = subscription.receiver->m_member.get();
        subscription.slave = slave;
        subscription.filter = filter;
        return subscription;
    }

    // Either way the slave belongs to the master from here on: until what it asked for was applied.
    void queue(Pending& pending, Master* master, Slave* slave, vnUInt64 filter)
    {
        Subscription subscription = createSubscription(slave, filter);
        Membership* member = subscription.member;
        // Not under the lock below: a status call, which holds the slave's lock, may subscribe elsewhere.
        if (!member->enter(this, slave))
            return;
        try
        {
            vnBodyGuard guard(m_subscriberLock);
            // A slave whose destructor was here meanwhile would never be taken out again.
            if (m_closed || member->isClosing())
            {
                member->forget(this);
                return;
            }
            if (!m_master)
                m_master = master;
            subscription.sequence = m_sequence;
            append(pending.list, subscription);
            ++m_sequence;
            m_pending.store(true, std::memory_order_release);
        }
        catch (...)
        {
            member->forget(this);
            throw;
        }
    }

    // Doubles the capacity, since many may subscribe.
    static void reserveOne(vnDynamicArray<Subscription>& list)
    {
        if (list.getSize() == list.getCapacity())
            list.reallocate(vnCheckedSize(std::max<std::size_t>(16, list.getCapacity()), 2));
    }
    static void append(vnDynamicArray<Subscription>& list, const Subscription& subscription)
    {
        reserveOne(list);
        list.append(subscription);
    }

    // Stamps wrap around.
    static bool isBefore(unsigned int sequence, unsigned int limit) noexcept
    {
        return static_cast<int>(sequence - limit) < 0;
    }

    // The next live element with a stamp below the limit, taken out; one without receiver when there is none.
    static Subscription takeNext(Pending& pending, unsigned int limit)
    {
        while (pending.head < pending.list.getSize())
        {
            Subscription& next = pending.list[pending.head];
            if (next.receiver && !isBefore(next.sequence, limit))
                return Subscription();
            Subscription taken = std::exchange(next, Subscription());
            if (++pending.head == pending.list.getSize())
            {
                pending.list.clear();
                pending.head = 0;
            }
            if (taken.receiver)
                return taken;
        }
        return Subscription();
    }

    void applyPending()
    {
        if (!m_pending.load(std::memory_order_acquire))
            return;
        vnBodyGuard guard(m_subscriberLock);
        // What status calls ask for waits for the next pass; otherwise two that contradict each other would
        // never end.
        const unsigned int limit = m_sequence;
        applyRemoves(limit);
        applyAdds(limit);
        m_pending.store(!m_adds.list.isEmpty() || !m_removes.list.isEmpty(), std::memory_order_release);
    }

    void applyRemoves(unsigned int limit)
    {
        for (;;)
        {
            const Subscription removal = takeNext(m_removes, limit);
            if (!removal.receiver)
                return;
            const Forgetting forgetting{this, removal.member};
            removeSlave(removal.member, removal.sequence);
        }
    }

    // Each callback may change the lists: they are looked at anew behind it. What one throws comes out once
    // all subscriptions have ended.
    void removeSlave(vnRefPointer<Membership> member, unsigned int limit)
    {
        std::exception_ptr error;
        const unsigned int count = m_subscribers.getSize();
        for (unsigned int i = m_adds.head; i < m_adds.list.getSize(); ++i)
        {
            Subscription& add = m_adds.list[i];
            if (add.receiver && add.member.get() == member.get() && isBefore(add.sequence, limit))
                keepError(error, [&] { end(std::exchange(add, Subscription()), VN_NOTIFY_DROPPED); });
        }
        for (unsigned int i = 0; i < m_subscribers.getSize(); ++i)
        {
            if (!isToEnd(i, count, limit) || m_subscribers[i].member.get() != member.get())
                continue;
            m_gaps = true;
            keepError(error,
                      [&] { end(std::exchange(m_subscribers[i], Subscription()), VN_NOTIFY_UNSUBSCRIBED); });
        }
        if (error)
            std::rethrow_exception(error);
    }

    // The first one goes on, as from the containers.
    template <class Step>
    static bool keepError(std::exception_ptr& error, Step step)
    {
        try
        {
            step();
            return true;
        }
        catch (...)
        {
            if (!error)
                error = std::current_exception();
            return false;
        }
    }

    // All of them, whatever status calls throw: one that does has ended its removal.
    void applyAllRemoves(unsigned int limit, std::exception_ptr& error)
    {
        while (!keepError(error, [&] { applyRemoves(limit); }))
            continue;
    }

    // Behind the first `count` stands what a pass within a status call has applied: what was asked for behind
    // the removal stays. The stamps of the others may be too old to be compared.
    bool isToEnd(unsigned int index, unsigned int count, unsigned int limit) const
    {
        const Subscription& subscriber = m_subscribers[index];
        return subscriber.receiver && (index < count || isBefore(subscriber.sequence, limit));
    }

    // Answers what a status call threw.
    std::exception_ptr endAll(bool forGood)
    {
        std::exception_ptr error;
        vnBodyGuard guard(m_subscriberLock);
        m_closed = m_closed || forGood;
        const unsigned int limit = m_sequence;
        const unsigned int count = m_subscribers.getSize();
        for (unsigned int i = m_adds.head; i < m_adds.list.getSize(); ++i)
            if (m_adds.list[i].receiver && isBefore(m_adds.list[i].sequence, limit))
                keepError(error, [&] { removeSlave(m_adds.list[i].member, limit); });
        for (unsigned int i = 0; i < m_subscribers.getSize(); ++i)
            if (isToEnd(i, count, limit))
                keepError(error, [&] { removeSlave(m_subscribers[i].member, limit); });
        applyAllRemoves(limit, error);
        m_adds.shrink();
        m_removes.shrink();
        return error;
    }

    void leave(Membership* member, Slave* slave)
    {
        vnBodyGuard guard(m_subscriberLock);
        // A master that ended the subscription meanwhile may be half destroyed, and is told no more.
        const bool isKnown = member->getCount(this) > 0;
        const unsigned int limit = m_sequence;
        std::exception_ptr error;
        applyAllRemoves(limit, error);
        keepError(error, [&] { removeSlave(member, limit); });
        keepError(error, [&] { applyAddsOfOthers(limit); });
        if (isKnown)
            tellMaster(slave, VN_NOTIFY_DESTROYED);
        if (error)
            std::rethrow_exception(error);
    }

    void applyAddsOfOthers(unsigned int limit)
    {
        try
        {
            applyAdds(limit);
        }
        catch (const std::bad_alloc&)
        {
            // The subscriptions stay pending until the next pass.
        }
    }

    // The slave learns in either case that its subscription ended; the master is told whether it was in
    // effect. The slave's entry goes last: until then its destructor waits for this thread.
    void end(const Subscription& subscription, vnNotifyState stateForMaster)
    {
        const Forgetting forgetting{this, subscription.member};
        tellBoth(subscription, VN_NOTIFY_UNSUBSCRIBED, stateForMaster);
    }

    void applyAdds(unsigned int limit)
    {
        while (!m_adds.list.isEmpty())
        {
            // Before the subscription is taken: exhausted memory must not lose it.
            reserveOne(m_subscribers);
            const Subscription add = takeNext(m_adds, limit);
            if (!add.receiver)
                return;
            subscribe(add);
        }
    }

    void subscribe(const Subscription& add)
    {
        // A slave with this one subscription alone has nothing in the list to look for.
        const bool others = add.member->getCount(this) > 1;
        if (others && isCovered(add))
        {
            add.member->forget(this);
            return;
        }
        const unsigned int count = m_subscribers.getSize();
        m_subscribers.append(add);
        if (others && add.filter == 0)
            dropNarrower(add.member, count);
        tellBoth(add, VN_NOTIFY_SUBSCRIBED, VN_NOTIFY_SUBSCRIBED);
    }

    bool isCovered(const Subscription& add) const
    {
        for (const Subscription& subscriber : m_subscribers)
            if (subscriber.receiver && subscriber.member.get() == add.member.get() &&
                (subscriber.filter == 0 || subscriber.filter == add.filter))
                return true;
        return false;
    }

    // Without status calls: the slave stays subscribed.
    void dropNarrower(Membership* member, unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i)
        {
            if (m_subscribers[i].member.get() != member)
                continue;
            m_subscribers[i] = Subscription();
            m_gaps = true;
            member->forget(this);
        }
    }

    void closeGaps()
    {
        vnBodyGuard guard(m_subscriberLock);
        unsigned int kept = 0;
        for (unsigned int i = 0; i < m_subscribers.getSize(); ++i)
            if (m_subscribers[i].receiver && i != kept++)
                m_subscribers[kept - 1] = std::exchange(m_subscribers[i], Subscription());
        m_subscribers.setSize(kept);
        if (kept == 0)
            m_subscribers.reallocate(0);
        m_gaps = false;
    }

    // The master hears of it although the slave throws, but nothing more of one that destroys itself.
    void tellBoth(const Subscription& subscription, vnNotifyState stateForSlave, vnNotifyState stateForMaster)
    {
        std::exception_ptr error;
        keepError(error, [&] { subscription.member->tell(m_master, subscription.slave, stateForSlave); });
        if (!subscription.member->isClosed())
            tellMaster(subscription.slave, stateForMaster);
        if (error)
            std::rethrow_exception(error);
    }

    void tellMaster(Slave* slave, vnNotifyState state)
    {
        if (!m_closed)
            m_sender->onNotifyStatus(slave, state);
    }

    void takeIncoming()
    {
        vnBodyGuard guard(m_dataLock);
        m_incoming.sort();
        m_inDelivery.appendAll(m_incoming);
        m_spare.appendAll(m_delivered);
    }

    void deliver()
    {
        // The clock is read once, and only when it matters.
        const double now = m_inDelivery.isTimed() ? vnTime::systemSeconds() : 0;
        // Later ones subscribed from within this pass.
        const unsigned int count = m_subscribers.getSize();
        Pass pass(this);
        while (Item* item = pass.next())
        {
            if (item->latest < now)
                continue;
            if (item->earliest > now)
                pass.keepForLater();
            else
                deliver(*item, count);
        }
    }

    void deliver(Item& item, unsigned int count)
    {
        for (unsigned int i = 0; i < count && !m_closed; ++i)
        {
            const Subscription& subscriber = m_subscribers[i];
            if (subscriber.receiver && (subscriber.filter == 0 || subscriber.filter == item.source))
                subscriber.receiver->onNotify(m_master, item.data, item.source);
        }
    }

    // Under the delivery lock; the senders get the items back with the next pass.
    void recycle(Item* item)
    {
        if (m_delivered.getCount() >= VN_MAX_SPARE || m_closed)
        {
            delete item;
            return;
        }
        try
        {
            item->data = Data();
        }
        catch (...)
        {
            delete item;
            throw;
        }
        item->earliest = 0;
        item->latest = std::numeric_limits<double>::max();
        m_delivered.append(item);
    }

    static constexpr unsigned int VN_MAX_SPARE = 64;

    vnMutex m_subscriberLock; // the lists of subscriptions and the stamp
    Pending m_adds;
    Pending m_removes;
    vnDynamicArray<Subscription> m_subscribers{16}; // written under the delivery lock too
    unsigned int m_sequence = 0;
    std::atomic<bool> m_pending{false};

    vnMutex m_deliveryLock; // all that follows up to the data lock
    Sender* m_sender;
    Master* m_master = nullptr; // set once, by the first subscription, under the subscriber lock
    unsigned int m_frames = 0;
    bool m_busy = false;
    bool m_closed = false;   // written under the subscriber lock too
    bool m_orphaned = false; // the outermost frame lets go for the master
    bool m_gaps = false;     // subscribers were given up
    unsigned int m_closings = 0;
    vnPendChain<Data> m_inDelivery;
    vnPendChain<Data> m_delivered; // empty ones

    vnMutex m_dataLock;
    vnPendChain<Data> m_incoming;
    vnPendChain<Data> m_spare;
};
