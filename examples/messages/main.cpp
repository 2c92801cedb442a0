// SPDX-License-Identifier: MIT
// Posts one message of each level. The threshold is lowered first, since it is Notice at the start.
#include <vnBase/vnMessage.h>

int main()
{
    vnMessage::setMessageLevel(VN_MESSAGE_MEMORY | VN_MESSAGE_INTERNAL);
    vnMessage::message("messages", VN_MESSAGE_MEMORY, "%d bytes in use", 4096);
    vnMessage::message("messages", VN_MESSAGE_PERF, "the step took %.3f seconds", 0.25);
    vnMessage::message("messages", VN_MESSAGE_DEBUG, "now at node %d of %d", 3, 8);
    vnMessage::message("messages", VN_MESSAGE_NOTICE, "the scene '%s' is loaded", "kitchen");
    vnMessage::message("messages", VN_MESSAGE_WARNING, "no texture '%s', a grey one serves", "oak.png");
    vnMessage::message("messages", VN_MESSAGE_WARNING | VN_MESSAGE_INTERNAL, "the cache was asked twice");
    vnMessage::message("messages", VN_MESSAGE_FATAL, "the scene can't go on");
    vnMessage::message("messages", VN_MESSAGE_ASSERT, "a count is below zero");
    vnMessage::message("messages", VN_MESSAGE_ALWAYS, "done");
    return 0;
}
