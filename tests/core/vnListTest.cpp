// SPDX-License-Identifier: MIT
#include <vnBase/vnList.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefList.h>
#include <vnBase/vnRefPointer.h>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

namespace
{
using Texts = vnList<const char>;

std::string joined(const Texts& list)
{
    std::string text;
    for (const char* item : list)
        text += item;
    return text;
}

// Logs its hooks, and throws for "x", and for "y", which takes the first item along.
class HookedList : public Texts
{
public:
    ~HookedList() override { clear(); }
    void onInsertItem(const char* item) override
    {
        if (*item == 'y')
            removeHead();
        if (*item == 'x' || *item == 'y')
            throw 1;
        log += std::string("+") + item;
    }
    void onRemoveItem(const char* item) override { log += std::string(contains(item) ? "!" : "-") + item; }
    std::string log;
};

struct Counted
{
    explicit Counted(int& counter, bool armed = false) : alive(counter), isArmed(armed) { ++alive; }
    Counted(Counted&& other) noexcept : alive(other.alive), isArmed(std::exchange(other.isArmed, false))
    {
        ++alive;
    }
    Counted(const Counted& other) : alive(other.alive), isArmed(other.isArmed) { ++alive; }
    ~Counted() noexcept(false)
    {
        --alive;
        if (isArmed)
            throw 1;
    }
    int& alive;
    bool isArmed; // throws at its end
};

using Data = vnRefData<int>;
} // namespace

TEST(vnList, InsertsAtBothEnds)
{
    Texts list;
    EXPECT_EQ(list.getHead(), nullptr);
    EXPECT_EQ(list.removeHead(), nullptr);
    list.append("b");
    list.append("c");
    list.insertHead("a");
    EXPECT_EQ(joined(list), "abc");
    EXPECT_STREQ(list.getHead(), "a");
    EXPECT_STREQ(list.getTail(), "c");
    EXPECT_STREQ(list.removeHead(), "a");
    EXPECT_EQ(list.getCount(), 2u);
}

TEST(vnList, SortsEqualKeysByTheRuleOfTheCall)
{
    const struct
    {
        double key;
        const char* item;
        int isEqual;
    } rows[] = {{2, "a", 0}, {1, "b", 0}, {2, "c", 1}, {3, "d", 0}, {2, "e", 1}, {2.5, "f", 0}, {3, "g", 1}};
    Texts behind, before;
    for (const auto& row : rows)
    {
        EXPECT_EQ(behind.insertSorted(row.key, row.item), row.isEqual) << row.item;
        EXPECT_EQ(before.insertSortedFirst(row.key, row.item), row.isEqual) << row.item;
    }
    EXPECT_EQ(joined(behind), "bacefdg");
    EXPECT_EQ(joined(before), "becafgd");
    behind.insertSorted(__builtin_nan(""), "h"); // a key that is no number
    EXPECT_EQ(joined(behind), "bacefdgh");
    EXPECT_STREQ(behind.getTail(), "h");
}

TEST(vnList, RemovesTheFirstMatchOnly)
{
    const char *a = "a", *b = "b", *absent = "x";
    Texts list;
    for (const char* item : {a, b, a, b})
        list.append(item);
    EXPECT_EQ(list.remove(absent), nullptr);
    EXPECT_EQ(list.remove(b), b);
    EXPECT_EQ(joined(list), "aab");
    EXPECT_EQ(list.remove(b), b);
    EXPECT_EQ(list.getTail(), a);
    list.append(b);
    EXPECT_EQ(joined(list), "aab");
}

TEST(vnList, UndoesAnInsertionWhoseHookThrows)
{
    HookedList list;
    EXPECT_THROW(list.append("x"), int);
    EXPECT_EQ(list.getTail(), nullptr);
    list.insertSorted(1, "a");
    list.insertSorted(3, "c");
    EXPECT_THROW(list.insertHead("x"), int);
    EXPECT_THROW(list.append("x"), int);
    EXPECT_THROW(list.insertSorted(2, "x"), int);
    EXPECT_THROW(list.insertSortedFirst(3, "x"), int);
    EXPECT_EQ(joined(list), "ac");
    EXPECT_EQ(list.getCount(), 2u);
    EXPECT_THROW(list.insertSorted(2, "y"), int);
    list.append("d");
    EXPECT_EQ(joined(list), "cd");
}

TEST(vnList, CallsTheRemovalHookWhenTheItemHasLeft)
{
    HookedList list;
    list.append("a");
    list.insertSorted(1, "b");
    list.append("c");
    list.remove(list.getTail());
    list.clear();
    EXPECT_EQ(list.log, "+a+b+c-c-a-b");
}

