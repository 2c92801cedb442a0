// SPDX-License-Identifier: MIT
#include <dynamic/vnObjectParts.h>

#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnProgress.h>
#include <vnBase/vnTime.h>

#include <dynamic/vnDynamicBytes.h>
#include <dynamic/vnStreamEnd.h>
#include <serialize/vnAdapterError.h>
#include <serialize/vnAdapterWindow.h>

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

constexpr unsigned int VN_EAT_BLOCK = 4096;

// Records that were sized and not written, in the table of the adapter's objects under the address of its
// type. The objects are only looked up there.
class SizedRecords : public vnReference
{
public:
    VN_TYPE(SizedRecords)
    vnReference* clone() const override { return new SizedRecords(*this); }

    std::vector<const vnObject*> objects;
};

vnType SizedRecords::s_type(vnReference::getClassType(), "vnSizedRecords");

// The one of the adapter; null when there is none and none is to be made.
SizedRecords* sizedOf(vnSerializeAdapter* adapter, bool isMade)
{
    const vnInstanceCompareInterface key(&SizedRecords::s_type);
    vnReference* found = adapter->getRefInstanceDictionary().find(key);
    if (found || !isMade)
        return static_cast<SizedRecords*>(found);
    const vnRefPointer<SizedRecords> fresh(new SizedRecords);
    adapter->getRefInstanceDictionary().enter(key, fresh);
    return fresh;
}

