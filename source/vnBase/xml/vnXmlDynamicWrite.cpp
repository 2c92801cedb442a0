// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlDynamicType.h>

#include "vnScratchBlock.h"
#include "vnXmlSpecial.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnVarUInt64.h>

#include <dynamic/vnContainerBytes.h>
#include <dynamic/vnDynamicParts.h>

#include <algorithm>
#include <utility>

namespace
{
constexpr unsigned int VN_TIME_SIZE = 8;
constexpr unsigned int VN_SHORT_TEXT = 65000; // fits a string also with the tags of its element

[[noreturn]] void fail(vnXmlSax& sax, const vnString& error)
{
    sax.setError("%s", error);
    throw vnBasicParseException(3);
}

// Numbers in attributes always have six decimals.
vnString numberText(double number)
{
    return vnString::formatString("%.6f", number);
}

// Also with filters in front.
bool isMemory(vnSerializeAdapter* adapter)
{
    while (const auto* filter = dynamic_cast<vnSerializeAdapterFilter*>(adapter))
        adapter = filter->getAdapter();
    return dynamic_cast<vnSerializeAdapterMemory*>(adapter) != nullptr;
}

/// Hands on what an encoder writes. Its flush would empty a block of memory of the document so far, so that
/// only others are flushed.
class Output : public vnSerializeAdapterFilter
{
public:
    explicit Output(vnSerializeAdapter* target) { holdTarget(target); }
    void flush() override
    {
        if (!isMemory(getAdapter()))
            getAdapter()->flush();
    }

protected:
    void write_imp(unsigned char* data, unsigned int count) override { getAdapter()->write(data, count); }
    void write_imp(unsigned char byte) override { getAdapter()->write(byte); }
    unsigned char read_imp() override { return 0; }
};

// The attribute, and the content through the encoder that it names.
template <class Write>
void writeEncoded(vnXmlSax& sax, const Write& write)
{
    const bool isBase64 = sax.useBase64() != 0;
    sax.writeAttribute("encoding", isBase64 ? "b64" : "hex");
    sax.beginElementContents();
    const vnRefPointer<vnSerializeAdapter> output(new Output(sax.getAdapter()));
    vnRefPointer<vnSerializeAdapter> encoder;
    if (isBase64)
        encoder = new vnSerializeAdapterBase64Encoder(output);
    else
        encoder = new vnSerializeAdapterBCDEncoder(output);
    write(encoder.get());
    encoder->flush();
}

// The content of a value whose built-in form is a text; false for others.
bool findText(const vnDynamicType& value, vnString& text)
{
    const vnString& tag = value.getDynamicType();
    if (vnIsDynamicTag(tag, VN_TAG_STR))
        text = value.getString();
    else if (vnIsDynamicTag(tag, VN_TAG_NUM))
        text.format("%g", value.getNumber());
    else if (vnIsDynamicTag(tag, VN_TAG_VOID))
        text = tag;
    else if (vnIsDynamicTag(tag, VN_TAG_LLNUM))
        text.format("%lld", vnDynamicTypeInt64(value).getInt64());
    else if (vnIsDynamicTag(tag, VN_TAG_GUID))
        text = value.getString();
    else if (vnIsDynamicTag(tag, VN_TAG_ERROR))
        text = vnDynamicTypeError(value).getError();
    else if (vnIsDynamicTag(tag, VN_TAG_VEC2))
    {
        const auto v = value.getVec2();
        text.format("{%g,%g}", v.x, v.y);
    }
    else if (vnIsDynamicTag(tag, VN_TAG_VEC3))
    {
        const auto v = value.getVec3();
        text.format("{%g,%g,%g}", v.x, v.y, v.z);
    }
    else if (vnIsDynamicTag(tag, VN_TAG_VEC4))
    {
        const auto v = value.getVec4();
        text.format("{%g,%g,%g,%g}", v.x, v.y, v.z, v.w);
    }
    else
        return false;
    return true;
}

/// Writes values from their stream form: those in arrays and containers are not taken out, which would make
/// as many copies of the innermost bytes as there are levels.
class ValueWriter
{
public:
    explicit ValueWriter(vnXmlSax& sax) : m_sax(sax) {}

