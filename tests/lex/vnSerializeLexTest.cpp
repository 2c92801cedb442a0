// SPDX-License-Identifier: MIT
#include "vnLexTestTools.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterMux.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <sstream>

namespace
{
using Set = std::function<void(vnSerializeLex&)>;

struct Case
{
    std::string text;
    std::string tokens;
    Set set = [](vnSerializeLex&) {};
};

void expectTokens(
    const std::vector<Case>& cases, const Set& setFirst = [](vnSerializeLex&) {})
{
    for (const Case& row : cases)
    {
        vnSerializeLex byBytes, inWindow;
        for (vnSerializeLex* lex : {&byBytes, &inWindow})
        {
            setFirst(*lex);
            row.set(*lex);
        }
        vnByteAdapter bytes(row.text);
        WindowAdapter window(row.text);
        EXPECT_EQ(tokensOf(byBytes, bytes), row.tokens) << row.text;
        EXPECT_EQ(tokensOf(inWindow, window), row.tokens) << "in the window: " << row.text;
        for (vnSerializeAdapter* adapter : std::initializer_list<vnSerializeAdapter*>{&bytes, &window})
        {
            EXPECT_FALSE(adapter->hasData()) << row.text;
            EXPECT_FALSE(adapter->hasError()) << row.text;
        }
    }
}

// Fails once before each of its bytes, and once when it is asked for more of them.
class FailingAdapter : public vnByteAdapter
{
public:
    explicit FailingAdapter(const std::string& bytes) : vnByteAdapter(bytes) {}

protected:
    unsigned char read_imp() override
    {
        m_isBroken = !m_isBroken;
        if (m_isBroken)
            throw 1;
        return vnByteAdapter::read_imp();
    }

private:
    bool m_isBroken = false;
};

// Has data, but can't say how much.
class EndlessAdapter : public vnByteAdapter
{
public:
    using vnByteAdapter::vnByteAdapter;

protected:
    unsigned char hasData_imp() override { return 1; }
    unsigned int length_imp() override { return 0; }
};

} // namespace

TEST(vnSerializeLex, CutsNumbers)
{
    expectTokens({
        {"12 ", "d12|w32"},
        {"-5", "d-5"},
        {"- 5", "t45|w32|d5"},
        {"+07+", "d7|t43"},
        {"0", "d0"},
        {"0x1F;", "d31|t59"},
        {"-0Xff", "d-255"},
        {"0x", "d0"},
        {"00x1", "d0|ix1"}, // only the first 0 starts a hexadecimal number
        {"4294967295 4294967296 ", "d4294967295|w32|l4294967296|w32"},
        {"-4294967296", "l-4294967296"},
        {"18446744073709551621 ", "d5|w32"}, // integers wrap at 64 bits
        {"9223372036854775808", "l-9223372036854775808"},
        {"12.5", "r12.5"},
        {"1.", "r1"},
        {".5", "t46|d5"},
        {"1.5.5", "r1.5|t46|d5"},
        {"1e3", "r1000"},
        {"-25E-1x", "r-2.5|ix"},
        {"1e+2 ", "r100|w32"},
        {"1e", "e5"},
        {"1e+x", "e5|ix"},
        {"2.5e-", "e5"},
    });
}

TEST(vnSerializeLex, ReadsTheNearestDouble)
{
    const std::string zeros(2000, '0');
    const std::pair<std::string, double> cases[] = {
        {"0." + zeros + "1e2001", 1},
        {"1" + zeros + "e-2000", 1},
        {"1" + zeros + "1e-2001", 1},
        {"0.3", 0.3},
        {"0.1", 0.1},
        {"1e23", 1e23},
        {"8.5e-5", 8.5e-5},
        {"0.12345678901234567890123", 0.12345678901234567890123},
        {"123456789012345678901234567890.5", 123456789012345678901234567890.5},
        {"9007199254740993.0", 9007199254740992.0}, // a tie goes to the even one
        {"9007199254740993.0000000000000000000000000000001", 9007199254740994.0},
        {"2.2250738585072014e-308", 2.2250738585072014e-308},
        {"4.9e-324", 4.9e-324},
        {"1e400", HUGE_VAL},
        {"-1e400", -HUGE_VAL},
        {"1e-400", 0.0},
        {"0e99999999999999999999", 0.0},
        {"1e99999999999999999999", HUGE_VAL},
        {"1e-99999999999999999999", 0.0},
    };
    for (const auto& [text, value] : cases)
    {
        vnSerializeLex lex;
        vnByteAdapter adapter(text);
        lex.read(&adapter);
        EXPECT_EQ(lex.getDataType(), VN_LEX_REAL) << text;
        EXPECT_EQ(lex.getData().getNumber(), value) << text;
    }
}

