// SPDX-License-Identifier: MIT
#include <vnBase/vnFile.h>

#include "vnTempFolder.h"

#include <vnBase/vnSystem.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

TEST(vnFile, ReadsWritesAndMoves)
{
    const vnTempFolder folder;
    const vnString name = folder.path("ä 1"); // UTF-8
    vnFile* out = vnFileOpenWrite(name, 0);
    ASSERT_TRUE(out);
    EXPECT_EQ(vnFileWrite(out, "0123456789", 10), 10u);
    EXPECT_TRUE(vnFileReset(out, 3));
    EXPECT_EQ(vnFileWrite(out, "X", 1), 1u);
    EXPECT_EQ(vnFileTell(out), 4u);
    EXPECT_TRUE(vnFileSeek(out, 2, VN_ORIGIN_END));
    EXPECT_EQ(vnFileSize(out), 10u);
    EXPECT_EQ(vnFileWrite(out, "Y", 1), 1u);
    EXPECT_TRUE(vnFileFlush(out));
    EXPECT_TRUE(vnFileClose(out));

    unsigned int size = 0;
    vnFile* in = vnFileOpenRead(name, &size);
    ASSERT_TRUE(in);
    EXPECT_EQ(size, 13u);
    char bytes[20] = {};
    EXPECT_EQ(vnFileRead(in, bytes, 20), 13u);
    EXPECT_EQ(std::string(bytes, 13), std::string("012X456789\0\0Y", 13));
    EXPECT_TRUE(vnFileSeek(in, -3, VN_ORIGIN_CURRENT));
    EXPECT_EQ(vnFileTell(in), 10u);
    EXPECT_FALSE(vnFileSeek(in, -11, VN_ORIGIN_CURRENT));
    EXPECT_FALSE(vnFileSeek(in, 0, static_cast<vnOriginPos>(3)));
    EXPECT_EQ(vnFileWrite(in, "Z", 1), 0u);
    EXPECT_EQ(vnGetSysErrorDescription(), "Bad file descriptor");
    EXPECT_TRUE(vnFileClose(in));
}

TEST(vnFile, TellsWhatIsThere)
{
    const vnTempFolder folder;
    const vnString file = folder.write("a", "abc");
    const vnString directory = folder.path("d");
    EXPECT_FALSE(vnDirExist(directory));
    EXPECT_TRUE(vnMakeDir(directory));
    EXPECT_FALSE(vnMakeDir(directory));
    EXPECT_FALSE(vnMakeDir(folder.path("x/y")));
    EXPECT_TRUE(vnDirExist(directory));
    EXPECT_FALSE(vnFileExist(directory));
    EXPECT_TRUE(vnFileExist(file));
    EXPECT_FALSE(vnDirExist(file));
    EXPECT_EQ(vnFileSize(file), 3u);
    EXPECT_EQ(vnFileSize(directory), 0u);
    EXPECT_FALSE(vnFileExist(file + vnString("\0x", 2)));
    EXPECT_FALSE(vnFileDelete(directory));
    EXPECT_TRUE(vnFileDelete(file));
    EXPECT_FALSE(vnFileDelete(file));
    EXPECT_FALSE(vnFileExist(file));
}

TEST(vnFile, SaysWhyThereIsNoSize)
{
    const vnTempFolder folder;
    EXPECT_EQ(vnFileSize(folder.path("")), 0u);
    EXPECT_EQ(vnGetSysError(), EISDIR);
    EXPECT_EQ(vnFileSize("/dev/null"), 0u);
    EXPECT_EQ(vnGetSysError(), EINVAL);
    EXPECT_EQ(vnFileSize(folder.path("none")), 0u);
    EXPECT_EQ(vnGetSysError(), ENOENT);
}

TEST(vnFile, FailsWithoutAFile)
{
    char byte = 0;
    EXPECT_EQ(vnFileRead(nullptr, &byte, 1), 0u);
    EXPECT_EQ(vnFileWrite(nullptr, &byte, 1), 0u);
    EXPECT_FALSE(vnFileSeek(nullptr, 0, VN_ORIGIN_SET));
    EXPECT_FALSE(vnFileFlush(nullptr));
    EXPECT_EQ(vnFileTell(nullptr), 0xFFFFFFFFu);
    EXPECT_TRUE(vnFileClose(nullptr));
}

TEST(vnFile, KnowsTheProcess)
{
    const std::filesystem::path cwd = std::filesystem::current_path();
    EXPECT_EQ(vnGetCWD(), cwd.c_str());
    EXPECT_TRUE(vnGetProcessName().contains("test_serialize"));
    EXPECT_TRUE(vnFileExist(vnGetProcessName()));
}
