// SPDX-License-Identifier: MIT
#include <vnBase/vnMemory.h>

#include <vnBase/vnMutex.h>
#include <vnBase/vnString.h>

#include <core/vnEternal.h>
#include <core/vnUtfScan.h>
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

    void putNegative(vnInt64 value) noexcept
    {
        put("-", 1);
        putNumber(0 - static_cast<vnUInt64>(value), 10);
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

bool isSevenBit(const char* text, std::size_t length) noexcept
{
    return vnUtf::plainLength(text, length) == length;
}

bool isNegative(const vnArgument& argument) noexcept
{
    return !argument.isULongLong() && argument.getInt64() < 0;
}

// Whether a conversion is one of those that need neither the format engine nor memory, with the same result.
// A pointer makes the engine narrow all other text to bytes, so that other text is 7-bit here.
bool isPlain(char conversion, const vnArgument& argument)
{
    switch (conversion)
    {
    case 'd':
        return !argument.isVoid() && !argument.isString();
    case 'u':
    case 'x':
        return !argument.isVoid() && !argument.isString() && !isNegative(argument);
    case 's':
        if (argument.isString())
            return isSevenBit(argument.getString().getString(), argument.getString().length());
        return argument.isPointer() && static_cast<void*>(argument) != nullptr;
    default:
        return false;
    }
}

bool isPlain(const char* format, const vnArgumentList& arguments)
{
    if (!isSevenBit(format, std::strlen(format)))
        return false;
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
    if (conversion == 'd' && isNegative(argument))
        printer.putNegative(argument.getInt64());
    else if (conversion == 'd' && !argument.isULongLong())
        printer.putNumber(static_cast<vnUInt64>(argument.getInt64()),
                          10); // a double stops at the signed range
    else if (conversion == 'd' || conversion == 'u')
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
