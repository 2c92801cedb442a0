// SPDX-License-Identifier: MIT
#include "vnXmlPages.h"

#include <cstdint>

#include <sys/mman.h>
#include <unistd.h>

void vnUseLargePages(void* block, std::size_t size) noexcept
{
    constexpr std::size_t largePage = std::size_t{2} << 20;
    if (size < 2 * largePage)
        return;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t begin = (reinterpret_cast<std::uintptr_t>(block) + page - 1) / page * page;
    const std::uintptr_t end = (reinterpret_cast<std::uintptr_t>(block) + size) / page * page;
    // Advice: a refusal is no fault.
    madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}
