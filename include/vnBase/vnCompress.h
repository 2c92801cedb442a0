// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnSharedMemory.h>

// Blocks of compressed bytes. A block says how many bytes it holds, and how:
//
//     plain size   vnVarUInt64   the bytes before compression
//     method       vnVarUInt64   1 zlib, 0 stored
//     payload                    a zlib stream, or a plain copy
//
// Each block stands for itself. Sizes are 32-bit. Where an array can't grow, `std::bad_alloc` is thrown, and
// nothing else; where zlib itself gets no memory, a block is stored, or not read. Each thread keeps the state
// of zlib, about 300 KB, from its first block to its end.
//
// Thread-safety: any thread, on arrays of its own.

/// Makes `destination` the block that holds the bytes of `source`; `scratch` is working memory that is worth
/// keeping for the next block. Source and destination may be one array. Answers 1.
VN_BASE_API unsigned char vnCompress(const vnArray<unsigned char>& source,
                                     vnArray<unsigned char>& destination, vnArray<unsigned char>& scratch);
VN_BASE_API unsigned char vnCompress(const vnDynamicArray<unsigned char>& source,
                                     vnDynamicArray<unsigned char>& destination,
                                     vnDynamicArray<unsigned char>& scratch);
VN_BASE_API unsigned char vnCompress(const vnArray<vnQuadWordAligned<unsigned char>>& source,
                                     vnArray<vnQuadWordAligned<unsigned char>>& destination,
                                     vnArray<vnQuadWordAligned<unsigned char>>& scratch);
VN_BASE_API unsigned char vnCompress(const vnDynamicArray<vnQuadWordAligned<unsigned char>>& source,
                                     vnDynamicArray<vnQuadWordAligned<unsigned char>>& destination,
                                     vnDynamicArray<vnQuadWordAligned<unsigned char>>& scratch);

/// The same on plain memory. `size` is the room at `destination` and becomes the size of the block; what has
/// no room compressed is stored. Answers 0, with a size of 0, when it does not fit that way either. The two
/// ranges must not overlap.
VN_BASE_API unsigned char vnCompress(const unsigned char* source, unsigned int count,
                                     unsigned char* destination, unsigned int& size);

/// The room that a block of `count` bytes takes at most.
VN_BASE_API vnUInt64 vnCompressBound(unsigned int count);

/// Makes `destination` the bytes that the block in `source` holds; what follows the block is ignored. Answers
/// 0, with an empty destination, when that is no such block, when it is cut off or damaged, when it holds
/// another number of bytes than it says, or more than `most`, and when zlib gets no memory. The size that it
/// claims is not trusted: memory is taken as bytes come out; but a thousand bytes may yield a million, so set
/// `most` for blocks of strangers. Source and destination may be one array; a `std::bad_alloc` leaves it as
/// it was, and empties another destination.
VN_BASE_API unsigned char vnUnCompress(const vnArray<unsigned char>& source,
                                       vnArray<unsigned char>& destination, unsigned int most = 0xFFFFFFFFu);
VN_BASE_API unsigned char vnUnCompress(const vnDynamicArray<unsigned char>& source,
                                       vnDynamicArray<unsigned char>& destination,
                                       unsigned int most = 0xFFFFFFFFu);
VN_BASE_API unsigned char vnUnCompress(const vnArray<vnQuadWordAligned<unsigned char>>& source,
                                       vnArray<vnQuadWordAligned<unsigned char>>& destination,
                                       unsigned int most = 0xFFFFFFFFu);
VN_BASE_API unsigned char vnUnCompress(const vnDynamicArray<vnQuadWordAligned<unsigned char>>& source,
                                       vnDynamicArray<vnQuadWordAligned<unsigned char>>& destination,
                                       unsigned int most = 0xFFFFFFFFu);

/// The same on plain memory. `size` is the room at `destination` and becomes the number of bytes; a block
/// that holds more answers 0, with a size of 0.
VN_BASE_API unsigned char vnUnCompress(const unsigned char* source, unsigned int count,
                                       unsigned char* destination, unsigned int& size);
