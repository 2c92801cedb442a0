// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnDynamicArray.h>
#include <vnBase/vnGUID.h>
#include <vnBase/vnList.h>
#include <vnBase/vnSerializeAdapter.h>
#include <vnBase/vnString.h>
#include <vnBase/vnVector.h>

#include <cstdint>
#include <cstring>
#include <utility>

/// Owns an object whose destructor may throw: such an error leaves the destructor or the assignment of the
/// owner, which holds nothing by then.
template <class T>
class vnDynamicOwner
{
public:
    explicit vnDynamicOwner(T* object = nullptr) noexcept : m_object(object) {}
    vnDynamicOwner(vnDynamicOwner&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ~vnDynamicOwner() noexcept(false) { delete m_object; }
    vnDynamicOwner& operator=(vnDynamicOwner&& other)
    {
        if (this != &other)
            reset(std::exchange(other.m_object, nullptr));
        return *this;
    }

    void reset(T* object = nullptr) { delete std::exchange(m_object, object); }
    void swap(vnDynamicOwner& other) noexcept { std::swap(m_object, other.m_object); }
    T* get() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

private:
    T* m_object;
};

/// Keeps the objects alive that a value names by pointer. It is never put on a stream.
class VN_BASE_API vnDynRefList : public vnList<vnReference>, public vnSharedMemory
{
public:
    vnDynRefList() = default;
    vnDynRefList(const vnDynRefList& other);
    vnDynRefList& operator=(const vnDynRefList& other);
    ~vnDynRefList() noexcept(false) override;

protected:
    void onInsertItem(vnReference* item) override;
    void onRemoveItem(vnReference* item) override;
};

/// The tag of a value. Of a fixed text of the library it only keeps the place; any other text is its own.
class VN_BASE_API vnDynamicTypeTag
{
public:
    /// "void".
    vnDynamicTypeTag() noexcept = default;
    explicit vnDynamicTypeTag(vnString text);
    vnDynamicTypeTag(const vnDynamicTypeTag& other) : m_word(other.isOwn() ? copyOf(other) : other.m_word) {}
    vnDynamicTypeTag(vnDynamicTypeTag&& other) noexcept : m_word(std::exchange(other.m_word, 0)) {}
    ~vnDynamicTypeTag()
    {
        if (isOwn())
            release();
    }
    vnDynamicTypeTag& operator=(const vnDynamicTypeTag& other)
    {
        vnDynamicTypeTag(other).swap(*this);
        return *this;
    }
    vnDynamicTypeTag& operator=(vnDynamicTypeTag&& other) noexcept
    {
        vnDynamicTypeTag(std::move(other)).swap(*this);
        return *this;
    }

    /// The tag of a text that lives to the end of the process.
    static vnDynamicTypeTag ofFixed(const vnString& text) noexcept
    {
        vnDynamicTypeTag tag;
        tag.m_word = reinterpret_cast<std::uintptr_t>(&text);
        return tag;
    }

    const vnString& getText() const noexcept
    {
        return m_word ? *reinterpret_cast<const vnString*>(m_word & ~VN_OWN) : voidText();
    }

    /// By the rules of texts, so that an equal plain text is interned.
    bool operator==(const vnDynamicTypeTag& other) const
    {
        return m_word == other.m_word || getText() == other.getText();
    }

    void swap(vnDynamicTypeTag& other) noexcept { std::swap(m_word, other.m_word); }

private:
    static constexpr std::uintptr_t VN_OWN = 1;

    bool isOwn() const noexcept { return m_word & VN_OWN; }
    static std::uintptr_t copyOf(const vnDynamicTypeTag& other);
    void release() noexcept;
    static const vnString& voidText() noexcept;

    // The address of the text, 0 for "void". The lowest bit is set when the text belongs to the tag.
    std::uintptr_t m_word = 0;
};

/// The payload of a value: bytes of an exact size. Up to 56 of them live in the object itself.
class VN_BASE_API vnDynamicPayload
{
public:
    static constexpr unsigned int VN_INLINE_SIZE = 56;

