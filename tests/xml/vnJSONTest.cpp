// SPDX-License-Identifier: MIT
#include <vnBase/vnJSON.h>

#include <vnBase/vnDynamicTypeContainer.h>

#include <gtest/gtest.h>

#include <string>

namespace
{
vnDynamicType from(const char* text)
{
    return vnDynamicType::fromJSON(text);
}
} // namespace

TEST(vnJSON, Smoke)
{
    for (const char* text : {"", "1 2", "[1,2,]", "{\"a\":1,}", "true", "\"null\"", "{\"b\":1,\"a\":2}", "[[1,2],3]", "1.5",
                             "{}", "[]", "tru", "[1", "[1,", "\"a\\\\\"b\" x", "1e", "[{\"a\":[{}]}]"})
        std::printf("%s => %s\n", text, from(text).is("error") ? vnDynamicTypeError(from(text)).getError().getString() : from(text).asJSON().getString());
    for (const char* text : {"", "1 2", "[1,2,]", "{\"a\":1,}", "true", "\"null\"", "{\"b\":1,\"a\":2}", "[[1,2],3]", "1.5",
                             "{}", "[]", "tru", "[1", "[1,", "\"a\\\\\"b\" x", "1e", "[{\"a\":[{}]}]", "[1e10,0.1,-5,123456789012345678,\"\\u00e9\\ud83d\\ude00\\n\\u0001\"]"})
        std::printf("%s => %s\n", text, vnDynamicType::fromJSON(text, 1).is("error") ? vnDynamicTypeError(vnDynamicType::fromJSON(text, 1)).getError().getString() : vnDynamicType::fromJSON(text, 1).asJSON(1).getString());
}
