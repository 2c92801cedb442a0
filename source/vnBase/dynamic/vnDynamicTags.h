// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicType.h>

/// The fixed interned texts. Their ids are part of the wire format.
enum vnDynamicTag : unsigned short
{
    VN_TAG_STR = 1,
    VN_TAG_VOID = 2,
    VN_TAG_NUM = 3,
    VN_TAG_PTR = 4,
    VN_TAG_REF = 5,
    VN_TAG_ERROR = 6,
    VN_TAG_LLNUM = 7,
    VN_TAG_ARRAY = 8,
    VN_TAG_VEC2 = 9,
    VN_TAG_VEC3 = 10,
    VN_TAG_VEC4 = 11,
    VN_TAG_CONT = 12,
    VN_TAG_CHAIN = 13,
    VN_TEXT_NOT_SET = 14,
    VN_TEXT_NOT_IMPLEMENTED = 15,
    VN_TEXT_OK = 16,
    VN_TEXT_TEST_OK = 17,
    VN_TEXT_TEST_FAIL = 18,
    VN_TAG_GUID = 19,
    VN_TAG_TTAG = 20,
    VN_TAG_COUNT = 20
};

/// The interned text of a fixed id. It is there before other statics of the library are constructed, and is
/// never destroyed.
const vnString& vnDynamicTagText(vnDynamicTag tag) noexcept;

/// Whether a text is a fixed one. A text that was read as bytes counts, and is interned by that.
inline bool vnIsDynamicTag(const vnString& text, vnDynamicTag tag)
{
    return text.getUniqueID() ? text.getUniqueID() == tag : text == vnDynamicTagText(tag);
}

inline bool vnIsDynamicTag(const vnDynamicType& value, vnDynamicTag tag)
{
    return vnIsDynamicTag(value.getDynamicType(), tag);
}

inline vnDynamicTypeTag vnFixedDynamicTag(vnDynamicTag tag) noexcept
{
    return vnDynamicTypeTag::ofFixed(vnDynamicTagText(tag));
}
