// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnSerializeLex.h>

#include <algorithm>

// Any text read as base64 and as hexadecimal, in blocks of any size, gives the bytes that a plain model finds
// and leaves the same rest; and any bytes come back from their text.

namespace
{
using Adapter = vnRefPointer<vnSerializeAdapter>;

struct Result
{
    std::string plain;
    std::string left; // of the text
};

class Model
{
public:
    Model(const std::string& text, bool isWide) : m_text(text), m_isWide(isWide) {}

    // Up to `count` bytes; whole groups are used.
    Result base64(std::size_t count)
    {
        Result result;
        bool hasEnded = false;
        while (result.plain.size() < count && !hasEnded)
        {
            unsigned int bits = 0, place = 0;
            for (; place < 4; ++place)
            {
                const int c = next();
                hasEnded = c < 0;
                if (c < 0 || c == '=')
                    break;
                const unsigned int value = c >= 'a'   ? c - 71u
                                           : c >= 'A' ? c - 65u
                                           : c >= '0' ? c + 4u
                                           : c == '+' ? 62u
                                                      : 63u;
                bits |= (value & 63) << (18 - 6 * place);
            }
            for (unsigned int i = 0; i + 1 < place && result.plain.size() < count; ++i)
                result.plain += static_cast<char>(bits >> (16 - 8 * i));
        }
        result.left = m_text.substr(m_position);
        return result;
    }

    Result hex(std::size_t count)
    {
        Result result;
        while (result.plain.size() < count)
        {
            const int high = next();
            const std::size_t behind = m_begin;
            const int low = high < 0 ? -1 : next();
            if (low < 0)
            {
                if (high >= 0) // a single digit stays
                    result.left = m_text.substr(behind, m_isWide ? 2 : 1);
                return result;
            }
            result.plain += static_cast<char>(digit(high) << 4 | digit(low));
        }
        result.left = m_text.substr(m_position);
        return result;
    }

private:
    static unsigned int digit(int c)
    {
        return static_cast<unsigned int>(c >= 'a' ? c - 87 : c >= 'A' ? c - 55 : c - 48) & 15;
    }

    int next()
    {
        while (m_position < m_text.size())
        {
            m_begin = m_position;
            const auto c = static_cast<unsigned char>(m_text[m_position]);
            m_position = std::min(m_position + (m_isWide ? 2 : 1), m_text.size());
            if (c > ' ')
                return c;
        }
        return -1;
    }

    const std::string& m_text;
    bool m_isWide;
    std::size_t m_position = 0;
    std::size_t m_begin = 0; // of the last character
};

std::string read(vnSerializeAdapter* from, std::size_t count)
{
    std::string text(count, '\0');
    text.resize(from->read(reinterpret_cast<unsigned char*>(&text[0]), static_cast<unsigned int>(count)));
    return text;
}

void write(vnSerializeAdapter* to, const std::string& text)
{
    to->write(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
}

void checkReading(vnFuzzInput& input)
{
    const unsigned char how = input.byte();
    const bool isWide = how & 1, isHex = how & 2, isMemory = how & 4;
    const std::size_t block = input.byte() + 1u;
    const std::size_t count = input.number(2);
    std::string text = input.rest();
    Model model(text, isWide);
    const Result expected = isHex ? model.hex(count) : model.base64(count);

    Adapter target;
    if (isMemory)
        target = new vnSerializeAdapterMemory(&text[0], static_cast<unsigned int>(text.size()));
    else
        target = new vnSerializeAdapterQueue(VN_QUEUE_FIFO);
    if (!isMemory)
        write(target, text);
    target->setAdapterFlags(isWide ? vnUInt64{VN_ADAPTER_UNICODE} : 0);
    Adapter codec;
    if (isHex)
        codec = new vnSerializeAdapterBCDEncoder(target);
    else
        codec = new vnSerializeAdapterBase64Encoder(target);
    codec->length(); // takes nothing
    VN_FUZZ_CHECK(target->length() == text.size());
    std::string plain;
    while (plain.size() < count)
    {
        const std::string piece = read(codec, std::min(block, count - plain.size()));
        plain += piece;
        if (piece.size() < block)
            break;
    }
    VN_FUZZ_CHECK(plain == expected.plain);
    if (count > 0)
        VN_FUZZ_CHECK(read(target, text.size()) == expected.left);
}

template <class Codec>
void checkRoundTrip(const std::string& bytes, std::size_t block, bool isWide)
{
    Adapter queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->setAdapterFlags(isWide ? vnUInt64{VN_ADAPTER_UNICODE} : 0);
    Adapter codec(new Codec(queue));
    for (std::size_t at = 0; at < bytes.size(); at += block)
        write(codec, bytes.substr(at, block));
    codec->flush();
    std::string plain;
    while (codec->hasData())
        plain += static_cast<char>(codec->read());
    VN_FUZZ_CHECK(plain == bytes);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned char how = input.byte();
    if (how & 1)
    {
        checkReading(input);
        return 0;
    }
    const std::size_t block = input.byte() + 1u;
    const std::string bytes = input.rest();
    checkRoundTrip<vnSerializeAdapterBase64Encoder>(bytes, block, how & 2);
    checkRoundTrip<vnSerializeAdapterBCDEncoder>(bytes, block, how & 2);
    return 0;
}
