// SPDX-License-Identifier: MIT
#include <vnBase/vnNotifyManager.h>

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnRefData.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <unistd.h>

namespace
{
class Listener;

// Writes what it is told of subscriptions to a log: "m" and the state.
class Sender : public vnNotifyMaster<Sender, Listener, int>
{
public:
    explicit Sender(std::string* log = nullptr) : m_log(log) {}
    ~Sender() noexcept(false) override
    {
        if (endsFirst)
            endSubscriptions();
    }
    void end() { endSubscriptions(); }
    using vnNotifyMaster::tryEndSubscriptions;
    void onNotifyStatus(Listener* listener, vnNotifyState state) override
    {
        if (m_log)
            *m_log += "m" + std::to_string(state) + " ";
        if (onStatus)
            onStatus(listener, state);
    }

    std::function<void(Listener*, vnNotifyState)> onStatus;
    bool endsFirst = true; // otherwise that is left to the destructor of the base

private:
    std::string* m_log;
};

class Listener : public vnNotifySlave<Sender, Listener, int>
{
public:
    explicit Listener(std::string* log = nullptr) : m_log(log) {}
    ~Listener() noexcept(false) override { endSubscriptions(); }
    void onNotify(Sender*, int& data, vnUInt64) override
    {
        received.push_back(data);
        if (onData)
            onData(data);
    }
    void onNotifyStatus(Sender* sender, Listener* self, vnNotifyState state) override
    {
        EXPECT_NE(sender, nullptr);
        EXPECT_EQ(self, this);
        if (m_log)
            *m_log += "s" + std::to_string(state) + " ";
        if (onStatus)
            onStatus(state);
    }

    std::vector<int> received;
    std::function<void(int)> onData;
    std::function<void(vnNotifyState)> onStatus;

private:
    std::string* m_log;
};

using Data = std::vector<int>;

class Object : public vnReference
{
public:
    unsigned char useDeepCopy() override { return 0; }
};

class Panel : public vnNotifyInterface
{
public:
    ~Panel() noexcept(false) override { endSubscriptions(); }
    void onNotify(vnNotifyManager*, vnRefPointer<vnNotifyMessage>& message, vnUInt64 source) override
    {
        messages.append(message);
        sources.push_back(source);
    }
    vnDynamicArray<vnRefPointer<vnNotifyMessage>> messages;
    std::vector<vnUInt64> sources;
};
} // namespace

TEST(vnNotify, DeliversHigherPrioritiesFirstAndEqualOnesAsTheyCame)
{
    Sender sender;
    sender.setDeliverAtOnce(0);
    Listener listener;
    sender.addSubscriber(&listener);
    sender.post(10, 0, 0, 0, 1);
    sender.post(50, 0, 0, 0, 5);
    sender.post(51, 0, 0, 0, 5);
    sender.post(70, 0, 0, 0, 0xFFFFFFFFu);
    sender.post(52, 0, 0, 0, 5);
    sender.post(0, 0);
    sender.post(11, 0, 0, 0, 1, 1); // triggers
    EXPECT_EQ(listener.received, (Data{70, 50, 51, 52, 10, 11, 0}));
}

TEST(vnNotify, DeliversAtOnceUnlessToldNotTo)
{
    Sender sender;
    Listener listener;
    sender.addSubscriber(&listener);
    sender.post(1, 0);
    sender.setDeliverAtOnce(0);
    sender.post(2, 0);
    EXPECT_EQ(listener.received, (Data{1}));
    sender.triggerNotify();
    EXPECT_EQ(listener.received, (Data{1, 2}));
}

TEST(vnNotify, GivesASubscriberWhatItsFiltersLetThrough)
{
    Sender sender;
    Listener listener;
    sender.addSubscriber(&listener, 7);
    sender.addSubscriber(&listener, 7); // changes nothing
    sender.addSubscriber(&listener, 8);
    sender.post(70, 7);
    sender.post(80, 8);
    sender.post(90, 9);
    EXPECT_EQ(listener.received, (Data{70, 80}));
    sender.addSubscriber(&listener); // replaces both
    sender.addSubscriber(&listener, 7);
    sender.post(71, 7);
    sender.post(91, 9);
    EXPECT_EQ(listener.received, (Data{70, 80, 71, 91}));
    sender.removeSubscriber(&listener);
    sender.post(92, 9);
    EXPECT_EQ(listener.received, (Data{70, 80, 71, 91}));
}

