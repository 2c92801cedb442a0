// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// ZIP archives byte by byte as the format tells, so that tests don't take a writer's word for it, and can
/// lie.

/// A member; sizes and checksum are what it claims.
struct vnArchiveMember
{
    std::string name;
    std::string packed;
    unsigned int size;
    unsigned int crc;
    unsigned int method; // 0 for stored, 8 for deflated
    unsigned int flags;
};

/// Appends the lowest `bytes` bytes of `value`, the low one first.
inline void vnPutNumber(std::string& to, unsigned long long value, unsigned int bytes)
{
    for (; bytes > 0; --bytes, value >>= 8)
        to += static_cast<char>(value);
}

/// The checksum of a member.
inline unsigned int vnArchiveCRC(const std::string& text)
{
    unsigned int crc = ~0u;
    for (const char character : text)
    {
        crc ^= static_cast<unsigned char>(character);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320u : 0);
    }
    return ~crc;
}

/// What the local header and the directory have in common. With Zip64 the sizes stand in the extra field.
inline std::string vnArchiveHead(const vnArchiveMember& member, const std::string& extra)
{
    std::string head;
    vnPutNumber(head, member.flags, 2);
    vnPutNumber(head, member.method, 2);
    vnPutNumber(head, 0, 4); // time
    vnPutNumber(head, member.crc, 4);
    vnPutNumber(head, extra.empty() ? member.packed.size() : 0xFFFFFFFFu, 4);
    vnPutNumber(head, extra.empty() ? member.size : 0xFFFFFFFFu, 4);
    vnPutNumber(head, member.name.size(), 2);
    vnPutNumber(head, extra.size(), 2);
    return head;
}

/// An archive; `isZip64` puts all sizes, places and counts into the records of 64 bits.
inline std::string vnArchiveOf(const std::vector<vnArchiveMember>& members, const std::string& comment = "",
                               bool isZip64 = false)
{
    std::string bytes, directory;
    for (const vnArchiveMember& member : members)
    {
        std::string sizes, place;
        if (isZip64)
        {
            vnPutNumber(sizes, member.size, 8);
            vnPutNumber(sizes, member.packed.size(), 8);
            place = std::string("\x01\0\x18\0", 4) + sizes;
            vnPutNumber(place, bytes.size(), 8);
            sizes = std::string("\x01\0\x10\0", 4) + sizes;
        }
        directory +=
            std::string("PK\x01\x02\x2D\0\x2D\0", 8) + vnArchiveHead(member, place) + std::string(10, '\0');
        vnPutNumber(directory, isZip64 ? 0xFFFFFFFFu : bytes.size(), 4);
        directory += member.name + place;
        bytes += std::string("PK\x03\x04\x2D\0", 6) + vnArchiveHead(member, sizes) + member.name + sizes +
                 member.packed;
    }
    const std::size_t start = bytes.size();
    bytes += directory;
    const std::size_t end = bytes.size();
    if (isZip64)
    {
        bytes += std::string("PK\x06\x06\x2C\0\0\0\0\0\0\0\x2D\0\x2D\0\0\0\0\0\0\0\0\0", 24);
        vnPutNumber(bytes, members.size(), 8);
        vnPutNumber(bytes, members.size(), 8);
        vnPutNumber(bytes, directory.size(), 8);
        vnPutNumber(bytes, start, 8);
        bytes += std::string("PK\x06\x07\0\0\0\0", 8);
        vnPutNumber(bytes, end, 8);
        vnPutNumber(bytes, 1, 4);
    }
    bytes += std::string("PK\x05\x06\0\0\0\0", 8);
    vnPutNumber(bytes, isZip64 ? 0xFFFF : members.size(), 2);
    vnPutNumber(bytes, isZip64 ? 0xFFFF : members.size(), 2);
    vnPutNumber(bytes, isZip64 ? 0xFFFFFFFFu : directory.size(), 4);
    vnPutNumber(bytes, isZip64 ? 0xFFFFFFFFu : start, 4);
    vnPutNumber(bytes, comment.size(), 2);
    return bytes + comment;
}
