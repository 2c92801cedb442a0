// SPDX-License-Identifier: MIT
#include "vnFuzzSource.h"
#include "vnFuzzWritten.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDynamicTypeContainer.h>

#include <vector>

// Containers from streams of any bytes: what was read whole can be written, read and walked again.

namespace
{
using Bytes = std::vector<unsigned char>;

// Whether all attributes that are counted could be read.
bool readWhole(vnDynamicTypeContainer& container, vnSerializeAdapter& adapter)
{
    try
    {
        container.read(&adapter);
        return true;
    }
    catch (const vnWarningError&)
    {
        return false;
    }
}

unsigned int walk(const vnDynamicTypeContainer& container)
{
    unsigned int count = 0;
    vnDynamicTypeContainerConstIterator iterator(container);
    vnString name;
    while (iterator(&name))
    {
        VN_FUZZ_CHECK(container.hasAttribute(name));
        ++count;
    }
    return count;
}

void checkAgain(vnDynamicTypeContainer& container, unsigned int buckets)
{
    Bytes bytes = vnFuzzWritten(container);
    vnSerializeAdapterMemory adapter(bytes.data(), static_cast<unsigned int>(bytes.size()));
    vnDynamicTypeContainer again(buckets);
    VN_FUZZ_CHECK(readWhole(again, adapter));
    VN_FUZZ_CHECK(!adapter.hasData());
    VN_FUZZ_CHECK(vnFuzzWritten(again) == bytes);
    const vnDynamicTypeContainer inner = vnDynamicTypeCustom<vnDynamicTypeContainer>(again);
    VN_FUZZ_CHECK(inner.getNumberOfAttributes() == container.getNumberOfAttributes());
}

void empty(vnDynamicTypeContainer& container, bool byName)
{
    vnDynamicTypeContainerIterator iterator(container);
    vnString name;
    while (iterator(&name))
        if (byName)
        {
            VN_FUZZ_CHECK(container.removeAttribute(name));
            iterator.reset();
        }
        else
            iterator.remove();
    VN_FUZZ_CHECK(container.getNumberOfAttributes() == 0);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned int buckets = input.byte() % 8;
    const bool byName = input.byte() & 1;
    std::string bytes = input.rest();
    vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
    vnDynamicTypeContainer container(buckets);
    const bool isWhole = readWhole(container, memory);
    VN_FUZZ_CHECK(walk(container) == container.getNumberOfAttributes());
    if (isWhole)
    {
        vnFuzzSource source(bytes);
        vnDynamicTypeContainer same(buckets);
        VN_FUZZ_CHECK(readWhole(same, source));
        VN_FUZZ_CHECK(vnFuzzWritten(same) == vnFuzzWritten(container));
    }
    if (container.getNumberOfAttributes() > 0)
        checkAgain(container, buckets);
    vnDynamicTypeContainer copy(container);
    empty(copy, byName);
    return 0;
}