TEST(vnNotify, TellsTheStateOfSubscriptions)
{
    std::string log;
    Sender sender(&log);
    sender.setDeliverAtOnce(0);
    {
        Listener listener(&log);
        sender.addSubscriber(&listener, 1);
        sender.addSubscriber(&listener, 2);
        EXPECT_EQ(log, ""); // nothing changes before the next pass
        sender.triggerNotify();
        EXPECT_EQ(std::exchange(log, ""), "s0 m0 s0 m0 ");
        sender.addSubscriber(&listener, 3);
        sender.removeSubscriber(&listener);
        sender.addSubscriber(&listener, 4); // asked for behind the removal: stays
        sender.triggerNotify();
        EXPECT_EQ(std::exchange(log, ""), "s3 m1 s3 m3 s3 m3 s0 m0 ");
        sender.addSubscriber(&listener, 4);
        sender.triggerNotify();
        EXPECT_EQ(std::exchange(log, ""), ""); // covered already
    }
    EXPECT_EQ(std::exchange(log, ""), "s3 m3 m5 ");

    Listener survivor(&log);
    {
        Listener leaving(&log);
        sender.removeSubscriber(&leaving); // of a removal alone its master is told as well
        sender.addSubscriber(&survivor);
    }
    EXPECT_EQ(std::exchange(log, ""), "s0 m0 m5 ");
    sender.removeSubscriber(&survivor);
    sender.triggerNotify();
    EXPECT_EQ(std::exchange(log, ""), "s3 m3 ");
    {
        Sender other(&log);
        other.addSubscriber(&survivor);
        other.post(1, 0);
        log.clear();
    }
    EXPECT_EQ(log, "s3 m3 ");
}

TEST(vnNotify, AppliesWhatASubscriberAsksForBehindTheRunningPass)
{
    Sender sender;
    sender.setDeliverAtOnce(0);
    Listener first;
    Listener second;
    first.onData = [&](int)
    {
        sender.addSubscriber(&second);
        sender.removeSubscriber(&first);
        sender.triggerNotify(); // enters second, but delivers nothing
        sender.post(99, 0);
    };
    sender.addSubscriber(&first);
    sender.post(1, 0);
    sender.post(2, 0);
    sender.triggerNotify();
    EXPECT_EQ(first.received, (Data{1})); // has left
    EXPECT_EQ(second.received, Data{});   // receives nothing of the running pass
    sender.triggerNotify();
    EXPECT_EQ(second.received, (Data{99}));
}

TEST(vnNotify, BearsASlaveThatDiesInItsOwnNotification)
{
    std::string log;
    Sender sender(&log);
    sender.setDeliverAtOnce(0);
    auto dying = std::make_unique<Listener>();
    auto next = std::make_unique<Listener>();
    Listener last;
    sender.addSubscriber(dying.get());
    sender.addSubscriber(next.get());
    sender.addSubscriber(&last);
    dying->onData = [&](int)
    {
        next.reset();
        dying.reset();
    };
    sender.post(1, 0);
    sender.post(2, 0);
    sender.triggerNotify();
    EXPECT_EQ(last.received, (Data{1, 2}));
    EXPECT_EQ(log, "m0 m0 m0 m3 m5 m3 m5 ");
}

TEST(vnNotify, BearsAMasterThatDiesInItsOwnPass)
{
    auto sender = std::make_unique<Sender>();
    Listener first;
    Listener second;
    first.onData = [&](int) { sender.reset(); };
    sender->setDeliverAtOnce(0);
    sender->addSubscriber(&first);
    sender->addSubscriber(&second);
    sender->post(1, 0);
    sender->post(2, 0);
    sender->triggerNotify();
    EXPECT_EQ(first.received, (Data{1}));
    EXPECT_EQ(second.received, Data{});
}

TEST(vnNotify, BearsAMasterThatDiesWhileItsSubscriptionsEnd)
{
    void (*const endings[])(Sender&) = {
        [](Sender& from) { from.end(); },
        [](Sender& from) { EXPECT_EQ(from.tryEndSubscriptions(), 1); },
    };
    for (const auto& end : endings)
    {
        auto sender = std::make_unique<Sender>();
        std::string log;
        Listener listener(&log);
        listener.onStatus = [&](vnNotifyState state)
        {
            if (state == VN_NOTIFY_UNSUBSCRIBED)
                sender.reset();
        };
        sender->addSubscriber(&listener);
        sender->triggerNotify();
        testing::internal::CaptureStdout(); // a lock that is destroyed while it is held is reported there
        end(*sender);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(sender, nullptr);
        EXPECT_EQ(log, "s0 s3 ");
    }
}

