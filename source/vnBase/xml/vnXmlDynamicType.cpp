// SPDX-License-Identifier: MIT
#include <vnBase/vnXmlDynamicType.h>

#include "vnXmlSpecial.h"

#include <vnBase/vnCleanupReference.h>
#include <vnBase/vnMemoryCheck.h>
#include <vnBase/vnRefDict.h>

#include <core/vnEternal.h>
#include <dynamic/vnDynamicTags.h>

#include <atomic>

vnType vnXmlDynamicTypeInterface::s_type(vnReference::getClassType(), "vnXmlDynamicTypeInterface");
vnType vnXmlObjectInterface::s_type(vnReference::getClassType(), "vnXmlObjectInterface");
vnType vnXmlCustomDataInterface::s_type(vnReference::getClassType(), "vnXmlCustomDataInterface");
vnType vnXmlDynamicTypeInterface_builtin::s_type(vnXmlDynamicTypeInterface::getClassType(),
                                                 "vnXmlDynamicTypeInterface_builtin");
vnType vnXmlObjectInterface_builtin::s_type(vnXmlObjectInterface::getClassType(),
                                            "vnXmlObjectInterface_builtin");

vnXmlDynamicTypeInterface_builtin::~vnXmlDynamicTypeInterface_builtin() noexcept(false) = default;
vnXmlObjectInterface_builtin::~vnXmlObjectInterface_builtin() noexcept(false) = default;

namespace
{
// It holds itself, so that nobody who lets go of it destroys it.
template <class T>
T& eternal()
{
    static vnEternal<T> object;
    static const bool isHeld = (object.value.ref(), true);
    static_cast<void>(isHeld);
    return object.value;
}

// The one that stands for what is not registered; null where there is none.
template <class Interface>
Interface* builtinOf()
{
    if constexpr (std::is_same_v<Interface, vnXmlDynamicTypeInterface>)
        return &eternal<vnXmlDynamicTypeInterface_builtin>();
    else if constexpr (std::is_same_v<Interface, vnXmlObjectInterface>)
        return &eternal<vnXmlObjectInterface_builtin>();
    else
        return nullptr;
}

// The interfaces of one kind, by tag, class or element.
template <class Interface>
class Registry
{
public:
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    // Null once it was destroyed.
    static Registry* get()
    {
        static Registry registry;
        return registry.m_mutex.isValidMemory() ? &registry : nullptr;
    }

    void enter(const vnString& key, Interface* interface)
    {
        vnRefPointer<Interface> earlier; // goes when the lock was given back
        const vnBodyGuard guard(m_mutex);
        earlier = m_interfaces.find(key);
        m_interfaces.enter(key, interface);
        if (earlier)
            m_interfaces.remove(key, earlier);
        countOwn();
    }

    void remove(Interface* interface)
    {
        const vnBodyGuard guard(m_mutex);
        for (auto entry = m_interfaces.begin(); entry.isValid();)
        {
            if (entry.getValue() == interface)
                entry.remove();
            else
                ++entry;
        }
        countOwn();
    }

    // Null when there is none. Where the application has registered nothing it takes no lock.
    static vnRefPointer<Interface> find(const vnString& key)
    {
        Registry* const registry = isEmpty() ? nullptr : get();
        if (!registry)
            return nullptr;
        const vnBodyGuard guard(registry->m_mutex);
        return vnRefPointer<Interface>(registry->m_interfaces.find(key));
    }

    static bool isEmpty() noexcept { return s_ownCount.load(std::memory_order_relaxed) == 0; }

private:
    // Lets the interfaces go: when the statics are destroyed, or earlier through the cleanup references.
    class Cleanup : public vnReference
    {
    public:
        explicit Cleanup(Registry& registry) noexcept : m_registry(registry) {}
        ~Cleanup() noexcept(false) override
        {
            if (!m_registry.m_mutex.isValidMemory())
                return;
            const vnBodyGuard guard(m_registry.m_mutex);
            s_ownCount = 0;
            m_registry.m_interfaces.clear();
        }

    private:
        Registry& m_registry;
    };

    Registry()
    {
        if constexpr (std::is_same_v<Interface, vnXmlDynamicTypeInterface>)
            m_interfaces.enter(vnDynamicTagText(VN_TAG_STR), builtinOf<Interface>());
        m_cleanup = new Cleanup(*this);
    }

