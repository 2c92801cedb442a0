// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterString.h>

#include <gtest/gtest.h>

#include <string>

TEST(vnSerializeAdapterString, TurnsIntoItsUnreadTextOnce)
{
    const vnString text("abc");
    vnSerializeAdapterString adapter(&text);
    EXPECT_EQ(adapter.read(), 'a');
    adapter.write('d');
    EXPECT_EQ(static_cast<vnString>(adapter), "bcd");
    EXPECT_EQ(static_cast<vnString>(adapter), "");
    adapter.write('x');
    adapter = "new";
    EXPECT_EQ(static_cast<vnString>(adapter), "new");
    EXPECT_STREQ(adapter.getTypeName(), "vnSerializeAdapterString");
    EXPECT_TRUE(adapter.isOfType(vnSerializeAdapterQueue::getClassType()));
}

TEST(vnSerializeAdapterString, IsEmptyAtFirst)
{
    vnSerializeAdapterString none;
    EXPECT_EQ(none.length(), 0u);
    EXPECT_EQ(none.canSeek(), 0);
    EXPECT_EQ(vnString(none), "");
}

TEST(vnSerializeAdapterString, LeavesBytesPushedBackWhereTheyAre)
{
    const vnString text("abc");
    vnSerializeAdapterString adapter(&text);
    adapter.pushBack('x');
    EXPECT_EQ(static_cast<vnString>(adapter), "abc");
    adapter = "new";
    EXPECT_EQ(adapter.read(), 'x');
    EXPECT_EQ(adapter.read(), 'n');
}

TEST(vnSerializeAdapterString, KeepsWhatAStringCanNotHold)
{
    vnSerializeAdapterString adapter;
    const std::string text(65534, 'a');
    adapter.write(reinterpret_cast<const unsigned char*>(text.data()), 65534);
    for (char letter : {'b', 'c', 'd'})
        adapter.write(static_cast<unsigned char>(letter));
    const vnString first = adapter;
    EXPECT_EQ(first.length(), 65535);
    EXPECT_TRUE(first.isLast("ab"));
    EXPECT_EQ(static_cast<vnString>(adapter), "cd");
}
