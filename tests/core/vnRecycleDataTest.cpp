// SPDX-License-Identifier: MIT
#include "vnBesideCleanup.h"
#include "vnTestManager.h"
#include "vnTextHelpers.h"

#include <vnBase/vnRecycleData.h>

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

// Logs its hooks, and throws in the one that the test wants.
template <int N>
class Borrower : public vnRecycleData_vnBase<Scratch<N>>
{
public:
    explicit Borrower(std::string& log, const char* failing = "") : m_log(log), m_failing(failing) {}
    using vnRecycleData_vnBase<Scratch<N>>::emptyPool;
    void onNewItem(Scratch<N>&) const override { run("new "); }
    void onInitItem(Scratch<N>&) const override { run("init "); }

private:
    void run(const std::string& hook) const
    {
        m_log += hook;
        if (hook == m_failing)
            throw 1;
    }

    std::string& m_log;
    const char* m_failing;
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
    std::string log;
    Borrower<8>::emptyPool();
    {
        Borrower<8> unprepared(log, "new ");
        EXPECT_THROW(unprepared.getData(), int);
        EXPECT_THROW(unprepared.getData(), int);
    }
    EXPECT_EQ(log, "new new ");
    log.clear();
    {
        Borrower<8> fresh(log, "init "); // the one before is not pooled
        EXPECT_THROW(fresh.getData(), int);
    }
    Borrower<8> pooled(log);
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
    const auto textAfterFailure = []
    {
        std::string log;
        try
        {
            TestManager manager;
            // The list of the cleanup references may have places left at first; these take them all.
            std::vector<std::unique_ptr<vnCleanupReference>> entries;
            for (int i = 0; i < 1000; ++i)
                entries.push_back(std::make_unique<vnCleanupReference>(new vnReference, 891));
            manager.most = manager.count + 1; // for the object that goes there, and none for its place
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
    EXPECT_IN_A_PROCESS(textAfterFailure() == "kept"); // where nobody has opened the pool yet
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
    EXPECT_IN_A_PROCESS(logAfterCleaning() == "new init new init "); // all pools are gone for good
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
} // namespace

// Another thread makes or drops an item while a pass holds the lock of the list, for which it waits; then
// this one borrows, too.
TEST(vnRecycleData, MakesAndDropsItemsOutsideOfItsLock)
{
    RegisteredBorrower::emptyPool(); // of what an earlier run left there
    auto untouched = std::make_unique<RegisteredBorrower>();
    const std::function<void()> works[] = {[] { RegisteredBorrower theirs; }, [&] { untouched = nullptr; },
                                           [] { RegisteredBorrower::emptyPool(); }};
    for (const auto& work : works)
    {
        const auto workAndTell = [&work](std::promise<void>& touched)
        {
            Registered::s_touched = &touched;
            work();
        };
        runBesideCleanup(891, workAndTell,
                         []
                         {
                             RegisteredBorrower mine;
                             mine.getData();
                         });
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
