// SPDX-License-Identifier: MIT
#include <vnBase/vnNotifyManager.h>

#include <vnBase/vnRefData.h>
#include <vnBase/vnThread.h>

vnType vnNotifyMessage::s_type(vnReference::getClassType(), "vnNotifyMessage");

namespace
{
class ProcessManager : public vnNotifyManager
{
public:
    using vnNotifyManager::tryEndSubscriptions;
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

// At the end of the process a thread may stand in a pass for good.
constexpr unsigned int endMilliseconds = 200;

// The manager stays for statics that are destroyed later; what was left in its queues does not, unless a pass
// does not end.
struct EndOfProcess
{
    ~EndOfProcess() noexcept(false)
    {
        for (unsigned int i = 0; i < endMilliseconds && !processManager().tryEndSubscriptions(); ++i)
            vnThread::vnDelayFunction(1, nullptr);
    }
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
    vnRefPointer<vnReference> held(data); // exhausted memory must not lose it
    vnRefPointer<vnNotifyMessage> message(new vnNotifyMessage(command, lifetime, sender, data, number));
    // Nothing is held here once it is posted: another thread may let go of both then, and the counts have no
    // lock.
    held = nullptr;
    post(std::move(message), getSource(sender), lifetime, 0, priority, trigger);
}

void notify_vnString(const vnString& command, const vnString& text, vnTypeInterface* sender,
                     unsigned char trigger)
{
    vnNotifyManager::getManager()->notify(command, 0, 0, sender, new vnRefData<vnString>(text), 0, trigger);
}
