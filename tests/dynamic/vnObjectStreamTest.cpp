// SPDX-License-Identifier: MIT
#include "../memory/vnFailingManager.h"
#include "vnObjectTestHelp.h"

#include <vnBase/vnProgress.h>
#include <vnBase/vnSerializeAdapterFilter.h>
#include <vnBase/vnSerializeAdapterRandomAccess.h>

#include <chrono>

namespace
{
vnObject* readFrom(vnSerializeAdapter& adapter)
{
    return vnObject::readObject(&adapter, 0, "", 1);
}

void writeTo(vnSerializeAdapter& adapter, vnObject* object, unsigned char share = 1)
{
    vnObject::writeObject(object, &adapter, 0, "", share);
}

Bytes head(const Bytes& id, unsigned char size, unsigned char instance)
{
    return id + Bytes{0, 0, 0, size, 0, 0, 0, instance};
}

// Of a "vnObject", by the class hash, whatever that is, in the order of the wire.
Bytes head(unsigned char size, unsigned char instance)
{
    const unsigned int id = vnString("vnObject").hash();
    return head({static_cast<unsigned char>(id >> 24), static_cast<unsigned char>(id >> 16),
                 static_cast<unsigned char>(id >> 8), static_cast<unsigned char>(id)},
                size, instance);
}

const Bytes reference{0xFF, 0xFF, 0xFF, 0xFF}; // the identifier of what was stored before
const Bytes none{0, 0, 0, 0};                  // the count of no user data

// Stands in front of another adapter and hands the bytes on.
class Front : public vnSerializeAdapterFilter
{
public:
    explicit Front(vnSerializeAdapter* target) { holdTarget(target); }

protected:
    void write_imp(unsigned char byte) override { getAdapter()->write(byte); }
    unsigned char read_imp() override { return getAdapter()->read(); }
    unsigned int length_imp() override { return getAdapter()->length(); }
    unsigned char hasData_imp() override { return getAdapter()->hasData(); }
};
} // namespace

TEST(vnObjectStream, HasTheseBytes)
{
    EXPECT_EQ(recordOf(nullptr), (Bytes{0, 0, 0, 0}));
    Queue null({0, 0, 0, 0});
    EXPECT_EQ(readFrom(null), nullptr);
    EXPECT_EQ(null.hasError(), 0);

    vnObject bare;
    EXPECT_EQ(recordOf(&bare), head(16, 0) + none);
    EXPECT_EQ(bare.getDataSize(nullptr), 4u);

    // Little-endian inside; what is neither attributes nor an object is neither counted nor stored.
    vnObject object;
    object.addUserData("plain", new Plain);
    object.setAttribute("a", "n", 5.0);
    object.addUserData("b", new vnObject);
    const Bytes attributes{'a', 0, 0xFE, 0xFF, 0xFF, 0xFF, 7, 0xCD, 0xBF, 0xFE, 1,
                           0,   0, 0,    'n',  0,    0xFC, 2, 0,    1,    5};
    const Bytes inner = Bytes{'b', 0} + head(16, 1) + none;
    const bool isFirst = vnString("a").hash() % 10 < vnString("b").hash() % 10;
    Bytes expected = head(16 + 6 + 15 + 2 + 16, 0) + Bytes{2, 0, 0, 0};
    expected = expected + (isFirst ? attributes + inner : inner + attributes);
    EXPECT_EQ(recordOf(&object), expected);
}

