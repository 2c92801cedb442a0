// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicTypeContainer.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeBinary.h>
#include <vnBase/vnSerializeString.h>

#include <dynamic/vnDynamicTags.h>

namespace
{
constexpr unsigned int magic = 0xFEBFCD07;
constexpr unsigned int headSize = 8;

void writeWord(vnSerializeAdapter* adapter, unsigned int word)
{
    vnSerializeBinary<unsigned int>(word, 0).write(adapter);
}

unsigned int littleWord(const unsigned char* bytes)
{
    return bytes[0] | static_cast<unsigned int>(bytes[1]) << 8 | static_cast<unsigned int>(bytes[2]) << 16 |
           static_cast<unsigned int>(bytes[3]) << 24;
}
} // namespace

void vnDynamicType::writePayload(vnDynamicPayload& payload, vnSerializeData& data)
{
    vnSerializeAdapterMemory adapter(payload.data(), payload.getSize());
    data.write(&adapter);
}

void vnDynamicType::readPayload(const vnDynamicPayload& payload, vnSerializeData& data)
{
    // Nothing writes to it: what is pushed back does not go to the block.
    vnSerializeAdapterMemory adapter(const_cast<unsigned char*>(payload.data()), payload.getSize());
    data.read(&adapter);
}

const vnDynamicType& vnDynamicType::checkedCustom(const vnDynamicType& source, const vnString& tag)
{
    if (source.m_tag != tag)
        vnExceptionThrows::vnThrowFatal(
            "Can not convert dynamic argument type '%s' to vnDynamicTypeCustom type '%s'!!", source.m_tag,
            tag);
    return source;
}

vnDynamicTypeContainer::vnDynamicTypeContainer(const vnDynamicTypeContainer& other)
    : vnSerializeData(), m_entries(other.m_entries)
{
    if (other.m_attributes)
        m_attributes.reset(new Attributes(*other.m_attributes));
}

vnDynamicTypeContainer& vnDynamicTypeContainer::operator=(const vnDynamicTypeContainer& other)
{
    if (this == &other)
        return *this;
    std::unique_ptr<Attributes> copy;
    if (other.m_attributes)
        copy.reset(new Attributes(*other.m_attributes));
    m_entries = other.m_entries;
    m_attributes = std::move(copy);
    return *this;
}

vnDynamicTypeContainer::~vnDynamicTypeContainer() noexcept(false) = default;

void vnDynamicTypeContainer::write(vnSerializeAdapter* adapter)
{
    if (!m_attributes)
        return;
    writeWord(adapter, magic);
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
    // What is too short for the magic word is not one, and reading beyond it would leave an error.
    unsigned char word[4];
    if (!adapter->hasData(sizeof word))
        return;
    const unsigned int got = adapter->read(word, sizeof word);
    if (got != sizeof word || littleWord(word) != magic)
    {
        adapter->pushBack(word, got);
        return;
    }
    Dictionary& dictionary = attributes();
    testError(adapter);
    vnSerializeBinary<unsigned int> count(0, 0);
    count.read(adapter);
    testError(adapter);
    dictionary.clear();
    for (unsigned int left = count; left > 0; --left)
    {
        // A source that ends without an error would otherwise be asked as often as a lying count says.
        if (!adapter->hasData(1))
            adapter->setError("Container ends within its attributes");
        testError(adapter);
        vnSerializeString name;
        name.read(adapter);
        testError(adapter);
        vnRefPointer<Value> value(new Value);
        value->getData().read(adapter);
        testError(adapter);
        dictionary.enter(name.getText(), value);
        onAttributeEvent(VN_DYNAMIC_EVENT_SET, name.getText());
    }
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

void vnDynamicTypeContainer::setAttribute(const vnString& name, const vnDynamicType& value)
{
    Dictionary& dictionary = attributes();
    if (Value* item = dictionary.find(name))
        item->getData() = value;
    else
        dictionary.enter(name, vnRefPointer<Value>(new Value(value)));
    onAttributeEvent(VN_DYNAMIC_EVENT_SET, name);
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
    if (!m_attributes || !m_attributes->contains(name))
        return 0;
    m_attributes->remove(name);
    return 1;
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

void vnDynamicTypeContainer::testError(vnSerializeAdapter* adapter) const
{
    if (adapter->hasError())
        vnExceptionThrows::vnThrowWarning("vnDynamicTypeContainer::read failure in adapter '%s' !",
                                          adapter->getName());
}

vnDynamicTypeContainerIterator::vnDynamicTypeContainerIterator(vnDynamicTypeContainer& container,
                                                               const vnString& prefix)
    : m_container(container), m_prefix(prefix)
{
    if (container.m_attributes)
        m_iterator.reset(new DictIterator(*container.m_attributes));
}

vnDynamicType* vnDynamicTypeContainerIterator::operator()(vnString* name)
{
    if (!m_iterator)
        return nullptr;
    if (m_isOnItem)
        ++*m_iterator;
    m_isOnItem = false;
    while (m_iterator->isValid() && !m_iterator->getKey().isFirst(m_prefix))
        ++*m_iterator;
    if (!m_iterator->isValid())
        return nullptr;
    m_isOnItem = true;
    if (name)
        *name = m_iterator->getKey();
    return &m_iterator->getValue()->getData();
}

vnDynamicType* vnDynamicTypeContainerIterator::current() const
{
    vnDynamicTypeContainer::Value* item = currentItem();
    return item ? &item->getData() : nullptr;
}

vnDynamicTypeContainer::Value* vnDynamicTypeContainerIterator::currentItem() const
{
    return m_isOnItem ? m_iterator->getValue() : nullptr;
}

vnString vnDynamicTypeContainerIterator::currentName() const
{
    return m_isOnItem ? m_iterator->getKey() : vnString();
}

void vnDynamicTypeContainerIterator::reset()
{
    m_isOnItem = false;
    if (m_iterator)
        *m_iterator = DictIterator(*m_container.m_attributes);
}

void vnDynamicTypeContainerIterator::remove()
{
    if (!m_isOnItem)
        return;
    m_container.onAttributeEvent(VN_DYNAMIC_EVENT_REMOVE, vnString(m_iterator->getKey()));
    m_isOnItem = false;
    m_iterator->remove();
}
