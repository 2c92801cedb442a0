// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlDynamicType.h>

#include "lex/vnParserTakeover.h"
#include "vnScratchBlock.h"
#include "vnXmlReader.h"
#include "vnXmlSpecial.h"
#include "vnXmlValueBuilder.h"

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterBCDEncoder.h>
#include <vnBase/vnSerializeAdapterBase64Encoder.h>
#include <vnBase/vnStringParser.h>

#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>
#include <dynamic/vnObjectParts.h>

#include <limits>
#include <unordered_map>
#include <utility>
#include <vector>

namespace
{
// Where nobody outside could end a parse that reads nothing.
constexpr unsigned int VN_MAX_IDLE = 100;

vnParseResult failText(vnXmlSax& sax, const vnString& type)
{
    sax.setError("vnDynamicType '%s' requires a valid CharData or CDATA field", type);
    return VN_PARSE_ERROR;
}

vnParseResult failData(vnXmlSax& sax)
{
    sax.setError("Invalid or unknown data for vnDynamicType");
    return VN_PARSE_ERROR;
}

/// Reads the items within a value, in the document of another reader.
class ItemParser : public vnXmlSax
{
public:
    explicit ItemParser(vnXmlSax& outer) : m_outer(outer)
    {
        useDynOnly(outer.useDynOnly());
        useBase64(outer.useBase64());
        useLimitsOf(outer);
        if (getMaxIdleNotifications() == 0)
            setMaxIdleNotifications(VN_MAX_IDLE);
    }

    // It is text as any other.
    unsigned char onCDATA(const vnString& text, unsigned int level) override
    {
        return onCharData(text, level);
    }

    // The application knows its functions at the reader that it has made.
    vnString onFunction(const vnString& name, unsigned int level) override
    {
        return m_outer.onFunction(name, m_outer.getCurrentElementLevel() + level);
    }

protected:
    /// Elements and comments, with space behind each, up to the end tag. What is not read so far as that is
    /// no value: one that is told would lack what follows.
    bool readItems()
    {
        const vnParserTakeover takeover(*this, m_outer);
        if (m_outer.isCurrentElementEmpty())
            return true;
        for (;;)
        {
            XML_read_03();
            vnParseResult result = XML_read_39();
            if (result == VN_PARSE_NO_MATCH)
                result = XML_read_15();
            if (result == VN_PARSE_NO_MATCH)
            {
                vnXmlArrayGaps::of(m_outer) = vnXmlArrayGaps::of(*this);
                return vnXmlReader(*this).run(&vnXmlReader::readValueEnd) == VN_PARSE_OK;
            }
            if (result == VN_PARSE_ERROR)
                return false;
        }
    }
    unsigned char fail(const char* error)
    {
        setError("%s", error);
        return 0;
    }

    vnXmlSax& getOuter() const noexcept { return m_outer; }

private:
    vnXmlSax& m_outer;
};

class DynamicArrayParser : public ItemParser
{
public:
    using ItemParser::ItemParser;

    // What has no index goes behind the elements that `size` promised, too.
    bool readElements(const vnString& size, vnDynamicType& value)
    {
        if ((!size.isEmpty() && !takeNumber(size, m_size)) || !readItems() || !takeGaps())
            return false;
        value = m_builder.makeArray(m_size);
        return true;
    }

    unsigned char onDynamicType(const vnDynamicType& value, const vnString&, unsigned int level) override
    {
        if (level != 1)
            return fail("vnDynamicTypeArray can't read recursive xml entities");
        unsigned int index = m_size;
        return (!hasCurrentAttribute("index") || takeNumber(getCurrentAttribute("index"), index)) &&
               add(index, value);
    }
    // Each piece of a text that markup parts is an element of its own. That is meant.
    unsigned char onCharData(const vnString& text, unsigned int level) override
    {
        const vnString stripped = text.stripWhiteSpace();
        return level != 1 || stripped.isEmpty() || add(m_size, stripped);
    }

private:
    bool add(unsigned int index, const vnDynamicType& value)
    {
        if (index == VN_MAX_SIZE) // as many stand in front of it as can be counted
            return failRange();
        m_builder.addElement(index, value);
        m_size = std::max(m_size, m_builder.getSize());
        return true;
    }

