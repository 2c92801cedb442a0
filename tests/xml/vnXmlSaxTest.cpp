// SPDX-License-Identifier: MIT
#include "vnXmlTestTools.h"

#include <vnBase/vnProgress.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

namespace
{
const char sample[] = R"(<?xml version="1.0" encoding="UTF-8" standalone="no" ?>
<!-- head --><?go there?>
<!DOCTYPE doc SYSTEM "x" [<!ELEMENT doc (a|b)*><!ATTLIST doc id ID #IMPLIED c (d|e) #FIXED "d"><!NOTATION n PUBLIC "p" >]>
<doc id="1" b='x &amp; y'>text<a/><b encoding="hex">one &lt; two</b><![CDATA[<&]]> <!--c--><?pi?></doc>
)";

// A syntax fault tells its place in the source of the library.
bool isFault(const std::string& error)
{
    return error.find("error File: vnXML  Line: ") != std::string::npos &&
           error.find("  Ver: 2.10.5\n") != std::string::npos;
}

std::string recordFrom(const vnRefPointer<vnSerializeAdapter>& adapter)
{
    vnXmlRecorder recorder;
    recorder.read(adapter);
    return recorder.getResult();
}

// The ways that a document comes: by single bytes, in windows of a size, as one block.
vnRefPointer<vnSerializeAdapter> byBytes(const std::string& document)
{
    return new vnByteAdapter(document);
}

vnRefPointer<vnSerializeAdapter> inWindows(const std::string& document, std::size_t size)
{
    return new vnSlicedAdapter(document, size);
}
} // namespace

TEST(vnXmlSax, NotifiesADocument)
{
    EXPECT_EQ(vnRecord(sample), "0 Version [1.0]\n"
                                "0 Encoding [UTF-8]\n"
                                "0 Standalone [0]\n"
                                "0 Comment [ head ]\n"
                                "0 ProcessingInstruction [go] [there]\n"
                                "1 ElementStart [doc]\n"
                                "1 Attribute [id] [1]\n"
                                "1 EntityReference [amp] [1]\n"
                                "1 Attribute [b] [x &amp; y]\n"
                                "1 CharData [text]\n"
                                "2 ElementStart [a]\n"
                                "2 ElementEnd [a]\n"
                                "2 ElementStart [b]\n"
                                "2 Attribute [encoding] [hex]\n"
                                "2 CharData [one ]\n"
                                "2 EntityReference [lt] [0]\n"
                                "2 CharData [ two]\n"
                                "2 ElementEnd [b]\n"
                                "1 CDATA [<&]\n"
                                "1 CharData [ ]\n"
                                "1 Comment [c]\n"
                                "1 ProcessingInstruction [pi] []\n"
                                "1 ElementEnd [doc]\n");
}

TEST(vnXmlSax, NotifiesWhatTheMaskHolds)
{
    const char document[] = "<a x='1'><b>t<c/></b></a>";
    EXPECT_EQ(vnRecord(document, 0), "");
    // Functions are called all the same.
    EXPECT_EQ(vnRecord("<a b='function:f'>function:g</a>", 0), "1 Function [f]\n1 Function [g]\n");
    EXPECT_EQ(vnRecord(document, VN_XML_ELEMENT_ATTRIBUTE_END | VN_XML_ELEMENT_CONTENTS |
                                     VN_XML_ELEMENT_CONTENTS_START | VN_XML_ELEMENT_CONTENTS_END),
              "1 ElementAttributeEnd [a]\n"
              "1 ElementContentsStart [a]\n"
              "2 ElementAttributeEnd [b]\n"
              "2 ElementContentsStart [b]\n"
              "3 ElementAttributeEnd [c]\n"
              "2 ElementContents [b] [t<c/>]\n"
              "2 ElementContentsEnd [b]\n"
              "1 ElementContents [a] [<b>t<c/></b>]\n"
              "1 ElementContentsEnd [a]\n");
    vnXmlSax sax;
    EXPECT_TRUE(sax.isNotifyingItemType(VN_XML_DEFAULT_ITEMS));
    EXPECT_FALSE(sax.isNotifyingItemType(VN_XML_ALL_ITEMS));
}

