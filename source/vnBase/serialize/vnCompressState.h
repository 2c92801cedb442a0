// SPDX-License-Identifier: MIT
#pragma once

#include "vnThreadSlot.h"

#include <vnBase/vnMemory.h>
#include <vnBase/vnSharedMemory.h>

#include <memory>
#include <utility>
#include <zlib.h>

// What zlib needs for one direction. Its memory comes from the library.
class vnCompressState : public vnSharedMemory
{
public:
    vnCompressState(const vnCompressState&) = delete;
    vnCompressState& operator=(const vnCompressState&) = delete;
    z_stream& getStream() noexcept { return m_stream; }

protected:
    vnCompressState() noexcept;
    ~vnCompressState() = default;

    z_stream m_stream{};
    bool m_isReady = false;
};

class vnDeflateState : public vnCompressState
{
public:
    vnDeflateState() = default;
    ~vnDeflateState();

    // Makes the stream ready for a new block; answers zlib's result.
    int begin();
};

class vnInflateState : public vnCompressState
{
public:
    vnInflateState() = default;
    ~vnInflateState();
    int begin();
};

// Lends the state that the thread keeps, or one of its own once the thread has ended so far that it keeps
// none. It is away while it is lent: a target that is read meanwhile may need one, too.
template <class State>
class vnLentState
{
public:
    vnLentState()
    {
        if (Kept* kept = ofThread())
            m_state.swap(*kept);
        if (!m_state)
            m_state.reset(new State);
    }
    ~vnLentState()
    {
        if (Kept* kept = ofThread())
            *kept = std::move(m_state);
    }
    vnLentState(const vnLentState&) = delete;
    vnLentState& operator=(const vnLentState&) = delete;
    State* operator->() const noexcept { return m_state.get(); }

private:
    using Kept = std::unique_ptr<State>;
    static Kept* ofThread() { return vnThreadSlot<Kept, State>::get(); }

    Kept m_state;
};

// A number in the head of a block. It takes no more than ten bytes, so that it comes to an end.
struct vnBlockNumber
{
    static constexpr unsigned int VN_MAX_SIZE = 10;

    // Answers whether this was the last byte. Not for a number that is too long.
    bool take(unsigned char byte) noexcept
    {
        value |= vnUInt64{byte & 0x7Fu} << (7 * size++);
        return !(byte & 0x80);
    }
    bool isTooLong() const noexcept { return size >= VN_MAX_SIZE; }

    vnUInt64 value = 0;
    unsigned int size = 0;
};

// Writes `count` bytes as a block, compressed or, where that fails, stored. Answers its size; 0 when there is
// too little room.
unsigned int vnWriteBlock(const unsigned char* from, unsigned int count, unsigned char* to,
                          unsigned int room);

enum vnCompressMethod : unsigned int
{
    VN_METHOD_STORED = 0,
    VN_METHOD_ZLIB = 1
};
