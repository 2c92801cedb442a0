// SPDX-License-Identifier: MIT
#include <dynamic/vnDynamicWire.h>

#include <vnBase/vnMessage.h>
#include <vnBase/vnUniqueString.h>
#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnStreamEnd.h>
#include <serialize/vnAdapterError.h>
#include <serialize/vnAdapterWindow.h>
#include <serialize/vnTextReader.h>

#include <algorithm>

namespace
{
// How much is believed of a size without knowing that the data are there.
constexpr unsigned int trustedSize = 4096;

bool startsWithMarker(const vnString& tag)
{
    return static_cast<unsigned char>(tag.getString()[0]) == vnDynamicWire::marker;
}

void setUnknownId(vnSerializeAdapter* adapter, unsigned short id)
{
    adapter->setError(vnString::formatString(vnTranslated(vnDynamicWire::unknownId), id));
}

// The bytes before a payload, in a block of their own only when a tag is that long.
class Head
{
public:
    explicit Head(std::size_t size)
        : m_long(size > sizeof m_small ? vnCheckedSize(size) : 0), m_size(static_cast<unsigned int>(size))
    {
    }
    unsigned char* data() { return m_long.isEmpty() ? m_small : m_long.data(); }
    unsigned int getSize() const { return m_size; }

private:
    unsigned char m_small[64];
    vnArray<unsigned char> m_long;
    unsigned int m_size;
};
} // namespace

class vnDynamicWire::AdapterSource
{
public:
    explicit AdapterSource(vnSerializeAdapter* adapter) : m_adapter(adapter) {}

    unsigned char byte() { return m_adapter->read(); }

    // A text whose first byte was read already.
    void textFrom(unsigned char first, vnString& to) { vnReadText(m_adapter, 0, to, first); }
    void text(vnString& to) { vnReadText(m_adapter, 0, to); }

    vnUInt64 size()
    {
        vnVarUInt64 item;
        item.read(m_adapter);
        return item;
    }

    void bytes(vnDynamicPayload& payload, vnUInt64 size)
    {
        if (size <= trustedSize || (size <= 0xFFFFFFFFu && size <= m_adapter->length()))
        {
            const auto count = static_cast<unsigned int>(size);
            unsigned char* to = payload.resize(count);
            if (count)
                payload.cut(m_adapter->read(to, count));
            return;
        }
        // As memory is taken only for what has come, a size that lies costs nothing.
        vnDynamicArray<unsigned char> collected(trustedSize);
        vnUInt64 step = trustedSize;
        for (unsigned int got = 0; size > 0; size -= got)
        {
            const unsigned int old = collected.getSize();
            const auto wanted = static_cast<unsigned int>(std::min(size, step));
            collected.setSize(vnCheckedSize(static_cast<std::size_t>(old) + wanted));
            got = m_adapter->read(collected.data() + old, wanted);
            collected.setSize(old + got);
            if (got < wanted)
                break;
            step = std::min<vnUInt64>(2 * step, 1u << 30);
        }
        payload = vnDynamicPayload(collected.data(), collected.getSize());
    }

    void refuse(unsigned short id) { setUnknownId(m_adapter, id); }
    vnSerializeAdapter* getAdapter() const { return m_adapter; }

private:
    vnSerializeAdapter* m_adapter;
};

// Notices the end, which most sources answer in ways of their own.
class vnDynamicWire::CheckedSource : public AdapterSource
{
public:
    using AdapterSource::AdapterSource;

    unsigned char byte() { return hasNext() ? AdapterSource::byte() : 0; }
    vnUInt64 size()
    {
        vnUInt64 size = 0;
        unsigned char last = 0x80;
        for (unsigned int shift = 0; (last & 0x80) && hasNext(); shift = std::min(shift + 7, 64u))
        {
            last = AdapterSource::byte();
            if (shift < 64)
                size |= static_cast<vnUInt64>(last & 0x7F) << shift;
        }
        return size;
    }
    void bytes(vnDynamicPayload& payload, vnUInt64 size)
    {
        const bool mayBeThere =
            size <= 0xFFFFFFFFu && vnMayHold(getAdapter(), static_cast<unsigned int>(size));
        AdapterSource::bytes(payload, mayBeThere ? size : getAdapter()->length());
        m_isWhole = m_isWhole && payload.getSize() == size;
    }
    bool isWhole() const { return m_isWhole; }

private:
    bool hasNext()
    {
        m_isWhole = m_isWhole && getAdapter()->hasData();
        return m_isWhole;
    }

