// SPDX-License-Identifier: MIT
#pragma once

#include "core/vnKeyDocument.h"
#include "core/vnKeyPlatform.h"

/// The settings that are stored, as they were read last.
///
/// Thread-safety: none.
class vnKeyCache
{
public:
    /// The settings of a root as its file has them now; none when it is missing or can't be read.
    const vnKeyDocument& get(vnRegKeyHeader root);

private:
    struct Known
    {
        vnString file;
        vnKeyFileIdentity identity;
        vnKeyDocument document;
    };

    Known m_known[3];
};

/// Reads the settings of a root past all caches. Answers false, with a system error, when the file is there
/// and can't be read or is no document of settings; a missing one has no settings.
bool vnReadKeyStore(const vnString& file, vnKeyDocument& document, vnKeyFileIdentity& identity);

/// Makes the text the value of a stored setting, or with null removes it, and returns when that can't be lost
/// any more. Answers false, with a system error, when it can't, and for removing what is not there; stored
/// is then what was before, unless only the last step failed: a change that is made and may be lost when the
/// system crashes. Any thread may call it; it takes turns with others in all processes, and holds
/// readers up by nothing.
bool vnChangeKeyStore(vnRegKeyHeader root, const vnString& key, const vnString& name, const vnString* value);
