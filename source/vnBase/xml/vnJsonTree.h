// SPDX-License-Identifier: MIT
#pragma once

#include "vnScratchBlock.h"

#include <vnBase/vnDynamicType.h>

/// A text of a tree: in the bytes of the tree, or where it stands in the source.
struct vnJsonSpan
{
    unsigned int begin;
    unsigned int length;
    bool isInSource;
};

/// One value of a tree, and the key under which it stands in an object.
struct vnJsonNode
{
    enum Kind : unsigned char
    {
        TEXT,
        SOURCE_TEXT,  // the others with bytes have them in the tree
        ESCAPED_TEXT, // its payload has the marker bytes in front
        NUMBER,
        INT64,
        ENCODED_ARRAY, // its payload is made already
        ENCODED_OBJECT,
        ARRAY,
        OBJECT,
        REPLACED // by a later member of the same key
    };

    unsigned int keyHash;
    unsigned int keyBegin;
    unsigned short keyLength;
    Kind kind;
    unsigned char isKeyInSource : 1;
    unsigned char height : 7; // how often the innermost bytes were encoded
    unsigned int size;        // of the payload
    union
    {
        vnUInt64 bits; // of a number, as its payload has them
        unsigned int begin;
        struct
        {
            unsigned int first;
            unsigned int count;
        } children; // among the closed nodes
    };

    void setKey(const vnJsonSpan& key, unsigned int hash) noexcept;

    /// The smallest form that is exact, as that of a `vnDynamicType`.
    void setNumber(double value) noexcept;
    void setInt64(vnInt64 value) noexcept;
    void setText(const vnJsonSpan& text) noexcept;

    /// A text in the bytes of the tree that is stored behind the marker.
    void setEscapedText(const vnJsonSpan& text) noexcept;
};
static_assert(sizeof(vnJsonNode) == 24);

/// Collects values from the leaves up. Small arrays and objects are encoded as they close, in the place of
/// what they were made from. Large and deep ones wait as nodes until the whole is encoded in one pass, so
/// that no bytes are copied from level to level more than a few times.
class vnJsonTree
{
public:
    using Bytes = vnScratchBlock<unsigned char>;

    /// Texts, and values that are encoded.
    Bytes& bytes() noexcept { return m_bytes; }

    /// Where spans in the source count from; it stays until the values are made.
    void setSource(const unsigned char* source) noexcept { m_source = source; }
    const unsigned char* data(const vnJsonSpan& span) const noexcept
    {
        return (span.isInSource ? m_source : m_bytes.data()) + span.begin;
    }

    /// A copy in the bytes of the tree.
    vnJsonSpan copyOf(const unsigned char* from, std::size_t length);

    /// The nodes of the arrays and objects that are not closed, the innermost on top.
    vnScratchBlock<vnJsonNode>& open() noexcept { return m_open; }

    /// Closes the array or object whose children are the open nodes from `first` on, with bytes from `begin`
    /// on, and makes it the value of the node below them. Of an object the last value of each key stays.
    void close(unsigned int first, unsigned int begin, bool isObject);

    vnDynamicType makeValue(const vnJsonNode& node);
    void clear() noexcept;

private:
    struct Range
    {
        unsigned int next;
        unsigned int end;
        bool isObject;
    };

    unsigned int sortMembers(vnJsonNode* members, unsigned int count);
    unsigned int uniteRun(vnJsonNode* run, unsigned int count);
    unsigned int uniteLongRun(vnJsonNode* run, unsigned int count);
    const unsigned char* keyOf(const vnJsonNode& node) const noexcept
    {
        return (node.isKeyInSource ? m_source : m_bytes.data()) + node.keyBegin;
    }
    int compareKeys(const vnJsonNode& left, const vnJsonNode& right) const noexcept;
    void encodeInPlace(vnJsonNode& node, unsigned int first, unsigned int count, unsigned int begin);
    unsigned char* encodeTag(const vnJsonNode& node, unsigned char* to) const noexcept;
    unsigned char* encodeKey(const vnJsonNode& node, unsigned char* to) const noexcept;
    unsigned char* encodeLeaf(const vnJsonNode& node, unsigned char* to) const noexcept;
    unsigned char* openRange(const vnJsonNode& node, unsigned char* to);
    void encodeRanges(unsigned char* to);

    const unsigned char* m_source = nullptr;
    Bytes m_bytes;
    vnScratchBlock<vnJsonNode> m_open;
    vnScratchBlock<vnJsonNode> m_closed;
    vnScratchBlock<Range> m_ranges;
    vnScratchBlock<unsigned int> m_order;
};
