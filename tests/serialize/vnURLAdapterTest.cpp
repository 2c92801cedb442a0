// SPDX-License-Identifier: MIT
#include <vnBase/vnURL.h>

#include "../messages/vnMessageRecorder.h"
#include "vnEncodeTestHelp.h"
#include "vnTempFolder.h"

#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnGuidStringDict.h>
#include <vnBase/vnSerializeAdapterStdIO.h>
#include <vnBase/vnSerializeAdapterString.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

#include <sys/stat.h>

namespace
{
vnSerializeAdapter* open(const vnString& url, vnSerializeAction action = VN_SERIALIZE_INPUT,
                         vnString* error = nullptr)
{
    return vnSerializeAdapter::getURLAdapter(url, action, VN_ADAPTER_SILENT, vnString(), error);
}

// The text of the failure.
std::string failure(const vnString& url, vnSerializeAction action = VN_SERIALIZE_INPUT)
{
    vnString error;
    const Adapter adapter(open(url, action, &error));
    return adapter ? "opened" : error.getString();
}

vnString urlOf(const char* scheme, const void* address)
{
    return vnString::formatString("%s%d", scheme,
                                  static_cast<vnUInt64>(reinterpret_cast<std::uintptr_t>(address)));
}

vnString braced(const vnGUID& guid)
{
    return vnString("{") + vnString(guid.asString()).strip('{').strip('}') + "}";
}

// A folder with a file of "abc".
class vnURLAdapter : public testing::Test
{
protected:
    ~vnURLAdapter() noexcept override { std::filesystem::current_path(m_old); }
    void enterFolder() const { std::filesystem::current_path(folder.path("").getString()); }

    const vnTempFolder folder;
    const vnString path = folder.write("a.txt", "abc");

private:
    const std::filesystem::path m_old = std::filesystem::current_path();
};

// Counts its instances, and starts with an error if that is wanted.
class Counted : public vnSerializeAdapterQueue
{
public:
    explicit Counted(const char* error = "") : vnSerializeAdapterQueue(VN_QUEUE_FIFO)
    {
        ++s_alive;
        setError(error);
    }
    ~Counted() noexcept(false) override { --s_alive; }
    static int s_alive;
};

int Counted::s_alive = 0;

// Answers with what it is told to and keeps what it was asked.
class Manager : public vnSerializeURLManagerInterface
{
public:
    explicit Manager(const vnString& scheme) : m_scheme(scheme)
    {
        ref(); // a member of the test, not of the heap
        vnSerializeAdapter::registerURLManager(m_scheme, this);
    }
    ~Manager() noexcept(false) override
    {
        vnSerializeAdapter::unregisterURLManager(m_scheme, this);
        unrefNoDelete();
    }
    vnSerializeAdapter* getURLAdapter(const vnString& url, vnSerializeAction newAction, vnUInt64 newFlags,
                                      const vnString& newPassword, vnString* newError) override
    {
        asked += url + ";";
        action = newAction;
        flags = newFlags;
        password = newPassword;
        error = newError;
        if (again)
            return vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT);
        if (!forward.isEmpty())
            return vnSerializeAdapter::getURLAdapter(forward, newAction, newFlags);
        return std::exchange(answer, nullptr);
    }

    vnSerializeAdapter* answer = nullptr;
    bool again = false;
    vnString forward;
    vnString asked;
    vnSerializeAction action = VN_SERIALIZE_APPEND;
    vnUInt64 flags = 0;
    vnString password;
    vnString* error = nullptr;

private:
    vnString m_scheme;
};
} // namespace

