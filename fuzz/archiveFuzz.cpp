// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <string>
#include <utility>
#include <vector>

// Archives with some bytes flipped: a sound one is made of the input, then the places that the rest of the
// input names take other values. An input that begins with 255 is the archive as it stands. Whatever comes
// out, a member that opens has the length that it was given, and no more memory is taken than bytes come out.

namespace
{
void put(std::string& to, vnUInt64 value, unsigned int bytes)
{
    for (; bytes > 0; --bytes, value >>= 8)
        to += static_cast<char>(value);
}

unsigned int crcOf(const std::string& text)
{
    unsigned int crc = ~0u;
    for (const char character : text)
    {
        crc ^= static_cast<unsigned char>(character);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
    }
    return ~crc;
}

// A deflate block that stores its bytes.
std::string deflated(const std::string& text)
{
    std::string block(1, '\x01');
    put(block, text.size(), 2);
    put(block, ~text.size(), 2);
    return block + text;
}

std::string archiveOf(const std::vector<std::pair<std::string, std::string>>& members, bool isDeflated,
                      const std::string& comment)
{
    std::string bytes, directory;
    for (const auto& [name, text] : members)
    {
        const std::string packed = isDeflated ? deflated(text) : text;
        std::string head;
        put(head, 0, 2);
        put(head, isDeflated ? 8 : 0, 2);
        put(head, 0, 4);
        put(head, crcOf(text), 4);
        put(head, packed.size(), 4);
        put(head, text.size(), 4);
        put(head, name.size(), 2);
        put(head, 0, 2);
        directory += std::string("PK\x01\x02\x14\0\x14\0", 8) + head + std::string(10, '\0');
        put(directory, bytes.size(), 4);
        directory += name;
        bytes += std::string("PK\x03\x04\x14\0", 6) + head + name + packed;
    }
    const std::size_t start = bytes.size();
    bytes += directory + std::string("PK\x05\x06\0\0\0\0", 8);
    put(bytes, members.size(), 2);
    put(bytes, members.size(), 2);
    put(bytes, directory.size(), 4);
    put(bytes, start, 4);
    put(bytes, comment.size(), 2);
    return bytes + comment;
}

void readMembers(std::string& bytes, const std::vector<std::string>& names)
{
    vnRefPointer<vnSerializeAdapter> memory(
        new vnSerializeAdapterMemory(bytes.data(), static_cast<unsigned int>(bytes.size())));
    vnSerializeAdapterZIP zip(memory, VN_SERIALIZE_INPUT);
    for (const std::string& name : names)
    {
        if (!zip.setCurrentItem(name.c_str()))
        {
            VN_FUZZ_CHECK(zip.hasError());
            VN_FUZZ_CHECK(zip.length() == 0);
            continue;
        }
        const unsigned int length = zip.length();
        unsigned int count = 0;
        for (; zip.hasData(); ++count)
            zip.read();
        VN_FUZZ_CHECK(count == length);
        VN_FUZZ_CHECK(zip.seek(0, VN_ORIGIN_SET) == 0);
        VN_FUZZ_CHECK(zip.length() == length);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
    vnFuzzInput input(data, size);
    const unsigned char kind = input.byte();
    if (kind == 255)
    {
        std::string bytes = input.rest();
        readMembers(bytes, {"a", "b.txt", ""});
        return 0;
    }
    std::vector<std::pair<std::string, std::string>> members;
    std::vector<std::string> names{"missing"};
    for (unsigned int count = kind % 4; count > 0; --count)
    {
        const std::string name = input.shortText();
        members.emplace_back(name, input.shortText());
        names.push_back(name);
    }
    std::string bytes = archiveOf(members, kind & 4, kind & 8 ? input.shortText() : "");
    while (!input.isEmpty())
    {
        const auto place = static_cast<std::size_t>(input.number(2));
        bytes[place % bytes.size()] = static_cast<char>(input.byte());
    }
    readMembers(bytes, names);
    return 0;
}
