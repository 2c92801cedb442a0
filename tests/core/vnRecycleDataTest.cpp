// SPDX-License-Identifier: MIT
#include "vnBesideCleanup.h"

#include <vnBase/vnRecycleData.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{
// Each test has a pool of its own by a type of its own.
template <int N>
struct Scratch
{
    std::string text;
};

template <int N>
class Borrower : public vnRecycleData_vnBase<Scratch<N>>
{
public:
    explicit Borrower(std::string& log) : m_log(log) {}
    using vnRecycleData_vnBase<Scratch<N>>::emptyPool;
    void onNewItem(Scratch<N>&) const override { m_log += "new "; }
    void onInitItem(Scratch<N>&) const override { m_log += "init "; }

private:
    std::string& m_log;
};
} // namespace

TEST(vnRecycleData, PreparesAtTheFirstAccess)
{
    std::string log;
    Borrower<1>::emptyPool(); // of what an earlier run left there
    {
        Borrower<1> fresh(log);
        EXPECT_EQ(log, "");
        fresh->text = "used";
        EXPECT_EQ(log, "new init ");
        fresh->text += " twice";
        EXPECT_EQ(log, "new init ");
    }
    log.clear();
    Borrower<1> again(log);
    EXPECT_EQ((*again).text, "used twice");
    EXPECT_EQ(log, "init ");
}

TEST(vnRecycleData, PreparesAnewAfterAHookThrew)
{
    class Failing : public vnRecycleData_vnBase<Scratch<8>>
    {
    public:
        explicit Failing(std::string& log) : m_log(log) {}
        void onNewItem(Scratch<8>&) const override { run("new "); }
        void onInitItem(Scratch<8>&) const override { run("init "); }
        std::string fails;

    private:
        void run(const char* hook) const
        {
            m_log += hook;
            if (fails == hook)
                throw 1;
        }
        std::string& m_log;
    };
    std::string log;
    Failing::emptyPool();
    {
        Failing unprepared(log);
        unprepared.fails = "new ";
        EXPECT_THROW(unprepared.getData(), int);
        EXPECT_THROW(unprepared.getData(), int);
    }
    EXPECT_EQ(log, "new new ");
    log.clear();
    {
        Failing fresh(log); // the one before is not pooled
        fresh.fails = "init ";
        EXPECT_THROW(fresh.getData(), int);
    }
    Failing pooled(log);
    pooled.getData();
    pooled.getData();
    EXPECT_EQ(log, "new init init ");
}

TEST(vnRecycleData, GivesTheOneReturnedLastFirst)
{
    std::string log;
    {
        Borrower<2> first(log);
        first->text = "first";
        {
            Borrower<2> second(log);
            second->text = "second";
        }
    }
    Borrower<2> a(log);
    Borrower<2> b(log);
    EXPECT_EQ(a->text, "first");
    EXPECT_EQ(b->text, "second");
}

TEST(vnRecycleData, PoolsNothingThatWasNeverTouched)
{
    std::string log;
    Borrower<3>::emptyPool();
    {
        Borrower<3> untouched(log);
    }
    Borrower<3> next(log);
    next.getData();
    EXPECT_EQ(log, "new init ");
    log.clear();
    {
        Borrower<3> other(log);
        other.getData();
    }
    {
        Borrower<3> pooled(log); // taken from the pool and not touched: goes back all the same
    }
    Borrower<3> last(log);
    last.getData();
    EXPECT_EQ(log, "new init init ");
}

TEST(vnRecycleData, KeepsNoMoreThanTheLimit)
{
    std::string log;
    Borrower<4>::setPoolLimit(1);
    {
        Borrower<4> a(log);
        a->text = "a";
        Borrower<4> b(log);
        b->text = "b";
    }
    log.clear();
    Borrower<4> c(log);
    Borrower<4> d(log);
    EXPECT_EQ(c->text, "b");
    EXPECT_EQ(d->text, "");
    EXPECT_EQ(log, "init new init ");
}

