// SPDX-License-Identifier: MIT
#include "../messages/vnMessageRecorder.h"
#include "vnFormatOracle.h"
#include "vnTestManager.h"
#include "vnTextHelpers.h"

#include <vnBase/vnStringData.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

// Wide text is char16_t here: "%s" and "%S" would read a wchar_t text as something else.
static_assert(!std::is_constructible_v<vnArgument, const wchar_t*>);
static_assert(!std::is_constructible_v<vnArgument, wchar_t*>);
static_assert(std::is_constructible_v<vnArgument, const char16_t*>);

namespace
{
template <class... Args>
std::string text(const char* format, const Args&... args)
{
    return bytesOf(vnString::formatString(format, args...));
}

// Puts a directive that does not exist in front of every text.
class FaultyTranslator : public vnMessageTranslatorInterface
{
public:
    FaultyTranslator() { vnMessage::setMessageTranslator(this); }
    ~FaultyTranslator() noexcept(false) override { vnMessage::setMessageTranslator(nullptr); }
    vnString translate(const vnString&, vnMessageLevel, const vnString& text) override
    {
        return vnString("%y: ") + text;
    }
    void setTranslation(const vnString&, const vnString&, const vnString&, const vnString&) override {}
};
} // namespace

TEST(vnStringFormat, PrintsIntegers)
{
    EXPECT_EQ(text("%d|%+d|%05d", 42, 42, -42), "42|+42|-0042");
    EXPECT_EQ(text("%d", 9007199254740993ll), "9007199254740993"); // above what a double holds
    EXPECT_EQ(text("% d|%-5d|%5d", 7, 8, 9), " 7|8    |    9");
    EXPECT_EQ(text("%0-5d|%-05d|% +d", 7, 8, 9), "7    |8    |+9"); // whichever comes first
    EXPECT_EQ(text("%.4d", -7), "-0007");
    EXPECT_EQ(text("%o|%b|%O|%B", 8, 5, 8, 5), "10|101|10|101");
    EXPECT_EQ(text("%u", -5), "5");                                                         // the magnitude
    EXPECT_EQ(text("%d|%x", 9007199254740993L, ~0ul), "9007199254740993|ffffffffffffffff"); // as 64 bits
}

TEST(vnStringFormat, CutsIntegersToTheirSize)
{
    EXPECT_EQ(text("%ld", 4294967297.0), "1");
    EXPECT_EQ(text("%hd", 65535), "-1");
    EXPECT_EQ(text("%hd|%hu|%hx", 65537, 65537, 65537), "1|1|1");
    EXPECT_EQ(text("%lu|%hu", -1, -1), "4294967295|65535");
    EXPECT_EQ(text("%lu|%ld", 1e19, 1e19), "2313682944|-1"); // "%d" ends where signed numbers do
    EXPECT_EQ(text("%LLd|%lLd|%Hd", 5000000000ll, 5000000000ll, 70000), "5000000000|5000000000|4464");
}

TEST(vnStringFormat, PrintsTheEdgesOf64Bits)
{
    const vnInt64 lowest = std::numeric_limits<vnInt64>::min();
    EXPECT_EQ(text("%d", lowest), "-9223372036854775808");
    EXPECT_EQ(text("%u", lowest), "9223372036854775808");
    EXPECT_EQ(text("%u|%d", ~0ull, ~0ull), "18446744073709551615|18446744073709551615");
    EXPECT_EQ(text("%x|%o", ~0ull, ~0ull), "ffffffffffffffff|1777777777777777777777");
    EXPECT_EQ(text("%d|%d", 1e300, -1e300), "9223372036854775807|-9223372036854775808");
    EXPECT_EQ(text("%d|%u", 1e19, 1e19), "9223372036854775807|10000000000000000000");
    EXPECT_EQ(text("%d", std::nan("")), "0");
}

