// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicType.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeGUID.h>

#include <core/vnDigits.h>
#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>

#include <new>

vnType vnDynamicType::s_type(nullptr, "vnDynamicType");

namespace
{
// The tags in storage that nobody destroys, filled behind the table of interned texts and before everything
// else, since the statics of others hold values.
struct Tags
{
    Tags()
    {
        for (unsigned short id = 1; id <= VN_TAG_COUNT; ++id)
            (new (texts + id * sizeof(vnString)) vnString)->makeUnique(id);
    }

    alignas(vnString) unsigned char texts[(VN_TAG_COUNT + 1) * sizeof(vnString)];
};
Tags tags __attribute__((init_priority(103)));

template <class T>
unsigned char* putLittle(unsigned char* to, T value)
{
    for (unsigned int i = 0; i < sizeof value; ++i)
        to[i] = static_cast<unsigned char>(value >> (8 * i));
    return to + sizeof value;
}

template <class T>
T getLittle(const unsigned char* from)
{
    T value = 0;
    for (unsigned int i = 0; i < sizeof value; ++i)
        value = static_cast<T>(value | static_cast<T>(from[i]) << (8 * i));
    return value;
}

template <class Bits, class T>
Bits bitsOf(const T& value)
{
    Bits bits;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

vnDynamicPayload encodeFloats(const float* values, unsigned int count)
{
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(4 * count);
    for (unsigned int i = 0; i < count; ++i)
        to = putLittle(to, bitsOf<unsigned int>(values[i]));
    return payload;
}

// A payload that is too short gives zeros.
void decodeFloats(const vnDynamicPayload& payload, float* values, unsigned int count)
{
    if (payload.getSize() < 4 * count)
        return;
    for (unsigned int i = 0; i < count; ++i)
        values[i] = bitsOf<float>(getLittle<unsigned int>(payload.data() + 4 * i));
}

vnDynamicPayload encodePointer(const void* pointer)
{
    vnDynamicPayload payload;
    putLittle(payload.resize(sizeof pointer), reinterpret_cast<std::uintptr_t>(pointer));
    return payload;
}

std::uintptr_t decodePointer(const vnDynamicPayload& payload)
{
    return payload.getSize() < sizeof(void*) ? 0 : getLittle<std::uintptr_t>(payload.data());
}

// The exact integer, if there is one.
bool asInteger(double value, int& integer)
{
    if (!(value >= -2147483648.0 && value <= 2147483647.0))
        return false;
    integer = static_cast<int>(value);
    return integer == value;
}

double decodeNumber(const vnDynamicPayload& payload)
{
    const unsigned char* bytes = payload.data();
    switch (payload.getSize())
    {
    case 1:
        return static_cast<signed char>(bytes[0]);
    case 2:
        return static_cast<short>(getLittle<unsigned short>(bytes));
    case 4:
        return static_cast<int>(getLittle<unsigned int>(bytes));
    default:
        return payload.getSize() < 8 ? 0 : bitsOf<double>(getLittle<vnUInt64>(bytes));
    }
}

vnString pointerText(std::uintptr_t pointer)
{
    char digits[2 + vnDigits::VN_MAX_DIGITS];
    char* const end = digits + sizeof digits;
    char* first = vnDigits::writeBackwards(end, pointer, 16, true);
    *--first = 'x';
    *--first = '0';
    return vnString(first, static_cast<unsigned short>(end - first));
}

vnDynamicPayload encodeBytes(const char* text, unsigned short length)
{
    if (length == 0 || static_cast<unsigned char>(text[0]) != vnDynamicWire::marker)
        return vnDynamicPayload(text, length);
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(vnDynamicWire::escapeSize + length);
    std::memcpy(to, vnDynamicWire::escape, vnDynamicWire::escapeSize);
    std::memcpy(to + vnDynamicWire::escapeSize, text, length);
    return payload;
}

[[noreturn]] void refuse(const vnString& tag, const char* wanted)
{
    vnExceptionThrows::vnThrowFatal("Can not convert dynamic argument type '%s' to %s type !!", tag, wanted);
}

void warn(const vnString& tag, const char* format)
{
    vnMessage::message(VN_MESSAGE_WARNING, format, tag);
}
} // namespace

const vnString& vnDynamicTagText(vnDynamicTag tag) noexcept
{
    return *std::launder(reinterpret_cast<const vnString*>(tags.texts + tag * sizeof(vnString)));
}

vnDynRefList::vnDynRefList(const vnDynRefList& other) : vnList<vnReference>(), vnSharedMemory()
{
    copyItems(other);
}

vnDynRefList& vnDynRefList::operator=(const vnDynRefList& other)
{
    vnList<vnReference>::operator=(other);
    return *this;
}

vnDynRefList::~vnDynRefList() noexcept(false)
{
    clear();
}

void vnDynRefList::onInsertItem(vnReference* item)
{
    if (item)
        item->ref();
}

void vnDynRefList::onRemoveItem(vnReference* item)
{
    if (item)
        item->unref();
}

vnDynamicPayload& vnDynamicPayload::operator=(const vnDynamicPayload& other)
{
    if (this != &other)
        *this = vnDynamicPayload(other);
    return *this;
}

void vnDynamicPayload::cut(unsigned int size)
{
    if (size < m_size)
        *this = vnDynamicPayload(data(), size);
}

unsigned char* vnDynamicPayload::resizeBlock(unsigned int size)
{
    if (size == m_size)
        return m_block;
    // The old block goes first, so that the two never stand side by side.
    clear();
    if (size > VN_INLINE_SIZE)
        m_block = static_cast<unsigned char*>(vn_new(size));
    m_size = size;
    return data();
}

vnDynamicType::vnDynamicType() : m_tag(vnDynamicTagText(VN_TAG_VOID)) {}

vnDynamicType::vnDynamicType(const double& value) : m_tag(vnDynamicTagText(VN_TAG_NUM))
{
    int integer = 0;
    if (!asInteger(value, integer))
        putLittle(m_data.resize(8), bitsOf<vnUInt64>(value));
    else if (static_cast<signed char>(integer) == integer)
        *m_data.resize(1) = static_cast<unsigned char>(integer);
    else if (static_cast<short>(integer) == integer)
        putLittle(m_data.resize(2), static_cast<unsigned short>(integer));
    else
        putLittle(m_data.resize(4), static_cast<unsigned int>(integer));
}

vnDynamicType::vnDynamicType(const vnVec2_<float>& value)
    : m_tag(vnDynamicTagText(VN_TAG_VEC2)), m_data(encodeFloats(&value.x, 2))
{
}

vnDynamicType::vnDynamicType(const vnVec3_<float>& value)
    : m_tag(vnDynamicTagText(VN_TAG_VEC3)), m_data(encodeFloats(&value.x, 3))
{
}

vnDynamicType::vnDynamicType(const vnVec4_<float>& value)
    : m_tag(vnDynamicTagText(VN_TAG_VEC4)), m_data(encodeFloats(&value.x, 4))
{
}

vnDynamicType::vnDynamicType(const vnGUID& value) : m_tag(vnDynamicTagText(VN_TAG_GUID))
{
    if (value.isNull())
        return;
    unsigned char* to = m_data.resize(16);
    vnSerializeAdapterMemory adapter(to, 16);
    vnSerializeGUID(value).write(&adapter);
}

vnDynamicType::vnDynamicType(const vnString& value)
    : m_tag(vnDynamicTagText(VN_TAG_STR)), m_data(encodeText(value))
{
}

vnDynamicType::vnDynamicType(const char* value)
    : m_tag(vnDynamicTagText(VN_TAG_STR)), m_data(encodeBytes(value, strlen_safe(value)))
{
}

vnDynamicType::vnDynamicType(const vnReference* value)
    : m_tag(vnDynamicTagText(VN_TAG_REF)), m_data(encodePointer(value))
{
    if (value)
        getDynamicReferences().append(const_cast<vnReference*>(value));
}

vnDynamicType::vnDynamicType(const void* value)
    : m_tag(vnDynamicTagText(VN_TAG_PTR)), m_data(encodePointer(value))
{
}

vnDynamicType::vnDynamicType(const vnDynamicType& other)
    : vnSerializeData(), vnTypeInterface(), m_tag(other.m_tag), m_data(other.m_data)
{
    if (other.hasDynamicReferences())
        m_references.reset(new vnDynRefList(*other.m_references));
}

vnDynamicType::vnDynamicType(vnDynamicType&& other) noexcept
    : m_tag(std::move(other.m_tag)), m_data(std::move(other.m_data)),
      m_references(std::move(other.m_references))
{
    other.m_tag = vnDynamicTagText(VN_TAG_VOID);
}

vnDynamicType::~vnDynamicType() noexcept(false) = default;

vnDynamicType& vnDynamicType::operator=(const vnDynamicType& other)
{
    if (this != &other)
        *this = vnDynamicType(other);
    return *this;
}

vnDynamicType& vnDynamicType::operator=(vnDynamicType&& other) noexcept
{
    if (this == &other)
        return *this;
    m_tag = std::move(other.m_tag);
    m_data = std::move(other.m_data);
    m_references = std::move(other.m_references);
    other.m_tag = vnDynamicTagText(VN_TAG_VOID);
    return *this;
}

void vnDynamicType::write(vnSerializeAdapter* adapter)
{
    vnDynamicWire::write(*this, adapter);
}

void vnDynamicType::read(vnSerializeAdapter* adapter)
{
    vnDynamicWire::read(*this, adapter);
}

void vnDynamicType::pushBack(vnSerializeAdapter* adapter)
{
    vnDynamicWire::pushBack(*this, adapter);
}

unsigned int vnDynamicType::getDataSize(vnSerializeAdapter*) const
{
    return vnCheckedSize(vnDynamicWire::headSize(*this) + static_cast<std::size_t>(m_data.getSize()));
}

unsigned char vnDynamicType::hasDynamicReferences() const noexcept
{
    return m_references && !m_references->isEmpty();
}

vnDynRefList& vnDynamicType::getDynamicReferences()
{
    if (!m_references)
        m_references.reset(new vnDynRefList);
    return *m_references;
}

void vnDynamicType::reset()
{
    m_tag = vnDynamicTagText(VN_TAG_VOID);
    m_data.clear();
    m_references.reset();
}

double vnDynamicType::getNumber() const
{
    if (vnIsDynamicTag(m_tag, VN_TAG_NUM))
        return decodeNumber(m_data);
    if (vnIsDynamicTag(m_tag, VN_TAG_LLNUM))
        return static_cast<double>(vnDynamicTypeInt64(*this).getInt64());
    refuse(m_tag, "number");
}

vnString vnDynamicType::getString() const
{
    if (vnIsDynamicTag(m_tag, VN_TAG_STR))
        return decodeText(m_data);
    if (vnIsDynamicTag(m_tag, VN_TAG_NUM))
        return vnString(decodeNumber(m_data), "%f");
    if (vnIsDynamicTag(m_tag, VN_TAG_PTR))
        return pointerText(decodePointer(m_data));
    if (vnIsDynamicTag(m_tag, VN_TAG_GUID))
        return getGUID().asString();
    refuse(m_tag, "string");
}

vnVec2_<float> vnDynamicType::getVec2() const
{
    if (!vnIsDynamicTag(m_tag, VN_TAG_VEC2))
        refuse(m_tag, "Vec2");
    vnVec2_<float> value;
    decodeFloats(m_data, &value.x, 2);
    return value;
}

vnVec3_<float> vnDynamicType::getVec3() const
{
    if (!vnIsDynamicTag(m_tag, VN_TAG_VEC3))
        refuse(m_tag, "Vec3");
    vnVec3_<float> value;
    decodeFloats(m_data, &value.x, 3);
    return value;
}

vnVec4_<float> vnDynamicType::getVec4() const
{
    if (!vnIsDynamicTag(m_tag, VN_TAG_VEC4))
        refuse(m_tag, "Vec4");
    vnVec4_<float> value;
    decodeFloats(m_data, &value.x, 4);
    return value;
}

vnGUID vnDynamicType::getGUID() const
{
    if (!vnIsDynamicTag(m_tag, VN_TAG_GUID))
        refuse(m_tag, "GUID");
    if (m_data.getSize() < 16)
        return vnGUID();
    unsigned char bytes[16];
    std::memcpy(bytes, m_data.data(), 16);
    return vnGUID(bytes);
}

void* vnDynamicType::getPointer() const
{
    if (vnIsDynamicTag(m_tag, VN_TAG_PTR) || vnIsDynamicTag(m_tag, VN_TAG_REF))
        return reinterpret_cast<void*>(decodePointer(m_data));
    warn(m_tag, "Can not convert dynamic argument type '%s' to pointer type !!");
    return nullptr;
}

vnReference* vnDynamicType::getReference() const
{
    if (vnIsDynamicTag(m_tag, VN_TAG_REF))
        return m_references ? reinterpret_cast<vnReference*>(decodePointer(m_data)) : nullptr;
    warn(m_tag, "Can not convert dynamic argument type '%s' to reference type !!");
    return nullptr;
}

bool vnDynamicType::operator==(const vnDynamicType& other) const
{
    return m_tag == other.m_tag && m_data == other.m_data;
}

const vnDynamicType& vnDynamicType::checked(const vnDynamicType& source, const vnString& tag,
                                            const char* className)
{
    if (source.m_tag != tag)
        vnExceptionThrows::vnThrowFatal("Can not convert dynamic argument type '%s' to %s !!", source.m_tag,
                                        className);
    return source;
}

vnDynamicPayload vnDynamicType::encodeText(const vnString& text)
{
    if (!text.isUnique())
        return encodeBytes(text.getString(), text.length());
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(vnDynamicWire::escapeSize);
    *to = vnDynamicWire::marker;
    putLittle(to + 1, static_cast<unsigned short>(text.getUniqueID() - 1));
    return payload;
}

vnString vnDynamicType::decodeText(const vnDynamicPayload& payload)
{
    const unsigned char* bytes = payload.data();
    unsigned int size = payload.getSize();
    if (size > 0 && bytes[0] == vnDynamicWire::marker)
    {
        // Nothing that a text encodes to is shorter.
        if (size < vnDynamicWire::escapeSize)
            return vnString();
        const unsigned short index = getLittle<unsigned short>(bytes + 1);
        if (index != vnDynamicWire::noId)
        {
            vnString text;
            const auto id = static_cast<unsigned short>(index + 1);
            if (!vnDynamicWire::textOfId(id, text))
                vnMessage::message(VN_MESSAGE_WARNING, "Unknown unique string id %d", id);
            return text;
        }
        bytes += vnDynamicWire::escapeSize;
        size -= vnDynamicWire::escapeSize;
    }
    return vnString(reinterpret_cast<const char*>(bytes),
                    static_cast<unsigned short>(std::min(size, vnString::VN_MAX_LENGTH)));
}

void vnDynamicType::appendReferences(const vnDynamicType& other)
{
    if (!other.hasDynamicReferences())
        return;
    for (vnReference* item : *other.m_references)
        getDynamicReferences().append(item);
}
