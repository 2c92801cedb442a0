// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// The console: reads keys, which are not echoed, and writes to standard output. See vnConsole.h for what
/// happens when these are no terminals.
///
///     vnSerializeAdapterStdIO console;
///     if (console.hasData())
///         unsigned char key = console.read();
///
/// A read waits for a key. A read of a block asks once more than it gets bytes: from an input that is no
/// terminal it returns when one byte more than asked for has come, which stays for the next read, or at the
/// end. At the end of the input it gives 0 and sets the error; an output that fails sets
/// the error too.
class VN_BASE_API vnSerializeAdapterStdIO : public vnSerializeAdapter
{
public:
    vnSerializeAdapterStdIO();
    VN_TYPE(vnSerializeAdapterStdIO)

    /// Puts out what was written.
    ~vnSerializeAdapterStdIO() noexcept(false) override;

    /// Puts out what was written, and drops the bytes pushed back.
    void flush() override;

protected:
    using vnSerializeAdapter::read_imp;
    using vnSerializeAdapter::write_imp;

    /// A backspace erases the last character on the screen.
    void write_imp(unsigned char byte) override;
    unsigned char read_imp() override;
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;

private:
    void reportWriteError();
};
