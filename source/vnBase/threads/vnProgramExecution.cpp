// SPDX-License-Identifier: MIT
#include <vnBase/vnProgramExecution.h>

#include <vnBase/vnMessage.h>

#include <new>

vnProgramExecution::~vnProgramExecution() noexcept(false) = default;

void vnProgramExecution::onCrash(vnStackInfo*) {}

void vnProgramExecution::onBaseException(const vnBaseError& error)
{
    vnMessage::message(VN_MESSAGE_FATAL | error.getMessageEncoding() | VN_MESSAGE_FINAL,
                       error.getErrorString().getString());
}

void vnProgramExecution::checkBaseExceptions()
{
    try
    {
        onProgramExecution();
    }
    catch (const vnBaseError& error)
    {
        onBaseException(error);
    }
    catch (const std::bad_alloc&)
    {
        onBaseException(vnFatalError("Out Of Memory [bad_alloc]", 0, 0));
    }
}

void vnExecuteProgram(vnProgramExecution* program)
{
    if (program)
        program->checkBaseExceptions();
}