TEST_F(vnURLAdapter, OpensFilesWithAndWithoutScheme)
{
    for (const vnString& url : {path, vnString("file:") + path, vnString("FILE:") + path, path + "?x=1"})
    {
        const Adapter adapter(open(url));
        ASSERT_TRUE(adapter) << url;
        EXPECT_EQ(readByByte(adapter), "abc") << url;
        EXPECT_EQ(adapter->getName(), "a.txt") << url;
        EXPECT_EQ(adapter->getDefaultPath() + "a.txt", path) << url;
    }
    const Adapter adapter(open(vnString("FILE:") + path + "?x=1"));
    EXPECT_EQ(adapter->getURLBase(), "file:");
    EXPECT_EQ(adapter->getAttributes(), "x=1");
    EXPECT_EQ(adapter->getURL(), vnString("file:") + path + "?x=1");
}

TEST_F(vnURLAdapter, HandsFlagsAndPasswordOn)
{
    const vnUInt64 flags = 0x200000000 | VN_ADAPTER_NO_EXPANSION;
    const Adapter adapter(vnSerializeAdapter::getURLAdapter(path, VN_SERIALIZE_INPUT, flags, "secret"));
    EXPECT_EQ(adapter->getAdapterFlags(), flags);
    EXPECT_EQ(adapter->getPassword(), "secret");
    EXPECT_EQ(adapter->getRef(), 1u);
}

TEST_F(vnURLAdapter, LooksNamesOfTheSchemeFileUpWhateverTheFlagsSay)
{
    // The look-up takes a scheme from a name, so it shows that it was made.
    EXPECT_TRUE(Adapter(vnSerializeAdapter::getURLAdapter(vnString("file:file:") + path, VN_SERIALIZE_INPUT,
                                                          VN_ADAPTER_SILENT | VN_ADAPTER_NO_EXPANSION)));
}

TEST_F(vnURLAdapter, WritesAndAppendsToFiles)
{
    const auto write = [](const vnString& url, vnSerializeAction action)
    { Adapter(open(url, action))->write('x'); };
    write(path, VN_SERIALIZE_OUTPUT);
    write(vnString("file:") + path + "?append=yes", VN_SERIALIZE_OUTPUT);
    write(path + "?append", VN_SERIALIZE_OUTPUT);
    write(path, VN_SERIALIZE_APPEND);
    EXPECT_EQ(vnTempFolder::content(path), "xxxx");
    write(vnString("file:") + path + "?append=no", VN_SERIALIZE_OUTPUT);
    EXPECT_EQ(vnTempFolder::content(path), "x");
}

TEST_F(vnURLAdapter, TakesUnknownSchemesAsPartsOfFileNames)
{
    enterFolder();
    std::filesystem::create_directories("ftp:/host");
    for (const char* url : {"Foo:Bar", "ftp://host/x", "purl:wrong"}) // as they were spelled
    {
        EXPECT_TRUE(Adapter(open(url, VN_SERIALIZE_OUTPUT))) << url;
        EXPECT_TRUE(std::filesystem::exists(url)) << url;
    }
}

TEST_F(vnURLAdapter, OpensMemoryByItsAddress)
{
    unsigned char block[] = {1, 2, 3, 4};
    const vnString url = urlOf("mem:", block);
    const Adapter adapter(open(url + ",3"));
    ASSERT_TRUE(adapter);
    EXPECT_EQ(readByByte(adapter), "\1\2\3");
    EXPECT_EQ(Adapter(open(url + ",4 and more"))->length(), 4u);
    EXPECT_EQ(Adapter(open("mem:0,10"))->length(), 0u);
    EXPECT_EQ(Adapter(open("mem:-,+"))->length(), 0u); // signs alone are zeros
    for (const char* wrong : {"mem:1024", "mem:", "mem:1024,", "mem:,1", "mem:a,1", "mem:1;1", "mem:1,-1",
                              "mem:1,4294967296", "mem:99999999999999999999,1"})
        EXPECT_EQ(failure(wrong),
                  std::string("Wrong syntax in (mem:address,len) adapter arguments (") + wrong + ")");
}

