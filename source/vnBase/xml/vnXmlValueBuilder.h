// SPDX-License-Identifier: MIT
#pragma once

#include "vnScratchBlock.h"

#include <vnBase/vnDynamicType.h>

/// Collects the values of an array or of a container in their stream form, so that neither costs more than
/// its bytes while it is made: an array may be mostly gaps, and a container of many attributes would search
/// itself for each of them.
class vnXmlValueBuilder
{
public:
    /// The last value of an index, or of a name, counts.
    void addElement(unsigned int index, const vnDynamicType& value);
    void addAttribute(const vnString& name, const vnDynamicType& value);

    /// How many of `size` elements, or of those up to the last one that was added, were not added.
    unsigned int countGaps(unsigned int size);

    /// How many elements there are up to the last one that was added.
    unsigned int getSize() const noexcept { return m_size; }

    /// An array of at least `size` elements. Those that were not added are void.
    vnDynamicType makeArray(unsigned int size);

    /// In the order of a container of one bucket.
    vnDynamicType makeContainer();

private:
    struct Entry
    {
        unsigned int key;   // the index, or the hash of the name
        unsigned int order; // of the place, among equal keys
        unsigned int begin; // in the bytes: the name with its zero byte, and the value
        unsigned int value;
        unsigned int end;
    };

    /// Keeps the references of what is collected.
    class References : public vnDynamicType
    {
    public:
        void add(const vnDynamicType& value) { appendReferences(value); }
    };

    void add(unsigned int key, std::size_t begin, const vnDynamicType& value);
    bool isSorted() const noexcept;
    void uniteIndexes();
    void uniteNames();

    vnScratchBlock<unsigned char> m_bytes;
    vnScratchBlock<Entry> m_entries;
    unsigned int m_size = 0;
    References m_references;
};
