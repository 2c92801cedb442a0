// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnTool.h"

#include <vnBase/vnDynamicTypeArgumentParser.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <charconv>

// The command that shows what a dynamic value looks like on a stream.

namespace
{
// The arguments in a text, all of one type.
vnArray<vnDynamicType> argumentsOf(const std::string& text, const char* type, unsigned int count)
{
    vnDynamicTypeArgumentParser parser;
    vnArray<vnDynamicType> values = parser.parseArguments(text.c_str());
    if (parser.hasError())
        throw vnFailure("'" + text + "': " + parser.getError().getString());
    bool isRight = values.getSize() == count;
    for (const vnDynamicType& value : values)
        isRight = isRight && value.is(type);
    if (!isRight)
        throw vnFailure("'" + text + "' is not " + std::to_string(count) + " of the type " + type);
    return values;
}

vnDynamicType oneOf(const std::string& text, const char* type)
{
    return argumentsOf(text, type, 1)[0];
}

// The elements of a vector.
template <class Vector, unsigned int COUNT>
vnDynamicType vectorOf(const std::string& text)
{
    const vnArray<vnDynamicType> values = argumentsOf(text, "num", COUNT);
    Vector vector;
    for (unsigned int i = 0; i < COUNT; ++i)
        (&vector.x)[i] = static_cast<float>(values[i].getNumber()); // the components stand in a row
    return vnDynamicType(vector);
}

vnDynamicType largeOf(const std::string& text)
{
    vnInt64 value = 0;
    const char* end = text.data() + text.size();
    const bool hasPlus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    const auto [stop, error] = std::from_chars(text.data() + hasPlus, end, value);
    if (error != std::errc() || stop != end)
        throw vnFailure("'" + text + "' is not an integer of 64 bits");
    return vnDynamicTypeInt64(value);
}

struct Type
{
    const char* name;
    vnDynamicType (*make)(const std::string& text);
};

constexpr Type types[] = {
    {"num", [](const std::string& text) { return oneOf(text, "num"); }},
    {"llnum", largeOf},
    {"str", [](const std::string& text) { return vnDynamicType(vnString(text.c_str())); }},
    {"void", [](const std::string&) { return vnDynamicType(); }},
    {"error", [](const std::string& text) -> vnDynamicType { return vnDynamicTypeError(text.c_str()); }},
    {"guid", [](const std::string& text) { return oneOf(text, "guid"); }},
    {"vec2", vectorOf<vnVec2_<float>, 2>},
    {"vec3", vectorOf<vnVec3_<float>, 3>},
    {"vec4", vectorOf<vnVec4_<float>, 4>},
    {"array", [](const std::string& text) { return oneOf(text, "array"); }},
};
} // namespace

void vnRunValue(vnArguments& arguments)
{
    const std::vector<std::string> words = arguments.takeAll(1, 2);
    for (const Type& type : types)
    {
        if (words[0] != type.name)
            continue;
        if (words.size() < 2 && words[0] != "void")
            throw vnUsageError("a text is missing");
        vnDynamicType value = type.make(words.size() > 1 ? words[1] : "");
        vnSerializeAdapterQueue stream(VN_QUEUE_FIFO);
        value.write(&stream);
        std::string line;
        while (stream.hasData())
        {
            const unsigned char byte = stream.read();
            line += "0123456789abcdef"[byte >> 4];
            line += "0123456789abcdef"[byte & 15];
        }
        vnWriteLine(line);
        return;
    }
    throw vnUsageError("'" + words[0] + "' is no type of values");
}
