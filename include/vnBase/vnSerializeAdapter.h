// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnCompareInterface.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnNameInterface.h>
#include <vnBase/vnQueue.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeData.h>
#include <vnBase/vnString.h>

#include <cstring>

/// What an adapter is opened for.
enum vnSerializeAction : unsigned int
{
    VN_SERIALIZE_OUTPUT = 1,
    VN_SERIALIZE_INPUT = 2,
    VN_SERIALIZE_APPEND = 3 // for files: output behind what exists
};

/// Where a `seek` counts from.
enum vnOriginPos : unsigned int
{
    VN_ORIGIN_SET = 0,
    VN_ORIGIN_CURRENT = 1,
    VN_ORIGIN_END = 2
};

/// Bits of the adapter flags; their users name further ones.
enum : vnUInt64
{
    VN_ADAPTER_SILENT = 0x1,        // no message on failure
    VN_ADAPTER_NO_EXPANSION = 0x10, // input files: the name is used as it is

    /// The URL comes from outside, from a document for example: "mem:", "adapt:", "con:", "pipe:" and
    /// "psrv:", which reach memory or channels of the process, are refused, also within other URLs and behind
    /// GUIDs; input files must be regular ones, and "dummy:" has no bytes. What is taken into memory is
    /// bounded by `vnSerializeAdapter::setMaxUntrustedSize`. Managers hand it on to the URLs that they open.
    VN_ADAPTER_UNTRUSTED = 0x100000000
};

/// The shared instances written to a stream: object to id.
using vnRefInstanceDictionary = vnRefDict<vnInstanceCompareInterface, vnReference>;

/// The shared instances read from a stream: id to object.
using vnRefInstanceArray = vnDynamicArray<vnRefPointer<vnReference>>;

class vnSerializeURLManagerInterface;

/// The one byte stream of the library. Every source and sink of bytes (a file, a memory block, a socket, an
/// encoder in front of another adapter, ...) is a class derived from it, and whatever reads or writes bytes
/// takes an adapter and does not know what stands behind it.
///
///     vnRefPointer<vnSerializeAdapter> in(new vnSerializeAdapterFile("a.txt", VN_SERIALIZE_INPUT, 0, 0));
///     while (in->hasData())
///         use(in->read());
///     if (in->hasError())
///         ...
///
/// Users call `read`, `write`, `pushBack`, `hasData` and `length`; a derived class implements `read_imp`,
/// `write_imp`, `length_imp` and `hasData_imp`. Bytes that were read too far are pushed back and come again,
/// the byte pushed last first.
///
/// Ownership: whoever takes an adapter may hold it, and by letting go deletes one that nobody else holds. So
/// make adapters by `new` and hold them in a `vnRefPointer`. One on the stack, or a member, is for its own
/// operations, unless its owner calls `ref()` first and `unrefNoDelete()` before its end.
///
/// Errors: the operations don't throw for a source that ends or a sink that is full. The first cause to know
/// is the error string, which stays until it is set anew; nothing here tests it, so ask `hasError()`. Lengths
/// are 32-bit.
///
/// A derived class that has its next bytes, or room for them, in memory may lay them open as a window;
/// reading and writing there is a matter of a few instructions. Its `read_imp` and `write_imp` are called
/// when the window is used up, or too small for a block. So a class derived from one with windows that wants
/// to see each byte closes them (`setReadWindow(nullptr, nullptr)`) and overrides all forms.
///
/// Thread-safety: one adapter belongs to one thread at a time; only its reference count is guarded.
class VN_BASE_API vnSerializeAdapter : public vnThreadSafeReference, public vnNameInterface
{
public:
    vnSerializeAdapter();
    vnSerializeAdapter(const vnSerializeAdapter&) = delete;
    vnSerializeAdapter& operator=(const vnSerializeAdapter&) = delete;
    VN_TYPE(vnSerializeAdapter)
    ~vnSerializeAdapter() noexcept(false) override;

