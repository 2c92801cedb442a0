// SPDX-License-Identifier: MIT
#include "vnXmlReader.h"

#include "vnXmlSpecial.h"

using namespace vnXmlClass;

namespace
{
constexpr int firstLine = 0;
constexpr std::string_view functionPrefix = "function:";
} // namespace

vnParseResult vnXmlReader::run(Production production)
{
    return runCall([&] { return (this->*production)(); });
}

vnParseResult vnXmlReader::fault(int line)
{
    m_sax.setError("%s", vnGenerateDebugString("vnXML", line, VN_BASE_VERSION_TEXT));
    return VN_PARSE_ERROR;
}

vnParseResult vnXmlReader::tooLarge(const char* what)
{
    m_sax.setError("Too large '%s' is notified", what);
    return VN_PARSE_ERROR;
}

vnParseResult vnXmlReader::tooDeep()
{
    m_sax.setError("Too deep nesting in XML data");
    return VN_PARSE_ERROR;
}

void vnXmlReader::beforeCallback()
{
    if (m_sax.m_maxIdleNotifications)
        countIdle();
    m_input.close();
}

void vnXmlReader::countIdle()
{
    const unsigned int position = m_input.getPosition();
    if (position != m_sax.m_idlePosition)
        m_sax.m_idleNotifications = 0;
    m_sax.m_idlePosition = position;
    if (++m_sax.m_idleNotifications > m_sax.m_maxIdleNotifications)
        failIdle();
}

void vnXmlReader::failIdle()
{
    m_sax.setError("No progress in XML data");
    throw vnBasicParseException(0);
}

bool vnXmlReader::isFunction(std::string_view text) noexcept
{
    return text.size() >= functionPrefix.size() && text[0] == functionPrefix[0] &&
           text.compare(0, functionPrefix.size(), functionPrefix) == 0;
}

// The text has the prefix, and fits in a string.
vnString vnXmlReader::callFunction(std::string_view text)
{
    const vnString name = makeString(text.substr(functionPrefix.size()));
    beforeCallback();
    vnString result = m_sax.onFunction(name, m_sax.m_level);
    m_input.resume();
    return result;
}

vnParseResult vnXmlReader::read01()
{
    if (read22() != VN_PARSE_OK)
        return VN_PARSE_ERROR;
    const vnParseResult root = read39();
    if (root != VN_PARSE_OK)
        return root == VN_PARSE_ERROR ? root : VN_XML_FAULT();
    if (readMiscs() != VN_PARSE_OK)
        return VN_PARSE_ERROR;
    return m_input.hasData() ? VN_XML_FAULT() : VN_PARSE_OK;
}

