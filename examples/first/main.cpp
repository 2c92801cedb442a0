// SPDX-License-Identifier: MIT
#include <vnBase/vnVersion.h>

#include <cstdio>

int main()
{
    std::printf("vnBase %u\n", vnGetLibraryVersion_base());
    return 0;
}
