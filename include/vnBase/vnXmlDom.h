// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnXmlItem.h>
#include <vnBase/vnXmlSax.h>

/// An XML document as a tree of items; it is itself the item on top of the tree, called "root".
///
///     vnRefPointer<vnXmlDom> document(new vnXmlDom);
///     document->read(adapter);
///     if (document->hasError())
///         use(document->getError());
///     vnXmlItem* item = document->findItem("//book[@id='7']/title/<char_data>");
///     if (item && item->isOfType(vnXmlCharData::getClassType()))
///         use(static_cast<vnXmlCharData*>(item)->getData());
///
/// **Reading** replaces the tree; after an error the tree holds what was read before it. Attribute values are
/// decoded: "&amp;" stands for "&", and what comes out is decoded again. Character references and
/// other entities stay as they are. In a text "&amp;" and its like stand for their character, joined with
/// the text around it, and other entities are items of their own. Character references in a text are lost. A
/// "%" in an attribute value begins a directive of a format, which has no arguments: see
/// `vnXmlElement::setAttribute`.
///
/// **Included documents.** `<?include other.xml?>` stands for a document of its own, which becomes an item
/// called "other.xml" and is found relative to the including document. Settings in it ("$(KEY)") are
/// replaced. It is opened with `VN_ADAPTER_UNTRUSTED`: what reaches memory or channels of the process is
/// refused, and `vnSerializeAdapter::setMaxUntrustedSize` bounds what one URL takes into memory, 64 MiB at
/// the start. What cannot be opened is left out, with a message. A fault in an included document is an error
/// of that document alone, which a Warning tells; so is one that nests too deep or makes no progress. What
/// passes the limit of the size, or of documents that include one another, ends the reading of all.
///
/// **Size.** `setMaxDocumentSize` bounds what a document becomes: beside its tokens those of included
/// documents are counted, for each of them 8,192 more and the bytes that "rand:", "cache:" and "zip:" hold of
/// it, and what attribute values grow by as formats.
///
/// **Writing** gives included documents as their instructions, unless `setWriteIncludedXml(1)`. With white
/// space skipped the output is indented, otherwise texts stand exactly as they are.
///
/// Thread-safety: none; a document belongs to one thread at a time.
class VN_BASE_API vnXmlDom : public vnXmlSax, public vnXmlItem
{
public:
    /// How deep documents may include one another at the start.
    static constexpr unsigned int VN_MAX_INCLUDE_DEPTH = 32;

    vnXmlDom();
    ~vnXmlDom() noexcept(false) override;

    VN_TYPE(vnXmlDom)

    /// Both bases have these; the type of a document stands below that of items.
    const char* getTypeName() const { return asItem().getTypeName(); }
    unsigned char isOfType(const vnType* type) const { return asItem().isOfType(type); }
    unsigned char isExactType(const vnType* type) const { return asItem().isExactType(type); }

    /// Reads a document into the tree, in the place of what was there. Null is ignored.
    void read(vnSerializeAdapter* adapter) override;

    /// Writes the document. Null is ignored.
    void write(vnSerializeAdapter* adapter) override;

    /// Writes this document as a part of another one: its tree, or the instruction that includes it. The
    /// other one's `getWriteIncludedXml` was handed on when this one was read.
    void write(vnXmlSax* sax) override;

    /// Without the white space around texts, and without texts that are nothing else. On at the start.
    unsigned char getSkipWhiteSpaceCharData() const noexcept { return m_skipWhiteSpaceCharData; }
    void setSkipWhiteSpaceCharData(unsigned char skip) noexcept { m_skipWhiteSpaceCharData = skip; }

    /// Off at the start.
    unsigned char getWriteIncludedXml() const noexcept { return m_writeIncludedXml; }
    void setWriteIncludedXml(unsigned char write) noexcept { m_writeIncludedXml = write; }

    /// On at the start. When off, the instruction is an item like others.
    unsigned char getReadIncludedXml() const noexcept { return m_readIncludedXml; }
    void setReadIncludedXml(unsigned char read) noexcept { m_readIncludedXml = read; }

