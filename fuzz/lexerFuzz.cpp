// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnSerializeLex.h>

#include <algorithm>

// The lexical reader with any settings over any bytes: it ends, each token is made of bytes of the stream
// and can be given back, and what is read out of a window is what is read byte by byte, whatever is done with
// the reader between two tokens. The input is four bytes of settings, a length and a byte for each of the
// first tokens that says what is done behind it, and the text.

namespace
{
// The same bytes, one by one. As a length it may tell the next one only.
class Bytes : public vnSerializeAdapter
{
public:
    Bytes(const std::string& text, bool isVague) : m_text(text), m_isVague(isVague) {}

    unsigned int getLeft() { return length() - length_imp() + getUnread(); }

protected:
    using vnSerializeAdapter::read_imp;
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char) override {}
    unsigned char read_imp() override
    {
        return m_next < m_text.size() ? static_cast<unsigned char>(m_text[m_next++]) : 0;
    }
    unsigned int length_imp() override { return m_isVague ? std::min(getUnread(), 1u) : getUnread(); }

private:
    unsigned int getUnread() const { return static_cast<unsigned int>(m_text.size() - m_next); }

    const std::string& m_text;
    const bool m_isVague;
    std::size_t m_next = 0;
};

void set(vnSerializeLex& lex, vnUInt64 settings)
{
    const auto bit = [settings](unsigned int i) { return static_cast<unsigned char>(settings >> i & 1); };
    lex.useStrings(bit(0));
    lex.useSet(bit(1));
    lex.useEscape(bit(2));
    lex.useHashComment(bit(3));
    lex.useSlashComment(bit(4));
    lex.useComment(bit(5));
    lex.usePlainIdentifier(bit(6));
    lex.useTokensOnly(bit(7) & bit(8));
    lex.useHexMode(bit(9));
    if (bit(10))
        lex.useUtf8(1);
    if (bit(11) & bit(12))
        lex.useUnicode(1, bit(13));
    lex.useDecimalToken(bit(14) ? vnSerializeLex::VN_DECIMAL_BOTH : '.');
    if (bit(15))
        lex.setMaxScanTokens(static_cast<unsigned int>(settings >> 24));
}

void act(vnSerializeLex& lex, vnSerializeAdapter& adapter, vnSerializeAdapter& out, unsigned char action)
{
    const auto character = static_cast<char16_t>(action * 0x0141u); // of one, two and three bytes
    switch (action % 8)
    {
    case 1: // to be read with other settings
        lex.pushBack(&adapter);
        set(lex, action * 0x01030507u);
        break;
    case 2:
        lex.qPush(character);
        lex.qPushBack(&adapter);
        break;
    case 3:
        lex.qPush(character);
        lex.qPush('x');
        lex.qPushBack(&adapter);
        lex.pushBack(&adapter);
        break;
    case 4:
        lex.pushBack(&adapter, character);
        break;
    case 5:
        if (lex.hasLexToken(&adapter))
            lex.pushBack(&adapter, lex.getLexToken(&adapter));
        break;
    case 6:
        lex.write(&out);
        break;
    case 7:
        lex.useDecimalToken(action);
        break;
    default:
        break;
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const vnUInt64 settings = input.number(4);
    const std::string actions = input.shortText();
    std::string text = input.rest();
    vnSerializeAdapterMemory memory(text.data(), static_cast<unsigned int>(text.size()));
    const auto bit = [settings](unsigned int i) { return static_cast<unsigned char>(settings >> i & 1); };
    Bytes bytes(text, bit(18) != 0);
    vnSerializeLex inWindow(bit(16), bit(17)), byByte(bit(16), bit(17));
    set(inWindow, settings);
    set(byByte, settings);
    vnSerializeAdapterQueue outOfWindow(VN_QUEUE_FIFO), outOfBytes(VN_QUEUE_FIFO);
    for (std::size_t count = 0;; ++count)
    {
        const unsigned int before = memory.length();
        inWindow.read(&memory);
        byByte.read(&bytes);
        VN_FUZZ_CHECK(inWindow.getDataType() == byByte.getDataType());
        VN_FUZZ_CHECK(inWindow.getData() == byByte.getData());
        VN_FUZZ_CHECK(memory.length() == bytes.getLeft());
        VN_FUZZ_CHECK(inWindow.getScannedBuffer() == byByte.getScannedBuffer());
        if (inWindow.getDataType() == VN_LEX_NONE)
            return 0;
        VN_FUZZ_CHECK(memory.length() < before);
        const unsigned int left = memory.length();
        const vnDynamicType value = inWindow.getData();
        inWindow.pushBack(&memory);
        VN_FUZZ_CHECK(memory.length() > left && memory.length() <= before);
        inWindow.read(&memory);
        VN_FUZZ_CHECK(inWindow.getData() == value);
        VN_FUZZ_CHECK(memory.length() == left);
        if (count >= actions.size())
            continue;
        const auto action = static_cast<unsigned char>(actions[count]);
        act(inWindow, memory, outOfWindow, action);
        act(byByte, bytes, outOfBytes, action);
        VN_FUZZ_CHECK(inWindow.getScannedBuffer() == byByte.getScannedBuffer());
        VN_FUZZ_CHECK(memory.length() == bytes.getLeft());
        VN_FUZZ_CHECK(outOfWindow.length() == outOfBytes.length());
    }
}
