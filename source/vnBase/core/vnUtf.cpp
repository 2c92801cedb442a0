// SPDX-License-Identifier: MIT
#include <vnBase/vnUtf.h>

#include <core/vnUtfScan.h>

#include <vnBase/vnMessage.h>

unsigned char vnUTF8Size(unsigned int character)
{
    const unsigned char size = vnUtf::sizeOf(character);
    if (size == 0)
        vnMessage::message(VN_MESSAGE_WARNING, "Utf decoding on faulty data input");
    return size;
}

unsigned char vnUTF8Size(const char* text)
{
    return text ? vnUtf::sequenceSize(text) : 0;
}

unsigned char vnUInt32ToUTF8(char* to, unsigned int character)
{
    const unsigned char size = vnUTF8Size(character);
    if (size != 0)
        vnUtf::encode(to, character, size);
    return size;
}

unsigned int vnUTF8ToULong(const char* text, unsigned char* size)
{
    const unsigned char found = vnUTF8Size(text);
    if (size)
        *size = found;
    if (found == 0)
    {
        vnMessage::message(VN_MESSAGE_WARNING, "Utf encoding on faulty data set");
        return 0;
    }
    return vnUtf::decode(text, found);
}

unsigned int vnwcslen(const char16_t* text)
{
    if (!text)
        return 0;
    unsigned int length = 0;
    while (text[length])
        ++length;
    return length;
}
