// SPDX-License-Identifier: MIT
#include "vnEncodeTestHelp.h"

#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterEncoder.h>

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace
{
using Base64 = vnSerializeAdapterBase64Encoder;
using Hex = vnSerializeAdapterBCDEncoder;

// Encoded, with the bytes cut into blocks of the given size; 0 stands for single bytes.
template <class Codec>
std::string encoded(const std::string& plain, unsigned int block = 0xFFFFFFFF, bool isWide = false)
{
    Adapter queue = queueWith("", isWide);
    Adapter codec(new Codec(queue));
    for (std::size_t at = 0; at < plain.size(); at += std::max(block, 1u))
        block ? writeText(codec, plain.substr(at, block))
              : codec->write(static_cast<unsigned char>(plain[at]));
    codec->flush();
    return readAll(queue);
}

using Decoded = std::pair<std::string, std::string>; // the plain bytes, and what is left in the target

std::string wideOf(const std::string& text)
{
    std::string wide;
    for (const char c : text)
        wide += {c, '\0'};
    return wide;
}

// The first `count` bytes, in blocks of the given size or by single reads, and what they leave in the target.
template <class Codec>
Decoded decoded(const Adapter& target, unsigned int count, unsigned int block)
{
    Adapter codec(new Codec(target.get()));
    std::string plain, left, piece;
    while (plain.size() < count)
        plain += block ? readAll(codec, std::min<unsigned int>(block, count - plain.size()))
                       : std::string(1, static_cast<char>(codec->read()));
    while (!(piece = readAll(target)).empty())
        left += piece; // of a target that may give few at a time
    return {plain, left};
}

// Every way of reading `text` gives `plain`, and leaves the same of what follows.
template <class Codec>
void expectDecoded(const std::string& text, const std::string& plain, const std::string& left = "")
{
    SCOPED_TRACE(text);
    const auto count = static_cast<unsigned int>(plain.size());
    const std::function<Adapter()> targets[] = {[&] { return memoryWith(text); },
                                                [&] { return queueWith(text); },
                                                [&] { return Adapter(new Portions(text, 0)); },
                                                [&] { return Adapter(new Portions(text, 0xFFFFFFFF)); }};
    for (const auto& target : targets)
        for (const unsigned int block : {0u, 1u, 2u, 5u, std::max(count, 1u)})
            EXPECT_EQ(decoded<Codec>(target(), count, block), (Decoded{plain, left})) << block;
    const std::string wide = wideOf(text);
    for (Adapter target : {memoryWith(wide), queueWith(wide), Adapter(new Portions(wide, 0))})
    {
        target->setAdapterFlags(VN_ADAPTER_UNICODE);
        EXPECT_EQ(decoded<Codec>(target, count, std::max(count, 1u)), (Decoded{plain, wideOf(left)}));
    }
    // To the end, as far as `hasData` tells it.
    if (left.find_first_not_of(" =\r\n") != std::string::npos)
        return;
    for (const Adapter& target : {memoryWith(text), queueWith(text), Adapter(new Portions(text, 0))})
        EXPECT_EQ(readByByte(Adapter(new Codec(target))), plain);
}

template <class Codec>
void expectEncoded(const std::string& plain, const std::string& text)
{
    for (const unsigned int block : {0u, 1u, 2u, 4u, 0xFFFFFFFFu})
    {
        EXPECT_EQ(encoded<Codec>(plain, block), text);
        EXPECT_EQ(encoded<Codec>(plain, block, true), wideOf(text));
    }
    expectDecoded<Codec>(text, plain);
}
} // namespace

TEST(vnSerializeAdapterBase64Encoder, writesAndReadsTheAlphabet)
{
    expectEncoded<Base64>("", "");
    expectEncoded<Base64>("M", "TQ");
    expectEncoded<Base64>("Ma", "TWE");
    expectEncoded<Base64>("Many hands make light work.", "TWFueSBoYW5kcyBtYWtlIGxpZ2h0IHdvcmsu");
    expectEncoded<Base64>("\xfb\xff\xbf\x14\xfb\x9c", "+/+/FPuc");
    for (const unsigned int size : {3071u, 3072u, 3073u, 10000u})
        expectDecoded<Base64>(encoded<Base64>(noise(size)), noise(size));
}

