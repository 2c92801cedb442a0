// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnStringParser.h>

#include <string>

// Scanning with any format and any text: it always ends, gives no more than the text holds, and the same from
// a fresh parser. The input is a byte for the decimal character, a short text, and the format.

namespace
{
std::string joined(const vnArray<vnString>& pieces, unsigned char ok)
{
    std::string line(1, ok ? '+' : '-');
    for (const vnString& piece : pieces)
        line += std::string(piece.getString(), piece.length()) + '\n';
    return line;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned char choice = input.byte();
    const unsigned short decimal = choice < 0x80 ? '.' : static_cast<unsigned short>(choice & 0x7F);
    const std::string bytes = input.shortText();
    const vnString text(bytes.data(), static_cast<unsigned short>(bytes.size()));
    const std::string rest = input.rest().substr(0, 200);
    const vnString format(rest.data(), static_cast<unsigned short>(rest.size()));

    unsigned char ok = 2;
    const vnArray<vnString> pieces = parse(format, text, &ok, decimal);
    VN_FUZZ_CHECK(ok <= 1);
    for (const vnString& piece : pieces)
        VN_FUZZ_CHECK(piece.length() <= text.length());
    const std::string first = joined(pieces, ok);

    const vnArray<vnString> warm = parse(format, text, &ok, decimal);
    VN_FUZZ_CHECK(joined(warm, ok) == first);
    vnStringParser::cleanUpParsers();
    const vnArray<vnString> fresh = parse(format, text, &ok, decimal);
    VN_FUZZ_CHECK(joined(fresh, ok) == first);
    vnStringParser::cleanUpParsers(); // formats without end must not pile up
    return 0;
}