TEST(vnNotify, TellsAMasterNothingMoreOfASlaveThatDestroysItself)
{
    for (const vnNotifyState last : {VN_NOTIFY_SUBSCRIBED, VN_NOTIFY_UNSUBSCRIBED})
    {
        std::string log;
        Sender sender(&log);
        sender.setDeliverAtOnce(0);
        auto listener = std::make_unique<Listener>();
        listener->onStatus = [&](vnNotifyState state)
        {
            if (state == last)
                std::exchange(listener, nullptr).reset();
        };
        sender.addSubscriber(listener.get());
        sender.triggerNotify();
        if (listener)
            sender.removeSubscriber(listener.get());
        sender.triggerNotify();
        EXPECT_EQ(listener, nullptr);
        ASSERT_GE(log.size(), 3u);
        EXPECT_EQ(log.find("m5"), log.size() - 3) << log;
    }
}

TEST(vnNotify, BearsAMasterThatDestroysTheSlaveItIsToldOf)
{
    Sender sender;
    auto listener = std::make_unique<Listener>();
    sender.onStatus = [&](Listener*, vnNotifyState state)
    {
        if (state == VN_NOTIFY_UNSUBSCRIBED)
            listener.reset();
    };
    sender.addSubscriber(listener.get(), 1);
    sender.addSubscriber(listener.get(), 2);
    sender.post(1, 1);
    sender.removeSubscriber(listener.get());
    sender.post(2, 1);
    EXPECT_EQ(listener, nullptr);
}

TEST(vnNotify, EndsAlthoughStatusCallsContradictEachOther)
{
    Sender sender;
    Listener listener;
    unsigned int calls = 0;
    sender.onStatus = [&](Listener* told, vnNotifyState state)
    {
        ++calls;
        if (state == VN_NOTIFY_SUBSCRIBED)
            sender.removeSubscriber(told);
        else if (state == VN_NOTIFY_UNSUBSCRIBED)
            sender.addSubscriber(told);
    };
    sender.addSubscriber(&listener);
    sender.triggerNotify();
    EXPECT_EQ(calls, 1u);
    sender.triggerNotify();
    EXPECT_EQ(calls, 2u);
    sender.onStatus = nullptr;
}

TEST(vnNotify, KeepsASubscriptionThatAPassWithinAStatusCallApplies)
{
    std::string log;
    Sender sender;
    sender.setDeliverAtOnce(0);
    Listener listener(&log);
    listener.onStatus = [&](vnNotifyState state)
    {
        if (state != VN_NOTIFY_UNSUBSCRIBED || log.size() > 100)
            return;
        sender.addSubscriber(&listener);
        sender.triggerNotify();
    };
    void (*const endings[])(Sender&, Listener&) = {
        [](Sender& from, Listener& of) { from.removeSubscriber(&of); }, // asked for before it came back
        [](Sender& from, Listener&) { from.end(); },
    };
    for (const auto& end : endings)
    {
        sender.addSubscriber(&listener, 5);
        sender.triggerNotify();
        log.clear();
        end(sender, listener);
        sender.triggerNotify();
        EXPECT_EQ(log, "s3 s0 ");
        sender.post(1, 9);
        sender.triggerNotify();
        EXPECT_EQ(std::exchange(listener.received, {}), (Data{1}));
    }
    listener.onStatus = nullptr;
}

TEST(vnNotify, TellsTheMastersOfASlaveInTheOrderOfItsSubscriptions)
{
    std::string log;
    std::vector<std::unique_ptr<Sender>> senders;
    {
        Listener listener;
        for (char name = 'a'; name <= 'd'; ++name)
        {
            senders.push_back(std::make_unique<Sender>());
            senders.back()->onStatus = [&log, name](Listener*, vnNotifyState state)
            {
                if (state == VN_NOTIFY_DESTROYED)
                    log += name;
            };
            senders.back()->addSubscriber(&listener);
        }
    }
    EXPECT_EQ(log, "abcd");
}

