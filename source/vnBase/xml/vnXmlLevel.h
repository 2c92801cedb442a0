// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnXmlSax.h>

#include <string_view>

/// What is known of the element of one level. The bytes of its name and of its attributes are kept as they
/// were read; strings and the set are made of them when they are first asked for. Nothing is freed between
/// elements.
struct vnXmlSax::Level : vnSharedMemory
{
    /// Takes the place of the element before. Its name has `tokens` tokens.
    void start(std::string_view elementName, unsigned int tokens);

    /// An attribute comes in two steps, since the bytes of its name may be gone when its value is read. It is
    /// there behind the second.
    void addName(std::string_view attributeName);
    void addValue(std::string_view value);

    std::string_view getRawName() const noexcept { return {m_text.data(), m_nameLength}; }

    /// The bytes of the name that are no tokens.
    unsigned int getNameExtra() const noexcept { return m_nameExtra; }
    const vnString& getName();

    /// Of attribute `index`, counted from 0.
    const vnString& getAttributeName(unsigned int index);
    const vnString& getAttributeValue(unsigned int index);
    std::string_view getRawAttributeName(unsigned int index) const noexcept
    {
        return textAt(m_attributes.data()[index].nameBegin, m_attributes.data()[index].nameLength);
    }
    std::string_view getRawAttributeValue(unsigned int index) const noexcept
    {
        return textAt(m_attributes.data()[index].valueBegin, m_attributes.data()[index].valueLength);
    }
    unsigned int getAttributeCount() const noexcept { return m_attributes.getSize(); }

    /// Null when there is none of this name.
    const vnString* findAttribute(const vnString& name);

    /// From now on it is kept as the attributes come, so that what its user does to it counts.
    AttributeSet& getSet();

    unsigned int contentsBegin = 0; // as a token position

private:
    struct Attribute
    {
        unsigned int nameBegin = 0;
        unsigned int nameLength = 0;
        unsigned int valueBegin = 0;
        unsigned int valueLength = 0;
    };
    struct Strings
    {
        vnString name;
        vnString value;
    };

    Strings& stringsOf(unsigned int index);
    void enter(unsigned int index);
    void append(std::string_view text);
    static void make(vnString& string, std::string_view text);
    std::string_view textAt(unsigned int begin, unsigned int length) const noexcept
    {
        return {m_text.data() + begin, length};
    }

    vnDynamicArray<char> m_text{256}; // the name, then names and values
    unsigned int m_nameLength = 0;
    unsigned int m_nameExtra = 0;
    unsigned int m_newName = 0; // where the name of an attribute begins whose value comes
    vnString m_name;            // perhaps of the element before
    vnDynamicArray<Attribute> m_attributes{8};
    vnDynamicArray<Strings> m_strings{8}; // of the first attributes; perhaps of an element before
    AttributeSet m_set;
    bool m_hasSet = true; // it holds the attributes
};
