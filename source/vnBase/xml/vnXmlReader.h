// SPDX-License-Identifier: MIT
#pragma once

#include "vnXmlInput.h"
#include "vnXmlLevel.h"

#include <vnBase/vnMemory.h>

#include <algorithm>
#include <initializer_list>
#include <optional>

/// Sets the error to this place of the source and is the result of a production. The sources of the reader
/// are one to whoever reads the error: each has lines of its own from its `firstLine` on.
#define VN_XML_FAULT() fault(firstLine + __LINE__)

/// The productions of a reader while one of them runs. Each `readNN` is the production of that number; see
/// `vnXmlSax`. Before a callback everything is told to the reader, so that it may do what it wants.
class vnXmlReader
{
public:
    using Production = vnParseResult (vnXmlReader::*)();

    explicit vnXmlReader(vnXmlSax& sax) : m_sax(sax), m_input(sax, sax.m_documentBegin, sax.m_maxDocumentSize)
    {
    }

    vnParseResult run(Production production);

    /// The same for any function that uses this object.
    template <class Call>
    vnParseResult runCall(const Call& call)
    {
        vnParseResult result;
        try
        {
            m_input.open();
            result = call();
        }
        catch (...)
        {
            m_input.abandon();
            throw;
        }
        m_input.close();
        return result;
    }

    vnParseResult read01();
    vnParseResult read02();
    vnParseResult read03();
    vnParseResult read04();
    vnParseResult read05();
    vnParseResult read06();
    vnParseResult read07();
    vnParseResult read08();
    vnParseResult read09();
    vnParseResult read10();
    vnParseResult read11();
    vnParseResult read12();
    vnParseResult read13();
    vnParseResult read14();
    vnParseResult read15();
    vnParseResult read16();
    vnParseResult read17();
    vnParseResult read18();
    vnParseResult read19();
    vnParseResult read20();
    vnParseResult read21();
    vnParseResult read22();
    vnParseResult read23();
    vnParseResult read24();
    vnParseResult read25();
    vnParseResult read26();
    vnParseResult read27();
    vnParseResult read28();
    vnParseResult read29();
    vnParseResult read30();
    vnParseResult read31();
    vnParseResult read32();
    vnParseResult read33();
    vnParseResult read34();
    vnParseResult read35();
    vnParseResult read36();
    vnParseResult read37();
    vnParseResult read38();
    vnParseResult read39();
    vnParseResult read40();
    vnParseResult read41();
    vnParseResult read42();
    vnParseResult read43();
    vnParseResult read44();
    vnParseResult read45();
    vnParseResult read46();
    vnParseResult read47();
    vnParseResult read48();
    vnParseResult read49();
    vnParseResult read50();
    vnParseResult read51();
    vnParseResult read52();
    vnParseResult read53();
    vnParseResult read54();
    vnParseResult read55();
    vnParseResult read56();
    vnParseResult read57();
    vnParseResult read58();
    vnParseResult read59();
    vnParseResult read60();
    vnParseResult read61();
    vnParseResult read62();
    vnParseResult read63();
    vnParseResult read64();
    vnParseResult read65();
    vnParseResult read66();
    vnParseResult read67();
    vnParseResult read68();
    vnParseResult read69();
    vnParseResult read70();
    vnParseResult read71();
    vnParseResult read72();
    vnParseResult read75();
    vnParseResult read77();
    vnParseResult read78();
    vnParseResult read79();
    vnParseResult read80();
    vnParseResult read81();
    vnParseResult read82();
    vnParseResult read83();
    vnParseResult read84();
    vnParseResult read85();
    vnParseResult read86();
    vnParseResult read87();
    vnParseResult read88();
    vnParseResult read89();
    vnParseResult readTestETag();

    /// How the text of a value is read.
    enum ValueText : unsigned int
    {
        VN_VALUE_TEXT = 0,
        VN_VALUE_CALLS = 1,  // what begins with "function:" is asked for
        VN_VALUE_MAY_END = 2 // no text is a text, when the end tag follows at once
    };

    /// S, then CharData or CDSect, whose text goes to `text`.
    vnParseResult readValueText(unsigned int mode, vnDynamicArray<char>& text, bool& isCDATA);

    /// The same for a text of any size, of which no more is remembered than of others.
    vnParseResult readLargeText(vnDynamicArray<char>& text);

    /// Takes nothing, where an end tag follows; anything else is a fault.
    vnParseResult readValueEnd();

private:
    using Mark = vnXmlInput::Mark;
    using Level = vnXmlSax::Level;

    static constexpr unsigned int VN_MAX_TEXT = vnString::VN_MAX_LENGTH;

    // What stands at a place in content.
    enum class Content
    {
        FAULT,
        ITEM, // was read; or an element was opened, and its content comes
        END   // nothing of content
    };
    enum class Comment
    {
        SILENT,
        CONTENT, // notified, and not too large
        OUTSIDE  // of the root
    };
    enum class Entity
    {
        GENERAL,
        PARAMETER,
        ANY
    };
    enum class Group
    {
        CHOICE,
        SEQUENCE,
        ANY
    };
    using Special = vnParseResult (vnXmlSax::*)();

