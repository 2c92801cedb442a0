// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnParserFunction.h>
#include <vnBase/vnReference.h>

/// Takes a text apart by a format, as scanf does, but into texts. Answers the pieces in their order; after a
/// mismatch those before it. `ok`, which may be null, receives whether the text matched; what stands behind
/// the match is not looked at.
///
///     unsigned char ok = 0;
///     vnArray<vnString> size = parse("%l x %l", "640 x 480", &ok); // "640", "480"
///
/// The text of a format stands for itself, blanks too. A "%" with a letter behind it is
///
///     %l    an integer              %i    an identifier           %e    the rest of the text
///     %n    a number                %p    a word of letters       %t    any one character
///     %x    hexadecimal digits      %s    a quoted string, without its quotes
///     %w    any white space; no piece
///
/// and a format may hold parts of a grammar (see `vnParserFunction`):
///
///     %$ %* %+ %?   that operator   %%         a percent sign
///     %"a|b"        raw grammar     %'a-z'     a mark and a set
///     %@            the text from the last mark on as a piece
///
/// so that "%'a-z'%+%@" takes a run of small letters. Behind any other character the "%" stands for itself. A
/// quoted text in a format is taken literally with its quotes. The empty format matches any text, without
/// pieces.
///
/// `decimal` starts the fraction of a %n. A format that is no grammar, such as one with %"(", matches
/// nothing; one that is longer than the library's texts get is refused with a Warning.
///
/// A format is compiled when a thread first uses it, and kept until the thread ends.
///
/// Thread-safety: any thread.
VN_BASE_API vnArray<vnString> parse(const vnString& format, const vnString& text, unsigned char* ok = nullptr,
                                    unsigned short decimal = '.');

/// Grammars whose result is a list of texts. Beside the rules that are given, rules can use
///
///     fPush      the text from the last mark on is a result; without a mark, all that was consumed
///     fPushStr   the same without its first and last character
///     fWS        white space                fInt    an integer           fHexS   a hexadecimal digit
///     fIdent     an identifier              fNum    a number             fHex    several of them
///     fPlain     letters                    digit   a digit              fStr    a quoted string
///     fToken     any character              fEnd    all that is left
///
/// A result of more than 65535 bytes is an error. fHex, fStr, fToken and fEnd are rules: they replace those
/// of the same name that the constructor is given, and are replaced by those that are added later.
///
///     vnStringParser parser("main ::= ($ fIdent fPush fWS?)* ;");
///     parser.setAdapter(adapter);
///     vnArray<vnString> words = parser.parseArguments("main", &ok);
///
/// Thread-safety: none.
class VN_BASE_API vnStringParser : public vnParserFunction<vnStringParser, vnBasicParser>, public vnReference
{
public:
    explicit vnStringParser(const vnString& rules);
    VN_TYPE(vnStringParser)
    ~vnStringParser() noexcept(false) override;

    /// Parsers are shared, never copied.
    unsigned char useDeepCopy() override { return 0; }

    /// Runs a rule where the adapter stands, and answers the results. The rule need not use up the input.
    /// `ok` may be null.
    vnArray<vnString> parseArguments(const vnString& rule, unsigned char* ok);

    /// Forgets the formats that the calling thread has compiled for `parse`.
    static void cleanUpParsers();

private:
    vnParseResult push();
    vnParseResult pushInner();

    vnDynamicArray<vnString> m_results{100};
};
