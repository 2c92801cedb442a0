// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <string>
#include <utility>

inline vnDynamicType arrayOf(std::initializer_list<vnDynamicType> elements)
{
    return vnDynamicTypeArray(
        vnArray<vnDynamicType>(elements.begin(), static_cast<unsigned int>(elements.size())));
}

inline vnDynamicType containerOf(std::initializer_list<std::pair<const char*, vnDynamicType>> attributes)
{
    vnDynamicTypeContainer container;
    for (const auto& [name, value] : attributes)
        container.setAttribute(name, value);
    return vnDynamicTypeCustom<vnDynamicTypeContainer>(container);
}

/// Of the bytes of a text that stays, to be read.
inline vnRefPointer<vnSerializeAdapter> memoryOf(const std::string& text)
{
    return new vnSerializeAdapterMemory(const_cast<char*>(text.data()),
                                        static_cast<unsigned int>(text.size()));
}

vnRefPointer<vnSerializeAdapter> memoryOf(std::string&& text) = delete;

/// All that an adapter has.
inline std::string takeAll(vnSerializeAdapter& adapter)
{
    std::string text(adapter.length(), '\0');
    adapter.read(reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    return text;
}

/// `count` times the text.
inline std::string repeated(const std::string& text, unsigned int count)
{
    std::string all;
    for (unsigned int i = 0; i < count; ++i)
        all += text;
    return all;
}
