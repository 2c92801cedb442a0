// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicType.h>

#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>

#include <algorithm>

namespace
{
// A value that is never destroyed, since the destructors of other statics may use it.
template <class T>
union Eternal
{
    template <class... Args>
    explicit Eternal(const Args&... args) : value(args...)
    {
    }
    ~Eternal() {}

    T value;
};

template <vnDynamicTag text>
const vnDynamicTypeError& constantError()
{
    static const Eternal<vnDynamicTypeError> constant(vnDynamicTagText(text));
    return constant.value;
}

vnDynamicPayload encodeEight(vnUInt64 bits)
{
    vnDynamicPayload payload;
    vnDynamicBytes::put(payload.resize(8), bits);
    return payload;
}

// 0 of a payload that is too short.
vnUInt64 decodeEight(const vnDynamicPayload& payload)
{
    return payload.getSize() < 8 ? 0 : vnDynamicBytes::get<vnUInt64>(payload.data());
}

vnDynamicPayload encodeTimed(double time, const vnDynamicType& value)
{
    const std::size_t size = 8 + static_cast<std::size_t>(value.getDataSize(nullptr));
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(vnCheckedSize(size));
    to = vnDynamicBytes::put(to, vnDynamicBytes::bitsOf<vnUInt64>(time));
    vnDynamicWire::encode(value, to);
    return payload;
}

vnDynamicPayload encodeElements(const vnDynamicType* elements, unsigned int count)
{
    unsigned char countBytes[vnVarUInt64::VN_MAX_SIZE];
    const unsigned int countSize = vnVarUInt64::encode(count, countBytes);
    std::size_t size = countSize;
    for (unsigned int i = 0; i < count; ++i)
        size += elements[i].getDataSize(nullptr);
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(vnCheckedSize(size));
    std::memcpy(to, countBytes, countSize);
    to += countSize;
    for (unsigned int i = 0; i < count; ++i)
        to = vnDynamicWire::encode(elements[i], to);
    return payload;
}
} // namespace

vnDynamicTypeVoid::vnDynamicTypeVoid(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_VOID),
                            "Can not convert dynamic argument type '%s' to vnDynamicTypeVoid !!")
                        .getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
}

vnDynamicTypeChain::vnDynamicTypeChain() : vnDynamicType(vnFixedDynamicTag(VN_TAG_CHAIN), vnDynamicPayload())
{
}

vnDynamicTypeChain::vnDynamicTypeChain(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_CHAIN),
                            "Can not convert dynamic argument type '%s' to vnDynamicTypeChain !!")
                        .getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
}

vnDynamicTypeError::vnDynamicTypeError(const vnString& error)
    : vnDynamicType(vnFixedDynamicTag(VN_TAG_ERROR), encodeText(error))
{
}

vnDynamicTypeError::vnDynamicTypeError(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_ERROR),
                            "Can not convert dynamic argument type '%s' to vnDynamicTypeError !!")
                        .getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
}

vnString vnDynamicTypeError::getError() const
{
    return decodeText(m_data);
}

void vnDynamicTypeError::setError(const vnString& error)
{
    m_data = encodeText(error);
}

unsigned char vnDynamicTypeError::isError() const
{
    return getError() != "OK";
}

vnDynamicTypeInt64::vnDynamicTypeInt64(const vnInt64& value)
    : vnDynamicType(vnFixedDynamicTag(VN_TAG_LLNUM), encodeEight(static_cast<vnUInt64>(value)))
{
}

vnDynamicTypeInt64::vnDynamicTypeInt64(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_LLNUM),
                            "Can not convert dynamic argument type '%s' to vnDynamicTypeInt64 !!")
                        .getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
}

vnInt64 vnDynamicTypeInt64::getInt64() const
{
    return static_cast<vnInt64>(decodeEight(m_data));
}

