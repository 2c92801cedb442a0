// SPDX-License-Identifier: MIT
// Reading and writing XML documents. The peers get the document in blocks of 64 KB.
#include "bench.h"

#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnXmlSax.h>

#ifdef HAVE_EXPAT
#include <expat.h>
#endif
#ifdef HAVE_LIBXML2
#include <libxml/parser.h>
#include <libxml/xmlwriter.h>
#endif
#ifdef HAVE_POCOXML
#include <Poco/MemoryStream.h>
#include <Poco/SAX/Attributes.h>
#include <Poco/SAX/AttributesImpl.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/XML/XMLWriter.h>
#include <ostream>
#endif
#ifdef HAVE_QT
#include <QIODevice>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>
#endif

using namespace bench;

namespace
{
// What every handler counts. Texts come in pieces, so that they are not compared.
struct Count
{
    std::uint64_t elements = 0;
    std::uint64_t attributes = 0;
    std::uint64_t text = 0;
    std::uint64_t check() const { return elements * 100000000 + attributes; }
};

constexpr std::size_t blockSize = 65536;

template <class Each>
void inBlocks(const std::string& document, const Each& each)
{
    for (std::size_t at = 0; at < document.size(); at += blockSize)
        each(document.data() + at, std::min(blockSize, document.size() - at));
}

vnRefPointer<vnSerializeAdapter> open(const std::string& document)
{
    return vnRefPointer<vnSerializeAdapter>(new vnSerializeAdapterMemory(
        const_cast<char*>(document.data()), static_cast<unsigned int>(document.size()))); // only read
}

class CountingSax : public vnXmlSax
{
public:
    Count count;
    unsigned char onElementStart(const vnString&, unsigned int) override { return ++count.elements > 0; }
    unsigned char onAttribute(const vnString&, const vnString&, unsigned int) override
    {
        return ++count.attributes > 0;
    }
    unsigned char onCharData(const vnString& text, unsigned int) override
    {
        count.text += text.length();
        return 1;
    }
};

std::uint64_t readByOurs(const std::string& document)
{
    CountingSax sax;
    sax.read(open(document).get());
    return sax.hasError() ? 0 : sax.count.check();
}

std::uint64_t check(const std::string& document)
{
    vnXmlSax sax;
    sax.disableNotifyItemType(VN_XML_ALL_ITEMS);
    sax.read(open(document).get());
    return sax.hasError() ? 0 : 1;
}

#ifdef HAVE_EXPAT
void XMLCALL expatStart(void* data, const XML_Char*, const XML_Char** attributes)
{
    Count& count = *static_cast<Count*>(data);
    ++count.elements;
    for (; *attributes; attributes += 2)
        ++count.attributes;
}
void XMLCALL expatEnd(void*, const XML_Char*) {}
void XMLCALL expatText(void* data, const XML_Char*, int size)
{
    static_cast<Count*>(data)->text += static_cast<unsigned int>(size);
}
std::uint64_t readByExpat(const std::string& document)
{
    Count count;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &count);
    XML_SetElementHandler(parser, expatStart, expatEnd);
    XML_SetCharacterDataHandler(parser, expatText);
    inBlocks(document, [&](const char* block, std::size_t size)
             { XML_Parse(parser, block, static_cast<int>(size), 0); });
    XML_Parse(parser, "", 0, 1);
    XML_ParserFree(parser);
    return count.check();
}
#endif

#ifdef HAVE_LIBXML2
void xml2Start(void* data, const xmlChar*, const xmlChar*, const xmlChar*, int, const xmlChar**,
               int attributes, int, const xmlChar**)
{
    Count& count = *static_cast<Count*>(data);
    ++count.elements;
    count.attributes += static_cast<unsigned int>(attributes);
}
void xml2End(void*, const xmlChar*, const xmlChar*, const xmlChar*) {}
void xml2Text(void* data, const xmlChar*, int size)
{
    static_cast<Count*>(data)->text += static_cast<unsigned int>(size);
}
std::uint64_t readByXml2(const std::string& document, bool isNotified)
{
    Count count;
    xmlSAXHandler handler = {};
    handler.initialized = XML_SAX2_MAGIC;
    if (isNotified)
    {
        handler.startElementNs = xml2Start;
        handler.endElementNs = xml2End;
        handler.characters = xml2Text;
        handler.cdataBlock = xml2Text;
    }
    xmlParserCtxtPtr parser = xmlCreatePushParserCtxt(&handler, &count, nullptr, 0, nullptr);
    inBlocks(document, [&](const char* block, std::size_t size)
             { xmlParseChunk(parser, block, static_cast<int>(size), 0); });
    const bool isRead = xmlParseChunk(parser, nullptr, 0, 1) == 0;
    xmlFreeParserCtxt(parser);
    return isNotified ? count.check() : isRead;
}
#endif

