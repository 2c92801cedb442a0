// SPDX-License-Identifier: MIT
#include <vnBase/vnDynamicTypeContainer.h>

#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterMemory.h>

#include "../serialize/vnTempFolder.h"
#include "vnDynamicTestHelp.h"

#include <algorithm>

namespace
{
using Lines = std::vector<std::string>;

Lines namesOf(vnDynamicTypeContainer& container, const char* prefix = "")
{
    Lines names;
    vnDynamicTypeContainerIterator iterator(container, prefix);
    vnString name;
    while (iterator(&name))
        names.push_back(name.getString());
    return names;
}

// Logs the events of its attributes.
class Watched : public vnDynamicTypeContainer
{
public:
    void onAttributeEvent(vnDynamicTypeEvent event, const vnString& name) override
    {
        log.push_back(std::to_string(event) + name.getString() + std::to_string(getNumberOfAttributes()));
    }
    Lines log;
};

// The start of a container of so many attributes, less than 256.
Bytes head(unsigned char count)
{
    return {0x07, 0xCD, 0xBF, 0xFE, count, 0, 0, 0};
}

// A container of the attributes "a", 5, and "b", 6.
const Bytes two = head(2) + Bytes{'a', 0, 0xFC, 2, 0, 1, 5, 'b', 0, 0xFC, 2, 0, 1, 6};
} // namespace

TEST(vnDynamicTypeContainer, GivesAnErrorForWhatIsNotSet)
{
    vnDynamicTypeContainer container;
    EXPECT_TRUE(VN_FAIL(container.getAttribute("a"))); // there is no dictionary yet
    container.setAttribute("a", 1.0);
    container.setAttribute("a", "text");
    EXPECT_EQ(container.getNumberOfAttributes(), 1u);
    EXPECT_EQ(container.getAttribute("a").getString(), "text");
    EXPECT_TRUE(container.hasAttribute("a"));
    EXPECT_FALSE(container.hasAttribute("b"));
    EXPECT_EQ(vnDynamicTypeError(container.getAttribute("b")).getError(), "Value not set");
    EXPECT_TRUE(container.removeAttribute("a"));
    EXPECT_FALSE(container.removeAttribute("a"));
}

TEST(vnDynamicTypeContainer, WritesNothingUntilItHadAnAttribute)
{
    vnDynamicTypeContainer container;
    EXPECT_EQ(written(container), Bytes());
    container.setAttribute("n", 5.0);
    EXPECT_EQ(written(container), (Bytes{0x07, 0xCD, 0xBF, 0xFE, 1, 0, 0, 0, 'n', 0, 0xFC, 2, 0, 1, 5}));
    container.removeAttribute("n");
    EXPECT_EQ(written(container), head(0));
}

TEST(vnDynamicTypeContainer, HasTheOrderOfItsHashes)
{
    const char* names[] = {"a", "b", "width", "height", "color.red", "color.blue", "x1", "x2", "name"};
    vnDynamicTypeContainer up;
    vnDynamicTypeContainer down;
    for (const char* name : names)
        up.setAttribute(name, name);
    for (unsigned int i = std::size(names); i > 0; --i)
        down.setAttribute(names[i - 1], names[i - 1]);
    EXPECT_EQ(written(up), written(down));
    const Lines order = namesOf(up);
    EXPECT_EQ(order.size(), std::size(names));
    const auto hash = [](const std::string& name) { return vnString(name.c_str()).hash(); };
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end(),
                               [hash](const std::string& left, const std::string& right)
                               { return hash(left) < hash(right); }));

    vnDynamicTypeContainer wide(7); // by bucket first; the count of buckets stays
    for (unsigned int i = 0; i < 100; ++i)
        wide.setAttribute(vnString::formatString("name%d", i), i);
    const Lines buckets = namesOf(wide);
    EXPECT_EQ(buckets.size(), 100u);
    EXPECT_TRUE(std::is_sorted(buckets.begin(), buckets.end(),
                               [hash](const std::string& left, const std::string& right)
                               { return hash(left) % 7 < hash(right) % 7; }));
}

TEST(vnDynamicTypeContainer, ReadsWhatItWroteAndReplacesWhatItHad)
{
    vnDynamicTypeContainer source(3);
    source.setAttribute("a", 1.5);
    source.setAttribute("b", vnDynamicTypeCustom<vnDynamicTypeContainer>(source));
    vnDynamicTypeContainer target(3);
    target.setAttribute("old", 1.0);
    Queue adapter;
    source.write(&adapter);
    target.read(&adapter);
    EXPECT_EQ(adapter.length(), 0u);
    EXPECT_EQ(written(target), written(source));
    EXPECT_FALSE(target.hasAttribute("old"));
    vnDynamicTypeContainer inner = vnDynamicTypeCustom<vnDynamicTypeContainer>(target.getAttribute("b"));
    EXPECT_EQ(inner.getAttribute("a").getNumber(), 1.5);
    EXPECT_TRUE(target.getAttribute("b").is("cont"));
}

