// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnArray.h>
#include <vnBase/vnString.h>

class vnKeyLocalRegistry;

/// The root that a key stands below.
enum vnRegKeyHeader : unsigned int
{
    VN_REG_KEY_MACHINE = 0, ///< settings of all users
    VN_REG_KEY_USER = 1,    ///< settings of the user whom the program runs for
    VN_REG_KEY_CLASSES = 2  ///< what kinds of files and objects there are, for all users
};

/// The place of one stored value.
struct vnRegKeyPlace
{
    vnString key;
    vnString name;
};

/// The settings: named texts below keys of words with slashes between them, which outlive the program.
///
///     vnKeyDatabase::setUserKey("viewer/window/width", "640");
///     vnString width = vnKeyDatabase::getDefaultUserKey("viewer/window/width", "800");
///
/// A value is looked for in the local registry, an XML document that a program may bring along, then in the
/// system registry: files in /etc/vantorsdk for the machine and the classes, or in the folder that the
/// environment variable VANTOR_SYSTEM_STORE names, and in $XDG_CONFIG_HOME/vantorsdk (~/.config/vantorsdk)
/// for the user. Values are written to the system registry alone. A user key without a slash, asked for
/// without a password, is looked for in the environment before anything else.
///
/// In keys a backslash counts as a slash; slashes at both ends and several in a row are no more than one.
/// Keys and names are compared byte by byte. At the levels of the user and of the machine (global), the name
/// is what stands behind the last slash of the key; a key without a slash is the name of a value below the
/// default key header.
///
/// Names and values may hold any bytes. With a password both are scrambled, which hides them from a glance:
/// read with another password the value is not found or is garbage. Names and values that would not come back
/// are refused: those that are no UTF-8, that hold characters above U+FFFF, or that get longer than a string.
///
/// Nothing here posts messages: a value that is not there, or can't be read, is empty, and what can't be done
/// answers 0, with the reason as the last error of the calling thread (`vnGetSysErrorDescription()`). A
/// damaged file reads as one without settings and is not replaced (EBADMSG). One file holds 16 MiB at most.
///
/// Thread-safety: any thread and any process at once. Reading takes one lock of the process for a moment and
/// sees what anybody has set. Setting and removing take turns between all processes: after five seconds
/// without its turn a call fails. A program that is killed meanwhile leaves the old settings or the new ones.
class VN_BASE_API vnKeyDatabase
{
public:
    vnKeyDatabase() = delete;

    static vnString getRegKey(vnRegKeyHeader header, vnString key, const vnString& name);
    static unsigned char existRegKey(vnRegKeyHeader header, vnString key, const vnString& name);

    /// Answers 1 when the value is stored and neither a crash of the program nor of the system can undo it; 0
    /// also when it is stored and a crash of the system might undo it, since its folder can't be read.
    /// While the system registry is disabled nothing can be set: the local registry is only read.
    static unsigned char setRegKey(vnRegKeyHeader header, vnString key, const vnString& name,
                                   const vnString& value);

    /// Answers 0 also when there is nothing to remove.
    static unsigned char removeRegKey(vnRegKeyHeader header, vnString key, const vnString& name);
    static vnString getDefaultRegKey(vnRegKeyHeader header, vnString key, const vnString& name,
                                     const vnString& defaultValue);

    /// The places of all values that are stored in the system registry below the key, and in it, in the order
    /// of the bytes of keys, then names. Those with a password are as scrambled as they are stored.
    static vnArray<vnRegKeyPlace> getStoredKeys(vnRegKeyHeader header, vnString key);

    /// Reads the file of the system registry for this root and answers 0 when it is there and can't be read
    /// or is damaged, so that it counts as empty. `file`, if not null, gets its name: empty when the user has
    /// no place for one.
    static unsigned char checkStoredKeys(vnRegKeyHeader header, vnString* file = nullptr);