TEST(vnSerializeAdapterBase64Encoder, readsGroupsThatEndEarly)
{
    expectDecoded<Base64>("TWE=", "Ma");
    expectDecoded<Base64>("TQ==", "M", "=");
    expectDecoded<Base64>(" T\nW\tF\r\nu TWE = \n", "ManMa", " \n");
    expectDecoded<Base64>("TQ==TWE=TWFu\n\n", "MMaMan", "\n\n");
    expectDecoded<Base64>("===TQ", "M");
    expectDecoded<Base64>("A=TQ", "M"); // six bits are no byte
    expectDecoded<Base64>("TWFuTWFu\nrest", "ManMan", "\nrest");
    expectDecoded<Base64>("TQ=?rest", "M", "?rest");
    expectDecoded<Base64>(" \n = ", "", " \n = ");
    // Outside the alphabet the ranges go on, six bits wide.
    expectDecoded<Base64>("[{}~", "\x6b\x4d\xb7");
    expectDecoded<Base64>("-,:\xff", "\xff\xff\xb8");
    std::string lines, plain;
    for (int i = 0; i < 200; ++i, plain += noise(57))
        lines += encoded<Base64>(noise(57)) + "\r\n";
    expectDecoded<Base64>(lines.substr(0, lines.size() - 2), plain);
    EXPECT_EQ(Adapter(new Base64(queueWith("")))->read(), 0);
}

TEST(vnSerializeAdapterBase64Encoder, estimatesItsLengthAndFlushesByDirection)
{
    Adapter codec(new Base64(queueWith("TWFuTWFu")));
    EXPECT_EQ(codec->length(), 6u);
    EXPECT_EQ(codec->read(), 'M');
    EXPECT_EQ(codec->length(), 5u);
    codec->flush(); // drops the group
    EXPECT_EQ(readAll(codec), "Man");
    EXPECT_EQ(Adapter(new Base64(queueWith("TWFuTWFu", true)))->length(), 6u);
    // Whatever the characters are; `hasData` knows better, and takes them.
    for (Adapter blank : {memoryWith(" \n = \r\n"), queueWith(" \n = \r\n")})
    {
        codec = new Base64(blank);
        EXPECT_EQ(codec->length(), 5u);
        EXPECT_EQ(codec->length(), 5u);
        EXPECT_EQ(codec->hasData(), 0);
        EXPECT_EQ(codec->length(), 0u);
    }
    codec->write('M'); // pending
    EXPECT_EQ(codec->length(), 1u);
    EXPECT_EQ(codec->hasData(), 0);

    vnRefPointer<Portions> target(new Portions("TWFu", 4));
    auto* base64 = new Base64(target);
    codec = base64;
    EXPECT_EQ(codec->read(), 'M');
    writeText(codec, "Ma");
    codec->flush();
    EXPECT_EQ(target->written, "TWE");
    EXPECT_EQ(target->flushes, 1u);
    EXPECT_EQ(codec->read(), 'a'); // writing takes nothing from the group that is being read
    codec->write('x');
    codec->pushBack('y');
    base64->setAdapter(queueWith("TQ"));
    EXPECT_EQ(readAll(codec), "M");
    codec->flush();
    EXPECT_EQ(target->written, "TWE");
    EXPECT_EQ(target->flushes, 1u);
}

TEST(vnSerializeAdapterBase64Encoder, writesWhatIsPendingWhenItGoes)
{
    vnRefPointer<Portions> target(new Portions("", 0));
    Adapter codec(new Base64(target));
    writeText(codec, "Ma");
    codec = nullptr;
    EXPECT_EQ(target->written, "TWE");
    EXPECT_EQ(target->flushes, 1u);
    codec = new Base64(target);
    writeText(codec, "Ma");
    target->refuses = true;
    EXPECT_THROW(codec->write('n'), std::runtime_error);
    target->refuses = false;
    codec->write('n'); // what was pending still is
    EXPECT_EQ(target->written, "TWETWFu");
    codec->write('M');
    target->refuses = true;
    EXPECT_THROW(codec = nullptr, std::runtime_error);
}

