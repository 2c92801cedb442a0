// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBasicParser.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnSerializeAdapterMemory.h>

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

/// Sets a text as the input of a parser, and takes it away again. The text must live as long.
class vnTextInput
{
public:
    vnTextInput(vnBasicParser& parser, const vnString& text) : m_parser(parser), m_adapter(text)
    {
        m_parser.setAdapter(&m_adapter);
    }
    vnTextInput(vnBasicParser& parser, const vnString&& text) = delete;
    ~vnTextInput() noexcept(false) { m_parser.setAdapter(nullptr); }
    vnTextInput(const vnTextInput&) = delete;
    vnTextInput& operator=(const vnTextInput&) = delete;

private:
    // It is owned by the stack, which outlives what the parser holds, so that nobody needs to count. Counting
    // would lock four times for each text.
    class Adapter : public vnSerializeAdapterMemory
    {
    public:
        explicit Adapter(const vnString& text)
            : vnSerializeAdapterMemory(const_cast<char*>(text.getString()), text.length()) // only read
        {
        }
        void ref() override {}
        void unref() override {}
    };

    vnBasicParser& m_parser;
    Adapter m_adapter;
};
