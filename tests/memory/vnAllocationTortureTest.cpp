// SPDX-License-Identifier: MIT
#include "vnFailingManager.h"

#include <vnBase/vnArgumentParser.h>
#include <vnBase/vnArray.h>
#include <vnBase/vnBaseError.h>
#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnDict.h>
#include <vnBase/vnDirectory.h>
#include <vnBase/vnDynamicTypeArgumentParser.h>
#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnGuidStringDict.h>
#include <vnBase/vnKeyDatabase.h>
#include <vnBase/vnMemOptimizer.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnNotifyManager.h>
#include <vnBase/vnPerformance.h>
#include <vnBase/vnProgress.h>
#include <vnBase/vnQueue.h>
#include <vnBase/vnRecycleData.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRegKeyExpandParser.h>
#include <vnBase/vnSerializeAdapterCache.h>
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterMux.h>
#include <vnBase/vnSerializeAdapterPacket.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnSerializeAdapterRandomAccess.h>
#include <vnBase/vnSerializeAdapterStdIO.h>
#include <vnBase/vnSerializeAdapterString.h>
#include <vnBase/vnSerializeAdapterZIP.h>
#include <vnBase/vnString.h>
#include <vnBase/vnStringParser.h>
#include <vnBase/vnStringTokenizer.h>
#include <vnBase/vnThreadID.h>
#include <vnBase/vnURL.h>
#include <vnBase/vnUniqueString.h>
#include <vnBase/vnUpdateID.h>
#include <vnBase/vnXmlDom.h>
#include <vnBase/vnXmlDynamicType.h>
#include <vnBase/vnXmlSax.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include <unistd.h>

