// SPDX-License-Identifier: MIT
#include "vnXmlShape.h"

#include <vnBase/vnObject.h>

#include <gtest/gtest.h>

#include <random>
#include <utility>

namespace
{
// Decodes an attribute value step by step, beginning anew with each result.
vnString decodeByRestarting(const vnString& value)
{
    const std::pair<const char*, const char*> entities[] = {
        {"&amp;", "&"}, {"&quot;", "\""}, {"&apos;", "'"}, {"&lt;", "<"}, {"&gt;", ">"}};
    for (const auto& [entity, character] : entities)
        if (value.contains(entity))
            return decodeByRestarting(value.substitute(vnString(entity), vnString(character)));
    return value;
}
} // namespace

TEST(vnXmlDom, BuildsTheTreeOfADocument)
{
    const std::pair<const char*, const char*> rows[] = {
        {"<?xml version='1.0'?><a><b>t</b> <c/></a>", "a(b('t')c)"},
        {"<!--1--><a> \t\r\n </a><?p d?>", "!1!a?p d?"},
        {"<a> x  y </a>", "a('x  y')"},
        {"<a>x &amp; y</a>", "a('x&y')"}, // the blanks around it are lost, which is meant
        {"<a>&amp;&lt;&gt;&apos;&quot;</a>", "a('&<>'\"')"},
        {"<a>1 &e; 2</a>", "a('1'&e;'2')"},
        {"<a>1&lt;<b>&gt;2</b>&lt;3</a>", "a('1<'b('>2')'<3')"},
        {"<a>x&#65;y</a>", "a('xy')"}, // character references in texts are not notified
        {"<a>1<![CDATA[ &amp; ]]>2<!-- k -->3</a>", "a('1'{ &amp; }'2'! k !'3')"},
        {"<a x='1' y='&#65;' x='2'/>", "a[x=1][y=&#65;][x=2]"},
        {"<a x='&amp;lt;' y='&lt;&gt;&apos;&quot;&amp;' z='&no;'/>", "a[x=<][y=<>'\"&][z=&no;]"},
        {"<a x='100%% %x&#32;%s'/>", "a[x=100% 0&#32;]"},                    // a format, which is meant
        {"<!DOCTYPE a [<!ATTLIST a b CDATA 'x&amp;y'>]><a>t</a>", "a('t')"}, // only checked
        {"<a><b></a>", "a(b) error Expected end tag 'b' but got 'a'"},
    };
    for (const auto& [text, shape] : rows)
        EXPECT_EQ(vnShapeOf(std::string(text)), shape) << text;
}

TEST(vnXmlDom, DecodesAttributesAsIfItBeganAnewWithEachResult)
{
    const char* const parts[] = {"&", "&amp;", "amp;", "&quot;", "quot;", "apos;", "&lt;", "lt;", "gt;", "a"};
    std::minstd_rand random(7);
    struct Document : vnXmlDom
    {
        unsigned char onElementStart(const vnString& name, unsigned int level) override
        {
            return vnXmlDom::onElementStart(name, level) && onAttribute("v", value, level);
        }
        vnString value;
    } document;
    for (int round = 0; round < 3000; ++round)
    {
        document.value = "";
        for (unsigned int i = random() % 9; i-- != 0;)
            document.value += parts[random() % std::size(parts)];
        vnReadText(document, "<a/>"); // raw "&" can't come from it, but from callers of the callback
        EXPECT_EQ(vnText(static_cast<vnXmlElement*>(document.findItem("a"))->getAttribute("v")),
                  vnText(decodeByRestarting(document.value)))
            << vnText(document.value);
    }
}

// A percent sign begins a directive, which is meant.
TEST(vnXmlDom, CountsWhatAttributesGrowByAsFormats)
{
    EXPECT_EQ(vnShapeOf("<a b='100%% %d|%3d|'/>"), "a[b=100% 0|  0|]");
    vnXmlDom document;
    EXPECT_EQ(document.getDocumentSizeLeft(), ~vnUInt64{0});
    const std::string text = "<a><b x='%60000d'/><b x='%60000d'/></a>";
    for (const auto& [limit, error] : {std::pair<unsigned int, const char*>{119900, "Too large XML data"},
                                       {60000, "Too large XML data"},
                                       {121000, ""},
                                       {0, ""}})
    {
        document.setMaxDocumentSize(limit);
        vnReadText(document, text);
        EXPECT_EQ(vnText(document.getError()), error) << limit;
        EXPECT_EQ(document.getMaxDocumentSize(), limit);
    }
    EXPECT_EQ(static_cast<vnXmlElement&>(*document.findItem("a/b[2]")).getAttribute("x").length(), 60000);
}

