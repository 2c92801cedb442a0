// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnDynamicType.h>
#include <vnBase/vnSerializeAdapter.h>

#include <cstring>

/// The kinds of tokens: single bits, so that a token can be tested against a mask of some, joined with `|`.
enum vnLexDataType : unsigned int
{
    VN_LEX_NONE = 0,             // no token: the end of the input
    VN_LEX_TOKEN = 0x1,          // a single character; its code
    VN_LEX_IDENTIFIER = 0x2,     // the text
    VN_LEX_STRING = 0x4,         // the text between double quotes
    VN_LEX_QUOTED = 0x8,         // the text between single quotes
    VN_LEX_INTEGER = 0x10,       // a number of at most 32 bits of magnitude, as a double
    VN_LEX_REAL = 0x20,          // a number
    VN_LEX_LARGE_INTEGER = 0x40, // a `vnDynamicTypeInt64`
    VN_LEX_COMMENT = 0x80,       // the text without its markers
    VN_LEX_WHITESPACE = 0x100,   // the number 32
    VN_LEX_ERROR = 0x200,        // a code of `vnLexError`
    VN_LEX_SET = 0x400           // the text between square brackets
};

constexpr vnLexDataType operator|(vnLexDataType left, vnLexDataType right) noexcept
{
    return static_cast<vnLexDataType>(static_cast<unsigned int>(left) | right);
}

/// Bits of the adapter flags by which the readers of a stream tell each other what its mark said.
enum : vnUInt64
{
    VN_ADAPTER_UNICODE = 0x2,   // the text is 16-bit
    VN_ADAPTER_BIG_ENDIAN = 0x4 // and its units are big-endian
};

/// What is wrong with a token of the kind `VN_LEX_ERROR`.
enum vnLexError : unsigned int
{
    VN_LEX_ERROR_COMMENT = 3,  // a block comment without an end
    VN_LEX_ERROR_EXPONENT = 5, // an exponent without digits
    VN_LEX_ERROR_STRING = 6,   // a string without an end
    VN_LEX_ERROR_SET = 7       // a set without an end
};

/// One token.
struct vnLexTokenData
{
    vnLexDataType type = VN_LEX_NONE;
    vnDynamicType data;
};

/// Reads one token at a time from a stream: numbers, identifiers, quoted strings, bracketed sets, comments,
/// white space, single characters.
///
///     vnSerializeLex lex;
///     for (lex.read(adapter); lex.getDataType() != VN_LEX_NONE; lex.read(adapter))
///         use(lex.getDataType(), lex.getData());
///
/// The characters are bytes, UTF-16 of either order or UTF-8 (up to U+FFFF); a byte order mark decides when
/// its detection is on. The raw bytes of the current token are kept, so that it can be given back to the
/// stream, byte for byte, and be read again with other settings. A malformed token is a token too: an error
/// with a code.
///
/// The value of a token is made when it is first asked for. Its text ends at the longest text that a
/// `vnString` holds; the bytes of the token are kept all the same.
///
/// Bytes that a token did not need are left to the adapter, or given back to it, so that others can go on
/// where the token ended.
///
/// The input ends where the adapter has no more (`hasData`), whatever its length tells: a pipe is read to its
/// end, and waited for while its writer pauses. Of a source that may still get data and answers without
/// waiting, the end is where it has none now, and a token may be cut there.
///
/// Memory: a token takes what its bytes take. `setMaxScanTokens` bounds what is read from a stream from
/// outside. Exhausted memory throws `std::bad_alloc`.
///
/// Thread-safety: none, for constant operations either; one reader belongs to one thread.
class VN_BASE_API vnSerializeLex : public vnSerializeData
{
public:
    explicit vnSerializeLex(unsigned char detectUnicode = 0, unsigned char detectUtf8 = 0);
    vnSerializeLex(const vnSerializeLex&) = default;
    vnSerializeLex& operator=(const vnSerializeLex&) = default;

    /// Reads the next token. When the source throws, or what else is called meanwhile, the bytes of the token
    /// are given back first.
    void read(vnSerializeAdapter* adapter) override;

    /// Writes the current token: a character as one byte, an identifier or a string as its text without
    /// quotes, nothing for the other kinds. The first write of a reader that detects marks and has not read
    /// yet begins with the mark. The bytes of the token are forgotten.
    void write(vnSerializeAdapter* adapter) override;

