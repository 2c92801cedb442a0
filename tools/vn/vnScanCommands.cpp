// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeLex.h>
#include <vnBase/vnStringParser.h>

#include <algorithm>
#include <charconv>
#include <cstring>

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

// On one line, whatever it holds.
std::string valueOf(const vnDynamicType& value)
{
    char digits[32];
    if (value.is("str"))
        return textOf(value.getString().convertCtrlToText());
    if (value.is("llnum"))
        return std::to_string(vnDynamicTypeInt64(value).getInt64());
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value.getNumber());
    return std::string(digits, error == std::errc() ? end : digits);
}

// Where in a text the next token stands.
struct Place
{
    unsigned int line = 1;
    unsigned int column = 1;

    void advance(const unsigned char* begin, const unsigned char* end)
    {
        for (; begin != end; ++begin)
        {
            ++column;
            if (*begin == '\n')
            {
                ++line;
                column = 1;
            }
        }
    }
};

void printLines(const vnArray<vnString>& texts)
{
    for (const vnString& text : texts)
        vnWriteLine(textOf(text));
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
    unsigned int begin = 0;
    for (lex.read(adapter); lex.getDataType() != VN_LEX_NONE; lex.read(adapter))
    {
        vnWriteLine(std::to_string(place.line) + " " + std::to_string(place.column) + " " +
                    nameOf(lex.getDataType()) + " " + valueOf(lex.getData()));
        const unsigned int end = size - adapter->length();
        place.advance(bytes.data() + begin, bytes.data() + end);
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
    if (!parser.addRules(rules, words[0].c_str()))
    {
        const std::string fault = "'" + words[0] + "' has rules that are malformed";
        writeResult(fault, 0);
        vnFlushResults();
        throw vnFailure(fault);
    }
    vnCheckError(rules);
    parser.setAdapter(input);
    parser.setTrace(trace);
    if (trace)
        vnMessage::setMessageLevel(VN_MESSAGE_DEBUG);
    unsigned char ok = 0;
    const vnArray<vnString> pushed = parser.parseArguments(words[1].c_str(), &ok);
    const std::string error = textOf(parser.getError());
    writeResult(ok ? "OK" : error.empty() ? "No Match" : error, parser.getTokenPos());
    printLines(pushed);
    vnFlushResults();
    if (!ok)
        throw vnFailure(error.empty() ? "'" + words[2] + "' does not match rule '" + words[1] + "'" : error);
}
