// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeLex.h>
#include <vnBase/vnStringParser.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

// The commands that show the readers of text: tokens, formats of scanning, grammars.

namespace
{
const char* nameOf(vnLexDataType type)
{
    switch (type)
    {
    case VN_LEX_IDENTIFIER:
        return "identifier";
    case VN_LEX_STRING:
        return "string";
    case VN_LEX_QUOTED:
        return "quoted";
    case VN_LEX_INTEGER:
        return "integer";
    case VN_LEX_REAL:
        return "real";
    case VN_LEX_LARGE_INTEGER:
        return "large";
    case VN_LEX_COMMENT:
        return "comment";
    case VN_LEX_WHITESPACE:
        return "whitespace";
    case VN_LEX_ERROR:
        return "error";
    case VN_LEX_SET:
        return "set";
    default:
        return "token";
    }
}

std::string textOf(const vnString& text)
{
    return std::string(text.getString(), text.length());
}

// On one line, whatever it holds. What is whole by its kind is shown so, however large.
std::string valueOf(vnLexDataType type, const vnDynamicType& value)
{
    char digits[32];
    if (value.is("str"))
        return textOf(value.getString().convertCtrlToText());
    if (value.is("llnum"))
        return std::to_string(vnDynamicTypeInt64(value).getInt64());
    if (type == VN_LEX_INTEGER || type == VN_LEX_TOKEN)
        return std::to_string(static_cast<vnInt64>(value.getNumber()));
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value.getNumber());
    return std::string(digits, error == std::errc() ? end : digits);
}

// The bytes of the first character, as the reader cuts them: of what is no UTF-8 up to the first wrong byte.
std::ptrdiff_t sizeOfFirst(const vnSerializeLex& lex, const unsigned char* begin, const unsigned char* end)
{
    if (lex.isUnicode())
        return 2;
    if (!lex.isUtf8() || *begin < 0xC0 || *begin >= 0xF0)
        return 1;
    const std::ptrdiff_t size = std::min<std::ptrdiff_t>(*begin < 0xE0 ? 2 : 3, end - begin);
    const unsigned char* wrong =
        std::find_if(begin + 1, begin + size, [](unsigned char c) { return (c & 0xC0) != 0x80; });
    return wrong == begin + size ? size : wrong + 1 - begin;
}

// Where in a text the next token stands. Columns count characters.
struct Place
{
    unsigned int line = 1;
    unsigned int column = 1;

    void advance(const vnSerializeLex& lex, const unsigned char* begin, const unsigned char* end,
                 bool isBigEndian)
    {
        for (std::ptrdiff_t size; begin < end; begin += size)
        {
            size = sizeOfFirst(lex, begin, end);
            // A line feed may be the wrong byte that ends a fault.
            const unsigned char low = begin[lex.isUnicode() && !isBigEndian ? 0 : size - 1];
            const unsigned char high = lex.isUnicode() ? begin[isBigEndian ? 0 : 1] : 0;
            ++column;
            if (low == '\n' && high == 0)
            {
                ++line;
                column = 1;
            }
        }
    }
};

// The size of the byte order mark that was read.
unsigned int markSizeOf(const vnSerializeLex& lex, const std::vector<unsigned char>& bytes)
{
    const auto isFirst = [&bytes](std::string_view mark)
    { return bytes.size() >= mark.size() && std::memcmp(bytes.data(), mark.data(), mark.size()) == 0; };
    if (lex.isUnicode())
        return 2;
    return lex.isUtf8() && isFirst("\xEF\xBB\xBF") ? 3 : 0;
}

void printLines(const vnArray<vnString>& texts)
{
    for (const vnString& text : texts)
        vnWriteLine(textOf(text.convertCtrlToText()));
}

// So much of the input can be taken back; beyond, a match ends with an error.
constexpr unsigned int VN_MATCH_HISTORY = 1 << 24;

struct Match
{
    bool isOk = false;
    std::string error;
    vnArray<vnString> pushed;
};

Match runRule(vnStringParser& parser, const std::string& rule, vnAdapter& input)
{
    Match match;
    try
    {
        unsigned char ok = 0;
        match.pushed = parser.parseArguments(rule.c_str(), &ok);
        match.isOk = ok;
        match.error = textOf(parser.getError());
    }
    catch (const vnFatalError& error)
    {
        match.error = textOf(error.getErrorString());
    }
    // What can't be read looks like the end of the input to the rules.
    if (input->hasError())
    {
        match.isOk = false;
        match.error = textOf(input->getError());
    }
    return match;
}
} // namespace

void vnRunTokens(vnArguments& arguments)
{
    vnSerializeLex lex(1, 1);
    lex.useStrings(arguments.takeFlag("--strings"));
    lex.useSet(arguments.takeFlag("--set"));
    if (arguments.takeFlag("--utf8"))
        lex.useUtf8(1);
    std::vector<unsigned char> bytes = vnReadURL(arguments.takeOperands(1, 1)[0]);
    const auto size = static_cast<unsigned int>(bytes.size());
    vnAdapter adapter(new vnSerializeAdapterMemory(bytes.data(), size));
    Place place;
    lex.read(adapter);
    const bool isBigEndian = (adapter->getAdapterFlags() & VN_ADAPTER_BIG_ENDIAN) != 0; // as its mark told
    unsigned int begin = markSizeOf(lex, bytes);
    for (; lex.getDataType() != VN_LEX_NONE; lex.read(adapter))
    {
        vnWriteLine(std::to_string(place.line) + " " + std::to_string(place.column) + " " +
                    nameOf(lex.getDataType()) + " " + valueOf(lex.getDataType(), lex.getData()));
        const unsigned int end = size - adapter->length();
        place.advance(lex, bytes.data() + begin, bytes.data() + end, isBigEndian);
        begin = end;
    }
}

void vnRunScan(vnArguments& arguments)
{
    const std::vector<std::string> words = arguments.takeAll(2, 2);
    unsigned char ok = 0;
    printLines(parse(words[0].c_str(), words[1].c_str(), &ok));
    if (!ok)
        throw vnFailure("the text does not match");
}

void vnRunMatch(vnArguments& arguments)
{
    const bool trace = arguments.takeFlag("--trace");
    const std::vector<std::string> words = arguments.takeOperands(3, 3);
    vnAdapter rules = vnOpenURL(words[0], VN_SERIALIZE_INPUT);
    vnAdapter input = vnOpenURL(words[2], VN_SERIALIZE_INPUT);
    vnStringParser parser("");
    const auto writeResult = [](const std::string& result, unsigned int consumed)
    {
        vnWriteLine(result);
        vnWriteLine(std::to_string(consumed));
    };
    // The error itself is a result.
    const vnFailure fault("'" + words[2] + "' could not be matched against rule '" + words[1] + "'");
    if (!parser.addRules(rules, words[0].c_str()))
    {
        writeResult("'" + words[0] + "' has rules that are malformed", 0);
        vnFlushResults();
        throw fault;
    }
    vnCheckError(rules);
    parser.setAdapter(input);
    parser.setTrace(trace);
    if (trace)
        vnMessage::setMessageLevel(VN_MESSAGE_DEBUG);
    parser.setMaxBufferSize(VN_MATCH_HISTORY);
    const Match match = runRule(parser, words[1], input);
    writeResult(match.isOk ? "OK" : match.error.empty() ? "No Match" : match.error, parser.getTokenPos());
    printLines(match.pushed);
    vnFlushResults();
    if (match.isOk)
        return;
    if (!match.error.empty())
        throw fault;
    throw vnFailure("'" + words[2] + "' does not match rule '" + words[1] + "'");
}