    vnDynamicPayload() noexcept {}
    vnDynamicPayload(const void* bytes, unsigned int size)
    {
        if (size)
            std::memcpy(resize(size), bytes, size);
    }
    vnDynamicPayload(const vnDynamicPayload& other)
    {
        if (other.isInline())
            take(other); // a copy of fixed size needs no call
        else
            std::memcpy(resize(other.m_size), other.m_block, other.m_size);
    }
    vnDynamicPayload(vnDynamicPayload&& other) noexcept
    {
        take(other);
        other.m_size = 0;
    }
    ~vnDynamicPayload() { release(); }
    vnDynamicPayload& operator=(const vnDynamicPayload& other);
    vnDynamicPayload& operator=(vnDynamicPayload&& other) noexcept
    {
        if (this != &other)
        {
            release();
            take(other);
            other.m_size = 0;
        }
        return *this;
    }

    unsigned int getSize() const noexcept { return m_size; }
    bool isEmpty() const noexcept { return m_size == 0; }
    unsigned char* data() noexcept { return isInline() ? m_bytes : m_block; }
    const unsigned char* data() const noexcept { return isInline() ? m_bytes : m_block; }
    const unsigned char* begin() const noexcept { return data(); }
    const unsigned char* end() const noexcept { return data() + m_size; }

    /// An index at or past the size throws `vnFatalError`.
    const unsigned char& operator[](unsigned int index) const
    {
        if (index >= m_size)
            throwFatalTemplateError("vnArray [] index out of bounds");
        return data()[index];
    }

    /// Makes the payload `size` bytes large, whose values are undefined then, and returns them.
    unsigned char* resize(unsigned int size)
    {
        if (size > VN_INLINE_SIZE || !isInline())
            return resizeBlock(size);
        m_size = size;
        return m_bytes;
    }

    /// Cuts the payload to its first `size` bytes; it is not made larger.
    void cut(unsigned int size);
    void clear() noexcept
    {
        release();
        m_size = 0;
    }

    bool operator==(const vnDynamicPayload& other) const noexcept
    {
        return m_size == other.m_size && std::memcmp(data(), other.data(), m_size) == 0;
    }
    bool operator!=(const vnDynamicPayload& other) const noexcept { return !(*this == other); }

private:
    bool isInline() const noexcept { return m_size <= VN_INLINE_SIZE; }
    unsigned char* resizeBlock(unsigned int size);
    void release() noexcept
    {
        if (!isInline())
            vn_delete(m_block);
    }
    void take(const vnDynamicPayload& other) noexcept
    {
        std::memcpy(m_bytes, other.m_bytes, sizeof m_bytes);
        m_size = other.m_size;
    }

    union
    {
        unsigned char m_bytes[VN_INLINE_SIZE] = {};
        unsigned char* m_block;
    };
    unsigned int m_size = 0;
};

/// A value of any type, held in its wire form: a type tag and a payload that already is what stands on
/// streams. Copying, comparing, writing and reading never look at what a value means; only the typed reads
/// decode it. Any text can be a tag, and a value of an unknown tag travels unchanged.
///
///     vnDynamicType value(12.0);
///     if (value.is("num"))
///         use(value.getNumber());
///
/// A typed read of another tag throws `vnFatalError`; `getPointer` and `getReference` post a Warning and
/// answer null. Payloads from outside may be of any size: a read never looks behind one.
///
/// Thread-safety: none for one value. Comparing may intern a tag, see `vnString`.
class VN_BASE_API vnDynamicType : public vnSerializeData, public vnTypeInterface
{
public:
    /// No value: the tag "void".
    vnDynamicType();

    /// A number, under "num", in the smallest form that is exact: 1, 2 or 4 bytes of integer, or 8 of a
    /// double.
    vnDynamicType(const double& value);
    vnDynamicType(const vnVec2_<float>& value);
    vnDynamicType(const vnVec3_<float>& value);
    vnDynamicType(const vnVec4_<float>& value);
    vnDynamicType(const vnGUID& value);

    /// A text, under "str". An interned string is stored as its id.
    vnDynamicType(const vnString& value);

    /// At most 65535 bytes; null is the empty text.
    vnDynamicType(const char* value);

    /// A pointer to an object, under "ref", which the value keeps alive.
    vnDynamicType(const vnReference* value);

    /// A plain pointer, under "ptr".
    vnDynamicType(const void* value);

    /// Wide text goes through a `vnString`.
    vnDynamicType(const char16_t* value) = delete;
    vnDynamicType(const vnDynamicType& other);

    /// Leaves the other "void".
    vnDynamicType(vnDynamicType&& other) noexcept
        : vnSerializeData(), vnTypeInterface(), m_tag(std::move(other.m_tag)),
          m_data(std::move(other.m_data)), m_references(std::move(other.m_references))
    {
    }