TEST(vnXmlSax, ReadsAsTheLimitsOfTheLanguageSay)
{
    const std::pair<const char*, const char*> rows[] = {
        {"<a/>", "1 ElementStart [a]\n1 ElementEnd [a]\n"},
        {"<a\n/>", "1 ElementStart [a]\n1 ElementEnd [a]\n"},
        {"<a></a >\n<!--x--> ", "1 ElementStart [a]\n1 ElementEnd [a]\n0 Comment [x]\n"},
        {"<!DOCTYPE a SYSTEM \"x\"><a/>", "1 ElementStart [a]\n1 ElementEnd [a]\n"},
        {"<!DOCTYPE a PUBLIC 'p' 'x' ><a/>", "1 ElementStart [a]\n1 ElementEnd [a]\n"},
        {"<a b=\"1\" b=\"2\"/>",
         "1 ElementStart [a]\n1 Attribute [b] [1]\n1 Attribute [b] [2]\n1 ElementEnd [a]\n"},
        {"<a>&unknown;</a>", "1 ElementStart [a]\n1 EntityReference [unknown] [0]\n1 ElementEnd [a]\n"},
        // Character references are told to nobody.
        {"<a>x&#65;&#x4a;y</a>", "1 ElementStart [a]\n1 CharData [x]\n1 CharData [y]\n1 ElementEnd [a]\n"},
        // What begins with "function:" is replaced.
        {"<a b='function:f x'>function:g</a>",
         "1 ElementStart [a]\n1 Function [f x]\n1 Attribute [b] [<f x>]\n"
         "1 Function [g]\n1 CharData [<g>]\n1 ElementEnd [a]\n"},
        // A text of "]" counts as none.
        {"<a>]</a>", "1 ElementStart [a]\n1 ElementEnd [a]\n"},
        {"<a>]]&b;</a>", "1 ElementStart [a]\n1 EntityReference [b] [0]\n1 ElementEnd [a]\n"},
        {"<a>]<!--b--></a>", "1 ElementStart [a]\n1 Comment [b]\n1 ElementEnd [a]\n"},
        {"<a>]<b/>]]<b></b></a>", "1 ElementStart [a]\n2 ElementStart [b]\n2 ElementEnd [b]\n"
                                  "2 ElementStart [b]\n2 ElementEnd [b]\n1 ElementEnd [a]\n"},
        {"<a>x]]<b/>]x</a>", "1 ElementStart [a]\n1 CharData [x]]]\n2 ElementStart [b]\n2 ElementEnd [b]\n"
                             "1 CharData []x]\n1 ElementEnd [a]\n"},
        {"<a>x]]></a>", "1 ElementStart [a]\n1 CharData [x]\n1 CharData []\n1 CharData []\n1 CharData []\n1 "
                        "CharData []\n1 CharData []\n1 CharData []\n1 CharData []\n1 CharData []\n1 CharData "
                        "[]\nerror No progress in XML data\n"},
        {"<a></b>", "1 ElementStart [a]\nerror Expected end tag 'a' but got 'b'\n"},
        {"<a></ab>", "1 ElementStart [a]\nerror Expected end tag 'a' but got 'ab'\n"},
        {"<a>x", "1 ElementStart [a]\n1 CharData [x]\nerror Adapter out of Data\n"},
        {"", "error Adapter out of Data\n"},
        {"<!DOCTYPE a [<!ATTLIST a b CDATA #FIXED 'x&c;'>]><a/>",
         "0 EntityReference [c] [1]\n1 ElementStart [a]\n1 ElementEnd [a]\n"},
        {"<!DOCTYPE a [<!-- c --><?p q?>]><a/>",
         "0 Comment [ c ]\n0 ProcessingInstruction [p] [q]\n1 ElementStart [a]\n1 ElementEnd [a]\n"},
        // Names end where the short classes end; what is in them works.
        {"<\xC3\xA9t\xC3\xA9 \xC4\xB1-\xCC\x80='\xE4\xB8\x80'/>",
         "1 ElementStart [\xC3\xA9t\xC3\xA9]\n1 Attribute [\xC4\xB1-\xCC\x80] [\xE4\xB8\x80]\n"
         "1 ElementEnd [\xC3\xA9t\xC3\xA9]\n"},
        // Characters above U+FFFF stay whole.
        {"<a b='\xF0\x9F\x98\x80'>x\xF0\x9F\x98\x80<!--\xF0\x9F\x98\x80--><![CDATA[\xF0\x9F\x98\x80]]></a>",
         "1 ElementStart [a]\n1 Attribute [b] [\xF0\x9F\x98\x80]\n1 CharData [x\xF0\x9F\x98\x80]\n"
         "1 Comment [\xF0\x9F\x98\x80]\n1 CDATA [\xF0\x9F\x98\x80]\n1 ElementEnd [a]\n"},
        // Any other encoding is one byte a character, whose bytes come back as they were.
        {"<?xml version='1.0' encoding='x'?><a b='\xE9'>\x80\xFF</a>",
         "0 Version [1.0]\n0 Encoding [x]\n1 ElementStart [a]\n1 Attribute [b] [\xE9]\n1 CharData "
         "[\x80\xFF]\n"
         "1 ElementEnd [a]\n"},
        {"\xEF\xBB\xBF<a/>", "1 ElementStart [a]\n1 ElementEnd [a]\n"},
    };
    for (const auto& [document, expected] : rows)
        EXPECT_EQ(vnRecord(document), expected) << document;
}

