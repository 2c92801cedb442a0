// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicType.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefDict.h>

/// What happened to the attributes of a container, or to the user data of an object.
enum vnDynamicTypeEvent : unsigned int
{
    VN_DYNAMIC_EVENT_REMOVE = 0,
    VN_DYNAMIC_EVENT_SET = 1,
    VN_DYNAMIC_EVENT_REMOVE_ALL = 2,
    VN_DYNAMIC_EVENT_USER_DATA_ADDED = 3,
    VN_DYNAMIC_EVENT_USER_DATA_REMOVED = 4
};

/// A value of a custom tag whose payload is the stream form of a `T`. `T` is a `vnSerializeData` with a
/// default constructor and a static `getDataTag()`.
///
///     vnDynamicTypeCustom<vnDynamicTypeContainer> value(container);
///     vnDynamicTypeContainer copy = value.getData();
template <class T>
class vnDynamicTypeCustom : public vnDynamicType
{
public:
    vnDynamicTypeCustom(const T& data) : vnDynamicType(T::getDataTag(), encode(data)) {}

    /// Throws `vnFatalError` for another tag.
    vnDynamicTypeCustom(const vnDynamicType& source)
        : vnDynamicType(checkedCustom(source, T::getDataTag()).getDynamicType(),
                        vnDynamicPayload(source.getPayload()))
    {
    }

    /// What the payload reads as. Bytes that are missing leave it as its `read` leaves it.
    T getData() const
    {
        T data;
        readPayload(m_data, data);
        return data;
    }
    operator T() const { return getData(); }

private:
    static vnDynamicPayload encode(const T& data)
    {
        vnDynamicPayload payload;
        payload.resize(data.getDataSize(nullptr));
        // Writing does not change an item, though the operation is not const.
        writePayload(payload, const_cast<T&>(data));
        return payload;
    }
};

/// A named set of dynamic values: the attributes of objects.
///
///     vnDynamicTypeContainer container;
///     container.setAttribute("width", 640.0);
///     double width = container.getAttribute("width").getNumber();
///
/// The order of the attributes is that of a hash dictionary: by bucket, and by the hash of the name within a
/// bucket. It does not depend on the order in which they were set, so equal sets with equal bucket counts
/// write equal bytes. With the default of one bucket every look-up walks one list: who has many attributes
/// gives a bucket count.
///
/// Copies are deep; the references of values are shared. A container that was moved from is as a new one. On
/// a stream a container that never had an attribute takes no bytes at all, and one that was emptied takes
/// eight.
///
/// Thread-safety: none, also not for two readers, as a look-up remembers what it found.
class VN_BASE_API vnDynamicTypeContainer : public vnSerializeData
{
public:
    using Value = vnRefData<vnDynamicType, vnReference>;
    using Dictionary = vnRefDict<vnString, Value>;

    /// `entries` is the count of buckets; 0 becomes 1.
    explicit vnDynamicTypeContainer(unsigned int entries = 1) noexcept : m_entries(entries ? entries : 1) {}
    vnDynamicTypeContainer(const vnDynamicTypeContainer& other);
    vnDynamicTypeContainer(vnDynamicTypeContainer&& other) noexcept;

    /// Iterators over this container have to be reset behind it.
    vnDynamicTypeContainer& operator=(const vnDynamicTypeContainer& other);
    vnDynamicTypeContainer& operator=(vnDynamicTypeContainer&& other);
    ~vnDynamicTypeContainer() noexcept(false) override;

    /// Little-endian: the magic word 0xFEBFCD07 and the count, 4 bytes each, then for each attribute its name
    /// with a zero byte and its value.
    void write(vnSerializeAdapter* adapter) override;

    /// A stream that does not go on with the magic word leaves the container as it was, and loses no byte.
    /// Otherwise the attributes are replaced by those of the stream. An error of the adapter on the way, also
    /// one that it had before, throws `vnWarningError`; the attributes that were read whole stay. So does a
    /// stream that ends before its last attribute, or counts more of them than the limit allows. One that
    /// fails before its count is known and allowed leaves the attributes as they were.
    void read(vnSerializeAdapter* adapter) override;

    /// Not possible: throws `vnWarningError`.
    void pushBack(vnSerializeAdapter* adapter) override;
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    /// Called when an attribute was set or read, is going to be removed (also when there is none of that
    /// name), or when all were removed (with an empty name). Does nothing here.
    virtual void onAttributeEvent(vnDynamicTypeEvent event, const vnString& name);

