// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterFilter.h>

/// Writes bytes as hexadecimal text into its target, and reads them from such text. The name says more than
/// it does: each byte becomes two upper-case hexadecimal digits, the high one first.
///
///     vnRefPointer<vnSerializeAdapter> out(new vnSerializeAdapterBCDEncoder(file));
///     out->write(0xAB); // "AB"
///
/// With the flag `VN_ADAPTER_UNICODE` on the target the text is 16-bit: each digit is followed by a 0.
///
/// Reading skips characters up to 32 and, in 16-bit text, the second byte of each character; digits may be
/// lower case. Another character is no error: it counts for the low four bits of its code less 87 from "a"
/// on, less 55 from "A" on, and less 48 below. A single digit at the end stays in the target. `read()`
/// without data gives 0.
class VN_BASE_API vnSerializeAdapterBCDEncoder : public vnSerializeAdapterFilter
{
public:
    /// Holds `target`, see `vnSerializeAdapterFilter`.
    explicit vnSerializeAdapterBCDEncoder(vnSerializeAdapter* target = nullptr);
    VN_TYPE(vnSerializeAdapterBCDEncoder)
    ~vnSerializeAdapterBCDEncoder() noexcept(false) override;

    /// Starts anew in front of `target`, which is held: bytes pushed back and the own error are dropped.
    void setAdapter(vnSerializeAdapter* target);

    /// Flushes the target when bytes were written since the last time; a memory adapter is emptied by that.
    /// Drops the bytes pushed back.
    void flush() override;

protected:
    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;
    unsigned char read_imp() override;

    /// An estimate: a byte for two characters, whatever they are. It takes nothing from the target and does
    /// not wait; whether there is a byte is told by `hasData()`.
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;
};