TEST(vnXmlSax, TellsFaultsOfTheSyntax)
{
    for (const char* document : {"<?XML version=\"1.0\"?><a/>",
                                 "<?xml-stylesheet href='x'?><a/>",
                                 "<?p?><?xMl-stylesheet href='x'?><a/>",
                                 "<?xml encoding='UTF-8'?><a/>",
                                 "<!DOCTYPE a [<!ENTITY b \"c\">]><a/>",
                                 "<!DOCTYPE a [%b;]><a/>",
                                 "<a b=\"x<y\"/>",
                                 "<a b='&'/>",
                                 "<a b/>",
                                 "<a b=c/>",
                                 "<a / >",
                                 "<a b='1'c='2'/>",
                                 "<a/>x",
                                 "<a/><b/>",
                                 "<!-- a -- b --><a/>",
                                 "<!-- a ---><a/>",
                                 "<!--\x01--><a/>",
                                 "<a><![CDATA[\x02]]></a>",
                                 "<\xD0\x80/>",
                                 "<a>&b</a>",
                                 "<a>&#;</a>",
                                 "<a>&#xg;</a>",
                                 "<a>& </a>",
                                 "x",
                                 "<a><!x></a>",
                                 "<a></a",
                                 "<!DOCTYPE a [<!ELEMENT b (c,d|e)>]><a/>",
                                 "<!DOCTYPE a [<!ATTLIST b c WORD 'x'>]><a/>"})
    {
        const std::string result = vnRecord(document);
        EXPECT_TRUE(isFault(result) || result.find("Adapter out of Data") != std::string::npos)
            << document << "\n"
            << result;
    }
    // The first fault is the one that is told, where the reader stands.
    vnXmlRecorder recorder;
    vnReadText(recorder, "<a>\n<b>\n  <c ?></b></a>");
    EXPECT_TRUE(isFault(recorder.getResult()));
    EXPECT_EQ(recorder.getLine(), 2u);
    EXPECT_EQ(recorder.getColumn(), 5u);
}

TEST(vnXmlSax, ReadsDocumentTypes)
{
    const std::string types =
        "<!DOCTYPE a PUBLIC '-//A//B' \"x\" [\n"
        "<!ELEMENT a EMPTY><!ELEMENT b ANY ><!ELEMENT c (#PCDATA)><!ELEMENT c ( #PCDATA | d | e )*>"
        "<!ELEMENT d (e)><!ELEMENT e (f?,(g|h)*,i+)+><!ELEMENT f ((a|b),(c))?>"
        "<!ATTLIST a><!ATTLIST a b CDATA #REQUIRED c ID #IMPLIED d IDREFS #FIXED 'x' e (f|g) \"f\" "
        "h NMTOKENS 'a b' i NOTATION (j|k) #IMPLIED l ENTITIES #IMPLIED>"
        "<!NOTATION n SYSTEM 'x'><!NOTATION n PUBLIC 'x'><!NOTATION n PUBLIC 'x' 'y' >"
        "] ><a/>";
    EXPECT_EQ(vnRecord(types), "1 ElementStart [a]\n1 ElementEnd [a]\n");
    // Nested groups are read once each, and no deeper than elements.
    const std::string groups = repeated("(", 2000) + "a" + repeated(",b)", 2000);
    EXPECT_EQ(vnRecord("<!DOCTYPE a [<!ELEMENT a " + groups + ">]><a/>"),
              "1 ElementStart [a]\n1 ElementEnd [a]\n");
    EXPECT_EQ(vnRecord("<!DOCTYPE a [<!ELEMENT a " + repeated("(", 100000)),
              "error Too deep nesting in XML data\n");
    // More white space than is remembered is no way to a fatal error.
    EXPECT_TRUE(isFault(vnRecord("<?xml version='1.0'" + std::string(70000, ' ') + "x?><a/>")));
}

// What is read must not depend on where the windows of an adapter end.
TEST(vnXmlSax, ReadsTheSameFromEveryAdapter)
{
    std::vector<std::string> documents = {
        sample,
        "<a>]]>",
        "<a b='function:x'>]<!-- - --><![CDATA[ ] ]] ]]]]><c></c><?p ? ?></a>",
        "\xEF\xBB\xBF<\xC3\xA9 "
        "\xC3\xA9='\xC3\xA9\xF0\x9F\x98\x80&x;\xE4\xB8\x80'>\xF0\x9F\x98\x80]\xE4\xB8\x80"
        "<!--\xF0\x9F\x98\x80\n\xE4\xB8\x80--></\xC3\xA9>",
        "<a>x\x80\xC3(\xF0\x9F\xE4\xB8</a>",
        "<a>\xC0\xBC\xE0\x80\xA6</a>",
        "<a\xED\xA0\x80/>",
        "<a b='\xF0\x9F'/>",
        "<?xml version='1.0' encoding='latin1'?><\xE9>\xC3\xA9</\xE9>",
        vnUtf16(u"<?xml version='1.0' encoding='utf-16'?><a b='\xE9\x4E00'>\xD83D\xDE00]\n&x;</a>", false),
        vnUtf16(u"<\xE9 b='\xD800'>]]\xD83D\xDE00<b/></\xE9>", true),
        "<!DOCTYPE a [<!ELEMENT a (b,c)*><!ATTLIST a b (c|d) 'c'>]><a><vnDy/></a>",
    };
    // "_" is more white space than the small buffer remembers. What may or may not stand behind it does not
    // take the reader back.
    for (std::string document :
         {"<?xml version='1.0'_?><a/>", "<?xml version='1.0'_standalone='no'_?><a b_=_''_/>",
          "<?xml version='1.0' encoding='utf-8'_?><!DOCTYPE a [<!ENTITY_% x >"
          "<!ATTLIST a_><!ATTLIST a b CDATA #IMPLIED_><!NOTATION n PUBLIC '__'_>]><a/>",
          "<a b_c=''/>", "<a><![CDATA[_\x01]]></a>", "<!DOCTYPE a PUBLIC 'p'_><a/>",
          "<!DOCTYPE a [<!ATTLIST a_?>]><a/>", "<?xml version='1.0'_?x><a/>"})
    {
        for (std::size_t at = document.find('_'); at != std::string::npos; at = document.find('_', at))
            document.replace(at, 1, 50, ' ');
        documents.push_back(document);
    }
    for (const std::string& document : documents)
        for (const unsigned int mask : {VN_XML_ALL_ITEMS, VN_XML_DEFAULT_ITEMS})
            for (const unsigned int bufferSize : {65536, 40})
            {
                const auto record = [&](const vnRefPointer<vnSerializeAdapter>& adapter)
                {
                    vnXmlRecorder recorder(mask);
                    recorder.setMaxBufferSize(bufferSize);
                    recorder.read(adapter);
                    return recorder.getResult() + std::to_string(recorder.getTokenPos());
                };
                SCOPED_TRACE(document);
                const std::string expected = record(memoryOf(document));
                EXPECT_EQ(expected.find("error") == std::string::npos,
                          vnRecord(document, mask).find("error") == std::string::npos);
                EXPECT_EQ(record(byBytes(document)), expected);
                for (std::size_t size = 1; size < 9; ++size)
                    EXPECT_EQ(record(inWindows(document, size)), expected) << size << " bytes a window";
            }
}

