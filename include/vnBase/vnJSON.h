// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBasicParser.h>
#include <vnBase/vnDynamicType.h>

/// Reads JSON text into dynamic values, and writes dynamic values as JSON text.
///
///     vnRefPointer<vnSerializeAdapter> in(vnSerializeAdapter::getURLAdapter("a.json", VN_SERIALIZE_INPUT));
///     vnJSON json;
///     json.read(in);
///     vnDynamicType value = json.getData();
///     if (json.hasError())
///         report(json.getError(), json.getLine(), json.getColumn());
///
/// A string becomes "str", a number "num", an array "array", and an object "cont", whose members stand in the
/// order of a `vnDynamicTypeContainer`. `true`, `false` and `null` become the texts "true", "false" and
/// "null", and the writer writes these three texts bare: a string "true" and the literal are one value.
///
/// By default the language is wider than JSON in places, and what is written is not always JSON: a text may
/// hold several values one behind the other, the elements of a top-level array are written without commas,
/// numbers with six decimals. docs/json.md lists it all. `setStrict` turns to exactly RFC 8259, in both
/// directions:
///
/// - One value, and nothing but what the grammar of the RFC allows, in well-formed UTF-8. Escapes that give
///   half a surrogate pair are refused.
/// - A number without fraction and exponent is an exact "llnum"; one beyond 64 bits, or a real one beyond a
///   double, is refused.
/// - The string "true" and the literal are told apart, and so are the others: they differ in how the payload
///   stores the text, while `getString` reads both the same.
///
/// In both modes a text of more than 65535 bytes is an error, and so is a NUL within a key. Of members with
/// one name the last one counts.
///
/// The text is read as bytes, or as UTF-16 behind a mark; each text has its own mark, and `useUnicode` is for
/// those without. Input that is not in memory is read block by block as it comes; the adapter is left behind
/// the last value, or at the fault. All that was read is in memory as values then, in some three times the
/// bytes of the text while it is read.
///
/// Errors: `hasError` and `getError`, where the text names the place in the source that refused, or says why;
/// `getLine` and `getColumn` say where in the input. As with any parser they stay until `reset`; the values
/// before a fault stay until the next `read`. A container whose bytes are damaged throws `vnWarningError`
/// when it is written.
///
/// Thread-safety: none; an instance belongs to one thread at a time.
class VN_BASE_API vnJSON : public vnBasicParser, public vnSerializeData, public vnTypeInterface
{
public:
    /// How deep values may be nested at the start. Reading and writing take no stack for it; a program that
    /// walks over values by recursion bears it on a stack of 8 MiB.
    static constexpr unsigned int VN_DEFAULT_MAX_DEPTH = 5000;

    vnJSON();
    VN_TYPE(vnJSON)
    ~vnJSON() noexcept(false) override;

    /// Writes the first of the values, and makes a void one if there is none: what `setData` set, or what was
    /// read. With the flag `VN_ADAPTER_UNICODE` on the adapter the text is UTF-16, little-endian.
    void write(vnSerializeAdapter* adapter) override;

    /// Reads all values that the adapter holds, and lets go of it: one that nobody else holds is deleted.
    /// Null does nothing.
    void read(vnSerializeAdapter* adapter) override;

    /// Does nothing.
    void pushBack(vnSerializeAdapter* adapter) override;

    /// 0: the size is not known ahead.
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    /// Makes a value the first and only one.
    void setData(const vnDynamicType& value);

    /// The value that was read, or an array of them when there are several. An error value with the text of
    /// `getError` if there is one, or with "Empty Result" when there is no value.
    vnDynamicType getData() const;

    /// The same, which leaves this object without a value, also when it has an error: large ones are not
    /// copied.
    vnDynamicType takeData();

    /// Writes a value that need not be set before.
    void writeValue(vnSerializeAdapter* adapter, const vnDynamicType& value);

    /// Exactly RFC 8259 for reading and writing; off at the start.
    void setStrict(unsigned char strict) noexcept { m_isStrict = strict; }
    unsigned char isStrict() const noexcept { return m_isStrict; }

    /// How deep arrays and objects may be nested, for reading and writing; at least 1.
    void setMaxDepth(unsigned int depth) noexcept { m_maxDepth = depth ? depth : 1; }
    unsigned int getMaxDepth() const noexcept { return m_maxDepth; }

    /// How many characters one `read` may take, and how many bytes of UTF-8, also when UTF-16 is written, one
    /// `write` may make; 0, as at the start, for any number. The value that goes beyond may still be written.
    /// For input from outside: a stream may never end, and the indentation of a deep document takes many
    /// times its bytes.
    void setMaxSize(unsigned int size) noexcept { m_maxSize = size; }
    unsigned int getMaxSize() const noexcept { return m_maxSize; }

private:
    unsigned char m_isStrict = 0;
    unsigned int m_maxDepth = VN_DEFAULT_MAX_DEPTH;
    unsigned int m_maxSize = 0;
    vnDynamicArray<vnDynamicType> m_results{1};
};
