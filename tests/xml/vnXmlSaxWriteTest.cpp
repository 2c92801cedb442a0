// SPDX-License-Identifier: MIT
#include "vnXmlTestTools.h"

#include <vnBase/vnMessage.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <utility>
#include <vector>

namespace
{
vnString stringOf(const std::string& text)
{
    return vnString(text.data(), static_cast<unsigned short>(text.size()));
}

// An element with what a function writes.
vnXmlWriter::Body inElement(const vnXmlWriter::Body& content)
{
    return [content](vnXmlSax& sax)
    {
        sax.writeElementStart("a");
        content(sax);
        sax.writeElementEnd();
    };
}

// An empty element with an attribute, whose value reads back as `told`.
vnXmlWriter::Body withAttribute(const std::string& value, const std::string& told)
{
    return inElement(
        [value, told](vnXmlSax& sax)
        {
            sax.writeAttribute("b", stringOf(value));
            EXPECT_EQ(sax.getCurrentAttribute("b"), stringOf(told));
        });
}

// Whether a production reads this from its start to its end, as UTF-8 or as one character a byte.
bool isRead(vnParseResult (vnXmlSax::*production)(), const std::string& text, bool isUtf8 = true)
{
    vnXmlSax sax;
    sax.useUtf8(isUtf8);
    sax.setAdapter(memoryOf(text));
    try
    {
        return (sax.*production)() == VN_PARSE_OK && !sax.hasData();
    }
    catch (const vnBasicParseException&)
    {
        return false;
    }
}

using Write = std::function<void(vnXmlSax&, const vnString&)>;

/// What is tested as a whole, between marks.
struct Kind
{
    const char* error;
    std::string before;
    std::string behind;
    vnParseResult (vnXmlSax::*production)();
    Write write;
};
const Kind kinds[] = {
    {"Comment is malformed", "<!--", "-->", &vnXmlSax::XML_read_15,
     [](vnXmlSax& sax, const vnString& text) { sax.writeComment(text); }},
    {"CDATA is malformed", "<![CDATA[", "]]>", &vnXmlSax::XML_read_18,
     [](vnXmlSax& sax, const vnString& text) { sax.writeCDATA(text); }},
    {"PI is malformed", "<?p ", "?>", &vnXmlSax::XML_read_16,
     [](vnXmlSax& sax, const vnString& text) { sax.writePI("p", text); }},
    {"PI is malformed", "<?", " d?>", &vnXmlSax::XML_read_16,
     [](vnXmlSax& sax, const vnString& text) { sax.writePI(text, "d"); }},
    {"Entity Reference is malformed", "&", ";", &vnXmlSax::XML_read_68,
     [](vnXmlSax& sax, const vnString& text) { sax.writeEntityReference(text); }},
};
} // namespace

TEST(vnXmlSaxWrite, PutsElementsOnLinesAndTextBetweenTags)
{
    const auto body = [](vnXmlSax& sax)
    {
        sax.writeElementStart("a");
        sax.writeAttribute("b", "1");
        sax.writeAttribute("c", "2");
        sax.writeElementStart("empty");
        sax.writeElementEnd();
        sax.writeCharDataElement("text", "x");
        sax.writeElementStart("mixed");
        sax.writeCharData("x");
        sax.writeElementStart("child");
        sax.writeElementEnd();
        sax.writeElementEnd();
        sax.writeComment(" c ");
        sax.writeCDATA("<&>");
        sax.writePI("p", "q");
        sax.writeElementEnd();
    };
    EXPECT_EQ(vnOutputOf(body), "<a b=\"1\" c=\"2\"><empty/><text>x</text><mixed>x<child/></mixed><!-- c -->"
                                "<![CDATA[<&>]]><?p q?></a>");
    EXPECT_EQ(vnOutputOf(body, false),
              "\n<a b=\"1\" c=\"2\">\n\t<empty/>\n\t<text>x</text>\n\t<mixed>x\n\t\t<child/>"
              "\n\t</mixed>\n\t<!-- c -->\n\t<![CDATA[<&>]]>\n\t<?p q?></a>");
    const auto deep = [](vnXmlSax& sax)
    {
        for (int i = 0; i < 40; ++i)
            sax.writeElementStart("a");
    };
    EXPECT_NE(vnOutputOf(deep, false).find("\n" + std::string(39, '\t') + "<a"), std::string::npos);
}

