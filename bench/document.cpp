// SPDX-License-Identifier: MIT
// XML documents as trees. All peers read the whole document from memory; with white space kept, but for the
// case of ours that says otherwise.
#include "bench.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnXmlDom.h>

#ifdef HAVE_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/xpath.h>
#endif
#ifdef HAVE_POCOXML
#include <Poco/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#endif
#ifdef HAVE_QTXML
#include <QDomDocument>
#endif

using namespace bench;

namespace
{
// What each of the libraries is to do. A case is a document of one library.
struct Case
{
    std::string name;
    Role role;
    std::function<void(const std::string& text)> parse;
    std::function<std::uint64_t()> countElements; // by a walk through all
    std::function<std::uint64_t(const char* path)> find;
    std::function<void()> clear;
};

std::uint64_t hashOf(const char* text)
{
    std::uint64_t hash = 7;
    for (; text && *text; ++text)
        hash = hash * 31 + static_cast<unsigned char>(*text);
    return hash;
}

// Paths are written without what stands for the document itself.
Case ourCase(const char* name, bool skipsBlanks)
{
    const auto document = std::make_shared<vnRefPointer<vnXmlDom>>();
    Case one{name, ours, nullptr, nullptr, nullptr, [document] { *document = nullptr; }};
    one.parse = [document, skipsBlanks](const std::string& text)
    {
        *document = new vnXmlDom;
        (*document)->setSkipWhiteSpaceCharData(skipsBlanks);
        const vnRefPointer<vnSerializeAdapter> adapter(new vnSerializeAdapterMemory(
            const_cast<char*>(text.data()), static_cast<unsigned int>(text.size()))); // only read
        (*document)->read(adapter);
    };
    one.countElements = [document]
    {
        std::uint64_t count = 0;
        (*document)->resetAllChildIterators();
        vnXMLDomIterator next(**document);
        while (vnXmlItem* item = next())
            count += item->getType() == vnXmlElement::getClassType();
        return count;
    };
    one.find = [document](const char* path)
    {
        vnXmlItem* found = (*document)->findItem(path);
        auto* text = found ? dynamic_cast<vnXmlCharData*>(found->getNextChild()) : nullptr;
        if (found)
            found->resetChildIterator();
        return hashOf(text ? text->getData().getString() : nullptr);
    };
    return one;
}

#ifdef HAVE_PUGIXML
std::uint64_t walk(const pugi::xml_node& node)
{
    std::uint64_t count = node.type() == pugi::node_element;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
        count += walk(child);
    return count;
}
Case pugiCase()
{
    const auto document = std::make_shared<pugi::xml_document>();
    Case one{"pugixml", peer, nullptr, nullptr, nullptr, [document] { document->reset(); }};
    one.parse = [document](const std::string& text)
    { document->load_buffer(text.data(), text.size(), pugi::parse_full); };
    one.countElements = [document] { return walk(*document); };
    one.find = [document](const char* path)
    { return hashOf(document->select_node(path).node().text().get()); };
    return one;
}
#endif

#ifdef HAVE_LIBXML2
std::uint64_t walk(const xmlNode* node)
{
    std::uint64_t count = 0;
    for (; node; node = node->next)
        count += (node->type == XML_ELEMENT_NODE) + walk(node->children);
    return count;
}
Case xml2Case()
{
    const auto document = std::make_shared<xmlDocPtr>();
    Case one{"libxml2", peer, nullptr, nullptr, nullptr, nullptr};
    one.clear = [document]
    {
        if (*document)
            xmlFreeDoc(*document);
        *document = nullptr;
    };
    one.parse = [document](const std::string& text)
    { *document = xmlReadMemory(text.data(), static_cast<int>(text.size()), "", nullptr, XML_PARSE_HUGE); };
    one.countElements = [document] { return walk((*document)->children); };
    one.find = [document](const char* path)
    {
        xmlXPathContextPtr context = xmlXPathNewContext(*document);
        xmlXPathObjectPtr found = xmlXPathEval(reinterpret_cast<const xmlChar*>(path), context);
        xmlChar* text = found && found->nodesetval && found->nodesetval->nodeNr
                            ? xmlNodeGetContent(found->nodesetval->nodeTab[0])
                            : nullptr;
        const std::uint64_t hash = hashOf(reinterpret_cast<const char*>(text));
        xmlFree(text);
        xmlXPathFreeObject(found);
        xmlXPathFreeContext(context);
        return hash;
    };
    return one;
}
#endif

#ifdef HAVE_POCOXML
std::uint64_t walk(const Poco::XML::Node* node)
{
    std::uint64_t count = node->nodeType() == Poco::XML::Node::ELEMENT_NODE;
    for (const Poco::XML::Node* child = node->firstChild(); child; child = child->nextSibling())
        count += walk(child);
    return count;
}
Case pocoCase()
{
    const auto document = std::make_shared<Poco::AutoPtr<Poco::XML::Document>>();
    Case one{"Poco DOMParser", kit, nullptr, nullptr, nullptr, [document] { *document = nullptr; }};
    one.parse = [document](const std::string& text)
    {
        Poco::XML::DOMParser parser;
        parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
        *document = parser.parseMemory(text.data(), text.size());
    };
    one.countElements = [document] { return walk(document->get()); };
    one.find = [document](const char* path)
    {
        const Poco::XML::Node* found = (*document)->getNodeByPath(path);
        return hashOf(found ? found->innerText().c_str() : nullptr);
    };
    return one;
}
#endif

#ifdef HAVE_QTXML
std::uint64_t walk(const QDomNode& node)
{
    std::uint64_t count = node.isElement();
    for (QDomNode child = node.firstChild(); !child.isNull(); child = child.nextSibling())
        count += walk(child);
    return count;
}
Case qtCase()
{
    const auto document = std::make_shared<QDomDocument>();
    Case one{"QDomDocument", kit, nullptr, nullptr, nullptr, [document] { *document = QDomDocument(); }};
    one.parse = [document](const std::string& text)
    { document->setContent(QByteArray::fromRawData(text.data(), static_cast<int>(text.size())), false); };
    one.countElements = [document] { return walk(*document); };
    return one;
}
#endif

std::vector<Case> makeCases()
{
    std::vector<Case> cases;
#ifdef HAVE_PUGIXML
    cases.push_back(pugiCase());
#endif
#ifdef HAVE_LIBXML2
    xmlInitParser();
    cases.push_back(xml2Case());
#endif
#ifdef HAVE_POCOXML
    cases.push_back(pocoCase());
#endif
#ifdef HAVE_QTXML
    cases.push_back(qtCase());
#endif
    cases.push_back(ourCase("vnXmlDom", true));
    cases.push_back(ourCase("vnXmlDom, white space kept", false));
    return cases;
}

// A path with the place of the last record but a few. Poco counts places from 0.
void addPaths(Suite& suite, const std::vector<Case>& cases, std::uint64_t records)
{
    const std::uint64_t place = records - records / 20;
    const std::string byPlace = "catalogue/item[" + std::to_string(place) + "]/title";
    const std::string byPlaceFromZero = "catalogue/item[" + std::to_string(place - 1) + "]/title";
    const std::string id = "item[@id='i" + std::to_string(place - 1) + "']/title";
    Group& places = suite.group("a path by place", nsPerOp, 1).sameCheck().rounds(9);
    Group& attributes = suite.group("a path by attribute", nsPerOp, 1).sameCheck().rounds(9);
    Group& depths = suite.group("a path at any depth, by attribute", nsPerOp, 1).sameCheck().rounds(9);
    for (const Case& one : cases)
    {
        if (!one.find)
            continue;
        const bool isOurs = one.role == ours;
        const bool isPoco = one.role == kit;
        const std::string top = isOurs ? "" : "/";
        places.add(one.name, one.role,
                   [&one, path = top + (isPoco ? byPlaceFromZero : byPlace)]
                   { return one.find(path.c_str()); });
        attributes.add(one.name, one.role,
                       [&one, path = top + "catalogue/" + id] { return one.find(path.c_str()); });
        depths.add(one.name, one.role, [&one, path = "//" + id] { return one.find(path.c_str()); });
    }
    suite.run();
}
} // namespace

