// SPDX-License-Identifier: MIT
#include "../messages/vnMessageRecorder.h"
#include "vnXmlShape.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace
{
constexpr const char* library =
    "<library>"
    "<shelf><cup/></shelf>"
    "<shelf n=''><book id='1'>A<part id='p1'/></book>"
    "<book id='7' lang='en'>B<part id='p2'/><part id='p3'/></book>"
    "<book id='7'>C</book></shelf>"
    "<shelf n='x'><box><book id='9'><book id='10'><last/></book></book></box></shelf>"
    "<!--c--><![CDATA[d]]></library>";

std::string find(vnXmlItem& from, const char* path)
{
    vnXmlItem* found = from.findItem(path);
    return found ? vnShape(*found) : "none";
}

// A class that says who asked it, for the operations that call what is overridden.
class Foreign : public vnXmlElement
{
public:
    explicit Foreign(std::string& calls) : vnXmlElement("foreign"), m_calls(calls) {}
    void write(vnXmlSax* sax) override
    {
        m_calls += "write ";
        sax->writeComment("foreign");
    }
    vnXmlItem* findItem(const vnString& path) override
    {
        m_calls += "find(" + vnText(path) + ") ";
        return path == "secret" ? this : nullptr;
    }
    void addItem(const vnString& path, vnXmlItem* item) override
    {
        m_calls += "add(" + vnText(path) + ") ";
        addChild(item);
    }
    vnString asString(vnXmlStringFlags) override { return "text of its own"; }
    void debugOutputTraverse(vnString base, vnString anchor, vnDebugFlags) override
    {
        m_calls += "debug(" + vnText(base) + "," + vnText(anchor) + ") ";
    }

private:
    std::string& m_calls;
};

} // namespace

TEST(vnXmlItem, FindsWhatAPathNames)
{
    vnXmlDom document;
    vnReadText(document, library);
    const std::pair<const char*, const char*> rows[] = {
        {"library/shelf/cup", "cup"},
        {"library/shelf/book/part", "part[id=p1]"},
        {"library/shelf/book[2]/part", "part[id=p2]"}, // in the first shelf that has one
        {"library/shelf/book[2]/part[2]", "part[id=p3]"},
        {"library/shelf[1]/book", "none"}, // an index is not tried further
        {"library/shelf/book[4]", "none"},
        {"library/shelf/book[last()]", "book[id=7]('C')"},
        {"library/shelf/book[last()-1]", "book[id=7][lang=en]('B'part[id=p2]part[id=p3])"},
        {"library/shelf/book[0]/part", "part[id=p1]"},
        {"library/shelf/book[@id='7']/<char_data>", "'B'"},
        {"library/shelf/book[@id=\"7\"]/<char_data>", "'B'"},
        {"library/shelf/book[@id=1]/<char_data>", "'A'"},
        {"library/shelf/book[@lang]/<char_data>", "'B'"},
        {"library/shelf[@n]/box/book/book", "book[id=10](last)"}, // the empty one does not count
        {"library/shelf/book[@id='8']", "none"},
        {"library/shelf/book[@no]", "none"},
        {"library/shelf/book[@no='']", "none"}, // what is not there equals nothing
        {"library/<comment>", "!c!"},
        {"library/<cdata>", "{d}"},
        {" library / shelf [2]/ book ", "book[id=1]('A'part[id=p1])"},
        {"library/shelf[2] /book", "none"}, // no bracket at the end
        {"library/shelf/cup/", "cup"},
        {"//cup", "cup"},
        {"//part", "part[id=p1]"},
        {"//book[3]", "book[id=7]('C')"},
        {"//shelf/box", "box(book[id=9](book[id=10](last)))"},
        {"//book/last", "none"}, // meant: a book is not looked into for further books
        {"//book[@id='9']/book/last", "last"},
        {"//box//last", "none"}, // "/last" is a name
        {"//box///last", "last"},
        {"/library", "none"},
        {"shelf", "none"},
        {"", "none"},
        {"library/shelf/cup]", "none"},
        {"library/shelf/cup[", "none"},
        {"./library", "none"},
    };
    for (const auto& [path, found] : rows)
        EXPECT_EQ(find(document, path), found) << path;

    vnXmlItem* cup = document.findItem("//cup");
    EXPECT_EQ(cup->findItem("."), cup);
    EXPECT_EQ(cup->findItem(".."), cup->getParent());
    EXPECT_EQ(document.findItem("library/shelf/cup/.."), cup->getParent());
    EXPECT_EQ(document.findItem(".."), nullptr);
    EXPECT_EQ(find(*cup->getParent()->getParent(), "shelf[2]/book[2]/part[1]"), "part[id=p2]");
}

