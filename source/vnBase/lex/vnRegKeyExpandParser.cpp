// SPDX-License-Identifier: MIT
#include "vnRegKeyExpand.h"

#include "core/vnKeyPlatform.h"
#include "vnMarkedText.h"

#include <vnBase/vnHostAddress.h>
#include <vnBase/vnKeyDatabase.h>

vnRegKeyExpandParser::vnRegKeyExpandParser()
{
    addFunction("fString", &vnRegKeyExpandParser::appendText);
    addFunction("fRegKey", &vnRegKeyExpandParser::appendKey);
    addFunction("fIFace", &vnRegKeyExpandParser::appendAddress);
    // The value is appended before the closing bracket is looked for: a reference without one leaves its
    // value behind, and the error.
    addRules("regkey ::= '$(' $ [^)]* fRegKey ')' ;"
             "iface ::= '${' $ [^}]* fIFace '}' ;"
             "string ::= $ ( [^] - ( '$(' | '${' ) )+ fString ;"
             "compressed ::= (string|regkey|iface)* ;");
    setMaxBufferSize(VN_MARKED_HISTORY);
}

vnRegKeyExpandParser::~vnRegKeyExpandParser() noexcept(false) = default;

vnString vnRegKeyExpandParser::parse()
{
    reset();
    m_result.clear();
    if (parseRule("compressed") == VN_PARSE_OK && hasData())
        setError("Not All arguments were parsed");
    return m_result;
}

vnParseResult vnRegKeyExpandParser::append(const vnString& text)
{
    if (m_result.length() + static_cast<unsigned int>(text.length()) > vnString::VN_MAX_LENGTH)
        return failLength();
    m_result += text;
    return VN_PARSE_OK;
}

vnParseResult vnRegKeyExpandParser::failLength()
{
    setError("The expanded text has more than %d bytes", vnString::VN_MAX_LENGTH);
    return VN_PARSE_ERROR;
}

vnParseResult vnRegKeyExpandParser::appendText()
{
    vnString text;
    return takeMarked(text) ? append(text) : VN_PARSE_ERROR;
}

vnParseResult vnRegKeyExpandParser::appendKey()
{
    vnString key, value;
    if (!takeMarked(key))
        return VN_PARSE_ERROR;
    if (vnReadEnvironment(key, value) == VN_ENVIRONMENT_TOO_LONG)
        return failLength();
    return append(vnKeyDatabase::getUserKey(key));
}

vnParseResult vnRegKeyExpandParser::appendAddress()
{
    vnString name;
    return takeMarked(name) ? append(vnGetHostAddress(name).asString()) : VN_PARSE_ERROR;
}

bool vnExpandRegKeys(const vnString& text, vnString& expanded)
{
    vnRegKeyExpandParser parser;
    vnIgnoreByteOrderMarks(parser);
    const vnTextInput input(parser, text);
    expanded = parser.parse();
    return !parser.hasError();
}

vnString vnRegKeyExpandedString(const vnString& text)
{
    vnString expanded;
    vnExpandRegKeys(text, expanded);
    return expanded;
}