vnParseResult vnXmlReader::readMiscs()
{
    while (m_input.hasData())
    {
        m_input.reportProgress();
        const vnParseResult result = read27();
        if (result == VN_PARSE_NO_MATCH)
            break;
        if (result == VN_PARSE_ERROR)
            return result;
    }
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read22()
{
    if (read23() == VN_PARSE_ERROR || readMiscs() != VN_PARSE_OK)
        return VN_PARSE_ERROR;
    m_input.reportProgress();
    if (read28() == VN_PARSE_ERROR)
        return VN_PARSE_ERROR;
    return readMiscs();
}

vnParseResult vnXmlReader::read23()
{
    if (!m_input.accept("<?xml"))
        return VN_PARSE_NO_MATCH;
    const vnParseResult version = takeSpace() ? versionInfo() : VN_PARSE_NO_MATCH;
    if (version != VN_PARSE_OK)
        return version == VN_PARSE_ERROR ? version : VN_XML_FAULT();
    bool isBehindSpace = takeSpace();
    for (const Production next : {&vnXmlReader::encodingDeclaration, &vnXmlReader::standaloneDeclaration})
    {
        const vnParseResult result = isBehindSpace ? (this->*next)() : VN_PARSE_NO_MATCH;
        if (result == VN_PARSE_ERROR)
            return result;
        if (result == VN_PARSE_OK)
            isBehindSpace = takeSpace();
    }
    return m_input.accept("?>") ? VN_PARSE_OK : VN_XML_FAULT();
}

// The keyword, Eq, and the text between quotes.
vnParseResult vnXmlReader::declaration(const char* keyword, Production text, vnString& value)
{
    if (!acceptWord(keyword))
        return VN_PARSE_NO_MATCH;
    if (!takeEq())
        return VN_XML_FAULT();
    const int quote = m_input.need();
    if (quote != '"' && quote != '\'')
        return VN_XML_FAULT();
    m_input.take();
    const Mark textBegin = m_input.getMark();
    if ((this->*text)() != VN_PARSE_OK)
        return VN_XML_FAULT();
    const auto found = getWholeText(textBegin);
    if (!found)
        return tooLarge("Declaration");
    value = makeString(*found);
    return takeIf([quote](int c) { return c == quote; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read24()
{
    return behindSpace(&vnXmlReader::versionInfo);
}

vnParseResult vnXmlReader::versionInfo()
{
    const vnParseResult result = declaration("version", &vnXmlReader::read26, m_sax.m_version);
    if (result == VN_PARSE_OK && wants(VN_XML_DECLARATION))
        notify([this] { return m_sax.onVersion(m_sax.m_version); });
    return result;
}

vnParseResult vnXmlReader::read25()
{
    const Mark begin = m_input.getMark();
    if (takeEq())
        return VN_PARSE_OK;
    m_input.moveTo(begin);
    return VN_PARSE_NO_MATCH;
}

// What was taken in front of what is no Eq is not given back.
bool vnXmlReader::takeEq()
{
    takeSpace();
    if (!takeIf([](int c) { return c == '='; }))
        return false;
    takeSpace();
    return true;
}

vnParseResult vnXmlReader::read26()
{
    m_input.need();
    return resultOf(takeWhile(
                        [](int c) {
                            return isLatin(c) || isDecimal(c) || c == '_' || c == '.' || c == ':' || c == '-';
                        }) > 0);
}

vnParseResult vnXmlReader::read27()
{
    return firstOf({&vnXmlReader::read03, &vnXmlReader::commentOutside, &vnXmlReader::read16});
}

vnParseResult vnXmlReader::read32()
{
    return behindSpace(&vnXmlReader::standaloneDeclaration);
}

vnParseResult vnXmlReader::standaloneDeclaration()
{
    vnString value;
    const vnParseResult result = declaration("standalone", &vnXmlReader::yesOrNo, value);
    if (result != VN_PARSE_OK)
        return result;
    m_sax.setStandalone(value.yesNo());
    if (wants(VN_XML_DECLARATION))
        notify([this] { return m_sax.onStandalone(m_sax.isStandalone()); });
    return result;
}

vnParseResult vnXmlReader::yesOrNo()
{
    return resultOf(m_input.accept("yes") || m_input.accept("no"));
}

vnParseResult vnXmlReader::read80()
{
    return behindSpace(&vnXmlReader::encodingDeclaration);
}

vnParseResult vnXmlReader::encodingDeclaration()
{
    const vnParseResult result = declaration("encoding", &vnXmlReader::read81, m_sax.m_encoding);
    if (result != VN_PARSE_OK)
        return result;
    if (!equalIgnoringCase({m_sax.m_encoding.getString(), m_sax.m_encoding.length()}, "utf-8"))
    {
        m_input.close();
        m_sax.useUtf8(0);
        m_sax.m_isReadWide = vnParserCursor(m_sax).isWide();
        m_input.open();
    }
    if (wants(VN_XML_DECLARATION))
        notify([this] { return m_sax.onEncoding(m_sax.m_encoding); });
    return result;
}

vnParseResult vnXmlReader::read81()
{
    if (!takeIf(isLatin))
        return VN_PARSE_NO_MATCH;
    takeWhile([](int c) { return isLatin(c) || isDecimal(c) || c == '_' || c == '.' || c == '-'; });
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read39()
{
    const unsigned int outside = m_sax.m_level;
    bool isOpen = false;
    const vnParseResult result = openElement(isOpen);
    return isOpen ? readContents(outside) : result;
}

vnParseResult vnXmlReader::read43()
{
    return readContents(m_sax.m_level);
}

// Until the element that is open at this level goes on with what is no content; those that are open above it
// are read to their ends. Not by recursion, so that the stack does not bound the depth.
vnParseResult vnXmlReader::readContents(unsigned int level)
{
    const bool isWhole = level < m_sax.m_level; // the end tag of the element that was opened belongs to it
    for (;;)
    {
        const Content item = readItem();
        if (item == Content::FAULT)
            return VN_PARSE_ERROR;
        if (item == Content::ITEM)
            continue;
        if (!isWhole && m_sax.m_level <= level)
            return VN_PARSE_OK;
        if (closeElement() != VN_PARSE_OK)
            return VN_PARSE_ERROR;
        if (isWhole && m_sax.m_level <= level)
            return VN_PARSE_OK;
    }
}

vnXmlReader::Content vnXmlReader::readItem()
{
    // An element is tried before everything else, and trying alone reports and clears.
    m_input.reportProgress();
    clearEncodingFlags();
    const int c = m_input.need();
    if (c == '<')
        return m_input.isNext("</") ? Content::END : readMarkup();
    if (c == '&')
        return itemOf(read67());
    const Mark begin = m_input.getMark();
    // Without a match "]" and nothing else was taken, and is told to nobody. That is meant. Anything may
    // follow.
    return read14() == VN_PARSE_OK ? itemOf(notifyCharData(begin)) : Content::ITEM;
}

vnXmlReader::Content vnXmlReader::readMarkup()
{
    bool isOpen = false;
    vnParseResult result = openElement(isOpen);
    if (result == VN_PARSE_NO_MATCH)
        result = cdata(true);
    if (result == VN_PARSE_NO_MATCH)
        result = read16();
    if (result == VN_PARSE_NO_MATCH)
        result = comment(Comment::CONTENT);
    return itemOf(result);
}

vnParseResult vnXmlReader::read14()
{
    if (!m_input.hasData())
        return VN_PARSE_OK;
    // A "]" does not count as text, so that a text of nothing else is none. That is meant.
    bool isText = false;
    for (;;)
    {
        isText |= m_input.skipText(CHAR_DATA, false);
        const int c = m_input.peek();
        if (c == vnXmlInput::VN_END)
            return VN_PARSE_OK;
        if (c == '<' || c == '&')
            return resultOf(isText);
        if (c != ']')
            continue;
        // Deliberately left where it is: content comes back to it again and again, with empty text.
        if (m_input.isNext("]]>"))
            return VN_PARSE_OK;
        m_input.take();
    }
}

vnParseResult vnXmlReader::notifyCharData(const Mark& begin)
{
    const auto raw = getWholeText(begin);
    const bool isCall = raw && isFunction(*raw);
    if (!wants(VN_XML_CHAR_DATA) && !isCall)
    {
        // Where nobody is told of the empty texts nobody could end them.
        if (raw && raw->empty())
            failIdle();
        return VN_PARSE_OK;
    }
    if (!raw)
        return tooLarge("CharData");
    const vnString text = isCall ? callFunction(*raw) : makeString(*raw);
    if (wants(VN_XML_CHAR_DATA))
        notify([&] { return m_sax.onCharData(text, m_sax.m_level); });
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read18()
{
    return cdata(false);
}

vnParseResult vnXmlReader::cdata(bool isContent)
{
    if (!m_input.accept("<![CDATA["))
        return VN_PARSE_NO_MATCH;
    const Mark begin = m_input.getMark();
    if (!takeCData())
        return VN_XML_FAULT();
    if (!isContent || !wants(VN_XML_CDATA))
    {
        m_input.accept("]]>"); // which is there
        return VN_PARSE_OK;
    }
    const auto raw = getWholeText(begin);
    if (!raw)
        return tooLarge("CData");
    const vnString text = makeString(*raw);
    m_input.accept("]]>");
    notify([&] { return m_sax.onCDATA(text, m_sax.m_level); });
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read20()
{
    const Mark begin = m_input.getMark();
    if (takeCData())
        return VN_PARSE_OK;
    m_input.moveTo(begin);
    return VN_PARSE_NO_MATCH;
}

// Up to "]]>". What was taken in front of what is no Char is not given back.
bool vnXmlReader::takeCData()
{
    for (;;)
    {
        m_input.skipText(CDATA, true);
        const int c = m_input.need();
        if (c == ']' && m_input.isNext("]]>"))
            return true;
        if (!isChar(c))
            return false;
        m_input.take();
    }
}

vnParseResult vnXmlReader::read15()
{
    return comment(Comment::SILENT);
}

vnParseResult vnXmlReader::comment(Comment use)
{
    if (!m_input.accept("<!--"))
        return VN_PARSE_NO_MATCH;
    const Mark begin = m_input.getMark();
    for (;;)
    {
        m_input.skipText(COMMENT, true);
        const int c = m_input.need();
        if (!isChar(c) || (c == '-' && m_input.isNext("--")))
            break;
        m_input.take();
    }
    if (!m_input.isNext("-->"))
        return VN_XML_FAULT();
    if (use == Comment::SILENT || !wants(VN_XML_COMMENT))
    {
        m_input.accept("-->");
        return VN_PARSE_OK;
    }
    const unsigned int tokens = m_input.getPosition() - begin.position;
    // Outside of the root their number is not tested, but taken modulo 65536; what is not remembered of these
    // is left out. That is meant.
    const auto raw = use == Comment::OUTSIDE && tokens > VN_MAX_TEXT
                         ? m_input.getOldText(begin.position, static_cast<unsigned short>(tokens))
                         : getWholeText(begin);
    if (!raw || raw->size() > VN_MAX_TEXT)
        return tooLarge("Comment");
    const vnString text = makeString(*raw);
    m_input.accept("-->");
    notify([&] { return m_sax.onComment(text, m_sax.m_level); });
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read16()
{
    const Mark begin = m_input.getMark();
    if (!m_input.accept("<?"))
        return VN_PARSE_NO_MATCH;
    const Mark name = m_input.getMark();
    if (read17() != VN_PARSE_OK)
    {
        m_input.moveTo(begin);
        return VN_PARSE_NO_MATCH;
    }
    const bool isTold = wants(VN_XML_PROCESSING_INSTRUCTION);
    const auto rawTarget = isTold ? getWholeText(name) : std::string_view();
    if (!rawTarget)
        return tooLarge("PI");
    const vnString target = makeString(*rawTarget);
    vnString data;
    if (takeSpace())
    {
        const Mark text = m_input.getMark();
        while (m_input.need() != '?' || !m_input.isNext("?>"))
            m_input.take();
        if (isTold)
        {
            const auto raw = getWholeText(text);
            if (!raw)
                return tooLarge("PI");
            data = makeString(*raw);
        }
    }
    if (!m_input.accept("?>"))
        return VN_XML_FAULT();
    if (isTold)
        notify([&] { return m_sax.onProcessingInstruction(target, data, m_sax.m_level); });
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read17()
{
    const auto acceptLetter = [this](int lowerCase)
    {
        const bool is = (m_input.peek() | 0x20) == lowerCase;
        if (is)
            m_input.take();
        return is;
    };
    // The letters that make a target a reserved one are looked at first, since it may be longer than what is
    // remembered.
    const Mark begin = m_input.getMark();
    const bool isReserved = acceptLetter('x') && acceptLetter('m') && acceptLetter('l');
    m_input.moveTo(begin);
    return resultOf(!isReserved && takeName());
}

vnParseResult vnXmlReader::openElement(bool& isOpen)
{
    m_input.reportProgress();
    clearEncodingFlags();
    const vnParseResult start = read40();
    if (start != VN_PARSE_OK)
        return start;
    Level& level = m_sax.getLevel(m_sax.m_level);
    const Special special = specialOf(level);
    const int c = m_input.need();
    if (c == '/')
    {
        m_input.take();
        if (!takeIf([](int next) { return next == '>'; }))
            return VN_XML_FAULT();
        if (special && runSpecial(special, true) == VN_PARSE_ERROR)
            return VN_PARSE_ERROR;
        return endElement(level);
    }
    if (c != '>')
        return VN_XML_FAULT();
    m_input.take();
    level.contentsBegin = m_input.getPosition();
    if (wants(VN_XML_ELEMENT_CONTENTS_START))
        notify([&] { return m_sax.onElementContentsStart(level.getName(), m_sax.m_level); });
    const vnParseResult result = special ? runSpecial(special, false) : VN_PARSE_NO_MATCH;
    if (result == VN_PARSE_OK)
        return closeElement();
    isOpen = result == VN_PARSE_NO_MATCH;
    return isOpen ? VN_PARSE_OK : result;
}

vnXmlReader::Special vnXmlReader::specialOf(const Level& level) const
{
    const std::string_view name = level.getRawName();
    if (m_sax.useDynOnly() || name == "vnDyn")
        return &vnXmlSax::XML_read_91;
    if (name == "vnObj")
        return &vnXmlSax::XML_read_92;
    return vnXmlIsCustomElement(name) ? &vnXmlSax::XML_read_93 : nullptr;
}

vnParseResult vnXmlReader::runSpecial(Special special, bool isEmpty)
{
    class InEmptyElement
    {
    public:
        InEmptyElement(vnXmlSax& sax, bool isEmptyElement) : m_sax(sax)
        {
            m_sax.m_isEmptyElement = isEmptyElement;
        }
        ~InEmptyElement() { m_sax.m_isEmptyElement = 0; }

    private:
        vnXmlSax& m_sax;
    };
    m_input.close();
    const InEmptyElement scope(m_sax, isEmpty);
    const vnParseResult result = (m_sax.*special)();
    if (result == VN_PARSE_OK && !isEmpty)
    {
        if (special == &vnXmlSax::XML_read_91)
            m_sax.skipWS();
        else
            m_sax.skipAllWS();
    }
    m_input.open();
    return result;
}

vnParseResult vnXmlReader::closeElement()
{
    Level& level = m_sax.getLevel(m_sax.m_level);
    if (wants(VN_XML_ELEMENT_CONTENTS))
        notifyContents(level);
    if (wants(VN_XML_ELEMENT_CONTENTS_END))
        notify([&] { return m_sax.onElementContentsEnd(level.getName(), m_sax.m_level); });
    const vnParseResult result = read42();
    return result == VN_PARSE_NO_MATCH ? VN_XML_FAULT() : result;
}

void vnXmlReader::notifyContents(Level& level)
{
    const unsigned int tokens = m_input.getPosition() - level.contentsBegin;
    if (tokens >= m_sax.getMaxBufferSize() || tokens > VN_MAX_TEXT) // each is at least a byte
        return;
    const std::string_view raw = m_input.getOldText(level.contentsBegin, tokens);
    if (raw.size() > VN_MAX_TEXT)
        return;
    const vnString text = makeString(raw);
    notify([&] { return m_sax.onElementContents(level.getName(), text, m_sax.m_level); });
}

vnParseResult vnXmlReader::endElement(Level& level)
{
    if (wants(VN_XML_ELEMENT))
        notify([&] { return m_sax.onElementEnd(level.getName(), m_sax.m_level); });
    --m_sax.m_level;
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read40()
{
    const Mark begin = m_input.getMark();
    if (!takeIf([](int c) { return c == '<'; }))
        return VN_PARSE_NO_MATCH;
    const Mark nameBegin = m_input.getMark();
    if (!takeName())
    {
        m_input.moveTo(begin);
        return VN_PARSE_NO_MATCH;
    }
    const auto name = getWholeText(nameBegin);
    if (!name)
        return tooLarge("Name");
    if (m_sax.m_level >= m_sax.m_maxElementDepth)
        return tooDeep();
    Level& level = m_sax.getLevel(m_sax.m_level + 1);
    ++m_sax.m_level;
    level.start(*name, m_input.getPosition() - nameBegin.position);
    if (wants(VN_XML_ELEMENT))
        notify([&] { return m_sax.onElementStart(level.getName(), m_sax.m_level); });
    while (takeSpace())
    {
        const vnParseResult result = read41();
        if (result == VN_PARSE_ERROR)
            return result;
        if (result == VN_PARSE_NO_MATCH)
            break;
    }
    if (wants(VN_XML_ELEMENT_ATTRIBUTE_END))
        notify([&] { return m_sax.onElementAttributeEnd(level.getName(), m_sax.m_level); });
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read41()
{
    const InAttribute scope(m_sax);
    const Mark begin = m_input.getMark();
    if (!takeName())
        return VN_PARSE_NO_MATCH;
    Level& level = m_sax.getLevel(m_sax.m_level);
    const auto name = getWholeText(begin);
    if (!name)
        return tooLarge("Name");
    level.addName(*name);
    if (!takeEq())
        return VN_XML_FAULT();
    const vnParseResult value = read10();
    if (value != VN_PARSE_OK)
        return value == VN_PARSE_ERROR ? value : VN_XML_FAULT();
    return setAttribute(level);
}

vnParseResult vnXmlReader::read10()
{
    const int quote = m_input.need();
    if (quote != '"' && quote != '\'')
        return VN_PARSE_NO_MATCH;
    m_input.take();
    const Mark begin = m_input.getMark();
    for (;;)
    {
        m_input.skipText(quote == '"' ? DOUBLE_QUOTED : SINGLE_QUOTED, false);
        const int c = m_input.need();
        if (c == quote)
            break;
        if (c == '<')
            return VN_XML_FAULT();
        const vnParseResult result = c == '&' ? read67() : VN_PARSE_OK;
        if (result != VN_PARSE_OK)
            return result == VN_PARSE_ERROR ? result : VN_XML_FAULT();
    }
    m_value = getWholeText(begin);
    m_input.take();
    return VN_PARSE_OK;
}

// With the value that was read last.
vnParseResult vnXmlReader::setAttribute(Level& level)
{
    if (!m_value)
        return tooLarge("Attribute");
    if (isFunction(*m_value))
    {
        const vnString value = callFunction(*m_value);
        level.addValue({value.getString(), value.length()});
    }
    else
        level.addValue(*m_value);
    const unsigned int index = level.getAttributeCount() - 1;
    if (equalIgnoringCase(level.getRawAttributeName(index), "encoding"))
    {
        const std::string_view value = level.getRawAttributeValue(index);
        if (equalIgnoringCase(value, "b64"))
            m_sax.setFlag(vnXmlSax::VN_FLAG_ENCODING_BASE64, true);
        else if (equalIgnoringCase(value, "hex"))
            m_sax.setFlag(vnXmlSax::VN_FLAG_ENCODING_HEX, true);
    }
    if (wants(VN_XML_ATTRIBUTE))
        notify(
            [&] {
                return m_sax.onAttribute(level.getAttributeName(index), level.getAttributeValue(index),
                                         m_sax.m_level);
            });
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read42()
{
    Level& level = m_sax.getLevel(m_sax.m_level);
    const vnParseResult name = readTestETag();
    if (name != VN_PARSE_OK)
        return name;
    endElement(level);
    takeSpace();
    return takeIf([](int c) { return c == '>'; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::readTestETag()
{
    if (!m_input.accept("</"))
        return VN_PARSE_NO_MATCH;
    Level& level = m_sax.getLevel(m_sax.m_level);
    if (m_input.acceptName(level.getRawName(), level.getNameExtra()))
        return VN_PARSE_OK;
    const Mark begin = m_input.getMark();
    if (!takeName())
        return VN_XML_FAULT();
    const auto name = getWholeText(begin);
    if (!name)
        return tooLarge("Name");
    if (*name == level.getRawName())
        return VN_PARSE_OK;
    m_sax.setError("Expected end tag '%s' but got '%s'", level.getName(), makeString(*name));
    return VN_PARSE_ERROR;
}

// Without a level of its own: the production stands for itself.
vnParseResult vnXmlReader::read44()
{
    const vnParseResult start = read40();
    if (start != VN_PARSE_OK)
        return start;
    return m_input.accept("/>") ? endElement(m_sax.getLevel(m_sax.m_level)) : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read66()
{
    const bool isHex = m_input.accept("&#x");
    if (!isHex && !m_input.accept("&#"))
        return VN_PARSE_NO_MATCH;
    m_input.need();
    const unsigned int digits = takeWhile([isHex](int c) { return isHex ? isHexDigit(c) : isDecimal(c); });
    if (digits == 0)
        return VN_XML_FAULT();
    return takeIf([](int c) { return c == ';'; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read67()
{
    const vnParseResult result = read68();
    return result == VN_PARSE_NO_MATCH ? read66() : result;
}

vnParseResult vnXmlReader::read68()
{
    const Mark begin = m_input.getMark();
    if (!takeIf([](int c) { return c == '&'; }))
        return VN_PARSE_NO_MATCH;
    const Mark nameBegin = m_input.getMark();
    if (!takeName())
    {
        m_input.moveTo(begin);
        return VN_PARSE_NO_MATCH;
    }
    const bool isTold = wants(VN_XML_ENTITY_REFERENCE);
    const auto raw = isTold ? getWholeText(nameBegin) : std::string_view();
    if (!raw)
        return tooLarge("Name");
    const vnString name = makeString(*raw);
    if (!takeIf([](int c) { return c == ';'; }))
        return VN_XML_FAULT();
    if (isTold)
        notify(
            [&] {
                return m_sax.onEntityReference(name, m_sax.m_level,
                                               m_sax.hasFlag(vnXmlSax::VN_FLAG_IN_ATTRIBUTE));
            });
    return VN_PARSE_OK;
}
