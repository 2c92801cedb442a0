// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnXmlDom.h>

#include <string_view>

/// Goes through trees of items by the links between them: neither recursively nor with memory of its own, so
/// that no tree is too deep. Items whose class is not of this library may have overridden what is done; they
/// are called instead of being gone through.
class vnXmlTree
{
public:
    static vnXmlItem* firstChild(const vnXmlItem* item) noexcept { return item->m_firstChild; }
    static vnXmlItem* nextSibling(const vnXmlItem* item) noexcept { return item->m_next; }

    /// The item that comes in the order of the document behind `item` and all that is below it; null when
    /// there is none below `top`. `leave` is called with each item whose last child is behind us, less `top`.
    template <class Leave>
    static vnXmlItem* behind(vnXmlItem* item, const vnXmlItem* top, const Leave& leave)
    {
        while (item != top && !item->m_next)
        {
            item = item->m_parent;
            if (item != top)
                leave(item);
        }
        return item == top ? nullptr : item->m_next;
    }

    /// The same with what is below `item` coming first.
    template <class Leave>
    static vnXmlItem* next(vnXmlItem* item, const vnXmlItem* top, const Leave& leave)
    {
        if (item->m_firstChild)
            return item->m_firstChild;
        if (item != top)
            leave(item);
        return behind(item, top, leave);
    }
    static vnXmlItem* next(vnXmlItem* item, const vnXmlItem* top)
    {
        return next(item, top, [](vnXmlItem*) {});
    }

    /// Whether the class is one of the library's. A false "no" would only cost time.
    static bool isOurs(const vnXmlItem& item) noexcept;

    static void writeChildren(vnXmlItem& top, vnXmlSax& sax);
    static void releaseChildren(vnXmlItem& top);
    static void writeStart(vnXmlElement& element, vnXmlSax& sax);

    /// Null unless the item is an element.
    static vnXmlElement* asElement(vnXmlItem* item) noexcept
    {
        return item->m_kind == vnXmlItem::VN_KIND_ELEMENT ? static_cast<vnXmlElement*>(item) : nullptr;
    }
    static const vnXmlAttributes* attributesOf(const vnXmlElement& element) noexcept
    {
        return element.m_attributes;
    }

    static std::string_view viewOf(const vnString& text) noexcept
    {
        return {text.getString(), text.length()};
    }
    /// Without blanks, tabs, line feeds and carriage returns at both ends.
    static std::string_view stripped(std::string_view text) noexcept
    {
        constexpr const char* blanks = " \t\n\r";
        const std::size_t begin = text.find_first_not_of(blanks);
        if (begin == text.npos)
            return {};
        return text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
    }
    /// The text up to what a string holds; no character is cut in two.
    static vnString cut(std::string_view text)
    {
        std::size_t length = text.size();
        if (length > vnString::VN_MAX_LENGTH)
            for (length = vnString::VN_MAX_LENGTH; length != 0 && (text[length] & 0xC0) == 0x80;)
                --length;
        return makeString(text.substr(0, length));
    }
    static vnString makeString(std::string_view text)
    {
        return vnString(text.data(), static_cast<unsigned short>(text.size()));
    }
};