TEST(vnSerializeLex, TakesTheDecimalTokenThatIsSet)
{
    const auto use = [](char16_t token)
    { return [token](vnSerializeLex& lex) { lex.useDecimalToken(token); }; };
    expectTokens({
        {"1,5", "r1.5", use(',')},
        {"1.5", "d1|t46|d5", use(',')},
        {"1,5 2.5 ", "r1.5|w32|r2.5|w32", use(vnSerializeLex::VN_DECIMAL_BOTH)},
        {"1e5 1x5 ", "r1.5|w32|d1|ix5|w32", use('e')}, // before the exponent is looked for
    });
}

TEST(vnSerializeLex, CutsWordsCommentsAndCharacters)
{
    expectTokens({
        {"", ""},
        {"a/b", "ia|t47|ib"},
        {"a//b", "ia|cb"},
        {"//b\r\nc", "cb\r|w32|ic"},
        {"_a1\xE9 \xE9", "i_a1\xE9|w32|i\xE9"}, // bytes stay as they are
        {" \t\r\n ;", "w32|t59"},
        {"/* x", "e3"},
        {"/* x *", "e3"},
        {"/*", "e3"},
        {"/*/*/;", "c/|t59"},
        {"/***/;", "c*|t59"},
        {"/* * / **/;", "c * / *|t59"},
        {"\"#'[", "t34|t35|t39|t91"},
        {std::string("\0a\0", 3), "t0|ia|t0"}, // a NUL ends nothing
        {"+-/", "t43|t45|t47"},
        {"a//b\n", "ia|t47|t47|ib|w32", [](vnSerializeLex& lex) { lex.useSlashComment(0); }},
        {"/*c*/", "t47|t42|ic|t42|t47", [](vnSerializeLex& lex) { lex.useComment(0); }},
        {"#d\n", "cd|w32", [](vnSerializeLex& lex) { lex.useHashComment(1); }},
        {"a_1b", "ia|t95|d1|ib", [](vnSerializeLex& lex) { lex.usePlainIdentifier(1); }},
        {"a 1", "t97|t32|t49", [](vnSerializeLex& lex) { lex.useTokensOnly(1); }},
        {"ffx 0x1 ", "d255|ix|w32|d0|ix1|w32", [](vnSerializeLex& lex) { lex.useHexMode(1); }},
    });
}

TEST(vnSerializeLex, CutsStringsAndSets)
{
    const auto use = [](vnSerializeLex& lex)
    {
        lex.useStrings(1);
        lex.useSet(1);
    };
    const auto keep = [](vnSerializeLex& lex) { lex.useEscape(0); };
    const std::vector<Case> cases = {
        {"\"a'b\"'c\"d'[e\"f];", "sa'b|qc\"d|xe\"f|t59"},
        {R"("\n\r\b\t\a\f\v\?\"\\\'\q";)", "s\n\r\b\t\a\f\v?\"\\'q|t59"},
        {R"("a\0b";)", std::string("sa\0b|t59", 8)},
        {R"([a\]b] )", "xa]b|w32"},
        {"\"\";", "s|t59"},
        {"\"a\nb\" ", "sa\nb|w32"},
        {"\"a", "e6"},
        {"'a\\", "e6"},
        {"[a", "e7"},
        {"[a\\", "e7"},
        {R"("a\n\"b" )", R"(sa\n\"b|w32)", keep},
        // Control characters take their written form, that the text stays printable.
        {{"'\0\a\b\t\n\v\f\r\x1' ", 12},
         R"(q\0\a\b\t\n\v\f\r)"
         "\x1|w32",
         keep},
    };
    expectTokens(cases, use);
}

