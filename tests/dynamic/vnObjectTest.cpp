// SPDX-License-Identifier: MIT
#include "vnObjectTestHelp.h"

#include <functional>
#include <thread>

vnType Lamp::s_type(vnObject::getClassType(), "Lamp");

TEST(vnObject, TellsOfUserDataInOrder)
{
    Lamp lamp;
    vnRefPointer<Plain> data(new Plain(&lamp.log));
    lamp.addUserData("a", data);
    lamp.addUserData("a", data);
    lamp.addUserData("b", data);
    EXPECT_EQ(data->getRef(), 4u);
    EXPECT_EQ(lamp.getUserDataDictionary()->getOwner(), &lamp);
    EXPECT_EQ(lamp.removeUserData("a"), 1);
    EXPECT_EQ(lamp.removeUserData("c"), 0);
    EXPECT_EQ(lamp.log, (Lines{"3a", "attach a", "3a", "attach a", "3b", "attach b", "detach a", "4a"}));
    lamp.log.clear();
    lamp.removeAllUserData();
    EXPECT_EQ(lamp.log.size(), 4u);
    EXPECT_EQ(Lines(lamp.log.begin(), lamp.log.begin() + 2), (Lines{"4a", "4b"})); // the order of the hashes
    EXPECT_EQ(Lines(lamp.log.begin() + 2, lamp.log.end()), (Lines{"detach a", "detach b"}));
    EXPECT_EQ(lamp.hasUserData(), 0);
    EXPECT_EQ(lamp.getUserDataDictionary(), nullptr);
    EXPECT_EQ(data->getRef(), 1u);
}

TEST(vnObject, FindsEachOfSeveralItemsOfOneName)
{
    vnObject object;
    vnRefPointer<Plain> first(new Plain);
    vnRefPointer<Plain> second(new Plain);
    object.addUserData("a", first);
    object.addUserData("a", second);
    EXPECT_EQ(object.getUserData("a"), first.get());
    EXPECT_EQ(object.getUserData("a", first), second.get());
    EXPECT_EQ(object.getUserData("a", second), nullptr);
    EXPECT_EQ(object.existUserData("a", second), 1);
    EXPECT_EQ(object.existUserData("b"), 0);
    // What another item of the name is behind, also when one stands there twice.
    object.addUserData("b", first);
    object.addUserData("b", first);
    EXPECT_EQ(object.existUserData("b", second), 0);
    object.addUserData("b", second);
    EXPECT_EQ(object.existUserData("b", second), 1);
    EXPECT_EQ(object.removeUserData("a", second), 1);
    EXPECT_EQ(object.existUserData("a", second), 0);
    EXPECT_EQ(object.getUserData("a"), first.get());
    // What nobody holds and does not stand there is left alone.
    Plain stranger;
    EXPECT_EQ(object.removeUserData("a", &stranger), 0);
    EXPECT_EQ(stranger.getRef(), 0u);
}

TEST(vnObject, KeepsTheItemRemovedLastWhenItsDictionaryIsTold)
{
    Lamp lamp;
    lamp.addUserData("a", new vnObject);
    lamp.addUserData("b", new vnObject);
    lamp.getUserDataDictionary()->setKeepLast(1);
    const vnUserData* first = lamp.getUserData("a");
    lamp.getUserDataDictionary()->remove("a");
    EXPECT_EQ(lamp.getUserDataDictionary()->getHeldItem(), first);
    EXPECT_EQ(first->getRef(), 1u);
}

