// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBaseError.h>
#include <vnBase/vnString.h>

#include <atomic>

/// The severity of a message and its flags. Severities compare by plain integer order.
using vnMessageLevel = unsigned int;

enum : vnMessageLevel
{
    VN_MESSAGE_MEMORY = 0x1000,
    VN_MESSAGE_PERF = 0x1001,
    VN_MESSAGE_DEBUG = 0x2000,
    VN_MESSAGE_NOTICE = 0x3000, // the threshold at the start
    VN_MESSAGE_WARNING = 0x4000,
    VN_MESSAGE_FATAL = 0x5000,
    VN_MESSAGE_ASSERT = 0x6000,
    VN_MESSAGE_ALWAYS = 0x7000,

    VN_MESSAGE_INTERNAL = 0x800, // for developers of the library; shown when the threshold has this flag too
    VN_MESSAGE_FINAL = 0x400,    // the text is not formatted
    VN_MESSAGE_UNTRANSLATED = 0x200, // the text is not translated
    VN_MESSAGE_SEVERITY = 0xF07F,    // the mask that removes the flags
    VN_MESSAGE_TRACE = 0x2201        // what `vnTrace` posts
};

/// Receives messages. An instance removes itself when it is destroyed; a class whose `onMessage` uses state
/// of its own removes itself first thing in its destructor.
class VN_BASE_API vnMessageReceiverInterface
{
public:
    virtual ~vnMessageReceiverInterface() noexcept(false);

    /// Called on the thread that posts, on several threads at once, under the read lock of the message
    /// system: it must not add receivers, nor set a translator, which throws `vnFatalError`. It may post
    /// messages itself, which reach it too, and end the program. Receivers may be removed and destroyed from
    /// within it, for which the thread gives its read lock back meanwhile: a receiver that it is in may then
    /// be removed, and destroyed, by another thread. What it throws reaches the one who posted. `message` is
    /// valid during the call.
    virtual void onMessage(const vnString& sender, vnMessageLevel level, const char* message) = 0;
};

/// Translates texts; asked for each message of at least Notice level that is not marked as translated.
class VN_BASE_API vnMessageTranslatorInterface
{
public:
    virtual ~vnMessageTranslatorInterface() noexcept(false) = default;

    /// An empty answer drops the message.
    virtual vnString translate(const vnString& sender, vnMessageLevel level, const vnString& text) = 0;
    virtual void setTranslation(const vnString& language, const vnString& sender, const vnString& text,
                                const vnString& translation) = 0;

    /// The language that translators translate to, "eng" at the start.
    static vnString getCurrentLanguage();
    static void setCurrentLanguage(const vnString& language);

    /// Installs (1) or removes (0) the default translator.
    static void useDefaultTranslator(unsigned char enable);

private:
    static vnString s_currentLanguage;
};

/// The answer to a failed assertion.
enum vnAssertAnswer : unsigned int
{
    VN_ASSERT_ABORT = 0,  // ends the program with the code 99
    VN_ASSERT_RETRY = 1,  // throws `vnFatalError` "breakpoint" with the code 9999
    VN_ASSERT_IGNORE = 2, // goes on
};

/// Asks somebody what to do about a failed assertion; may run on several threads at once.
using vnAssertDialogue = vnAssertAnswer (*)(const vnString& title, const vnString& body);

