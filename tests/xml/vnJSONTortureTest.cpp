// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnJSON.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <string>

namespace
{
// The C library's heap, in which one allocation fails, and perhaps all later ones. It counts what is alive.
class FailingManager : public vnMemoryManagerInterface
{
public:
    FailingManager() { vnMemoryControl::setMemoryManager(this); }
    ~FailingManager() noexcept(false) override { vnMemoryControl::setMemoryManager(nullptr); }
    void* allocate(unsigned int size) override
    {
        ++made;
        if (made == failing || (failing && made > failing && failsOn))
            return nullptr;
        void* const block = std::malloc(size);
        alive += block != nullptr;
        return block;
    }
    void* reallocate(void*, unsigned int) override { return nullptr; }
    void deallocate(void* block) override
    {
        --alive;
        std::free(block);
    }

    unsigned int made = 0;
    unsigned int failing = 0; // 0 for none
    bool failsOn = false;
    int alive = 0;
};

std::string makeText()
{
    std::string text = "[";
    for (int i = 0; i < 40; ++i)
        text +=
            "{\"name\":\"a text that is too long for any small buffer\",\"na\\u006de\":" + std::to_string(i) +
            "},";
    return text + std::string(12, '[') + "1,\"\\u00e9\"" + std::string(12, ']') + "]";
}

// Reads and writes in both forms, from memory and as it comes.
void useJSON(const std::string& text)
{
    for (const unsigned char strict : {0, 1})
    {
        vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
        queue->write(reinterpret_cast<const unsigned char*>(text.data()),
                     static_cast<unsigned int>(text.size()));
        vnJSON json;
        json.setStrict(strict);
        json.read(queue);
        const vnDynamicType value = json.getData();
        EXPECT_TRUE(value == vnDynamicType::fromJSON(text.c_str(), strict));
        EXPECT_FALSE(value.asJSON(strict).isEmpty());
        EXPECT_FALSE(vnDynamicType::fromJSON("{\"a\":[1,}").asJSON().isEmpty());
    }
}
} // namespace

TEST(vnJSONTorture, EndsInBadAllocOrSuccessAndLeaksNothing)
{
    const std::string text = makeText();
    FailingManager manager;
    // The texts of errors stay in a ring, each place of which takes memory when it is first used.
    constexpr int places = 300;
    for (int i = 0; i < places; ++i)
        vnGenerateDebugString("vnJson", i, VN_BASE_VERSION_TEXT);
    testing::internal::CaptureStderr(); // each failure is reported there
    for (const bool failsOn : {false, true})
    {
        manager.failsOn = failsOn;
        for (int i = 0; i < 20; ++i)
            useJSON(text); // what is kept for good stands now
        const int before = manager.alive;
        unsigned int failing = 0;
        for (bool isReached = true; isReached;)
        {
            manager.made = 0;
            manager.failing = ++failing;
            bool failed = false;
            try
            {
                useJSON(text);
            }
            catch (const std::bad_alloc&)
            {
                failed = true;
            }
            isReached = manager.made >= failing;
            manager.failing = 0;
            ASSERT_EQ(failed, isReached) << failing;
            ASSERT_EQ(manager.alive, before) << failing;
            ASSERT_LT(failing, 10000u);
        }
        EXPECT_GT(failing, 30u);
    }
    testing::internal::GetCapturedStderr();
}
