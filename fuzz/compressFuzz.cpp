// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnCompress.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <algorithm>

// Any bytes as a compressed block: the arrays, plain memory and the adapter agree on what it holds, and take
// no more memory than that. Any bytes come back from the block that holds them.

namespace
{
using Bytes = vnDynamicArray<unsigned char>;

void checkRoundTrip(const Bytes& bytes)
{
    Bytes block, scratch, plain;
    VN_FUZZ_CHECK(vnCompress(bytes, block, scratch));
    VN_FUZZ_CHECK(vnUnCompress(block, plain));
    VN_FUZZ_CHECK(plain.getSize() == bytes.getSize());
    VN_FUZZ_CHECK(std::equal(plain.begin(), plain.end(), bytes.begin()));
}

void checkBlock(const Bytes& block)
{
    Bytes plain;
    const bool isBlock = vnUnCompress(block, plain);
    VN_FUZZ_CHECK(isBlock || plain.isEmpty());
    VN_FUZZ_CHECK(plain.getSize() <= block.getSize() * 1032ull);

    Bytes memory;
    memory.setSize(plain.getSize() + 1);
    unsigned int size = plain.getSize();
    VN_FUZZ_CHECK(!!vnUnCompress(block.data(), block.getSize(), memory.data(), size) == isBlock);
    VN_FUZZ_CHECK(size == plain.getSize() && std::equal(plain.begin(), plain.end(), memory.begin()));

    vnRefPointer<vnSerializeAdapter> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->write(block.data(), block.getSize());
    queue->setAdapterFlags(VN_ADAPTER_SILENT);
    vnRefPointer<vnSerializeAdapter> adapter(new vnSerializeAdapterCompress(queue));
    memory.setSize(plain.getSize());
    VN_FUZZ_CHECK(adapter->read(memory.data(), memory.getSize()) == plain.getSize());
    VN_FUZZ_CHECK(std::equal(plain.begin(), plain.end(), memory.begin()));
    // Blocks behind it, or what is none.
    unsigned char piece[4096];
    while (adapter->hasData())
        VN_FUZZ_CHECK(adapter->read(piece, sizeof piece) > 0);
    VN_FUZZ_CHECK(queue->length() == 0);
    VN_FUZZ_CHECK(isBlock || adapter->hasError() || block.isEmpty());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const bool isPlain = input.byte() & 1;
    const std::string text = input.rest();
    Bytes bytes;
    bytes.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    isPlain ? checkRoundTrip(bytes) : checkBlock(bytes);
    return 0;
}
