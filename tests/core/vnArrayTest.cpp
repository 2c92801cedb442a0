// SPDX-License-Identifier: MIT
#include <vnBase/vnArray.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnQueue.h>
#include <vnBase/vnRefPointer.h>

#include "vnTestManager.h"
#include "vnTextHelpers.h"

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace
{
// Counts its instances and throws when a copy too many is made.
struct Fragile
{
    Fragile() { ++s_alive; }
    Fragile(const Fragile& other) : value(other.value)
    {
        if (s_copiesLeft-- == 0)
            throw 1;
        ++s_alive;
    }
    Fragile& operator=(const Fragile&) = default;
    ~Fragile() { --s_alive; }
    int value = 0;
    static int s_alive;
    static int s_copiesLeft;
};
int Fragile::s_alive = 0;
int Fragile::s_copiesLeft = -1;

// Moves without failing, and throws when one too many is made anew.
struct Movable
{
    Movable()
    {
        if (s_newLeft-- == 0)
            throw 1;
    }
    Movable(const Movable&) = default;
    Movable(Movable&& other) noexcept : value(std::exchange(other.value, 0)) {}
    int value = 0;
    static int s_newLeft;
};
int Movable::s_newLeft = -1;

// Throws when it is destroyed armed.
struct Mine
{
    Mine() { ++s_alive; }
    Mine(const Mine& other) noexcept : isArmed(other.isArmed) { ++s_alive; }
    Mine& operator=(const Mine&) = default;
    ~Mine() noexcept(false)
    {
        --s_alive;
        if (isArmed)
            throw 1;
    }
    bool isArmed = false;
    static int s_alive;
};
int Mine::s_alive = 0;

// Of no class that could be cloned, and with the copy mode that clones.
using Object = vnReference;
using Pointer = vnRefPointer<Object>;
} // namespace

TEST(vnArray, ChecksEveryAccess)
{
    vnArray<int> array(3);
    const vnArray<int>& same = array;
    array[2] = 7;
    EXPECT_EQ(array.get(2), 7);
    EXPECT_EQ(array.get(0), 0);
    EXPECT_EQ(errorOf([&] { array[3] = 1; }), "Template-vnArray [] index out of bounds");
    EXPECT_EQ(errorOf([&] { (void)same[3]; }), "Template-vnArray [] index out of bounds");
    EXPECT_EQ(errorOf([&] { (void)array.get(0xFFFFFFFF); }), "Template-vnArray get() index out of bounds");
}

TEST(vnArray, HoldsNoBlockWithoutElements)
{
    vnArray<int> array(0);
    EXPECT_EQ(array.data(), nullptr);
    array.setSize(2);
    EXPECT_NE(array.data(), nullptr);
    array.setSize(0);
    EXPECT_EQ(array.data(), nullptr);
}

TEST(vnArray, ConstructsAndDestroysItsElements)
{
    {
        vnArray<Fragile> array(4);
        array[1].value = 5;
        vnArray<Fragile> copy(array);
        EXPECT_EQ(Fragile::s_alive, 8);
        EXPECT_EQ(copy[1].value, 5);
        Fragile::s_copiesLeft = 2;
        EXPECT_THROW(vnArray<Fragile>{array}, int);
        EXPECT_EQ(Fragile::s_alive, 8);
        Fragile::s_copiesLeft = 2;
        EXPECT_THROW(array.setSize(6), int);
        EXPECT_EQ(array.getSize(), 4u);
        Fragile::s_copiesLeft = -1;
    }
    EXPECT_EQ(Fragile::s_alive, 0);
}

TEST(vnArray, KeepsItsElementsWhenNewOnesFail)
{
    vnArray<Movable> array(2);
    vnDynamicArray<Movable> growing(2);
    array[0].value = growing[1].value = 5;
    Movable::s_newLeft = 1;
    EXPECT_THROW(array.setSize(5), int);
    Movable::s_newLeft = 1;
    EXPECT_THROW(growing.setSize(5), int);
    Movable::s_newLeft = -1;
    EXPECT_EQ(array.getSize(), 2u);
    EXPECT_EQ(array[0].value, 5);
    EXPECT_EQ(growing.getSize(), 2u);
    EXPECT_EQ(growing[1].value, 5);
}

