// SPDX-License-Identifier: MIT
// A thread that hangs is ended by its watchdog: whoever looks at it finds that it has not ticked for too
// long.
#include <vnBase/vnMessage.h>
#include <vnBase/vnThread.h>

class Hanging : public vnThread
{
public:
    Hanging() : vnThread(VN_THREAD_PRIORITY_NORMAL) {}
    ~Hanging() noexcept(false) override { stop(1); }

    void process() override
    {
        for (;;)
            vnDelayFunction(1000, nullptr); // and never a tickAlive()
    }
};

int main()
{
    Hanging thread;
    thread.setTickLimit(0.3);
    thread.run(1);
    while (thread.tickAlive())
        vnThread::vnDelayFunction(50, nullptr);
    vnMessage::message("watchdog", VN_MESSAGE_NOTICE, "the hanging thread was ended, running: %s",
                       vnYesNo(thread.isRunning(0)));
    return 0;
}
