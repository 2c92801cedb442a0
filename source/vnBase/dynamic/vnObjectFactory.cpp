// SPDX-License-Identifier: MIT
#include <dynamic/vnObjectParts.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnMessage.h>

#include <utility>

namespace
{
using Key = vnUInt32CompareInterface;

struct Factory
{
    Factory();
    Factory(const Factory&) = delete;
    Factory& operator=(const Factory&) = delete;

    vnMemCheck<vnMutex> lock; // guards the prototypes
    vnRefDict<Key, vnObject> prototypes;
    // Behind what it empties, so that it is destroyed first.
    vnCleanupReference cleanup{nullptr, 0};
};

// Lets the prototypes go: when the statics are destroyed, or earlier through the cleanup references.
class vnObjectFactoryCleanup : public vnReference
{
public:
    explicit vnObjectFactoryCleanup(Factory& factory) noexcept : m_factory(factory) {}
    ~vnObjectFactoryCleanup() noexcept(false) override
    {
        if (!m_factory.lock.isValidMemory())
            return;
        const vnBodyGuard guard(m_factory.lock);
        m_factory.prototypes.clear();
    }

private:
    Factory& m_factory;
};

// The base class stands there from the start, by its name, as its type may not have been built yet: other
// files come here from their static initializers, in any order.
Factory::Factory()
{
    const vnRefPointer<vnObject> base(new vnObject);
    prototypes.enter(Key(vnString::hash("vnObject", 0)), base);
    cleanup = new vnObjectFactoryCleanup(*this);
}

// Null once it was destroyed.
Factory* getFactory()
{
    static Factory factory;
    return factory.lock.isValidMemory() ? &factory : nullptr;
}

vnRefPointer<vnReference> copyOf(const vnObject& prototype)
{
    return vnRefPointer<vnReference>(prototype.clone());
}

// Under the lock.
void enterPrototype(Factory& factory, unsigned int id, vnObject* prototype)
{
    vnObject* known = factory.prototypes.find(Key(id));
    if (known && *known->getType() != *prototype->getType())
        vnExceptionThrows::vnThrowFatal("Ambigious Object Factory Names found (%s) and (%s)",
                                        known->getTypeName(), prototype->getTypeName());
    factory.prototypes.enter(Key(id), prototype);
    if (known)
        factory.prototypes.remove(Key(id), known);
}
} // namespace

unsigned int vnFactoryIdentifier(const vnType* type)
{
    return vnString::hash(type->getName(), 0);
}

vnObject* vnCreateFactoryObject(unsigned int id, bool isSilent)
{
    Factory* factory = getFactory();
    if (!factory)
        return nullptr;
    {
        const vnBodyGuard guard(factory->lock);
        if (const vnObject* prototype = factory->prototypes.find(Key(id)))
            return vnReference::cloneOf(*prototype);
    }
    if (!isSilent)
        vnMessage::message(VN_MESSAGE_WARNING, "Factory Object Id '%d' not registered", id);
    return nullptr;
}

unsigned int vnObject::registerFactoryObject(vnObject* prototype)
{
    Factory* factory = getFactory();
    if (!factory || !prototype)
        return 0;
    const vnRefPointer<vnObject> held(prototype); // goes when the lock was given back
    const vnBodyGuard guard(factory->lock);
    const vnRefPointer<vnReference> copy = copyOf(*prototype);
    if (!copy || *copy->getType() != *prototype->getType())
    {
        vnMessage::message(VN_MESSAGE_WARNING, "Factory Object '%s' has incomplete clone() method",
                           prototype->getTypeName());
        return 0;
    }
    const unsigned int id = vnFactoryIdentifier(prototype->getType());
    enterPrototype(*factory, id, prototype);
    return id;
}

vnObject* vnObject::createFactoryObject(unsigned int id)
{
    return vnCreateFactoryObject(id, false);
}

void vnObject::unregisterFactory(unsigned int id)
{
    Factory* factory = getFactory();
    if (!factory)
        return;
    const vnBodyGuard guard(factory->lock);
    factory->prototypes.remove(Key(id));
}

void vnObject::unregisterFactory(vnType* type)
{
    if (type)
        unregisterFactory(vnFactoryIdentifier(type));
}

void vnObject::unregisterAllFactories()
{
    Factory* factory = getFactory();
    if (!factory)
        return;
    const vnBodyGuard guard(factory->lock);
    factory->prototypes.clear();
}
