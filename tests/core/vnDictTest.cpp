// SPDX-License-Identifier: MIT
#include <vnBase/vnBaseError.h>
#include <vnBase/vnDict.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace
{
// A key whose hash the test chooses, and that counts how it is hashed, compared and kept.
struct Key
{
    Key(unsigned int value) : Key(value, static_cast<int>(value)) {}
    Key(unsigned int hash, int name) : hashValue(hash), number(name) { ++s_alive; }
    Key(const Key& other) : Key(other.hashValue, other.number) { ++s_copies; }
    Key& operator=(const Key& other)
    {
        hashValue = other.hashValue;
        number = other.number;
        ++s_assignments;
        return *this;
    }
    ~Key() { --s_alive; }
    unsigned int hash() const
    {
        ++s_hashes;
        return hashValue;
    }
    bool operator==(const Key& other) const
    {
        ++s_comparisons;
        return number == other.number;
    }

    unsigned int hashValue;
    int number;
    static int s_alive, s_hashes, s_comparisons, s_copies, s_assignments;
};
int Key::s_alive = 0;
int Key::s_hashes = 0;
int Key::s_comparisons = 0;
int Key::s_copies = 0;
int Key::s_assignments = 0;

using Dict = vnDict<Key, const char>;

// Calls back from its hooks.
class HookedDict : public Dict
{
public:
    ~HookedDict() override
    {
        inserting = removing = nullptr;
        clear();
    }
    void onInsertItem(const char* value) override
    {
        if (inserting)
            inserting(value);
    }
    void onRemoveItem(const char* value) override
    {
        if (removing)
            removing(value);
    }
    std::function<void(const char*)> inserting;
    std::function<void(const char*)> removing;
};

// The keys from 1 on in one bucket. Most of them wait for a walk to be put in order.
void fillOneBucket(HookedDict& dict, unsigned int count)
{
    dict.setAutoGrow(0);
    dict.setHashSize(1);
    for (unsigned int i = 1; i <= count; ++i)
        dict.enter(i, "x");
}

// The keys in the order of a walk.
std::vector<int> keysOf(const Dict& dict)
{
    std::vector<int> keys;
    for (const auto& entry : dict)
        keys.push_back(entry.getKey().number);
    return keys;
}

std::string walk(const Dict& dict)
{
    std::string text;
    for (const auto& entry : dict)
        text += entry.getValue();
    return text;
}

using Numbers = vnRefDict<vnUInt32CompareInterface, vnRefData<int>>;
} // namespace

TEST(vnDict, GrowsWhenTwiceItsHashSizeIsExceededUnlessToldNotTo)
{
    vnDict<vnUInt32CompareInterface, int> dict;
    int value = 0;
    const auto fill = [&](unsigned int count)
    {
        while (dict.getCount() < count)
            dict.enter(dict.getCount(), &value);
        return dict.getHashSize();
    };
    EXPECT_EQ(fill(20), 10u);
    EXPECT_EQ(fill(21), 43u);
    EXPECT_EQ(fill(86), 43u);
    EXPECT_EQ(fill(87), 175u);
    EXPECT_EQ(fill(351), 703u);
    for (unsigned int i = 0; i < 351; ++i)
        ASSERT_TRUE(dict.contains(i)) << i;
    EXPECT_FALSE(dict.contains(351u));
    dict.clear();
    dict.setHashSize(3);
    dict.setAutoGrow(0);
    EXPECT_EQ(fill(50), 3u);
    EXPECT_EQ(dict.find(49u), &value);
}

TEST(vnDict, HashesEachKeyOnceThoughItGrows)
{
    Dict dict;
    Key::s_hashes = 0;
    for (int i = 0; i < 100; ++i)
        dict.enter({static_cast<unsigned int>(i), i}, "x");
    EXPECT_EQ(dict.getHashSize(), 175u);
    EXPECT_EQ(Key::s_hashes, 100);
}

TEST(vnDict, WalksByBucketThenHashThenInsertion)
{
    Dict dict;
    dict.enter({23, 1}, "a"); // bucket 3
    dict.enter({3, 2}, "b");  // bucket 3, lower hash
    dict.enter({11, 3}, "c"); // bucket 1
    dict.enter({3, 4}, "d");  // behind b
    dict.enter({13, 5}, "e"); // between
    dict.enter({3, 2}, "f");  // the key of b again
    EXPECT_EQ(walk(dict), "cbdfea");
    dict.setHashSize(4); // 11, 23 and 3 in bucket 3; 13 in bucket 1
    EXPECT_EQ(walk(dict), "ebdfca");
    EXPECT_EQ(walk(Dict(dict)), "ebdfca");
}

