// SPDX-License-Identifier: MIT
#include <vnBase/vnMemory.h>

#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMutex.h>

#include <core/vnEternal.h>
#include <memory/vnMemoryTable.h>

#include <cstdlib>
#include <cstring>
#include <utility>

std::atomic<unsigned int> vnMemoryWatch{0};
__thread int vnInsideMemoryReport __attribute__((tls_model("initial-exec"))) = 0;

namespace
{
std::atomic<vnMemoryManagerInterface*> manager{nullptr};
std::atomic<bool> tracking{false};
std::atomic<bool> tracing{false};
std::atomic<bool> machineForm{false};

// Guards the fields up to the next lock.
vnMemCheck<vnMutex> tableLock __attribute__((init_priority(101)));
vnMemoryTable* table = nullptr;
unsigned int sequence = 0;
vnUInt64 totalBytes = 0;

struct ThreadStateOf
{
    unsigned int threadID;
    unsigned int state;
};
constexpr unsigned int stateCapacity = 1000;
constexpr unsigned int firstState = 1;

vnEternal<vnMutex> stateLock;
ThreadStateOf states[stateCapacity];
unsigned int stateCount = 0;
unsigned int lastState = 0; // most calls come from the thread of the call before

// Blocks stay tracked while records are left, so that a block freed after the end of tracking leaves no
// record of memory that is gone.
void updateWatch() noexcept
{
    unsigned int watch = manager.load(std::memory_order_relaxed) ? VN_MEMORY_MANAGED : 0u;
    if (tracking.load(std::memory_order_relaxed) || (table && table->getLive() > 0))
        watch |= VN_MEMORY_TRACKED;
    vnMemoryWatch.store(watch, std::memory_order_relaxed);
}

// Both under the lock of the states.
ThreadStateOf* findState(unsigned int thread) noexcept
{
    if (lastState < stateCount && states[lastState].threadID == thread)
        return &states[lastState];
    for (unsigned int i = 0; i < stateCount; ++i)
        if (states[i].threadID == thread)
        {
            lastState = i;
            return &states[i];
        }
    return nullptr;
}

ThreadStateOf& addState(unsigned int thread) noexcept
{
    // A table that is full gives its last place away.
    lastState = stateCount < stateCapacity ? stateCount++ : stateCapacity - 1;
    states[lastState] = ThreadStateOf{thread, firstState};
    return states[lastState];
}

// The kernel gives the id of a thread that has ended to a later one.
struct OwnState
{
    ~OwnState() { vnForgetMemoryState(vnCurrentThreadID()); }
};

void forgetOwnStateAtEnd()
{
    static thread_local OwnState own;
    static_cast<void>(own);
}

unsigned int threadOrSelf(unsigned int thread) noexcept
{
    return thread ? thread : vnCurrentThreadID();
}

vnMemoryTable* allocateTable()
{
    return static_cast<vnMemoryTable*>(vnRawAllocateZeroed(sizeof(vnMemoryTable)));
}

void freeThrough(vnMemoryManagerInterface* owner, void* block)
{
    if (owner)
        owner->deallocate(block);
    else
        std::free(block);
}

// The old manager may end now, and the table must not end with it. Without memory for it the records go.
void moveTable(vnMemoryManagerInterface* owner)
{
    vnMemoryTable* moved = table->getLive() > 0 ? allocateTable() : nullptr;
    if (moved)
        moved->copyFrom(*table);
    else
        totalBytes = 0;
    freeThrough(owner, std::exchange(table, moved));
}

struct Filter
{
    unsigned int state;
    unsigned int thread;
    bool withPrivate;

