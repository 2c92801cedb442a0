// SPDX-License-Identifier: MIT
#include <vnBase/vnSerializeAdapterZIP.h>

#include "vnAdapterError.h"
#include "vnReadClaimed.h"
#include "vnZIPArchive.h"

#include <vnBase/vnSerializeAdapterRandomAccess.h>

#include <atomic>
#include <exception>
#include <new>

vnType vnSerializeAdapterZIP::s_type(vnSerializeAdapterFilter::getClassType(), "vnSerializeAdapterZIP");

namespace
{
std::atomic<unsigned int> s_maxMemberSize{0xFFFFFFFFu};
}

vnSerializeAdapterZIP::vnSerializeAdapterZIP(vnSerializeAdapter* parent, vnSerializeAction action)
    : m_action(action), m_member(nullptr, 0)
{
    setAdapter(parent);
}

vnSerializeAdapterZIP::~vnSerializeAdapterZIP() noexcept(false)
{
    try
    {
        closeArchive();
    }
    catch (const std::bad_alloc&)
    {
        // It was reported, and there is no memory for more.
    }
    catch (...)
    {
        if (std::uncaught_exceptions() == 0)
            throw;
    }
}

void vnSerializeAdapterZIP::setAdapter(vnSerializeAdapter* parent)
{
    const vnRefPointer<vnSerializeAdapter> hold(parent); // it may be the one that is let go
    dropItem();
    // They were those of the earlier archive; the error of its parent is left to that.
    vnSerializeAdapter::setError(vnString()); // NOLINT(bugprone-parent-virtual-call)
    m_member.setError(vnString());
    if (isInput())
        m_comment = vnString();
    closeArchive();
    if (!parent)
    {
        holdTarget(nullptr);
        setError(vnTranslated("Missing parent adapter for ZIP archive"));
        return;
    }
    const vnString attributes = getAttributes(); // unlike the rest of the URL they stay this adapter's own
    holdTarget(parent);
    setAttributes(attributes);
    if (parent->hasError())
    {
        setError(vnString::formatString(vnTranslated("Parent archive has error:%s"), parent->getError()));
        return;
    }
    if (!parent->canSeek())
    {
        // The directory is found from the end.
        const vnRefPointer<vnSerializeAdapter> access(new vnSerializeAdapterRandomAccess(parent));
        holdTarget(access);
        setAttributes(attributes);
    }
    std::unique_ptr<vnZIPArchive> archive(new vnZIPArchive(*this));
    if (isInput())
        getAdapter()->setSeekMode(1);
    if (isInput() ? archive->openForReading() : archive->openForWriting())
        m_archive = std::move(archive);
    else
        setError(vnString::formatString(vnTranslated("Failed to initialize ZIP archive from adapter %s"),
                                        getURL()));
    if (isInput() && m_archive)
        m_comment = m_archive->readComment();
}

unsigned char vnSerializeAdapterZIP::setCurrentItem(const vnString& name)
{
    if (!isInput())
    {
        m_currentItem = name;
        return 1;
    }
    dropItem();
    if (!m_archive)
        return 0;
    if (!m_archive->locate(name))
        return refuseItem("Couldn't locate %s in archive %s", name);
    if (!m_archive->readInfo())
        return refuseItem("Couldn't get current file info %s in archive %s", name);
    if (m_archive->getMemberSize() > vnReadLimit(*getAdapter(), getMaxMemberSize()))
        return refuseItem("Too large file %s in archive %s", name);
    if (!m_archive->openMember())
        return refuseItem("Couldn't open current file %s in archive %s", name);
    if (!m_archive->readMember(m_buffer))
        return refuseItem("Couldn't read current file %s in archive %s", name);
    m_currentItem = name;
    if (!m_buffer.isEmpty())
        m_member.reset(m_buffer.data(), m_buffer.getSize());
    return 1;
}

unsigned int vnSerializeAdapterZIP::getMaxMemberSize() noexcept
{
    return s_maxMemberSize.load(std::memory_order_relaxed);
}

void vnSerializeAdapterZIP::setMaxMemberSize(unsigned int size) noexcept
{
    s_maxMemberSize.store(size, std::memory_order_relaxed);
}