TEST(vnList, RemovesThroughAnIterator)
{
    const char* items[] = {"a", "b", "c", "d", "e"};
    Texts list;
    for (const char* item : items)
        list.append(item);
    Texts::Iterator i(list);
    EXPECT_STREQ(i.remove(), "a");
    EXPECT_STREQ(*i, "b");
    ++i;
    EXPECT_STREQ(i.remove(), "c");
    EXPECT_STREQ(i.remove(), "d");
    EXPECT_STREQ(*i, "e");
    EXPECT_STREQ(i.remove(), "e");
    EXPECT_FALSE(i.isValid());
    list.append("f");
    EXPECT_EQ(joined(list), "bf");
}

TEST(vnList, DeletesItemsOnRequestOnly)
{
    int alive = 0;
    vnList<Counted> list;
    for (int i = 0; i < 3; ++i)
        list.append(new Counted(alive));
    std::unique_ptr<Counted> kept(list.removeHead());
    list.clearAndDestroy();
    EXPECT_EQ(alive, 1);
    list.append(kept.get());
    list.clear();
    EXPECT_EQ(alive, 1);
}

TEST(vnList, IsEmptyThoughAnItemThrows)
{
    int alive = 0;
    vnList<Counted> list;
    for (const bool isArmed : {false, true, true, false})
        list.append(new Counted(alive, isArmed));
    EXPECT_THROW(list.clearAndDestroy(), int);
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE(list.isEmpty());
}

TEST(vnRefList, LetsGoOfAllItemsThoughOneThrows)
{
    using Item = vnRefData<Counted>;
    int alive = 0;
    const auto fill = [&alive](vnRefList<Item>& list)
    {
        for (const bool isArmed : {false, true, false})
            list.append(new Item(Counted(alive, isArmed)));
    };
    vnRefList<Item> list;
    list.setKeepLast(1);
    fill(list);
    EXPECT_THROW(list.clear(), int);
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(list.getHeldItem(), nullptr);
    EXPECT_THROW(
        {
            vnRefList<Item> brief;
            fill(brief);
        },
        int);
    EXPECT_EQ(alive, 0);
}

TEST(vnList, TakesNoMemoryInSteadyChurnWithReuse)
{
    Texts list;
    list.setReuseNodes(1);
    list.append("a");
    list.append("b");
    list.clear();
    vnMemoryControl::debugMem(1);
    const vnUInt64 before = vnMemoryControl::getAllocMem(0, 0);
    list.append("c");
    list.append("d");
    const vnUInt64 warm = vnMemoryControl::getAllocMem(0, 0);
    list.append("e");
    const vnUInt64 grown = vnMemoryControl::getAllocMem(0, 0);
    list.clear();
    vnMemoryControl::debugMem(0);
    EXPECT_EQ(warm, before);
    EXPECT_GT(grown, before);
}

TEST(vnRefList, HoldsItsItems)
{
    vnRefPointer<Data> item(new Data(1));
    {
        vnRefList<Data> list;
        list.append(item.get());
        list.append(item.get());
        list.append(nullptr);
        EXPECT_EQ(item->getRef(), 3u);
        list.removeHead();
        EXPECT_EQ(item->getRef(), 2u);
        list.clearAndDestroy();
        EXPECT_EQ(item->getRef(), 1u);
        list.append(item.get());
    }
    EXPECT_EQ(item->getRef(), 1u);
}

TEST(vnRefList, KeepsTheItemRemovedLast)
{
    vnRefList<Data> list;
    list.setKeepLast(1);
    for (int i = 0; i < 3; ++i)
        list.append(new Data(i));
    Data* first = list.removeHead();
    EXPECT_EQ(first->getData(), 0);
    EXPECT_EQ(first->getRef(), 1u);
    Data* second = list.removeHead(); // the first is gone now
    EXPECT_EQ(list.getHeldItem(), second);
    EXPECT_EQ(second->getData(), 1);
    list.clear();
    EXPECT_EQ(list.getHeldItem(), nullptr);
}

TEST(vnRefList, CopiesAsTheItemsWish)
{
    vnRefPointer<Data> deep(new Data(1));
    vnRefPointer<Data> shared(new Data(2));
    shared->setCopyMode(VN_COPY_SHARED);
    vnRefList<Data> list;
    list.insertSorted(5, deep.get());
    list.insertSorted(6, shared.get());
    list.insertSorted(7, nullptr);
    vnRefList<Data> copy(list);
    EXPECT_EQ(copy.getCount(), 3u);
    EXPECT_NE(copy.getHead(), deep.get());
    EXPECT_EQ(copy.getHead()->getData(), 1);
    EXPECT_EQ(copy.getHead()->getRef(), 1u);
    EXPECT_TRUE(copy.contains(shared.get()));
    EXPECT_EQ(shared->getRef(), 3u);
    EXPECT_EQ(copy.begin().getKey(), 5.0);
    list.setCopyMode(VN_COPY_SHARED);
    copy = list;
    EXPECT_EQ(copy.getHead(), deep.get());
}
