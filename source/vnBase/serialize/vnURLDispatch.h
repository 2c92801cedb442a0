// SPDX-License-Identifier: MIT
#pragma once

#include "vnAdapterError.h"

#include <vnBase/vnSerializeAdapter.h>

#include <utility>

/// What `getURLAdapter` is asked for.
struct vnURLRequest
{
    /// Posts a failure and hands out its text.
    template <class... Args>
    void report(vnMessageLevel level, const char* format, const Args&... args) const
    {
        if (!(flags & VN_ADAPTER_SILENT))
            vnMessage::message(level, format, args...);
        for (vnString* const text : {error, reason})
            if (text)
                *text = vnString::formatString(vnTranslated(format), args...);
    }

    bool isTrusted() const noexcept { return !(flags & VN_ADAPTER_UNTRUSTED); }

    vnSerializeAction action;
    vnUInt64 flags;
    const vnString& password;
    vnString* error;
    vnString* reason = nullptr; // likewise, but URL managers don't get it, and the archive of a "zip:" does
};

/// An adapter that was opened. One that nobody holds is deleted in the end, unless it was there before.
class vnOpenedAdapter
{
public:
    explicit vnOpenedAdapter(vnSerializeAdapter* adapter = nullptr, bool isBorrowed = false) noexcept
        : m_adapter(adapter), m_isBorrowed(isBorrowed)
    {
    }
    vnOpenedAdapter(vnOpenedAdapter&& other) noexcept
        : m_adapter(other.release()), m_isBorrowed(other.m_isBorrowed)
    {
    }
    vnOpenedAdapter& operator=(vnOpenedAdapter&&) = delete;
    ~vnOpenedAdapter() noexcept(false)
    {
        if (m_adapter && !m_isBorrowed)
            m_adapter->checkDelete();
    }

    vnSerializeAdapter* get() const noexcept { return m_adapter; }
    vnSerializeAdapter* operator->() const noexcept { return m_adapter; }
    explicit operator bool() const noexcept { return m_adapter != nullptr; }
    bool isBorrowed() const noexcept { return m_isBorrowed; }
    vnSerializeAdapter* release() noexcept { return std::exchange(m_adapter, nullptr); }

private:
    vnSerializeAdapter* m_adapter;
    bool m_isBorrowed;
};

/// Opens a URL and reports a failure; the answer holds nothing then.
vnOpenedAdapter vnOpenURL(const vnString& url, const vnURLRequest& request);
