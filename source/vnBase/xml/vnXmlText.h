// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Whether a text is what a production of the reader reads, from its start to its end. The answers are those
/// of the production over the bytes of the text as UTF-8, without a parser; `fromBytes` gives the text to ask
/// about where they are characters. The answers differ: as UTF-8 a letter of 8 bits takes what is behind it
/// along. In char data and attribute values a "<" or "&" that is taken so counts in either form, since a text
/// may go where it is read in the other.
namespace vnXmlText
{
/// A text of one character a byte, in UTF-8.
std::string fromBytes(std::string_view text);

bool isAttribute(std::string_view text); // between single quotes, 10
bool isCDATA(std::string_view text);     // between its marks, 18
bool isComment(std::string_view text);   // between its marks, 15
bool isPI(std::string_view text);        // between its marks, 16
bool isEntity(std::string_view name);    // between "&" and ";", 68

/// Whether all bytes are ASCII and no markup, which is enough for most char data.
bool isSimpleCharData(std::string_view text);

/// Behind the last markup of a text: from there on, and from every ASCII character behind, it is char data,
/// 14; from a place before it is not.
std::size_t behindMarkup(std::string_view text);

/// The same where each byte is a character.
std::size_t behindMarkupOfBytes(std::string_view text) noexcept;
} // namespace vnXmlText
