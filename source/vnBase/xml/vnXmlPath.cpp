// SPDX-License-Identifier: MIT
#include "vnXmlPath.h"

#include "vnXmlAttributes.h"
#include "vnXmlTree.h"

#include <vnBase/vnDynamicArray.h>

#include <typeinfo>

namespace
{
bool isCalled(const vnXmlItem& item, std::string_view name)
{
    const vnString& own = item.getName();
    return own.length() == name.size() && std::memcmp(own.getString(), name.data(), name.size()) == 0;
}

template <class Visit>
void forEachCalled(const vnXmlItem& parent, std::string_view name, const Visit& visit)
{
    for (vnXmlItem* child = vnXmlTree::firstChild(&parent); child; child = vnXmlTree::nextSibling(child))
        if (isCalled(*child, name) && !visit(*child))
            return;
}

vnInt64 countCalled(const vnXmlItem& parent, std::string_view name)
{
    vnInt64 count = 0;
    forEachCalled(parent, name,
                  [&count](vnXmlItem&)
                  {
                      ++count;
                      return true;
                  });
    return count;
}

std::string_view withoutQuotes(std::string_view text)
{
    constexpr const char* quotes = "\"'";
    const std::size_t begin = text.find_first_not_of(quotes);
    if (begin == text.npos)
        return {};
    return text.substr(begin, text.find_last_not_of(quotes) + 1 - begin);
}

// What stands behind the "@" in brackets: an attribute that is not empty, or that equals a value.
class AttributeTest
{
public:
    AttributeTest() = default;
    explicit AttributeTest(std::string_view expression)
    {
        const std::size_t equals = expression.find('=');
        m_name = expression.substr(0, equals);
        m_hasValue = equals != expression.npos;
        if (m_hasValue)
            m_value = withoutQuotes(expression.substr(equals + 1));
    }

    bool isTrueOf(vnXmlItem& item) const
    {
        const vnXmlElement* element = vnXmlTree::asElement(&item);
        std::string_view value;
        return element && vnXmlAttributes::find(vnXmlTree::attributesOf(*element), m_name, value) &&
               (m_hasValue ? value == m_value : !value.empty());
    }

private:
    std::string_view m_name;
    std::string_view m_value;
    bool m_hasValue = false;
};

bool isAttributeTest(std::string_view expression)
{
    return expression.substr(0, 1) == "@";
}

vnInt64 evaluate(const vnXmlItem& parent, std::string_view name, std::string_view expression)
{
    constexpr std::string_view last = "last()";
    if (expression.substr(0, last.size()) == last)
        // An unsigned sum, since the number may be any.
        return static_cast<vnInt64>(
            static_cast<vnUInt64>(countCalled(parent, name)) +
            static_cast<vnUInt64>(vnXmlTree::makeString(expression.substr(last.size())).num()));
    if (!isAttributeTest(expression))
        return vnXmlTree::makeString(expression).num();
    const AttributeTest test(expression.substr(1));
    vnInt64 place = 1; // one more than there are when none is like that
    forEachCalled(parent, name,
                  [&](vnXmlItem& child)
                  {
                      const bool isFound = test.isTrueOf(child);
                      place += !isFound;
                      return !isFound;
                  });
    return place;
}

// A search that stands in the children of an item.
struct Place
{
    vnXmlStep step;
    vnXmlItem* parent = nullptr;
    vnXmlItem* child = nullptr; // the next one
    vnInt64 index = 0;
    vnInt64 count = 0;
    AttributeTest test;
    bool hasTest = false; // in the place of an index, so that the children are gone through once
    bool isOver = false;  // the child that is meant was there
};

class Search
{
public:
    vnXmlItem* run(vnXmlItem& item, std::string_view path)
    {
        if (vnXmlItem* found = enter(item, path))
            return found;
        while (m_depth != 0)
        {
            Place& place = m_places[m_depth - 1];
            vnXmlItem* const child = place.child;
            if (!child)
            {
                --m_depth;
                continue;
            }
            place.child = vnXmlTree::nextSibling(child);
            if (vnXmlItem* found = visit(place, *child))
                return found;
        }
        return nullptr;
    }

private:
    vnXmlItem* visit(Place& place, vnXmlItem& child)
    {
        if (!isCalled(child, place.step.name))
            return place.step.isAtAnyDepth ? searchIn(child, place.step.path) : nullptr;
        if (!isMeant(place, child))
            return nullptr;
        if (place.isOver && !place.step.isAtAnyDepth)
            place.child = nullptr;
        return place.step.rest.empty() ? &child : searchIn(child, place.step.rest);
    }

    static bool isMeant(Place& place, vnXmlItem& child)
    {
        if (!place.hasTest && place.index == 0)
            return true;
        if (place.isOver)
            return false;
        place.isOver = place.hasTest ? place.test.isTrueOf(child) : ++place.count == place.index;
        return place.isOver;
    }