TEST(vnXmlItem, MakesTheElementsOfAPath)
{
    vnXmlDom document;
    const auto add = [&document](const char* path, const char* text)
    { document.addItem(path, new vnXmlCharData(text)); };
    add("a/b[3]", "1"); // one b, whatever the index
    EXPECT_EQ(vnShapeOf(document), "a(b('1'))");
    add("a/b", "2");
    add("a/b[last()]", "3");
    add("a/b[last()+1]", "4"); // one more than there are
    add("a/b[@id='x']", "5");
    add("a/b[2]", "6");
    add("//c/.", "7"); // here these are names
    EXPECT_EQ(vnShapeOf(document), "a(b('1''2''3')b('4''6')b('5'))c(.('7'))");
    document.addItem("a/d", nullptr);
    EXPECT_EQ(find(document, "a/d"), "d");
}

TEST(vnXmlItem, HasEachItemInOnePlace)
{
    const vnRefPointer<vnXmlElement> first(new vnXmlElement("first")), second(new vnXmlElement("second"));
    const vnRefPointer<vnXmlElement> child(new vnXmlElement("child"));
    first->addChild(child);
    second->addChild(child);
    second->addChild(nullptr);
    child->addChild(first); // a circle
    first->addChild(first);
    EXPECT_EQ(vnShape(*first), "first(child)");
    EXPECT_EQ(second->childEntries(), 0u);
    second->removeChild(child); // of another parent
    EXPECT_EQ(child->getParent(), first);
    first->removeChild(child);
    EXPECT_EQ(child->getParent(), nullptr);
    second->addChild(child);
    EXPECT_EQ(vnShape(*second), "second(child)");
    EXPECT_EQ(child->getRef(), 2u);
}

TEST(vnXmlItem, WalksItsChildrenAlsoWhileTheyAreRemoved)
{
    const vnRefPointer<vnXmlElement> parent(new vnXmlElement("p"));
    std::vector<vnXmlItem*> items;
    for (const char* name : {"a", "b", "c", "d", "e"})
    {
        items.push_back(new vnXmlElement(name));
        parent->addChild(items.back());
    }
    EXPECT_EQ(parent->getNextChild(), items[0]);
    parent->removeChild(items[0]); // the current one, at the front
    EXPECT_EQ(parent->getNextChild(), items[1]);
    EXPECT_EQ(parent->getNextChild(), items[2]);
    parent->removeChild(items[2]); // the current one
    parent->removeChild(items[1]); // one before it
    EXPECT_EQ(parent->getNextChild(), items[3]);
    parent->removeChild(items[4]); // one behind it, the last
    EXPECT_EQ(parent->getNextChild(), nullptr);
    EXPECT_EQ(parent->getNextChild(), nullptr);
    EXPECT_EQ(vnShape(*parent), "p(d)");
    EXPECT_EQ(parent->getNextChild(), items[3]);
    parent->addChild(items[3]); // refused, and resets
    EXPECT_EQ(parent->getNextChild(), items[3]);
    parent->removeChildren();
    EXPECT_EQ(parent->getNextChild(), nullptr);
    EXPECT_EQ(parent->childEntries(), 0u);
}