TEST(vnDict, FindsDuplicatesInTheOrderOfInsertion)
{
    Dict dict;
    const char *first = "first", *second = "second", *third = "third", *other = "other";
    dict.enter({5, 1}, first);
    dict.enter({5, 2}, other);
    dict.enter({5, 1}, second);
    dict.enter({5, 1}, third);
    EXPECT_EQ(dict.find({5, 1}), first);
    EXPECT_EQ(dict.find({5, 1}, first), second);
    EXPECT_EQ(dict.find({5, 1}, second), third);
    EXPECT_EQ(dict.find({5, 1}, third), nullptr);
    EXPECT_EQ(dict.find({5, 1}, other), nullptr);
    EXPECT_EQ(dict.peek({5, 1}, second), third);
    EXPECT_EQ(dict.find({5, 2}), other);
    EXPECT_EQ(dict.remove({5, 1}, second), second);
    EXPECT_EQ(dict.remove({5, 1}), first);
    EXPECT_EQ(dict.find({5, 1}), third);
    EXPECT_EQ(dict.remove({5, 3}), nullptr);
    EXPECT_EQ(dict.getCount(), 2u);
}

TEST(vnDict, RemembersTheEntryFoundLast)
{
    Dict dict;
    dict.setAutoGrow(0);
    for (int i = 0; i < 10; ++i)
        dict.enter({7, i}, "x"); // one bucket, one hash: every look-up compares keys
    const auto comparisons = [&](auto lookUp)
    {
        Key::s_comparisons = 0;
        lookUp();
        return Key::s_comparisons;
    };
    EXPECT_EQ(comparisons([&] { dict.find({7, 9}); }), 10) << "an equal hash before it: not remembered";
    EXPECT_EQ(comparisons([&] { dict.find({7, 9}); }), 1) << "remembered by the look-up";
    EXPECT_EQ(comparisons([&] { dict.peek({7, 5}); }), 6) << "neither uses it";
    EXPECT_EQ(comparisons([&] { dict.find({7, 9}); }), 1) << "nor changes it";
    EXPECT_EQ(comparisons([&] { dict.find({8, 1}); }), 0) << "another hash compares no keys";
    dict.enter({8, 1}, "y");
    EXPECT_EQ(comparisons([&] { dict.find({8, 1}); }), 1) << "remembered by the insertion";
    dict.setStopLastFound(1);
    dict.find({7, 9});
    dict.enter({9, 1}, "z");
    EXPECT_EQ(comparisons([&] { dict.find({8, 1}); }), 1) << "stopped: still the old one";
    dict.remove({8, 1});
    EXPECT_EQ(dict.find({8, 1}), nullptr);
}

TEST(vnDict, CallsItsHooksForEachEntry)
{
    std::string log;
    HookedDict dict;
    dict.inserting = [&](const char* value) { log += std::string("+") + value; };
    dict.removing = [&](const char* value) { log += std::string("-") + value; };
    dict.enter(1u, "a");
    dict.enter(2u, "b");
    dict.enter(13u, "c");
    dict.remove(2u);
    EXPECT_EQ(log, "+a+b+c-b");
    dict.clear();
    EXPECT_EQ(log, "+a+b+c-b-a-c");
    EXPECT_TRUE(dict.isEmpty());
}

TEST(vnDict, CallsItsHooksWhereTheEntryIsBetweenTwoStates)
{
    HookedDict dict;
    dict.enter(1u, "one");
    unsigned int calls = 0;
    dict.inserting = [&](const char* value)
    {
        ++calls;
        EXPECT_STREQ(value, "two");
        EXPECT_EQ(dict.find(2u), value) << "stands in its bucket";
        EXPECT_EQ(dict.getCount(), 1u) << "and is not counted yet";
    };
    dict.enter(2u, "two");
    EXPECT_EQ(dict.getCount(), 2u);
    dict.removing = [&](const char*)
    {
        ++calls;
        EXPECT_EQ(dict.find(2u), nullptr);
        EXPECT_EQ(dict.getCount(), 1u);
    };
    EXPECT_STREQ(dict.remove(2u), "two");
    EXPECT_EQ(calls, 2u);
}

