// SPDX-License-Identifier: MIT
#include "vnLexMachine.h"

#include "vnCharacter.h"
#include "vnLexClass.h"

using vnCharacter::isDigit;

namespace
{
// Of a character that is one.
unsigned int digitOf(char16_t c)
{
    return static_cast<unsigned int>(vnCharacter::hexValue(c));
}
} // namespace

void vnLexMachine::run()
{
    try
    {
        readToken();
    }
    catch (...)
    {
        m_lex.pushBack(&m_adapter); // half a token would be another one
        throw;
    }
}

void vnLexMachine::readToken()
{
    m_lex.m_text.clear();
    if ((m_lex.m_options & VN_LEX_PENDING) && m_lex.hasCharacter(m_adapter))
        m_lex.detect(m_adapter);
    while (m_lex.hasCharacter(m_adapter))
    {
        vnSerializeLex::Raw raw;
        m_lex.m_scanned.reserve(sizeof raw.bytes); // what was read must not get lost for want of room
        const char16_t c = m_lex.readCharacter(m_adapter, raw);
        m_lex.m_scanned.append(raw.bytes, raw.size);
        m_lex.m_lastSize = raw.size;
        if (raw.isFaulty)
            vnSerializeLex::warnOfFault(); // behind that: what it calls may throw
        m_class = m_lex.getEncoding(c);
        if (step(c))
            return;
    }
    atEnd();
}

bool vnLexMachine::step(char16_t c)
{
    using Step = bool (vnLexMachine::*)(char16_t);
    static constexpr Step steps[] = {
        &vnLexMachine::start,        &vnLexMachine::identifier,   &vnLexMachine::integer,
        &vnLexMachine::sign,         &vnLexMachine::sign,         &vnLexMachine::fraction,
        &vnLexMachine::exponent,     &vnLexMachine::exponentMark, &vnLexMachine::exponentSign,
        &vnLexMachine::exponentSign, &vnLexMachine::delimited,    &vnLexMachine::delimited,
        &vnLexMachine::delimited,    &vnLexMachine::escape,       &vnLexMachine::escape,
        &vnLexMachine::escape,       &vnLexMachine::slash,        &vnLexMachine::lineComment,
        &vnLexMachine::blockComment, &vnLexMachine::blockStar,    &vnLexMachine::start,
        &vnLexMachine::zero,         &vnLexMachine::hex};
    static_assert(sizeof steps / sizeof *steps == HEX + 1);
    if (m_state != WHITESPACE)
        return (this->*steps[m_state])(c);
    if (m_class & vnSerializeLex::VN_CLASS_WHITESPACE)
        return false;
    giveBack();
    return finishNumber(VN_LEX_WHITESPACE, ' ');
}

bool vnLexMachine::start(char16_t c)
{
    const unsigned int options = m_lex.m_options;
    if (options & VN_LEX_TOKENS_ONLY)
        return finishNumber(VN_LEX_TOKEN, c);
    if ((options & VN_LEX_HEX_MODE) && (m_class & vnSerializeLex::VN_CLASS_HEX))
        return enterWith(HEX, c);
    if (m_class & vnSerializeLex::VN_CLASS_IDENTIFIER_START)
        return enterWith(IDENTIFIER, c);
    if (c == '0')
        return enter(ZERO);
    if (m_class & vnSerializeLex::VN_CLASS_DECIMAL)
        return enterWith(INTEGER, c);
    if (m_class & vnSerializeLex::VN_CLASS_WHITESPACE)
        return enter(WHITESPACE);
    return startByCharacter(c);
}

bool vnLexMachine::startByCharacter(char16_t c)
{
    struct Row
    {
        char character;
        unsigned int option; // 0: always
        State state;
    };
    static constexpr Row rows[] = {{'"', VN_LEX_STRINGS, STRING},
                                   {'\'', VN_LEX_STRINGS, QUOTED},
                                   {'[', VN_LEX_SETS, SET},
                                   {'+', 0, PLUS},
                                   {'-', 0, MINUS},
                                   {'/', 0, SLASH},
                                   {'#', VN_LEX_HASH_COMMENT, LINE_COMMENT}};
    for (const Row& row : rows)
        if (c == static_cast<char16_t>(row.character) && (m_lex.m_options & row.option) == row.option)
            return enter(row.state);
    return finishNumber(VN_LEX_TOKEN, c);
}