#ifdef HAVE_POCOXML
struct PocoHandler : Poco::XML::DefaultHandler
{
    Count count;
    void startElement(const Poco::XML::XMLString&, const Poco::XML::XMLString&, const Poco::XML::XMLString&,
                      const Poco::XML::Attributes& attributes) override
    {
        ++count.elements;
        count.attributes += static_cast<unsigned int>(attributes.getLength());
    }
    void characters(const Poco::XML::XMLChar[], int, int size) override
    {
        count.text += static_cast<unsigned int>(size);
    }
};
std::uint64_t readByPoco(const std::string& document)
{
    PocoHandler handler;
    Poco::XML::SAXParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACE_PREFIXES, true);
    parser.setContentHandler(&handler);
    Poco::MemoryInputStream in(document.data(), static_cast<std::streamsize>(document.size()));
    Poco::XML::InputSource source(in);
    parser.parse(&source);
    return handler.count.check();
}
#endif

#ifdef HAVE_QT
std::uint64_t readByQt(const std::string& document)
{
    Count count;
    QXmlStreamReader reader;
    inBlocks(document,
             [&](const char* block, std::size_t size)
             {
                 reader.addData(QByteArray::fromRawData(block, static_cast<int>(size)));
                 while (!reader.atEnd())
                     switch (reader.readNext())
                     {
                     case QXmlStreamReader::StartElement:
                         ++count.elements;
                         count.attributes += static_cast<unsigned int>(reader.attributes().size());
                         break;
                     case QXmlStreamReader::Characters:
                         count.text += static_cast<unsigned int>(reader.text().size());
                         break;
                     default:
                         break;
                     }
             });
    return count.check();
}
#endif

void addReaders(Group& all, Group& only, const std::string& document, int times)
{
    const auto repeat = [times, &document](auto one)
    {
        return [=, &document]
        {
            std::uint64_t result = 0;
            for (int i = 0; i < times; ++i)
                result = one(document);
            return result;
        };
    };
    all.sameCheck();
    only.sameCheck();
#ifdef HAVE_EXPAT
    all.add("expat", peer, repeat(readByExpat));
#endif
#ifdef HAVE_LIBXML2
    all.add("libxml2 push SAX2", peer, repeat([](const std::string& d) { return readByXml2(d, true); }));
    only.add("libxml2 push SAX2", peer, repeat([](const std::string& d) { return readByXml2(d, false); }));
#endif
#ifdef HAVE_POCOXML
    all.add("Poco SAXParser", kit, repeat(readByPoco));
#endif
#ifdef HAVE_QT
    all.add("QXmlStreamReader", kit, repeat(readByQt));
#endif
    all.add("vnXmlSax", ours, repeat(readByOurs));
    only.add("vnXmlSax", ours, repeat(check));
}

// What a document consists of, for the writers.
struct Event
{
    enum Type
    {
        START,
        END,
        TEXT,
        COMMENT,
        CDATA
    };
    Type type;
    vnString value; // a name or a text
    std::vector<std::pair<vnString, vnString>> attributes;
#ifdef HAVE_QT
    QString qtValue; // the same, as a Qt program would hold it
    std::vector<std::pair<QString, QString>> qtAttributes;
#endif
};

// The references of the document are all to "&".
vnString decoded(const vnString& text)
{
    std::string result(text.getString(), text.length());
    for (std::size_t at = 0; (at = result.find("&amp;", at)) != std::string::npos; ++at)
        result.erase(at + 1, 4);
    return vnString(result.data(), static_cast<unsigned short>(result.size()));
}

class Collector : public vnXmlSax
{
public:
    std::vector<Event> events;

    unsigned char onElementStart(const vnString& name, unsigned int) override
    {
        return add(Event::START, name);
    }
    unsigned char onElementEnd(const vnString& name, unsigned int) override { return add(Event::END, name); }
    unsigned char onComment(const vnString& text, unsigned int) override { return add(Event::COMMENT, text); }
    unsigned char onCDATA(const vnString& text, unsigned int) override { return add(Event::CDATA, text); }
    unsigned char onCharData(const vnString& text, unsigned int) override { return addText(text); }
    unsigned char onEntityReference(const vnString&, unsigned int, unsigned char inAttribute) override
    {
        return inAttribute || addText("&");
    }
    unsigned char onAttribute(const vnString& name, const vnString& value, unsigned int) override
    {
        events.back().attributes.emplace_back(name, decoded(value));
        return 1;
    }

private:
    unsigned char add(Event::Type type, const vnString& value)
    {
        Event event;
        event.type = type;
        event.value = value;
        events.push_back(std::move(event));
        return 1;
    }
    unsigned char addText(const vnString& text)
    {
        if (events.back().type != Event::TEXT)
            return add(Event::TEXT, text);
        events.back().value += text;
        return 1;
    }
};

