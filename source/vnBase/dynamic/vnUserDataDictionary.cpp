// SPDX-License-Identifier: MIT
#include <vnBase/vnObject.h>

#include <dynamic/vnObjectParts.h>

#include <exception>
#include <utility>

namespace
{
// What stands at the end of the user data: an object may leave a whole chain of others without a holder.
void letGo(vnUserData* data)
{
    vnObjectGraves* graves = vnObjectGraves::getOpen();
    const bool isLast = graves && data->getRef() == 1 && data->isOfType(vnObject::getClassType());
    if (!isLast || !graves->take(data))
        data->unref();
}
} // namespace

// Names the item on its way in or out for the hooks, which are only told its value.
class vnUserDataDictionary::Naming
{
public:
    Naming(vnUserDataDictionary& dictionary, const vnString& name) noexcept
        : m_dictionary(dictionary), m_before(std::exchange(dictionary.m_name, &name))
    {
    }
    Naming(const Naming&) = delete;
    Naming& operator=(const Naming&) = delete;
    ~Naming() { m_dictionary.m_name = m_before; }

private:
    vnUserDataDictionary& m_dictionary;
    const vnString* m_before;
};

vnUserDataDictionary::~vnUserDataDictionary() noexcept(false)
{
    vnUserDataDictionary::clear();
}

void vnUserDataDictionary::enter(const vnString& name, vnUserData* data)
{
    if (!data)
        return;
    const Naming naming(*this, name);
    vnRefDict::enter(name, data);
}

vnUserData* vnUserDataDictionary::remove(const vnString& name)
{
    const Naming naming(*this, name);
    return vnRefDict::remove(name);
}

vnUserData* vnUserDataDictionary::remove(const vnString& name, vnUserData* data)
{
    const Naming naming(*this, name);
    return vnRefDict::remove(name, data);
}

void vnUserDataDictionary::clear()
{
    std::exception_ptr failure;
    for (auto entry = begin(); entry.isValid();)
        try
        {
            const Naming naming(*this, entry.getKey()); // the entry outlives its hook
            entry.remove();
        }
        catch (...)
        {
            if (!failure)
                failure = std::current_exception();
        }
    vnRefDict::clear();
    if (failure)
        std::rethrow_exception(failure);
}

void vnUserDataDictionary::onInsertItem(vnUserData* data)
{
    const vnString none;
    vnRefDict::onInsertItem(data);
    try
    {
        data->onAttach(m_owner, m_name ? *m_name : none);
    }
    catch (...)
    {
        data->unrefNoDelete(); // it stays whose it was
        throw;
    }
}

// The reference of the dictionary goes first while others hold the item, so that it can tell whether it is
// left to this owner alone.
void vnUserDataDictionary::onRemoveItem(vnUserData* data)
{
    const vnString none;
    const vnString& name = m_name ? *m_name : none;
    if (data->getRef() > 1)
    {
        vnRefDict::onRemoveItem(data);
        data->onDetach(m_owner, name);
        return;
    }
    try
    {
        data->onDetach(m_owner, name);
    }
    catch (...)
    {
        letGo(data);
        throw;
    }
    if (getKeepLast())
        vnRefDict::onRemoveItem(data); // which holds it
    else
        letGo(data);
}