TEST(vnDynamicTypeContainer, LeavesAStreamWithoutContainerAlone)
{
    const Bytes streams[] = {
        {}, {7}, {0x07, 0xCD}, {0x07, 0xCD, 0xBF}, {1, 2, 3, 4, 5}, {0x07, 0xCD, 0xBF, 0xFF}};
    for (Bytes bytes : streams)
    {
        Queue queue(bytes);
        vnSerializeAdapterMemory memory(bytes.data(), static_cast<unsigned int>(bytes.size()));
        vnTempFolder folder;
        const vnString path = folder.write("stream", std::string(bytes.begin(), bytes.end()));
        vnSerializeAdapterFile file(path, VN_SERIALIZE_INPUT, 0, 0);
        UnknownLength unknown(bytes);
        for (vnSerializeAdapter* adapter :
             std::initializer_list<vnSerializeAdapter*>{&queue, &memory, &file, &unknown})
        {
            vnDynamicTypeContainer container;
            container.setAttribute("a", 1.0);
            container.read(adapter);
            EXPECT_TRUE(container.hasAttribute("a"));
            EXPECT_FALSE(adapter->hasError());
            Bytes left;
            while (adapter->hasData())
                left.push_back(adapter->read());
            EXPECT_EQ(left, bytes);
        }
    }
}

TEST(vnDynamicTypeContainer, WarnsWhenTheStreamEnds)
{
    Queue adapter({0x07, 0xCD, 0xBF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 'n', 0, 0xFC, 2, 0, 1, 5});
    adapter.setName("short");
    vnDynamicTypeContainer container;
    EXPECT_EQ(errorOf<vnWarningError>([&] { container.read(&adapter); }),
              "vnDynamicTypeContainer::read failure in adapter 'short' !");
    EXPECT_EQ(container.getNumberOfAttributes(), 1u); // what came whole
    EXPECT_EQ(container.getAttribute("n").getNumber(), 5.0);
    EXPECT_EQ(errorOf<vnWarningError>([&] { container.pushBack(&adapter); }),
              "pushBack for vnDynamicTypeContainer is not possible to perform in adapter 'short' ");
}

TEST(vnDynamicTypeContainer, WarnsOfAnEndThatTheSourceDoesNotTell)
{
    const std::pair<std::size_t, unsigned int> cuts[] = {
        {4, 1},  // the count is missing: what was there stays
        {5, 1},  // a part of it
        {8, 0},  // no attribute
        {9, 0},  // a part of a name
        {10, 0}, // no value
    };
    for (const auto& [size, left] : cuts)
    {
        Queue adapter(Bytes(two.begin(), two.begin() + static_cast<std::ptrdiff_t>(size)));
        vnDynamicTypeContainer container;
        container.setAttribute("old", 1.0);
        EXPECT_THROW(container.read(&adapter), vnWarningError) << size;
        EXPECT_TRUE(adapter.hasError()) << size;
        EXPECT_EQ(container.getNumberOfAttributes(), left) << size;
    }
}

TEST(vnDynamicTypeContainer, KeepsTheCauseThatTheSourceTells)
{
    class Lost : public Queue
    {
    public:
        using Queue::Queue;

    protected:
        unsigned char hasData_imp() override
        {
            if (length_imp() > 0)
                return 1;
            setError("connection lost");
            return 0;
        }
    };
    Lost adapter(head(1));
    vnDynamicTypeContainer container;
    EXPECT_THROW(container.read(&adapter), vnWarningError);
    EXPECT_EQ(adapter.getError(), "connection lost");
}

TEST(vnDynamicTypeContainer, TellsItsEvents)
{
    Watched container;
    container.removeAttribute("none"); // tells before it looks, also without a dictionary
    container.removeAllAttributes();
    container.setAttribute("a", 1.0);
    container.setAttribute("b", 1.0);
    container.removeAttribute("a");
    vnDynamicTypeContainerIterator iterator(container);
    iterator();
    iterator.remove();
    container.setAttribute("c", 1.0);
    container.removeAllAttributes(); // tells behind it
    Queue adapter(two);
    container.read(&adapter);
    EXPECT_EQ(container.log, (Lines{"0none0", "20", "1a1", "1b2", "0a2", "0b1", "1c1", "20", "1a1", "1b2"}));
}