TEST(vnSerializeAdapterBCDEncoder, writesAndReadsDigits)
{
    expectEncoded<Hex>("", "");
    expectEncoded<Hex>("\xab", "AB");
    expectEncoded<Hex>(std::string("\x00\x7f\xff\x10", 4), "007FFF10");
    expectDecoded<Hex>(" A B", "\xab");
    expectDecoded<Hex>("aB\nCd\r\n", "\xab\xcd", "\r\n");
    expectDecoded<Hex>("4D\nrest", "M", "\nrest");
    expectDecoded<Hex>("G@z/", std::string("\x00\x3f", 2));
    for (const unsigned int size : {2047u, 2048u, 2049u, 10000u})
        expectDecoded<Hex>(encoded<Hex>(noise(size)), noise(size));
    EXPECT_EQ(Adapter(new Hex(queueWith("ABCD")))->length(), 2u);
    EXPECT_EQ(Adapter(new Hex(queueWith("ABCD", true)))->length(), 2u);
    // Half a byte waits for the other half.
    Adapter queue = queueWith("4d 4");
    Adapter codec(new Hex(queue));
    EXPECT_EQ(readAll(codec), "M");
    EXPECT_EQ(codec->hasData(), 0);
    EXPECT_EQ(codec->read(), 0);
    writeText(queue, "E");
    EXPECT_EQ(readAll(codec), "N");
    for (Adapter blank : {memoryWith(" 4 \n"), queueWith(" 4 \n")})
    {
        codec = new Hex(blank);
        EXPECT_EQ(codec->length(), 2u);
        EXPECT_EQ(codec->hasData(), 0);
        EXPECT_EQ(codec->length(), 0u); // of the digit
        EXPECT_EQ(readAll(blank), "4");
    }
}

TEST(vnSerializeAdapterEncoder, undoesItsScrambling)
{
    const auto scrambled = [](const std::string& plain, vnUInt64 key, unsigned int block)
    {
        Adapter queue = queueWith("");
        Adapter codec(new vnSerializeAdapterEncoder(queue, key));
        for (std::size_t at = 0; at < plain.size(); at += block)
            writeText(codec, plain.substr(at, block));
        return readAll(queue);
    };
    const auto unscrambled = [](const std::string& text, vnUInt64 key)
    { return readAll(Adapter(new vnSerializeAdapterEncoder(queueWith(text), key))); };
    // By hand: 'A' ^ 08^07^..^01 = 49; the key becomes 2030405060708 << 4, plus 49.
    EXPECT_EQ(scrambled("A", 0x0102030405060708, 1), "\x49");
    EXPECT_EQ(scrambled("AAA", 0, 3), "\x41\x41\x55");
    const std::string plain = noise(10000);
    const std::string text = scrambled(plain, 0xFEDCBA9876543210, 10000);
    EXPECT_EQ(scrambled(plain, 0xFEDCBA9876543210, 1), text);
    EXPECT_EQ(scrambled(plain, 0xFEDCBA9876543210, 4097), text);
    EXPECT_EQ(unscrambled(text, 0xFEDCBA9876543210), plain);
    EXPECT_NE(unscrambled(text, 0xFEDCBA9876543211), plain);
    EXPECT_EQ(readByByte(Adapter(new vnSerializeAdapterEncoder(queueWith(text), 0xFEDCBA9876543210))), plain);

    struct Restarted : vnSerializeAdapterEncoder
    {
        using vnSerializeAdapterEncoder::setAdapter;
        using vnSerializeAdapterEncoder::vnSerializeAdapterEncoder;
    };
    auto* restarted = new Restarted(queueWith(text), 1);
    Adapter codec(restarted);
    codec->read();
    codec->pushBack('x');
    restarted->setAdapter(queueWith(text), 0xFEDCBA9876543210);
    EXPECT_EQ(codec->length(), 10000u);
    EXPECT_EQ(readAll(codec), plain);
}