TEST_F(vnURLAdapter, ReturnsTheAdapterThatAnAddressNames)
{
    vnSerializeAdapterQueue queue(VN_QUEUE_FIFO);
    const vnString url = urlOf("adapt:", &queue);
    EXPECT_EQ(open(url + "?x=1"), &queue);
    EXPECT_EQ(queue.getURL(), url + "?x=1");
}

TEST_F(vnURLAdapter, NeverDeletesAnAdapterThatAnAddressNames)
{
    Manager outer("outer"), inner("inner");
    outer.forward = "inner:x";
    for (const bool isBehindManagers : {false, true})
    {
        auto* named = new Counted;
        inner.forward = urlOf("adapt:", named);
        const vnString url = isBehindManagers ? vnString("outer:a") : inner.forward;
        EXPECT_TRUE(vnURLExist(url));
        EXPECT_TRUE(copyAdapters(url, path, nullptr));
        EXPECT_EQ(readByByte(named), "abc");
        named->setError("broken");
        const std::string expected = "URL Adapter (" + std::string(url.getString()) + ") Error:" +
                                     (isBehindManagers ? "Could not open" : "broken"); // as a file, at last
        EXPECT_EQ(failure(url).substr(0, expected.size()), expected);
        EXPECT_EQ(Counted::s_alive, 1);
        EXPECT_EQ(named->getRef(), 0u);
        named->checkDelete();
    }
    EXPECT_EQ(Counted::s_alive, 0);
}

TEST_F(vnURLAdapter, OpensTheConsole)
{
    const Adapter adapter(open("con:"));
    EXPECT_TRUE(dynamic_cast<vnSerializeAdapterStdIO*>(adapter.get()));
}

TEST_F(vnURLAdapter, MakesRandomBytes)
{
    const Adapter adapter(open("dummy:5000"));
    ASSERT_TRUE(adapter);
    const std::string bytes = readByByte(adapter);
    EXPECT_EQ(bytes.size(), 5000u);
    EXPECT_NE(bytes.find_first_not_of(bytes[0]), std::string::npos);
    EXPECT_EQ(Adapter(open("DUMMY:0"))->length(), 0u);
    vnSetMaxDummyURLSize(10);
    EXPECT_TRUE(Adapter(open("dummy:10")));
    EXPECT_FALSE(Adapter(open("dummy:11")));
    vnSetMaxDummyURLSize(0xFFFFFFFF);
}

TEST_F(vnURLAdapter, TriesAFileWhenRandomBytesAreRefused)
{
    Recorder recorder;
    EXPECT_EQ(vnSerializeAdapter::getURLAdapter("dummy:x", VN_SERIALIZE_INPUT), nullptr);
    EXPECT_EQ(recorder.take(),
              (Lines{"VantorSDK|4000|Wrong syntax in (dummy:{size}) adapter arguments (dummy:x)",
                     "VantorSDK|4000|URL Adapter (dummy:x) Error:Could not open 'dummy:x' for reading (No "
                     "such file or directory)"}));
    vnString error;
    enterFolder();
    EXPECT_TRUE(Adapter(open("dummy:1", VN_SERIALIZE_OUTPUT, &error)));
    EXPECT_EQ(error, "Can not open 'dummy:1' as output");
}

