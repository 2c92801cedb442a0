// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnXmlDynamicType.h>

#include <string_view>

/// Whether elements of this name hold custom data. It is asked for every element.
bool vnXmlIsCustomElement(std::string_view name);

/// The form of the values of a tag, or of the objects of a class, held while it is used. The built-in one
/// lives to the end of the process and needs no holding, which would take a lock twice for each value.
template <class Interface>
class vnXmlForm
{
public:
    explicit vnXmlForm(const vnString& key);

    Interface* operator->() const noexcept { return m_interface; }
    bool isBuiltin() const noexcept { return m_interface == getBuiltin(); }
    static Interface* getBuiltin() noexcept;

private:
    vnRefPointer<Interface> m_held; // null when there is none of the key
    Interface* m_interface;
};
extern template class vnXmlForm<vnXmlDynamicTypeInterface>;
extern template class vnXmlForm<vnXmlObjectInterface>;

/// One level of values in values, for the time that it lasts.
class vnXmlValueDepth
{
public:
    explicit vnXmlValueDepth(vnXmlSax& sax) noexcept : m_sax(sax) { ++sax.m_valueDepth; }
    vnXmlValueDepth(const vnXmlValueDepth&) = delete;
    vnXmlValueDepth& operator=(const vnXmlValueDepth&) = delete;
    ~vnXmlValueDepth() { --m_sax.m_valueDepth; }

    bool isTooDeep() const noexcept { return m_sax.m_valueDepth > m_sax.m_maxValueDepth; }
    static constexpr const char* error = "Too deep nesting in XML data";

private:
    vnXmlSax& m_sax;
};

/// The elements of arrays that a document has asked for without a byte for each: what it could make large by
/// no more than numbers. All parsers of a document count them together.
class vnXmlArrayGaps
{
public:
    static vnUInt64& of(vnXmlSax& sax) noexcept { return sax.m_arrayGaps; }
};