TEST(vnObjectStream, StoresAnObjectOncePerAdapter)
{
    Registered<Lamp> lamps;
    Object object(new Lamp(7));
    Queue queue;
    vnRefPointer<Queue> target(new Queue);
    Front front(target);
    writeTo(queue, object);
    const unsigned int full = queue.length();
    writeTo(queue, object);
    EXPECT_EQ(queue.length(), full + 12);
    writeTo(*target, object); // an adapter of its own, and a stack of two, which are one
    writeTo(front, object);
    EXPECT_EQ(target->length(), full + 12);
    Object first(readFrom(queue));
    Object second(readFrom(queue));
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_NE(first.get(), object.get());
    Object third(readFrom(front));
    EXPECT_EQ(third.get(), readFrom(*target));

    // Without sharing it is stored in full each time.
    Queue unshared;
    writeTo(unshared, object, 0);
    writeTo(unshared, object, 0);
    EXPECT_EQ(unshared.length(), 2 * full);

    // The address of an object that is gone is never taken for it: the table holds the object.
    EXPECT_EQ(object->getRef(), 3u);
    queue.clearSharedRefs();
    target->clearSharedRefs();
    EXPECT_EQ(object->getRef(), 1u);

    // Also when nobody held it yet as it was sized.
    vnObject* fresh = new vnObject;
    vnObject::getChunkSize(fresh, &queue);
    object = fresh;
    writeTo(queue, object);
    EXPECT_EQ(object->getRef(), 2u);

    // A copy of the tables knows the same objects, and notes on its own what is written from then on.
    Queue copy;
    copy.copySharedRefData(queue);
    writeTo(copy, object);
    EXPECT_EQ(copy.length(), 12u);
    queue.clearSharedRefs();
    vnObject::getChunkSize(object, &queue);
    copy.copySharedRefData(queue);
    writeTo(copy, object);
    EXPECT_EQ(copy.length(), 12u + 16);
    queue.clear();
    writeTo(queue, object);
    EXPECT_EQ(queue.length(), 16u);
}

TEST(vnObjectStream, RefersToNothingThatWasNotWritten)
{
    vnRefPointer<Lamp> object(new Lamp(1));
    object->left = new Lamp(2);
    FailingQueue queue(0);
    EXPECT_THROW(writeTo(queue, object), vnWarningError);
    EXPECT_EQ(queue.length(), 0u);
    writeTo(queue, object->left); // it was sized with the other one
    EXPECT_EQ(queue.length(), 28u);
    writeTo(queue, object);
    EXPECT_EQ(queue.length(), 28u + 36);
}

// They must not take a time that grows with the square of their number: streams from outside may hold any.
TEST(vnObjectStream, BringsManyItemsOfOneNameBack)
{
    constexpr unsigned int count = 300000;
    const Bytes number{count & 0xFF, count >> 8 & 0xFF, count >> 16, 0};
    Queue queue(head(0xFF, 0) + Bytes{2, 0, 0, 0, 'a', 0, 0xFE, 0xFF, 0xFF, 0xFF, 7, 0xCD, 0xBF, 0xFE} +
                number);
    for (unsigned int i = 0; i < count; ++i)
        put(queue, {'n', 0, 0xFC, 2, 0, 1, static_cast<unsigned char>(i % 100)});
    put(queue, Bytes{'o', 0} + head(0xFF, 1) + number);
    for (unsigned int i = 0; i < count; ++i)
        put(queue, Bytes{'r', 0} + head(reference, 12, 1));
    const auto start = std::chrono::steady_clock::now();
    Object object(readFrom(queue));
    ASSERT_TRUE(object);
    EXPECT_EQ(object->getNumberOfAttributes("a"), count);
    EXPECT_EQ(object->getAttribute("a", "n").getNumber(), 0);
    auto* circle = static_cast<vnObject*>(object->getUserData("o"));
    ASSERT_TRUE(circle);
    EXPECT_EQ(circle->getUserDataDictionary()->getCount(), count);
    for (unsigned int i = 0; i < count / 2; ++i)
        object->removeAttribute("a", "n");
    EXPECT_EQ(object->getAttribute("a", "n").getNumber(), count / 2 % 100);
    circle->removeAllUserData();
    object = nullptr;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)); // one is usual
}

TEST(vnObjectStream, BringsAGraphBackInItsShape)
{
    Registered<Lamp> lamps;
    const Lamps graph(createLamps());
    for (const unsigned char share : {1, 0})
    {
        Queue queue;
        writeTo(queue, graph, share);
        const Lamps copy(readFrom(queue));
        EXPECT_EQ(queue.hasError(), 0);
        EXPECT_EQ(queue.length(), 0u);
        if (share)
            expectLamps(copy);
    }
    // A source that does not know its length.
    UnknownLength source(recordOf(graph));
    expectLamps(Lamps(readFrom(source)));
}

