// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicTypeContainer.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeBinary.h>

#include <dynamic/vnContainerBytes.h>
#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnDynamicTags.h>
#include <dynamic/vnDynamicWire.h>
#include <dynamic/vnStreamEnd.h>
#include <serialize/vnAdapterError.h>
#include <serialize/vnAdapterWindow.h>
#include <serialize/vnTextReader.h>

#include <memory>
#include <utility>

namespace
{
constexpr auto& magicBytes = vnContainerBytes::magic;
constexpr unsigned int headSize = vnContainerBytes::headSize;

void writeWord(vnSerializeAdapter* adapter, unsigned int word)
{
    vnSerializeBinary<unsigned int>(word, 0).write(adapter);
}

// Whether the stream goes on with the magic word; if not it is left as it was. It is asked byte by byte, as a
// source that is asked beyond its end would keep an error.
bool readMagic(vnSerializeAdapter* adapter)
{
    unsigned char word[sizeof magicBytes];
    unsigned int count = 0;
    bool isMagic = true;
    while (isMagic && count < sizeof word && adapter->hasData())
    {
        word[count] = adapter->read();
        isMagic = word[count] == magicBytes[count];
        ++count;
    }
    if (isMagic && count == sizeof word)
        return true;
    vnAdapterWindow::unread(*adapter, word, count);
    return false;
}

[[noreturn]] void refuse(vnSerializeAdapter* adapter)
{
    vnExceptionThrows::vnThrowWarning("vnDynamicTypeContainer::read failure in adapter '%s' !",
                                      adapter->getName());
}

void testError(vnSerializeAdapter* adapter)
{
    if (adapter->hasError())
        refuse(adapter);
}

[[noreturn]] void fail(vnSerializeAdapter* adapter, const char* error)
{
    adapter->setError(vnTranslated(error));
    refuse(adapter);
}

// Some sources end without an error, and then a count that is cut would pass for a small one.
unsigned int readCount(vnSerializeAdapter* adapter)
{
    unsigned char bytes[headSize - sizeof magicBytes];
    const bool isWhole = vnReadWhole(adapter, bytes, sizeof bytes);
    testError(adapter);
    if (!isWhole)
        fail(adapter, "Container ends within its count");
    return vnDynamicBytes::get<unsigned int>(bytes);
}

void testEnd(vnSerializeAdapter* adapter)
{
    if (adapter->hasData())
        return;
    testError(adapter); // the first cause stays
    fail(adapter, "Container ends within its attributes");
}
} // namespace

void vnDynamicType::writePayload(vnDynamicPayload& payload, vnSerializeData& data)
{
    vnSerializeAdapterMemory adapter(payload.data(), payload.getSize());
    data.write(&adapter);
    payload.cut(adapter.getCurrentPos()); // what was announced and not written was never set
}

void vnDynamicType::readPayload(const vnDynamicPayload& payload, vnSerializeData& data)
{
    // Nothing writes to it: what is pushed back does not go to the block.
    vnSerializeAdapterMemory adapter(const_cast<unsigned char*>(payload.data()), payload.getSize());
    data.read(&adapter);
}

const vnDynamicType& vnDynamicType::checkedCustom(const vnDynamicType& source, const vnString& tag)
{
    if (!source.is(tag))
        vnExceptionThrows::vnThrowFatal(
            "Can not convert dynamic argument type '%s' to vnDynamicTypeCustom type '%s'!!",
            source.getDynamicType(), tag);
    return source;
}

vnDynamicTypeContainer::vnDynamicTypeContainer(const vnDynamicTypeContainer& other)
    : vnSerializeData(), m_entries(other.m_entries), m_readLimit(other.m_readLimit),
      m_attributes(other.m_attributes ? new Attributes(*other.m_attributes) : nullptr)
{
}

vnDynamicTypeContainer::vnDynamicTypeContainer(vnDynamicTypeContainer&& other) noexcept
    : vnSerializeData(), m_entries(other.m_entries), m_readLimit(other.m_readLimit),
      m_attributes(std::move(other.m_attributes))
{
}

