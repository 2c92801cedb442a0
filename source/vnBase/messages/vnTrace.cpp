// SPDX-License-Identifier: MIT
#include <vnBase/vnTrace.h>

void vnTrace::post(const vnString& sender, const char* format, const vnArgumentList& arguments)
{
    vnString text;
    text.assignFormat(format, strlen_safe(format), arguments);
    // Deliberately not marked as final: traces are read again as a format, as all other messages are.
    vnMessage::message(sender, VN_MESSAGE_TRACE, (vnString("[TRACE] ") + text).getString());
}