TEST(vnDict, UndoesAnInsertionWhoseHookThrows)
{
    HookedDict dict;
    dict.enter(1u, "one");
    dict.inserting = [&](const char* value)
    {
        EXPECT_EQ(dict.find(2u), value);
        throw 1;
    };
    EXPECT_THROW(dict.enter(2u, "two"), int);
    EXPECT_EQ(dict.getCount(), 1u);
    EXPECT_FALSE(dict.contains(2u));
    EXPECT_EQ(dict.find(2u), nullptr) << "nor is it remembered";
    dict.removing = [](const char*) { throw 1; };
    EXPECT_THROW(dict.remove(1u), int);
    EXPECT_TRUE(dict.isEmpty()) << "the removal stands";
    EXPECT_FALSE(dict.contains(1u));
}

TEST(vnDict, AdmitsHooksThatRemoveFurtherEntries)
{
    HookedDict dict;
    for (unsigned int i = 0; i < 20; ++i)
        dict.enter(i, "x");
    unsigned int next = 0;
    dict.removing = [&](const char*) { dict.remove(++next); };
    dict.remove(0u); // each one takes the next along, until the memory of all goes
    EXPECT_TRUE(dict.isEmpty());
    dict.enter(5u, "y");
    EXPECT_STREQ(dict.find(5u), "y");

    // The last of the others, while the new one waits.
    fillOneBucket(dict, 40);
    dict.removing = nullptr;
    for (unsigned int i = 1; i < 40; ++i)
        dict.remove(i);
    dict.remove(5u);
    dict.inserting = [&](const char*) { dict.remove(40u); };
    dict.enter(100u, "z");
    EXPECT_TRUE(dict.contains(100u));
    EXPECT_EQ(keysOf(dict), std::vector<int>{100});
}

TEST(vnDict, AdmitsHooksThatWalk)
{
    HookedDict dict;
    fillOneBucket(dict, 40);
    std::vector<int> left;
    dict.removing = [&](const char*) { left = keysOf(dict); };
    dict.remove(20u);
    EXPECT_EQ(left.size(), 39u);
    EXPECT_EQ(std::count(left.begin(), left.end(), 20), 0);
    dict.enter(100u, "y"); // where the entry was
    left.push_back(100);
    EXPECT_EQ(keysOf(dict), left);
}

TEST(vnDict, AdmitsHooksThatEnterKeysWhileItIsCleared)
{
    HookedDict dict;
    fillOneBucket(dict, 40);
    bool isLate = false;
    dict.removing = [&](const char*)
    {
        if (!std::exchange(isLate, true))
            dict.enter(1000u, "late");
    };
    dict.clear();
    for (unsigned int i = 1; i <= 40; ++i)
        EXPECT_EQ(dict.find(i), nullptr) << i;
    EXPECT_EQ(keysOf(dict), std::vector<int>(dict.getCount(), 1000));
}

TEST(vnDict, LetsGoOfKeysThatWaitedOnceHalfOfThemAreRemoved)
{
    HookedDict dict;
    const int before = Key::s_alive;
    fillOneBucket(dict, 40);
    EXPECT_EQ(Key::s_alive - before, 40);
    for (unsigned int i = 40; i > 20; --i)
        dict.remove(i);
    EXPECT_LT(Key::s_alive - before, 30);
}

TEST(vnDict, UsesSpareEntriesAgainThatOnceWaited)
{
    HookedDict dict;
    fillOneBucket(dict, 40);
    dict.remove(40u);
    dict.setReuseEntries(1);
    EXPECT_EQ(keysOf(dict).size(), 39u); // the removed one is spare now
    dict.enter(100u, "y");               // and used again
    dict.setReuseEntries(0);
    dict.enter(101u, "z");
    dict.remove(101u);
    EXPECT_EQ(keysOf(dict).size(), 40u);
    EXPECT_STREQ(dict.find(100u), "y");
    dict.setReuseEntries(1);
    for (unsigned int i = 110; i < 114; ++i)
        dict.enter(i, "w");
    dict.remove(110u);
    Key::s_assignments = 0;
    dict.enter(120u, "v");
    EXPECT_EQ(Key::s_assignments, 1) << "spare at once, though it waited";
}

TEST(vnDict, UsesSpareEntriesAgain)
{
    HookedDict dict;
    dict.setReuseEntries(1);
    const auto fill = [&]
    {
        Key::s_copies = Key::s_assignments = 0;
        for (unsigned int i = 0; i < 100; ++i)
            dict.enter(i, "x");
    };
    fill();
    EXPECT_EQ(Key::s_copies, 100);
    for (unsigned int i = 0; i < 50; ++i)
        dict.remove(i);
    EXPECT_EQ(dict.find(7u), nullptr);
    dict.clear();
    fill();
    EXPECT_EQ(Key::s_copies, 0);
    EXPECT_EQ(Key::s_assignments, 100);
    EXPECT_STREQ(dict.find(57u), "x");
    // An entry goes back behind the hook, so the hook's own one can't be that one.
    dict.removing = [&](const char*) { dict.enter(1000u, "late"); };
    dict.remove(99u);
    EXPECT_EQ(Key::s_copies, 1);
}

