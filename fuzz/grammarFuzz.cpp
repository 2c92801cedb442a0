// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnParserFunction.h>
#include <vnBase/vnSerializeAdapterMemory.h>

// Any rule text over any input: it ends, what a rule did not match stands where it stood, and the input comes
// back byte for byte. The input is a byte of options, the length and the text of the rules, and the text to
// parse.

namespace
{
class Grammar : public vnParserFunction<Grammar>
{
public:
    Grammar()
    {
        addFunction("fPush", &Grammar::fPush);
        addFunction("digit", &Grammar::parseDigit);
        addFunction("int", &Grammar::parseInteger);
        addFunction("str", &Grammar::parseString);
        setMaxCalls(20000);
    }
    vnParseResult fPush()
    {
        vnString text;
        const bool isTaken = takeMarked(text);
        VN_FUZZ_CHECK(isTaken != static_cast<bool>(hasError()));
        VN_FUZZ_CHECK(text.length() <= 3u * getTokenPos());
        return isTaken ? VN_PARSE_OK : VN_PARSE_ERROR;
    }
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned char options = input.byte();
    const std::string rules = input.shortText();
    std::string text = input.rest().substr(0, 1000);

    Grammar grammar;
    grammar.addRules(vnString(rules.data(), static_cast<unsigned short>(rules.size())));
    grammar.useUtf8(options & 1);
    if (options & 2)
        grammar.setMaxBufferSize(options >> 4);
    vnRefPointer<vnSerializeAdapterMemory> adapter(
        new vnSerializeAdapterMemory(text.data(), static_cast<unsigned int>(text.size())));
    grammar.setAdapter(adapter.get());
    vnParseResult result = VN_PARSE_ERROR;
    try
    {
        result = grammar.parseRule("main");
    }
    catch (const vnFatalError&)
    {
        return 0; // went back too far
    }
    VN_FUZZ_CHECK(result <= VN_PARSE_NO_MATCH);
    VN_FUZZ_CHECK(result != VN_PARSE_ERROR || grammar.hasError());
    VN_FUZZ_CHECK(result != VN_PARSE_NO_MATCH || grammar.getTokenPos() == 0);
    // Bytes are what they were; the byte order mark of another encoding is gone.
    const bool isBytes = !(options & 1) && (text.empty() || static_cast<unsigned char>(text[0]) < 0x80);
    if (isBytes)
    {
        VN_FUZZ_CHECK(grammar.getTokenPos() + adapter->length() == text.size());
        VN_FUZZ_CHECK(adapter->length() == 0 ||
                      adapter->read() == static_cast<unsigned char>(text[grammar.getTokenPos()]));
    }
    return 0;
}