TEST(vnObject, StaysWholeWhenHooksThrow)
{
    Lamp lamp;
    vnRefPointer<Plain> data(new Plain);
    data->throws = 1;
    EXPECT_THROW(lamp.addUserData("a", data), vnWarningError); // in onAttach
    EXPECT_EQ(lamp.hasUserData(), 0);
    EXPECT_EQ(data->getRef(), 1u);
    data->throws = 0;
    lamp.onEvent = [](vnUserData*, vnDynamicTypeEvent) { vnExceptionThrows::vnThrowWarning("event"); };
    EXPECT_THROW(lamp.addUserData("a", data), vnWarningError);
    EXPECT_EQ(lamp.hasUserData(), 0);
    lamp.onEvent = nullptr;
    lamp.addUserData("a", data);
    data->throws = 1;
    EXPECT_THROW(lamp.removeUserData("a"), vnWarningError); // in onDetach
    EXPECT_EQ(lamp.hasUserData(), 0);
    EXPECT_EQ(data->getRef(), 1u);
    // A handler that takes the item away again before it is there.
    data->throws = 0;
    lamp.addUserData("b", new Plain);
    lamp.onEvent = [&lamp](vnUserData*, vnDynamicTypeEvent event)
    {
        if (event == VN_DYNAMIC_EVENT_USER_DATA_ADDED)
            lamp.removeAllUserData();
    };
    lamp.addUserData("a", data);
    EXPECT_EQ(lamp.getUserDataDictionary()->getCount(), 1u);
    EXPECT_EQ(lamp.getUserData("a"), data.get());
}

TEST(vnObject, HoldsAttributesInUserData)
{
    Recorder recorder;
    Lamp lamp;
    EXPECT_EQ(vnDynamicTypeError(lamp.getAttribute("u", "x")).getError(), "No userdata container");
    lamp.setAttribute("u", "x", 1.0);
    lamp.setAttribute("u", "y", "text");
    EXPECT_EQ(lamp.getAttribute("u", "x").getNumber(), 1.0);
    EXPECT_EQ(lamp.getNumberOfAttributes("u"), 2u);
    EXPECT_EQ(lamp.hasAttribute("u", "z"), 0);
    EXPECT_EQ(lamp.removeAttribute("u", "y"), 1);
    lamp.removeAllAttributes("u");
    EXPECT_EQ(lamp.log, (Lines{"3u", "1x", "1y", "0y", "2"}));
    EXPECT_EQ(recorder.take(), Lines());

    vnRefPointer<Plain> plain(new Plain);
    lamp.addUserData("p", plain);
    lamp.setAttribute("p", "x", 1.0);
    EXPECT_EQ(vnDynamicTypeError(lamp.getAttribute("p", "x")).getError(), "Faulty userdata container");
    EXPECT_EQ(lamp.hasAttribute("p", "x") + lamp.removeAttribute("p", "x"), 0);
    EXPECT_EQ(lamp.getNumberOfAttributes("p"), 0u);
    EXPECT_EQ(recorder.take(), (Lines{"VantorSDK|4000|Can not set Attribute 'x' in userdata 'p'",
                                      "VantorSDK|4000|Can not get Attribute 'x' in userdata 'p'"}));
    EXPECT_EQ(lamp.getUserData("p"), plain.get());
}

TEST(vnObject, SharesUserDataWithItsCopies)
{
    Lamp lamp;
    lamp.setAttribute("u", "x", 1.0);
    Lamp copy(lamp);
    copy.setAttribute("u", "x", 2.0);
    EXPECT_EQ(lamp.getAttribute("u", "x").getNumber(), 2.0);
    EXPECT_EQ(lamp.log.back(), "1x");
    EXPECT_EQ(copy.log.back(), "1x");
    EXPECT_EQ(copy.hasSameUserData(&lamp), 1);
    // An object that is assigned what only it holds.
    vnRefPointer<Lamp> inner(new Lamp);
    inner->setAttribute("in", "x", 3.0);
    Lamp outer;
    outer.addUserData("inner", inner);
    vnObject& source = *inner;
    inner = nullptr;
    outer.vnObject::operator=(source);
    EXPECT_EQ(outer.getAttribute("in", "x").getNumber(), 3.0);
    EXPECT_EQ(outer.existUserData("inner"), 0);
}

