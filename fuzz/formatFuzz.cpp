// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnString.h>

#include <cstring>
#include <memory>
#include <vector>

// The format engine with any format and any arguments: it always ends, stays below the longest text, and
// gives the same result again. The input is up to 16 arguments, each behind a byte that tells its type, a
// byte for their end, and the format.

namespace
{
constexpr unsigned int VN_ARGUMENT_KINDS = 6;

// The arguments and what they refer to.
class Arguments
{
public:
    explicit Arguments(vnFuzzInput& input)
    {
        while (m_arguments.size() < vnArgumentList::VN_MAX_ARGUMENTS && add(input))
        {
        }
    }

    vnArgumentList list() const
    {
        return vnArgumentList(m_arguments.data(), static_cast<unsigned int>(m_arguments.size()));
    }

private:
    bool add(vnFuzzInput& input)
    {
        const unsigned int kind = input.byte() % (VN_ARGUMENT_KINDS + 1);
        switch (kind)
        {
        case 1:
            m_arguments.emplace_back(static_cast<int>(input.number(4)));
            return true;
        case 2:
            m_arguments.emplace_back(readDouble(input));
            return true;
        case 3:
            m_arguments.emplace_back(static_cast<vnInt64>(input.number(8)));
            return true;
        case 4:
            m_arguments.emplace_back(input.number(8));
            return true;
        case 5:
            m_strings.push_back(std::make_unique<vnString>(input.shortText().c_str()));
            m_arguments.emplace_back(*m_strings.back());
            return true;
        case 6:
            m_arguments.emplace_back(static_cast<const void*>(keepText(input.shortText())));
            return true;
        default:
            return false;
        }
    }

    static double readDouble(vnFuzzInput& input)
    {
        const vnUInt64 bits = input.number(8);
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    // A pointer is read as 8-bit or as 16-bit text, as the format likes.
    const char16_t* keepText(const std::string& text)
    {
        m_texts.push_back(std::make_unique<char16_t[]>(text.size() / 2 + 2));
        std::memcpy(m_texts.back().get(), text.data(), text.size());
        return m_texts.back().get();
    }

    std::vector<vnArgument> m_arguments;
    std::vector<std::unique_ptr<vnString>> m_strings;
    std::vector<std::unique_ptr<char16_t[]>> m_texts;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const Arguments arguments(input);
    const std::string format = input.rest().substr(0, vnString::VN_MAX_LENGTH);
    const auto length = static_cast<unsigned short>(format.size());

    vnString first;
    first.assignFormat(format.data(), length, arguments.list());
    VN_FUZZ_CHECK(std::strlen(first.getString()) <= first.length());
    VN_FUZZ_CHECK(first.length() == 0 || first.hash() == vnString::hash(first.getString(), first.length()));

    vnString second("what was there before");
    second.assignFormat(format.data(), length, arguments.list());
    VN_FUZZ_CHECK(second.length() == first.length());
    VN_FUZZ_CHECK(std::memcmp(second.getString(), first.getString(), first.length()) == 0);
    return 0;
}
