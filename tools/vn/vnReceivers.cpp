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

vnErrorOutput& vnErrorOutput::get()
{
    static vnErrorOutput output;
    return output;
}

vnErrorOutput::vnErrorOutput() : m_start(vnTime::systemSeconds()), m_isTerminal(isatty(STDERR_FILENO) != 0)
{
    vnMessage::addMessageReceiver(this);
    vnProgress::setDefaultProgressInterface(this);
}

vnErrorOutput::~vnErrorOutput() noexcept(false)
{
    vnProgress::setDefaultProgressInterface(nullptr);
    vnMessage::removeMessageReceiver(this);
    clear();
}

void vnErrorOutput::onMessage(const vnString& sender, vnMessageLevel level, const char* message)
{
    vnBodyGuard guard(m_mutex);
    clear();
    std::fprintf(stderr, "%s %s: %s\n", sender.getString(), nameOf(level), message);
}

void vnErrorOutput::onProgress(unsigned char percent, const char* banner)
{
    vnBodyGuard guard(m_mutex);
    if (!m_isTerminal || vnTime::systemSeconds() - m_start < quietSeconds)
        return;
    if (m_isShown && percent == m_percent && m_banner == banner)
        return;
    m_isShown = true;
    m_percent = percent;
    m_banner = banner;
    std::fprintf(stderr, "\r%s: %d%%\033[K", banner, percent);
    std::fflush(stderr);
}

void vnErrorOutput::print(const std::string& text)
{
    vnBodyGuard guard(m_mutex);
    clear();
    std::fwrite(text.data(), 1, text.size(), stderr);
}

void vnErrorOutput::clearProgress()
{
    if (!m_isShown)
        return;
    vnBodyGuard guard(m_mutex);
    clear();
}

void vnErrorOutput::clear()
{
    if (!m_isShown.exchange(false))
        return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}
