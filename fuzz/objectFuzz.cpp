// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"
#include "vnFuzzSource.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnSerializeBinary.h>

#include <vector>

// Objects from streams of any bytes: what was read can be written, and is read again in the same shape.

namespace
{
// A class with links and data of its own.
class Pair : public vnObject
{
public:
    VN_TYPE(Pair)
    vnReference* clone() const override { return new Pair(*this); }
    void write(vnSerializeAdapter* adapter) override
    {
        vnObject::write(adapter);
        m_value.write(adapter);
        writeObject(m_other, adapter, 0, vnString(), 1);
    }
    void read(vnSerializeAdapter* adapter) override
    {
        vnObject::read(adapter);
        m_value.read(adapter);
        m_other = readObject(adapter, 0, vnString(), 1);
    }
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override
    {
        const unsigned int own = vnObject::getDataSize(adapter) + m_value.getDataSize(adapter);
        return own + getChunkSize(m_other, adapter);
    }
    unsigned char releaseRefs() override
    {
        m_other = nullptr;
        return 1;
    }

private:
    vnSerializeBinary<unsigned int> m_value;
    vnRefPointer<vnObject> m_other;
};
vnType Pair::s_type(vnObject::getClassType(), "Pair");

using Objects = vnDynamicArray<vnRefPointer<vnObject>>;

Objects readAll(vnSerializeAdapter& adapter)
{
    Objects roots;
    try
    {
        while (adapter.hasData())
        {
            vnRefPointer<vnObject> root(vnObject::readObject(&adapter, 0, vnString(), 1));
            if (root)
                roots.append(root);
        }
    }
    catch (const vnBaseError&)
    {
        VN_FUZZ_CHECK(adapter.hasError());
    }
    return roots;
}

// All objects that the table holds, so that circles end.
void breakCircles(vnSerializeAdapter& adapter)
{
    for (auto& instance : adapter.getRefInstanceArray())
        if (instance && instance->isOfType(vnObject::getClassType()))
        {
            static_cast<vnObject*>(instance.get())->removeAllUserData();
            instance->releaseRefs();
        }
}

std::vector<unsigned char> writtenAll(const Objects& roots)
{
    vnSerializeAdapterQueue out(VN_QUEUE_FIFO, 1000);
    for (const auto& root : roots)
    {
        const unsigned int before = out.length();
        const unsigned int size = vnObject::getChunkSize(root, &out);
        vnObject::writeObject(root, &out, 0, vnString(), 1);
        // Counted first, one that stands there already and one that does not cost what was said.
        VN_FUZZ_CHECK(out.length() - before == size);
    }
    std::vector<unsigned char> bytes(out.length());
    out.read(bytes.data(), static_cast<unsigned int>(bytes.size()));
    return bytes;
}
} // namespace

// Objects in a circle that later ones put out of the table are lost: nobody holds a way to them.
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0";
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    vnMessage::setMessageLevel(VN_MESSAGE_ALWAYS);
    vnObject::registerFactoryObject(new Pair);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string bytes(reinterpret_cast<const char*>(data), size);
    vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
    vnFuzzSource source(bytes);
    Objects roots = readAll(memory);
    readAll(source);
    breakCircles(source);
    std::vector<unsigned char> first;
    try
    {
        first = writtenAll(roots);
    }
    catch (const vnBaseError&)
    {
        breakCircles(memory); // chained deeper than the limit
        return 0;
    }
    vnSerializeAdapterMemory again(first.data(), static_cast<unsigned int>(first.size()));
    const Objects copies = readAll(again);
    VN_FUZZ_CHECK(!again.hasError());
    VN_FUZZ_CHECK(copies.getSize() == roots.getSize());
    VN_FUZZ_CHECK(writtenAll(copies) == first);
    breakCircles(memory);
    breakCircles(again);
    return 0;
}
