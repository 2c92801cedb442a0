// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterMemory.h>

#include <typeinfo>

/// The bytes of a text, which must live as long. It is owned by the stack, which outlives what the parser
/// holds, so that nobody needs to count: counting would lock four times for each text.
class vnTextAdapter : public vnSerializeAdapterMemory
{
public:
    explicit vnTextAdapter(const vnString& text) : vnTextAdapter(text.getString(), text.length()) {}
    vnTextAdapter(const void* bytes, unsigned int size)
        : vnSerializeAdapterMemory(const_cast<void*>(bytes), size) // only read
    {
    }
    void ref() override {}
    void unref() override {}
};

/// Whether the adapter is a block of memory, and reads as that class does.
inline bool vnIsMemory(const vnSerializeAdapter& adapter) noexcept
{
    // The types of other libraries that are the same and stand elsewhere only cost time.
    const std::type_info* type = &typeid(adapter);
    return type == &typeid(vnSerializeAdapterMemory) || type == &typeid(vnTextAdapter);
}
