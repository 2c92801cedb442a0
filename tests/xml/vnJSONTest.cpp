// SPDX-License-Identifier: MIT
#include <vnBase/vnJSON.h>

#include "vnValueTestTools.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnProgress.h>
#include <vnBase/vnVarUInt64.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace
{
using Container = vnDynamicTypeContainer;

vnDynamicType readFrom(const vnRefPointer<vnSerializeAdapter>& source, vnJSON& json)
{
    json.read(source);
    EXPECT_EQ(json.getAdapter(), nullptr);
    return json.getData();
}

vnDynamicType readText(const std::string& text, unsigned char strict = 0, vnJSON* parser = nullptr)
{
    vnJSON own;
    vnJSON& json = parser ? *parser : own;
    json.setStrict(strict);
    return readFrom(memoryOf(text), json);
}

std::string errorOf(const vnDynamicType& value)
{
    return value.is("error") ? vnDynamicTypeError(value).getError().getString() : "no error";
}

// Gives its bytes in windows of a size; 0 for one by one without any.
class Pieces : public vnSerializeAdapter
{
public:
    Pieces(std::string text, std::size_t size, bool isEndless = false)
        : m_text(std::move(text)), m_size(size), m_isEndless(isEndless)
    {
    }

protected:
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        if (m_isEndless && m_at == m_text.size())
            m_at = 0;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(m_text.data());
        const unsigned char byte = m_text[m_at++] & 0xFF;
        const std::size_t open = std::min(m_size, m_text.size() - m_at);
        setReadWindow(bytes + m_at, bytes + m_at + open);
        m_at += open;
        return byte;
    }
    unsigned char hasData_imp() override { return m_isEndless || m_at < m_text.size(); }

private:
    std::string m_text;
    std::size_t m_size;
    bool m_isEndless;
    std::size_t m_at = 0;
};

// As UTF-16 behind its mark, of a text of ASCII characters.
std::string toWide(const std::string& text)
{
    std::string wide = "\xFF\xFE";
    for (const char c : text)
        wide += {c, 0};
    return wide;
}

// A value as only a stream holds it.
vnDynamicType fromPayload(const char* tag, std::string_view payload)
{
    vnSerializeAdapterQueue stream(VN_QUEUE_FIFO);
    stream.write(reinterpret_cast<const unsigned char*>(tag),
                 static_cast<unsigned int>(std::strlen(tag)) + 1);
    vnVarUInt64(payload.size()).write(&stream);
    stream.write(reinterpret_cast<const unsigned char*>(payload.data()),
                 static_cast<unsigned int>(payload.size()));
    vnDynamicType value;
    value.read(&stream);
    return value;
}

std::string written(const vnDynamicType& value, unsigned char strict = 0, vnUInt64 flags = 0)
{
    vnJSON json;
    json.setStrict(strict);
    json.setData(value);
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
    queue.setAdapterFlags(flags);
    json.write(&queue);
    EXPECT_EQ(std::string(json.getError()), "");
    return takeAll(queue);
}

const char* const sample =
    "{\"list\": [1, -2.5e3, true, \"t\\u00e9xt\\n\"], \"in\": {\"x\": null, \"y\": {}}, \"\": []}";
} // namespace

