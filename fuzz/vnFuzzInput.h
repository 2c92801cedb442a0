// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Cuts the bytes that the fuzzer offers into the values that a target needs. Behind the end everything reads
/// as zero or as empty.
class vnFuzzInput
{
public:
    vnFuzzInput(const std::uint8_t* data, std::size_t size) : m_data(data), m_left(size) {}

    bool isEmpty() const { return m_left == 0; }

    unsigned char byte()
    {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_data++;
    }

    vnUInt64 number(unsigned int bytes)
    {
        vnUInt64 value = 0;
        for (unsigned int i = 0; i < bytes; ++i)
            value = value << 8 | byte();
        return value;
    }

    /// A byte gives the length.
    std::string shortText() { return take(byte()); }
    std::string rest() { return take(m_left); }

private:
    std::string take(std::size_t length)
    {
        const std::size_t taken = length < m_left ? length : m_left;
        const std::string text(reinterpret_cast<const char*>(m_data), taken);
        m_data += taken;
        m_left -= taken;
        return text;
    }

    const std::uint8_t* m_data;
    std::size_t m_left;
};

/// Ends the run, with the input kept, when what must hold does not.
#define VN_FUZZ_CHECK(condition)                                                                             \
    do                                                                                                       \
    {                                                                                                        \
        if (!(condition))                                                                                    \
        {                                                                                                    \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);              \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)