    void countOwn()
    {
        unsigned int count = 0;
        for (const auto& entry : m_interfaces)
            count += entry.getValue() != builtinOf<Interface>();
        s_ownCount = count;
    }

    static std::atomic<unsigned int> s_ownCount; // of the interfaces that are not the library's

    vnMemCheck<vnMutex> m_mutex; // guards what follows
    vnRefDict<vnString, Interface> m_interfaces;
    vnCleanupReference m_cleanup{nullptr, 0}; // behind what it empties, so that it is destroyed first
};

template <class Interface>
std::atomic<unsigned int> Registry<Interface>::s_ownCount{0};

template <class Interface>
void enter(const vnString& key, Interface* interface)
{
    const vnRefPointer<Interface> held(interface);
    Registry<Interface>* const registry = Registry<Interface>::get();
    if (interface && registry)
        registry->enter(key, interface);
}

template <class Interface>
void remove(Interface* interface)
{
    Registry<Interface>* const registry = Registry<Interface>::get();
    if (!interface || !registry)
        return;
    const vnRefPointer<Interface> held(interface); // goes when the lock was given back
    registry->remove(interface);
}

template <class Interface>
vnRefPointer<Interface> findOrBuiltin(const vnString& key)
{
    vnRefPointer<Interface> found = Registry<Interface>::find(key);
    return found ? std::move(found) : vnRefPointer<Interface>(builtinOf<Interface>());
}
} // namespace

bool vnXmlIsCustomElement(std::string_view name)
{
    if (Registry<vnXmlCustomDataInterface>::isEmpty())
        return false;
    const vnString key(name.data(), static_cast<unsigned short>(name.size()));
    return Registry<vnXmlCustomDataInterface>::find(key).get() != nullptr;
}

template <class Interface>
vnXmlForm<Interface>::vnXmlForm(const vnString& key)
    : m_held(Registry<Interface>::find(key)), m_interface(m_held ? m_held.get() : getBuiltin())
{
}

template <class Interface>
Interface* vnXmlForm<Interface>::getBuiltin() noexcept
{
    return builtinOf<Interface>();
}

template class vnXmlForm<vnXmlDynamicTypeInterface>;
template class vnXmlForm<vnXmlObjectInterface>;

vnString vnXmlDynamicTypeInterface::getDescription() const
{
    return getTypeName();
}

void vnXmlDynamicTypeInterface::registerDynamicTypeInterface(const vnString& tag,
                                                             vnXmlDynamicTypeInterface* interface)
{
    enter(tag, interface);
}

void vnXmlDynamicTypeInterface::unregisterDynamicTypeInterface(vnXmlDynamicTypeInterface* interface)
{
    remove(interface);
}

vnRefPointer<vnXmlDynamicTypeInterface>
vnXmlDynamicTypeInterface::getDynamicTypeInterface(const vnString& tag)
{
    return findOrBuiltin<vnXmlDynamicTypeInterface>(tag);
}

vnString vnXmlObjectInterface::getDescription() const
{
    return getTypeName();
}

void vnXmlObjectInterface::registerObjectInterface(const vnString& className, vnXmlObjectInterface* interface)
{
    enter(className, interface);
}

void vnXmlObjectInterface::unregisterObjectInterface(vnXmlObjectInterface* interface)
{
    remove(interface);
}

vnRefPointer<vnXmlObjectInterface> vnXmlObjectInterface::getObjectInterface(const vnString& className)
{
    return findOrBuiltin<vnXmlObjectInterface>(className);
}

vnString vnXmlCustomDataInterface::getDescription() const
{
    return getTypeName();
}

void vnXmlCustomDataInterface::registerCustomDataInterface(const vnString& elementName,
                                                           vnXmlCustomDataInterface* interface)
{
    enter(elementName, interface);
}

void vnXmlCustomDataInterface::unregisterCustomDataInterface(vnXmlCustomDataInterface* interface)
{
    remove(interface);
}

vnRefPointer<vnXmlCustomDataInterface>
vnXmlCustomDataInterface::getCustomDataInterface(const vnString& elementName)
{
    return findOrBuiltin<vnXmlCustomDataInterface>(elementName);
}
