// SPDX-License-Identifier: MIT
#pragma once

#include "vnJsonOutput.h"
#include "vnScratchBlock.h"

#include <vnBase/vnDynamicType.h>

#include <dynamic/vnContainerBytes.h>
#include <dynamic/vnDynamicParts.h>

/// Writes a value as JSON text straight from its payload, without taking nested values out of it. Nesting
/// costs no stack.
class vnJsonWriter
{
public:
    /// `maxSize` is how many bytes of text may be written, but for the end of the value that passes it; 0 for
    /// any number.
    vnJsonWriter(vnSerializeAdapter& adapter, bool isStrict, unsigned int maxDepth, unsigned int maxSize)
        : m_output(adapter, maxSize), m_isStrict(isStrict), m_maxDepth(maxDepth), m_maxSize(maxSize)
    {
    }

    /// A payload that ends within the count or the attributes of a container throws `vnWarningError`.
    void write(const vnDynamicType& value);

    /// What could not be written as it is; empty for nothing. Where all of the text was too deep or too long
    /// the rest of it is missing; a single text that is too long is cut.
    const vnString& getError() const noexcept { return m_error; }

private:
    enum Kind
    {
        TEXT,
        NUMBER,
        INT64,
        ARRAY,
        CONTAINER,
        OTHER
    };

    using Span = vnDynamicSpan;
    using Entry = vnContainerBytes::Attribute;

    // An array or container that is being written.
    struct Level
    {
        Span rest;          // of an array: its elements to come
        vnUInt64 left;      // and how many there are
        unsigned int first; // of a container: its entries
        unsigned int next;
        unsigned int end;
        unsigned int indent;
        bool isArray;
        bool isFirst;
    };

    static Kind kindOf(const vnString& tag);
    static Kind kindOf(const char* tag, std::size_t length);
    void putEncoded(Span value, unsigned int indent);
    void putValue(Kind kind, Span payload, unsigned int indent);
    bool isOther(Kind kind) const noexcept;
    static Span spanOf(const vnString& text) noexcept;
    void putOther(const vnDynamicType& value);
    Level* openLevel(unsigned int indent);
    void putNext();
    void putElement(Level& level);
    void putMember(Level& level);
    void putLineStart(unsigned int indent);
    void openArray(Span payload, unsigned int indent);
    void openContainer(Span payload, unsigned int indent);
    void collectEntries(Span payload);
    void putText(Span payload);
    void putPlainText(Span text);
    void putQuoted(Span text);
    template <bool STRICT>
    void putEscaped(Span text);
    void putName(Span name, unsigned int indent);
    void putLatin(Span text);
    void putNumber(Span payload);
    char* putReal(char* to, double value);
    void putInt64(Span payload);
    void failForLength();
    template <class... Args>
    void fail(const char* format, const Args&... args);

    vnJsonOutput m_output;
    bool m_isStrict;
    bool m_isStopped = false;
    unsigned int m_maxDepth;
    unsigned int m_maxSize;
    vnString m_error; // the first one
    vnScratchBlock<Level> m_levels;
    vnScratchBlock<Entry> m_entries;
};