TEST_F(vnURLAdapter, TellsWhatFailed)
{
    const std::pair<const char*, const char*> rows[] = {
        {"", "Empty URL name in getAdapter"},
        {"{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}", "Unknown GUID URL in getAdapter"},
        {"{}", "Unknown GUID URL in getAdapter"},
        {"file:/a/{no guid}", "Unknown GUID URLName in getAdapter"},
        {"adapt:x", "Wrong syntax in (adapt:address) adapter arguments (adapt:x)"},
        {"adapt:0", "Could not create URL Adapter 'adapt:0'"},
        {"cache:1", "Wrong syntax in (cache:offset,len,url) adapter arguments (cache:1)"},
        {"http://host/a", "Could not create URL Adapter 'http://host/a'"},
        {"udp:host,1", "Could not create URL Adapter 'udp:host,1'"},
        {"tcp:host,1", "Could not create URL Adapter 'tcp:host,1'"},
        {"pipe:name", "Could not create URL Adapter 'pipe:name'"},
        {"psrv:name", "Could not create URL Adapter 'psrv:name'"},
        {"zip:a.zip", "Wrong syntax in (zip:{archive url},file) adapter arguments (zip:a.zip)"},
        {"/no/such/file",
         "URL Adapter (/no/such/file) Error:Could not open '/no/such/file' for reading (No such "
         "file or directory)"},
        {"rand:/no/such/file", "Could not create URL Adapter 'rand:/no/such/file'"},
        {"cache:0,1,/no/such/file",
         "URL Adapter (cache:0,1,/no/such/file) Error:Failed to open URL:/no/such/file (URL Adapter "
         "(/no/such/file) Error:Could not open '/no/such/file' for reading (No such file or directory))"},
        {"cache:0,1,zip:{/no/such/file},x",
         "URL Adapter (cache:0,1,zip:{/no/such/file},x) Error:Failed to open URL:zip:{/no/such/file},x (URL "
         "Adapter (/no/such/file) Error:Could not open '/no/such/file' for reading (No such file or "
         "directory))"},
    };
    for (const auto& [url, text] : rows)
        EXPECT_EQ(failure(url), text) << url;
}

TEST_F(vnURLAdapter, ReachesNothingInTheProcessForAURLFromOutside)
{
    const vnString fifo = folder.path("fifo");
    ASSERT_EQ(mkfifo(fifo, 0600), 0);
    char bytes[] = "secret";
    const vnString memory = urlOf("mem:", bytes) + ",6";
    vnGUID guid;
    guid.generate();
    vnGuidStringDict::enter(guid, memory);
    Manager odd("odd:"), ownMemory("mem:");
    odd.forward = memory;
    const vnString cached = vnString("cache:0,6,") + memory;
    const Adapter trusted(open(cached)); // so that the cache has it
    ASSERT_TRUE(trusted);

    const auto openUntrusted = [](const vnString& url)
    { return Adapter(vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, VN_ADAPTER_UNTRUSTED | 1)); };
    for (const vnString& url :
         {memory, urlOf("ADAPT:", trusted.get()), vnString("con:"), vnString("pipe:x"), vnString("psrv:x"),
          vnString("rand:") + memory, vnString("zip:{") + memory + "},x", cached,
          vnString("mecache:0,6,") + memory.left(2, 1), vnString("mecache:0,6cache:,") + memory.left(2, 1),
          guid.asString(), vnString("rand:") + guid.asString(), vnString("odd:x"), fifo,
          vnString("file:") + fifo, vnString("rand:") + fifo, vnString("/dev/tty"), vnString("/dev/zero"),
          vnString("dummy:1")})
        EXPECT_FALSE(openUntrusted(url)) << url;
    EXPECT_EQ(ownMemory.asked, memory + ";"); // for the one that is trusted
    for (const vnString& url :
         {path, vnString("file:") + path, vnString("cache:0,-1,") + path, vnString("rand:file:") + path})
    {
        const Adapter adapter(openUntrusted(url));
        ASSERT_TRUE(adapter) << url;
        EXPECT_EQ(readByByte(adapter), "abc") << url;
    }
    for (const vnString& url : {vnString("/proc/self/maps"), vnString("cache:0,9,/proc/self/maps")})
        EXPECT_EQ(readByByte(openUntrusted(url)), "") << url;
    enterFolder();
    folder.write(" a.txt", "own");
    EXPECT_EQ(readByByte(Adapter(open("cache:0,9, a.txt"))), "own");
    EXPECT_EQ(readByByte(openUntrusted("cache:0,9,a.txt")), "abc"); // not what is kept open for the other
    // What is cached is read, whatever it is opened for.
    Adapter(vnSerializeAdapter::getURLAdapter(vnString("cache:0,2,") + path, VN_SERIALIZE_OUTPUT,
                                              VN_ADAPTER_UNTRUSTED | 1));
    EXPECT_EQ(readByByte(openUntrusted(path)), "abc");
    vnGuidStringDict::remove(guid);
}

