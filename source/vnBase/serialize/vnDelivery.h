// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

// Lets `read(done)` put bytes behind the `done` ones that stand at `data` and count them as they come, and
// answers how many there are. On an exception all of them are pushed back: the caller, who does not learn of
// them, finds them again.
template <class Read>
unsigned int vnDeliver(vnSerializeAdapter& adapter, const unsigned char* data, unsigned int done, Read read)
{
    try
    {
        read(done);
    }
    catch (...)
    {
        adapter.pushBack(data, done);
        throw;
    }
    return done;
}
