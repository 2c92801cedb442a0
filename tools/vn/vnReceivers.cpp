// SPDX-License-Identifier: MIT
#include "vnReceivers.h"

#include <vnBase/vnTime.h>

#include <cstdio>
#include <unistd.h>

namespace
{
constexpr double quietSeconds = 0.5;

const char* nameOf(vnMessageLevel level)
{
    switch (level & 0xF000)
    {
    case VN_MESSAGE_MEMORY:
        return (level & VN_MESSAGE_SEVERITY) == VN_MESSAGE_PERF ? "perf" : "memory";
    case VN_MESSAGE_DEBUG:
        return "debug";
    case VN_MESSAGE_NOTICE:
        return "notice";
    case VN_MESSAGE_WARNING:
        return "warning";
    case VN_MESSAGE_FATAL:
        return "fatal";
    case VN_MESSAGE_ASSERT:
        return "assert";
    default:
        return "note";
    }
}
} // namespace

void vnErrorReceiver::onMessage(const vnString& sender, vnMessageLevel level, const char* message)
{
    vnBodyGuard guard(m_mutex);
    std::fprintf(stderr, "\r%s %s: %s\n", sender.getString(), nameOf(level), message);
}

vnErrorProgress::vnErrorProgress()
    : m_start(vnTime::systemSeconds()), m_isTerminal(isatty(STDERR_FILENO) != 0)
{
}

vnErrorProgress::~vnErrorProgress() noexcept(false)
{
    if (m_isShown)
        std::fprintf(stderr, "\r\033[K");
}

void vnErrorProgress::onProgress(unsigned char percent, const char* banner)
{
    vnBodyGuard guard(m_mutex);
    if (!m_isTerminal || percent == m_percent || vnTime::systemSeconds() - m_start < quietSeconds)
        return;
    m_isShown = true;
    m_percent = percent;
    std::fprintf(stderr, "\r%s: %d%%", banner, percent);
    std::fflush(stderr);
}
