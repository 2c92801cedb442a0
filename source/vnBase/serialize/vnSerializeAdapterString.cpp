// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterString.h>

#include <algorithm>

vnType vnSerializeAdapterString::s_type(vnSerializeAdapterQueue::getClassType(), "vnSerializeAdapterString");

vnSerializeAdapterString::vnSerializeAdapterString(const vnString* text)
    : vnSerializeAdapterQueue(VN_QUEUE_FIFO)
{
    if (text)
        *this = *text;
}

vnSerializeAdapterString::~vnSerializeAdapterString() noexcept(false) = default;

vnSerializeAdapterString& vnSerializeAdapterString::operator=(const vnString& text)
{
    clear();
    write_imp(reinterpret_cast<unsigned char*>(const_cast<char*>(text.getString())), text.length());
    return *this;
}

vnSerializeAdapterString::operator vnString()
{
    vnQueue<unsigned char>& queue = getQueue();
    const unsigned int length = std::min(queue.getCount(), vnString::VN_MAX_LENGTH);
    vnString text(reinterpret_cast<const char*>(queue.data()), static_cast<unsigned short>(length));
    queue.pop(nullptr, length);
    return text;
}
