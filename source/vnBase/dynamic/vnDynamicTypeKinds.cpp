// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicType.h>

#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>

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

vnDynamicPayload encodeEight(vnUInt64 bits, std::size_t extra)
{
    vnDynamicPayload payload;
    unsigned char* to = payload.resize(vnCheckedSize(8 + extra));
    for (unsigned int i = 0; i < 8; ++i)
        to[i] = static_cast<unsigned char>(bits >> (8 * i));
    return payload;
}

// 0 of a payload that is too short.
vnUInt64 decodeEight(const vnDynamicPayload& payload)
{
    vnUInt64 bits = 0;
    if (payload.getSize() >= 8)
        for (unsigned int i = 0; i < 8; ++i)
            bits |= static_cast<vnUInt64>(payload.data()[i]) << (8 * i);
    return bits;
}

vnDynamicPayload encodeTimed(double time, const vnDynamicType& value)
{
    vnUInt64 bits;
    std::memcpy(&bits, &time, sizeof bits);
    vnDynamicPayload payload = encodeEight(bits, value.getDataSize(nullptr));
    vnDynamicWire::encode(value, payload.data() + 8);
    return payload;
}

vnDynamicPayload encodeElements(const vnDynamicType* elements, unsigned int count)
{
    unsigned char countBytes[vnDynamicWire::maxSizeBytes];
    const unsigned int countSize = vnDynamicWire::encodeSize(count, countBytes);
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
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_VOID), "vnDynamicTypeVoid").getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
}

vnDynamicTypeChain::vnDynamicTypeChain() : vnDynamicType(vnDynamicTagText(VN_TAG_CHAIN), vnDynamicPayload())
{
}

vnDynamicTypeChain::vnDynamicTypeChain(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_CHAIN), "vnDynamicTypeChain").getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
}

vnDynamicTypeError::vnDynamicTypeError(const vnString& error)
    : vnDynamicType(vnDynamicTagText(VN_TAG_ERROR), encodeText(error))
{
}

vnDynamicTypeError::vnDynamicTypeError(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_ERROR), "vnDynamicTypeError").getDynamicType(),
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
    : vnDynamicType(vnDynamicTagText(VN_TAG_LLNUM), encodeEight(static_cast<vnUInt64>(value), 0))
{
}

vnDynamicTypeInt64::vnDynamicTypeInt64(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_LLNUM), "vnDynamicTypeInt64").getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
}

vnInt64 vnDynamicTypeInt64::getInt64() const
{
    return static_cast<vnInt64>(decodeEight(m_data));
}

vnDynamicTypeTimeTagged::vnDynamicTypeTimeTagged(double time, const vnDynamicType& value)
    : vnDynamicType(vnDynamicTagText(VN_TAG_TTAG), encodeTimed(time, value))
{
    appendReferences(value);
}

vnDynamicTypeTimeTagged::vnDynamicTypeTimeTagged(const vnDynamicType& source)
    : vnDynamicType(
          checked(source, vnDynamicTagText(VN_TAG_TTAG), "vnDynamicTypeTimeTagged").getDynamicType(),
          vnDynamicPayload(source.getPayload()))
{
    appendReferences(source);
}

double vnDynamicTypeTimeTagged::getTimeTag() const
{
    const vnUInt64 bits = decodeEight(m_data);
    double time;
    std::memcpy(&time, &bits, sizeof time);
    return time;
}

vnDynamicType vnDynamicTypeTimeTagged::getData() const
{
    vnDynamicType value;
    if (m_data.getSize() <= 8)
        return value;
    const unsigned char* from = m_data.begin() + 8;
    vnDynamicWire::decode(value, from, m_data.end());
    return value;
}

vnDynamicTypeArray::vnDynamicTypeArray() : vnDynamicType(vnDynamicTagText(VN_TAG_ARRAY), vnDynamicPayload())
{
}

vnDynamicTypeArray::vnDynamicTypeArray(const vnArray<vnDynamicType>& elements)
    : vnDynamicType(vnDynamicTagText(VN_TAG_ARRAY), encodeElements(elements.data(), elements.getSize()))
{
    for (const vnDynamicType& element : elements)
        appendReferences(element);
}

vnDynamicTypeArray::vnDynamicTypeArray(const vnDynamicArray<vnDynamicType>& elements)
    : vnDynamicType(vnDynamicTagText(VN_TAG_ARRAY), encodeElements(elements.data(), elements.getSize()))
{
    for (const vnDynamicType& element : elements)
        appendReferences(element);
}

vnDynamicTypeArray::vnDynamicTypeArray(const vnDynamicType& source)
    : vnDynamicType(checked(source, vnDynamicTagText(VN_TAG_ARRAY), "vnDynamicTypeArray").getDynamicType(),
                    vnDynamicPayload(source.getPayload()))
{
    appendReferences(source);
}

vnArray<vnDynamicType> vnDynamicTypeArray::getArray() const
{
    const unsigned char* from = m_data.begin();
    const unsigned char* const end = m_data.end();
    const vnUInt64 count = vnDynamicWire::decodeSize(from, end);
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