int main(int argc, char** argv)
{
    Suite suite("s.document", argc, argv);
    const std::string big = readAll(suite.getDataDir() + "/big.xml");
    const std::string small = readAll(suite.getDataDir() + "/small.xml");
    const std::vector<Case> cases = makeCases();
    const auto size = static_cast<double>(big.size());
    std::uint64_t records = 0;
    for (std::size_t at = 0; (at = big.find("<item ", at)) != std::string::npos; ++at)
        ++records;
    for (const Case& one : cases)
    {
        const std::uint64_t before = heapBytes();
        one.parse(big);
        suite.record("heap bytes per byte of XML", one.name, one.role,
                     static_cast<double>(heapBytes() - before) / size, bytesEach);
    }
    addPaths(suite, cases, records);
    Group& walks = suite.group("walk all nodes", nsPerOp, static_cast<double>(cases.back().countElements()));
    walks.sameCheck();
    for (const Case& one : cases)
        walks.add(one.name, one.role, one.countElements);
    suite.run();
    for (const Case& one : cases)
        one.clear();
    const auto clearAll = [&cases]
    {
        for (const Case& one : cases)
            one.clear();
    };
    const int times = suite.scaled(1000);
    Group& parse = suite.group("20 MB: parse", mbPerSecond, size).rounds(5).freshHeap();
    Group& parseAndFree = suite.group("20 MB: parse and free", mbPerSecond, size).rounds(5).freshHeap();
    Group& parseSmall =
        suite.group("20 KB: parse and free", mbPerSecond, static_cast<double>(small.size()) * times);
    for (const Case& one : cases)
    {
        parse.add(
            one.name, one.role, [&] { return one.parse(big), 0; }, clearAll);
        parseAndFree.add(
            one.name, one.role, [&] { return one.parse(big), one.clear(), 0; }, clearAll);
        parseSmall.add(
            one.name, one.role,
            [&one, &small, times]
            {
                for (int i = 0; i < times; ++i)
                {
                    one.parse(small);
                    one.clear();
                }
                return 0;
            },
            clearAll);
    }
    suite.run();
    return suite.getResult();
}
