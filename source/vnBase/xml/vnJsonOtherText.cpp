// SPDX-License-Identifier: MIT
#include "vnJsonOtherText.h"

#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterString.h>

#include <dynamic/vnDynamicTags.h>

// The text between the tags of the value's XML form.
vnString vnJsonOtherText(const vnDynamicType& value)
{
    if (vnIsDynamicTag(value, VN_TAG_VOID))
        return vnDynamicTagText(VN_TAG_VOID);
    if (vnIsDynamicTag(value, VN_TAG_LLNUM))
        return vnString::formatString("%lld", vnDynamicTypeInt64(value).getInt64());
    if (vnIsDynamicTag(value, VN_TAG_ERROR))
        return vnDynamicTypeError(value).getError().stripWhiteSpace();
    if (vnIsDynamicTag(value, VN_TAG_GUID))
        return value.getString();
    if (vnIsDynamicTag(value, VN_TAG_VEC2))
        return vnString::formatString("{%g,%g}", value.getVec2().x, value.getVec2().y);
    if (vnIsDynamicTag(value, VN_TAG_VEC3))
    {
        const auto v = value.getVec3();
        return vnString::formatString("{%g,%g,%g}", v.x, v.y, v.z);
    }
    if (vnIsDynamicTag(value, VN_TAG_VEC4))
    {
        const auto v = value.getVec4();
        return vnString::formatString("{%g,%g,%g,%g}", v.x, v.y, v.z, v.w);
    }
    vnRefPointer<vnSerializeAdapterString> text(new vnSerializeAdapterString);
    vnRefPointer<vnSerializeAdapterBCDEncoder> encoder(new vnSerializeAdapterBCDEncoder(text));
    vnDynamicType(value).write(encoder);
    encoder->flush();
    return *text;
}
