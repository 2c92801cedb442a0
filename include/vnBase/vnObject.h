// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnRefDict.h>
#include <vnBase/vnSerializeAdapter.h>
#include <vnBase/vnUserData.h>

class vnObject;

/// The user data of one object, by name. A name may stand there several times. Change it through the object,
/// which tells of the change; `enter`, `remove` and `clear` attach and detach without the event. The hooks of
/// the items are told the name by these operations only, and an empty one by those of the base class and by
/// `remove` of an iterator.
class VN_BASE_API vnUserDataDictionary : public vnRefDict<vnString, vnUserData>
{
public:
    explicit vnUserDataDictionary(vnObject* owner) noexcept : m_owner(owner) {}
    vnUserDataDictionary(const vnUserDataDictionary&) = delete;
    vnUserDataDictionary& operator=(const vnUserDataDictionary&) = delete;
    ~vnUserDataDictionary() noexcept(false) override;

    vnObject* getOwner() const noexcept { return m_owner; }
    void enter(const vnString& name, vnUserData* data);

    /// Removes the first item of `name`, or the one that is `data`.
    vnUserData* remove(const vnString& name);
    vnUserData* remove(const vnString& name, vnUserData* data);
    void clear() override;

    /// Attach to the owner, and detach from it.
    void onInsertItem(vnUserData* data) override;
    void onRemoveItem(vnUserData* data) override;

private:
    class Naming;

    vnObject* m_owner;
    const vnString* m_name = nullptr; // of the item that is on its way in or out
};

/// What an adapter remembers of an object that was sized for it or written to it.
class VN_BASE_API vnAdapterSharedData : public vnReference
{
public:
    VN_TYPE(vnAdapterSharedData)
    vnAdapterSharedData() noexcept = default;
    explicit vnAdapterSharedData(vnObject* object);

    /// Holds the same object.
    vnAdapterSharedData(const vnAdapterSharedData& other);
    vnAdapterSharedData& operator=(const vnAdapterSharedData&) = delete;
    ~vnAdapterSharedData() noexcept(false) override;
    vnReference* clone() const override { return new vnAdapterSharedData(*this); }

    /// Takes a reference on `object`, whose record this is, once it is counted.
    void hold(vnObject* object);

    unsigned int getInstanceID() const noexcept { return m_instanceID; }
    void setInstanceID(unsigned int id) noexcept { m_instanceID = id; }

    /// The bytes of the object's record, its head included.
    unsigned int getChunkSize() const noexcept { return m_chunkSize; }
    void setChunkSize(unsigned int size) noexcept { m_chunkSize = size; }
    unsigned char isWritten() const noexcept { return m_isWritten; }
    void setWritten(unsigned char written) noexcept { m_isWritten = written; }

private:
    vnRefPointer<vnReference> m_object; // so that its address is not used again; null when it isn't counted
    unsigned int m_instanceID = 0;
    unsigned int m_chunkSize = 0;
    unsigned char m_isWritten = 0;
};