    /// Letting go of the last reference to an object whose destructor throws, here and in what follows, ends
    /// in that error, with the work done.
    ~vnDynamicType() noexcept(false) override = default;
    vnDynamicType& operator=(const vnDynamicType& other);
    vnDynamicType& operator=(vnDynamicType&& other);

    VN_TYPE(vnDynamicType)

    /// The tag, then the size of the payload as a `vnVarUInt64`, then the payload. An interned tag is three
    /// bytes, 0xFC and its id less 1 (little-endian); any other is its text and a zero byte, with 0xFC 0xFF
    /// 0xFF before it when it begins with 0xFC.
    void write(vnSerializeAdapter* adapter) override;

    /// Reads a value; its references are gone. A size beyond what the stream holds ends with the data, and no
    /// memory is taken ahead of the data. A tag whose id `vnUniqueString::getStreamText` refuses sets the
    /// error of the adapter, and the value is void; within another value it posts a Warning. The value stays
    /// as it was when the adapter throws.
    void read(vnSerializeAdapter* adapter) override;
    void pushBack(vnSerializeAdapter* adapter) override;
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override;

    const vnString& getDynamicType() const noexcept { return m_tag.getText(); }
    unsigned char is(const vnString& tag) const { return m_tag.getText() == tag; }

    /// A copy of the payload.
    vnArray<unsigned char> getDynamicData() const
    {
        return vnArray<unsigned char>(m_data.data(), m_data.getSize());
    }

    /// The payload itself, for readers that need no copy.
    const vnDynamicPayload& getPayload() const noexcept { return m_data; }
    unsigned char hasDynamicReferences() const noexcept;

    /// The list of references, made when there is none.
    vnDynRefList& getDynamicReferences();

    /// Back to "void".
    void reset();

    /// Of "num" and "llnum".
    double getNumber() const;

    /// Of "str"; "num" by "%f", "ptr" as "0x" and upper-case hexadecimal, "guid" as its text.
    vnString getString() const;
    vnVec2_<float> getVec2() const;
    vnVec3_<float> getVec3() const;
    vnVec4_<float> getVec4() const;
    vnGUID getGUID() const;

    /// Of "ptr" and "ref".
    void* getPointer() const;

    /// Of "ref", when the value keeps the object alive; one that came from a stream gives null.
    vnReference* getReference() const;

    /// The value as XML, an element "vnDyn" with the tag and the content; with `stripTags` what stands in it.
    /// White space at both ends goes. With `dynOnly` the element is `name`, and so are those in a container.
    /// docs/xml.md tells the forms. Not all of them read again: texts are not escaped, and a container does
    /// not read with an empty name or, with `dynOnly`, one that is none of XML. A text that does not fit a
    /// string throws `vnFatalError` ("... out of index size"), and so does a value that can't be written.
    vnString asString(unsigned char stripTags = 0, unsigned char dynOnly = 0,
                      const vnString& name = vnString()) const;

    /// The value of the tag `typeName` whose content is `text`, and that of an XML text. `ok`, which may be
    /// null, receives whether there is one; otherwise the result is void. See `vnXml2DynamicType`.
    static vnDynamicType fromString(const vnString& text, const vnString& typeName,
                                    unsigned char* ok = nullptr, unsigned char dynOnly = 0);
    static vnDynamicType fromXML(const vnString& text, unsigned char* ok = nullptr,
                                 unsigned char dynOnly = 0);

    /// The value as JSON text, and the value of a JSON text; see `vnJSON`, also for `strict`. A text that
    /// does not fit a string, or that has no strict form, throws `vnFatalError`. A text that is no JSON gives
    /// an error value.
    vnString asJSON(unsigned char strict = 0) const;
    static vnDynamicType fromJSON(const vnString& text, unsigned char strict = 0);

    /// Tags and payloads compare as bytes: -0.0 and 0.0 are one value, a NaN equals itself, and a text stored
    /// by id differs from the same text stored as bytes. References don't count.
    bool operator==(const vnDynamicType& other) const;
    bool operator!=(const vnDynamicType& other) const { return !(*this == other); }

protected:
    /// For the classes of further tags.
    vnDynamicType(const vnString& tag, vnDynamicPayload&& payload) : m_tag(tag), m_data(std::move(payload)) {}
    vnDynamicType(vnDynamicTypeTag&& tag, vnDynamicPayload&& payload) noexcept
        : m_tag(std::move(tag)), m_data(std::move(payload))
    {
    }

