// SPDX-License-Identifier: MIT
#pragma once

#include "vnJsonSource.h"
#include "vnJsonTree.h"

/// Parses the input of a `vnJSON`. Every fault sets the error of the parser, leaves it at the place and
/// throws `vnBasicParseException`. Nesting costs no stack.
class vnJsonReader
{
public:
    vnJsonReader(vnBasicParser& parser, bool isStrict, unsigned int maxDepth, unsigned int maxSize) noexcept
        : m_parser(parser), m_source(parser, maxSize), m_isStrict(isStrict), m_maxDepth(maxDepth)
    {
    }

    void readAll(vnDynamicArray<vnDynamicType>& results);

private:
    // An array or object that is not closed: its first child among the open nodes.
    struct Level
    {
        unsigned int first;
        unsigned int begin; // of their bytes
        bool isObject;
    };

    void readStrict(vnDynamicArray<vnDynamicType>& results);
    void append(vnDynamicArray<vnDynamicType>& results);
    template <bool STRICT>
    bool readValue();
    template <bool STRICT>
    bool readLeaf(unsigned char byte);
    template <bool STRICT>
    bool openLevel();
    template <bool STRICT>
    bool finishValue();
    void prepare();
    template <bool STRICT>
    void nextSlot(bool isObject);
    template <bool STRICT>
    vnJsonSpan readString();
    void readRawString();
    void readStrictString();
    std::size_t leftFor(unsigned int limit, unsigned int begin) noexcept;
    void readEscape();
    vnJsonSpan spanOf(const unsigned char* from, std::size_t length);
    vnJsonSpan copyOf(const vnJsonSpan& text);
    unsigned int readUnit();
    unsigned char takeByte();
    void readNumber();
    void gatherNumber();
    bool gatherOneOf(unsigned char first, unsigned char second);
    void gatherDigits();
    void readWord(const char* word);
    bool skipWhite();
    [[noreturn]] void fail(int line, const char* what);
    [[noreturn]] void failEnd();
    template <class... Args>
    [[noreturn]] void failText(const char* format, const Args&... args);

    vnBasicParser& m_parser;
    vnJsonSource m_source;
    vnJsonTree m_tree;
    vnScratchBlock<Level> m_levels;
    vnScratchBlock<unsigned char> m_number; // of one that does not stand in one block
    bool m_isStrict;
    unsigned int m_maxDepth;
};
