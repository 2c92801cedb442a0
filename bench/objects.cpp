// SPDX-License-Identifier: MIT
// Workload m: objects with attributes on streams.
#include "bench.h"

#include <vnBase/vnArray.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnObjectReceiver.h>
#include <vnBase/vnObjectSender.h>
#include <vnBase/vnSerializeAdapterMemory.h>

#include "../tests/serialize/vnSocketAdapter.h"

#include <atomic>

#include <zlib.h>

#ifdef HAVE_QT
#include <QDataStream>
#include <QVariant>
#include <QVariantMap>
#endif

using namespace bench;

namespace
{
constexpr int batch = 1000; // objects on one stream

// The five attributes of object i, each handed to `set(name, value)`.
template <class Set>
void forEachAttribute(int i, Set set)
{
    set("position", 0.37 * i);
    set("size", static_cast<double>(i % 100));
    set("visible", 1.0);
    set("name", "object number " + std::to_string(i));
    set("material", std::string("brushed metal"));
}

vnObject* createOurs(int i)
{
    auto* object = new vnObject;
    forEachAttribute(i,
                     [object](const char* name, const auto& value)
                     {
                         if constexpr (std::is_same_v<std::decay_t<decltype(value)>, double>)
                             object->setAttribute("attributes", name, value);
                         else
                             object->setAttribute("attributes", name, value.c_str());
                     });
    return object;
}

#ifdef HAVE_QT
QVariantMap createMap(int i)
{
    QVariantMap map;
    forEachAttribute(i,
                     [&map](const char* name, const auto& value)
                     {
                         if constexpr (std::is_same_v<std::decay_t<decltype(value)>, double>)
                             map.insert(QString::fromUtf8(name), value);
                         else
                             map.insert(QString::fromUtf8(name), QString::fromStdString(value));
                     });
    return map;
}

void addQt(Group& write, Group& read, int rounds)
{
    auto maps = std::make_shared<std::vector<QVariantMap>>();
    for (int i = 0; i < batch; ++i)
        maps->push_back(createMap(i));
    auto bytes = std::make_shared<QByteArray>();
    const auto writeAll = [=]
    {
        bytes->clear();
        QDataStream out(bytes.get(), QIODevice::WriteOnly);
        for (const QVariantMap& map : *maps)
            out << map;
    };
    writeAll();
    write.add("QVariantMap by QDataStream", kit,
              [=]
              {
                  for (int round = 0; round < rounds; ++round)
                      writeAll();
                  return std::uint64_t(1);
              });
    read.add("QVariantMap by QDataStream", kit,
             [=]
             {
                 std::uint64_t count = 0;
                 for (int round = 0; round < rounds; ++round)
                 {
                     QDataStream in(*bytes);
                     std::vector<QVariantMap> all(batch);
                     for (QVariantMap& map : all)
                     {
                         in >> map;
                         count += static_cast<std::uint64_t>(map.size());
                     }
                 }
                 return count;
             });
}
#endif

void addOurs(Group& write, Group& read, int rounds)
{
    auto objects = std::make_shared<vnArray<vnRefPointer<vnObject>>>(batch);
    unsigned int size = 0;
    for (int i = 0; i < batch; ++i)
    {
        vnRefPointer<vnObject>& object = (*objects)[static_cast<unsigned int>(i)];
        object = createOurs(i);
        size += object->getDataSize(nullptr) + 12;
    }
    auto bytes = std::make_shared<std::vector<unsigned char>>(size);
    const auto writeAll = [=](unsigned char share)
    {
        vnSerializeAdapterMemory out(bytes->data(), static_cast<unsigned int>(bytes->size()));
        for (const auto& object : *objects)
            vnObject::writeObject(object, &out, 0, vnString(), share);
        return out.getCurrentPos();
    };
    writeAll(1);
    for (const bool share : {true, false})
        write.add(share ? "vnObject" : "vnObject, not shared", ours,
                  [=]
                  {
                      for (int round = 0; round < rounds; ++round)
                          keep(writeAll(share));
                      return std::uint64_t(1);
                  });
    read.add("vnObject", ours,
             [=]
             {
                 std::uint64_t count = 0;
                 for (int round = 0; round < rounds; ++round)
                 {
                     vnSerializeAdapterMemory in(bytes->data(), static_cast<unsigned int>(bytes->size()));
                     for (int i = 0; i < batch; ++i)
                         count +=
                             vnObject::readObject(&in, 0, vnString(), 1)->getNumberOfAttributes("attributes");
                 }
                 return count;
             });
}

class CountingReceiver : public vnObjectReceiver
{
public:
    explicit CountingReceiver(vnSerializeAdapter* stream) : vnObjectReceiver("bench", stream) {}
    ~CountingReceiver() noexcept(false) override { stop(1); }
    void onObject(vnObject*) override { ++count; }
    std::atomic<std::uint64_t> count{0};
};

// Objects from a sender on this thread to a receiver on its own, a frame each, over a socket pair.
void addChannel(Group& group, int objects)
{
    auto object = std::make_shared<vnRefPointer<vnObject>>(createOurs(1));
    group.add("vnObjectSender to vnObjectReceiver", ours,
              [=]
              {
                  int ends[2];
                  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
                      return std::uint64_t(0);
                  vnObjectSender sender("bench", new vnSocketAdapter(ends[0]));
                  CountingReceiver receiver(new vnSocketAdapter(ends[1]));
                  receiver.run(1);
                  for (int i = 0; i < objects; ++i)
                      sender.sendObject(*object);
                  while (receiver.count < static_cast<std::uint64_t>(objects))
                      std::this_thread::yield();
                  return receiver.count.load();
              });

    // What the channel can't save: the record of one object through zlib, both ways, one after the other.
    auto record = std::make_shared<std::vector<unsigned char>>((*object)->getDataSize(nullptr) + 12);
    vnSerializeAdapterMemory out(record->data(), static_cast<unsigned int>(record->size()));
    vnObject::writeObject(*object, &out, 0, vnString(), 0);
    group.add("zlib compress and uncompress", limit,
              [=]
              {
                  std::vector<unsigned char> packed(compressBound(record->size()));
                  std::vector<unsigned char> plain(record->size());
                  std::uint64_t done = 0;
                  for (int i = 0; i < objects; ++i)
                  {
                      uLongf packedSize = packed.size();
                      uLongf plainSize = plain.size();
                      if (compress(packed.data(), &packedSize, record->data(), record->size()) == Z_OK &&
                          uncompress(plain.data(), &plainSize, packed.data(), packedSize) == Z_OK)
                          ++done;
                  }
                  return done;
              });
}
} // namespace

int main(int argc, char** argv)
{
    Suite suite("m.objects", argc, argv);
    const int rounds = suite.scaled(50);
    const double work = static_cast<double>(rounds) * batch;
    Group& write = suite.group("objects of 5 attributes: write", nsPerOp, work).sameCheck();
    Group& read = suite.group("objects of 5 attributes: read", nsPerOp, work).sameCheck();
#ifdef HAVE_QT
    addQt(write, read, rounds);
#endif
    addOurs(write, read, rounds);
    const int sent = suite.scaled(20000);
    addChannel(suite.group("channel: objects of 5 attributes through a socket pair", kopsPerSecond, sent)
                   .sameCheck(),
               sent);
    suite.run();
    return suite.getResult();
}