vnDynamicTypeContainer& vnDynamicTypeContainer::operator=(const vnDynamicTypeContainer& other)
{
    if (this != &other)
        *this = vnDynamicTypeContainer(other);
    return *this;
}

vnDynamicTypeContainer& vnDynamicTypeContainer::operator=(vnDynamicTypeContainer&& other)
{
    if (this == &other)
        return *this;
    m_entries = other.m_entries;
    m_readLimit = other.m_readLimit;
    m_attributes = std::move(other.m_attributes); // last, as objects may throw when they go
    return *this;
}

vnDynamicTypeContainer::~vnDynamicTypeContainer() noexcept(false) = default;

void vnDynamicTypeContainer::write(vnSerializeAdapter* adapter)
{
    if (!m_attributes)
        return;
    adapter->write(magicBytes, sizeof magicBytes);
    writeWord(adapter, m_attributes->getCount());
    for (auto& entry : *m_attributes)
    {
        const vnString& name = entry.getKey();
        adapter->write(reinterpret_cast<const unsigned char*>(name.getString()), name.length() + 1u);
        entry.getValue()->getData().write(adapter);
    }
}

void vnDynamicTypeContainer::read(vnSerializeAdapter* adapter)
{
    if (!readMagic(adapter))
        return;
    attributes();
    testError(adapter);
    const unsigned int count = readCount(adapter);
    // What is refused for its count costs the attributes that are there nothing.
    if (m_readLimit && count > m_readLimit)
        fail(adapter, "Container with too many attributes");
    attributes().clear();
    for (unsigned int left = count; left > 0; --left)
        readAttribute(adapter);
}

void vnDynamicTypeContainer::readAttribute(vnSerializeAdapter* adapter)
{
    // A source that ends without an error would otherwise be asked as often as a lying count says.
    testEnd(adapter);
    vnString name;
    vnReadText(adapter, 0, name);
    testError(adapter);
    testEnd(adapter); // a value has two bytes at least
    auto value = std::make_unique<Value>();
    const bool isWhole = vnDynamicWire::readWhole(value->getData(), adapter);
    testError(adapter);
    if (!isWhole)
        fail(adapter, "Container ends within its attributes");
    // The dictionary is fetched anew, as the handler of an event may have assigned the container.
    attributes().enter(name, value.get());
    static_cast<void>(value.release()); // it holds it
    onAttributeEvent(VN_DYNAMIC_EVENT_SET, name);
}

void vnDynamicTypeContainer::pushBack(vnSerializeAdapter* adapter)
{
    vnExceptionThrows::vnThrowWarning(
        "pushBack for vnDynamicTypeContainer is not possible to perform in adapter '%s' ",
        adapter->getName());
}

unsigned int vnDynamicTypeContainer::getDataSize(vnSerializeAdapter* adapter) const
{
    if (!m_attributes)
        return 0;
    std::size_t size = headSize;
    for (auto& entry : *m_attributes)
        size += entry.getKey().length() + 1u +
                static_cast<std::size_t>(entry.getValue()->getData().getDataSize(adapter));
    return vnCheckedSize(size);
}

void vnDynamicTypeContainer::onAttributeEvent(vnDynamicTypeEvent, const vnString&) {}

template <class Source>
void vnDynamicTypeContainer::set(const vnString& name, Source&& value)
{
    Dictionary& dictionary = attributes();
    if (Value* item = dictionary.find(name))
        item->getData() = std::forward<Source>(value);
    else
    {
        auto fresh = std::make_unique<Value>(std::forward<Source>(value));
        dictionary.enter(name, fresh.get());
        static_cast<void>(fresh.release()); // the dictionary holds it
    }
    onAttributeEvent(VN_DYNAMIC_EVENT_SET, name);
}

void vnDynamicTypeContainer::setAttribute(const vnString& name, const vnDynamicType& value)
{
    set(name, value);
}

