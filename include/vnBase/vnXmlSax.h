// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBasicParser.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnSerializeData.h>
#include <vnBase/vnString.h>
#include <vnBase/vnType.h>

class vnDynamicType;
class vnObject;

/// What a reader notifies: single bits, which can be joined.
enum vnXmlItemType : unsigned int
{
    VN_XML_ELEMENT = 1,                   // onElementStart, onElementEnd
    VN_XML_ELEMENT_CONTENTS = 2,          // onElementContents
    VN_XML_ATTRIBUTE = 4,                 // onAttribute
    VN_XML_ELEMENT_ATTRIBUTE_END = 8,     // onElementAttributeEnd
    VN_XML_DECLARATION = 16,              // onVersion, onEncoding, onStandalone
    VN_XML_CHAR_DATA = 32,                // onCharData
    VN_XML_CDATA = 64,                    // onCDATA
    VN_XML_COMMENT = 128,                 // onComment
    VN_XML_PROCESSING_INSTRUCTION = 256,  // onProcessingInstruction
    VN_XML_ENTITY_REFERENCE = 512,        // onEntityReference
    VN_XML_ELEMENT_CONTENTS_START = 1024, // onElementContentsStart
    VN_XML_ELEMENT_CONTENTS_END = 2048,   // onElementContentsEnd
    VN_XML_DEFAULT_ITEMS = 1013,          // what a new reader notifies
    VN_XML_ALL_ITEMS = 4095
};

/// Reads XML documents through callbacks, and writes them by calls.
///
///     class Titles : public vnXmlSax
///     {
///         unsigned char onCharData(const vnString& text, unsigned int level) override
///         {
///             if (getCurrentElementName() == "title")
///                 use(text, getCurrentAttribute("lang"));
///             return 1; // 0 ends the parse
///         }
///     };
///     Titles titles;
///     titles.read(adapter);
///     if (titles.hasError())
///         use(titles.getError(), titles.getLine());
///
///     class Greeting : public vnXmlSax
///     {
///         void onWrite() override
///         {
///             writeElementStart("greeting");
///             writeAttribute("lang", "en");
///             writeCharData("a < b");
///             writeElementEnd();
///         }
///     };
///     Greeting().write(adapter);
///
/// **Reading.** No tree is built. A text is made into a `vnString` only when it is notified or asked for:
/// with everything masked off (`disableNotifyItemType`) the syntax is checked and nothing more. Texts come as
/// they stand in the document: entities are notified and never looked up, character references are skipped,
/// attribute values are not normalised. A char data or attribute value that begins with "function:" is
/// replaced by what `onFunction` makes of it, whatever is masked. The syntax is that of XML 1.0, with the
/// character classes of names cut short and without entity declarations; docs/xml.md tells what is not read.
///
/// **Texts.** One notified char data, CDATA section or comment holds at most 65,535 tokens, whose UTF-8 form
/// must fit in 65,535 bytes; and what the parser remembers, 65,536 tokens at the start (`setMaxBufferSize`,
/// for which 16 is the least). Larger texts are refused when they are notified, never cut; larger names of
/// elements and attributes, values of attributes and texts of the declaration always. Only the bytes of one
/// object, or of one value without a form of its own, may be more: they are collected as they are read, and
/// nothing but `setMaxDocumentSize` bounds them. A token is a byte or a unit of 16 bits: a character above
/// U+FFFF is two.
///
/// **Encodings.** UTF-8, UTF-16 of either order behind a byte order mark; every other declared encoding reads
/// as one character a byte. Texts are written as the bytes that they are, and tested as what readers will
/// take them for: as UTF-8 in that and with "none", else as one character a byte, so that what was read can
/// be written, and UTF-8 in a name cannot. In 16-bit output a text that is no UTF-8 as a whole is of one
/// character a byte, and refused when that makes it longer than a string can be; what stands for no
/// character, such as half a pair of surrogates, is U+FFFD.
///
/// **Errors.** Reading ends at the first fault, which `getError` tells: the place in this library's source
/// for a fault of the syntax, a text for the others. A callback that answers 0 ends the parse without an
/// error. Writing ends at the first fault, too; what was written stays written.
///
/// **Hostile documents.** The depth of elements is limited. A document can make `onCharData` be called
/// without end (see `setMaxIdleNotifications`), and can be endless itself (`setMaxDocumentSize`); these
/// limits are off unless they are set.
///
/// Each production of the XML 1.0 Recommendation (first numbering) but 73, 74 and 76, since entities have no
/// definition, is a function `XML_read_NN`, for the use of subclasses: it answers `VN_PARSE_OK` with its text
/// consumed, `VN_PARSE_NO_MATCH` with nothing consumed, or `VN_PARSE_ERROR` with the error set. It throws
/// `vnBasicParseException` with the value 0 when the data ends where it must go on, and with the value 2 when
/// a callback answered 0; `read` catches both.
///
/// Thread-safety: none; an object belongs to one thread at a time.
class VN_BASE_API vnXmlSax : public vnBasicParser, public vnSerializeData, public vnTypeInterface
{
public:
    /// The attributes of an element by name.
    using AttributeSet = vnRefDict<vnString, vnRefData<vnString, vnReference>>;

