// SPDX-License-Identifier: MIT
#include <vnBase/vnUniqueString.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnMemory.h>
#include <vnBase/vnMutex.h>

#include <core/vnEternal.h>

#include <atomic>

namespace
{
constexpr unsigned int slotCount = 65535;
constexpr unsigned int headCount = 65536;

// Part of the wire format of values: place and text of each are fixed.
constexpr const char* fixedTexts[] = {"str",   "void",    "num",       "ptr",           "ref",
                                      "error", "llnum",   "array",     "vec2",          "vec3",
                                      "vec4",  "cont",    "chain",     "Value not set", "Not implemented",
                                      "OK",    "Test OK", "Test FAIL", "guid",          "ttag"};
static_assert(sizeof fixedTexts / sizeof *fixedTexts == 20);

struct Slot
{
    char* text;        // null while the id is free; never moves while the table lives
    unsigned int hash; // of the text
    unsigned short length;
    unsigned short next; // the id of the next slot of the same head, 0 at the end
};

// All zeros is the empty table, so that the pages of ids that are never used are never touched.
struct Table
{
    Slot slots[slotCount];
    unsigned short heads[headCount]; // the index of texts: chains of ids by the hash of the text
    unsigned int firstFree;          // no slot below is free; slots are never freed
};

// The table is reached by statics of the whole process, so its lock is never destroyed.
vnEternal<vnMutex> tableLock;
std::atomic<bool> refusesUnknownIds{false};
Table* table = nullptr; // guarded by the lock; made when it is first needed
bool isOver = false;    // the statics of the library are gone, nothing is interned any more

unsigned int headOf(unsigned int hash)
{
    // The string hash folds bits, so its low ones alone spread badly.
    return (hash * 0x9E3779B1u) >> 16;
}

// The id of the text, 0 when it is not interned.
unsigned short findText(const char* text, unsigned int length, unsigned int hash)
{
    for (unsigned short id = table->heads[headOf(hash)]; id != 0; id = table->slots[id - 1].next)
    {
        const Slot& slot = table->slots[id - 1];
        if (slot.hash == hash && slot.length == length && std::memcmp(slot.text, text, length) == 0)
            return id;
    }
    return 0;
}

// Enters a text that is not in the table yet under an id that is free.
void enterText(unsigned short id, const char* text, unsigned int length, unsigned int hash)
{
    vnPrivateMemoryScope scope;
    Slot& slot = table->slots[id - 1];
    slot.text = static_cast<char*>(vn_new(length + 1));
    std::memcpy(slot.text, text, length);
    slot.text[length] = 0;
    slot.length = static_cast<unsigned short>(length);
    slot.hash = hash;
    unsigned short& head = table->heads[headOf(hash)];
    slot.next = head;
    head = id;
}

// The lowest free slot, or the last one, whether free or not.
unsigned short lowestFreeId()
{
    while (table->firstFree < slotCount - 1 && table->slots[table->firstFree].text)
        ++table->firstFree;
    return static_cast<unsigned short>(table->firstFree + 1);
}

void destroyTable()
{
    if (!table)
        return;
    for (Slot& slot : table->slots)
        vn_free(slot.text);
    vn_free(table);
    table = nullptr;
}

void createTable()
{
    vnPrivateMemoryScope scope;
    table = static_cast<Table*>(vn_calloc(sizeof(Table), "vnUniqueString"));
    if (!table)
        vnThrowBadAlloc(__FILE__, __LINE__);
    try
    {
        unsigned short id = 0;
        for (const char* text : fixedTexts)
        {
            const unsigned int length = static_cast<unsigned int>(std::strlen(text));
            enterText(++id, text, length, vnString::hash(text, length));
        }
    }
    catch (...)
    {
        destroyTable();
        throw;
    }
}

// Under the lock. False once the library is gone.
bool openTable()
{
    if (!table && !isOver)
        createTable();
    return table != nullptr;
}

// Interns the fixed texts before any other static of the library is constructed, and lets go of the table
// after all of them; only the report of lost memory comes later.
struct TableLife
{
    TableLife()
    {
        vnBodyGuard guard(tableLock.value);
        openTable();
        cleaner = new vnUniqueStringDataCleaner;
    }
    ~TableLife() noexcept(false)
    {
        vnBodyGuard guard(tableLock.value);
        isOver = true;
        destroyTable();
    }

    vnCleanupReference cleaner{nullptr, 0};
};
TableLife tableLife __attribute__((init_priority(102)));
} // namespace

