// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeLex.h>

/// What a function that parses answers.
enum vnParseResult : unsigned int
{
    VN_PARSE_ERROR = 0,   // the input or the grammar is wrong; the parser's error says how
    VN_PARSE_OK = 1,      // matched, and the input was consumed
    VN_PARSE_NO_MATCH = 2 // not here; the input stands where it was
};

/// Ends a parse from within: thrown through the functions of a parser, and caught by whoever runs the parse.
class VN_BASE_API vnBasicParseException
{
public:
    /// 0: the error of the parser is set. Other values are agreed between thrower and catcher.
    explicit vnBasicParseException(unsigned int value) noexcept : m_value(value) {}
    unsigned int getValue() const noexcept { return m_value; }

private:
    unsigned int m_value;
};

/// Reads characters from an adapter one after the other, and takes them back: the base of hand-written
/// parsers, and of the grammars of `vnParserFunction`.
///
///     vnBasicParser parser;
///     parser.setAdapter(adapter);
///     while (parser.parseIdentifier() == VN_PARSE_OK)
///         parser.skipAllWS();
///
/// Characters are bytes, or units of 16 bits for UTF-16 and UTF-8 input: a byte order mark decides at the
/// first character, or `useUnicode` and `useUtf8`. The last `getMaxBufferSize()` characters are remembered;
/// so many can be taken back, and be read as text.
///
/// The matchers (`parse...`) answer `VN_PARSE_OK`, or `VN_PARSE_NO_MATCH` with nothing consumed; also when
/// there is no more input.
///
/// Between the calls the adapter stands behind the last character consumed, so that others may read on.
///
/// Thread-safety: none; a parser belongs to one thread at a time.
class VN_BASE_API vnBasicParser
{
public:
    vnBasicParser();
    vnBasicParser(const vnBasicParser&) = delete;
    vnBasicParser& operator=(const vnBasicParser&) = delete;
    virtual ~vnBasicParser() noexcept(false);

    /// The input, which is held, and deleted when nobody else holds it in the end. Its length at this moment
    /// stands for 100 percent of the progress. What was read from the adapter before is still remembered;
    /// `reset` forgets it.
    void setAdapter(vnSerializeAdapter* adapter);
    vnSerializeAdapter* getAdapter() const noexcept { return m_adapter.get(); }
    unsigned char hasData();

    /// Takes the next character. Without input, and with `check`, it sets the error "Adapter out of Data" and
    /// throws `vnBasicParseException` with the value 0; without `check` it takes what the empty adapter
    /// gives.
    unsigned short getNextToken(unsigned char check);

    /// Gives the last `count` characters back to the adapter. More than are remembered throws `vnFatalError`.
    /// The column is exact up to one line feed back, since only the end of the last line is known.
    void pushBackTokens(unsigned int count);

    /// Whether the input goes on with these characters, which are consumed then.
    unsigned char checkTokens(const char16_t* text, unsigned int count, unsigned char ignoreCase);

    /// The characters consumed from token position `position` on; those that are no longer remembered are
    /// left out. Bytes come back as they were, other characters as UTF-8.
    vnString getTokenData(unsigned int position, unsigned short count);
    void getTokenData(vnArray<unsigned char>& data, unsigned int position, unsigned int count);

    /// Characters consumed since the start, modulo 2^32: a stream may be longer.
    unsigned int getTokenPos() const noexcept { return m_tokenPos; }

    /// Both count from 0.
    unsigned int getLine() const noexcept { return m_line; }
    void setLine(unsigned int line) noexcept { m_line = line; }
    unsigned int getColumn() const noexcept { return m_column; }
    void setColumn(unsigned int column) noexcept { m_column = column; }

    /// Clears the error, what is remembered, and all positions. Adapter and encoding stay.
    void reset();

    /// Goes on where another parser stands: takes its adapter, encoding, positions and progress over, and all
    /// that it remembers; so `getMaxBufferSize` becomes the larger one of both. Progress message and error
    /// stay.
    void continueParsingFrom(vnBasicParser* other);

    const vnString& getError() const noexcept { return m_error; }
    unsigned char hasError() const noexcept { return !m_error.isEmpty(); }
    template <class F, class... Args>
    void setError(const F& format, const Args&... args)
    {
        m_error.format(format, args...);
    }

    /// What `reportProgress` says is going on. Without it nothing is reported.
    template <class F, class... Args>
    void setProgressMessage(const F& format, const Args&... args)
    {
        m_progressMessage.format(format, args...);
    }
    unsigned char hasProgressMessage() const noexcept { return !m_progressMessage.isEmpty(); }
    void useProgress(unsigned char use) noexcept { m_useProgress = use; }
    unsigned char isUsingProgress() const noexcept { return m_useProgress; }

    /// Tells `vnProgress` how many percent are consumed, when that changed; with `force` that it is all.
    void reportProgress(unsigned char force);

    /// How many characters are remembered; 50,000 at the start.
    unsigned int getMaxBufferSize() const noexcept { return m_maxBufferSize; }
    void setMaxBufferSize(unsigned int characters) noexcept { m_maxBufferSize = characters; }