    /// Answers `source`, or throws with `format` and its tag unless that is `tag`.
    static const vnDynamicType& checked(const vnDynamicType& source, const vnString& tag, const char* format);

    /// For `vnDynamicTypeCustom`: the check of its tag, and its data through an adapter over the payload.
    static const vnDynamicType& checkedCustom(const vnDynamicType& source, const vnString& tag);
    static void writePayload(vnDynamicPayload& payload, vnSerializeData& data);
    static void readPayload(const vnDynamicPayload& payload, vnSerializeData& data);

    /// The payload of a text, and back.
    static vnDynamicPayload encodeText(const vnString& text);
    static vnString decodeText(const vnDynamicPayload& payload);

    /// Appends the references of `other` to this value's.
    void appendReferences(const vnDynamicType& other);

    vnDynamicTypeTag m_tag;
    vnDynamicPayload m_data;
    vnDynamicOwner<vnDynRefList> m_references; // made on first need

private:
    friend class vnDynamicWire;
};

/// The classes below add constructors and accessors only, so that a value can be sliced into a
/// `vnDynamicType` and be restored by the converting constructor, which throws `vnFatalError` for another
/// tag.
class VN_BASE_API vnDynamicTypeVoid : public vnDynamicType
{
public:
    vnDynamicTypeVoid() = default;
    vnDynamicTypeVoid(const vnDynamicType& source);
};

class VN_BASE_API vnDynamicTypeChain : public vnDynamicType
{
public:
    vnDynamicTypeChain();
    vnDynamicTypeChain(const vnDynamicType& source);
};

/// The result of a call that failed, or the texts "OK" and "Test OK" of one that did not.
class VN_BASE_API vnDynamicTypeError : public vnDynamicType
{
public:
    vnDynamicTypeError(const vnString& error = vnString());
    vnDynamicTypeError(const char* error) : vnDynamicTypeError(vnString(error)) {}
    vnDynamicTypeError(const vnDynamicType& source);

    vnString getError() const;
    void setError(const vnString& error);

    /// 1 unless the text is "OK". It compares texts, where `VN_SUCCESS` compares payloads.
    unsigned char isError() const;
    operator vnString() const { return getError(); }
};

class VN_BASE_API vnDynamicTypeInt64 : public vnDynamicType
{
public:
    vnDynamicTypeInt64(const vnInt64& value);
    vnDynamicTypeInt64(const vnDynamicType& source);

    vnInt64 getInt64() const;
    operator vnInt64() const { return getInt64(); }
};

/// A value with a time, in seconds.
class VN_BASE_API vnDynamicTypeTimeTagged : public vnDynamicType
{
public:
    vnDynamicTypeTimeTagged(double time, const vnDynamicType& value);
    vnDynamicTypeTimeTagged(const vnDynamicType& source);

    double getTimeTag() const;
    vnDynamicType getData() const;
};

/// Several values in one. Elements that come out of it have no references: those stay with the array. A count
/// beyond what the payload holds ends with the payload.
class VN_BASE_API vnDynamicTypeArray : public vnDynamicType
{
public:
    vnDynamicTypeArray();
    vnDynamicTypeArray(const vnArray<vnDynamicType>& elements);
    vnDynamicTypeArray(const vnDynamicArray<vnDynamicType>& elements);
    vnDynamicTypeArray(const vnDynamicType& source);

    vnArray<vnDynamicType> getArray() const;
    operator vnArray<vnDynamicType>() const { return getArray(); }

private:
    vnDynamicTypeArray(const vnDynamicType* elements, unsigned int count);
};

/// The constant values; each lives to the end of the process.
VN_BASE_API const vnDynamicTypeError& vnDynamicOK();
VN_BASE_API const vnDynamicTypeError& vnDynamicTestOK();
VN_BASE_API const vnDynamicTypeError& vnDynamicTestFail();
VN_BASE_API const vnDynamicTypeVoid& vnDynamicVoid();

/// 1 for any value that is no error, and for the constant errors "OK" and "Test OK".
VN_BASE_API unsigned char VN_SUCCESS(const vnDynamicType& value);
VN_BASE_API unsigned char VN_FAIL(const vnDynamicType& value);
VN_BASE_API unsigned char VN_TEST_SUCCESS(const vnDynamicType& value);
VN_BASE_API unsigned char VN_TEST_FAIL(const vnDynamicType& value);
