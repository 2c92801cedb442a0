// SPDX-License-Identifier: MIT
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefList.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnReference.h>

#include "vnTestManager.h"
#include "vnTextHelpers.h"

#include <cstdint>
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
    explicit Shared(int& alive) : m_alive(alive) { ++m_alive; }
    ~Shared() noexcept(false) override { --m_alive; }
    const vnMutex& mutex() const { return m_mutex; }

private:
    int& m_alive;
};

// What holds for both kinds of counts.
template <class Object>
class vnReferenceOfEachKind : public testing::Test
{
protected:
    int m_alive = 0;
};
using Kinds = testing::Types<Node, Shared>;
TYPED_TEST_SUITE(vnReferenceOfEachKind, Kinds);

constexpr const char* zeroText = "REFERENCE MISMATCH ! Unref an object with zero reference count.";
constexpr const char* zeroTextShared = "REFRENCE MISMATCH ! Unref an object with zero reference count.";
} // namespace

TEST(vnType, KnowsItsAncestors)
{
    int alive = 0;
    Plain plain(alive);
    EXPECT_STREQ(plain.getTypeName(), "Leaf") << "a class without a record has that of its base";
    const vnType leaf(*Leaf::getClassType()), root(*vnReference::getClassType()); // equal the records
    const struct
    {
        const vnType* type;
        bool isOf, isExact, isAncestorOfLeaf;
    } rows[] = {
        {Leaf::getClassType(), true, true, false},
        {&leaf, true, true, false},
        {Node::getClassType(), true, false, true},
        {&root, true, false, true},
        {nullptr, false, false, false},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.type ? row.type->getName() : "null");
        EXPECT_EQ(plain.isOfType(row.type), row.isOf);
        EXPECT_EQ(plain.isExactType(row.type), row.isExact);
        EXPECT_EQ(leaf.isDerivedFrom(row.type), row.isAncestorOfLeaf);
    }
    EXPECT_FALSE(Node::getClassType()->isDerivedFrom(Leaf::getClassType()));
    EXPECT_EQ(root.getParent(), nullptr);
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

TYPED_TEST(vnReferenceOfEachKind, DeletesAtTheLastUnref)
{
    TypeParam* const object = new TypeParam(this->m_alive);
    object->ref();
    object->ref();
    object->unref();
    EXPECT_EQ(this->m_alive, 1);
    EXPECT_EQ(object->unrefNoDelete(), 0u);
    EXPECT_EQ(this->m_alive, 1);
    object->ref();
    EXPECT_FALSE(object->checkDelete());
    object->unref();
    EXPECT_EQ(this->m_alive, 0);
    EXPECT_TRUE((new TypeParam(this->m_alive))->checkDelete());
    EXPECT_EQ(this->m_alive, 0);
}

TEST(vnReference, ReportsMismatchesEachInItsWords)
{
    int alive = 0;
    Node node(alive);
    EXPECT_EQ(errorOf([&] { node.unref(); }), zeroText);
    EXPECT_EQ(errorOf([&] { node.unrefNoDelete(); }), zeroTextShared);
    EXPECT_EQ(node.getRef(), 0u);
    EXPECT_EQ(errorOf(
                  []
                  {
                      vnReference held;
                      held.ref();
                  }),
              "REFERENCE MISMATCH ! Deleted referenced object with nonzero reference count");
    Shared shared(alive);
    EXPECT_EQ(errorOf([&] { shared.unref(); }), zeroTextShared);
    EXPECT_TRUE(shared.mutex().isLocked()) << "stays locked, so that the next user stops";
    EXPECT_EQ(errorOf([&] { shared.unrefNoDelete(); }), zeroTextShared);
    EXPECT_EQ(shared.mutex().getSpinLockCount(), 2u);
    shared.mutex().unLock();
    shared.mutex().unLock();
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
        EXPECT_EQ(errorOf([&] { vnRefPointer<Leaf> copy(leaf); }), text);
        EXPECT_EQ(errorOf([&] { vnRefList<Leaf> copy(list); }), text);
        EXPECT_EQ(errorOf([&] { vnRefDict<vnString, Leaf> copy(dict); }), text);
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
    const auto throwWhileHeld = []
    {
        vnReference held;
        held.ref();
        throw 7;
    };
    EXPECT_THROW(throwWhileHeld(), int);
    testing::internal::CaptureStderr();
    {
        TestManager manager;
        manager.most = 0; // tells of it without memory as well
        EXPECT_THROW(throwWhileHeld(), int);
    }
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Deleted referenced object"), std::string::npos);
}

TEST(vnReference, CopiesItsModeAndNotItsCount)
{
    int alive = 0;
    Node node(alive);
    node.ref();
    node.setCopyMode(VN_COPY_SHARED);
    const Node copy(node);
    EXPECT_EQ(copy.getRef(), 0u);
    EXPECT_EQ(copy.getCopyMode(), VN_COPY_SHARED);
    vnReference target;
    target.ref();
    target = node;
    EXPECT_EQ(target.getRef(), 1u);
    EXPECT_EQ(target.getCopyMode(), VN_COPY_SHARED);
    target.unrefNoDelete();
    node.unrefNoDelete();
}

TEST(vnThreadSafeReference, TakesOverTheModeAloneWhenAssigned)
{
    int alive = 0;
    Shared target(alive), source(alive);
    source.setCopyMode(VN_COPY_SHARED);
    source.mutex().waitLock();
    target.ref();
    target.vnThreadSafeReference::operator=(source);
    EXPECT_EQ(target.getCopyMode(), VN_COPY_SHARED);
    EXPECT_EQ(target.getRef(), 1u);
    EXPECT_FALSE(target.checkDelete());
    EXPECT_FALSE(target.mutex().isLocked());
    EXPECT_EQ(source.getRef(), 0u);
    source.mutex().unLock();
    target.unrefNoDelete();
}

TEST(vnThreadSafeReference, CountsOnManyThreads)
{
    int alive = 0;
    vnRefPointer<Shared> object(new Shared(alive));
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
    EXPECT_EQ(errorOf([&] { vnRefPointer<vnReference> copy(pointer); }),
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
