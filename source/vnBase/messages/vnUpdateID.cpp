// SPDX-License-Identifier: MIT
#include <vnBase/vnUpdateID.h>

#include <algorithm>

namespace
{
// The elements from the old size on get `value`: the array itself keeps what a larger one held there before.
void growTo(vnDynamicArray<unsigned int>& table, unsigned int size, unsigned int value)
{
    const unsigned int old = table.getSize();
    table.setSize(size);
    std::fill(table.begin() + old, table.end(), value);
}
} // namespace

unsigned int& vnLookupUpdateID::at(unsigned int index)
{
    if (index >= m_ids.getSize())
        growTo(m_ids, vnCheckedSize(static_cast<std::size_t>(index) + 1), 0);
    return m_ids[index];
}

vnUpdateIDFeatureInterface::vnUpdateIDFeatureInterface()
{
    growTo(m_masks, m_masks.getChunkSize(), ~0u);
}

void vnUpdateIDFeatureInterface::updateID(unsigned int mask) noexcept
{
    ++m_updateID;
    for (unsigned int& changed : m_masks)
        changed |= mask;
}

unsigned char vnUpdateIDFeatureInterface::checkFeature(unsigned int mask, unsigned int index)
{
    return (at(index) & mask) != 0;
}

void vnUpdateIDFeatureInterface::resetFeatureMask(unsigned int mask, unsigned int index)
{
    at(index) &= ~mask;
}

void vnUpdateIDFeatureInterface::setFeatureMask(unsigned int mask) noexcept
{
    for (unsigned int& changed : m_masks)
        changed = mask;
}

unsigned int& vnUpdateIDFeatureInterface::at(unsigned int index)
{
    if (index >= m_masks.getSize())
    {
        // The size, and not only the capacity, steps by the chunk: masks that are set later reach the entries
        // behind the one that is asked for.
        const std::size_t chunk = m_masks.getChunkSize();
        growTo(m_masks, vnCheckedSize(index / chunk + 1, chunk), ~0u);
    }
    return m_masks[index];
}
