// SPDX-License-Identifier: MIT
#include "vnBesideCleanup.h"
#include "vnTextHelpers.h"

#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnUniqueString.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <set>
#include <thread>
#include <type_traits>
#include <utility>

// Set by a static that is constructed before it.
extern vnString setEarly;

namespace
{
const std::string longText(65535, 'x');

const bool isSetEarly = (setEarly = "a text that was set early", true);

LateCall lateCall;

// Classes with any members derive from it, and arrays move it when they grow.
static_assert(!std::is_nothrow_destructible_v<vnString>);
static_assert(std::is_nothrow_move_assignable_v<vnString>);

// A text of so many different bytes.
std::string bytesUpTo(std::size_t length)
{
    std::string bytes(length, 0);
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<char>('A' + i % 50);
    return bytes;
}

vnString textOf(const std::string& bytes)
{
    return vnString(bytes.data(), static_cast<unsigned short>(bytes.size()));
}
} // namespace

vnString setEarly;

TEST(vnString, ComparesEachByteOfEachLengthWhicheverHashIsKnown)
{
    for (unsigned int length = 1; length <= 40; ++length)
        for (unsigned int at = 0; at < length; ++at)
            for (unsigned int known = 0; known < 4; ++known)
            {
                SCOPED_TRACE(testing::Message() << length << " " << at << " " << known);
                std::string otherBytes = bytesUpTo(length);
                otherBytes[at] = '~';
                const vnString left = textOf(bytesUpTo(length)), right(left), other = textOf(otherBytes);
                if (known & 1)
                    left.hash();
                if (known & 2)
                {
                    right.hash();
                    other.hash();
                }
                EXPECT_TRUE(left == right);
                EXPECT_FALSE(left == other);
                EXPECT_FALSE(left == right + "x");
            }
}

TEST(vnString, KeepsWhatAnEarlierStaticPutThere)
{
    EXPECT_TRUE(isSetEarly);
    EXPECT_EQ(bytesOf(setEarly), "a text that was set early");
}

TEST(vnString, HandsItsBlockOverWhenItIsMoved)
{
    for (const std::size_t from : {0u, 1u, 15u, 16u, 300u})
        for (const std::size_t to : {0u, 15u, 16u, 300u})
        {
            SCOPED_TRACE(testing::Message() << from << " to " << to);
            const std::string bytes = bytesUpTo(from);
            vnString source = textOf(bytes), moved = textOf(std::string(to, 'z'));
            const char* const block = source.getString();
            moved = std::move(source);
            EXPECT_EQ(moved.getString() == block, from > 15 || from == 0); // short texts have none
            vnString again(std::move(moved));
            EXPECT_EQ(again.getString() == block, from > 15 || from == 0);
            EXPECT_EQ(bytesOf(again), bytes);
            EXPECT_TRUE(moved.isEmpty());
            moved += "used again";
            EXPECT_EQ(bytesOf(moved), "used again");
        }
}

TEST(vnString, GrowsInPlaceWithinAStep)
{
    std::string expected;
    vnString grown;
    for (unsigned int i = 0; i < 100; ++i)
    {
        const char* const before = grown.getString();
        const char character = static_cast<char>('a' + i % 26);
        expected += character;
        grown += character;
        ASSERT_EQ(bytesOf(grown), expected);
        const bool isStep = expected.size() == 1 || (expected.size() >= 16 && expected.size() % 16 == 8) ||
                            expected.size() == 16;
        ASSERT_EQ(grown.getString() == before, !isStep) << expected.size();
    }
}

TEST(vnString, InternsShortAndLongTexts)
{
    for (const std::size_t length : {1u, 15u, 16u, 24u, 300u})
    {
        const std::string bytes = bytesUpTo(length) + "!";
        vnString first = textOf(bytes), second = textOf(bytes);
        EXPECT_TRUE(first.makeUnique());
        EXPECT_TRUE(first == second); // interns the other one
        EXPECT_EQ(second.getString(), first.getString());
        vnString moved(std::move(second));
        EXPECT_EQ(moved.getString(), first.getString());
        EXPECT_FALSE(second.isUnique());
        moved = textOf("own");
        moved = first;
        moved += "";
        EXPECT_TRUE(moved.isUnique());
        moved += 'x';
        EXPECT_EQ(bytesOf(moved), bytes + "x");
        EXPECT_EQ(bytesOf(first), bytes);
    }
}