    bool takeNumber(const vnString& text, unsigned int& number)
    {
        const double value = text.real('.');
        if (!(value > -1 && value < VN_MAX_SIZE))
            return failRange();
        number = static_cast<unsigned int>(value);
        return true;
    }

    // An array has no more elements than the document has bytes, and neither have all arrays of the document
    // gaps. It is asked at the end, since what was read until then holds an array without gaps.
    bool takeGaps()
    {
        vnUInt64& gaps = vnXmlArrayGaps::of(getOuter());
        const vnUInt64 count = gaps + m_size;
        const vnUInt64 position = getOuter().getDocumentPos();
        if (count > position && count > position + getOuter().getAdapter()->length())
            return failRange();
        gaps += m_builder.countGaps(m_size);
        return true;
    }
    bool failRange() { return fail("An index or the size of vnDynamicTypeArray is out of range") != 0; }

    static constexpr unsigned int VN_MAX_SIZE = std::numeric_limits<unsigned int>::max();

    unsigned int m_size = 0;
    vnXmlValueBuilder m_builder;
};

class DynamicContainerParser : public ItemParser
{
public:
    using ItemParser::ItemParser;

    bool readAttributes(vnDynamicType& value)
    {
        if (!readItems())
            return false;
        value = m_builder.makeContainer();
        return true;
    }

    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level) override
    {
        return level == 1 ? add(name, value)
                          : fail("vnDynamicTypeContainer can't read recursive xml entities");
    }
    unsigned char onCharData(const vnString& text, unsigned int level) override
    {
        if (level != 1)
            return 1;
        // White space in front is none of the text, and takes no room of it.
        const vnString piece = m_text.isEmpty() ? text.stripWhiteSpace(1, 0) : text;
        return join(piece.getString(), piece.length());
    }
    unsigned char onEntityReference(const vnString& name, unsigned int level,
                                    unsigned char inAttribute) override
    {
        if (level != 1 || inAttribute)
            return 1;
        return join("&", 1) && join(name.getString(), name.length()) && join(";", 1);
    }
    unsigned char onElementEnd(const vnString&, unsigned int level) override
    {
        if (level != 1 || m_text.isEmpty())
            return 1;
        const vnString text =
            vnString(m_text.data(), static_cast<unsigned short>(m_text.getSize())).stripWhiteSpace();
        m_text.cut(0);
        return text.isEmpty() || add(getCurrentAttribute("name"), text);
    }

private:
    // The text of an element comes in pieces, one up to each markup or reference. Each of them would take the
    // place of the one before.
    bool join(const char* piece, unsigned int length)
    {
        if (m_text.getSize() + length > vnString::VN_MAX_LENGTH)
            return fail("Too large 'CharData' is notified") != 0;
        m_text.append(piece, length);
        return true;
    }

    unsigned char add(const vnString& name, const vnDynamicType& value)
    {
        if (name.isEmpty())
            return fail("Missing 'name' attribute in container");
        // A name ends with a zero byte where containers are stored.
        if (std::memchr(name.getString(), 0, name.length()))
            return fail("Zero byte in 'name' attribute in container");
        m_builder.addAttribute(name, value);
        return 1;
    }

    vnXmlValueBuilder m_builder;
    vnScratchBlock<char> m_text; // of the element that is open
};

/// Takes the value of a document.
class XmlAttributeReader : public vnXmlSax
{
public:
    explicit XmlAttributeReader(unsigned char dynOnly)
    {
        useDynOnly(dynOnly);
        useProgress(0);
        setMaxIdleNotifications(VN_MAX_IDLE);
    }

    unsigned char onDynamicType(const vnDynamicType& value, const vnString& name, unsigned int level) override
    {
        if (level != 1)
        {
            setError("Nested Dynamic Attributes (%s)", name);
            return 0;
        }
        found = true;
        result = value;
        return 1;
    }