TEST(vnObjectStream, SizesRecordsAtEveryDepth)
{
    vnRefPointer<Lamp> outer(new Lamp(1));
    vnRefPointer<Lamp> middle(new Lamp(2));
    outer->left = middle;
    middle->left = new Lamp(3);
    middle->right = middle->left.get();
    Queue queue;
    EXPECT_EQ(vnObject::getChunkSize(nullptr, &queue), 4u);
    EXPECT_EQ(vnObject::getChunkSize(outer, &queue), 84u);
    EXPECT_EQ(vnObject::getChunkSize(outer, &queue), 12u);
    writeTo(queue, outer); // counted first, and in full all the same
    const Bytes bytes = contentOf(queue);
    ASSERT_EQ(bytes.size(), 84u);
    EXPECT_EQ(bytes[7], 84u);      // the outer one
    EXPECT_EQ(bytes[20 + 7], 60u); // the middle one
    EXPECT_EQ(bytes[40 + 7], 28u); // the innermost

    // Without an adapter no head counts, and only the depth ends a circle.
    vnObject loop;
    EXPECT_EQ(vnObject::getChunkSize(&loop, nullptr), 4u);
    Object circle(new vnObject);
    circle->addUserData("me", circle);
    EXPECT_THROW(static_cast<void>(circle->getDataSize(nullptr)), vnWarningError);
    EXPECT_EQ(vnObject::getChunkSize(circle, &queue), 12u + 4 + 3 + 12);
    circle->removeAllUserData();
}

TEST(vnObjectStream, SizesAnewWhatWasSizedInAnotherOrder)
{
    Registered<Lamp> lamps;
    vnRefPointer<Lamp> first(new Lamp(1));
    vnRefPointer<Lamp> second(new Lamp(2));
    first->left = second->left = new Lamp(3);
    Queue queue;
    EXPECT_EQ(vnObject::getChunkSize(first, &queue), 52u);
    writeTo(queue, second); // the lamp inside is written here, though it was sized with the first
    EXPECT_EQ(queue.length(), 52u);
    writeTo(queue, first);
    Bytes bytes = contentOf(queue);
    ASSERT_EQ(bytes.size(), 52u + 36);
    EXPECT_EQ(bytes[7], 52u);
    EXPECT_EQ(bytes[52 + 7], 36u);

    // So is what had only its body sized.
    Object root(new vnObject);
    root->addUserData("in", first);
    Queue other;
    EXPECT_EQ(root->getDataSize(&other), 4u + 3 + 52);
    writeTo(other, root);
    bytes = contentOf(other);
    ASSERT_EQ(bytes.size(), 71u);
    EXPECT_EQ(bytes[7], 71u);

    // Without an adapter all ways to an object count, but each is sized once.
    vnRefPointer<Lamp> top(new Lamp);
    for (int depth = 0; depth < 27; ++depth)
    {
        vnRefPointer<Lamp> next(new Lamp);
        next->left = next->right = top;
        top = next;
    }
    Lamp::s_sizings = 0;
    EXPECT_EQ(vnObject::getChunkSize(top, nullptr), 3221225464u);
    EXPECT_EQ(Lamp::s_sizings, 28u);
}

