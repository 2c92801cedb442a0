// SPDX-License-Identifier: MIT
#include <dynamic/vnObjectParts.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnProgress.h>
#include <vnBase/vnTime.h>

#include <dynamic/vnDynamicBytes.h>
#include <serialize/vnAdapterError.h>

#include <algorithm>
#include <utility>

// Records of objects: sizing, writing and reading them.

vnType vnAdapterSharedData::s_type(vnReference::getClassType(), "vnAdapterSharedData");

namespace
{
constexpr double VN_REPORT_SECONDS = 0.2;
constexpr vnUInt64 VN_ADAPTER_NO_PROGRESS = 0x8;

// Instances below this may come in any order, since a reader may begin in the middle of a stream. The table
// takes 16 bytes for each.
constexpr unsigned int VN_FREE_INSTANCES = 65536;

// A source that does not know its length is asked for this much at most to see whether a record is whole.
constexpr unsigned int VN_LARGEST_PROBE = 16777216;
constexpr unsigned int VN_EAT_BLOCK = 4096;

// What was skipped, whose records have ids as well. It stands in the table of the adapter's objects under the
// address of its type.
class SkippedRecords : public vnReference
{
public:
    VN_TYPE(SkippedRecords)

    // Whether so many records may have been among the bytes. They are used up by that.
    bool hold(vnUInt64 count) noexcept
    {
        if (count > bytes / vnObjectHeadSize)
            return false;
        bytes -= count * vnObjectHeadSize;
        return true;
    }