unsigned char vnString::makeUnique(unsigned short id)
{
    if (m_uniqueID)
        return 1;
    const bool placeholder = m_length == 0;
    if (placeholder)
    {
        if (id == 0)
            return 0;
        if (takeTextOf(id))
            return 1;
        // Stays in the string also when the table refuses it.
        format("Unique(%d)", id);
    }
    // The stored hash may be stale, and a wrong one must not get into the table.
    const unsigned int textHash = hash(m_text, m_length);
    vnString holder;
    unsigned short holderID;
    {
        vnBodyGuard guard(tableLock.value);
        if (!openTable())
            return 0;
        if (placeholder && takeTextOf(id))
            return 1; // another thread gave the id a text since
        const unsigned short found = findText(m_text, m_length, textHash);
        const unsigned short wanted = found ? found : id ? id : lowestFreeId();
        Slot& slot = table->slots[wanted - 1];
        const bool refused = found ? id != 0 && id != found : slot.text != nullptr;
        if (!refused)
        {
            if (!found)
                enterText(wanted, m_text, m_length, textHash);
            share(slot.text, slot.length, wanted, textHash);
            return 1;
        }
        holder = vnString(slot.text, slot.length);
        holderID = found;
    }
    // Thrown without the lock.
    if (holderID)
        vnExceptionThrows::vnThrowFatal(
            "Bad unique string (\"%s\":%d). String already used with ID (\"%s\":%d)", *this, id, holder,
            holderID);
    vnExceptionThrows::vnThrowFatal("Bad unique string (\"%s\":%d). ID already used with string (\"%s\":%d)",
                                    *this, id, holder, id);
}

// False when the id has no text.
bool vnString::takeTextOf(unsigned short id)
{
    vnBodyGuard guard(tableLock.value);
    if (!openTable() || !table->slots[id - 1].text)
        return false;
    const Slot& slot = table->slots[id - 1];
    share(slot.text, slot.length, id, slot.hash);
    return true;
}

unsigned char vnString::checkUnique()
{
    if (m_uniqueID)
        return 1;
    if (m_length == 0)
        return 0;
    const unsigned int textHash = hash(m_text, m_length);
    vnBodyGuard guard(tableLock.value);
    const unsigned short found = openTable() ? findText(m_text, m_length, textHash) : 0;
    if (!found)
        return 0;
    share(table->slots[found - 1].text, m_length, found, textHash);
    return 1;
}

vnUniqueString::vnUniqueString(const vnString& text, unsigned short id) : vnString(text)
{
    makeUnique(id);
}

vnUniqueString::vnUniqueString(unsigned short id)
{
    makeUnique(id);
}

unsigned short vnUniqueString::getNextFreeId()
{
    vnBodyGuard guard(tableLock.value);
    return openTable() ? lowestFreeId() : 0;
}

unsigned char vnUniqueString::isFreeId(unsigned short id)
{
    vnBodyGuard guard(tableLock.value);
    return id != 0 && openTable() && !table->slots[id - 1].text;
}

unsigned char vnUniqueString::getStreamText(unsigned short id, vnString& text)
{
    // An id that is taken is never given up, so the answer stays true when the lock is gone.
    if (refusesUnknownIds.load(std::memory_order_relaxed) && (id == 0 || isFreeId(id)))
        return 0;
    text.clear();
    return text.makeUnique(id);
}

void vnUniqueString::setRefuseUnknownIds(unsigned char refuse) noexcept
{
    refusesUnknownIds.store(refuse != 0, std::memory_order_relaxed);
}

unsigned char vnUniqueString::getRefuseUnknownIds() noexcept
{
    return refusesUnknownIds.load(std::memory_order_relaxed);
}

void vnUniqueString::cleanAllUniqueId()
{
    vnBodyGuard guard(tableLock.value);
    destroyTable();
}

vnUniqueStringDataCleaner::~vnUniqueStringDataCleaner() noexcept(false)
{
    vnUniqueString::cleanAllUniqueId();
}

vnUniqueIDManager::vnUniqueIDManager() : m_free(VN_QUEUE_LIFO, 100) {}

vnUniqueIDManager::~vnUniqueIDManager() noexcept(false) = default;

unsigned int vnUniqueIDManager::allocateID()
{
    constexpr unsigned int step = 50;
    if (m_free.isEmpty())
    {
        unsigned int fresh[step];
        for (unsigned int i = 0; i < step; ++i)
            fresh[i] = m_mark + step - 1 - i; // the lowest is on top
        m_free.push(fresh, step);
        m_mark += step;
    }
    return m_free.pop();
}

void vnUniqueIDManager::freeID(unsigned int id)
{
    m_free.push(id);
}
