// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMessage.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnProgress.h>

#include <atomic>
#include <string>

/// Standard error, so that standard output carries results alone: lines, and below them one line of progress
/// when it is a terminal and the work takes longer than a moment. The line of progress goes before anything
/// else is written.
class vnErrorOutput : public vnMessageReceiverInterface, public vnProgressInterface
{
public:
    /// The one of the program. It receives messages and progress from the first call on.
    static vnErrorOutput& get();

    /// Stops receiving, and takes the line of progress away.
    ~vnErrorOutput() noexcept(false) override;

    void onMessage(const vnString& sender, vnMessageLevel level, const char* message) override;
    void onProgress(unsigned char percent, const char* banner) override;

    /// Writes a text of whole lines.
    void print(const std::string& text);

    /// Takes the line of progress away; for whoever writes to the terminal by another way.
    void clearProgress();

private:
    vnErrorOutput();
    void clear();

    vnMutex m_mutex;
    double m_start;
    bool m_isTerminal;
    std::atomic<bool> m_isShown{false};
    unsigned char m_percent = 0; // of the line that is shown
    std::string m_banner;
};
