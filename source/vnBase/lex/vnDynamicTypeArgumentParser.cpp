// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicTypeArgumentParser.h>

#include "vnMarkedText.h"

vnDynamicTypeArgumentParser::vnDynamicTypeArgumentParser()
{
    addFunction("fArrayBegin", &vnDynamicTypeArgumentParser::beginArray);
    addFunction("fArrayEnd", &vnDynamicTypeArgumentParser::endArray);
    addFunction("fBool", &vnDynamicTypeArgumentParser::pushBool);
    addFunction("fString", &vnDynamicTypeArgumentParser::pushString);
    addFunction("fNum", &vnDynamicTypeArgumentParser::pushNumber);
    addFunction("fGUID", &vnDynamicTypeArgumentParser::pushGUID);
    addFunction("X", &vnDynamicTypeArgumentParser::parseHex);
    addFunction("float", &vnDynamicTypeArgumentParser::parseNumber);
    addFunction("SP", &vnDynamicTypeArgumentParser::parseSP);
    addFunction("digit", &vnDynamicTypeArgumentParser::parseDigit);
    addRules("array ::= '[' fArrayBegin arg_list ']' fArrayEnd ;"
             "boolean ::= $ [yesYESnoNOtruTRUfalFAL]+ fBool ;"
             "string ::= $ (('\"' [^\"]* '\"')|(\"'\" [^']* \"'\")) fString ;"
             "number ::= $ float fNum ;"
             "guid ::= $ '{' (X)8 '-' (X)4 '-' (X)4 '-' (X)4 '-' (X)12 '}' fGUID ;"
             "memory ::= 'mem:' digit+ ',' digit+ ;"
             "argument ::= number | string | boolean | array | guid ;"
             // Not "SP* argument SP* (',' arg_list)?", which is the same but nests deeper with each argument.
             "arg_list ::= SP* argument SP* (',' SP* argument SP*)* ;");
    setMaxBufferSize(VN_MARKED_HISTORY);
    vnIgnoreByteOrderMarks(*this);
}

vnDynamicTypeArgumentParser::~vnDynamicTypeArgumentParser() noexcept(false) = default;

vnArray<vnDynamicType> vnDynamicTypeArgumentParser::parseArguments(const vnString& text)
{
    reset();
    m_values.clear();
    m_outer.clear();
    const vnTextInput input(*this, text);
    parseRule("arg_list");
    const bool isOpen = !m_outer.isEmpty();
    if (!hasError() && (isOpen || hasData()))
        setError(isOpen ? "Array not properly closed" : "Not All arguments were parsed");
    if (isOpen)
        m_values.swap(m_outer[0]);
    return vnArray<vnDynamicType>(m_values.data(), m_values.getSize());
}

vnParseResult vnDynamicTypeArgumentParser::pushNumber()
{
    vnString text;
    if (!takeMarked(text))
        return VN_PARSE_ERROR;
    vnAppendResult(m_values, vnDynamicType(text.real()));
    return VN_PARSE_OK;
}

vnParseResult vnDynamicTypeArgumentParser::pushString()
{
    vnString text;
    if (!takeMarked(text))
        return VN_PARSE_ERROR;
    const unsigned int length = text.length();
    vnAppendResult(m_values,
                   vnDynamicType(length > 2 ? text(1, static_cast<unsigned short>(length - 2)) : vnString()));
    return VN_PARSE_OK;
}

vnParseResult vnDynamicTypeArgumentParser::pushBool()
{
    vnString text;
    if (!takeMarked(text))
        return VN_PARSE_ERROR;
    vnAppendResult(m_values, vnDynamicType(text.yesNo() ? 1.0 : 0.0));
    return VN_PARSE_OK;
}

vnParseResult vnDynamicTypeArgumentParser::pushGUID()
{
    vnString text;
    vnGUID guid;
    if (!takeMarked(text) || !guid.setString(text))
        return VN_PARSE_ERROR;
    vnAppendResult(m_values, vnDynamicType(guid));
    return VN_PARSE_OK;
}

vnParseResult vnDynamicTypeArgumentParser::beginArray()
{
    m_outer.append(std::move(m_values));
    m_values = Values();
    return VN_PARSE_OK;
}

vnParseResult vnDynamicTypeArgumentParser::endArray()
{
    if (m_outer.isEmpty())
        return VN_PARSE_ERROR;
    const vnDynamicTypeArray array(m_values);
    const unsigned int last = m_outer.getSize() - 1;
    m_values = std::move(m_outer[last]);
    m_outer.setSize(last);
    vnAppendResult(m_values, vnDynamicType(array));
    return VN_PARSE_OK;
}