TEST(vnXmlSaxWrite, WritesTheDeclarationInTheEncoding)
{
    vnXmlWriter writer([](vnXmlSax& sax)
                       { sax.writeCharDataElement("\xC3\xA9", "\xF0\x9F\x98\x80\xE4\xB8\x80"); });
    writer.setEncoding("UTF-8");
    EXPECT_EQ(vnOutputOf(writer), "<?xml version=\"1.0\" encoding=\"utf-8\" standalone=\"yes\" ?>"
                                  "<\xC3\xA9>\xF0\x9F\x98\x80\xE4\xB8\x80</\xC3\xA9>");
    writer.setEncoding("UTF-16");
    writer.setStandalone(0);
    const std::string wide = vnUtf16(u"<?xml version=\"1.0\" encoding=\"utf-16\" standalone=\"no\" ?>"
                                     u"<\xE9>\xD83D\xDE00\x4E00</\xE9>",
                                     false);
    EXPECT_EQ(vnOutputOf(writer), wide);
    EXPECT_EQ(vnRecord(wide, VN_XML_CHAR_DATA), "1 CharData [\xF0\x9F\x98\x80\xE4\xB8\x80]\n");
    for (const char* name : {"UTF-16LE", "utf-16be", "UCS-2", "ISO-10646-UCS-2"})
    {
        writer.setEncoding(name);
        EXPECT_EQ(vnOutputOf(writer), wide) << name;
    }
    EXPECT_EQ(vnOutputOf([](vnXmlSax& sax) { sax.setVersion("1.1"), sax.writeXmlHeader(); }),
              "<?xml version=\"1.1\" encoding=\"none\"?>");
}

TEST(vnXmlSaxWrite, WritesInTheEncodingOfTheDocumentReadLast)
{
    const std::string latin = "<?xml version='1.0' encoding='Latin1'?><a/>";
    const auto body = [](vnXmlSax& sax) { sax.writeCharDataElement("a", sax.getEncoding()); };
    const std::pair<std::string, std::string> rows[] = {
        // As 16-bit text, whatever its name: it was read as UTF-8.
        {vnUtf16(std::u16string(latin.begin(), latin.end()), true),
         vnUtf16(u"<?xml version=\"1.0\" encoding=\"utf-16\" standalone=\"yes\" ?><a>Latin1</a>", false)},
        {latin, "<?xml version=\"1.0\" encoding=\"latin1\" standalone=\"yes\" ?><a>Latin1</a>"},
        {"<a/>", "<a>none</a>"}, // as was set: what one document declares is not for the next
    };
    vnXmlWriter writer(body);
    for (const auto& [document, expected] : rows)
    {
        vnReadText(writer, document);
        EXPECT_EQ(vnOutputOf(writer), expected) << document;
    }
    // Without a declaration a text is what it was read as, and so is its name.
    struct Row
    {
        const char* set;
        bool isUtf8; // read so
        std::string document;
        const char* encoding;
    };
    const Row named[] = {
        {"iso-8859-1", true, "<?xml version='1.0'?><a/>", "UTF-8"},
        {"iso-8859-1", true, vnUtf16(u"<a/>", true), "UTF-8"},
        {"iso-8859-1", false, "\xEF\xBB\xBF<a/>", "UTF-8"},
        {"iso-8859-1", false, "<a/>", "iso-8859-1"},
        {"UCS-2", true, "<a/>", "UCS-2"},
    };
    for (const Row& row : named)
    {
        writer.setEncoding(row.set);
        writer.useUtf8(row.isUtf8);
        vnReadText(writer, row.document);
        EXPECT_EQ(writer.getEncoding(), row.encoding) << row.document;
    }
}