    /// How deep elements may nest at the start; what is built from a document recursively must fit a stack
    /// of 8 MiB.
    static constexpr unsigned int VN_MAX_ELEMENT_DEPTH = 2048;

    /// How deep values may stand in values at the start. Each level takes stack, and its bytes are copied
    /// once more.
    static constexpr unsigned int VN_MAX_VALUE_DEPTH = 200;

    vnXmlSax();
    ~vnXmlSax() noexcept(false) override;

    /// The callbacks of reading. All answer 1 here; 0 ends the parse. `level` is 1 in the root element and 0
    /// outside of it.

    /// Of the XML declaration.
    virtual unsigned char onVersion(const vnString& version);
    virtual unsigned char onEncoding(const vnString& encoding);
    virtual unsigned char onStandalone(unsigned char standalone);

    /// Behind the name of the start tag; the attributes come later, each by `onAttribute`, and
    /// `onElementAttributeEnd` behind them.
    virtual unsigned char onElementStart(const vnString& name, unsigned int level);
    virtual unsigned char onElementAttributeEnd(const vnString& name, unsigned int level);

    /// The raw text between start tag and end tag. One that is too large for the buffer or for a string is
    /// left out.
    virtual unsigned char onElementContents(const vnString& name, const vnString& contents,
                                            unsigned int level);
    virtual unsigned char onElementContentsStart(const vnString& name, unsigned int level);
    virtual unsigned char onElementContentsEnd(const vnString& name, unsigned int level);

    /// The attributes of the element can still be asked for.
    virtual unsigned char onElementEnd(const vnString& name, unsigned int level);

    /// `value` is raw, references in it stand as they stood. A name may come twice.
    virtual unsigned char onAttribute(const vnString& name, const vnString& value, unsigned int level);

    /// Text up to the next markup or reference.
    virtual unsigned char onCharData(const vnString& text, unsigned int level);

    /// `name` without "&" and ";". Those in an attribute value come before its `onAttribute`.
    virtual unsigned char onEntityReference(const vnString& name, unsigned int level,
                                            unsigned char inAttribute);
    virtual unsigned char onProcessingInstruction(const vnString& target, const vnString& data,
                                                  unsigned int level);
    virtual unsigned char onCDATA(const vnString& text, unsigned int level);
    virtual unsigned char onComment(const vnString& text, unsigned int level);

