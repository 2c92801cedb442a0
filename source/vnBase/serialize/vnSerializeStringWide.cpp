// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeString.h>

#include "vnThreadScratch.h"

namespace
{
constexpr unsigned int unitLimit = 65536; // where the 16-bit index of a read wraps
constexpr unsigned int chunkUnits = 256;

struct Units
{
    const char16_t* begin;
    unsigned int count;
};

// Valid through the thread's next 9 wide conversions.
Units unitsOf(const vnString& text)
{
    return {text.getWideString(), text.getWideStringLength()};
}

void encodeUnit(char16_t unit, unsigned char bigEndian, unsigned char* bytes)
{
    bytes[bigEndian ? 1 : 0] = static_cast<unsigned char>(unit);
    bytes[bigEndian ? 0 : 1] = static_cast<unsigned char>(unit >> 8);
}

char16_t decodeUnit(const unsigned char* bytes, unsigned char bigEndian)
{
    return static_cast<char16_t>(bigEndian ? bytes[0] << 8 | bytes[1] : bytes[1] << 8 | bytes[0]);
}

// All of them are encoded before the first is written: the adapter may convert texts itself.
void writeUnits(vnSerializeAdapter* adapter, const Units& units, unsigned char bigEndian)
{
    if (units.count == 0)
        return;
    unsigned char shortText[2 * chunkUnits];
    vnDynamicArray<unsigned char> longText;
    unsigned char* bytes = shortText;
    if (units.count > chunkUnits)
    {
        longText.setSize(2 * units.count);
        bytes = longText.data();
    }
    for (unsigned int i = 0; i < units.count; ++i)
        encodeUnit(units.begin[i], bigEndian, bytes + 2 * i);
    adapter->write(bytes, 2 * units.count);
}
} // namespace

void vnSerializeStringWide::write(vnSerializeAdapter* adapter)
{
    writeUnits(adapter, unitsOf(m_text), m_bigEndian);
    unsigned char bytes[2];
    encodeUnit(m_terminator, m_bigEndian, bytes);
    adapter->write(bytes, 2);
}

void vnSerializeStringWide::read(vnSerializeAdapter* adapter)
{
    vnThreadScratch<char16_t, chunkUnits, struct WideText> scratch;
    vnDynamicArray<char16_t>& units = *scratch;
    unsigned int count = 0;
    while (adapter->hasData())
    {
        // Only the first byte is known to be there; the other one is 0 at the end of the data.
        unsigned char bytes[2] = {0, 0};
        adapter->read(bytes, 2);
        const char16_t unit = decodeUnit(bytes, m_bigEndian);
        if (unit == m_terminator)
            break;
        units[count] = unit;
        count = (count + 1) % unitLimit;
    }
    m_text = vnString(units.data(), static_cast<unsigned short>(count), 0);
}

void vnSerializeStringWide::pushBack(vnSerializeAdapter* adapter)
{
    unsigned char bytes[2];
    encodeUnit(m_terminator, m_bigEndian, bytes);
    adapter->pushBack(bytes, 2);
    const Units units = unitsOf(m_text);
    for (unsigned int i = units.count; i > 0; --i)
    {
        encodeUnit(units.begin[i - 1], m_bigEndian, bytes);
        adapter->pushBack(bytes, 2);
    }
}

unsigned int vnSerializeStringWide::getDataSize(vnSerializeAdapter*) const
{
    return 2u * m_text.getWideStringLength() + 2u;
}

void vnWriteAdapterStringUtils::writeText(vnSerializeAdapter* adapter, const vnString& text)
{
    if (!text.isEmpty())
        adapter->write(reinterpret_cast<const unsigned char*>(text.getString()), text.length());
}

void vnWriteAdapterStringUtils::writeWideText(unsigned char bigEndian, vnSerializeAdapter* adapter,
                                              const vnString& text)
{
    writeUnits(adapter, unitsOf(text), bigEndian);
}
