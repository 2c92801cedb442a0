// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMessage.h>

/// The text of an adapter error in the language of the user.
inline vnString vnTranslated(const char* text)
{
    return vnMessage::translate("VantorSDK", text);
}

/// The text and, in parentheses, the system's description of an error. A text that gets too long is cut.
inline vnString vnWithReason(const vnString& text, const vnString& reason)
{
    return vnString::formatString("%s (%s)", text, vnTranslated(reason));
}