namespace
{
class Receiver : public vnMessageReceiverInterface
{
public:
    Receiver() { vnMessage::addMessageReceiver(this); }
    ~Receiver() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
    void onMessage(const vnString&, vnMessageLevel, const char*) override {}
};

const char* const longText = "a text that does not fit into any small buffer of its own, by far";

void useStrings()
{
    vnString text(longText);
    text += " and more";
    vnString other = text + longText;
    other = other.toUpper().right(20);
    text.format("%s: %d of %x, %f percent", other, 17, 255, 12.5);
    vnString wide(text.getWideString());
    wide = wide.substitute("OF", longText).convertCtrlToText();
    vnArray<unsigned char> bytes = wide.getBSTR();
    EXPECT_EQ(vnString(vnUniqueString("tortured")), "tortured");
    EXPECT_EQ(bytes.getSize(), wide.length() < 255 ? wide.length() + 1u : 256u);
}

// Equal keys enough for the chains of the index, in a bucket long enough to have one.
void useLongBuckets()
{
    vnDict<vnString, const char> dict(1);
    dict.setAutoGrow(0);
    for (int i = 0; i < 60; ++i)
        dict.enter(i % 3 ? vnString(longText) : vnString::formatString("%s %d", longText, i), longText);
    EXPECT_EQ(dict.remove(longText), longText);
    const vnDict<vnString, const char> copy(dict);
    unsigned int count = 0;
    for (const auto& entry : copy)
        count += entry.getKey() == longText;
    EXPECT_EQ(count, 39u);
}

void useDicts()
{
    vnDict<vnString, const char> dict;
    for (int i = 0; i < 30; ++i)
        dict.enter(vnString(std::to_string(i).c_str()), longText);
    vnDict<vnString, const char> copy(dict);
    copy.remove("7");
    copy = dict;
    EXPECT_EQ(copy.getCount(), 30u);
}

void useGuids()
{
    const vnGUID guid(1, 2);
    const vnString url(longText);
    vnGuidStringDict::enter(guid, url);
    vnGuidStringDict::enter(guid, url + longText); // in its place
    EXPECT_EQ(vnGuidStringDict::lookup(guid.asString()), url + longText);
    vnGuidStringDict::remove(guid);
}

void useReferences()
{
    vnRefDict<vnString, vnRefData<vnString>> dict;
    vnRefList<vnRefData<vnString>> list;
    for (const char* name : {"one", "two", "three", "four", "five"})
    {
        vnRefPointer<vnRefData<vnString>> data(new vnRefData<vnString>(longText));
        dict.enter(name, data.get());
        list.insertSorted(dict.getCount() % 3, data.get());
    }
    vnRefDict<vnString, vnRefData<vnString>> dictCopy(dict);
    vnRefList<vnRefData<vnString>> listCopy(list);
    listCopy = list;
    dictCopy = dict;
    EXPECT_EQ(dictCopy.find("two")->getRef(), 1u);
    EXPECT_EQ(listCopy.getHead()->getRef(), 1u);
    vnCleanupReference cleanup(new vnReference, 880);
    vnCleanupReference second(nullptr, 880);
    second = new vnReference;
    vnCleanupReference::cleanUpReferences(880);
}

void useArrays()
{
    vnDynamicArray<vnString> texts(2);
    for (int i = 0; i < 5; ++i)
        texts.append(longText);
    vnArray<vnString> fixed(texts.data(), texts.getSize());
    fixed.setSize(9);
    vnQueue<vnString> queue(VN_QUEUE_FIFO, 2);
    for (const vnString& text : fixed)
        queue.push(text);
    EXPECT_EQ(queue.pop(), longText);
    vnCacheData scratch;
    scratch->append(1);
}

void usePools()
{
    vnMemOptimizer pool(16, 2, nullptr, 1);
    void* block = pool.malloc(16);
    if (!block)
        throw std::bad_alloc();
    pool.free(block);
}

void useMessages()
{
    vnMessage::message("torture", VN_MESSAGE_WARNING, "%s has %d items", vnString(longText), 5);
    try
    {
        vnExceptionThrows::vnThrowFatal("no %s", longText);
    }
    catch (const vnFatalError& error)
    {
        EXPECT_EQ(error.getErrorString().left(4), "no a");
    }
}

class Sender;
class Listener;
class Sender : public vnNotifyMaster<Sender, Listener, vnString>
{
public:
    ~Sender() noexcept(false) override { endSubscriptions(); }
};
class Listener : public vnNotifySlave<Sender, Listener, vnString>
{
public:
    ~Listener() noexcept(false) override { endSubscriptions(); }
    void onNotify(Sender*, vnString& data, vnUInt64) override { last = data; }
    vnString last;
};

void useNotifications()
{
    Sender sender;
    Listener listener;
    Listener other;
    sender.addSubscriber(&listener);
    sender.addSubscriber(&other, 3);
    sender.post(longText, 0);
    sender.post("3", 3, 0, 0, 1, 1);
    EXPECT_EQ(other.last, "3");
}

void useTwoMasters()
{
    Sender first;
    Sender second;
    Listener both;
    {
        Listener passing;
        first.addSubscriber(&passing);
        second.addSubscriber(&passing);
        for (vnUInt64 filter = 1; filter < 4; ++filter)
            first.addSubscriber(&both, filter);
        second.addSubscriber(&both);
        // Leaves both while the subscriptions of the other one are pending.
    }
    first.post("1", 1);
    second.post(longText, 0);
    EXPECT_EQ(both.last, longText);
}

class Panel : public vnNotifyInterface
{
public:
    ~Panel() noexcept(false) override { endSubscriptions(); }
    void onNotify(vnNotifyManager*, vnRefPointer<vnNotifyMessage>&, vnUInt64) override {}
};

void useManagers()
{
    vnNotifyManager manager;
    Panel panel;
    manager.addSubscriber(&panel);
    const vnString command(longText); // made before the data, which nobody holds until it is handed over
    manager.notify(command, 0, 0, nullptr, new vnRefData<vnString>(longText), 0, 1);
}

class Bar : public vnProgressInterface
{
public:
    ~Bar() noexcept(false) override { deactivateProgressInterface(); }
    void onProgress(unsigned char percent, const char* banner) override
    {
        last = banner;
        routeProgress(percent, banner);
    }
    vnString last;
};

void useProgress()
{
    Bar own;
    Bar above;
    vnProgress::setProgressInterface(&own);
    above.activateProgressInterface();
    vnProgress::progress(3, longText);
    EXPECT_EQ(own.last, longText);
    above.deactivateProgressInterface();
    EXPECT_EQ(vnProgress::setProgressInterface(nullptr), &own);
}

void useProfiler()
{
    vnStopPerformanceThread(); // off: leaves no trace
    vnStartPerformanceThread();
    vnRefList<vnSectionInfo> sections;
    vnGetAllPerformanceSections(sections);
    const vnMessageLevel level = vnMessage::getMessageLevel();
    vnMessage::setMessageLevel(VN_MESSAGE_PERF);
    try
    {
        vnDumpPerformanceInfo();
    }
    catch (...)
    {
        vnMessage::setMessageLevel(level);
        throw;
    }
    vnMessage::setMessageLevel(level);
}

void useUpdateIDs()
{
    vnLookupUpdateID seen;
    seen.setUpdateID(30, 7);
    EXPECT_EQ(seen.getUpdateID(30), 7u);
    vnUpdateIDFeatureInterface features;
    features.resetFeatureMask(4, 50);
    EXPECT_FALSE(features.checkFeature(4, 50));
    EXPECT_TRUE(features.checkFeature(4, 90));
}

void useAdapters()
{
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO, 8);
    for (const char* byte = longText; *byte; ++byte)
        queue.write(static_cast<unsigned char>(*byte));
    vnDynamicArray<unsigned char> bytes;
    queue.getQueueData(bytes);
    EXPECT_EQ(bytes[0], 'a');
    vnString text(longText);
    vnSerializeAdapterString stream(&text);
    EXPECT_EQ(stream.read(), 'a');
    unsigned char block[4] = {1, 2, 3, 4};
    vnSerializeAdapterMemory memory(block, sizeof block);
    memory.write(9);
    EXPECT_EQ(block[0], 9);
}