    /// Gives all bytes of the current token back, byte for byte as they came, and renews what
    /// `setMaxScanTokens` allowed. Kind and value stay. Like bytes that were not read yet, they may be gone
    /// after a `seek` of the adapter.
    void pushBack(vnSerializeAdapter* adapter) override;

    /// Gives one character back in its raw form.
    void pushBack(vnSerializeAdapter* adapter, char16_t character);

    /// 0: what a token takes is not known before it is read.
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    vnLexDataType getDataType() const noexcept { return m_token.type; }
    const vnDynamicType& getData() const
    {
        if (m_value != Value::READY)
            makeValue();
        return m_token.data;
    }
    const vnLexTokenData& getTokenData() const
    {
        getData();
        return m_token;
    }

    /// Adds a character to the bytes of the current token in raw form, and gives the last one back to the
    /// stream.
    void qPush(unsigned short character);
    void qPushBack(vnSerializeAdapter* adapter);

    /// Reads one character, and the mark before the first one. Bytes that are no UTF-8 post a Warning and
    /// give 0.
    char16_t getLexToken(vnSerializeAdapter* adapter);

    /// Whether there is a whole character for `getLexToken`. The mark is taken first, so that a stream of
    /// nothing else has none.
    unsigned char hasLexToken(vnSerializeAdapter* adapter);

    /// The bytes of the current token as text.
    vnString getScannedBuffer() const;

    /// What a character is, as a mask of `VN_CLASS_...`.
    unsigned int getEncoding(char16_t character) const noexcept;

    /// Bytes of a character: 2 for 16-bit text, 1 otherwise.
    unsigned int getTokenSize() const noexcept;

    /// The bytes that may still be read, 4 GiB at the start; each lowers it, and bytes given back raise it
    /// again. At 0, as at the end of the stream, there are no more tokens.
    void setMaxScanTokens(unsigned int bytes) noexcept { m_budget = bytes; }

    /// The character that starts a fraction, "." at the start; 9999 takes "." and ",".
    void useDecimalToken(unsigned short character) noexcept { m_decimalToken = character; }
    static constexpr unsigned short VN_DECIMAL_BOTH = 9999;

    void useHashComment(unsigned char use) noexcept;  // "#" to the end of the line; off
    void useSlashComment(unsigned char use) noexcept; // "//" to the end of the line; on
    void useComment(unsigned char use) noexcept;      // "/*" to "*/"; on
    void useStrings(unsigned char use) noexcept;      // quotes start strings; off
    void useSet(unsigned char use) noexcept;          // "[" starts a set; off

    /// Escapes in strings and sets are decoded; on. Off, they stay, and control characters are stored in
    /// their written form, so that a text can be written back as it was.
    void useEscape(unsigned char use) noexcept;

    /// 16-bit characters of the given order; turns UTF-8 off. And the reverse.
    void useUnicode(unsigned char use, unsigned char bigEndian = 1) noexcept;
    void useUtf8(unsigned char use) noexcept;
    unsigned char isUnicode() const noexcept;
    unsigned char isUtf8() const noexcept;

    void usePlainIdentifier(unsigned char use) noexcept; // no digits and no "_" in identifiers; off
    void useTokensOnly(unsigned char use) noexcept;      // every character is a token; off
    void useHexMode(unsigned char use) noexcept;         // a hexadecimal digit starts a number; off

    /// 1 when token `index` is there, is of a kind in the mask, and has this value; the other form hands its
    /// value out. Values are equal as dynamic values are: one made from an interned string holds its id and
    /// equals no text of a stream.
    static unsigned char checkLexToken(const vnArray<vnLexTokenData>& tokens, unsigned int index,
                                       const vnLexDataType& mask, const vnDynamicType& value);
    static unsigned char checkLexToken(const vnArray<vnLexTokenData>& tokens, unsigned int index,
                                       const vnLexDataType& mask, vnDynamicType* value);

