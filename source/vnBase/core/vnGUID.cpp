// SPDX-License-Identifier: MIT
#include <vnBase/vnGUID.h>

#include "vnMachineIdentifier.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnThread.h>
#include <vnBase/vnTime.h>

#include <algorithm>
#include <atomic>

namespace
{
constexpr unsigned int VN_TEXT_LENGTH = 38;
constexpr unsigned int VN_THREAD_NUMBERS = 10000;
constexpr double VN_SECONDS_1582_TO_1970 = 12219292800.0;
constexpr double VN_UNITS_PER_SECOND = 1e7;

// The time stamp given last to each thread, by its number. All threads for which there was no number share
// the last place.
std::atomic<vnUInt64> lastTimes[VN_THREAD_NUMBERS + 1];

vnUInt64 nextTime()
{
    const auto now =
        static_cast<vnUInt64>((vnTime::systemSeconds() + VN_SECONDS_1582_TO_1970) * VN_UNITS_PER_SECOND);
    std::atomic<vnUInt64>& last = lastTimes[std::min(vnThread::getThreadEnum(0), VN_THREAD_NUMBERS)];
    vnUInt64 seen = last.load(std::memory_order_relaxed);
    vnUInt64 time;
    do
        time = now > seen ? now : seen + 1;
    while (!last.compare_exchange_weak(seen, time, std::memory_order_relaxed));
    return time;
}

template <class Char>
int digitValue(Char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    return -1;
}

// What a text lacks to be a GUID, in the order in which it is tested.
enum class Malformed
{
    NOTHING,
    FRAME,
    DATA1,
    DATA2,
    DATA3,
    DATA4
};

template <class Char>
bool hasFrame(const Char* text, unsigned int length)
{
    return text && length == VN_TEXT_LENGTH && text[0] == '{' && text[9] == '-' && text[14] == '-' &&
           text[19] == '-' && text[24] == '-' && text[37] == '}';
}

// The value of `count` digits from `at`; answers false when one of them is none.
template <class Char>
bool readDigits(const Char* text, unsigned int at, unsigned int count, vnUInt64& value)
{
    value = 0;
    for (unsigned int i = at; i < at + count; ++i)
    {
        const int digit = digitValue(text[i]);
        if (digit < 0)
            return false;
        value = value << 4 | static_cast<unsigned int>(digit);
    }
    return true;
}

template <class Char>
Malformed parse(const Char* text, unsigned int length, vnGUID& guid)
{
    if (!hasFrame(text, length))
        return Malformed::FRAME;
    vnUInt64 data1;
    vnUInt64 data2;
    vnUInt64 data3;
    vnUInt64 clock;
    vnUInt64 node;
    if (!readDigits(text, 1, 8, data1))
        return Malformed::DATA1;
    if (!readDigits(text, 10, 4, data2))
        return Malformed::DATA2;
    if (!readDigits(text, 15, 4, data3))
        return Malformed::DATA3;
    if (!readDigits(text, 20, 4, clock) || !readDigits(text, 25, 12, node))
        return Malformed::DATA4;
    guid = vnGUID(data1 << 32 | data2 << 16 | data3, clock << 48 | node);
    return Malformed::NOTHING;
}

// The texts stand in two pieces, since "??-" in one would be a trigraph.
template <class Char>
void parseOrThrow(const Char* text, unsigned int length, vnGUID& guid)
{
    switch (parse(text, length, guid))
    {
    case Malformed::NOTHING:
        return;
    case Malformed::FRAME:
        vnExceptionThrows::vnThrowFatal("Malformed vnGUID {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}");
    case Malformed::DATA1:
        vnExceptionThrows::vnThrowFatal("Malformed vnGUID {????????"
                                        "-XXXX-XXXX-XXXX-XXXXXXXXXXXX}");
    case Malformed::DATA2:
        vnExceptionThrows::vnThrowFatal("Malformed vnGUID {XXXXXXXX-????"
                                        "-XXXX-XXXX-XXXXXXXXXXXX}");
    case Malformed::DATA3:
        vnExceptionThrows::vnThrowFatal("Malformed vnGUID {XXXXXXXX-XXXX-????"
                                        "-XXXX-XXXXXXXXXXXX}");
    case Malformed::DATA4:
        vnExceptionThrows::vnThrowFatal("Malformed vnGUID {XXXXXXXX-XXXX-XXXX-????"
                                        "-????????????}");
    }
}

vnGUIDBytes toBytes(vnUInt64 value) noexcept
{
    vnGUIDBytes bytes;
    for (unsigned int i = 8; i-- > 0; value >>= 8)
        bytes[i] = static_cast<unsigned char>(value);
    return bytes;
}

vnUInt64 fromBytes(const unsigned char* bytes) noexcept
{
    vnUInt64 value = 0;
    for (unsigned int i = 0; i < 8; ++i)
        value = value << 8 | bytes[i];
    return value;
}

// The node of the time-based layout. The group bit of its first byte keeps it apart from the hardware
// addresses that other generators put there (RFC 4122, 4.5).
vnUInt64 machineNode()
{
    constexpr vnUInt64 groupBit = 1ull << 40;
    return vnMachineIdentifier() >> 16 | groupBit;
}
} // namespace