void vnDynamicTypeContainer::setAttribute(const vnString& name, vnDynamicType&& value)
{
    set(name, std::move(value));
}

vnDynamicType vnDynamicTypeContainer::getAttribute(const vnString& name) const
{
    if (m_attributes)
        if (const Value* item = m_attributes->find(name))
            return item->getData();
    return vnDynamicTypeError(vnDynamicTagText(VN_TEXT_NOT_SET));
}

unsigned char vnDynamicTypeContainer::hasAttribute(const vnString& name) const
{
    return m_attributes && m_attributes->find(name);
}

unsigned char vnDynamicTypeContainer::removeAttribute(const vnString& name)
{
    // The event comes first and in every case; users rely on it.
    onAttributeEvent(VN_DYNAMIC_EVENT_REMOVE, name);
    return m_attributes && m_attributes->remove(name);
}

void vnDynamicTypeContainer::removeAllAttributes()
{
    if (m_attributes)
        m_attributes->clear();
    // Behind the removal, unlike that of one attribute.
    onAttributeEvent(VN_DYNAMIC_EVENT_REMOVE_ALL, vnString());
}

const vnString& vnDynamicTypeContainer::getDataTag()
{
    return vnDynamicTagText(VN_TAG_CONT);
}

vnDynamicTypeContainer::Dictionary& vnDynamicTypeContainer::attributes()
{
    if (!m_attributes)
    {
        m_attributes.reset(new Attributes(m_entries));
        m_attributes->setAutoGrow(0); // the order must not depend on how many attributes there were
    }
    return *m_attributes;
}

vnDynamicTypeContainerConstIterator::vnDynamicTypeContainerConstIterator(
    const vnDynamicTypeContainer& container, const vnString& prefix)
    : m_container(container), m_prefix(prefix), m_state(container.m_attributes ? VN_AT_START : VN_WITHOUT)
{
}

vnDynamicType* vnDynamicTypeContainerConstIterator::next(vnString* name)
{
    if (m_state == VN_WITHOUT)
        return nullptr;
    if (m_state == VN_ON_ITEM)
        ++m_iterator;
    else if (m_state == VN_AT_START)
        m_iterator = m_container.m_attributes ? m_container.m_attributes->begin() : DictIterator();
    m_state = VN_BEFORE_NEXT;
    while (m_iterator.isValid() && !m_iterator.getKey().isFirst(m_prefix))
        ++m_iterator;
    if (!m_iterator.isValid())
        return nullptr;
    m_state = VN_ON_ITEM;
    if (name)
        *name = m_iterator.getKey();
    return &m_iterator.getValue()->getData();
}

const vnDynamicType* vnDynamicTypeContainerConstIterator::current() const
{
    const vnDynamicTypeContainer::Value* found = item();
    return found ? &found->getData() : nullptr;
}

const vnDynamicTypeContainer::Value* vnDynamicTypeContainerConstIterator::currentItem() const
{
    return item();
}

vnString vnDynamicTypeContainerConstIterator::currentName() const
{
    return m_state == VN_ON_ITEM ? m_iterator.getKey() : vnString();
}

void vnDynamicTypeContainerConstIterator::reset()
{
    if (m_state != VN_WITHOUT)
        m_state = VN_AT_START;
}

vnDynamicTypeContainer::Value* vnDynamicTypeContainerConstIterator::item() const
{
    return m_state == VN_ON_ITEM ? m_iterator.getValue() : nullptr;
}

void vnDynamicTypeContainerConstIterator::removeCurrent()
{
    m_state = VN_BEFORE_NEXT;
    m_iterator.remove();
}

vnDynamicType* vnDynamicTypeContainerIterator::current() const
{
    vnDynamicTypeContainer::Value* found = item();
    return found ? &found->getData() : nullptr;
}

void vnDynamicTypeContainerIterator::remove()
{
    if (!item())
        return;
    m_container.onAttributeEvent(VN_DYNAMIC_EVENT_REMOVE, currentName());
    removeCurrent();
}