// All writers write to a sink that takes blocks and counts bytes.
struct Sink
{
    std::uint64_t bytes = 0;
    void take(const void* block, std::size_t size)
    {
        keep(block);
        bytes += size;
    }
};

class SinkAdapter : public vnSerializeAdapter
{
public:
    explicit SinkAdapter(Sink& sink) : m_sink(sink) { setWriteWindow(m_block, m_block + sizeof m_block); }
    ~SinkAdapter() noexcept(false) override { flush(); }
    void flush() override
    {
        m_sink.take(m_block, static_cast<std::size_t>(getWriteNext() - m_block));
        setWriteWindow(m_block, m_block + sizeof m_block);
    }

protected:
    using vnSerializeAdapter::write_imp;
    void write_imp(unsigned char byte) override
    {
        flush();
        write(byte);
    }
    void write_imp(unsigned char* data, unsigned int count) override
    {
        flush();
        if (count < sizeof m_block)
            write(data, count);
        else
            m_sink.take(data, count);
    }
    unsigned char read_imp() override { return 0; }

private:
    Sink& m_sink;
    unsigned char m_block[blockSize];
};

class EventWriter : public vnXmlSax
{
public:
    explicit EventWriter(const std::vector<Event>& events) : m_events(events) { setPlainOutput(1); }
    void onWrite() override
    {
        for (const Event& event : m_events)
            switch (event.type)
            {
            case Event::START:
                writeElementStart(event.value);
                for (const auto& [name, value] : event.attributes)
                    writeAttribute(name, value);
                break;
            case Event::END:
                writeElementEnd();
                break;
            case Event::TEXT:
                writeCharData(event.value);
                break;
            case Event::COMMENT:
                writeComment(event.value);
                break;
            case Event::CDATA:
                writeCDATA(event.value);
                break;
            }
    }

private:
    const std::vector<Event>& m_events;
};

std::uint64_t writeAll(const std::vector<Event>& events)
{
    Sink sink;
    const vnRefPointer<vnSerializeAdapter> adapter(new SinkAdapter(sink));
    EventWriter writer(events);
    writer.write(adapter.get());
    adapter->flush();
    return writer.hasError() ? 0 : sink.bytes;
}

#ifdef HAVE_LIBXML2
std::uint64_t writeByXml2(const std::vector<Event>& events)
{
    Sink sink;
    const auto text = [](const vnString& string)
    { return reinterpret_cast<const xmlChar*>(string.getString()); };
    xmlTextWriterPtr writer = xmlNewTextWriter(xmlOutputBufferCreateIO(
        [](void* data, const char* block, int size)
        {
            static_cast<Sink*>(data)->take(block, static_cast<std::size_t>(size));
            return size;
        },
        nullptr, &sink, nullptr));
    for (const Event& event : events)
        switch (event.type)
        {
        case Event::START:
            xmlTextWriterStartElement(writer, text(event.value));
            for (const auto& [name, value] : event.attributes)
                xmlTextWriterWriteAttribute(writer, text(name), text(value));
            break;
        case Event::END:
            xmlTextWriterEndElement(writer);
            break;
        case Event::TEXT:
            xmlTextWriterWriteString(writer, text(event.value));
            break;
        case Event::COMMENT:
            xmlTextWriterWriteComment(writer, text(event.value));
            break;
        case Event::CDATA:
            xmlTextWriterWriteCDATA(writer, text(event.value));
            break;
        }
    xmlTextWriterEndDocument(writer);
    xmlFreeTextWriter(writer);
    return sink.bytes;
}
#endif