TEST(vnJSON, ReadsEachKindOfValue)
{
    const std::pair<const char*, vnDynamicType> cases[] = {
        {"\"text\"", "text"},
        {"true", "true"},
        {"false", "false"},
        {"null", "null"},
        {"\"null\"", "null"}, // the word in quotes is the same value
        {" \t\r\n12 ", 12.0},
        {"-0.5e+1", -5.0},
        {"+007", 7.0}, // not only JSON's numbers
        {"2.", 2.0},
        {"1E2", 100.0},
        {"0.1", 0.1},
        {"123456789012345678901234567890", 123456789012345678901234567890.0},
        {"2.2250738585072011e-308", 2.2250738585072011e-308},
        {"[]", vnDynamicTypeArray(vnArray<vnDynamicType>())},
        {"[1,[\"a\",[ ]] , {}]",
         arrayOf({1.0, arrayOf({"a", arrayOf({})}), vnDynamicTypeCustom<Container>(Container())})},
        {"{\"b\":1,\"a\":{\"\":2}}", containerOf({{"b", 1.0}, {"a", containerOf({{"", 2.0}})}})},
        {"{\"a\":1,\"b\":2,\"a\":[3]}", containerOf({{"b", 2.0}, {"a", arrayOf({3.0})}})},
        {"1 2", arrayOf({1.0, 2.0})}, // several values, with nothing between them but what parts numbers
        {"1-2\"a\"[]true{}",
         arrayOf({1.0, -2.0, "a", arrayOf({}), "true", vnDynamicTypeCustom<Container>(Container())})},
    };
    for (const auto& [text, value] : cases)
        EXPECT_TRUE(vnDynamicType::fromJSON(text) == value)
            << text << ": " << vnDynamicType::fromJSON(text).asJSON();
}