/// The one channel for all reports of the library and of programs that use it.
///
///     vnMessage::message("loader", VN_MESSAGE_WARNING, "Could not read '%s'", name);
///
/// A message below the threshold costs one test. Others are translated, formatted and handed to each
/// receiver, in the order in which they were added, on the calling thread. Until a program adds a receiver of
/// its own, a default receiver writes to standard output and to the debug stream of the platform.
///
/// Thread-safety: any thread. Delivery holds the read side of one lock, so many threads deliver at once.
class VN_BASE_API vnMessage
{
public:
    template <class... Args>
    static void message(const vnString& sender, vnMessageLevel level, const char* format, const Args&... args)
    {
        if (isWanted(level))
            post(sender, level, format, vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class... Args>
    static void message(const vnString& sender, vnMessageLevel level, const char16_t* format,
                        const Args&... args)
    {
        if (isWanted(level))
            post(sender, level, vnString(format), vnArgumentPack<sizeof...(Args)>(args...));
    }

    /// The same for a sender that is no `vnString` yet: it becomes one when the message is wanted.
    template <class... Args>
    static void message(const char* sender, vnMessageLevel level, const char* format, const Args&... args)
    {
        if (isWanted(level))
            post(sender, level, format, vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class... Args>
    static void message(const char* sender, vnMessageLevel level, const char16_t* format, const Args&... args)
    {
        if (isWanted(level))
            post(sender, level, vnString(format), vnArgumentPack<sizeof...(Args)>(args...));
    }

    /// Posts under the default sender "VantorSDK".
    template <class... Args>
    static void message(vnMessageLevel level, const char* format, const Args&... args)
    {
        if (isWanted(level))
            post(getDefaultSender(), level, format, vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class... Args>
    static void message(vnMessageLevel level, const char16_t* format, const Args&... args)
    {
        if (isWanted(level))
            post(getDefaultSender(), level, vnString(format), vnArgumentPack<sizeof...(Args)>(args...));
    }

    /// 1 when a message of this level would be delivered: it is not below the threshold, and the threshold
    /// has the internal flag if the level has it.
    static bool isWanted(vnMessageLevel level) noexcept
    {
        const vnMessageLevel threshold = s_level.load(std::memory_order_relaxed);
        return level >= (threshold & VN_MESSAGE_SEVERITY) && !(level & ~threshold & VN_MESSAGE_INTERNAL);
    }

    /// The threshold with its flags. A level of 0x7001 or more is ignored.
    static vnMessageLevel getMessageLevel() noexcept { return s_level.load(std::memory_order_relaxed); }
    static void setMessageLevel(vnMessageLevel level) noexcept;

    /// The first receiver that a program adds replaces the default receiver for good;
    /// `getDefaultMessageReceiver()` may be added explicitly. A receiver in the list is not added twice. The
    /// list holds plain pointers; with the last one removed nobody hears of anything. The default receiver is
    /// there from the first message on that is delivered: one that is dropped, below the threshold or
    /// translated to nothing, does not bring it in yet.
    static void addMessageReceiver(vnMessageReceiverInterface* receiver);
    static void removeMessageReceiver(vnMessageReceiverInterface* receiver);
    static vnMessageReceiverInterface* getDefaultMessageReceiver();

    /// The translator is not owned. Null removes it and lets the default translator read its language file
    /// again when it is installed next.
    static void setMessageTranslator(vnMessageTranslatorInterface* translator);
    static vnMessageTranslatorInterface* getMessageTranslator();
    static vnMessageTranslatorInterface* getDefaultMessageTranslator();

    /// The text in the current language; the text itself when no translator is set.
    static vnString translate(const vnString& sender, const vnString& text);
    static void setTranslation(const vnString& language, const vnString& sender, const vnString& text,
                               const vnString& translation);

    /// Holds all delivery off, except on the calling thread, until `unLock()`. Throws `vnFatalError` from
    /// within a delivery, which it would wait for. A message below the threshold does not wait. A thread that
    /// keeps the lock for good does not keep the library from ending: its own waits at the end of the process
    /// are bounded; the removal of a receiver before that waits, as at any time.
    static void waitLock();
    static void unLock();

    /// Replaces the dialogue in which the default receiver presents an Assert message, and returns the one
    /// before. Null brings back the one at the start: a prompt on the controlling terminal, or without one
    /// the answer in the user key VANTOR_ASSERT, which an environment variable of that name overrides (abort,
    /// retry, ignore; ignore when unset).
    static vnAssertDialogue setAssertDialogue(vnAssertDialogue dialogue) noexcept;

    /// `waitLock()` that gives up after `milliseconds` and answers whether it holds the lock.
    static unsigned char tryLock(unsigned int milliseconds);

    /// "VantorSDK". A string of the caller's own, since comparing a string may write to it.
    static vnString getDefaultSender();

private:
    static void post(const vnString& sender, vnMessageLevel level, const char* format,
                     const vnArgumentList& arguments);

    static std::atomic<vnMessageLevel> s_level;
};
