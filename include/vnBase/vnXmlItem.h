// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnDebugInterface.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnDynamicType.h>
#include <vnBase/vnNameInterface.h>
#include <vnBase/vnRefList.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnReference.h>

#include <cstddef>
#include <string_view>

class vnObject;
class vnXmlAttributes;
class vnXmlPool;
class vnXmlSax;

/// What `vnXmlItem::asString` shows: single bits, which can be joined with `|`.
enum vnXmlStringFlags : unsigned int
{
    VN_XML_STRING_TYPE = 1,       // the type name
    VN_XML_STRING_NAME = 2,       // the name of the item
    VN_XML_STRING_ATTRIBUTES = 4, // of an element, as name=value
    VN_XML_STRING_CHILDREN = 8,   // the texts of the children
    VN_XML_STRING_BRACES = 16,    // those in braces
    VN_XML_STRING_LABEL = 32,     // what kind of data it is, before the data
    VN_XML_STRING_DATA = 64       // the data: the text of a comment, the value ...
};

inline vnXmlStringFlags operator|(vnXmlStringFlags left, vnXmlStringFlags right) noexcept
{
    return static_cast<vnXmlStringFlags>(static_cast<unsigned int>(left) | right);
}

/// A node of an XML document: the document itself, an element, a text, a comment and so on. An item holds a
/// reference on each of its children, which keep their order. A parent is not held by its children.
///
///     vnRefPointer<vnXmlElement> book(new vnXmlElement("book"));
///     book->setAttribute("id", "%d", 7);
///     book->addItem("title", new vnXmlCharData("Sand"));
///     vnXmlItem* text = book->findItem("title/<char_data>");
///
/// **Paths.** A path is the names of items joined by "/": "a/b" is the first item `b` in any of the items `a`
/// below this one. "." is the item itself, ".." its parent; both stand alone. "//b/c" looks for the first `b`
/// at any depth that has a `c`. In brackets stands which of the items of that name in one parent is meant:
/// "b[2]", "b[last()]", "b[last()-1]", "b[@id]", "b[@id='7']"; see `indexEvalExpression`. A text has the name
/// "<char_data>", and so on. A path that begins with a single "/" finds nothing.
///
/// **Depth.** All operations on a tree take a small, fixed part of the stack, however deep the tree is; only
/// items of classes of your own, which may override an operation, are called recursively, and documents in
/// documents where they are written. What is called must not change the tree that an operation goes through.
/// Children end before their parents do.
///
/// Thread-safety: none; a tree belongs to one thread at a time. Several threads may use `findItem` while
/// nothing is changed, nor walked with child iterators.
class VN_BASE_API vnXmlItem : public vnReference, public vnNameInterface, public vnDebugInterface
{
public:
    explicit vnXmlItem(const vnString& name);
    vnXmlItem(const vnXmlItem&) = delete;
    vnXmlItem& operator=(const vnXmlItem&) = delete;

    /// Lets go of the children.
    ~vnXmlItem() noexcept(false) override;

    VN_TYPE(vnXmlItem)

    /// Items that a document reads come from large blocks of memory, each of which is freed with the last of
    /// its items.
    static void* operator new(std::size_t size) { return allocate(size, nullptr); }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void* operator new(std::size_t size, const char* name) { return allocate(size, name); }
    static void* operator new(std::size_t size, vnXmlPool& pool);
    static void operator delete(void* item);
    static void operator delete(void*, void*) noexcept {}
    static void operator delete(void* item, const char*) { operator delete(item); }
    static void operator delete(void* item, vnXmlPool&) { operator delete(item); }

    /// Answers 0: an item stands in one tree, so pointers to it share it.
    unsigned char useDeepCopy() override { return 0; }

    /// Writes the item with all that is below it. See `vnXmlSax` for what may fail.
    virtual void write(vnXmlSax* sax);

    /// The item at the end of `path`; null when there is none.
    virtual vnXmlItem* findItem(const vnString& path);

    /// Adds `item` below the item at the end of `path`. Elements of the path that are not there are made, one
    /// for each name, whatever index is asked for. "." and ".." are names here, and the index counts from 1.
    virtual void addItem(const vnString& path, vnXmlItem* item);

    /// Which of the children called `name` is meant, counted from 1, by an expression in brackets: "last()"
    /// and perhaps a number to be added, "@attribute" (the first element whose attribute is not empty),
    /// "@attribute=value" (the first whose attribute equals the value; quotes around that are left out), or a
    /// number. One more than there are when no element is like that.
    virtual vnInt64 indexEvalExpression(const vnString& name, const vnString& expression);

    /// The item as a text for people; at most 65535 bytes.
    virtual vnString asString(vnXmlStringFlags flags);

    void debugOutput(vnString base, vnString anchor, vnDebugFlags flags) override;
    void debugOutputTraverse(vnString base, vnString anchor, vnDebugFlags flags) override;

