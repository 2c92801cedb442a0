// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnGUID.h>
#include <vnBase/vnGuidStringDict.h>

#include <cctype>
#include <vector>

// Any text as a GUID: all ways to read it agree, and what is accepted is written as it was read, in upper
// case.

namespace
{
template <class Char>
bool isAccepted(const Char* text, std::size_t length, vnGUID& guid)
{
    try
    {
        guid = vnGUID(text, static_cast<unsigned int>(length));
        return true;
    }
    catch (const vnFatalError& error)
    {
        VN_FUZZ_CHECK(error.getErrorString().isFirst("Malformed vnGUID {"));
        return false;
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text = vnFuzzInput(data, size).rest();
    std::vector<char16_t> wide;
    for (const char byte : text)
        wide.push_back(static_cast<unsigned char>(byte));

    vnGUID guid;
    vnGUID fromWide;
    vnGUID asked(1ull, 2);
    const bool accepted = isAccepted(text.data(), text.size(), guid);
    VN_FUZZ_CHECK(isAccepted(wide.data(), wide.size(), fromWide) == accepted);
    VN_FUZZ_CHECK((asked.setString(text.data(), static_cast<unsigned int>(text.size())) != 0) == accepted);
    vnGuidStringDict::lookup(vnString(text.c_str()));
    if (!accepted)
    {
        VN_FUZZ_CHECK(asked == vnGUID(1ull, 2));
        return 0;
    }
    VN_FUZZ_CHECK(fromWide == guid);
    VN_FUZZ_CHECK(asked == guid);
    std::string upper = text;
    for (char& character : upper)
        character = static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    VN_FUZZ_CHECK(guid.asString() == upper.c_str());
    return 0;
}
