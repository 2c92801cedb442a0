// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnReceivers.h"
#include "vnTool.h"

#include <vnBase/vnBaseError.h>

#include <csignal>
#include <cstring>
#include <exception>
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

// Those that are run here.
const std::vector<vnCommand>& ownCommands()
{
    static const std::vector<vnCommand> commands = {
        {"help", "[COMMAND]", "show all commands, or with a COMMAND more about it", "", nullptr},
        {"version", "", "show the library's version", "", nullptr},
    };
    return commands;
}

const vnCommand* find(const std::vector<vnCommand>& commands, const char* name)
{
    for (const vnCommand& command : commands)
        if (std::strcmp(command.name, name) == 0)
            return &command;
    return nullptr;
}

std::string overview()
{
    std::string text = "usage: vn COMMAND ARGUMENTS\n\n";
    for (const std::vector<vnCommand>* commands : {&vnCommands(), &ownCommands()})
        for (const vnCommand& command : *commands)
            text += std::string("  ") + command.name + std::string(10 - std::strlen(command.name), ' ') +
                    command.summary + "\n";
    return text +
           "\nA URL may be the name of a file; \"-\" is standard input, or standard output where one is "
           "written.\n";
}

std::string usageOf(const vnCommand& command)
{
    const std::string arguments = *command.arguments ? std::string(" ") + command.arguments : "";
    return std::string("usage: vn ") + command.name + arguments + "\n";
}

void print(const std::string& text)
{
    vnWriteResult(text.data(), text.size());
    vnFlushResults();
}

void printError(const std::string& text)
{
    vnErrorOutput::get().print(text);
}

ExitCode refuse(const std::string& why)
{
    printError((why.empty() ? "" : "vn: " + why + "\n") + overview());
    return wrongUsage;
}

ExitCode help(int count, char** words)
{
    if (count == 0)
    {
        print(overview());
        return done;
    }
    if (count > 1)
        return refuse("help takes one command");
    const vnCommand* command = find(vnCommands(), words[0]);
    if (!command)
        command = find(ownCommands(), words[0]);
    if (!command)
        return refuse(std::string("no help on '") + words[0] + "'");
    print(usageOf(*command) + command->summary + "\n" + command->details);
    return done;
}

// The words begin with the name of the command.
ExitCode runCommand(const vnCommand& command, int count, char** words)
{
    try
    {
        vnArguments arguments(count, words);
        command.run(arguments);
        vnFlushResults();
        return done;
    }
    catch (const vnUsageError& error)
    {
        printError(std::string("vn ") + command.name + ": " + error.what() + "\n" + usageOf(command));
        return wrongUsage;
    }
}

ExitCode run(const std::string& name, int count, char** words)
{
    if (name == "help" || name == "--help" || name == "-h")
        return help(count - 1, words + 1);
    if (name == "version" || name == "--version")
    {
        if (count > 1)
            return refuse("version takes no arguments");
        print("vn " VN_BASE_VERSION_TEXT "\n");
        return done;
    }
    if (const vnCommand* command = find(vnCommands(), name.c_str()))
        return runCommand(*command, count, words);
    return refuse(name.empty() ? "" : "unknown command '" + name + "'");
}

// What went wrong; called while an exception is caught.
std::string failureText()
{
    try
    {
        throw;
    }
    catch (const vnFailure& error)
    {
        return error.what();
    }
    catch (const vnBaseError& error)
    {
        return error.getErrorString().getString();
    }
    catch (const std::bad_alloc&)
    {
        return "out of memory";
    }
    catch (const std::exception& error) // of the standard library, which this program uses
    {
        return error.what();
    }
}
} // namespace

int main(int count, char** words)
{
    vnErrorOutput::get();
    // Output beyond the limit on file sizes is a failure that is told, as a full disk is.
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string name = count > 1 ? words[1] : "";
    try
    {
        return run(name, count - 1, words + 1);
    }
    catch (...)
    {
        printError("vn " + name + ": " + failureText() + "\n");
        return failed;
    }
}