TEST(vnObjectStream, SkipsWhatItDoesNotKnow)
{
    Recorder recorder;
    Object root(new vnObject);
    root->setAttribute("a", "x", 1.0);
    root->addUserData("unknown", new Lamp(5));
    root->setAttribute("z", "x", 2.0);
    root->setAttribute("m", "x", 3.0);
    const Bytes bytes = recordOf(root);
    Queue queue(bytes + bytes); // the ids of the second one begin anew
    for (int i = 0; i < 2; ++i)
    {
        Object copy(readFrom(queue));
        ASSERT_TRUE(copy);
        EXPECT_EQ(copy->getUserDataDictionary()->getCount(), 3u);
        EXPECT_EQ(copy->existUserData("unknown"), 0);
        EXPECT_EQ(copy->getAttribute("z", "x").getNumber(), 2.0);
        EXPECT_EQ(copy->getAttribute("m", "x").getNumber(), 3.0);
        EXPECT_EQ(queue.getError().isFirst("Unknown Factory : "), 1);
    }
    EXPECT_EQ(queue.length(), 0u);
    const Lines lines = recorder.take();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[1], "VantorSDK|4000|Eater:20");
    Queue large({0xFF, 0xFF, 0xFF, 0xF0, 0, 0, 0, 12, 0, 0, 0, 0});
    large.setAdapterFlags(VN_ADAPTER_SILENT);
    EXPECT_EQ(readFrom(large), nullptr);
    EXPECT_EQ(large.getError(), "Unknown Factory : -16"); // as a signed number

    // What was skipped may have held objects, whose ids are missing then, also when what was written is
    // forgotten.
    Bytes gap = head({1, 2, 3, 4}, 0, 0);
    gap[5] = 0x0C; // 65536 records
    gap.resize(0xC0000);
    const auto readBehind = [&gap](unsigned char instance)
    {
        Bytes record = head(16, instance) + none;
        record[9] = 1;
        Queue behind(gap + record);
        behind.setAdapterFlags(VN_ADAPTER_SILENT);
        readFrom(behind);
        EXPECT_TRUE(behind.getRefInstanceDictionary().isEmpty());
        behind.clearSharedRefs();
        return readFrom(behind) != nullptr;
    };
    EXPECT_THROW(readBehind(1), vnFatalError);
    EXPECT_TRUE(readBehind(0));

    // The stream stays behind the second word without eating; a silent adapter says nothing.
    Queue strict(recordOf(Object(new Lamp(5))));
    strict.setAdapterFlags(VN_ADAPTER_SILENT);
    EXPECT_EQ(vnObject::readObject(&strict, 0, "", 0), nullptr);
    EXPECT_EQ(strict.length(), 20u);
    EXPECT_EQ(recorder.take(), Lines());
    EXPECT_EQ(strict.hasError(), 1);
}