    bool found = false;
    vnDynamicType result;
};

/// The objects of a document whose value was asked for. Nobody is told of them, so that those in a circle
/// would stay for ever; but a form may have given some away.
class UntoldObjects
{
public:
    explicit UntoldObjects(vnSerializeAdapter& adapter)
    {
        for (const vnRefPointer<vnReference>& instance : adapter.getRefInstanceArray())
            if (instance && instance->isOfType(vnObject::getClassType()))
            {
                auto* const object = static_cast<vnObject*>(instance.get());
                Holders& holders = m_objects[object];
                holders.object = object;
                ++holders.count;
            }
        for (const auto& [key, holders] : m_objects)
            forEachInner(*holders.object, [](Holders& inner) { ++inner.count; });
    }

    /// Breaks up those that nobody holds but the document and one another.
    void drop()
    {
        for (auto& [key, holders] : m_objects)
            if (holders.object->getRef() > holders.count)
                keep(holders);
        for (const auto& [key, holders] : m_objects)
            if (!holders.isKept)
                holders.object->removeAllUserData();
    }

private:
    struct Holders
    {
        vnObject* object = nullptr;
        unsigned int count = 0; // of the document, and of objects that it holds
        bool isKept = false;
    };

    template <class Call>
    void forEachInner(const vnObject& object, const Call& call)
    {
        const vnUserDataDictionary* items = object.getUserDataDictionary();
        if (!items)
            return;
        for (const auto& item : *items)
            if (const auto inner = m_objects.find(item.getValue()); inner != m_objects.end())
                call(inner->second);
    }

    // With all that it holds.
    void keep(Holders& first)
    {
        std::vector<Holders*> next{&first};
        while (!next.empty())
        {
            Holders& holders = *next.back();
            next.pop_back();
            if (std::exchange(holders.isKept, true))
                continue;
            forEachInner(*holders.object, [&next](Holders& inner) { next.push_back(&inner); });
        }
    }

    std::unordered_map<const vnUserData*, Holders> m_objects;
};

vnDynamicType readValue(const void* data, unsigned int size, bool isWide, unsigned char* ok,
                        unsigned char dynOnly)
{
    vnTextAdapter adapter(data, size);
    XmlAttributeReader reader(dynOnly);
    if (isWide)
        reader.useUnicode(1, 0);
    reader.read(&adapter);
    UntoldObjects(adapter).drop();
    if (ok)
        *ok = reader.found;
    return std::move(reader.result);
}

// What the parser found behind the items is not told to the reader yet.
vnParseResult finish(vnXmlSax& sax, const ItemParser& parser, bool isRead)
{
    if (!isRead && parser.hasError())
        sax.setError("%s", parser.getError());
    return isRead ? VN_PARSE_OK : VN_PARSE_ERROR;
}

vnParseResult readArray(vnXmlSax& sax, vnDynamicType& value)
{
    DynamicArrayParser parser(sax);
    return finish(sax, parser, parser.readElements(sax.getCurrentAttribute("size"), value));
}

vnParseResult readContainer(vnXmlSax& sax, vnDynamicType& value)
{
    DynamicContainerParser parser(sax);
    return finish(sax, parser, parser.readAttributes(value));
}

bool isVector(vnDynamicTag tag) noexcept
{
    return tag >= VN_TAG_VEC2 && tag <= VN_TAG_VEC4;
}

