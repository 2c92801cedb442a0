// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnCompareInterface.h>
#include <vnBase/vnMutex.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnReference.h>
#include <vnBase/vnThreadID.h>

/// A ring of `T` values for each thread, for results that are handed out by reference and stay untouched
/// through the next ring size - 1 calls of the same thread.
///
///     static vnThreadData<vnString> s_texts(10);
///     vnString& text = s_texts.get();
///
/// The values of a thread outlive it: they go with `clear()` or with the object, and a later thread that the
/// kernel gives the same id finds them.
///
/// Thread-safety: any thread; `clear()` takes the values away from under threads that still use them.
template <class T>
class vnThreadData
{
public:
    /// A ring of 0 becomes one of 1.
    explicit vnThreadData(unsigned int ringSize) : m_ringSize(ringSize ? ringSize : 1) {}
    vnThreadData(const vnThreadData&) = delete;
    vnThreadData& operator=(const vnThreadData&) = delete;
    virtual ~vnThreadData() noexcept(false) = default;

    /// The next element of the calling thread's ring.
    T& get()
    {
        const unsigned int id = vnCurrentThreadID();
        vnBodyGuard guard(m_mutex);
        if (id != m_lastID || !m_last)
            serve(id);
        return m_last->next();
    }

    /// Drops the values of all threads.
    void clear()
    {
        vnBodyGuard guard(m_mutex);
        m_last = nullptr;
        m_lastID = 0;
        m_data.clear();
    }

private:
    template <class U>
    class _localData : public vnReference
    {
    public:
        explicit _localData(unsigned int size) : m_values(size) {}

        U& next()
        {
            U& value = m_values.data()[m_next];
            m_next = m_next + 1 == m_values.getSize() ? 0 : m_next + 1;
            return value;
        }

    private:
        vnArray<U> m_values;
        unsigned int m_next = 0;
    };

    void serve(unsigned int id)
    {
        _localData<T>* data = m_data.find(id);
        if (!data)
        {
            vnRefPointer<_localData<T>> fresh(new _localData<T>(m_ringSize));
            m_data.enter(id, fresh);
            data = fresh;
        }
        m_last = data;
        m_lastID = id;
    }

    vnMutex m_mutex; // guards the fields below
    unsigned int m_lastID = 0;
    vnRefPointer<_localData<T>> m_last;
    vnRefDict<vnUInt32CompareInterface, _localData<T>> m_data;
    unsigned int m_ringSize;
};