    vnUInt64 bytes = 0;
};

vnType SkippedRecords::s_type(vnReference::getClassType(), "vnSkippedRecords");

// Big-endian, unlike all the rest of objects on streams; peers rely on both.
unsigned int bigEndian(const unsigned char* bytes) noexcept
{
    return __builtin_bswap32(vnDynamicBytes::get<unsigned int>(bytes));
}

unsigned char* putBigEndian(unsigned char* to, unsigned int value) noexcept
{
    return vnDynamicBytes::put(to, __builtin_bswap32(value));
}

void writeHead(vnSerializeAdapter* adapter, unsigned int id, unsigned int size, unsigned int instance)
{
    unsigned char head[vnObjectHeadSize];
    putBigEndian(putBigEndian(putBigEndian(head, id), size), instance);
    adapter->write(head, sizeof head);
}

bool isSilent(const vnSerializeAdapter* adapter) noexcept
{
    return adapter->getAdapterFlags() & VN_ADAPTER_SILENT;
}

vnUInt64 percentOf(vnInt64 part, vnUInt64 total) noexcept
{
    return part > 0 ? static_cast<vnUInt64>(part) * 100 / total : 0;
}

// The record hangs on the adapter, where the objects inside find it.
void reportProgress(vnSerializeAdapter* adapter, unsigned int total, const vnString& text, bool isReading)
{
    vnReference* data = adapter->getAssociatedData();
    if (!data && total && !text.isEmpty() && !(adapter->getAdapterFlags() & VN_ADAPTER_NO_PROGRESS))
    {
        vnRefPointer<vnSerializeAdapterProgressInfo> fresh(new vnSerializeAdapterProgressInfo);
        fresh->setBanner(text);
        fresh->setTotalLength(total);
        fresh->setTime(vnTime::systemSeconds() - 2 * VN_REPORT_SECONDS); // the first call reports
        adapter->setAssociatedData(fresh);
        data = fresh;
    }
    if (!data || !data->isOfType(vnSerializeAdapterProgressInfo::getClassType()))
        return;
    auto* info = static_cast<vnSerializeAdapterProgressInfo*>(data);
    const double now = vnTime::systemSeconds();
    if (now - info->getTime() < VN_REPORT_SECONDS || info->getTotalLength() == 0)
        return;
    info->setTime(now);
    const vnInt64 length = adapter->length();
    const vnInt64 done = isReading ? static_cast<vnInt64>(info->getTotalLength()) - length : length;
    const vnUInt64 percent = std::min<vnUInt64>(percentOf(done, info->getTotalLength()), 255);
    vnProgress::progress(static_cast<unsigned char>(percent), info->getBanner().getString());
}

vnInstanceCompareInterface keyOf(const vnObject* object) noexcept
{
    return vnInstanceCompareInterface(object);
}

vnAdapterSharedData* findRecord(const vnObject* object, vnSerializeAdapter* adapter)
{
    vnReference* found = adapter->getRefInstanceDictionary().find(keyOf(object));
    const bool isRecord = found && found->isExactType(vnAdapterSharedData::getClassType());
    return isRecord ? static_cast<vnAdapterSharedData*>(found) : nullptr;
}

void setSize(vnAdapterSharedData& record, const vnObject* object, vnSerializeAdapter* adapter)
{
    const std::size_t size = object->getDataSize(adapter);
    record.setChunkSize(vnCheckedSize(size + vnObjectHeadSize));
}

// A sizing that failed leaves records whose sizes count on others that are not there.
void forgetUnwritten(vnRefInstanceDictionary& records)
{
    for (auto entry = records.begin(); entry.isValid();)
    {
        const vnReference* data = entry.getValue();
        const bool isRecord = data && data->isExactType(vnAdapterSharedData::getClassType());
        if (isRecord && !static_cast<const vnAdapterSharedData*>(data)->isWritten())
            entry.remove();
        else
            ++entry;
    }
}

// The size is found with the record in the table, so that objects that lead back to this one count it as a
// reference. It is found once: later the objects inside have records as well, and would count as references.
vnRefPointer<vnAdapterSharedData> createRecord(vnObject* object, vnSerializeAdapter* adapter, bool isShared)
{
    vnRefPointer<vnAdapterSharedData> record(new vnAdapterSharedData(object));
    vnObjectScope scope(adapter, object);
    scope.testDepth();
    if (isShared)
        adapter->getRefInstanceDictionary().enter(keyOf(object), record);
    try
    {
        setSize(*record, object, adapter);
    }
    catch (...)
    {
        if (scope.isOutermost())
            forgetUnwritten(adapter->getRefInstanceDictionary());
        throw;
    }
    return record;
}

[[noreturn]] void failCorrupt(vnSerializeAdapter* adapter)
{
    const vnString text = vnString::formatString(vnTranslated("Corrupt Stream in %s!!"), adapter->getURL());
    adapter->setError(text);
    if (!isSilent(adapter))
        vnMessage::message(VN_MESSAGE_WARNING | VN_MESSAGE_UNTRANSLATED, "%s", text);
    vnExceptionThrows::vnThrowFatal(VN_MESSAGE_UNTRANSLATED, "%s", text);
}

unsigned int readWord(vnSerializeAdapter* adapter)
{
    unsigned char bytes[sizeof(unsigned int)];
    if (adapter->read(bytes, sizeof bytes) < sizeof bytes)
        vnFailObject(adapter, "Object ends within its head");
    return bigEndian(bytes);
}

SkippedRecords* skippedRecords(vnSerializeAdapter* adapter)
{
    return static_cast<SkippedRecords*>(
        adapter->getRefInstanceDictionary().find(vnInstanceCompareInterface(&SkippedRecords::s_type)));
}

void countSkipped(vnSerializeAdapter* adapter, unsigned int bytes)
{
    SkippedRecords* skipped = skippedRecords(adapter);
    if (!skipped)
    {
        vnRefPointer<SkippedRecords> fresh(new SkippedRecords);
        adapter->getRefInstanceDictionary().enter(vnInstanceCompareInterface(&SkippedRecords::s_type), fresh);
        skipped = fresh;
    }
    skipped->bytes += bytes;
}

// Ids are given out in the order of the records, so that one which leaves out more than was skipped is a lie.
bool isPossible(vnSerializeAdapter* adapter, unsigned int index, unsigned int known)
{
    if (index <= known || index < VN_FREE_INSTANCES)
        return true;
    SkippedRecords* skipped = skippedRecords(adapter);
    return skipped && skipped->hold(index - known);
}

vnRefPointer<vnReference>& instanceAt(vnSerializeAdapter* adapter, unsigned int index)
{
    vnRefInstanceArray& instances = adapter->getRefInstanceArray();
    if (index < instances.getSize())
        return instances[index];
    if (!isPossible(adapter, index, instances.getSize()))
        failCorrupt(adapter);
    instances.setChunkSize(std::max(instances.getChunkSize(), instances.getSize() / 2));
    return instances[index];
}

vnObject* readReference(vnSerializeAdapter* adapter)
{
    vnReference* found = instanceAt(adapter, readWord(adapter)).get();
    return found && found->isOfType(vnObject::getClassType()) ? static_cast<vnObject*>(found) : nullptr;
}

// An object on whose reading the thread still is must not leave the table, which holds it.
void testNotBeingRead(vnSerializeAdapter* adapter, const vnReference* object)
{
    for (const vnObjectScope* scope = vnObjectScope::getTop(); scope; scope = scope->getOuter())
        if (scope->getObject() == object)
            failCorrupt(adapter);
}

// In blocks and no further than the data go, whatever the size claims.
unsigned int discard(vnSerializeAdapter* adapter, unsigned int size)
{
    unsigned char block[VN_EAT_BLOCK];
    unsigned int done = 0;
    while (done < size)
    {
        const unsigned int step = std::min(size - done, VN_EAT_BLOCK);
        const unsigned int got = adapter->read(block, step);
        done += got;
        if (got < step)
            break;
    }
    return done;
}

// What is left of a record that is cut goes with it: who reads on in spite of the error finds the end.
void testWhole(vnSerializeAdapter* adapter, unsigned int bodySize)
{
    if (bodySize == 0 || bodySize > VN_LARGEST_PROBE || adapter->hasData(bodySize))
        return;
    discard(adapter, bodySize);
    vnFailObject(adapter, "Object ends within its body");
}

// The object stands in the table before its body is read, so that a circle back to it closes.
vnObject* readBody(vnSerializeAdapter* adapter, vnObjectScope& scope, vnObject* object,
                   unsigned int chunkSize)
{
    const vnRefPointer<vnObject> held(object);
    const unsigned int index = readWord(adapter);
    {
        vnRefPointer<vnReference>& place = instanceAt(adapter, index);
        if (place)
            testNotBeingRead(adapter, place);
        place = object;
    }
    scope.setObject(object);
    try
    {
        testWhole(adapter, chunkSize - vnObjectHeadSize);
        object->read(adapter);
        if (adapter->hasError())
            vnFailObject(adapter, "Object ends within its body");
    }
    catch (...)
    {
        vnRefInstanceArray& instances = adapter->getRefInstanceArray();
        if (index < instances.getSize() && instances[index].get() == object)
            instances[index] = nullptr;
        throw;
    }
    return object;
}

// The record from its instance on.
void eat(vnSerializeAdapter* adapter, unsigned int size)
{
    const unsigned int done = discard(adapter, size);
    countSkipped(adapter, done + 8);
    if (!isSilent(adapter))
        vnMessage::message(VN_MESSAGE_WARNING, "Eater:%d", done);
    if (done < size)
        vnFailObject(adapter, "Object ends within its body");
}

vnObject* readRecord(vnSerializeAdapter* adapter, vnObjectScope& scope, unsigned char eatUnknown)
{
    const unsigned int id = readWord(adapter);
    if (id == 0)
        return nullptr;
    const unsigned int chunkSize = readWord(adapter);
    if (chunkSize < vnObjectHeadSize)
        failCorrupt(adapter);
    if (id == vnReferenceMark)
        return readReference(adapter);
    if (scope.isTooDeep())
        vnFailObject(adapter, "Objects are nested too deep");
    if (vnObject* object = vnCreateFactoryObject(id, isSilent(adapter)))
        return readBody(adapter, scope, object, chunkSize);
    scope.noteUnknown(id);
    if (eatUnknown)
        eat(adapter, chunkSize - 8);
    return nullptr;
}
} // namespace