bool vnLexMachine::identifier(char16_t c)
{
    if (m_class & vnSerializeLex::VN_CLASS_IDENTIFIER)
    {
        add(c);
        return false;
    }
    giveBack();
    return finishText(VN_LEX_IDENTIFIER);
}

bool vnLexMachine::integer(char16_t c)
{
    if (isDigit(c))
    {
        m_number.addDigit(digitOf(c));
        return false;
    }
    if (isDecimalToken(c))
        return enter(FRACTION);
    if (c == 'e' || c == 'E')
        return enter(EXPONENT_MARK);
    giveBack();
    return finishInteger();
}

bool vnLexMachine::sign(char16_t c)
{
    const bool isMinus = m_state == MINUS;
    if (isDigit(c))
    {
        if (isMinus)
            m_number.setNegative();
        return c == '0' ? enter(ZERO) : enterWith(INTEGER, c);
    }
    giveBack();
    return finishNumber(VN_LEX_TOKEN, isMinus ? '-' : '+');
}

bool vnLexMachine::fraction(char16_t c)
{
    if (isDigit(c))
    {
        m_number.addFractionDigit(digitOf(c));
        return false;
    }
    if (c == 'e' || c == 'E')
        return enter(EXPONENT_MARK);
    giveBack();
    return finishReal();
}

bool vnLexMachine::exponentMark(char16_t c)
{
    if (c == '+')
        return enter(EXPONENT_PLUS);
    if (c == '-')
        return enter(EXPONENT_MINUS);
    return exponentSign(c);
}

bool vnLexMachine::exponentSign(char16_t c)
{
    if (!isDigit(c))
    {
        giveBack();
        return fail(VN_LEX_ERROR_EXPONENT);
    }
    if (m_state == EXPONENT_MINUS)
        m_number.setExponentNegative();
    return enterWith(EXPONENT, c);
}

bool vnLexMachine::exponent(char16_t c)
{
    if (isDigit(c))
    {
        m_number.addExponentDigit(digitOf(c));
        return false;
    }
    giveBack();
    return finishReal();
}

bool vnLexMachine::delimited(char16_t c)
{
    struct Row
    {
        char16_t delimiter;
        vnLexDataType type;
    };
    static constexpr Row rows[] = {{'"', VN_LEX_STRING}, {'\'', VN_LEX_QUOTED}, {']', VN_LEX_SET}};
    const Row& row = rows[m_state - STRING];
    if (c == row.delimiter)
        return finishText(row.type);
    if (c == '\\')
        return enter(static_cast<State>(m_state + (STRING_ESCAPE - STRING)));
    // Deliberately the other way round than it seems: without decoding, control characters are stored in
    // their written form, so that a text can be read with its escapes intact and be written back.
    const char letter = m_lex.m_options & VN_LEX_ESCAPES ? '\0' : vnControlLetter(c);
    if (letter)
        add('\\');
    add(letter ? static_cast<char16_t>(letter) : c);
    return false;
}

bool vnLexMachine::escape(char16_t c)
{
    if (m_lex.m_options & VN_LEX_ESCAPES)
        add(vnCharacter::unescaped(c));
    else
    {
        add('\\');
        add(c);
    }
    return enter(static_cast<State>(m_state - (STRING_ESCAPE - STRING)));
}

bool vnLexMachine::slash(char16_t c)
{
    if (c == '/' && (m_lex.m_options & VN_LEX_SLASH_COMMENT))
        return enter(LINE_COMMENT);
    if (c == '*' && (m_lex.m_options & VN_LEX_BLOCK_COMMENT))
        return enter(BLOCK_COMMENT);
    giveBack();
    return finishNumber(VN_LEX_TOKEN, '/');
}

bool vnLexMachine::lineComment(char16_t c)
{
    if (c != '\n')
    {
        add(c);
        return false;
    }
    giveBack();
    return finishText(VN_LEX_COMMENT);
}