TEST(vnRecycleData, OpensItsPoolWhenThereIsMemoryAgain)
{
    // Has memory for so many allocations.
    class Short : public vnMemoryManagerInterface
    {
    public:
        Short() { vnMemoryControl::setMemoryManager(this); }
        ~Short() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
        void* allocate(unsigned int size) override
        {
            if (left == 0)
                return nullptr;
            --left;
            return std::malloc(size);
        }
        void* reallocate(void*, unsigned int) override { return nullptr; }
        void deallocate(void* block) override { std::free(block); }
        unsigned int left = 1000000;
    };
    const auto textAfterFailure = []
    {
        std::string log;
        try
        {
            Short manager;
            // The list of the cleanup references may have places left at first; these take them all.
            std::vector<std::unique_ptr<vnCleanupReference>> entries;
            for (int i = 0; i < 1000; ++i)
                entries.push_back(std::make_unique<vnCleanupReference>(new vnReference, 891));
            manager.left = 1; // for the object that goes there, and none for its place
            Borrower<9> refused(log);
            return std::string("not refused");
        }
        catch (const std::bad_alloc&)
        {
        }
        {
            Borrower<9> first(log);
            first->text = "kept";
        }
        Borrower<9> second(log);
        return second->text;
    };
    // In a process of its own, where nobody has opened the pool yet.
    EXPECT_EXIT(std::_Exit(textAfterFailure() == "kept" ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(vnRecycleData, WorksOnWithoutItsPool)
{
    const auto logAfterCleaning = []
    {
        std::string log;
        {
            Borrower<5> a(log);
            a->text = "a";
        }
        vnCleanupReference::cleanUpReferences(-1);
        log.clear();
        for (int i = 0; i < 2; ++i)
        {
            Borrower<5> later(log);
            log += later->text;
            later->text = "x";
        }
        return log;
    };
    // In a process of its own, since all pools are gone for good.
    EXPECT_EXIT(std::_Exit(logAfterCleaning() == "new init new init " ? 0 : 1), testing::ExitedWithCode(0),
                "");
}

TEST(vnRecycleData, OpensItsPoolBesideAPassOverTheCleanupReferences)
{
    useBesideCleanup(890,
                     []
                     {
                         std::string log;
                         Borrower<7> borrower(log);
                         borrower->text = "used";
                     });
}

namespace
{
// Counts on the list of the cleanup references when it begins and when it ends, and tells so.
struct Registered
{
    static std::promise<void>* s_touched;

    static void touch()
    {
        if (s_touched)
            std::exchange(s_touched, nullptr)->set_value();
        vnCleanupReference entry(new vnReference, 892);
    }
    Registered() { touch(); }
    ~Registered() noexcept(false) { touch(); }
};
std::promise<void>* Registered::s_touched = nullptr;

using RegisteredBorrower = vnRecycleData_vnBase<Registered>;

// While a pass that destroys it holds the lock of the list, another thread makes or drops an item, and waits
// for that lock; then this one borrows, too.
class Passing : public vnReference
{
public:
    Passing(std::thread& other, std::function<void()> work) : m_other(other), m_work(std::move(work)) {}
    ~Passing() noexcept(false) override
    {
        std::promise<void> touched;
        Registered::s_touched = &touched;
        m_other = std::thread(m_work);
        EXPECT_EQ(touched.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
        RegisteredBorrower mine;
        mine.getData();
    }

private:
    std::thread& m_other;
    std::function<void()> m_work;
};
} // namespace

TEST(vnRecycleData, MakesAndDropsItemsOutsideOfItsLock)
{
    RegisteredBorrower::emptyPool(); // of what an earlier run left there
    auto untouched = std::make_unique<RegisteredBorrower>();
    const std::function<void()> works[] = {[] { RegisteredBorrower theirs; }, [&] { untouched = nullptr; },
                                           [] { RegisteredBorrower::emptyPool(); }};
    for (const auto& work : works)
    {
        std::thread other;
        vnCleanupReference entry(new Passing(other, work), 891);
        vnCleanupReference::cleanUpReferences(891);
        other.join();
    }
}

TEST(vnRecycleData, LendsEachItemToOneBorrower)
{
    const auto work = [](char mark)
    {
        std::string log;
        for (int i = 0; i < 5000; ++i)
        {
            Borrower<6> mine(log);
            mine->text.assign(20, mark);
            ASSERT_EQ(mine->text, std::string(20, mark));
        }
    };
    std::thread other(work, 'o');
    work('m');
    other.join();
}

TEST(vnCacheData, BeginsEmptyWithALargeChunk)
{
    for (int i = 0; i < 2; ++i)
    {
        vnCacheData bytes;
        EXPECT_EQ(bytes->getSize(), 0u);
        bytes->append(7);
        EXPECT_EQ(bytes->getCapacity(), 1000u);
    }
}
