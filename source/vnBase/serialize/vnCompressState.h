// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMemory.h>
#include <vnBase/vnSharedMemory.h>

#include <memory>
#include <zlib.h>

// What zlib needs for one direction. Its memory comes from the library.
class vnCompressState : public vnSharedMemory
{
public:
    vnCompressState(const vnCompressState&) = delete;
    vnCompressState& operator=(const vnCompressState&) = delete;

protected:
    vnCompressState() noexcept;
    ~vnCompressState() = default;

    // Throws std::bad_alloc for exhausted memory.
    static bool check(int result);

    z_stream m_stream{};
    bool m_isReady = false;
};

class vnDeflateState : public vnCompressState
{
public:
    vnDeflateState() = default;
    ~vnDeflateState();

    // Ready for a new stream; null when zlib fails.
    z_stream* begin();
};

class vnInflateState : public vnCompressState
{
public:
    vnInflateState() = default;
    ~vnInflateState();
    z_stream* begin();
};

// Lends the state that the thread keeps. It is away while it is lent: a target that is read meanwhile may
// need one, too.
template <class State>
class vnLentState
{
public:
    vnLentState() : m_state(std::move(kept()))
    {
        if (!m_state)
            m_state.reset(new State);
    }
    ~vnLentState() { kept() = std::move(m_state); }
    vnLentState(const vnLentState&) = delete;
    vnLentState& operator=(const vnLentState&) = delete;
    State* operator->() const noexcept { return m_state.get(); }

private:
    static std::unique_ptr<State>& kept()
    {
        static thread_local std::unique_ptr<State> state;
        return state;
    }

    std::unique_ptr<State> m_state;
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
