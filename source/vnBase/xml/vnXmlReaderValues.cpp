// SPDX-License-Identifier: MIT
#include "vnXmlReader.h"

namespace
{
constexpr int firstLine = 4000;
}

vnParseResult vnXmlReader::readValueText(unsigned int mode, vnDynamicArray<char>& text, bool& isCDATA)
{
    takeSpace();
    Mark begin = m_input.getMark();
    isCDATA = false;
    if (mode & VN_VALUE_MAY_END)
    {
        const vnParseResult end = readTestETag();
        if (end == VN_PARSE_OK)
            m_input.moveTo(begin);
        if (end != VN_PARSE_NO_MATCH)
            return end;
    }
    const vnParseResult result = read14();
    if (result == VN_PARSE_OK)
        m_input.need(); // a text that ends with the data is cut
    else
    {
        if (!m_input.accept("<![CDATA["))
            return VN_PARSE_NO_MATCH;
        begin = m_input.getMark();
        if (read20() != VN_PARSE_OK)
            return VN_XML_FAULT();
        isCDATA = true;
    }
    const unsigned int tokens = m_input.getPosition() - begin.position;
    const std::string_view raw = m_input.getText(begin);
    if (!(mode & VN_VALUE_LARGE) && (tokens > VN_MAX_TEXT || raw.size() > VN_MAX_TEXT))
        return tooLarge(isCDATA ? "CData" : "CharData");
    if ((mode & VN_VALUE_CALLS) && isFunction(raw))
    {
        const vnString called = callFunction(raw);
        text.append(called.getString(), called.length());
    }
    else
        text.append(raw.data(), vnCheckedSize(raw.size()));
    if (isCDATA)
        m_input.accept("]]>"); // which is there
    return VN_PARSE_OK;
}

vnParseResult vnXmlReader::readValueEnd()
{
    if (m_input.isNext("</"))
        return VN_PARSE_OK;
    m_input.need();
    return VN_XML_FAULT();
}
