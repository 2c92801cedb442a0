// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicType.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeGUID.h>

#include <core/vnDigits.h>
#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>

#include <exception>
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

vnDynamicPayload encodeFloats(const float* values, unsigned int count)
{
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(4 * count);
    for (unsigned int i = 0; i < count; ++i)
        to = vnDynamicBytes::put(to, vnDynamicBytes::bitsOf<unsigned int>(values[i]));
    return payload;
}

// A payload that is too short gives zeros.
void decodeFloats(const vnDynamicPayload& payload, float* values, unsigned int count)
{
    if (payload.getSize() < 4 * count)
        return;
    for (unsigned int i = 0; i < count; ++i)
        values[i] = vnDynamicBytes::bitsOf<float>(vnDynamicBytes::get<unsigned int>(payload.data() + 4 * i));
}

vnDynamicPayload encodePointer(const void* pointer)
{
    vnDynamicPayload payload;
    vnDynamicBytes::put(payload.resize(sizeof pointer), reinterpret_cast<std::uintptr_t>(pointer));
    return payload;
}

std::uintptr_t decodePointer(const vnDynamicPayload& payload)
{
    return payload.getSize() < sizeof(void*) ? 0 : vnDynamicBytes::get<std::uintptr_t>(payload.data());
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
        return static_cast<short>(vnDynamicBytes::get<unsigned short>(bytes));
    case 4:
        return static_cast<int>(vnDynamicBytes::get<unsigned int>(bytes));
    default:
        return payload.getSize() < 8 ? 0
                                     : vnDynamicBytes::bitsOf<double>(vnDynamicBytes::get<vnUInt64>(bytes));
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

// The formats stand here whole, since each is what a translator is asked for.
[[noreturn]] void refuse(const vnDynamicType& value, const char* format)
{
    vnExceptionThrows::vnThrowFatal(format, value.getDynamicType());
}

void warn(const vnDynamicType& value, const char* format)
{
    vnMessage::message(VN_MESSAGE_WARNING, format, value.getDynamicType());
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
    // An object that throws does not keep the others from being let go.
    std::exception_ptr first;
    while (!isEmpty())
        try
        {
            clear();
        }
        catch (...)
        {
            if (!first)
                first = std::current_exception();
        }
    if (first)
        std::rethrow_exception(first);
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

vnDynamicTypeTag::vnDynamicTypeTag(vnString text)
{
    const unsigned short id = text.getUniqueID();
    if (id >= 1 && id <= VN_TAG_COUNT)
        m_word = reinterpret_cast<std::uintptr_t>(&vnDynamicTagText(static_cast<vnDynamicTag>(id)));
    else
        m_word = reinterpret_cast<std::uintptr_t>(new (vn_new(sizeof(vnString))) vnString(std::move(text))) |
                 VN_OWN;
}

std::uintptr_t vnDynamicTypeTag::copyOf(const vnDynamicTypeTag& other)
{
    vnDynamicTypeTag copy(other.getText());
    return std::exchange(copy.m_word, 0);
}

void vnDynamicTypeTag::release() noexcept
{
    auto* const text = reinterpret_cast<vnString*>(m_word & ~VN_OWN);
    text->~vnString();
    vn_delete(text);
}

const vnString& vnDynamicTypeTag::voidText() noexcept
{
    return vnDynamicTagText(VN_TAG_VOID);
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

vnDynamicType::vnDynamicType() = default;

vnDynamicType::vnDynamicType(const double& value) : m_tag(vnFixedDynamicTag(VN_TAG_NUM))
{
    int integer = 0;
    if (!asInteger(value, integer))
        vnDynamicBytes::put(m_data.resize(8), vnDynamicBytes::bitsOf<vnUInt64>(value));
    else if (static_cast<signed char>(integer) == integer)
        *m_data.resize(1) = static_cast<unsigned char>(integer);
    else if (static_cast<short>(integer) == integer)
        vnDynamicBytes::put(m_data.resize(2), static_cast<unsigned short>(integer));
    else
        vnDynamicBytes::put(m_data.resize(4), static_cast<unsigned int>(integer));
}

vnDynamicType::vnDynamicType(const vnVec2_<float>& value)
    : m_tag(vnFixedDynamicTag(VN_TAG_VEC2)), m_data(encodeFloats(&value.x, 2))
{
}

vnDynamicType::vnDynamicType(const vnVec3_<float>& value)
    : m_tag(vnFixedDynamicTag(VN_TAG_VEC3)), m_data(encodeFloats(&value.x, 3))
{
}

vnDynamicType::vnDynamicType(const vnVec4_<float>& value)
    : m_tag(vnFixedDynamicTag(VN_TAG_VEC4)), m_data(encodeFloats(&value.x, 4))
{
}

vnDynamicType::vnDynamicType(const vnGUID& value) : m_tag(vnFixedDynamicTag(VN_TAG_GUID))
{
    if (value.isNull())
        return;
    unsigned char* to = m_data.resize(16);
    vnSerializeAdapterMemory adapter(to, 16);
    vnSerializeGUID(value).write(&adapter);
}

vnDynamicType::vnDynamicType(const vnString& value)
    : m_tag(vnFixedDynamicTag(VN_TAG_STR)), m_data(encodeText(value))
{
}

vnDynamicType::vnDynamicType(const char* value)
    : m_tag(vnFixedDynamicTag(VN_TAG_STR)), m_data(encodeBytes(value, strlen_safe(value)))
{
}

vnDynamicType::vnDynamicType(const vnReference* value)
    : m_tag(vnFixedDynamicTag(VN_TAG_REF)), m_data(encodePointer(value))
{
    if (value)
        getDynamicReferences().append(const_cast<vnReference*>(value));
}

vnDynamicType::vnDynamicType(const void* value)
    : m_tag(vnFixedDynamicTag(VN_TAG_PTR)), m_data(encodePointer(value))
{
}

vnDynamicType::vnDynamicType(const vnDynamicType& other)
    : vnSerializeData(), vnTypeInterface(), m_tag(other.m_tag), m_data(other.m_data)
{
    if (other.hasDynamicReferences())
        m_references.reset(new vnDynRefList(*other.m_references));
}

vnDynamicType& vnDynamicType::operator=(const vnDynamicType& other)
{
    if (this != &other)
        *this = vnDynamicType(other);
    return *this;
}

vnDynamicType& vnDynamicType::operator=(vnDynamicType&& other)
{
    if (this == &other)
        return *this;
    m_tag = std::move(other.m_tag);
    m_data = std::move(other.m_data);
    m_references = std::move(other.m_references); // last, as the objects may throw when they go
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
    *this = vnDynamicType();
}

double vnDynamicType::getNumber() const
{
    if (vnIsDynamicTag(*this, VN_TAG_NUM))
        return decodeNumber(m_data);
    if (vnIsDynamicTag(*this, VN_TAG_LLNUM))
        return static_cast<double>(vnDynamicTypeInt64(*this).getInt64());
    refuse(*this, "Can not convert dynamic argument type '%s' to number type !!");
}

vnString vnDynamicType::getString() const
{
    if (vnIsDynamicTag(*this, VN_TAG_STR))
        return decodeText(m_data);
    if (vnIsDynamicTag(*this, VN_TAG_NUM))
        return vnString(decodeNumber(m_data), "%f");
    if (vnIsDynamicTag(*this, VN_TAG_PTR))
        return pointerText(decodePointer(m_data));
    if (vnIsDynamicTag(*this, VN_TAG_GUID))
        return getGUID().asString();
    refuse(*this, "Can not convert dynamic argument type '%s' to string type !!");
}

vnVec2_<float> vnDynamicType::getVec2() const
{
    if (!vnIsDynamicTag(*this, VN_TAG_VEC2))
        refuse(*this, "Can not convert dynamic argument type '%s' to Vec2 type !!");
    vnVec2_<float> value;
    decodeFloats(m_data, &value.x, 2);
    return value;
}

vnVec3_<float> vnDynamicType::getVec3() const
{
    if (!vnIsDynamicTag(*this, VN_TAG_VEC3))
        refuse(*this, "Can not convert dynamic argument type '%s' to Vec3 type !!");
    vnVec3_<float> value;
    decodeFloats(m_data, &value.x, 3);
    return value;
}

vnVec4_<float> vnDynamicType::getVec4() const
{
    if (!vnIsDynamicTag(*this, VN_TAG_VEC4))
        refuse(*this, "Can not convert dynamic argument type '%s' to Vec4 type !!");
    vnVec4_<float> value;
    decodeFloats(m_data, &value.x, 4);
    return value;
}

vnGUID vnDynamicType::getGUID() const
{
    if (!vnIsDynamicTag(*this, VN_TAG_GUID))
        refuse(*this, "Can not convert dynamic argument type '%s' to GUID type !!");
    if (m_data.getSize() < 16)
        return vnGUID();
    unsigned char bytes[16];
    std::memcpy(bytes, m_data.data(), 16);
    return vnGUID(bytes);
}

void* vnDynamicType::getPointer() const
{
    if (vnIsDynamicTag(*this, VN_TAG_PTR) || vnIsDynamicTag(*this, VN_TAG_REF))
        return reinterpret_cast<void*>(decodePointer(m_data));
    warn(*this, "Can not convert dynamic argument type '%s' to pointer type !!");
    return nullptr;
}

vnReference* vnDynamicType::getReference() const
{
    if (vnIsDynamicTag(*this, VN_TAG_REF))
        return m_references ? reinterpret_cast<vnReference*>(decodePointer(m_data)) : nullptr;
    warn(*this, "Can not convert dynamic argument type '%s' to reference type !!");
    return nullptr;
}

bool vnDynamicType::operator==(const vnDynamicType& other) const
{
    return m_tag == other.m_tag && m_data == other.m_data;
}

const vnDynamicType& vnDynamicType::checked(const vnDynamicType& source, const vnString& tag,
                                            const char* format)
{
    if (!source.is(tag))
        refuse(source, format);
    return source;
}

vnDynamicPayload vnDynamicType::encodeText(const vnString& text)
{
    if (!text.isUnique())
        return encodeBytes(text.getString(), text.length());
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(vnDynamicWire::escapeSize);
    *to = vnDynamicWire::marker;
    vnDynamicBytes::put(to + 1, static_cast<unsigned short>(text.getUniqueID() - 1));
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
        const unsigned short index = vnDynamicBytes::get<unsigned short>(bytes + 1);
        if (index != vnDynamicWire::noId)
        {
            vnString text;
            const auto id = static_cast<unsigned short>(index + 1);
            if (!vnDynamicWire::textOfId(id, text))
                vnMessage::message(VN_MESSAGE_WARNING, vnDynamicWire::unknownId, id);
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