void useTokens()
{
    std::string source =
        "name = 12.5 /* " + std::string(100, 'c') + " */ \"" + std::string(300, 's') + "\\n\";";
    vnSerializeAdapterMemory stream(source.data(), static_cast<unsigned int>(source.size()));
    vnSerializeLex lex;
    lex.useStrings(1);
    unsigned int count = 0;
    for (lex.read(&stream); lex.getDataType() != VN_LEX_NONE; lex.read(&stream))
    {
        lex.pushBack(&stream);
        lex.read(&stream);
        count += !lex.getData().is("void");
    }
    EXPECT_EQ(count, 10u);
    EXPECT_EQ(getLexTokenDataArray(longText, 1).getSize(), 16u);
}

void useScanning()
{
    vnStringParser::cleanUpParsers();
    unsigned char ok = 0;
    const vnString text = vnString("12,5 name 'it is' ") + longText;
    // Far more than small buffers hold stands behind the match when it fails.
    EXPECT_EQ(parse("%n %i %s %e", text, &ok, ',')[3], longText);
    EXPECT_EQ(parse("%n %i %s %e", text, &ok, ',').getSize(), 4u);
    parse("%l;", text, &ok);
    EXPECT_FALSE(ok);
    vnStringParser::cleanUpParsers();
}

void useExpansion()
{
    vnString text = vnString("$(NO_SUCH_KEY)") + longText;
    vnRefPointer<vnSerializeAdapter> adapter(new vnSerializeAdapterString(&text));
    vnRegKeyExpandParser parser;
    parser.setAdapter(adapter);
    EXPECT_EQ(parser.parse(), longText);
}