unsigned int vnSerializeAdapterZIP::readZIP(unsigned char* data, unsigned int count)
{
    return getAdapter() ? vnReadFully(*getAdapter(), data, count) : 0;
}

void vnSerializeAdapterZIP::writeZIP(unsigned char* data, unsigned int count)
{
    if (getAdapter())
        getAdapter()->write(data, count);
}

unsigned int vnSerializeAdapterZIP::seekZIP(int offset, vnOriginPos origin)
{
    return getAdapter() ? getAdapter()->seek(offset, origin) : 0xFFFFFFFFu;
}

unsigned char vnSerializeAdapterZIP::canSeek()
{
    return 1;
}

unsigned char vnSerializeAdapterZIP::supportAction(vnSerializeAction)
{
    return 1; // whatever the parent does
}

unsigned int vnSerializeAdapterZIP::seek(int offset, vnOriginPos origin)
{
    settle();
    return m_member.seek(offset, origin);
}

void vnSerializeAdapterZIP::flush() {}

unsigned char vnSerializeAdapterZIP::hasError()
{
    return vnSerializeAdapterFilter::hasError() || m_member.hasError();
}

vnString vnSerializeAdapterZIP::getError()
{
    return vnSerializeAdapterFilter::hasError() ? vnSerializeAdapterFilter::getError() : m_member.getError();
}

void vnSerializeAdapterZIP::setError(const vnString& error)
{
    vnSerializeAdapterFilter::setError(error);
    if (error.isEmpty())
        m_member.setError(error);
}

// Archives are written without members, so that there is no place for the bytes of one.
void vnSerializeAdapterZIP::write_imp(unsigned char*, unsigned int) {}

void vnSerializeAdapterZIP::write_imp(unsigned char) {}

unsigned int vnSerializeAdapterZIP::read_imp(unsigned char* data, unsigned int count)
{
    settle();
    const unsigned int got = m_member.read(data, count);
    openWindow();
    return got;
}

unsigned char vnSerializeAdapterZIP::read_imp()
{
    settle();
    const unsigned char byte = m_member.read();
    openWindow();
    return byte;
}

unsigned int vnSerializeAdapterZIP::length_imp()
{
    settle();
    const unsigned int length = m_member.length();
    openWindow();
    return length;
}

void vnSerializeAdapterZIP::closeArchive()
{
    const std::unique_ptr<vnZIPArchive> archive(std::move(m_archive));
    if (!archive)
        return;
    const vnString before = getAdapter()->getError();
    if (archive->close(m_comment))
        return;
    vnString reason = getAdapter()->getError();
    if (reason == before) // not every parent sets one
        reason = vnString::formatString(vnTranslated("Failed to write ZIP archive to adapter %s"), getURL());
    setError(reason);
    if (!(getAdapterFlags() & VN_ADAPTER_SILENT))
        vnMessage::message(VN_MESSAGE_WARNING, "%s", reason); // it may be too late to ask for it
}

void vnSerializeAdapterZIP::dropItem()
{
    settle();
    vnSerializeAdapterFilter::flush(); // what was pushed back belongs to this member
    m_currentItem = vnString();
    m_member.flush(); // makes it one of no bytes
    m_buffer.setSize(0);
}

unsigned char vnSerializeAdapterZIP::refuseItem(const char* format, const vnString& name)
{
    m_buffer = vnArray<unsigned char>(); // half of a large member may stand in it
    setError(vnString::formatString(vnTranslated(format), name, getURL()));
    return 0;
}

// The rest of the member lies open, so that the member's reader is asked for blocks and the end only.
void vnSerializeAdapterZIP::openWindow()
{
    if (m_member.length() == 0)
        return; // its reader may stand on a block that is gone
    const unsigned char* next = m_member.getCurrentAddress();
    setReadWindow(next, m_buffer.data() + m_buffer.getSize());
}

// Closes the window and moves the member's reader to where it was read.
void vnSerializeAdapterZIP::settle()
{
    const unsigned char* next = getReadNext();
    setReadWindow(nullptr, nullptr);
    if (next)
        m_member.read(nullptr, static_cast<unsigned int>(next - m_member.getCurrentAddress()));
}
