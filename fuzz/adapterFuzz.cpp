// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <algorithm>
#include <memory>
#include <vector>

// Any order of operations on the memory and the queue adapter, compared step by step with a plain model: what
// is pushed back, read, skipped, probed and sought comes in the order in which the model gives it.

namespace
{
using Bytes = std::vector<unsigned char>;

// What stands behind the bytes pushed back.
class Source
{
public:
    virtual ~Source() noexcept(false) = default;
    virtual vnSerializeAdapter& adapter() = 0;
    virtual std::size_t length() const = 0;
    virtual unsigned char take() = 0; // only called with a length above 0
    virtual void put(unsigned char byte) = 0;

    // The single byte that an empty source gives; answers false when it throws instead.
    virtual bool givesWhenEmpty() const = 0;

    // The operations of one kind of adapter; `pushedBack` is emptied by those that drop it.
    virtual void special(vnFuzzInput& input, Bytes& pushedBack) = 0;
};

class MemorySource : public Source
{
public:
    explicit MemorySource(unsigned int size)
        : m_size(size), m_model(size), m_block(new unsigned char[size]()), m_adapter(m_block.get(), size)
    {
    }

    vnSerializeAdapter& adapter() override { return m_adapter; }
    std::size_t length() const override { return m_size - m_position; }
    unsigned char take() override { return m_model[m_position++]; }
    bool givesWhenEmpty() const override { return true; }

    void put(unsigned char byte) override
    {
        if (m_position < m_size)
            m_model[m_position++] = byte;
    }

    void special(vnFuzzInput& input, Bytes& pushedBack) override
    {
        const unsigned int what = input.byte() % 4;
        if (what == 0)
        {
            m_adapter.flush();
            m_size = 0;
            m_position = 0;
            pushedBack.clear();
        }
        else if (what == 1)
        {
            m_adapter.reset(m_block.get(), static_cast<unsigned int>(m_model.size()));
            m_size = m_model.size();
            m_position = 0;
        }
        else if (what == 2)
        {
            move(static_cast<signed char>(input.byte()));
        }
        else
        {
            seek(static_cast<int>(static_cast<unsigned int>(input.number(4))), input.byte() % 3);
        }
        VN_FUZZ_CHECK(m_adapter.getCurrentPos() == m_position);
        unsigned int sum = 0;
        for (std::size_t i = 0; i < m_size; ++i)
            sum += m_model[i];
        VN_FUZZ_CHECK(m_adapter.checksum() == (sum & 0xFFFF));
    }

private:
    void move(int delta)
    {
        m_adapter.move(delta);
        const vnInt64 target = static_cast<vnInt64>(m_position) + delta;
        if (target >= 0 && target < static_cast<vnInt64>(m_size))
            m_position = static_cast<std::size_t>(target);
    }

    void seek(int offset, unsigned int origin)
    {
        const std::size_t bases[] = {0, m_position, m_size};
        const vnInt64 target = static_cast<vnInt64>(bases[origin]) + offset;
        const unsigned int answer = m_adapter.seek(offset, static_cast<vnOriginPos>(origin));
        const bool inside = target >= 0 && target <= static_cast<vnInt64>(m_size);
        VN_FUZZ_CHECK(answer == (inside ? static_cast<unsigned int>(target) : 0xFFFFFFFFu));
        if (inside)
            m_position = static_cast<std::size_t>(target);
    }

    std::size_t m_size;
    std::size_t m_position = 0;
    Bytes m_model;
    std::unique_ptr<unsigned char[]> m_block;
    vnSerializeAdapterMemory m_adapter;
};

class QueueSource : public Source
{
public:
    QueueSource(vnQueueMode mode, unsigned int chunk) : m_mode(mode), m_adapter(mode, chunk) {}

    vnSerializeAdapter& adapter() override { return m_adapter; }
    std::size_t length() const override { return m_model.size() - m_front; }
    void put(unsigned char byte) override { m_model.push_back(byte); }
    bool givesWhenEmpty() const override { return false; }

    unsigned char take() override
    {
        if (m_mode == VN_QUEUE_FIFO)
            return m_model[m_front++];
        const unsigned char byte = m_model.back();
        m_model.pop_back();
        return byte;
    }

    void special(vnFuzzInput& input, Bytes& pushedBack) override
    {
        switch (input.byte() % 5)
        {
        case 0:
            m_adapter.clear();
            m_model.clear();
            m_front = 0;
            break;
        case 1:
            m_adapter.cleanUp();
            break;
        case 2:
            m_adapter.setChunkSize(input.byte());
            break;
        case 3:
            m_adapter.flush();
            pushedBack.clear();
            break;
        default:
            drain();
            break;
        }
    }

private:
    void drain()
    {
        vnArray<unsigned char> drained;
        const std::size_t count = length();
        m_adapter.getQueueData(drained);
        VN_FUZZ_CHECK(drained.getSize() == count);
        for (const unsigned char byte : drained)
            VN_FUZZ_CHECK(byte == take());
    }

