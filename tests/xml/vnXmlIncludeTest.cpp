// SPDX-License-Identifier: MIT
#include "vnXmlShape.h"

#include <vnBase/vnMessage.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace
{
struct LastMessage : vnMessageReceiverInterface
{
    LastMessage() { vnMessage::addMessageReceiver(this); }
    ~LastMessage() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
    void onMessage(const vnString&, vnMessageLevel, const char* message) override { text = message; }
    std::string text;
};

class vnXmlInclude : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "vnXmlIncludeXXXXXX").string();
        folder = mkdtemp(pattern.data());
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    void file(const std::string& name, const std::string& text)
    {
        std::filesystem::create_directories((folder / name).parent_path());
        std::ofstream(folder / name, std::ios::binary) << text;
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

    std::filesystem::path folder;
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
    const LastMessage message;
    EXPECT_EQ(read("main.xml"), "a('12')");
    EXPECT_NE(message.text.find("missing.xml"), std::string::npos);
    file("broken.xml", "<b><c></b>");
    file("main.xml", "<a><?include broken.xml?>2</a>");
    vnXmlDom document;
    EXPECT_EQ(read(document, "main.xml"), "a(broken.xml(b(c))'2')");
    EXPECT_TRUE(dynamic_cast<vnXmlDom*>(document.findItem("a/broken.xml"))->hasError());
}

TEST_F(vnXmlInclude, ReachesNothingInTheProcess)
{
    for (const char* url :
         {"mem:94000000000000,64", "ADAPT:94000000000000", "con:", "pipe:x", "psrv:x",
          "rand:mem:94000000000000,64", "zip:{mem:94000000000000,64},x", "cache:0,9,mem:94000000000000,64",
          "mecache:0,9,m:94000000000000,64", "cache:0,9,mcache:1,2,ecache:3,4,m:94000000000000,64",
          "meCache:0,-1,m:94000000000000,64", "rand:cache:0,9,rand:adapt:94000000000000"})
    {
        const LastMessage message;
        file("main.xml", std::string("<a><?include ") + url + "?></a>");
        EXPECT_EQ(read("main.xml"), "a");
        EXPECT_EQ(message.text, std::string("An XML document may not include '") + url + "'");
    }
    file("falcon:x.xml", "<fine/>"); // no scheme of those
    file("item:1", "<fine/>");
    file("main.xml", "<a><?include file:" + (folder / "item:1").string() + "?></a>");
    vnXmlDom document;
    read(document, "main.xml");
    EXPECT_NE(document.findItem("//fine"), nullptr);
    // A document in memory has no place that anything could be relative to.
    std::string inner = "<b/>";
    const vnRefPointer<vnSerializeAdapter> memory(vnSerializeAdapter::getURLAdapter(
        vnString::formatString("mem:%llu,%u", reinterpret_cast<unsigned long long>(inner.data()), 4u),
        VN_SERIALIZE_INPUT));
    document.read(memory);
    EXPECT_EQ(vnShapeOf(document), "b");
}

TEST_F(vnXmlInclude, EndsWhereDocumentsIncludeOneAnother)
{
    file("a.xml", "<a><?include b.xml?><?include b.xml?></a>");
    file("b.xml", "<b><?include a.xml?><?include a.xml?></b>");
    vnXmlDom document;
    read(document, "a.xml");
    EXPECT_EQ(vnText(document.getError()),
              "Too deep nesting of included XML documents (file:" + (folder / "b.xml").string() + ")");
    document.setMaxIncludeDepth(1);
    file("b.xml", "<b/>");
    EXPECT_EQ(read(document, "a.xml"), "a(b.xml(b)b.xml(b))");
    document.setMaxIncludeDepth(0);
    EXPECT_EQ(vnText(document.getError()), "");
    read(document, "a.xml");
    EXPECT_TRUE(document.hasError());
}

TEST_F(vnXmlInclude, CountsIncludedDocumentsInTheLimits)
{
    file("main.xml", "<a><b><?include part.xml?></b><?include part.xml?></a>");
    file("part.xml", "<p><q/></p>");
    vnXmlDom document;
    document.setMaxElementDepth(3);
    EXPECT_EQ(read(document, "main.xml"), "a(b(part.xml(p))part.xml(p(q)))");
    document.setMaxElementDepth(4);
    const unsigned int size = 54 + 2 * 11;
    document.setMaxDocumentSize(size + 1);
    EXPECT_EQ(read(document, "main.xml"), "a(b(part.xml(p(q)))part.xml(p(q)))");
    EXPECT_EQ(document.getMaxDocumentSize(), size + 1);
    // The end of the document may be read before its size is looked at.
    for (unsigned int limit = 1; limit < size - 8; ++limit)
    {
        document.setMaxDocumentSize(limit);
        read(document, "main.xml");
        EXPECT_EQ(vnText(document.getError()), "Too large XML data") << limit;
        EXPECT_EQ(document.getMaxDocumentSize(), limit);
    }
}