TEST(vnXmlSaxWrite, ReadsEachTextInOneWay)
{
    const auto body = [](const std::string& text)
    {
        return inElement(
            [text](vnXmlSax& sax)
            {
                sax.writeAttribute("b", stringOf(text));
                sax.writeComment(stringOf(text));
                sax.writeCDATA(stringOf(text));
                sax.writePI("p", stringOf(text));
                sax.writeCharData(stringOf(text + "<" + text));
            });
    };
    const auto told = [](const std::string& text)
    {
        return "1 ElementStart [a]\n1 Attribute [b] [" + text + "]\n1 Comment [" + text + "]\n1 CDATA [" +
               text + "]\n1 ProcessingInstruction [p] [" + text + "]\n1 CharData [" + text +
               "]\n1 EntityReference [lt] [0]\n1 CharData [" + text + "]\n1 ElementEnd [a]\n";
    };
    struct Row
    {
        std::string text;
        std::string wide; // as it reads out of 16-bit text
        bool isFit8;      // in UTF-8
    };
    const Row rows[] = {
        {"\xC3\xA9", "\xC3\xA9", true},
        {"caf\xE9", "caf\xC3\xA9", false},                      // takes what ends the text
        {"\xE9 \xC3\xA9", "\xC3\xA9 \xC3\x83\xC2\xA9", false},  // one text, two forms: all of it is bytes
        {"\xED\xA0\xBD\xED\xB8\x80", "\xF0\x9F\x98\x80", true}, // surrogates are a pair again
    };
    const unsigned int mask = VN_XML_DEFAULT_ITEMS & ~VN_XML_DECLARATION;
    for (const Row& row : rows)
    {
        vnXmlWriter writer(body(row.text));
        writer.setEncoding("utf-16");
        EXPECT_EQ(vnRecord(vnOutputOf(writer), mask), told(row.wide)) << row.text;
        writer.setEncoding("ISO-8859-1");
        EXPECT_EQ(vnRecord(vnOutputOf(writer), mask), told(row.text));
        EXPECT_EQ(writer.getError(), "") << row.text;
        writer.setEncoding("UTF-8");
        vnOutputOf(writer);
        EXPECT_EQ(writer.hasError(), !row.isFit8) << row.text;
    }
    // In bytes what is too long a form of "<" is two letters, and what is none in UTF-8 is three.
    vnXmlWriter letters(body("\xC0\xBC\xEF\xBF\xBF"));
    letters.setEncoding("koi8-r");
    EXPECT_EQ(vnRecord(vnOutputOf(letters), mask), told("\xC0\xBC\xEF\xBF\xBF"));
    // Where they are two letters it is no name.
    vnXmlWriter value(withAttribute("&\xC3\xA9;", "&amp;\xC3\xA9;"));
    value.setEncoding("latin1");
    vnOutputOf(value);
    // What stands for no character must not break 16-bit text: half a pair, too long a form of "<", too much.
    for (const char* none :
         {"\xED\xA0\x80", "\xED\xB0\x80", "\xF0\x80\x80\xBC", "\xF8\x80\x80\x80\xBC", "\xF4\x90\x80\x80"})
    {
        vnXmlWriter writer(inElement(
            [none](vnXmlSax& sax)
            {
                sax.writeAttribute("b", none);
                sax.writeCharData(vnString(none) + "\xED\xA0\x80x");
            }));
        writer.setEncoding("utf-16");
        EXPECT_EQ(vnRecord(vnOutputOf(writer), VN_XML_ATTRIBUTE | VN_XML_CHAR_DATA),
                  "1 Attribute [b] [\xEF\xBF\xBD]\n1 CharData [\xEF\xBF\xBD\xEF\xBF\xBDx]\n")
            << none;
    }
}

TEST(vnXmlSaxWrite, RefusesBytesThatNoStringHoldsAsCharacters)
{
    std::vector<std::pair<const char*, Write>> rows = {
        {"CharData is malformed", [](vnXmlSax& sax, const vnString& text) { sax.writeCharData(text); }},
        {"CharData is malformed",
         [](vnXmlSax& sax, const vnString& text) { sax.writeCharData(vnString("<") + text); }},
        {"Attribute value is malformed",
         [](vnXmlSax& sax, const vnString& text) { sax.writeAttribute("b", text); }},
        {"PI is malformed", // the target ends where the space is
         [](vnXmlSax& sax, const vnString& text) { sax.writePI("p \tx", text.getString() + 1); }},
    };
    for (const Kind& kind : kinds)
        rows.emplace_back(kind.error, kind.write);
    for (const auto& [error, write] : rows)
        for (const bool isLong : {false, true})
        {
            const std::string text = std::string(32767, '\xE9') + (isLong ? "\xE9" : "a");
            vnXmlWriter writer(inElement([&, &write = write](vnXmlSax& sax) { write(sax, stringOf(text)); }));
            writer.setEncoding("utf-16");
            const std::string document = vnOutputOf(writer);
            EXPECT_EQ(writer.getError(), isLong ? error : "");
            if (!isLong)
            {
                EXPECT_EQ(vnRecord(document).find("\nerror"), std::string::npos) << error;
            }
        }
}