    vnXmlItem* searchIn(vnXmlItem& item, std::string_view path)
    {
        if (vnXmlTree::isOurs(item))
            return enter(item, path);
        return item.findItem(vnXmlTree::makeString(path));
    }

    // Answers the item when the path is only a dot or two.
    vnXmlItem* enter(vnXmlItem& item, std::string_view path)
    {
        if (path == ".")
            return &item;
        if (path == "..")
            return item.getParent();
        vnXmlItem* const child = vnXmlTree::firstChild(&item);
        if (!child)
            return nullptr;
        if (m_depth == m_places.getSize())
        {
            m_places.setChunkSize(m_depth ? m_depth : 16);
            m_places.setSize(m_depth + 1);
        }
        Place& place = m_places[m_depth];
        // In a search at any depth most places have the same step.
        if (m_depth != 0 && m_places[m_depth - 1].step.path.data() == path.data() &&
            m_places[m_depth - 1].step.path.size() == path.size())
            place.step = m_places[m_depth - 1].step;
        else
            place.step = vnXmlStep(path);
        place.child = child;
        place.hasTest =
            place.step.hasIndex && isAttributeTest(place.step.expression) && vnXmlTree::isOurs(item);
        if (place.hasTest)
            place.test = AttributeTest(place.step.expression.substr(1));
        place.index = place.step.hasIndex && !place.hasTest ? place.step.indexIn(item) : 0;
        place.count = 0;
        place.isOver = false;
        ++m_depth;
        return nullptr;
    }

    vnDynamicArray<Place> m_places{16};
    unsigned int m_depth = 0;
};

vnXmlItem* childAt(const vnXmlItem& parent, std::string_view name, vnInt64 index)
{
    vnXmlItem* found = nullptr;
    vnInt64 count = 0;
    forEachCalled(parent, name,
                  [&](vnXmlItem& child)
                  {
                      if (++count == index)
                          found = &child;
                      return !found;
                  });
    return found;
}
} // namespace

vnXmlStep::vnXmlStep(std::string_view wholePath) : path(wholePath)
{
    std::string_view left = path;
    isAtAnyDepth = left.substr(0, 2) == "//";
    if (isAtAnyDepth)
        left.remove_prefix(2);
    // Deliberately a name when the path begins with one slash: items are found below the one that is asked.
    const std::size_t slash = !isAtAnyDepth && left.substr(0, 1) == "/" ? left.npos : left.find('/');
    std::string_view first = left.substr(0, slash);
    const std::size_t open = first.empty() || first.back() != ']' ? first.npos : first.find('[');
    hasIndex = open != first.npos;
    if (hasIndex)
    {
        expression = first.substr(open + 1, first.size() - open - 2);
        first = first.substr(0, open);
    }
    name = vnXmlTree::stripped(first);
    if (slash != left.npos)
        rest = vnXmlTree::stripped(left.substr(slash + 1));
}

vnInt64 vnXmlStep::indexIn(vnXmlItem& parent) const
{
    if (vnXmlTree::isOurs(parent))
        return evaluate(parent, name, expression);
    return parent.indexEvalExpression(vnXmlTree::makeString(name), vnXmlTree::makeString(expression));
}

bool vnXmlTree::isOurs(const vnXmlItem& item) noexcept
{
    // By address: one class has one record of the compiler in the process, and if not, nothing but time is
    // lost.
    const std::type_info* const type = &typeid(item);
    return type == &typeid(vnXmlElement) || type == &typeid(vnXmlCharData) || type == &typeid(vnXmlCDATA) ||
           type == &typeid(vnXmlComment) || type == &typeid(vnXmlEntityReference) ||
           type == &typeid(vnXmlPI) || type == &typeid(vnXmlDynamicType) || type == &typeid(vnXmlObject) ||
           type == &typeid(vnXmlCustomData) || type == &typeid(vnXmlDom) || type == &typeid(vnXmlItem);
}

vnXmlItem* vnXmlItem::findItem(const vnString& path)
{
    return Search().run(*this, vnXmlTree::viewOf(path));
}

void vnXmlItem::addItem(const vnString& path, vnXmlItem* item)
{
    std::string_view left = vnXmlTree::viewOf(path);
    for (vnXmlItem* parent = this;;)
    {
        const vnXmlStep step(left);
        const vnInt64 index = step.hasIndex ? step.indexIn(*parent) : 0;
        vnXmlItem* child = childAt(*parent, step.name, index == 0 ? 1 : index);
        if (!child)
        {
            child = new vnXmlElement(vnXmlTree::makeString(step.name));
            parent->addChild(child);
        }
        if (step.rest.empty())
            return child->addChild(item);
        if (!vnXmlTree::isOurs(*child))
            return child->addItem(vnXmlTree::makeString(step.rest), item);
        parent = child;
        left = step.rest;
    }
}

vnInt64 vnXmlItem::indexEvalExpression(const vnString& name, const vnString& expression)
{
    return evaluate(*this, vnXmlTree::viewOf(name), vnXmlTree::viewOf(expression));
}