vnParseResult readVector(vnXmlSax& sax, vnDynamicTag tag, const vnString& text, bool isCDATA,
                         vnDynamicType& value)
{
    // The doubled percent of the second column stands as it is: it asks for the characters "%w", and so vec3
    // and vec4 do not read from a CDATA section.
    static constexpr const char* formats[][2] = {
        {"%w{%w%n%w,%w%n%w}", "%w{%w%n%w,%w%n%w}"},
        {"%w{%w%n%w,%w%n%w,%w%n%w}", "%w{%w%n%w,%w%n%%w,%w%n%w}"},
        {"%w{%w%n%w,%w%n%w,%w%n%w,%w%n%w}", "%w{%w%n%w,%w%n%%w,%w%n%%w,%w%n%w}"},
    };
    unsigned char isMatch = 0;
    const vnArray<vnString> parts = parse(formats[tag - VN_TAG_VEC2][isCDATA], text, &isMatch);
    const unsigned int count = tag - VN_TAG_VEC2 + 2u;
    if (!isMatch || parts.getSize() != count)
        return failData(sax);
    float v[4] = {};
    for (unsigned int i = 0; i < count; ++i)
        v[i] = static_cast<float>(parts[i].real('.'));
    if (tag == VN_TAG_VEC2)
        value = vnDynamicType(vnVec2_<float>(v[0], v[1]));
    else if (tag == VN_TAG_VEC3)
        value = vnDynamicType(vnVec3_<float>(v[0], v[1], v[2]));
    else
        value = vnDynamicType(vnVec4_<float>(v[0], v[1], v[2], v[3]));
    return VN_PARSE_OK;
}

vnParseResult readGUID(vnXmlSax& sax, const vnString& text, vnDynamicType& value)
{
    try
    {
        value = vnDynamicType(vnGUID(text.stripWhiteSpace()));
        return VN_PARSE_OK;
    }
    catch (const vnBaseError&) // what is no GUID
    {
        return failData(sax);
    }
}

vnParseResult makeValue(vnXmlSax& sax, vnDynamicTag tag, const vnString& text, bool isCDATA,
                        vnDynamicType& value)
{
    if (isVector(tag))
        return readVector(sax, tag, text, isCDATA, value);
    switch (tag)
    {
    case VN_TAG_NUM:
        value = vnDynamicType(text.real(vnSerializeLex::VN_DECIMAL_BOTH));
        break;
    case VN_TAG_LLNUM:
        value = vnDynamicTypeInt64(text.num());
        break;
    case VN_TAG_GUID:
        return readGUID(sax, text, value);
    case VN_TAG_ERROR:
        value = vnDynamicTypeError(text);
        break;
    case VN_TAG_STR:
        value = vnDynamicType(text);
        break;
    default:
        value = vnDynamicType(); // "void", whatever the text
        break;
    }
    return VN_PARSE_OK;
}

vnParseResult readText(vnXmlSax& sax, vnDynamicTag tag, const vnString& type, vnDynamicType& value)
{
    const bool mayBeEmpty = tag == VN_TAG_STR || tag == VN_TAG_VOID;
    vnDynamicArray<char> text(64);
    bool isCDATA = false;
    vnParseResult result = mayBeEmpty ? VN_PARSE_OK : VN_PARSE_NO_MATCH;
    if (!sax.isCurrentElementEmpty())
    {
        const unsigned int mode = (tag == VN_TAG_ERROR ? 0u : vnXmlReader::VN_VALUE_CALLS) |
                                  (mayBeEmpty ? vnXmlReader::VN_VALUE_MAY_END : 0u);
        vnXmlReader reader(sax);
        result = reader.runCall([&] { return reader.readValueText(mode, text, isCDATA); });
    }
    if (result != VN_PARSE_OK)
        return result == VN_PARSE_NO_MATCH ? failText(sax, type) : result;
    const vnString string(text.data(), static_cast<unsigned short>(text.getSize()));
    return makeValue(sax, tag, string, isCDATA, value);
}

vnParseResult readEncoded(vnXmlSax& sax, vnDynamicArray<char>& text)
{
    if (sax.isCurrentElementEmpty())
        return failData(sax);
    vnXmlReader reader(sax);
    const vnParseResult result = reader.runCall([&] { return reader.readLargeText(text); });
    return result == VN_PARSE_NO_MATCH ? failData(sax) : result;
}

vnRefPointer<vnSerializeAdapter> decoderOf(const vnXmlSax& sax, vnSerializeAdapter* source)
{
    vnRefPointer<vnSerializeAdapter> decoder;
    if (sax.useBase64())
        decoder = new vnSerializeAdapterBase64Encoder(source);
    else
        decoder = new vnSerializeAdapterBCDEncoder(source);
    return decoder;
}

