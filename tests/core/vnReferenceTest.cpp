// SPDX-License-Identifier: MIT
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefList.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnReference.h>

#include "vnFatalText.h"
#include "vnOddManager.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <thread>
#include <utility>

namespace
{
class Node : public vnReference
{
public:
    explicit Node(int& alive) : m_alive(alive) { ++m_alive; }
    Node(const Node& other) : vnReference(other), m_alive(other.m_alive) { ++m_alive; }
    ~Node() noexcept(false) override { --m_alive; }
    VN_TYPE(Node)
    vnReference* clone() const override { return new Node(*this); }

private:
    int& m_alive;
};
vnType Node::s_type(vnReference::getClassType(), "Node");

class Leaf : public Node
{
public:
    using Node::Node;
    VN_TYPE(Leaf)
};
vnType Leaf::s_type(Node::getClassType(), "Leaf");

class Plain : public Leaf
{
public:
    using Leaf::Leaf;
};

class Shared : public vnThreadSafeReference
{
public:
    explicit Shared(bool& gone) : m_gone(gone) {}
    ~Shared() noexcept(false) override { m_gone = true; }
    const vnMutex& mutex() const { return m_mutex; }

private:
    bool& m_gone;
};

constexpr const char* zeroText = "REFERENCE MISMATCH ! Unref an object with zero reference count.";
constexpr const char* zeroTextShared = "REFRENCE MISMATCH ! Unref an object with zero reference count.";
} // namespace

TEST(vnType, KnowsItsAncestors)
{
    int alive = 0;
    Plain plain(alive);
    EXPECT_STREQ(plain.getTypeName(), "Leaf") << "a class without a record has that of its base";
    EXPECT_TRUE(plain.isOfType(Leaf::getClassType()));
    EXPECT_TRUE(plain.isOfType(vnReference::getClassType()));
    EXPECT_TRUE(plain.isExactType(Leaf::getClassType()));
    EXPECT_FALSE(plain.isExactType(Node::getClassType()));
    EXPECT_FALSE(plain.isOfType(nullptr));
    EXPECT_FALSE(Node::getClassType()->isDerivedFrom(Leaf::getClassType()));
    EXPECT_FALSE(Leaf::getClassType()->isDerivedFrom(Leaf::getClassType()));
    EXPECT_EQ(vnReference::getClassType()->getParent(), nullptr);
    const vnType copy(*Leaf::getClassType()); // equals the record
    EXPECT_TRUE(plain.isExactType(&copy));
    EXPECT_TRUE(plain.isOfType(&copy));
    const vnType root(*vnReference::getClassType());
    EXPECT_TRUE(plain.isOfType(&root));
    EXPECT_FALSE(plain.isExactType(nullptr));
    EXPECT_FALSE(copy.isDerivedFrom(nullptr));
}

TEST(vnType, EqualsCopiesOnly)
{
    const vnType one(nullptr, "same");
    const vnType two(nullptr, "same");
    EXPECT_FALSE(one == two) << "the texts are equal, the records are not";
    vnType copy(one);
    EXPECT_TRUE(copy == one);
    copy = two;
    EXPECT_TRUE(copy == two);
    vnType owner(&copy, "owned");
    owner = one; // frees its own text
    EXPECT_TRUE(owner == one);
    EXPECT_EQ(owner.getParent(), nullptr);
    vnType origin(nullptr, "origin");
    const vnType ofOrigin(origin);
    origin = ofOrigin; // the text that both share is its own
    EXPECT_STREQ(origin.getName(), "origin");
}

TEST(vnType, CutsLongNames)
{
    const std::string name(300, 'n');
    EXPECT_EQ(std::strlen(vnType(nullptr, name.c_str()).getName()), 255u);
}

TEST(vnReference, DeletesAtTheLastUnref)
{
    int alive = 0;
    Node* node = new Node(alive);
    node->ref();
    node->ref();
    node->unref();
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(node->unrefNoDelete(), 0u);
    EXPECT_EQ(alive, 1);
    node->ref();
    EXPECT_FALSE(node->checkDelete());
    node->unref();
    EXPECT_EQ(alive, 0);
    EXPECT_TRUE((new Node(alive))->checkDelete());
    EXPECT_EQ(alive, 0);
}

TEST(vnReference, ReportsMismatchesEachInItsWords)
{
    int alive = 0;
    bool gone = false;
    Node node(alive);
    EXPECT_EQ(fatalText([&] { node.unref(); }), zeroText);
    EXPECT_EQ(fatalText([&] { node.unrefNoDelete(); }), zeroTextShared);
    EXPECT_EQ(node.getRef(), 0u);
    EXPECT_EQ(fatalText(
                  []
                  {
                      vnReference held;
                      held.ref();
                  }),
              "REFERENCE MISMATCH ! Deleted referenced object with nonzero reference count");
    EXPECT_EQ(fatalText([] { vnReference().clone(); }), "Unimplemented clone called for type 'vnReference'");
    Shared* shared = new Shared(gone);
    EXPECT_EQ(fatalText([&] { shared->unref(); }), zeroTextShared);
    EXPECT_TRUE(shared->mutex().isLocked()) << "stays locked, so that the next user stops";
    EXPECT_EQ(fatalText([&] { shared->unrefNoDelete(); }), zeroTextShared);
    EXPECT_EQ(shared->mutex().getSpinLockCount(), 2u);
    shared->mutex().unLock();
    shared->mutex().unLock();
    EXPECT_TRUE(shared->checkDelete());
    EXPECT_TRUE(gone);
}

