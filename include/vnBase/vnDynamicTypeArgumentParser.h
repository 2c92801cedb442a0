// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicType.h>
#include <vnBase/vnParserFunction.h>

/// Reads a list of arguments into dynamic values.
///
///     vnDynamicTypeArgumentParser parser;
///     vnArray<vnDynamicType> values = parser.parseArguments("12, 'text', [1, [2, 3]], yes");
///     if (parser.hasError())
///         report(parser.getError());
///
/// An argument is one of
///
///     12, -1.5e3           a number
///     "text", 'text'       a text, without its quotes; a backslash in it is one
///     yes, no, true, false the number 1 or 0, in any case
///     {6BA7B810-9DAD-11D1-80B4-00C04FD430C8}   a GUID
///     [1, 'a', [2]]        an array, never an empty one
///
/// with blanks around it, and commas part them. The rule "memory" recognises the name of a block of memory,
/// "mem:address,length".
///
/// Thread-safety: none.
class VN_BASE_API vnDynamicTypeArgumentParser : public vnParserFunction<vnDynamicTypeArgumentParser>
{
public:
    vnDynamicTypeArgumentParser();
    ~vnDynamicTypeArgumentParser() noexcept(false) override;

    /// The arguments in their order; those in front of the fault when there is one. `getError()` tells then:
    /// "Array not properly closed", or "Not All arguments were parsed". The empty text gives no arguments and
    /// no error; blanks alone give the latter.
    vnArray<vnDynamicType> parseArguments(const vnString& text);

private:
    using Values = vnDynamicArray<vnDynamicType>;

    vnParseResult pushNumber();
    vnParseResult pushString();
    vnParseResult pushBool();
    vnParseResult pushGUID();
    vnParseResult beginArray();
    vnParseResult endArray();

    Values m_values;
    vnDynamicArray<Values> m_outer{8}; // the lists that go on when an array ends
};