bool vnLexMachine::blockComment(char16_t c)
{
    if (c == '*')
        return enter(BLOCK_STAR);
    add(c);
    return false;
}

bool vnLexMachine::blockStar(char16_t c)
{
    if (c == '/')
        return finishText(VN_LEX_COMMENT);
    add('*');
    return enterWith(BLOCK_COMMENT, c);
}

bool vnLexMachine::zero(char16_t c)
{
    return c == 'x' || c == 'X' ? enter(HEX) : enterWith(INTEGER, c);
}

bool vnLexMachine::hex(char16_t c)
{
    if (m_class & vnSerializeLex::VN_CLASS_HEX)
    {
        m_number.addHexDigit(digitOf(c));
        return false;
    }
    giveBack();
    return finishInteger();
}

void vnLexMachine::atEnd()
{
    switch (m_state)
    {
    case START:
        break;
    case IDENTIFIER:
        finishText(VN_LEX_IDENTIFIER);
        break;
    case INTEGER:
    case ZERO:
    case HEX:
        finishInteger();
        break;
    case PLUS:
        finishNumber(VN_LEX_TOKEN, '+');
        break;
    case MINUS:
        finishNumber(VN_LEX_TOKEN, '-');
        break;
    case SLASH:
        finishNumber(VN_LEX_TOKEN, '/');
        break;
    case FRACTION:
    case EXPONENT:
        finishReal();
        break;
    case EXPONENT_MARK:
    case EXPONENT_PLUS:
    case EXPONENT_MINUS:
        fail(VN_LEX_ERROR_EXPONENT);
        break;
    case STRING:
    case QUOTED:
    case STRING_ESCAPE:
    case QUOTED_ESCAPE:
        fail(VN_LEX_ERROR_STRING);
        break;
    case SET:
    case SET_ESCAPE:
        fail(VN_LEX_ERROR_SET);
        break;
    case LINE_COMMENT:
        finishText(VN_LEX_COMMENT);
        break;
    case BLOCK_COMMENT:
    case BLOCK_STAR:
        fail(VN_LEX_ERROR_COMMENT);
        break;
    case WHITESPACE:
        finishNumber(VN_LEX_WHITESPACE, ' ');
        break;
    }
}

void vnLexMachine::giveBack()
{
    m_lex.giveBack(m_adapter, m_lex.m_lastSize);
}

// In byte mode a byte stays what it is; the text of the other modes is UTF-8. A text that is full stays so:
// what comes behind must not close up to it.
void vnLexMachine::add(char16_t c)
{
    vnSerializeLex::Bytes& text = m_lex.m_text;
    char bytes[6] = {static_cast<char>(c)};
    const bool isByte = c < 0x80 || !(m_lex.m_options & (VN_LEX_UNICODE | VN_LEX_UTF8));
    const unsigned int size = isByte ? 1 : vnUInt32ToUTF8(bytes, c);
    m_isFull = m_isFull || text.getCount() + size > vnString::VN_MAX_LENGTH;
    if (!m_isFull)
        text.append(reinterpret_cast<const unsigned char*>(bytes), size);
}

bool vnLexMachine::finishText(vnLexDataType type)
{
    m_lex.setText(type, vnSerializeLex::Value::TEXT);
    return true;
}

bool vnLexMachine::finishNumber(vnLexDataType type, double value)
{
    m_lex.setNumber(type, value);
    return true;
}

bool vnLexMachine::finishInteger()
{
    m_lex.setInteger(m_number.getMagnitude(), m_number.isNegative());
    return true;
}

bool vnLexMachine::finishReal()
{
    return finishNumber(VN_LEX_REAL, m_number.getReal());
}

bool vnLexMachine::fail(vnLexError error)
{
    return finishNumber(VN_LEX_ERROR, error);
}

bool vnLexMachine::isDecimalToken(char16_t c) const noexcept
{
    if (m_lex.m_decimalToken == vnSerializeLex::VN_DECIMAL_BOTH)
        return c == '.' || c == ',';
    return c == m_lex.m_decimalToken;
}