TEST(vnReference, TakesNoCloneForWhatItIsNot)
{
    int alive = 0;
    {
        const vnRefPointer<Leaf> leaf(new Leaf(alive)); // with the clone() of its base
        vnRefList<Leaf> list;
        list.append(leaf);
        vnRefDict<vnString, Leaf> dict;
        dict.enter("leaf", leaf);
        const std::string text = "Clone of class '(anonymous namespace)::Leaf' is of class "
                                 "'(anonymous namespace)::Node': it has no clone() of its own";
        EXPECT_EQ(fatalText([&] { vnRefPointer<Leaf> copy(leaf); }), text);
        EXPECT_EQ(fatalText([&] { vnRefList<Leaf> copy(list); }), text);
        EXPECT_EQ(fatalText([&] { vnRefDict<vnString, Leaf> copy(dict); }), text);
        EXPECT_EQ(alive, 1);
        EXPECT_EQ(leaf->getRef(), 3u);

        const vnRefPointer<Node> node(leaf.get());
        const vnRefPointer<Node> copy(node);
        EXPECT_TRUE(copy->isExactType(Node::getClassType())) << "whose clone is one of this class";
        EXPECT_EQ(alive, 2);
    }
    EXPECT_EQ(alive, 0);
}

TEST(vnReference, EndsNoProcessWhenDestroyedHeldDuringAnException)
{
    EXPECT_THROW(
        {
            vnReference held;
            held.ref();
            throw 7;
        },
        int);
}

TEST(vnReference, TellsOfItsEndWithoutMemoryAsWell)
{
    // Exhausted; what was allocated before is freed all the same.
    class Exhausted : public vnMemoryManagerInterface
    {
    public:
        Exhausted() { vnMemoryControl::setMemoryManager(this); }
        ~Exhausted() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
        void* allocate(unsigned int) override { return nullptr; }
        void* reallocate(void*, unsigned int) override { return nullptr; }
        void deallocate(void* block) override { std::free(block); }
    };
    testing::internal::CaptureStderr();
    EXPECT_THROW(
        {
            const Exhausted manager;
            vnReference held;
            held.ref();
            throw 7;
        },
        int);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Deleted referenced object"), std::string::npos);
}

TEST(vnReference, CopiesItsModeAndNotItsCount)
{
    int alive = 0;
    Node node(alive);
    node.ref();
    node.setCopyMode(VN_COPY_SHARED);
    Node copy(node);
    EXPECT_EQ(copy.getRef(), 0u);
    EXPECT_FALSE(copy.useDeepCopy());
    vnReference target;
    target.ref();
    target = node;
    EXPECT_EQ(target.getRef(), 1u);
    EXPECT_EQ(target.getCopyMode(), VN_COPY_SHARED);
    target.unrefNoDelete();
    node.unrefNoDelete();
}

TEST(vnThreadSafeReference, LivesOnWhileItIsHeld)
{
    bool gone = false;
    Shared* object = new Shared(gone);
    object->ref();
    EXPECT_FALSE(object->checkDelete());
    EXPECT_FALSE(gone);
    EXPECT_FALSE(object->mutex().isLocked());
    EXPECT_EQ(object->unrefNoDelete(), 0u);
    EXPECT_TRUE(object->checkDelete());
    EXPECT_TRUE(gone);
}

TEST(vnThreadSafeReference, TakesOverTheModeAloneWhenAssigned)
{
    bool gone = false;
    bool sourceGone = false;
    Shared target(gone);
    Shared source(sourceGone);
    source.setCopyMode(VN_COPY_SHARED);
    source.mutex().waitLock();
    target.ref();
    target.vnThreadSafeReference::operator=(source);
    EXPECT_EQ(target.getCopyMode(), VN_COPY_SHARED);
    EXPECT_EQ(target.getRef(), 1u);
    EXPECT_FALSE(target.mutex().isLocked());
    EXPECT_EQ(source.getRef(), 0u);
    source.mutex().unLock();
    target.unrefNoDelete();
}

