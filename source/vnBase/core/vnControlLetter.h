// SPDX-License-Identifier: MIT
#pragma once

/// The written forms of control characters: a backslash and a letter.
constexpr char vnControlLetters[] = "0\0\0\0\0\0\0abtnvfr"; // by character

/// The letter of a control character; 0 for a character without one.
constexpr char vnControlLetter(char16_t character) noexcept
{
    return character < sizeof vnControlLetters - 1 ? vnControlLetters[character] : '\0';
}

/// The control character of a letter; -1 for any other letter.
constexpr int vnControlOfLetter(char16_t letter) noexcept
{
    for (int character = 0; letter != 0 && character < static_cast<int>(sizeof vnControlLetters) - 1;
         ++character)
        if (vnControlLetters[character] == static_cast<char>(letter) && letter < 0x80)
            return character;
    return -1;
}