// Runs random operations on a dictionary and on a plain list of entries, which must agree on every answer.
static void compareWithAList(unsigned int hashes, unsigned int keys, unsigned int steps, unsigned char reuse)
{
    struct Item
    {
        unsigned int hash;
        int number;
        const char* value; // of this entry alone
    };
    std::mt19937 random(hashes * 7 + keys);
    Dict dict(3);
    dict.setReuseEntries(reuse);
    std::vector<Item> items;
    const std::string values(steps, 'v');
    const auto isFirst = [](int number)
    { return [number](const Item& item) { return item.number == number; }; };
    for (unsigned int step = 0; step < steps; ++step)
    {
        const int number = static_cast<int>(random() % keys);
        const Key key{static_cast<unsigned int>(number) % hashes * 2654435761u, number};
        const auto first = std::find_if(items.begin(), items.end(), isFirst(number));
        const unsigned int kind = random() % 16;
        if (kind < 9)
        {
            dict.enter(key, &values[step]);
            items.push_back({key.hashValue, number, &values[step]});
        }
        else if (kind < 13)
        {
            ASSERT_EQ(dict.remove(key), first == items.end() ? nullptr : first->value);
            if (first != items.end())
                items.erase(first);
        }
        else if (first != items.end())
        {
            ASSERT_EQ(dict.find(key), first->value);
            const auto second = std::find_if(first + 1, items.end(), isFirst(number));
            ASSERT_EQ(dict.find(key, first->value), second == items.end() ? nullptr : second->value);
        }
        else
        {
            ASSERT_EQ(dict.find(key), nullptr);
        }
        if (step % 997 != 996)
            continue;
        std::vector<Item> walk(items);
        const auto slotOf = [&](const Item& item) { return item.hash % dict.getHashSize(); };
        std::stable_sort(walk.begin(), walk.end(),
                         [&](const Item& a, const Item& b)
                         { return std::make_pair(slotOf(a), a.hash) < std::make_pair(slotOf(b), b.hash); });
        std::size_t at = 0;
        for (auto i = dict.begin(); i;)
        {
            ASSERT_LT(at, walk.size());
            ASSERT_EQ(i.getKey().number, walk[at].number);
            ASSERT_EQ(i.getValue(), walk[at].value);
            ++at;
            if (random() % 8 != 0)
            {
                ++i;
                continue;
            }
            const char* const removed = walk[at - 1].value;
            ASSERT_EQ(i.remove(), removed);
            items.erase(std::find_if(items.begin(), items.end(),
                                     [&](const Item& item) { return item.value == removed; }));
        }
        ASSERT_EQ(at, walk.size());
        ASSERT_EQ(dict.getCount(), items.size());
    }
}

TEST(vnDict, AnswersAsAPlainListDoes)
{
    compareWithAList(1, 400, 6000, 0); // one bucket
    compareWithAList(24, 300, 6000, 1);
    compareWithAList(40, 1000, 8000, 0); // the index grows while it has chains
    compareWithAList(5000, 5000, 20000, 0);
}

TEST(vnDict, OrdersManyEntriesWhenItIsWalked)
{
    constexpr unsigned int count = 40000;
    vnDict<vnUInt32CompareInterface, const unsigned int> dict;
    std::vector<unsigned int> keys(count);
    for (unsigned int i = 0; i < count; ++i)
    {
        // Also bit patterns at both ends of the range, which find their bucket at each hash size.
        keys[i] = i % 4 == 0 ? i : i % 4 == 1 ? 0xFFFFFFFFu - i : i * 2654435761u;
        dict.enter(keys[i], &keys[i]);
    }
    for (unsigned int i = 0; i < count; i += 3)
        ASSERT_EQ(dict.remove(keys[i]), &keys[i]);
    // Threads that share it for reading put it in order once.
    std::vector<std::thread> readers;
    std::atomic<unsigned int> faults{0};
    for (int reader = 0; reader < 3; ++reader)
        readers.emplace_back(
            [&]
            {
                std::pair<unsigned int, unsigned int> previous(0, 0);
                unsigned int walked = 0;
                for (const auto& entry : dict)
                {
                    const auto place = std::make_pair(entry.getHash() % dict.getHashSize(), entry.getHash());
                    faults += place < previous;
                    previous = place;
                    ++walked;
                }
                faults += walked != count - (count + 2) / 3;
            });
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(faults, 0u);
    const vnDict<vnUInt32CompareInterface, const unsigned int> copy(dict);
    EXPECT_EQ(copy.peek(keys[1]), &keys[1]);
    EXPECT_EQ(copy.peek(keys[3]), nullptr);
    for (unsigned int i = 0; i < count; ++i)
        ASSERT_EQ(dict.remove(keys[i]), i % 3 ? &keys[i] : nullptr);
    EXPECT_TRUE(dict.isEmpty());
}