TEST(vnArray, IsWholeWhenADestructorThrows)
{
    {
        vnArray<Mine> array(4);
        array[1].isArmed = array[2].isArmed = true;
        EXPECT_THROW(array.setSize(1), int);
        EXPECT_EQ(array.getSize(), 1u);
        EXPECT_EQ(Mine::s_alive, 1) << "those behind the one that threw are gone as well";
        vnDynamicArray<Mine> growing(2);
        growing[1].isArmed = true;
        EXPECT_THROW(growing.reallocate(3), int);
        EXPECT_EQ(growing.getCapacity(), 3u);
        EXPECT_EQ(growing.getSize(), 2u);
        growing[1].isArmed = false;
        EXPECT_EQ(Mine::s_alive, 4);
    }
    EXPECT_EQ(Mine::s_alive, 0);
}

TEST(vnArray, AlignsWhatAsksForIt)
{
    const OddManager manager;
    vnArray<vnQuadWordAligned<unsigned char>> bytes(33);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes.data()) % 16, 0u);
    struct alignas(64) Line
    {
        int value;
    };
    vnArray<Line> lines(3);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(lines.data()) % 64, 0u);
}

TEST(vnArray, RefusesASizeThatDoesNotFit)
{
    EXPECT_THROW(vnArray<vnUInt64>(0x20000000), std::bad_alloc);
    vnDynamicArray<vnUInt64> array(1000);
    array[10] = 1;
    EXPECT_THROW(array[0xFFFFFFFF] = 1, std::bad_alloc);
    EXPECT_THROW(array.setSize(0xFFFFFFFF), std::bad_alloc);
    EXPECT_EQ(array.getSize(), 11u);
    EXPECT_EQ(array.getCapacity(), 1000u);
}

TEST(vnDynamicArray, GrowsByItsChunk)
{
    vnDynamicArray<int> array;
    array[250] = 1;
    EXPECT_EQ(array.getCapacity(), 300u);
    EXPECT_EQ(array.getSize(), 251u);
    array[300] = 2;
    EXPECT_EQ(array.getCapacity(), 400u);
    EXPECT_EQ(array[250], 1);
    array.setSize(400);
    EXPECT_EQ(array.getCapacity(), 400u);
    array.setSize(401);
    EXPECT_EQ(array.getCapacity(), 500u);
    array.reallocate(450);
    EXPECT_EQ(array.getSize(), 401u);
    array.reallocate(120);
    EXPECT_EQ(array.getSize(), 120u);
    array.reallocate(0);
    EXPECT_EQ(array.data(), nullptr);
    EXPECT_EQ(array.getSize(), 0u);
    const vnDynamicArray<int>& same = array;
    EXPECT_EQ(errorOf([&] { (void)same[0]; }), "Template-const vnDynamicArray::get() index out of bounds");
}

TEST(vnDynamicArray, SharesTheObjectsOfItsPointersWhenItGrows)
{
    Pointer object(new Object);
    vnDynamicArray<Pointer> array;
    for (unsigned int i = 0; i < 101; ++i)
        array[i] = object;
    EXPECT_EQ(object->getRef(), 102u);
    array.append(object); // below the capacity
    EXPECT_EQ(array.getSize(), 102u);
    array.setSize(200);
    array.append(object); // at the capacity
    array.setSize(300);
    array.append(array[200]); // likewise, and its own
    array.append(Pointer(object.get()));
    EXPECT_EQ(array.getSize(), 302u);
    EXPECT_EQ(object->getRef(), 106u);
    for (unsigned int i : {0u, 100u, 101u, 200u, 300u, 301u})
        EXPECT_EQ(array[i].get(), object.get()) << i;
    struct Holder
    {
        Pointer pointer;
    };
    vnArray<Holder> holders(1);
    holders[0].pointer = object;
    holders.setSize(5);
    EXPECT_EQ(holders[0].pointer.get(), object.get());
    EXPECT_EQ(object->getRef(), 107u);
}

TEST(vnDynamicArray, KeepsItsCountWhenAppendingFails)
{
    vnDynamicArray<Fragile> array(2);
    array[1].value = 5;
    Fragile::s_copiesLeft = 1;
    EXPECT_THROW(array.append(array[1]), int) << "the growing block copies";
    Fragile::s_copiesLeft = -1;
    EXPECT_EQ(array.getSize(), 2u);
    EXPECT_EQ(array.getCapacity(), 2u);
    EXPECT_EQ(array[1].value, 5);
}

