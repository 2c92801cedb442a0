// SPDX-License-Identifier: MIT
#include "../messages/vnMessageRecorder.h"
#include "../serialize/vnTempFolder.h"
#include "vnXmlShape.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace
{
struct Messages
{
    Caller caller{[this](vnMessageLevel, const char* message) { text += std::string(message) + "\n"; }};
    std::string text;
};

class vnXmlInclude : public testing::Test
{
protected:
    void file(const std::string& name, const std::string& text) const
    {
        std::filesystem::create_directories((folder / name).parent_path());
        temp.write(name, text);
    }

    std::string read(vnXmlDom& document, const std::string& name)
    {
        const vnRefPointer<vnSerializeAdapter> adapter(vnSerializeAdapter::getURLAdapter(
            ("file:" + (folder / name).string()).c_str(), VN_SERIALIZE_INPUT));
        document.useProgress(0);
        document.read(adapter);
        return vnShapeOf(document);
    }
    std::string read(const std::string& name)
    {
        vnXmlDom document;
        return read(document, name);
    }

    const vnTempFolder temp;
    const std::filesystem::path folder = temp.path("").getString();
};
} // namespace

TEST_F(vnXmlInclude, ReadsDocumentsRelativeToTheOneThatIncludesThem)
{
    file("main.xml", "<a>1<?include  sub/part.xml ?>2</a>");
    file("sub/part.xml", "<b><?include leaf.xml?></b><!--k-->");
    file("sub/leaf.xml", "<leaf/>");
    file("leaf.xml", "<wrong/>");
    vnXmlDom document;
    EXPECT_EQ(read(document, "main.xml"), "a('1'sub/part.xml(b(leaf.xml(leaf))!k!)'2')");
    EXPECT_NE(document.findItem("//leaf"), nullptr);
    EXPECT_EQ(vnWritten(document), "\n<a>1\n\t<?include sub/part.xml?>2</a>");
    document.setWriteIncludedXml(1);
    read(document, "main.xml"); // included documents take the setting over
    EXPECT_EQ(vnWritten(document), "\n<a>1\n\t<b>\n\t\t<leaf/>\n\t</b>\n\t<!--k-->2</a>");
    document.setReadIncludedXml(0);
    EXPECT_EQ(read(document, "main.xml"), "a('1'?include sub/part.xml ?'2')");
}

TEST_F(vnXmlInclude, FindsPathsFromTheRootAndThroughSettings)
{
    file("sub/main.xml", "<?include " + (folder / "top.xml").string() +
                             "?><a/><?include file:" + (folder / "top.xml").string() + "?>");
    file("top.xml", "<t/>");
    vnXmlDom document;
    read(document, "sub/main.xml");
    EXPECT_EQ(document.childEntries(), 3u);
    EXPECT_EQ(vnShape(*document.findItem("//t")), "t");
    setenv("VN_XML_INCLUDE_TEST", "top", 1);
    file("key.xml", "<a><?include $(VN_XML_INCLUDE_TEST).xml?></a>");
    EXPECT_EQ(read("key.xml"), "a(top.xml(t))");
}

TEST_F(vnXmlInclude, LeavesOutWhatIsNotThere)
{
    file("main.xml", "<a>1<?include missing.xml?>2</a>");
    const Messages messages;
    EXPECT_EQ(read("main.xml"), "a('12')");
    EXPECT_NE(messages.text.find("missing.xml"), std::string::npos);
    file("there.xml", "<b/>");
    file("main.xml", "<a>1<?include there.xml$(A?>2</a>"); // which is not "there.xml"
    EXPECT_EQ(read("main.xml"), "a('12')");
    EXPECT_NE(messages.text.find("there.xml$(A"), std::string::npos);
    vnSerializeAdapter::setMaxUntrustedSize(3);
    file("main.xml", "<a>1<?include rand:" + (folder / "there.xml").string() + "?>2</a>");
    EXPECT_EQ(read("main.xml"), "a('12')");
    EXPECT_NE(messages.text.find("Error:Source adapter gives too many bytes"), std::string::npos);
    vnSerializeAdapter::setMaxUntrustedSize(64u << 20);
    file("broken.xml", "<b><c></b>");
    file("main.xml", "<a><?include broken.xml?>2</a>");
    vnXmlDom document;
    EXPECT_EQ(read(document, "main.xml"), "a(broken.xml(b(c))'2')");
    const auto* const broken = dynamic_cast<vnXmlDom*>(document.findItem("a/broken.xml"));
    EXPECT_TRUE(broken->hasError());
    EXPECT_NE(messages.text.find("broken.xml': " + vnText(broken->getError())), std::string::npos);
}

TEST_F(vnXmlInclude, ReachesNothingInTheProcess)
{
    for (const char* url :
         {"mem:94000000000000,64", "ADAPT:94000000000000", "con:", "pipe:x", "psrv:x",
          "rand:mem:94000000000000,64", "zip:{mem:94000000000000,64},x", "cache:0,9,mem:94000000000000,64",
          "mecache:0,9,m:94000000000000,64", "cache:0,9,mcache:1,2,ecache:3,4,m:94000000000000,64",
          "mecache:0,8cache:,m:94000000000000,8", "rand:cache:0,9,rand:adapt:94000000000000"})
    {
        const Messages messages;
        file("main.xml", std::string("<a><?include ") + url + "?></a>");
        EXPECT_EQ(read("main.xml"), "a");
        EXPECT_NE(messages.text.find("A URL from outside may not reach '"), std::string::npos) << url;
    }
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    file("main.xml", "<a><?include fifo?></a>");
    EXPECT_EQ(read("main.xml"), "a");
    file("item:1", "<fine/>");
    file("main.xml", "<a><?include file:" + (folder / "item:1").string() + "?></a>");
    EXPECT_EQ(read("main.xml"), "a(file:" + (folder / "item:1").string() + "(fine))");
}

