// SPDX-License-Identifier: MIT
#include "vnFuzzSource.h"
#include "vnFuzzWritten.h"

#include <vnBase/vnDynamicType.h>
#include <vnBase/vnSerializeArray.h>
#include <vnBase/vnUniqueString.h>

#include <vector>

// Values from streams of any bytes: every kind of source gives the same value, what was read can be written
// and read again, and no typed read looks behind a payload.

namespace
{
using Bytes = std::vector<unsigned char>;

void checkAgain(vnDynamicType& value)
{
    Bytes bytes = vnFuzzWritten(value);
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

void useInner(const vnDynamicType& value, unsigned int depth)
{
    if (depth == 0)
        return;
    if (value.is("array"))
        for (const vnDynamicType& element : vnDynamicTypeArray(value).getArray())
            useInner(element, depth - 1);
    if (value.is("ttag"))
    {
        const vnDynamicTypeTimeTagged timed(value);
        timed.getTimeTag();
        useInner(timed.getData(), depth - 1);
    }
}

// The typed reads of the tag. Those of other tags throw, which would take nearly all of the time.
void useValue(const vnDynamicType& value)
{
    const struct
    {
        const char* tag;
        void (*read)(const vnDynamicType& value);
    } reads[] = {
        {"num", [](const vnDynamicType& v) { v.getNumber(), v.getString(); }},
        {"llnum", [](const vnDynamicType& v) { v.getNumber(), vnDynamicTypeInt64(v).getInt64(); }},
        {"str", [](const vnDynamicType& v) { v.getString(); }},
        {"ptr", [](const vnDynamicType& v) { v.getPointer(), v.getString(); }},
        {"ref", [](const vnDynamicType& v) { v.getPointer(); }},
        {"error", [](const vnDynamicType& v) { vnDynamicTypeError(v).getError(); }},
        {"vec2", [](const vnDynamicType& v) { v.getVec2(); }},
        {"vec3", [](const vnDynamicType& v) { v.getVec3(); }},
        {"vec4", [](const vnDynamicType& v) { v.getVec4(); }},
        {"guid", [](const vnDynamicType& v) { v.getGUID(), v.getString(); }},
    };
    for (const auto& [tag, read] : reads)
        if (value.is(tag))
            read(value);
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

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    vnUniqueString::setRefuseUnknownIds(input.byte() & 1);
    std::string bytes = input.rest();
    checkValues(bytes);
    checkArray(bytes);
    return 0;
}
