// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnBaseError.h>

class vnStackInfo;

/// A unit of execution that runs under the guard of `vnExecuteProgram`: errors that escape it end the unit
/// and not the process.
class VN_BASE_API vnProgramExecution
{
public:
    virtual ~vnProgramExecution() noexcept(false);

    /// What is executed.
    virtual void onProgramExecution() = 0;

    /// Told about a processor fault on the thread that runs the unit.
    virtual void onCrash(vnStackInfo* stackInfo);

    /// Told about an error that escaped `onProgramExecution()`; exhausted memory arrives as the text "Out Of
    /// Memory [bad_alloc]". Posts a Fatal message.
    virtual void onBaseException(const vnBaseError& error);

    /// Calls `onProgramExecution()` and hands a `vnBaseError` or exhausted memory that escapes it to
    /// `onBaseException()`. Other exceptions pass.
    void checkBaseExceptions();
};

/// Runs `program` on the calling thread, under the guard. The object may be gone when it returns.
VN_BASE_API void vnExecuteProgram(vnProgramExecution* program);
