// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

// What the commands of the program share: how they are described, how they end, where their results go.

class vnArguments;

/// Wrong usage: ends the program with exit code 2 and the usage of its command.
class vnUsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Work that could not be done: ends the program with exit code 1 and one line that says what and why.
class vnFailure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

struct vnCommand
{
    const char* name;
    const char* arguments; // as the usage line shows them
    const char* summary;   // one line
    const char* details;   // what `vn help COMMAND` adds
    void (*run)(vnArguments& arguments);
};

/// Every command, in the order of the help.
const std::vector<vnCommand>& vnCommands();

/// Writes a result to standard output; throws `vnFailure` when that fails.
void vnWriteResult(const void* data, std::size_t size);

/// Puts the results out; throws `vnFailure` when that fails.
void vnFlushResults();

/// A line of results.
void vnWriteLine(const std::string& text);

void vnRunCat(vnArguments& arguments);
void vnRunCopy(vnArguments& arguments);
void vnRunDecode(vnArguments& arguments);
void vnRunEncode(vnArguments& arguments);
void vnRunFormat(vnArguments& arguments);
void vnRunJson(vnArguments& arguments);
void vnRunKey(vnArguments& arguments);
void vnRunMatch(vnArguments& arguments);
void vnRunObjects(vnArguments& arguments);
void vnRunScan(vnArguments& arguments);
void vnRunTokens(vnArguments& arguments);
void vnRunUrl(vnArguments& arguments);
void vnRunValue(vnArguments& arguments);
void vnRunWords(vnArguments& arguments);
void vnRunXml(vnArguments& arguments);
