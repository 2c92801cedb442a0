// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

#include <type_traits>

/// Flag bits of a message level that travel with an error, see `vnMessageLevel`: 0x200 tells that the text is
/// translated already.
using vnMessageEncoding = unsigned int;

/// What the library throws, by value, when a contract was broken or an operation can't go on. Catch it by
/// reference and take the text, or call `reportError()`.
class VN_BASE_API vnBaseError
{
public:
    vnBaseError(const char* text, int code, vnMessageEncoding encoding);
    virtual ~vnBaseError() noexcept(false) = default;

    /// Hands the error to the report function of its class; by default it becomes a message.
    virtual void reportError() = 0;

    const vnString& getErrorString() const noexcept { return m_text; }
    int getErrorCode() const noexcept { return m_code; }
    vnMessageEncoding getMessageEncoding() const noexcept { return m_encoding; }

private:
    int m_code;
    vnString m_text;
    vnMessageEncoding m_encoding;
};

/// A broken contract or an unusable state.
class VN_BASE_API vnFatalError : public vnBaseError
{
public:
    vnFatalError(const char* text, int code, vnMessageEncoding encoding) : vnBaseError(text, code, encoding)
    {
    }
    void reportError() override;
};

/// A value that was refused.
class VN_BASE_API vnWarningError : public vnBaseError
{
public:
    vnWarningError(const char* text, int code, vnMessageEncoding encoding) : vnBaseError(text, code, encoding)
    {
    }
    void reportError() override;
};

/// Replaces what `reportError()` calls; belongs to the start of a program.
VN_BASE_API void setReportFunction(void (*report)(const vnFatalError& error));
VN_BASE_API void setReportFunction(void (*report)(const vnWarningError& error));

/// The report functions at the start: post the text as a Fatal or a Warning message.
VN_BASE_API void vnDefaultFatalHandler(const vnFatalError& error);
VN_BASE_API void vnDefaultWarningHandler(const vnWarningError& error);

/// Throws errors with formatted texts. The format is translated first, unless the encoding holds 0x200; the
/// error carries the code 0. An encoding is a `vnMessageEncoding`, given as any number.
class VN_BASE_API vnExceptionThrows
{
    template <class T>
    using IfNumber = std::enable_if_t<std::is_integral<T>::value || std::is_enum<T>::value, int>;

public:
    template <class... Args>
    [[noreturn]] static void vnThrowFatal(const char* format, const Args&... args)
    {
        throwFatal(vnString(format), vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class... Args>
    [[noreturn]] static void vnThrowFatal(const char16_t* format, const Args&... args)
    {
        throwFatal(vnString(format), vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class Encoding, class... Args, IfNumber<Encoding> = 0>
    [[noreturn]] static void vnThrowFatal(Encoding encoding, const char* format, const Args&... args)
    {
        throwEncodedFatal(static_cast<vnMessageEncoding>(encoding), vnString(format),
                          vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class Encoding, class... Args, IfNumber<Encoding> = 0>
    [[noreturn]] static void vnThrowFatal(Encoding encoding, const char16_t* format, const Args&... args)
    {
        throwEncodedFatal(static_cast<vnMessageEncoding>(encoding), vnString(format),
                          vnArgumentPack<sizeof...(Args)>(args...));
    }

    template <class... Args>
    [[noreturn]] static void vnThrowWarning(const char* format, const Args&... args)
    {
        throwWarning(vnString(format), vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class... Args>
    [[noreturn]] static void vnThrowWarning(const char16_t* format, const Args&... args)
    {
        throwWarning(vnString(format), vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class Encoding, class... Args, IfNumber<Encoding> = 0>
    [[noreturn]] static void vnThrowWarning(Encoding encoding, const char* format, const Args&... args)
    {
        throwEncodedWarning(static_cast<vnMessageEncoding>(encoding), vnString(format),
                            vnArgumentPack<sizeof...(Args)>(args...));
    }
    template <class Encoding, class... Args, IfNumber<Encoding> = 0>
    [[noreturn]] static void vnThrowWarning(Encoding encoding, const char16_t* format, const Args&... args)
    {
        throwEncodedWarning(static_cast<vnMessageEncoding>(encoding), vnString(format),
                            vnArgumentPack<sizeof...(Args)>(args...));
    }

private:
    [[noreturn]] static void throwFatal(const vnString& format, const vnArgumentList& arguments);
    [[noreturn]] static void throwWarning(const vnString& format, const vnArgumentList& arguments);
    [[noreturn]] static void throwEncodedFatal(vnMessageEncoding encoding, const vnString& format,
                                               const vnArgumentList& arguments);
    [[noreturn]] static void throwEncodedWarning(vnMessageEncoding encoding, const vnString& format,
                                                 const vnArgumentList& arguments);
};