TEST_F(vnURLAdapter, MakesNoFileOfASchemeThatItCanNotOpen)
{
    enterFolder();
    std::filesystem::remove("a.txt");
    for (const char* url : {"http:a", "udp:a", "tcp:a", "pipe:a", "psrv:a"})
        EXPECT_EQ(failure(url, VN_SERIALIZE_OUTPUT),
                  std::string("Could not create URL Adapter '") + url + "'");
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(vnURLAdapter, HandsOutTranslatedFailures)
{
    struct Brackets : vnMessageTranslatorInterface
    {
        Brackets() { vnMessage::setMessageTranslator(this); }
        ~Brackets() noexcept(false) override { vnMessage::setMessageTranslator(nullptr); }
        vnString translate(const vnString& sender, vnMessageLevel, const vnString& text) override
        {
            return sender == "VantorSDK" ? vnString("<") + text + ">" : text;
        }
        void setTranslation(const vnString&, const vnString&, const vnString&, const vnString&) override {}
    };
    Brackets brackets;
    EXPECT_EQ(failure("mem:1"), "<Wrong syntax in (mem:address,len) adapter arguments (mem:1)>");
    vnString error;
    EXPECT_FALSE(copyAdapters("con:", "adapt:0", &error, VN_ADAPTER_SILENT, VN_ADAPTER_SILENT));
    EXPECT_EQ(error, "<Could not create URL Adapter 'adapt:0'>");
}

TEST_F(vnURLAdapter, PostsFailuresUnlessSilent)
{
    Recorder recorder;
    vnMessage::setMessageLevel(VN_MESSAGE_NOTICE | VN_MESSAGE_INTERNAL);
    EXPECT_EQ(vnSerializeAdapter::getURLAdapter("", VN_SERIALIZE_INPUT), nullptr);
    EXPECT_EQ(vnSerializeAdapter::getURLAdapter("{}", VN_SERIALIZE_INPUT), nullptr);
    EXPECT_EQ(vnSerializeAdapter::getURLAdapter("", VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT), nullptr);
    EXPECT_EQ(recorder.take(), (Lines{"VantorSDK|4000|Empty URL name in getAdapter",
                                      "VantorSDK|4800|Unknown GUID URL in getAdapter"}));
    for (const char* url : {"file:/a/{no guid}", "adapt:x", "adapt:0"})
        EXPECT_EQ(vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT), nullptr) << url;
    EXPECT_EQ(recorder.take(),
              (Lines{"VantorSDK|4800|Unknown GUID URLName in getAdapter",
                     "VantorSDK|4000|Wrong syntax in (adapt:address) adapter arguments (adapt:x)",
                     "VantorSDK|4000|Could not create URL Adapter 'adapt:0'"}));
}

TEST_F(vnURLAdapter, OpensWhatAGUIDStandsFor)
{
    const vnGUID url(1ull, 2), name(3ull, 4);
    vnGuidStringDict::enter(url, path + "?x=1");
    vnGuidStringDict::enter(name, "a.txt");
    const Adapter whole(open(braced(url)));
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->getAttributes(), "x=1");
    const Adapter last(open(vnString("file:") + folder.path("") + braced(name)));
    ASSERT_TRUE(last);
    EXPECT_EQ(readByByte(last), "abc");
    Manager manager("myscheme");
    EXPECT_FALSE(Adapter(open(vnString("MyScheme:dir/") + braced(name) + "?y=2")));
    EXPECT_EQ(manager.asked, "MyScheme:dir/a.txt?y=2;");
    vnGuidStringDict::remove(url);
    vnGuidStringDict::remove(name);
}

