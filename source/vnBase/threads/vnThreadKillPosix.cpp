// SPDX-License-Identifier: MIT
#include "vnThreadKill.h"

#include <vnBase/vnMutex.h>
#include <vnBase/vnThreadID.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <sys/auxv.h>
#include <ucontext.h>
#include <unistd.h>

namespace
{
struct Range
{
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;

    bool contains(std::uintptr_t address) const noexcept { return address >= begin && address < end; }
};

// Where the code lies that must not be left half done. Filled before the signal is ever sent.
struct CodeMap
{
    Range libc;
    Range runtime[4]; // the allocator when it is another's, the loader, the unwinder, the C++ library
    Range library;    // this library
    Range mapping[6]; // the calls by which the allocator gets memory from the kernel
};

CodeMap s_code;

struct Search
{
    std::uintptr_t address;
    Range range;
};

int findRange(dl_phdr_info* info, std::size_t, void* data)
{
    Search* search = static_cast<Search*>(data);
    for (int i = 0; i < info->dlpi_phnum; ++i)
    {
        const ElfW(Phdr)& header = info->dlpi_phdr[i];
        const Range range{info->dlpi_addr + header.p_vaddr,
                          info->dlpi_addr + header.p_vaddr + header.p_memsz};
        if (header.p_type == PT_LOAD && (header.p_flags & PF_X) && range.contains(search->address))
            search->range = range;
    }
    return search->range.end != 0;
}

Range codeAround(std::uintptr_t address)
{
    Search search{address, {}};
    if (address != 0)
        dl_iterate_phdr(findRange, &search);
    return search.range;
}

std::uintptr_t addressOf(const char* name)
{
    return reinterpret_cast<std::uintptr_t>(dlsym(RTLD_DEFAULT, name));
}

std::uintptr_t loaderCode()
{
    const std::uintptr_t base = getauxval(AT_BASE);
    if (base == 0)
        return 0;
    const ElfW(Ehdr)* header = reinterpret_cast<const ElfW(Ehdr)*>(base);
    return base + header->e_entry;
}

CodeMap findCode()
{
    CodeMap code;
    const Range program = codeAround(getauxval(AT_ENTRY));
    // What is linked into the program can't be told from the program, most of which may be left at any time.
    const auto outsideProgram = [&program](std::uintptr_t address)
    {
        const Range range = codeAround(address);
        return range.begin == program.begin ? Range{} : range;
    };
    code.library = outsideProgram(reinterpret_cast<std::uintptr_t>(&vnMayBeEndedHere));
    code.libc = codeAround(addressOf("gnu_get_libc_version"));
    // An allocator is too dangerous to be left: with one in the program, threads are ended where they sleep,
    // or at the last.
    code.runtime[0] = codeAround(addressOf("malloc"));
    code.runtime[1] = outsideProgram(loaderCode());
    code.runtime[2] = outsideProgram(addressOf("_Unwind_RaiseException"));
    code.runtime[3] = outsideProgram(addressOf("__cxa_throw"));
    const char* const names[] = {"mmap", "munmap", "mremap", "mprotect", "madvise", "brk"};
    constexpr std::uintptr_t longestWrapper = 128;
    for (unsigned int i = 0; i < sizeof names / sizeof *names; ++i)
        if (const std::uintptr_t address = addressOf(names[i]))
            code.mapping[i] = Range{address, address + longestWrapper};
    return code;
}

std::uintptr_t interruptedAt(const void* context)
{
    const ucontext_t* user = static_cast<const ucontext_t*>(context);
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(user->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return static_cast<std::uintptr_t>(user->uc_mcontext.pc);
#else
#error "Where does this processor keep the address of the interrupted instruction?"
#endif
}

#if defined(__x86_64__)
constexpr unsigned char systemCall[] = {0x0F, 0x05};
#else
constexpr unsigned char systemCall[] = {0x01, 0x00, 0x00, 0xD4};
#endif

bool isSystemCall(std::uintptr_t address)
{
    return std::memcmp(reinterpret_cast<const void*>(address), systemCall, sizeof systemCall) == 0;
}

// A thread that sleeps in a call of the kernel stands behind the instruction, or on it when the call will be
// made again.
bool isAtSystemCall(std::uintptr_t address, const Range& range)
{
    return address >= range.begin + sizeof systemCall && address + sizeof systemCall <= range.end &&
           (isSystemCall(address) || isSystemCall(address - sizeof systemCall));
}

// All code of the runtimes may hold their locks, also while it sleeps. Only in the C library is a sleep most
// often its caller's own.
bool isInsideRuntime(std::uintptr_t address)
{
    for (const Range& range : s_code.mapping)
        if (range.contains(address))
            return true;
    if (s_code.libc.contains(address))
        return !isAtSystemCall(address, s_code.libc);
    for (const Range& range : s_code.runtime)
        if (range.contains(address))
            return true;
    return false;
}

int findSignal(void (*handler)(int, siginfo_t*, void*))
{
    for (int number = SIGRTMAX - 1; number > SIGRTMIN; --number)
    {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) ||
            action.sa_handler != SIG_DFL)
            continue;
        std::memset(&action, 0, sizeof action);
        action.sa_sigaction = handler;
        action.sa_flags = SA_SIGINFO | SA_RESTART | SA_ONSTACK;
        sigfillset(&action.sa_mask);
        if (sigaction(number, &action, nullptr) == 0)
            return number;
    }
    return 0;
}
} // namespace

int vnKillSignal(void (*handler)(int, siginfo_t*, void*)) noexcept
{
    static const int number = [handler]
    {
        s_code = findCode();
        return findSignal(handler);
    }();
    return number;
}

bool vnMayBeEndedHere(vnKillForce force, const void* context) noexcept
{
    if (force == VN_KILL_IN_ANY_CASE)
        return true;
    const std::uintptr_t address = interruptedAt(context);
    if (vnThisThread.allocating > 0 || isInsideRuntime(address))
        return false;
    if (!vnHoldsLocks(vnThisThread))
        return true;
    // A thread that only holds locks is ended after a while, but rather not inside this library, whose own
    // state would stay locked.
    return force == VN_KILL_FORCED && !s_code.library.contains(address);
}
