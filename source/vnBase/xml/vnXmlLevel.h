// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnXmlSax.h>

#include <string_view>

/// What is known of the element of one level. The bytes of its name and of its attributes are kept as they
/// were read; strings and the set are made of them when they are first asked for. Nothing is freed between
/// elements.
struct vnXmlSax::Level : vnSharedMemory
{
    /// Takes the place of the element before.
    void start(std::string_view elementName);

    /// `value` may be followed by `replaceValue`.
    void addAttribute(std::string_view attributeName, std::string_view value);

    /// Gives the attribute added last this value.
    void replaceValue(vnString&& value);

    std::string_view getRawName() const noexcept { return {m_text.data(), m_nameLength}; }
    const vnString& getName();

    /// Of attribute `index`, counted from 0.
    const vnString& getAttributeName(unsigned int index);
    const vnString& getAttributeValue(unsigned int index);
    unsigned int getAttributeCount() const noexcept { return m_count; }

    /// Null when there is none of this name.
    const vnString* findAttribute(const vnString& name);
    AttributeSet& getSet();

private:
    struct Attribute
    {
        unsigned int nameBegin = 0;
        unsigned int nameLength = 0;
        unsigned int valueBegin = 0;
        unsigned int valueLength = 0;
        bool hasValue = false; // the string is made
        vnString name;         // perhaps of an attribute before: asked for by getAttributeName
        vnString value;
    };

    static void make(vnString& string, std::string_view text);
    std::string_view textAt(unsigned int begin, unsigned int length) const noexcept
    {
        return {m_text.data() + begin, length};
    }

    vnDynamicArray<char> m_text{256}; // the name, then names and values
    unsigned int m_nameLength = 0;
    vnString m_name; // perhaps of the element before
    vnDynamicArray<Attribute> m_attributes{8};
    unsigned int m_count = 0; // of m_attributes that are this element's
    AttributeSet m_set;
    bool m_hasSet = true; // it holds the attributes
};
