// SPDX-License-Identifier: MIT
#pragma once

#include "../messages/vnMessageRecorder.h"
#include "vnDynamicTestHelp.h"

#include <vnBase/vnObject.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeBinary.h>
#include <vnBase/vnUserDataAttributeContainer.h>

#include <atomic>

using Object = vnRefPointer<vnObject>;

/// User data that is not stored. It logs its hooks.
class Plain : public vnUserData
{
public:
    explicit Plain(Lines* log = nullptr) : m_log(log) {}
    vnReference* clone() const override { return new Plain(m_log); }
    void write(vnSerializeAdapter*) override {}
    void read(vnSerializeAdapter*) override {}
    void pushBack(vnSerializeAdapter*) override {}
    unsigned int getDataSize(vnSerializeAdapter*) const override { return 0; }
    void onAttach(vnObject* object, const vnString& name) override { log("attach ", object, name); }
    void onDetach(vnObject* object, const vnString& name) override { log("detach ", object, name); }
    unsigned char throws = 0;

private:
    void log(const char* what, const vnObject*, const vnString& name)
    {
        if (m_log)
            m_log->push_back(what + std::string(name.getString()));
        if (throws)
            vnExceptionThrows::vnThrowWarning("hook");
    }
    Lines* m_log;
};

/// An object with data of its own and two links. It logs its events.
class Lamp : public vnObject
{
public:
    explicit Lamp(unsigned int lampValue = 0) : value(lampValue) { ++s_alive; }
    Lamp(const Lamp& other) : vnObject(other), value(other.value), left(other.left), right(other.right)
    {
        ++s_alive;
    }
    ~Lamp() noexcept(false) override { --s_alive; }
    VN_TYPE(Lamp)
    vnReference* clone() const override { return new Lamp(*this); }
    void write(vnSerializeAdapter* adapter) override
    {
        vnObject::write(adapter);
        vnSerializeBinary<unsigned int>(value).write(adapter);
        writeObject(left, adapter, 0, "", 1);
        writeObject(right, adapter, 0, "", 1);
    }
    void read(vnSerializeAdapter* adapter) override
    {
        vnObject::read(adapter);
        vnSerializeBinary<unsigned int> item;
        item.read(adapter);
        value = item;
        left = readObject(adapter, 0, "", 1);
        right = readObject(adapter, 0, "", 1);
    }
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override
    {
        ++s_sizings;
        const unsigned int own = vnObject::getDataSize(adapter) + 4;
        const unsigned int sized = own + getChunkSize(left, adapter);
        return sized + getChunkSize(right, adapter);
    }
    void onUserDataAttributeEvent(vnUserData* data, vnDynamicTypeEvent event, const vnString& name) override
    {
        log.push_back(std::to_string(event) + name.getString());
        if (onEvent)
            onEvent(data, event);
    }

    unsigned char releaseRefs() override
    {
        left = right = nullptr;
        return 1;
    }

    static inline std::atomic<int> s_alive{0};
    static inline std::atomic<unsigned int> s_sizings{0};
    unsigned int value;
    Object left;
    Object right;
    Lines log;
    std::function<void(vnUserData*, vnDynamicTypeEvent)> onEvent;
};

// A lamp with attributes, an object as user data, shared links, and a circle.
inline Object createLamps()
{
    vnRefPointer<Lamp> root(new Lamp(1));
    vnRefPointer<Lamp> shared(new Lamp(2));
    Object inner(new vnObject);
    root->setAttribute("attributes", "number", 1.5);
    root->setAttribute("attributes", "text", "a text that is longer than those that are kept inline, by far");
    inner->addUserData("back", root);
    inner->addUserData("lamp", shared);
    root->left = shared;
    root->right = shared;
    root->addUserData("inner", inner); // last, since this closes the circle
    return Object(root.get());
}

/// Expects what `createLamps` made.
inline void expectLamps(vnObject* object)
{
    ASSERT_TRUE(object);
    ASSERT_TRUE(object->isExactType(Lamp::getClassType()));
    auto& root = static_cast<Lamp&>(*object);
    auto* shared = static_cast<Lamp*>(root.left.get());
    auto* inner = static_cast<vnObject*>(root.getUserData("inner"));
    ASSERT_TRUE(shared);
    ASSERT_TRUE(inner);
    EXPECT_EQ(root.value, 1u);
    EXPECT_EQ(shared->value, 2u);
    EXPECT_EQ(root.right.get(), shared);
    EXPECT_EQ(inner->getUserData("back"), object);
    EXPECT_EQ(inner->getUserData("lamp"), shared);
    EXPECT_EQ(root.getAttribute("attributes", "number").getNumber(), 1.5);
    EXPECT_EQ(root.getNumberOfAttributes("attributes"), 2u);
}

inline void breakLamps(vnObject* object)
{
    if (object)
        if (auto* inner = static_cast<vnObject*>(object->getUserData("inner")))
            inner->removeAllUserData();
}

/// Holds lamps, and breaks their circle in the end.
class Lamps : public Object
{
public:
    explicit Lamps(vnObject* root) : Object(root) {}
    Lamps(const Lamps&) = delete;
    Lamps& operator=(const Lamps&) = delete;
    ~Lamps() noexcept(false) { breakLamps(get()); }
};

/// Fails once after so many writes.
class FailingQueue : public Queue
{
public:
    explicit FailingQueue(int writes) : m_left(writes) {}

protected:
    void write_imp(unsigned char* data, unsigned int count) override
    {
        if (m_left-- == 0)
            vnExceptionThrows::vnThrowWarning("stream");
        Queue::write_imp(data, count);
        setWriteWindow(nullptr, nullptr);
    }
    void write_imp(unsigned char byte) override { write_imp(&byte, 1); }

private:
    int m_left;
};

/// Registers a class for a test.
template <class T>
class Registered
{
public:
    Registered() { vnObject::registerFactoryObject(new T); }
    Registered(const Registered&) = delete;
    Registered& operator=(const Registered&) = delete;
    ~Registered() { vnObject::unregisterFactory(T::getClassType()); }
};

inline Bytes recordOf(vnObject* object)
{
    Queue adapter;
    const unsigned int size = vnObject::getChunkSize(object, &adapter);
    vnObject::writeObject(object, &adapter, 0, "", 1);
    EXPECT_EQ(adapter.length(), size);
    return contentOf(adapter);
}
