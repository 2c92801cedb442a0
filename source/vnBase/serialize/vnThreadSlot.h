// SPDX-License-Identifier: MIT
#pragma once

#include <new>

// A `T` of each thread, for the kind of work that `User` names. It is made on first use and destroyed when
// the thread ends; what runs later on that thread, such as the destructor of a static object, finds none.
template <class T, class User>
class vnThreadSlot
{
public:
    // Null once it was destroyed.
    static T* get()
    {
        State& state = ofThread();
        if (!state.object && !state.isGone)
        {
            static thread_local Owner owner; // constructed by this line
            static_cast<void>(owner);
            state.object = new (state.place) T();
        }
        return state.object;
    }

private:
    // Without a destructor, so that it can be used as long as the thread lives.
    struct State
    {
        T* object;
        bool isGone;
        alignas(T) unsigned char place[sizeof(T)];
    };

    struct Owner
    {
        ~Owner()
        {
            State& state = ofThread();
            state.isGone = true;
            T* object = state.object;
            state.object = nullptr;
            if (object)
                object->~T();
        }
    };

    static State& ofThread() noexcept
    {
        static thread_local State state;
        return state;
    }
};