// Where a parser finds no room for what it remembers it goes on, behind others that read on.
void useWalks()
{
    static const std::string path = testing::TempDir() + "vnAllocationWalk" + std::to_string(getpid());
    std::string content;
    for (unsigned int i = 0; i < 100000; ++i)
        content += static_cast<char>('a' + (i + i / 7) % 26);
    std::ofstream(path) << content;
    vnRefPointer<vnSerializeAdapter> file(
        new vnSerializeAdapterFile(path.c_str(), VN_SERIALIZE_INPUT, 0, VN_ADAPTER_SILENT));
    if (file->hasError())
        throw std::bad_alloc(); // could not be opened, for want of memory
    vnBasicParser parser;
    parser.setAdapter(file.get());
    try
    {
        parser.skipToEOL();
    }
    catch (const std::bad_alloc&)
    {
        unsigned char block[4096];
        while (file->read(block, sizeof block) > 0)
        {
        }
        // What it remembers is what it read.
        const unsigned int end = parser.getTokenPos();
        const vnString known = parser.getTokenData(end - std::min(end, 50000u), 50000);
        EXPECT_TRUE(known == content.substr(end - known.length(), known.length()).c_str());
        parser.reset();
        throw;
    }
    EXPECT_TRUE(parser.getTokenData(50000, 50000) == content.substr(50000).c_str());
    remove(path.c_str());
}

void useSettings()
{
    // In memory where that is possible: each change waits for the disk otherwise.
    static const std::string folder = (access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : testing::TempDir()) +
                                      "vnAllocationTorture" + std::to_string(getpid());
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    const vnString key = vnString("torture/") + longText;
    const bool isSet = vnKeyDatabase::setUserKey(key, longText, "password");
    const vnString value = vnKeyDatabase::getUserKey(key, "password");
    const unsigned int count = vnKeyDatabase::getStoredKeys(VN_REG_KEY_USER, "torture").getSize();
    const bool isRemoved = vnKeyDatabase::removeUserKey(key, "password");
    unsetenv("XDG_CONFIG_HOME");
    std::filesystem::remove_all(folder);
    EXPECT_TRUE(isSet);
    EXPECT_EQ(value, longText);
    EXPECT_EQ(count, 1u);
    EXPECT_TRUE(isRemoved);
}

void useLocalRegistry()
{
    static const std::string document = std::string("<torture><name>") + longText + "</name></torture>";
    vnKeyDatabase::setLocalRegistry("");
    const vnString url =
        vnString::formatString("mem:%d,%d", vnUInt64(document.data()), vnUInt64(document.size()));
    if (!vnKeyDatabase::setLocalRegistry(url))
        throw std::bad_alloc(); // could not be read, for want of memory
    const vnString value = vnKeyDatabase::getUserKey("torture/name");
    vnKeyDatabase::setLocalRegistry("");
    EXPECT_EQ(value, longText);
}

void useArguments()
{
    vnDynamicTypeArgumentParser values;
    EXPECT_EQ(values.parseArguments(vnString("[1, [2]], '") + longText + "'").getSize(), 2u);
    vnArgumentParser parser(vnString("file -option ") + longText, "-");
    parser.exitOnError(0);
    EXPECT_EQ(parser.getOptionValue("option", "", 1), "text");
    EXPECT_EQ(parser.getArgOptString(), vnString("file -option ") + longText);
}

void useDynamicValues()
{
    vnRefPointer<vnRefData<int>> object(new vnRefData<int>(1));
    vnDynamicArray<vnDynamicType> elements;
    elements.append(vnDynamicType(longText));
    elements.append(vnDynamicType(object.get()));
    vnDynamicType value = vnDynamicTypeTimeTagged(1, vnDynamicTypeArray(elements));
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO, 8);
    value.write(&queue);
    const vnDynamicTypeCustom<vnDynamicTypeContainer> none{vnDynamicTypeContainer()};
    vnDynamicType(none).write(&queue);
    vnDynamicType again(longText);
    again.read(&queue);
    EXPECT_EQ(vnDynamicTypeArray(vnDynamicTypeTimeTagged(again).getData()).getArray()[0].getString(),
              longText);
    vnDynamicTypeContainer container;
    for (int i = 0; i < 60; ++i)
        container.setAttribute(vnString::formatString("%s %d", longText, i), again);
    container.write(&queue);
    again.read(&queue);
    vnDynamicTypeContainer copy;
    copy.read(&queue);
    copy = container;
    EXPECT_EQ(copy.getNumberOfAttributes(), 60u);
}

