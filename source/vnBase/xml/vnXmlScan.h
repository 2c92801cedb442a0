// SPDX-License-Identifier: MIT
#pragma once

#include "vnXmlClass.h"

#include <cstddef>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// Goes over whole blocks of a text that the class goes on with, and stops at the first byte that it does not
/// go on with, or in front of what is less than a block. In UTF-8 it stops above 127 as well. Only for the
/// classes of char data and of quoted values; for others, and on processors without wide instructions, it
/// stops at once.
inline const unsigned char* vnXmlSkipBlocks(const unsigned char* next,
                                            [[maybe_unused]] const unsigned char* end,
                                            [[maybe_unused]] vnXmlClass::Bit bit,
                                            [[maybe_unused]] bool isUtf8) noexcept
{
#ifdef __SSE2__
    if (bit != vnXmlClass::CHAR_DATA && bit != vnXmlClass::DOUBLE_QUOTED && bit != vnXmlClass::SINGLE_QUOTED)
        return next;
    constexpr unsigned int VN_BLOCK = 16;
    const char ending = bit == vnXmlClass::CHAR_DATA ? ']' : bit == vnXmlClass::DOUBLE_QUOTED ? '"' : '\'';
    const __m128i less = _mm_set1_epi8('<');
    const __m128i ampersand = _mm_set1_epi8('&');
    const __m128i third = _mm_set1_epi8(ending);
    const __m128i high = _mm_set1_epi8(isUtf8 ? '\x80' : 0);
    for (; end - next >= static_cast<std::ptrdiff_t>(VN_BLOCK); next += VN_BLOCK)
    {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(next));
        const __m128i markup = _mm_or_si128(_mm_cmpeq_epi8(block, less), _mm_cmpeq_epi8(block, ampersand));
        const __m128i other = _mm_or_si128(_mm_cmpeq_epi8(block, third), _mm_and_si128(block, high));
        const int found = _mm_movemask_epi8(_mm_or_si128(markup, other));
        if (found != 0)
            return next + __builtin_ctz(static_cast<unsigned int>(found));
    }
#endif
    return next;
}