TEST(vnObjectStream, RefusesLies)
{
    Recorder recorder;
    const auto fault = [](const Bytes& bytes)
    {
        Queue queue(bytes);
        queue.setName("name");
        const std::string text = errorOf([&queue] { readFrom(queue); });
        EXPECT_EQ(queue.getError(), text.c_str());
        return text;
    };
    EXPECT_EQ(fault(head({1, 2, 3, 4}, 11, 0)), "Corrupt Stream in name!!");
    EXPECT_EQ(recorder.take(), (Lines{"VantorSDK|4200|Corrupt Stream in name!!"}));
    Bytes bytes = head(16, 0) + none;
    bytes[8] = 0x7F; // an instance far beyond
    EXPECT_EQ(fault(bytes), "Corrupt Stream in name!!");
    bytes = head(reference, 12, 0);
    bytes[9] = 1; // 65536, more than may be left out
    EXPECT_EQ(fault(bytes), "Corrupt Stream in name!!");
    // The instance of an object that is being read.
    bytes = head(34, 3) + Bytes{1, 0, 0, 0, 'a', 0} + head(16, 3) + none;
    EXPECT_EQ(fault(bytes), "Corrupt Stream in name!!");

    // Nothing there yet, and nothing is taken for it.
    Queue early(head(reference, 12, 9));
    EXPECT_EQ(readFrom(early), nullptr);
    EXPECT_EQ(early.hasError(), 0);
    // A count and a size that the stream does not hold.
    Queue count(head(16, 0) + Bytes{0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(readFrom(count), nullptr);
    EXPECT_EQ(count.hasError(), 1);
    bytes = head({1, 2, 3, 4}, 0, 0);
    bytes[4] = 0xFF;
    Queue size(bytes);
    EXPECT_EQ(readFrom(size), nullptr);
    EXPECT_EQ(size.length(), 0u);
    EXPECT_EQ(size.getError(), "Object ends within its body");
    // The base class finds the end of its body.
    bytes = head(17, 0) + none;
    vnSerializeAdapterMemory stale(bytes.data(), static_cast<unsigned int>(bytes.size()));
    EXPECT_TRUE(Object(readFrom(stale)));
    EXPECT_EQ(stale.hasError(), 0);
    // Another class as well, where its source tells or its position does: the size decides nothing.
    Registered<Lamp> lamps;
    bytes = recordOf(Object(new Lamp(1)));
    bytes[7] += 1;
    for (const bool isCut : {false, true})
    {
        bytes.resize(bytes.size() - isCut);
        Queue waiting(bytes);
        EXPECT_EQ(bool(Object(readFrom(waiting))), !isCut);
        vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
        EXPECT_EQ(bool(Object(readFrom(memory))), !isCut);
        vnRefPointer<Queue> target(new Queue(bytes));
        vnSerializeAdapterRandomAccess random(target); // which gives zeros behind its end
        EXPECT_EQ(bool(Object(readFrom(random))), !isCut);
        EXPECT_EQ(memory.length() + random.length(), 0u);
    }

    // An identifier that reads as the mark of attributes is taken for it: the other words are no attributes.
    Queue mark(head(34, 0) + Bytes{1, 0, 0, 0, 'a', 0} + head({0xFE, 0xFF, 0xFF, 0xFF}, 16, 1) + none);
    Object marked(readFrom(mark));
    ASSERT_TRUE(marked);
    EXPECT_EQ(marked->getNumberOfAttributes("a"), 0u);
    EXPECT_EQ(mark.length(), 12u);
}

TEST(vnObjectStream, PutsEarlierErrorsAside)
{
    const Bytes record = recordOf(Object(new vnObject));
    Bytes bytes = record + record;
    vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
    memory.setError("earlier");
    EXPECT_TRUE(Object(readFrom(memory)));
    EXPECT_EQ(memory.getError(), "earlier");
    vnObject object;
    memory.seek(12, VN_ORIGIN_SET);
    object.read(&memory);
    EXPECT_EQ(memory.getError(), "earlier");
    memory.seek(30, VN_ORIGIN_SET);
    EXPECT_EQ(readFrom(memory), nullptr);
    EXPECT_EQ(memory.getError(), "Object ends within its head");

    // Each adapter of a stack gets its own one back.
    const Object held(new vnObject);
    vnRefPointer<Queue> queue(new Queue(recordOf(held)));
    vnRefPointer<Front> middle(new Front(queue));
    Front front(middle);
    queue->setError("disk");
    front.setError("front");
    EXPECT_TRUE(Object(readFrom(front)));
    EXPECT_EQ(front.getError(), "front");
    EXPECT_EQ(queue->getError(), "disk");
    EXPECT_EQ(readFrom(front), nullptr); // at the end
    EXPECT_EQ(front.getError(), "Object ends within its head");
    EXPECT_EQ(middle->getError(), "disk");
}

TEST(vnObjectStream, LimitsTheDepth)
{
    const unsigned int before = vnObject::getMaxDepth();
    EXPECT_EQ(before, 1000u);
    Object root(new vnObject);
    for (unsigned int depth = 1; depth < before; ++depth)
    {
        Object outer(new vnObject);
        outer->addUserData("in", root);
        root = outer.get();
    }
    Queue queue(recordOf(root)); // what is allowed at the start fits the stack in all directions
    EXPECT_TRUE(Object(readFrom(queue)));
    vnObject::setMaxDepth(0);
    EXPECT_EQ(vnObject::getMaxDepth(), 1u);
    vnObject::setMaxDepth(before - 1);
    Queue small;
    EXPECT_THROW(writeTo(small, root), vnWarningError);
    EXPECT_EQ(small.length(), 0u);
    EXPECT_EQ(small.getRefInstanceDictionary().getCount(), 0u);
    vnObject::setMaxDepth(before);
    writeTo(small, root);
    vnObject::setMaxDepth(before - 1);
    EXPECT_FALSE(Object(readFrom(small)));
    EXPECT_EQ(small.getError(), "Objects are nested too deep");
    vnObject::setMaxDepth(before);
}

TEST(vnObjectStream, TellsOfEveryTruncation)
{
    Registered<Lamp> lamps;
    const Bytes whole = recordOf(Lamps(createLamps()));
    for (std::size_t size = 1; size < whole.size(); ++size)
    {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        Queue queue(cut);
        UnknownLength source(cut);
        vnRefPointer<Queue> target(new Queue(cut));
        vnSerializeAdapterRandomAccess random(target); // which gives zeros behind its end
        for (vnSerializeAdapter* adapter :
             std::initializer_list<vnSerializeAdapter*>{&queue, &source, &random})
        {
            EXPECT_EQ(readFrom(*adapter), nullptr) << size;
            EXPECT_EQ(adapter->hasError(), 1) << size;
            EXPECT_EQ(adapter->hasData(), 0) << size; // who reads on comes to the end
        }
    }
    EXPECT_EQ(Lamp::s_alive, 1); // the prototype: no circle that was closed is left
    // Called directly it throws, here within the user data.
    for (std::size_t size = 12; size < 60; ++size)
    {
        Queue queue(Bytes(whole.begin() + 12, whole.begin() + static_cast<std::ptrdiff_t>(size)));
        vnObject object;
        EXPECT_THROW(object.read(&queue), vnWarningError) << size;
        EXPECT_EQ(queue.hasError(), 1) << size;
    }
    // What a failing source throws leaves nothing behind but its own.
    for (std::size_t size = 1; size < whole.size(); ++size)
    {
        UnknownLength failing(whole, size);
        EXPECT_THROW(readFrom(failing), vnWarningError) << size;
    }
    EXPECT_EQ(Lamp::s_alive, 1);
}

TEST(vnObjectStream, ReportsProgress)
{
    struct Listener : vnProgressInterface
    {
        void onProgress(unsigned char percent, const char* banner) override
        {
            lines.push_back(std::to_string(percent) + banner);
        }
        Lines lines;
    } listener;
    vnProgressInterface* before = vnProgress::setProgressInterface(&listener);
    Object object(new vnObject);
    Queue queue(Bytes(50, 0));
    queue.setAdapterFlags(8); // no progress
    vnObject::writeObject(object, &queue, 200, "none", 1);
    EXPECT_EQ(queue.getAssociatedData(), nullptr);
    queue.setAdapterFlags(0);
    queue.clearSharedRefs();
    vnObject::writeObject(object, &queue, 200, "write", 1); // 66 bytes are there
    EXPECT_TRUE(queue.getAssociatedData());
    vnObject::writeObject(object, &queue, 200, "again", 1); // too soon
    Queue source({0, 0, 0, 0});
    vnObject::readObject(&source, 16, "read", 1);

    // Objects within others report as well once it is time.
    class Late : public vnObject
    {
    public:
        void write(vnSerializeAdapter* adapter) override
        {
            auto* info = static_cast<vnSerializeAdapterProgressInfo*>(adapter->getAssociatedData());
            info->setTime(info->getTime() - 1);
            vnObject::write(adapter);
        }
    };
    Object late(new Late);
    late->addUserData("in", object);
    queue.clear();
    queue.clearSharedRefs();
    vnObject::writeObject(late, &queue, 0, "", 1); // reports no more than what is within: 19 bytes are there
    // More is left than there should be in all.
    Queue longer(Bytes(50, 0));
    vnObject::readObject(&longer, 16, "long", 1);
    vnProgress::setProgressInterface(before);
    EXPECT_EQ(listener.lines, (Lines{"33write", "75read", "9write", "0long"}));
}

TEST(vnObjectStream, SurvivesExhaustedMemory)
{
    Registered<Lamp> lamps;
    const auto run = []
    {
        const Lamps graph(createLamps());
        Queue queue;
        writeTo(queue, graph);
        const Lamps copy(readFrom(queue));
        if (copy)
            expectLamps(copy);
    };
    EXPECT_GT(vnFailingManager::failEach(run), 20u);
    EXPECT_EQ(Lamp::s_alive, 1);
}