    enum : unsigned int
    {
        VN_CLASS_WHITESPACE = 0x1,
        VN_CLASS_BINARY = 0x2,
        VN_CLASS_OCTAL = 0x4,
        VN_CLASS_HEX = 0x8,
        VN_CLASS_LETTER = 0x10, // also every code above 127
        VN_CLASS_DECIMAL = 0x20,
        VN_CLASS_IDENTIFIER_START = 0x40,
        VN_CLASS_IDENTIFIER = 0x80,
        VN_CLASS_LOWER_HEX = 0x100,
        VN_CLASS_UPPER_HEX = 0x200
    };

protected:
    /// Accounts for bytes of the stream that were read or given back elsewhere.
    void spend(unsigned int bytes) noexcept { m_budget -= bytes < m_budget ? bytes : m_budget; }
    void refund(unsigned int bytes) noexcept
    {
        m_budget += bytes < 0xFFFFFFFFu - m_budget ? bytes : 0xFFFFFFFFu - m_budget;
    }

private:
    friend class vnLexMachine;

    // Bytes in a row, in a block that grows with them and stays.
    class VN_BASE_API Bytes
    {
    public:
        void clear() noexcept { m_count = 0; }
        void cut(unsigned int count) noexcept { m_count = count; }
        unsigned int getCount() const noexcept { return m_count; }
        const unsigned char* data() const noexcept { return m_storage.data(); }
        void reserve(unsigned int more)
        {
            if (m_storage.getSize() - m_count < more)
                grow(more);
        }
        void push(unsigned char byte)
        {
            reserve(1);
            m_storage.data()[m_count++] = byte;
        }
        void append(const unsigned char* bytes, unsigned int count)
        {
            reserve(count);
            std::memcpy(m_storage.data() + m_count, bytes, count);
            m_count += count;
        }

    private:
        void grow(unsigned int more);

        vnDynamicArray<unsigned char> m_storage{64};
        unsigned int m_count = 0;
    };

    // A character as it stands on a stream.
    struct Raw
    {
        unsigned char bytes[3];
        unsigned char size;
        bool isFaulty; // not well-formed
    };

    // What the value of the current token is made from.
    enum class Value : unsigned char
    {
        READY,   // it is made
        NOTHING, // void
        NUMBER,  // m_number
        INT64,   // m_int64
        SCANNED, // a text: m_textLength bytes of m_scanned
        TEXT     // m_text
    };

    void setOption(unsigned int option, unsigned char use) noexcept;
    void makeValue() const;
    void keepValue();
    void setText(vnLexDataType type, Value value) noexcept;
    void setNumber(vnLexDataType type, double number) noexcept;
    void setInteger(vnUInt64 magnitude, bool isNegative) noexcept;
    bool readInWindow(vnSerializeAdapter& adapter);
    bool take(vnSerializeAdapter& adapter, const unsigned char* end);
    bool takeText(vnSerializeAdapter& adapter, const unsigned char* end, vnLexDataType type,
                  unsigned int before, unsigned int behind);
    bool takeDelimited(vnSerializeAdapter& adapter, const unsigned char* end, unsigned char delimiter,
                       vnLexDataType type);
    bool takeComment(vnSerializeAdapter& adapter, const unsigned char* end);
    bool takeInteger(vnSerializeAdapter& adapter, const unsigned char* end);
    bool isPlain(const unsigned char* begin, const unsigned char* end) const noexcept;
    bool hasCharacter(vnSerializeAdapter& adapter) const;
    void detect(vnSerializeAdapter& adapter);
    bool detectUnicode(vnSerializeAdapter& adapter);
    Raw encode(char16_t character) const noexcept;
    static void warnOfFault();
    char16_t readCharacter(vnSerializeAdapter& adapter, Raw& raw);
    char16_t decodeUtf8(vnSerializeAdapter& adapter, Raw& raw);
    bool readMore(vnSerializeAdapter& adapter, Raw& raw);
    void giveBack(vnSerializeAdapter& adapter, unsigned int count);
    unsigned int getLastSize() const noexcept;

    mutable vnLexTokenData m_token;
    mutable Value m_value = Value::READY;
    unsigned char m_lastSize = 0; // of the last character of m_scanned; 0 when that must be found out
    unsigned short m_decimalToken = '.';
    unsigned int m_options;
    unsigned int m_budget = 0xFFFFFFFFu;
    unsigned int m_textBegin = 0;
    unsigned int m_textLength = 0;
    double m_number = 0;
    vnInt64 m_int64 = 0;
    Bytes m_scanned; // the raw bytes of the current token; those given back stay behind its end
    Bytes m_text;    // the text of a token that does not stand in m_scanned as it is
};

/// The tokens of a text, up to its end. With `skipWhiteSpace` those of white space are left out.
VN_BASE_API vnArray<vnLexTokenData> getLexTokenDataArray(const char* text, unsigned char skipWhiteSpace);
