// SPDX-License-Identifier: MIT
#include "core/vnKeyLocalRegistry.h"

#include <vnBase/vnRefPointer.h>
#include <vnBase/vnSerializeAdapter.h>
#include <vnBase/vnXmlDom.h>

namespace
{
// Documents of settings are small; others end with an error.
constexpr unsigned int maxDocumentSize = 16 << 20;
constexpr unsigned int maxIdleNotifications = 1000;

// The text of an item when it is of the class `Item` itself.
template <class Item>
bool takeText(vnXmlItem& item, vnString& value)
{
    if (!item.isExactType(Item::getClassType()))
        return false;
    value = static_cast<Item&>(item).getData();
    return true;
}

// Keys never look at attributes. To set one would tell of each percent sign that begins no right format.
class SettingsDocument : public vnXmlDom
{
public:
    unsigned char onAttribute(const vnString&, const vnString&, unsigned int) override { return 1; }
};
} // namespace

class vnKeyLocalRegistry : public vnSharedMemory
{
public:
    vnRefPointer<vnXmlDom> document{new SettingsDocument};
};

void vnDropKeyLocalRegistry::operator()(vnKeyLocalRegistry* registry) const
{
    delete registry;
}

vnKeyLocalRegistryPointer vnReadKeyLocalRegistry(const vnString& url)
{
    const vnRefPointer<vnSerializeAdapter> adapter(
        vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT, VN_ADAPTER_SILENT));
    if (!adapter)
        return nullptr;
    vnKeyLocalRegistryPointer registry(new vnKeyLocalRegistry);
    vnXmlDom& document = *registry->document;
    document.useProgress(0);
    // What a document includes could look keys up in the registry that it is to become part of.
    document.setReadIncludedXml(0);
    document.setMaxDocumentSize(maxDocumentSize);
    document.setMaxIdleNotifications(maxIdleNotifications);
    document.read(adapter.get());
    document.setAdapter(nullptr);
    return document.hasError() ? nullptr : std::move(registry);
}

bool vnFindInKeyLocalRegistry(vnKeyLocalRegistry& registry, const vnString& path, vnKeyLocalText kind,
                              vnString& value)
{
    vnXmlItem* item = registry.document->findItem(path);
    if (!item)
        return false;
    return kind == VN_KEY_LOCAL_CHAR_DATA ? takeText<vnXmlCharData>(*item, value)
                                          : takeText<vnXmlCDATA>(*item, value);
}
