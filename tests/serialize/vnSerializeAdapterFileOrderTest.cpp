// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterFile.h>

#include "vnTempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

// Operations in any order, compared step by step with a plain model of the file.

namespace
{
constexpr unsigned int BLOCK = 1000000;
constexpr unsigned int SEEDS = 12;
constexpr unsigned int STEPS = 40;

class Random
{
public:
    explicit Random(unsigned int seed) : m_engine(seed) {}

    unsigned int below(unsigned int limit) { return static_cast<unsigned int>(m_engine() % limit); }

    // Around the sizes at which the adapter does something else.
    unsigned int size()
    {
        constexpr unsigned int edges[] = {0, 0, 0, 1, 2, 8, 65535, 65536, BLOCK - 1, BLOCK, BLOCK + 1};
        return below(2) ? edges[below(std::size(edges))] : below(3000);
    }

    std::string text(unsigned int length)
    {
        std::string text(length, '\0');
        std::generate(text.begin(), text.end(), [this] { return static_cast<char>(m_engine()); });
        return text;
    }

private:
    std::mt19937 m_engine;
};

const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

// An output file: what is written stands in the buffer until it is flushed to where the file stands.
struct Written
{
    std::string content;
    std::string buffer;
    std::size_t position = 0;

    void put(const std::string& text)
    {
        if (buffer.size() + text.size() > BLOCK)
            flush();
        buffer += text;
    }

    void flush()
    {
        content.resize(std::max(content.size(), buffer.empty() ? 0 : position + buffer.size()));
        content.replace(position, buffer.size(), buffer);
        buffer.clear();
        position = content.size(); // also when there was nothing to write
    }
};
} // namespace

TEST(vnSerializeAdapterFileOrder, WritesWhatAModelHolds)
{
    const vnTempFolder folder;
    for (unsigned int seed = 0; seed < SEEDS; ++seed)
    {
        SCOPED_TRACE(seed);
        Random random(seed);
        Written model{random.text(random.size()), "", 0};
        const vnString name = folder.write("a", model.content);
        model.position = model.content.size();
        {
            vnSerializeAdapterFile adapter(name, VN_SERIALIZE_APPEND, 0, 0);
            for (unsigned int step = 0; step < STEPS; ++step)
            {
                const std::string text = random.text(random.size());
                switch (random.below(4))
                {
                case 0:
                    adapter.write(bytesOf(text), static_cast<unsigned int>(text.size()));
                    model.put(text);
                    break;
                case 1:
                    for (const char byte : text.substr(0, 20))
                    {
                        adapter.write(static_cast<unsigned char>(byte));
                        model.put(std::string(1, byte));
                    }
                    break;
                case 2:
                    adapter.flush();
                    model.flush();
                    ASSERT_TRUE(vnTempFolder::content(name) == model.content) << "step " << step;
                    break;
                default:
                    model.flush();
                    model.position = random.below(static_cast<unsigned int>(model.content.size()) + 1);
                    ASSERT_EQ(adapter.reset(static_cast<unsigned int>(model.position)), 1);
                    break;
                }
            }
            EXPECT_FALSE(adapter.hasError());
            model.flush();
        }
        ASSERT_TRUE(vnTempFolder::content(name) == model.content);
    }
}

TEST(vnSerializeAdapterFileOrder, ReadsWhatAModelHolds)
{
    const vnTempFolder folder;
    for (unsigned int seed = 0; seed < SEEDS; ++seed)
    {
        SCOPED_TRACE(seed);
        Random random(seed);
        const std::string content = random.text(1 + random.size() + random.size());
        vnSerializeAdapterFile adapter(folder.write("a", content), VN_SERIALIZE_INPUT, 0, 0);
        std::size_t position = 0;
        std::string pushedBack;
        const auto left = [&] { return pushedBack + content.substr(std::min(position, content.size())); };
        const auto drop = [&](std::size_t count)
        {
            const std::size_t held = std::min(count, pushedBack.size());
            pushedBack.erase(0, held);
            position += count - held;
        };
        for (unsigned int step = 0; step < STEPS; ++step)
        {
            const std::string next = left();
            const unsigned int size = random.size();
            const std::size_t there = std::min<std::size_t>(size, next.size());
            std::string text(size, '\0');
            switch (random.below(6))
            {
            case 0:
                ASSERT_EQ(adapter.read(reinterpret_cast<unsigned char*>(text.data()), size), there);
                ASSERT_TRUE(text.substr(0, there) == next.substr(0, there)) << "step " << step;
                drop(there);
                break;
            case 1:
                for (std::size_t i = 0; i < std::min<std::size_t>(there, 20); ++i)
                    ASSERT_EQ(adapter.read(), static_cast<unsigned char>(next[i])) << "step " << step;
                drop(std::min<std::size_t>(there, 20));
                break;
            case 2:
                adapter.read(nullptr, static_cast<unsigned int>(there));
                drop(there);
                break;
            case 3:
                text = random.text(random.below(20));
                adapter.pushBack(bytesOf(text), static_cast<unsigned int>(text.size()));
                pushedBack = text + pushedBack;
                break;
            case 4:
                position = random.below(static_cast<unsigned int>(content.size()) + 1);
                ASSERT_EQ(adapter.seek(static_cast<int>(position), VN_ORIGIN_SET), position);
                break;
            default:
                adapter.setSeekMode(static_cast<unsigned char>(random.below(2)));
                break;
            }
            ASSERT_EQ(adapter.length(), left().size()) << "step " << step;
        }
        EXPECT_FALSE(adapter.hasError());
    }
}
