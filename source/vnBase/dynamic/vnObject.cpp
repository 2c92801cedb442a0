// SPDX-License-Identifier: MIT
#include <vnBase/vnObject.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnUserDataAttributeContainer.h>

#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnObjectParts.h>
#include <dynamic/vnStreamEnd.h>
#include <serialize/vnAdapterWindow.h>
#include <serialize/vnTextReader.h>

#include <exception>
#include <memory>
#include <utility>
#include <vector>

vnType vnUserData::s_type(vnReference::getClassType(), "vnUserData");
vnType vnObject::s_type(vnUserData::getClassType(), "vnObject");

namespace
{
using Attributes = vnUserDataAttributeContainer;

struct Item
{
    Item(const vnString& itemName, vnUserData* itemData) : name(itemName), data(itemData) {}

    vnString name;
    vnRefPointer<vnUserData> data;
};

// What hooks do to the dictionary meanwhile does not disturb a walk over these.
std::vector<Item> itemsOf(const vnUserDataDictionary* dictionary)
{
    std::vector<Item> items;
    if (!dictionary)
        return items;
    items.reserve(dictionary->getCount());
    for (const auto& entry : *dictionary)
        items.emplace_back(entry.getKey(), entry.getValue());
    return items;
}

Attributes* attributesOf(vnUserData* data)
{
    const bool isRight = data && data->isOfType(Attributes::getClassType());
    return isRight ? static_cast<Attributes*>(data) : nullptr;
}

// For changes, whose handlers may remove the user data.
vnRefPointer<Attributes> heldAttributesOf(vnUserData* data)
{
    return vnRefPointer<Attributes>(attributesOf(data));
}

void readItem(vnObject* object, vnSerializeAdapter* adapter)
{
    if (!adapter->hasData()) // a lying count must not be counted down behind the end
        vnFailObject(adapter, "Object ends within its user data");
    vnString name;
    vnReadText(adapter, 0, name);
    unsigned char word[sizeof vnAttributesMark];
    if (!vnReadWhole(adapter, word, sizeof word))
        vnFailObject(adapter, "Object ends within its user data");
    // An identifier of the bytes FE FF FF FF can't be told from the mark.
    if (vnDynamicBytes::get<unsigned int>(word) == vnAttributesMark)
    {
        const vnRefPointer<Attributes> attributes(new Attributes);
        object->addUserData(name, attributes);
        attributes->read(adapter);
        return;
    }
    vnAdapterWindow::unread(*adapter, word, sizeof word);
    const vnRefPointer<vnObject> inner(vnObject::readObject(adapter, 0, vnString(), 1));
    if (inner)
        object->addUserData(name, inner);
}

void readItems(vnObject* object, vnSerializeAdapter* adapter)
{
    unsigned char bytes[sizeof(unsigned int)];
    if (!vnReadWhole(adapter, bytes, sizeof bytes))
        vnFailObject(adapter, "Object ends within its user data");
    object->removeAllUserData();
    for (unsigned int left = vnDynamicBytes::get<unsigned int>(bytes); left > 0; --left)
        readItem(object, adapter);
}
} // namespace

vnUserDataForm vnFormOf(const vnUserData* data)
{
    if (data->isExactType(Attributes::getClassType()))
        return VN_FORM_ATTRIBUTES;
    return data->isOfType(vnObject::getClassType()) ? VN_FORM_OBJECT : VN_FORM_NONE;
}

vnUserData::~vnUserData() noexcept(false) = default;

void vnUserData::onAttach(vnObject*, const vnString&) {}

void vnUserData::onDetach(vnObject*, const vnString&) {}

unsigned char vnUserData::isEqualTo(const vnUserData* other) const
{
    return this == other;
}

vnObject::vnObject(const vnObject& other) : vnUserData(other)
{
    try
    {
        for (const Item& item : itemsOf(other.m_userData))
            addUserData(item.name, item.data);
    }
    catch (...)
    {
        delete std::exchange(m_userData, nullptr);
        throw;
    }
}

