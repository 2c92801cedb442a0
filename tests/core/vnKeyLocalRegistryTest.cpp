// SPDX-License-Identifier: MIT
#include <vnBase/vnKeyDatabase.h>

#include "../messages/vnMessageRecorder.h"
#include "vnKeyFolder.h"

#include <gtest/gtest.h>

namespace
{
class vnKeyLocalRegistryTest : public testing::Test
{
protected:
    // A document of this content becomes the local registry.
    unsigned char load(const std::string& content, const std::string& name = "local.reg")
    {
        std::ofstream(m_folder.path(name)) << content;
        return vnKeyDatabase::setLocalRegistry(m_folder.path(name).c_str());
    }

    vnKeyFolder m_folder;
};

std::string user(const char* key)
{
    return vnKeyText(vnKeyDatabase::getDefaultUserKey(key, "absent"));
}

const char* const document = "<?xml version='1.0'?>\n"
                             "<VantorSDK>\n"
                             "  <VN_LOCAL_PATH>/local</VN_LOCAL_PATH>\n"
                             "  <viewer><width> 640 </width><note><![CDATA[ <raw> ]]></note></viewer>\n"
                             "  <both>text<![CDATA[section]]></both>\n"
                             "  <nested><both><inner/></both></nested>\n"
                             "  <deep><a><b><![CDATA[found]]></b></a></deep>\n"
                             "</VantorSDK>\n";
} // namespace

TEST_F(vnKeyLocalRegistryTest, IsAskedBeforeWhatIsStored)
{
    EXPECT_TRUE(vnKeyDatabase::setUserKey("VN_LOCAL_PATH", "stored"));
    EXPECT_TRUE(vnKeyDatabase::setUserKey("other", "stored"));
    EXPECT_TRUE(load(document));
    EXPECT_EQ(vnKeyText(vnKeyDatabase::getLocalRegistryURL()), m_folder.path("local.reg"));
    EXPECT_EQ(user("VN_LOCAL_PATH"), "/local");
    EXPECT_EQ(user("other"), "stored");
    EXPECT_EQ(vnKeyDatabase::getUserKey("VN_LOCAL_PATH", "", 0, 1), "stored");
    EXPECT_EQ(vnKeyDatabase::getGlobalKey("VN_LOCAL_PATH"), "/local");
    EXPECT_EQ(vnKeyDatabase::getGlobalKey("VN_LOCAL_PATH", "", 1), "");
    EXPECT_EQ(vnKeyDatabase::getRegKey(VN_REG_KEY_CLASSES, "VantorSDK/viewer", "width"), "640");
    // It is never written, and goes on to hide what is.
    EXPECT_TRUE(vnKeyDatabase::setUserKey("VN_LOCAL_PATH", "again"));
    EXPECT_EQ(user("VN_LOCAL_PATH"), "/local");
    vnKeyDatabase::enableSystemRegistry(0);
    EXPECT_EQ(user("VN_LOCAL_PATH"), "/local");
    EXPECT_EQ(user("other"), "absent");
    EXPECT_TRUE(vnKeyDatabase::setLocalRegistry(""));
    EXPECT_EQ(vnKeyDatabase::getLocalRegistryURL(), "");
    EXPECT_EQ(user("VN_LOCAL_PATH"), "absent");
}

TEST_F(vnKeyLocalRegistryTest, LeavesTheBeginOfTheHeaderOut)
{
    EXPECT_TRUE(load(document));
    const std::pair<const char*, const char*> rows[] = {
        {"software/Norvane Systems/VantorSDK/viewer/width", "640"},
        {"SOFTWARE\\norvane systems/VantorSDK/viewer/width", "640"},
        {"software/Norvane SystemsVantorSDK/viewer/width", "640"}, // a plain comparison of the begin
        {"/VantorSDK/viewer/width", "640"},
        {"VantorSDK/viewer/width", "640"},
        {"viewer/width", "absent"}, // no text but from the top
        {"software/VantorSDK/viewer/width", "absent"},
    };
    for (const auto& [key, value] : rows)
        EXPECT_EQ(user(key), value) << key;
    vnKeyDatabase::setDefaultKeyHeader("VantorSDK/VIEWER"); // no tail to cut
    EXPECT_EQ(user("VantorSDK/viewer/VantorSDK/both"), "text");
}