// Big-endian, unlike all the rest of objects on streams; peers rely on both.
void writeHead(vnSerializeAdapter* adapter, unsigned int id, unsigned int size, unsigned int instance)
{
    unsigned char head[vnObjectHeadSize];
    vnDynamicBytes::putBig(vnDynamicBytes::putBig(vnDynamicBytes::putBig(head, id), size), instance);
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

// What failed leaves records whose sizes count on others that are not there.
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

// Records that were sized outside of any writing count others that were sized before as references, and those
// need not be written first. So what is written without having been sized is sized anew with all that it
// holds. What was sized and written in the same order keeps its sizes.
void forgetSized(vnSerializeAdapter* adapter)
{
    SizedRecords* sized = sizedOf(adapter, false);
    if (!sized)
        return;
    for (const vnObject* object : sized->objects)
    {
        const vnAdapterSharedData* record = findRecord(object, adapter);
        if (record && !record->isWritten())
            adapter->getRefInstanceDictionary().remove(keyOf(object));
    }
    sized->objects.clear();
}

// The size is found with the record in the table, so that objects that lead back to this one count it as a
// reference. It is found once: later the objects inside have records as well, and would count as references.
vnRefPointer<vnAdapterSharedData> createRecord(vnObject* object, vnSerializeAdapter* adapter, bool isShared,
                                               bool isWriting)
{
    vnRefPointer<vnAdapterSharedData> record(new vnAdapterSharedData(object));
    vnObjectScope scope(adapter, object);
    scope.testDepth();
    if (isWriting && scope.isOutermost())
    {
        scope.setWriting();
        forgetSized(adapter);
    }
    if (!scope.isWriting())
        sizedOf(adapter, true)->objects.push_back(object);
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
    if (!vnReadWhole(adapter, bytes, sizeof bytes))
        vnFailObject(adapter, "Object ends within its head");
    return vnDynamicBytes::getBig<unsigned int>(bytes);
}

// Ids are given out in the order of the records, so that one which leaves out more than was skipped is a lie.
bool isPossible(vnSerializeAdapter* adapter, unsigned int index, unsigned int known)
{
    if (index <= known || index < VN_FREE_INSTANCES)
        return true;
    return vnSkippedInstances::takeOff(*adapter, index - known);
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
    if (adapter->canSeek())
        size = std::min(size, adapter->length()); // some give zeros for what is not there
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

// Tells whether a class read more than there was. The base class notices by itself when its body is cut. Any
// other one may take what it does not get for zeros, and a source that can seek may give them without an
// error, but then its position is behind the end. A size that claims more than there is proves nothing: it
// may just be stale.
class EndOfData
{
public:
    EndOfData(vnSerializeAdapter* adapter, const vnObject* object, unsigned int bodySize) : m_adapter(adapter)
    {
        const bool isChecked = !object->isExactType(vnObject::getClassType()) && adapter->canSeek();
        const unsigned int length = isChecked ? adapter->length() : 0;
        if (isChecked && bodySize > length)
            m_end = adapter->seek(0, VN_ORIGIN_CURRENT) + vnUInt64{length} -
                    vnAdapterWindow::pushedBack(*adapter);
    }
    bool isPassed() const { return m_end != VN_NOWHERE && m_adapter->seek(0, VN_ORIGIN_CURRENT) > m_end; }

private:
    static constexpr vnUInt64 VN_NOWHERE = ~0ull;

    vnSerializeAdapter* m_adapter;
    vnUInt64 m_end = VN_NOWHERE; // not looked at
};

// The object stands in the table before its body is read, so that a circle back to it closes.
vnObject* readBody(vnSerializeAdapter* adapter, vnObjectScope& scope, vnObject* object,
                   unsigned int chunkSize)
{
    const vnRefPointer<vnObject> held(object);
    const unsigned int index = readWord(adapter);
    scope.noteMade(index, object);
    {
        vnRefPointer<vnReference>& place = instanceAt(adapter, index);
        if (place)
            testNotBeingRead(adapter, place);
        place = object;
    }
    scope.setObject(object);
    try
    {
        const EndOfData end(adapter, object, chunkSize - vnObjectHeadSize);
        object->read(adapter);
        if (adapter->hasError() || end.isPassed())
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
    vnSkippedInstances::add(*adapter, done + 8u);
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
{
    if (object)
        hold(object);
}

// A copied pointer would hold a clone.
vnAdapterSharedData::vnAdapterSharedData(const vnAdapterSharedData& other)
    : vnReference(other), m_object(other.m_object.get()), m_instanceID(other.m_instanceID),
      m_chunkSize(other.m_chunkSize), m_isWritten(other.m_isWritten)
{
}

vnAdapterSharedData::~vnAdapterSharedData() noexcept(false) = default;

void vnAdapterSharedData::hold(vnObject* object)
{
    if (!m_object && object->getRef() > 0)
        m_object = object;
}

unsigned int vnObject::getChunkSize(vnObject* object, vnSerializeAdapter* adapter)
{
    if (!object)
        return sizeof(unsigned int);
    if (!adapter)
    {
        vnObjectScope scope(nullptr, object);
        scope.testDepth();
        return scope.sizeWithoutAdapter();
    }
    if (vnAdapterSharedData* record = findRecord(object, adapter))
    {
        record->hold(object);
        return vnObjectHeadSize;
    }
    return createRecord(object, adapter, true, false)->getChunkSize();
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
    if (record)
        record->hold(object); // it may have been sized before anybody held it
    else
        record = createRecord(object, adapter, shareInstances, true);
    if (record->isWritten())
    {
        writeHead(adapter, vnReferenceMark, vnObjectHeadSize, record->getInstanceID());
        return;
    }
    vnObjectScope scope(adapter, object);
    scope.testDepth();
    scope.setWriting();
    try
    {
        const unsigned int instance = adapter->getNewSharedInstanceID();
        writeHead(adapter, vnFactoryIdentifier(object->getType()), record->getChunkSize(), instance);
        // Behind the head: what is not on the stream must not be referred to.
        record->setInstanceID(instance);
        record->setWritten(1);
        object->write(adapter);
    }
    catch (...)
    {
        if (scope.isOutermost())
            forgetUnwritten(adapter->getRefInstanceDictionary());
        throw;
    }
}

vnObject* vnObject::readObject(vnSerializeAdapter* adapter, unsigned int totalSize,
                               const vnString& progressText, unsigned char eatUnknown)
{
    reportProgress(adapter, totalSize, progressText, true);
    vnMadeObjects made;
    return vnReadObject(adapter, eatUnknown, made);
}

vnObject* vnReadObject(vnSerializeAdapter* adapter, unsigned char eatUnknown, vnMadeObjects& made)
{
    vnObjectScope scope(adapter, nullptr);
    scope.beginRead(made);
    try
    {
        vnObject* object = readRecord(adapter, scope, eatUnknown);
        scope.endRead();
        return object;
    }
    catch (const vnWarningError&)
    {
        const bool isTold = scope.isOutermost() && adapter->hasError();
        scope.abandonRead();
        if (!isTold)
            throw;
    }
    catch (...)
    {
        scope.abandonRead();
        throw;
    }
    return nullptr;
}