vnObject& vnObject::operator=(const vnObject& other)
{
    if (this == &other)
        return *this;
    // Held first: the other one may belong to the user data that go.
    const std::vector<Item> items = itemsOf(other.m_userData);
    vnUserData::operator=(other);
    removeAllUserData();
    for (const Item& item : items)
        addUserData(item.name, item.data);
    return *this;
}

vnObject::~vnObject() noexcept(false)
{
    vnUserDataDictionary* dictionary = std::exchange(m_userData, nullptr);
    if (!dictionary)
        return;
    if (vnObjectGraves::getOpen())
    {
        delete dictionary;
        return;
    }
    vnObjectGraves graves;
    try
    {
        delete dictionary;
    }
    catch (...)
    {
        graves.empty();
        throw;
    }
    graves.empty();
}

vnReference* vnObject::clone() const
{
    return new vnObject(*this);
}

void vnObject::write(vnSerializeAdapter* adapter)
{
    unsigned int count = 0;
    if (m_userData)
        for (const auto& entry : *m_userData)
            count += vnFormOf(entry.getValue()) != VN_FORM_NONE;
    unsigned char word[sizeof count];
    vnDynamicBytes::put(word, count);
    adapter->write(word, sizeof word);
    if (count == 0)
        return;
    for (const auto& entry : *m_userData)
    {
        const vnUserDataForm form = vnFormOf(entry.getValue());
        if (form == VN_FORM_NONE)
            continue;
        const vnString& name = entry.getKey();
        adapter->write(reinterpret_cast<const unsigned char*>(name.getString()), name.length() + 1u);
        if (form == VN_FORM_OBJECT)
        {
            writeObject(static_cast<vnObject*>(entry.getValue()), adapter, 0, vnString(), 1);
            continue;
        }
        vnDynamicBytes::put(word, vnAttributesMark);
        adapter->write(word, sizeof word);
        entry.getValue()->write(adapter);
    }
}

void vnObject::read(vnSerializeAdapter* adapter)
{
    if (vnObjectScope::isWithin(adapter, this))
    {
        readItems(this, adapter);
        return;
    }
    vnObjectScope scope(adapter, this);
    if (scope.isTooDeep())
        vnFailObject(adapter, "Objects are nested too deep");
    vnMadeObjects made;
    scope.beginRead(made);
    try
    {
        readItems(this, adapter);
        scope.endRead();
    }
    catch (...)
    {
        scope.abandonRead();
        throw;
    }
}

void vnObject::pushBack(vnSerializeAdapter*)
{
    vnExceptionThrows::vnThrowFatal("PushBack of vnObject is NOT allowed !!");
}

unsigned int vnObject::getDataSize(vnSerializeAdapter* adapter) const
{
    std::size_t size = sizeof(unsigned int);
    if (!m_userData)
        return sizeof(unsigned int);
    for (const auto& entry : *m_userData)
    {
        const vnUserDataForm form = vnFormOf(entry.getValue());
        if (form == VN_FORM_NONE)
            continue;
        size += entry.getKey().length() + std::size_t(1);
        if (form == VN_FORM_OBJECT)
            size += getChunkSize(static_cast<vnObject*>(entry.getValue()), adapter);
        else
            size += sizeof vnAttributesMark + std::size_t(entry.getValue()->getDataSize(adapter));
    }
    return vnCheckedSize(size);
}

void vnObject::onUserDataAttributeEvent(vnUserData*, vnDynamicTypeEvent, const vnString&) {}

void vnObject::addUserData(const vnString& name, vnUserData* data)
{
    if (!data)
        return;
    const vnRefPointer<vnUserData> held(data);
    try
    {
        userData();
        onUserDataAttributeEvent(data, VN_DYNAMIC_EVENT_USER_DATA_ADDED, name);
        userData().enter(name, data); // made anew when the event emptied it
    }
    catch (...)
    {
        dropEmptyUserData();
        throw;
    }
}

