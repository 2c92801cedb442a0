// SPDX-License-Identifier: MIT
#include <vnBase/vnStringTokenizer.h>

#include <vnBase/vnDynamicArray.h>

#include <algorithm>
#include <utility>

namespace
{
template <class Character>
unsigned int lengthOf(const Character* text, int length)
{
    if (!text)
        return 0;
    if (length >= 0)
        return static_cast<unsigned int>(length);
    std::size_t count = 0;
    while (text[count])
        ++count;
    return vnCheckedSize(count);
}

vnArray<unsigned char> bytesOf(const char* text, unsigned int length)
{
    vnArray<unsigned char> bytes(length);
    if (length)
        std::memcpy(bytes.data(), text, length);
    return bytes;
}

// Big-endian, as 16-bit text is read unless somebody says otherwise.
vnArray<unsigned char> bytesOf(const char16_t* text, unsigned int length)
{
    vnArray<unsigned char> bytes(vnCheckedSize(2 * static_cast<std::size_t>(length)));
    for (unsigned int i = 0; i < length; ++i)
    {
        bytes[2 * i] = static_cast<unsigned char>(text[i] >> 8);
        bytes[2 * i + 1] = static_cast<unsigned char>(text[i]);
    }
    return bytes;
}
} // namespace

vnStringTokenizer::vnStringTokenizer(const vnString& text)
    : m_bytes(bytesOf(text.getString(), text.length())), m_adapter(m_bytes.data(), m_bytes.getSize())
{
}

vnStringTokenizer::vnStringTokenizer(const char* text, int length)
    : m_bytes(bytesOf(text, lengthOf(text, length))), m_adapter(m_bytes.data(), m_bytes.getSize())
{
}

vnStringTokenizer::vnStringTokenizer(const char16_t* text, int length)
    : m_bytes(bytesOf(text, lengthOf(text, length))), m_adapter(m_bytes.data(), m_bytes.getSize())
{
    useUnicode(1);
}

vnStringTokenizer::~vnStringTokenizer() noexcept(false) = default;

vnLexDataType vnStringTokenizer::getDataType(unsigned char next)
{
    if (next)
        read(&m_adapter);
    return getDataType();
}

const vnLexTokenData& vnStringTokenizer::getTokenData(unsigned char next)
{
    if (next)
        read(&m_adapter);
    return getTokenData();
}

unsigned char vnStringTokenizer::hasData(unsigned int count)
{
    return m_adapter.hasData(count);
}

void vnStringTokenizer::pushBack()
{
    pushBack(&m_adapter);
}

void vnStringTokenizer::pushBack(const vnString& text)
{
    if (!isUnicode())
    {
        m_adapter.pushBack(reinterpret_cast<const unsigned char*>(text.getString()), text.length());
        refund(text.length());
        return;
    }
    // Text that is no UTF-8 is of the bytes that it has.
    const bool isUtf8 = !text.isAsciiString();
    vnArray<char16_t> units(text.length() + 1u);
    unsigned int count = isUtf8 ? text.getWideString(units.data(), 1) : text.length();
    if (!isUtf8)
        std::copy_n(reinterpret_cast<const unsigned char*>(text.getString()), count, units.data());
    for (; count > 0; --count)
        pushBack(&m_adapter, units[count - 1]);
}

vnArray<vnLexTokenData> getLexTokenDataArray(const char* text, unsigned char skipWhiteSpace)
{
    vnStringTokenizer tokens(text);
    vnDynamicArray<vnLexTokenData> found;
    while (tokens.getDataType(1) != VN_LEX_NONE)
        if (!skipWhiteSpace || tokens.getDataType() != VN_LEX_WHITESPACE)
            found.append(tokens.getTokenData());
    vnArray<vnLexTokenData> result(found.getSize());
    for (unsigned int i = 0; i < found.getSize(); ++i)
        result[i] = std::move(found[i]);
    return result;
}