TEST_F(vnURLAdapter, RefusesAGUIDThatMakesTheURLTooLong)
{
    const vnGUID guid(5ull, 6);
    const vnString name = braced(guid);
    for (const std::string tail : {"", "?x"})
    {
        const vnString url = vnString("file:/no/") + name + tail.c_str();
        std::string longest(65535 - 9 - tail.size(), 'n');
        vnGuidStringDict::enter(guid, longest.c_str());
        EXPECT_EQ(failure(url).substr(0, 12), "URL Adapter ") << tail;
        longest += 'n';
        vnGuidStringDict::enter(guid, longest.c_str());
        EXPECT_EQ(failure(url), "Too long URL in getAdapter") << tail;
    }
    Recorder recorder;
    EXPECT_EQ(vnSerializeAdapter::getURLAdapter(vnString("file:/no/") + name + "?x", VN_SERIALIZE_INPUT),
              nullptr);
    EXPECT_EQ(recorder.take(), Lines{"VantorSDK|4000|Too long URL in getAdapter"});
    vnGuidStringDict::remove(guid);
}

TEST_F(vnURLAdapter, AsksManagersFirstAndInTheirOrder)
{
    Manager first("FILE"), second("file:");
    first.answer = new Counted;
    {
        const Adapter adapter(open(vnString("file:") + path + "?x"));
        EXPECT_TRUE(dynamic_cast<Counted*>(adapter.get()));
        EXPECT_EQ(adapter->getURL(), vnString("file:") + path + "?x"); // its parts are filled in, too
    }
    EXPECT_EQ(second.asked, "");
    second.answer = new Counted;
    EXPECT_TRUE(dynamic_cast<Counted*>(Adapter(open(vnString("file:") + path)).get()));
    EXPECT_EQ(first.asked, vnString("file:") + path + "?x;file:" + path + ";");
    EXPECT_EQ(readByByte(Adapter(open(vnString("file:") + path))), "abc"); // both decline
    EXPECT_EQ(Counted::s_alive, 0);
}

TEST_F(vnURLAdapter, TellsManagersWhatWasAsked)
{
    Manager manager("myscheme"), cache("cache");
    vnString error;
    manager.answer = new Counted;
    const Adapter adapter(vnSerializeAdapter::getURLAdapter(
        "myscheme:a", VN_SERIALIZE_OUTPUT, 0x200000000 | VN_ADAPTER_SILENT, "secret", &error));
    EXPECT_TRUE(adapter);
    EXPECT_EQ(manager.action, VN_SERIALIZE_OUTPUT);
    EXPECT_EQ(manager.flags, 0x200000000 | VN_ADAPTER_SILENT);
    EXPECT_EQ(manager.password, "secret");
    EXPECT_EQ(manager.error, &error);
    // What stood in front of the scheme has moved.
    EXPECT_FALSE(Adapter(open("http://host/cache:0,9,file")));
    EXPECT_EQ(cache.asked, "cache:0,9,http://host/file;");
}

TEST_F(vnURLAdapter, HoldsTheManagersThatAreRegistered)
{
    struct Dying : vnSerializeURLManagerInterface
    {
        explicit Dying(bool& gone) : isGone(gone) {}
        ~Dying() noexcept(false) override { isGone = true; }
        vnSerializeAdapter* getURLAdapter(const vnString&, vnSerializeAction, vnUInt64, const vnString&,
                                          vnString*) override
        {
            return new Counted;
        }
        bool& isGone;
    };
    bool isGone = false;
    vnSerializeAdapter::registerURLManager("myscheme", new Dying(isGone));
    EXPECT_TRUE(Adapter(open("myscheme:a")));
    EXPECT_FALSE(isGone);
    vnSerializeAdapter::unregisterURLManager("myscheme", vnSerializeAdapter::getURLManager("myscheme:"));
    EXPECT_TRUE(isGone);
}