TEST(vnXmlSaxWrite, EndsAtWhatMayNotBeWritten)
{
    const std::pair<vnXmlWriter::Body, const char*> rows[] = {
        {[](vnXmlSax& sax) { sax.writeElementEnd(); }, "|Unmatched element tags"},
        {[](vnXmlSax& sax) { sax.writeAttribute("a", "b"); }, "|Can not write attribute here"},
        {inElement([](vnXmlSax& sax) { sax.writeCharData("x"), sax.writeAttribute("b", "c"); }),
         "<a>x|Can not write attribute here"},
        {inElement([](vnXmlSax& sax) { sax.writeCDATA("]]>"); }), "<a>|CDATA is malformed"},
        {[](vnXmlSax& sax) { sax.writeComment("a--b"); }, "|Comment is malformed"},
        {[](vnXmlSax& sax) { sax.writeComment("a-"); }, "|Comment is malformed"},
        {[](vnXmlSax& sax) { sax.writePI("xMl", "x"); }, "|PI is malformed"},
        {[](vnXmlSax& sax) { sax.writePI("p", "?>"); }, "|PI is malformed"},
        // In UTF-8 the first byte takes the "?" along, in bytes it does not.
        {[](vnXmlSax& sax) { sax.setEncoding("latin1"), sax.writePI("p", "\xC3?><b/>"); },
         "|PI is malformed"},
        {[](vnXmlSax& sax) { sax.writeEntityReference("1"); }, "|Entity Reference is malformed"},
    };
    for (const auto& [body, expected] : rows)
        EXPECT_EQ(vnOutputOf(body), expected);
    // Without a place to write to.
    vnXmlSax sax;
    EXPECT_THROW(sax.writeElementStart("a"), vnBasicParseException);
    sax.write(nullptr);
}

TEST(vnXmlSaxWrite, WritesReferencesWhereTheyAreNeeded)
{
    struct Row
    {
        std::string text;
        const char* charData;
        const char* attribute;
    };
    const Row rows[] = {
        {"a<b", "a&lt;b", "a&lt;b"},
        // Fit as they stand: a text with ">", and a value with double quotes.
        {"a>b", "a>b", "a>b"},
        {"say \"x\"", "say \"x\"", "say \"x\""},
        // Where something is not, all of the five are written as references; in a text up to where the rest
        // is.
        {"\"<\">'", "&quot;&lt;&quot;>'", "&quot;&lt;&quot;&gt;&apos;"},
        {"it's", "it's", "it&apos;s"},
        {"x&y", "x&amp;y", "x&amp;y"},
        // References stay in values, since a value is raw; in a text they are text.
        {"x&amp;y&#65;", "x&amp;amp;y&amp;#65;", "x&amp;y&#65;"},
        {"x&amp;y&#;", "x&amp;amp;y&amp;#;", "x&amp;y&amp;#;"},
        {"]]>", "]]&gt;", "]]>"},
        {"a]]>b&c", "a]]&gt;b&amp;c", "a]]&gt;b&amp;c"},
        // No marks of other characters, and no letters of 8 bits that take what is behind them along.
        {"\xE9<b/>", "\xE9&lt;b/>", "\xE9&lt;b/&gt;"},
        {"\xFF\xFE<b/>", "\xFF\xFE&lt;b/>", "\xFF\xFE&lt;b/&gt;"},
    };
    for (const auto& [text, charData, attribute] : rows)
    {
        EXPECT_EQ(
            vnOutputOf([&, &text = text](vnXmlSax& sax) { sax.writeCharDataElement("a", stringOf(text)); }),
            std::string("<a>") + charData + "</a>");
        EXPECT_EQ(vnOutputOf(withAttribute(text, attribute)), std::string("<a b=\"") + attribute + "\"/>");
    }
    EXPECT_EQ(vnOutputOf([](vnXmlSax& sax) { sax.writeCharDataElement("a", ""); }), "<a/>");
    EXPECT_EQ(vnOutputOf(withAttribute(std::string(65535, '<'), "")), "<a|Attribute value is malformed");
}