#ifdef HAVE_POCOXML
class CountingBuffer : public std::streambuf
{
public:
    explicit CountingBuffer(Sink& sink) : m_sink(sink) { setp(m_block, m_block + sizeof m_block); }
    ~CountingBuffer() override { CountingBuffer::sync(); }

protected:
    int_type overflow(int_type c) override
    {
        sync();
        if (c != traits_type::eof())
            sputc(static_cast<char>(c));
        return 0;
    }
    int sync() override
    {
        m_sink.take(m_block, static_cast<std::size_t>(pptr() - m_block));
        setp(m_block, m_block + sizeof m_block);
        return 0;
    }

private:
    Sink& m_sink;
    char m_block[blockSize];
};
std::uint64_t writeByPoco(const std::vector<Event>& events)
{
    Sink sink;
    CountingBuffer buffer(sink);
    std::ostream out(&buffer);
    Poco::XML::XMLWriter writer(out, 0);
    writer.startDocument();
    Poco::XML::AttributesImpl attributes;
    static const std::string none, type("CDATA");
    for (const Event& event : events)
    {
        const std::string value(event.value.getString(), event.value.length());
        switch (event.type)
        {
        case Event::START:
            attributes.clear();
            for (const auto& [name, text] : event.attributes)
                attributes.addAttribute(none, none, name.getString(), type, text.getString());
            writer.startElement(none, none, value, attributes);
            break;
        case Event::END:
            writer.endElement(none, none, value);
            break;
        case Event::TEXT:
            writer.characters(value);
            break;
        case Event::COMMENT:
            writer.comment(value.data(), 0, static_cast<int>(value.size()));
            break;
        case Event::CDATA:
            writer.startCDATA();
            writer.characters(value);
            writer.endCDATA();
            break;
        }
    }
    writer.endDocument();
    out.flush();
    return sink.bytes;
}
#endif

#ifdef HAVE_QT
class CountingDevice : public QIODevice
{
public:
    explicit CountingDevice(Sink& sink) : m_sink(sink) { open(QIODevice::WriteOnly); }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* block, qint64 size) override
    {
        m_sink.take(block, static_cast<std::size_t>(size));
        return size;
    }

private:
    Sink& m_sink;
};
std::uint64_t writeByQt(const std::vector<Event>& events)
{
    Sink sink;
    CountingDevice device(sink);
    QXmlStreamWriter writer(&device);
    for (const Event& event : events)
        switch (event.type)
        {
        case Event::START:
            writer.writeStartElement(event.qtValue);
            for (const auto& [name, value] : event.qtAttributes)
                writer.writeAttribute(name, value);
            break;
        case Event::END:
            writer.writeEndElement();
            break;
        case Event::TEXT:
            writer.writeCharacters(event.qtValue);
            break;
        case Event::COMMENT:
            writer.writeComment(event.qtValue);
            break;
        case Event::CDATA:
            writer.writeCDATA(event.qtValue);
            break;
        }
    return sink.bytes;
}
void makeQtValues(std::vector<Event>& events)
{
    for (Event& event : events)
    {
        event.qtValue = QString::fromUtf8(event.value.getString());
        for (const auto& [name, value] : event.attributes)
            event.qtAttributes.emplace_back(QString::fromUtf8(name.getString()),
                                            QString::fromUtf8(value.getString()));
    }
}
#endif

void addWriters(Suite& suite, std::vector<Event>& events)
{
    // The forms differ in how they write characters, so that the work is what we write.
    Group& group =
        suite.group("write 20 MB to a counting sink", mbPerSecond, static_cast<double>(writeAll(events)))
            .rounds(5);
#ifdef HAVE_LIBXML2
    group.add("libxml2 xmlTextWriter", peer, [&] { return writeByXml2(events); });
#endif
#ifdef HAVE_POCOXML
    group.add("Poco XMLWriter", kit, [&] { return writeByPoco(events); });
#endif
#ifdef HAVE_QT
    makeQtValues(events);
    group.add("QXmlStreamWriter", kit, [&] { return writeByQt(events); });
#endif
    group.add("vnXmlSax", ours, [&] { return writeAll(events); });
}
} // namespace

int main(int argc, char** argv)
{
    Suite suite("s.xml", argc, argv);
    const std::string big = readAll(suite.getDataDir() + "/big.xml");
    const std::string small = readAll(suite.getDataDir() + "/small.xml");
    const int times = suite.scaled(1000);
    const auto smallSize = static_cast<double>(small.size()) * times;
    addReaders(suite.group("20 MB: read, all notified", mbPerSecond, static_cast<double>(big.size())),
               suite.group("20 MB: only check", mbPerSecond, static_cast<double>(big.size())), big, 1);
    addReaders(suite.group("20 KB, a new reader each: read, all notified", mbPerSecond, smallSize),
               suite.group("20 KB, a new reader each: only check", mbPerSecond, smallSize), small, times);
    Collector collector;
    collector.read(open(big).get());
    addWriters(suite, collector.events);
    suite.run();
    return suite.getResult();
}
