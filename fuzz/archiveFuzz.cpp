// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include "../tests/serialize/vnArchiveBytes.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <string>
#include <vector>

// Archives with some bytes flipped: a sound one is made of the input, then the places that the rest of the
// input names take other values. An input that begins with 255 is the archive as it stands. Whatever comes
// out, a member that opens has the length that it was given, and no more memory is taken than bytes come out.

namespace
{
// A deflate block that stores its bytes.
std::string deflated(const std::string& text)
{
    std::string block(1, '\x01');
    vnPutNumber(block, text.size(), 2);
    vnPutNumber(block, ~text.size(), 2);
    return block + text;
}

vnArchiveMember memberOf(const std::string& name, const std::string& text, bool isDeflated)
{
    const auto size = static_cast<unsigned int>(text.size());
    return {name, isDeflated ? deflated(text) : text, size, vnArchiveCRC(text), isDeflated ? 8u : 0u, 0};
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
    std::vector<vnArchiveMember> members;
    std::vector<std::string> names{"missing"};
    for (unsigned int count = kind % 4; count > 0; --count)
    {
        const std::string name = input.shortText();
        members.push_back(memberOf(name, input.shortText(), kind & 4));
        names.push_back(name);
    }
    std::string bytes = vnArchiveOf(members, kind & 8 ? input.shortText() : "", kind & 16);
    while (!input.isEmpty())
    {
        const auto place = static_cast<std::size_t>(input.number(2));
        bytes[place % bytes.size()] = static_cast<char>(input.byte());
    }
    readMembers(bytes, names);
    return 0;
}
