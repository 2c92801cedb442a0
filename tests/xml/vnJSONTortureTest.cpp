// SPDX-License-Identifier: MIT
#include "../memory/vnFailingManager.h"
#include "vnValueTestTools.h"

#include <vnBase/vnJSON.h>
#include <vnBase/vnXmlDynamicType.h>

#include <gtest/gtest.h>

#include <string>

namespace
{
vnRefPointer<vnSerializeAdapter> queueOf(const std::string& text)
{
    const vnRefPointer<vnSerializeAdapter> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->write(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    return queue;
}

// Reads and writes in both forms, from memory and as it comes.
void useJSON(const std::string& text)
{
    for (const unsigned char strict : {0, 1})
    {
        const vnRefPointer<vnSerializeAdapter> queue = queueOf(text);
        vnJSON json;
        json.setStrict(strict);
        json.read(queue);
        const vnDynamicType value = json.getData();
        EXPECT_TRUE(value == vnDynamicType::fromJSON(text.c_str(), strict));
        EXPECT_FALSE(value.asJSON(strict).isEmpty());
        EXPECT_FALSE(vnDynamicType::fromJSON("{\"a\":[1,}").asJSON().isEmpty());
    }
}

// Values and objects through XML, with gaps, names that come twice, calls and bytes.
void useXml()
{
    const std::string text =
        "<vnDyn type='array' size='4'><vnDyn index='2'>function:" + std::string(100, 'x') +
        "</vnDyn><vnDyn type='cont'><vnDyn name='a' type='vec3'>{1,2,3}</vnDyn><vnDyn name='a'>" +
        std::string(100, 'y') + "</vnDyn><vnDyn name='b' type='chain' encoding='hex'>FC0C0000</vnDyn>" +
        "</vnDyn><x>text that is long enough</x></vnDyn>";
    unsigned char ok = 0;
    const vnDynamicType value = vnXml2DynamicType(text.data(), static_cast<unsigned int>(text.size()), &ok);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(vnDynamicType::fromXML(value.asString()) == value);
    vnDynamicArray<unsigned char> wide;
    EXPECT_TRUE(vnDynamicType2Xml(value, wide, 1, 1, "value"));
    vnRefPointer<vnObject> object(new vnObject);
    object->setAttribute("a name that is too long for any small buffer", "a", value);
    const vnString xml = object->asString();
    vnXmlSax reader;
    reader.useProgress(0);
    reader.read(queueOf(std::string(xml.getString(), xml.length())));
    EXPECT_FALSE(reader.hasError());
}

// Each allocation of `use` fails once, alone or with all that follow.
template <class Use>
void torture(const Use& use)
{
    vnFailingManager manager;
    // The texts of errors stay in a ring, each place of which takes memory when it is first used.
    constexpr int places = 300;
    for (int i = 0; i < places; ++i)
        vnGenerateDebugString("vnJson", i, VN_BASE_VERSION_TEXT);
    testing::internal::CaptureStderr(); // each failure is reported there
    for (const bool failsOn : {false, true})
    {
        manager.failsOn = failsOn;
        for (int i = 0; i < 20; ++i)
            use(); // what is kept for good stands now
        const int before = manager.getAlive();
        unsigned int failing = 0;
        for (bool isReached = true; isReached;)
        {
            const auto outcome = manager.run(use, ++failing);
            isReached = outcome.isReached;
            ASSERT_EQ(outcome.hasThrown, isReached) << failing;
            ASSERT_EQ(manager.getAlive(), before) << failing;
            ASSERT_LT(failing, 10000u);
        }
        EXPECT_GT(failing, 30u);
    }
    testing::internal::GetCapturedStderr();
}
} // namespace

TEST(vnJSONTorture, EndsInBadAllocOrSuccessAndLeaksNothing)
{
    const std::string object =
        "{\"name\":\"a text that is too long for any small buffer\",\"na\\u006de\":1.5},";
    const std::string text =
        "[" + repeated(object, 40) + std::string(12, '[') + "1,\"\\u00e9\"" + std::string(12, ']') + "]";
    torture([&] { useJSON(text); });
}

TEST(vnJSONTorture, EndsInBadAllocOrSuccessForXmlValues)
{
    torture(useXml);
}
