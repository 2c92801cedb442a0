// SPDX-License-Identifier: MIT
#include <vnBase/vnVersion.h>

#include <vnBase/vnMessage.h>

#include <gtest/gtest.h>

#include <string>

namespace
{
class Receiver : public vnMessageReceiverInterface
{
public:
    Receiver() { vnMessage::addMessageReceiver(this); }
    ~Receiver() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
    void onMessage(const vnString&, vnMessageLevel level, const char* message) override
    {
        EXPECT_EQ(level, 0x3000u);
        text += message;
    }
    std::string text;
};
} // namespace

TEST(vnVersion, IsOneNumber)
{
    EXPECT_EQ(vnGetLibraryVersion_base(), 21005u);
}

TEST(vnVersion, IsCheckedAgainstTheOneRequired)
{
    Receiver receiver;
    vnCheckLibraryVersion_base(2, 10, 5);
    EXPECT_EQ(receiver.text, "");
    vnCheckLibraryVersion_base(2, 9, 99);
    EXPECT_EQ(receiver.text,
              "Current 'base' library version (2,10,5) is newer than required version (2,9,99)");
    try
    {
        vnCheckLibraryVersion_base(2, 10, 6);
        ADD_FAILURE();
    }
    catch (const vnFatalError& error)
    {
        EXPECT_EQ(error.getErrorString(),
                  "Required 'base' library version (2,10,6) is later than current version (2,10,5)");
    }
    EXPECT_THROW(vnCheckLibraryVersion_base(0xFFFFFFFFu, 0, 0), vnFatalError);
}