    /// Whether the references to "amp", "quot", "apos", "lt" and "gt" are texts. On at the start.
    unsigned char getMergeStandardReferences() const noexcept { return m_mergeStandardReferences; }
    void setMergeStandardReferences(unsigned char merge) noexcept { m_mergeStandardReferences = merge; }

    /// How deep included documents may nest. Beyond it reading ends with the error "Too deep nesting of
    /// included XML documents", which documents that include one another come to.
    unsigned int getMaxIncludeDepth() const noexcept { return m_maxIncludeDepth; }
    void setMaxIncludeDepth(unsigned int depth) noexcept { m_maxIncludeDepth = depth; }

    unsigned char onElementStart(const vnString& name, unsigned int level) override;
    unsigned char onAttribute(const vnString& name, const vnString& value, unsigned int level) override;
    unsigned char onCharData(const vnString& text, unsigned int level) override;
    unsigned char onEntityReference(const vnString& name, unsigned int level,
                                    unsigned char inAttribute) override;
    unsigned char onProcessingInstruction(const vnString& target, const vnString& data,
                                          unsigned int level) override;
    unsigned char onCDATA(const vnString& text, unsigned int level) override;
    unsigned char onComment(const vnString& text, unsigned int level) override;
    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name,
                                unsigned int level) override;
    unsigned char onObject(vnObject* object, const vnString& name, unsigned int level) override;
    unsigned char onCustomData(vnReference* data, const vnString& name, unsigned int level) override;
    void onWrite() override;

private:
    const vnXmlItem& asItem() const noexcept { return *this; }
    vnXmlItem* itemAt(unsigned int level) const noexcept;
    vnXmlItem* addItemAt(vnXmlItem* item, unsigned int level);
    template <class Item, class... Args>
    Item* makeItem(const Args&... args);
    unsigned char setAttributeOf(vnXmlElement& element, const vnString& name, std::string_view value);
    unsigned char replaceElement(vnXmlItem* item, unsigned int level);
    unsigned char include(const vnString& data, unsigned int level);
    unsigned char readIncluded(vnXmlDom& included, vnSerializeAdapter* adapter, unsigned int level);
    unsigned char failLimit(const vnString& error);
    void readTree(vnSerializeAdapter* adapter);
    void endReading();

    unsigned char m_skipWhiteSpaceCharData = 1;
    unsigned char m_writeIncludedXml = 0;
    unsigned char m_readIncludedXml = 1;
    unsigned char m_mergeStandardReferences = 1;
    vnDynamicArray<vnRefPointer<vnXmlItem>> m_itemStack{100}; // what is read at each level
    unsigned int m_maxIncludeDepth = VN_MAX_INCLUDE_DEPTH;
    vnXmlPool* m_pool = nullptr;     // while reading
    unsigned int m_includeDepth = 0; // of this document
    unsigned char m_hasPassedLimit = 0;
};

/// Walks the items of a document, depth first and in the order of the document. The walk uses the child
/// iterators of the items: there can be one walk at a time.
///
///     document.resetAllChildIterators();
///     vnXMLDomIterator next(document);
///     while (vnXmlItem* item = next())
///         use(next.getContextName(), item);
///
/// The current item may be removed with `remove`; otherwise the tree must not be changed.
///
/// Thread-safety: none.
class VN_BASE_API vnXMLDomIterator
{
public:
    explicit vnXMLDomIterator(vnXmlDom& document) noexcept : m_document(document) {}

    /// The next item, which becomes the current one; null at the end.
    vnXmlItem* operator()();

    /// The path of the parent of the current item, such as "/a/b"; empty for an item on top. Of a path beyond
    /// 65535 bytes the end is given.
    vnString getContext() const;

    /// The path of the current item.
    vnString getContextName() const;

    /// Removes the current item with all that is below it. Its parent becomes the current item.
    void remove();

private:
    vnString pathOf(const vnXmlItem* item) const;

    vnXmlDom& m_document;
    vnXmlItem* m_current = nullptr; // null on top
};