    /// Answers 0: a stream has no clone, so that pointers to it share it.
    unsigned char useDeepCopy() override { return 0; }

    /// Whether `seek` works.
    virtual unsigned char canSeek();

    /// Tells a reading adapter that its user is going to seek, so that reading ahead does not pay.
    virtual void setSeekMode(unsigned char mode);

    /// Moves the position and returns it; 0xFFFFFFFF when that can't be done. Bytes pushed back stay.
    virtual unsigned int seek(int offset, vnOriginPos origin);

    /// Whether the adapter can be used for `action`.
    virtual unsigned char supportAction(vnSerializeAction action);

    /// Holds `data` as the associated data in place of the earlier one; null is ignored.
    virtual void mergeAssociatedData(vnReference* data);

    /// Writing adapters put out what they buffer. The base drops the bytes pushed back.
    virtual void flush();

    /// Asked before a user closes the stream; 0 declines.
    virtual unsigned char aboutToClose(unsigned char force);
    virtual unsigned char isActive();
    virtual unsigned char hasError();
    virtual vnString getError();

    /// An empty text clears the error.
    virtual void setError(const vnString& error);

    /// The tables of shared instances, created on first use. An adapter in front of another one hands these
    /// on.
    virtual vnRefInstanceDictionary& getRefInstanceDictionary();
    virtual vnRefInstanceArray& getRefInstanceArray();

    /// 0, 1, 2, ...
    virtual unsigned int getNewSharedInstanceID();

    /// Starts the ids again at 0 and empties the dictionary; the array stays.
    virtual void clearSharedRefs();

    /// The extension that this adapter prefers in place of the one given.
    virtual vnString useExtension(const vnString& extension);

    /// The next byte, from the bytes pushed back or from the source. What a source without data gives is told
    /// by its class.
    unsigned char read() { return m_readNext != m_readEnd ? *m_readNext++ : readByte(); }

    /// Reads up to `count` bytes and returns how many came. With `data` null it skips `count` bytes as by
    /// `count` calls of `read()`, whose error or exception it has where the source ends, and returns `count`.
    /// A count of 0 asks nothing of the source.
    unsigned int read(unsigned char* data, unsigned int count)
    {
        // A count of 0 wraps, so that it never takes the way with the copy.
        if (!data || count - 1 >= static_cast<std::size_t>(m_readEnd - m_readNext))
            return readBlock(data, count);
        std::memcpy(data, m_readNext, count);
        m_readNext += count;
        return count;
    }

    /// Writing does not touch the bytes pushed back.
    void write(unsigned char byte)
    {
        if (m_writeNext != m_writeEnd)
            *m_writeNext++ = byte;
        else
            write_imp(byte);
    }
    void write(const unsigned char* data, unsigned int count)
    {
        if (count - 1 >= static_cast<std::size_t>(m_writeEnd - m_writeNext))
        {
            write_imp(const_cast<unsigned char*>(data), count);
            return;
        }
        std::memmove(m_writeNext, data, count);
        m_writeNext += count;
    }

    /// Puts bytes in front of the source. After `pushBack("abc", 3)` the next reads yield a, b, c.
    void pushBack(unsigned char byte);
    void pushBack(const unsigned char* data, unsigned int count);

    /// A hint ahead of a large push-back: raises the growth chunk of the store to `extra` and the bytes now
    /// held, and to 1 MiB at most. It takes no memory itself.
    void allocPushBack(unsigned int extra);

    /// Moves everything that the source reports as its length into the push-back store; the order of delivery
    /// stays.
    void pushBackAdapterData();

    /// The bytes known to be there: pushed back and in the source. 0xFFFFFFFF stands for that many and more.
    unsigned int length();

    /// Whether at least `count` bytes can be read. A source that does not know its length is probed by
    /// reading them and pushing them back; that may block as its reading does. One that only estimates its
    /// length knows about the next byte, and goes by the estimate for more.
    unsigned char hasData(unsigned int count = 1)
    {
        return count <= static_cast<std::size_t>(m_readEnd - m_readNext) || probe(count);
    }

