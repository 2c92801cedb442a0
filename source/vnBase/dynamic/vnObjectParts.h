// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnObject.h>

#include <memory>
#include <unordered_map>
#include <vector>

/// What the sources of objects share.

/// The identifier of a class on streams.
unsigned int vnFactoryIdentifier(const vnType* type);

/// A new object, or null; a silent one posts nothing.
vnObject* vnCreateFactoryObject(unsigned int id, bool isSilent);

/// The error of an adapter whose object was skipped, as its class is not known.
vnString vnUnknownFactoryError(unsigned int id);

/// How an item of user data is stored.
enum vnUserDataForm
{
    VN_FORM_NONE, // not at all
    VN_FORM_ATTRIBUTES,
    VN_FORM_OBJECT
};
vnUserDataForm vnFormOf(const vnUserData* data);

constexpr unsigned int vnAttributesMark = 0xFFFFFFFE; // in the place of an identifier
constexpr unsigned int vnReferenceMark = 0xFFFFFFFF;
constexpr unsigned int vnObjectHeadSize = 12;

/// The bytes of records that were read over, whose instances have ids all the same, beside the table of the
/// instances that were read.
class vnSkippedInstances
{
public:
    static void add(vnSerializeAdapter& adapter, vnUInt64 bytes) noexcept { bytesOf(adapter) += bytes; }

    /// Whether so many records may have been among the bytes. They are used up by that.
    static bool takeOff(vnSerializeAdapter& adapter, vnUInt64 count) noexcept
    {
        vnUInt64& bytes = bytesOf(adapter);
        if (count > bytes / vnObjectHeadSize)
            return false;
        bytes -= count * vnObjectHeadSize;
        return true;
    }

private:
    static vnUInt64& bytesOf(vnSerializeAdapter& adapter) noexcept
    {
        return const_cast<vnSerializeAdapter&>(adapter.getInstanceHolder()).m_skippedBytes;
    }
};

/// The objects that one reading makes, and their places in the table of the adapter.
class vnMadeObjects
{
public:
    vnMadeObjects() noexcept = default;
    vnMadeObjects(const vnMadeObjects&) = delete;
    vnMadeObjects& operator=(const vnMadeObjects&) = delete;
    ~vnMadeObjects() noexcept(false);

    void add(unsigned int index, vnObject* object);

    /// For objects that nobody gets, and that would keep each other alive: they leave the table and let go of
    /// one another.
    void breakUp(vnSerializeAdapter* adapter);
    void letGo();

private:
    struct Made
    {
        unsigned int index = 0;
        vnObject* object = nullptr; // held
    };

    void takeApart(vnSerializeAdapter* adapter, const Made& made);

    Made m_first; // most are the only one
    std::vector<Made> m_more;
};

/// Reads a record as `vnObject::readObject` does. `made` gets what the outermost reading makes; when that
/// fails it is broken up.
vnObject* vnReadObject(vnSerializeAdapter* adapter, unsigned char eatUnknown, vnMadeObjects& made);

/// One object that the thread is reading, writing or sizing. Scopes of one thread stand in one another.
class vnObjectScope
{
public:
    vnObjectScope(vnSerializeAdapter* adapter, vnObject* object) noexcept;
    vnObjectScope(const vnObjectScope&) = delete;
    vnObjectScope& operator=(const vnObjectScope&) = delete;
    ~vnObjectScope();

    /// The innermost one; null outside of all.
    static vnObjectScope* getTop() noexcept;

    /// Whether the thread is at this object of this adapter already.
    static bool isWithin(const vnSerializeAdapter* adapter, const vnObject* object) noexcept;

    vnObject* getObject() const noexcept { return m_object; }
    void setObject(vnObject* object) noexcept { m_object = object; }
    vnObjectScope* getOuter() const noexcept { return m_outer; }
    bool isOutermost() const noexcept { return m_root == this; } // of its adapter

    /// Whether the outermost scope writes, so that what is sized here is written next.
    bool isWriting() const noexcept { return m_root->m_isWriting; }
    void setWriting() noexcept { m_isWriting = true; }

    /// The size of the object without an adapter. Each is found once below the outermost scope: where objects
    /// share others the ways to them are many more than they.
    unsigned int sizeWithoutAdapter();

    /// Throws `vnWarningError` when objects are nested too deep here.
    void testDepth() const;
    bool isTooDeep() const noexcept;

    /// The outermost scope of a read puts errors that the adapter and those behind it have aside first, since
    /// readers take any for one of their own, and brings each back last, unless there is a newer one. The
    /// note of an unknown class is set last as well.
    void beginRead(vnMadeObjects& made);
    void noteMade(unsigned int index, vnObject* object);
    void noteUnknown(unsigned int id);
    void endRead();

    /// In place of `endRead` when the read fails: nobody gets what was made.
    void abandonRead();

private:
    using Sizes = std::unordered_map<const vnObject*, unsigned int>;

    struct AdapterError
    {
        vnRefPointer<vnSerializeAdapter> adapter;
        vnString error;
    };

    void restoreBehind();

    vnSerializeAdapter* m_adapter;
    vnObject* m_object;
    vnObjectScope* m_outer;
    vnObjectScope* m_root; // the outermost one of the same adapter
    unsigned int m_depth;
    bool m_isWriting = false;
    vnMadeObjects* m_made = nullptr;
    vnString m_error; // the one to be
    std::vector<AdapterError> m_behind;
    std::unique_ptr<Sizes> m_sizes;
};

/// Sets the error of the adapter, unless it has one, and throws `vnWarningError`.
[[noreturn]] void vnFailObject(vnSerializeAdapter* adapter, const char* error);

/// Objects that nobody holds any more go one after the other, and not each within the end of the one that
/// held it: streams can chain more of them than the stack bears.
class vnObjectGraves
{
public:
    vnObjectGraves() noexcept;
    vnObjectGraves(const vnObjectGraves&) = delete;
    vnObjectGraves& operator=(const vnObjectGraves&) = delete;
    ~vnObjectGraves();

    /// The graves that are open on this thread; null when there are none.
    static vnObjectGraves* getOpen() noexcept;

    /// Takes the last reference over; false when there is no place for it.
    bool take(vnUserData* data) noexcept;

    /// Lets all go, also those that come meanwhile; the first exception leaves at the end.
    void empty();

private:
    std::vector<vnUserData*> m_waiting;
};