TEST_F(vnKeyLocalRegistryTest, FindsTextsFromTheTopAndSectionsAnywhere)
{
    EXPECT_TRUE(load(document));
    EXPECT_EQ(user("VantorSDK/viewer/note"), " <raw> ");
    EXPECT_EQ(user("viewer/note"), " <raw> ");
    EXPECT_EQ(user("a/b"), "found");
    EXPECT_EQ(user("VantorSDK/both"), "text");
    EXPECT_EQ(user("VantorSDK/nested/both"), "absent");
    EXPECT_EQ(user("VantorSDK/viewer"), "absent");
    EXPECT_EQ(user(std::string(65000, '/').c_str()), "absent");
    EXPECT_EQ(user(("a/" + std::string(65533, 'x')).c_str()), "absent");
}

TEST_F(vnKeyLocalRegistryTest, TakesNoneThatHasAFault)
{
    EXPECT_TRUE(load(document));
    for (const std::string& content :
         {std::string(), std::string("<a><b>1</b>"), std::string("<a>1</a><b>2</b>"), std::string("text"),
          std::string("<a>]]></a>"), std::string(100000, '<'), std::string(document).substr(0, 200)})
    {
        EXPECT_FALSE(load(content)) << content.substr(0, 40);
        EXPECT_EQ(vnKeyDatabase::getLocalRegistryURL(), "");
        EXPECT_EQ(user("VN_LOCAL_PATH"), "absent");
    }
    EXPECT_FALSE(vnKeyDatabase::setLocalRegistry(m_folder.path("none").c_str()));
    EXPECT_FALSE(vnKeyDatabase::setLocalRegistry("nothing://like/this"));
    std::string deep;
    for (int i = 0; i < 100000; ++i)
        deep += "<a>";
    EXPECT_FALSE(load(deep));
    std::string large;
    for (int i = 0; i < 300; ++i)
        large += "<a>" + std::string(60000, '1') + "</a>";
    EXPECT_FALSE(load("<a>" + large + "</a>"));
}

TEST_F(vnKeyLocalRegistryTest, TellsNothingOfPercentSignsInAttributes)
{
    Recorder messages;
    EXPECT_TRUE(load("<a note='100% sure'><c>2</c></a>"));
    EXPECT_EQ(user("a/c"), "2");
    EXPECT_EQ(messages.take(), Lines());
}

TEST_F(vnKeyLocalRegistryTest, ReadsNoIncludedDocuments)
{
    std::ofstream(m_folder.path("inner.reg")) << "<b>1</b>";
    EXPECT_TRUE(load("<a><?include inner.reg?><?include $(a/b)?><c>2</c></a>"));
    EXPECT_EQ(user("a/c"), "2");
    EXPECT_EQ(user("a/inner.reg/b"), "absent");
}

namespace
{
// What a process finds that sets this default registry and then looks its first key up: 3 the value of the
// document, 4 nothing.
int findFirst(const char* defaultRegistry, bool setsLocal)
{
    const vnTempFolder folder;
    folder.write("default.reg", "<VantorSDK><x>local</x></VantorSDK>");
    unsetenv("VANTOR_PATH");
    setenv("XDG_CONFIG_HOME", folder.path("config"), 1);
    // The name of the document is looked for in the search path, which is a key itself.
    vnKeyDatabase::setUserKey("VANTOR_PATH", folder.path(""));
    vnKeyDatabase::setDefaultRegistry(defaultRegistry);
    if (setsLocal)
        vnKeyDatabase::setLocalRegistry("");
    const vnString value = vnKeyDatabase::getUserKey("x");
    if (value == "local")
        return vnKeyDatabase::getLocalRegistryURL() == defaultRegistry ? 3 : 1;
    return value.isEmpty() && vnKeyDatabase::getLocalRegistryURL().isEmpty() ? 4 : 2;
}
} // namespace

TEST(vnKeyDefaultRegistry, IsReadAtTheFirstLookUp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // in a fresh process, since it is read once
    EXPECT_EXIT(std::exit(findFirst("default.reg", false)), testing::ExitedWithCode(3), "");
    EXPECT_EXIT(std::exit(findFirst("default.reg", true)), testing::ExitedWithCode(4), "");
    EXPECT_EXIT(std::exit(findFirst("none.reg", false)), testing::ExitedWithCode(4), "");
    EXPECT_EXIT(std::exit(findFirst("", false)), testing::ExitedWithCode(4), "");
}
