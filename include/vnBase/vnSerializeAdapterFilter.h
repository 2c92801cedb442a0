// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// The base of adapters that stand in front of another one, their target: encoders, archives, buffers. It
/// holds the target, looks like it (URL, password, flags), shares its table of instances, so that a graph of
/// objects keeps one id space through any stack of adapters, and passes on its error.
///
/// Without a target there is no data, and the tables are those of the adapter itself.
class VN_BASE_API vnSerializeAdapterFilter : public vnSerializeAdapter
{
public:
    VN_TYPE(vnSerializeAdapterFilter)
    ~vnSerializeAdapterFilter() noexcept(false) override;

    /// The target; null when there is none.
    vnSerializeAdapter* getAdapter() const noexcept { return m_target; }

    /// The own error, else that of the target.
    unsigned char hasError() override;
    vnString getError() override;

    /// An empty text clears the error of the target as well.
    void setError(const vnString& error) override;

    vnRefInstanceDictionary& getRefInstanceDictionary() override;
    vnRefInstanceArray& getRefInstanceArray() override;
    unsigned int getNewSharedInstanceID() override;
    void clearSharedRefs() override;

protected:
    vnSerializeAdapterFilter() = default;

    /// Holds `target` in place of the earlier one and takes its URL, password, attributes and flags over;
    /// null leaves them as they are.
    void holdTarget(vnSerializeAdapter* target);

private:
    vnRefPointer<vnSerializeAdapter> m_target;
};
