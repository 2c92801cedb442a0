// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterBase64Encoder.h>

#include "vnDelivery.h"
#include "vnTextSource.h"

#include <exception>
#include <limits>

vnType vnSerializeAdapterBase64Encoder::s_type(vnSerializeAdapter::getClassType(),
                                               "vnSerializeAdapterBase64Encoder");

namespace
{
constexpr char VN_ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned char VN_TERMINATOR = '=';
constexpr unsigned int VN_GROUPS = 1024; // in one write to the target

struct Pairs
{
    unsigned char text[4096][2];
};

constexpr Pairs makePairs()
{
    Pairs pairs{};
    for (unsigned int i = 0; i < 4096; ++i)
    {
        pairs.text[i][0] = static_cast<unsigned char>(VN_ALPHABET[i >> 6]);
        pairs.text[i][1] = static_cast<unsigned char>(VN_ALPHABET[i & 63]);
    }
    return pairs;
}

// Both characters of twelve bits.
constexpr Pairs VN_PAIRS = makePairs();

// Characters outside the alphabet go with the range below which they stand.
constexpr unsigned int valueOf(unsigned int character)
{
    if (character >= 'a')
        return (character - 'a' + 26) & 63;
    if (character >= 'A')
        return (character - 'A') & 63;
    if (character >= '0')
        return (character - '0' + 52) & 63;
    return character == '+' ? 62 : 63;
}

constexpr unsigned int VN_NO_VALUE = 0x80000000u;

struct Values
{
    unsigned int bits[4][256];
};

constexpr Values makeValues()
{
    Values values{};
    for (unsigned int place = 0; place < 4; ++place)
        for (unsigned int i = 0; i < 256; ++i)
            values.bits[place][i] =
                i <= ' ' || i == VN_TERMINATOR ? VN_NO_VALUE : valueOf(i) << (18 - 6 * place);
    return values;
}

// The bits of a character at each place of a group.
constexpr Values VN_VALUES = makeValues();

void putPair(unsigned int bits, unsigned char* to)
{
    std::memcpy(to, VN_PAIRS.text[bits & 4095], 2);
}

// Encodes whole groups; answers the end of the text.
unsigned char* encode(const unsigned char* from, unsigned int count, unsigned char* to)
{
    const unsigned char* end = from + count;
    for (; end - from >= 8; from += 6, to += 8)
    {
        vnUInt64 bits = 0;
        for (unsigned int i = 0; i < 6; ++i) // one load and a swap of bytes
            bits = bits << 8 | from[i];
        for (unsigned int i = 0; i < 4; ++i)
            putPair(static_cast<unsigned int>(bits >> (36 - 12 * i)), to + 2 * i);
    }
    for (; from != end; from += 3, to += 4)
    {
        const unsigned int bits = from[0] << 16 | from[1] << 8 | from[2];
        putPair(bits >> 12, to);
        putPair(bits, to + 2);
    }
    return to;
}

// Puts a 0 behind each character, from the last one on.
unsigned char* widen(unsigned char* text, unsigned char* end)
{
    const auto size = static_cast<unsigned int>(end - text);
    for (unsigned int i = size; i-- > 0;)
    {
        text[2 * i] = text[i];
        text[2 * i + 1] = 0;
    }
    return text + 2 * size;
}

// Decodes the whole groups at hand that have nothing between their characters; answers how many bytes came.
template <unsigned int characterSize>
unsigned int decode(vnTextSource& source, unsigned char* to, unsigned int room)
{
    constexpr unsigned int groupSize = 4 * characterSize;
    const unsigned char* next = source.getNext();
    const unsigned char* begin = next;
    const auto atHand = static_cast<std::size_t>(source.getEnd() - next) / groupSize;
    const auto groups = static_cast<unsigned int>(std::min<std::size_t>(atHand, room / 3));
    const unsigned char* end = next + std::size_t{groups} * groupSize;
    for (; next != end; next += groupSize, to += 3)
    {
        const unsigned int bits = VN_VALUES.bits[0][next[0]] | VN_VALUES.bits[1][next[characterSize]] |
                                  VN_VALUES.bits[2][next[2 * characterSize]] |
                                  VN_VALUES.bits[3][next[3 * characterSize]];
        if (bits & VN_NO_VALUE)
            break;
        to[0] = static_cast<unsigned char>(bits >> 16);
        to[1] = static_cast<unsigned char>(bits >> 8);
        to[2] = static_cast<unsigned char>(bits);
    }
    source.moveTo(next);
    return static_cast<unsigned int>(next - begin) / groupSize * 3;
}
} // namespace

vnSerializeAdapterBase64Encoder::vnSerializeAdapterBase64Encoder(vnSerializeAdapter* target)
{
    setLengthIsEstimate();
    holdTarget(target);
}

vnSerializeAdapterBase64Encoder::~vnSerializeAdapterBase64Encoder() noexcept(false)
{
    try
    {
        vnSerializeAdapterBase64Encoder::flush();
    }
    catch (...)
    {
        if (std::uncaught_exceptions() == 0)
            throw; // the members are destroyed nevertheless
    }
}

void vnSerializeAdapterBase64Encoder::setAdapter(vnSerializeAdapter* target)
{
    m_pendingRead = m_pendingWrite = 0;
    startAnew(target);
}