TEST(vnStringFormat, WritesTheTopDigitOfNegativeNumbersByItself)
{
    EXPECT_EQ(text("%x|%X", -1, -1), "Ffffffffffffffff|FFFFFFFFFFFFFFFF");
    EXPECT_EQ(text("%lx|%hX", -1, -1), "ffffffff|FFFF");
    EXPECT_EQ(text("%o", -1), "7" + std::string(20, '7'));
    EXPECT_EQ(text("%b", -1), std::string(64, '1'));
    EXPECT_EQ(text("%x", -(1ll << 60)), "F0");                   // the rest has no zeros in front
    EXPECT_EQ(text("%x", -(1ll << 60) - 1), "efffffffffffffff"); // two's complement below
    EXPECT_EQ(text("%x", std::numeric_limits<vnInt64>::min()), "8000000000000000");
    EXPECT_EQ(text("%o|%o", -(1ll << 60), -(1ll << 60) - 1), "70|16" + std::string(20, '7'));
    EXPECT_EQ(text("%b", -(1ll << 60)), "1111" + std::string(60, '0'));
    EXPECT_EQ(text("%b", -(1ll << 60) - 1), "1110" + std::string(60, '1'));
    EXPECT_EQ(text("%b", -(1ll << 62) - 1), "10" + std::string(62, '1'));
    EXPECT_EQ(text("%b", std::numeric_limits<vnInt64>::min()), "1" + std::string(63, '0'));
}

TEST(vnStringFormat, PrintsRealsInTheShortestForm)
{
    EXPECT_EQ(text("%f|%f|%f|%f", 1.5, 0.1, -3.0, 100.0 / 3), "1.5|0.1|-3|33.3333333333333");
    EXPECT_EQ(text("%f|%e", 0.0, 0.0), "0|0");
    EXPECT_EQ(text("%he %hf %f", -1e-300, -1e-300, -0.0), "0 0 0"); // what rounds to zero has no sign
    EXPECT_EQ(text("%f", 1e18), "1000000000000000000");
    EXPECT_EQ(text("%f|%f", 1e19, -1e19), "1e19|-1e19");
    EXPECT_EQ(text("%f|%f", 1e-9, 5e-10), "0.000000001|5e-10");
    EXPECT_EQ(text("%e|%e", 1500.0, 0.00025), "1.5e3|2.5e-4");
    EXPECT_EQ(text("%g|%g|%g|%g", 100000.0, 1234.5, 0.5, 0.0), "1e5|1234.5|0.5|0");
    EXPECT_EQ(text("%hf", 0.1), "0.10000000149011"); // through a float; cut, not rounded
    EXPECT_EQ(text("%f", 4294967295u), "4294967295");
    EXPECT_EQ(text("%.2f|%.2e|%.2g", 1ull << 63, 1ull << 63, 1ull << 63), "9.22e18|9.22e18|9.22e18");
    EXPECT_EQ(text("%.3f", ~0ull), "1.845e19"); // not the -1 of the same bits
}

TEST(vnStringFormat, PrintsRealsThatAreNoNumbersOrFarFromOne)
{
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(text("%f|%e|%g|%f", infinity, infinity, infinity, -infinity), "<inf>|<inf>|<inf>|-<inf>");
    EXPECT_EQ(text("%f|%e|%g", std::nan(""), std::nan(""), std::nan("")), "<nan>|<nan>|<nan>");
    EXPECT_EQ(text("%.2e", 5e-324), "4.94e-324");
    EXPECT_EQ(text("%.2e", 1.7976931348623157e308), "1.80e308");
    EXPECT_EQ(text("%hf", 1e300), "<inf>"); // beyond a float
    const double largest = std::numeric_limits<float>::max();
    for (const double nearby : {largest, largest * 1.00000001})
        EXPECT_EQ(text("%hf|%hf", nearby, -nearby), text("%f|%f", largest, -largest));
    const double halfStep = std::ldexp(1.0, 103);
    EXPECT_EQ(text("%hf|%hf", largest + halfStep, -largest - halfStep), "<inf>|-<inf>");
}

TEST(vnStringFormat, PrintsNothingForAZeroWithoutPrecision)
{
    EXPECT_EQ(text("[%.0f]", 0.0), "[]");
    EXPECT_EQ(text("[%8.0d]", 0), "[]"); // not even padding
    EXPECT_EQ(text("[%3.0d]", 5), "[  5]");
    EXPECT_EQ(text("[%.0s]", static_cast<const char*>(nullptr)), "[]");
}