    /// The encoding of the input. See `vnSerializeLex`.
    void useUnicode(unsigned char use, unsigned char bigEndian = 1) noexcept;
    void useUtf8(unsigned char use) noexcept;

    /// "OK", "No Match", "Error", and "Unknown Error" for other values.
    static vnString parseResultString(vnParseResult result);

    /// Functions by name, of classes that have some. This one has none: it sets the error "Unknow parse
    /// function '%s'" and answers `VN_PARSE_ERROR`.
    vnParseResult parseFunction(const vnString& name);

    /// One character: an ASCII letter; a lower-case, an upper-case one; a digit; a hexadecimal digit; a
    /// letter or digit; any below 128; a control character (below 32, or 127).
    vnParseResult parseAlpha();
    vnParseResult parseLoAlpha();
    vnParseResult parseUpAlpha();
    vnParseResult parseDigit();
    vnParseResult parseHex();
    vnParseResult parseAlphaNum();
    vnParseResult parseChar();
    vnParseResult parseCTL();

    /// That character; of CRLF both.
    vnParseResult parseCR();
    vnParseResult parseLF();
    vnParseResult parseCRLF();
    vnParseResult parseHT();
    vnParseResult parseSP();

    vnParseResult parseWS();             // one blank or tab
    vnParseResult parseAllWS();          // at least one of blank, tab, CR, LF
    vnParseResult parseAllExceptWS();    // at least one other than those
    vnParseResult parseAllExceptCREOL(); // at least one other than CR and LF
    vnParseResult parseToCREOL();        // up to CR or LF, which stays; may be nothing
    vnParseResult parseToEOL();          // up to LF, which stays; may be nothing
    vnParseResult parsePlainText();      // up to blank, tab, CR or LF; may be nothing

    /// Always `VN_PARSE_OK`.
    vnParseResult skipToEOL();
    vnParseResult skipToCREOL();
    vnParseResult skipAllWS();
    vnParseResult skipWS();
    vnParseResult skipAllExceptCREOL();

    vnParseResult parseIdentifier();      // a letter, then letters, digits, "_"
    vnParseResult parsePlainIdentifier(); // letters

    /// A digit or a sign, then digits. A lone sign is one, too: callers read it as 0.
    vnParseResult parseInteger();

    /// Digits, perhaps with a sign before, and with a fraction and an exponent behind.
    vnParseResult parseNumber();

    /// A text between quotes of one kind. A backslash before the closing quote keeps it in the text.
    vnParseResult parseString();

    /// One character inside of a string or a set: the pair of a backslash and the closing character, or any
    /// other than the closing one. The escape forms match that pair only.
    vnParseResult parseQuoteToken();
    vnParseResult parseQuoteTokenEscape();
    vnParseResult parseSingleQuoteToken();
    vnParseResult parseSingleQuoteTokenEscape();
    vnParseResult parseSetToken();
    vnParseResult parseSetTokenEscape();

private:
    friend class vnParserCursor;
    friend class vnParserTakeover;
    friend class vnXmlInput;

    static constexpr unsigned int VN_MAX_BUFFER_SIZE = 50000;

    unsigned short takeToken();
    bool hasCharacter();
    void remember(char16_t character) noexcept;
    void makeHistoryRoom(unsigned int kept, unsigned int more);
    void flushTail();
    void giveBackHistory(unsigned int count);
    template <class Character>
    void undoLines(const Character* end, unsigned int count) noexcept;
    void checkPushBack(unsigned int count);
    const char16_t* findHistory(unsigned int position, unsigned int& count) const;
    bool checkInWindow(const char16_t* text, unsigned int count, bool& isEqual);
    bool isByteText() const noexcept;
    template <class Test>
    vnParseResult parseOne(const Test& isWanted);
    template <class Test>
    unsigned int skipWhile(const Test& isWanted);
    vnParseResult parseDelimitedToken(char16_t closing);
    vnParseResult parseDelimitedEscape(char16_t closing);
    unsigned int takeDigits();
    unsigned int takeOneOf(char16_t first, char16_t second);

    vnSerializeLex m_lexer{1, 1};
    vnString m_error;
    vnString m_progressMessage;
    vnRefPointer<vnSerializeAdapter> m_adapter;
    unsigned int m_progressTotal = 0;
    signed char m_lastPercent = -1;
    unsigned char m_useProgress = 1;
    bool m_isDetected = false; // whether the byte order mark was looked for
    unsigned int m_line = 0;
    unsigned int m_column = 0;
    unsigned int m_previousColumn = 0; // where the last line feed stood
    unsigned int m_tokenPos = 0;
    unsigned int m_lineBegin = 0; // no line feed was consumed at or behind this token position
    unsigned int m_maxBufferSize = VN_MAX_BUFFER_SIZE;

    // The characters consumed last: `m_remembered` of them can be taken back. They stand in the history up to
    // its end; but the last `m_tail` are bytes that still stand in front of the adapter's window. There is no
    // such tail while anybody but the parser could touch the adapter.
    vnDynamicArray<char16_t> m_history{64};
    unsigned int m_historyEnd = 0;
    unsigned int m_remembered = 0;
    unsigned int m_tail = 0;
};
