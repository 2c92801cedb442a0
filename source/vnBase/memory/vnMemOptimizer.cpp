// SPDX-License-Identifier: MIT
#include <vnBase/vnMemOptimizer.h>

#include <vnBase/vnMemory.h>
#include <vnBase/vnMessage.h>

#include <functional>
#include <limits>

namespace
{
void* allocateArea(vnUInt64 bytes, const char* name)
{
    if (bytes > std::numeric_limits<unsigned int>::max())
        return nullptr;
    return vn_malloc(static_cast<unsigned int>(bytes), name);
}
} // namespace

vnMemOptimizer::vnMemOptimizer(unsigned int size, unsigned int count, const char* name, unsigned char enabled)
    : m_size(size), m_count(count), m_name(name)
{
    if (enabled)
        enable();
}

vnMemOptimizer::~vnMemOptimizer() noexcept(false)
{
    disable(1);
}

// Keeps blocks of any size aligned.
std::size_t vnMemOptimizer::stride() const noexcept
{
    constexpr std::size_t alignment = 8;
    const std::size_t size = m_size ? m_size : 1;
    return (size + alignment - 1) / alignment * alignment;
}

void vnMemOptimizer::enable()
{
    if (isActive() || m_count == 0)
        return;
    const Blocks blocks = allocate(m_count);
    if (blocks.area)
        activate(blocks);
}

// Without memory it prints the line and answers null pointers.
vnMemOptimizer::Blocks vnMemOptimizer::allocate(unsigned int count) const
{
    void* area = allocateArea(static_cast<vnUInt64>(stride()) * count, m_name);
    void* stack = allocateArea(static_cast<vnUInt64>(sizeof(void*)) * count, m_name);
    if (area && stack)
        return {static_cast<unsigned char*>(area), static_cast<void**>(stack)};
    vn_free(area);
    vn_free(stack);
    vnMemoryControl::memprintf(0, "No memory for vnMemOptimizer(%d,%d)\n", count, m_size);
    return {nullptr, nullptr};
}

// Takes over blocks that were allocated for the present count.
void vnMemOptimizer::activate(const Blocks& blocks) noexcept
{
    m_area = blocks.area;
    m_stack = blocks.stack;
    for (unsigned int i = 0; i < m_count; ++i)
        m_stack[i] = m_area + i * stride();
    m_free = m_count;
    m_used = 0;
    m_end = m_area + m_count * stride();
    m_marker = VN_ACTIVE;
}

unsigned char vnMemOptimizer::disable(unsigned char force)
{
    vnBodyGuard guard(m_mutex);
    if (!isActive())
        return 1;
    if (usedBlocks() > 0 && !force)
        return 0;
    m_marker = VN_INACTIVE;
    vn_free(m_area);
    vn_free(m_stack);
    m_area = m_end = nullptr;
    m_stack = nullptr;
    m_free = m_used = 0;
    return 1;
}

unsigned char vnMemOptimizer::tryResize(unsigned int count)
{
    // The new blocks come first, so that the old ones stay when there is no memory for them.
    const bool wantsBlocks = isActive() && count > 0;
    if (usedBlocks() > 0)
        return 0;
    const Blocks blocks = wantsBlocks ? allocate(count) : Blocks{nullptr, nullptr};
    if (wantsBlocks && !blocks.area)
        return 0;
    disable(1);
    m_count = count;
    m_highest = 0;
    if (wantsBlocks)
        activate(blocks);
    return 1;
}

void* vnMemOptimizer::malloc(unsigned int size)
{
    if (!isActive() || size > m_size)
        return vn_malloc(size, m_name);
    unsigned int percentage = 0;
    {
        vnBodyGuard guard(m_mutex);
        if (void* block = takeBlock())
            return block;
        percentage = percentageToReport();
    }
    if (percentage)
        report(percentage);
    return vn_malloc(size, m_name);
}

void vnMemOptimizer::free(void* block)
{
    if (!isManaged(block))
    {
        vn_free(block);
        return;
    }
    vnBodyGuard guard(m_mutex);
    // A full stack means that a block was freed twice; it must not be handed out twice for that.
    if (m_free < m_count)
        m_stack[m_free++] = block;
}

unsigned char vnMemOptimizer::isManaged(const void* block) const
{
    const std::less<const void*> before{};
    return isActive() && !before(block, m_area) && before(block, m_end);
}

void vnMemOptimizer::setReportPercentage(unsigned int step)
{
    vnBodyGuard guard(m_mutex);
    m_step = step;
}

unsigned int vnMemOptimizer::getFreeCount() const
{
    vnBodyGuard guard(m_mutex);
    return m_free;
}

// Under the mutex, as the next one; null when no block is left.
void* vnMemOptimizer::takeBlock()
{
    if (m_free == 0)
        return nullptr;
    void* block = m_stack[--m_free];
    m_used = m_count - m_free;
    return block;
}

// Counts an allocation for which there was no block; 0 when it is not to be reported.
unsigned int vnMemOptimizer::percentageToReport()
{
    ++m_used;
    if (m_step == 0)
        return 0;
    const auto percentage = static_cast<unsigned int>(static_cast<vnUInt64>(m_used) * 100 / m_count);
    if (percentage <= m_highest)
        return 0;
    m_highest = percentage;
    return percentage % m_step == 0 ? percentage : 0;
}

void vnMemOptimizer::report(unsigned int percentage) const
{
    if (m_name)
        vnMessage::message(VN_MESSAGE_DEBUG, "Mem Optimizer %s size is %d%%", m_name, percentage);
    else
        vnMessage::message(VN_MESSAGE_DEBUG, "Mem Optimizer size (%d) is %d%%", m_size, percentage);
}
