// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterQueue.h>

/// A queue of bytes, first in first out, that is filled from a string and turns into one.
///
///     vnString text("abc");
///     vnSerializeAdapterString stream(&text);
///     stream.read();
///     vnString rest = stream; // "bc"
class VN_BASE_API vnSerializeAdapterString : public vnSerializeAdapterQueue
{
public:
    explicit vnSerializeAdapterString(const vnString* text = nullptr);
    VN_TYPE(vnSerializeAdapterString)
    ~vnSerializeAdapterString() noexcept(false) override;

    /// Replaces the bytes of the queue by the text. Bytes pushed back stay in front of it.
    vnSerializeAdapterString& operator=(const vnString& text);

    /// Takes the unread bytes of the queue out, not those pushed back, which stay for the next reads. A
    /// second conversion gives an empty string. A string holds 65535 bytes at most; what does not fit stays
    /// in the queue for the next conversion.
    operator vnString();
};
