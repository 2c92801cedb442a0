// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnList.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnUserData.h>

/// The user data that holds named attributes. Objects may share one: its events go to each of them, as
/// `onUserDataAttributeEvent`. Owners enter and leave the list by attaching and detaching the container.
///
/// A clone has attributes of its own and begins with the owners of its source; an owner that lets go of the
/// source leaves the list of the clone, too. So a clone of a container that has owners belongs to their
/// thread.
///
/// A handler of an event may remove the container from its owners. Whoever changes the container itself, and
/// not through an object, holds it meanwhile.
///
/// The class has two bases that go on streams; a pointer to it is made a `vnSerializeData` through one of
/// them.
///
/// Thread-safety: none.
class VN_BASE_API vnUserDataAttributeContainer : public vnUserData, public vnDynamicTypeContainer
{
public:
    /// `entries` is the count of buckets of the attributes; 0 becomes 1.
    explicit vnUserDataAttributeContainer(unsigned int entries = 1) noexcept;
    vnUserDataAttributeContainer(const vnUserDataAttributeContainer& other);

    /// Takes the attributes over, without events, and leaves the owners.
    vnUserDataAttributeContainer& operator=(const vnUserDataAttributeContainer& other);
    VN_TYPE(vnUserDataAttributeContainer)
    ~vnUserDataAttributeContainer() noexcept(false) override;

    vnReference* clone() const override;

    /// The stream form is that of `vnDynamicTypeContainer`.
    void write(vnSerializeAdapter* adapter) override;
    void read(vnSerializeAdapter* adapter) override;
    void pushBack(vnSerializeAdapter* adapter) override;
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    /// Takes a reference and enters the object as an owner.
    void onAttach(vnObject* object, const vnString& name) override;

    /// The object leaves the owners, and its reference goes. When that was the last one all attributes are
    /// removed first, which the owner is told.
    void onDetach(vnObject* object, const vnString& name) override;

    /// Equal types and equal attributes.
    unsigned char isEqualTo(const vnUserData* other) const override;

    /// Goes to all owners.
    void onAttributeEvent(vnDynamicTypeEvent event, const vnString& name) override;

    /// An object that attached the container twice stands here twice.
    const vnList<vnObject>& getOwners() const noexcept { return m_owners; }

private:
    class Family;

    void join(const vnUserDataAttributeContainer& source);
    void leaveFamily();

    vnList<vnObject> m_owners;
    vnList<vnObject> m_inherited;  // those of the owners that came from the source of a clone
    vnRefPointer<Family> m_family; // the containers that were cloned from one another; null without clones
};
