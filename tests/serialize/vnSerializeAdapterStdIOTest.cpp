// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterStdIO.h>

#include <vnBase/vnConsole.h>

#include "../threads/vnThreadTestHelp.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace
{
// A process with a console of its own, on a terminal or on two pipes.
class Child
{
public:
    // The work answers whether all was as it should be.
    explicit Child(bool (*work)(), bool hasTerminal = true)
    {
        int input[2] = {-1, -1};
        int output[2] = {-1, -1};
        if (hasTerminal)
        {
            m_in = m_out = posix_openpt(O_RDWR | O_NOCTTY);
            grantpt(m_in);
            unlockpt(m_in);
            m_terminal = open(ptsname(m_in), O_RDWR | O_NOCTTY);
            input[0] = output[1] = m_terminal;
        }
        else if (pipe(input) == 0 && pipe(output) == 0)
        {
            m_in = input[1];
            m_out = output[0];
        }
        std::fflush(nullptr); // or the child says it, too
        m_process = fork();
        if (m_process == 0)
        {
            alarm(60); // bounds every wait of the test
            setsid();
            if (hasTerminal)
                ioctl(m_terminal, TIOCSCTTY, 0);
            dup2(input[0], 0);
            dup2(output[1], 1);
            for (int file : {input[0], output[1], m_in, m_out})
                if (file > 1)
                    close(file);
            std::exit(work() ? 0 : 1);
        }
        if (!hasTerminal)
        {
            close(input[0]);
            close(output[1]);
        }
    }
    ~Child()
    {
        if (m_process > 0)
        {
            kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
        }
        endInput();
        close(m_terminal);
        close(m_out);
    }

    void send(const char* text)
    {
        ASSERT_EQ(write(m_in, text, strlen(text)), static_cast<ssize_t>(strlen(text)));
    }
    void endInput()
    {
        if (m_in != m_out)
            close(std::exchange(m_in, m_out));
    }
    void signal(int number) { kill(m_process, number); }

    // What the process writes, up to a text or to its end; what came by then after 20 seconds.
    std::string receive(const std::string& upTo)
    {
        std::string text;
        pollfd request{m_out, POLLIN, 0};
        char byte;
        while (text.find(upTo) == std::string::npos && poll(&request, 1, 20000) > 0 &&
               read(m_out, &byte, 1) == 1)
            text += byte;
        return text;
    }

    int wait(int options = 0)
    {
        int status = -1;
        waitpid(m_process, &status, options);
        if (!WIFSTOPPED(status))
            m_process = 0;
        return status;
    }

    bool isKeyMode() const
    {
        termios mode;
        return tcgetattr(m_terminal, &mode) == 0 && !(mode.c_lflag & (ICANON | ECHO));
    }

private:
    int m_in = -1;
    int m_out = -1;
    int m_terminal = -1;
    pid_t m_process = 0;
};

void put(vnSerializeAdapter& adapter, const char* text)
{
    adapter.write(reinterpret_cast<const unsigned char*>(text), static_cast<unsigned int>(strlen(text)));
}

bool answerKeysInUpperCase()
{
    vnSerializeAdapterStdIO console;
    if (console.getName() != "StdIO" || console.length() != 0 || console.hasData())
        return false;
    put(console, "?");
    for (unsigned char key = console.read(); key != 'q'; key = console.read())
    {
        console.write(static_cast<unsigned char>(key - 32));
        console.write(8);
    }
    return true;
}
} // namespace

TEST(vnSerializeAdapterStdIO, ReadsSingleKeysOfATerminalWithoutEcho)
{
    Child child(answerKeysInUpperCase);
    EXPECT_EQ(child.receive("?"), "?");
    EXPECT_TRUE(child.isKeyMode());
    child.send("k");
    EXPECT_EQ(child.receive("\b \b"), "K\b \b"); // neither an end of line was needed, nor is there an echo
    child.send("q");
    EXPECT_EQ(child.wait(), 0);
    EXPECT_FALSE(child.isKeyMode());
}

TEST(vnSerializeAdapterStdIO, CountsAWaitingKey)
{
    Child child(
        []
        {
            vnSerializeAdapterStdIO console;
            if (console.hasData()) // from here on there is no echo
                return false;
            put(console, "?");
            console.read();
            // The second key came together with the first.
            return console.length() == 1 && console.hasData() && vn_getche() == 'b' && console.length() == 0;
        });
    child.receive("?");
    child.send("ab");
    EXPECT_EQ(child.receive("b"), "b");
    EXPECT_EQ(child.wait(), 0);
}

