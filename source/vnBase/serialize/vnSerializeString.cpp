// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeString.h>

#include <vnBase/vnRecycleData.h>

#include <serialize/vnAdapterWindow.h>
#include <serialize/vnTextReader.h>

#include <algorithm>

namespace
{
constexpr unsigned int shortText = 512;
constexpr unsigned int longText = 65536;

// Scratch for texts that do not fit the stack.
class vnCacheSerializeString : public vnRecycleData_vnBase<vnDynamicArray<unsigned char>>
{
public:
    void onInitItem(vnDynamicArray<unsigned char>& bytes) const override { bytes.setSize(longText); }
};

// What a read collects. The index has 16 bits, and that it wraps is meant: of a text beyond 65535 bytes only
// what comes after the last multiple of 65536 remains.
struct Collector
{
    unsigned char* bytes;
    unsigned int limit;
    unsigned int count;
    bool isComplete;
};

std::size_t windowSize(const vnSerializeAdapter& adapter)
{
    return static_cast<std::size_t>(vnAdapterWindow::end(adapter) - vnAdapterWindow::next(adapter));
}

// Takes what stands open in memory, and answers whether the terminator was there.
bool collectWindow(vnSerializeAdapter* adapter, unsigned int stop, Collector& to)
{
    const unsigned char* const from = vnAdapterWindow::next(*adapter);
    const std::size_t open = std::min<std::size_t>(windowSize(*adapter), to.limit - to.count);
    const void* const found =
        stop == vnNoTerminator ? nullptr : std::memchr(from, static_cast<int>(stop), open);
    const std::size_t size =
        found ? static_cast<std::size_t>(static_cast<const unsigned char*>(found) - from) : open;
    std::memcpy(to.bytes + to.count, from, size);
    to.count += static_cast<unsigned int>(size);
    vnAdapterWindow::advance(*adapter, from + size + (found ? 1 : 0));
    return found;
}

// Goes on until the terminator, the end of the data or the limit.
void collect(vnSerializeAdapter* adapter, unsigned int stop, Collector& to)
{
    while (to.count < to.limit)
    {
        if (windowSize(*adapter) > 0)
        {
            to.isComplete = collectWindow(adapter, stop, to);
            if (to.isComplete)
                return;
            continue;
        }
        to.isComplete = !adapter->hasData();
        if (to.isComplete)
            return;
        const unsigned char byte = adapter->read();
        to.isComplete = byte == stop;
        if (to.isComplete)
            return;
        to.bytes[to.count++] = byte;
    }
}

// Into the storage that the text has, when it fits: only texts that end with NUL are assigned in place.
void assign(vnString& to, Collector& from)
{
    from.bytes[from.count] = 0; // there is room: a complete text is shorter than the limit
    const char* const text = reinterpret_cast<const char*>(from.bytes);
    if (std::memchr(text, 0, from.count))
        to = vnString(text, static_cast<unsigned short>(from.count));
    else
        to = text;
}

// A text that stands open in memory as a whole, with its NUL, needs no collecting.
bool readFromWindow(vnSerializeAdapter* adapter, unsigned int stop, vnString& to)
{
    const std::size_t open = windowSize(*adapter);
    if (open == 0 || stop != 0)
        return false;
    const unsigned char* const from = vnAdapterWindow::next(*adapter);
    const void* const found = std::memchr(from, 0, std::min<std::size_t>(open, longText));
    if (!found)
        return false;
    to = reinterpret_cast<const char*>(from);
    vnAdapterWindow::advance(*adapter, static_cast<const unsigned char*>(found) + 1);
    return true;
}
} // namespace

void vnReadText(vnSerializeAdapter* adapter, unsigned int stop, vnString& to, int first)
{
    if (first < 0 && readFromWindow(adapter, stop, to))
        return;
    unsigned char local[shortText];
    Collector collector{local, shortText, 0, first >= 0 && static_cast<unsigned int>(first) == stop};
    if (first >= 0 && !collector.isComplete)
        local[collector.count++] = static_cast<unsigned char>(first);
    if (!collector.isComplete)
        collect(adapter, stop, collector);
    if (collector.isComplete)
    {
        assign(to, collector);
        return;
    }
    vnCacheSerializeString cache;
    vnDynamicArray<unsigned char>& scratch = cache.getData();
    std::memcpy(scratch.data(), local, shortText);
    collector.bytes = scratch.data();
    collector.limit = longText;
    while (!collector.isComplete)
    {
        collect(adapter, stop, collector);
        if (collector.count == longText)
            collector.count = 0;
    }
    assign(to, collector);
}

void vnSerializeString::write(vnSerializeAdapter* adapter)
{
    if (!m_text.isEmpty())
        adapter->write(reinterpret_cast<const unsigned char*>(m_text.getString()), m_text.length());
    if (m_useTerminator)
        adapter->write(m_terminator);
}

void vnSerializeString::read(vnSerializeAdapter* adapter)
{
    vnReadText(adapter, m_useTerminator ? m_terminator : vnNoTerminator, m_text);
}

void vnSerializeString::pushBack(vnSerializeAdapter* adapter)
{
    // The terminator also when it is not in use: readers that switch it off take it back by hand.
    adapter->pushBack(m_terminator);
    adapter->pushBack(reinterpret_cast<const unsigned char*>(m_text.getString()), m_text.length());
}

unsigned int vnSerializeString::getDataSize(vnSerializeAdapter*) const
{
    return m_text.length() + 1u;
}

unsigned char readLine(vnString& line, vnSerializeAdapter* adapter)
{
    if (!adapter)
        return 0;
    try
    {
        vnReadText(adapter, '\n', line);
    }
    catch (...)
    {
        adapter->checkDelete();
        throw;
    }
    adapter->checkDelete();
    return 1;
}
