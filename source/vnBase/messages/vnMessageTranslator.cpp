// SPDX-License-Identifier: MIT
#include <vnBase/vnMessage.h>

#include "core/vnEternal.h"

#include <vnBase/vnSemaphore.h>

namespace
{
vnReadWriteMutex& languageMutex()
{
    static vnEternal<vnReadWriteMutex> mutex;
    return mutex.value;
}
} // namespace

vnString vnMessageTranslatorInterface::s_currentLanguage;

vnString vnMessageTranslatorInterface::getCurrentLanguage()
{
    vnBodyReadGuard guard(languageMutex());
    return s_currentLanguage.isEmpty() ? vnString("eng") : s_currentLanguage;
}

void vnMessageTranslatorInterface::setCurrentLanguage(const vnString& language)
{
    vnBodyWriteGuard guard(languageMutex());
    s_currentLanguage = language;
}

void vnMessageTranslatorInterface::useDefaultTranslator(unsigned char enable)
{
    vnMessageTranslatorInterface* translator = vnMessage::getDefaultMessageTranslator();
    if (!translator)
        return;
    if (enable)
        vnMessage::setMessageTranslator(translator);
    else if (vnMessage::getMessageTranslator() == translator)
        vnMessage::setMessageTranslator(nullptr);
}
