// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMessage.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnProgress.h>

/// Writes messages to standard error, so that standard output carries results alone.
class vnErrorReceiver : public vnMessageReceiverInterface
{
public:
    void onMessage(const vnString& sender, vnMessageLevel level, const char* message) override;

private:
    vnMutex m_mutex;
};

/// Shows progress as one line of standard error, when that is a terminal and the work takes longer than a
/// moment.
class vnErrorProgress : public vnProgressInterface
{
public:
    vnErrorProgress();

    /// Takes the line away.
    ~vnErrorProgress() noexcept(false) override;
    void onProgress(unsigned char percent, const char* banner) override;

private:
    vnMutex m_mutex;
    double m_start;
    bool m_isTerminal;
    bool m_isShown = false;
    unsigned char m_percent = 255;
};
