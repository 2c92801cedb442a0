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
    expectLamps(Lamps(vnObject::readObject(in.get(), 1000, "read", 1)));
    EXPECT_FALSE(in->hasError());
    EXPECT_EQ(in->hasData(), 0);
}
} // namespace

TEST(vnObjectCompressed, BringsAGraphBackInItsShape)
{
    const Registered<Lamp> lamps;
    const Lamps graph(createLamps());
    const Adapter queue(new Queue);
    writeThrough(queue.get(), graph.get());
    EXPECT_LT(queue->length(), recordOf(graph).size());
    queue->clearSharedRefs(); // the reader begins a table of its own
    expectReadThrough(queue.get());

    const vnTempFolder folder;
    const vnString path = folder.path("objects");
    writeThrough(Adapter(new vnSerializeAdapterFile(path, VN_SERIALIZE_OUTPUT, 0, 0)).get(), graph.get());
    expectReadThrough(Adapter(new vnSerializeAdapterFile(path, VN_SERIALIZE_INPUT, 0, 0)).get());
}

TEST(vnObjectCompressed, LeavesWhatItsTargetHeldBeforeWriting)
{
    const Registered<Lamp> lamps;
    const Lamps graph(createLamps());
    // A block of zeros, which would read as empty blocks.
    unsigned char block[1000] = {};
    const Adapter memory(new vnSerializeAdapterMemory(block, sizeof block));
    writeThrough(memory.get(), graph.get());
    expectReadThrough(Adapter(new vnSerializeAdapterMemory(block, sizeof block)).get());
    // A queue with bytes of somebody else.
    const Adapter queue(new Queue);
    queue->write(200);
    queue->write(201);
    writeThrough(queue.get(), graph.get());
    EXPECT_EQ(queue->read(), 200);
    EXPECT_EQ(queue->read(), 201);
    queue->clearSharedRefs();
    expectReadThrough(queue.get());
}
