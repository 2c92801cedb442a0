// SPDX-License-Identifier: MIT
#include <vnBase/vnBaseError.h>

#include <vnBase/vnMessage.h>
#include <vnBase/vnTemplateError.h>

#include <atomic>

namespace
{
std::atomic<void (*)(const vnFatalError&)> s_reportFatal{vnDefaultFatalHandler};
std::atomic<void (*)(const vnWarningError&)> s_reportWarning{vnDefaultWarningHandler};

// The span in which errors are reported: from load, by the initial values above, to the end of this object.
class StaticInitialiserExceptions
{
public:
    constexpr StaticInitialiserExceptions() noexcept = default;
    ~StaticInitialiserExceptions()
    {
        s_reportFatal = nullptr;
        s_reportWarning = nullptr;
    }
};

StaticInitialiserExceptions s_initialiser;

vnString createText(const vnString& format, bool translate, const vnArgumentList& arguments)
{
    const vnString used = translate ? vnMessage::translate("Exception", format) : format;
    vnString text;
    text.assignFormat(used, used.length(), arguments);
    return text;
}
} // namespace

vnBaseError::vnBaseError(const char* text, int code, vnMessageEncoding encoding)
    : m_code(code), m_text(text), m_encoding(encoding)
{
}

void vnFatalError::reportError()
{
    if (const auto report = s_reportFatal.load())
        report(*this);
}

void vnWarningError::reportError()
{
    if (const auto report = s_reportWarning.load())
        report(*this);
}

void setReportFunction(void (*report)(const vnFatalError& error))
{
    s_reportFatal = report;
}

void setReportFunction(void (*report)(const vnWarningError& error))
{
    s_reportWarning = report;
}

// The text is the format here, although it was formatted when it was thrown: a "%" that it holds by now is
// read once more, with no arguments.
void vnDefaultFatalHandler(const vnFatalError& error)
{
    vnMessage::message(VN_MESSAGE_FATAL + error.getMessageEncoding(), error.getErrorString().getString());
}

void vnDefaultWarningHandler(const vnWarningError& error)
{
    vnMessage::message(VN_MESSAGE_WARNING + error.getMessageEncoding(), error.getErrorString().getString());
}

void vnExceptionThrows::throwFatal(const vnString& format, const vnArgumentList& arguments)
{
    throw vnFatalError(createText(format, true, arguments), 0, VN_MESSAGE_UNTRANSLATED);
}

void vnExceptionThrows::throwWarning(const vnString& format, const vnArgumentList& arguments)
{
    throw vnWarningError(createText(format, true, arguments), 0, VN_MESSAGE_UNTRANSLATED);
}

void vnExceptionThrows::throwEncodedFatal(vnMessageEncoding encoding, const vnString& format,
                                          const vnArgumentList& arguments)
{
    throw vnFatalError(createText(format, !(encoding & VN_MESSAGE_UNTRANSLATED), arguments), 0, encoding);
}

void vnExceptionThrows::throwEncodedWarning(vnMessageEncoding encoding, const vnString& format,
                                            const vnArgumentList& arguments)
{
    throw vnWarningError(createText(format, !(encoding & VN_MESSAGE_UNTRANSLATED), arguments), 0, encoding);
}

void throwFatalTemplateError(const char* text)
{
    vnExceptionThrows::vnThrowFatal(vnString("Template-") + text);
}