    /// Tells that references stand in the value of an attribute.
    class InAttribute
    {
    public:
        explicit InAttribute(vnXmlSax& sax) noexcept : m_sax(sax)
        {
            m_sax.setFlag(vnXmlSax::VN_FLAG_IN_ATTRIBUTE, true);
        }
        InAttribute(const InAttribute&) = delete;
        InAttribute& operator=(const InAttribute&) = delete;
        ~InAttribute() { m_sax.setFlag(vnXmlSax::VN_FLAG_IN_ATTRIBUTE, false); }

    private:
        vnXmlSax& m_sax;
    };

    vnParseResult fault(int line);
    vnParseResult tooLarge(const char* what);
    /// The text from there to here, in UTF-8 or in the bytes of the document; none when no string holds it,
    /// or when it is not remembered as a whole. It is valid until the input is asked for more.
    std::optional<std::string_view> getWholeText(const Mark& begin)
    {
        const unsigned int tokens = m_input.getPosition() - begin.position;
        if (tokens > VN_MAX_TEXT || tokens > m_sax.getMaxBufferSize())
            return std::nullopt;
        const std::string_view text = m_input.getText(begin);
        return text.size() > VN_MAX_TEXT ? std::nullopt : std::optional(text);
    }
    vnParseResult tooDeep();
    // What nests in a document type is read by recursion: only less than the default is for the user to
    // choose.
    bool isTypeTooDeep() const noexcept
    {
        return m_typeDepth >= std::min(m_sax.m_maxElementDepth, vnXmlSax::VN_MAX_ELEMENT_DEPTH);
    }
    static vnParseResult resultOf(bool isMatch) noexcept { return isMatch ? VN_PARSE_OK : VN_PARSE_NO_MATCH; }

    bool wants(vnXmlItemType type) const noexcept { return m_sax.isNotifyingItemType(type) != 0; }
    template <class Call>
    void notify(const Call& call)
    {
        beforeCallback();
        if (!call())
            throw vnBasicParseException(2);
        m_input.resume();
    }
    void beforeCallback();
    void countIdle();
    void failIdle();
    static vnString makeString(std::string_view text)
    {
        return vnString(text.data(), static_cast<unsigned short>(text.size()));
    }
    static bool isFunction(std::string_view text) noexcept;
    vnString callFunction(std::string_view text);

    template <class Test>
    bool takeIf(const Test& isWanted)
    {
        if (!isWanted(m_input.need()))
            return false;
        m_input.take();
        return true;
    }
    template <class Test>
    unsigned int takeWhile(const Test& isWanted)
    {
        unsigned int count = 0;
        for (; m_input.hasData() && isWanted(m_input.peek()); ++count)
            m_input.take();
        return count;
    }
    bool takeSpace();
    bool takeName();
    bool takeEq();
    bool takeCData();
    bool acceptWord(const char* word);
    vnParseResult firstOf(std::initializer_list<Production> productions);
    vnParseResult behindSpace(Production production);
    vnParseResult listOf(Production item);
    vnParseResult prefixedCode(char letter);
    vnParseResult declaration(const char* keyword, Production text, vnString& value);
    vnParseResult versionInfo();
    vnParseResult encodingDeclaration();
    vnParseResult standaloneDeclaration();
    vnParseResult yesOrNo();

    void clearEncodingFlags() noexcept
    {
        m_sax.m_flags &=
            static_cast<unsigned char>(~(vnXmlSax::VN_FLAG_ENCODING_BASE64 | vnXmlSax::VN_FLAG_ENCODING_HEX));
    }
    static Content itemOf(vnParseResult result) noexcept
    {
        if (result == VN_PARSE_OK)
            return Content::ITEM;
        return result == VN_PARSE_NO_MATCH ? Content::END : Content::FAULT;
    }
    vnParseResult readMiscs();
    vnParseResult readContents(unsigned int level);
    Content readItem();
    Content readMarkup();
    vnParseResult notifyCharData(const Mark& begin);
    vnParseResult cdata(bool isContent);
    vnParseResult comment(Comment use);
    vnParseResult commentOutside() { return comment(Comment::OUTSIDE); }
    vnParseResult setAttribute(Level& level);
    vnParseResult openElement(bool& isOpen);
    Special specialOf(const Level& level) const;
    vnParseResult runSpecial(Special special, bool isEmpty);
    vnParseResult closeElement();
    vnParseResult endElement(Level& level);
    void notifyContents(Level& level);

    vnParseResult externalId(bool& isWhole);
    vnParseResult attributeDefinition();
    vnParseResult entity(Entity wanted);
    vnParseResult group(Group wanted);
    vnParseResult groupRest(Group wanted);
    vnParseResult mixedRest();
    void takeOccurrence();
    vnParseResult namesBetween(Production name);
    vnParseResult conditional(const char* word, Production body);

    vnXmlSax& m_sax;
    vnXmlInput m_input;
    std::optional<std::string_view> m_value; // the attribute value read last, unless it is too large
    unsigned int m_typeDepth = 0;            // of what nests in a document type
};
