// SPDX-License-Identifier: MIT
#pragma once

/// A `T` with static storage that is built at compile time where its constructor allows and never destroyed,
/// for what the destructors of other statics may still need.
template <class T>
union vnEternal
{
    constexpr vnEternal() : value() {}
    ~vnEternal() {}

    T value;
};