    // The element of a value; `write` writes its content by the form of its tag.
    template <class Write>
    void writeElement(const vnString& name, const vnString& elementName, const vnString& tag,
                      vnDynamicSpan payload, const Write& write);

    // The content of the current element in the built-in forms. They answer false when the tag has none.
    bool writeText(const vnDynamicType& value);
    bool writeItems(const vnString& tag, vnDynamicSpan payload);

private:
    void writeElements(vnDynamicSpan payload);
    void writeAttributes(vnDynamicSpan payload);
    void writeAttribute(const vnContainerBytes::Attribute& attribute);
    void writeContent(vnDynamicTypeTag&& tag, vnDynamicSpan payload);

    vnXmlSax& m_sax;
};

template <class Write>
void ValueWriter::writeElement(const vnString& name, const vnString& elementName, const vnString& tag,
                               vnDynamicSpan payload, const Write& write)
{
    m_sax.writeElementStart(elementName);
    if (!name.isEmpty())
        m_sax.writeAttribute("name", name);
    const vnXmlValueDepth depth(m_sax);
    if (depth.isTooDeep())
        fail(m_sax, vnXmlValueDepth::error);
    if (vnIsDynamicTag(tag, VN_TAG_TTAG))
    {
        // No type is written, on purpose: such a value comes back as a text with its time.
        const bool hasTime = payload.size() >= VN_TIME_SIZE;
        const vnUInt64 time = hasTime ? vnDynamicBytes::get<vnUInt64>(payload.begin) : 0;
        m_sax.writeAttribute("time", numberText(vnDynamicBytes::bitsOf<double>(time)));
        const unsigned char* at = hasTime ? payload.begin + VN_TIME_SIZE : payload.end;
        vnDynamicTypeTag inner;
        const unsigned int size = vnDynamicWire::decodeHead(inner, at, payload.end);
        writeContent(std::move(inner), {at, at + size});
    }
    else
    {
        m_sax.writeAttribute("type", tag);
        write();
    }
    m_sax.writeElementEnd();
}

bool ValueWriter::writeText(const vnDynamicType& value)
{
    // Nothing is escaped. That is meant, and who wants to read it again takes care: an "<" in a text, or a
    // number that is none or infinite, which is written as such ("<nan>", "<inf>"), makes XML that can't be
    // read, and "-<inf>" reads as 0.
    vnString text;
    if (!findText(value, text))
        return false;
    m_sax.beginElementContents();
    m_sax.writeGenericString(text);
    return true;
}

bool ValueWriter::writeItems(const vnString& tag, vnDynamicSpan payload)
{
    if (vnIsDynamicTag(tag, VN_TAG_ARRAY))
        writeElements(payload);
    else if (vnIsDynamicTag(tag, VN_TAG_CONT))
        writeAttributes(payload);
    else
        return false;
    return true;
}

void ValueWriter::writeElements(vnDynamicSpan payload)
{
    // Counted, as the payload may claim more than it holds.
    const vnUInt64 claimed = vnVarUInt64::decode(payload.begin, payload.end);
    unsigned int count = 0;
    for (const unsigned char* at = payload.begin; at != payload.end && count < claimed; ++count)
        vnDynamicWire::skipQuickly(at, payload.end);
    m_sax.writeAttribute("size", numberText(count));
    m_sax.beginElementContents();
    const vnString element(m_sax.useDynOnly() ? "item" : "vnDyn");
    for (unsigned int i = 0; i < count; ++i)
    {
        const unsigned char* at = payload.begin;
        vnDynamicWire::skipQuickly(payload.begin, payload.end);
        vnDynamicTypeTag tag;
        const unsigned int size = vnDynamicWire::decodeHead(tag, at, payload.begin);
        m_sax.writeElementStart(element);
        m_sax.writeAttribute("type", tag.getText());
        m_sax.writeAttribute("index", numberText(i));
        const vnXmlValueDepth depth(m_sax);
        if (depth.isTooDeep())
            fail(m_sax, vnXmlValueDepth::error);
        writeContent(std::move(tag), {at, at + size});
        m_sax.writeElementEnd();
    }
}

void ValueWriter::writeAttributes(vnDynamicSpan payload)
{
    vnScratchBlock<vnContainerBytes::Attribute> attributes;
    const bool isWhole = vnContainerBytes::walk(payload.begin, payload.end,
                                                [&](const vnContainerBytes::Attribute& attribute)
                                                { attributes.push() = attribute; });
    if (!isWhole)
        fail(m_sax, payload.size() < vnContainerBytes::headSize ? "Container ends within its count"
                                                                : "Container ends within its attributes");
    std::sort(attributes.data(), attributes.data() + attributes.getSize());
    m_sax.beginElementContents();
    for (unsigned int i = 0; i < attributes.getSize(); ++i)
        writeAttribute(attributes[i]);
}

void ValueWriter::writeAttribute(const vnContainerBytes::Attribute& attribute)
{
    const vnString name(reinterpret_cast<const char*>(attribute.name),
                        static_cast<unsigned short>(attribute.nameLength));
    const unsigned char* at = attribute.value();
    vnDynamicTypeTag tag;
    const unsigned int size = vnDynamicWire::decodeHead(tag, at, attribute.end);
    const vnString text = tag.getText();
    const vnDynamicSpan payload{at, at + size};
    const auto write = [&] { writeContent(std::move(tag), payload); };
    if (m_sax.useDynOnly())
        writeElement(vnString(), name, text, payload, write);
    else
        writeElement(name, "vnDyn", text, payload, write);
}

// By the form of the tag.
void ValueWriter::writeContent(vnDynamicTypeTag&& tag, vnDynamicSpan payload)
{
    const vnXmlForm<vnXmlDynamicTypeInterface> form(tag.getText());
    if (!form.isBuiltin() || !writeItems(tag.getText(), payload))
        form->write(&m_sax, vnDynamicParts(std::move(tag), payload));
}

/// Writes one thing as a document without a declaration.
template <class Write>
class Document : public vnXmlSax
{
public:
    explicit Document(const Write& write) : m_write(write)
    {
        setEncoding("none");
        setPlainOutput(1);
        useProgress(0);
    }
    void onWrite() override { m_write(*this); }

private:
    const Write& m_write;
};

vnString textOf(const vnDynamicArray<unsigned char>& xml, bool stripTags)
{
    std::string_view text(reinterpret_cast<const char*>(xml.data()), xml.getSize());
    if (stripTags)
    {
        const std::size_t begin = std::min(text.find('>'), text.size() - 1) + 1;
        const std::size_t end = std::max(text.rfind('<'), begin);
        text = text.substr(begin, end - begin);
    }
    return vnString(text.data(), static_cast<unsigned short>(text.size())).stripWhiteSpace();
}

/// A queue of what a string holds. What goes beyond ends the writing, and what is still written on the way
/// out is dropped.
class StringQueue : public vnSerializeAdapterQueue
{
public:
    StringQueue() : vnSerializeAdapterQueue(VN_QUEUE_FIFO) {}

