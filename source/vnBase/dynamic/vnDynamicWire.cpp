// SPDX-License-Identifier: MIT
#include <dynamic/vnDynamicWire.h>

#include <vnBase/vnSerializeString.h>
#include <vnBase/vnUniqueString.h>
#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnDynamicTags.h>

namespace
{
// How much is believed of a size without knowing that the data are there.
constexpr unsigned int trustedSize = 4096;

bool startsWithMarker(const vnString& tag)
{
    return static_cast<unsigned char>(tag.getString()[0]) == vnDynamicWire::marker;
}

unsigned int sizeOfSize(vnUInt64 value)
{
    return vnVarUInt64(value).getDataSize(nullptr);
}
} // namespace

class vnDynamicWire::AdapterSource
{
public:
    explicit AdapterSource(vnSerializeAdapter* adapter) : m_adapter(adapter) {}

    unsigned char byte() { return m_adapter->read(); }

    // A text whose first byte was read already.
    void textFrom(unsigned char first, vnString& to)
    {
        m_adapter->pushBack(first);
        text(to);
    }

    void text(vnString& text)
    {
        vnSerializeString item;
        item.read(m_adapter);
        text = item.getText();
    }

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

    void refuse(unsigned short id)
    {
        m_adapter->setError(vnString::formatString("Unknown unique string id %d", id));
    }

private:
    vnSerializeAdapter* m_adapter;
};

class vnDynamicWire::MemorySource
{
public:
    MemorySource(const unsigned char* from, const unsigned char* end) : m_next(from), m_end(end) {}

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

    vnUInt64 size() { return decodeSize(m_next, m_end); }

    void bytes(vnDynamicPayload& payload, vnUInt64 size)
    {
        const auto room = static_cast<vnUInt64>(m_end - m_next);
        const auto count = static_cast<unsigned int>(std::min(size, room));
        unsigned char* to = payload.resize(count);
        if (count)
            std::memcpy(to, m_next, count);
        m_next += count;
    }

    // A value inside of a value has no stream to report to; it is void.
    void refuse(unsigned short) {}

private:
    const unsigned char* m_next;
    const unsigned char* m_end;
};

unsigned char vnDynamicWire::textOfId(unsigned short id, vnString& text)
{
    if (id < 1 || id > VN_TAG_COUNT)
        return vnUniqueString::getStreamText(id, text);
    text = vnDynamicTagText(static_cast<vnDynamicTag>(id));
    return 1;
}

template <class Source>
void vnDynamicWire::readFrom(vnDynamicType& value, Source& source)
{
    unsigned short refused = 0;
    value.m_references.reset();
    const unsigned char first = source.byte();
    if (first != marker)
        source.textFrom(first, value.m_tag);
    else
    {
        const unsigned int low = source.byte();
        const unsigned int index = low | static_cast<unsigned int>(source.byte()) << 8;
        const auto id = static_cast<unsigned short>(index + 1);
        if (index == noId)
            source.text(value.m_tag);
        else if (!textOfId(id, value.m_tag))
            refused = id;
    }
    source.bytes(value.m_data, source.size());
    if (!refused)
        return;
    value.reset();
    source.refuse(refused);
}

void vnDynamicWire::read(vnDynamicType& value, vnSerializeAdapter* adapter)
{
    AdapterSource source(adapter);
    readFrom(value, source);
}

void vnDynamicWire::decode(vnDynamicType& value, const unsigned char*& from, const unsigned char* end)
{
    MemorySource source(from, end);
    readFrom(value, source);
    from = source.next();
}

void vnDynamicWire::skip(const unsigned char*& from, const unsigned char* end) noexcept
{
    const auto room = static_cast<std::size_t>(end - from);
    const bool hasId = room >= escapeSize && from[0] == marker && (from[1] != 0xFF || from[2] != 0xFF);
    if (hasId || (room < escapeSize && room > 0 && from[0] == marker))
        from += std::min<std::size_t>(room, escapeSize);
    else if (room > 0)
    {
        const void* zero = std::memchr(from, 0, room);
        from = zero ? static_cast<const unsigned char*>(zero) + 1 : end;
    }
    const vnUInt64 size = decodeSize(from, end);
    from += std::min(size, static_cast<vnUInt64>(end - from));
}

unsigned int vnDynamicWire::encodeSize(vnUInt64 value, unsigned char* to) noexcept
{
    unsigned int count = 0;
    for (; value > 0x7F && count < maxSizeBytes - 1; value >>= 7)
        to[count++] = static_cast<unsigned char>(value | 0x80);
    to[count++] = static_cast<unsigned char>(value);
    return count;
}

vnUInt64 vnDynamicWire::decodeSize(const unsigned char*& from, const unsigned char* end) noexcept
{
    vnUInt64 value = 0;
    unsigned int shift = 0;
    while (from != end)
    {
        const unsigned char byte = *from++;
        if (shift < 64)
            value |= static_cast<vnUInt64>(byte & 0x7F) << shift;
        shift = std::min(shift + 7, 64u);
        if (!(byte & 0x80))
            break;
    }
    return value;
}

std::size_t vnDynamicWire::headSize(const vnDynamicType& value) noexcept
{
    const vnString& tag = value.m_tag;
    const std::size_t tagSize = tag.isUnique()          ? escapeSize
                                : startsWithMarker(tag) ? escapeSize + tag.length() + 1u
                                                        : tag.length() + 1u;
    return tagSize + sizeOfSize(value.m_data.getSize());
}

unsigned int vnDynamicWire::encodeTag(const vnString& tag, unsigned char* to) noexcept
{
    if (tag.isUnique())
    {
        const unsigned int index = tag.getUniqueID() - 1u;
        to[0] = marker;
        to[1] = static_cast<unsigned char>(index);
        to[2] = static_cast<unsigned char>(index >> 8);
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
    const unsigned int count = encodeTag(value.m_tag, to);
    return count + encodeSize(value.m_data.getSize(), to + count);
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
    vnArray<unsigned char> bytes(static_cast<unsigned int>(head));
    encodeHead(value, bytes.data());
    adapter->write(bytes.data(), bytes.getSize());
    if (size)
        adapter->write(value.m_data.data(), size);
}

void vnDynamicWire::pushBack(const vnDynamicType& value, vnSerializeAdapter* adapter)
{
    vnArray<unsigned char> head(static_cast<unsigned int>(headSize(value)));
    encodeHead(value, head.data());
    adapter->pushBack(value.m_data.data(), value.m_data.getSize());
    adapter->pushBack(head.data(), head.getSize());
}
