// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterBCDEncoder.h>

#include "vnDelivery.h"
#include "vnTextSource.h"

vnType vnSerializeAdapterBCDEncoder::s_type(vnSerializeAdapter::getClassType(),
                                            "vnSerializeAdapterBCDEncoder");

namespace
{
constexpr char VN_DIGITS[] = "0123456789ABCDEF";
constexpr unsigned int VN_BYTES = 1024; // in one write to the target

struct Texts
{
    unsigned char text[256][4];
};

template <unsigned int characterSize>
constexpr Texts makeTexts()
{
    Texts texts{};
    for (unsigned int i = 0; i < 256; ++i)
    {
        texts.text[i][0] = static_cast<unsigned char>(VN_DIGITS[i >> 4]);
        texts.text[i][characterSize] = static_cast<unsigned char>(VN_DIGITS[i & 15]);
    }
    return texts;
}

// The characters of each byte.
template <unsigned int characterSize>
constexpr Texts VN_TEXTS = makeTexts<characterSize>();

// Characters that are no digits go with the range below which they stand.
constexpr unsigned int valueOf(unsigned int character)
{
    if (character >= 'a')
        return (character - 'a' + 10) & 15;
    if (character >= 'A')
        return (character - 'A' + 10) & 15;
    return (character - '0') & 15;
}

constexpr unsigned int VN_NO_VALUE = 0x8000;

struct Values
{
    unsigned short high[256];
    unsigned short low[256];
};

constexpr Values makeValues()
{
    Values values{};
    for (unsigned int i = 0; i < 256; ++i)
    {
        values.high[i] = static_cast<unsigned short>(i <= ' ' ? VN_NO_VALUE : valueOf(i) << 4);
        values.low[i] = static_cast<unsigned short>(i <= ' ' ? VN_NO_VALUE : valueOf(i));
    }
    return values;
}

constexpr Values VN_VALUES = makeValues();

template <unsigned int characterSize>
void encode(const unsigned char* from, unsigned int count, unsigned char* to)
{
    for (unsigned int i = 0; i < count; ++i, to += 2 * characterSize)
        std::memcpy(to, VN_TEXTS<characterSize>.text[from[i]], 2 * characterSize);
}

// Decodes the pairs at hand that have nothing between their digits; answers how many bytes came.
template <unsigned int characterSize>
unsigned int decode(vnTextSource& source, unsigned char* to, unsigned int room)
{
    constexpr unsigned int pairSize = 2 * characterSize;
    const unsigned char* next = source.getNext();
    const auto atHand = static_cast<std::size_t>(source.getEnd() - next) / pairSize;
    const auto pairs = static_cast<unsigned int>(std::min<std::size_t>(atHand, room));
    unsigned int done = 0;
    for (; done < pairs; ++done, next += pairSize)
    {
        const unsigned int value = VN_VALUES.high[next[0]] | VN_VALUES.low[next[characterSize]];
        if (value & VN_NO_VALUE)
            break;
        to[done] = static_cast<unsigned char>(value);
    }
    source.moveTo(next);
    return done;
}

// Reads one pair; negative when there is none. A single digit at the end stays in the source.
int readPair(vnTextSource& source, unsigned int wanted)
{
    const unsigned int text = std::min(wanted, 65536u) * 2 * source.getCharacterSize();
    source.beginGroup();
    const int high = source.get(text);
    if (high < 0)
        return -1;
    const int low = source.get(text - source.getCharacterSize());
    if (low >= 0)
        return VN_VALUES.high[high] | VN_VALUES.low[low];
    source.giveGroupBack();
    return -1;
}

// Reads up to `count` bytes and counts them in `done` as they come.
void readText(vnTextSource& source, unsigned char* data, unsigned int count, unsigned int& done)
{
    while (done < count)
    {
        unsigned char* to = data + done;
        const unsigned int left = count - done;
        done += source.getCharacterSize() == 2 ? decode<2>(source, to, left) : decode<1>(source, to, left);
        if (done == count)
            break;
        const int byte = readPair(source, count - done);
        if (byte < 0)
            break;
        data[done++] = static_cast<unsigned char>(byte);
    }
    source.release();
}
} // namespace

vnSerializeAdapterBCDEncoder::vnSerializeAdapterBCDEncoder(vnSerializeAdapter* target)
{
    setLengthIsEstimate();
    holdTarget(target);
}

vnSerializeAdapterBCDEncoder::~vnSerializeAdapterBCDEncoder() noexcept(false) = default;

void vnSerializeAdapterBCDEncoder::setAdapter(vnSerializeAdapter* target)
{
    startAnew(target);
}

void vnSerializeAdapterBCDEncoder::flush()
{
    vnSerializeAdapter::flush();
    flushTarget();
}

void vnSerializeAdapterBCDEncoder::write_imp(unsigned char* data, unsigned int count)
{
    vnSerializeAdapter* target = getAdapter();
    if (!target || count == 0)
        return;
    noteWritten();
    const unsigned int characterSize = vnCharacterSize(*target);
    unsigned char text[VN_BYTES * 4];
    for (unsigned int done = 0; done < count;)
    {
        const unsigned int step = std::min(count - done, VN_BYTES);
        characterSize == 2 ? encode<2>(data + done, step, text) : encode<1>(data + done, step, text);
        target->write(text, step * 2 * characterSize);
        done += step;
    }
}

void vnSerializeAdapterBCDEncoder::write_imp(unsigned char byte)
{
    vnSerializeAdapter* target = getAdapter();
    if (!target)
        return;
    noteWritten();
    if (vnCharacterSize(*target) == 2)
        target->write(VN_TEXTS<2>.text[byte], 4);
    else
        target->write(VN_TEXTS<1>.text[byte], 2);
}

unsigned int vnSerializeAdapterBCDEncoder::read_imp(unsigned char* data, unsigned int count)
{
    if (!getAdapter())
        return 0;
    vnTextSource source(*getAdapter());
    return vnDeliver(*this, data, 0, [&](unsigned int& done) { readText(source, data, count, done); });
}

unsigned char vnSerializeAdapterBCDEncoder::read_imp()
{
    unsigned char byte = 0;
    return vnSerializeAdapterBCDEncoder::read_imp(&byte, 1) > 0 ? byte : 0;
}

unsigned int vnSerializeAdapterBCDEncoder::length_imp()
{
    vnSerializeAdapter* target = getAdapter();
    return target ? target->length() / (2 * vnCharacterSize(*target)) : 0;
}

// Takes the white space before the digits.
unsigned char vnSerializeAdapterBCDEncoder::hasData_imp()
{
    vnSerializeAdapter* target = getAdapter();
    if (!target || !target->supportAction(VN_SERIALIZE_INPUT))
        return false;
    return vnTextSource(*target).hasPair(' '); // which no character equals
}
