// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnObject.h>

#include <vector>

/// What the sources of objects share.

/// The identifier of a class on streams.
unsigned int vnFactoryIdentifier(const vnType* type);

/// A new object, or null; a silent one posts nothing.
vnObject* vnCreateFactoryObject(unsigned int id, bool isSilent);

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

    /// Throws `vnWarningError` when objects are nested too deep here.
    void testDepth() const;
    bool isTooDeep() const noexcept;

    /// The outermost scope of a read puts the note of an unknown class that is the error of the adapter aside
    /// first, since readers take any error for one of their own, and brings it back last.
    void beginRead();
    void noteUnknown(unsigned int id);
    void endRead();

private:
    vnSerializeAdapter* m_adapter;
    vnObject* m_object;
    vnObjectScope* m_outer;
    vnObjectScope* m_root; // the outermost one of the same adapter
    unsigned int m_depth;
    vnString m_unknown; // the error to be
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