    bool passes(const vnMemoryTable::Record& record) const noexcept
    {
        if (!record.address)
            return false;
        if (state && record.state != state)
            return false;
        if (thread && record.threadID != thread)
            return false;
        return withPrivate || record.state != vnMemoryControl::VN_MEMORY_PRIVATE;
    }
};

// Calls with the number of each record that passes; under the lock.
template <class Action>
void forEachRecord(const Filter& filter, Action action)
{
    if (!table)
        return;
    for (unsigned int i = 0; i < table->getUsed(); ++i)
        if (filter.passes((*table)[i]))
            action(i);
}

// "Malloc" and "Free" lines: the readable form and the form for programs, each without and with a name.
struct TraceForms
{
    const char* readable;
    const char* readableNamed;
    const char* machine;
    const char* machineNamed;
};
constexpr TraceForms mallocForms = {
    "--!! (Thread:0x%x) Malloc %u bytes at 0x%x (index:%u) (count:%u) (tot:%u)\n",
    "--!! (Thread:0x%x) Malloc %u bytes at 0x%x (index:%u) (count:%u) (tot:%u)->%s\n",
    "M %u %u %u %u %u %u ?\n", "M %u %u %u %u %u %u %s\n"};
constexpr TraceForms freeForms = {
    "--!! (Thread:0x%x) Free %u bytes at 0x%x (index:%u) (count:%u) (tot:%u)\n",
    "--!! (Thread:0x%x) Free %u bytes at 0x%x (index:%u) (count:%u) (tot:%u)->%s\n",
    "F %u %u %u %u %u %u ?\n", "F %u %u %u %u %u %u %s\n"};

// Lines of the reports: a live block, and one that is lost.
constexpr TraceForms aliveForms = {
    "!! (thread:0x%x) Alloc mem %u bytes at 0x%x (data:%s) (count:%u) (tot:%u) (state:%d)\n",
    "!! (thread:0x%x) Alloc mem %u bytes at 0x%x (data:%s) (count:%u) (tot:%u) (state:%d) -> %s\n",
    "A %u %u %u %u %u %d * %s\n", "A %u %u %u %u %u %d %s %s\n"};
constexpr TraceForms lostForms = {
    "!! (thread:0x%x) Lost mem %u bytes at 0x%x (data:%s) (count:%u) (tot:%u) (state:%d)\n",
    "!! (thread:0x%x) Lost mem %u bytes at 0x%x (data:%s) (count:%u) (tot:%u) (state:%d) -> %s\n",
    "L %u %u %u %u %u %d * %s\n", "L %u %u %u %u %u %d %s %s\n"};

void printTrace(const TraceForms& forms, unsigned int index)
{
    const vnMemoryTable::Record& record = (*table)[index];
    const bool machine = machineForm.load(std::memory_order_relaxed);
    const auto* address = static_cast<const void*>(record.address);
    if (record.name)
        vnMemoryControl::memprintf(0, machine ? forms.machineNamed : forms.readableNamed, record.threadID,
                                   record.size, address, index, record.sequence, totalBytes, record.name);
    else
        vnMemoryControl::memprintf(0, machine ? forms.machine : forms.readable, record.threadID, record.size,
                                   address, index, record.sequence, totalBytes);
}

// The first bytes of a block as text. The owner of the block may write it meanwhile; any byte will do then.
constexpr unsigned int shownBytes = 32;
__attribute__((no_sanitize("thread"))) void showData(const vnMemoryTable::Record& record, char* text) noexcept
{
    const auto* data = static_cast<const unsigned char*>(record.address);
    const unsigned int count = record.size < shownBytes ? record.size : shownBytes;
    for (unsigned int i = 0; i < count; ++i)
    {
        const unsigned char byte = data[i];
        text[i] = byte < 32 ? '.' : byte > 127 ? '+' : static_cast<char>(byte);
    }
    text[count] = '\0';
}

// `total` counts the bytes of the lines up to this one.
void printLine(const TraceForms& forms, const vnMemoryTable::Record& record, vnUInt64 total)
{
    char data[shownBytes + 1];
    showData(record, data);
    const auto* address = static_cast<const void*>(record.address);
    const bool machine = machineForm.load(std::memory_order_relaxed);
    if (machine && record.name)
        vnMemoryControl::memprintf(0, forms.machineNamed, record.threadID, record.size, address,
                                   record.sequence, total, record.state, record.name, data);
    else if (machine)
        vnMemoryControl::memprintf(0, forms.machine, record.threadID, record.size, address, record.sequence,
                                   total, record.state, data);
    else if (record.name)
        vnMemoryControl::memprintf(0, forms.readableNamed, record.threadID, record.size, address, data,
                                   record.sequence, total, record.state, record.name);
    else
        vnMemoryControl::memprintf(0, forms.readable, record.threadID, record.size, address, data,
                                   record.sequence, total, record.state);
}

void printLines(const TraceForms& forms, const Filter& filter)
{
    vnUInt64 total = 0;
    forEachRecord(filter,
                  [&](unsigned int index)
                  {
                      total += (*table)[index].size;
                      printLine(forms, (*table)[index], total);
                  });
}

unsigned int digitsOf(unsigned int value, unsigned int radix) noexcept
{
    unsigned int digits = 1;
    while (value /= radix)
        ++digits;
    return digits;
}

// A line of 78 characters: the title, what the report is limited to, dashes.
void printBanner(const char* title, const Filter& filter)
{
    static const char dashes[] =
        "----------------------------------------------------------------------------";
    constexpr unsigned int width = 78;
    unsigned int used = static_cast<unsigned int>(std::strlen(title)) + 1;
    if (filter.state)
        used += static_cast<unsigned int>(std::strlen(" (state:)")) + digitsOf(filter.state, 10);
    if (filter.thread)
        used += static_cast<unsigned int>(std::strlen(" (thread:0x)")) + digitsOf(filter.thread, 16);
    const char* rest = dashes + sizeof dashes - 1 - (used < width ? width - used : 1);
    if (filter.state && filter.thread)
        vnMemoryControl::memprintf(0, "%s (state:%d) (thread:0x%x) %s\n", title, filter.state, filter.thread,
                                   rest);
    else if (filter.state)
        vnMemoryControl::memprintf(0, "%s (state:%d) %s\n", title, filter.state, rest);
    else if (filter.thread)
        vnMemoryControl::memprintf(0, "%s (thread:0x%x) %s\n", title, filter.thread, rest);
    else
        vnMemoryControl::memprintf(0, "%s %s\n", title, rest);
}

// Prints what was never freed. Its priority makes it the library's last static to be destroyed, so that all
// others had their chance to free what they own.
class MemInfoCheckerCleanup
{
public:
    MemInfoCheckerCleanup() noexcept {}
    ~MemInfoCheckerCleanup()
    {
        vnBodyGuard guard(tableLock);
        tracking = false;
        if (!table)
            return;
        vnMemoryControl::memprintf(
            0, "-- Vantor3D Lost Memory Report ----------------------------------------------\n");
        printLines(lostForms, Filter{0, 0, false});
        vnMemoryControl::memprintf(
            0, "-- End of Lost Memory Report -----------------------------------------------\n");
        vnRawFree(table);
        table = nullptr;
        updateWatch();
    }
};
MemInfoCheckerCleanup cleanup __attribute__((init_priority(101)));
} // namespace