TEST(vnStringFormat, CutsTextsAtTheWidth)
{
    EXPECT_EQ(text("%5s", "abcdef"), "abcde");
    EXPECT_EQ(text("%5s|%-5s|", vnString("ab"), vnString("ab")), "   ab|ab   |");
    EXPECT_EQ(text("%.2s|%4.2s", "abc", "abc"), "ab|  ab");
    EXPECT_EQ(text("%3S", u"abcdef"), "abcdef"); // only "%s" does
    EXPECT_EQ(text("%+s|%05s", "a", "a"), "+a|0000a");
    EXPECT_EQ(text("%s|", static_cast<const char*>(nullptr)), "|");
    EXPECT_EQ(text("%S|", static_cast<const char16_t*>(nullptr)), "|");
    EXPECT_EQ(text("%s|%S|", nullptr, nullptr), "||");
}

TEST(vnStringFormat, CountsTheHashFlagAsTwoCharactersAndWritesNone)
{
    EXPECT_EQ(text("%#5x", 255), " ff");
    EXPECT_EQ(text("%#5d", 255), "  255"); // not for decimal
    EXPECT_EQ(text("%#05x", 255), "000ff");
}

TEST(vnStringFormat, TakesArgumentsByPlace)
{
    EXPECT_EQ(text("%2$s %1$s", "a", "b"), "b a");
    EXPECT_EQ(text("%2$d %d %d", 1, 2), "2 1 2");
    EXPECT_EQ(text("%*$d %d", 2, 7), "7 7"); // the index itself comes from the counter
    EXPECT_EQ(text("%*d|%-*d|%.*f", 4, 1, 4, 2, 2, 1.0), "   1|2   |1.00");
    EXPECT_EQ(text("%.*d", -3, 5), "5");                          // a negative precision is none
    EXPECT_EQ(text("%*d", -5, 1), std::string(65530, ' ') + "1"); // a width has no sign
    EXPECT_EQ(text("[%d|%f|%x]"), "[0|0|0]");
}

TEST(vnStringFormat, PrintsNothingForWhatEndsWithinADirective)
{
    for (const char* format : {"ab%", "ab%5", "ab%-", "ab%.", "ab%.3", "ab%l", "ab%ll", "ab%*", "ab%1$"})
        EXPECT_EQ(text(format, 1), "ab") << format;
    EXPECT_EQ(text("100%%"), "100%");
}

TEST(vnStringFormat, WarnsOfWhatItCanNotConvert)
{
    Recorder messages;
    EXPECT_EQ(text("[%q]", 1), "[]");
    EXPECT_EQ(text("[%3i]", 1), "[   ]"); // the empty body is padded
    EXPECT_EQ(text("[%s]", 1), "[]");
    EXPECT_EQ(text("[%S]", 1.0), "[]");
    EXPECT_EQ(text("[%s]"), "[]");
    EXPECT_EQ(text("%17$d", 5), "5"); // falls back to the counter
    const Lines expected = {
        "VantorSDK|4000|Unknown format option in string '[%q]'",
        "VantorSDK|4000|Unknown format option in string '[%3i]'",
        "VantorSDK|4000|Using vnString::format(\"%s\",arg) where arg is no valid pointer",
        "VantorSDK|4000|Using vnString::format(\"%S\",arg) where arg is no valid pointer",
        "VantorSDK|4000|Using vnString::format(\"%s\",arg) where arg is no valid pointer",
        "VantorSDK|4000|Using vnString::format(\"%n$\") where n<1 or n>16",
    };
    EXPECT_EQ(messages.take(), expected);
    EXPECT_EQ(text("%4294967297$d", 5), "5"); // not the index 1 by overflow
    EXPECT_EQ(messages.take().size(), 1u);
    EXPECT_EQ(text("[%.0q]", 0), "[]"); // a zero without precision comes before the warning
    EXPECT_EQ(messages.take(), Lines());
}

TEST(vnStringFormat, WarnsOnceThoughTheTranslationOfTheWarningIsFaulty)
{
    FaultyTranslator translator;
    Recorder messages;
    EXPECT_EQ(text("[%q]", 1), "[]");
    const std::string warning = "VantorSDK|4000|: Unknown format option in string ''";
    EXPECT_EQ(messages.take(), Lines{warning});
    vnMessage::message(VN_MESSAGE_NOTICE, "plain");
    EXPECT_EQ(messages.take(), (Lines{warning, "VantorSDK|3000|: plain"}));
}