TEST(vnXmlSax, EndsAtEveryTruncation)
{
    const std::string document = std::string(sample) + "<!-- behind -->";
    const std::size_t root = document.find("</doc>") + 6;
    for (std::size_t size = 0; size < root; ++size)
    {
        const std::string part = document.substr(0, size);
        const std::string expected = vnRecord(part);
        EXPECT_NE(expected.find("error "), std::string::npos) << part;
        EXPECT_EQ(recordFrom(byBytes(part)), expected) << part;
        EXPECT_EQ(recordFrom(inWindows(part, 3)), expected) << part;
    }
}

// It knows of 16-bit text, and the mark is in front.
TEST(vnXmlSax, ReadsWhatWasWrittenToTheSameAdapter)
{
    vnXmlWriter writer([](vnXmlSax& sax) { sax.writeCharDataElement("a", "\xE4\xB8\x80"); });
    writer.setEncoding("utf-16");
    const vnRefPointer<vnSerializeAdapter> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    writer.write(queue);
    vnXmlRecorder recorder(VN_XML_CHAR_DATA);
    recorder.read(queue);
    EXPECT_EQ(recorder.getResult(), "1 CharData [\xE4\xB8\x80]\n");
}

TEST(vnXmlSax, LooksForTheEncodingOfEachDocument)
{
    const std::pair<std::string, const char*> documents[] = {
        {"\xEF\xBB\xBF<a>\xC3\xA9</a>", "1 CharData [\xC3\xA9]\n"},
        {vnUtf16(u"<a>\xD83D\xDE00\x4E00</a>", false), "1 CharData [\xF0\x9F\x98\x80\xE4\xB8\x80]\n"},
        {"<?xml version='1.0' encoding='latin1'?><a>\xE9</a>", "1 CharData [\xE9]\n"},
        {vnUtf16(u"<\xE9>\xE9\xD83D\xDE00</\xE9>", true), "1 CharData [\xC3\xA9\xF0\x9F\x98\x80]\n"},
        {"<\xC3\xA9>\xC3\xA9</\xC3\xA9>", "1 CharData [\xC3\xA9]\n"},
    };
    vnXmlRecorder recorder(VN_XML_CHAR_DATA);
    for (const auto& first : documents)
        for (const auto& second : documents)
            for (const auto& [document, expected] : {first, second})
            {
                recorder.log.clear();
                vnReadText(recorder, document);
                EXPECT_EQ(recorder.getResult(), expected) << first.first << second.first;
            }
    // What was set before holds for all that say nothing.
    recorder.useUtf8(0);
    for (const auto& [document, expected] : documents)
    {
        recorder.log.clear();
        vnReadText(recorder, document);
        vnReadText(recorder, "<a>\xFF</a>");
        EXPECT_NE(recorder.log.find("1 CharData [\xFF]\n"), std::string::npos) << document;
    }
}

