// SPDX-License-Identifier: MIT
#include "vnMarkedText.h"

bool vnTakeMarkedText(vnBasicParser& parser, unsigned int begin, vnString& text)
{
    constexpr unsigned int VN_MAX_CHARACTER_BYTES = 3;
    const unsigned int end = parser.getTokenPos();
    const unsigned int count = begin < end ? end - begin : 0;
    if (count <= vnString::VN_MAX_LENGTH / VN_MAX_CHARACTER_BYTES)
    {
        text = parser.getTokenData(begin, static_cast<unsigned short>(count));
        return true;
    }
    vnArray<unsigned char> bytes;
    if (count <= vnString::VN_MAX_LENGTH)
        parser.getTokenData(bytes, begin, count);
    if (count > vnString::VN_MAX_LENGTH || bytes.getSize() > vnString::VN_MAX_LENGTH)
    {
        parser.setError("A text in the input has more than %d bytes", vnString::VN_MAX_LENGTH);
        return false;
    }
    text =
        vnString(reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned short>(bytes.getSize()));
    return true;
}

void vnIgnoreByteOrderMarks(vnBasicParser& parser)
{
    // A mark is looked for at the first character only, so that one is read here that is none.
    const vnString blank(" ");
    {
        const vnTextInput input(parser, blank);
        parser.getNextToken(0);
    }
    parser.reset();
}