    /// Writes the item for `VN_SERIALIZE_OUTPUT` and reads it for `VN_SERIALIZE_INPUT`; does nothing for any
    /// other action. So one function of a class serves both directions.
    void serialize(vnSerializeData* data, vnSerializeAction action);

    /// The parts of the URL glued together: base, path and name, then "?" and the attributes if there are
    /// any.
    vnString getURL() const;

    /// Makes tables and id counter of the shared instances copies of the other's. The instances are the same,
    /// and what is noted of them is a copy: it is cloned where its `useDeepCopy()` answers 1. Of an adapter
    /// in front of another one those of the adapter behind it are meant, on either side.
    void copySharedRefData(const vnSerializeAdapter& other);

    /// Opens a URL: a new adapter with the reference count 0 for the caller to hold, or null.
    ///
    ///     vnRefPointer<vnSerializeAdapter> in(
    ///         vnSerializeAdapter::getURLAdapter("file:a.txt?append=yes", VN_SERIALIZE_OUTPUT));
    ///
    /// The managers registered for the scheme are asked first. Then come the schemes of the library:
    ///
    ///     file:name             a file; "?append=yes" keeps what it holds; without the flags given
    ///     mem:address,length    a block of memory of this process, in decimal digits
    ///     adapt:address         a vnSerializeAdapter of this process itself, which stays its owner's
    ///     con:                  the console
    ///     rand:url              what the URL delivers, in memory, so that it can be sought in
    ///     cache:offset,len,url  a part of it, from the cache of the process; -1 for a length in the stream
    ///     zip:{url},name        for reading, a member of the ZIP archive that the URL delivers
    ///     dummy:size            for reading, that many random bytes
    ///     anything else         the file of that name, with the flags given
    ///
    /// The schemes "pipe:", "psrv:", "http:", "udp:" and "tcp:" need a manager; without one they fail.
    ///
    /// The adapter of an "adapt:" URL may have the count 0, too, when it is a member or stands on a stack: a
    /// `vnRefPointer` would delete it, unless its owner holds it by `ref()`. Addresses are trusted. A GUID in
    /// braces stands for the URL, or for the last component of a path, that was entered for it in
    /// `vnGuidStringDict`. Parts of the URL, password and flags are set on the adapter.
    ///
    /// A failure is posted as a message, unless the flags hold `VN_ADAPTER_SILENT`, and its translated text
    /// goes to `error` if that is not null. An adapter that reports an error when it was made is deleted, and
    /// that is a failure, too. Nothing is thrown but what constructors throw.
    ///
    /// Thread-safety: any thread, also at once; see `registerURLManager`.
    static vnSerializeAdapter* getURLAdapter(const vnString& url, vnSerializeAction action,
                                             vnUInt64 flags = 0, const vnString& password = vnString(),
                                             vnString* error = nullptr);

    /// Splits a URL; each output may be null. "http://host/dir/file.txt?a=1" has the base "http:" in lower
    /// case, the path "//host/dir/", the name "file.txt" and the attributes "a=1". Backslashes become
    /// slashes. Returns 1 for an absolute URL: one with a scheme, or with a path that starts with a slash. A
    /// "cache:" in the middle moves to the front, with what stood before it: "http://host/cache:0,9,file" is
    /// "cache:0,9,http://host/file". `valid` is 0 for a zip or purl URL whose parts are not to be found.
    static unsigned char getURLBaseEncoding(const vnString& url, vnString* base, vnString* path,
                                            vnString* name, vnString* attributes, unsigned char* valid);

    /// The value of the first item with this name in "a=1&b=2&amp;c"; "true" for an item without "=".
    static vnString getURLAttributeValue(const vnString& attribute, const vnString& attributes,
                                         const vnString& defaultValue);

