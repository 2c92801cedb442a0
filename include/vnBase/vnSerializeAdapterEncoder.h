// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterFilter.h>

/// Scrambles the bytes on their way with a key of 64 bits, so that a text or a password can't be read by
/// looking at the file. It is no encryption: whoever knows some of the bytes finds the rest.
///
///     vnRefPointer<vnSerializeAdapter> out(new vnSerializeAdapterEncoder(file, 4711));
///     out->write(data, count);
///
/// The same key reads what it wrote, from the first byte on; another key gives noise, and no error. An
/// adapter goes in one direction: reading and writing move the same key.
class VN_BASE_API vnSerializeAdapterEncoder : public vnSerializeAdapterFilter
{
public:
    /// Holds `target`, see `vnSerializeAdapterFilter`.
    vnSerializeAdapterEncoder(vnSerializeAdapter* target, vnUInt64 key);
    VN_TYPE(vnSerializeAdapterEncoder)
    ~vnSerializeAdapterEncoder() noexcept(false) override;

    /// Flushes the target when bytes were written since the last time; a memory adapter is emptied by that.
    /// Drops the bytes pushed back.
    void flush() override;

protected:
    /// Starts anew in front of `target`, which is held, with the key at its beginning: bytes pushed back and
    /// the own error are dropped.
    void setAdapter(vnSerializeAdapter* target, vnUInt64 key);

    void write_imp(unsigned char* data, unsigned int count) override;
    void write_imp(unsigned char byte) override;
    unsigned int read_imp(unsigned char* data, unsigned int count) override;

    /// Without data it gives what the target gives.
    unsigned char read_imp() override;
    unsigned int length_imp() override;
    unsigned char hasData_imp() override;

private:
    vnUInt64 m_key;
    unsigned char m_previous = 0; // the byte that passed last, scrambled
};