TEST(vnDynamicArray, HoldsWhatCanOnlyBeMoved)
{
    vnDynamicArray<std::unique_ptr<int>> array(2);
    for (int i = 0; i < 5; ++i)
        array[array.getSize()] = std::make_unique<int>(i);
    vnDynamicArray<std::unique_ptr<int>> moved(std::move(array));
    EXPECT_EQ(*moved[4], 4);
    EXPECT_EQ(*moved[0], 0);
}

TEST(vnQueue, DeliversByItsMode)
{
    vnQueue<int> stack;
    vnQueue<int> queue(VN_QUEUE_FIFO);
    for (int i = 1; i <= 3; ++i)
    {
        stack.push(i);
        queue.push(i);
    }
    EXPECT_EQ(stack.top(), 3);
    EXPECT_EQ(queue.top(), 1);
    EXPECT_EQ(stack.pop(), 3);
    EXPECT_EQ(queue.pop(), 1);
    queue.setMode(VN_QUEUE_LIFO);
    EXPECT_EQ(queue.pop(), 3);
    EXPECT_EQ(queue.pop(), 2);
    EXPECT_EQ(errorOf([&] { queue.pop(); }), "Template-vnQueue:pop out of data");
    EXPECT_EQ(errorOf([&] { queue.top(); }), "Template-No top() item in vnQueue");
}

TEST(vnQueue, StartsAgainAtTheFrontOnceDrained)
{
    vnQueue<int> queue(VN_QUEUE_FIFO, 4);
    for (int i = 0; i < 100; ++i)
    {
        queue.push(i);
        EXPECT_EQ(queue.getFront(), 0u);
        EXPECT_EQ(queue.pop(), i);
    }
    EXPECT_EQ(queue.getFront(), 1u) << "only a push starts again";
    EXPECT_EQ(queue.getCapacity(), 4u);
}

TEST(vnQueue, SharesTheObjectsOfItsPointers)
{
    Pointer object(new Object);
    vnQueue<Pointer> queue(VN_QUEUE_FIFO, 2);
    for (int i = 0; i < 5; ++i)
        queue.push(object);
    queue.push(Pointer(object.get()));
    queue.push(queue.top()); // its own, at the capacity
    EXPECT_EQ(object->getRef(), 8u);
    while (!queue.isEmpty())
        EXPECT_EQ(queue.pop().get(), object.get());
    EXPECT_EQ(object->getRef(), 1u);
}

TEST(vnQueue, KeepsTheElementWhoseCopyFails)
{
    for (const vnQueueMode mode : {VN_QUEUE_LIFO, VN_QUEUE_FIFO})
    {
        vnQueue<Fragile> queue(mode);
        for (int value : {4, 5})
        {
            Fragile element;
            element.value = value;
            queue.push(element);
        }
        const int next = queue.top().value;
        Fragile::s_copiesLeft = 0;
        EXPECT_THROW(queue.pop(), int);
        Fragile::s_copiesLeft = -1;
        EXPECT_EQ(queue.getCount(), 2u);
        EXPECT_EQ(queue.pop().value, next);
    }
}

TEST(vnQueue, MovesBlocks)
{
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7};
    unsigned char out[7] = {};
    vnQueue<unsigned char> queue(VN_QUEUE_FIFO, 4);
    queue.push(bytes, 7);
    EXPECT_EQ(queue.getCapacity(), 8u);
    EXPECT_EQ(queue.pop(out, 3), 3u);
    EXPECT_EQ(out[2], 3);
    EXPECT_EQ(queue.pop(nullptr, 2), 2u);
    queue.cleanUp();
    EXPECT_EQ(queue.getFront(), 0u);
    EXPECT_EQ(queue.data()[0], 6);
    queue.push(bytes, 2);
    queue.setMode(VN_QUEUE_LIFO);
    EXPECT_EQ(queue.pop(out, 3), 3u);
    EXPECT_EQ(out[0], 2);
    EXPECT_EQ(out[1], 1);
    EXPECT_EQ(out[2], 7);
    EXPECT_EQ(queue.pop(out, 100), 1u);
    EXPECT_EQ(out[0], 6);
    EXPECT_TRUE(queue.isEmpty());
}