TEST(vnXmlItem, KeepsAttributesInOrderInBothForms)
{
    for (const bool asList : {false, true})
    {
        const vnRefPointer<vnXmlElement> element(new vnXmlElement("e"));
        element->setAttribute("id", "%d-%s", 7, "x");
        EXPECT_EQ(asList ? element->getAttributeList().getCount() : 1u, 1u);
        element->setAttribute("a", "one");
        element->setAttribute("a", "two"); // a second one, not a new value
        element->setAttribute("half", "50%%");
        element->setAttribute("empty", "");
        EXPECT_EQ(vnShape(*element), "e[id=7-x][a=one][a=two][half=50%][empty=]");
        EXPECT_EQ(element->getAttribute("a"), "one");
        EXPECT_EQ(element->getAttribute("no", "default"), "default");
        EXPECT_EQ(element->getAttribute("empty", "default"), "");
        EXPECT_EQ(element->hasAttribute("empty"), 1);
        EXPECT_EQ(element->hasAttribute("i"), 0);
        vnString name, value;
        EXPECT_EQ(element->getNextAttribute(name, value), 1);
        element->removeAttribute("a");
        element->removeAttribute("no");
        EXPECT_EQ(vnShape(*element), "e[id=7-x][a=two][half=50%][empty=]");
        for (const char* each : {"id", "empty", "half", "a"})
            element->removeAttribute(each);
        EXPECT_EQ(vnShape(*element), "e");
    }
}

TEST(vnXmlItem, HoldsAttributesOfAnySize)
{
    const vnRefPointer<vnXmlElement> element(new vnXmlElement("e"));
    std::vector<std::pair<std::string, std::string>> expected;
    for (std::size_t i = 0; i < 300; ++i)
    {
        expected.emplace_back("n" + std::to_string(i), std::string(i == 200 ? 65535 : i * 7 % 90, 'v'));
        element->setAttribute(expected.back().first.c_str(), expected.back().second.c_str());
    }
    element->setAttribute(vnString("a\0b", 3), vnString("c\0d", 3));
    EXPECT_EQ(element->getAttribute(vnString("a\0b", 3)).length(), 3);
    EXPECT_EQ(element->hasAttribute("a"), 0);
    const auto compare = [&]
    {
        vnString name, value;
        for (const auto& [wantedName, wantedValue] : expected)
        {
            ASSERT_EQ(element->getNextAttribute(name, value), 1);
            EXPECT_EQ(vnText(name), wantedName);
            EXPECT_EQ(vnText(value), wantedValue);
        }
    };
    compare();
    EXPECT_EQ(element->getAttributeList().getCount(), 301u);
    compare();
    element->getAttributeList().append(nullptr); // the list is its user's
    element->getAttributeList().removeHead();
    EXPECT_EQ(element->hasAttribute("n0"), 0);
    EXPECT_EQ(element->getAttribute("n1"), vnString::spaces(7, 'v'));
}

