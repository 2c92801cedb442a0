# SPDX-License-Identifier: MIT
"""What the library is to reach, as data for run-all.

A goal names a suite, a group and a case of ours in it (the beginnings of their names suffice, "" for the only
or best one), what must hold, and what we aim at. A mark is (factor, case): at most `factor` times the time of
that peer's case, or at least its throughput divided by `factor`. A mark without a case is a plain number in
the unit of the group.
"""

GOALS = (
    ("a.format", "four arguments", "vnString::formatString", [(1.0, "snprintf, then std::string")],
     [(1.0, "fmt::format")]),
    ("a.format", "four arguments", "vnString::formatString", [(0.5, "QString::asprintf"), (0.5, "Poco::format")], []),
    ("a.format", "no float", "vnString::formatString", [(1.0, "snprintf, then std::string")], [(1.0, "fmt::format")]),
    ("a.format", "no float", "vnString::formatString", [(0.5, "QString::asprintf"), (0.5, "Poco::format")], []),

    ("b.string", "construct", "vnString", [(1.3, "std::string")], [(1.0, "QByteArray")]),
    ("b.string", "copy", "vnString", [(1.3, "std::string")], [(1.0, "QByteArray (shared)")]),
    ("b.string", "compare, equal", "vnString ==", [(1.0, "std::string ==")], [(1.0, "QByteArray ==")]),
    ("b.string", "compare, equal", "vnString ==, hashes known", [(1.0, "std::string ==")], [(1.0, "QByteArray ==")]),
    ("b.string", "compare, unequal", "vnString ==", [(1.0, "std::string ==")], [(1.0, "QByteArray ==")]),
    ("b.string", "compare, unequal", "vnString ==, hashes known", [(1.0, "std::string ==")], [(1.0, "QByteArray ==")]),
    ("b.string", "concat", "vnString, operator +", [(1.3, "std::string, operator +")], [(1.0, "QByteArray, operator +")]),
    ("b.string", "append", "vnString", [], [(1.0, "QByteArray")]),
    ("b.string", "hash", "vnString::hash of bytes", [(1.3, "std::hash (Murmur)")], [(1.0, "qHash(QByteArray)")]),
) + tuple(
    ("c.dict", "hash, %s keys: %s" % (size, what), "vnDict", [(1.0, "QHash")] + more, [(1.0, "GHashTable")])
    for size in ("10k", "1M")
    for what, more in (("insert", [(1.0, "Poco::HashMap")]), ("erase", []),
                       ("find, present", [(1.0, "Poco::HashMap")]), ("find, absent", [(1.0, "Poco::HashMap")]),
                       ("iterate", []), ("heap bytes", []))
) + (
    ("d.refcount", "copy + drop a reference", "vnRefPointer", [(0.5, "Poco::AutoPtr")], [(1.0, "")]),
    ("d.refcount", "copy + drop a reference", "vnRefPointer, final class", [(0.5, "Poco::AutoPtr")], [(1.0, "")]),
    ("d.refcount", "copy + drop a reference", "vnRefPointer, thread-safe", [(1.5, "count under a std::mutex")],
     [(1.2, "count under a std::mutex")]),

    ("e.locks", "recursive mutex lock + unlock", "vnMutex", [(1.3, "pthread recursive")], [(1.1, "pthread recursive")]),
    ("e.locks", "rwlock: read lock + unlock, 1 thread", "vnReadWriteMutex", [(4.0, "QReadWriteLock")],
     [(2.0, "QReadWriteLock")]),
    ("e.locks", "rwlock: read lock + unlock, 2 threads", "vnReadWriteMutex", [(4.0, "QReadWriteLock")],
     [(2.0, "QReadWriteLock")]),
    ("e.locks", "event: wake each other, one processor", "vnEvent", [(1.1, "std::mutex + condition_variable")],
     [(1.0, "std::mutex + condition_variable")]),
    ("e.locks", "event: wake each other, two processors", "vnEvent", [(1.1, "std::mutex + condition_variable")],
     [(1.0, "std::mutex + condition_variable")]),

    ("j.lexer", "tokens of 20 MB", "vnSerializeLex, with values", [(1.0, "Poco"), (1.0, "GScanner"), (69.0, "")],
     [(150.0, "")]),

    ("i.dynamic", "read a big-endian", "vnSerializeBinary", [(1.0, "Poco::BinaryReader")], [(8.7, ""), (1.0, "hand loop")]),
    ("i.dynamic", "make and read a small integer", "vnDynamicType", [(1.0, "Poco::Dynamic::Var")],
     [(1.0, "QVariant")]),
    ("i.dynamic", "make and read a double", "vnDynamicType", [(1.0, "Poco::Dynamic::Var")],
     [(1.0, "QVariant")]),
    ("i.dynamic", "make and read a text of 11 bytes", "vnDynamicType", [(1.0, "Poco::Dynamic::Var")],
     [(1.0, "QVariant (shares")]),
    ("i.dynamic", "make and read a text of 50 bytes", "vnDynamicType", [(1.0, "Poco::Dynamic::Var")],
     [(1.0, "QVariant (shares")]),
    ("i.dynamic", "wire form of mixed values: write", "vnDynamicType", [(1.0, "QVariant by")], [(1.0, "QCborValue")]),
    ("i.dynamic", "wire form of mixed values: read", "vnDynamicType", [(1.0, "QVariant by")], [(1.0, "QCborValue")]),
) + tuple(
    ("i.dynamic", "container of %d attributes: %s" % (size, what), "vnDynamicTypeContainer",
     [(1.0, "QVariantMap")], [(0.5, "QVariantMap")])
    for size in (10, 1000) for what in ("set", "get", "write", "read")
) + tuple(
    ("m.objects", "objects of 5 attributes: %s" % what, "vnObject", [(1.0, "QVariantMap")], [(0.5, "QVariantMap")])
    for what in ("write", "read")
) + tuple(
    ("i.json", "%s %s" % (what, size), "vnJSON", [(1.0, "QJson"), (1.0, "Poco")], [(2.0, "RapidJSON")])
    for what in ("read", "write") for size in ("20 KB", "20 MB")
) + (
    ("m.objects", "channel", "vnObjectSender", [(50.0, "")], [(1.0, "zlib")]),
    ("k.grammar", "HTTP request line", "vnParserFunction", [(3.6, "PCRE2 interpreted"), (1.0, "Xpressive")],
     [(1.0, "PCRE2 interpreted")]),
    ("k.grammar", "nested expression", "vnParserFunction", [(1.68, "PCRE2 interpreted"), (1.0, "Xpressive")],
     [(1.0, "PCRE2 interpreted")]),
    ("k.grammar", "access log", "vnParserFunction, memory", [(20.0, "")], [(60.0, "")]),
    ("k.scan", "\"%l,%l\"", "parse", [(3.0, "sscanf")], [(1.0, "sscanf")]),

    ("l.streams", "read a 100 MB file byte by byte", "vnSerializeAdapterFile read()", [(0.5, "Poco::FileInputStream get()")],
     [(700.0, "")]),
    ("l.streams", "copy a 100 MB file in 64 KB blocks", "vnSerializeAdapterFile", [(1.0, "QFile")],
     [(1.0, "read(2), write(2)")]),
    ("l.streams", "memory stream: read byte", "vnSerializeAdapterMemory read()", [(1.0, "Poco::MemoryInputStream")], []),
    ("l.streams", "memory stream: write byte", "vnSerializeAdapterMemory", [(1.0, "Poco::MemoryOutputStream")], []),
    ("l.streams", "memory stream: read blocks", "vnSerializeAdapterMemory", [(1.0, "Poco::MemoryInputStream")],
     [(1.0, "memcpy")]),
    ("l.streams", "memory stream: write blocks", "vnSerializeAdapterMemory", [(1.0, "Poco::MemoryOutputStream")],
     [(1.0, "memcpy")]),

    ("l.streams", "open by URL, read a byte, close: mem:", "getURLAdapter", [(1.0, "Poco::URIStreamOpener")], [(1000.0, "")]),
    ("l.streams", "open by URL, read a byte, close: file:", "getURLAdapter", [(1.0, "Poco::URIStreamOpener")], []),

    ("m.archive", "deflated members of 64 KB", "vnSerializeAdapterZIP", [(1.111, "minizip, in the order")],
     [(1.0, "minizip, in the order")]),
    ("m.archive", "deflated members of 2 KB", "vnSerializeAdapterZIP", [(1.111, "minizip, in the order")],
     [(1.0, "minizip, in the order")]),
    ("m.archive", "stored members of 64 KB", "vnSerializeAdapterZIP", [(1.111, "minizip, in the order")],
     [(1.0, "minizip, in the order")]),

    ("n.logging", "notification", "vnNotifyMaster", [(200.0, "")], [(100.0, "")]),
    ("n.logging", "a message to a receiver that drops it", "vnMessage", [(300.0, "")], [(150.0, "")]),
    ("n.logging", "a message below the level", "vnMessage", [(10.0, "")], [(2.0, "")]),

    ("o.encode", "base64: encode", "vnSerializeAdapterBase64Encoder", [(0.5, "Poco::Base64Encoder")], [(1.0, "g_base64_encode_step")]),
    ("o.encode", "base64: decode", "vnSerializeAdapterBase64Encoder", [(0.5, "Poco::Base64Decoder")], [(1.0, "g_base64_decode_step")]),
    ("o.encode", "hexadecimal: encode", "vnSerializeAdapterBCDEncoder", [(300.0, "")], [(1000.0, "")]),
    ("o.encode", "hexadecimal: decode", "vnSerializeAdapterBCDEncoder", [(300.0, "")], [(1000.0, "")]),
    ("o.encode", "scrambler: write", "vnSerializeAdapterEncoder", [(150.0, "")], []),
    ("o.encode", "scrambler: read", "vnSerializeAdapterEncoder", [(150.0, "")], []),
    ("o.encode", "zlib: compress blocks", "vnCompress", [(1.053, "zlib compress")], [(1.0, "zlib compress")]),
    ("o.encode", "zlib: compress blocks", "vnSerializeAdapterCompress", [(1.053, "zlib compress")], [(1.0, "zlib compress")]),
    ("o.encode", "zlib: uncompress blocks", "vnUnCompress", [(1.053, "zlib uncompress")], [(1.0, "zlib uncompress")]),
    ("o.encode", "zlib: uncompress blocks", "vnSerializeAdapterCompress", [(1.053, "zlib uncompress")], [(1.0, "zlib uncompress")]),

    ("s.xml", "20 MB: read, all notified", "vnXmlSax", [(1.0, "Poco SAXParser"), (1.0, "QXmlStreamReader")], [(1.0, "expat")]),
    ("s.xml", "20 MB: only check", "vnXmlSax", [(250.0, "")], [(1.0, "libxml2")]),
    ("s.xml", "20 KB, a new reader each: read", "vnXmlSax", [(1.0, "Poco SAXParser"), (1.0, "QXmlStreamReader")], [(1.0, "expat")]),
    ("s.xml", "20 KB, a new reader each: only check", "vnXmlSax", [(250.0, "")], [(1.0, "libxml2")]),
    ("s.xml", "write 20 MB", "vnXmlSax", [(1.0, "QXmlStreamWriter"), (1.0, "Poco XMLWriter")], [(500.0, "")]),
    ("s.settings", "read a key", "vnKeyDatabase::getUserKey", [(10.0, "")], [(1.0, "QSettings::sync, value")]),
    ("s.settings", "set a key", "vnKeyDatabase::setUserKey", [(0.1, "")], [(1.0, "QSettings::setValue, sync")]),
    ("s.document", "20 MB: parse", "vnXmlDom", [(1.0, "Poco DOMParser"), (1.0, "QDomDocument")], [(150.0, "")]),
    ("s.document", "20 MB: parse and free", "vnXmlDom", [(1.0, "Poco DOMParser"), (1.0, "QDomDocument")], [(150.0, "")]),
    ("s.document", "20 KB: parse and free", "vnXmlDom", [(1.0, "Poco DOMParser"), (1.0, "QDomDocument")], [(150.0, "")]),
    ("s.document", "heap bytes", "vnXmlDom", [(12.0, ""), (1.0, "QDomDocument")], [(1.0, "Poco DOMParser")]),
    ("s.document", "a path by place", "vnXmlDom", [(1.0, "Poco DOMParser")], [(0.5, "Poco DOMParser")]),
    ("s.document", "a path by attribute", "vnXmlDom", [(1.0, "Poco DOMParser")], [(0.5, "Poco DOMParser")]),
    ("s.document", "a path at any depth", "vnXmlDom", [(1.0, "Poco DOMParser")], [(0.5, "Poco DOMParser")]),

    ("r.words", "20 MB", "vn words", [(1.2, "plain program")], [(1.0, "plain program")]),
    ("r.words", "20 MB", "vn words, 1 thread", [(1.2, "plain program")], [(1.0, "plain program")]),
)
