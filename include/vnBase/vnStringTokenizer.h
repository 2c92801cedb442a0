// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeLex.h>

/// Reads tokens from a text, of which it keeps a copy.
///
///     vnStringTokenizer tokens("a + 1");
///     while (tokens.getDataType(1) != VN_LEX_NONE)
///         ...
class VN_BASE_API vnStringTokenizer : public vnSerializeLex
{
public:
    explicit vnStringTokenizer(const vnString& text);

    /// A `length` of -1 means up to the NUL. A 16-bit text is read as such.
    explicit vnStringTokenizer(const char* text, int length = -1);
    explicit vnStringTokenizer(const char16_t* text, int length = -1);
    ~vnStringTokenizer() noexcept(false) override;

    /// The kind or the whole of the current token; with `next` set, of the next one, which is read first.
    vnLexDataType getDataType(unsigned char next);
    const vnLexTokenData& getTokenData(unsigned char next);
    using vnSerializeLex::getDataType;
    using vnSerializeLex::getTokenData;

    unsigned char hasData(unsigned int count = 1);

    /// Gives the current token back, or puts a text in front of what is still to be read. In 16-bit mode it
    /// is taken as UTF-8, and one that is not as a character a byte.
    void pushBack();
    void pushBack(const vnString& text);
    using vnSerializeLex::pushBack;

private:
    vnArray<unsigned char> m_bytes;
    vnSerializeAdapterMemory m_adapter;
};
