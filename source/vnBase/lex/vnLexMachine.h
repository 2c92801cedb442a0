// SPDX-License-Identifier: MIT
#pragma once

#include "vnLexNumber.h"

#include <vnBase/vnSerializeLex.h>

/// Reads one token character by character: the state machine of the lexical reader.
class vnLexMachine
{
public:
    vnLexMachine(vnSerializeLex& lex, vnSerializeAdapter& adapter) noexcept : m_lex(lex), m_adapter(adapter)
    {
    }

    /// Reads a token into the reader, whose token is empty. On an exception it gives the bytes back.
    void run();

private:
    void readToken();

    enum State : unsigned char
    {
        START,
        IDENTIFIER,
        INTEGER,
        PLUS,
        MINUS,
        FRACTION,
        EXPONENT,
        EXPONENT_MARK,
        EXPONENT_PLUS,
        EXPONENT_MINUS,
        STRING,
        QUOTED,
        SET,
        STRING_ESCAPE,
        QUOTED_ESCAPE,
        SET_ESCAPE,
        SLASH,
        LINE_COMMENT,
        BLOCK_COMMENT,
        BLOCK_STAR,
        WHITESPACE,
        ZERO,
        HEX
    };

    // Each handles a character and answers whether the token is complete.
    bool step(char16_t c);
    bool start(char16_t c);
    bool startByCharacter(char16_t c);
    bool identifier(char16_t c);
    bool integer(char16_t c);
    bool sign(char16_t c);
    bool fraction(char16_t c);
    bool exponentMark(char16_t c);
    bool exponentSign(char16_t c);
    bool exponent(char16_t c);
    bool delimited(char16_t c);
    bool escape(char16_t c);
    bool slash(char16_t c);
    bool lineComment(char16_t c);
    bool blockComment(char16_t c);
    bool blockStar(char16_t c);
    bool zero(char16_t c);
    bool hex(char16_t c);

    void atEnd();
    bool enter(State state) noexcept
    {
        m_state = state;
        return false;
    }
    bool enterWith(State state, char16_t c)
    {
        m_state = state;
        return step(c);
    }
    void giveBack();
    void add(char16_t c);
    bool finishText(vnLexDataType type);
    bool finishNumber(vnLexDataType type, double value);
    bool finishInteger();
    bool finishReal();
    bool fail(vnLexError error);
    bool isDecimalToken(char16_t c) const noexcept;

    vnSerializeLex& m_lex;
    vnSerializeAdapter& m_adapter;
    State m_state = START;
    bool m_isFull = false;    // the text has reached the length of the longest string
    unsigned int m_class = 0; // of the character at hand
    vnLexNumber m_number;
};