    bool isCut() const noexcept { return m_isCut; }

protected:
    void write_imp(unsigned char* data, unsigned int count) override
    {
        if (hasRoom(count))
            vnSerializeAdapterQueue::write_imp(data, count);
    }
    void write_imp(unsigned char byte) override
    {
        if (hasRoom(1))
            vnSerializeAdapterQueue::write_imp(byte);
    }

private:
    bool hasRoom(unsigned int count)
    {
        if (!m_isCut && length_imp() + vnUInt64{count} <= vnString::VN_MAX_LENGTH)
            return true;
        if (!std::exchange(m_isCut, true))
            throw vnBasicParseException(3);
        return false;
    }

    bool m_isCut = false;
};

// Answers the error.
template <class Write>
vnString writeDocument(vnSerializeAdapter* adapter, const Write& write)
{
    Document<Write> document(write);
    document.write(adapter);
    return document.getError();
}

/// What an object of the class `name` answers as its text.
template <class Write>
vnString writeString(const char* name, bool stripTags, const Write& write)
{
    const vnRefPointer<StringQueue> queue(new StringQueue);
    const vnString error = writeDocument(queue, write);
    vnDynamicArray<unsigned char> xml;
    queue->getQueueData(xml);
    if (queue->isCut() || xml.getSize() > vnString::VN_MAX_LENGTH)
        vnExceptionThrows::vnThrowFatal("%s::asString out of index size", name);
    if (!error.isEmpty())
        vnExceptionThrows::vnThrowFatal("%s::asString: %s", name, error);
    return textOf(xml, stripTags);
}

// Its element, without a declaration.
void writeRoot(vnXmlSax& sax, const vnDynamicType& value, unsigned char dynOnly, const vnString& elementName)
{
    sax.useBase64(0);
    sax.useDynOnly(dynOnly);
    sax.writeDynamicType(value, vnString(), dynOnly ? elementName : vnString("vnDyn"));
}
} // namespace

