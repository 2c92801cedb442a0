// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnSerializeAdapter.h>
#include <vnBase/vnVarUInt64.h>

#include <algorithm>
#include <utility>

/// An array as an item of streams: the count as a `vnVarUInt64`, then the elements, each by its own stream
/// form. `T` is a `vnSerializeData` with a default constructor.
///
///     vnSerializeArray<vnDynamicType> values;
///     values.append(vnDynamicType(1.0));
///     values.write(adapter);
///
/// A count beyond what the stream holds ends with the data, and no memory is taken ahead of them.
template <class T>
class vnSerializeArray : public vnSerializeData, public vnDynamicArray<T>
{
public:
    vnSerializeArray() = default;

    void write(vnSerializeAdapter* adapter) override
    {
        vnVarUInt64(this->getSize()).write(adapter);
        for (T& element : *this)
            element.write(adapter);
    }

    /// The elements are as they were when the source throws.
    void read(vnSerializeAdapter* adapter) override
    {
        vnVarUInt64 count;
        count.read(adapter);
        vnDynamicArray<T> elements;
        for (vnUInt64 left = count; left > 0 && adapter->hasData(); --left)
        {
            T element;
            element.read(adapter);
            // By the chunk alone a long array would be moved once for every few elements.
            if (elements.getSize() == elements.getCapacity())
                elements.setChunkSize(std::max(elements.getCapacity(), firstChunk));
            elements.append(std::move(element));
        }
        elements.setChunkSize(this->getChunkSize());
        this->swap(elements);
    }

    void pushBack(vnSerializeAdapter* adapter) override
    {
        for (unsigned int i = this->getSize(); i > 0; --i)
            (*this)[i - 1].pushBack(adapter);
        vnVarUInt64(this->getSize()).pushBack(adapter);
    }

    unsigned int getDataSize(vnSerializeAdapter* adapter) const override
    {
        std::size_t size = vnVarUInt64::sizeOf(this->getSize());
        for (const T& element : *this)
            size += element.getDataSize(adapter);
        return vnCheckedSize(size);
    }

private:
    static constexpr unsigned int firstChunk = 16;
};