TEST(vnSerializeLex, FindsTheMarksOfAStream)
{
    const struct
    {
        std::string text;
        std::string first;
        std::string rest; // by a lexer that looks for no mark: the adapter knows
        unsigned int flags;
    } rows[] = {
        {{"\xFF\xFEz\0 \0\xE9\0y\0", 10}, "iz", "w32|i\xC3\xA9y", 2},
        {{"\xFE\xFF\0a\0 \0b", 8}, "ia", "w32|ib", 6},
    };
    for (const auto& [text, first, rest, flags] : rows)
    {
        vnSerializeLex lex(1, 1), next;
        lex.useUtf8(1); // the mark knows better
        vnByteAdapter adapter(text);
        lex.read(&adapter);
        EXPECT_EQ(tokenText(lex), first);
        EXPECT_FALSE(lex.isUtf8());
        EXPECT_EQ(lex.getTokenSize(), 2u);
        EXPECT_EQ(adapter.getAdapterFlags(), flags);
        EXPECT_EQ(tokensOf(next, adapter), rest);
    }
    const std::vector<Case> cases = {
        {"\xEF\xBB\xBF\xC3\xA9 a ", "i\xC3\xA9|w32|ia|w32"},
        {"ab c", "iab|w32|ic"},
        {"\xEF\xBBx;", "i\xEF\xBBx|t59"}, // a part is no mark
        {"\xFFx;", "i\xFFx|t59"},
        {"\xFE\xFEx;", "i\xFE\xFEx|t59"},
        {"\xFF\xFE", ""},
        {"\xFE\xFF", ""},
        {"\xEF\xBB\xBF", ""},
    };
    expectTokens(cases, [](vnSerializeLex& lex) { lex = vnSerializeLex(1, 1); });
    vnSerializeLex utf8(1, 1);
    vnByteAdapter marked("\xEF\xBB\xBF");
    utf8.read(&marked);
    EXPECT_TRUE(utf8.isUtf8());
    EXPECT_EQ(marked.getAdapterFlags(), 0u);
    vnSerializeLex none(1, 1);
    vnByteAdapter unmarked("ab c");
    none.read(&unmarked);
    EXPECT_EQ(unmarked.getAdapterFlags(), 0u);
}

TEST(vnSerializeLex, ReadsAFaultOfUtf8AsNulAndGoesOn)
{
    const char* faults[] = {"\x80", "\xF0", "\xC3;", "\xE2\x82;", "\xE2;", "\xC3"};
    for (const std::string fault : faults)
    {
        Recorder recorder;
        vnSerializeLex lex;
        lex.useUtf8(1);
        WindowAdapter adapter(fault);
        EXPECT_EQ(tokensOf(lex, adapter), "t0") << fault.size();
        EXPECT_EQ(recorder.take(), Lines{"VantorSDK|4000|Utf lex encoding on faulty data set"})
            << fault.size();
        EXPECT_FALSE(adapter.hasError());
    }
    vnSerializeLex lex;
    lex.useUtf8(1);
    vnByteAdapter adapter("ab\xC3 c");
    lex.read(&adapter);
    EXPECT_EQ(tokenText(lex), "iab");
    EXPECT_EQ(adapter.length(), 3u); // the fault is given back whole
    lex.read(&adapter);
    EXPECT_EQ(lex.getScannedBuffer(), "\xC3 ");
}

TEST(vnSerializeLex, CutsLongTextsBetweenCharacters)
{
    vnSerializeLex lex;
    lex.useUtf8(1);
    vnByteAdapter adapter(std::string(65534, 'a') + "\xE2\x82\xACzz;");
    lex.read(&adapter);
    EXPECT_EQ(adapter.length(), 1u);
    EXPECT_EQ(lex.getData().getString().length(), 65534u); // no part of a character, and nothing behind it
    EXPECT_EQ(lex.getScannedBuffer().length(), 65534u);
    lex.pushBack(&adapter);
    EXPECT_EQ(adapter.length(), 65540u);
}

TEST(vnSerializeLex, LosesNothingWhenAReceiverOfItsWarningThrows)
{
    vnSerializeLex lex;
    lex.useUtf8(1);
    vnByteAdapter adapter("ab\xC3(c");
    {
        const Caller throwing([](vnMessageLevel, const char*) { throw 1; });
        EXPECT_THROW(lex.read(&adapter), int);
    }
    EXPECT_EQ(lex.getDataType(), VN_LEX_NONE);
    EXPECT_EQ(readAll(adapter), "ab\xC3(c");
}

