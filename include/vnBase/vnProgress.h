// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnMutex.h>
#include <vnBase/vnString.h>

/// Listens to the progress of long operations. It is told by `vnProgress` once it stands there, either
/// through the setters of `vnProgress` or by activating it, which remembers the listener that it takes the
/// place of.
///
///     class Bar : public vnProgressInterface
///     {
///     public:
///         ~Bar() noexcept(false) override { deactivateProgressInterface(); }
///         void onProgress(unsigned char percent, const char* banner) override
///         {
///             draw(percent);
///             routeProgress(percent, banner);
///         }
///     };
///
/// Thread-safety: any thread may report, activate and deactivate. A listener must not replace listeners from
/// within `onProgress`, which throws `vnFatalError`.
class VN_BASE_API vnProgressInterface
{
public:
    vnProgressInterface() = default;
    vnProgressInterface(const vnProgressInterface&) = delete;
    vnProgressInterface& operator=(const vnProgressInterface&) = delete;

    /// Takes the object out of all places in which it stands. A class whose `onProgress` uses state of its
    /// own deactivates itself first thing in its own destructor.
    virtual ~vnProgressInterface() noexcept(false);

    /// A report of the thread that calls. `percent` may exceed 100; `banner` says what is in progress, and is
    /// valid during the call.
    virtual void onProgress(unsigned char percent, const char* banner);

    /// Takes the place of the calling thread's listener when it has one, otherwise that of the default
    /// listener. Does nothing when active.
    void activateProgressInterface();

    /// Puts the remembered listener back in its place. When another listener was activated on top of this one
    /// meanwhile, that one stays and remembers in this one's stead. When a setter has put another one in the
    /// place meanwhile, that one stays too, and the remembered one does not come back. An object that a
    /// setter had put there itself before it was activated goes on standing there.
    void deactivateProgressInterface();

    /// Hands a report on to the remembered listener, when active.
    void routeProgress(unsigned char percent, const char* banner);

    unsigned char isProgressInterfaceActive() const noexcept { return m_flags & VN_ACTIVE; }

private:
    friend class vnProgress;

    static constexpr unsigned char VN_ACTIVE = 1;
    static constexpr unsigned char VN_PER_THREAD = 2; // it stands in the place of a thread
    static constexpr unsigned char VN_WAS_SET = 4;    // it stood in its place already when it was activated

    vnProgressInterface* m_previous = nullptr;
    vnProgressInterface* m_nextActive = nullptr; // all active ones
    unsigned int m_thread = 0;                   // whose place it stands in
    unsigned char m_flags = 0;
};

/// Writes progress to standard output as one line that overwrites itself, until 100 percent end it. A report
/// of the same percentage whose banner begins with the same character as the one before is left out.
class VN_BASE_API vnDefaultProgressInterface : public vnProgressInterface
{
public:
    ~vnDefaultProgressInterface() noexcept(false) override { deactivateProgressInterface(); }
    void onProgress(unsigned char percent, const char* banner) override;

private:
    vnMutex m_mutex;
    vnString m_lastBanner; // the last one that was not empty
    unsigned char m_lastPercent = 0;
};

/// Routes reports of progress to the listener of the thread that reports, or to the default listener. The
/// setters do not own what they are given; null removes. At the start there is no listener.
///
/// Thread-safety: any thread. Once the setter has returned, no other thread is in a report to the replaced
/// listener, and none begins; but an active listener that remembers it goes on routing reports to it. A
/// listener that deactivates or destroys another one, or itself, from within `onProgress` gives the lock of
/// its thread's reports back meanwhile: a listener that it is in may then be replaced, and destroyed, by
/// another thread.
class VN_BASE_API vnProgress
{
public:
    /// A `percent` above 255 is cut to its low 8 bits by the call.
    static void progress(unsigned char percent, const char* banner);

    /// Who receives the calling thread's reports: its own listener, or the default one; may be null.
    static vnProgressInterface* getProgressInterface();

    /// Sets the calling thread's listener, and returns the one before.
    static vnProgressInterface* setProgressInterface(vnProgressInterface* listener);
    static vnProgressInterface* setDefaultProgressInterface(vnProgressInterface* listener);

private:
    friend class vnProgressInterface;

    static void activate(vnProgressInterface& listener);
    static void deactivate(vnProgressInterface& listener);
    static void forget(vnProgressInterface& listener);
    static void replaceRemembered(const vnProgressInterface& leaving, vnProgressInterface* by);
    static void route(const vnProgressInterface& listener, unsigned char percent, const char* banner);

    static vnProgressInterface* s_firstActive;
};
