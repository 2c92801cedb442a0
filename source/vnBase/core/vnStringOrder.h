// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

/// The order of texts and the case of letters, as the string class defines them on every host and in every
/// locale.
namespace vnOrder
{
/// Order by signed bytes; a proper prefix is the smaller one. A text of length 0 may be null.
inline bool isBefore(const char* left, std::size_t leftLength, const char* right,
                     std::size_t rightLength) noexcept
{
    const std::size_t both = std::min(leftLength, rightLength);
    std::size_t i = 0;
    for (; i + 8 <= both; i += 8)
        if (std::memcmp(left + i, right + i, 8) != 0)
            break;
    for (; i < both; ++i)
        if (left[i] != right[i])
            return static_cast<signed char>(left[i]) < static_cast<signed char>(right[i]);
    return leftLength < rightLength;
}

/// ASCII only; other bytes stay, whatever the locale.
inline char toLower(char byte) noexcept
{
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 32) : byte;
}
inline char toUpper(char byte) noexcept
{
    return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 32) : byte;
}

inline bool agree(char left, char right, bool caseSensitive) noexcept
{
    return left == right || (!caseSensitive && toUpper(left) == toUpper(right));
}

inline bool agree(const char* left, const char* right, std::size_t length, bool caseSensitive) noexcept
{
    if (caseSensitive)
        return std::memcmp(left, right, length) == 0;
    for (std::size_t i = 0; i < length; ++i)
        if (!agree(left[i], right[i], false))
            return false;
    return true;
}
} // namespace vnOrder