TEST(vnSerializeLex, LosesNothingWhenItsSourceThrows)
{
    const auto readThrough = [](FailingAdapter& adapter, const auto& readOne)
    {
        for (int tries = 0; adapter.hasData() && tries < 30; ++tries)
            try
            {
                readOne();
            }
            catch (int)
            {
            }
    };
    const std::pair<std::string, Set> cases[] = {
        {{"\0z\x20\xAC", 4}, [](vnSerializeLex& lex) { lex.useUnicode(1); }},
        {"z\xE2\x82\xAC", [](vnSerializeLex& lex) { lex.useUtf8(1); }},
        {"\xEF\xBB\xBFz\xE2\x82\xAC", [](vnSerializeLex&) {}},
    };
    for (const auto& [text, set] : cases)
    {
        vnSerializeLex lex(1, 1);
        set(lex);
        FailingAdapter adapter(text);
        std::u16string characters;
        readThrough(adapter, [&] { characters += lex.getLexToken(&adapter); });
        EXPECT_EQ(characters, u"z\x20AC") << text;
    }
    vnSerializeLex lex;
    FailingAdapter adapter("alpha beta");
    lex.setMaxScanTokens(10);
    std::string tokens;
    const auto readToken = [&]
    {
        lex.read(&adapter);
        tokens += tokenText(lex) + "|";
    };
    readThrough(adapter, readToken);
    EXPECT_EQ(tokens, "ialpha|w32|ibeta|");
}

TEST(vnSerializeLex, ReadsWhatIsThereWhateverTheLengthTells)
{
    const std::pair<std::string, std::string> texts[] = {
        {"ab c", "iab|w32|ic"},
        {"\xEF\xBB\xBF\xC3\xA9", "i\xC3\xA9"},
        {"\xEF\xBB", "i\xEF\xBB"},
        {{"\xFF\xFEz\0 \0y\0", 8}, "iz|w32|iy"},
        {std::string("\xFE\xFF\0a\0b\0", 7), "iab"}, // half a character is none
    };
    for (const auto& [text, tokens] : texts)
    {
        vnSerializeLex lex(1, 1);
        VagueAdapter vague(text);
        EXPECT_EQ(tokensOf(lex, vague), tokens);
        vnSerializeLex ended(1, 1);
        vnSerializeAdapterMux channel; // which tells none then
        channel.write(reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<unsigned int>(text.size()));
        channel.setActive(0);
        EXPECT_EQ(tokensOf(ended, channel), tokens);
    }
    vnSerializeLex lex;
    EndlessAdapter endless("abc"); // till it gives an error
    EXPECT_EQ(tokensOf(lex, endless), "iabc");

    // With the padding the last group counts as three bytes.
    vnSerializeAdapterBase64Encoder decoder(new TextAdapter("//5BAEIAQw=="));
    vnSerializeLex wide(1, 1);
    EXPECT_EQ(tokensOf(wide, decoder), "iAB");
    EXPECT_FALSE(wide.hasLexToken(&decoder));
    EXPECT_EQ(readAll(decoder), "C");
}

TEST(vnSerializeLex, CopiesItsToken)
{
    vnSerializeLex lex;
    vnByteAdapter adapter("first second");
    lex.read(&adapter);
    const vnSerializeLex copy(std::move(lex)); // a move copies
    EXPECT_EQ(copy.getData().getString(), "first");
    EXPECT_EQ(lex.getScannedBuffer(), "first");
}

TEST(vnSerializeLex, StopsWhenTheBudgetIsSpent)
{
    vnSerializeLex lex;
    vnByteAdapter adapter("abc def");
    lex.setMaxScanTokens(0);
    lex.read(&adapter);
    EXPECT_EQ(lex.getDataType(), VN_LEX_NONE);
    EXPECT_EQ(adapter.length(), 7u);
    lex.setMaxScanTokens(5);
    EXPECT_EQ(tokensOf(lex, adapter), "iabc|w32|id"); // giving back renews it
    lex.setMaxScanTokens(2);
    lex.read(&adapter);
    lex.pushBack(&adapter);
    EXPECT_EQ(tokensOf(lex, adapter), "ief");

    lex.setMaxScanTokens(0);
    lex.pushBack(&adapter, u'x');
    EXPECT_EQ(tokensOf(lex, adapter), "ix");

    vnSerializeLex wide;
    wide.useUnicode(1);
    wide.setMaxScanTokens(3); // half a character is none
    vnByteAdapter units(std::string("\0a\0b", 4));
    EXPECT_EQ(tokensOf(wide, units), "ia");
    EXPECT_EQ(units.length(), 2u);

    // A character is read whole, also where the budget ends within it.
    Recorder recorder;
    vnSerializeLex utf8;
    utf8.useUtf8(1);
    utf8.setMaxScanTokens(3);
    vnByteAdapter accented("ab\xC3\xA9z");
    EXPECT_EQ(tokensOf(utf8, accented), "iab\xC3\xA9");
    EXPECT_EQ(accented.length(), 1u);
    EXPECT_EQ(recorder.take(), Lines());

    vnSerializeLex window;
    window.setMaxScanTokens(6);
    WindowAdapter open("abc defg");
    EXPECT_EQ(tokensOf(window, open), "iabc|w32|ide");
}