TEST(vnXmlSax, RefusesTextsThatNoStringHolds)
{
    const std::string most(65535, 'x');
    const std::string wide = repeated("\xC3\xA9", 32768); // 65,536 bytes
    const struct
    {
        const char *before, *behind, *error;
    } rows[] = {{"<a>", "</a>", "error Too large 'CharData' is notified\n"},
                {"<a><![CDATA[", "]]></a>", "error Too large 'CData' is notified\n"},
                {"<a><!--", "--></a>", "error Too large 'Comment' is notified\n"},
                {"<a b='", "'/>", "error Too large 'Attribute' is notified\n"},
                {"<?p ", "?><a/>", "error Too large 'PI' is notified\n"}};
    for (const auto& [before, behind, error] : rows)
        for (const std::string& text : {most, most + "x", wide})
        {
            const std::string document = before + text + behind;
            const std::string expected = text == most ? "[" + most + "]" : error;
            for (const auto& adapter : {memoryOf(document), byBytes(document), inWindows(document, 1000)})
                EXPECT_NE(recordFrom(adapter).find(expected), std::string::npos) << before << text.size();
        }
    // What nobody is told of may be larger, and contents that are too large are left out.
    EXPECT_EQ(vnRecord("<a>" + most + "x</a>", VN_XML_ELEMENT | VN_XML_ELEMENT_CONTENTS),
              "1 ElementStart [a]\n1 ElementEnd [a]\n");
    EXPECT_EQ(vnRecord("<a>" + most + "</a>", VN_XML_ELEMENT_CONTENTS),
              "1 ElementContents [a] [" + most + "]\n");
    EXPECT_EQ(vnRecord("<a>" + wide + "</a>", VN_XML_ELEMENT_CONTENTS), "");
    // Outside of the root the length of a comment is taken modulo 65536.
    EXPECT_EQ(vnRecord("<!--" + std::string(65536, 'x') + "--><a/>", VN_XML_COMMENT), "0 Comment []\n");
    vnXmlRecorder recorder(VN_XML_COMMENT);
    recorder.setMaxBufferSize(200000);
    vnReadText(recorder, "<!--" + std::string(65539, 'x') + "--><a/>");
    EXPECT_EQ(recorder.getResult(), "0 Comment [xxx]\n");
    // It must fit all the same.
    EXPECT_EQ(vnRecord("<!--" + wide + "--><a/>", VN_XML_COMMENT), "error Too large 'Comment' is notified\n");
    // No call, wherever the last of what is remembered begins; and an instruction that nobody is told of.
    EXPECT_EQ(vnRecord("<a>xfunction:" + std::string(65527, 'y') + "</a>", VN_XML_ELEMENT),
              "1 ElementStart [a]\n1 ElementEnd [a]\n");
    EXPECT_EQ(vnRecord("<?" + most + "x " + wide + "?><a/>", VN_XML_ELEMENT),
              "1 ElementStart [a]\n1 ElementEnd [a]\n");
}

// A part of one would pass for the whole.
TEST(vnXmlSax, RefusesTextsThatItDoesNotRememberAsAWhole)
{
    const std::pair<std::string, const char*> rows[] = {
        {"<a>_</a>", "CharData"},
        {"<a><vnDyn>_</vnDyn></a>", "CharData"},
        {"<a><![CDATA[_]]></a>", "CData"},
        {"<a><!--_--></a>", "Comment"},
        {"<!--_--><a/>", "Comment"},
        {"<?p _?><a/>", "PI"},
        {"<?_ d?><a/>", "PI"},
        {"<a>&_;</a>", "Name"},
        {"<_/>", "Name"},
        {"<a _=''/>", "Name"},
        {"<a></_>", "Name"},
        {"<a b='_'/>", "Attribute"},
        {"<a b='function:_'/>", "Attribute"},
        {"<?xml version='_'?><a/>", "Declaration"},
        {"<?xml version='1.0' encoding='_'?><a/>", "Declaration"},
    };
    for (const auto& [pattern, what] : rows)
    {
        std::string document = pattern;
        document.replace(document.find('_'), 1, "start" + std::string(50, 'x'));
        vnXmlRecorder recorder;
        recorder.setMaxBufferSize(50);
        vnReadText(recorder, document);
        EXPECT_EQ(recorder.getError(),
                  std::string("Too large '").append(what).append("' is notified").c_str())
            << pattern;
        vnXmlRecorder byteRecorder;
        byteRecorder.setMaxBufferSize(50);
        byteRecorder.read(byBytes(document));
        EXPECT_EQ(byteRecorder.getResult(), recorder.getResult()) << pattern;
    }
}

TEST(vnXmlSax, ReportsItsProgress)
{
    struct Bar : vnProgressInterface
    {
        ~Bar() noexcept(false) override { vnProgress::setProgressInterface(nullptr); }
        void onProgress(unsigned char percent, const char* banner) override
        {
            EXPECT_EQ(std::string(banner).find("Reading XML data from "), 0u);
            told.push_back(percent);
        }
        std::vector<int> told;
    };
    std::vector<int> expected(101);
    std::iota(expected.begin(), expected.end(), 0);
    const std::string document = "<a>" + repeated("<b>text</b>", 1000) + "</a>";
    for (const auto& adapter :
         {byBytes(document), inWindows(document, 1), inWindows(document, 7), inWindows(document, 20000)})
    {
        Bar bar;
        vnProgress::setProgressInterface(&bar);
        vnXmlRecorder recorder;
        recorder.useProgress(1);
        recorder.read(adapter);
        EXPECT_EQ(bar.told, expected);
    }
}

