// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnDynamicType.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnObjectReceiver.h>
#include <vnBase/vnObjectSender.h>

#include <string>

// A channel with any bytes ahead of a frame of ours: nothing is reported, and nothing but the end of the data
// ends the receiver. With a frame behind what can't be taken for one, that frame arrives.

namespace
{
class Counter : public vnObjectReceiver
{
public:
    explicit Counter(vnSerializeAdapter* adapter) : vnObjectReceiver("scene", adapter) {}
    ~Counter() noexcept(false) override { stop(1); }
    void onObject(vnObject* object) override
    {
        ++count;
        isLast = object->getAttribute("data", "n").getNumber() == 77;
    }

    unsigned int count = 0;
    bool isLast = false;
};

class Silence : public vnMessageReceiverInterface
{
public:
    void onMessage(const vnString&, vnMessageLevel, const char*) override { VN_FUZZ_CHECK(false); }
};

std::string ownFrame()
{
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    vnObjectSender sender("scene", queue);
    vnRefPointer<vnObject> object(new vnObject);
    object->setAttribute("data", "n", vnDynamicTypeNum(77));
    sender.sendObject(object);
    std::string bytes(queue->length(), '\0');
    queue->read(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
    return bytes;
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    static Silence silence;
    vnMessage::addMessageReceiver(&silence);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string own = ownFrame();
    const std::string bytes = std::string(reinterpret_cast<const char*>(data), size) + own;
    vnRefPointer<vnSerializeAdapterQueue> stream(new vnSerializeAdapterQueue(VN_QUEUE_FIFO, 1000));
    stream->write(reinterpret_cast<const unsigned char*>(bytes.data()),
                  static_cast<unsigned int>(bytes.size()));
    Counter counter(stream);
    counter.chain();
    VN_FUZZ_CHECK(!stream->hasData() && !stream->hasError());
    const std::string marker("\xFE\xF0\xF0\xFA\xFE\xEE\xDA\0", 8);
    if (bytes.find(marker) == size)
        VN_FUZZ_CHECK(counter.count == 1 && counter.isLast);
    return 0;
}
