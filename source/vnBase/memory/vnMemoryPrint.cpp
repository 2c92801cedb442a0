// SPDX-License-Identifier: MIT
#include <vnBase/vnMemory.h>

#include <vnBase/vnMutex.h>
#include <vnBase/vnString.h>

#include <core/vnEternal.h>
#include <memory/vnMemoryTable.h>

#include <cstdio>
#include <cstring>

namespace
{
vnEternal<vnMutex> printLock;

// Collects a line and writes it in one piece to standard error, or in several when it is long.
class Printer
{
public:
    Printer() noexcept = default;
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;
    ~Printer() { flush(); }

    void put(const char* text, std::size_t length) noexcept
    {
        while (length > 0)
        {
            if (m_used == sizeof m_buffer)
                flush();
            const std::size_t room = sizeof m_buffer - m_used;
            const std::size_t count = length < room ? length : room;
            std::memcpy(m_buffer + m_used, text, count);
            m_used += count;
            text += count;
            length -= count;
        }
    }
    void put(const char* text) noexcept { put(text, std::strlen(text)); }

    void putNumber(vnUInt64 value, unsigned int radix) noexcept
    {
        char digits[20];
        std::size_t first = sizeof digits;
        do
            digits[--first] = "0123456789abcdef"[value % radix];
        while (value /= radix);
        put(digits + first, sizeof digits - first);
    }

private:
    void flush() noexcept
    {
        std::fwrite(m_buffer, 1, m_used, stderr);
        m_used = 0;
    }

    char m_buffer[1024];
    std::size_t m_used = 0;
};

void putSigned(Printer& printer, vnInt64 value) noexcept
{
    if (value < 0)
        printer.put("-", 1);
    printer.putNumber(value < 0 ? 0 - static_cast<vnUInt64>(value) : static_cast<vnUInt64>(value), 10);
}

// Whether a conversion is one of those that need neither the format engine nor memory.
bool isPlain(char conversion, const vnArgument& argument) noexcept
{
    switch (conversion)
    {
    case 'd':
    case 'u':
    case 'x':
        return !argument.isVoid() && !argument.isString();
    case 's':
        return argument.isString() || (argument.isPointer() && static_cast<void*>(argument) != nullptr);
    default:
        return false;
    }
}

bool isPlain(const char* format, const vnArgumentList& arguments) noexcept
{
    unsigned int next = 0;
    while ((format = std::strchr(format, '%')) != nullptr)
    {
        if (!isPlain(format[1], arguments[next++]))
            return false;
        format += 2;
    }
    return true;
}

void putArgument(Printer& printer, char conversion, const vnArgument& argument)
{
    if (conversion == 'd')
        putSigned(printer, argument.getInt64());
    else if (conversion == 'u')
        printer.putNumber(argument.getUInt64(), 10);
    else if (conversion == 'x')
        printer.putNumber(argument.getUInt64(), 16);
    else if (argument.isString())
        printer.put(argument.getString().getString(), argument.getString().length());
    else
        printer.put(static_cast<const char*>(static_cast<void*>(argument)));
}

void printPlain(Printer& printer, const char* format, const vnArgumentList& arguments)
{
    unsigned int next = 0;
    while (const char* percent = std::strchr(format, '%'))
    {
        printer.put(format, static_cast<std::size_t>(percent - format));
        putArgument(printer, percent[1], arguments[next++]);
        format = percent + 2;
    }
    printer.put(format);
}
} // namespace

// The library's own reports are plain and allocate nothing, so that exhausted memory can be reported; what
// else an application prints goes through the format engine.
void vnMemoryControl::printArguments(unsigned char, const char* format, const vnArgumentList& arguments)
{
    if (isPlain(format, arguments))
    {
        vnBodyGuard guard(printLock.value);
        Printer printer;
        printPlain(printer, format, arguments);
        return;
    }
    // Formatting stays outside of the lock: what it calls may itself report.
    vnMemoryReportScope scope;
    vnString text;
    text.assignFormat(format, strlen_safe(format), arguments);
    vnBodyGuard guard(printLock.value);
    Printer().put(text.getString(), text.length());
}
