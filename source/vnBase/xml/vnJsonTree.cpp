// SPDX-License-Identifier: MIT
#include "vnJsonTree.h"

#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnContainerBytes.h>
#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicParts.h>
#include <dynamic/vnDynamicWire.h>

#include <algorithm>

namespace
{
constexpr unsigned int VN_TAG_BYTES = 3; // the tags are interned
constexpr unsigned int VN_SHORT_LIST = 12;

// What is larger or deeper stays a tree: its bytes would be moved too often.
constexpr unsigned int VN_MAX_ENCODED = 1u << 16;
constexpr unsigned int VN_MAX_HEIGHT = 8;
constexpr unsigned int VN_TREE = 127;

constexpr vnDynamicTag tagsOfKinds[] = {VN_TAG_STR,   VN_TAG_STR,  VN_TAG_STR,   VN_TAG_NUM, VN_TAG_LLNUM,
                                        VN_TAG_ARRAY, VN_TAG_CONT, VN_TAG_ARRAY, VN_TAG_CONT};

bool isTree(const vnJsonNode& node) noexcept
{
    return node.kind >= vnJsonNode::ARRAY;
}

unsigned char* encodeHead(unsigned int count, bool isObject, unsigned char* to) noexcept
{
    if (!isObject)
        return to + vnVarUInt64::encode(count, to);
    // A container that never had an attribute has no bytes at all.
    if (count == 0)
        return to;
    std::memcpy(to, vnContainerBytes::magic, sizeof vnContainerBytes::magic);
    return vnDynamicBytes::put(to + sizeof vnContainerBytes::magic, count);
}

unsigned char* encodeNumber(vnUInt64 bits, unsigned int size, unsigned char* to) noexcept
{
    switch (size)
    {
    case 1:
        return vnDynamicBytes::put(to, static_cast<unsigned char>(bits));
    case 2:
        return vnDynamicBytes::put(to, static_cast<unsigned short>(bits));
    case 4:
        return vnDynamicBytes::put(to, static_cast<unsigned int>(bits));
    default:
        return vnDynamicBytes::put(to, bits);
    }
}

void sortShortList(vnJsonNode* members, unsigned int count) noexcept
{
    for (unsigned int i = 1; i < count; ++i)
    {
        // Those before are older, so only a smaller hash goes ahead of them.
        if (members[i].keyHash >= members[i - 1].keyHash)
            continue;
        const vnJsonNode moving = members[i];
        unsigned int at = i;
        for (; at > 0 && moving.keyHash < members[at - 1].keyHash; --at)
            members[at] = members[at - 1];
        members[at] = moving;
    }
}

void takeValue(vnJsonNode& to, const vnJsonNode& from) noexcept
{
    to.kind = from.kind;
    to.height = from.height;
    to.size = from.size;
    to.bits = from.bits;
}
} // namespace

void vnJsonNode::setKey(const vnJsonSpan& key, unsigned int hash) noexcept
{
    keyHash = hash;
    keyBegin = key.begin;
    keyLength = static_cast<unsigned short>(key.length);
    isKeyInSource = key.isInSource;
}

void vnJsonNode::setNumber(double value) noexcept
{
    kind = NUMBER;
    height = 0;
    size = 8;
    bits = vnDynamicBytes::bitsOf<vnUInt64>(value);
    if (!(value >= -2147483648.0 && value <= 2147483647.0))
        return;
    const int integer = static_cast<int>(value);
    if (integer != value)
        return;
    bits = static_cast<unsigned int>(integer);
    size = static_cast<signed char>(integer) == integer ? 1 : static_cast<short>(integer) == integer ? 2 : 4;
}

void vnJsonNode::setInt64(vnInt64 value) noexcept
{
    kind = INT64;
    height = 0;
    size = 8;
    bits = static_cast<vnUInt64>(value);
}

void vnJsonNode::setText(const vnJsonSpan& text) noexcept
{
    kind = text.isInSource ? SOURCE_TEXT : TEXT;
    height = 0;
    size = text.length;
    begin = text.begin;
}

void vnJsonNode::setEscapedText(const vnJsonSpan& text) noexcept
{
    kind = ESCAPED_TEXT;
    height = 0;
    size = text.length + vnDynamicWire::escapeSize;
    begin = text.begin;
}

