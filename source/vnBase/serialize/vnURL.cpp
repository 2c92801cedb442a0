// SPDX-License-Identifier: MIT
#include <vnBase/vnURL.h>

#include "vnURLParts.h"

#include <vnBase/vnGuidStringDict.h>
#include <vnBase/vnSerializeAdapterCache.h>

#include <algorithm>
#include <limits>

namespace
{
constexpr std::string_view VN_CACHE_BASE = "cache:";

char lowered(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A')) : character;
}

bool startsWith(std::string_view text, std::string_view lowerCasePrefix)
{
    return text.size() >= lowerCasePrefix.size() &&
           std::equal(lowerCasePrefix.begin(), lowerCasePrefix.end(), text.begin(),
                      [](char wanted, char character) { return wanted == lowered(character); });
}

// The place of "cache:" in letters of either case. Colons are rare, so they are looked for.
std::size_t findCache(std::string_view text)
{
    const std::size_t before = VN_CACHE_BASE.size() - 1;
    for (std::size_t colon = text.find(':'); colon != text.npos; colon = text.find(':', colon + 1))
        if (colon >= before && startsWith(text.substr(colon - before), VN_CACHE_BASE))
            return colon - before;
    return text.npos;
}

// What stands in front of "cache:" and its numbers belongs to the URL behind them.
void rewriteCache(vnString& text)
{
    const std::string_view view = vnViewOf(text);
    const std::size_t place = findCache(view);
    if (place == view.npos)
        return;
    unsigned int offset = 0;
    int length = 0;
    vnString inner;
    if (!vnSerializeAdapterCache::parseCacheURL(vnStringOf(view.substr(place)), offset, length, inner))
        return;
    const vnString head = vnString::formatString("cache:%d,%d,", offset, length);
    if (head.length() + place + inner.length() <= vnString::VN_MAX_LENGTH)
        text = head + vnStringOf(view.substr(0, place)) + inner;
}

vnString withSlashes(std::string_view text)
{
    vnString result = vnStringOf(text);
    result.substitute('\\', '/');
    return vnStringOf(vnViewOf(result)); // with the hash of its text
}

vnString lowered(std::string_view text)
{
    return vnStringOf(text).toLower();
}

void splitPlain(std::string_view rest, vnURLParts& parts)
{
    vnString slashed;
    if (rest.find('\\') != rest.npos)
    {
        slashed = withSlashes(rest);
        rest = vnViewOf(slashed);
    }
    const std::size_t question = rest.rfind('?');
    if (question != rest.npos)
    {
        parts.attributes = vnStringOf(rest.substr(question + 1));
        rest = rest.substr(0, question);
    }
    const std::size_t slash = rest.rfind('/');
    if (slash != rest.npos)
    {
        parts.path = vnStringOf(rest.substr(0, slash + 1));
        rest = rest.substr(slash + 1);
    }
    parts.name = vnStringOf(rest);
    parts.isAbsolute = parts.isAbsolute || parts.path.isFirst('/');
}

// Cuts a name of at least one character in front of the first question mark, and the attributes behind it.
bool splitQuery(std::string_view rest, std::string_view& name, std::string_view& attributes)
{
    const std::size_t question = std::min(rest.find('?'), rest.size());
    name = rest.substr(0, question);
    attributes = rest.substr(std::min(question + 1, rest.size()));
    return !name.empty();
}

// {archive},name?attributes
void splitZip(std::string_view rest, vnURLParts& parts)
{
    const std::size_t close = rest.find('}');
    std::string_view name, attributes;
    parts.isValid = !rest.empty() && rest.front() == '{' && close != rest.npos &&
                    rest.substr(close + 1, 1) == "," && splitQuery(rest.substr(close + 2), name, attributes);
    if (!parts.isValid)
        return;
    parts.path = vnStringOf(rest.substr(0, close + 2));
    parts.name = vnStringOf(name);
    parts.attributes = vnStringOf(attributes);
}

void split(vnURLParts& parts, unsigned int depth);

// prefix,url?attributes
void splitPurl(std::string_view rest, vnURLParts& parts, unsigned int depth)
{
    const std::size_t comma = rest.find(',');
    std::string_view url, attributes;
    parts.isValid = comma != rest.npos && splitQuery(rest.substr(comma + 1), url, attributes) &&
                    depth < vnSerializeAdapter::getMaxURLDepth();
    if (!parts.isValid)
        return;
    vnURLParts inner;
    inner.text = vnStringOf(url);
    split(inner, depth + 1);
    const std::size_t length = comma + 1 + inner.base.length() + inner.path.length();
    parts.isValid = inner.isValid && length <= vnString::VN_MAX_LENGTH; // a GUID stands for any text
    if (!parts.isValid)
        return;
    parts.path = vnStringOf(rest.substr(0, comma + 1)) + inner.base + inner.path;
    parts.name = inner.name;
    parts.attributes = vnStringOf(attributes);
}

void split(vnURLParts& parts, unsigned int depth)
{
    if (vnIsGUIDText(parts.text))
    {
        const vnString url = vnGuidStringDict::lookup(parts.text);
        if (!url.isEmpty())
            parts.text = url;
    }
    rewriteCache(parts.text);
    const std::string_view text = vnViewOf(parts.text);
    // The first colon counts, wherever it stands: one in the query of a URL without a scheme makes all before
    // it the base.
    const std::size_t colon = text.find(':');
    if (colon == text.npos || text == ":")
        return splitPlain(text, parts);
    const std::string_view rest = text.substr(colon + 1);
    if (colon == 0) // a colon without a scheme before it goes
        return splitPlain(rest, parts);
    parts.isAbsolute = true;
    parts.base = lowered(text.substr(0, colon + 1));
    if (parts.base == "zip:")
        return splitZip(rest, parts);
    if (parts.base == "purl:")
        return splitPurl(rest, parts, depth);
    if (parts.base.find('\\') < parts.base.length())
        parts.base = withSlashes(vnViewOf(parts.base));
    splitPlain(rest, parts);
}

void give(vnString* to, const vnString& text)
{
    if (to)
        *to = text;
}

template <class T>
T nearest(vnInt64 value)
{
    using Limits = std::numeric_limits<T>;
    return static_cast<T>(std::clamp<vnInt64>(value, Limits::min(), Limits::max()));
}

// Takes the first of the items that are left. An item may hold a bare "&" as long as any "&amp;" stands
// behind it, so this is decided for each item; `mayHaveEntity` only saves a search in vain.
std::string_view takeItem(std::string_view& left, bool& mayHaveEntity)
{
    constexpr std::string_view entity = "&amp;";
    std::size_t end = mayHaveEntity ? left.find(entity) : left.npos;
    mayHaveEntity = end != left.npos;
    const std::size_t separator = mayHaveEntity ? entity.size() : 1;
    if (!mayHaveEntity)
        end = left.find('&');
    const std::string_view item = left.substr(0, end);
    left.remove_prefix(end == left.npos ? left.size() : end + separator);
    return item;
}
} // namespace