void vnSerializeAdapterBase64Encoder::flush()
{
    vnSerializeAdapter::flush();
    vnSerializeAdapter* target = getAdapter();
    if (!isTargetDirty() || !target)
    {
        m_pendingRead = 0;
        return;
    }
    if (m_pendingWrite > 0)
    {
        const unsigned int size = m_pendingWrite + 1;
        std::memset(m_writeBytes + m_pendingWrite, 0, 3 - m_pendingWrite);
        unsigned char text[8];
        encode(m_writeBytes, 3, text);
        const unsigned char* end = text + size;
        if (vnCharacterSize(*target) == 2)
            end = widen(text, text + size);
        target->write(text, static_cast<unsigned int>(end - text));
        m_pendingWrite = 0;
    }
    flushTarget();
}

void vnSerializeAdapterBase64Encoder::write_imp(unsigned char* data, unsigned int count)
{
    vnSerializeAdapter* target = getAdapter();
    if (!target || count == 0)
        return;
    noteWritten();
    const bool isWide = vnCharacterSize(*target) == 2;
    unsigned char text[VN_GROUPS * 8];
    unsigned int done = 0;
    const auto put = [&](const unsigned char* from, unsigned int size)
    {
        unsigned char* end = encode(from, size, text);
        if (isWide)
            end = widen(text, end);
        target->write(text, static_cast<unsigned int>(end - text));
    };
    if (m_pendingWrite > 0)
    {
        done = std::min(count, 3 - m_pendingWrite);
        std::memcpy(m_writeBytes + m_pendingWrite, data, done);
        if (m_pendingWrite + done < 3)
        {
            m_pendingWrite += done;
            return;
        }
        put(m_writeBytes, 3); // when that throws, what was pending before still is
        m_pendingWrite = 0;
    }
    while (count - done >= 3)
    {
        const unsigned int step = std::min((count - done) / 3, VN_GROUPS) * 3;
        put(data + done, step);
        done += step;
    }
    while (done < count)
        m_writeBytes[m_pendingWrite++] = data[done++];
}

void vnSerializeAdapterBase64Encoder::write_imp(unsigned char byte)
{
    if (m_pendingWrite == 2 || !getAdapter())
    {
        write_imp(&byte, 1);
        return;
    }
    noteWritten();
    m_writeBytes[m_pendingWrite++] = byte;
}

unsigned int vnSerializeAdapterBase64Encoder::read_imp(unsigned char* data, unsigned int count)
{
    const unsigned int pending = takePending(data, count);
    if (pending == count || !getAdapter())
        return pending;
    vnTextSource source(*getAdapter());
    return vnDeliver(*this, data, pending, [&](unsigned int& done) { readText(source, data, count, done); });
}

// Reads up to `count` bytes and counts them in `done` as they come.
void vnSerializeAdapterBase64Encoder::readText(vnTextSource& source, unsigned char* data, unsigned int count,
                                               unsigned int& done)
{
    while (done < count)
    {
        unsigned char* to = data + done;
        const unsigned int left = count - done;
        done += source.getCharacterSize() == 2 ? decode<2>(source, to, left) : decode<1>(source, to, left);
        if (done == count)
            break;
        if (!readGroup(source, count - done))
            break;
        done += takePending(data + done, count - done);
    }
    source.release();
}

unsigned char vnSerializeAdapterBase64Encoder::read_imp()
{
    unsigned char byte = 0;
    return vnSerializeAdapterBase64Encoder::read_imp(&byte, 1) > 0 ? byte : 0;
}

unsigned int vnSerializeAdapterBase64Encoder::length_imp()
{
    vnSerializeAdapter* target = getAdapter();
    const vnUInt64 pending = m_pendingRead + m_pendingWrite;
    const vnUInt64 text = target ? target->length() * vnUInt64{3} / (4 * vnCharacterSize(*target)) : 0;
    constexpr vnUInt64 most = std::numeric_limits<unsigned int>::max();
    return static_cast<unsigned int>(std::min(text + pending, most));
}

// Takes what stands before the next group that yields bytes.
unsigned char vnSerializeAdapterBase64Encoder::hasData_imp()
{
    if (m_pendingRead > 0)
        return 1;
    vnSerializeAdapter* target = getAdapter();
    if (!target || !target->supportAction(VN_SERIALIZE_INPUT))
        return false;
    return vnTextSource(*target).hasPair(VN_TERMINATOR);
}

// Reads the next group that yields bytes; `wanted` are those that are needed. Answers 0 at the end.
bool vnSerializeAdapterBase64Encoder::readGroup(vnTextSource& source, unsigned int wanted)
{
    const vnUInt64 text = (vnUInt64{wanted} + 2) / 3 * 4 * source.getCharacterSize();
    int character = 0;
    while (m_pendingRead == 0 && character >= 0)
    {
        unsigned int place = 0;
        m_readBits = 0;
        source.beginGroup();
        for (; place < 4; ++place)
        {
            const auto used = place * source.getCharacterSize();
            character = source.get(static_cast<unsigned int>(std::min<vnUInt64>(text, 65536)) - used);
            if (character < 0 || character == VN_TERMINATOR)
                break;
            m_readBits |= VN_VALUES.bits[place][character];
        }
        m_pendingRead = place > 1 ? place - 1 : 0;
    }
    return m_pendingRead > 0;
}

unsigned int vnSerializeAdapterBase64Encoder::takePending(unsigned char* to, unsigned int count)
{
    const unsigned int taken = std::min(count, m_pendingRead);
    for (unsigned int i = 0; i < taken; ++i, m_readBits <<= 8)
        to[i] = static_cast<unsigned char>(m_readBits >> 16);
    m_pendingRead -= taken;
    return taken;
}
