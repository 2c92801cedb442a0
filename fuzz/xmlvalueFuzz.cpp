// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"
#include "vnFuzzSource.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnXmlDynamicType.h>

// Values as XML. Any bytes as a document of values and objects are told alike by every kind of source, and
// what is a value can be written. Any bytes as the stream form of a value are written, or refused, and what
// was written is read, or refused. The input is a byte of options, and the document or the value.

namespace
{
/// Writes down what it is told.
class Told : public vnXmlSax
{
public:
    Told(vnSerializeAdapter* source, unsigned char dynOnly)
    {
        const vnRefPointer<vnSerializeAdapter> held(source);
        useDynOnly(dynOnly);
        useProgress(0);
        setMaxIdleNotifications(5);
        setMaxDocumentSize(100000);
        read(held);
        for (const vnRefPointer<vnReference>& instance : held->getRefInstanceArray())
            if (instance && instance->isOfType(vnObject::getClassType()))
                static_cast<vnObject*>(instance.get())->removeAllUserData(); // they may hold one another
    }

    std::string text;

    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level) override
    {
        text += std::to_string(level) + name.getString() + '=' + value.getDynamicType().getString();
        text.append(reinterpret_cast<const char*>(value.getPayload().data()), value.getPayload().getSize());
        return 1;
    }
    unsigned char onObject(vnObject* object, const vnString& name, unsigned int level) override
    {
        text += std::to_string(level) + name.getString() + '=' + (object ? object->getTypeName() : "null");
        return 1;
    }
};

// What is written need not be readable: texts stand in it as they are.
void write(const vnDynamicType& value, unsigned char dynOnly)
{
    vnString error;
    vnDynamicArray<unsigned char> xml;
    const bool isWritten = vnDynamicType2Xml(value, xml, 0, dynOnly, "v", &error) != 0;
    VN_FUZZ_CHECK(isWritten == (error.isEmpty() != 0));
    // A string holds the text, or it is refused.
    bool isString = true;
    try
    {
        value.asString(0, dynOnly, "v");
    }
    catch (const vnFatalError&)
    {
        isString = false;
    }
    VN_FUZZ_CHECK(isString == (isWritten && xml.getSize() <= vnString::VN_MAX_LENGTH));
    vnXml2DynamicType(reinterpret_cast<const char*>(xml.data()), xml.getSize(), nullptr, dynOnly);
    vnDynamicArray<unsigned char> wide;
    vnDynamicType2Xml(value, wide, 1, dynOnly, "v");
    VN_FUZZ_CHECK(wide.getSize() % 2 == 0 && (!isWritten || wide.getSize() <= 2 * xml.getSize()));
}

void checkDocument(std::string& text, unsigned char dynOnly)
{
    const auto size = static_cast<unsigned int>(text.size());
    const Told told(new vnSerializeAdapterMemory(text.data(), size), dynOnly);
    // Arrays may be larger than what is known of a source.
    const Told slowly(new vnFuzzSource(text), dynOnly);
    const std::string slowError = slowly.getError().getString();
    const bool isRange = slowError.find("out of range") != std::string::npos;
    VN_FUZZ_CHECK(isRange || (told.text == slowly.text && told.getError().getString() == slowError));

    unsigned char ok = 0;
    const vnDynamicType value = vnXml2DynamicType(text.data(), size, &ok, dynOnly);
    VN_FUZZ_CHECK(ok || value.is("void"));
    write(value, dynOnly);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned char options = input.byte();
    std::string bytes = input.rest();
    const unsigned char dynOnly = options & 1;
    if (options & 2)
        checkDocument(bytes, dynOnly);
    else
    {
        vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
        vnDynamicType value;
        value.read(&memory);
        write(value, dynOnly);
    }
    return 0;
}