    bool m_isWhole = true;
};

class vnDynamicWire::MemorySource
{
public:
    // `adapter` is the one whose window this is; null for a value inside of a value.
    MemorySource(const unsigned char* from, const unsigned char* end, vnSerializeAdapter* adapter)
        : m_next(from), m_end(end), m_adapter(adapter)
    {
    }

    const unsigned char* next() const { return m_next; }
    unsigned char byte() { return m_next != m_end ? *m_next++ : 0; }

    void textFrom(unsigned char first, vnString& to)
    {
        if (first == 0)
        {
            to.clear();
            return;
        }
        --m_next;
        text(to);
    }

    void text(vnString& to)
    {
        const auto room = static_cast<std::size_t>(m_end - m_next);
        const void* zero = room ? std::memchr(m_next, 0, room) : nullptr;
        const unsigned char* stop = zero ? static_cast<const unsigned char*>(zero) : m_end;
        // Longer texts lose the start, as they do when they are read from an adapter.
        const std::size_t size = static_cast<std::size_t>(stop - m_next) % (vnString::VN_MAX_LENGTH + 1);
        to = vnString(reinterpret_cast<const char*>(stop - size), static_cast<unsigned short>(size));
        m_next = zero ? stop + 1 : stop;
    }

    vnUInt64 size() { return vnVarUInt64::decode(m_next, m_end); }

    void bytes(vnDynamicPayload& payload, vnUInt64 size)
    {
        const auto room = static_cast<vnUInt64>(m_end - m_next);
        const auto count = static_cast<unsigned int>(std::min(size, room));
        unsigned char* to = payload.resize(count);
        if (count)
            std::memcpy(to, m_next, count);
        m_next += count;
    }

    void refuse(unsigned short id)
    {
        if (m_adapter)
            setUnknownId(m_adapter, id);
        else
            vnMessage::message(VN_MESSAGE_WARNING, unknownId, id);
    }

private:
    const unsigned char* m_next;
    const unsigned char* m_end;
    vnSerializeAdapter* m_adapter;
};

unsigned char vnDynamicWire::textOfId(unsigned short id, vnString& text)
{
    if (id < 1 || id > VN_TAG_COUNT)
        return vnUniqueString::getStreamText(id, text);
    text = vnDynamicTagText(static_cast<vnDynamicTag>(id));
    return 1;
}

template <class Source>
unsigned short vnDynamicWire::readTag(vnDynamicTypeTag& tag, Source& source)
{
    vnString text;
    const unsigned char first = source.byte();
    if (first == marker)
    {
        const unsigned int low = source.byte();
        const unsigned int index = low | static_cast<unsigned int>(source.byte()) << 8;
        const auto id = static_cast<unsigned short>(index + 1);
        if (index < VN_TAG_COUNT)
        {
            tag = vnFixedDynamicTag(static_cast<vnDynamicTag>(id));
            return 0;
        }
        if (index == noId)
            source.text(text);
        else if (!vnUniqueString::getStreamText(id, text))
            return id;
    }
    else
        source.textFrom(first, text);
    tag = vnDynamicTypeTag(std::move(text));
    return 0;
}

template <class Source>
void vnDynamicWire::readFrom(vnDynamicType& value, Source& source)
{
    // Set as a whole behind the last step that may throw.
    vnDynamicTypeTag tag;
    vnDynamicPayload payload;
    const unsigned short refused = readTag(tag, source);
    source.bytes(payload, source.size());
    if (refused)
    {
        payload.clear();
        source.refuse(refused);
    }
    value.m_tag = std::move(tag);
    value.m_data = std::move(payload);
    value.m_references.reset();
}

// False when the value is not all in the window of the adapter.
bool vnDynamicWire::readFromWindow(vnDynamicType& value, vnSerializeAdapter* adapter)
{
    const unsigned char* const from = vnAdapterWindow::next(*adapter);
    const unsigned char* const end = vnAdapterWindow::end(*adapter);
    const unsigned char* behind = from;
    if (from == end || !skip(behind, end))
        return false;
    vnAdapterWindow::advance(*adapter, behind);
    MemorySource source(from, end, adapter);
    readFrom(value, source);
    return true;
}

void vnDynamicWire::read(vnDynamicType& value, vnSerializeAdapter* adapter)
{
    if (readFromWindow(value, adapter))
        return;
    AdapterSource source(adapter);
    readFrom(value, source);
}