    /// Whether there is a value, and it is not empty.
    static unsigned char hasURLAttributeValue(const vnString& attribute, const vnString& attributes);

    /// Adds a manager behind those registered for this scheme before, and takes it out again. Letters of
    /// either case, with or without the colon; a null manager is ignored, and so is one that is registered
    /// for the scheme already. The registry holds a reference on the manager: one that is a member or stands
    /// on a stack needs a reference of its owner, or it is deleted when it is taken out. The registry takes
    /// no lock: register before threads open URLs.
    static void registerURLManager(const vnString& scheme, vnSerializeURLManagerInterface* manager);
    static void unregisterURLManager(const vnString& scheme, vnSerializeURLManagerInterface* manager);

    /// The first manager under exactly this key ("file:"), or the one behind `previous`; null behind the
    /// last.
    static vnSerializeURLManagerInterface* getURLManager(const vnString& key,
                                                         vnSerializeURLManagerInterface* previous = nullptr);
    static unsigned char hasRegisteredURLManager(const vnString& key);

    /// How deep URLs may stand in URLs, and how many openings one thread may have begun at once; 32 at the
    /// start, and at least 1. What is deeper does not open.
    static unsigned int getMaxURLDepth() noexcept;
    static void setMaxURLDepth(unsigned int depth) noexcept;

    /// How many bytes the adapters of a URL from outside (`VN_ADAPTER_UNTRUSTED`) may hold in memory, all
    /// that stand in front of one another together: of a stream that "rand:" holds, of a stream or a part
    /// that "cache:" reads, of a member that "zip:" unpacks. 64 MiB at the start; what has more is an error.
    /// The smaller of this and the limits of these classes holds. While it grows a block takes up to twice.
    static unsigned int getMaxUntrustedSize() noexcept;
    static void setMaxUntrustedSize(unsigned int size) noexcept;

    vnUInt64 getAdapterFlags() const noexcept { return m_flags; }
    void setAdapterFlags(vnUInt64 flags) noexcept { m_flags = flags; }

    /// The version of the stream format that the users of this adapter agreed on; 0 at the start.
    unsigned int getAdapterVersion() const noexcept { return m_version; }
    void setAdapterVersion(unsigned int version) noexcept { m_version = version; }

    /// The scheme of the URL with its colon ("file:"), its directory part with the trailing slash, and its
    /// query without the question mark. The name of the adapter is the last component.
    const vnString& getURLBase() const noexcept { return m_urlBase; }
    void setURLBase(const vnString& base) { m_urlBase = base; }
    const vnString& getDefaultPath() const noexcept { return m_defaultPath; }
    void setDefaultPath(const vnString& path) { m_defaultPath = path; }
    const vnString& getAttributes() const noexcept { return m_attributes; }
    void setAttributes(const vnString& attributes) { m_attributes = attributes; }
    const vnString& getPassword() const noexcept { return m_password; }
    void setPassword(const vnString& password) { m_password = password; }

    /// One object that travels with the stream; null at the start.
    vnReference* getAssociatedData() const noexcept { return m_associatedData; }
    void setAssociatedData(vnReference* data) { m_associatedData = data; }

protected:
    virtual void write_imp(unsigned char* data, unsigned int count);
    virtual void write_imp(unsigned char byte) = 0;
    virtual unsigned int read_imp(unsigned char* data, unsigned int count);
    virtual unsigned char read_imp() = 0;
    virtual unsigned int length_imp();
    virtual unsigned char hasData_imp();

    /// Lays the bytes from `next` to `end` open as those that the source gives next. They stay where they are
    /// until the window is set anew. Null for both closes it.
    void setReadWindow(const unsigned char* next, const unsigned char* end) noexcept;

    /// What is left of the window; null when none is open.
    const unsigned char* getReadNext() const noexcept
    {
        return m_pushBack.isEmpty() ? m_readNext : m_heldNext;
    }

