// SPDX-License-Identifier: MIT
#include "core/vnKeyStore.h"

#include <cerrno>
#include <utility>

namespace
{
bool fail(int error)
{
    errno = error;
    return false;
}

// The content of the file after the change. None, with a system error, when there can't be one; none and
// error 0 when the file has it already.
vnArray<unsigned char> changed(const vnKeyDocument& document, const vnString& key, const vnString& name,
                               const vnString* value)
{
    unsigned int index = 0;
    const bool isThere = document.find(key, name, index);
    vnArray<unsigned char> bytes;
    if (value && isThere)
    {
        const vnKeyDocument::Entry entry = document.getEntry(index);
        errno = 0;
        if (entry.type == VN_KEY_VALUE_TEXT && entry.value.asString() == *value)
            return bytes;
    }
    errno = ENOENT;
    if (value)
        bytes = document.createWith(key, name, *value);
    else if (isThere)
        bytes = document.createWithout(index);
    else
        return bytes;
    if (bytes.isEmpty())
        errno = EFBIG;
    return bytes;
}
} // namespace

const vnKeyDocument& vnKeyCache::get(vnRegKeyHeader root)
{
    Known& known = m_known[root];
    const vnString file = vnKeyFileName(root);
    vnKeyFileIdentity identity;
    if (file.isEmpty() || vnIdentifyKeyFile(file, identity) != VN_KEY_FILE_OK)
    {
        known = Known();
        return known.document;
    }
    if (known.identity == identity && known.file == file)
        return known.document;
    Known fresh;
    fresh.file = file;
    // What can't be read is remembered, too: it is looked at again when it is another file.
    vnReadKeyStore(file, fresh.document, fresh.identity);
    known = std::move(fresh);
    return known.document;
}

bool vnReadKeyStore(const vnString& file, vnKeyDocument& document, vnKeyFileIdentity& identity)
{
    vnArray<unsigned char> bytes;
    switch (vnReadKeyFile(file, vnKeyDocument::VN_MAX_SIZE, bytes, identity))
    {
    case VN_KEY_FILE_OK:
        return document.read(std::move(bytes)) || fail(EBADMSG);
    case VN_KEY_FILE_MISSING:
        return true;
    case VN_KEY_FILE_FAILED:
        break;
    }
    return false;
}

bool vnChangeKeyStore(vnRegKeyHeader root, const vnString& key, const vnString& name, const vnString* value)
{
    vnString file = vnKeyFileName(root);
    if (file.isEmpty())
        return fail(ENOENT);
    vnKeyFileIdentity identity;
    if (!value && vnIdentifyKeyFile(file, identity) != VN_KEY_FILE_OK)
        return false; // and no folder is made
    vnKeyFileLock lock(file, root);
    vnKeyDocument document;
    if (!lock.isHeld() || !vnReadKeyStore(file, document, identity))
        return false;
    const vnArray<unsigned char> bytes = changed(document, key, name, value);
    if (bytes.isEmpty() && errno != 0)
        return false;
    if (!bytes.isEmpty() && !vnReplaceKeyFile(file, root, bytes))
        return false;
    // Others may go on: what they write now holds this change, and is settled no sooner.
    lock.release();
    return vnSettleKeyFile(file);
}