TEST(vnString, AgreesWithAPlainStringInAnyOrderOfOperations)
{
    std::mt19937 random(20);
    const auto pick = [&random](std::size_t count) { return static_cast<unsigned int>(random() % count); };
    vnString texts[3];
    std::string expected[3];
    for (unsigned int round = 0; round < 50000; ++round)
    {
        const unsigned int i = pick(3), j = pick(3);
        std::string& own = expected[i];
        const unsigned short part = static_cast<unsigned short>(pick(own.size() + 1));
        switch (pick(13))
        {
        case 0:
            texts[i] = texts[j];
            own = std::string(expected[j]);
            break;
        case 1:
            if (i == j)
                break;
            texts[i] = std::move(texts[j]);
            own = std::exchange(expected[j], "");
            break;
        case 2:
            texts[i] += 'c';
            own += 'c';
            break;
        case 3:
            texts[i] += texts[j];
            own += std::string(expected[j]);
            break;
        case 4:
            texts[i] = texts[i].getString() + part;
            own = own.substr(part);
            break;
        case 5:
            texts[i] += "literal";
            own += "literal";
            break;
        case 6:
            texts[i] = texts[i].left(part);
            own.resize(part);
            break;
        case 7:
            texts[i].reverse();
            std::reverse(own.begin(), own.end());
            texts[i] = vnString(texts[i].getString()); // with the hash of the new text
            break;
        case 8:
            if (own.size() < 3)
                texts[i].makeUnique();
            break;
        case 9:
            ASSERT_EQ(texts[i] == texts[j], own == expected[j]) << round;
            break;
        case 10:
            ASSERT_EQ(texts[i].hash(), vnString::hash(own.data(), static_cast<unsigned int>(own.size())));
            break;
        case 11:
            texts[i] += texts[i].getString() + part;
            own += std::string(own, part);
            break;
        default:
            std::swap(texts[i], texts[j]);
            own.swap(expected[j]);
            break;
        }
        if (own.size() > 400)
        {
            texts[i].clear();
            own.clear();
        }
        ASSERT_EQ(bytesOf(texts[i]), own) << round;
        ASSERT_TRUE(texts[i] == own.c_str()) << round;
        const vnString copy(texts[i]); // its hash leaves that of the original unknown
        ASSERT_EQ(bytesOf(copy), own) << round;
        ASSERT_EQ(copy.hash(), vnString::hash(own.data(), static_cast<unsigned int>(own.size()))) << round;
    }
}