TEST(vnDynamicTypeContainer, CopiesItsValues)
{
    vnDynamicTypeContainer source;
    source.setAttribute("a", 1.0);
    vnDynamicTypeContainer copy(source);
    vnDynamicTypeContainer assigned;
    assigned = source;
    vnDynamicTypeContainerIterator iterator(source);
    vnDynamicType* held = iterator();
    source.setAttribute("a", 2.0);
    EXPECT_EQ(held->getNumber(), 2.0); // replaced in place
    EXPECT_EQ(copy.getAttribute("a").getNumber(), 1.0);
    EXPECT_EQ(assigned.getAttribute("a").getNumber(), 1.0);
}

TEST(vnDynamicTypeContainer, RefusesAnotherTag)
{
    EXPECT_EQ(errorOf([] { vnDynamicTypeCustom<vnDynamicTypeContainer> value(vnDynamicType(1.0)); }),
              "Can not convert dynamic argument type 'num' to vnDynamicTypeCustom type 'cont'!!");
}

TEST(vnDynamicTypeContainerIterator, VisitsThePrefixAndGoesOnBehindARemoval)
{
    vnDynamicTypeContainer container;
    EXPECT_EQ(vnDynamicTypeContainerIterator(container)(), nullptr);
    for (const char* name : {"a.x", "b.x", "a.y", "a", "b.y", "a.z"})
        container.setAttribute(name, name);
    Lines found = namesOf(container, "a.");
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (Lines{"a.x", "a.y", "a.z"}));

    vnDynamicTypeContainerIterator iterator(container, "a.");
    EXPECT_EQ(iterator.current(), nullptr);
    unsigned int removed = 0;
    vnString name;
    while (vnDynamicType* value = iterator(&name))
    {
        EXPECT_EQ(iterator.current(), value);
        EXPECT_EQ(iterator.currentItem()->getData().getString(), name);
        EXPECT_EQ(iterator.currentName(), name);
        iterator.remove();
        EXPECT_EQ(iterator.current(), nullptr);
        ++removed;
    }
    EXPECT_EQ(removed, 3u);
    iterator.setPrefix("b");
    EXPECT_EQ(iterator(), nullptr); // it is at its end
    iterator.reset();
    EXPECT_NE(iterator(), nullptr);
    EXPECT_EQ(container.getNumberOfAttributes(), 3u);
}

TEST(vnDynamicTypeContainer, RefusesAnErrorThatWasThereBefore)
{
    Queue adapter(head(0));
    adapter.setError("earlier");
    vnDynamicTypeContainer container;
    container.setAttribute("a", 1.0);
    EXPECT_THROW(container.read(&adapter), vnWarningError);
    EXPECT_TRUE(container.hasAttribute("a"));
}

TEST(vnDynamicTypeContainer, AcceptsNoMoreAttributesThanItsLimit)
{
    for (const unsigned int limit : {0u, 2u}) // 0 is none
    {
        Queue adapter(two);
        vnDynamicTypeContainer container;
        container.setReadLimit(limit);
        container.read(&adapter);
        EXPECT_EQ(container.getNumberOfAttributes(), 2u);
    }
    Queue adapter(two);
    vnDynamicTypeContainer container;
    container.setReadLimit(1);
    container.setAttribute("old", 1.0);
    EXPECT_THROW(container.read(&adapter), vnWarningError);
    EXPECT_EQ(adapter.getError(), "Container with too many attributes");
    EXPECT_TRUE(container.hasAttribute("old"));
}

TEST(vnDynamicTypeContainer, KeepsEqualAndEmptyNamesOfAStream)
{
    const Bytes bytes =
        head(3) + Bytes{0, 0xFC, 2, 0, 1, 4, 'n', 0, 0xFC, 2, 0, 1, 5, 'n', 0, 0xFC, 2, 0, 1, 6};
    Queue adapter(bytes);
    vnDynamicTypeContainer container;
    container.read(&adapter);
    EXPECT_EQ(container.getNumberOfAttributes(), 3u);
    EXPECT_EQ(container.getAttribute("").getNumber(), 4.0);
    EXPECT_EQ(container.getAttribute("n").getNumber(), 5.0); // the first one
    EXPECT_EQ(written(container), bytes);
    EXPECT_TRUE(container.removeAttribute("n"));
    EXPECT_EQ(container.getAttribute("n").getNumber(), 6.0);
}

TEST(vnDynamicTypeContainer, ThrowsForAPayloadThatIsCut)
{
    const vnDynamicTypeCustom<vnDynamicTypeContainer> cut(
        readFrom({0xFC, 11, 0, 10, 0x07, 0xCD, 0xBF, 0xFE, 1, 0, 0, 0, 'n', 0}));
    EXPECT_THROW(cut.getData(), vnWarningError);
}

