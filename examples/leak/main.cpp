// SPDX-License-Identifier: MIT
// Finds an object that nobody lets go of: with memory tracking on, the library reports what is left when it
// is unloaded, on standard error.
#include <vnBase/vnMemory.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnString.h>

int main()
{
    vnMemoryControl::debugMem(1);
    vnRefPointer<vnRefData<vnString>> kept(new ("kept text") vnRefData<vnString>(vnString("let go in time")));
    vnReference* forgotten = new ("forgotten text") vnRefData<vnString>(vnString("nobody lets go of me"));
    forgotten->ref();
    return 0;
}