TEST(vnString, IsBuiltFromEveryKindOfText)
{
    EXPECT_EQ(bytesOf(vnString()), "");
    EXPECT_EQ(bytesOf(vnString(static_cast<const char*>(nullptr))), "");
    EXPECT_EQ(bytesOf(vnString("a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(bytesOf(vnString((longText + "yz").c_str())), longText); // the first 65535 bytes
    EXPECT_EQ(bytesOf(vnString(u"a\u00E9\u20AC")), "a\xC3\xA9\xE2\x82\xAC");
    EXPECT_EQ(bytesOf(vnString(u"\U0001F600")), "\xED\xA0\xBD\xED\xB8\x80"); // each unit by itself
    EXPECT_EQ(bytesOf(vnString(u"\u00E9\0x\u20AC", 4, 1)), std::string("\xE9\0x\xAC", 4));
    EXPECT_EQ(bytesOf(vnString(u"\u00E9\0x", 3, 0)), std::string("\xC3\xA9\0x", 4));
    const std::u16string euros(30000, u'\u20AC');
    EXPECT_EQ(vnString(euros.c_str()).length(), 65535u);
    const std::u16string shifted = u"x" + euros;
    EXPECT_EQ(vnString(shifted.c_str()).length(), 65533u); // cut between characters
    EXPECT_EQ(bytesOf(vnString(static_cast<const char16_t*>(nullptr))), "");
    EXPECT_EQ(bytesOf(vnString(static_cast<const char16_t*>(nullptr), 3, 0)), "");
    EXPECT_EQ(bytesOf(vnString(u"abc", 0, 1)), "");
    EXPECT_EQ(bytesOf(vnString(-255, 16, 6)), "-0000ff");
    EXPECT_EQ(bytesOf(vnString(vnInt64(0), 10, 0)), "0");
    EXPECT_EQ(vnString(-1, 10, 65535).length(), 65535u);
    EXPECT_EQ(bytesOf(vnString(5, 1, 3)), "");
}

TEST(vnString, ReadsAsEmptyTextAndNeverAsNull)
{
    const vnString empty, literal("");
    EXPECT_TRUE(empty == literal);
    EXPECT_STREQ(empty, "");
    EXPECT_EQ(empty.hash(), 0u);
    EXPECT_TRUE(!empty);
    EXPECT_TRUE(!vnString("\0x", 2));
    EXPECT_FALSE(!vnString("x"));
    vnString nul("\0x", 2);
    EXPECT_TRUE(nul == empty); // a text that starts with NUL equals one that was never given
    nul.makeUnique();
    EXPECT_TRUE(nul == empty);
    EXPECT_FALSE(empty.isUnique());
    const vnString spaces = vnString::spaces(0, 'c');
    EXPECT_EQ(spaces.hash(), 0u);
    EXPECT_TRUE(spaces == empty);
    EXPECT_EQ(bytesOf(vnString::spaces(3, 'c')), "ccc");
}

TEST(vnString, OwnsItsBytes)
{
    vnString first("abc");
    vnString second(first);
    second(0) = 'X';
    EXPECT_EQ(bytesOf(first), "abc");
    first = second;
    first = *&first;
    EXPECT_EQ(bytesOf(first), "Xbc");
    first = first.getString() + 1; // a part of its own text
    EXPECT_EQ(bytesOf(first), "bc");
    first = vnString("de");
    first += first;
    EXPECT_EQ(bytesOf(first), "dede");
    const vnString moved(std::move(first));
    EXPECT_EQ(bytesOf(moved), "dede");
    second.clear();
    EXPECT_EQ(second.hash(), 0u);
    second = static_cast<const char*>(nullptr);
    EXPECT_TRUE(second.isEmpty());
}

TEST(vnString, JoinsTexts)
{
    const vnString a("a");
    EXPECT_EQ(bytesOf(a + "bc" + 'd' + u'\u20AC' + vnString("e")), "abcd\xE2\x82\xAC"
                                                                   "e");
    EXPECT_EQ(bytesOf(a + '\0' + u'\0' + "" + vnString()), "a");
    vnString sum;
    sum += "x";
    sum += 'y';
    sum += u'\u00E9';
    sum += a;
    EXPECT_EQ(bytesOf(sum), "xy\xC3\xA9"
                            "a");
    EXPECT_EQ(sum.hash(), vnString("xy\xC3\xA9"
                                   "a")
                              .hash());
}

TEST(vnString, ThrowsBeyondTheLimitForPlainTextOnly)
{
    const vnString full(longText.c_str());
    EXPECT_EQ(errorOf([&] { full + "y"; }), "Too many characters in vnString");
    vnString target(full);
    EXPECT_EQ(errorOf([&] { target += "y"; }), "Too many characters in vnString");
    EXPECT_TRUE(target == full);
    // The others take the length modulo 65536, and never a byte from outside.
    EXPECT_EQ(bytesOf(full + vnString("yz")), "x");
    EXPECT_EQ(bytesOf(full + 'y'), "");
    EXPECT_EQ((full + full).length(), 65534u);
    target += vnString("123");
    EXPECT_EQ(bytesOf(target), "xx");
    EXPECT_EQ(target.hash(), vnString("xx").hash());
}

TEST(vnString, HashesAlikeOnAllHosts)
{
    const std::pair<const char*, unsigned int> hashes[] = {
        {"a", 0x62},
        {"abcd", 0xACA5A6B7},
        {"hello world!", 0xDD1D113E},
        {"path/to\xE9\xFF", 0x6E64687A}, // the rest is folded as signed bytes
    };
    for (const auto& [text, hash] : hashes)
    {
        EXPECT_EQ(vnString(text).hash(), hash) << text;
        EXPECT_EQ(vnString::hash(text, 0), hash) << text; // scanned
    }
    EXPECT_EQ(vnString::hash(nullptr, 5), 0u);
    EXPECT_EQ(vnString("a\xE9").wrapHash(), 0x61ull ^ 0xFFFFFFFFFFFFE900ull);
    EXPECT_EQ(vnString("12345678\x01").wrapHash(), 0x3837363534333231ull ^ 1ull);
}

TEST(vnString, LeavesTheHashToTheDirectMutators)
{
    vnString text("aXa");
    const unsigned int before = text.hash();
    EXPECT_EQ(text.substitute('a', 'b'), 2u);
    text(1) = 'c';
    text.reverse();
    EXPECT_EQ(bytesOf(text), "bcb");
    EXPECT_EQ(text.hash(), before);
    EXPECT_EQ(errorOf([&] { text(3) = 'x'; }), "vnString(index) out of bounds");
    EXPECT_EQ(errorOf([] { vnString()(0) = 'x'; }), "vnString(index) out of bounds");
    text.makeUnique();
    const vnString& read = text;
    EXPECT_EQ(read(1), 'c');
    EXPECT_EQ(errorOf([&] { read(3); }), "vnString(index) out of bounds");
    EXPECT_TRUE(text.isUnique());
    EXPECT_EQ(text(1), 'c');
    EXPECT_FALSE(text.isUnique()) << "the byte might be written";
}

TEST(vnString, OrdersBySignedBytes)
{
    EXPECT_TRUE(vnString("abc") < vnString("abd"));
    EXPECT_TRUE(vnString("ab") < vnString("abc")); // a proper prefix is smaller
    EXPECT_FALSE(vnString("abc") < vnString("abc"));
    EXPECT_TRUE(vnString("\xE9") < vnString("a")); // above 127 is negative
    EXPECT_TRUE(vnString("0123456789\xE9") < vnString("0123456789a"));
    EXPECT_TRUE(vnString() < vnString("a"));
    const char* const null = nullptr;
    EXPECT_TRUE(null < vnString("a"));
    EXPECT_FALSE(vnString("a") < null);
    EXPECT_FALSE(null < vnString());
    EXPECT_TRUE(vnString("b") > "a");
    EXPECT_TRUE("a" < vnString("b"));
    EXPECT_TRUE(vnString("a") <= "a");
    EXPECT_TRUE("b" >= vnString("a"));
    EXPECT_TRUE(vnString() == static_cast<const char*>(nullptr));
    EXPECT_FALSE(vnString("a\0b", 3) == "a");
    EXPECT_TRUE("a" != vnString("b"));
}

TEST(vnString, CutsParts)
{
    const vnString abc("abc");
    EXPECT_EQ(bytesOf(abc(1, 100)), "bc");
    EXPECT_EQ(bytesOf(abc(3, 0)), "");
    EXPECT_EQ(errorOf([&] { abc(3, 1); }), "vnString(index,len) out of bounds");
    EXPECT_EQ(bytesOf(abc.left(2)), "ab");
    EXPECT_EQ(bytesOf(abc.left(2, 1)), "c");
    EXPECT_EQ(bytesOf(abc.left(9, 1)), "");
    EXPECT_EQ(bytesOf(abc.right(2)), "bc");
    EXPECT_EQ(bytesOf(abc.right(2, 1)), "a");
    EXPECT_EQ(bytesOf(abc.right(9)), "abc");
    EXPECT_EQ(bytesOf(vnString().left(3)), "");
    EXPECT_EQ(bytesOf(vnString().right(3, 1)), "");

    const vnString path("a.b.C.d");
    EXPECT_EQ(bytesOf(path.leftOf(".")), "a");
    EXPECT_EQ(bytesOf(path.leftOf(".", 0)), "a.b.C");
    EXPECT_EQ(bytesOf(path.rightOf(".")), "b.C.d");
    EXPECT_EQ(bytesOf(path.rightOf(".", 1)), "d");
    EXPECT_EQ(bytesOf(path.leftOf(".c", 0)), "");
    EXPECT_EQ(bytesOf(path.leftOf(".c", 0, 0)), "a.b");
    EXPECT_EQ(bytesOf(path.rightOf("xyz.b.C.d.")), "");
    EXPECT_EQ(bytesOf(path.rightOf("d", 1)), "");
    EXPECT_EQ(bytesOf(path.leftOf("", 0)), ""); // the empty pattern stands at 0 either way
    EXPECT_EQ(bytesOf(path.rightOf("", 1)), "a.b.C.d");
    EXPECT_EQ(bytesOf(vnString().rightOf("")), "");
}

TEST(vnString, FindsBytesAndPatterns)
{
    const vnString text("abcabC");
    EXPECT_EQ(text.find('b'), 1u);
    EXPECT_EQ(text.find('b', 2), 4u);
    EXPECT_EQ(text.find('x'), 6u);
    EXPECT_EQ(text.find('a', 9), 9u); // returned as it is
    EXPECT_EQ(vnString("\xE9").find(0xE9), 0u);

    unsigned short pos = 99;
    EXPECT_TRUE(text.contains("bc", 0, 1, &pos));
    EXPECT_EQ(pos, 1u);
    EXPECT_TRUE(text.contains("bc", 2, 0, &pos));
    EXPECT_EQ(pos, 4u);
    EXPECT_FALSE(text.contains("bc", 2));
    EXPECT_TRUE(text.contains("", 3, 1, &pos));
    EXPECT_EQ(pos, 0u); // the empty pattern stands at 0
    EXPECT_FALSE(text.contains("", 6));
    EXPECT_FALSE(vnString().contains(""));
    EXPECT_FALSE(text.contains("abcabCd"));
}

TEST(vnString, ComparesStartsAndEnds)
{
    const vnString text("Hello");
    unsigned short matched = 99;
    EXPECT_TRUE(text.compare("Hel", 1, &matched));
    EXPECT_EQ(matched, 3u);
    EXPECT_FALSE(text.compare("hEx", 0, &matched));
    EXPECT_EQ(matched, 2u);
    EXPECT_FALSE(text.compare("Hello you"));
    EXPECT_TRUE(text.compare(""));
    EXPECT_TRUE(text.isFirst("He") && text.isFirst("hE", 0) && text.isFirst(""));
    EXPECT_FALSE(text.isFirst("hE") || text.isFirst("Hello!"));
    EXPECT_TRUE(text.isFirst('h', 0));
    EXPECT_FALSE(text.isFirst('h'));
    EXPECT_TRUE(text.isLast("lo") && text.isLast("LO", 0) && text.isLast('o') && text.isLast('O', 0));
    EXPECT_FALSE(text.isLast("LO") || vnString().isLast('o') || vnString().isFirst('\0'));
}

TEST(vnString, ChangesCopies)
{
    EXPECT_EQ(bytesOf(vnString("xxaxx").strip('x')), "a");
    EXPECT_EQ(bytesOf(vnString("xxaxx").strip('x', 1, 0)), "axx");
    EXPECT_EQ(bytesOf(vnString("xxx").strip('x')), "");
    EXPECT_EQ(bytesOf(vnString(" \t\r\n a b \n").stripWhiteSpace()), "a b");
    EXPECT_EQ(bytesOf(vnString(" a ").stripWhiteSpace(0, 1)), " a");
    EXPECT_EQ(bytesOf(vnString("aa").substitute(vnString("a"), vnString("b"))), "ba"); // the first only
    EXPECT_EQ(bytesOf(vnString("aa").substitute(vnString("x"), vnString("b"))), "aa");
    EXPECT_EQ(bytesOf(vnString("aa").substitute(vnString(), vnString("b"))), "aa");
    EXPECT_EQ(bytesOf(vnString("aa").substitute(vnString("aa"), vnString())), "");
    const vnString large = vnString::spaces(65000, 'x') + 'a';
    EXPECT_EQ(bytesOf((large + "b").substitute(vnString("a"), vnString::spaces(1000, 'y'))),
              std::string(65000, 'x') + std::string(535, 'y'));
    EXPECT_EQ(bytesOf((large + vnString::spaces(500, 'b')).substitute(vnString("a"), vnString("yyyyyy"))),
              std::string(65000, 'x') + "yyyyyy" + std::string(500, 'b'));
    EXPECT_EQ(bytesOf(vnString("aZ\xC9\xE9").toUpper()), "AZ\xC9\xE9"); // ASCII letters only
    EXPECT_EQ(bytesOf(vnString("aZ\xC9\xE9").toLower()), "az\xC9\xE9");
    EXPECT_EQ(vnString("ABC").toLower().hash(), vnString("abc").hash());
}

TEST(vnString, MeasuresForSorting)
{
    EXPECT_EQ(vnString().sortval(), 0.0);
    EXPECT_EQ(vnString("\x80").sortval(), 0.5);
    EXPECT_EQ(vnString("\x01\x80").sortval(), 1.5 / 256);
    EXPECT_LT(vnString("abc").sortval(), vnString("abd").sortval());
    EXPECT_EQ(bytesOf(vnString("x").identifier(52)), "AB");
    EXPECT_EQ(bytesOf(vnString("x").identifier(-1)), "PIdcBqCkmfXC"); // as unsigned
}

TEST(vnString, PrefixesItsLength)
{
    const auto bstr = [](unsigned short length)
    {
        const vnArray<unsigned char> bytes = vnString::spaces(length, 'x').getBSTR();
        return std::string(bytes.begin(), bytes.end());
    };
    EXPECT_EQ(bstr(0), std::string(1, '\0'));
    EXPECT_EQ(bstr(3), "\x03xxx");
    EXPECT_EQ(bstr(255), "\xFF" + std::string(255, 'x'));
    EXPECT_EQ(bstr(256), "\xFF" + std::string(252, 'x') + "...");
    const vnArray<char16_t> wide = vnString("a\xE2\x82\xAC").getWideBSTR();
    EXPECT_EQ(std::u16string(wide.begin(), wide.end()), u"\u0002a\u20AC");
}

TEST(vnString, ScramblesAndRestores)
{
    const vnString original("Secret \xE2\x82\xAC text");
    vnString text(original);
    EXPECT_FALSE(text.scramble(0x12345) == original);
    EXPECT_TRUE(text.scramble(0x12345) == original);
    EXPECT_EQ(bytesOf(vnString("ab").scramble(1)), "``"); // 0x61 ^ 1, 0x62 ^ 2
    EXPECT_EQ(bytesOf(vnString("ab\xE9"
                               "c")
                          .scramble(1)),
              "``"); // what follows a malformed byte is lost
}

TEST(vnString, TellsCodePageTextFromUtf8)
{
    EXPECT_FALSE(vnString("abc").isAsciiString()); // the name means 8-bit code page text
    EXPECT_FALSE(vnString().isAsciiString());
    EXPECT_TRUE(vnString("\xE9").isAsciiString());
    EXPECT_TRUE(vnString("abcdefgh\xC3").isAsciiString()); // cut within a character
    EXPECT_FALSE(vnString("abcdefgh\xC3\xBC").isAsciiString());
    EXPECT_TRUE(vnString("abcdefgh\xC3\xBC").hasEscapedUTF8Chars());
    EXPECT_FALSE(vnString("abcdefghi").hasEscapedUTF8Chars());
    EXPECT_EQ(bytesOf(vnString("a\xE9").convertAsciiToUTF8()), "a\xC3\xA9");
    EXPECT_EQ(bytesOf(vnString("\xC3\xA9").convertAsciiToUTF8()), "\xC3\xA9");
    EXPECT_EQ(bytesOf(vnString("a\xC3\xA9\xE2\x82\xAC").convertUTF8ToAscii()), "a\xE9\xAC");
    EXPECT_EQ(bytesOf(vnString("a\xE9").convertUTF8ToAscii()), "a\xE9");
    EXPECT_EQ(vnString::spaces(65535, '\xE9').convertAsciiToUTF8().length(), 65534u);
}

TEST(vnString, DecodesWideText)
{
    const vnString text("a\xE2\x82\xAC\xF0\x9F\x98\x80");
    EXPECT_EQ(text.getWideStringLength(), 3u);
    EXPECT_EQ(std::u16string(text.getWideString()), u"a\u20AC\uF600"); // the low 16 bits
    EXPECT_EQ(std::u16string(text.getWideString(2)), u"a\u20AC");
    EXPECT_EQ(std::u16string(text.getWideString(9)), u"a\u20AC\uF600");
    EXPECT_EQ(std::u16string(vnString().getWideString()), u"");
    char16_t units[] = u"....";
    EXPECT_EQ(text.getWideString(units, 0), 3u);
    EXPECT_EQ(units[3], u'.');
    EXPECT_EQ(text.getWideString(units, 1), 3u);
    EXPECT_EQ(units[3], 0);
    EXPECT_EQ(text.getWideString(nullptr, 1), 0u);
    EXPECT_EQ(vnString("ab\xE2\x82xx").getWideStringLength(), 2u); // up to the malformed sequence
    EXPECT_EQ(std::u16string(vnString("ab\xE2\x82xx").getWideString()), u"ab");
}

TEST(vnString, KeepsTenWideTextsForEachThread)
{
    const char16_t* texts[10];
    for (unsigned int i = 0; i < 10; ++i)
        texts[i] = vnString(i, 10, 0).getWideString();
    std::thread other([] { vnString("other").getWideString(); });
    other.join();
    for (unsigned int i = 0; i < 10; ++i)
        EXPECT_EQ(texts[i][0], u'0' + i);
    EXPECT_EQ(std::set<const char16_t*>(texts, texts + 10).size(), 10u);
    const char16_t* const next = vnString("z").getWideString();
    EXPECT_EQ(next, texts[0]); // the ring comes round
}

TEST(vnString, DecodesInTheDestructorsOfStatics)
{
    EXPECT_EXIT(
        {
            lateCall.run = []
            {
                const char16_t* const first = vnString("late \xE2\x82\xAC").getWideString();
                const char16_t* const second = vnString("second").getWideString();
                std::fprintf(stderr, "%d %d", std::u16string(first) == u"late \u20AC", first != second);
            };
            vnString("early").getWideString();
            vnCleanupReference::cleanUpReferences(-1);
            vnString("in between").getWideString();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "1 1");
}

TEST(vnString, DecodesBesideAPassOverTheCleanupReferences)
{
    useBesideCleanup(893, [] { EXPECT_EQ(std::u16string(vnString("text").getWideString()), u"text"); });
}

TEST(vnString, LetsGoOfWideTextsInEachPassOverTheCleanupReferences)
{
    const auto isLetGo = []
    {
        vnMemoryControl::debugMem(1);
        for (int i = 0; i < 2; ++i)
        {
            vnString::spaces(50000).getWideString();
            if (vnMemoryControl::getAllocMem(0, 0) < 100000)
                return false;
            vnCleanupReference::cleanUpReferences(-1);
            if (vnMemoryControl::getAllocMem(0, 0) >= 100000)
                return false;
        }
        return true;
    };
    EXPECT_IN_A_PROCESS(isLetGo()); // other pools are gone for good
}

TEST(vnString, EscapesControlCharactersAndBack)
{
    const vnString raw("a\0\a\b\t\n\v\f\r\"'?\\ \x01", 15);
    const std::string escaped = "a\\0\\a\\b\\t\\n\\v\\f\\r\\\"\\'\\?\\\\ \x01";
    EXPECT_EQ(bytesOf(raw.convertCtrlToText()), escaped);
    EXPECT_EQ(bytesOf(raw.convertCtrlToText().convertTextToCtrl()), bytesOf(raw));
    EXPECT_EQ(bytesOf(vnString("a b").convertCtrlToText(1)), "a\\040b");
    EXPECT_EQ(bytesOf(vnString("\\q\\n\\").convertTextToCtrl()), "\\q\n\\"); // unlisted and lone ones stay
    EXPECT_EQ(bytesOf(vnString("\\\\n").convertTextToCtrl()), "\\n");
    EXPECT_EQ(vnString::spaces(65535, '\n').convertCtrlToText().length(), 65534u);
    EXPECT_EQ(bytesOf(vnString().convertCtrlToText()), "");
    EXPECT_EQ(bytesOf(vnString().convertTextToCtrl()), "");
    EXPECT_EQ(bytesOf(vnString("a\\q\\\\").convertTextToCtrl()), "a\\q\\");
    vnString unchanged("\\q\\");
    unchanged.makeUnique();
    EXPECT_TRUE(unchanged.convertTextToCtrl().isUnique()); // a copy
}

TEST(vnString, ListsItsCharactersAsNumbers)
{
    EXPECT_EQ(bytesOf(vnString("aB\xE2\x82\xAC").convertUTF8ToNumList("%d", ", ")), "97, 66, 8364");
    EXPECT_EQ(bytesOf(vnString("a").convertUTF8ToNumList("%x", ",")), "61");
    EXPECT_EQ(bytesOf(vnString().convertUTF8ToNumList("%d", ",")), "");
    EXPECT_EQ(vnString::spaces(65535, 'a').convertUTF8ToNumList("%d", ",").length(), 65534u); // whole numbers
}

TEST(vnString, CopiesIntoPlainBuffers)
{
    char buffer[4] = "...";
    strcpy_safe(buffer, "abcdef", 4);
    EXPECT_STREQ(buffer, "abc");
    strcpy_safe(buffer, nullptr, 4);
    EXPECT_STREQ(buffer, "");
    strcpy_safe(buffer, "x", 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(strlen_safe("abc", 2), 2u);
    EXPECT_EQ(strlen_safe(nullptr), 0u);
    EXPECT_STREQ(vnYesNo(1), "yes");
    EXPECT_STREQ(vnYesNo(0, 1), "No");
}