TEST(vnXmlItem, ShowsItselfAsText)
{
    vnXmlDom document;
    document.setReadIncludedXml(0);
    vnReadText(document, "<a x='1' y='2'>t<b/><c>u</c><!--k--><?p q?>&e;<![CDATA[d]]></a>");
    vnXmlItem& a = *document.findItem("a");
    const std::pair<unsigned int, const char*> rows[] = {
        {0, ""},
        {1, "vnXmlElement"},
        {2, "a"},
        {7, "vnXmlElement a x=1 y=2"},
        {8, ""},
        {8 + 16, ""}, // no braces around nothing
        {2 + 8, "a <char_data> b c <char_data> <comment> <pi> <entity_ref> <cdata>"},
        {2 + 8 + 16, "a {<char_data> b c {<char_data>} <comment> <pi> <entity_ref> <cdata>}"},
        {8 + 64, "t u k p q e d"},
        {8 + 16 + 64, "{t {u} k p q e d}"},
        {4 + 8 + 16 + 32 + 64, "x=1 y=2 {CharData:t {CharData:u} Comment:k Target:p Data:q Name:e CDATA:d}"},
    };
    for (const auto& [flags, text] : rows)
        EXPECT_EQ(vnText(a.asString(static_cast<vnXmlStringFlags>(flags))), text) << flags;
    const vnRefPointer<vnXmlObject> nothing(new vnXmlObject(nullptr, "o"));
    EXPECT_EQ(nothing->asString(VN_XML_STRING_NAME | VN_XML_STRING_LABEL | VN_XML_STRING_DATA),
              "o vnObject:NULL");
    const vnRefPointer<vnXmlElement> large(new vnXmlElement("l"));
    for (int i = 0; i < 3; ++i)
        large->addChild(new vnXmlCharData(vnString::spaces(30001, 'y')));
    EXPECT_EQ(large->asString(VN_XML_STRING_CHILDREN | VN_XML_STRING_DATA).length(), 65535);
    const vnRefPointer<vnXmlCustomData> custom(new vnXmlCustomData("c", nothing));
    EXPECT_EQ(custom->asString(VN_XML_STRING_LABEL | VN_XML_STRING_DATA), "Custom:vnXmlObject");
    custom->setAttribute("two", "xx"); // so that the limit is in the middle of a character
    for (unsigned int i = 0; i < 100000; ++i)
        custom->setAttribute("n", "\xC3\xA9");
    EXPECT_EQ(custom->asString(VN_XML_STRING_ATTRIBUTES).length(), 65534);
}

TEST(vnXmlItem, DescribesATreeInDebugLines)
{
    vnXmlDom document;
    vnReadText(document, "<a x='1'>t<b><!--k--></b></a>");
    std::string calls;
    document.findItem("a")->addChild(new Foreign(calls));
    std::string lines;
    const Recorder restoring; // of the level
    const Caller caller([&lines](vnMessageLevel, const char* line) { lines += std::string(line) + "\n"; });
    vnMessage::setMessageLevel(VN_MESSAGE_DEBUG);
    document.findItem("a")->debugOutputTraverse("base ", "", 0);
    EXPECT_EQ(lines, "base (vnXmlElement):a\n"
                     "+-Attribute count:1\n"
                     "+-['x'='1']\n"
                     "+-Children count:3\n"
                     "+-(vnXmlCharData):<char_data>\n"
                     "| +-CharData size:1\n"
                     "| +-[t]\n"
                     "| +-Children count:0\n"
                     "+-(vnXmlElement):b\n"
                     "| +-Attribute count:0\n"
                     "| +-Children count:1\n"
                     "| +-(vnXmlComment):<comment>\n"
                     "| | +-<!-- k -->\n"
                     "| | +-Children count:0\n");
    EXPECT_EQ(calls, "debug(+-,| ) ");
    lines.clear();
    const vnRefPointer<vnXmlElement> others(new vnXmlElement("others"));
    for (vnXmlItem* item : std::initializer_list<vnXmlItem*>{
             new vnXmlPI("t", "d"), new vnXmlEntityReference("e"), new vnXmlCDATA("c"),
             new vnXmlDynamicType(vnDynamicType(vnString("some text")), "v"), new vnXmlObject(nullptr, "o"),
             new vnXmlCustomData("n", nullptr), new vnXmlCustomData("n", others)})
    {
        others->addChild(item);
        item->debugOutput("", "", 0);
    }
    others->removeChildren(); // one of them holds it
    EXPECT_EQ(lines, "(vnXmlPI):<pi>\n+-Target   :t\n+-Data size:1\n+-[d]\n"
                     "(vnXmlEntityReference):<entity_ref>\n+-Name:e\n"
                     "(vnXmlCDATA):<cdata>\n+-CDATA size:1\n+-[c]\n"
                     "(vnXmlDynamicType):v\n+-vnDynamicType:some text\n"
                     "(vnXmlObject):o\n+-vnObject:NULL\n"
                     "(vnXmlCustomData):n\n+-Attribute count:0\n+-Custom Data: NULL\n"
                     "(vnXmlCustomData):n\n+-Attribute count:0\n+-Custom Data: vnXmlElement\n");
}

