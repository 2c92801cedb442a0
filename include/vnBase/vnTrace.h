// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMessage.h>

/// Trace output: Debug messages (level 0x2201) behind the prefix "[TRACE] ". Each operation has a twin that
/// does nothing, so that a macro of a program can switch its trace output off when it is compiled:
///
///     #if MY_TRACE
///     #define MY_TRACE_MESSAGE vnTrace::TraceMessage
///     #else
///     #define MY_TRACE_MESSAGE vnTrace::NoTraceMessage
///     #endif
///
/// The text is formatted twice, the second time with no arguments: a "%" that an argument brought in is read
/// as a format.
///
/// Thread-safety: any thread.
class VN_BASE_API vnTrace
{
public:
    template <class... Args>
    static void TraceMessage(const char* format, const Args&... args)
    {
        if (vnMessage::isWanted(VN_MESSAGE_TRACE))
            post(vnMessage::getDefaultSender(), format, vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class... Args>
    static void TraceMessageSender(const vnString& sender, const char* format, const Args&... args)
    {
        if (vnMessage::isWanted(VN_MESSAGE_TRACE))
            post(sender, format, vnArgumentPack<sizeof...(Args)>(args...));
    }

    template <class... Args>
    static void NoTraceMessage(const char*, const Args&...) noexcept
    {
    }
    template <class... Args>
    static void NoTraceMessageSender(const vnString&, const char*, const Args&...) noexcept
    {
    }

private:
    static void post(const vnString& sender, const char* format, const vnArgumentList& arguments);
};
