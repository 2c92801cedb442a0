// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeString.h>

#include <vnBase/vnRecycleData.h>

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

// Goes on until the terminator, the end of the data or the limit.
void collect(vnSerializeAdapter* adapter, unsigned int stop, Collector& to)
{
    while (to.count < to.limit)
    {
        if (!adapter->hasData())
            break;
        const unsigned char byte = adapter->read();
        if (byte == stop)
            break;
        to.bytes[to.count++] = byte;
        if (to.count == to.limit)
            return;
    }
    to.isComplete = true;
}
} // namespace

void vnSerializeString::write(vnSerializeAdapter* adapter)
{
    if (!m_text.isEmpty())
        adapter->write(reinterpret_cast<const unsigned char*>(m_text.getString()), m_text.length());
    if (m_useTerminator)
        adapter->write(m_terminator);
}

void vnSerializeString::read(vnSerializeAdapter* adapter)
{
    const unsigned int stop = m_useTerminator ? m_terminator : 256; // which no byte equals
    unsigned char local[shortText];
    Collector collector{local, shortText, 0, false};
    collect(adapter, stop, collector);
    if (collector.isComplete)
    {
        m_text = vnString(reinterpret_cast<const char*>(local), static_cast<unsigned short>(collector.count));
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
    m_text = vnString(reinterpret_cast<const char*>(collector.bytes),
                      static_cast<unsigned short>(collector.count));
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
    vnSerializeString item('\n');
    item.read(adapter);
    line = item.getText();
    adapter->checkDelete();
    return 1;
}