TEST_F(vnXmlInclude, EndsWhereDocumentsIncludeOneAnother)
{
    file("a.xml", "<a><?include b.xml?><?include b.xml?></a>");
    file("b.xml", "<b><?include a.xml?><?include a.xml?></b>");
    vnXmlDom document;
    read(document, "a.xml");
    EXPECT_EQ(vnText(document.getError()),
              "Too deep nesting of included XML documents (file:" + (folder / "b.xml").string() + ")");
    document.setMaxIncludeDepth(0);
    for (const char* name : {"b.xml?own=1", "b.xml"})
    {
        file("a.xml", std::string("<a><?include ") + name + "?></a>");
        read(document, "a.xml?token=1"); // which is for its parts as well that have none
        EXPECT_EQ(vnText(document.getError()), "Too deep nesting of included XML documents (file:" +
                                                   (folder / (name[5] ? name : "b.xml?token=1")).string() +
                                                   ")");
    }
    file("a.xml", "<a><?include b.xml?><?include b.xml?></a>");
    document.setMaxIncludeDepth(1);
    file("b.xml", "<b/>");
    EXPECT_EQ(read(document, "a.xml"), "a(b.xml(b)b.xml(b))");
    EXPECT_EQ(vnText(document.getError()), "");
    file("b.xml", "<b><?include c.xml?></b>");
    file("c.xml", "<c/>");
    for (const unsigned int depth : {0, 1, 2}) // which the included documents have as well
    {
        document.setMaxIncludeDepth(depth);
        read(document, "a.xml");
        EXPECT_EQ(document.hasError(), depth < 2) << depth;
    }
}

TEST_F(vnXmlInclude, CountsIncludedDocumentsInTheLimits)
{
    file("main.xml", "<a><b><?include part.xml?></b><?include part.xml?></a>");
    file("part.xml", "<p><q/></p>");
    vnXmlDom document;
    document.setMaxElementDepth(3);
    EXPECT_EQ(read(document, "main.xml"), "a(b(part.xml(p))part.xml(p(q)))");
    document.setMaxElementDepth(4);
    const unsigned int size = 54 + 2 * (11 + 8192); // for the memory that each document takes
    document.setMaxDocumentSize(size + 1);
    EXPECT_EQ(read(document, "main.xml"), "a(b(part.xml(p(q)))part.xml(p(q)))");
    EXPECT_EQ(document.getMaxDocumentSize(), size + 1);
    // The end of the document may be read before its size is looked at.
    for (const unsigned int limit : {1u, 25u, 53u, 8192u, 8220u, 8230u, 8240u, 16384u, size - 9})
    {
        document.setMaxDocumentSize(limit);
        read(document, "main.xml");
        EXPECT_EQ(vnText(document.getError()), "Too large XML data") << limit;
        EXPECT_EQ(document.getMaxDocumentSize(), limit);
    }
    const std::string held = "rand:" + (folder / "part.xml").string();
    file("main.xml", "<a><?include " + held + "?></a>");
    const unsigned int heldSize = 19 + static_cast<unsigned int>(held.size()) + 11 + 8192 + 11; // twice
    document.setMaxDocumentSize(heldSize - 9);
    read(document, "main.xml");
    EXPECT_TRUE(document.hasError());
    document.setMaxDocumentSize(heldSize + 1);
    EXPECT_EQ(read(document, "main.xml"), "a(" + held + "(p(q)))");
    // Documents without end that are not deep: each but the last includes the next twice.
    for (int i = 0; i < 30; ++i)
        file(std::to_string(i) + ".xml", "<a><?include " + std::to_string(i + 1) + ".xml?><?include " +
                                             std::to_string(i + 1) + ".xml?></a>");
    file("30.xml", "<a/>");
    document.setMaxElementDepth(100);
    document.setMaxDocumentSize(1 << 20);
    read(document, "0.xml");
    EXPECT_EQ(vnText(document.getError()), "Too large XML data");
}

TEST_F(vnXmlInclude, HandsOnTheSettingsThatAreToldAndNoOthers)
{
    file("main.xml", "<a> 1 &amp; 2<?include part.xml?></a>");
    file("part.xml", "<p> 1 &amp; 2</p>");
    vnXmlDom document;
    document.setSkipWhiteSpaceCharData(0);
    document.setMergeStandardReferences(0);
    EXPECT_EQ(read(document, "main.xml"), "a(' 1 '&amp;' 2'part.xml(p('1&2')))");
    EXPECT_FALSE(dynamic_cast<vnXmlDom&>(*document.findItem("a/part.xml")).isUsingProgress());
    EXPECT_TRUE(vnXmlDom().isUsingProgress());
}
