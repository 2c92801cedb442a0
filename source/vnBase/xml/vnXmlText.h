// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

/// Whether a text is what a production of the reader reads, from its start to its end. The answers are those
/// of the production over the bytes of the text, without a parser.
namespace vnXmlText
{
bool isAttribute(std::string_view text); // between single quotes, 10
bool isCharData(std::string_view text);  // 14

/// The first "<" or "&" from `begin` on that no character which is not whole may have taken: a text with one
/// is no char data for sure. `npos` if there is none.
std::size_t findMarkup(std::string_view text, std::size_t begin);

bool isCDATA(std::string_view text);   // between its marks, 18
bool isComment(std::string_view text); // between its marks, 15
bool isPI(std::string_view text);      // between its marks, 16
bool isEntity(std::string_view name);  // between "&" and ";", 68
} // namespace vnXmlText