vnAdapterSharedData::vnAdapterSharedData(vnObject* object)
    : m_object(object && object->getRef() ? object : nullptr)
{
}

vnAdapterSharedData::~vnAdapterSharedData() noexcept(false) = default;

unsigned int vnObject::getChunkSize(vnObject* object, vnSerializeAdapter* adapter)
{
    if (!object)
        return sizeof(unsigned int);
    if (!adapter)
    {
        const vnObjectScope scope(nullptr, object);
        scope.testDepth();
        return object->getDataSize(nullptr);
    }
    if (findRecord(object, adapter))
        return vnObjectHeadSize;
    return createRecord(object, adapter, true)->getChunkSize();
}

void vnObject::writeObject(vnObject* object, vnSerializeAdapter* adapter, unsigned int totalSize,
                           const vnString& progressText, unsigned char shareInstances)
{
    reportProgress(adapter, totalSize, progressText, false);
    if (!object)
    {
        constexpr unsigned char null[sizeof(unsigned int)] = {};
        adapter->write(null, sizeof null);
        return;
    }
    vnRefPointer<vnAdapterSharedData> record(findRecord(object, adapter));
    if (!record)
        record = createRecord(object, adapter, shareInstances);
    if (record->isWritten())
    {
        writeHead(adapter, vnReferenceMark, vnObjectHeadSize, record->getInstanceID());
        return;
    }
    const vnObjectScope scope(adapter, object);
    scope.testDepth();
    record->setInstanceID(adapter->getNewSharedInstanceID());
    record->setWritten(1);
    writeHead(adapter, vnFactoryIdentifier(object->getType()), record->getChunkSize(),
              record->getInstanceID());
    object->write(adapter);
}

vnObject* vnObject::readObject(vnSerializeAdapter* adapter, unsigned int totalSize,
                               const vnString& progressText, unsigned char eatUnknown)
{
    reportProgress(adapter, totalSize, progressText, true);
    vnObjectScope scope(adapter, nullptr);
    scope.beginRead();
    vnObject* object = nullptr;
    try
    {
        object = readRecord(adapter, scope, eatUnknown);
    }
    catch (const vnWarningError&)
    {
        if (!scope.isOutermost() || !adapter->hasError())
            throw;
    }
    scope.endRead();
    return object;
}
