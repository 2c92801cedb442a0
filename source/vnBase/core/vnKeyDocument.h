// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnString.h>

/// The kinds of values that a document of settings may hold. The library writes texts; the others come from
/// tools that bring settings of other systems along.
enum vnKeyValueType : unsigned short
{
    VN_KEY_VALUE_TEXT = 1,
    VN_KEY_VALUE_EXPANDABLE_TEXT = 2,
    VN_KEY_VALUE_BINARY = 3,
    VN_KEY_VALUE_NUMBER = 4,        // 4 bytes, little-endian
    VN_KEY_VALUE_LARGE_NUMBER = 11, // 8 bytes, little-endian
};

/// The settings of one root: values of any bytes under pairs of a key and a name of any bytes. It is kept as
/// the block of bytes that is its file, which a look-up searches where it stands, and never changes: a change
/// makes the bytes of a new one.
///
///     8 bytes   "vnKeys", then the version, 1, in 16 bits
///     4 bytes   size of the whole
///     4 bytes   number of entries
///     entries   type, sizes of key, name and value, 16 bits each; key, name, value
///     4 bytes   CRC-32 of all before it
///
/// Numbers are little-endian. The entries ascend by key and then name, each as unsigned bytes; none is there
/// twice.
///
/// Thread-safety: any thread may read one.
class vnKeyDocument
{
public:
    /// More is neither read nor written.
    static constexpr unsigned int VN_MAX_SIZE = 16 << 20;

    /// Bytes of the document.
    struct Text
    {
        Text(const vnString& text)
            : data(reinterpret_cast<const unsigned char*>(text.getString())), size(text.length())
        {
        }
        Text(const unsigned char* bytes, unsigned short count) : data(bytes), size(count) {}
        vnString asString() const { return vnString(reinterpret_cast<const char*>(data), size); }

        const unsigned char* data;
        unsigned short size;
    };
    struct Entry
    {
        unsigned short type;
        Text key;
        Text name;
        Text value;
    };

    /// One without entries.
    vnKeyDocument() = default;

    /// Takes the content of a file. Answers false, and is one without entries, when that is no document: cut
    /// off, damaged, of another version. A file without content is one without entries.
    bool read(vnArray<unsigned char> bytes);

    unsigned int getCount() const noexcept { return m_offsets.getSize(); }
    Entry getEntry(unsigned int index) const;

    /// Whether the pair is there; its index goes to `index`, or that of the entry which it would stand
    /// before.
    bool find(const Text& key, const Text& name, unsigned int& index) const;

    /// The bytes of this document with the text as the value of the pair, and without that entry. None when
    /// they would be too many.
    vnArray<unsigned char> createWith(const Text& key, const Text& name, const Text& value) const;
    vnArray<unsigned char> createWithout(unsigned int index) const;

    /// The value as a text: numbers as decimal digits, anything unknown as nothing.
    static vnString valueText(const Entry& entry);

private:
    bool index();
    unsigned int endOfEntries() const noexcept;
    unsigned int offsetOf(unsigned int index) const;
    vnArray<unsigned char> splice(unsigned int begin, unsigned int end, const Entry* entry) const;

    vnArray<unsigned char> m_bytes;
    vnArray<unsigned int> m_offsets;
};