void useChannels()
{
    std::string bytes(70000, 'c');
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    vnSerializeAdapterMux mux;
    mux.write(*data);
    mux.write(data, 70000);
    mux.setActive(0);
    vnRefPointer<vnSerializeAdapterPacket> packets(new vnSerializeAdapterPacket(20000));
    EXPECT_TRUE(copyAdapters(packets, &mux, nullptr));
    EXPECT_EQ(packets->length(), 70001u);
    vnSerializeAdapterRandomAccess whole(packets);
    EXPECT_EQ(whole.seek(100, VN_ORIGIN_END), 70101u);
    whole.write('e');
    EXPECT_EQ(whole.seek(0, VN_ORIGIN_SET), 0u);
    EXPECT_EQ(whole.length(), 70102u);
}

void useCaches()
{
    const std::string bytes = "0123456789";
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->write(reinterpret_cast<const unsigned char*>(bytes.data()), 10);
    const vnString url = vnString::formatString("adapt:%d", vnUInt64(queue.get()));
    vnSerializeAdapterCache::resetCaches();
    {
        vnSerializeAdapterCache first(url, 2, 3, 0, VN_ADAPTER_SILENT, vnString());
        vnSerializeAdapterCache second(url, 4, 100, 0, VN_ADAPTER_SILENT, vnString());
        const bool opened = !first.hasError() && !second.hasError();
        vnSerializeAdapterCache::resetCaches();
        if (!opened)
            throw std::bad_alloc();
        EXPECT_EQ(first.read(), '2');
        EXPECT_EQ(second.length(), 6u);
    }
    const vnString part = vnString::formatString("mem:%d,10", vnUInt64(bytes.data()));
    vnSerializeAdapterCache third(part, 2, 3, 0, VN_ADAPTER_SILENT, vnString());
    vnSerializeAdapterCache::resetCaches();
    EXPECT_EQ(third.read(), '2');
}

// An archive of one member "a" that holds "Hello", deflated.
void useArchives()
{
    static const char bytes[] =
        "PK\x03\x04\x14\0\0\0\x08\0\0\0\0\0\x82\x89\xD1\xF7\x07\0\0\0\x05\0\0\0\x01\0\0\0"
        "a\xF3\x48\xCD\xC9\xC9\x07\0"
        "PK\x01\x02\x14\0\x14\0\0\0\x08\0\0\0\0\0\x82\x89\xD1\xF7\x07\0\0\0\x05\0\0\0\x01\0\0\0"
        "\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
        "a"
        "PK\x05\x06\0\0\0\0\x01\0\x01\0\x2F\0\0\0\x26\0\0\0\x02\0hi";
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->write(reinterpret_cast<const unsigned char*>(bytes), sizeof bytes - 1);
    vnSerializeAdapterZIP zip(queue, VN_SERIALIZE_INPUT);
    EXPECT_FALSE(zip.setCurrentItem("b"));
    EXPECT_TRUE(zip.setCurrentItem("a")) << zip.getError().getString(); // the memory of zlib is its own
    EXPECT_EQ(zip.getComment(), "hi");
    EXPECT_EQ(zip.read(), 'H');
    vnRefPointer<vnSerializeAdapterQueue> out(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    vnSerializeAdapterZIP written(out, VN_SERIALIZE_OUTPUT);
    written.setComment(longText);
}

void useURLs()
{
    unsigned char block[100];
    const vnString url =
        vnString::formatString("mem:%d,%d?attribute=%s", vnUInt64(block), sizeof block, longText);
    vnString error;
    vnRefPointer<vnSerializeAdapter> memory(vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_OUTPUT));
    EXPECT_TRUE(copyAdapters(
        memory,
        vnRefPointer<vnSerializeAdapter>(vnSerializeAdapter::getURLAdapter("dummy:100", VN_SERIALIZE_INPUT)),
        &error));
    EXPECT_EQ(memory->getURL(), url);
    EXPECT_FALSE(vnURLExist(vnString("http://host/cache:1,2,") + longText));
    EXPECT_FALSE(vnSerializeAdapter::getURLAdapter(vnString("zip:") + longText, VN_SERIALIZE_INPUT,
                                                   VN_ADAPTER_SILENT, longText, &error));
    EXPECT_TRUE(error.contains(longText));
}

