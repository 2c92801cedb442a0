// SPDX-License-Identifier: MIT
#pragma once

#include "vnXmlPool.h"

#include <vnBase/vnXmlItem.h>

#include <cstring>
#include <optional>
#include <string_view>

/// The attributes of an element in one block of memory: lengths, name and value one after the other. An
/// attribute of a document takes a tenth of the memory that objects for it would take. Once somebody asks for
/// the list, the list takes the place of the bytes.
///
/// The functions get the element's pointer to the block, which is null for no attributes.
class vnXmlAttributes
{
public:
    using List = vnRefList<vnXmlAttribute>;

    struct View
    {
        std::string_view name;
        std::string_view value;
    };

    /// Walks the attributes of either form.
    class Walk
    {
    public:
        explicit Walk(const vnXmlAttributes* attributes);

        /// False behind the last.
        bool next(View& attribute);

    private:
        const vnXmlAttributes* m_attributes;
        unsigned int m_offset = 0;
        std::optional<List::Iterator> m_item; // of the list form
    };

    static void append(vnXmlAttributes*& attributes, const vnString& name, std::string_view value);

    /// The same for an element of the pool, whose memory ends at `end`.
    static void append(vnXmlAttributes*& attributes, const vnString& name, std::string_view value,
                       vnXmlPool* pool, const void* end);

    /// Makes attributes that stand behind their element stand elsewhere.
    static void leaveElement(vnXmlAttributes*& attributes);

    /// The value of the first attribute of this name; false for none.
    static bool find(const vnXmlAttributes* attributes, std::string_view name, std::string_view& value);
    static void remove(vnXmlAttributes*& attributes, std::string_view name);
    static List& getList(vnXmlAttributes*& attributes);
    static void destroy(vnXmlAttributes*& attributes);

    /// The next attribute of the one walk that an element keeps.
    static bool walkOn(vnXmlAttributes* attributes, View& attribute);
    static void resetWalk(vnXmlAttributes* attributes) noexcept;

private:
    struct Lengths
    {
        unsigned short name;
        unsigned short value;
    };
    struct ListForm
    {
        ListForm() : walk(list) {}
        List list;
        List::Iterator walk;
    };

    explicit vnXmlAttributes(unsigned int capacity) noexcept : m_capacity(capacity), m_isPooled(0) {}

    static vnXmlAttributes* create(unsigned int capacity);
    static void freeBlock(vnXmlAttributes* block);
    static bool growBehind(vnXmlAttributes*& attributes, unsigned int size, vnXmlPool& pool, const void* end);
    static void makeRoom(vnXmlAttributes*& attributes, unsigned int size);
    bool hasRoomFor(unsigned int size) const noexcept { return size <= m_capacity - m_size; }

    bool isList() const noexcept { return m_capacity == 0; }
    ListForm* listForm() const noexcept
    {
        ListForm* form;
        std::memcpy(&form, data(), sizeof(form));
        return form;
    }
    char* data() const noexcept
    {
        return reinterpret_cast<char*>(const_cast<vnXmlAttributes*>(this)) + sizeof(vnXmlAttributes);
    }
    unsigned int viewAt(unsigned int offset, View& attribute) const noexcept;
    bool take(unsigned int& offset, List::Iterator* item, View& attribute) const;

    // The bytes follow: m_size of m_capacity bytes, or the pointer to the list when the capacity is 0.
    unsigned int m_size = 0;
    unsigned int m_capacity : 31;
    unsigned int m_isPooled : 1; // the block stands behind its element, and ends with it
    unsigned int m_walked = 0;   // the offset behind the attribute that the walk gave last
};
