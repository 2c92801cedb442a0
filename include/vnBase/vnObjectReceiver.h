// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>
#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnThread.h>

#include <atomic>

class vnObject;

/// A thread that takes objects from a stream on which a `vnObjectSender` sends them.
///
///     class Scene : public vnObjectReceiver
///     {
///     public:
///         explicit Scene(vnSerializeAdapter* stream) : vnObjectReceiver("scene", stream) {}
///         ~Scene() noexcept(false) override { stop(1); }
///         void onObject(vnObject* object) override { m_newest = object; }
///
///     private:
///         vnRefPointer<vnObject> m_newest;
///     };
///
/// It looks for the marker of a frame byte by byte, so it may join at any point, and drops what is damaged
/// without a word. Objects for other names are read and let go. At the end of its stream it opens its URL
/// again, 10 milliseconds apart and for as long as it is not stopped; without a URL it ends. What a stream
/// throws ends that stream only.
///
/// What it waits for it may wait for long, but it stops behind the frame at hand: on files, blocks of memory,
/// sockets and `vnSerializeAdapterMux`, and on any other stream whose `length` tells what has come and whose
/// `hasData` does not wait. On a named pipe or the console that is silent it stops when the other side acts.
/// A frame is decoded as a whole, so for streams from outside `setMaxPlainSize` bounds that time as well.
/// Stopped and run again it goes on where it was.
///
/// Thread-safety: any thread. `onObject` runs on the thread of the receiver.
class VN_BASE_API vnObjectReceiver : public vnThread
{
public:
    /// `adapter` may be null; it is held, and deleted when nobody else holds it in the end. Its URL becomes
    /// that of the receiver. Does not start the thread; call `run`. While it runs, the stream is the
    /// thread's.
    vnObjectReceiver(const vnString& name, vnSerializeAdapter* adapter);

    /// Stops the thread. A derived class does so in its own destructor.
    ~vnObjectReceiver() noexcept(false) override;

    /// An object for this name has come. Who keeps it holds a reference, and breaks what it holds in a
    /// circle when it is done, see `vnObject`; the same goes for who does not keep it. The receiver lets go
    /// of its own reference when this returns, on its thread and without a lock: what another thread is to
    /// use meanwhile is a copy. An exception ends the thread. Does nothing here.
    virtual void onObject(vnObject* object);

    /// The name and the URL, each with a zero byte.
    virtual void write(vnSerializeAdapter* adapter);

    /// Takes name and URL from the stream, opens that URL, and runs. Only for streams of one's own: a URL may
    /// name any file, and with "adapt:" and "mem:" any address of the process.
    virtual void read(vnSerializeAdapter* adapter);
    virtual unsigned int getDataSize(vnSerializeAdapter* adapter) const;

    /// Opens `url` for input in place of the earlier stream, which is let go of first; the URL is that of the
    /// receiver whatever comes of it. Answers whether there is a stream now; a failure is posted as a
    /// message. A thread that runs waits for the new stream. Of two calls at once the later one decides.
    unsigned char openURL(const vnString& url);

    vnString getName() const;
    vnString getURL() const;

    /// The largest frame that is accepted, in compressed bytes; a larger one is dropped as damaged. Any at
    /// the start. For streams from outside: a frame is kept in memory until it is whole.
    unsigned int getMaxFrameSize() const noexcept { return m_maxFrameSize.load(std::memory_order_relaxed); }
    void setMaxFrameSize(unsigned int bytes) noexcept
    {
        m_maxFrameSize.store(bytes, std::memory_order_relaxed);
    }

    /// The most plain bytes that a block of a frame may hold; a frame with a larger one is dropped before its
    /// memory is taken. Any number at the start: compressed bytes yield up to 1032 times as many. A sender
    /// makes one block of an object.
    unsigned int getMaxPlainSize() const noexcept { return m_maxPlainSize.load(std::memory_order_relaxed); }
    void setMaxPlainSize(unsigned int bytes) noexcept
    {
        m_maxPlainSize.store(bytes, std::memory_order_relaxed);
    }

private:
    /// What a pass works on; the stream may be exchanged meanwhile.
    struct Source
    {
        vnRefPointer<vnSerializeAdapter> adapter;
        vnString url;
        unsigned int opening = 0;   // the number of its exchange
        bool isBeingOpened = false; // by `openURL`, on another thread
    };
    class Opening;

    void process() override;
    Source getSource() const;
    void keepTo(const Source& source);
    bool fetch(vnSerializeAdapter* adapter);
    unsigned char* makeRoom(unsigned int count);
    void growTo(unsigned int size);
    void reopen(const Source& source);
    unsigned int exchange(const vnString& url, const vnRefPointer<vnSerializeAdapter>& adapter,
                          const unsigned int* opening);

    bool takeBytes();
    bool stepThroughFrame();
    bool takeFrame();
    bool hunt();
    bool takeName();
    bool takeHeader();
    bool takePayload();
    void decode(unsigned char* payload);
    void deliver();
    void wait();
    unsigned int getCount() const noexcept { return m_buffer.getSize() - m_begin; }

    /// What the buffer holds next.
    enum Stage
    {
        VN_HUNT,
        VN_NAME,
        VN_HEADER,
        VN_PAYLOAD
    };

    mutable vnMutex m_mutex; // guards the next five
    vnRefPointer<vnSerializeAdapter> m_adapter;
    vnString m_name;
    vnString m_url;
    unsigned int m_opening = 0;
    unsigned int m_beingOpened = 0; // by so many calls of `openURL`

    vnDynamicArray<unsigned char> m_buffer; // what has come and is not used; kept between frames
    unsigned int m_begin = 0;
    unsigned int m_lastOpening = 0; // of the stream whose bytes these are, also from one run to the next
    unsigned int m_idle = 0;        // passes without a byte
    Stage m_stage = VN_HUNT;
    vnString m_frameName;
    vnUInt64 m_checksum = 0;
    unsigned int m_payloadSize = 0;
    vnRefPointer<vnSerializeAdapterCompress> m_decompressor; // kept between frames, but for large ones
    vnObject* m_object = nullptr;                            // held; of the frame that has just come
    bool m_isOwn = false;                                    // it has the own name
    std::atomic<unsigned int> m_maxFrameSize{0xFFFFFFFFu};
    std::atomic<unsigned int> m_maxPlainSize{0xFFFFFFFFu};
};
