// SPDX-License-Identifier: MIT
#include <vnBase/vnTrace.h>

void vnTrace::post(const vnString& sender, const char* format, const vnArgumentList& arguments)
{
    vnString text;
    text.assignFormat(format, strlen_safe(format), arguments);
    const vnString prefix("[TRACE] ");
    // A sum of strings that gets too long is no cut text, but what its length is modulo 65536.
    text = text.left(static_cast<unsigned short>(vnString::VN_MAX_LENGTH - prefix.length()));
    // Deliberately not marked as final: traces are read again as a format, as all other messages are.
    vnMessage::message(sender, VN_MESSAGE_TRACE, (prefix + text).getString());
}