TEST(vnNotify, KeepsDataForItsTimeAndDropsItAfterwards)
{
    Sender sender;
    Listener listener;
    sender.addSubscriber(&listener);
    const double now = vnTime::systemSeconds();
    sender.post(1, 0, 0, now + 1000);
    sender.post(2, 0, -1); // was over before it was posted
    sender.post(3, 0, 1000, now - 1);
    sender.triggerNotify();
    EXPECT_EQ(listener.received, (Data{3}));
    sender.post(4, 0, 0, now + 0.02);
    while (listener.received.size() < 2 && vnTime::systemSeconds() < now + 60)
        sender.triggerNotify();
    EXPECT_EQ(listener.received, (Data{3, 4}));
}

TEST(vnNotify, DeliversTheRestAfterASubscriberThrew)
{
    Sender sender;
    sender.setDeliverAtOnce(0);
    Listener listener;
    sender.addSubscriber(&listener);
    listener.onData = [](int data)
    {
        if (data == 2)
            throw std::runtime_error("two");
    };
    for (int i = 1; i <= 3; ++i)
        sender.post(i, 0);
    EXPECT_THROW(sender.triggerNotify(), std::runtime_error);
    EXPECT_EQ(listener.received, (Data{1, 2}));
    std::thread([&] { sender.triggerNotify(); }).join(); // no lock was left behind
    EXPECT_EQ(listener.received, (Data{1, 2, 3}));
}

TEST(vnNotify, LeavesNoDestroyedSlaveBehindAfterAStatusCallThrew)
{
    Sender first;
    Sender second;
    unsigned int told = 0;
    const auto count = [&](Listener*, vnNotifyState state) { told += state == VN_NOTIFY_DESTROYED; };
    first.onStatus = count;
    second.onStatus = count;
    const auto subscribeAndDie = [&]
    {
        Listener listener;
        for (vnUInt64 filter = 1; filter <= 2; ++filter)
        {
            first.addSubscriber(&listener, filter);
            second.addSubscriber(&listener, filter);
        }
        first.triggerNotify();
        second.triggerNotify();
        second.addSubscriber(&listener, 3); // pending
        listener.onStatus = [](vnNotifyState) { throw std::runtime_error("status"); };
    };
    EXPECT_THROW(subscribeAndDie(), std::runtime_error);
    EXPECT_EQ(told, 2u);
    first.post(1, 1); // reaches nobody
    second.post(2, 2);
}

TEST(vnNotify, ForgetsASubscriptionAlthoughAStatusCallThrows)
{
    std::string log;
    Sender sender(&log);
    sender.setDeliverAtOnce(0);
    {
        Listener listener;
        for (vnUInt64 filter = 1; filter <= 3; ++filter)
        {
            sender.addSubscriber(&listener, filter);
            if (filter < 3) // the last one stays pending
                sender.triggerNotify();
        }
        log.clear();
        listener.onStatus = [](vnNotifyState) { throw std::runtime_error("status"); };
        sender.removeSubscriber(&listener);
        EXPECT_THROW(sender.triggerNotify(), std::runtime_error);
        EXPECT_EQ(std::exchange(log, ""), "m1 m3 m3 ");
        listener.onStatus = nullptr;
    }
    EXPECT_EQ(log, ""); // it was no subscriber any more
}

TEST(vnNotify, EndsAllSubscriptionsOfADyingMasterAlthoughAStatusCallThrows)
{
    std::string log;
    Listener first;
    Listener second(&log);
    Listener pending;
    first.onStatus = pending.onStatus = [](vnNotifyState state)
    {
        if (state == VN_NOTIFY_UNSUBSCRIBED)
            throw std::runtime_error("status");
    };
    auto sender = std::make_unique<Sender>();
    sender->endsFirst = false;
    sender->addSubscriber(&first, 1);
    sender->addSubscriber(&first, 2);
    sender->addSubscriber(&second);
    sender->triggerNotify();
    sender->addSubscriber(&pending);
    log.clear();
    EXPECT_THROW(sender->end(), std::runtime_error);
    EXPECT_EQ(log, "s3 ");
    sender->post(1, 1);
    EXPECT_EQ(first.received, Data{});
    EXPECT_EQ(pending.received, Data{});
    first.onStatus = nullptr;

    // The destructor too, which leaves nothing behind that points to it.
    sender->addSubscriber(&pending);
    sender->addSubscriber(&second);
    sender->triggerNotify();
    EXPECT_THROW(delete sender.release(), std::runtime_error);
    EXPECT_EQ(log, "s3 s0 s3 ");

    // What the destructors of both classes meet is one error.
    sender = std::make_unique<Sender>();
    bool comesBack = true;
    pending.onStatus = [&](vnNotifyState state)
    {
        if (state != VN_NOTIFY_UNSUBSCRIBED)
            return;
        if (std::exchange(comesBack, false)) // for the destructor of the base
            sender->addSubscriber(&pending);
        throw std::runtime_error("status");
    };
    sender->addSubscriber(&pending);
    sender->triggerNotify();
    EXPECT_THROW(delete sender.get(), std::runtime_error);
    static_cast<void>(sender.release()); // gone
    pending.onStatus = nullptr;
}

