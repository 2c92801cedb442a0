// SPDX-License-Identifier: MIT
#include "vnGrammarRule.h"

#include <algorithm>

namespace
{
using First = vnGrammarFirst;
using Item = vnGrammarItem;

// Rules and groups nested deeper begin with anything.
constexpr unsigned int VN_MAX_DEPTH = 64;

void unite(First& to, const First& from)
{
    for (std::size_t i = 0; i < to.table.size(); ++i)
        to.table[i] |= from.table[i];
    to.depth = std::max(to.depth, from.depth);
    to.calls = std::min(to.calls + from.calls, First::VN_MAX_CALLS);
}

class Finder
{
public:
    Finder(vnGrammarNames& names, unsigned int version) : m_names(names), m_version(version) {}

    const First& ofChoice(vnGrammarChoice& choice)
    {
        if (choice.firstVersion == m_version)
            return choice.first;
        // A rule that comes back to itself sees this, and so begins with anything.
        choice.first = First{};
        choice.firstVersion = m_version;
        First all;
        all.isKnown = true;
        for (vnGrammarBranch& branch : choice.branches)
        {
            branch.first = ofBranch(branch);
            branch.first.isTelling = branch.first.isKnown && !branch.first.canBeEmpty;
            all.isKnown &= branch.first.isKnown;
            all.canBeEmpty |= branch.first.canBeEmpty;
            unite(all, branch.first);
        }
        choice.first = all;
        return choice.first;
    }

private:
    First ofBranch(vnGrammarBranch& branch)
    {
        First all;
        if (branch.hasFault)
            return all;
        for (vnGrammarElement& element : branch.elements)
        {
            const First one = ofItem(element.item);
            // What is excluded is tried behind nothing, and may be anything itself.
            if (!one.isKnown || (one.canBeEmpty && !element.excluded.empty()))
                return First{};
            unite(all, one);
            if (one.canBeEmpty)
                continue;
            all.isKnown = true;
            return all;
        }
        all.isKnown = all.canBeEmpty = true;
        return all;
    }

    First ofItem(Item& item)
    {
        First first = ofThing(item);
        if (item.repeat == Item::STAR || item.repeat == Item::OPTIONAL ||
            (item.repeat == Item::COUNTED && (item.min == 0 || item.max == 0)))
            first.canBeEmpty = true;
        return first;
    }

    First ofThing(Item& item)
    {
        First first;
        first.isKnown = true;
        switch (item.kind)
        {
        case Item::SET:
            return ofSet(*item.set);
        case Item::TEXT:
            first.canBeEmpty = item.text->bytes.empty();
            if (!first.canBeEmpty && item.text->isByteable)
                first.table[static_cast<unsigned char>(item.text->bytes[0])] |= vnParserCursor::BYTES;
            if (!item.text->characters.empty() && item.text->characters[0] < first.table.size())
                first.table[item.text->characters[0]] |= vnParserCursor::ASCII;
            return first;
        case Item::NAME:
            return ofName(*item.name);
        case Item::GROUP:
            return ofDeeper(*item.group);
        case Item::MARK:
        case Item::COMMENT:
            first.canBeEmpty = true;
            return first;
        default:
            return First{};
        }
    }

    static First ofSet(const vnGrammarSet& set)
    {
        First first;
        first.isKnown = true;
        first.canBeEmpty = set.isEmpty();
        if (!first.canBeEmpty)
            first.table = set.getTable();
        return first;
    }

    First ofDeeper(vnGrammarChoice& choice)
    {
        if (m_depth == VN_MAX_DEPTH)
            return First{};
        ++m_depth;
        First first = ofChoice(choice);
        --m_depth;
        ++first.depth;
        ++first.calls;
        return first;
    }

    First ofName(vnGrammarName& name)
    {
        if (!name.body)
            return name.native ? ofSet(*name.native) : First{};
        name.body->read(m_names);
        return name.body->root.hasFault ? First{} : ofDeeper(name.body->root);
    }

    vnGrammarNames& m_names;
    const unsigned int m_version;
    unsigned int m_depth = 0;
};
} // namespace

void vnFindGrammarFirsts(vnGrammarChoice& choice, vnGrammarNames& names, unsigned int version)
{
    Finder(names, version).ofChoice(choice);
}