TEST(vnDynamicTypeContainer, MovesItsAttributes)
{
    vnDynamicTypeContainer source(7);
    source.setAttribute("a", 1.0);
    vnDynamicTypeContainer moved(std::move(source));
    EXPECT_EQ(written(source), Bytes());
    source.setAttribute("b", 2.0);
    source = std::move(moved);
    EXPECT_TRUE(source.hasAttribute("a"));
    EXPECT_FALSE(source.hasAttribute("b"));
}

TEST(vnDynamicTypeContainer, TakesOverWhatIsMovedIntoIt)
{
    const std::string text(100, 'x');
    vnDynamicTypeContainer container;
    for (const char* name : {"new", "new"}) // entered, then replaced in place
    {
        vnDynamicType value(text.c_str());
        container.setAttribute(name, std::move(value));
        EXPECT_TRUE(value == vnDynamicVoid());
        EXPECT_EQ(container.getAttribute(name).getString(), text.c_str());
    }
    EXPECT_EQ(container.getNumberOfAttributes(), 1u);
}

TEST(vnDynamicTypeContainer, ReplacesAValueBeforeItsObjectThrows)
{
    vnDynamicTypeContainer container;
    container.setAttribute("a", vnDynamicType(new ThrowsOnDestruction));
    EXPECT_THROW(container.setAttribute("a", 1.0), vnWarningError);
    EXPECT_EQ(container.getAttribute("a").getNumber(), 1.0);
    container.setAttribute("a", vnDynamicType(new ThrowsOnDestruction));
    EXPECT_THROW(container = vnDynamicTypeContainer(), vnWarningError);
    EXPECT_EQ(written(container), Bytes());
}

TEST(vnDynamicTypeContainer, ReadsOnWhenAHandlerReplacesIt)
{
    class Replacing : public vnDynamicTypeContainer
    {
    public:
        void onAttributeEvent(vnDynamicTypeEvent, const vnString& name) override
        {
            if (name == "a")
                vnDynamicTypeContainer::operator=(vnDynamicTypeContainer());
        }
    };
    Queue adapter(two);
    Replacing container;
    container.read(&adapter);
    EXPECT_FALSE(container.hasAttribute("a"));
    EXPECT_EQ(container.getAttribute("b").getNumber(), 6.0);
}

TEST(vnDynamicTypeCustom, CutsThePayloadToWhatWasWritten)
{
    class Boastful : public vnSerializeData
    {
    public:
        static const vnString& getDataTag()
        {
            static const vnString tag("boast");
            return tag;
        }
        void write(vnSerializeAdapter* adapter) override { adapter->write('x'); }
        void read(vnSerializeAdapter*) override {}
        void pushBack(vnSerializeAdapter*) override {}
        unsigned int getDataSize(vnSerializeAdapter*) const override { return 100; }
    };
    EXPECT_EQ(payloadOf(vnDynamicTypeCustom<Boastful>(Boastful())), (Bytes{'x'}));
}

TEST(vnDynamicTypeContainerIterator, BeginsAtItsFirstCall)
{
    vnDynamicTypeContainer never;
    vnDynamicTypeContainerIterator none(never);
    vnDynamicTypeContainer emptied;
    emptied.setAttribute("a", 1.0);
    emptied.removeAllAttributes();
    vnDynamicTypeContainerIterator later(emptied);
    never.setAttribute("b", 1.0);
    emptied.setAttribute("b", 1.0);
    EXPECT_EQ(none(), nullptr); // there was nothing to walk when it was made
    none.reset();
    EXPECT_EQ(none(), nullptr);
    EXPECT_NE(later(), nullptr);
    emptied = vnDynamicTypeContainer();
    later.reset();
    EXPECT_EQ(later(), nullptr);
}

TEST(vnDynamicTypeContainerIterator, EndsWhenAttributesWentPastIt)
{
    for (const unsigned int count : {3u, 100u})
    {
        vnDynamicTypeContainer container(2);
        for (unsigned int i = 0; i < count; ++i)
            container.setAttribute(vnString::formatString("%d", i), 1.0);
        const Lines names = namesOf(container);
        vnDynamicTypeContainerIterator iterator(container);
        iterator();
        container.removeAttribute(names.back().c_str());
        unsigned int rest = 0;
        while (iterator())
            ++rest;
        EXPECT_EQ(rest, count - 2);
    }
}

TEST(vnDynamicTypeContainerConstIterator, WalksAConstantContainer)
{
    vnDynamicTypeContainer container;
    container.setAttribute("a", 1.0);
    container.setAttribute("b", 2.0);
    const vnDynamicTypeContainer& constant = container;
    vnDynamicTypeContainerConstIterator iterator(constant, "b");
    vnString name;
    const vnDynamicType* value = iterator(&name);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(name, "b");
    EXPECT_EQ(iterator.current(), value);
    EXPECT_EQ(iterator(), nullptr);
}