    /// A dynamic value, an object, custom data in place of the content of an element. An object of a class
    /// that is not known is null.
    virtual unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level);
    virtual unsigned char onObject(vnObject* object, const vnString& name, unsigned int level);
    virtual unsigned char onCustomData(vnReference* data, const vnString& name, unsigned int level);

    /// What takes the place of the text "function:" + `name`; that text itself here.
    virtual vnString onFunction(const vnString& name, unsigned int level);

    /// Called by `write`: a subclass writes its document here. Does nothing here.
    virtual void onWrite();

    /// Writes a document: the declaration in the encoding set, then what `onWrite` writes. The encodings
    /// "utf-16", "utf-16le", "utf-16be", "ucs-2" and "iso-10646-ucs-2" write little-endian 16-bit text behind
    /// its mark, declared as "utf-16", and so does any but UTF-8 that was declared by 16-bit text. "none"
    /// writes no declaration. Null is ignored.
    void write(vnSerializeAdapter* adapter) override;

    /// Reads a document from its start to the end of the data. Null is ignored. Several can be read one after
    /// the other: each has an encoding of its own, and leaves behind what `useUtf8` and `useUnicode` have
    /// set. Line, column and token position go on counting unless `reset` is called in between, and the
    /// progress goes on naming the first document unless `setProgressMessage("")` is.
    void read(vnSerializeAdapter* adapter) override;

    /// Does nothing: a document is not kept.
    void pushBack(vnSerializeAdapter* adapter) override;

    /// 0: not known before it is written.
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    VN_TYPE(vnXmlSax)

    void enableNotifyItemType(vnXmlItemType type) noexcept { m_mask |= type; }
    void disableNotifyItemType(vnXmlItemType type) noexcept { m_mask &= ~static_cast<unsigned int>(type); }

    /// Whether the reader notifies, and all these.
    unsigned char isNotifyingItemType(vnXmlItemType type) const noexcept
    {
        return hasFlag(VN_FLAG_NOTIFYING) && (m_mask & type) == type;
    }

    /// As declared by the document read last, or as they will be written. An encoding that is set names what
    /// is written and does not change how documents are read: one that declares none is called "UTF-8"
    /// afterwards. Only that name, "none" and those of 16-bit text stay as set then, and any name where
    /// documents are read as bytes (`useUtf8(0)`). Set while a document is written it says how the texts that
    /// follow will be read.
    const vnString& getVersion() const noexcept { return m_version; }
    void setVersion(const vnString& version) { m_version = version; }
    const vnString& getEncoding() const noexcept { return m_encoding; }
    void setEncoding(const vnString& encoding)
    {
        m_encoding = m_setEncoding = encoding;
        m_isReadWide = 0;
    }

    /// Whether 16-bit text declared the encoding for itself, by any name but UTF-8: its texts are UTF-8 then,
    /// and not in what the name says.
    unsigned char isReadWide() const noexcept { return m_isReadWide; }
    unsigned char isStandalone() const noexcept { return hasFlag(VN_FLAG_STANDALONE); }
    void setStandalone(unsigned char standalone) noexcept { setFlag(VN_FLAG_STANDALONE, standalone); }

    /// Whether every element is a dynamic value.
    unsigned char useDynOnly() const noexcept { return hasFlag(VN_FLAG_DYN_ONLY); }
    void useDynOnly(unsigned char use) noexcept { setFlag(VN_FLAG_DYN_ONLY, use); }

    /// Whether binary content is base 64: as the attribute `encoding` of the current element says ("b64",
    /// "hex"), else as set. On at the start.
    unsigned char useBase64() const noexcept
    {
        if (hasFlag(VN_FLAG_ENCODING_HEX))
            return 0;
        return hasFlag(VN_FLAG_ENCODING_BASE64) || hasFlag(VN_FLAG_BASE64);
    }
    void useBase64(unsigned char use) noexcept { setFlag(VN_FLAG_BASE64, use); }

    /// Without line feeds and tabs between elements. Off at the start.
    unsigned char isPlainOutput() const noexcept { return hasFlag(VN_FLAG_PLAIN_OUTPUT); }
    void setPlainOutput(unsigned char plain) noexcept { setFlag(VN_FLAG_PLAIN_OUTPUT, plain); }

    /// What is read or written just now. The attributes of a level can be asked for until the next start tag
    /// at that level; a missing one reads as the empty text. Of a name that came twice the first is given.
    unsigned int getCurrentElementLevel() const noexcept { return m_level; }
    const vnString& getCurrentElementName() { return getElementName(m_level); }
    const vnString& getCurrentAttribute(const vnString& name) { return getAttribute(m_level, name); }
    unsigned char hasCurrentAttribute(const vnString& name) { return hasAttribute(m_level, name); }
    AttributeSet& getCurrentAttributeSet() { return getAttributeSet(m_level); }
    const vnString& getElementName(unsigned int level);
    const vnString& getAttribute(unsigned int level, const vnString& name);
    unsigned char hasAttribute(unsigned int level, const vnString& name);
    AttributeSet& getAttributeSet(unsigned int level);

    /// Whether the element read just now was closed by "/>": a production that reads dynamic values, objects
    /// or custom data must read nothing then.
    unsigned char isCurrentElementEmpty() const noexcept { return m_isEmptyElement; }

    /// Elements, and what nests in a document type, deeper than this are refused, with the error "Too deep
    /// nesting in XML data". Elements take no stack. Groups and conditional sections of a document type do:
    /// for them `VN_MAX_ELEMENT_DEPTH` is the most, whatever is set.
    unsigned int getMaxElementDepth() const noexcept { return m_maxElementDepth; }
    void setMaxElementDepth(unsigned int depth) noexcept { m_maxElementDepth = depth; }

    /// Values that stand in values deeper than this are neither read nor written, with the same error. A
    /// level takes up to 4 KiB of stack.
    unsigned int getMaxValueDepth() const noexcept { return m_maxValueDepth; }
    void setMaxValueDepth(unsigned int depth) noexcept { m_maxValueDepth = depth; }

    /// How many notifications may come one after the other while nothing is read, before the parse ends with
    /// the error "No progress in XML data"; 0, the default, for any number. The text "]]>" in an element
    /// notifies without end; where char data is not notified, so that no callback could end it, it is this
    /// error at once.
    unsigned int getMaxIdleNotifications() const noexcept { return m_maxIdleNotifications; }
    void setMaxIdleNotifications(unsigned int count) noexcept { m_maxIdleNotifications = count; }

    /// How many tokens a document may have, before the parse ends with the error "Too large XML data"; 0, the
    /// default, for as many as 32 bits count.
    unsigned int getMaxDocumentSize() const noexcept { return m_maxDocumentSize; }
    void setMaxDocumentSize(unsigned int tokens) noexcept { m_maxDocumentSize = tokens; }

    /// How many tokens of the document were read.
    unsigned int getDocumentPos() const noexcept { return getTokenPos() - m_documentBegin; }

    /// For a parser that goes on within an element of `outer` (`continueParsingFrom`): takes over what is
    /// left of the limits of `outer`.
    void useLimitsOf(const vnXmlSax& outer) noexcept;

    /// For callbacks: counts tokens against the limit of the size that are not read, for what the document
    /// makes grow by other means. Answers 1, or 0 with the error set when they pass it; the callback answers
    /// the same.
    unsigned char addToDocumentSize(vnUInt64 tokens);

    /// How many tokens are left to the limit of the size; as good as any number when there is none.
    vnUInt64 getDocumentSizeLeft() const noexcept;

    /// The operations of writing, for `onWrite`. A call out of order, or a text that may not stand where it
    /// is to be written, sets the error and throws `vnBasicParseException` with the value 3, which `write`
    /// catches.

    /// The short declaration, for those who write without `write`: it names the encoding as `getEncoding`
    /// does, also where `write` would declare "utf-16" and turn the texts into that.
    void writeXmlHeader();
    void writeElementStart(const vnString& name);
    void writeElementEnd();

    /// A value that is fit to be read is written as it stands, with all references in it; so is a double
    /// quote in it. In any other value, what must not stand there is written as references, and of those
    /// that are there only the five standard ones stay.
    void writeAttribute(const vnString& name, const vnString& value);

    /// Ends the start tag, if one is open.
    void beginElementContents();

    /// What must not stand in a text is written as references.
    void writeCharData(const vnString& text);
    void writeCharDataElement(const vnString& name, const vnString& text);
    void writeCDATA(const vnString& text);
    void writeComment(const vnString& text);
    void writePI(const vnString& target, const vnString& data);
    void writeEntityReference(const vnString& name);

    /// Writes the text as it stands.
    void writeGenericString(const vnString& text);

    /// An element with a value or an object, which gets the attribute `name` unless that is empty. No element
    /// for a null object. A value with a time loses its tag: it reads back with its text. See
    /// vnXmlDynamicType.h.
    void writeDynamicType(const vnDynamicType& value, const vnString& name, const vnString& elementName);
    void writeObject(const vnObject* object, const vnString& name, const vnString& elementName);

    /// What the interface of the element's name writes for the data, which may be null; with `wrap` in an
    /// element of its own, which stays empty where no interface is registered.
    void writeCustomData(const vnString& elementName, const vnReference* data, unsigned char wrap);

    vnParseResult XML_read_01(); // document
    vnParseResult XML_read_02(); // Char
    vnParseResult XML_read_03(); // S
    vnParseResult XML_read_04(); // NameChar
    vnParseResult XML_read_05(); // Name
    vnParseResult XML_read_06(); // Names
    vnParseResult XML_read_07(); // Nmtoken
    vnParseResult XML_read_08(); // Nmtokens
    vnParseResult XML_read_09(); // EntityValue
    vnParseResult XML_read_10(); // AttValue
    vnParseResult XML_read_11(); // SystemLiteral
    vnParseResult XML_read_12(); // PubidLiteral
    vnParseResult XML_read_13(); // PubidChar

    /// CharData. Without data it matches. A text of nothing but "]" counts as no text, with its tokens
    /// consumed.
    vnParseResult XML_read_14();
    vnParseResult XML_read_15(); // Comment
    vnParseResult XML_read_16(); // PI, which is notified
    vnParseResult XML_read_17(); // PITarget
    vnParseResult XML_read_18(); // CDSect
    vnParseResult XML_read_19(); // CDStart
    vnParseResult XML_read_20(); // CData
    vnParseResult XML_read_21(); // CDEnd
    vnParseResult XML_read_22(); // prolog
    vnParseResult XML_read_23(); // XMLDecl
    vnParseResult XML_read_24(); // VersionInfo
    vnParseResult XML_read_25(); // Eq
    vnParseResult XML_read_26(); // VersionNum
    vnParseResult XML_read_27(); // Misc
    vnParseResult XML_read_28(); // doctypedecl
    vnParseResult XML_read_29(); // markupdecl
    vnParseResult XML_read_30(); // extSubset
    vnParseResult XML_read_31(); // extSubsetDecl
    vnParseResult XML_read_32(); // SDDecl
    vnParseResult XML_read_33(); // LanguageID
    vnParseResult XML_read_34(); // Langcode
    vnParseResult XML_read_35(); // ISO639Code
    vnParseResult XML_read_36(); // IanaCode
    vnParseResult XML_read_37(); // UserCode
    vnParseResult XML_read_38(); // Subcode
    vnParseResult XML_read_39(); // element
    vnParseResult XML_read_40(); // STag, up to its ">" or "/>"
    vnParseResult XML_read_41(); // Attribute
    vnParseResult XML_read_42(); // ETag
    vnParseResult XML_read_43(); // content
    vnParseResult XML_read_44(); // EmptyElemTag
    vnParseResult XML_read_45(); // elementdecl
    vnParseResult XML_read_46(); // contentspec
    vnParseResult XML_read_47(); // children
    vnParseResult XML_read_48(); // cp
    vnParseResult XML_read_49(); // choice
    vnParseResult XML_read_50(); // seq
    vnParseResult XML_read_51(); // Mixed
    vnParseResult XML_read_52(); // AttlistDecl
    vnParseResult XML_read_53(); // AttDef
    vnParseResult XML_read_54(); // AttType
    vnParseResult XML_read_55(); // StringType
    vnParseResult XML_read_56(); // TokenizedType
    vnParseResult XML_read_57(); // EnumeratedType
    vnParseResult XML_read_58(); // NotationType
    vnParseResult XML_read_59(); // Enumeration
    vnParseResult XML_read_60(); // DefaultDecl
    vnParseResult XML_read_61(); // conditionalSect
    vnParseResult XML_read_62(); // includeSect
    vnParseResult XML_read_63(); // ignoreSect, with the body of an external subset
    vnParseResult XML_read_64(); // ignoreSectContents
    vnParseResult XML_read_65(); // Ignore
    vnParseResult XML_read_66(); // CharRef
    vnParseResult XML_read_67(); // Reference
    vnParseResult XML_read_68(); // EntityRef, which is notified
    vnParseResult XML_read_69(); // PEReference, without its ";"
    vnParseResult XML_read_70(); // EntityDecl
    vnParseResult XML_read_71(); // GEDecl, without a definition
    vnParseResult XML_read_72(); // PEDecl, without a definition
    vnParseResult XML_read_75(); // ExternalID
    vnParseResult XML_read_77(); // TextDecl
    vnParseResult XML_read_78(); // extParsedEnt; as all content it needs markup behind it
    vnParseResult XML_read_79(); // extPE
    vnParseResult XML_read_80(); // EncodingDecl
    vnParseResult XML_read_81(); // EncName
    vnParseResult XML_read_82(); // NotationDecl
    vnParseResult XML_read_83(); // PublicID
    vnParseResult XML_read_84(); // Letter
    vnParseResult XML_read_85(); // BaseChar
    vnParseResult XML_read_86(); // Ideographic
    vnParseResult XML_read_87(); // CombiningChar
    vnParseResult XML_read_88(); // Digit
    vnParseResult XML_read_89(); // Extender

    /// Not of the Recommendation: the content of an element as a dynamic value, an object, custom data.
    vnParseResult XML_read_91();
    vnParseResult XML_read_92();
    vnParseResult XML_read_93();

    /// Reads an end tag as `XML_read_42` does, up to its name; notifies nothing, and the level stays.
    vnParseResult XML_read_Test_ETag();

