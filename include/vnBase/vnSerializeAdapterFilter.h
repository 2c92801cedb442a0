// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

/// The base of adapters that stand in front of another one, their target: encoders, archives, buffers. It
/// holds the target, looks like it (URL, password, flags), shares its table of instances, so that a graph of
/// objects keeps one id space through any stack of adapters, and passes on its error. A target that nobody
/// else holds is deleted with it, so it does not stand on the stack.
///
/// Without a target there is no data, and the tables are those of the adapter itself. The class has no type
/// record: to `getType()` its descendants are adapters like all others.
class VN_BASE_API vnSerializeAdapterFilter : public vnSerializeAdapter
{
public:
    ~vnSerializeAdapterFilter() noexcept(false) override;

    /// The target; null when there is none.
    vnSerializeAdapter* getAdapter() const noexcept { return m_target; }

    /// What the target can be used for.
    unsigned char supportAction(vnSerializeAction action) override;

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

    /// The same for one that begins a stream: bytes pushed back, the own error and the note of what was
    /// written are dropped.
    void startAnew(vnSerializeAdapter* target);

    /// Notes that the target was written, so that the next `flushTarget()` reaches it.
    void noteWritten() noexcept { m_isTargetDirty = true; }
    bool isTargetDirty() const noexcept { return m_isTargetDirty; }

    /// Flushes the target when it was written since the last time; one that has an error then is flushed
    /// again the next time.
    void flushTarget();

private:
    vnRefPointer<vnSerializeAdapter> m_target;
    bool m_isTargetDirty = false;
};
