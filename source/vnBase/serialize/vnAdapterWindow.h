// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

#include <cstring>

/// The bytes that an adapter lays open to be read, for readers inside the library that look at many at once.
/// Bytes in the window are the next ones of the stream; there are none while bytes are pushed back, and there
/// may be none at any other time.
class vnAdapterWindow
{
public:
    static const unsigned char* next(const vnSerializeAdapter& adapter) noexcept
    {
        return adapter.m_readNext;
    }
    static const unsigned char* end(const vnSerializeAdapter& adapter) noexcept { return adapter.m_readEnd; }

    /// Takes the bytes up to `to`, which is in the window, as read.
    static void advance(vnSerializeAdapter& adapter, const unsigned char* to) noexcept
    {
        adapter.m_readNext = to;
    }

    /// How many bytes the adapter itself holds, pushed back or in the window: they come without its source.
    static unsigned int held(const vnSerializeAdapter& adapter) noexcept
    {
        const auto open = (adapter.m_readEnd - adapter.m_readNext) + (adapter.m_heldEnd - adapter.m_heldNext);
        return adapter.m_pushBack.getCount() + static_cast<unsigned int>(open);
    }

    static unsigned int pushedBack(const vnSerializeAdapter& adapter) noexcept
    {
        return adapter.m_pushBack.getCount();
    }

    /// Whether the class says that its length is an estimate.
    static bool estimates(const vnSerializeAdapter& adapter) noexcept { return adapter.m_lengthIsEstimate; }

    /// Whether the adapter lays the place for `count` bytes that are written next open, at `place`. They
    /// count as written when all of them are there, by `wrote`.
    static bool hasPlace(const vnSerializeAdapter& adapter, std::size_t count) noexcept
    {
        return count < static_cast<std::size_t>(adapter.m_writeEnd - adapter.m_writeNext);
    }
    static unsigned char* place(const vnSerializeAdapter& adapter) noexcept { return adapter.m_writeNext; }
    static void wrote(vnSerializeAdapter& adapter, unsigned char* end) noexcept { adapter.m_writeNext = end; }

    /// Opens the window of a block of memory where it stands, unless there is one. Answers whether the window
    /// holds all that can be read.
    static bool openMemory(vnSerializeAdapter& memory)
    {
        if (!memory.m_pushBack.isEmpty())
            return false;
        if (memory.m_readNext || memory.length_imp() == 0)
            return true;
        memory.read_imp(); // which opens it behind the byte
        memory.setReadWindow(memory.m_readNext - 1, memory.m_readEnd);
        return true;
    }

    /// Gives the last bytes read back, in the order in which they were read. Where they still stand in the
    /// window it opens there again, so that what reads next finds a window.
    static void unread(vnSerializeAdapter& adapter, const unsigned char* bytes, unsigned int count)
    {
        const bool isThere = count > 0 && adapter.m_pushBack.isEmpty() &&
                             adapter.m_readNext - adapter.m_readBegin >= static_cast<std::ptrdiff_t>(count) &&
                             std::memcmp(adapter.m_readNext - count, bytes, count) == 0;
        if (isThere)
            adapter.m_readNext -= count;
        else
            adapter.pushBack(bytes, count);
    }
};
