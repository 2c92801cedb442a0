// SPDX-License-Identifier: MIT
// Workload o: bytes that are transformed on their way, in memory and in blocks of 64 KB.
#include "bench.h"

#include <vnBase/vnCompress.h>
#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterEncoder.h>
#include <vnBase/vnSerializeAdapterMemory.h>

#include <zlib.h>

#ifdef HAVE_GLIB
#include <glib.h>
#endif
#ifdef HAVE_POCO
#include <Poco/Base64Decoder.h>
#include <Poco/Base64Encoder.h>
#include <Poco/HexBinaryDecoder.h>
#include <Poco/HexBinaryEncoder.h>
#include <Poco/MemoryStream.h>
#endif

using namespace bench;

namespace
{
constexpr unsigned int BLOCK = 65536;

using Bytes = std::vector<unsigned char>;
using Adapter = vnRefPointer<vnSerializeAdapter>;

// Some bytes from all over the buffer.
std::uint64_t checkOf(const Bytes& bytes, std::size_t size)
{
    std::uint64_t sum = size;
    for (std::size_t i = 0; i < size; i += 997)
        sum = sum * 31 + bytes[i];
    return sum;
}

Adapter memoryOn(const Bytes& bytes, std::size_t size)
{
    return Adapter(new vnSerializeAdapterMemory(const_cast<unsigned char*>(bytes.data()),
                                                static_cast<unsigned int>(size)));
}

// The bytes through an adapter that `make` puts in front of the output.
template <class Make>
std::uint64_t writeThrough(const Bytes& plain, Bytes& out, std::size_t size, Make make)
{
    {
        Adapter codec(make(memoryOn(out, out.size()).get()));
        for (std::size_t at = 0; at < plain.size(); at += BLOCK)
            codec->write(plain.data() + at,
                         static_cast<unsigned int>(std::min<std::size_t>(BLOCK, plain.size() - at)));
    }
    return checkOf(out, size);
}

template <class Make>
std::uint64_t readThrough(const Bytes& text, std::size_t size, Bytes& out, Make make)
{
    Adapter codec(make(memoryOn(text, size).get()));
    std::size_t done = 0;
    while (const unsigned int got = codec->read(
               out.data() + done, static_cast<unsigned int>(std::min<std::size_t>(BLOCK, out.size() - done))))
        done += got;
    return checkOf(out, done);
}

vnSerializeAdapter* makeBase64(vnSerializeAdapter* target)
{
    return new vnSerializeAdapterBase64Encoder(target);
}

vnSerializeAdapter* makeHex(vnSerializeAdapter* target)
{
    return new vnSerializeAdapterBCDEncoder(target);
}

vnSerializeAdapter* makeScrambler(vnSerializeAdapter* target)
{
    return new vnSerializeAdapterEncoder(target, 0x0123456789ABCDEF);
}

#ifdef HAVE_POCO
template <class Encoder>
std::uint64_t encodeWithPoco(const Bytes& plain, Bytes& out, std::size_t size)
{
    Poco::MemoryOutputStream memory(reinterpret_cast<char*>(out.data()),
                                    static_cast<std::streamsize>(out.size()));
    Encoder encoder(memory);
    encoder.rdbuf()->setLineLength(0);
    for (std::size_t at = 0; at < plain.size(); at += BLOCK)
        encoder.write(reinterpret_cast<const char*>(plain.data()) + at,
                      static_cast<std::streamsize>(std::min<std::size_t>(BLOCK, plain.size() - at)));
    encoder.close();
    return checkOf(out, size);
}

template <class Decoder>
std::uint64_t decodeWithPoco(const Bytes& text, std::size_t size, Bytes& out)
{
    Poco::MemoryInputStream memory(reinterpret_cast<const char*>(text.data()),
                                   static_cast<std::streamsize>(size));
    Decoder decoder(memory);
    std::size_t done = 0;
    do
    {
        decoder.read(reinterpret_cast<char*>(out.data()) + done,
                     static_cast<std::streamsize>(std::min<std::size_t>(BLOCK, out.size() - done)));
        done += static_cast<std::size_t>(decoder.gcount());
    } while (decoder && done < out.size());
    return checkOf(out, done);
}
#endif

void runBase64(Suite& suite, const Bytes& plain)
{
    Bytes text(plain.size() * 2 + 64);
    const std::size_t size = plain.size() / 3 * 4;
    const double work = static_cast<double>(plain.size());
    Group& encode = suite.group("base64: encode", mbPerSecond, work).rounds(9).sameCheck();
#ifdef HAVE_GLIB
    encode.add("g_base64_encode_step", kit,
               [&plain, size]
               {
                   static Bytes out(plain.size() * 2 + 64);
                   gint state = 0, save = 0;
                   std::size_t done = 0;
                   auto* to = reinterpret_cast<gchar*>(out.data());
                   for (std::size_t at = 0; at < plain.size(); at += BLOCK)
                       done += g_base64_encode_step(plain.data() + at,
                                                    std::min<std::size_t>(BLOCK, plain.size() - at), FALSE,
                                                    to + done, &state, &save);
                   g_base64_encode_close(FALSE, to + done, &state, &save);
                   return checkOf(out, size);
               });
#endif
#ifdef HAVE_POCO
    encode.add("Poco::Base64Encoder", kit,
               [&] { return encodeWithPoco<Poco::Base64Encoder>(plain, text, size); });
#endif
    encode.add("vnSerializeAdapterBase64Encoder", ours,
               [&] { return writeThrough(plain, text, size, makeBase64); });
    suite.run();

    writeThrough(plain, text, size, makeBase64);
    Bytes out(plain.size());
    Group& decode = suite.group("base64: decode", mbPerSecond, work).rounds(9).sameCheck();
#ifdef HAVE_GLIB
    decode.add("g_base64_decode_step", kit,
               [&text, &out, size]
               {
                   gint state = 0;
                   guint save = 0;
                   std::size_t done = 0;
                   for (std::size_t at = 0; at < size; at += BLOCK)
                       done += g_base64_decode_step(reinterpret_cast<const gchar*>(text.data()) + at,
                                                    std::min<std::size_t>(BLOCK, size - at),
                                                    out.data() + done, &state, &save);
                   return checkOf(out, done);
               });
#endif
#ifdef HAVE_POCO
    decode.add("Poco::Base64Decoder", kit,
               [&] { return decodeWithPoco<Poco::Base64Decoder>(text, size, out); });
#endif
    decode.add("vnSerializeAdapterBase64Encoder", ours,
               [&] { return readThrough(text, size, out, makeBase64); });
    suite.run();
}

void runHex(Suite& suite, const Bytes& plain)
{
    Bytes text(plain.size() * 2 + 64);
    const std::size_t size = plain.size() * 2;
    const double work = static_cast<double>(plain.size());
    Group& encode = suite.group("hexadecimal: encode", mbPerSecond, work).rounds(9);
#ifdef HAVE_POCO // writes lower case
    encode.add("Poco::HexBinaryEncoder", kit,
               [&] { return encodeWithPoco<Poco::HexBinaryEncoder>(plain, text, size); });
#endif
    encode.add("vnSerializeAdapterBCDEncoder", ours,
               [&] { return writeThrough(plain, text, size, makeHex); });
    suite.run();

    writeThrough(plain, text, size, makeHex);
    Bytes out(plain.size());
    Group& decode = suite.group("hexadecimal: decode", mbPerSecond, work).rounds(9).sameCheck();
#ifdef HAVE_POCO
    decode.add("Poco::HexBinaryDecoder", kit,
               [&] { return decodeWithPoco<Poco::HexBinaryDecoder>(text, size, out); });
#endif
    decode.add("vnSerializeAdapterBCDEncoder", ours, [&] { return readThrough(text, size, out, makeHex); });
    suite.run();
}

void runScrambler(Suite& suite, const Bytes& plain)
{
    Bytes text(plain.size());
    Bytes out(plain.size());
    const double work = static_cast<double>(plain.size());
    Group& scramble = suite.group("scrambler: write", mbPerSecond, work).rounds(9);
    scramble.add("vnSerializeAdapterEncoder", ours,
                 [&] { return writeThrough(plain, text, text.size(), makeScrambler); });
    suite.run();
    Group& read = suite.group("scrambler: read", mbPerSecond, work).rounds(9);
    read.add("vnSerializeAdapterEncoder", ours,
             [&] { return readThrough(text, text.size(), out, makeScrambler); });
    suite.run();
}

// Text of a few thousand words, so that zlib finds what it usually finds.
Bytes makeText(std::size_t size)
{
    Bytes text;
    std::uint64_t state = 1;
    while (text.size() < size)
    {
        state = state * 6364136223846793005u + 1442695040888963407u;
        std::uint64_t word = (state >> 40) * (state >> 45 & 63) % 4000 * 2654435761u;
        for (unsigned int letters = 2 + word % 7; letters > 0; --letters, word /= 26)
            text.push_back(static_cast<unsigned char>('a' + word % 26));
        text.push_back(' ');
    }
    text.resize(size);
    return text;
}

struct Blocks
{
    std::vector<vnDynamicArray<unsigned char>> plain;
    std::vector<vnDynamicArray<unsigned char>> packed;
};

void runCompression(Suite& suite, std::size_t size)
{
    const Bytes text = makeText(size);
    Blocks blocks;
    vnDynamicArray<unsigned char> scratch;
    for (std::size_t at = 0; at < size; at += BLOCK)
    {
        vnDynamicArray<unsigned char> plain, packed;
        plain.append(text.data() + at, static_cast<unsigned int>(std::min<std::size_t>(BLOCK, size - at)));
        vnCompress(plain, packed, scratch);
        blocks.plain.push_back(plain);
        blocks.packed.push_back(packed);
    }
    // Each block without its head is what zlib makes of it.
    const auto headOf = [](const vnDynamicArray<unsigned char>& plain) {
        return plain.getSize() < 128 ? 2u : plain.getSize() < 16384 ? 3u : 4u;
    };
    const double work = static_cast<double>(size);
    std::uint64_t heads = 0;
    for (const auto& plain : blocks.plain)
        heads += headOf(plain);

    Group& pack = suite.group("zlib: compress blocks of 64 KB", mbPerSecond, work).rounds(5).sameCheck();
    pack.add("zlib compress", limit,
             [&]
             {
                 Bytes out(compressBound(BLOCK));
                 std::uint64_t sum = heads;
                 for (const auto& plain : blocks.plain)
                 {
                     uLongf got = out.size();
                     compress(out.data(), &got, plain.data(), plain.getSize());
                     sum += got;
                 }
                 return sum;
             });
    pack.add("vnCompress", ours,
             [&]
             {
                 vnDynamicArray<unsigned char> packed, ownScratch;
                 std::uint64_t sum = 0;
                 for (const auto& plain : blocks.plain)
                 {
                     vnCompress(plain, packed, ownScratch);
                     sum += packed.getSize();
                 }
                 return sum;
             });
    Bytes stream(size + size / 10 + 1000);
    std::size_t streamSize = 0;
    pack.add("vnSerializeAdapterCompress", ours,
             [&]
             {
                 // A memory adapter is emptied by a flush, so the position is asked for by a sum.
                 class Sink : public vnSerializeAdapter
                 {
                 public:
                     Sink(unsigned char* place, std::size_t& size) : m_place(place), m_size(size)
                     {
                         m_size = 0;
                     }

                 protected:
                     void write_imp(unsigned char* data, unsigned int count) override
                     {
                         std::memcpy(m_place + m_size, data, count);
                         m_size += count;
                     }
                     void write_imp(unsigned char byte) override { m_place[m_size++] = byte; }
                     unsigned char read_imp() override { return 0; }

                 private:
                     unsigned char* m_place;
                     std::size_t& m_size;
                 };
                 Adapter adapter(new vnSerializeAdapterCompress(new Sink(stream.data(), streamSize)));
                 for (const auto& plain : blocks.plain)
                 {
                     adapter->write(plain.data(), plain.getSize());
                     adapter->flush();
                 }
                 return std::uint64_t(streamSize);
             });
    suite.run();

    Bytes out(size);
    Group& unpack = suite.group("zlib: uncompress blocks of 64 KB", mbPerSecond, work).rounds(9).sameCheck();
    unpack.add("zlib uncompress", limit,
               [&]
               {
                   std::size_t done = 0;
                   for (std::size_t i = 0; i < blocks.plain.size(); ++i)
                   {
                       uLongf got = out.size() - done;
                       const unsigned int head = headOf(blocks.plain[i]);
                       uncompress(out.data() + done, &got, blocks.packed[i].data() + head,
                                  blocks.packed[i].getSize() - head);
                       done += got;
                   }
                   return checkOf(out, done);
               });
    unpack.add("vnUnCompress", ours,
               [&]
               {
                   vnDynamicArray<unsigned char> plain;
                   std::size_t done = 0;
                   for (const auto& packed : blocks.packed)
                   {
                       vnUnCompress(packed, plain);
                       std::memcpy(out.data() + done, plain.data(), plain.getSize());
                       done += plain.getSize();
                   }
                   return checkOf(out, done);
               });
    unpack.add("vnSerializeAdapterCompress", ours,
               [&]
               {
                   return readThrough(stream, streamSize, out,
                                      [](vnSerializeAdapter* target)
                                      { return new vnSerializeAdapterCompress(target); });
               });
    suite.run();
}
} // namespace

int main(int argc, char** argv)
{
    Suite suite("o.encode", argc, argv);
    const auto size = static_cast<std::size_t>(suite.scaled(9999360)) / 3 * 3;
    Bytes plain(size);
    std::uint64_t state = 7;
    for (unsigned char& byte : plain)
        byte =
            static_cast<unsigned char>((state = state * 6364136223846793005u + 1442695040888963407u) >> 56);
    runBase64(suite, plain);
    runHex(suite, plain);
    runScrambler(suite, plain);
    runCompression(suite, size);
    return suite.getResult();
}