TEST(vnXmlDom, KeepsTextsExactlyWhenWhiteSpaceCounts)
{
    vnXmlDom document;
    document.setSkipWhiteSpaceCharData(0);
    document.setMergeStandardReferences(0);
    const std::string text = "<a> <b>x &amp; y</b>\n</a>";
    vnReadText(document, text);
    EXPECT_EQ(vnShapeOf(document), "a(' 'b('x '&amp;' y')'\n')");
    EXPECT_EQ(vnWritten(document), "<a> <b>x &amp; y</b>\n</a>");
    document.setMergeStandardReferences(1);
    vnReadText(document, text);
    EXPECT_EQ(vnShapeOf(document), "a(' 'b('x & y')'\n')");
}

TEST(vnXmlDom, MergesNoTextBeyondWhatAStringHolds)
{
    const std::string full(65000, 'x');
    const std::string part(535, 'y');
    EXPECT_EQ(vnShapeOf("<a>" + full + "&amp;" + part.substr(1) + "&lt;&gt;z</a>"),
              "a('" + full + "&" + part.substr(1) + "''<>z')");
    vnXmlDom document;
    document.setMergeStandardReferences(0);
    vnReadText(document, "<a>&lt;" + full + "&amp;" + part + "&gt;&e;&gt;z</a>");
    EXPECT_EQ(vnShapeOf(document), "a(&lt;'" + full + "'&amp;'" + part + "'&gt;&e;&gt;'z')");
    document.mergeStandardReferencesAndText();
    // A reference without a text before it stays, also behind a text that is full.
    EXPECT_EQ(vnShapeOf(document), "a(&lt;'" + full + "&''" + part + ">'&e;&gt;'z')");
    static_cast<vnXmlEntityReference*>(document.findItem("a/<entity_ref>[2]"))->setData("quot");
    document.mergeStandardReferencesAndText();
    EXPECT_EQ(vnShapeOf(document), "a(&lt;'" + full + "&''" + part + ">\">z')");
}

TEST(vnXmlDom, WritesWhatItRead)
{
    const std::pair<const char*, const char*> rows[] = {
        {"<a><b x='1'>t</b><c/></a>", "\n<a>\n\t<b x=\"1\">t</b>\n\t<c/>\n</a>"},
        {"<a x='&amp;lt;' y='&lt;&quot;'>&amp;&lt;</a>", "\n<a x=\"&lt;\" y=\"&lt;&quot;\">&amp;&lt;</a>"},
        {"<a x='say \"x\"'/>", "\n<a x=\"say \"x\"\"/>"}, // meant: a quote alone is not written otherwise
        {"<!--k--><a>&e;<![CDATA[<]]><?p q?></a>", "\n<!--k-->\n<a>&e;\n\t<![CDATA[<]]>\n\t<?p q?></a>"},
    };
    for (const auto& [text, written] : rows)
    {
        vnXmlDom document;
        vnReadText(document, text);
        EXPECT_EQ(vnWritten(document), written);
    }
    vnXmlDom document;
    document.addItem("a/b", new vnXmlCharData("kept"));
    document.addItem("a", new vnXmlComment("not -- a comment"));
    document.addItem("a", new vnXmlCharData("lost"));
    EXPECT_EQ(vnWritten(document), "\n<a>\n\t<b>kept</b> error Comment is malformed");
}

TEST(vnXmlDom, EndsAtEveryTruncation)
{
    const std::string sample = "<?xml version=\"1.0\" standalone=\"yes\"?><!--k--><a x=\"1\">t&amp;u"
                               "<b/><![CDATA[d]]><?p q?>\xC3\xA9&#65;<c>v</c></a>";
    EXPECT_EQ(vnShapeOf(sample), "!k!a[x=1]('t&u'b{d}?p q?'\xC3\xA9'c('v'))");
    for (std::size_t length = 0; length < sample.size(); ++length)
    {
        vnXmlDom document;
        vnReadText(document, sample.substr(0, length));
        EXPECT_TRUE(document.hasError()) << length;
        EXPECT_EQ(document.getRef(), 0u);
    }
}

TEST(vnXmlDom, RefusesElementsThatNestTooDeep)
{
    vnXmlDom document;
    vnReadText(document, repeated("<a>t&amp;", 100000));
    EXPECT_EQ(vnText(document.getError()), "Too deep nesting in XML data");
    EXPECT_EQ(vnShapeOf("<a><b>x</b></a>"), "a(b('x'))");
    document.setMaxElementDepth(1);
    vnReadText(document, "<a><b>x</b></a>");
    EXPECT_EQ(vnShapeOf(document), "a error Too deep nesting in XML data");
}

