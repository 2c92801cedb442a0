// SPDX-License-Identifier: MIT
#include "vnArguments.h"
#include "vnTool.h"

#include <vnBase/vnKeyDatabase.h>
#include <vnBase/vnSystem.h>

#include <cerrno>

// The command that reads and changes settings.

namespace
{
struct Request
{
    unsigned char isMachine;
    vnString password;
    std::string key;
    std::string value;
};

std::string textOf(const vnString& text)
{
    return std::string(text.getString(), text.length());
}

vnRegKeyHeader rootOf(const Request& request)
{
    return request.isMachine ? VN_REG_KEY_MACHINE : VN_REG_KEY_USER;
}

// Called right after the call that failed.
std::string reason()
{
    switch (const int error = vnGetSysError())
    {
    case EILSEQ:
        return "the password would spoil the name or the value";
    case EBADMSG:
        return "the file of the settings is damaged";
    default:
        return textOf(vnGetSysErrorDescription(error));
    }
}

// What can't be read would pass for a file without settings.
void check(vnRegKeyHeader root)
{
    vnString file;
    if (vnKeyDatabase::checkStoredKeys(root, &file))
        return;
    const std::string why = reason();
    throw vnFailure("can't read '" + textOf(file) + "': " + why);
}

void get(const Request& request)
{
    const vnString key(request.key.c_str());
    const bool isThere = request.isMachine ? vnKeyDatabase::existGlobalKey(key, request.password)
                                           : vnKeyDatabase::existUserKey(key, request.password);
    if (!isThere)
    {
        check(rootOf(request));
        check(VN_REG_KEY_MACHINE);
        throw vnFailure("there is no key '" + request.key + "'");
    }
    vnWriteLine(textOf(request.isMachine ? vnKeyDatabase::getGlobalKey(key, request.password)
                                         : vnKeyDatabase::getUserKey(key, request.password)));
}

void set(const Request& request)
{
    // The library stores them as unnamed values, which a list can't show.
    if (request.key.empty() || request.key.back() == '/' || request.key.back() == '\\')
        throw vnUsageError("the key '" + request.key + "' ends without a name");
    const vnString key(request.key.c_str());
    const vnString value(request.value.c_str());
    const bool isSet = request.isMachine ? vnKeyDatabase::setGlobalKey(key, value, request.password)
                                         : vnKeyDatabase::setUserKey(key, value, request.password);
    if (!isSet)
        throw vnFailure("can't set '" + request.key + "': " + reason());
}

void remove(const Request& request)
{
    const vnString key(request.key.c_str());
    const bool isRemoved = request.isMachine ? vnKeyDatabase::removeGlobalKey(key, request.password)
                                             : vnKeyDatabase::removeUserKey(key, request.password);
    if (isRemoved)
        return;
    if (vnGetSysError() == ENOENT)
        throw vnFailure("there is no key '" + request.key + "' to remove");
    throw vnFailure("can't remove '" + request.key + "': " + reason());
}

void list(const Request& request)
{
    check(rootOf(request));
    for (vnRegKeyPlace& place : vnKeyDatabase::getStoredKeys(rootOf(request), request.key.c_str()))
    {
        if (!request.password.isEmpty())
            place.name.scramble(request.password.hash());
        const std::string folder = textOf(place.key.convertCtrlToText());
        vnWriteLine((folder.empty() ? folder : folder + "/") + textOf(place.name.convertCtrlToText()));
    }
}

struct Action
{
    const char* name;
    void (*run)(const Request& request);
    std::size_t leastOperands;
    std::size_t mostOperands;
};

constexpr Action actions[] = {
    {"get", get, 1, 1},
    {"set", set, 2, 2},
    {"remove", remove, 1, 1},
    {"list", list, 0, 1},
};
} // namespace

void vnRunKey(vnArguments& arguments)
{
    Request request;
    request.isMachine = arguments.takeFlag("--machine");
    request.password = arguments.takeText("--password").c_str();
    std::vector<std::string> words = arguments.takeOperands(1, 3);
    for (const Action& action : actions)
    {
        if (words[0] != action.name)
            continue;
        if (words.size() - 1 < action.leastOperands)
            throw vnUsageError("too few arguments");
        if (words.size() - 1 > action.mostOperands)
            throw vnUsageError("too many arguments");
        words.resize(3);
        request.key = words[1];
        request.value = words[2];
        action.run(request);
        return;
    }
    throw vnUsageError("'" + words[0] + "' is nothing to do with keys");
}