TEST(vnNotify, DropsWhatWasPutAsideWhenItsMasterEndsInAPass)
{
    Sender sender;
    sender.setDeliverAtOnce(0);
    Listener listener;
    listener.onData = [&](int) { sender.end(); };
    sender.addSubscriber(&listener);
    sender.post(1, 0, 0, vnTime::systemSeconds() + 0.01, 5); // comes first, and is not due
    sender.post(2, 0);
    sender.triggerNotify();
    EXPECT_EQ(listener.received, (Data{2}));
    listener.onData = nullptr;
    sender.addSubscriber(&listener);
    const double end = vnTime::systemSeconds() + 0.02;
    while (vnTime::systemSeconds() < end)
        ;
    sender.triggerNotify();
    EXPECT_EQ(listener.received, (Data{2}));
}

TEST(vnNotify, GivesASubscriptionThatIsWidenedInAPassNothingMoreOfThatPass)
{
    Sender sender;
    sender.setDeliverAtOnce(0);
    Listener listener;
    sender.addSubscriber(&listener, 7);
    listener.onData = [&](int)
    {
        sender.addSubscriber(&listener);
        sender.triggerNotify(); // applies it: the narrower one is gone, the new one is not of this pass
    };
    sender.post(1, 7);
    sender.post(2, 7);
    sender.triggerNotify();
    EXPECT_EQ(listener.received, (Data{1}));
    sender.post(3, 9);
    sender.triggerNotify();
    EXPECT_EQ(listener.received, (Data{1, 3}));
}

TEST(vnNotify, LosesNothingBetweenThreadsThatPostSubscribeAndDie)
{
    constexpr int perThread = 1000;
    Sender sender;
    Listener constant;
    sender.addSubscriber(&constant);
    const auto post = [&]
    {
        for (int i = 0; i < perThread; ++i)
            sender.post(i, 0, 0, 0, i % 3);
    };
    std::thread first(post);
    std::thread second(post);
    for (int i = 0; i < 200; ++i)
    {
        Listener passing;
        sender.addSubscriber(&passing);
        sender.addSubscriber(&passing, 5);
        if (i % 2)
            sender.triggerNotify();
    }
    first.join();
    second.join();
    sender.triggerNotify();
    EXPECT_EQ(constant.received.size(), 2u * perThread);
}

TEST(vnNotify, LetsMasterAndSlaveDieAtTheSameTime)
{
    for (int i = 0; i < 200; ++i)
    {
        auto sender = std::make_unique<Sender>();
        auto listener = std::make_unique<Listener>();
        sender->addSubscriber(listener.get());
        if (i % 2)
            sender->triggerNotify();
        std::atomic<bool> go{false};
        std::thread other(
            [&]
            {
                while (!go)
                    std::this_thread::yield();
                listener.reset();
            });
        go = true;
        sender.reset();
        other.join();
    }
}