/// The base of what can be stored on a stream and brought back by a reader that does not know the class in
/// advance. The stream names the class by an identifier, the hash of its name; a table of the process holds a
/// prototype for each class, whose clone the reader fills.
///
///     class vnLamp : public vnObject { ... };              // overrides clone, write, read, getDataSize
///     vnObject::registerFactoryObject(new vnLamp);
///     vnObject::writeObject(lamp, out, 0, "", 1);
///     vnRefPointer<vnObject> object(vnObject::readObject(in, 0, "", 1));
///
/// Named user data can be attached to any object: attributes, other objects, data of one's own. Copies of an
/// object share its user data, so a changed attribute shows in each of them.
///
/// A class of one's own writes the body of its base first and then its own data; `getDataSize` must be exact,
/// as it stands on the stream before the body.
///
/// Objects that refer to one another in a circle keep each other alive: who reads such a graph breaks it with
/// `removeAllUserData` when it is done.
///
/// Errors while reading: a stream that ends within an object, or that nests objects deeper than
/// `getMaxDepth`, sets the adapter's error; `readObject` then answers null. What it has made is delivered
/// nowhere and leaves the table of the adapter, and loses its user data, so that no circle keeps it. `read`
/// itself, called alone or inside of a class's own `read`, throws `vnWarningError`. An error that the adapter
/// or one behind it in a stack had before does not matter, and comes back there when there is no newer one.
/// A record that can't be right is "Corrupt Stream in %s!!": the error of the adapter, a Warning and a
/// `vnFatalError`, which leaves `readObject`. An adapter with the flag `VN_ADAPTER_SILENT` posts no messages.
///
/// Thread-safety: the factory operations may be called on any thread. An object, its user data and the tables
/// of an adapter belong to one thread at a time. A prototype is cloned under the lock of the table, so what
/// is cloned must not wait for another thread that uses it.
class VN_BASE_API vnObject : public vnUserData
{
public:
    vnObject() noexcept = default;

    /// The copy holds the same user data under the same names.
    vnObject(const vnObject& other);

    /// Removes the own user data first.
    vnObject& operator=(const vnObject& other);
    VN_TYPE(vnObject)
    ~vnObject() noexcept(false) override;

    /// A copy. A derived class overrides it, or it can't be registered.
    vnReference* clone() const override;

    /// The user data that can be stored: their count, then each name with a zero byte and either the word
    /// 0xFFFFFFFE and the attributes or the record of an object. Numbers are little-endian, 4 bytes.
    void write(vnSerializeAdapter* adapter) override;

    /// Replaces the user data. An item that is of no known class is left out.
    void read(vnSerializeAdapter* adapter) override;

    /// Not possible: throws `vnFatalError`.
    void pushBack(vnSerializeAdapter* adapter) override;

    /// With an adapter, objects get their record in its table, and each costs 12 bytes when it has one.
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    /// Called with events of attributes of user data, and when user data are going to be added and were
    /// removed. Does nothing here.
    virtual void onUserDataAttributeEvent(vnUserData* data, vnDynamicTypeEvent event, const vnString& name);

    /// Enters `prototype`, which the table holds, in place of an earlier one of its class, and answers the
    /// identifier. 0, with a Warning, for a class without a `clone` of its own; 0 when the process is about
    /// to end. A prototype that is refused and that nobody else holds is deleted. Two names with one
    /// identifier are a fatal error.
    ///
    /// All that is made of a prototype shares its user data, as copies do, so one that has any serves one
    /// thread.
    static unsigned int registerFactoryObject(vnObject* prototype);

    /// A new object for the caller to hold; null, with a Warning, for an unknown identifier.
    static vnObject* createFactoryObject(unsigned int id);
    static void unregisterFactory(unsigned int id);
    static void unregisterFactory(vnType* type);

    /// Also takes `vnObject` itself out, which stands there from the start.
    static void unregisterAllFactories();

    /// Reads a record. The table of the adapter holds the object: the caller takes a reference before
    /// anything else is read from the adapter. Null for a null object, for an unknown class, for a reference
    /// to what was not read, and behind an error. A record of an unknown class sets the adapter's error to
    /// "Unknown Factory : %ld" once the outermost object is read; with `eatUnknown` it is skipped, without it
    /// the stream stays behind the chunk size.
    ///
    /// The body is what the class reads, whatever the chunk size says.
    ///
    /// Instances have numbers in the order of the stream. One above 65535 that leaves out more than there can
    /// have been in what was skipped here makes the stream a corrupt one; so whoever skips many objects
    /// without `readObject`, or by seeking, continues with an adapter of its own.
    ///
    /// With a text and a total size, the bytes of all that is going to be read or written, progress is
    /// reported while objects are read or written, 5 times a second at most; see `vnProgress`. 0 and "" for
    /// none.
    static vnObject* readObject(vnSerializeAdapter* adapter, unsigned int totalSize,
                                const vnString& progressText, unsigned char eatUnknown);