TEST(vnXmlSax, StopsWhereACallbackSaysSo)
{
    const std::string all = vnRecord(sample, VN_XML_ALL_ITEMS);
    for (std::size_t end = all.find('\n'); end != std::string::npos; end = all.find('\n', end + 1))
    {
        vnXmlRecorder recorder(VN_XML_ALL_ITEMS);
        recorder.decide = [&](const std::string&) { return recorder.log.size() < end; };
        vnReadText(recorder, sample);
        EXPECT_EQ(recorder.log, all.substr(0, end + 1));
        EXPECT_FALSE(recorder.hasError());
    }
}

TEST(vnXmlSax, TellsAttributesOfEveryLevel)
{
    vnXmlRecorder recorder(VN_XML_ELEMENT | VN_XML_CHAR_DATA);
    std::string told;
    recorder.decide = [&](const std::string& line)
    {
        told += line + ":";
        for (unsigned int level = 0; level <= 3; ++level)
            told += " " + std::string(recorder.getElementName(level).getString()) + "=" +
                    recorder.getAttribute(level, "x").getString();
        told += recorder.hasCurrentAttribute("x") ? " has\n" : "\n";
        return true;
    };
    vnReadText(recorder, "<a x='1' y='2' x='3'><b x='function:f'/><c>t</c></a>");
    EXPECT_EQ(told, "1 ElementStart [a]: = a= = =\n"
                    "2 ElementStart [b]: = a=1 b= =\n"
                    "2 Function [f]: = a=1 b= =\n"
                    "2 ElementEnd [b]: = a=1 b=<f> = has\n"
                    "2 ElementStart [c]: = a=1 c= =\n"
                    "2 CharData [t]: = a=1 c= =\n"
                    "2 ElementEnd [c]: = a=1 c= =\n"
                    "1 ElementEnd [a]: = a=1 c= = has\n");
    // The set holds all of them, and what its user does to it counts.
    vnXmlSax::AttributeSet& set = recorder.getAttributeSet(1);
    EXPECT_EQ(set.getCount(), 3u);
    EXPECT_EQ(set.peek("y")->getData(), "2");
    set.clear();
    EXPECT_FALSE(recorder.hasAttribute(1, "y"));
    EXPECT_EQ(recorder.getAttribute(0xFFFFFFFF, "y"), "");
    EXPECT_EQ(recorder.getAttributeSet(0xFFFFFFFF).getCount(), 0u);
    // Attributes are entered as they come into a set that is in use.
    vnXmlSax::AttributeSet* inUse = nullptr;
    told.clear();
    recorder.decide = [&](const std::string& line)
    {
        if (line == "1 ElementStart [a]")
        {
            inUse = &recorder.getCurrentAttributeSet();
            inUse->enter("z", new vnRefData<vnString, vnReference>("default"));
        }
        told += std::to_string(inUse->getCount()) + recorder.getAttribute(1, "z").getString() + " ";
        return true;
    };
    vnReadText(recorder, "<a x='1' y='2'/>");
    vnReadText(recorder, "<a/>");
    EXPECT_EQ(told, "1default 3default 1default 1default ");
}

TEST(vnXmlSax, TakesTheEncodingOfBinaryContentFromTheElement)
{
    vnXmlRecorder recorder(VN_XML_ELEMENT_CONTENTS_START);
    std::string told;
    recorder.decide = [&](const std::string&) { return told += recorder.useBase64() ? '1' : '0', true; };
    const char document[] = "<a encoding='hex'><b/><c ENCODING='B64'></c><d></d><e Encoding='HEX'></e></a>";
    vnReadText(recorder, document);
    EXPECT_EQ(told, "0110");
    told.clear();
    recorder.useBase64(0);
    vnReadText(recorder, document);
    EXPECT_EQ(told, "0100");
}

TEST(vnXmlSax, BoundsWhatDocumentsMayDo)
{
    const std::string deep = repeated("<a>", 100000);
    EXPECT_NE(vnRecord(deep, 0).find("error Too deep nesting in XML data"), std::string::npos);
    vnXmlRecorder shallow(0);
    shallow.setMaxElementDepth(2);
    vnReadText(shallow, "<a><b/><b></b></a>");
    EXPECT_FALSE(shallow.hasError());
    vnReadText(shallow, "<a><b><c/></b></a>");
    EXPECT_EQ(shallow.getError(), "Too deep nesting in XML data");
    // A raised depth is for elements, which take no stack.
    vnXmlRecorder raised(0);
    raised.setMaxElementDepth(0xFFFFFFFF);
    vnReadText(raised, repeated("<a>", 20000) + repeated("</a>", 20000));
    EXPECT_FALSE(raised.hasError());
    vnReadText(raised, "<!DOCTYPE a [<!ELEMENT a " + repeated("(", 100000));
    EXPECT_EQ(raised.getError(), "Too deep nesting in XML data");
    vnXmlSax external;
    external.setMaxElementDepth(0xFFFFFFFF);
    external.setAdapter(new vnByteAdapter(repeated("<![INCLUDE[", 50000)));
    EXPECT_EQ(external.XML_read_31(), VN_PARSE_ERROR);
    EXPECT_EQ(external.getError(), "Too deep nesting in XML data");

    const std::string document = "<a>" + repeated("<b>text \xC3\xA9</b>", 100) + "</a>";
    for (const bool isLarge : {false, true})
        for (const auto& adapter : {byBytes(document), inWindows(document, 50), memoryOf(document)})
        {
            vnXmlRecorder sized(VN_XML_ELEMENT);
            // The characters of the document, each of one token.
            sized.setMaxDocumentSize(static_cast<unsigned int>(document.size()) - 100 - isLarge);
            sized.read(adapter);
            EXPECT_EQ(sized.getError(), isLarge ? "Too large XML data" : "");
        }
    // Where nobody is told of the empty texts, nobody can end them either.
    vnXmlSax sax;
    sax.disableNotifyItemType(VN_XML_ALL_ITEMS);
    vnReadText(sax, "<a>]]></a>");
    EXPECT_EQ(sax.getError(), "No progress in XML data");
}

