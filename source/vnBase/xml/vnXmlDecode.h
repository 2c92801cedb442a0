// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

#include <string_view>

/// The character that a standard entity stands for ("amp", "quot", "apos", "lt", "gt"); 0 for other names.
char vnXmlCharacterOf(std::string_view entity) noexcept;

/// The value with its standard entities replaced. What comes out is looked at again, so that "&amp;lt;" is
/// "<" in the end: that is meant.
vnString vnXmlDecodeAttribute(const vnString& value);