vnDynamicTypeTimeTagged::vnDynamicTypeTimeTagged(double time, const vnDynamicType& value)
    : vnDynamicType(vnFixedDynamicTag(VN_TAG_TTAG), encodeTimed(time, value))
{
    appendReferences(value);
}

vnDynamicTypeTimeTagged::vnDynamicTypeTimeTagged(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_TTAG),
                            "Can not convert dynamic argument type '%s' to vnDynamicTypeTimeTagged !!")
                        .getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
    appendReferences(source);
}

double vnDynamicTypeTimeTagged::getTimeTag() const
{
    return vnDynamicBytes::bitsOf<double>(decodeEight(m_data));
}

vnDynamicType vnDynamicTypeTimeTagged::getData() const
{
    // Of a payload that ends with the time, the value is what any stream gives that has ended: no tag, no
    // bytes.
    vnDynamicType value;
    const unsigned char* from = m_data.begin() + std::min(m_data.getSize(), 8u);
    vnDynamicWire::decode(value, from, m_data.end());
    return value;
}

vnDynamicTypeArray::vnDynamicTypeArray() : vnDynamicType(vnFixedDynamicTag(VN_TAG_ARRAY), vnDynamicPayload())
{
}

vnDynamicTypeArray::vnDynamicTypeArray(const vnArray<vnDynamicType>& elements)
    : vnDynamicTypeArray(elements.data(), elements.getSize())
{
}

vnDynamicTypeArray::vnDynamicTypeArray(const vnDynamicArray<vnDynamicType>& elements)
    : vnDynamicTypeArray(elements.data(), elements.getSize())
{
}

vnDynamicTypeArray::vnDynamicTypeArray(const vnDynamicType* elements, unsigned int count)
    : vnDynamicType(vnFixedDynamicTag(VN_TAG_ARRAY), encodeElements(elements, count))
{
    for (unsigned int i = 0; i < count; ++i)
        appendReferences(elements[i]);
}

vnDynamicTypeArray::vnDynamicTypeArray(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_ARRAY),
                            "Can not convert dynamic argument type '%s' to vnDynamicTypeArray !!")
                        .getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
    appendReferences(source);
}

vnArray<vnDynamicType> vnDynamicTypeArray::getArray() const
{
    const unsigned char* from = m_data.begin();
    const unsigned char* const end = m_data.end();
    const vnUInt64 count = vnVarUInt64::decode(from, end);
    // Counted before memory is taken: an object is far larger than the two bytes of the shortest element.
    unsigned int present = 0;
    for (const unsigned char* at = from; at != end && present < count; ++present)
        vnDynamicWire::skip(at, end);
    vnArray<vnDynamicType> elements(present);
    for (vnDynamicType& element : elements)
        vnDynamicWire::decode(element, from, end);
    return elements;
}

const vnDynamicTypeError& vnDynamicOK()
{
    return constantError<VN_TEXT_OK>();
}

const vnDynamicTypeError& vnDynamicTestOK()
{
    return constantError<VN_TEXT_TEST_OK>();
}

const vnDynamicTypeError& vnDynamicTestFail()
{
    return constantError<VN_TEXT_TEST_FAIL>();
}

const vnDynamicTypeVoid& vnDynamicVoid()
{
    static const Eternal<vnDynamicTypeVoid> constant;
    return constant.value;
}

unsigned char VN_SUCCESS(const vnDynamicType& value)
{
    return !vnIsDynamicTag(value.getDynamicType(), VN_TAG_ERROR) || value == vnDynamicOK() ||
           value == vnDynamicTestOK();
}

unsigned char VN_FAIL(const vnDynamicType& value)
{
    return !VN_SUCCESS(value);
}

unsigned char VN_TEST_SUCCESS(const vnDynamicType& value)
{
    return value == vnDynamicTestOK();
}

unsigned char VN_TEST_FAIL(const vnDynamicType& value)
{
    return value == vnDynamicTestFail();
}
