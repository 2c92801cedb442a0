// SPDX-License-Identifier: MIT
#include "vnEncodeTestHelp.h"

#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterEncoder.h>
#include <vnBase/vnSerializeAdapterRandomAccess.h>
#include <vnBase/vnSerializeAdapterZIP.h>

#include <gtest/gtest.h>

// What the adapters in front of other adapters have in common.

namespace
{
using Base64 = vnSerializeAdapterBase64Encoder;
using Hex = vnSerializeAdapterBCDEncoder;
using Compress = vnSerializeAdapterCompress;

struct Scrambler : vnSerializeAdapterEncoder
{
    explicit Scrambler(vnSerializeAdapter* target) : vnSerializeAdapterEncoder(target, 7) {}
    void setAdapter(vnSerializeAdapter* target) { vnSerializeAdapterEncoder::setAdapter(target, 7); }
};

template <class Codec>
class Transforming : public testing::Test
{
protected:
    // With a flush behind each.
    static std::string encoded(const std::string& first, const std::string& second = "")
    {
        const Adapter queue = queueWith("");
        const Adapter codec(new Codec(queue.get()));
        for (const std::string& plain : {first, second})
        {
            writeText(codec.get(), plain);
            codec->flush();
        }
        return readAll(queue.get());
    }
};

using Codecs = testing::Types<Base64, Hex, Scrambler, Compress>;
TYPED_TEST_SUITE(Transforming, Codecs);
} // namespace

TYPED_TEST(Transforming, looksLikeItsTarget)
{
    const Adapter first = queueWith("");
    first->setURLBase("file:");
    first->setDefaultPath("//a/");
    first->setName("name");
    first->setAttributes("b=1");
    first->setPassword("word");
    first->setAdapterFlags(VN_ADAPTER_SILENT);
    const Adapter second = queueWith("");
    second->setName("other");
    auto* codec = new TypeParam(first.get());
    const Adapter hold(codec);
    for (const bool again : {false, true}) // null leaves all as it was
    {
        EXPECT_EQ(codec->getURL(), "file://a/name?b=1") << again;
        EXPECT_EQ(codec->getPassword(), "word") << again;
        EXPECT_EQ(codec->getAdapterFlags(), VN_ADAPTER_SILENT) << again;
        codec->setAdapter(nullptr);
        EXPECT_EQ(codec->getAdapter(), nullptr);
    }
    codec->setAdapter(second.get());
    EXPECT_EQ(codec->getURL(), "other");
    EXPECT_EQ(codec->getPassword(), "");
    EXPECT_EQ(codec->getAdapterFlags(), 0u);
}

TYPED_TEST(Transforming, sharesTheInstancesOfItsTarget)
{
    const Adapter queue = queueWith("");
    const Adapter codec(new TypeParam(Adapter(new Hex(queue.get())).get()));
    EXPECT_EQ(&codec->getRefInstanceArray(), &queue->getRefInstanceArray());
    EXPECT_EQ(&codec->getRefInstanceDictionary(), &queue->getRefInstanceDictionary());
    EXPECT_EQ(codec->getNewSharedInstanceID(), 0u);
    EXPECT_EQ(queue->getNewSharedInstanceID(), 1u);
    // Copies are those of the stacks, on either side.
    queue->getRefInstanceArray().append(vnRefPointer<vnReference>(queueWith("").get()));
    const Adapter behind = queueWith("");
    const Adapter copy(new TypeParam(behind.get()));
    copy->copySharedRefData(*codec);
    EXPECT_EQ(behind->getRefInstanceArray().getSize(), 1u);
    EXPECT_EQ(copy->getNewSharedInstanceID(), 2u);
    codec->copySharedRefData(*queue); // itself
    EXPECT_EQ(queue->getRefInstanceArray().getSize(), 1u);
    codec->clearSharedRefs();
    EXPECT_EQ(queue->getNewSharedInstanceID(), 0u);
}

