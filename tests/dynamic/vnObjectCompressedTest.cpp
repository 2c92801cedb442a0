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
    expectLamps(copy);
    EXPECT_FALSE(in->hasError());
    EXPECT_EQ(in->hasData(), 0);
    breakLamps(copy);
}
} // namespace

TEST(vnObjectCompressed, BringsAGraphBackInItsShape)
{
    const Registered<Lamp> lamps;
    const Object graph = createLamps();
    const Adapter queue(new Queue);
    writeThrough(queue.get(), graph.get());
    EXPECT_LT(queue->length(), recordOf(graph).size());
    queue->clearSharedRefs(); // the reader begins a table of its own
    expectReadThrough(queue.get());

    const vnTempFolder folder;
    const vnString path = folder.path("objects");
    writeThrough(Adapter(new vnSerializeAdapterFile(path, VN_SERIALIZE_OUTPUT, 0, 0)).get(), graph.get());
    expectReadThrough(Adapter(new vnSerializeAdapterFile(path, VN_SERIALIZE_INPUT, 0, 0)).get());
    breakLamps(graph);
}

TEST(vnObjectCompressed, LeavesWhatItsTargetHeldBeforeWriting)
{
    const Registered<Lamp> lamps;
    const Object graph = createLamps();
    // A block of zeros, which would read as empty blocks.
    unsigned char block[1000] = {};
    const Adapter memory(new vnSerializeAdapterMemory(block, sizeof block));
    writeThrough(memory.get(), graph.get());
    expectReadThrough(Adapter(new vnSerializeAdapterMemory(block, sizeof block)).get());
    // A queue with bytes of somebody else.
    const Adapter queue(new Queue);
    for (unsigned char byte = 200; byte < 250; ++byte)
        queue->write(byte);
    writeThrough(queue.get(), graph.get());
    for (unsigned char byte = 200; byte < 250; ++byte)
        EXPECT_EQ(queue->read(), byte);
    queue->clearSharedRefs();
    expectReadThrough(queue.get());
    breakLamps(graph);
}