TEST(vnJSON, DecodesTheEscapesOfStrings)
{
    const std::pair<const char*, std::string> cases[] = {
        {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {R"("\a\v\?\'x")", "\a\v?'x"}, // those of the library's own texts
        {R"("a\0b")", std::string("a\0b", 3)},
        {R"("\u0041\u00e9\u20AC\ud83d\uDE00")", "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {R"("\ud83d!\ude00")", "\xED\xA0\xBD!\xED\xB8\x80"}, // halves stay halves
        {R"("\u12g4 \x \u12")", R"(\u12g4 \x \u12)"},        // no escapes
        {R"("a\\"b")", "a\\\"b"}, // the quote counts as escaped, whatever the backslash before it is
        {R"("\\u0041")", "\\u0041"},
    };
    for (const auto& [text, value] : cases)
    {
        const vnString read = vnDynamicType::fromJSON(text).getString();
        EXPECT_EQ(std::string(read.getString(), read.length()), value) << text;
    }
    EXPECT_EQ(errorOf(vnDynamicType::fromJSON(R"("a\\")")), "Adapter out of Data");
}

TEST(vnJSON, TellsWhatIsWrongAndWhere)
{
    const char* const fault = "File: vnJson  Line: ";
    const char* const cut = "Adapter out of Data";
    const struct
    {
        const char* text;
        const char* error; // its beginning
        unsigned int line, column;
    } cases[] = {
        {"", "Empty Result", 0, 0},
        {" \n ", "Empty Result", 1, 1},
        {"[1,2,]", fault, 0, 5},
        {"{\"a\":1,}", fault, 0, 7},
        {"{\n \"a\":}", fault, 1, 5},
        {"{\n1:2}", fault, 1, 0},
        {"[1 2]", fault, 0, 3},
        {"{\"a\" 1}", fault, 0, 5},
        {"[1}", fault, 0, 2},
        {"1 x", fault, 0, 2},
        {"tru", fault, 0, 3},
        {"[,1]", fault, 0, 1},
        {"-", fault, 0, 1},
        {"[1,-x]", fault, 0, 4}, // as where the "-" ends the block
        {"1e", fault, 0, 2},
        {"]", fault, 0, 0},
        {"[1,", fault, 0, 3},
        {"[1", cut, 0, 2},
        {"[", cut, 0, 1},
        {"{\"a\"", cut, 0, 4},
        {"{\"a\":[{", cut, 0, 7},
        {"\"a\n", cut, 1, 0},
        {"{\"a\\0\":1}", "A key with a NUL", 0, 6},
        {"{\"a\\u0000b\":1}", "A key with a NUL", 0, 11},
    };
    for (const auto& [text, expected, line, column] : cases)
        for (const std::string& form : {std::string(text), toWide(text)})
            for (const int size : {-1, 0, 1, 3}) // of a window; -1 for all in memory
            {
                SCOPED_TRACE(text + std::string(" by ") + std::to_string(size));
                vnJSON json;
                const std::string error = errorOf(readFrom(
                    size < 0 ? memoryOf(form) : new Pieces(form, static_cast<std::size_t>(size)), json));
                EXPECT_EQ(error.substr(0, std::strlen(expected)), expected);
                EXPECT_EQ(json.getLine(), line);
                EXPECT_EQ(json.getColumn(), column);
            }
}

TEST(vnJSON, EveryTruncationIsAnError)
{
    const std::string text = sample;
    ASSERT_EQ(errorOf(readText(text)), "no error");
    for (std::size_t length = 0; length < text.size(); ++length)
        for (const unsigned char strict : {0, 1})
            EXPECT_NE(errorOf(readText(text.substr(0, length), strict)), "no error") << length;
}

TEST(vnJSON, ReadsTheSameFromEverySource)
{
    const std::string text = sample;
    const vnDynamicType expected = readText(text);
    const std::string wide = toWide(text);
    const std::string mark = "\xEF\xBB\xBF";
    for (std::size_t size = 0; size <= 9; ++size)
        for (const std::string& form : {text, wide, mark + text})
        {
            vnJSON json;
            EXPECT_TRUE(readFrom(new Pieces(form, size), json) == expected)
                << size << ": " << std::string(json.getError());
        }
    EXPECT_TRUE(readText(wide) == expected);
    EXPECT_TRUE(readText(mark + text) == expected);
    EXPECT_EQ(readText(mark + "\"\xF0\x9F\x98\x80\"").getString(), "\xF0\x9F\x98\x80");
    const char16_t pair[] = u"\xFEFF\"\xD83D\xDE00\xD83D\"";
    EXPECT_EQ(readText(std::string(reinterpret_cast<const char*>(pair), sizeof pair - 2)).getString(),
              "\xF0\x9F\x98\x80\xED\xA0\xBD");
}

TEST(vnJSON, ReadsObjectsAsAContainerHoldsThem)
{
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round)
    {
        Container container;
        std::string text;
        const unsigned int count = random() % 60;
        for (unsigned int i = 0; i < count; ++i)
        {
            // Texts that differ only before a byte above 127 at their end have one hash.
            const std::string name = {static_cast<char>('a' + random() % 26),
                                      static_cast<char>('a' + random() % 3), random() % 4 ? '\xC3' : 'x'};
            container.setAttribute(name.c_str(), static_cast<double>(i));
            text += (i ? ",\"" : "\"") + name + "\":" + std::to_string(i);
        }
        EXPECT_TRUE(readText("{" + text + "}") == vnDynamicTypeCustom<Container>(container)) << text;
    }
}

TEST(vnJSON, ReadsNumbersAsStringsDo)
{
    std::mt19937_64 random(9);
    for (int i = 0; i < 20000; ++i)
    {
        std::string text(random() % 3 ? "" : random() % 2 ? "-" : "+");
        for (vnUInt64 digits = 1 + random() % 25; digits > 0; --digits)
            text += static_cast<char>('0' + random() % 10);
        if (random() % 2)
            text += "." + std::to_string(random() >> random() % 64);
        if (random() % 2)
            text += (random() % 2 ? "e" : "E-") + std::to_string(random() % 330);
        EXPECT_TRUE(readText(text) == vnDynamicType(vnString(text.c_str()).real())) << text;
    }
}

TEST(vnJSON, WritesItsOwnLayout)
{
    const std::pair<vnDynamicType, const char*> cases[] = {
        {1.0, "1.000000"},
        {-1.5, "-1.500000"},
        {1e20, "1.000000e20"},
        {999999999999999.9, "999999999999999.875000"},
        {-1e18, "-1000000000000000000.000000"},
        {1e-9, "0.000000"},
        {1e-10, "1.000000e-10"}, // as the format engine has it
        {-4.625e-11, "-4.625000e-11"},
        {"true", "true"},
        {"True", "\"True\""},
        {"a\"b\\c'?\n\t\x01\xC3\xA9/", "\"a\\\"b\\\\c\\'\\?\\n\\t\x01\xC3\xA9/\""},
        {vnDynamicType(), "\"void\""},
        {vnDynamicTypeInt64(12345678901234567), "\"12345678901234567\""},
        {vnVec2_<float>(1.5f, 2), "\"{1.5,2}\""},
        {arrayOf({}), "[]"},
        // The outermost array has no commas.
        {arrayOf({1.0, "a", arrayOf({1.0, 2.0, arrayOf({"x", "y"})})}),
         "[1.000000\"a\"[1.000000,2.000000,[\"x\",\"y\"]]]"},
        {containerOf({}), "\n{\n}"},
        {containerOf({{"b", 1.0}, {"a", arrayOf({containerOf({{"n\"\n", "null"}}), "x"})}}),
         "\n{\n\t\"a\":\t[\n\t\t\t{\n\t\t\t\t\"n\"\n\":\tnull\n\t\t\t},\"x\"],\n\t\"b\":\t1.000000\n}"},
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(written(value), text);
    vnJSON empty;
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
    empty.write(&queue);
    EXPECT_EQ(takeAll(queue), "\"void\"");
    // Also of a container that was written with more buckets.
    Container buckets(5);
    for (const char* name : {"one", "two", "three", "four"})
        buckets.setAttribute(name, "x");
    EXPECT_EQ(written(vnDynamicTypeCustom<Container>(buckets)),
              written(containerOf({{"one", "x"}, {"two", "x"}, {"three", "x"}, {"four", "x"}})));
}

TEST(vnJSON, WritesWideText)
{
    const std::string text = written(arrayOf({"\xC3\xA9\xF0\x9F\x98\x80"}), 0, 2);
    EXPECT_EQ(text, std::string("[\0\"\0\xE9\0\x3D\xD8\0\xDE\"\0]\0", 14));
    EXPECT_EQ(written("\xFC?\xC3", 0, 2), std::string("\"\0\xFC\0\\\0?\0\xC3\0\"\0", 12)); // no UTF-8
    // Characters that lie across the blocks of the writer stay whole.
    for (unsigned int shift = 0; shift < 4; ++shift)
    {
        std::string longText(shift, 'x');
        while (longText.size() < 60000)
            longText += "\xF0\x9F\x98\x80";
        const std::string wide = "\xFF\xFE" + written(longText.c_str(), 0, 2);
        EXPECT_EQ(readText(wide).getString(), longText.c_str()) << shift;
    }
}

TEST(vnJSON, StrictFormTakesExactlyTheGrammar)
{
    for (const char* text :
         {"0", "-0", "1.5e-3", "1E+2", "\"\"", " [ ] ", "{\"a\" : [ 1 , 2 ] }", "\"\x7F\xEF\xBF\xBF\"",
          "\"\\u0000\\uFFFF\\uD834\\uDD1E\"", "\"\xF4\x8F\xBF\xBF\"", "\xEF\xBB\xBF[1]", "1e-400"})
        EXPECT_EQ(errorOf(readText(text, 1)), "no error") << text;
    const std::pair<const char*, std::vector<const char*>> refused[] = {
        {"A value is missing",
         {"", "\xEF\xBB\xBF", "[1,]", "+1", ".5", "NaN", "True", "nul", "\f1", "/**/1", "'a'"}},
        {"There is more than one value", {"1 2"}},
        {"A comma or the closing bracket is missing", {"[1 2]"}},
        {"A key is missing", {"{\"a\":1,}", "{a:1}"}},
        {"A colon is missing", {"{\"a\",1}"}},
        {"A number is malformed", {"01", "-01", "1.", "[1.-2]", "[012]", "[01-2]", "-", "1e+"}},
        {"A number is out of range", {"1e400", "9223372036854775808"}},
        {"Adapter out of Data", {"\"a", "\"\\"}},
        {"A text holds a control character", {"\"\t\""}},
        {"A text holds an unknown escape", {"\"\\a\"", "\"\\'\""}},
        {"A text holds an escape without four hexadecimal digits", {"\"\\u12G4\""}},
        {"A text holds half a surrogate pair", {"\"\\uD800\"", "\"\\uDC00\\uD800\"", "\"\\uD800\\u0041\""}},
        {"A text is not UTF-8",
         {"\"\xFF\"", "\"\xC0\x80\"", "\"\xE0\x80\xAF\"", "\"\xED\xA0\x80\"", "\"\xF4\x90\x80\x80\"",
          "\"\xC3\"", "{\"\xC3\\u00a9\":1}"}},
    };
    for (const auto& [error, texts] : refused)
        for (const char* text : texts)
            EXPECT_EQ(errorOf(readText(text, 1)), error) << text;
    EXPECT_EQ(errorOf(readText(std::string("\xFF\xFE[\0]\0", 6), 1)), "The text is not UTF-8");
}

TEST(vnJSON, StrictFormKeepsValues)
{
    EXPECT_TRUE(readText("-9223372036854775808", 1) == vnDynamicTypeInt64(-9223372036854775807 - 1));
    EXPECT_TRUE(readText("9007199254740993", 1) == vnDynamicTypeInt64(9007199254740993));
    EXPECT_TRUE(readText("1.0", 1) == vnDynamicType(1.0));
    const vnDynamicType words = readText("[true,\"true\"]", 1);
    EXPECT_EQ(vnDynamicTypeArray(words).getArray()[1].getString(), "true");
    for (const char* text :
         {"[true,\"true\",null,\"null\",false,\"false\"]", "[1,2,[3,4]]", "9007199254740993",
          "[0.1,1e+300,5e-324,-2.5]", "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0000\\u001f\x7F\xC3\xA9'?\"",
          "\n{\n\t\"\\n\":\t[\n\t\t\t{\n\t\t\t}]\n}"})
        EXPECT_EQ(written(readText(text, 1), 1), text);
    EXPECT_EQ(written(arrayOf({18446744073709551616.0, -1e19, 1.0, 9007199254740992.0}), 1),
              "[1.8446744073709552e+19,-1e+19,1,9007199254740992]");
    EXPECT_EQ(written("\xFCo\"\n", 1), "\"\xC3\xBCo\\\"\\n\""); // 8-bit text
    EXPECT_EQ(written(readText("\"\xC3\xBC\"", 1), 1), "\"\xC3\xBC\"");
    EXPECT_THROW(vnDynamicType(1e308 * 10).asJSON(1), vnFatalError);
}

TEST(vnJSON, BoundsTheDepth)
{
    EXPECT_EQ(errorOf(readText(repeated("[", 100000))), "Values are nested deeper than 5000");
    EXPECT_EQ(errorOf(readText(repeated("{\"a\":", 100000), 1)), "Values are nested deeper than 5000");
    const std::string deepest = repeated("[", 5000) + repeated("]", 5000);
    EXPECT_EQ(written(readText(deepest)), deepest);
    vnJSON json;
    json.setMaxDepth(2);
    json.setData(readText("[[[]]]"));
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
    json.write(&queue);
    EXPECT_EQ(json.getError(), "Values are nested deeper than 2");
    json.reset();
    EXPECT_EQ(errorOf(readText("[[1],{}]", 0, &json)), "no error");
    EXPECT_EQ(errorOf(readText("[{\"a\":[]}]", 0, &json)), "Values are nested deeper than 2");
}

TEST(vnJSON, BoundsTheSizeOnRequest)
{
    for (const char* text : {" ", "1", "1 ", "\"", "[1,", "[[[[[]]]]],"})
        for (const std::size_t size : {0, 3})
        {
            vnRefPointer<vnSerializeAdapter> endless(new Pieces(text, size, true));
            if (*text == '[')
                endless->pushBack(reinterpret_cast<const unsigned char*>("["), 1);
            vnJSON json;
            json.setMaxSize(10000);
            json.read(endless);
            EXPECT_EQ(json.getError(), "The text is longer than 10000 characters") << text;
        }
    const std::string tooLong = "The text is longer than 10 bytes";
    const std::pair<vnDynamicType, std::string> values[] = {
        {"12345678", ""},
        {"123456789", tooLong},
        {vnDynamicTypeArray(vnArray<vnDynamicType>(100000)), tooLong}, // of any kind, and in any depth
    };
    for (const auto& [value, error] : values)
    {
        vnJSON json;
        json.setMaxSize(10);
        json.setData(value);
        vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
        json.write(&queue);
        EXPECT_EQ(json.getError(), error.c_str());
        EXPECT_LT(queue.length(), 30u);
    }
    const std::string longest(65535, 'x');
    EXPECT_EQ(readText('"' + longest + '"').getString().length(), 65535);
    const std::string longText = '"' + longest;
    const std::pair<std::string, const char*> cases[] = {
        {longText + "y\"", "A text is longer than 65535 bytes"},
        {longText + "\\n\"", "A text is longer than 65535 bytes"},
        {longText + std::string(400000, 'x'), "A text is longer than 65535 bytes"},
        {std::string(65536, '1') + ".5", "A number is out of range"},
        {std::string(99999, '1'), "A number is out of range"},
    };
    for (const auto& [refused, error] : cases)
        for (const unsigned char strict : {0, 1})
        {
            vnJSON atOnce;
            vnJSON slow;
            slow.setStrict(strict);
            EXPECT_EQ(errorOf(readText(refused, strict, &atOnce)), error);
            EXPECT_EQ(errorOf(readFrom(new Pieces(refused, 0), slow)), error);
            EXPECT_EQ(atOnce.getTokenPos(), slow.getTokenPos()) << refused.size();
        }
    EXPECT_THROW(vnDynamicType(longest.c_str()).asJSON(), vnFatalError);
}

TEST(vnJSON, RefusesADamagedContainer)
{
    using namespace std::literals;
    const std::string_view payloads[] = {
        "\x07\xCD\xBF\xFE"sv,                             // without a count
        "\x07\xCD\xBF\xFE\1\0\0"sv,                       // with a part of one
        "\x07\xCD\xBF\xFE\2\0\0\0a\0\xFC\2\0\1\5"sv,      // one of two attributes
        "\x07\xCD\xBF\xFE\1\0\0\0a"sv,                    // a name without an end
        "\x07\xCD\xBF\xFE\1\0\0\0a\0\xFC\2\0\10\0\0\0"sv, // three of the eight bytes of a number
        "\x07\xCD\xBF\xFE\1\0\0\0a\0\xFC\0\0\xFF"sv,      // a size without an end
    };
    for (const std::string_view payload : payloads)
    {
        EXPECT_THROW(fromPayload("cont", payload).asJSON(), vnWarningError) << payload.size();
        EXPECT_THROW(arrayOf({fromPayload("cont", payload)}).asJSON(), vnWarningError) << payload.size();
    }
    EXPECT_EQ(written(fromPayload("cont", "\x07\xCD\xBF")), "\n{\n}"); // has never had an attribute
}

// Only streams hold such texts.
TEST(vnJSON, CutsTextsThatNoReaderTakes)
{
    using namespace std::literals;
    const std::string text(70000, 'x');
    const std::string name = std::string(65536, 'a') + "bc";
    const std::string head("\x07\xCD\xBF\xFE\1\0\0\0", 8);
    const std::pair<vnDynamicType, std::string> cases[] = {
        {fromPayload("str", text), '"' + text.substr(0, 65535) + '"'},
        {fromPayload("str", "\xFC\xFF\xFF" + text), '"' + text.substr(0, 65535) + '"'},
        {fromPayload("cont", head + name + "\0\xFC\2\0\1\5"s), "\n{\n\t\"bc\":\t5.000000\n}"},
    };
    for (const auto& [value, expected] : cases)
    {
        vnJSON json;
        vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
        json.writeValue(&queue, value);
        EXPECT_EQ(json.getError(), "A text is longer than 65535 bytes");
        EXPECT_TRUE(takeAll(queue) == expected);
    }
}

TEST(vnJSON, IsUsedAgain)
{
    vnJSON json;
    EXPECT_EQ(errorOf(readText("[1", 0, &json)), "Adapter out of Data");
    EXPECT_EQ(errorOf(readText("1", 0, &json)), "Adapter out of Data"); // until it is reset
    EXPECT_NE(errorOf(readText("1 2 x", 0, &json)), "no error");
    json.reset();
    EXPECT_TRUE(json.getData() == arrayOf({1.0, 2.0})); // what stood before the fault
    EXPECT_TRUE(readText("[2]", 0, &json) == arrayOf({2.0}));
    json.setData("x");
    EXPECT_TRUE(json.getData() == "x");
    json.read(nullptr);
    EXPECT_TRUE(json.getData() == "x");
}

TEST(vnJSON, LooksForTheMarkOfEachText)
{
    const std::string plain = "[2]", utf8 = "\xEF\xBB\xBF[2]", little("\xFF\xFE[\0002\0]\0", 8),
                      big("\xFE\xFF\0[\0002\0]", 8);
    vnJSON json;
    for (const std::string& first : {plain, utf8, little, big})
        for (const std::string& second : {plain, utf8, little, big})
        {
            EXPECT_TRUE(readText(first, 0, &json) == arrayOf({2.0})) << first;
            EXPECT_TRUE(readText(second, 0, &json) == arrayOf({2.0})) << first << " before " << second;
        }
    EXPECT_EQ(errorOf(readText(little, 1, &json)), "The text is not UTF-8");
    json.reset();
    EXPECT_EQ(errorOf(readText(plain, 1, &json)), "no error");
    json.useUnicode(1, 0); // what the user says of texts without a mark stays
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_TRUE(readText(big, 0, &json) == arrayOf({2.0}));
        EXPECT_TRUE(readText(little.substr(2), 0, &json) == arrayOf({2.0}));
    }
}

TEST(vnJSON, LetsGoOfAnInputThatFails)
{
    struct Broken : vnSerializeAdapter
    {
        void write_imp(unsigned char) override {}
        unsigned char read_imp() override { return 0; }
        unsigned int length_imp() override { throw 1; }
    };
    vnJSON json;
    const vnRefPointer<vnSerializeAdapter> broken(new Broken);
    EXPECT_THROW(json.read(broken), int);
    EXPECT_EQ(json.getAdapter(), nullptr);
}

TEST(vnJSON, ReportsItsProgress)
{
    struct Listener : vnProgressInterface
    {
        ~Listener() noexcept(false) override { deactivateProgressInterface(); }
        void onProgress(unsigned char percent, const char* banner) override
        {
            reports += std::to_string(percent) + " " + banner + "\n";
        }
        std::string reports;
    };
    const auto reportsOf = [](const std::string& text, const char* message)
    {
        Listener listener;
        vnProgress::setProgressInterface(&listener);
        vnJSON json;
        json.setProgressMessage("%s", message);
        const vnRefPointer<vnSerializeAdapter> adapter = memoryOf(text);
        adapter->setURLBase("scheme:");
        adapter->setName("name");
        json.read(adapter);
        vnProgress::setProgressInterface(nullptr);
        return listener.reports;
    };
    const std::string banner = "Reading JSON data from scheme:name\n";
    EXPECT_EQ(reportsOf("[1][2]", ""), "0 " + banner + "50 " + banner + "100 " + banner);
    EXPECT_EQ(reportsOf("[1][2", ""), "0 " + banner + "60 " + banner); // no end where there is none
    EXPECT_EQ(reportsOf("1", "mine"), "0 mine\n100 mine\n");
}
