// SPDX-License-Identifier: MIT
#include <vnBase/vnNotifyManager.h>

#include <vnBase/vnRefData.h>

vnType vnNotifyMessage::s_type(vnReference::getClassType(), "vnNotifyMessage");

namespace
{
class ProcessManager : public vnNotifyManager
{
public:
    using vnNotifyManager::endSubscriptions;
};

ProcessManager& createManager()
{
    vnPrivateMemoryScope scope;
    return *new ProcessManager;
}

ProcessManager& processManager()
{
    static ProcessManager& manager = createManager();
    return manager;
}

// The manager stays for statics that are destroyed later; what was left in its queues does not.
struct EndOfProcess
{
    ~EndOfProcess() noexcept(false) { processManager().endSubscriptions(); }
};
} // namespace

vnNotifyMessage::vnNotifyMessage(const vnString& command, const double& lifetime, vnTypeInterface* sender,
                                 vnReference* data, const double& number)
    : m_command(command), m_sender(sender), m_data(data),
      m_lastValidTime(lifetime == 0 ? std::numeric_limits<double>::max() : m_time.seconds() + lifetime),
      m_number(number)
{
}

vnReference* vnNotifyMessage::clone() const
{
    return new vnNotifyMessage(*this);
}

vnNotifyManager* vnNotifyManager::getManager()
{
    vnNotifyManager& manager = processManager();
    static EndOfProcess cleaner;
    return &manager;
}

void vnNotifyManager::notify(const vnString& command, unsigned int priority, const double& lifetime,
                             vnTypeInterface* sender, vnReference* data, unsigned int number,
                             unsigned char trigger)
{
    vnRefPointer<vnNotifyMessage> message(new vnNotifyMessage(command, lifetime, sender, data, number));
    post(message, getSource(sender), lifetime, 0, priority, trigger);
}

void notify_vnString(const vnString& command, const vnString& text, vnTypeInterface* sender,
                     unsigned char trigger)
{
    vnRefPointer<vnReference> data(new vnRefData<vnString>(text));
    vnNotifyManager::getManager()->notify(command, 0, 0, sender, data, 0, trigger);
}