vnJsonSpan vnJsonTree::copyOf(const unsigned char* from, std::size_t length)
{
    const unsigned int begin = m_bytes.getSize();
    m_bytes.append(from, length);
    return {begin, static_cast<unsigned int>(length), false};
}

void vnJsonTree::close(unsigned int first, unsigned int begin, bool isObject)
{
    vnJsonNode* const children = m_open.data() + first;
    vnJsonNode& node = children[-1];
    unsigned int count = m_open.getSize() - first;
    if (isObject)
        count = sortMembers(children, count);
    std::size_t size = !isObject ? vnVarUInt64::sizeOf(count) : count ? vnContainerBytes::headSize : 0;
    unsigned int height = 0;
    for (const vnJsonNode* at = children; at != children + count; ++at)
    {
        size += VN_TAG_BYTES + vnVarUInt64::sizeOf(at->size) + std::size_t(at->size);
        if (isObject)
            size += at->keyLength + 1u;
        height = std::max<unsigned int>(height, at->height);
    }
    node.size = vnCheckedSize(size);
    if (height < VN_MAX_HEIGHT && size <= VN_MAX_ENCODED)
    {
        node.kind = isObject ? vnJsonNode::ENCODED_OBJECT : vnJsonNode::ENCODED_ARRAY;
        node.height = (height + 1) & 0x7F;
        encodeInPlace(node, first, count, begin);
    }
    else
    {
        node.kind = isObject ? vnJsonNode::OBJECT : vnJsonNode::ARRAY;
        node.height = VN_TREE;
        node.children.first = m_closed.getSize();
        node.children.count = count;
        m_closed.append(children, count);
    }
    m_open.cut(first);
}

// Behind the bytes of the children, and then over them.
void vnJsonTree::encodeInPlace(vnJsonNode& node, unsigned int first, unsigned int count, unsigned int begin)
{
    const bool isObject = node.kind == vnJsonNode::ENCODED_OBJECT;
    unsigned char* const from = m_bytes.reserve(node.size);
    unsigned char* to = encodeHead(count, isObject, from);
    for (const vnJsonNode* at = m_open.data() + first; at != m_open.data() + first + count; ++at)
        to = encodeLeaf(*at, encodeTag(*at, isObject ? encodeKey(*at, to) : to));
    if (m_bytes.getSize() != begin)
        std::memmove(m_bytes.data() + begin, from, node.size);
    m_bytes.cut(begin);
    m_bytes.grow(node.size);
    node.begin = begin;
}

// Puts the members in the order of a container of one bucket, and returns how many there are without those
// that were replaced.
unsigned int vnJsonTree::sortMembers(vnJsonNode* members, unsigned int count)
{
    if (count <= VN_SHORT_LIST)
        sortShortList(members, count);
    else
        std::stable_sort(members, members + count,
                         [](const vnJsonNode& left, const vnJsonNode& right)
                         { return left.keyHash < right.keyHash; });
    unsigned int kept = 0;
    for (unsigned int begin = 0, end; begin < count; begin = end)
    {
        for (end = begin + 1; end < count && members[end].keyHash == members[begin].keyHash;)
            ++end;
        const unsigned int left = end - begin > 1 ? uniteRun(members + begin, end - begin) : 1;
        if (kept != begin)
            std::copy_n(members + begin, left, members + kept);
        kept += left;
    }
    return kept;
}

// Members of one hash: equal keys become one member, in the first place and with the last value.
unsigned int vnJsonTree::uniteRun(vnJsonNode* run, unsigned int count)
{
    // The hash is easy to foresee, so that a document can be made of keys that share it.
    if (count > VN_SHORT_LIST)
        return uniteLongRun(run, count);
    unsigned int kept = 1;
    for (unsigned int i = 1; i < count; ++i)
    {
        vnJsonNode* const same = std::find_if(
            run, run + kept, [&](const vnJsonNode& node) { return compareKeys(node, run[i]) == 0; });
        if (same != run + kept)
            takeValue(*same, run[i]);
        else
            run[kept++] = run[i];
    }
    return kept;
}

