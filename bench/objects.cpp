// SPDX-License-Identifier: MIT
// Workload m: objects with attributes on streams.
#include "bench.h"

#include <vnBase/vnArray.h>
#include <vnBase/vnObject.h>
#include <vnBase/vnSerializeAdapterMemory.h>

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
    suite.run();
    return suite.getResult();
}
