// SPDX-License-Identifier: MIT
#include "vnJsonTree.h"

#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>

namespace
{
constexpr unsigned int VN_CONTAINER_MAGIC = 0xFEBFCD07;
constexpr unsigned int VN_CONTAINER_HEAD = 8;
constexpr unsigned int VN_TAG_BYTES = 3; // the tags are interned
constexpr unsigned int VN_SHORT_LIST = 12;

constexpr vnDynamicTag tagsOfKinds[] = {VN_TAG_STR,   VN_TAG_STR,   VN_TAG_NUM,
                                        VN_TAG_LLNUM, VN_TAG_ARRAY, VN_TAG_CONT};

bool isTree(const vnJsonNode& node) noexcept
{
    return node.kind >= vnJsonNode::ARRAY;
}

// Lets a payload in the place of a value.
class Value : public vnDynamicType
{
public:
    Value(vnDynamicTag tag, vnDynamicPayload&& payload) noexcept
        : vnDynamicType(vnFixedDynamicTag(tag), std::move(payload))
    {
    }
};

// Members of one hash in the order in which they came: their keys stand one behind the other.
bool isBefore(const vnJsonNode& left, const vnJsonNode& right) noexcept
{
    return left.keyHash != right.keyHash ? left.keyHash < right.keyHash : left.keyBegin < right.keyBegin;
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
    to.size = from.size;
    to.bits = from.bits;
}
} // namespace

void vnJsonNode::setNumber(double value) noexcept
{
    kind = NUMBER;
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
    size = 8;
    bits = static_cast<vnUInt64>(value);
}

void vnJsonNode::setText(unsigned int begin, unsigned int length, bool isEscaped) noexcept
{
    kind = isEscaped ? ESCAPED_TEXT : TEXT;
    size = length + (isEscaped ? vnDynamicWire::escapeSize : 0);
    textBegin = begin;
}

void vnJsonTree::closeArray(vnJsonNode& node, unsigned int first)
{
    const unsigned int count = m_open.getSize() - first;
    node.kind = vnJsonNode::ARRAY;
    std::size_t size = vnVarUInt64::sizeOf(count);
    for (const vnJsonNode* at = m_open.data() + first; at != m_open.data() + m_open.getSize(); ++at)
        size += VN_TAG_BYTES + vnVarUInt64::sizeOf(at->size) + std::size_t(at->size);
    node.size = vnCheckedSize(size);
    keep(node, first, count);
}

void vnJsonTree::closeObject(vnJsonNode& node, unsigned int first)
{
    const unsigned int count = sortMembers(m_open.data() + first, m_open.getSize() - first);
    node.kind = vnJsonNode::OBJECT;
    // A container that never had an attribute has no bytes at all.
    std::size_t size = count ? VN_CONTAINER_HEAD : 0;
    for (const vnJsonNode* at = m_open.data() + first; at != m_open.data() + first + count; ++at)
        size += at->keyLength + 1u + VN_TAG_BYTES + vnVarUInt64::sizeOf(at->size) + std::size_t(at->size);
    node.size = vnCheckedSize(size);
    keep(node, first, count);
}

// `node` may be the open node below the children, which stays where it is.
void vnJsonTree::keep(vnJsonNode& node, unsigned int first, unsigned int count)
{
    node.children.first = m_closed.getSize();
    node.children.count = count;
    m_closed.append(m_open.data() + first, count);
    m_open.cut(first);
}

// Puts the members in the order of a container of one bucket, and returns how many there are without those
// that were replaced.
unsigned int vnJsonTree::sortMembers(vnJsonNode* members, unsigned int count)
{
    if (count <= VN_SHORT_LIST)
        sortShortList(members, count);
    else
        std::sort(members, members + count, isBefore);
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
        vnJsonNode* same = std::find_if(
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
    std::sort(run, run + count,
              [this](const vnJsonNode& left, const vnJsonNode& right)
              {
                  const int order = compareKeys(left, right);
                  return order != 0 ? order < 0 : left.keyBegin < right.keyBegin;
              });
    unsigned int kept = 1;
    for (unsigned int i = 1; i < count; ++i)
        if (compareKeys(run[kept - 1], run[i]) == 0)
            takeValue(run[kept - 1], run[i]);
        else
            run[kept++] = run[i];
    std::sort(run, run + kept, isBefore);
    return kept;
}

int vnJsonTree::compareKeys(const vnJsonNode& left, const vnJsonNode& right) const noexcept
{
    if (left.keyLength != right.keyLength)
        return left.keyLength < right.keyLength ? -1 : 1;
    return std::memcmp(m_bytes.data() + left.keyBegin, m_bytes.data() + right.keyBegin, left.keyLength);
}

vnDynamicType vnJsonTree::makeValue(const vnJsonNode& node)
{
    vnDynamicPayload payload;
    unsigned char* const to = encodePayload(node, payload.resize(node.size));
    if (isTree(node))
        encodeChildren(to);
    return Value(tagsOfKinds[node.kind], std::move(payload));
}

void vnJsonTree::clear() noexcept
{
    m_bytes.cut(0);
    m_open.cut(0);
    m_closed.cut(0);
    m_ranges.cut(0);
}

// Of an array or object only what stands before its children, which become the topmost range.
unsigned char* vnJsonTree::encodePayload(const vnJsonNode& node, unsigned char* to)
{
    if (!isTree(node))
    {
        unsigned int size = node.size;
        if (node.kind == vnJsonNode::NUMBER || node.kind == vnJsonNode::INT64)
        {
            unsigned char bytes[8];
            vnDynamicBytes::put(bytes, node.bits);
            std::memcpy(to, bytes, size);
            return to + size;
        }
        if (node.kind == vnJsonNode::ESCAPED_TEXT)
        {
            std::memcpy(to, vnDynamicWire::escape, vnDynamicWire::escapeSize);
            to += vnDynamicWire::escapeSize;
            size -= vnDynamicWire::escapeSize;
        }
        if (size)
            std::memcpy(to, m_bytes.data() + node.textBegin, size);
        return to + size;
    }
    const bool isObject = node.kind == vnJsonNode::OBJECT;
    const unsigned int first = node.children.first;
    const unsigned int count = node.children.count;
    m_ranges.push() = Range{first, first + count, isObject};
    if (!isObject)
        return to + vnVarUInt64::encode(count, to);
    return count ? vnDynamicBytes::put(vnDynamicBytes::put(to, VN_CONTAINER_MAGIC), count) : to;
}

unsigned char* vnJsonTree::encode(const vnJsonNode& node, unsigned char* to)
{
    *to++ = vnDynamicWire::marker;
    to = vnDynamicBytes::put(to, static_cast<unsigned short>(tagsOfKinds[node.kind] - 1));
    to += vnVarUInt64::encode(node.size, to);
    return encodePayload(node, to);
}

void vnJsonTree::encodeChildren(unsigned char* to)
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
        {
            std::memcpy(to, m_bytes.data() + node.keyBegin, node.keyLength + 1u);
            to += node.keyLength + 1u;
        }
        to = encode(node, to);
    }
}
