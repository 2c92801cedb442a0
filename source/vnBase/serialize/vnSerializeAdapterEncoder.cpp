// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterEncoder.h>

#include "vnAdapterWindow.h"

#include <algorithm>

vnType vnSerializeAdapterEncoder::s_type(vnSerializeAdapter::getClassType(), "vnSerializeAdapterEncoder");

namespace
{
constexpr unsigned int VN_PIECE = 4096; // in one write to the target

// All eight bytes of the key in one.
unsigned char foldedKey(vnUInt64 key)
{
    key ^= key >> 32;
    key ^= key >> 16;
    key ^= key >> 8;
    return static_cast<unsigned char>(key);
}

vnUInt64 nextKey(vnUInt64 key, unsigned char scrambled)
{
    return (key << 4) + scrambled;
}

// Both directions move the key by the scrambled byte.
void scramble(const unsigned char* from, unsigned int count, unsigned char* to, vnUInt64& key,
              unsigned char& previous)
{
    vnUInt64 running = key;
    unsigned char last = previous;
    for (unsigned int i = 0; i < count; ++i)
    {
        last = static_cast<unsigned char>(from[i] ^ foldedKey(running) ^ last);
        running = nextKey(running, last);
        to[i] = last;
    }
    key = running;
    previous = last;
}

void unscramble(unsigned char* bytes, unsigned int count, vnUInt64& key, unsigned char& previous)
{
    vnUInt64 running = key;
    unsigned char last = previous;
    for (unsigned int i = 0; i < count; ++i)
    {
        const unsigned char scrambled = bytes[i];
        bytes[i] = static_cast<unsigned char>(scrambled ^ last ^ foldedKey(running));
        running = nextKey(running, scrambled);
        last = scrambled;
    }
    key = running;
    previous = last;
}
} // namespace

vnSerializeAdapterEncoder::vnSerializeAdapterEncoder(vnSerializeAdapter* target, vnUInt64 key) : m_key(key)
{
    holdTarget(target);
    setLengthIsEstimate(target && vnAdapterWindow::estimates(*target));
}

vnSerializeAdapterEncoder::~vnSerializeAdapterEncoder() noexcept(false) = default;

void vnSerializeAdapterEncoder::setAdapter(vnSerializeAdapter* target, vnUInt64 key)
{
    m_key = key;
    m_previous = 0;
    startAnew(target);
    setLengthIsEstimate(target && vnAdapterWindow::estimates(*target));
}

void vnSerializeAdapterEncoder::flush()
{
    vnSerializeAdapter::flush();
    flushTarget();
}

void vnSerializeAdapterEncoder::write_imp(unsigned char* data, unsigned int count)
{
    vnSerializeAdapter* target = getAdapter();
    if (!target || count == 0)
        return;
    noteWritten();
    unsigned char piece[VN_PIECE];
    for (unsigned int done = 0; done < count;)
    {
        const unsigned int step = std::min(count - done, VN_PIECE);
        vnUInt64 key = m_key;
        unsigned char previous = m_previous;
        scramble(data + done, step, piece, key, previous);
        target->write(piece, step);
        m_key = key; // not for bytes that were refused
        m_previous = previous;
        done += step;
    }
}

void vnSerializeAdapterEncoder::write_imp(unsigned char byte)
{
    write_imp(&byte, 1);
}

unsigned int vnSerializeAdapterEncoder::read_imp(unsigned char* data, unsigned int count)
{
    vnSerializeAdapter* target = getAdapter();
    const unsigned int got = target ? target->read(data, count) : 0;
    unscramble(data, got, m_key, m_previous);
    return got;
}

unsigned char vnSerializeAdapterEncoder::read_imp()
{
    vnSerializeAdapter* target = getAdapter();
    if (!target)
        return 0;
    unsigned char byte = target->read();
    unscramble(&byte, 1, m_key, m_previous);
    return byte;
}

unsigned int vnSerializeAdapterEncoder::length_imp()
{
    vnSerializeAdapter* target = getAdapter();
    return target ? target->length() : 0;
}

unsigned char vnSerializeAdapterEncoder::hasData_imp()
{
    vnSerializeAdapter* target = getAdapter();
    return target && target->hasData();
}
