// SPDX-License-Identifier: MIT
#include "../serialize/vnTempFolder.h"
#include "vnObjectTestHelp.h"

#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterMemory.h>

// Objects on streams that compress them.

namespace
{
using Adapter = vnRefPointer<vnSerializeAdapter>;

// An object that holds another one twice, and that one holds it.
Object createGraph()
{
    Object root(new vnObject);
    const Object shared(new vnObject);
    shared->setAttribute("attributes", "text", std::string(500, 'x').c_str());
    shared->addUserData("back", root);
    root->addUserData("left", shared);
    root->addUserData("right", shared);
    return root;
}

void expectGraph(const Object& root)
{
    ASSERT_TRUE(root);
    auto* shared = static_cast<vnObject*>(root->getUserData("left"));
    ASSERT_TRUE(shared);
    EXPECT_EQ(root->getUserData("right"), shared);
    EXPECT_EQ(shared->getUserData("back"), root.get());
    EXPECT_EQ(shared->getAttribute("attributes", "text").getString(), std::string(500, 'x').c_str());
}

void breakCircle(const Object& root)
{
    if (root)
        root->removeAllUserData();
}

// With a progress text, which asks for the length of the stream at once.
void writeThrough(vnSerializeAdapter* target, vnObject* object)
{
    const Adapter out(new vnSerializeAdapterCompress(target));
    vnObject::writeObject(object, out.get(), 1000, "write", 1);
    EXPECT_FALSE(out->hasError());
}

void expectReadThrough(vnSerializeAdapter* source)
{
    const Adapter in(new vnSerializeAdapterCompress(source));
    const Object copy(vnObject::readObject(in.get(), 1000, "read", 1));
    expectGraph(copy);
    EXPECT_FALSE(in->hasError());
    EXPECT_EQ(in->hasData(), 0);
    breakCircle(copy);
}
} // namespace

TEST(vnObjectCompressed, BringsAGraphBackInItsShape)
{
    const Object graph = createGraph();
    const Adapter queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    writeThrough(queue.get(), graph.get());
    EXPECT_LT(queue->length(), 200u);
    queue->clearSharedRefs(); // the reader begins a table of its own
    expectReadThrough(queue.get());

    const vnTempFolder folder;
    const vnString path = folder.path("objects");
    writeThrough(Adapter(new vnSerializeAdapterFile(path, VN_SERIALIZE_OUTPUT, 0, 0)).get(), graph.get());
    expectReadThrough(Adapter(new vnSerializeAdapterFile(path, VN_SERIALIZE_INPUT, 0, 0)).get());
    breakCircle(graph);
}

TEST(vnObjectCompressed, LeavesWhatItsTargetHeldBeforeWriting)
{
    const Object graph = createGraph();
    // A block of zeros, which would read as empty blocks.
    unsigned char block[1000] = {};
    const Adapter memory(new vnSerializeAdapterMemory(block, sizeof block));
    writeThrough(memory.get(), graph.get());
    expectReadThrough(Adapter(new vnSerializeAdapterMemory(block, sizeof block)).get());
    // A queue with bytes of somebody else.
    const Adapter queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    for (unsigned char byte = 200; byte < 250; ++byte)
        queue->write(byte);
    writeThrough(queue.get(), graph.get());
    for (unsigned char byte = 200; byte < 250; ++byte)
        EXPECT_EQ(queue->read(), byte);
    queue->clearSharedRefs();
    expectReadThrough(queue.get());
    breakCircle(graph);
}