    /// A value of that name is replaced in place, so that a pointer to it stays valid.
    void setAttribute(const vnString& name, const vnDynamicType& value);
    void setAttribute(const vnString& name, vnDynamicType&& value);

    /// The value, or the error "Value not set".
    vnDynamicType getAttribute(const vnString& name) const;
    unsigned char hasAttribute(const vnString& name) const;

    /// 1 when there was one.
    unsigned char removeAttribute(const vnString& name);
    void removeAllAttributes();
    unsigned int getNumberOfAttributes() const noexcept
    {
        return m_attributes ? m_attributes->getCount() : 0;
    }

    /// The container as XML; see `vnDynamicType::asString`.
    vnString asString(unsigned char stripTags = 0, unsigned char dynOnly = 0,
                      const vnString& name = vnString()) const;

    /// The most attributes that a read accepts; 0, as at the start, for any number. For streams from outside.
    /// Copies take the limit over.
    void setReadLimit(unsigned int limit) noexcept { m_readLimit = limit; }
    unsigned int getReadLimit() const noexcept { return m_readLimit; }

    /// "cont".
    static const vnString& getDataTag();

private:
    friend class vnDynamicTypeContainerConstIterator;
    friend class vnDynamicTypeContainerIterator;

    class Attributes : public Dictionary, public vnSharedMemory
    {
    public:
        using Dictionary::Dictionary;
    };

    Dictionary& attributes();
    void readAttribute(vnSerializeAdapter* adapter);
    template <class Source>
    void set(const vnString& name, Source&& value);

    unsigned int m_entries;
    unsigned int m_readLimit = 0;
    vnDynamicOwner<Attributes> m_attributes; // made for the first attribute
};

/// Walks over the attributes whose names start with a prefix, in the order of the container.
///
///     vnDynamicTypeContainerConstIterator iterator(container, "color.");
///     vnString name;
///     while (const vnDynamicType* value = iterator(&name))
///         ...
///
/// The container must outlive the iterator, and may be changed meanwhile only by setting attributes that are
/// there and by the iterator. Until the first call it may be changed in any way.
class VN_BASE_API vnDynamicTypeContainerConstIterator
{
public:
    explicit vnDynamicTypeContainerConstIterator(const vnDynamicTypeContainer& container,
                                                 const vnString& prefix = vnString());
    vnDynamicTypeContainerConstIterator(const vnDynamicTypeContainerConstIterator&) = delete;
    vnDynamicTypeContainerConstIterator& operator=(const vnDynamicTypeContainerConstIterator&) = delete;

    /// The next value, and its name to `name` if that is not null; null at the end, which changes no name.
    const vnDynamicType* operator()(vnString* name = nullptr) { return next(name); }

    /// What the last call found; null, or the empty name, before the first, at the end and after `remove`.
    const vnDynamicType* current() const;
    const vnDynamicTypeContainer::Value* currentItem() const;
    vnString currentName() const;

    /// Starts again. A container that had no attributes ever when the iterator was made stays at its end.
    void reset();

    /// Holds for the names that come next.
    void setPrefix(const vnString& prefix) { m_prefix = prefix; }

protected:
    vnDynamicType* next(vnString* name);
    vnDynamicTypeContainer::Value* item() const;
    void removeCurrent();

private:
    using DictIterator = vnDynamicTypeContainer::Dictionary::Iterator;

    enum State
    {
        VN_AT_START,
        VN_ON_ITEM,     // the dictionary's iterator stands on what was delivered last
        VN_BEFORE_NEXT, // it stands on what comes next, or at its end
        VN_WITHOUT      // there was no dictionary
    };

    const vnDynamicTypeContainer& m_container;
    vnString m_prefix;
    DictIterator m_iterator;
    State m_state;
};

/// The same with access to the values, and removal.
class VN_BASE_API vnDynamicTypeContainerIterator : public vnDynamicTypeContainerConstIterator
{
public:
    explicit vnDynamicTypeContainerIterator(vnDynamicTypeContainer& container,
                                            const vnString& prefix = vnString())
        : vnDynamicTypeContainerConstIterator(container, prefix), m_container(container)
    {
    }

    vnDynamicType* operator()(vnString* name = nullptr) { return next(name); }
    vnDynamicType* current() const;
    vnDynamicTypeContainer::Value* currentItem() const { return item(); }

    /// Removes the current attribute, behind its event; the next call goes on with the one that follows.
    void remove();

private:
    vnDynamicTypeContainer& m_container;
};