// Callbacks may look at the parser, and read on from it.
TEST(vnXmlSax, StandsBehindWhatIsNotified)
{
    const std::string document = "<a>\n<b\xC3\xA9 x='\xE4\xB8\x80'>one</b\xC3\xA9></a>";
    vnXmlRecorder recorder;
    std::string told;
    recorder.decide = [&](const std::string& line)
    {
        told += line + " " + std::to_string(recorder.getTokenPos()) + " " +
                std::to_string(recorder.getLine()) + ":" + std::to_string(recorder.getColumn());
        told += " " + std::string(recorder.getTokenData(recorder.getTokenPos() - 2, 2).getString()) + "\n";
        if (line == "1 CharData [\n]" && recorder.checkTokens(u"<b", 2, 0))
            recorder.pushBackTokens(2);
        return true;
    };
    vnReadText(recorder, document);
    EXPECT_EQ(told, "1 ElementStart [a] 2 0:2 <a\n"
                    "1 CharData [\n] 4 1:0 >\n\n"
                    "2 ElementStart [b\xC3\xA9] 7 1:3 b\xC3\xA9\n"
                    "2 Attribute [x] [\xE4\xB8\x80] 13 1:9 \xE4\xB8\x80'\n"
                    "2 CharData [one] 17 1:13 ne\n"
                    "2 ElementEnd [b\xC3\xA9] 21 1:17 b\xC3\xA9\n"
                    "1 ElementEnd [a] 25 1:21 /a\n");
}

