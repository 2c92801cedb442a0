// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"
#include "vnFuzzSource.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDynamicType.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeArray.h>
#include <vnBase/vnUniqueString.h>

#include <vector>

// Values from streams of any bytes: every kind of source gives the same value, what was read can be written
// and read again, and no typed read looks behind a payload.

namespace
{
using Bytes = std::vector<unsigned char>;

Bytes written(vnSerializeData& item)
{
    Bytes bytes(item.getDataSize(nullptr));
    vnSerializeAdapterMemory adapter(bytes.data(), static_cast<unsigned int>(bytes.size()));
    item.write(&adapter);
    VN_FUZZ_CHECK(!adapter.hasError());
    VN_FUZZ_CHECK(adapter.getCurrentPos() == bytes.size());
    return bytes;
}

void checkAgain(vnDynamicType& value)
{
    Bytes bytes = written(value);
    vnSerializeAdapterMemory adapter(bytes.data(), static_cast<unsigned int>(bytes.size()));
    vnDynamicType again;
    again.read(&adapter);
    VN_FUZZ_CHECK(!adapter.hasError());
    VN_FUZZ_CHECK(again == value);
    again.pushBack(&adapter);
    vnDynamicType third;
    third.read(&adapter);
    VN_FUZZ_CHECK(third == value);
}

// Calls one typed read; those of another tag throw.
template <class Call>
void typed(const Call& call)
{
    try
    {
        call();
    }
    catch (const vnFatalError&)
    {
    }
}

void useInner(const vnDynamicType& value, unsigned int depth)
{
    if (depth == 0)
        return;
    typed(
        [&]
        {
            for (const vnDynamicType& element : vnDynamicTypeArray(value).getArray())
                useInner(element, depth - 1);
        });
    typed(
        [&]
        {
            const vnDynamicTypeTimeTagged timed(value);
            timed.getTimeTag();
            useInner(timed.getData(), depth - 1);
        });
}

void useValue(const vnDynamicType& value)
{
    typed([&] { value.getNumber(); });
    typed([&] { value.getString(); });
    typed([&] { value.getVec2(); });
    typed([&] { value.getVec3(); });
    typed([&] { value.getVec4(); });
    typed([&] { value.getGUID(); });
    typed([&] { vnDynamicTypeError(value).getError(); });
    typed([&] { vnDynamicTypeInt64(value).getInt64(); });
    value.getPointer();
    VN_FUZZ_CHECK(value.getReference() == nullptr); // nothing from a stream is an object
    useInner(value, 4);
}

void checkValues(std::string& bytes)
{
    vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
    vnFuzzSource source(bytes);
    while (memory.hasData())
    {
        vnDynamicType value;
        value.read(&memory);
        vnDynamicType same;
        same.read(&source);
        VN_FUZZ_CHECK(value == same);
        VN_FUZZ_CHECK((memory.hasData() != 0) == (source.hasData() != 0));
        checkAgain(value);
        useValue(value);
    }
}

void checkArray(std::string& bytes)
{
    vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
    vnSerializeArray<vnDynamicType> items;
    items.read(&memory);
    const vnDynamicTypeArray array(items);
    const vnArray<vnDynamicType> elements = array.getArray();
    VN_FUZZ_CHECK(elements.getSize() == items.getSize());
    for (unsigned int i = 0; i < elements.getSize(); ++i)
        VN_FUZZ_CHECK(elements[i] == items[i]);
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    vnUniqueString::setRefuseUnknownIds(input.byte() & 1);
    std::string bytes = input.rest();
    checkValues(bytes);
    checkArray(bytes);
    return 0;
}
