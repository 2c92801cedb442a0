// SPDX-License-Identifier: MIT
#include "vnMessagePlatform.h"

#include <vnBase/vnKeyDatabase.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#include <syslog.h>
#include <unistd.h>

namespace
{
struct CloseFile
{
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

struct AnswerName
{
    const char* name;
    vnAssertAnswer answer;
};

constexpr AnswerName answers[] = {
    {"abort", VN_ASSERT_ABORT},
    {"retry", VN_ASSERT_RETRY},
    {"ignore", VN_ASSERT_IGNORE},
};

vnAssertAnswer answerOfUser()
{
    const vnString value = vnKeyDatabase::getUserKey("VANTOR_ASSERT");
    for (const AnswerName& entry : answers)
        if (value == entry.name)
            return entry.answer;
    return VN_ASSERT_IGNORE;
}

// Null also for a process in the background, which would be stopped when it reads.
File openTerminal()
{
    File terminal(std::fopen("/dev/tty", "r+e"));
    if (!terminal || tcgetpgrp(fileno(terminal.get())) != getpgrp())
        return nullptr;
    // Nothing is read ahead, as a terminal that gives out keys would: such a stream can't be written to.
    std::setvbuf(terminal.get(), nullptr, _IONBF, 0);
    return terminal;
}

// Goes on after a signal that the program treats.
int readCharacter(FILE* from)
{
    for (;;)
    {
        errno = 0;
        const int character = std::getc(from);
        if (character != EOF || !std::ferror(from) || errno != EINTR)
            return character;
        std::clearerr(from);
    }
}

// The first character of a line, which is read to its end: what is left of it would be taken for an answer.
int readInitial(FILE* from)
{
    const int initial = readCharacter(from);
    for (int character = initial; character != '\n' && character != EOF;)
        character = readCharacter(from);
    return initial;
}
} // namespace

void vnPlatformDebugOutput(const char* prefix, const char* text)
{
    syslog(LOG_USER | LOG_DEBUG, "%s%s\n", prefix, text ? text : "");
}

vnAssertAnswer vnPlatformAssertDialogue(const vnString& title, const vnString& body)
{
    const File terminal = openTerminal();
    if (!terminal)
        return answerOfUser();

    int initial;
    do
    {
        std::fprintf(terminal.get(), "\n%s\n%s\n\n(a)bort, (r)etry, (i)gnore? ", title.getString(),
                     body.getString());
        std::fflush(terminal.get());
        initial = readInitial(terminal.get());
        for (const AnswerName& entry : answers)
            if (initial == entry.name[0])
                return entry.answer;
    } while (initial != EOF);
    return VN_ASSERT_IGNORE;
}
