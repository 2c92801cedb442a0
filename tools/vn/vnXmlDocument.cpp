// SPDX-License-Identifier: MIT
#include "vnXmlDocument.h"

#include "vnInput.h"
#include "vnTool.h"

#include <vnBase/vnXmlDom.h>

namespace
{
constexpr unsigned int maxSize = 1u << 30; // tokens of a document with those that it includes
constexpr unsigned int maxIdleNotifications = 1000;

// Hands on what is written to standard output.
class ResultAdapter : public vnSerializeAdapter
{
protected:
    void write_imp(unsigned char* data, unsigned int count) override { vnWriteResult(data, count); }
    void write_imp(unsigned char byte) override { vnWriteResult(&byte, 1); }
    unsigned char read_imp() override { return 0; }
};

// Writes one item, without a declaration. An included document that was asked for is not its instruction.
class ItemWriter : public vnXmlSax
{
public:
    explicit ItemWriter(vnXmlItem& item) : m_item(item)
    {
        setEncoding("none");
        if (auto* included = dynamic_cast<vnXmlDom*>(&item))
            included->setWriteIncludedXml(1);
    }
    void onWrite() override
    {
        setEncoding(encodingOf(&m_item)); // texts are fit in the encoding they were read in
        m_item.write(this);
    }

private:
    static vnString encodingOf(vnXmlItem* item)
    {
        for (; item; item = item->getParent())
            if (const auto* document = dynamic_cast<vnXmlDom*>(item))
                return document->isReadWide() ? vnString("none") : document->getEncoding();
        return "none";
    }

    vnXmlItem& m_item;
};

std::string placeOf(const vnXmlSax& sax)
{
    return "line " + std::to_string(sax.getLine() + 1u) + ", column " + std::to_string(sax.getColumn() + 1u) +
           ": " + sax.getError().getString();
}

// Where a writer stands.
std::string elementOf(vnXmlSax& sax)
{
    const unsigned int level = sax.getCurrentElementLevel();
    if (level == 0)
        return "outside of the root";
    return "element '" + std::string(sax.getCurrentElementName().getString()) + "' at level " +
           std::to_string(level);
}

// The documents that are included are items of the tree.
void checkDocuments(vnXmlDom& document)
{
    document.resetAllChildIterators();
    vnXMLDomIterator next(document);
    while (vnXmlItem* item = next())
    {
        const std::string name = item->getName().getString();
        if (auto* included = dynamic_cast<vnXmlDom*>(item); included && included->hasError())
            throw vnFailure(name + ": " + placeOf(*included));
        if (auto* object = dynamic_cast<vnXmlObject*>(item); object && !object->getObject())
            throw vnFailure("the class of the object '" + name + "' is not known");
    }
    if (document.hasError())
        throw vnFailure(placeOf(document));
}

void write(vnXmlSax& sax)
{
    const vnAdapter results(new ResultAdapter);
    sax.write(results);
    if (sax.hasError())
        throw vnFailure(elementOf(sax) + ": " + sax.getError().getString());
    vnWriteLine("");
}
} // namespace

void vnShowXmlDocument(const std::string& url, const std::string& path, bool readsIncluded)
{
    const vnRefPointer<vnXmlDom> document(new vnXmlDom);
    document->setReadIncludedXml(readsIncluded);
    document->setMaxDocumentSize(maxSize);
    document->setMaxIdleNotifications(maxIdleNotifications);
    vnAdapter source = vnOpenURL(url, VN_SERIALIZE_INPUT);
    document->read(source);
    vnCheckError(source);
    checkDocuments(*document);
    vnXmlItem* const item = path.empty() ? document.get() : document->findItem(path.c_str());
    if (!item)
        throw vnFailure("no item at " + path);
    if (item == document.get())
        return write(*document);
    ItemWriter writer(*item);
    write(writer);
}
