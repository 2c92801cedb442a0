// SPDX-License-Identifier: MIT
#pragma once

#include "vnByteAdapter.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeLex.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

/// Has laid open all its bytes.
class WindowAdapter : public vnSerializeAdapterMemory
{
public:
    explicit WindowAdapter(const std::string& bytes) : WindowAdapter(new std::string("." + bytes)) {}

private:
    explicit WindowAdapter(std::string* bytes)
        : vnSerializeAdapterMemory(bytes->data(), static_cast<unsigned int>(bytes->size())), m_bytes(bytes)
    {
        read(); // what opens the window
    }

    std::unique_ptr<std::string> m_bytes;
};

/// A token as a letter for its kind and its value: "d12" for the integer 12.
inline std::string tokenText(const vnSerializeLex& lex)
{
    char number[40];
    const auto withNumber = [&](char kind)
    {
        std::snprintf(number, sizeof number, "%c%.17g", kind, lex.getData().getNumber());
        return std::string(number);
    };
    const auto withText = [&](char kind)
    {
        const vnString text = lex.getData().getString();
        return kind + std::string(text.getString(), text.length());
    };
    switch (lex.getDataType())
    {
    case VN_LEX_NONE:
        return "-";
    case VN_LEX_TOKEN:
        return withNumber('t');
    case VN_LEX_IDENTIFIER:
        return withText('i');
    case VN_LEX_STRING:
        return withText('s');
    case VN_LEX_QUOTED:
        return withText('q');
    case VN_LEX_INTEGER:
        return withNumber('d');
    case VN_LEX_REAL:
        return withNumber('r');
    case VN_LEX_LARGE_INTEGER:
        return "l" + std::to_string(vnDynamicTypeInt64(lex.getData()).getInt64());
    case VN_LEX_COMMENT:
        return withText('c');
    case VN_LEX_WHITESPACE:
        return withNumber('w');
    case VN_LEX_ERROR:
        return withNumber('e');
    case VN_LEX_SET:
        return withText('x');
    }
    return "?";
}

/// All tokens of a stream, parted by "|".
inline std::string tokensOf(vnSerializeLex& lex, vnSerializeAdapter& adapter)
{
    std::string result;
    for (lex.read(&adapter); lex.getDataType() != VN_LEX_NONE; lex.read(&adapter))
        result += (result.empty() ? "" : "|") + tokenText(lex);
    return result;
}
