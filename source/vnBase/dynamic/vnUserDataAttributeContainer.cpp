// SPDX-License-Identifier: MIT
#include <vnBase/vnUserDataAttributeContainer.h>

#include <vnBase/vnObject.h>

#include <memory>

vnType vnUserDataAttributeContainer::s_type(vnUserData::getClassType(), "vnUserDataAttributeContainer");

/// Containers that were cloned from one another, so that an owner that dies leaves all of their lists. All of
/// them belong to one thread, as their owners do.
class vnUserDataAttributeContainer::Family : public vnReference
{
public:
    void enter(vnUserDataAttributeContainer* container) { m_members.append(container); }
    void leave(vnUserDataAttributeContainer* container) { m_members.remove(container); }

    // `object` let go of `source`.
    void forget(const vnUserDataAttributeContainer* source, vnObject* object)
    {
        for (vnUserDataAttributeContainer* each : m_members)
            if (each != source && each->m_inherited.remove(object))
                each->m_owners.remove(object);
    }

private:
    vnList<vnUserDataAttributeContainer> m_members;
};

vnUserDataAttributeContainer::vnUserDataAttributeContainer(unsigned int entries) noexcept
    : vnDynamicTypeContainer(entries)
{
}

vnUserDataAttributeContainer::vnUserDataAttributeContainer(const vnUserDataAttributeContainer& other)
    : vnUserData(other), vnDynamicTypeContainer(other)
{
}

vnUserDataAttributeContainer&
vnUserDataAttributeContainer::operator=(const vnUserDataAttributeContainer& other)
{
    vnUserData::operator=(other);
    vnDynamicTypeContainer::operator=(other);
    return *this;
}

vnUserDataAttributeContainer::~vnUserDataAttributeContainer() noexcept(false)
{
    leaveFamily();
}

vnReference* vnUserDataAttributeContainer::clone() const
{
    auto copy = std::make_unique<vnUserDataAttributeContainer>(*this);
    if (!m_owners.isEmpty())
        copy->join(*this);
    return copy.release();
}

void vnUserDataAttributeContainer::join(const vnUserDataAttributeContainer& source)
{
    auto& from = const_cast<vnUserDataAttributeContainer&>(source); // a family is no part of its value
    if (!from.m_family)
    {
        vnRefPointer<Family> family(new Family);
        family->enter(&from);
        from.m_family = family;
    }
    from.m_family->enter(this);
    m_family = from.m_family.get();
    m_inherited = source.m_owners;
    m_owners = source.m_owners;
}

void vnUserDataAttributeContainer::leaveFamily()
{
    if (m_family)
        m_family->leave(this);
}

void vnUserDataAttributeContainer::write(vnSerializeAdapter* adapter)
{
    vnDynamicTypeContainer::write(adapter);
}

void vnUserDataAttributeContainer::read(vnSerializeAdapter* adapter)
{
    vnDynamicTypeContainer::read(adapter);
}

void vnUserDataAttributeContainer::pushBack(vnSerializeAdapter* adapter)
{
    vnDynamicTypeContainer::pushBack(adapter);
}

unsigned int vnUserDataAttributeContainer::getDataSize(vnSerializeAdapter* adapter) const
{
    return vnDynamicTypeContainer::getDataSize(adapter);
}

void vnUserDataAttributeContainer::onAttach(vnObject* object, const vnString&)
{
    m_owners.append(object);
    ref();
}

void vnUserDataAttributeContainer::onDetach(vnObject* object, const vnString&)
{
    struct Leave
    {
        ~Leave() noexcept(false)
        {
            if (container.m_family)
                container.m_family->forget(&container, object);
            container.m_owners.remove(object);
            container.unref();
        }
        vnUserDataAttributeContainer& container;
        vnObject* object;
    };
    const Leave leave{*this, object}; // also when the owner's handler throws
    if (getRef() == 1)
        removeAllAttributes();
}

unsigned char vnUserDataAttributeContainer::isEqualTo(const vnUserData* other) const
{
    if (this == other)
        return 1;
    if (!other || !other->isExactType(getType()))
        return 0;
    const auto& there = static_cast<const vnUserDataAttributeContainer&>(*other);
    if (getNumberOfAttributes() != there.getNumberOfAttributes())
        return 0;
    vnDynamicTypeContainerConstIterator iterator(*this);
    vnString name;
    while (const vnDynamicType* value = iterator(&name))
        if (!there.hasAttribute(name) || *value != there.getAttribute(name))
            return 0;
    return 1;
}

void vnUserDataAttributeContainer::onAttributeEvent(vnDynamicTypeEvent event, const vnString& name)
{
    if (m_owners.isEmpty())
        return;
    if (m_owners.getCount() == 1)
    {
        m_owners.getHead()->onUserDataAttributeEvent(this, event, name);
        return;
    }
    // Handlers may attach and detach the container, so each owner is told if it is still there, and the
    // container outlives the last of them.
    const vnRefPointer<vnUserDataAttributeContainer> held(getRef() > 0 ? this : nullptr);
    const vnList<vnObject> owners(m_owners);
    for (vnObject* owner : owners)
        if (m_owners.contains(owner))
            owner->onUserDataAttributeEvent(this, event, name);
}
