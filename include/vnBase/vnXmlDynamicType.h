// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnDynamicType.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnRefPointer.h>
#include <vnBase/vnXmlSax.h>

/// Values and objects as XML. A value is an element, "vnDyn" by default, whose attribute `type` names its tag
/// ("str" when there is none) and whose attribute `name` names the value:
///
///     <vnDyn type="num">1.5</vnDyn>
///     <vnDyn type="vec3" name="position">{1,2,3}</vnDyn>
///     <vnDyn type="array" size="2.000000">
///         <vnDyn type="str" index="0.000000">a</vnDyn>
///         <vnDyn type="llnum" index="1.000000">12</vnDyn>
///     </vnDyn>
///
/// Tags without a form of their own come as the bytes of their stream form, in base 64 or hexadecimal; an
/// object is an element "vnObj" with the bytes of its record. docs/xml.md tells the forms.
///
/// `vnXmlSax` reads such elements wherever they stand in a document and notifies them; `vnXmlDom` makes them
/// items of the tree; `vnDynamicType::asString` and `fromXML` are the short way for one value.
///
/// The classes here let an application add forms: for values of a tag, for objects of a class, and elements
/// of its own with data of any class. They are registered for the process.
///
///     class Celsius : public vnXmlDynamicTypeInterface { ... };
///     vnXmlDynamicTypeInterface::registerDynamicTypeInterface("celsius", new Celsius);
///
/// **Reading** happens between start tag and end tag, in the words of `vnXmlSax`: the productions
/// `XML_read_NN` take what they match, `VN_PARSE_NO_MATCH` leaves all where it is and lets the content be
/// read as that of any element, `VN_PARSE_ERROR` ends the parse with what `setError` told. The attributes are
/// those of the current element. Of an element that is closed by "/>" (`isCurrentElementEmpty`) nothing may
/// be taken.
///
/// **Writing** happens within a start tag that is still open: attributes first, then `beginElementContents`
/// and the content.
///
/// Thread-safety: the registries may be used on any thread. What is registered is called on every thread that
/// reads or writes, on several at once, and is held as long as a call lasts.

/// A form of values.
class VN_BASE_API vnXmlDynamicTypeInterface : public vnThreadSafeReference
{
public:
    VN_TYPE(vnXmlDynamicTypeInterface)

    /// Answers 0: there is one of each in the process.
    unsigned char useDeepCopy() override { return 0; }

    /// Reads the content of the current element, whose attribute is `type`.
    virtual vnParseResult read(vnXmlSax* sax, const vnString& type, vnDynamicType& value) = 0;

    /// Writes the content of the current element, whose name and type are written.
    virtual void write(vnXmlSax* sax, const vnDynamicType& value) = 0;

    /// What the form is, for tools that list forms; the name of the class here.
    virtual vnString getDescription() const;

    /// Holds the interface for the values of a tag, in place of an earlier one. Null is ignored. One that
    /// nobody else holds is deleted when it leaves.
    static void registerDynamicTypeInterface(const vnString& tag, vnXmlDynamicTypeInterface* interface);

    /// Takes the interface out, from all tags. Those that are at work with it finish.
    static void unregisterDynamicTypeInterface(vnXmlDynamicTypeInterface* interface);

    /// The one of the tag, or the built-in one; never null.
    static vnRefPointer<vnXmlDynamicTypeInterface> getDynamicTypeInterface(const vnString& tag);
};

/// A form of objects. As above, by names of classes.
class VN_BASE_API vnXmlObjectInterface : public vnThreadSafeReference
{
public:
    VN_TYPE(vnXmlObjectInterface)
    unsigned char useDeepCopy() override { return 0; }

    /// `object` may stay null, which is notified as such.
    virtual vnParseResult read(vnXmlSax* sax, const vnString& type, vnRefPointer<vnObject>& object) = 0;
    virtual void write(vnXmlSax* sax, const vnObject* object) = 0;
    virtual vnString getDescription() const;

    static void registerObjectInterface(const vnString& className, vnXmlObjectInterface* interface);
    static void unregisterObjectInterface(vnXmlObjectInterface* interface);
    static vnRefPointer<vnXmlObjectInterface> getObjectInterface(const vnString& className);
};

/// Data of any class in elements of a name. As above, by names of elements.
class VN_BASE_API vnXmlCustomDataInterface : public vnThreadSafeReference
{
public:
    VN_TYPE(vnXmlCustomDataInterface)
    unsigned char useDeepCopy() override { return 0; }