private:
    friend class vnXmlReader;
    friend class vnXmlWriter;
    friend class vnXmlValueDepth;
    friend class vnXmlArrayGaps;
    struct Level;

    enum Flag : unsigned char
    {
        VN_FLAG_STANDALONE = 1,
        VN_FLAG_ENCODING_BASE64 = 2, // the current element's attribute says so
        VN_FLAG_ENCODING_HEX = 4,
        VN_FLAG_BASE64 = 8,
        VN_FLAG_DYN_ONLY = 16,
        VN_FLAG_PLAIN_OUTPUT = 32,
        VN_FLAG_IN_ATTRIBUTE = 64,
        VN_FLAG_NOTIFYING = 128
    };

    bool hasFlag(Flag flag) const noexcept { return (m_flags & flag) != 0; }
    void setFlag(Flag flag, bool on) noexcept
    {
        m_flags = static_cast<unsigned char>(on ? m_flags | flag : m_flags & ~flag);
    }
    void skipMark();
    void writeDeclaration();
    static bool fitsUtf8(const vnString& encoding) noexcept;
    Level& getLevel(unsigned int level)
    {
        return level < m_levels.getSize() && m_levels.data()[level] ? *m_levels.data()[level]
                                                                    : addLevel(level);
    }
    Level& addLevel(unsigned int level);
    Level* findLevel(unsigned int level) noexcept;

    static constexpr unsigned int VN_LEVEL_STEP = 100; // at the start

    vnDynamicArray<Level*> m_levels{VN_LEVEL_STEP}; // names and attributes; each is made once and stays
    vnString m_version{"1.0"};
    vnString m_encoding{"UTF-8"};
    vnString m_setEncoding{"UTF-8"}; // what m_encoding is where it fits a document that declares none
    unsigned int m_mask = VN_XML_DEFAULT_ITEMS;
    unsigned int m_level = 0;
    unsigned char m_flags = VN_FLAG_STANDALONE | VN_FLAG_BASE64 | VN_FLAG_NOTIFYING;
    unsigned char m_writeState = 0;
    unsigned char m_isEmptyElement = 0;
    unsigned char m_isReadWide = 0; // m_encoding was declared by 16-bit text
    unsigned int m_maxElementDepth = VN_MAX_ELEMENT_DEPTH;
    unsigned int m_maxValueDepth = VN_MAX_VALUE_DEPTH;
    unsigned int m_valueDepth = 0; // of the values that are read or written just now
    unsigned int m_maxIdleNotifications = 0;
    unsigned int m_maxDocumentSize = 0;
    unsigned int m_documentBegin = 0;     // the token position that it is counted from
    unsigned int m_idleNotifications = 0; // since the token position was m_idlePosition
    unsigned int m_idlePosition = 0;
    vnUInt64 m_arrayGaps = 0;    // in all arrays of the document: elements that no byte stands for
    AttributeSet m_noAttributes; // of levels that never were
    vnString m_noText;
};
