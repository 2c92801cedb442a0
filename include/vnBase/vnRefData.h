// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnReference.h>

#include <utility>

/// Makes a plain value reference counted, so that it can stand in a `vnRefPointer`, a `vnRefList` or a
/// `vnRefDict`.
///
///     vnRefPointer<vnRefData<vnString>> text(new vnRefData<vnString>("hello"));
///
/// `B` is the counting base, `vnReference` or `vnThreadSafeReference`.
template <class T, class B = vnReference>
class vnRefData : public B
{
public:
    vnRefData() = default;
    vnRefData(const T& data) : m_data(data) {}
    vnRefData(T&& data) : m_data(std::move(data)) {}

    vnReference* clone() const override
    {
        vnRefData* copy = new vnRefData(m_data);
        copy->setCopyMode(this->getCopyMode());
        return copy;
    }

    T& getData() noexcept { return m_data; }
    const T& getData() const noexcept { return m_data; }
    operator T&() noexcept { return m_data; }
    operator const T&() const noexcept { return m_data; }

private:
    T m_data{};
};
