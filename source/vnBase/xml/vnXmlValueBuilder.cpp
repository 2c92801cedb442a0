// SPDX-License-Identifier: MIT
#include "vnXmlValueBuilder.h"

#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnContainerBytes.h>
#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicParts.h>
#include <dynamic/vnDynamicWire.h>

#include <algorithm>

namespace
{
constexpr unsigned char gap[] = {vnDynamicWire::marker, VN_TAG_VOID - 1, 0, 0}; // a void value
} // namespace

void vnXmlValueBuilder::add(unsigned int key, std::size_t begin, const vnDynamicType& value)
{
    const std::size_t size = value.getDataSize(nullptr);
    const unsigned int at = m_bytes.getSize();
    vnCheckedSize(at + size);
    vnDynamicWire::encode(value, m_bytes.reserve(size));
    m_bytes.grow(size);
    const unsigned int order = m_entries.getSize();
    m_entries.push() = {key, order, static_cast<unsigned int>(begin), at, m_bytes.getSize()};
}

void vnXmlValueBuilder::addElement(unsigned int index, const vnDynamicType& value)
{
    add(index, m_bytes.getSize(), value);
    m_size = std::max(m_size, index + 1);
    if (value.hasDynamicReferences())
        m_references.add(value);
}

void vnXmlValueBuilder::addAttribute(const vnString& name, const vnDynamicType& value)
{
    const unsigned int begin = m_bytes.getSize();
    m_bytes.append(reinterpret_cast<const unsigned char*>(name.getString()), name.length() + std::size_t(1));
    const unsigned int hash = name.isEmpty() ? 0 : vnString::hash(name.getString(), name.length());
    add(hash, begin, value);
}

bool vnXmlValueBuilder::isSorted() const noexcept
{
    for (unsigned int i = 1; i < m_entries.getSize(); ++i)
        if (m_entries[i - 1].key >= m_entries[i].key)
            return false;
    return true;
}

// In ascending order, the last one of each.
void vnXmlValueBuilder::uniteIndexes()
{
    if (isSorted())
        return;
    Entry* const begin = m_entries.data();
    Entry* const end = begin + m_entries.getSize();
    std::sort(begin, end,
              [](const Entry& left, const Entry& right)
              { return left.key != right.key ? left.key < right.key : left.order > right.order; });
    Entry* const kept =
        std::unique(begin, end, [](const Entry& left, const Entry& right) { return left.key == right.key; });
    m_entries.cut(static_cast<unsigned int>(kept - begin));
}

// By hash; names of one hash in the order of their first places, with their last values. The hash is easy to
// foresee, so that many names may share it.
void vnXmlValueBuilder::uniteNames()
{
    if (isSorted())
        return;
    Entry* const begin = m_entries.data();
    Entry* const end = begin + m_entries.getSize();
    const auto compare = [this](const Entry& left, const Entry& right)
    {
        if (left.key != right.key)
            return left.key < right.key ? -1 : 1;
        const unsigned int length = left.value - left.begin;
        if (length != right.value - right.begin)
            return length < right.value - right.begin ? -1 : 1;
        return std::memcmp(m_bytes.data() + left.begin, m_bytes.data() + right.begin, length);
    };
    std::sort(begin, end,
              [&](const Entry& left, const Entry& right)
              {
                  const int order = compare(left, right);
                  return order != 0 ? order < 0 : left.order < right.order;
              });
    Entry* kept = begin;
    for (const Entry* next = begin; next != end; ++next)
        if (next != begin && compare(kept[-1], *next) == 0)
        {
            kept[-1].value = next->value;
            kept[-1].begin = next->begin;
            kept[-1].end = next->end;
        }
        else
            *kept++ = *next;
    std::sort(begin, kept,
              [](const Entry& left, const Entry& right)
              { return left.key != right.key ? left.key < right.key : left.order < right.order; });
    m_entries.cut(static_cast<unsigned int>(kept - begin));
}

unsigned int vnXmlValueBuilder::countGaps(unsigned int size)
{
    uniteIndexes();
    return std::max(size, m_size) - m_entries.getSize();
}

vnDynamicType vnXmlValueBuilder::makeArray(unsigned int size)
{
    uniteIndexes();
    size = std::max(size, m_size);
    std::size_t bytes = vnVarUInt64::sizeOf(size) + (size - m_entries.getSize()) * sizeof gap;
    for (unsigned int i = 0; i < m_entries.getSize(); ++i)
        bytes += m_entries[i].end - m_entries[i].value;
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(vnCheckedSize(bytes));
    to += vnVarUInt64::encode(size, to);
    unsigned int index = 0;
    const auto fillTo = [&](unsigned int end)
    {
        for (; index < end; ++index)
            to = std::copy(std::begin(gap), std::end(gap), to);
    };
    for (unsigned int i = 0; i < m_entries.getSize(); ++i, ++index)
    {
        const Entry& entry = m_entries[i];
        fillTo(entry.key);
        to = std::copy(m_bytes.data() + entry.value, m_bytes.data() + entry.end, to);
    }
    fillTo(size);
    return vnDynamicParts(VN_TAG_ARRAY, std::move(payload), m_references);
}

vnDynamicType vnXmlValueBuilder::makeContainer()
{
    vnDynamicPayload payload;
    // A container that never had an attribute has no bytes at all.
    if (m_entries.isEmpty())
        return vnDynamicParts(VN_TAG_CONT, std::move(payload), m_references);
    uniteNames();
    std::size_t bytes = vnContainerBytes::headSize;
    for (unsigned int i = 0; i < m_entries.getSize(); ++i)
        bytes += m_entries[i].end - m_entries[i].begin;
    unsigned char* to = payload.resize(vnCheckedSize(bytes));
    to = std::copy(std::begin(vnContainerBytes::magic), std::end(vnContainerBytes::magic), to);
    to = vnDynamicBytes::put(to, m_entries.getSize());
    for (unsigned int i = 0; i < m_entries.getSize(); ++i)
        to = std::copy(m_bytes.data() + m_entries[i].begin, m_bytes.data() + m_entries[i].end, to);
    return vnDynamicParts(VN_TAG_CONT, std::move(payload), m_references);
}
