// SPDX-License-Identifier: MIT
#include <vnBase/vnProgramExecution.h>

#include <vnBase/vnMessage.h>

#include <cstdio>
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
    catch (const std::bad_alloc&)
    {
        // There is no memory for the report either. The stream is unbuffered and takes none.
        std::fputs("Out Of Memory [bad_alloc]\n", stderr);
    }
}

void vnExecuteProgram(vnProgramExecution* program)
{
    if (program)
        program->checkBaseExceptions();
}
