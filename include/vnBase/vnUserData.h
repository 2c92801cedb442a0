// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnReference.h>
#include <vnBase/vnSerializeData.h>
#include <vnBase/vnString.h>

class vnObject;

/// What can be attached to an object under a name. A class of one's own overrides `clone` and the operations
/// of `vnSerializeData`; only attribute containers and objects are stored with the object on streams, see
/// `vnObject::write`.
///
/// Thread-safety: none.
class VN_BASE_API vnUserData : public vnReference, public vnSerializeData
{
public:
    VN_TYPE(vnUserData)
    vnUserData() noexcept = default;
    vnUserData(const vnUserData& other) noexcept : vnReference(other), vnSerializeData(other) {}
    vnUserData& operator=(const vnUserData& other) noexcept = default;
    ~vnUserData() noexcept(false) override;

    vnReference* clone() const override = 0;
    void write(vnSerializeAdapter* adapter) override = 0;
    void read(vnSerializeAdapter* adapter) override = 0;
    void pushBack(vnSerializeAdapter* adapter) override = 0;
    unsigned int getDataSize(vnSerializeAdapter* adapter) const override = 0;

    /// Called when the item stands under `name` in the user data of `object`, and when it has left it. They
    /// must not change the user data of that object. An `onAttach` that throws undoes the insertion.
    virtual void onAttach(vnObject* object, const vnString& name);
    virtual void onDetach(vnObject* object, const vnString& name);

    /// Whether both mean the same; here, whether they are one.
    virtual unsigned char isEqualTo(const vnUserData* other) const;
};