    /// `data` may stay null, which is notified as such.
    virtual vnParseResult read(vnXmlSax* sax, const vnString& name, vnRefPointer<vnReference>& data) = 0;

    /// `data` is null where null was read or is to be written.
    virtual void write(vnXmlSax* sax, const vnReference* data) = 0;
    virtual vnString getDescription() const;

    static void registerCustomDataInterface(const vnString& elementName, vnXmlCustomDataInterface* interface);
    static void unregisterCustomDataInterface(vnXmlCustomDataInterface* interface);

    /// Null when no element of this name holds custom data.
    static vnRefPointer<vnXmlCustomDataInterface> getCustomDataInterface(const vnString& elementName);
};

/// The forms of the library's own tags, and the stream form for all others. The text of "str" is written as
/// it stands, and an "<" in it makes XML that can't be read; so do numbers that are none or infinite, which
/// are "<nan>" and "<inf>" ("-<inf>" reads as 0).
///
/// Errors of reading, beside those of the syntax: "vnDynamicType '%s' requires a valid CharData or CDATA
/// field", "Invalid or unknown data for vnDynamicType", "vnDynamicTypeArray can't read recursive xml
/// entities", "vnDynamicTypeContainer can't read recursive xml entities", "Missing 'name' attribute in
/// container", "Zero byte in 'name' attribute in container", "An index or the size of vnDynamicTypeArray is
/// out of range", "Too deep nesting in XML data".
///
/// An array has no more elements than the document has bytes, whatever `size` and `index` say, and all arrays
/// of a document have no more elements that it only counts; of a document of unknown length only what was
/// read is known. Texts hold 65535 bytes; bytes in base 64 or hexadecimal may be more, and are collected
/// whole: see `vnXmlSax::setMaxDocumentSize`.
class VN_BASE_API vnXmlDynamicTypeInterface_builtin : public vnXmlDynamicTypeInterface
{
public:
    VN_TYPE(vnXmlDynamicTypeInterface_builtin)
    ~vnXmlDynamicTypeInterface_builtin() noexcept(false) override;
    vnParseResult read(vnXmlSax* sax, const vnString& type, vnDynamicType& value) override;

    /// A damaged container, and values nested deeper than `vnXmlSax::getMaxValueDepth`, set the error of the
    /// writer and throw `vnBasicParseException` with the value 3, as all faults of writing.
    void write(vnXmlSax* sax, const vnDynamicType& value) override;
};

/// The record of the object. Objects that are written to one document are shared across its elements, and so
/// are those that are read. A record that can't be read is an error; an object whose class is not known is
/// null, and a Warning was posted.
class VN_BASE_API vnXmlObjectInterface_builtin : public vnXmlObjectInterface
{
public:
    VN_TYPE(vnXmlObjectInterface_builtin)
    ~vnXmlObjectInterface_builtin() noexcept(false) override;
    vnParseResult read(vnXmlSax* sax, const vnString& type, vnRefPointer<vnObject>& object) override;
    void write(vnXmlSax* sax, const vnObject* object) override;
};

/// The element of a value as text, without a declaration: in UTF-8, or with `utf16` in UTF-16, little-endian
/// and without a mark. With `dynOnly` the element is `elementName`, and names of values are names of
/// elements. Answers 0 when the value could not be written; `error`, which may be null, tells why then.
VN_BASE_API unsigned char vnDynamicType2Xml(const vnDynamicType& value, vnDynamicArray<unsigned char>& out,
                                            unsigned char utf16, unsigned char dynOnly,
                                            const vnString& elementName, vnString* error = nullptr);

/// The value of a document whose root is one: of bytes in UTF-8 or behind a mark, or of `length` units in
/// little-endian UTF-16. With `dynOnly` the root may have any name. `ok`, which may be null, receives whether
/// a value was found. What follows the text of a value is not looked at; behind the items of an array or
/// container an end tag must begin. Without a value the result is void.
VN_BASE_API vnDynamicType vnXml2DynamicType(const vnArray<unsigned char>& data, unsigned char* ok = nullptr,
                                            unsigned char dynOnly = 0);
VN_BASE_API vnDynamicType vnXml2DynamicType(const char* text, unsigned int length,
                                            unsigned char* ok = nullptr, unsigned char dynOnly = 0);
VN_BASE_API vnDynamicType vnXml2DynamicType(const char16_t* text, unsigned int length,
                                            unsigned char* ok = nullptr, unsigned char dynOnly = 0);