    /// Appends `item`. An item that has a parent is not added, nor is null, nor an item that this one stands
    /// below. The child iterator is reset in either case.
    void addChild(vnXmlItem* item);

    /// Lets go of a child. Nothing happens when `item` is no child of this one. The child iterator goes on
    /// with the child behind it.
    void removeChild(vnXmlItem* item);
    void removeChildren();

    unsigned int childEntries() const noexcept { return m_childCount; }

    /// Null at a root.
    vnXmlItem* getParent() const noexcept { return m_parent; }

    /// The next child of the child iterator; null behind the last.
    vnXmlItem* getNextChild() noexcept;
    void resetChildIterator() noexcept;

    /// The same here and for all that is below.
    void resetAllChildIterators() noexcept;

    /// Here and below, joins the texts that follow one another, and with them the references to "amp",
    /// "quot", "apos", "lt" and "gt" that follow a text. A text that would pass 65535 bytes is not joined.
    void mergeStandardReferencesAndText();

protected:
    /// What the class adds to `debugOutput`; each line begins with `prefix`. Nothing here.
    virtual void debugData(const vnString& prefix);

    /// What the class adds to `asString`: its attributes; and its data, `label` is whether with what it is.
    virtual vnString attributesAsString();
    virtual vnString dataAsString(bool label);

private:
    friend class vnXmlCharData;
    friend class vnXmlDom;
    friend class vnXmlElement;
    friend class vnXmlEntityReference;
    friend class vnXmlTree;

    enum Kind : unsigned char
    {
        VN_KIND_OTHER,
        VN_KIND_TEXT,      // vnXmlCharData
        VN_KIND_REFERENCE, // vnXmlEntityReference
        VN_KIND_ELEMENT    // vnXmlElement
    };

    enum Flag : unsigned char
    {
        VN_FLAG_MERGE = 1,       // there may be children to be merged
        VN_FLAG_MERGE_BELOW = 2, // below one of the children there may be
        VN_FLAG_WALKED = 4       // the child iterator stands behind m_walked, or at the end when that is null
    };

    static void* allocate(std::size_t size, const char* name);
    vnString headAsString(vnXmlStringFlags flags);
    bool isText() const noexcept { return m_kind == VN_KIND_TEXT; }
    bool canJoin() const noexcept { return m_kind == VN_KIND_TEXT || m_kind == VN_KIND_REFERENCE; }
    bool isIn(const vnXmlItem* other) const noexcept;
    void append(vnXmlItem* item);
    void unlink(vnXmlItem* item) noexcept;
    void markMerge(Flag flag) noexcept;
    bool joinPart(char& character, std::string_view& part) const;
    void mergeChildren(vnDynamicArray<char>& joined);

    // The children are a chain. The first one's m_previous is the last one; the last one's m_next is null.
    vnXmlItem* m_parent = nullptr;
    vnXmlItem* m_next = nullptr;
    vnXmlItem* m_previous = nullptr;
    vnXmlItem* m_firstChild = nullptr;
    vnXmlItem* m_walked = nullptr; // what the child iterator gave last
    unsigned int m_childCount = 0;
    Kind m_kind = VN_KIND_OTHER;
    unsigned char m_flags = 0;
};

/// The name and the value of an attribute.
class VN_BASE_API vnXmlAttribute : public vnReference
{
public:
    vnXmlAttribute(const vnString& name, const vnString& value) : m_name(name), m_value(value) {}

    VN_TYPE(vnXmlAttribute)

    vnReference* clone() const override;

    const vnString& getName() const noexcept { return m_name; }
    void setName(const vnString& name) { m_name = name; }
    const vnString& getValue() const noexcept { return m_value; }
    void setValue(const vnString& value) { m_value = value; }

private:
    vnString m_name;
    vnString m_value;
};

/// An element; its name is the tag. The attributes keep their order.
class VN_BASE_API vnXmlElement : public vnXmlItem
{
public:
    explicit vnXmlElement(const vnString& tag);
    ~vnXmlElement() noexcept(false) override;

    VN_TYPE(vnXmlElement)

    void write(vnXmlSax* sax) override;

    /// The value of the first attribute of this name.
    vnString getAttribute(const vnString& name, const vnString& defaultValue = vnString()) const;
    unsigned char hasAttribute(const vnString& name) const;

    /// Removes the first attribute of this name.
    void removeAttribute(const vnString& name);

    /// Appends an attribute, also when there is one of this name already, which then is the one that is
    /// found. The value is formatted with up to 16 arguments, see `vnString::format`: a "%" in it begins a
    /// directive, also without arguments: a few bytes may become 65,535, and a "%s" posts a Warning for want
    /// of its argument. "%%" is a percent sign.
    template <class... Args>
    void setAttribute(const vnString& name, const vnString& format, const Args&... args)
    {
        appendFormatted(name, format, vnArgumentPack<sizeof...(Args)>(args...));
    }

    /// The attributes, to be read and changed. Takes more memory from then on: an object for each attribute.
    vnRefList<vnXmlAttribute>& getAttributeList();

