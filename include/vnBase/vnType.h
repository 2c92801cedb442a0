// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnConfig.h>

/// The run-time type record of a class: its name and its parent's record. One record exists for each class of
/// the tree, as its static member `s_type`; a class without a record answers with that of its nearest base.
///
///     if (object->isOfType(vnSerializeAdapter::getClassType()))
///         ...
///
/// Thread-safety: records are built during static initialisation and only read afterwards.
class VN_BASE_API vnType
{
public:
    /// A record under `parent` (null for a root). The name is copied, its first 255 characters at most.
    vnType(vnType* parent, const char* name);

    /// A copy shares the name of `other`, which must outlive it, and equals it.
    vnType(const vnType& other) noexcept;
    vnType& operator=(const vnType& other) noexcept;
    virtual ~vnType() noexcept(false);

    const char* getName() const noexcept { return m_name; }
    vnType* getParent() const noexcept { return m_parent; }

    /// 1 when `ancestor` stands above this type; a type is not derived from itself.
    unsigned char isDerivedFrom(const vnType* ancestor) const noexcept;

    // Compares the pointers and not the texts, on purpose: two records are equal only when one is a copy of
    // the other, so that classes of one name in two modules stay apart. Records that are not built yet have
    // no name and equal nothing but themselves.
    bool operator==(const vnType& other) const noexcept
    {
        return this == &other || (m_name && m_name == other.m_name);
    }
    bool operator!=(const vnType& other) const noexcept { return !(*this == other); }

private:
    vnType* m_parent;
    const char* m_name;
    unsigned char m_ownsName;
};

/// What has a run-time type.
class VN_BASE_API vnTypeInterface
{
public:
    virtual vnType* getType() const = 0;

    /// The name of the type; null when there is no type.
    const char* getTypeName() const;

    /// 1 when `type` equals this object's type or stands above it.
    unsigned char isOfType(const vnType* type) const;

    /// 1 when `type` equals this object's type.
    unsigned char isExactType(const vnType* type) const;

protected:
    ~vnTypeInterface() = default;
};

/// Declares the record of a class and what gives access to it; stands in the public part of the class. The
/// source defines `vnType vnX::s_type(vnParent::getClassType(), "vnX");`.
#define VN_TYPE(className)                                                                                   \
    static vnType s_type;                                                                                    \
    static vnType* getClassType()                                                                            \
    {                                                                                                        \
        return &s_type;                                                                                      \
    }                                                                                                        \
    vnType* getType() const override                                                                         \
    {                                                                                                        \
        return &s_type;                                                                                      \
    }