    /// Lays the place from `next` to `end` open for the bytes written next.
    void setWriteWindow(unsigned char* next, unsigned char* end) noexcept
    {
        m_writeNext = next;
        m_writeEnd = end;
    }
    unsigned char* getWriteNext() const noexcept { return m_writeNext; }

    /// For sources whose `length_imp` only estimates, and may count what yields nothing: `hasData()` asks
    /// `hasData_imp` first then, which may make the length exact.
    void setLengthIsEstimate(bool isEstimate = true) noexcept { m_lengthIsEstimate = isEstimate; }

private:
    friend class vnAdapterWindow;
    friend class vnSkippedInstances;
    using InstanceDictionary = vnRefData<vnRefInstanceDictionary>;
    using InstanceArray = vnRefData<vnRefInstanceArray>;

    static constexpr unsigned int VN_PUSH_BACK_CHUNK = 8;

    unsigned char readByte();
    unsigned int readBlock(unsigned char* data, unsigned int count);
    unsigned int skip(unsigned int count);
    unsigned char probe(unsigned int count);
    unsigned char probeByReading(unsigned int count);
    unsigned int gather(vnDynamicArray<unsigned char>& buffer, unsigned int count);
    unsigned char* reservePushBack(unsigned int count);
    const vnSerializeAdapter& getInstanceHolder() const noexcept;
    void copyInstances(const vnSerializeAdapter& other);
    void holdWindow() noexcept;
    void resumeWindowWhenDrained() noexcept;

    // While bytes are pushed back the window is held back here and closed there, so that one test tells where
    // the next byte comes from.
    const unsigned char* m_readNext = nullptr;
    const unsigned char* m_readEnd = nullptr;
    const unsigned char* m_readBegin = nullptr; // where the window began, held back or not
    unsigned char* m_writeNext = nullptr;
    unsigned char* m_writeEnd = nullptr;
    const unsigned char* m_heldNext = nullptr;
    const unsigned char* m_heldEnd = nullptr;

    vnUInt64 m_flags = 0;
    unsigned int m_version = 0;
    vnString m_urlBase;
    vnString m_defaultPath;
    vnString m_password;
    vnString m_attributes;
    vnRefPointer<vnReference> m_associatedData;
    vnQueue<unsigned char> m_pushBack{VN_QUEUE_LIFO, VN_PUSH_BACK_CHUNK};
    vnString m_error;
    vnRefPointer<InstanceDictionary> m_instanceDictionary; // its objects may throw when they go
    vnRefPointer<InstanceArray> m_instanceArray;
    unsigned int m_nextInstanceID = 0;
    vnUInt64 m_skippedBytes = 0; // of records whose instances are missing in the array
    bool m_lengthIsEstimate = false;
};

/// A further URL scheme. An instance is registered under its scheme with the URL factory.
class VN_BASE_API vnSerializeURLManagerInterface : public vnThreadSafeReference
{
public:
    /// A new adapter with the reference count 0, or null to let the next manager or the built-in schemes try.
    /// The URL has its scheme and its query; GUIDs in it were replaced.
    virtual vnSerializeAdapter* getURLAdapter(const vnString& url, vnSerializeAction action, vnUInt64 flags,
                                              const vnString& password, vnString* error) = 0;
};

/// What a long-running reader hangs in the associated data of its stream to show progress.
class VN_BASE_API vnSerializeAdapterProgressInfo : public vnReference
{
public:
    VN_TYPE(vnSerializeAdapterProgressInfo)

    const vnString& getBanner() const noexcept { return m_banner; }
    void setBanner(const vnString& banner) { m_banner = banner; }

    /// Seconds of `vnTime::systemSeconds()`.
    double getTime() const noexcept { return m_time; }
    void setTime(double time) noexcept { m_time = time; }
    unsigned int getTotalLength() const noexcept { return m_totalLength; }
    void setTotalLength(unsigned int length) noexcept { m_totalLength = length; }

private:
    vnString m_banner;
    double m_time = 0;
    unsigned int m_totalLength = 0;
};