// The stream form of a value, of which all must be there.
vnParseResult readBytes(vnXmlSax& sax, vnDynamicType& value)
{
    vnDynamicArray<char> text(1024);
    if (readEncoded(sax, text) != VN_PARSE_OK)
        return VN_PARSE_ERROR;
    vnTextAdapter source(text.data(), text.getSize());
    const vnRefPointer<vnSerializeAdapter> decoder = decoderOf(sax, &source);
    vnDynamicType read;
    if (!vnDynamicWire::readWhole(read, decoder) || decoder->hasError())
        return failData(sax);
    value = std::move(read);
    return VN_PARSE_OK;
}

/// The text of one object. The objects that its document has had are known to it, and those that it has are
/// known to the document; handing the tables to and fro would copy them for each object.
class ObjectSource : public vnSerializeAdapterMemory
{
public:
    ObjectSource(vnDynamicArray<char>& text, vnSerializeAdapter* document)
        : vnSerializeAdapterMemory(text.data(), text.getSize()), m_document(document)
    {
        setAdapterFlags(document->getAdapterFlags() & VN_ADAPTER_SILENT);
    }
    vnRefInstanceDictionary& getRefInstanceDictionary() override
    {
        return m_document->getRefInstanceDictionary();
    }
    vnRefInstanceArray& getRefInstanceArray() override { return m_document->getRefInstanceArray(); }
    unsigned int getNewSharedInstanceID() override { return m_document->getNewSharedInstanceID(); }
    void clearSharedRefs() override { m_document->clearSharedRefs(); }

private:
    vnRefPointer<vnSerializeAdapter> m_document;
};

// The class that the record names; it stays to be read.
unsigned int classOf(vnSerializeAdapter* decoder)
{
    unsigned char id[sizeof(unsigned int)] = {};
    const unsigned int count = decoder->hasData(sizeof id) ? decoder->read(id, sizeof id) : 0;
    decoder->pushBack(id, count);
    return vnDynamicBytes::getBig<unsigned int>(id);
}

// A record whose class is not known was skipped, and a Warning told it.
vnParseResult readRecord(vnXmlSax& sax, vnSerializeAdapter* decoder, vnRefPointer<vnObject>& object)
{
    try
    {
        const unsigned int id = classOf(decoder);
        object = vnObject::readObject(decoder, 0, vnString(), 1);
        if (object || !decoder->hasError() || decoder->getError() == vnUnknownFactoryError(id))
            return VN_PARSE_OK;
        sax.setError("%s", decoder->getError());
    }
    catch (const vnBaseError& error)
    {
        sax.setError("%s", error.getErrorString());
    }
    return VN_PARSE_ERROR;
}

// What others wrote may end a parse without a word.
vnParseResult checked(vnXmlSax& sax, vnParseResult result)
{
    return result == VN_PARSE_ERROR && !sax.hasError() ? failData(sax) : result;
}

vnParseResult notified(unsigned char goesOn)
{
    if (!goesOn)
        throw vnBasicParseException(2);
    return VN_PARSE_OK;
}
} // namespace

vnParseResult vnXmlDynamicTypeInterface_builtin::read(vnXmlSax* sax, const vnString& type,
                                                      vnDynamicType& value)
{
    if (vnIsDynamicTag(type, VN_TAG_ARRAY))
        return readArray(*sax, value);
    if (vnIsDynamicTag(type, VN_TAG_CONT))
        return readContainer(*sax, value);
    for (const vnDynamicTag tag : {VN_TAG_STR, VN_TAG_NUM, VN_TAG_LLNUM, VN_TAG_VOID, VN_TAG_GUID,
                                   VN_TAG_VEC2, VN_TAG_VEC3, VN_TAG_VEC4, VN_TAG_ERROR})
        if (vnIsDynamicTag(type, tag))
            return readText(*sax, tag, type, value);
    return readBytes(*sax, value);
}