TEST(vnObject, ComparesUserDataByName)
{
    vnObject left;
    vnObject right;
    EXPECT_EQ(left.hasSameUserData(&right), 1);
    left.setAttribute("u", "x", 1.0);
    EXPECT_EQ(left.hasSameUserData(&right), 0);
    right.setAttribute("u", "x", 1.0);
    EXPECT_EQ(left.hasSameUserData(&right), 1);
    right.setAttribute("u", "x", 2.0);
    EXPECT_EQ(left.hasSameUserData(&right), 0);
    right.removeAttribute("u", "x");
    right.setAttribute("u", "y", 1.0);
    EXPECT_EQ(left.hasSameUserData(&right), 0);
    right.removeAllUserData();
    right.addUserData("u", new Plain);
    EXPECT_EQ(left.hasSameUserData(&right), 0);

    // The other side is asked.
    class Agreeing : public Plain
    {
        unsigned char isEqualTo(const vnUserData*) const override { return 1; }
    };
    left.removeAllUserData();
    left.addUserData("u", new Agreeing);
    EXPECT_EQ(left.hasSameUserData(&right), 0);
    EXPECT_EQ(right.hasSameUserData(&left), 1);
}

TEST(vnUserDataAttributeContainer, RemovesAttributesBeforeItsLastOwnerLeaves)
{
    Lamp lamp;
    lamp.setAttribute("u", "x", 1.0);
    lamp.log.clear();
    lamp.removeAllUserData();
    EXPECT_EQ(lamp.log, (Lines{"4u", "2"}));
    // One that somebody holds keeps them.
    const vnRefPointer<vnUserDataAttributeContainer> held(new vnUserDataAttributeContainer);
    held->setAttribute("x", 1.0);
    lamp.addUserData("u", held);
    lamp.log.clear();
    lamp.removeUserData("u");
    EXPECT_EQ(lamp.log, (Lines{"4u"}));
    EXPECT_EQ(held->getNumberOfAttributes(), 1u);
    EXPECT_EQ(held->getOwners().getCount(), 0u);
    // The removal of a single item holds it until the event is over.
    lamp.setAttribute("v", "x", 1.0);
    lamp.log.clear();
    EXPECT_EQ(lamp.removeUserData("v"), 1);
    EXPECT_EQ(lamp.log, (Lines{"4v"}));
}

// Each handler removes the user data whose attributes change, at each way to change them.
TEST(vnUserDataAttributeContainer, SurvivesHandlersThatRemoveIt)
{
    const std::function<void(vnObject&)> changes[] = {
        [](vnObject& object) { object.setAttribute("u", "x", 2.0); },
        [](vnObject& object) { object.removeAttribute("u", "x"); },
        [](vnObject& object) { object.removeAllAttributes("u"); },
    };
    for (const auto& change : changes)
        for (const bool isShared : {false, true})
        {
            Lamp lamp;
            lamp.setAttribute("u", "x", 1.0);
            Lamp other(isShared ? lamp : Lamp());
            const auto remove = [&](vnUserData*, vnDynamicTypeEvent event)
            {
                if (event > VN_DYNAMIC_EVENT_REMOVE_ALL)
                    return;
                lamp.removeAllUserData();
                other.removeAllUserData();
            };
            lamp.onEvent = other.onEvent = remove;
            change(lamp);
            EXPECT_EQ(lamp.hasUserData() + other.hasUserData(), 0) << isShared;
        }
}

TEST(vnUserDataAttributeContainer, ClonesItsAttributesAndItsOwners)
{
    using Container = vnUserDataAttributeContainer;
    vnRefPointer<Container> copy;
    Lamp other;
    {
        Lamp lamp;
        lamp.setAttribute("u", "x", 1.0);
        copy = static_cast<Container*>(lamp.getUserData("u")->clone());
        copy->setAttribute("y", 2.0);
        EXPECT_EQ(lamp.log.back(), "1y");
        EXPECT_EQ(lamp.hasAttribute("u", "y"), 0);
        EXPECT_EQ(copy->getAttribute("x").getNumber(), 1.0);
        other.addUserData("c", copy);
        EXPECT_EQ(copy->getOwners().getCount(), 2u);
    }
    // The first owner is gone, and so it gets no events.
    EXPECT_EQ(copy->getOwners().getCount(), 1u);
    copy->setAttribute("z", 3.0);
    EXPECT_EQ(other.log, (Lines{"3c", "1z"}));
}

