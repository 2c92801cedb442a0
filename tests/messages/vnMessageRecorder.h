// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMessage.h>
#include <vnBase/vnMutex.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Receives messages for a test, as lines "sender|level in hex|text", and restores the threshold.
class Recorder : public vnMessageReceiverInterface
{
public:
    Recorder() { vnMessage::addMessageReceiver(this); }
    ~Recorder() noexcept(false) override
    {
        vnMessage::removeMessageReceiver(this);
        vnMessage::setMessageLevel(m_oldLevel);
    }

    void onMessage(const vnString& sender, vnMessageLevel level, const char* message) override
    {
        char number[16];
        std::snprintf(number, sizeof number, "|%x|", level);
        vnBodyGuard guard(m_mutex);
        m_lines.push_back(sender.getString() + std::string(number) + message);
    }

    std::vector<std::string> take()
    {
        vnBodyGuard guard(m_mutex);
        return std::exchange(m_lines, {});
    }

private:
    vnMessageLevel m_oldLevel = vnMessage::getMessageLevel();
    vnMutex m_mutex;
    std::vector<std::string> m_lines;
};

/// Calls a function with each message.
class Caller : public vnMessageReceiverInterface
{
public:
    explicit Caller(std::function<void(vnMessageLevel, const char*)> call) : m_call(std::move(call))
    {
        vnMessage::addMessageReceiver(this);
    }
    ~Caller() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
    void onMessage(const vnString&, vnMessageLevel level, const char* message) override
    {
        m_call(level, message);
    }

private:
    std::function<void(vnMessageLevel, const char*)> m_call;
};

using Lines = std::vector<std::string>;
