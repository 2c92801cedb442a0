// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterFilter.h>

class vnTextSource;

/// Writes bytes as base64 text into its target, and reads them from such text.
///
///     vnRefPointer<vnSerializeAdapter> out(new vnSerializeAdapterBase64Encoder(file));
///     out->write(data, count);
///     out->flush(); // writes the last characters
///
/// The alphabet is the standard one, A-Z, a-z, 0-9, "+", "/". No "=" and no line ends are written. With the
/// flag `VN_ADAPTER_UNICODE` on the target the text is 16-bit: each character is followed by a 0.
///
/// Reading skips characters up to 32 and, in 16-bit text, the second byte of each character. "=" or the end
/// of the target ends a group of four characters early, which then yields one byte less than it has
/// characters; a group of none or one yields none. A character outside the alphabet is no error: it counts
/// for the low six bits of its code less 71 from "a" on, less 65 from "A" on, plus 4 from "0" on, and for 63
/// below. What stands behind the last group that was needed stays in the target. `read()` without data gives
/// 0.
class VN_BASE_API vnSerializeAdapterBase64Encoder : public vnSerializeAdapterFilter
{
public:
    /// Holds `target`, see `vnSerializeAdapterFilter`.
    explicit vnSerializeAdapterBase64Encoder(vnSerializeAdapter* target = nullptr);
    VN_TYPE(vnSerializeAdapterBase64Encoder)

    /// Flushes. What goes wrong then is thrown, unless another exception is on its way.
    ~vnSerializeAdapterBase64Encoder() noexcept(false) override;

    /// Starts anew in front of `target`, which is held: pending bytes, bytes pushed back and the own error
    /// are dropped.
    void setAdapter(vnSerializeAdapter* target);

    /// After writing: writes the one or two bytes pending as two or three characters, and flushes the target;
    /// a memory adapter is emptied by that. Bytes written later begin a group of their own, which only
    /// readers that meet a "=" between them tell apart. After reading: drops what is left of the group. Drops
    /// the bytes pushed back.
    void flush() override;

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;

    /// An estimate: three bytes for four characters, whatever they are, and the pending ones of either
    /// direction. It takes nothing from the target and does not wait; whether there is a byte is told by
    /// `hasData()`.
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;

private:
    void readText(vnTextSource& source, unsigned char* data, unsigned int count, unsigned int& done);
    bool readGroup(vnTextSource& source, unsigned int wanted);
    unsigned int takePending(unsigned char* to, unsigned int count);

    unsigned int m_pendingRead = 0; // bytes of the group, the next one highest
    unsigned int m_readBits = 0;
    unsigned int m_pendingWrite = 0;
    unsigned char m_writeBytes[3] = {};
};
