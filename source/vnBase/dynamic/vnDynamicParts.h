// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicType.h>

#include <dynamic/vnDynamicTags.h>

/// Bytes of a payload, which belong to somebody else.
struct vnDynamicSpan
{
    const unsigned char* begin;
    const unsigned char* end;

    unsigned int size() const noexcept { return static_cast<unsigned int>(end - begin); }

    static vnDynamicSpan of(const vnDynamicType& value) noexcept
    {
        return {value.getPayload().begin(), value.getPayload().end()};
    }
};

/// A value of parts that are known already. It is handed on as a plain value.
class vnDynamicParts : public vnDynamicType
{
public:
    vnDynamicParts(vnDynamicTag tag, vnDynamicPayload&& payload) noexcept
        : vnDynamicType(vnFixedDynamicTag(tag), std::move(payload))
    {
    }
    vnDynamicParts(vnDynamicTag tag, vnDynamicPayload&& payload, const vnDynamicType& references)
        : vnDynamicParts(tag, std::move(payload))
    {
        appendReferences(references);
    }
    vnDynamicParts(vnDynamicTag tag, vnDynamicSpan payload) : vnDynamicParts(vnFixedDynamicTag(tag), payload)
    {
    }
    vnDynamicParts(vnDynamicTypeTag&& tag, vnDynamicSpan payload)
        : vnDynamicType(std::move(tag), vnDynamicPayload(payload.begin, payload.size()))
    {
    }
};