TEST(vnThreadSafeReference, CountsOnManyThreads)
{
    bool gone = false;
    vnRefPointer<Shared> object(new Shared(gone));
    object->setCopyMode(VN_COPY_SHARED);
    const auto work = [&object]
    {
        for (int i = 0; i < 20000; ++i)
        {
            vnRefPointer<Shared> mine(object.get());
            mine->ref();
            mine->unrefNoDelete();
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(object->getRef(), 1u);
    object = nullptr;
    EXPECT_TRUE(gone);
}

TEST(vnRefPointer, ClonesWhenCopiedAndSharesWhenAssigned)
{
    int alive = 0;
    vnRefPointer<Node> pointer(new Node(alive));
    {
        vnRefPointer<Node> copy(pointer);
        EXPECT_NE(copy.get(), pointer.get());
        EXPECT_EQ(copy->getRef(), 1u);
        EXPECT_EQ(alive, 2);
        copy = pointer;
        EXPECT_EQ(copy.get(), pointer.get());
        EXPECT_EQ(alive, 1);
    }
    pointer.setCopyMode(VN_COPY_SHARED);
    vnRefPointer<Node> shared(pointer);
    EXPECT_EQ(shared.get(), pointer.get());
    EXPECT_EQ(pointer->getRef(), 2u);
    Node* self = pointer.get();
    pointer = self;
    EXPECT_EQ(pointer->getRef(), 2u);
    vnRefPointer<Node> null;
    EXPECT_EQ(vnRefPointer<Node>(null).get(), nullptr);
    shared = null;
    EXPECT_EQ(pointer->getRef(), 1u);
}

TEST(vnRefPointer, MovesWithoutCounting)
{
    int alive = 0;
    vnRefPointer<Node> first(new Node(alive));
    Node* node = first.get();
    vnRefPointer<Node> second(std::move(first));
    EXPECT_EQ(second.get(), node);
    EXPECT_EQ(first.get(), nullptr);
    first = new Node(alive);
    first = std::move(second);
    EXPECT_EQ(first.get(), node);
    EXPECT_EQ(node->getRef(), 1u);
    EXPECT_EQ(alive, 1);
}

TEST(vnRefPointer, HoldsTheNewObjectBeforeTheOldOneGoes)
{
    class Watcher : public vnReference
    {
    public:
        Watcher(vnRefPointer<vnReference>& pointer, vnReference*& seen) : m_pointer(pointer), m_seen(seen) {}
        ~Watcher() noexcept(false) override { m_seen = m_pointer.get(); }

    private:
        vnRefPointer<vnReference>& m_pointer;
        vnReference*& m_seen;
    };
    vnReference* seen = nullptr;
    vnRefPointer<vnReference> pointer;
    pointer = new Watcher(pointer, seen);
    vnReference* next = new vnReference;
    pointer = next;
    EXPECT_EQ(seen, next);
}

TEST(vnRefPointer, RefusesToCloneWhatHasNoClone)
{
    vnRefPointer<vnReference> pointer(new vnReference);
    EXPECT_EQ(fatalText([&] { vnRefPointer<vnReference> copy(pointer); }),
              "Unimplemented clone called for type 'vnReference'");
    vnRefPointer<vnReference> assigned;
    assigned = pointer;
    EXPECT_EQ(pointer->getRef(), 2u);
}

TEST(vnRefData, ClonesWithItsMode)
{
    vnRefPointer<vnRefData<std::string>> data(new vnRefData<std::string>("text"));
    data->setCopyMode(VN_COPY_SHARED);
    vnRefPointer<vnReference> clone(data->clone());
    EXPECT_EQ(static_cast<vnRefData<std::string>*>(clone.get())->getData(), "text");
    EXPECT_EQ(clone->getRef(), 1u);
    EXPECT_EQ(clone->getCopyMode(), VN_COPY_SHARED);
}

TEST(vnSharedMemory, PutsNamesIntoTheReports)
{
    int alive = 0;
    vnMemoryControl::debugMem(1);
    Node* node = new ("a node") Node(alive);
    vnMemInfoItem items[16];
    const unsigned int count = vnMemoryControl::getMemInfo(items, 16);
    std::string name;
    for (unsigned int i = 0; i < count; ++i)
        if (items[i].address == node && items[i].name)
            name = items[i].name;
    node->checkDelete();
    vnMemoryControl::debugMem(0);
    EXPECT_EQ(name, "a node");
}

TEST(vnSharedMemory, RefusesASizeThatDoesNotFit)
{
    constexpr std::size_t size = 0x100000000; // the allocators would read it as 0
    testing::internal::CaptureStderr();
    EXPECT_THROW(vnSharedMemory::operator new(size), std::bad_alloc);
    EXPECT_THROW(vnSharedMemory::operator new(size, "named"), std::bad_alloc);
    EXPECT_THROW(vnSharedMemory::operator new[](size), std::bad_alloc);
    EXPECT_THROW(vnSharedMemory::operator new[](size + 8, "named"), std::bad_alloc);
    testing::internal::GetCapturedStderr();
}

TEST(vnQuadWordAlignedMemory, AlignsEachFormOfNew)
{
    struct Quad : public vnQuadWordAlignedMemory
    {
        float values[4];
    };
    const OddManager manager;
    const Quad* quads[] = {new Quad, new ("quad") Quad, new Quad[3], new ("quads") Quad[3]};
    for (const Quad* quad : quads)
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(quad) % 16, 0u);
    delete quads[0];
    delete quads[1];
    delete[] quads[2];
    delete[] quads[3];
}
