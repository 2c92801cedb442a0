// SPDX-License-Identifier: MIT
#pragma once

#include "../memory/vnFailingManager.h"

#include <vnBase/vnCompress.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnSerializeLex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

// Shared by the tests of adapters that stand in front of another one.

using Adapter = vnRefPointer<vnSerializeAdapter>;

inline std::string textOf(const vnString& text)
{
    return std::string(text.getString(), text.length());
}

inline std::string readAll(vnSerializeAdapter* from, unsigned int count = 1u << 20)
{
    std::string text(count, '?');
    text.resize(from->read(reinterpret_cast<unsigned char*>(&text[0]), count));
    return text;
}

/// What is left by its length.
inline std::string restOf(vnSerializeAdapter* from)
{
    return readAll(from, from->length());
}

inline std::string readByByte(vnSerializeAdapter* from)
{
    std::string text;
    while (from->hasData())
        text += static_cast<char>(from->read());
    return text;
}

inline void writeText(vnSerializeAdapter* to, const std::string& text)
{
    to->write(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
}

/// A queue with the text; its next bytes don't lie open.
inline Adapter queueWith(const std::string& text, bool isWide = false)
{
    Adapter queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->setAdapterFlags(isWide ? vnUInt64{VN_ADAPTER_UNICODE} : 0);
    for (const char c : text)
    {
        queue->write(static_cast<unsigned char>(c));
        if (isWide)
            queue->write(0);
    }
    return queue;
}

/// A memory adapter with a copy of the text; its next bytes lie open from the first read on.
inline Adapter memoryWith(const std::string& text)
{
    const auto size = static_cast<unsigned int>(text.size());
    std::unique_ptr<void, void (*)(void*)> block(vn_new(size + 1), vn_free);
    std::memcpy(block.get(), text.data(), size);
    auto* memory = new vnSerializeAdapterMemory(block.get(), size);
    block.release();
    memory->setDeleteMemOnDestruction(1);
    return Adapter(memory);
}

/// A compressed block of the text.
inline std::string blockOf(const std::string& text)
{
    vnDynamicArray<unsigned char> plain, block, scratch;
    plain.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    EXPECT_EQ(vnCompress(plain, block, scratch), 1);
    return std::string(reinterpret_cast<const char*>(block.data()), block.getSize());
}

/// Bytes without a pattern, the same ones each time.
inline std::string noise(unsigned int size)
{
    std::string text;
    unsigned int state = 12345;
    for (; size > 0; --size)
        text += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    return text;
}

/// Gives `text` in portions of a few bytes, and has no idea of its length, or claims a huge one up to
/// its end.
class Portions : public vnSerializeAdapter
{
public:
    Portions(std::string bytes, unsigned int claimed) : text(std::move(bytes)), m_claimed(claimed) {}

    std::string text;
    std::string written;
    std::size_t position = 0;
    unsigned int largestRead = 0;
    unsigned int flushes = 0;
    bool refuses = false;
    bool refusesFlush = false;
    std::size_t breaksAt = std::string::npos; // reading there throws, once

    void flush() override
    {
        if (refusesFlush)
            throw std::runtime_error("not flushed");
        ++flushes;
        vnSerializeAdapter::flush();
    }

protected:
    void write_imp(unsigned char byte) override
    {
        if (refuses)
            throw std::runtime_error("refused");
        written += static_cast<char>(byte);
    }
    unsigned char read_imp() override
    {
        breakHere(1);
        return static_cast<unsigned char>(text[position++]);
    }
    unsigned int read_imp(unsigned char* data, unsigned int count) override
    {
        largestRead = std::max(largestRead, count);
        breakHere(3);
        const auto got = static_cast<unsigned int>(std::min<std::size_t>({count, 3, text.size() - position}));
        std::memcpy(data, text.data() + position, got);
        position += got;
        return got;
    }
    unsigned int length_imp() override { return hasData_imp() ? m_claimed : 0; }
    unsigned char hasData_imp() override { return position < text.size(); }

private:
    void breakHere(std::size_t count)
    {
        if (breaksAt - position >= count)
            return;
        breaksAt = std::string::npos;
        throw std::runtime_error("broken");
    }

    unsigned int m_claimed;
};

/// Runs `use` with each allocation failing in turn; nothing but std::bad_alloc may come of it. Answers how
/// many allocations there were.
template <class Use>
unsigned int torture(Use use)
{
    vnFailingManager manager;
    unsigned int failing = 1;
    while (manager.run(use, failing).isReached)
        ++failing;
    return failing;
}
