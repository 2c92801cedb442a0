// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnDynamicType.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnObjectReceiver.h>
#include <vnBase/vnObjectSender.h>

#include <string>

// A channel with any bytes ahead of a frame of ours: nothing is reported, and nothing but the end of the data
// ends the receiver. With a frame behind what can't be taken for one, that frame arrives. The first byte
// tells what the others are: the stream, a payload, or the plain bytes of one. Sums come out right by that,
// which the fuzzer would not find.

namespace
{
// Lets go of each other what keeps each other alive.
void breakCircles(vnObject* root)
{
    vnDynamicArray<vnRefPointer<vnObject>> found;
    found.append(vnRefPointer<vnObject>(root));
    for (unsigned int i = 0; i < found.getSize(); ++i)
    {
        const vnRefPointer<vnObject> object(found[i].get());
        if (const vnUserDataDictionary* items = object->getUserDataDictionary())
            for (const auto& entry : *items)
                if (entry.getValue()->isOfType(vnObject::getClassType()))
                    found.append(vnRefPointer<vnObject>(static_cast<vnObject*>(entry.getValue())));
        object->removeAllUserData();
    }
}

class Counter : public vnObjectReceiver
{
public:
    explicit Counter(vnSerializeAdapter* adapter) : vnObjectReceiver("scene", adapter) {}
    ~Counter() noexcept(false) override { stop(1); }
    void onObject(vnObject* object) override
    {
        ++count;
        const vnDynamicType value = object->getAttribute("data", "n");
        isLast = value.is("num") && value.getNumber() == 77;
        breakCircles(object);
    }

    unsigned int count = 0;
    bool isLast = false;
};

class Silence : public vnMessageReceiverInterface
{
public:
    void onMessage(const vnString&, vnMessageLevel, const char*) override { VN_FUZZ_CHECK(false); }
};

std::string contentOf(vnSerializeAdapterQueue& queue)
{
    std::string bytes(queue.length(), '\0');
    queue.read(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<unsigned int>(bytes.size()));
    return bytes;
}

void writeTo(vnSerializeAdapter& adapter, const std::string& bytes)
{
    adapter.write(reinterpret_cast<const unsigned char*>(bytes.data()),
                  static_cast<unsigned int>(bytes.size()));
}

std::string bigEndian(vnUInt64 value, unsigned int bytes)
{
    std::string text;
    while (bytes-- > 0)
        text += static_cast<char>(value >> 8 * bytes);
    return text;
}

std::string compressed(const std::string& plain)
{
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO, 1000));
    vnSerializeAdapterCompress out(queue);
    writeTo(out, plain);
    out.flush();
    return contentOf(*queue);
}

std::string framed(const std::string& name, const std::string& payload)
{
    vnUInt64 sum = 0;
    for (std::size_t i = 0; i < payload.size() / 8 * 8; ++i)
        sum += vnUInt64{static_cast<unsigned char>(payload[i])} << i % 8 * 8;
    return bigEndian(0xFEF0F0FAFEEEDA00, 8) + name + '\0' + bigEndian(sum, 8) + bigEndian(payload.size(), 4) +
           bigEndian(0xABCDEF6806012537, 8) + payload;
}

std::string streamOf(unsigned char mode, const std::string& bytes)
{
    const std::string name = mode & 4 ? "other" : "scene";
    if ((mode & 3) == 1)
        return framed(name, bytes);
    return (mode & 3) == 2 ? framed(name, compressed(bytes)) : bytes;
}

std::string ownFrame()
{
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    vnObjectSender sender("scene", queue);
    vnRefPointer<vnObject> object(new vnObject);
    object->setAttribute("data", "n", 77.0);
    sender.sendObject(object);
    return contentOf(*queue);
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
    vnFuzzInput input(data, size);
    const unsigned char mode = input.byte();
    const std::string ahead = streamOf(mode, input.rest());
    const std::string bytes = ahead + own;
    vnRefPointer<vnSerializeAdapterQueue> stream(new vnSerializeAdapterQueue(VN_QUEUE_FIFO, 1000));
    writeTo(*stream, bytes);
    Counter counter(stream);
    counter.chain();
    VN_FUZZ_CHECK(!stream->hasData() && !stream->hasError());
    const std::string marker("\xFE\xF0\xF0\xFA\xFE\xEE\xDA\0", 8);
    if (bytes.find(marker) == ahead.size())
        VN_FUZZ_CHECK(counter.count == 1 && counter.isLast);
    return 0;
}