TYPED_TEST(Transforming, takesNothingToTellItsLength)
{
    // A block of zeros, which are white space, and empty blocks.
    const Adapter memory = memoryWith(std::string(100, '\0'));
    Adapter codec(new TypeParam(memory.get()));
    codec->length();
    EXPECT_EQ(memory->length(), 100u);
    writeText(codec, "abc");
    EXPECT_FALSE(codec->hasError());
    codec->flush();
    EXPECT_FALSE(codec->hasError());
    EXPECT_EQ(memory->length(), 0u); // a memory adapter is emptied by its flush
    writeText(codec, "abc");
    codec->flush();
    EXPECT_EQ(codec->getError(), "Memory Adapter written beyond end");
}

TYPED_TEST(Transforming, flushesItsTargetAfterWritingOnly)
{
    vnRefPointer<Portions> target(new Portions(this->encoded("abc"), 0));
    Adapter codec(new TypeParam(target));
    EXPECT_EQ(codec->read(), 'a');
    codec->flush();
    EXPECT_EQ(target->flushes, 0u);
    codec->write('b');
    codec->flush();
    EXPECT_EQ(target->flushes, 1u);
    codec->flush();
    EXPECT_EQ(target->flushes, 1u);
    // One that fails is tried again.
    codec->write('c');
    target->refusesFlush = true;
    EXPECT_THROW(codec->flush(), std::runtime_error);
    target->refusesFlush = false;
    target->setError("full");
    codec->flush();
    codec->flush();
    EXPECT_EQ(target->flushes, 3u);
    target->setError("");
    codec->flush();
    codec->flush();
    EXPECT_EQ(target->flushes, 4u);
}

TYPED_TEST(Transforming, canWriteAgainWhatWasRefused)
{
    vnRefPointer<Portions> target(new Portions("", 0));
    Adapter codec(new TypeParam(target));
    writeText(codec, "abc");
    codec->flush();
    target->refuses = true;
    const auto write = [&codec]
    {
        writeText(codec, "defg"); // compression keeps it until the flush
        codec->flush();
    };
    EXPECT_THROW(write(), std::runtime_error);
    target->refuses = false;
    if (std::is_same_v<TypeParam, Compress>)
        codec->flush();
    else
        write();
    codec = new TypeParam(queueWith(target->written).get());
    EXPECT_EQ(readAll(codec), "abcdefg");
}

TYPED_TEST(Transforming, losesNothingWhenItsTargetThrows)
{
    const std::string plain = "a text of length 21..";
    const std::string text = this->encoded(plain, plain);
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        vnRefPointer<Portions> target(new Portions(text, 0));
        target->breaksAt = at;
        const Adapter codec(new TypeParam(target));
        std::string got;
        unsigned int thrown = 0;
        for (bool hasMore = true; hasMore;)
            try
            {
                hasMore = codec->hasData();
                got += readAll(codec.get());
            }
            catch (const std::runtime_error&)
            {
                ++thrown;
            }
        EXPECT_EQ(thrown, 1u) << at;
        EXPECT_EQ(got, plain + plain) << at;
    }
}

TYPED_TEST(Transforming, survivesExhaustedMemory)
{
    const std::string plain = noise(20000);
    const auto use = [&plain]
    {
        const Adapter queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
        const Adapter codec(new TypeParam(queue.get()));
        writeText(codec.get(), plain);
        codec->flush();
        if (readAll(Adapter(new TypeParam(queue.get())).get(), 20000) != plain)
            throw std::runtime_error("other bytes");
    };
    use(); // so that the thread has its state of zlib
    EXPECT_GT(torture(use), 3u);

    Adapter orphan(new TypeParam(nullptr));
    writeText(orphan, "abc");
    orphan->flush();
    EXPECT_EQ(readAll(orphan), (std::is_same_v<TypeParam, Compress>) ? "abc" : "");
}

TEST(vnSerializeAdapterFilter, hasNoTypeOfItsOwn)
{
    const vnType* const types[] = {Base64::getClassType(),
                                   Hex::getClassType(),
                                   vnSerializeAdapterEncoder::getClassType(),
                                   Compress::getClassType(),
                                   vnSerializeAdapterRandomAccess::getClassType(),
                                   vnSerializeAdapterZIP::getClassType()};
    for (const vnType* type : types)
        EXPECT_EQ(type->getParent(), vnSerializeAdapter::getClassType()) << type->getName();
}