void useFiles()
{
    static const std::string path = testing::TempDir() + "vnAllocationTorture" + std::to_string(getpid());
    unsigned char bytes[300];
    std::fill(std::begin(bytes), std::end(bytes), 'b');
    {
        vnSerializeAdapterFile out(path.c_str(), VN_SERIALIZE_OUTPUT, 0, VN_ADAPTER_SILENT);
        out.write('a');
        out.write(bytes, sizeof bytes);
        out.flush();
        if (out.hasError())
            throw std::bad_alloc(); // could not be opened, for want of memory
    }
    vnSerializeAdapterFile in(path.c_str(), VN_SERIALIZE_INPUT, 0, VN_ADAPTER_SILENT);
    EXPECT_EQ(in.length(), 1 + sizeof bytes);
    EXPECT_EQ(in.read(), 'a');
    in.pushBack(bytes, sizeof bytes);
    EXPECT_EQ(in.read(bytes, sizeof bytes), sizeof bytes);
    EXPECT_EQ(in.read(), 'b');
    EXPECT_EQ(in.length(), sizeof bytes - 1);
    remove(path.c_str());
}

void useConsole()
{
    vnSerializeAdapterStdIO console;
    const vnString text(longText);
    console.pushBack(reinterpret_cast<const unsigned char*>(text.getString()), text.length());
    EXPECT_EQ(console.read(), 'a');
    console.setError(text);
    EXPECT_EQ(console.getError(), text);
}

void useFileSearch()
{
    for (const char* beginning : {"first", "second"})
    {
        const vnString name = vnString(beginning) + longText;
        EXPECT_EQ(vnDirectory::getExtendedFileName(name), name);
    }
}

class XmlCopy : public vnXmlSax
{
public:
    explicit XmlCopy(vnXmlSax& to) : m_to(to) { enableNotifyItemType(VN_XML_ALL_ITEMS); }
    unsigned char onElementStart(const vnString& name, unsigned int) override
    {
        m_to.writeElementStart(name);
        return 1;
    }
    unsigned char onAttribute(const vnString& name, const vnString& value, unsigned int) override
    {
        m_to.writeAttribute(name, value);
        return 1;
    }
    unsigned char onElementEnd(const vnString&, unsigned int level) override
    {
        m_to.writeElementEnd();
        return getAttributeSet(level).getCount() < 3;
    }
    unsigned char onCharData(const vnString& text, unsigned int) override
    {
        m_to.writeCharData(text);
        return 1;
    }

private:
    vnXmlSax& m_to;
};

class XmlWriter : public vnXmlSax
{
public:
    explicit XmlWriter(vnSerializeAdapter* from) : m_from(from) {}
    void onWrite() override
    {
        XmlCopy copy(*this);
        copy.read(m_from.get());
        EXPECT_EQ(copy.getError(), "");
    }

private:
    vnRefPointer<vnSerializeAdapter> m_from;
};

