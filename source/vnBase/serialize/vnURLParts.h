// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

#include <string_view>

/// A URL in its parts. The base has its colon, the path its last slash, the attributes no question mark.
struct vnURLParts
{
    /// The base in the letters in which it was written; for names of files that only look like URLs.
    vnString getSpelledBase() const;

    vnString text; // the URL, once a GUID was looked up and "cache:" was put in front
    vnString base;
    vnString path;
    vnString name;
    vnString attributes;
    bool isValid = true;     // false when the parts of a zip or purl URL are not to be found
    bool isAbsolute = false; // there is a base, or the path begins with a slash
};

vnURLParts vnSplitURL(const vnString& url);

/// Whether a GUID stands in the place of the text: it begins with "{" and ends with "}".
bool vnIsGUIDText(const vnString& text);

/// An integer in decimal digits: a sign that may be missing, and its magnitude.
struct vnURLInteger
{
    vnUInt64 magnitude = 0; // at most 2^64 - 1, also of longer texts
    bool isNegative = false;
    bool isCut = false; // the text tells more than that
};

/// Takes a digit or a sign and the digits behind it from the front of `text`; a sign alone is 0. False when
/// there is neither.
bool vnTakeInteger(std::string_view& text, vnURLInteger& integer);

inline std::string_view vnViewOf(const vnString& text)
{
    return {text.getString(), text.length()};
}

inline vnString vnStringOf(std::string_view text)
{
    return vnString(text.data(), static_cast<unsigned short>(text.size()));
}