    /// Writes a record: big-endian, 4 bytes each, the identifier of the class (0 for null, and then nothing
    /// follows; 0xFFFFFFFF for an object that stands on the stream already), the bytes of the record, and the
    /// number of the instance; then the body. With `shareInstances` an object is stored once per adapter:
    /// written again it is a reference of 12 bytes, and what changed meanwhile does not travel, unless
    /// `clearSharedRefs` of the adapter comes first. Whether the class is registered is not looked at here:
    /// only the reader fails.
    ///
    /// The size of a record is found once per adapter and object. One taken before the object changed is
    /// stale; `clearSharedRefs` of the adapter forgets it. An object whose head could not be written counts
    /// as not written. Throws `vnWarningError` for objects nested deeper than `getMaxDepth`, before anything
    /// is written unless they were sized one by one before.
    static void writeObject(vnObject* object, vnSerializeAdapter* adapter, unsigned int totalSize,
                            const vnString& progressText, unsigned char shareInstances);

    /// The bytes that `writeObject` would add: 4 for null; 12 for an object that the adapter knows, also if
    /// only from an earlier call of this. So who sizes a series of objects, in the order in which it is going
    /// to write them, gets the size of all. Without an adapter it is the size of the body alone.
    static unsigned int getChunkSize(vnObject* object, vnSerializeAdapter* adapter);

    /// How deep objects may stand in objects when they are read, written and sized; 1000 at the start, and at
    /// least 1. For the process.
    static unsigned int getMaxDepth() noexcept;
    static void setMaxDepth(unsigned int depth) noexcept;

    /// Attaches `data`, which the object holds. Null is ignored.
    void addUserData(const vnString& name, vnUserData* data);

    /// Removes `data`, or the first item of that name, and answers whether there was one. The item is held
    /// until the event is over, so attributes that are let go of here are not removed first.
    unsigned char removeUserData(const vnString& name, vnUserData* data = nullptr);
    void removeAllUserData();

    /// The first item of that name, or the one behind `previous`; null when there is none. An item that
    /// stands under the name twice is behind itself: to go through all, walk the dictionary.
    vnUserData* getUserData(const vnString& name, const vnUserData* previous = nullptr) const;

    /// Whether `data`, or any item, stands under that name.
    unsigned char existUserData(const vnString& name, const vnUserData* data = nullptr) const;
    unsigned char hasUserData() const noexcept { return m_userData != nullptr; }

    /// Whether both have as many items, and for each one here the first one of its name there answers
    /// `isEqualTo` with true.
    unsigned char hasSameUserData(const vnObject* other) const;

    /// Null when there is none.
    vnUserDataDictionary* getUserDataDictionary() const noexcept { return m_userData; }

    /// Attributes, by the name of the user data and their own. `setAttribute` makes the user data. One of
    /// another class is left as it is, with a Warning; `getAttribute` answers an error value for it and for a
    /// missing one, and the others answer 0.
    vnDynamicType getAttribute(const vnString& user, const vnString& name) const;
    void setAttribute(const vnString& user, const vnString& name, const vnDynamicType& value);
    unsigned char hasAttribute(const vnString& user, const vnString& name) const;
    unsigned char removeAttribute(const vnString& user, const vnString& name);
    void removeAllAttributes(const vnString& user);
    unsigned int getNumberOfAttributes(const vnString& user) const;

    /// The object as XML, an element "vnObj" with the class and the record in base 64; with `stripTags` what
    /// stands in it. A text that does not fit a string throws `vnFatalError`.
    vnString asString(unsigned char stripTags = 0) const;

private:
    vnUserDataDictionary& userData();
    void dropEmptyUserData();

    vnUserDataDictionary* m_userData = nullptr; // made for the first item, deleted with the last
};