TEST(vnNotifyManager, SendsMessagesWhenItIsTriggered)
{
    vnNotifyManager manager;
    Panel panel;
    Object object;
    Object other;
    vnRefPointer<Object> data(new Object);
    manager.addSubscriber(&panel, vnNotifyManager::getSource(&object));
    manager.notify("moved", 0, 0, &object, data, 3000000000u);
    manager.notify("lost", 0, 0, &other);
    EXPECT_TRUE(panel.messages.isEmpty());
    manager.notify("sized", 1, 10, &object, nullptr, 0, 1);
    ASSERT_EQ(panel.messages.getSize(), 2u);
    const vnNotifyMessage& sized = *panel.messages[0];
    const vnNotifyMessage& moved = *panel.messages[1];
    EXPECT_EQ(sized.getCommand(), "sized");
    EXPECT_DOUBLE_EQ(sized.getLastValidTime() - sized.getTime(), 10.0);
    EXPECT_EQ(moved.getCommand(), "moved");
    EXPECT_EQ(moved.getSender(), &object);
    EXPECT_EQ(moved.getData().get(), data.get());
    EXPECT_EQ(moved.getNumber(), 3000000000.0);
    EXPECT_EQ(moved.getLastValidTime().seconds(), 1.7976931348623157e308);
    EXPECT_EQ(panel.sources[0], vnNotifyManager::getSource(&object));
}

TEST(vnNotifyManager, ClonesDataThatWantsToBe)
{
    vnRefPointer<vnReference> text(new vnRefData<vnString>("t"));
    vnRefPointer<vnReference> shared(new Object);
    const vnNotifyMessage first("a", 0, nullptr, text, 1);
    const vnNotifyMessage second("b", 5, nullptr, shared, 2);
    vnRefPointer<vnNotifyMessage> firstCopy(static_cast<vnNotifyMessage*>(first.clone()));
    vnRefPointer<vnNotifyMessage> secondCopy(static_cast<vnNotifyMessage*>(second.clone()));
    EXPECT_NE(firstCopy->getData().get(), text.get());
    EXPECT_EQ(static_cast<vnRefData<vnString>*>(firstCopy->getData().get())->getData(), "t");
    EXPECT_EQ(secondCopy->getData().get(), shared.get());
    EXPECT_EQ(secondCopy->getCommand(), "b");
    EXPECT_EQ(secondCopy->getTime(), second.getTime());
}

TEST(vnNotifyManager, LetsAnotherThreadTriggerWhatIsPosted)
{
    constexpr unsigned int count = 2000;
    vnNotifyManager manager;
    class Counter : public Panel
    {
    public:
        ~Counter() noexcept(false) override { endSubscriptions(); }
        void onNotify(vnNotifyManager*, vnRefPointer<vnNotifyMessage>& message, vnUInt64) override
        {
            length += static_cast<vnRefData<vnString>*>(message->getData().get())->getData().length();
            ++received;
        }
        unsigned int length = 0;
        unsigned int received = 0;
    } counter;
    manager.addSubscriber(&counter);
    std::atomic<bool> done{false};
    std::thread poster(
        [&]
        {
            for (unsigned int i = 0; i < count; ++i)
                manager.notify("text", i % 3, 0, nullptr, new vnRefData<vnString>("four"));
            done = true;
        });
    while (!done)
        manager.triggerNotify();
    poster.join();
    manager.triggerNotify();
    EXPECT_EQ(counter.received, count);
    EXPECT_EQ(counter.length, 4 * count);
}

TEST(vnNotifyManager, EndsWithTheProcessAlthoughAPassDoesNot)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    class Stuck : public Panel
    {
    public:
        ~Stuck() noexcept(false) override { endSubscriptions(); }
        void onNotify(vnNotifyManager*, vnRefPointer<vnNotifyMessage>&, vnUInt64) override
        {
            isStuck = true;
            for (;;)
                pause();
        }
        std::atomic<bool> isStuck{false};
    };
    const auto endWithinAPass = []
    {
        alarm(60); // what would wait for ever fails
        Stuck& stuck = *new Stuck;
        vnNotifyManager::getManager()->addSubscriber(&stuck);
        std::thread([] { notify_vnString("say", "hello", nullptr, 1); }).detach();
        while (!stuck.isStuck)
            std::this_thread::yield();
        std::exit(5);
    };
    EXPECT_EXIT(endWithinAPass(), testing::ExitedWithCode(5), "");
}

TEST(vnNotifyManager, SendsATextThroughTheProcessesManager)
{
    Panel panel;
    vnNotifyManager::getManager()->addSubscriber(&panel);
    notify_vnString("say", "hello", nullptr, 1);
    ASSERT_EQ(panel.messages.getSize(), 1u);
    EXPECT_EQ(static_cast<vnRefData<vnString>*>(panel.messages[0]->getData().get())->getData(), "hello");
}