TEST(vnRefDict, HoldsNothingBehindAFailedAssignment)
{
    vnRefDict<vnUInt32CompareInterface, vnReference> source, target;
    source.enter(1u, new vnReference); // has no clone
    target.setKeepLast(1);
    target.enter(2u, new vnReference);
    EXPECT_THROW(target = source, vnFatalError);
    EXPECT_TRUE(target.isEmpty());
    EXPECT_EQ(target.getHeldItem(), nullptr);
}

TEST(vnRefDict, GoesOnWhenAnItemThrowsInItsDestructor)
{
    struct Thrower : vnReference
    {
        explicit Thrower(int& alive) : m_alive(alive) { ++m_alive; }
        ~Thrower() noexcept(false) override
        {
            if (--m_alive == 1)
                throw 7;
        }
        int& m_alive;
    };
    int alive = 0;
    vnRefDict<vnUInt32CompareInterface, Thrower> dict;
    for (unsigned int i = 0; i < 3; ++i)
        dict.enter(i, new Thrower(alive));
    EXPECT_THROW(dict.clear(), int);
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE(dict.isEmpty());
}

TEST(vnRefDict, HoldsItsValues)
{
    vnRefPointer<vnRefData<int>> value(new vnRefData<int>(5));
    {
        Numbers dict;
        dict.enter(1, value.get());
        dict.enter(2, value.get());
        dict.enter(3, nullptr);
        EXPECT_EQ(value->getRef(), 3u);
        dict.remove(1u);
        EXPECT_EQ(value->getRef(), 2u);
        dict.setKeepLast(1);
        dict.remove(2u);
        EXPECT_EQ(dict.getHeldItem(), value.get());
        EXPECT_EQ(value->getRef(), 2u);
        dict.clear();
        EXPECT_EQ(value->getRef(), 1u);
        dict.enter(4, value.get());
    }
    EXPECT_EQ(value->getRef(), 1u);
}

TEST(vnRefDict, CopiesAsTheValuesWish)
{
    vnRefPointer<vnRefData<int>> deep(new vnRefData<int>(5));
    vnRefPointer<vnRefData<int>> shared(new vnRefData<int>(6));
    shared->setCopyMode(VN_COPY_SHARED);
    Numbers dict;
    dict.enter(1, deep.get());
    dict.enter(2, shared.get());
    dict.enter(3, nullptr);
    Numbers copy(dict);
    EXPECT_NE(copy.find(1u), deep.get());
    EXPECT_EQ(copy.find(1u)->getData(), 5);
    EXPECT_EQ(copy.find(1u)->getRef(), 1u);
    EXPECT_EQ(copy.find(2u), shared.get());
    EXPECT_TRUE(copy.contains(3u));
    Numbers assigned;
    assigned.enter(9, deep.get());
    dict.setCopyMode(VN_COPY_SHARED);
    assigned = dict;
    EXPECT_EQ(assigned.find(1u), deep.get());
    EXPECT_EQ(assigned.getCount(), 3u);
    EXPECT_EQ(deep->getRef(), 3u);
}

TEST(vnCompareInterface, ComparesWholeWordsAndHashesBothHalves)
{
    using Value = vnValueCompareInterface;
    const double nan = __builtin_nan("");
    EXPECT_TRUE(Value(nan) == Value(nan));
    EXPECT_FALSE(Value(0.0) == Value(-0.0));
    EXPECT_EQ(Value(-0.0).hash(), 0x80000000u);
    const void* address = reinterpret_cast<const void*>(std::uintptr_t{0x0000000200000003ull});
    EXPECT_EQ(vnInstanceCompareInterface(address).hash(), 5u);
    EXPECT_FALSE(vnInstanceCompareInterface(address) == vnInstanceCompareInterface());
    EXPECT_EQ(vnUInt64CompareInterface(0x0000000200000003ull).hash(), 5u);
    EXPECT_FALSE(vnUInt64CompareInterface(0x200000003ull) == vnUInt64CompareInterface(0x300000002ull));
}
