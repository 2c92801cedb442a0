// SPDX-License-Identifier: MIT
#include "vnFuzzInput.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnXmlDom.h>

#include <cstring>
#include <string>

// Any document is read, or refused with an error; what was read is searched, shown, walked and written, and
// what is written is read again. The input is a byte of settings, a short path, and the document.

namespace
{
void read(vnXmlDom& document, const std::string& text)
{
    vnSerializeAdapterMemory adapter(const_cast<char*>(text.data()), static_cast<unsigned int>(text.size()));
    adapter.ref(); // it stands on the stack
    document.read(&adapter);
    adapter.unrefNoDelete();
    VN_FUZZ_CHECK(document.getRef() == 0);
    VN_FUZZ_CHECK(!document.hasError() || !document.getError().isEmpty());
}

void prepare(vnXmlDom& document, unsigned char settings)
{
    document.useProgress(0);
    document.setReadIncludedXml(0); // no files from the fuzzer
    document.setSkipWhiteSpaceCharData(settings & 1);
    document.setMergeStandardReferences((settings & 2) != 0);
    document.setMaxIdleNotifications(100);
    document.setMaxDocumentSize(1 << 18);
}

std::string written(vnXmlDom& document)
{
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
    queue.ref();
    document.write(&queue);
    std::string text(queue.length(), '\0');
    if (!text.empty())
        queue.read(reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
    queue.unrefNoDelete();
    return text;
}

// Counts the items, and tells whether what is written is a document again: quotes in attributes are written
// as they stand, percent signs are formats again, a "]" that comes to stand alone behind a reference is a
// fault in front of an element, and values are written as texts that are not tested.
unsigned int walk(vnXmlDom& document, bool& isReadable)
{
    unsigned int count = 0;
    document.resetAllChildIterators();
    vnXMLDomIterator next(document);
    while (vnXmlItem* item = next())
    {
        ++count;
        VN_FUZZ_CHECK(item->getParent() != nullptr);
        vnString name, value;
        if (auto* element = dynamic_cast<vnXmlElement*>(item))
            while (element->getNextAttribute(name, value))
                isReadable &= !value.contains("\"") && !value.contains("%");
        else if (auto* text = dynamic_cast<vnXmlCharData*>(item))
            isReadable &= !text->getData().contains("]");
        else
            isReadable &= !dynamic_cast<vnXmlDynamicType*>(item) && !dynamic_cast<vnXmlObject*>(item);
    }
    return count;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vnFuzzInput input(data, size);
    const unsigned char settings = input.byte();
    const std::string path = input.shortText();
    vnXmlDom document;
    prepare(document, settings);
    read(document, input.rest());

    const vnString pathText(path.data(), static_cast<unsigned short>(path.size()));
    vnXmlItem* found = document.findItem(pathText);
    VN_FUZZ_CHECK(found == document.findItem(pathText));
    document.asString(static_cast<vnXmlStringFlags>(127));
    // Names that were read as bytes are no UTF-8.
    bool isReadable = !document.hasError() && document.getEncoding().toLower() == "utf-8";
    document.setEncoding("utf-8");
    const unsigned int count = walk(document, isReadable);
    document.mergeStandardReferencesAndText();
    VN_FUZZ_CHECK(walk(document, isReadable) <= count);

    const std::string text = written(document);
    if (isReadable && !document.hasError())
    {
        vnXmlDom again;
        prepare(again, settings);
        again.setMaxDocumentSize(0); // it may be larger, by what stands between elements and by references
        read(again, text);
        VN_FUZZ_CHECK(!again.hasError());
    }
    document.addItem(pathText, new vnXmlCharData("added"));
    return 0;
}