TEST(vnXmlDom, ReplacesTheTreeAndTheErrorByEachRead)
{
    vnXmlDom document;
    vnReadText(document, "<a><b>");
    EXPECT_TRUE(document.hasError());
    const vnRefPointer<vnXmlItem> held(document.findItem("a/b"));
    vnReadText(document, "<c/>");
    EXPECT_EQ(vnShapeOf(document), "c");
    EXPECT_EQ(held->getParent(), nullptr);
    document.read(nullptr);
    EXPECT_EQ(vnShapeOf(document), "c");
    EXPECT_EQ(document.onElementStart("d", 1), 1); // nothing is read just now
    EXPECT_EQ(document.onCharData("d", 1), 1);
    EXPECT_EQ(vnShapeOf(document), "c");
    EXPECT_EQ(document.getRef(), 0u); // it stands on the stack, and nobody holds it
    EXPECT_TRUE(document.isOfType(vnXmlItem::getClassType()));
}

TEST(vnXmlDom, LeavesItsItemsToThoseWhoHoldThem)
{
    vnRefPointer<vnXmlDom> document(new vnXmlDom);
    std::string text = "<a>";
    for (int i = 0; i < 2000; ++i)
        text +=
            "<b id='" + std::to_string(i) + "'>a text of some length for " + std::to_string(i) + "<c/></b>";
    vnReadText(*document, text + "</a>");
    const vnRefPointer<vnXmlItem> first(document->findItem("a/b"));
    const vnRefPointer<vnXmlItem> last(document->findItem("a/b[last()]"));
    document->findItem("a")->removeChild(last);
    vnXmlElement& element = static_cast<vnXmlElement&>(*first);
    element.setAttribute("more", "%s", std::string(1000, 'x').c_str()); // there is no room behind it
    element.removeAttribute("more");
    element.setAttribute("more", "y");
    vnRefPointer<vnXmlCustomData> custom(new vnXmlCustomData(static_cast<vnXmlElement&>(*last), nullptr));
    document = nullptr;
    EXPECT_EQ(vnShape(*first), "b[id=0][more=y]('a text of some length for 0'c)");
    EXPECT_EQ(vnShape(*last), "b('a text of some length for 1999'c)"); // its attributes were taken over
    EXPECT_EQ(vnShape(*custom), "b[id=1999]");
    first->addChild(last);
    EXPECT_EQ(first->childEntries(), 3u);
}

TEST(vnXmlDom, PutsValuesInThePlaceOfTheirElements)
{
    struct Document : vnXmlDom
    {
        unsigned char onElementStart(const vnString& name, unsigned int level) override
        {
            vnXmlDom::onElementStart(name, level);
            if (name == "value")
                return onDynamicType(vnDynamicType("v"), "n", level);
            return name != "object" || onObject(nullptr, "o", level);
        }
        unsigned char onElementAttributeEnd(const vnString& name, unsigned int level) override
        {
            return name != "custom" || onCustomData(nullptr, name, level);
        }
    } document;
    document.enableNotifyItemType(VN_XML_ELEMENT_ATTRIBUTE_END);
    vnReadText(document, "<a>1<value/>2<object/><custom x='1'/><b/></a>");
    EXPECT_EQ(vnShapeOf(document), "a('1'value n'2'value ocustom[x=1]b)");
}

TEST(vnXmlDom, IsWalkedInTheOrderOfTheDocument)
{
    vnXmlDom document;
    vnReadText(document, "<!--k--><a><b><c/>t</b><d/></a><?p q?>");
    vnXMLDomIterator next(document);
    EXPECT_EQ(next.getContextName(), "");
    std::string walk;
    while (vnXmlItem* item = next())
    {
        EXPECT_EQ(next.getContextName(), next.getContext() + "/" + item->getName());
        walk += vnText(next.getContextName()) + " ";
    }
    EXPECT_EQ(walk, "/<comment> /a /a/b /a/b/c /a/b/<char_data> /a/d /<pi> ");
    EXPECT_EQ(next(), nullptr);

    document.resetAllChildIterators();
    vnXMLDomIterator other(document);
    other.remove(); // there is no current item
    walk.clear();
    while (vnXmlItem* item = other())
    {
        walk += vnText(other.getContextName()) + " ";
        if (item->getName() == "c" || item->getName() == "b" || item->getName() == "<comment>")
        {
            other.remove();
            walk += "on " + vnText(other.getContextName()) + " ";
        }
    }
    EXPECT_EQ(walk, "/<comment> on  /a /a/b on /a /a/d /<pi> ");
    EXPECT_EQ(vnShapeOf(document), "a(d)?p q?");
}