    /// With `storedOnly` the local registry is left out.
    static vnString getGlobalKey(vnString key, const vnString& password = vnString(),
                                 unsigned char storedOnly = 0);
    static unsigned char existGlobalKey(vnString key, const vnString& password = vnString(),
                                        unsigned char storedOnly = 0);
    static unsigned char setGlobalKey(vnString key, vnString value, const vnString& password = vnString());
    static unsigned char removeGlobalKey(vnString key, const vnString& password = vnString());
    static vnString getDefaultGlobalKey(vnString key, const vnString& defaultValue,
                                        const vnString& password = vnString(), unsigned char storedOnly = 0);

    /// A key that the user has not, also not in the environment, is the global key of that name, unless
    /// `userOnly` is set. With `storedOnly` the environment and the local registry are left out. A variable
    /// of the environment that is too long for a string counts as empty.
    static vnString getUserKey(vnString key, const vnString& password = vnString(),
                               unsigned char userOnly = 0, unsigned char storedOnly = 0);
    static unsigned char existUserKey(vnString key, const vnString& password = vnString(),
                                      unsigned char userOnly = 0, unsigned char storedOnly = 0);

    /// The environment stays as it is, and goes on to hide the key if it has it.
    static unsigned char setUserKey(vnString key, vnString value, const vnString& password = vnString());
    static unsigned char removeUserKey(vnString key, const vnString& password = vnString());
    static vnString getDefaultUserKey(vnString key, const vnString& defaultValue,
                                      const vnString& password = vnString(), unsigned char userOnly = 0,
                                      unsigned char storedOnly = 0);

    /// Drops the local registry and reads another from a URL, without documents that it includes; an empty
    /// URL brings none. Answers 0, and there is none, when it can't be opened or has a fault.
    ///
    /// In the document an element stands for each word of a key and one for the name, which has the value as
    /// its text or CDATA section. The begin of a key that equals the default key header, less "/VantorSDK" at
    /// the end of that, is left out:
    ///
    ///     <VantorSDK><VANTOR_PATH>/opt/models</VANTOR_PATH></VantorSDK>
    static unsigned char setLocalRegistry(const vnString& url);

    /// Empty while there is none.
    static vnString getLocalRegistryURL();

    /// The URL of the local registry that is read, if it is there, when a key is first looked up and none was
    /// set before. It starts as "/usr/local/vantorsdk/vantorsdk.reg". While it is read the thread finds keys
    /// in the system registry.
    static vnString getDefaultRegistry();
    static void setDefaultRegistry(const vnString& url);

    /// Where values of keys without a slash stand. It starts as "software/Norvane Systems/VantorSDK".
    static vnString getDefaultKeyHeader();
    static void setDefaultKeyHeader(const vnString& header);

    /// With 0 keys are found in the local registry and in the environment only.
    static void enableSystemRegistry(unsigned char enabled);
    static unsigned char isSystemRegistryEnabled();

private:
    static bool findLocal(vnKeyLocalRegistry& registry, vnString header, vnString key, const vnString& name,
                          vnString& value);
    static bool find(vnRegKeyHeader header, const vnString& key, const vnString& name,
                     unsigned char storedOnly, vnString& value);
    static bool findBelow(vnRegKeyHeader header, const vnString& key, const vnString& password,
                          unsigned char storedOnly, vnString& value);
    static bool findUser(const vnString& key, const vnString& password, unsigned char userOnly,
                         unsigned char storedOnly, vnString& value);
    static unsigned char setBelow(vnRegKeyHeader header, const vnString& key, vnString& value,
                                  const vnString& password);
    static unsigned char removeBelow(vnRegKeyHeader header, const vnString& key, const vnString& password);

    static constexpr const char* SLASH = "/";
    static constexpr const char* DSLASH = "//";
};

/// The text with its references replaced, as `vnRegKeyExpandParser` does. Up to a reference that is not
/// closed when one is not. Any thread.
VN_BASE_API vnString vnRegKeyExpandedString(const vnString& text);
