// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnQueue.h>
#include <vnBase/vnReference.h>
#include <vnBase/vnString.h>

/// A string that is interned from its birth: its text lives once in a table of the process, under a 16-bit
/// id. Copies share the text and allocate nothing, and two interned strings compare by id.
///
///     static const vnUniqueString tag("position");
///     ...
///     if (name == tag) // the first time by text, from then on by id
///
/// Ids are 1 to 65535 and stay for the life of the process; a caller may choose one, so that a protocol can
/// fix it. The ids 1 to 20 belong to the tags and texts of the library, which are in place before any code of
/// a program runs: "str", "void", "num", "ptr", "ref", "error", "llnum", "array", "vec2", "vec3", "vec4",
/// "cont", "chain", "Value not set", "Not implemented", "OK", "Test OK", "Test FAIL", "guid", "ttag".
///
/// A text that is interned under another id already, and an id that is taken by another text, throw
/// `vnFatalError`; so does a full table. The string is unchanged then, but an empty one that asked for an id
/// holds the text "Unique(id)" that was refused.
///
/// Thread-safety: the table may be used from any thread, also while statics are constructed and destroyed.
/// Once the library itself has been unloaded nothing is interned any more, and `makeUnique` answers 0.
class VN_BASE_API vnUniqueString : public vnString
{
public:
    /// A copy of `text`, interned. An empty text with an `id` takes over the text of that id, or "Unique(id)"
    /// when it has none; an empty text without one stays an ordinary string.
    vnUniqueString(const vnString& text, unsigned short id = 0);
    explicit vnUniqueString(unsigned short id);

    /// The lowest id that is free; 65535 when none is.
    static unsigned short getNextFreeId();

    /// 1 when no text has the id. The id 0 is never free.
    static unsigned char isFreeId(unsigned short id);

    /// Gives `text` the text of an id that arrived on a stream and answers 1. An id without a text gets
    /// "Unique(id)", unless such ids are refused: then it answers 0, changes nothing and takes no id.
    static unsigned char getStreamText(unsigned short id, vnString& text);

    /// Whether ids that nobody registered are refused when they arrive on a stream; 0 at the start. For
    /// processes that read streams from outside, whose senders could use up all ids.
    static void setRefuseUnknownIds(unsigned char refuse) noexcept;
    static unsigned char getRefuseUnknownIds() noexcept;

    /// Empties the table. All interned strings dangle after it, so this belongs to the very end of a program,
    /// where it happens by itself; a table made later has the fixed texts again.
    static void cleanAllUniqueId();
};

/// Lets go of the table of interned texts when it dies. The library holds one in a `vnCleanupReference`, so
/// that `cleanUpReferences` reaches the table too.
class VN_BASE_API vnUniqueStringDataCleaner : public vnReference
{
public:
    ~vnUniqueStringDataCleaner() noexcept(false) override;
};

/// Hands out small numbers: 0, 1, 2 and so on, first those that were given back last.
///
/// Thread-safety: none.
class VN_BASE_API vnUniqueIDManager
{
public:
    vnUniqueIDManager();
    virtual ~vnUniqueIDManager() noexcept(false);

    unsigned int allocateID();

    /// Gives an id back; it is the next one to be handed out. It is not checked.
    void freeID(unsigned int id);

private:
    vnQueue<unsigned int> m_free;
    unsigned int m_mark = 0; // ids from here on were never handed out
};