vnString vnURLParts::getSpelledBase() const
{
    return withSlashes(vnViewOf(text).substr(0, base.length()));
}

vnURLParts vnSplitURL(const vnString& url)
{
    vnURLParts parts;
    parts.text = url;
    split(parts, 1);
    return parts;
}

bool vnIsGUIDText(const vnString& text)
{
    return text.length() >= 2 && text.isFirst('{') && text.isLast('}');
}

unsigned char vnSerializeAdapterCache::parseCacheURL(const vnString& url, unsigned int& offset, int& length,
                                                     vnString& inner)
{
    std::string_view text = vnViewOf(url);
    if (startsWith(text, VN_CACHE_BASE))
        text.remove_prefix(VN_CACHE_BASE.size());
    const std::size_t first = text.find(',');
    if (first == text.npos)
        return 0;
    const std::size_t second = text.find(',', first + 1);
    if (first == 0 || second == text.npos || second == first + 1 || second + 1 == text.size())
        return 0;
    offset = nearest<unsigned int>(vnStringOf(text.substr(0, first)).num());
    length = nearest<int>(vnStringOf(text.substr(first + 1, second - first - 1)).num());
    inner = vnStringOf(text.substr(second + 1));
    return 1;
}

bool vnTakeInteger(std::string_view& text, vnURLInteger& integer)
{
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    if (text.empty() || (!isDigit(text.front()) && text.front() != '-' && text.front() != '+'))
        return false;
    integer = vnURLInteger();
    integer.isNegative = text.front() == '-';
    if (!isDigit(text.front()))
        text.remove_prefix(1);
    for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1))
    {
        vnUInt64 next;
        integer.isCut = integer.isCut || __builtin_mul_overflow(integer.magnitude, 10ull, &next) ||
                        __builtin_add_overflow(next, static_cast<vnUInt64>(text.front() - '0'), &next);
        integer.magnitude = integer.isCut ? std::numeric_limits<vnUInt64>::max() : next;
    }
    return true;
}

unsigned char vnSerializeAdapter::getURLBaseEncoding(const vnString& url, vnString* base, vnString* path,
                                                     vnString* name, vnString* attributes,
                                                     unsigned char* valid)
{
    const vnURLParts parts = vnSplitURL(url);
    give(base, parts.base);
    give(path, parts.path);
    give(name, parts.name);
    give(attributes, parts.attributes);
    if (valid)
        *valid = parts.isValid;
    return parts.isAbsolute;
}

vnString vnSerializeAdapter::getURLAttributeValue(const vnString& attribute, const vnString& attributes,
                                                  const vnString& defaultValue)
{
    const std::string_view wanted = vnViewOf(attribute);
    std::string_view left = vnViewOf(attributes);
    for (bool mayHaveEntity = true; !left.empty();)
    {
        const std::string_view item = takeItem(left, mayHaveEntity);
        const std::size_t equal = item.find('=');
        if (item.substr(0, equal) == wanted)
            return equal == item.npos ? vnString("true") : vnStringOf(item.substr(equal + 1));
    }
    return defaultValue;
}

unsigned char vnSerializeAdapter::hasURLAttributeValue(const vnString& attribute, const vnString& attributes)
{
    return !getURLAttributeValue(attribute, attributes, vnString()).isEmpty();
}

unsigned char vnIsDirURL(const vnString& url)
{
    const vnURLParts parts = vnSplitURL(url);
    return parts.base.length() <= 2; // "c:" is the letter of a drive
}
