// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnInput.h"
#include "vnTool.h"
#include "vnWordCount.h"

#include <vnBase/vnEvent.h>
#include <vnBase/vnThread.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

// Counts words: the main thread reads blocks that end between words, and threads count them.

namespace
{
using Block = std::vector<unsigned char>;

constexpr std::size_t blocksPerThread = 2; // waiting at most, so that a slow count bounds the memory
constexpr unsigned int waitMilliseconds = 1000;

/// The blocks between the reader and the counters.
class BlockQueue
{
public:
    explicit BlockQueue(std::size_t capacity) : m_capacity(capacity), m_changed(new vnEvent) {}

    /// Waits for room. Answers false when a counter failed, so that nobody takes blocks any more.
    bool put(Block block)
    {
        vnBodyGuard guard(*m_changed);
        while (m_blocks.size() >= m_capacity && !m_failed)
            m_changed->waitAndLock(waitMilliseconds, 1);
        m_blocks.push_back(std::move(block));
        m_changed->fire();
        return !m_failed;
    }

    /// Waits for a block. Answers false when there will be none.
    bool take(Block& block)
    {
        vnBodyGuard guard(*m_changed);
        while (m_blocks.empty() && !m_closed)
            m_changed->waitAndLock(waitMilliseconds, 1);
        if (m_blocks.empty())
            return false;
        block = std::move(m_blocks.back());
        m_blocks.pop_back();
        m_changed->fire();
        return true;
    }

    void close()
    {
        vnBodyGuard guard(*m_changed);
        m_closed = true;
        m_changed->fire();
    }

    void fail()
    {
        vnBodyGuard guard(*m_changed);
        m_failed = true;
        m_changed->fire();
    }

    bool hasFailed() const { return m_failed; }

private:
    std::size_t m_capacity;
    vnRefPointer<vnEvent> m_changed; // its mutex guards the fields below
    std::vector<Block> m_blocks;     // taken from the end: the order makes no difference
    bool m_closed = false;
    std::atomic<bool> m_failed{false};
};

class Counter : public vnThread
{
public:
    explicit Counter(BlockQueue& queue) : vnThread(VN_THREAD_PRIORITY_NORMAL), m_queue(queue) {}
    ~Counter() noexcept(false) override { stop(1); }

    void process() override
    {
        try
        {
            Block block;
            while (m_queue.take(block))
                m_count.add(block.data(), block.size());
        }
        catch (...)
        {
            m_queue.fail();
        }
        m_isDone = true;
    }

    /// Returns when the thread has counted all blocks of the closed queue.
    void join()
    {
        while (!m_isDone && isRunning(0))
            vnDelayFunction(1, nullptr);
    }

    const vnWordCount& getCount() const { return m_count; }

private:
    BlockQueue& m_queue;
    vnWordCount m_count;
    std::atomic<bool> m_isDone{false};
};

// The counters, which end before the queue does, whatever happens.
class Counters
{
public:
    explicit Counters(BlockQueue& queue) : m_queue(queue) {}
    ~Counters() { finish(); }
    Counters(const Counters&) = delete;
    Counters& operator=(const Counters&) = delete;

    /// Starts `count` threads, or as many as the system allows, but one at least.
    void start(unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i)
        {
            m_counters.push_back(std::make_unique<Counter>(m_queue));
            if (m_counters.back()->run(0))
                continue;
            m_counters.pop_back();
            break;
        }
        if (m_counters.empty())
            throw vnFailure("no thread could be started");
    }

    void finish()
    {
        m_queue.close();
        for (const auto& counter : m_counters)
            counter->join();
    }

    void addTo(vnWordCount& sum) const
    {
        for (const auto& counter : m_counters)
            sum.add(counter->getCount());
    }

private:
    BlockQueue& m_queue;
    std::vector<std::unique_ptr<Counter>> m_counters;
};

void readFile(const std::string& name, BlockQueue& queue)
{
    vnAdapter file = vnOpenURL(name, VN_SERIALIZE_INPUT);
    vnBlockReader reader(file, name.c_str());
    Block open; // the beginning of a word that goes on in the next block
    while (const unsigned int wanted = reader.getNextSize())
    {
        Block block = std::move(open);
        const std::size_t kept = block.size();
        block.resize(kept + wanted);
        block.resize(kept + reader.read(block.data() + kept, wanted));

        const std::size_t end = vnWordCount::findOpenWord(block.data(), block.size());
        const std::size_t openSize =
            std::min(block.size() - end, vnWordCount::VN_MAX_WORD); // the rest would be cut
        open.assign(block.data() + end, block.data() + end + openSize);
        block.resize(end);
        if (!block.empty() && !queue.put(std::move(block)))
            return;
    }
    if (!open.empty())
        queue.put(std::move(open));
}
} // namespace

void vnRunWords(vnArguments& arguments)
{
    const unsigned int processors = std::max(std::thread::hardware_concurrency(), 1u);
    const unsigned int top = arguments.takeNumber("--top", 20, 1, 1000000000);
    const unsigned int threads = arguments.takeNumber("--threads", std::min(processors, 64u), 1, 256);
    const std::vector<std::string> files = arguments.takeOperands(1, SIZE_MAX);

    BlockQueue queue(threads * blocksPerThread);
    Counters counters(queue);
    counters.start(threads);
    for (const std::string& file : files)
        readFile(file, queue);
    counters.finish();
    if (queue.hasFailed())
        throw vnFailure("out of memory while counting");

    vnWordCount sum;
    counters.addTo(sum);
    for (const vnWordCount::Entry& entry : sum.getTop(top))
    {
        const std::string count = std::to_string(entry.count) + " ";
        vnWriteResult(count.data(), count.size());
        vnWriteResult(entry.text, entry.length);
        vnWriteResult("\n", 1);
    }
}
