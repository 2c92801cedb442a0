// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnReceivers.h"
#include "vnTool.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnProgress.h>

#include <cstdio>
#include <cstring>
#include <new>
#include <string>

namespace
{
enum ExitCode
{
    done = 0,
    failed = 1,
    wrongUsage = 2
};

const vnCommand* findCommand(const char* name)
{
    for (const vnCommand& command : vnCommands())
        if (std::strcmp(command.name, name) == 0)
            return &command;
    return nullptr;
}

std::string overview()
{
    std::string text = "usage: vn COMMAND ARGUMENTS\n\n";
    for (const vnCommand& command : vnCommands())
        text += std::string("  ") + command.name + std::string(10 - std::strlen(command.name), ' ') +
                command.summary + "\n";
    return text +
           "  help      show this, or with a COMMAND more about it\n  version   show the library's version\n";
}

std::string usageOf(const vnCommand& command)
{
    return std::string("usage: vn ") + command.name + " " + command.arguments + "\n";
}

void print(const std::string& text)
{
    vnWriteResult(text.data(), text.size());
    vnFlushResults();
}

ExitCode help(int count, char** words)
{
    if (count == 0)
    {
        print(overview());
        return done;
    }
    const vnCommand* command = count == 1 ? findCommand(words[0]) : nullptr;
    if (!command)
    {
        std::fprintf(stderr, "vn: no help on '%s'\n%s", words[0], overview().c_str());
        return wrongUsage;
    }
    print(usageOf(*command) + command->summary + "\n" + command->details);
    return done;
}

ExitCode run(int count, char** words)
{
    const std::string name = count > 0 ? words[0] : "";
    if (name == "help" || name == "--help" || name == "-h")
        return help(count - 1, words + 1);
    if (name == "version" || name == "--version")
    {
        print("vn " VN_BASE_VERSION_TEXT "\n");
        return done;
    }
    const vnCommand* command = findCommand(name.c_str());
    if (!command)
    {
        if (!name.empty())
            std::fprintf(stderr, "vn: unknown command '%s'\n", name.c_str());
        std::fputs(overview().c_str(), stderr);
        return wrongUsage;
    }
    try
    {
        vnArguments arguments(count, words);
        command->run(arguments);
        vnFlushResults();
        return done;
    }
    catch (const vnUsageError& error)
    {
        std::fprintf(stderr, "vn %s: %s\n%s", command->name, error.what(), usageOf(*command).c_str());
        return wrongUsage;
    }
    catch (const vnFailure& error)
    {
        std::fprintf(stderr, "vn %s: %s\n", command->name, error.what());
    }
    catch (const vnBaseError& error)
    {
        std::fprintf(stderr, "vn %s: %s\n", command->name, error.getErrorString().getString());
    }
    catch (const std::bad_alloc&)
    {
        std::fprintf(stderr, "vn %s: out of memory\n", command->name);
    }
    return failed;
}

// Sends messages and progress of the library to standard error for as long as it lives.
class ErrorChannel
{
public:
    ErrorChannel()
    {
        vnMessage::addMessageReceiver(&m_receiver);
        vnProgress::setDefaultProgressInterface(&m_progress);
    }
    ~ErrorChannel()
    {
        vnProgress::setDefaultProgressInterface(nullptr);
        vnMessage::removeMessageReceiver(&m_receiver);
    }
    ErrorChannel(const ErrorChannel&) = delete;
    ErrorChannel& operator=(const ErrorChannel&) = delete;

private:
    vnErrorReceiver m_receiver;
    vnErrorProgress m_progress;
};
} // namespace

int main(int count, char** words)
{
    ErrorChannel channel;
    return run(count - 1, words + 1);
}