TEST_F(vnURLAdapter, DeletesAnAdapterWithAnError)
{
    Manager manager("myscheme");
    manager.answer = new Counted("born broken");
    EXPECT_EQ(failure("myscheme:a"), "URL Adapter (myscheme:a) Error:born broken");
    EXPECT_EQ(Counted::s_alive, 0);
}

TEST_F(vnURLAdapter, EndsURLsThatOpenThemselves)
{
    Manager manager("myscheme");
    manager.again = true;
    EXPECT_FALSE(Adapter(open("myscheme:a")));
    EXPECT_EQ(manager.asked.length(), 32 * 11);
}

TEST_F(vnURLAdapter, ListsManagersByTheirExactKey)
{
    Manager first("MyScheme"), second("myscheme:");
    EXPECT_EQ(vnSerializeAdapter::getURLManager("myscheme:"), &first);
    EXPECT_EQ(vnSerializeAdapter::getURLManager("myscheme:", &first), &second);
    EXPECT_EQ(vnSerializeAdapter::getURLManager("myscheme:", &second), nullptr);
    EXPECT_FALSE(vnSerializeAdapter::hasRegisteredURLManager("myscheme"));
    EXPECT_FALSE(vnSerializeAdapter::hasRegisteredURLManager("MyScheme:"));
    vnSerializeAdapter::unregisterURLManager("MYSCHEME", &first);
    EXPECT_EQ(vnSerializeAdapter::getURLManager("myscheme:"), &second);
    vnSerializeAdapter::registerURLManager("none", nullptr);
    EXPECT_FALSE(vnSerializeAdapter::hasRegisteredURLManager("none:"));
}

TEST_F(vnURLAdapter, AsksAManagerOnceThatIsRegisteredTwice)
{
    Manager first("myscheme"), second("myscheme");
    vnSerializeAdapter::registerURLManager("MyScheme:", &first);
    vnSerializeAdapter::registerURLManager("MyScheme:", &second);
    EXPECT_FALSE(Adapter(open("myscheme:a")));
    EXPECT_EQ(first.asked, "myscheme:a;");
    EXPECT_EQ(second.asked, "myscheme:a;");
}

TEST_F(vnURLAdapter, OpensFromManyThreadsAtOnce)
{
    const vnString url = vnString("file:") + path;
    vnString base("dummy:");
    base.makeUnique(); // a look-up must not pass this on to the key
    const auto work = [&]
    {
        for (int i = 0; i < 500; ++i)
        {
            EXPECT_TRUE(vnSerializeAdapter::hasRegisteredURLManager(base));
            EXPECT_EQ(readByByte(Adapter(open(vnString(url.getString())))), "abc");
        }
    };
    std::thread other(work);
    work();
    other.join();
}

TEST_F(vnURLAdapter, KnowsWhetherURLsExist)
{
    Recorder recorder;
    EXPECT_TRUE(vnURLExist(path));
    EXPECT_TRUE(vnURLExist(vnString("file:") + path));
    EXPECT_FALSE(vnURLExist(path + "x"));
    EXPECT_FALSE(vnURLExist("zip:a"));
    EXPECT_FALSE(vnURLExist(""));
    EXPECT_EQ(recorder.take(), Lines{});
    Manager manager("myscheme");
    for (const char* url : {"myscheme:a", "myscheme:a?b", "myscheme:a?exist=yes", "myscheme:a?exist=no"})
        vnURLExist(url);
    EXPECT_EQ(manager.asked, "myscheme:a?exist=yes;myscheme:a?b&exist=yes;myscheme:a?exist=yes;"
                             "myscheme:a?exist=no&exist=yes;");
    const std::string query(65535 - path.length() - 1, 'q'); // leaves no room for the attribute
    EXPECT_TRUE(vnURLExist(path + "?" + query.c_str()));
}