TEST(vnSerializeLex, GivesATokenBackByteForByte)
{
    const std::pair<std::string, Set> cases[] = {
        {"1e;", [](vnSerializeLex&) {}},
        {"1e", [](vnSerializeLex&) {}},
        {"/* a", [](vnSerializeLex&) {}},
        {"\"a\\n\xE9\" ", [](vnSerializeLex& lex) { lex.useStrings(1); }},
        {"\xC3\xA9\xE2\x82\xAC ", [](vnSerializeLex& lex) { lex.useUtf8(1); }},
        {std::string("\x20\xAC\0b\0 ", 6), [](vnSerializeLex& lex) { lex.useUnicode(1); }},
        {std::string("\xAC\x20 \0", 4), [](vnSerializeLex& lex) { lex.useUnicode(1, 0); }},
    };
    for (const auto& [text, set] : cases)
    {
        vnSerializeLex lex;
        set(lex);
        WindowAdapter adapter(text);
        lex.read(&adapter);
        const std::string token = tokenText(lex);
        if (!lex.isUnicode())
        {
            EXPECT_EQ(lex.getScannedBuffer().length(), text.size() - adapter.length());
        }
        lex.pushBack(&adapter);
        EXPECT_EQ(tokenText(lex), token); // its value stays
        EXPECT_EQ(adapter.length(), text.size());
        lex.read(&adapter);
        EXPECT_EQ(tokenText(lex), token);
        lex.pushBack(&adapter);
        std::string bytes(text.size(), '\0');
        adapter.read(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(text.size()));
        EXPECT_EQ(bytes, text);
    }
    // A token that the adapter no longer has behind it comes back all the same.
    vnSerializeLex lex;
    WindowAdapter adapter("abc def ");
    lex.read(&adapter);
    adapter.seek(6, VN_ORIGIN_SET);
    adapter.read();
    lex.pushBack(&adapter);
    EXPECT_EQ(tokensOf(lex, adapter), "iabcf|w32");
}

TEST(vnSerializeLex, HandlesSingleCharacters)
{
    vnSerializeLex lex;
    lex.useUtf8(1);
    vnByteAdapter adapter("\xE2\x82\xACx");
    EXPECT_EQ(lex.getLexToken(&adapter), u'\x20AC');
    lex.pushBack(&adapter, u'\x20AC');
    EXPECT_EQ(adapter.length(), 4u);
    lex.qPush(u'\xE9');
    lex.qPush(u'\x20AC');
    EXPECT_EQ(lex.getScannedBuffer(), "\xC3\xA9\xE2\x82\xAC");
    lex.qPushBack(&adapter);
    EXPECT_EQ(adapter.length(), 7u);
    lex.qPushBack(&adapter); // finds where the character before it begins
    lex.qPushBack(&adapter); // there is none left
    EXPECT_EQ(lex.getScannedBuffer(), "");
    EXPECT_EQ(lex.getLexToken(&adapter), u'\xE9');

    lex.useUnicode(1, 0);
    lex.qPush(u'\x20AC');
    EXPECT_EQ(lex.getScannedBuffer(), "\xE2\x82\xAC"); // 16-bit units come decoded
    lex.qPushBack(&adapter);
    EXPECT_EQ(adapter.read(), 0xAC);
    EXPECT_EQ(adapter.read(), 0x20);
}

TEST(vnSerializeLex, TellsTheClassesOfCharacters)
{
    vnSerializeLex lex;
    const std::pair<char16_t, unsigned int> cases[] = {{u'0', 0x2 | 0x4 | 0x8 | 0x20 | 0x80},
                                                       {u'7', 0x4 | 0x8 | 0x20 | 0x80},
                                                       {u'9', 0x8 | 0x20 | 0x80},
                                                       {u'f', 0x8 | 0x10 | 0x40 | 0x80 | 0x100},
                                                       {u'F', 0x8 | 0x10 | 0x40 | 0x80 | 0x200},
                                                       {u'g', 0x10 | 0x40 | 0x80},
                                                       {u'_', 0x40 | 0x80},
                                                       {u'\x80', 0x10 | 0x40 | 0x80},
                                                       {u'\xFFFF', 0x10 | 0x40 | 0x80},
                                                       {u'\t', 0x1},
                                                       {u'\v', 0},
                                                       {u'@', 0},
                                                       {u'\x7F', 0}};
    for (const auto& [character, mask] : cases)
        EXPECT_EQ(lex.getEncoding(character), mask) << static_cast<unsigned int>(character);
    lex.usePlainIdentifier(1);
    EXPECT_EQ(lex.getEncoding(u'_'), 0u);
    EXPECT_EQ(lex.getEncoding(u'9'), 0x28u);
    EXPECT_EQ(lex.getEncoding(u'g'), 0xD0u);
}