TEST(vnStringFormat, LeavesItsScratchOutOfTheCallersMemory)
{
    vnMemoryControl::debugMem(1);
    constexpr unsigned int state = 4242;
    const unsigned int old = vnMemoryControl::updateState(state, 0);
    text("%s%600d%.300f", vnString("\xE2\x82\xAC"), 1, 0.5);
    vnMemoryControl::updateState(old, 0);
    EXPECT_EQ(vnMemoryControl::getAllocMem(state, 0), 0u);
    vnMemoryControl::debugMem(0);
}

TEST(vnStringFormat, AllocatesNothingButItsResultWhenWarm)
{
    const vnString euro("\xE2\x82\xAC");
    for (const char* format : {"%s %40d", "%s%.200f", "%s%.200g", "%s%.60000e", "%s%900d"})
    {
        vnString::formatString(format, euro, 1.25);
        TestManager manager;
        EXPECT_GT(vnString::formatString(format, euro, 1.25).length(), 40u);
        EXPECT_EQ(manager.count, 1u) << format;
    }
}

TEST(vnStringFormat, MakesTheWholeResult8BitByOnePointerArgument)
{
    const vnString umlaut("\xC3\xBC");
    EXPECT_EQ(text("%s", umlaut), "\xC3\xBC");
    EXPECT_EQ(text("%s%s", umlaut, vnString("x")), "\xC3\xBCx");
    EXPECT_EQ(text("%s%s", umlaut, "x"), "\xFCx");
    EXPECT_EQ(text("%s%s", "x", umlaut), "x\xFC");
    EXPECT_EQ(text("%s", "\xC3\xBC"), "\xC3\xBC");                 // bytes pass unchanged
    EXPECT_EQ(text("%s%s", umlaut, vnString("\xE9")), "\xFC\xE9"); // an 8-bit string does the same
    EXPECT_EQ(text("\xE9%s", umlaut), "\xE9\xFC");                 // and an 8-bit format
    EXPECT_EQ(text("\xC3\xBC%S", u"\u00E4\u20AC"), "\xC3\xBC\xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(text("[%c]", 0), std::string("[\0]", 3));
    EXPECT_EQ(text("%c|%c", 0xFC, 0x120AC), "\xC3\xBC|\xE2\x82\xAC"); // a 16-bit code
    EXPECT_EQ(text("\xF0\x9F\x98\x80%s%s", umlaut, ""), std::string("\x00\xFC", 2));
}

TEST(vnStringFormat, KeepsACharacterAboveSixteenBitsThatPassesThrough)
{
    const vnString smile("\xF0\x9F\x98\x80");
    EXPECT_EQ(text("\xF0\x9F\x98\x80"), "\xF0\x9F\x98\x80");
    EXPECT_EQ(text("[%3s]", smile), "[  \xF0\x9F\x98\x80]"); // one character
    EXPECT_EQ(text("[%.1s]", smile + "x"), "[\xF0\x9F\x98\x80]");
    EXPECT_EQ(text("[%.4s]", smile + "ab" + smile + "c"), "[" + bytesOf(smile + "ab" + smile) + "]");
    EXPECT_EQ(text("%\xF0\x9F\x98\x80|", 1), "|"); // no letter, passed as a whole
    Recorder messages;
    vnMessage::message(VN_MESSAGE_NOTICE, "\xF0\x9F\x98\x80 %s", smile);
    EXPECT_EQ(messages.take(), Lines{"VantorSDK|3000|\xF0\x9F\x98\x80 \xF0\x9F\x98\x80"});
}

TEST(vnStringFormat, SurvivesMalformedFormats)
{
    const char open[] = {'a', '\xF0', '\x9F'};
    vnString result;
    result.assignFormat(open, 2, vnArgumentList());
    EXPECT_EQ(bytesOf(result), "a\xF0");
    result.assignFormat(open, 3, vnArgumentList());
    EXPECT_EQ(bytesOf(result), "a\xF0\x9F");
    const char lone[] = {'\x9F', '%', '\xFE'};
    result.assignFormat(lone, 3, vnArgumentList());
    EXPECT_EQ(bytesOf(result), "\x9F");
}

TEST(vnStringFormat, CutsResultsAt65535Bytes)
{
    EXPECT_EQ(text("%65535d", 1).size(), 65535u);
    EXPECT_EQ(text("%65540d|", 1), "   1|");               // widths are taken modulo 65536
    EXPECT_EQ(text("%.65535d|%.65535f", 1, 1.5), "1|1.5"); // such a precision is none
    EXPECT_EQ(text("%65000d%65000d", 1, 2), std::string(64999, ' ') + "1" + std::string(535, ' '));
    EXPECT_EQ(text("%65534d%3d|", 1, 222), std::string(65533, ' ') + "12");
    EXPECT_EQ(text("%.65534f", 0.5).substr(0, 4), "0.50");
    std::string many;
    for (int i = 0; i < 10000; ++i)
        many += "%65535d";
    EXPECT_EQ(text(many.c_str()).size(), 65535u);
    const std::string wide = text("%S%65000d", u"\u20AC", 1); // cut between characters
    EXPECT_EQ(wide.size(), 65003u);
    const vnString euros = vnString("\xE2\x82\xAC") + vnString::spaces(65530, 'x');
    EXPECT_EQ(text("%s\xE2\x82\xAC", euros).size(), 65533u);
}

TEST(vnStringFormat, FormatsOverItsOwnText)
{
    vnString self("value %s %d");
    self.format(self, self, 3);
    EXPECT_EQ(bytesOf(self), "value value %s %d 3");
    EXPECT_EQ(self.hash(), vnString("value value %s %d 3").hash());
    self.format("");
    EXPECT_TRUE(self.isEmpty());
    EXPECT_EQ(bytesOf(vnString(2.5, "")), "2.5");
    EXPECT_EQ(bytesOf(vnString(2.5, "%.2f m")), "2.50 m");
    EXPECT_EQ(bytesOf(vnString::str(vnString("%d"), 1)), "1");
}

TEST(vnArgument, KnowsWhatItCarries)
{
    const vnString string("text");
    const int number = 0;
    const struct
    {
        vnArgument argument;
        std::string is; // void, double, pointer, long long, unsigned long long, string
    } rows[] = {{{}, "100000"},     {1, "010000"},      {&number, "001000"}, {nullptr, "001000"},
                {-1ll, "000100"},   {-1L, "000100"},    {1ull, "000010"},    {1ul, "000010"},
                {string, "000001"}, {"text", "001000"}, {u"text", "001000"}, {4000000000u, "010000"}};
    for (const auto& row : rows)
    {
        const vnArgument& a = row.argument;
        std::string is;
        for (const bool each :
             {a.isVoid(), a.isDouble(), a.isPointer(), a.isLongLong(), a.isULongLong(), a.isString()})
            is += each ? '1' : '0';
        EXPECT_EQ(is, row.is);
    }
}

TEST(vnArgument, ConvertsWhatItCarries)
{
    EXPECT_EQ(static_cast<double>(vnArgument(~0ull)), -1.0); // 64 bits convert as signed
    EXPECT_EQ(static_cast<double>(vnArgument(-3ll)), -3.0);
    EXPECT_EQ(static_cast<double>(vnArgument(reinterpret_cast<void*>(0x1234))), 4660.0);
    EXPECT_EQ(static_cast<double>(vnArgument(4000000000u)), 4e9);
    EXPECT_EQ(static_cast<void*>(vnArgument(reinterpret_cast<void*>(0x1234))),
              reinterpret_cast<void*>(0x1234));
    EXPECT_EQ(static_cast<void*>(vnArgument(4660.9)), reinterpret_cast<void*>(0x1234));
    EXPECT_EQ(vnArgument(~0ull).getInt64(), -1);
    EXPECT_EQ(vnArgument(-1ll).getUInt64(), 0xFFFFFFFFFFFFFFFFull);
    EXPECT_EQ(vnArgument(-2.9).getInt64(), -2);
    EXPECT_EQ(vnArgument(-2.9).getUInt64(), 0xFFFFFFFFFFFFFFFEull);
    EXPECT_EQ(vnArgument(1e19).getInt64(), 0x7FFFFFFFFFFFFFFFll); // clamped
    EXPECT_EQ(vnArgument(1e19).getUInt64(), 10000000000000000000ull);
    EXPECT_EQ(vnArgument(1e20).getUInt64(), 0xFFFFFFFFFFFFFFFFull);
    EXPECT_EQ(vnArgument(-1e300).getInt64(), std::numeric_limits<vnInt64>::min());
    EXPECT_EQ(vnArgument(std::nan("")).getInt64(), 0);
    EXPECT_EQ(vnArgument(std::nan("")).getUInt64(), 0u);
    EXPECT_EQ(vnArgument().getInt64(), 0);
    EXPECT_EQ(errorOf([] { vnArgument(1).getString(); }),
              "Cant get vnString value out of non vnString vnArgument");
}

TEST(vnStringFormat, FormatsOnManyThreads)
{
    const auto work = [](const char* letter)
    {
        // Wide text and long results, so that the pooled scratch changes hands.
        const vnString wide("\xE2\x82\xAC");
        const std::string expected = "\xE2\x82\xAC" + std::string(599, ' ') + letter;
        for (int i = 0; i < 2000; ++i)
            ASSERT_EQ(text("%s%600s", wide, vnString(letter)), expected);
    };
    std::thread other(work, "o");
    work("m");
    other.join();
}

TEST(vnStringFormat, AgreesWithAWalkOfItsStates)
{
    std::mt19937 random(4711);
    const auto pick = [&random](unsigned int count) { return static_cast<unsigned int>(random() % count); };
    const vnString strings[] = {"", "plain", "\xC3\xBC\xE2\x82\xAC", "\xE9t\xE9",
                                "\xF0\x9F\x98\x80 long text"};
    const char* const pieces[] = {
        "%",  "%",  "%",     "%",    "*",    "$",    ".",    "-",    "+",        "0",    " ",  "#",
        "l",  "h",  "1",     "2",    "12",   "5",    "d",    "u",    "x",        "X",    "b",  "o",
        "c",  "s",  "S",     "f",    "e",    "g",    "q",    "text", "\xC3\xA4", "\xE9", "%d", "%s",
        "%f", "%g", "%8.3f", "%-9x", "%0-6", "%-07", "%+ 5", "%.3s", "%9.2",     "%#",   "%*", "%2$"};
    constexpr unsigned int pieceCount = sizeof pieces / sizeof *pieces;
    Recorder messages;
    for (unsigned int round = 0; round < 60000; ++round)
    {
        std::vector<vnArgument> arguments(pick(6));
        for (vnArgument& argument : arguments)
        {
            const vnInt64 bits = static_cast<vnInt64>(static_cast<vnUInt64>(random()) << 32 | random());
            const vnArgument kinds[] = {
                vnArgument(),
                vnArgument(static_cast<int>(pick(20)) - 5),
                vnArgument(bits >> pick(60)),
                vnArgument(static_cast<vnUInt64>(bits) >> pick(60)),
                vnArgument(static_cast<double>(bits >> pick(60)) / 997.0),
                vnArgument(std::pow(10.0, static_cast<double>(pick(40)) - 20) * pick(1000)),
                vnArgument(strings[pick(5)]),
                // Readable as 8-bit and as 16-bit text.
                vnArgument(static_cast<const void*>(u"\u4142\u4344\u4546")),
            };
            argument = kinds[pick(8)];
        }
        std::string format;
        for (unsigned int i = pick(10); i-- > 0;)
            format += pieces[pick(pieceCount)];
        messages.take();
        vnString result;
        result.assignFormat(format.data(), static_cast<unsigned short>(format.size()),
                            vnArgumentList(arguments.data(), static_cast<unsigned int>(arguments.size())));
        const std::size_t warnings = messages.take().size();
        const vnFormatOracle oracle(format, arguments.data(), static_cast<unsigned int>(arguments.size()));
        ASSERT_EQ(bytesOf(result), oracle.result()) << "round " << round << " '" << format << "'";
        ASSERT_EQ(warnings, oracle.warnings()) << "round " << round << " '" << format << "'";
    }
}
