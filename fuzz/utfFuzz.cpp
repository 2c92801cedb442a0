// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnString.h>
#include <vnBase/vnUtf.h>

#include <cstring>
#include <memory>
#include <vector>

// Any bytes as UTF-8 and as 16-bit text: the conversions stay inside of their buffers, agree on how long a
// text is, and give back what they were given where they must.

namespace
{
// Sequence by sequence, up to the first malformed one.
void checkSequences(const std::string& text)
{
    const char* at = text.c_str();
    const char* end = at + text.size();
    while (at < end)
    {
        unsigned char size = 255;
        const unsigned int character = vnUTF8ToULong(at, &size);
        VN_FUZZ_CHECK(size == vnUTF8Size(at));
        if (size == 0)
            return;
        VN_FUZZ_CHECK(size <= end - at);
        char encoded[8];
        const unsigned char encodedSize = vnUInt32ToUTF8(encoded, character);
        VN_FUZZ_CHECK(encodedSize == vnUTF8Size(character));
        // A longer form than needed is read, but never written.
        VN_FUZZ_CHECK(encodedSize <= size);
        VN_FUZZ_CHECK(encodedSize < size || std::memcmp(encoded, at, size) == 0);
        at += size;
    }
}

void checkWide(const vnString& text)
{
    const unsigned short length = text.getWideStringLength();
    VN_FUZZ_CHECK(length <= text.length());
    // Exactly as large as needed, so that a unit too many is seen.
    const std::unique_ptr<char16_t[]> buffer(new char16_t[length + 1u]);
    VN_FUZZ_CHECK(text.getWideString(buffer.get(), 1) == length);
    VN_FUZZ_CHECK(buffer[length] == 0);
    const char16_t* shared = text.getWideString();
    VN_FUZZ_CHECK(std::memcmp(shared, buffer.get(), length * sizeof(char16_t)) == 0);
    text.getWideString(static_cast<unsigned short>(length / 2));
}

void checkConversions(const vnString& text)
{
    const vnString utf8 = text.convertAsciiToUTF8();
    VN_FUZZ_CHECK(!utf8.isAsciiString());
    if (text.isAsciiString() && utf8.length() < 30000)
        VN_FUZZ_CHECK(utf8.convertUTF8ToAscii() == text);
    else
        text.convertUTF8ToAscii();
    text.convertTextToCtrl();
    text.convertCtrlToText(1);
    text.convertUTF8ToNumList("%d", ",");
    text.toLower();
    text.toUpper();
}

void checkSixteenBit(const std::string& bytes)
{
    std::vector<char16_t> units(bytes.size() / 2 + 1);
    std::memcpy(units.data(), bytes.data(), bytes.size() / 2 * 2);
    const vnString whole(units.data());
    VN_FUZZ_CHECK(!whole.isAsciiString());
    const auto length = static_cast<unsigned short>(vnwcslen(units.data()));
    if (whole.length() < 65000)
    {
        VN_FUZZ_CHECK(whole.getWideStringLength() == length);
        VN_FUZZ_CHECK(std::memcmp(whole.getWideString(), units.data(), length * sizeof(char16_t)) == 0);
    }
    VN_FUZZ_CHECK(vnString(units.data(), length, 1).length() == length);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const std::string bytes = input.rest().substr(0, 20000);
    checkSequences(bytes);
    const vnString upToNul(bytes.c_str());
    const vnString whole(bytes.data(), static_cast<unsigned short>(bytes.size()));
    checkWide(upToNul);
    checkWide(whole);
    checkConversions(upToNul);
    checkSixteenBit(bytes);
    return 0;
}