void vnXmlDynamicTypeInterface_builtin::write(vnXmlSax* sax, const vnDynamicType& value)
{
    ValueWriter writer(*sax);
    if (writer.writeText(value) || writer.writeItems(value.getDynamicType(), vnDynamicSpan::of(value)))
        return;
    writeEncoded(*sax, [&](vnSerializeAdapter* encoder) { vnDynamicWire::write(value, encoder); });
}

void vnXmlObjectInterface_builtin::write(vnXmlSax* sax, const vnObject* object)
{
    try
    {
        writeEncoded(*sax,
                     [&](vnSerializeAdapter* encoder)
                     {
                         // Writing changes nothing that can be seen of an object, though it is not const.
                         vnObject::writeObject(const_cast<vnObject*>(object), encoder, 0, vnString(), 1);
                     });
    }
    catch (const vnBaseError& error)
    {
        fail(*sax, error.getErrorString());
    }
}

void vnXmlSax::writeDynamicType(const vnDynamicType& value, const vnString& name, const vnString& elementName)
{
    const vnString& tag = value.getDynamicType();
    ValueWriter(*this).writeElement(name, elementName, tag, vnDynamicSpan::of(value),
                                    [&] { vnXmlForm<vnXmlDynamicTypeInterface>(tag)->write(this, value); });
}

void vnXmlSax::writeObject(const vnObject* object, const vnString& name, const vnString& elementName)
{
    if (!object)
        return;
    writeElementStart(elementName);
    if (!name.isEmpty())
        writeAttribute("name", name);
    const vnString type(object->getTypeName());
    writeAttribute("type", type);
    vnXmlForm<vnXmlObjectInterface>(type)->write(this, object);
    writeElementEnd();
}

void vnXmlSax::writeCustomData(const vnString& elementName, const vnReference* data, unsigned char wrap)
{
    const auto interface = vnXmlCustomDataInterface::getCustomDataInterface(elementName);
    if (wrap)
        writeElementStart(elementName);
    if (interface)
        interface->write(this, data);
    if (wrap)
        writeElementEnd();
}

unsigned char vnDynamicType2Xml(const vnDynamicType& value, vnDynamicArray<unsigned char>& out,
                                unsigned char utf16, unsigned char dynOnly, const vnString& elementName,
                                vnString* error)
{
    const auto write = [&](vnXmlSax& sax)
    {
        if (utf16)
            sax.setEncoding("utf-16"); // for who asks; there is no declaration
        writeRoot(sax, value, dynOnly, elementName);
    };
    const vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->setAdapterFlags(utf16 ? vnUInt64{VN_ADAPTER_UNICODE} : 0);
    const vnString fault = writeDocument(queue, write);
    queue->getQueueData(out);
    if (error)
        *error = fault;
    return fault.isEmpty();
}

vnString vnDynamicType::asString(unsigned char stripTags, unsigned char dynOnly, const vnString& name) const
{
    // What stands between the tags of most values is known without writing them.
    vnString text;
    if (stripTags && name.isEmpty() && vnXmlForm<vnXmlDynamicTypeInterface>(getDynamicType()).isBuiltin() &&
        findText(*this, text) && text.length() <= VN_SHORT_TEXT)
        return text.stripWhiteSpace();
    return writeString("vnDynamicType", stripTags,
                       [&](vnXmlSax& sax) { writeRoot(sax, *this, dynOnly, name); });
}

vnString vnDynamicTypeContainer::asString(unsigned char stripTags, unsigned char dynOnly,
                                          const vnString& name) const
{
    return vnDynamicTypeCustom<vnDynamicTypeContainer>(*this).asString(stripTags, dynOnly, name);
}

vnString vnObject::asString(unsigned char stripTags) const
{
    return writeString("vnObject", stripTags,
                       [this](vnXmlSax& sax) { sax.writeObject(this, vnString(), "vnObj"); });
}