vnParseResult vnXmlObjectInterface_builtin::read(vnXmlSax* sax, const vnString&,
                                                 vnRefPointer<vnObject>& object)
{
    vnDynamicArray<char> text(1024);
    if (readEncoded(*sax, text) != VN_PARSE_OK)
        return VN_PARSE_ERROR;
    const vnRefPointer<vnSerializeAdapter> source(new ObjectSource(text, sax->getAdapter()));
    return readRecord(*sax, decoderOf(*sax, source), object);
}

vnParseResult vnXmlSax::XML_read_91()
{
    const unsigned int level = m_level;
    const vnString type =
        hasAttribute(level, "type") ? getAttribute(level, "type") : vnDynamicTagText(VN_TAG_STR);
    vnString name = getAttribute(level, "name");
    if (name.isEmpty() && useDynOnly())
        name = getElementName(level);
    vnDynamicType value;
    {
        const vnXmlValueDepth depth(*this);
        if (depth.isTooDeep())
        {
            setError("%s", vnXmlValueDepth::error);
            return VN_PARSE_ERROR;
        }
        const vnParseResult result = vnXmlForm<vnXmlDynamicTypeInterface>(type)->read(this, type, value);
        if (result != VN_PARSE_OK)
            return checked(*this, result);
    }
    if (hasAttribute(level, "time"))
        value = vnDynamicTypeTimeTagged(getAttribute(level, "time").real('.'), value);
    return notified(onDynamicType(value, name, level));
}

vnParseResult vnXmlSax::XML_read_92()
{
    const unsigned int level = m_level;
    const vnString type = getAttribute(level, "type");
    const vnString name = getAttribute(level, "name");
    vnRefPointer<vnObject> object;
    const vnParseResult result = vnXmlForm<vnXmlObjectInterface>(type)->read(this, type, object);
    if (result != VN_PARSE_OK)
        return checked(*this, result);
    return notified(onObject(object, name, level));
}

vnParseResult vnXmlSax::XML_read_93()
{
    const unsigned int level = m_level;
    const vnString name = getElementName(level);
    const auto interface = vnXmlCustomDataInterface::getCustomDataInterface(name);
    if (!interface)
        return VN_PARSE_NO_MATCH;
    vnRefPointer<vnReference> data;
    const vnParseResult result = interface->read(this, name, data);
    if (result != VN_PARSE_OK)
        return checked(*this, result);
    return notified(onCustomData(data, name, level));
}

vnDynamicType vnXml2DynamicType(const vnArray<unsigned char>& data, unsigned char* ok, unsigned char dynOnly)
{
    return readValue(data.data(), data.getSize(), false, ok, dynOnly);
}

vnDynamicType vnXml2DynamicType(const char* text, unsigned int length, unsigned char* ok,
                                unsigned char dynOnly)
{
    return readValue(text, text ? length : 0, false, ok, dynOnly);
}

vnDynamicType vnXml2DynamicType(const char16_t* text, unsigned int length, unsigned char* ok,
                                unsigned char dynOnly)
{
    return readValue(text, text ? vnCheckedSize(length, sizeof *text) : 0, true, ok, dynOnly);
}

vnDynamicType vnDynamicType::fromXML(const vnString& text, unsigned char* ok, unsigned char dynOnly)
{
    return vnXml2DynamicType(text.getString(), text.length(), ok, dynOnly);
}

vnDynamicType vnDynamicType::fromString(const vnString& text, const vnString& typeName, unsigned char* ok,
                                        unsigned char dynOnly)
{
    // Not as a string: text and tags together may be longer than one.
    vnDynamicArray<char> xml(256);
    const auto append = [&xml](const char* part, unsigned int length) { xml.append(part, length); };
    append("<vnDyn type=\"", 13);
    append(typeName.getString(), typeName.length());
    append("\">", 2);
    append(text.getString(), text.length());
    append("</vnDyn>", 8);
    return vnXml2DynamicType(xml.data(), xml.getSize(), ok, dynOnly);
}