void useXml()
{
    std::string document = "<?xml version='1.0' encoding='UTF-8'?><!-- \xC3\xA9 --><?target data?>"
                           "<root one='function:f' two='a long value &amp; more than a few bytes'>";
    for (int i = 0; i < 3; ++i)
        document += "<child>a text that does not fit into any small buffer, \xE4\xB8\x80</child>";
    document += "<![CDATA[<>]]>a ]] b &lt; &#65;</root>";
    const auto size = static_cast<unsigned int>(document.size());
    vnRefPointer<vnSerializeAdapterQueue> queue(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    queue->write(reinterpret_cast<const unsigned char*>(document.data()), size);
    const vnRefPointer<vnSerializeAdapter> memory(new vnSerializeAdapterMemory(document.data(), size));
    for (vnSerializeAdapter* from : {static_cast<vnSerializeAdapter*>(queue.get()), memory.get()})
    {
        vnRefPointer<vnSerializeAdapterQueue> to(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
        XmlWriter writer(from);
        writer.write(to.get());
        EXPECT_EQ(writer.getError(), "");
    }
}

class NoteForm : public vnXmlCustomDataInterface
{
public:
    vnParseResult read(vnXmlSax* sax, const vnString&, vnRefPointer<vnReference>& data) override
    {
        data = new vnXmlCharData(longText);
        return sax->XML_read_14();
    }
    void write(vnXmlSax* sax, const vnReference* data) override
    {
        sax->beginElementContents();
        sax->writeCharData(dynamic_cast<const vnXmlCharData&>(*data).getData());
    }
};

void useDocument()
{
    const vnRefPointer<NoteForm> notes(new NoteForm);
    NoteForm::registerCustomDataInterface("note", notes); // in place of one that a failure left
    std::string text = "<root one='a long value &amp; more than a few bytes' two='100%%'>";
    for (int i = 0; i < 3; ++i)
        text += "<child id='1'>a text that does not fit into any small buffer &amp; <b/> more</child>";
    static const std::string record = vnObject().asString(1).getString();
    text += "<vnDyn name='value'>" + std::string(longText) + "</vnDyn><vnObj name='object'>" + record +
            "</vnObj><note id='a long value'>text</note>";
    static const std::string path = testing::TempDir() + "vnAllocationDocument" + std::to_string(getpid());
    std::ofstream(path) << "<part a='1'>of more than a few bytes &amp; more</part>";
    text += "<![CDATA[<>]]><!--k--><?include $(VN_NOT_SET)missing.xml?><?include file:" + path + "?></root>";
    const vnRefPointer<vnXmlDom> document(new vnXmlDom);
    document->setMaxDocumentSize(100000);
    document->setMergeStandardReferences(0);
    const vnRefPointer<vnSerializeAdapter> memory(
        new vnSerializeAdapterMemory(text.data(), static_cast<unsigned int>(text.size())));
    document->read(memory);
    std::filesystem::remove(path);
    EXPECT_EQ(document->getError(), "");
    document->mergeStandardReferencesAndText();
    document->resetAllChildIterators();
    vnXMLDomIterator next(*document);
    while (next())
        EXPECT_EQ(next.getContextName().isFirst("/root"), 1);
    EXPECT_TRUE(document->findItem("root/value")->isOfType(vnXmlDynamicType::getClassType()));
    EXPECT_TRUE(document->findItem("root/object")->isOfType(vnXmlObject::getClassType()));
    EXPECT_TRUE(document->findItem("root/note[@id]")->isOfType(vnXmlCustomData::getClassType()));
    auto* child = static_cast<vnXmlElement*>(document->findItem("root/child[last()]"));
    EXPECT_EQ(child->getAttributeList().getCount(), 1u);
    child->setAttribute("more", "%s", longText);
    const vnRefPointer<vnXmlItem> added(new vnXmlCharData(longText));
    document->addItem("root/new/path", added);
    EXPECT_NE(document->asString(VN_XML_STRING_CHILDREN | VN_XML_STRING_DATA), "");
    const vnRefPointer<vnSerializeAdapterQueue> to(new vnSerializeAdapterQueue(VN_QUEUE_FIFO));
    document->write(to);
    EXPECT_EQ(document->getError(), "");
    NoteForm::unregisterCustomDataInterface(notes);
}

struct Script
{
    const char* name;
    void (*run)();
};
const Script scripts[] = {
    {"strings", useStrings},
    {"dicts", useDicts},
    {"long buckets", useLongBuckets},
    {"guids", useGuids},
    {"references", useReferences},
    {"arrays", useArrays},
    {"pools", usePools},
    {"messages", useMessages},
    {"notifications", useNotifications},
    {"one slave on two masters", useTwoMasters},
    {"notification managers", useManagers},
    {"progress", useProgress},
    {"profiler", useProfiler},
    {"update ids", useUpdateIDs},
    {"adapters", useAdapters},
    {"channels", useChannels},
    {"caches", useCaches},
    {"archives", useArchives},
    {"urls", useURLs},
    {"tokens", useTokens},
    {"dynamic values", useDynamicValues},
    {"scanning", useScanning},
    {"expansion", useExpansion},
    {"settings", useSettings},
    {"local registry", useLocalRegistry},
    {"arguments", useArguments},
    {"files", useFiles},
    {"walks", useWalks},
    {"console", useConsole},
    {"file search", useFileSearch},
    {"xml", useXml},
    {"xml document", useDocument},
};

// Runs once with an allocation that fails and once without; answers whether the failing one took place.
bool tortureOnce(vnFailingManager& manager, const Script& script, unsigned int failing)
{
    const bool isReached = manager.run(script.run, failing).isReached;
    EXPECT_EQ(vnCurrentThreadState().guarded, 0) << "a lock is held";
    EXPECT_EQ(vnCurrentThreadState().shared, 0) << "a read-write lock is held";
    script.run(); // works as before, and fills the pools again
    return isReached;
}
} // namespace

TEST(vnAllocationTorture, EndsInBadAllocOrSuccessAndLeaksNothing)
{
    Receiver receiver;
    vnFailingManager manager;
    testing::internal::CaptureStderr(); // each failure is reported there
    for (const Script& script : scripts)
        for (const bool failsOn : {false, true})
        {
            SCOPED_TRACE(std::string(script.name) + (failsOn ? ", nothing from there on" : ""));
            manager.failsOn = failsOn;
            for (int i = 0; i < 20; ++i)
                script.run(); // what is kept for good, such as the rings of buffers, stands now
            const int before = manager.getAlive();
            unsigned int failing = 1;
            while (tortureOnce(manager, script, failing))
            {
                ASSERT_EQ(manager.getAlive(), before) << "after failing number " << failing;
                ASSERT_LT(++failing, 10000u);
            }
            EXPECT_GT(failing, 1u) << "the script allocates nothing";
        }
    const std::string report = testing::internal::GetCapturedStderr();
    EXPECT_EQ(report.find("Bad Alloc:File: "), 0u);
}

// Texts stay for good: each round needs a new one.
TEST(vnAllocationTorture, InternsATextForWhichThereWasNoMemoryAtFirst)
{
    vnFailingManager manager;
    testing::internal::CaptureStderr();
    unsigned int failing = 0;
    bool isReached = true;
    while (isReached)
    {
        const vnString text =
            vnString::formatString("a text that does not fit into a string itself %d", ++failing);
        const unsigned short id = vnUniqueString::getNextFreeId();
        const auto outcome = manager.run([&] { vnUniqueString unique(text.getString()); }, failing);
        isReached = outcome.isReached;
        EXPECT_EQ(outcome.hasThrown, isReached);
        EXPECT_EQ(vnCurrentThreadState().guarded, 0) << "a lock is held";
        EXPECT_EQ(vnUniqueString::isFreeId(id), isReached);
        EXPECT_EQ(vnUniqueString(text.getString()).getUniqueID(), id);
        ASSERT_LT(failing, 100u);
    }
    EXPECT_GT(failing, 1u);
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("Bad Alloc:File: "), 0u);
}

// Sections stay for good: each round needs new ones.
TEST(vnAllocationTorture, LeavesTheProfilerInBalance)
{
    vnFailingManager manager;
    testing::internal::CaptureStderr();
    vnEnablePerformanceSections(1);
    {
        vnPerformanceBody first("torture first"); // what is kept for the thread stands now
    }
    unsigned int failing = 0;
    bool isReached = true;
    while (isReached)
    {
        const vnString name = vnString::formatString("torture of a section whose name is long %d", ++failing);
        const auto outcome = manager.run([&] { vnPerformanceBody section(name); }, failing);
        isReached = outcome.isReached;
        EXPECT_EQ(outcome.hasThrown, isReached);
        EXPECT_EQ(vnCurrentThreadState().guarded, 0) << "a lock is held";
        EXPECT_EQ(vnMemoryControl::getState(0), 1u);
        {
            vnPerformanceBody section(name);
        }
        EXPECT_EQ(vnGetSectionResult(name).count, isReached ? 1u : 2u);
        ASSERT_LT(failing, 100u);
    }
    vnEnablePerformanceSections(0);
    EXPECT_GT(failing, 2u);
    EXPECT_EQ(testing::internal::GetCapturedStderr().find("Bad Alloc:File: "), 0u);
}
