// SPDX-License-Identifier: MIT
#include <vnBase/vnBaseError.h>
#include <vnBase/vnTemplateError.h>

#include "vnMessageRecorder.h"

#include <gtest/gtest.h>

namespace
{
class Translator : public vnMessageTranslatorInterface
{
public:
    Translator() { vnMessage::setMessageTranslator(this); }
    ~Translator() noexcept(false) override { vnMessage::setMessageTranslator(nullptr); }
    vnString translate(const vnString& sender, vnMessageLevel, const vnString& text) override
    {
        return sender + ":" + text;
    }
    void setTranslation(const vnString&, const vnString&, const vnString&, const vnString&) override {}
};

template <class Error, class F>
void expectError(F throwIt, const char* text, vnMessageEncoding encoding)
{
    try
    {
        throwIt();
        ADD_FAILURE() << "expected '" << text << "'";
    }
    catch (const Error& error)
    {
        EXPECT_EQ(error.getErrorString(), text);
        EXPECT_EQ(error.getErrorCode(), 0);
        EXPECT_EQ(error.getMessageEncoding(), encoding);
    }
}

unsigned int s_fatal = 0;
} // namespace

TEST(vnBaseError, CarriesTheTextThatWasTranslatedAndFormatted)
{
    using Throws = vnExceptionThrows;
    Translator translator;
    expectError<vnFatalError>([] { Throws::vnThrowFatal("%s-%d", "a", 1); }, "Exception:a-1", 0x200);
    expectError<vnFatalError>([] { Throws::vnThrowFatal(u"%d", 2); }, "Exception:2", 0x200);
    expectError<vnFatalError>([] { Throws::vnThrowFatal(0x200u, "%d", 3); }, "3", 0x200);
    expectError<vnFatalError>([] { Throws::vnThrowFatal(0x800u, u"%d", 4); }, "Exception:4", 0x800);
    expectError<vnWarningError>([] { Throws::vnThrowWarning("%d", 5); }, "Exception:5", 0x200);
    expectError<vnWarningError>([] { Throws::vnThrowWarning(0xA00u, "%d", 6); }, "6", 0xA00);
    expectError<vnFatalError>([] { Throws::vnThrowFatal(0, "%s", "zero"); }, "Exception:zero", 0);
    expectError<vnWarningError>([] { Throws::vnThrowWarning(0, u"%d", 7); }, "Exception:7", 0);
    expectError<vnFatalError>([] { Throws::vnThrowFatal(VN_MESSAGE_UNTRANSLATED, "%d", 8); }, "8", 0x200);
    expectError<vnFatalError>([] { throwFatalTemplateError("broken"); }, "Exception:Template-broken", 0x200);
}

TEST(vnBaseError, ReportsAsAMessageThatIsFormattedOnceMore)
{
    Recorder recorder;
    Translator translator;
    vnFatalError("it broke", 3, 0x200).reportError();
    vnWarningError("50%% off", 0, 0x200).reportError();
    vnWarningError("plain", 0, 0).reportError();
    EXPECT_EQ(recorder.take(),
              (Lines{"VantorSDK|5200|it broke", "VantorSDK|4200|50% off", "VantorSDK|4000|VantorSDK:plain"}));
}

TEST(vnBaseError, CallsTheReportFunctionOfItsClass)
{
    Recorder recorder;
    setReportFunction([](const vnFatalError& error) { s_fatal += error.getErrorCode(); });
    vnFatalError fatal("f", 7, 0);
    vnBaseError& base = fatal;
    base.reportError();
    vnWarningError("w", 1, 0x200).reportError();
    setReportFunction(vnDefaultFatalHandler);
    EXPECT_EQ(s_fatal, 7u);
    EXPECT_EQ(recorder.take(), (Lines{"VantorSDK|4200|w"}));
}