    vnQueueMode m_mode;
    std::size_t m_front = 0;
    Bytes m_model;
    vnSerializeAdapterQueue m_adapter;
};

// One script of operations on one adapter.
class Script
{
public:
    Script(vnFuzzInput& input, Source& source) : m_input(input), m_source(source), m_adapter(source.adapter())
    {
    }

    void run()
    {
        constexpr int limit = 2000;
        for (int i = 0; i < limit && !m_input.isEmpty(); ++i)
        {
            step();
            VN_FUZZ_CHECK(m_adapter.length() == length());
            VN_FUZZ_CHECK(m_adapter.hasData(0));
            VN_FUZZ_CHECK(m_adapter.hasData() == (length() > 0));
        }
        readBlock(100000); // all that is left
    }

private:
    std::size_t length() const { return m_pushedBack.size() + m_source.length(); }

    unsigned char take()
    {
        if (m_pushedBack.empty())
            return m_source.take();
        const unsigned char byte = m_pushedBack.back();
        m_pushedBack.pop_back();
        return byte;
    }

    void step()
    {
        switch (m_input.byte() % 10)
        {
        case 0:
            writeByte();
            break;
        case 1:
            writeBlock();
            break;
        case 2:
            readByte();
            break;
        case 3:
            readBlock(m_input.byte());
            break;
        case 4:
            skip(m_input.byte());
            break;
        case 5:
            pushByte();
            break;
        case 6:
            pushBlock();
            break;
        case 7:
            probe(static_cast<unsigned int>(m_input.number(2)));
            break;
        case 8:
            m_adapter.pushBackAdapterData();
            pushAll();
            break;
        default:
            m_source.special(m_input, m_pushedBack);
            break;
        }
    }

    void writeByte()
    {
        const unsigned char byte = m_input.byte();
        m_adapter.write(byte);
        m_source.put(byte);
    }

    void writeBlock()
    {
        const std::string block = m_input.shortText();
        m_adapter.write(reinterpret_cast<const unsigned char*>(block.data()),
                        static_cast<unsigned int>(block.size()));
        for (const char byte : block)
            m_source.put(static_cast<unsigned char>(byte));
    }

    void readByte()
    {
        if (length() > 0)
        {
            VN_FUZZ_CHECK(m_adapter.read() == take());
            return;
        }
        checkEmpty([this] { VN_FUZZ_CHECK(m_adapter.read() == 0); });
    }

    void readBlock(unsigned int count)
    {
        Bytes block(count);
        const std::size_t expected = std::min<std::size_t>(count, length());
        VN_FUZZ_CHECK(m_adapter.read(block.data(), count) == expected || count == 0);
        for (std::size_t i = 0; i < expected; ++i)
            VN_FUZZ_CHECK(block[i] == take());
    }

    void skip(unsigned int count)
    {
        const bool isEnough = count <= length();
        const std::size_t there = std::min<std::size_t>(count, length());
        const auto work = [this, count] { VN_FUZZ_CHECK(m_adapter.read(nullptr, count) == count); };
        if (isEnough)
            work();
        else
            checkEmpty(work);
        for (std::size_t i = 0; i < there; ++i)
            take();
    }

    // What asks an empty source for a byte: it sets the error or throws.
    template <class Work>
    void checkEmpty(Work work)
    {
        m_adapter.setError("");
        try
        {
            work();
            VN_FUZZ_CHECK(m_source.givesWhenEmpty());
            VN_FUZZ_CHECK(m_adapter.hasError());
        }
        catch (const vnFatalError&)
        {
            VN_FUZZ_CHECK(!m_source.givesWhenEmpty());
        }
    }

    void pushByte()
    {
        const unsigned char byte = m_input.byte();
        m_adapter.pushBack(byte);
        m_pushedBack.push_back(byte);
    }

    void pushBlock()
    {
        const std::string block = m_input.shortText();
        m_adapter.allocPushBack(m_input.byte());
        m_adapter.pushBack(reinterpret_cast<const unsigned char*>(block.data()),
                           static_cast<unsigned int>(block.size()));
        for (std::size_t i = block.size(); i-- > 0;)
            m_pushedBack.push_back(static_cast<unsigned char>(block[i]));
    }

    // Asking for more than there is moves everything in front of the source.
    void probe(unsigned int count)
    {
        const bool isEnough = count <= length();
        VN_FUZZ_CHECK((m_adapter.hasData(count) != 0) == isEnough);
        if (!isEnough && count != 1)
            pushAll();
    }

    void pushAll()
    {
        Bytes all;
        while (length() > 0)
            all.push_back(take());
        m_pushedBack.assign(all.rbegin(), all.rend());
    }

    vnFuzzInput& m_input;
    Source& m_source;
    vnSerializeAdapter& m_adapter;
    Bytes m_pushedBack; // the next byte stands last
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned int kind = input.byte() % 3;
    const unsigned int amount = input.byte();
    std::unique_ptr<Source> source;
    if (kind == 0)
        source = std::make_unique<MemorySource>(amount);
    else
        source = std::make_unique<QueueSource>(kind == 1 ? VN_QUEUE_FIFO : VN_QUEUE_LIFO, amount);
    Script(input, *source).run();
    return 0;
}