bool vnDynamicWire::readWhole(vnDynamicType& value, vnSerializeAdapter* adapter)
{
    if (readFromWindow(value, adapter))
        return true;
    CheckedSource source(adapter);
    readFrom(value, source);
    return source.isWhole();
}

void vnDynamicWire::decode(vnDynamicType& value, const unsigned char*& from, const unsigned char* end)
{
    MemorySource source(from, end, nullptr);
    readFrom(value, source);
    from = source.next();
}

unsigned int vnDynamicWire::decodeHead(vnDynamicTypeTag& tag, const unsigned char*& from,
                                       const unsigned char* end)
{
    MemorySource source(from, end, nullptr);
    const unsigned short refused = readTag(tag, source);
    const vnUInt64 size = source.size();
    from = source.next();
    if (refused)
        source.refuse(refused);
    return refused ? 0 : static_cast<unsigned int>(std::min(size, static_cast<vnUInt64>(end - from)));
}

bool vnDynamicWire::skip(const unsigned char*& from, const unsigned char* end) noexcept
{
    bool isWhole = true;
    const auto room = static_cast<std::size_t>(end - from);
    const bool hasId = room >= escapeSize && from[0] == marker && (from[1] != 0xFF || from[2] != 0xFF);
    if (hasId)
        from += escapeSize;
    else if (room < escapeSize && room > 0 && from[0] == marker)
    {
        from = end;
        isWhole = false;
    }
    else if (room > 0)
    {
        const void* zero = std::memchr(from, 0, room);
        from = zero ? static_cast<const unsigned char*>(zero) + 1 : end;
    }
    const unsigned char* const sizeStart = from;
    const vnUInt64 size = vnVarUInt64::decode(from, end);
    if (from == sizeStart || (from[-1] & 0x80))
        isWhole = false;
    const auto left = static_cast<vnUInt64>(end - from);
    from += std::min(size, left);
    return isWhole && size <= left;
}

std::size_t vnDynamicWire::headSize(const vnDynamicType& value) noexcept
{
    const vnString& tag = value.getDynamicType();
    const std::size_t tagSize = tag.isUnique()          ? escapeSize
                                : startsWithMarker(tag) ? escapeSize + tag.length() + 1u
                                                        : tag.length() + 1u;
    return tagSize + vnVarUInt64::sizeOf(value.m_data.getSize());
}

unsigned int vnDynamicWire::encodeTag(const vnString& tag, unsigned char* to) noexcept
{
    if (tag.isUnique())
    {
        *to = marker;
        vnDynamicBytes::put(to + 1, static_cast<unsigned short>(tag.getUniqueID() - 1));
        return escapeSize;
    }
    unsigned int count = 0;
    if (startsWithMarker(tag))
    {
        std::memcpy(to, escape, escapeSize);
        count = escapeSize;
    }
    std::memcpy(to + count, tag.getString(), tag.length());
    count += tag.length();
    to[count++] = 0;
    return count;
}

unsigned int vnDynamicWire::encodeHead(const vnDynamicType& value, unsigned char* to) noexcept
{
    const unsigned int count = encodeTag(value.getDynamicType(), to);
    return count + vnVarUInt64::encode(value.m_data.getSize(), to + count);
}

unsigned char* vnDynamicWire::encode(const vnDynamicType& value, unsigned char* to) noexcept
{
    to += encodeHead(value, to);
    std::memcpy(to, value.m_data.data(), value.m_data.getSize());
    return to + value.m_data.getSize();
}

void vnDynamicWire::write(const vnDynamicType& value, vnSerializeAdapter* adapter)
{
    const std::size_t head = headSize(value);
    const unsigned int size = value.m_data.getSize();
    unsigned char small[64];
    if (head + size <= sizeof small)
    {
        encode(value, small);
        adapter->write(small, static_cast<unsigned int>(head + size));
        return;
    }
    Head bytes(head);
    encodeHead(value, bytes.data());
    adapter->write(bytes.data(), bytes.getSize());
    if (size)
        adapter->write(value.m_data.data(), size);
}

void vnDynamicWire::pushBack(const vnDynamicType& value, vnSerializeAdapter* adapter)
{
    Head head(headSize(value));
    encodeHead(value, head.data());
    adapter->pushBack(value.m_data.data(), value.m_data.getSize());
    adapter->pushBack(head.data(), head.getSize());
}