// Also those that no document reaches; each takes its text and nothing behind it, or nothing.
TEST(vnXmlSax, OffersEveryProduction)
{
    const struct
    {
        vnParseResult (vnXmlSax::*production)();
        const char* text;
        unsigned int taken; // 0 for no match
    } rows[] = {
        {&vnXmlSax::XML_read_02, "\t.", 1},
        {&vnXmlSax::XML_read_02, "\x02.", 0},
        {&vnXmlSax::XML_read_02, "\xF0\x9F\x98\x80.", 2},
        {&vnXmlSax::XML_read_03, " \r\n\tx", 4},
        {&vnXmlSax::XML_read_04, "-", 1},
        {&vnXmlSax::XML_read_05, "a:b.c-1 ", 7},
        {&vnXmlSax::XML_read_05, "1a", 0},
        {&vnXmlSax::XML_read_06, "a b  c ?", 6},
        {&vnXmlSax::XML_read_07, "1a?", 2},
        {&vnXmlSax::XML_read_08, "1 2 ?", 3},
        {&vnXmlSax::XML_read_09, "'a%b;&c;\"' ", 10},
        {&vnXmlSax::XML_read_11, "\"<'&\"x", 5},
        {&vnXmlSax::XML_read_12, "'-//A//B'x", 9},
        {&vnXmlSax::XML_read_13, "^", 0},
        {&vnXmlSax::XML_read_14, "a]b<", 3},
        {&vnXmlSax::XML_read_15, "<!--a-b-->x", 10},
        {&vnXmlSax::XML_read_17, "xmL", 0},
        {&vnXmlSax::XML_read_17, "xm ", 2},
        {&vnXmlSax::XML_read_18, "<![CDATA[]]]>x", 13},
        {&vnXmlSax::XML_read_19, "<![CDATA[x", 9},
        {&vnXmlSax::XML_read_20, "a]]>", 1},
        {&vnXmlSax::XML_read_20, "a\x01]]>", 0},
        {&vnXmlSax::XML_read_21, "]]>x", 3},
        {&vnXmlSax::XML_read_25, " = x", 3},
        {&vnXmlSax::XML_read_24, " version='1'x", 12},
        {&vnXmlSax::XML_read_24, "  encoding='x'", 0},
        {&vnXmlSax::XML_read_25, " x", 0},
        {&vnXmlSax::XML_read_26, "1.0_a:-'", 7},
        {&vnXmlSax::XML_read_30, "<?xml encoding='UTF-8'?><![INCLUDE[<!ELEMENT a ANY>]]>%p x", 57},
        {&vnXmlSax::XML_read_33, "en-GB-x ", 7},
        {&vnXmlSax::XML_read_33, "i-abc ", 5},
        {&vnXmlSax::XML_read_37, "X-y1", 3},
        {&vnXmlSax::XML_read_36, "i1", 0},
        {&vnXmlSax::XML_read_44, "<a b='1' />x", 11},
        {&vnXmlSax::XML_read_47, "(a|b)+x", 6},
        {&vnXmlSax::XML_read_49, "(a,b)", 0},
        {&vnXmlSax::XML_read_49, "(a)x", 3},
        {&vnXmlSax::XML_read_50, "(a|b)", 0},
        {&vnXmlSax::XML_read_51, "(a)", 0},
        {&vnXmlSax::XML_read_53, "  >", 0},
        {&vnXmlSax::XML_read_53, " a CDATA 'b' >", 12},
        {&vnXmlSax::XML_read_57, "(1|a ) ", 6},
        {&vnXmlSax::XML_read_61, "<![ IGNORE [<!--x-->]]>x", 23},
        {&vnXmlSax::XML_read_63, "<![IGNORE[%p]]>x", 15},
        {&vnXmlSax::XML_read_64, "a<![b]]>c]]>", 9},
        {&vnXmlSax::XML_read_65, "a]]b<![", 4},
        {&vnXmlSax::XML_read_66, "&#xAf;x", 6},
        {&vnXmlSax::XML_read_69, "%p;", 2},
        {&vnXmlSax::XML_read_69, "% p;", 0},
        {&vnXmlSax::XML_read_70, "<!ENTITY % p >x", 14},
        {&vnXmlSax::XML_read_71, "<!ENTITY  % p >", 0},
        {&vnXmlSax::XML_read_75, "PUBLIC 'p' >", 0},
        {&vnXmlSax::XML_read_77, "<?xml version='1.0' encoding='UTF-8' ?>x", 39},
        {&vnXmlSax::XML_read_78, "<?xml encoding='UTF-8'?><a/>t</b>", 29},
        {&vnXmlSax::XML_read_79, "<?xml encoding='UTF-8'?><!ELEMENT a ANY>%p x", 43},
        {&vnXmlSax::XML_read_83, "PUBLIC 'x'y", 10},
        {&vnXmlSax::XML_read_Test_ETag, "<a>", 0},
        {&vnXmlSax::XML_read_91, "x</a>", 1},
        {&vnXmlSax::XML_read_93, "x", 0},
    };
    for (const auto& [production, text, taken] : rows)
    {
        vnXmlSax sax;
        sax.setAdapter(byBytes(text));
        EXPECT_EQ((sax.*production)(), taken ? VN_PARSE_OK : VN_PARSE_NO_MATCH)
            << text << sax.getError().getString();
        EXPECT_EQ(sax.getTokenPos(), taken) << text;
        EXPECT_FALSE(sax.hasError());
    }
    // What an ignored section holds is read as an external subset, although it might be anything.
    vnXmlSax sax;
    sax.setAdapter(new vnByteAdapter("<![IGNORE[x]]>"));
    EXPECT_EQ(sax.XML_read_63(), VN_PARSE_ERROR);
}

TEST(vnXmlSax, KnowsTheEndsOfTheCharacterClasses)
{
    const struct
    {
        vnParseResult (vnXmlSax::*production)();
        std::vector<std::pair<int, int>> ranges;
    } classes[] = {
        {&vnXmlSax::XML_read_02, {{0x9, 0xA}, {0xD, 0xD}, {0x20, 0xD7FF}, {0xE000, 0xFFFD}}},
        {&vnXmlSax::XML_read_85,
         {{'A', 'Z'}, {'a', 'z'}, {0xC0, 0xD6}, {0xD8, 0xF6}, {0xF8, 0xFF}, {0x100, 0x131}}},
        {&vnXmlSax::XML_read_86, {{0x3007, 0x3007}, {0x3021, 0x3029}, {0x4E00, 0x9FA5}}},
        {&vnXmlSax::XML_read_87,
         {{0x300, 0x345}, {0x360, 0x361}, {0x483, 0x486}, {0x591, 0x5A1}, {0x5A3, 0x5B9}, {0x5BB, 0x5BD}}},
        {&vnXmlSax::XML_read_88,
         {{'0', '9'}, {0x660, 0x669}, {0x6F0, 0x6F9}, {0x966, 0x96F}, {0x9E6, 0x9EF}, {0xA66, 0xA6F}}},
        {&vnXmlSax::XML_read_89, {{0xB7, 0xB7}, {0x2D0, 0x2D0}}},
    };
    for (const auto& [production, ranges] : classes)
        for (const auto& [first, last] : ranges)
            for (const int c : {first - 1, first, last, last + 1})
            {
                const bool isIn =
                    std::any_of(ranges.begin(), ranges.end(),
                                [c = c](const auto& range) { return range.first <= c && c <= range.second; });
                vnXmlSax sax;
                sax.setAdapter(byBytes(vnUtf16({static_cast<char16_t>(c), u'.'}, true)));
                EXPECT_EQ((sax.*production)(), isIn ? VN_PARSE_OK : VN_PARSE_NO_MATCH) << c;
            }
}
