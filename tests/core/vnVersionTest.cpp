// SPDX-License-Identifier: MIT
#include <vnBase/vnVersion.h>

#include "../messages/vnMessageRecorder.h"
#include "vnTextHelpers.h"

TEST(vnVersion, IsOneNumber)
{
    EXPECT_EQ(vnGetLibraryVersion_base(), 21005u);
}

TEST(vnVersion, IsCheckedAgainstTheOneRequired)
{
    Recorder messages;
    vnCheckLibraryVersion_base(2, 10, 5);
    EXPECT_EQ(messages.take(), Lines());
    vnCheckLibraryVersion_base(2, 9, 99);
    EXPECT_EQ(messages.take(), Lines{"VantorSDK|3000|Current 'base' library version (2,10,5) is newer than "
                                     "required version (2,9,99)"});
    EXPECT_EQ(errorOf([] { vnCheckLibraryVersion_base(2, 10, 6); }),
              "Required 'base' library version (2,10,6) is later than current version (2,10,5)");
    EXPECT_THROW(vnCheckLibraryVersion_base(0xFFFFFFFFu, 0, 0), vnFatalError);
}