unsigned char vnObject::removeUserData(const vnString& name, vnUserData* data)
{
    if (!m_userData)
        return 0;
    // The name may be the one that goes.
    const vnString kept(name); // NOLINT(performance-unnecessary-copy-initialization)
    if (data && !existUserData(kept, data))
        return 0; // holding what nobody holds would delete it
    const vnRefPointer<vnUserData> held(data ? data : m_userData->find(kept));
    if (!held)
        return 0;
    try
    {
        if (!m_userData->remove(kept, held))
            return 0;
    }
    catch (...)
    {
        dropEmptyUserData();
        throw;
    }
    dropEmptyUserData();
    onUserDataAttributeEvent(held, VN_DYNAMIC_EVENT_USER_DATA_REMOVED, kept);
    return 1;
}

void vnObject::removeAllUserData()
{
    if (!m_userData)
        return;
    for (const Item& item : itemsOf(m_userData))
        onUserDataAttributeEvent(item.data, VN_DYNAMIC_EVENT_USER_DATA_REMOVED, item.name);
    // What hooks add meanwhile goes to a dictionary of its own.
    delete std::exchange(m_userData, nullptr);
}

vnUserData* vnObject::getUserData(const vnString& name, const vnUserData* previous) const
{
    return m_userData ? m_userData->find(name, previous) : nullptr;
}

unsigned char vnObject::existUserData(const vnString& name, const vnUserData* data) const
{
    vnUserData* first = getUserData(name);
    if (!first || !data || first == data)
        return first != nullptr;
    // Not from each item to the one behind it: an item may stand there twice, and what is behind its second
    // place is never reached.
    for (const auto& entry : *m_userData)
        if (entry.getValue() == data && entry.getKey() == name)
            return 1;
    return 0;
}

unsigned char vnObject::hasSameUserData(const vnObject* other) const
{
    if (!other)
        return 0;
    if (m_userData == other->m_userData)
        return 1;
    if (!m_userData || !other->m_userData || m_userData->getCount() != other->m_userData->getCount())
        return 0;
    for (const auto& entry : *m_userData)
    {
        const vnUserData* there = other->getUserData(entry.getKey());
        if (!there || !there->isEqualTo(entry.getValue())) // the other side answers, not the item here
            return 0;
    }
    return 1;
}

vnDynamicType vnObject::getAttribute(const vnString& user, const vnString& name) const
{
    vnUserData* data = getUserData(user);
    if (!data)
        return vnDynamicTypeError("No userdata container");
    if (const Attributes* attributes = attributesOf(data))
        return attributes->getAttribute(name);
    vnMessage::message(VN_MESSAGE_WARNING, "Can not get Attribute '%s' in userdata '%s'", name, user);
    return vnDynamicTypeError("Faulty userdata container");
}

void vnObject::setAttribute(const vnString& user, const vnString& name, const vnDynamicType& value)
{
    vnUserData* data = getUserData(user);
    if (const auto attributes = heldAttributesOf(data))
        attributes->setAttribute(name, value);
    else if (data)
        vnMessage::message(VN_MESSAGE_WARNING, "Can not set Attribute '%s' in userdata '%s'", name, user);
    else
    {
        const vnRefPointer<Attributes> fresh(new Attributes);
        addUserData(user, fresh);
        fresh->setAttribute(name, value);
    }
}

unsigned char vnObject::hasAttribute(const vnString& user, const vnString& name) const
{
    const Attributes* attributes = attributesOf(getUserData(user));
    return attributes && attributes->hasAttribute(name);
}

unsigned char vnObject::removeAttribute(const vnString& user, const vnString& name)
{
    const auto attributes = heldAttributesOf(getUserData(user));
    return attributes && attributes->removeAttribute(name);
}

void vnObject::removeAllAttributes(const vnString& user)
{
    if (const auto attributes = heldAttributesOf(getUserData(user)))
        attributes->removeAllAttributes();
}

unsigned int vnObject::getNumberOfAttributes(const vnString& user) const
{
    const Attributes* attributes = attributesOf(getUserData(user));
    return attributes ? attributes->getNumberOfAttributes() : 0;
}

vnUserDataDictionary& vnObject::userData()
{
    if (!m_userData)
        m_userData = new vnUserDataDictionary(this);
    return *m_userData;
}

void vnObject::dropEmptyUserData()
{
    if (m_userData && m_userData->isEmpty())
        delete std::exchange(m_userData, nullptr);
}
