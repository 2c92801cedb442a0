// SPDX-License-Identifier: MIT
#pragma once

#include "vnByteAdapter.h"
#include "vnGrammarTestTools.h"

#include <vnBase/vnSerializeLex.h>

#include <cstdio>
#include <functional>
#include <map>
#include <string>

/// Has laid open all its bytes.
class WindowAdapter : public TextAdapter
{
public:
    explicit WindowAdapter(const std::string& bytes) : TextAdapter("." + bytes)
    {
        read(); // what opens the window
    }
};

/// A token as a letter for its kind and its value: "d12" for the integer 12.
inline std::string tokenText(const vnSerializeLex& lex)
{
    static const std::map<unsigned int, char> letters = {
        {VN_LEX_TOKEN, 't'},      {VN_LEX_IDENTIFIER, 'i'},
        {VN_LEX_STRING, 's'},     {VN_LEX_QUOTED, 'q'},
        {VN_LEX_INTEGER, 'd'},    {VN_LEX_REAL, 'r'},
        {VN_LEX_COMMENT, 'c'},    {VN_LEX_LARGE_INTEGER, 'l'},
        {VN_LEX_WHITESPACE, 'w'}, {VN_LEX_ERROR, 'e'},
        {VN_LEX_SET, 'x'}};
    if (lex.getDataType() == VN_LEX_NONE)
        return "-";
    const char letter = letters.at(lex.getDataType());
    const vnDynamicType data = lex.getData();
    if (data.is("str"))
        return letter + toStd(data.getString());
    if (data.is("llnum"))
        return letter + std::to_string(vnDynamicTypeInt64(data).getInt64());
    char number[40];
    std::snprintf(number, sizeof number, "%c%.17g", letter, data.getNumber());
    return number;
}

/// All tokens of a stream, parted by "|".
inline std::string tokensOf(vnSerializeLex& lex, vnSerializeAdapter& adapter)
{
    std::string result;
    for (lex.read(&adapter); lex.getDataType() != VN_LEX_NONE; lex.read(&adapter))
        result += (result.empty() ? "" : "|") + tokenText(lex);
    return result;
}