    /// The next attribute of the attribute iterator; 0, and nothing is changed, behind the last.
    /// `setAttribute`, `removeAttribute` and `getAttributeList` reset the iterator; who changes the list
    /// later resets it himself.
    unsigned char getNextAttribute(vnString& name, vnString& value);
    void resetAttributeIterator() noexcept;

protected:
    void debugData(const vnString& prefix) override;
    vnString attributesAsString() override;

    /// Takes the attributes of another element over, which has none then.
    void takeAttributes(vnXmlElement& other);

private:
    friend class vnXmlDom;
    friend class vnXmlTree;

    void appendFormatted(const vnString& name, const vnString& format, const vnArgumentList& arguments);

    vnXmlAttributes* m_attributes = nullptr; // null for none
};

/// A text. Its name is "<char_data>".
class VN_BASE_API vnXmlCharData : public vnXmlItem
{
public:
    explicit vnXmlCharData(const vnString& text);
    vnXmlCharData(const char* text, unsigned short length);

    VN_TYPE(vnXmlCharData)

    void write(vnXmlSax* sax) override;

    const vnString& getData() const noexcept { return m_data; }
    void setData(const vnString& text) { m_data = text; }

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    friend class vnXmlItem;

    vnString m_data;
};

/// A CDATA section. Its name is "<cdata>".
class VN_BASE_API vnXmlCDATA : public vnXmlItem
{
public:
    explicit vnXmlCDATA(const vnString& text);

    VN_TYPE(vnXmlCDATA)

    void write(vnXmlSax* sax) override;

    const vnString& getData() const noexcept { return m_data; }
    void setData(const vnString& text) { m_data = text; }

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    vnString m_data;
};

/// A comment. Its name is "<comment>".
class VN_BASE_API vnXmlComment : public vnXmlItem
{
public:
    explicit vnXmlComment(const vnString& text);

    VN_TYPE(vnXmlComment)

    void write(vnXmlSax* sax) override;

    const vnString& getData() const noexcept { return m_data; }
    void setData(const vnString& text) { m_data = text; }

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    vnString m_data;
};

/// A reference to an entity; the data is the entity's name. Its own name is "<entity_ref>".
class VN_BASE_API vnXmlEntityReference : public vnXmlItem
{
public:
    explicit vnXmlEntityReference(const vnString& entity);

    VN_TYPE(vnXmlEntityReference)

    void write(vnXmlSax* sax) override;

    const vnString& getData() const noexcept { return m_data; }
    void setData(const vnString& entity) { m_data = entity; }

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    vnString m_data;
};

/// A processing instruction. Its name is "<pi>".
class VN_BASE_API vnXmlPI : public vnXmlItem
{
public:
    vnXmlPI(const vnString& target, const vnString& data);

    VN_TYPE(vnXmlPI)

    void write(vnXmlSax* sax) override;

    const vnString& getTarget() const noexcept { return m_target; }
    void setTarget(const vnString& target) { m_target = target; }
    const vnString& getData() const noexcept { return m_data; }
    void setData(const vnString& data) { m_data = data; }

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    vnString m_target;
    vnString m_data;
};

/// A dynamic value, written as an element "vnDyn"; its name is that of the value, and may be empty.
class VN_BASE_API vnXmlDynamicType : public vnXmlItem
{
public:
    vnXmlDynamicType(const vnDynamicType& value, const vnString& name);

    VN_TYPE(vnXmlDynamicType)

    void write(vnXmlSax* sax) override;

    const vnDynamicType& getValue() const noexcept { return m_value; }
    void setValue(const vnDynamicType& value) { m_value = value; }

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    vnDynamicType m_value;
};

/// An object, written as an element "vnObj"; its name is that of the object, and may be empty.
class VN_BASE_API vnXmlObject : public vnXmlItem
{
public:
    vnXmlObject(vnObject* object, const vnString& name);
    ~vnXmlObject() noexcept(false) override;

    VN_TYPE(vnXmlObject)

    void write(vnXmlSax* sax) override;

    /// May be null, which is not written.
    vnObject* getObject() const noexcept { return m_object; }
    void setObject(vnObject* object);

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    vnRefPointer<vnObject> m_object;
};

/// An element whose content is data of a class of the application. See vnXmlDynamicType.h.
class VN_BASE_API vnXmlCustomData : public vnXmlElement
{
public:
    vnXmlCustomData(const vnString& tag, vnReference* data);

    /// Takes name and attributes of the element over, which has no attributes then.
    vnXmlCustomData(vnXmlElement& element, vnReference* data);

    VN_TYPE(vnXmlCustomData)

    void write(vnXmlSax* sax) override;

    /// May be null.
    vnReference* getCustomData() const noexcept { return m_data; }
    void setCustomData(vnReference* data) { m_data = data; }

protected:
    void debugData(const vnString& prefix) override;
    vnString dataAsString(bool label) override;

private:
    vnRefPointer<vnReference> m_data;
};
