// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterEncoder.h>

#include <algorithm>
#include <charconv>
#include <functional>

// The commands that show the adapters in front of other adapters.

namespace
{
constexpr unsigned int compressedBlock = 1000000;

constexpr char scramble[] = "scramble:";

vnUInt64 keyOf(const std::string& text)
{
    vnUInt64 key = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, key);
    if (error != std::errc() || stop != end)
        throw vnUsageError(std::string(scramble) + " takes a number below 2^64, not '" + text + "'");
    return key;
}

// A function that puts the adapter of this name in front of another one.
std::function<vnAdapter(vnAdapter&)> codecOf(const std::string& name)
{
    if (name == "base64")
        return [](vnAdapter& target) { return vnAdapter(new vnSerializeAdapterBase64Encoder(target)); };
    if (name == "hex")
        return [](vnAdapter& target) { return vnAdapter(new vnSerializeAdapterBCDEncoder(target)); };
    if (name == "compress")
        return [](vnAdapter& target) { return vnAdapter(new vnSerializeAdapterCompress(target)); };
    if (name.compare(0, sizeof scramble - 1, scramble) != 0)
        throw vnUsageError("'" + name + "' is not base64, hex, compress or scramble:NUMBER");
    const vnUInt64 key = keyOf(name.substr(sizeof scramble - 1));
    return [key](vnAdapter& target) { return vnAdapter(new vnSerializeAdapterEncoder(target, key)); };
}

// Writes to an adapter, and flushes it after each `block` bytes and at the end.
class BlockWriter
{
public:
    BlockWriter(vnAdapter& target, unsigned int block) : m_target(target), m_block(block) {}

    void write(unsigned char* data, unsigned int size)
    {
        while (size > 0)
        {
            const unsigned int step = std::min(size, m_block - m_gathered);
            m_target->write(data, step);
            vnCheckError(m_target);
            data += step;
            size -= step;
            m_gathered += step;
            if (m_gathered == m_block)
                flush();
        }
    }

    void flush()
    {
        m_target->flush();
        vnCheckError(m_target);
        m_gathered = 0;
    }

private:
    vnAdapter& m_target;
    unsigned int m_block;
    unsigned int m_gathered = 0;
};
} // namespace

void vnRunEncode(vnArguments& arguments)
{
    const std::vector<std::string> words = arguments.takeOperands(3, 3);
    const auto codec = codecOf(words[0]);
    vnAdapter source = vnOpenURL(words[1], VN_SERIALIZE_INPUT);
    vnCheckDistinct(source, words[1], words[2]);
    vnAdapter target = vnOpenURL(words[2], VN_SERIALIZE_OUTPUT);
    vnAdapter encoder = codec(target);
    BlockWriter writer(encoder, words[0] == "compress" ? compressedBlock : 0xFFFFFFFFu);
    vnForEachBlock(source, "encode",
                   [&writer](unsigned char* data, unsigned int size) { writer.write(data, size); });
    writer.flush();
}

void vnRunDecode(vnArguments& arguments)
{
    const std::vector<std::string> words = arguments.takeOperands(3, 3);
    const auto codec = codecOf(words[0]);
    vnAdapter source = vnOpenURL(words[1], VN_SERIALIZE_INPUT);
    vnCheckDistinct(source, words[1], words[2]);
    vnAdapter target = vnOpenURL(words[2], VN_SERIALIZE_OUTPUT);
    vnAdapter decoder = codec(source);
    vnForEachBlock(decoder, "decode", source,
                   [&target](unsigned char* data, unsigned int size)
                   {
                       target->write(data, size);
                       vnCheckError(target);
                   });
    target->flush();
    vnCheckError(target);
    if (source->hasData())
        throw vnFailure("'" + words[1] + "' ends within a byte");
}