// ThreadSanitizer runs handlers outside of their signals, so that one that raises its signal again never
// ends.
#ifdef VN_UNDER_THREAD_SANITIZER
#define VN_SIGNAL_TEST(name) TEST(vnSerializeAdapterStdIO, DISABLED_##name)
#else
#define VN_SIGNAL_TEST(name) TEST(vnSerializeAdapterStdIO, name)
#endif

VN_SIGNAL_TEST(LeavesTheTerminalAsItWasWhenASignalEndsIt)
{
    for (int number : {SIGINT, SIGTERM, SIGHUP})
    {
        Child child(answerKeysInUpperCase);
        child.receive("?");
        child.signal(number);
        const int status = child.wait();
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), number);
        EXPECT_FALSE(child.isKeyMode());
    }
}

VN_SIGNAL_TEST(GivesTheTerminalBackWhileItIsStopped)
{
    Child child(answerKeysInUpperCase);
    child.receive("?");
    child.signal(SIGTSTP);
    EXPECT_TRUE(WIFSTOPPED(child.wait(WUNTRACED)));
    EXPECT_FALSE(child.isKeyMode());
    child.signal(SIGCONT);
    child.send("k");
    EXPECT_NE(child.receive("K").find('K'), std::string::npos);
    EXPECT_TRUE(child.isKeyMode());
    child.send("q");
    EXPECT_EQ(child.wait(), 0);
}

TEST(vnSerializeAdapterStdIO, LeavesTheTerminalAloneInTheBackground)
{
    // A shell with one job, which goes on in the background after it was stopped. What touches the terminal
    // there is stopped again.
    Child shell(
        []
        {
            signal(SIGTTOU, SIG_IGN);
            const pid_t job = fork();
            if (job == 0)
            {
                setpgid(0, 0);
                tcsetpgrp(0, getpid());
                signal(SIGTTOU, SIG_DFL);
                vn_kbhit(); // from here on in key mode
                raise(SIGTSTP);
                std::exit(3);
            }
            setpgid(job, job);
            int status = 0;
            waitpid(job, &status, WUNTRACED);
            tcsetpgrp(0, getpgrp());
            const bool wasStopped = WIFSTOPPED(status);
            kill(job, SIGCONT);
            waitpid(job, &status, WUNTRACED);
            const bool hasEnded = WIFEXITED(status) && WEXITSTATUS(status) == 3;
            kill(job, SIGKILL);
            return wasStopped && hasEnded;
        });
    EXPECT_EQ(shell.wait(), 0);
    EXPECT_FALSE(shell.isKeyMode());
}

TEST(vnSerializeAdapterStdIO, WaitsAlthoughItsInputDoesNot)
{
    Child child(
        []
        {
            fcntl(0, F_SETFL, fcntl(0, F_GETFL) | O_NONBLOCK);
            vnSerializeAdapterStdIO console;
            put(console, "?");
            const unsigned char byte = console.read();
            return byte == 'a' && !console.hasError();
        },
        false);
    EXPECT_EQ(child.receive("?"), "?");
    child.send("a");
    EXPECT_EQ(child.wait(), 0);
}

TEST(vnSerializeAdapterStdIO, MovesTheCursorOfATerminalOnly)
{
    const auto work = []
    {
        vn_clrscr();
        vn_gotoxy(3, 0);
        return vn_putch('.') == '.';
    };
    EXPECT_EQ(Child(work).receive("."), "\033[2J\033[H\033[1;3H.");
    EXPECT_EQ(Child(work, false).receive("."), ".");
}

TEST(vnSerializeAdapterStdIO, ReadsAPipeAsAStream)
{
    Child child(
        []
        {
            vnSerializeAdapterStdIO console;
            put(console, "?");
            if (!console.hasData() || console.length() != 1 || console.read() != 'a')
                return false;
            console.pushBack('x');
            unsigned char bytes[10];
            if (console.read(bytes, 10) != 3 || memcmp(bytes, "xbc", 3) != 0 || console.hasError())
                return false;
            if (console.hasData() || console.length() != 0 || vn_getch() != -1 || console.hasData())
                return false;
            return console.read() == 0 && console.hasError() == 1;
        },
        false);
    EXPECT_EQ(child.receive("?"), "?"); // the process waits for data by now, or will
    child.send("a");
    child.send("bc");
    child.endInput();
    EXPECT_EQ(child.wait(), 0);
}

TEST(vnSerializeAdapterStdIO, TellsThatItsOutputIsFull)
{
    Child child(
        []
        {
            dup2(open("/dev/full", O_WRONLY), 1);
            vnSerializeAdapterStdIO console;
            put(console, "text");
            console.flush();
            return console.getError() == "Could not write to the console (No space left on device)";
        },
        false);
    EXPECT_EQ(child.wait(), 0);
}
