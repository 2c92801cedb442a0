// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnNotify.h>
#include <vnBase/vnString.h>

/// A message of a `vnNotifyManager`. It is not changed once it is posted. Its holders are counted without a
/// lock: the thread that posts it keeps no pointer to it, and a subscriber that keeps one lets go of it on
/// the thread that triggers.
class VN_BASE_API vnNotifyMessage : public vnReference
{
public:
    /// The time is now; the message is valid for `lifetime` seconds, or for ever with 0. `sender` is not
    /// owned and may be gone when the message is read; `data` is shared.
    vnNotifyMessage(const vnString& command, const double& lifetime, vnTypeInterface* sender,
                    vnReference* data, const double& number);

    VN_TYPE(vnNotifyMessage)

    /// The data is cloned when its `useDeepCopy()` answers 1, and shared otherwise.
    vnReference* clone() const override;

    const vnString& getCommand() const noexcept { return m_command; }
    vnTypeInterface* getSender() const noexcept { return m_sender; }
    const vnRefPointer<vnReference>& getData() const noexcept { return m_data; }
    const vnTime& getTime() const noexcept { return m_time; }
    const vnTime& getLastValidTime() const noexcept { return m_lastValidTime; }
    double getNumber() const noexcept { return m_number; }

private:
    vnNotifyMessage(const vnNotifyMessage&) = default;

    vnString m_command;
    vnTypeInterface* m_sender;
    vnRefPointer<vnReference> m_data;
    vnTime m_time;
    vnTime m_lastValidTime;
    double m_number;
};

class vnNotifyManager;

/// Receives the messages of managers; override `onNotify`.
class VN_BASE_API vnNotifyInterface
    : public vnNotifySlave<vnNotifyManager, vnNotifyInterface, vnRefPointer<vnNotifyMessage>>
{
};

/// Sends messages between objects that don't know each other. It delivers when `triggerNotify()` is called.
///
///     vnNotifyManager::getManager()->addSubscriber(&panel);
///     vnNotifyManager::getManager()->notify("selected", 0, 0, this, node, 0, 1);
class VN_BASE_API vnNotifyManager
    : public vnNotifyMaster<vnNotifyManager, vnNotifyInterface, vnRefPointer<vnNotifyMessage>>
{
public:
    vnNotifyManager() { setDeliverAtOnce(0); }

    /// The manager of the process.
    static vnNotifyManager* getManager();

    /// Posts a message whose source id is the address of `sender`. When another thread triggers, `data` is a
    /// `vnThreadSafeReference`, or a new object that the caller does not keep.
    void notify(const vnString& command, unsigned int priority, const double& lifetime,
                vnTypeInterface* sender, vnReference* data = nullptr, unsigned int number = 0,
                unsigned char trigger = 0);

    /// The source id of what `sender` posts; a filter for `addSubscriber`.
    static vnUInt64 getSource(const vnTypeInterface* sender) noexcept
    {
        return reinterpret_cast<std::uintptr_t>(sender);
    }
};

/// Posts a text at the process's manager, as a `vnRefData<vnString>`.
VN_BASE_API void notify_vnString(const vnString& command, const vnString& text, vnTypeInterface* sender,
                                 unsigned char trigger = 0);
