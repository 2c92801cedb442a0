// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnGUID.h>
#include <vnBase/vnRefData.h>
#include <vnBase/vnRefDict.h>

/// Names for URLs that stay when the URL changes: a table of the process from GUIDs to URLs. Where a URL is
/// expected, a GUID in braces can stand, and is replaced by what was entered here.
///
///     vnGuidStringDict::enter(id, "file:///data/models/car.vn");
///     vnString url = vnGuidStringDict::lookup("{6BA7B810-9DAD-11D1-80B4-00C04FD430C8}");
///
/// Thread-safety: any thread; one lock guards the table.
class VN_BASE_API vnGuidStringDict : public vnReference
{
public:
    VN_TYPE(vnGuidStringDict)

    /// Answers 0: there is one table.
    unsigned char useDeepCopy() override { return 0; }

    /// The URL of the GUID with this text, in digits of either case. Empty when there is none and when the
    /// text is no GUID; neither is reported, since any text in braces is tried.
    static vnString lookup(const vnString& guid);
    static vnString lookup(const vnGUID& guid);

    /// Enters a URL in place of an earlier one; an empty URL removes the entry.
    static void enter(const vnGUID& guid, const vnString& url);

    /// Removes the entry and answers whether there was one.
    static unsigned char remove(const vnGUID& guid);

private:
    using Url = vnRefData<vnString>;

    vnGuidStringDict() = default;
    static vnGuidStringDict* getInstance();

    vnMutex m_mutex; // guards the field below
    vnRefDict<vnGUID, Url> m_urls;
};