TEST(vnSerializeLex, WritesTokensAndTheMarkBeforeTheFirst)
{
    const auto written = [](vnSerializeLex lex, const std::string& text)
    {
        unsigned char block[16];
        vnSerializeAdapterMemory out(block, sizeof block);
        lex.useUnicode(1, 0);
        lex.write(&out); // the mark, once
        lex.useUnicode(0);
        lex.useStrings(1);
        lex.useSet(1);
        vnByteAdapter in(text);
        for (lex.read(&in); lex.getDataType() != VN_LEX_NONE; lex.read(&in))
            lex.write(&out);
        return std::string(reinterpret_cast<char*>(block), out.getCurrentPos());
    };
    EXPECT_EQ(written(vnSerializeLex(1, 0), "zy+\"x w\"12 "), "\xFF\xFEzy+x w");
    EXPECT_EQ(written(vnSerializeLex(0, 1), "z"), "\xEF\xBB\xBFz");
    EXPECT_EQ(written(vnSerializeLex(), "'a'[b]/*c*/'d"), ""); // nobody asked for marks
}

// The tokens out of a window against those of the state machine, with tokens given back and settings changed
// on the way.
TEST(vnSerializeLex, ReadsTheSameInAWindowAsByteByByte)
{
    const vnMessageLevel level = vnMessage::getMessageLevel();
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
    std::vector<std::string> pieces = {"\n", "  ", "\t"};
    std::istringstream others(
        "a Z9_ 0 0x1f 12 123456789012345678901234567890 . , e E+ - + / // * /* */ \" ' \\ [ ] # "
        "\xC3\xA9 \xE2\x82\xAC \x80");
    for (std::string piece; others >> piece;)
        pieces.push_back(piece);
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round)
    {
        std::string text;
        for (unsigned int i = random() % 24; i > 0; --i)
            text += pieces[random() % pieces.size()];
        vnByteAdapter bytes(text);
        WindowAdapter window(text);
        vnSerializeLex byBytes, inWindow;
        const unsigned int budget = random() % 4 ? 1000 : random() % 30;
        const auto both = [&](auto&& call)
        {
            call(byBytes, static_cast<vnSerializeAdapter&>(bytes));
            call(inWindow, static_cast<vnSerializeAdapter&>(window));
        };
        both([&](vnSerializeLex& lex, vnSerializeAdapter&) { lex.setMaxScanTokens(budget); });
        for (int step = 0; step < 60; ++step)
        {
            const unsigned int choice = random();
            both(
                [&](vnSerializeLex& lex, vnSerializeAdapter& adapter)
                {
                    lex.useStrings(choice >> 1 & 1);
                    lex.useSet(choice >> 2 & 1);
                    lex.useHashComment(choice >> 3 & 1);
                    lex.useSlashComment(choice >> 4 & 1);
                    lex.useComment(choice >> 5 & 1);
                    lex.useEscape(choice >> 6 & 1);
                    lex.usePlainIdentifier(choice >> 7 & 1);
                    lex.useUtf8(choice >> 8 & 1);
                    lex.useDecimalToken(choice >> 9 & 1 ? '.' : ',');
                    lex.useHexMode((choice >> 10 & 15) == 0);
                    lex.read(&adapter);
                });
            ASSERT_EQ(tokenText(byBytes), tokenText(inWindow)) << text;
            ASSERT_EQ(byBytes.getScannedBuffer(), inWindow.getScannedBuffer()) << text;
            ASSERT_EQ(bytes.length(), window.length()) << text;
            if ((choice >> 16) % 4 == 0)
                both([](vnSerializeLex& lex, vnSerializeAdapter& adapter) { lex.pushBack(&adapter); });
            if ((choice >> 20) % 8 == 0)
                both([](vnSerializeLex& lex, vnSerializeAdapter& adapter) { lex.qPushBack(&adapter); });
        }
        ASSERT_EQ(bytes.hasError(), window.hasError()) << text;
    }
    vnMessage::setMessageLevel(level);
}
