// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnString.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

/// The bytes of a text, which must end with NUL.
inline std::string bytesOf(const vnString& text)
{
    EXPECT_EQ(text.getString()[text.length()], 0);
    return std::string(text.getString(), text.length());
}

/// The text of the fatal error that the operation throws; empty when it throws none.
template <class Operation>
std::string errorOf(Operation operation)
{
    try
    {
        operation();
    }
    catch (const vnFatalError& error)
    {
        return error.getErrorString().getString();
    }
    return "";
}

/// Runs what it is given when the static that it is gets destroyed: after all that the program made on
/// demand.
struct LateCall
{
    ~LateCall()
    {
        if (run)
            run();
    }
    void (*run)() = nullptr;
};

/// Counts the allocations of the library while it lives, and refuses those above a limit.
class CountingManager : public vnMemoryManagerInterface
{
public:
    explicit CountingManager(unsigned int limit = 0xFFFFFFFFu) : m_limit(limit)
    {
        vnMemoryControl::setMemoryManager(this);
        m_count = 0; // the table of tracked blocks may have moved here
    }
    ~CountingManager() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    void* allocate(unsigned int size) override
    {
        ++m_count;
        return size > m_limit ? nullptr : std::malloc(size);
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override { std::free(block); }

    unsigned int getCount() const { return m_count; }

private:
    unsigned int m_limit;
    unsigned int m_count = 0;
};
