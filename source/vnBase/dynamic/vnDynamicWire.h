// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicType.h>

/// The stream form of values: to and from adapters, and to and from plain memory for values inside of values,
/// which needs no adapter.
class vnDynamicWire
{
public:
    static constexpr unsigned char marker = 0xFC; // before an id, or before a text that begins like one
    static constexpr unsigned short noId = 0xFFFF;
    static constexpr unsigned int escapeSize = 3;
    static constexpr unsigned char escape[escapeSize] = {marker, 0xFF, 0xFF};
    static constexpr const char* unknownId = "Unknown unique string id %d";

    /// The bytes before the payload.
    static std::size_t headSize(const vnDynamicType& value) noexcept;

    static void write(const vnDynamicType& value, vnSerializeAdapter* adapter);
    static void pushBack(const vnDynamicType& value, vnSerializeAdapter* adapter);
    static void read(vnDynamicType& value, vnSerializeAdapter* adapter);

    /// The same, and answers whether all of the value was there. It never reads beyond the end.
    static bool readWhole(vnDynamicType& value, vnSerializeAdapter* adapter);

    /// Writes the form, whose size the caller has made room for, and returns its end.
    static unsigned char* encode(const vnDynamicType& value, unsigned char* to) noexcept;

    /// Reads one value and moves `from`. Bytes that are missing read as they do from an adapter that ends.
    static void decode(vnDynamicType& value, const unsigned char*& from, const unsigned char* end);

    /// Moves `from` over one value, to where `decode` moves it, and answers whether all of it was there.
    static bool skip(const unsigned char*& from, const unsigned char* end) noexcept;

    /// The same for values most of which have an interned tag and a payload of less than 128 bytes.
    static bool skipQuickly(const unsigned char*& from, const unsigned char* end) noexcept
    {
        constexpr std::ptrdiff_t head = escapeSize + 1;
        const bool isPlain = end - from >= head && from[0] == marker && (from[1] & from[2]) != 0xFF &&
                             from[3] < 0x80 && end - from - head >= from[3];
        if (!isPlain)
            return skip(from, end);
        from += head + from[3];
        return true;
    }

    /// Reads what stands before the payload of a value, and moves `from` there. Answers the size of the
    /// payload, and no more than is there.
    static unsigned int decodeHead(vnDynamicTypeTag& tag, const unsigned char*& from,
                                   const unsigned char* end);

    /// The text of an id that stands on a stream; 0 when it is refused.
    static unsigned char textOfId(unsigned short id, vnString& text);

private:
    class AdapterSource;
    class CheckedSource;
    class MemorySource;

    // Answers the id when it is refused, and 0 otherwise.
    template <class Source>
    static unsigned short readTag(vnDynamicTypeTag& tag, Source& source);
    template <class Source>
    static void readFrom(vnDynamicType& value, Source& source);
    static bool readFromWindow(vnDynamicType& value, vnSerializeAdapter* adapter);
    static unsigned int encodeTag(const vnString& tag, unsigned char* to) noexcept;
    static unsigned int encodeHead(const vnDynamicType& value, unsigned char* to) noexcept;
};
