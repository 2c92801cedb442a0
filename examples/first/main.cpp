// SPDX-License-Identifier: MIT
#include <vnBase/vnMessage.h>
#include <vnBase/vnString.h>

int main()
{
    vnString file("models/chair.obj");
    vnString line =
        vnString::formatString("%s is a model, %d bytes of name", file.leftOf("."), file.length());
    vnMessage::message("first", VN_MESSAGE_NOTICE, "%s", line);
    return 0;
}