void* vnRawAllocate(unsigned int size)
{
    vnMemoryManagerInterface* installed = manager.load(std::memory_order_acquire);
    return installed ? installed->allocate(size) : std::malloc(size);
}

void* vnRawAllocateZeroed(std::size_t size)
{
    vnMemoryManagerInterface* installed = manager.load(std::memory_order_acquire);
    if (!installed)
        return std::calloc(1, size); // fresh pages are zero already
    void* block = installed->allocate(static_cast<unsigned int>(size));
    if (block)
        std::memset(block, 0, size);
    return block;
}

void vnRawFree(void* block)
{
    freeThrough(manager.load(std::memory_order_acquire), block);
}

void vnTrackAllocation(void* block, unsigned int size, const char* name)
{
    if (!tracking.load(std::memory_order_relaxed) || !tableLock.isValidMemory() || vnInsideMemoryReport)
        return;
    const unsigned int thread = vnCurrentThreadID();
    const unsigned int state = vnMemoryControl::getState(thread);
    vnBodyGuard guard(tableLock);
    vnMemoryReportScope scope;
    totalBytes += size;
    if (!table)
        table = allocateTable();
    if (!table)
        return;
    // A block that was freed unseen had this address; its record must not hide the new one.
    const unsigned int stale = table->find(block);
    if (stale != vnMemoryTable::VN_RECORDS)
    {
        totalBytes -= (*table)[stale].size;
        table->release(stale);
    }
    const unsigned int index = table->take(block);
    if (index == vnMemoryTable::VN_RECORDS)
        return;
    (*table)[index] = vnMemoryTable::Record{block, name, size, thread, sequence++, state};
    if (tracing.load(std::memory_order_relaxed))
        printTrace(mallocForms, index);
}