unsigned int vnJsonTree::uniteLongRun(vnJsonNode* run, unsigned int count)
{
    m_order.cut(0);
    for (unsigned int i = 0; i < count; ++i)
        m_order.push() = i;
    std::sort(m_order.data(), m_order.data() + count,
              [=](unsigned int left, unsigned int right)
              {
                  const int order = compareKeys(run[left], run[right]);
                  return order != 0 ? order < 0 : left < right;
              });
    unsigned int same = m_order[0]; // the first member of its key
    for (unsigned int i = 1; i < count; ++i)
    {
        vnJsonNode& node = run[m_order[i]];
        if (compareKeys(run[same], node) != 0)
            same = m_order[i];
        else
        {
            takeValue(run[same], node);
            node.kind = vnJsonNode::REPLACED;
        }
    }
    return static_cast<unsigned int>(std::remove_if(run, run + count,
                                                    [](const vnJsonNode& node)
                                                    { return node.kind == vnJsonNode::REPLACED; }) -
                                     run);
}

int vnJsonTree::compareKeys(const vnJsonNode& left, const vnJsonNode& right) const noexcept
{
    if (left.keyLength != right.keyLength)
        return left.keyLength < right.keyLength ? -1 : 1;
    return std::memcmp(keyOf(left), keyOf(right), left.keyLength);
}

vnDynamicType vnJsonTree::makeValue(const vnJsonNode& node)
{
    vnDynamicPayload payload;
    unsigned char* const to = payload.resize(node.size);
    if (isTree(node))
        encodeRanges(openRange(node, to));
    else
        encodeLeaf(node, to);
    return vnDynamicParts(tagsOfKinds[node.kind], std::move(payload));
}

void vnJsonTree::clear() noexcept
{
    m_bytes.cut(0);
    m_open.cut(0);
    m_closed.cut(0);
    m_ranges.cut(0);
}

// What stands before a payload.
unsigned char* vnJsonTree::encodeTag(const vnJsonNode& node, unsigned char* to) const noexcept
{
    *to++ = vnDynamicWire::marker;
    to = vnDynamicBytes::put(to, static_cast<unsigned short>(tagsOfKinds[node.kind] - 1));
    if (node.size < 0x80)
    {
        *to++ = static_cast<unsigned char>(node.size);
        return to;
    }
    return to + vnVarUInt64::encode(node.size, to);
}

unsigned char* vnJsonTree::encodeKey(const vnJsonNode& node, unsigned char* to) const noexcept
{
    std::memcpy(to, keyOf(node), node.keyLength);
    to += node.keyLength;
    *to++ = 0;
    return to;
}

// The payload of a node without children.
unsigned char* vnJsonTree::encodeLeaf(const vnJsonNode& node, unsigned char* to) const noexcept
{
    unsigned int size = node.size;
    if (node.kind == vnJsonNode::NUMBER || node.kind == vnJsonNode::INT64)
        return encodeNumber(node.bits, size, to);
    if (node.kind == vnJsonNode::ESCAPED_TEXT)
    {
        std::memcpy(to, vnDynamicWire::escape, vnDynamicWire::escapeSize);
        to += vnDynamicWire::escapeSize;
        size -= vnDynamicWire::escapeSize;
    }
    if (size)
        std::memcpy(to, (node.kind == vnJsonNode::SOURCE_TEXT ? m_source : m_bytes.data()) + node.begin,
                    size);
    return to + size;
}

// Writes what stands before the children of a tree, which come next.
unsigned char* vnJsonTree::openRange(const vnJsonNode& node, unsigned char* to)
{
    const bool isObject = node.kind == vnJsonNode::OBJECT;
    const unsigned int first = node.children.first;
    const unsigned int count = node.children.count;
    m_ranges.push() = Range{first, first + count, isObject};
    return encodeHead(count, isObject, to);
}

void vnJsonTree::encodeRanges(unsigned char* to)
{
    while (!m_ranges.isEmpty())
    {
        Range& range = m_ranges.top();
        if (range.next == range.end)
        {
            m_ranges.cut(m_ranges.getSize() - 1);
            continue;
        }
        const vnJsonNode& node = m_closed[range.next++];
        if (range.isObject)
            to = encodeKey(node, to);
        to = encodeTag(node, to);
        to = isTree(node) ? openRange(node, to) : encodeLeaf(node, to);
    }
}