// A text of any length, and of any characters, is looked through a few times and not once for each reference.
TEST(vnXmlSaxWrite, TakesTimeThatGrowsWithTheText)
{
    const std::string beginnings[] = {"", "\xC3\xA9", "\xFF\xFE", "\xE9"};
    const std::pair<std::string, std::size_t> rows[] = {
        {std::string(65000, '&'), 5 * 65000},
        {std::string(65000, '<'), 4 * 65000},
        {repeated("\"]", 32000) + "]]>", 32000 * 7 + 6},
    };
    const auto start = std::chrono::steady_clock::now();
    for (const std::string& beginning : beginnings)
        for (const auto& row : rows)
            EXPECT_EQ(
                vnOutputOf([&](vnXmlSax& sax) { sax.writeCharData(stringOf(beginning + row.first)); }).size(),
                beginning.size() + row.second);
    // It takes milliseconds.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
}

// The writer decides by looking at bytes; a reader of its own, started for every text, must agree.
TEST(vnXmlSaxWrite, TestsTextsAsTheReaderReadsThem)
{
    const char* const pieces[] = {"a", "x", "M", "l", " ", "\n", "-", "]", ">", "<", "&", ";", "#", "x4", "?",
                                  "'", "\"", "\1",
                                  // In every second text only:
                                  "\xC3\xA9", "\xD0\x80", "\xF0\x9F\x98\x80", "\xC0\xBC", "\xE4",
                                  "\xED\xA0\x80", "\xED\xB0\x80", "\xEF\xBF\xBF", "\xFF\xFE", "amp;"};
    const unsigned int level = vnMessage::getMessageLevel();
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS); // each byte that is no character is warned of
    std::mt19937 random(7);
    for (int round = 0; round < 4000; ++round)
    {
        std::string text;
        for (unsigned int i = random() % 6; i > 0; --i)
            text += pieces[random() % (round % 2 ? std::size(pieces) : 18)];
        for (const Kind& kind : kinds)
        {
            const std::string whole = kind.before + text + kind.behind;
            for (const char* encoding : {"none", "latin1"})
            {
                const bool isFit = isRead(kind.production, whole, encoding == std::string("none"));
                vnXmlWriter writer([&](vnXmlSax& sax)
                                   { sax.setEncoding(encoding), kind.write(sax, stringOf(text)); });
                EXPECT_EQ(vnOutputOf(writer), isFit ? whole : "") << text;
                EXPECT_EQ(writer.getError(), isFit ? "" : kind.error) << text;
            }
        }
        // Texts and values that are fit go out unchanged, others do not.
        // No byte of markup may be hidden by one that is no character of UTF-8.
        std::string plain = text;
        std::replace_if(
            plain.begin(), plain.end(), [](char c) { return static_cast<signed char>(c) < 0; }, 'x');
        const bool isValue = isRead(&vnXmlSax::XML_read_10, "'" + text + "'") &&
                             isRead(&vnXmlSax::XML_read_10, "'" + plain + "'");
        const std::string value =
            vnOutputOf(inElement([&](vnXmlSax& sax) { sax.writeAttribute("b", stringOf(text)); }));
        EXPECT_EQ(value == "<a b=\"" + text + "\"/>", isValue) << text;
        // Behind a character, so that nothing is a mark of other characters, as in a document.
        const bool isText =
            isRead(&vnXmlSax::XML_read_14, "x" + text) && isRead(&vnXmlSax::XML_read_14, "x" + plain);
        EXPECT_EQ(vnOutputOf([&](vnXmlSax& sax) { sax.writeCharData(stringOf(text)); }) == text, isText)
            << text;
    }
    vnMessage::setMessageLevel(level);
}
