// SPDX-License-Identifier: MIT
#pragma once

#include "vnParserCursor.h"
#include "vnTextAdapter.h"

#include <vnBase/vnBasicParser.h>
#include <vnBase/vnDynamicArray.h>

#include <algorithm>
#include <utility>

/// Parsers whose results are texts remember more than the longest one, so that none loses its beginning.
constexpr unsigned int VN_MARKED_HISTORY = 70000;

/// Appends a result. A full array doubles: with steps of a fixed size, long lists take quadratic time.
template <class T>
void vnAppendResult(vnDynamicArray<T>& results, T result)
{
    if (results.getSize() == results.getCapacity())
        results.setChunkSize(std::max(results.getChunkSize(), results.getSize()));
    results.append(std::move(result));
}

/// Lets a parser of texts read a byte order mark as the bytes that it is, instead of changing its encoding
/// for all texts to come.
void vnIgnoreByteOrderMarks(vnBasicParser& parser);

/// Sets a text as the input of a parser, and takes it away again with all that the parser remembers of it:
/// the end of a parse, also of one that failed for want of memory, allocates nothing. The text must live as
/// long.
class vnTextInput
{
public:
    vnTextInput(vnBasicParser& parser, const vnString& text) : m_parser(parser), m_adapter(text)
    {
        m_parser.setAdapter(&m_adapter);
    }
    vnTextInput(vnBasicParser& parser, const vnString&& text) = delete;
    ~vnTextInput() noexcept(false) { vnParserCursor(m_parser).dropInput(); }
    vnTextInput(const vnTextInput&) = delete;
    vnTextInput& operator=(const vnTextInput&) = delete;

private:
    vnBasicParser& m_parser;
    vnTextAdapter m_adapter;
};
