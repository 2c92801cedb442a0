// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapterCompress.h>
#include <vnBase/vnSerializeAdapterQueue.h>

class vnObject;

/// Sends whole trees of objects over any stream. A `vnObjectReceiver` of the same name, which may join the
/// stream at any point, gets them.
///
///     vnObjectSender sender("scene", nullptr);
///     if (sender.openURL("file:scene.objects"))
///         sender.sendObject(object);
///
/// Each object travels in a frame of its own: a marker of 8 bytes, the name, a checksum, the length, a second
/// marker, and the object's record, compressed. Nothing is kept from one frame to the next, so each can be
/// read by itself.
///
/// Thread-safety: one thread at a time.
class VN_BASE_API vnObjectSender
{
public:
    /// `adapter` may be null; it is held, and deleted when nobody else holds it in the end. Its URL becomes
    /// that of the sender.
    vnObjectSender(const vnString& name, vnSerializeAdapter* adapter);
    vnObjectSender(const vnObjectSender&) = delete;
    vnObjectSender& operator=(const vnObjectSender&) = delete;
    ~vnObjectSender() noexcept(false);

    /// The name and the URL, each with a zero byte.
    virtual void write(vnSerializeAdapter* adapter);

    /// Takes name and URL from the stream and opens that URL, for output. Only for streams of one's own: a
    /// URL may name any file, which is emptied, and with "adapt:" and "mem:" any address of the process.
    virtual void read(vnSerializeAdapter* adapter);
    virtual unsigned int getDataSize(vnSerializeAdapter* adapter) const;

    /// Opens `url` for output in place of the earlier stream, which is let go of first; the URL is that of
    /// the sender whatever comes of it. Answers whether there is a stream now; a failure is posted as a
    /// message.
    unsigned char openURL(const vnString& url);

    /// 0 without an object or without a stream, which writes nothing. A failure of the stream is not told:
    /// ask `getAdapter()->hasError()`. An error on the way to the stream leaves the stream untouched.
    unsigned char sendObject(vnObject* object);

    const vnString& getName() const noexcept { return m_name; }
    const vnString& getURL() const noexcept { return m_url; }
    vnSerializeAdapter* getAdapter() const noexcept { return m_adapter; }

private:
    void pack(vnObject* object);

    vnRefPointer<vnSerializeAdapter> m_adapter;
    vnRefPointer<vnSerializeAdapterQueue> m_queue;
    vnSerializeAdapterCompress m_compressor;
    vnString m_name;
    vnString m_url;
};
