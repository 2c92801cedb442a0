// SPDX-License-Identifier: MIT
#include "vnXmlReader.h"

using namespace vnXmlClass;

namespace
{
constexpr int firstLine = 1000;
}

// The document type: its syntax is read, and nothing of it is kept.

vnParseResult vnXmlReader::read28()
{
    if (!m_input.accept("<!DOCTYPE"))
        return VN_PARSE_NO_MATCH;
    if (!takeSpace() || !takeName())
        return VN_XML_FAULT();
    bool isWhole = true;
    if (takeSpace() && externalId(isWhole) == VN_PARSE_ERROR)
        return VN_PARSE_ERROR;
    if (!isWhole)
        return VN_XML_FAULT();
    takeSpace();
    if (m_input.accept('['))
    {
        for (vnParseResult result = VN_PARSE_OK; result == VN_PARSE_OK;)
        {
            m_input.reportProgress();
            result = firstOf({&vnXmlReader::read29, &vnXmlReader::read69, &vnXmlReader::read03});
            if (result == VN_PARSE_ERROR)
                return result;
        }
        if (!m_input.accept(']'))
            return VN_XML_FAULT();
        takeSpace();
    }
    return takeIf([](int c) { return c == '>'; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read29()
{
    if (m_input.need() != '<')
        return VN_PARSE_NO_MATCH;
    return firstOf({&vnXmlReader::read45, &vnXmlReader::read52, &vnXmlReader::read70, &vnXmlReader::read82,
                    &vnXmlReader::read16, &vnXmlReader::commentOutside});
}

vnParseResult vnXmlReader::read30()
{
    if (m_input.hasData() && read77() == VN_PARSE_ERROR)
        return VN_PARSE_ERROR;
    return read31();
}

vnParseResult vnXmlReader::read31()
{
    for (vnParseResult result = VN_PARSE_OK; result == VN_PARSE_OK && m_input.hasData();)
    {
        m_input.reportProgress();
        result =
            firstOf({&vnXmlReader::read29, &vnXmlReader::read61, &vnXmlReader::read69, &vnXmlReader::read03});
        if (result == VN_PARSE_ERROR)
            return result;
    }
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read45()
{
    if (!m_input.accept("<!ELEMENT"))
        return VN_PARSE_NO_MATCH;
    if (!takeSpace() || !takeName() || !takeSpace())
        return VN_XML_FAULT();
    const vnParseResult content = read46();
    if (content != VN_PARSE_OK)
        return content == VN_PARSE_ERROR ? content : VN_XML_FAULT();
    takeSpace();
    return takeIf([](int c) { return c == '>'; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

// What tells Mixed from children stands behind the bracket, so that nothing needs to be read twice.
vnParseResult vnXmlReader::read46()
{
    if (m_input.accept("EMPTY") || m_input.accept("ANY"))
        return VN_PARSE_OK;
    if (!takeIf([](int c) { return c == '('; }))
        return VN_PARSE_NO_MATCH;
    takeSpace();
    if (m_input.need() == '#')
        return m_input.accept("#PCDATA") ? mixedRest() : VN_XML_FAULT();
    const vnParseResult result = groupRest(Group::ANY);
    if (result == VN_PARSE_OK)
        takeOccurrence();
    return result;
}

vnParseResult vnXmlReader::read47()
{
    const vnParseResult result = group(Group::ANY);
    if (result == VN_PARSE_OK)
        takeOccurrence();
    return result;
}

vnParseResult vnXmlReader::read48()
{
    const vnParseResult result = takeName() ? VN_PARSE_OK : group(Group::ANY);
    if (result == VN_PARSE_OK)
        takeOccurrence();
    return result;
}

void vnXmlReader::takeOccurrence()
{
    if (m_input.hasData() && (m_input.peek() == '?' || m_input.peek() == '*' || m_input.peek() == '+'))
        m_input.take();
}

vnParseResult vnXmlReader::read49()
{
    return group(Group::CHOICE);
}

vnParseResult vnXmlReader::read50()
{
    return group(Group::SEQUENCE);
}

vnParseResult vnXmlReader::group(Group wanted)
{
    const Mark begin = m_input.getMark();
    if (!takeIf([](int c) { return c == '('; }))
        return VN_PARSE_NO_MATCH;
    takeSpace();
    const vnParseResult result = groupRest(wanted);
    if (result == VN_PARSE_NO_MATCH)
        m_input.moveTo(begin);
    return result;
}

// The separator behind the first particle tells choice from sequence. To try one after the other would read
// a group twice at each depth, and groups nest.
vnParseResult vnXmlReader::groupRest(Group wanted)
{
    if (isTypeTooDeep())
        return tooDeep();
    ++m_typeDepth;
    int separator = 0;
    for (;;)
    {
        const vnParseResult particle = read48();
        if (particle != VN_PARSE_OK)
            return particle == VN_PARSE_ERROR ? particle : VN_XML_FAULT();
        takeSpace();
        const int c = m_input.need();
        if (c == ')')
            break;
        if ((c == '|' && wanted == Group::SEQUENCE) || (c == ',' && wanted == Group::CHOICE))
        {
            --m_typeDepth;
            return VN_PARSE_NO_MATCH;
        }
        if ((c != '|' && c != ',') || (separator && c != separator))
            return VN_XML_FAULT();
        separator = c;
        m_input.take();
        takeSpace();
    }
    m_input.take();
    --m_typeDepth;
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read51()
{
    const Mark begin = m_input.getMark();
    if (!takeIf([](int c) { return c == '('; }))
        return VN_PARSE_NO_MATCH;
    takeSpace();
    if (m_input.accept("#PCDATA"))
        return mixedRest();
    m_input.moveTo(begin);
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnXmlReader::mixedRest()
{
    bool hasNames = false;
    for (;;)
    {
        takeSpace();
        const int c = m_input.need();
        if (c != '|' && c != ')')
            return VN_XML_FAULT();
        m_input.take();
        if (c == ')')
            break;
        hasNames = true;
        takeSpace();
        if (!takeName())
            return VN_XML_FAULT();
    }
    const bool isRepeated = m_input.hasData() && m_input.accept('*');
    return isRepeated || !hasNames ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read52()
{
    if (!m_input.accept("<!ATTLIST"))
        return VN_PARSE_NO_MATCH;
    if (!takeSpace() || !takeName())
        return VN_XML_FAULT();
    while (takeSpace() && m_input.need() != '>')
    {
        const vnParseResult result = attributeDefinition();
        if (result != VN_PARSE_OK)
            return result == VN_PARSE_ERROR ? result : VN_XML_FAULT();
    }
    return takeIf([](int c) { return c == '>'; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read53()
{
    return behindSpace(&vnXmlReader::attributeDefinition);
}

vnParseResult vnXmlReader::attributeDefinition()
{
    if (!takeName())
        return VN_PARSE_NO_MATCH;
    if (!takeSpace())
        return VN_XML_FAULT();
    vnParseResult result = read54();
    if (result != VN_PARSE_OK)
        return result == VN_PARSE_ERROR ? result : VN_XML_FAULT();
    if (!takeSpace())
        return VN_XML_FAULT();
    result = read60();
    return result == VN_PARSE_NO_MATCH ? VN_XML_FAULT() : result;
}

vnParseResult vnXmlReader::read54()
{
    return firstOf({&vnXmlReader::read55, &vnXmlReader::read56, &vnXmlReader::read57});
}

vnParseResult vnXmlReader::read55()
{
    return resultOf(m_input.accept("CDATA"));
}

vnParseResult vnXmlReader::read56()
{
    static constexpr const char* types[] = {"IDREFS", "IDREF",    "ID",     "ENTITIES",
                                            "ENTITY", "NMTOKENS", "NMTOKEN"};
    for (const char* type : types)
        if (acceptWord(type))
            return VN_PARSE_OK;
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnXmlReader::read57()
{
    return firstOf({&vnXmlReader::read58, &vnXmlReader::read59});
}

vnParseResult vnXmlReader::read58()
{
    if (!m_input.accept("NOTATION"))
        return VN_PARSE_NO_MATCH;
    if (!takeSpace())
        return VN_XML_FAULT();
    const vnParseResult result = namesBetween(&vnXmlReader::read05);
    return result == VN_PARSE_NO_MATCH ? VN_XML_FAULT() : result;
}

vnParseResult vnXmlReader::read59()
{
    return namesBetween(&vnXmlReader::read07);
}

// Between brackets, with "|" between them.
vnParseResult vnXmlReader::namesBetween(Production name)
{
    if (!takeIf([](int c) { return c == '('; }))
        return VN_PARSE_NO_MATCH;
    for (;;)
    {
        takeSpace();
        if ((this->*name)() != VN_PARSE_OK)
            return VN_XML_FAULT();
        takeSpace();
        const int c = m_input.need();
        if (c != '|' && c != ')')
            return VN_XML_FAULT();
        m_input.take();
        if (c == ')')
            return VN_PARSE_OK;
    }
}

vnParseResult vnXmlReader::read60()
{
    if (m_input.accept("#REQUIRED") || m_input.accept("#IMPLIED"))
        return VN_PARSE_OK;
    const bool isFixed = m_input.accept("#FIXED");
    if (isFixed && !takeSpace())
        return VN_XML_FAULT();
    const InAttribute scope(m_sax); // a document has no content where it is declared
    const vnParseResult result = read10();
    return isFixed && result == VN_PARSE_NO_MATCH ? VN_XML_FAULT() : result;
}

vnParseResult vnXmlReader::read61()
{
    return firstOf({&vnXmlReader::read62, &vnXmlReader::read63});
}

vnParseResult vnXmlReader::read62()
{
    return conditional("INCLUDE", &vnXmlReader::read31);
}

vnParseResult vnXmlReader::read63()
{
    // The body is that of an external subset, although ignored sections may hold other text. That is meant.
    return conditional("IGNORE", &vnXmlReader::read31);
}

vnParseResult vnXmlReader::conditional(const char* word, Production body)
{
    const Mark begin = m_input.getMark();
    if (!m_input.accept("<!["))
        return VN_PARSE_NO_MATCH;
    takeSpace();
    if (!acceptWord(word))
    {
        m_input.moveTo(begin);
        return VN_PARSE_NO_MATCH;
    }
    if (isTypeTooDeep())
        return tooDeep();
    ++m_typeDepth;
    takeSpace();
    if (!m_input.accept('['))
        return VN_XML_FAULT();
    if ((this->*body)() == VN_PARSE_ERROR)
        return VN_PARSE_ERROR;
    --m_typeDepth;
    m_input.need();
    return m_input.accept("]]>") ? VN_PARSE_OK : VN_XML_FAULT();
}

// Sections within it are counted, not entered.
vnParseResult vnXmlReader::read64()
{
    unsigned int open = 0;
    for (;;)
    {
        read65();
        if (m_input.accept("<!["))
            ++open;
        else if (open > 0 && m_input.accept("]]>"))
            --open;
        else if (open == 0)
            return VN_PARSE_OK;
        else
            return m_input.hasData() ? VN_XML_FAULT() : (m_input.failOutOfData(), VN_PARSE_ERROR);
    }
}

vnParseResult vnXmlReader::read65()
{
    while (m_input.hasData() && isChar(m_input.peek()) && !m_input.isNext("<![") && !m_input.isNext("]]>"))
        m_input.take();
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::read69()
{
    const Mark begin = m_input.getMark();
    if (!takeIf([](int c) { return c == '%'; }))
        return VN_PARSE_NO_MATCH;
    // The ";" behind it is left, although it belongs to the reference. That is meant: where one is used, the
    // document type ends with a fault, since nothing that a reference stands for is ever read.
    if (takeName())
        return VN_PARSE_OK;
    m_input.moveTo(begin);
    return VN_PARSE_NO_MATCH;
}

vnParseResult vnXmlReader::read70()
{
    return entity(Entity::ANY);
}

vnParseResult vnXmlReader::read71()
{
    return entity(Entity::GENERAL);
}

vnParseResult vnXmlReader::read72()
{
    return entity(Entity::PARAMETER);
}

// Without a definition behind the name, on purpose: entities cannot be defined, and none is ever expanded.
vnParseResult vnXmlReader::entity(Entity wanted)
{
    const Mark begin = m_input.getMark();
    if (!m_input.accept("<!ENTITY"))
        return VN_PARSE_NO_MATCH;
    if (!takeSpace())
        return VN_XML_FAULT();
    const bool isParameter = m_input.need() == '%';
    if (wanted == (isParameter ? Entity::GENERAL : Entity::PARAMETER))
    {
        m_input.moveTo(begin);
        return VN_PARSE_NO_MATCH;
    }
    if (isParameter)
    {
        m_input.take();
        if (!takeSpace())
            return VN_XML_FAULT();
    }
    if (!takeName() || !takeSpace())
        return VN_XML_FAULT();
    return takeIf([](int c) { return c == '>'; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read75()
{
    const Mark begin = m_input.getMark();
    bool isWhole = true;
    const vnParseResult result = externalId(isWhole);
    if (isWhole)
        return result;
    m_input.moveTo(begin); // it may be the identifier of a notation
    return VN_PARSE_NO_MATCH;
}

// It is not whole without the second literal of "PUBLIC", which notations may leave out.
vnParseResult vnXmlReader::externalId(bool& isWhole)
{
    if (m_input.accept("SYSTEM"))
        return takeSpace() && read11() == VN_PARSE_OK ? VN_PARSE_OK : VN_XML_FAULT();
    const vnParseResult result = read83();
    isWhole = result != VN_PARSE_OK || (takeSpace() && read11() == VN_PARSE_OK);
    return result;
}

vnParseResult vnXmlReader::read77()
{
    const Mark begin = m_input.getMark();
    if (!m_input.accept("<?xml"))
        return VN_PARSE_NO_MATCH;
    if (m_input.hasData() && !isSpace(m_input.peek()))
    {
        m_input.moveTo(begin);
        return VN_PARSE_NO_MATCH;
    }
    takeSpace();
    vnParseResult result = versionInfo();
    if (result == VN_PARSE_OK && !takeSpace())
        return VN_XML_FAULT();
    if (result != VN_PARSE_ERROR)
        result = encodingDeclaration();
    if (result != VN_PARSE_OK)
        return result == VN_PARSE_ERROR ? result : VN_XML_FAULT();
    takeSpace();
    return m_input.accept("?>") ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read78()
{
    return read77() == VN_PARSE_ERROR ? VN_PARSE_ERROR : read43();
}

vnParseResult vnXmlReader::read79()
{
    return read30();
}

vnParseResult vnXmlReader::read82()
{
    if (!m_input.accept("<!NOTATION"))
        return VN_PARSE_NO_MATCH;
    if (!takeSpace() || !takeName() || !takeSpace())
        return VN_XML_FAULT();
    bool isWhole = true; // or not
    const vnParseResult result = externalId(isWhole);
    if (result != VN_PARSE_OK)
        return result == VN_PARSE_ERROR ? result : VN_XML_FAULT();
    takeSpace();
    return takeIf([](int c) { return c == '>'; }) ? VN_PARSE_OK : VN_XML_FAULT();
}

vnParseResult vnXmlReader::read83()
{
    if (!m_input.accept("PUBLIC"))
        return VN_PARSE_NO_MATCH;
    if (!takeSpace())
        return VN_XML_FAULT();
    const vnParseResult result = read12();
    return result == VN_PARSE_NO_MATCH ? VN_XML_FAULT() : result;
}