void vnTrackRelease(void* block)
{
    if (!tableLock.isValidMemory())
        return;
    // A report frees blocks, too, that were tracked before it began; only their lines are left out. So are
    // those of blocks freed after the end of tracking.
    const bool traced = tracing.load(std::memory_order_relaxed) && tracking.load(std::memory_order_relaxed) &&
                        !vnInsideMemoryReport;
    vnBodyGuard guard(tableLock);
    vnMemoryReportScope scope;
    const unsigned int index = table ? table->find(block) : vnMemoryTable::VN_RECORDS;
    if (index == vnMemoryTable::VN_RECORDS)
        return;
    if (traced)
        printTrace(freeForms, index); // with the total that still counts the block
    totalBytes -= (*table)[index].size;
    table->release(index);
    if (table->getLive() == 0)
        updateWatch();
}

void vnMemoryControl::debugMem(unsigned char enable)
{
    vnBodyGuard guard(tableLock);
    tracking = enable && tableLock.isValidMemory();
    updateWatch();
}

void vnMemoryControl::traceAlloc(unsigned char enable)
{
    tracing = enable;
}

void vnMemoryControl::useFormatOutput(unsigned char enable)
{
    machineForm = enable;
}

void vnMemoryControl::setMemoryManager(vnMemoryManagerInterface* installed)
{
    vnBodyGuard guard(tableLock);
    vnMemoryManagerInterface* old = manager.exchange(installed, std::memory_order_acq_rel);
    if (table && old != installed)
        moveTable(old);
    updateWatch();
}

vnMemoryManagerInterface* vnMemoryControl::getMemoryManagerInterface()
{
    return manager.load(std::memory_order_acquire);
}

unsigned int vnMemoryControl::getState(unsigned int thread)
{
    if (!tableLock.isValidMemory())
        return firstState;
    vnBodyGuard guard(stateLock.value);
    thread = threadOrSelf(thread);
    const ThreadStateOf* entry = findState(thread);
    if (!entry)
        return firstState;
    if (thread == vnCurrentThreadID()) // another thread may have set it
        forgetOwnStateAtEnd();
    return entry->state;
}

void vnForgetMemoryState(unsigned int thread) noexcept
{
    vnBodyGuard guard(stateLock.value);
    if (ThreadStateOf* entry = findState(thread))
        *entry = states[--stateCount];
}

unsigned int vnMemoryControl::updateState(unsigned int state, unsigned int thread)
{
    if (!tableLock.isValidMemory())
        return firstState;
    thread = threadOrSelf(thread);
    vnBodyGuard guard(stateLock.value);
    ThreadStateOf* entry = findState(thread);
    if (!entry)
        entry = &addState(thread);
    if (thread == vnCurrentThreadID())
        forgetOwnStateAtEnd();
    const unsigned int old = entry->state;
    entry->state = state ? state : old + 1;
    return old;
}

vnUInt64 vnMemoryControl::getAllocMem(unsigned int state, unsigned int thread)
{
    vnBodyGuard guard(tableLock);
    vnUInt64 total = 0;
    forEachRecord(Filter{state, thread, true}, [&](unsigned int index) { total += (*table)[index].size; });
    return total;
}

unsigned int vnMemoryControl::getMemInfo(vnMemInfoItem* items, unsigned int count)
{
    vnBodyGuard guard(tableLock);
    if (!items)
        return table ? table->getLive() : 0;
    unsigned int copied = 0;
    forEachRecord(Filter{0, 0, true},
                  [&](unsigned int index)
                  {
                      const vnMemoryTable::Record& record = (*table)[index];
                      if (copied < count)
                          items[copied++] = vnMemInfoItem{record.address,  record.size,     record.name,
                                                          record.threadID, record.sequence, record.state};
                  });
    return copied;
}

void vnMemoryControl::dumpAllocMem(unsigned int state, unsigned int thread, unsigned char showAll)
{
    vnBodyGuard guard(tableLock);
    vnMemoryReportScope scope;
    const Filter filter{state, thread, showAll || state == VN_MEMORY_PRIVATE};
    printBanner("-- Vantor3D Alloc Memory Report", filter);
    printLines(aliveForms, filter);
    printBanner("-- End of Alloc Memory Report", filter);
}

void vnMemoryControl::resetDebugMem(unsigned int state, unsigned int thread, unsigned char)
{
    vnBodyGuard guard(tableLock);
    forEachRecord(Filter{state, thread, true},
                  [&](unsigned int index)
                  {
                      totalBytes -= (*table)[index].size;
                      table->release(index);
                  });
    updateWatch();
}

void vnMemoryControl::cleanAllocMem()
{
    vnBodyGuard guard(tableLock);
    if (table)
        table->clear();
    totalBytes = 0;
    updateWatch();
}
