// SPDX-License-Identifier: MIT
#pragma once

#include "vnJsonBlock.h"

#include <vnBase/vnDynamicType.h>

/// One value of a tree, and the key under which it stands in an object.
struct vnJsonNode
{
    enum Kind : unsigned char
    {
        TEXT,
        ESCAPED_TEXT, // its payload has the marker bytes in front
        NUMBER,
        INT64,
        ARRAY,
        OBJECT
    };

    unsigned int keyHash;
    unsigned int keyBegin; // in the bytes of the tree
    unsigned short keyLength;
    Kind kind;
    unsigned int size; // of the payload
    union
    {
        vnUInt64 bits; // of a number, as its payload has them
        unsigned int textBegin;
        struct
        {
            unsigned int first;
            unsigned int count;
        } children; // among the closed nodes
    };

    /// The smallest form that is exact, as that of a `vnDynamicType`.
    void setNumber(double value) noexcept;
    void setInt64(vnInt64 value) noexcept;

    /// The bytes of the text stand at `begin`; `isEscaped` stores them with the marker.
    void setText(unsigned int begin, unsigned int length, bool isEscaped) noexcept;
};
static_assert(sizeof(vnJsonNode) == 24);

/// Collects values from the leaves up, and encodes the whole in one pass once all sizes are known: nested
/// payloads are never copied from one level to the next.
class vnJsonTree
{
public:
    using Bytes = vnJsonBlock<unsigned char>;

    /// Texts and keys.
    Bytes& bytes() noexcept { return m_bytes; }

    /// The nodes of the arrays and objects that are not closed, the innermost on top.
    vnJsonBlock<vnJsonNode>& open() noexcept { return m_open; }

    /// Closes the array or object whose children are the open nodes from `first` on, and makes it the value
    /// of `node`, whose key stays. Of an object the last value of each key stays.
    void closeArray(vnJsonNode& node, unsigned int first);
    void closeObject(vnJsonNode& node, unsigned int first);

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
    int compareKeys(const vnJsonNode& left, const vnJsonNode& right) const noexcept;
    void keep(vnJsonNode& node, unsigned int first, unsigned int count);
    unsigned char* encode(const vnJsonNode& node, unsigned char* to);
    unsigned char* encodePayload(const vnJsonNode& node, unsigned char* to);
    void encodeChildren(unsigned char* to);

    Bytes m_bytes;
    vnJsonBlock<vnJsonNode> m_open;
    vnJsonBlock<vnJsonNode> m_closed;
    vnJsonBlock<Range> m_ranges;
};
