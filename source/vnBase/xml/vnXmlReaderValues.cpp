// SPDX-License-Identifier: MIT
#include "vnXmlReader.h"

using namespace vnXmlClass;

namespace
{
constexpr int firstLine = 4000;

void append(vnDynamicArray<char>& to, std::string_view text)
{
    if (to.getCapacity() - to.getSize() < text.size())
        to.setChunkSize(std::max(1024u, to.getCapacity())); // grows by doubling
    to.append(text.data(), vnCheckedSize(text.size()));
}
} // namespace

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
        if (!takeCData())
            return VN_XML_FAULT();
        isCDATA = true;
    }
    const auto raw = getWholeText(begin);
    if (!raw)
        return tooLarge(isCDATA ? "CData" : "CharData");
    if ((mode & VN_VALUE_CALLS) && isFunction(*raw))
    {
        const vnString called = callFunction(*raw);
        text.append(called.getString(), called.length());
    }
    else
        text.append(raw->data(), static_cast<unsigned int>(raw->size()));
    if (isCDATA)
        m_input.accept("]]>"); // which is there
    return VN_PARSE_OK;
}

// Taken off the window while it is read, as it may be larger than all that is remembered.
vnParseResult vnXmlReader::readLargeText(vnDynamicArray<char>& text)
{
    takeSpace();
    const bool isCDATA = m_input.accept("<![CDATA[");
    bool isText = isCDATA;
    for (;;)
    {
        const std::string_view run = m_input.takeRun(isCDATA ? CDATA : CHAR_DATA);
        append(text, run);
        isText |= !run.empty();
        const int c = m_input.need();
        if (c == ']' && m_input.isNext("]]>"))
            break;
        if (!isCDATA && (c == '<' || c == '&'))
            return resultOf(isText);
        if (isCDATA && !isChar(c))
            return VN_XML_FAULT();
        const Mark begin = m_input.getMark();
        m_input.take();
        const char ascii = static_cast<char>(c);
        append(text, c < 0x80 ? std::string_view(&ascii, 1) : m_input.getText(begin));
        isText |= c != ']'; // which is no text, as elsewhere
    }
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