vnGUID::vnGUID(const vnString& text) : vnGUID(text.getString(), text.length()) {}

vnGUID::vnGUID(const char* text, unsigned int length)
{
    parseOrThrow(text, length, *this);
}

vnGUID::vnGUID(const char16_t* text, unsigned int length)
{
    parseOrThrow(text, length, *this);
}

vnGUID::vnGUID(vnUInt64 high, vnUInt64 low) noexcept
    : m_data1(static_cast<unsigned int>(high >> 32)), m_data2(static_cast<unsigned short>(high >> 16)),
      m_data3(static_cast<unsigned short>(high)), m_data4(toBytes(low))
{
}

vnGUID::vnGUID(const unsigned char (&uuid)[16]) noexcept : vnGUID(fromBytes(uuid), fromBytes(uuid + 8)) {}

unsigned char vnGUID::setString(const char* text, unsigned int length) noexcept
{
    return parse(text, length, *this) == Malformed::NOTHING;
}

unsigned char vnGUID::setString(const char16_t* text, unsigned int length) noexcept
{
    return parse(text, length, *this) == Malformed::NOTHING;
}

void vnGUID::generate()
{
    const vnUInt64 time = nextTime();
    const vnUInt64 clock = (vnCurrentThreadID() & 0x3FFF) | 0x8000;
    m_data1 = static_cast<unsigned int>(time);
    m_data2 = static_cast<unsigned short>(time >> 32);
    m_data3 = static_cast<unsigned short>((time >> 48 & 0x0FFF) | 0x1000);
    m_data4 = toBytes(clock << 48 | machineNode());
}

vnGUID vnGUID::generateGUID()
{
    vnGUID guid;
    guid.generate();
    return guid;
}

vnString vnGUID::asString() const
{
    static constexpr char digits[] = "0123456789ABCDEF";
    char text[VN_TEXT_LENGTH + 1] = "{00000000-0000-0000-0000-000000000000}";
    const auto put = [&text](vnUInt64 value, unsigned int at, unsigned int count)
    {
        for (unsigned int i = at + count; i-- > at; value >>= 4)
            text[i] = digits[value & 0xF];
    };
    put(m_data1, 1, 8);
    put(m_data2, 10, 4);
    put(m_data3, 15, 4);
    put(low() >> 48, 20, 4);
    put(low(), 25, 12);
    return vnString(text, VN_TEXT_LENGTH);
}

vnUInt64 vnGUID::getTimestamp() const noexcept
{
    return static_cast<vnUInt64>(m_data3 & 0x0FFF) << 48 | static_cast<vnUInt64>(m_data2) << 32 | m_data1;
}

double vnGUID::getGenerationTime() const noexcept
{
    return static_cast<double>(getTimestamp()) / VN_UNITS_PER_SECOND - VN_SECONDS_1582_TO_1970;
}

unsigned int vnGUID::hash() const noexcept
{
    // Neighbours in time differ in a few bits of the high half only, so both halves are spread by a product.
    vnUInt64 mixed = high() * 0x9E3779B97F4A7C15ull ^ low();
    mixed ^= mixed >> 32;
    mixed *= 0xD6E8FEB86659FD93ull;
    return static_cast<unsigned int>(mixed >> 32);
}
