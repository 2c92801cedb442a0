// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnString.h>

#include <memory>

/// The document of settings that a program has loaded. This is the one place where the settings lean on the
/// XML documents, which lean on nearly all of the library.
class vnKeyLocalRegistry;

struct vnDropKeyLocalRegistry
{
    void operator()(vnKeyLocalRegistry* registry) const;
};
using vnKeyLocalRegistryPointer = std::unique_ptr<vnKeyLocalRegistry, vnDropKeyLocalRegistry>;

/// Null when there is nothing to read or what is read has a fault; no message tells. Must not be called under
/// a lock that looking a key up takes: opening a URL looks keys up.
vnKeyLocalRegistryPointer vnReadKeyLocalRegistry(const vnString& url);

enum vnKeyLocalText
{
    VN_KEY_LOCAL_CHAR_DATA,
    VN_KEY_LOCAL_CDATA
};

/// Answers whether an item of this kind stands at the path. One thread at a time.
bool vnFindInKeyLocalRegistry(vnKeyLocalRegistry& registry, const vnString& path, vnKeyLocalText kind,
                              vnString& value);
