// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

#include <new>

/// How reading the whole of a source ended. An error of the source itself is told by the source.
enum class vnReadResult
{
    Whole,
    Stuck,   // it says that it has data and gives none
    TooLong, // there is more than the limit
    NoMemory // there is more than there is memory for
};

/// What went wrong, in the language of the user: the error of the source, else that of the result; empty when
/// nothing did.
vnString vnReadError(vnSerializeAdapter& source, vnReadResult result);

/// How many bytes `source` and the adapters behind it hold in memory, of those that "rand:", "cache:" and
/// "zip:" stand for.
vnUInt64 vnSizeInMemory(const vnSerializeAdapter& source);

/// How many bytes of `source` may be taken into memory: `limit`, or what is left for it of the limit of URLs
/// from outside when it is one and that is less.
unsigned int vnReadLimit(const vnSerializeAdapter& source, unsigned int limit = 0xFFFFFFFFu);

/// Whether `length()` of the source is a number of bytes. It is none for a channel, and one of other bytes
/// for what transforms them, also through adapters that pass the length of their target on.
bool vnTellsLength(const vnSerializeAdapter& source);

/// How many bytes can be read without waiting for a channel, as far as that is known.
unsigned int vnBytesAtHand(vnSerializeAdapter& source);

/// Reads what comes next, at most `known` bytes, where `known` is the length that the source tells. With 0 it
/// has data and does not know how many, so that one byte is asked for: a larger block would wait until it is
/// full. `data` has room for one byte at least. 0 when none came, or one together with an error.
unsigned int vnReadSome(vnSerializeAdapter& source, unsigned char* data, unsigned int known);

/// Reads `count` bytes, also from a source that gives fewer at a time, and answers how many came.
unsigned int vnReadFully(vnSerializeAdapter& source, unsigned char* data, unsigned int count);

/// Reads `claimed` bytes of `source` into `bytes`, or what comes of them until there are no more. A claim
/// that nothing stands behind takes no more than 16 MiB, and not for long; up to that, and so for most
/// streams, it is one read.
vnReadResult vnReadClaimed(vnSerializeAdapter& source, unsigned int claimed,
                           vnDynamicArray<unsigned char>& bytes);

/// Appends what the source has until it has no more, or an error, or `bytes` would get longer than `limit`.
vnReadResult vnReadAll(vnSerializeAdapter& source, vnDynamicArray<unsigned char>& bytes,
                       unsigned int limit = 0xFFFFFFFFu);

/// Runs `take`, which takes memory for `size` bytes. False when there is none for so many; a size that most
/// programs have to spare throws, since that is the end of all memory.
template <class Take>
[[nodiscard]] bool vnTakeMemory(unsigned int size, const Take& take)
{
    constexpr unsigned int spared = 16u << 20;
    try
    {
        take();
        return true;
    }
    catch (const std::bad_alloc&)
    {
        if (size < spared)
            throw;
        return false;
    }
}

/// Makes `bytes` `size` long; its capacity grows by its chunk, or by half of itself when that is more. False
/// when there is no memory for that many: that is a matter of the size, and not the end of all memory, which
/// throws `std::bad_alloc` as ever.
[[nodiscard]] bool vnGrowTo(vnDynamicArray<unsigned char>& bytes, unsigned int size);

/// Moves to an offset from the start that may be larger than what `seek` takes in its signed argument.
bool vnSeekTo(vnSerializeAdapter& adapter, unsigned int offset);
