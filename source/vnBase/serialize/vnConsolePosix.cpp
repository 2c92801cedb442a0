// SPDX-License-Identifier: MIT
#include <vnBase/vnConsole.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include <poll.h>
#include <stdio_ext.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace
{
// The terminal as it was found, and whether it is in key mode now. Signal handlers use both.
termios s_found;
std::atomic<bool> s_isKeyMode{false};
std::atomic<bool> s_hasEnded{false}; // the program ends: no key mode any more

void enterKeyMode()
{
    termios keys = s_found;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO); // signals from the keyboard stay on
    keys.c_cc[VMIN] = 1;
    keys.c_cc[VTIME] = 0;
    if (::tcsetattr(STDIN_FILENO, TCSANOW, &keys) == 0)
        s_isKeyMode = true;
}

bool isForeground()
{
    return ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
}

// Changing a terminal from the background would stop the program, and its mode is the business of the program
// in front then.
void leaveKeyMode()
{
    if (s_isKeyMode.exchange(false) && isForeground())
        ::tcsetattr(STDIN_FILENO, TCSANOW, &s_found);
}

extern "C" void vnConsoleAtExit()
{
    s_hasEnded = true;
    leaveKeyMode();
}

// A signal that ends the program does so once the terminal is as it was.
extern "C" void vnConsoleOnEnd(int signal)
{
    const int error = errno;
    leaveKeyMode();
    ::signal(signal, SIG_DFL);
    ::raise(signal); // which waits for the end of this handler
    errno = error;
}

// The shell gets its terminal as it was, and we take it again when we go on; in the background the next
// request for a key does.
extern "C" void vnConsoleOnStop(int)
{
    const int error = errno;
    const bool wasKeyMode = s_isKeyMode;
    leaveKeyMode();
    ::raise(SIGSTOP);
    if (wasKeyMode && isForeground())
        enterKeyMode();
    errno = error;
}

// Signals that the program treats itself, or ignores, stay with it.
void guardSignal(int signal, void (*handler)(int))
{
    struct sigaction action = {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
        return;
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

void saveTerminal()
{
    if (::tcgetattr(STDIN_FILENO, &s_found) != 0)
    {
        s_hasEnded = true;
        return;
    }
    std::atexit(vnConsoleAtExit);
    for (int signal : {SIGINT, SIGTERM, SIGQUIT, SIGHUP})
        guardSignal(signal, vnConsoleOnEnd);
    guardSignal(SIGTSTP, vnConsoleOnStop);
}

void takeTerminal()
{
    static std::once_flag saved;
    std::call_once(saved, saveTerminal);
    if (!s_isKeyMode && !s_hasEnded && isForeground())
        enterKeyMode();
}

// Whether a read is worth another try. Where input does not wait, since somebody who shares it has set it so,
// this does.
bool isPassing(int error)
{
    if (error != EAGAIN && error != EWOULDBLOCK)
        return error == EINTR;
    pollfd request{STDIN_FILENO, POLLIN, 0};
    return ::poll(&request, 1, -1) > 0 || errno == EINTR;
}

int readKey()
{
    takeTerminal();
    unsigned char key;
    ssize_t got;
    do
        got = ::read(STDIN_FILENO, &key, 1);
    while (got < 0 && isPassing(errno));
    return got == 1 ? key : -1;
}

int readStream()
{
    int byte = std::getc(stdin);
    while (byte == EOF && std::ferror(stdin) && isPassing(errno))
    {
        std::clearerr(stdin);
        byte = std::getc(stdin);
    }
    return byte == EOF ? -1 : byte;
}

bool isScreen()
{
    return ::isatty(STDOUT_FILENO);
}
} // namespace

int vn_getch()
{
    vn_flush(); // a prompt stands there before its answer is waited for
    return ::isatty(STDIN_FILENO) ? readKey() : readStream();
}

int vn_getche()
{
    const int key = vn_getch();
    if (key >= 0)
        vn_putch(key);
    return key;
}

unsigned char vn_kbhit()
{
    if (::isatty(STDIN_FILENO))
    {
        takeTerminal();
        int waiting = 0;
        return s_isKeyMode && ::ioctl(STDIN_FILENO, FIONREAD, &waiting) == 0 && waiting > 0;
    }
    vn_flush();
    // Locked over both, so that no other thread reads the byte behind in between.
    ::flockfile(stdin);
    const int byte = readStream();
    const bool isThere = byte >= 0 && std::ungetc(byte, stdin) != EOF;
    ::funlockfile(stdin);
    return isThere;
}

int vn_putch(int character)
{
    // A screen is asked for whenever nothing is collected: before each byte on a terminal, before each block
    // on anything else.
    const bool showsAtOnce = ::__fpending(stdout) == 0 && isScreen();
    const int put = std::putc(character, stdout);
    if (put == EOF || (showsAtOnce && !vn_flush()))
        return -1;
    return put;
}

unsigned char vn_flush()
{
    return std::fflush(stdout) == 0;
}

void vn_clrscr()
{
    if (!isScreen())
        return;
    std::fputs("\033[2J\033[H", stdout);
    vn_flush();
}

void vn_gotoxy(int x, int y)
{
    if (!isScreen())
        return;
    std::printf("\033[%d;%dH", std::max(y, 1), std::max(x, 1));
    vn_flush();
}