TEST(vnXmlItem, CallsWhatOtherClassesOverride)
{
    std::string calls;
    vnXmlDom document;
    document.addItem("a/b", new Foreign(calls));
    EXPECT_EQ(find(document, "//foreign/secret"), "foreign");
    EXPECT_EQ(find(document, "a/b/foreign/x/y[2]"), "none");
    EXPECT_EQ(find(document, "//none"), "none");
    document.addItem("a/b/foreign/x", new vnXmlCharData("t"));
    EXPECT_EQ(vnWritten(document), "\n<a>\n\t<b>\n\t\t<!--foreign--></b>\n</a>");
    EXPECT_EQ(document.asString(VN_XML_STRING_CHILDREN | VN_XML_STRING_NAME), "root a b text of its own");
    EXPECT_EQ(calls, "find(secret) find(x/y[2]) find(//none) add(x) write ");
}

TEST(vnXmlItem, GoesThroughTreesOfAnyDepth)
{
    constexpr unsigned int depth = 100000;
    vnRefPointer<vnXmlDom> document(new vnXmlDom);
    vnXmlItem* deepest = document.get();
    for (unsigned int i = 0; i < depth; ++i)
    {
        auto* element = new vnXmlElement("e");
        deepest->addChild(element);
        deepest->addChild(new vnXmlEntityReference("amp"));
        deepest = element;
    }
    deepest->addChild(new vnXmlCharData("deep"));
    deepest->addChild(new vnXmlEntityReference("amp"));
    const vnRefPointer<vnXmlItem> held(deepest);
    document->mergeStandardReferencesAndText();
    EXPECT_EQ(vnShape(*deepest), "e('deep&')");
    EXPECT_EQ(document->findItem("//<char_data>")->getParent(), deepest);
    std::string path = "e";
    for (int i = 1; i < 30000; ++i)
        path += "/e";
    EXPECT_NE(document->findItem(path.c_str()), nullptr);
    document->resetAllChildIterators();
    vnXMLDomIterator next(*document);
    unsigned int count = 0;
    while (next() && ++count <= depth)
        ;
    EXPECT_EQ(count, depth + 1); // the elements and the text come first
    EXPECT_EQ(next.getContext().length(), 65535);
    EXPECT_EQ(document->asString(VN_XML_STRING_CHILDREN | VN_XML_STRING_NAME).length(), 65535);
    document->setPlainOutput(1);
    document->setSkipWhiteSpaceCharData(0);
    EXPECT_EQ(vnWritten(*document).size(), depth * std::string("<e></e>&amp;").size() + 9);
    document = nullptr;
    EXPECT_EQ(held->getParent(), nullptr);
    EXPECT_EQ(vnShape(*held), "e('deep&')"); // what is held stays, with what is below it
    // Items without tags, which only a program can make.
    vnXmlDom untagged;
    vnXmlItem* last = &untagged;
    for (unsigned int i = 0; i < depth; ++i, last = last->findItem("i"))
        last->addChild(new vnXmlItem("i"));
    last->addChild(new vnXmlComment("k"));
    EXPECT_EQ(vnWritten(untagged), "\n<!--k-->");
}

TEST(vnXmlItem, LetsGoOfAllChildrenWhenOneThrows)
{
    class Throwing : public vnXmlElement
    {
    public:
        Throwing() : vnXmlElement("t") {}
        ~Throwing() noexcept(false) override { throw 1; }
    };
    const vnRefPointer<vnXmlElement> last(new vnXmlElement("last"));
    const vnRefPointer<vnXmlElement> parent(new vnXmlElement("p"));
    auto* throwing = new Throwing;
    throwing->addChild(new vnXmlElement("below"));
    parent->addChild(throwing);
    parent->addChild(last);
    EXPECT_THROW(parent->removeChildren(), int);
    EXPECT_EQ(last->getRef(), 1u);
    EXPECT_EQ(parent->childEntries(), 0u);
}
