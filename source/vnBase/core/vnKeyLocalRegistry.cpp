// SPDX-License-Identifier: MIT
#include "core/vnKeyLocalRegistry.h"
class vnKeyLocalRegistry
{
};
void vnDropKeyLocalRegistry::operator()(vnKeyLocalRegistry* registry) const
{
    delete registry;
}
vnKeyLocalRegistryPointer vnReadKeyLocalRegistry(const vnString&)
{
    return nullptr;
}
bool vnFindInKeyLocalRegistry(vnKeyLocalRegistry&, const vnString&, vnKeyLocalText, vnString&)
{
    return false;
}
