// SPDX-License-Identifier: MIT
#include <vnBase/vnMemory.h>

#include <cstring>

namespace
{
// A bit may differ where the mask has none.
template <class Word>
unsigned char equalUnderMask(const Word* left, const Word* right, Word mask, unsigned int count) noexcept
{
    Word difference = 0;
    for (unsigned int i = 0; i < count; ++i)
        difference |= (left[i] ^ right[i]) & mask;
    return difference == 0;
}

unsigned int readCapabilities() noexcept
{
    unsigned int capabilities = 0;
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    capabilities |= __builtin_cpu_supports("sse2") ? VN_CPU_SSE2 : 0u;
    capabilities |= __builtin_cpu_supports("sse4.2") ? VN_CPU_SSE42 : 0u;
    capabilities |= __builtin_cpu_supports("avx2") ? VN_CPU_AVX2 : 0u;
    capabilities |= __builtin_cpu_supports("avx512f") ? VN_CPU_AVX512F : 0u;
#elif defined(__aarch64__) || defined(__ARM_NEON)
    capabilities |= VN_CPU_NEON;
#endif
    return capabilities;
}

// Read once at load; a static that asks earlier reads it for itself.
const unsigned int capabilitiesAtLoad = readCapabilities();
} // namespace

unsigned char vnMemBitCompare(const unsigned int* left, const unsigned int* right, unsigned int mask,
                              unsigned int count)
{
    return equalUnderMask(left, right, mask, count);
}

unsigned char vnMemBitCompare(const vnUInt64* left, const vnUInt64* right, vnUInt64 mask, unsigned int count)
{
    return equalUnderMask(left, right, mask, count);
}

// The C library picks its block routines for the processor at load.
void vnMemSet(void* block, unsigned char value, unsigned int size)
{
    if (size > 0)
        std::memset(block, value, size);
}

unsigned char GetCPUCaps(CPUCAPS capability)
{
    const unsigned int capabilities = capabilitiesAtLoad ? capabilitiesAtLoad : readCapabilities();
    return (capabilities & capability) != 0;
}