namespace
{
// A class that forgot its clone, and two whose names have one hash.
class Forgetful : public vnObject
{
public:
    VN_TYPE(Forgetful)
};
vnType Forgetful::s_type(vnObject::getClassType(), "Forgetful");

class Hidden : public vnObject
{
public:
    VN_TYPE(Hidden)
    vnReference* clone() const override { return new Hidden(*this); }
};
vnType Hidden::s_type(vnObject::getClassType(), "Lamp"); // another record of the same name, so the same hash
} // namespace

TEST(vnObject, RegistersClassesByTheHashOfTheirName)
{
    Recorder recorder;
    EXPECT_EQ(vnObject::registerFactoryObject(new Forgetful), 0u);
    EXPECT_EQ(vnObject::registerFactoryObject(nullptr), 0u);
    const unsigned int id = vnObject::registerFactoryObject(new Lamp(1));
    EXPECT_EQ(id, vnString("Lamp").hash());
    EXPECT_EQ(vnObject::registerFactoryObject(new Lamp(2)), id); // in place of the first
    Object object(vnObject::createFactoryObject(id));
    ASSERT_TRUE(object);
    EXPECT_EQ(static_cast<Lamp&>(*object).value, 2u);
    EXPECT_EQ(errorOf([] { vnObject::registerFactoryObject(new Hidden); }),
              "Ambigious Object Factory Names found (Lamp) and (Lamp)");
    vnObject::unregisterFactory(Lamp::getClassType());
    EXPECT_EQ(vnObject::createFactoryObject(id), nullptr);
    EXPECT_EQ(vnObject::createFactoryObject(17), nullptr);
    const Lines lines = recorder.take();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0], "VantorSDK|4000|Factory Object 'Forgetful' has incomplete clone() method");
    EXPECT_EQ(lines[2], "VantorSDK|4000|Factory Object Id '17' not registered");

    const unsigned int base = vnString("vnObject").hash();
    object = vnObject::createFactoryObject(base);
    ASSERT_TRUE(object);
    EXPECT_TRUE(object->isExactType(vnObject::getClassType()));
    vnObject::unregisterAllFactories();
    EXPECT_EQ(vnObject::createFactoryObject(base), nullptr);
    EXPECT_EQ(vnObject::registerFactoryObject(new vnObject), base);
}

TEST(vnObject, MakesObjectsOnSeveralThreads)
{
    std::atomic<int> wrong{0};
    const unsigned int id = vnString("Lamp").hash();
    const auto work = [&wrong, id]
    {
        for (int i = 0; i < 500; ++i)
        {
            wrong += vnObject::registerFactoryObject(new Lamp(7)) != id;
            const Object object(vnObject::createFactoryObject(id));
            wrong += object && static_cast<Lamp&>(*object).value != 7;
            vnObject::unregisterFactory(id);
        }
    };
    Recorder recorder; // of those that were not registered just then
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Lamp::s_alive, 0);

    // What is made shares the user data of the prototype.
    vnRefPointer<Lamp> prototype(new Lamp);
    prototype->setAttribute("u", "x", 1.0);
    vnObject::registerFactoryObject(prototype);
    const Object object(vnObject::createFactoryObject(id));
    EXPECT_EQ(object->getUserData("u"), prototype->getUserData("u"));
    vnObject::unregisterFactory(id);
}

TEST(vnObject, EndsALongChainWithoutALongStack)
{
    Object first(new vnObject);
    vnObject* last = first;
    for (int i = 0; i < 300000; ++i)
    {
        Object next(new vnObject);
        last->addUserData("next", next);
        last = next;
    }
    first = nullptr;
    EXPECT_FALSE(first);
}
