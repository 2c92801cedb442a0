// SPDX-License-Identifier: MIT
// Workload i: dynamic values, their form on streams, and sets of named values.
#include "bench.h"

#include <vnBase/vnDynamicTypeContainer.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeBinary.h>

#include <variant>

#ifdef HAVE_POCO
#include <Poco/BinaryReader.h>
#include <Poco/Dynamic/Var.h>
#include <Poco/MemoryStream.h>
#endif
#ifdef HAVE_QT
#include <QCborArray>
#include <QCborValue>
#include <QDataStream>
#include <QVariant>
#include <QVariantMap>
#endif

using namespace bench;

namespace
{
using Variant = std::variant<std::monostate, std::int64_t, double, std::string>;

template <class One>
Body loop(int count, One one)
{
    return [=]
    {
        double sum = 0;
        for (int i = 0; i < count; ++i)
            sum += one(i);
        return static_cast<std::uint64_t>(sum);
    };
}

// Integers of 32 bits, big-endian, out of a block of memory.
void addItems(Suite& suite)
{
    const int count = suite.scaled(4000000);
    auto block = std::make_shared<std::vector<unsigned char>>(static_cast<std::size_t>(count) * 4);
    for (std::size_t i = 0; i < block->size(); ++i)
        (*block)[i] = static_cast<unsigned char>(i * 7);
    Group& g = suite.group("read a big-endian 32-bit item out of memory", nsPerOp, count).sameCheck();
    g.add("hand loop", limit,
          [=]
          {
              std::uint64_t sum = 0;
              const unsigned char* from = block->data();
              for (int i = 0; i < count; ++i, from += 4)
              {
                  std::uint32_t value;
                  std::memcpy(&value, from, 4);
                  keep(value);
                  sum += __builtin_bswap32(value);
              }
              return sum;
          });
#ifdef HAVE_POCO
    g.add("Poco::BinaryReader", kit,
          [=]
          {
              Poco::MemoryInputStream stream(reinterpret_cast<const char*>(block->data()),
                                             static_cast<std::streamsize>(block->size()));
              Poco::BinaryReader reader(stream, Poco::BinaryReader::BIG_ENDIAN_BYTE_ORDER);
              std::uint64_t sum = 0;
              for (int i = 0; i < count; ++i)
              {
                  Poco::UInt32 value;
                  reader >> value;
                  sum += value;
              }
              return sum;
          });
#endif
#ifdef HAVE_QT
    g.add("QDataStream", kit,
          [=]
          {
              QDataStream stream(QByteArray::fromRawData(reinterpret_cast<const char*>(block->data()),
                                                         static_cast<int>(block->size())));
              std::uint64_t sum = 0;
              for (int i = 0; i < count; ++i)
              {
                  quint32 value;
                  stream >> value;
                  sum += value;
              }
              return sum;
          });
#endif
    g.add("vnSerializeBinary", ours,
          [=]
          {
              vnSerializeAdapterMemory adapter(block->data(), static_cast<unsigned int>(block->size()));
              vnSerializeBinary<unsigned int> item;
              std::uint64_t sum = 0;
              for (int i = 0; i < count; ++i)
              {
                  item.read(&adapter);
                  sum += item.getValue();
              }
              return sum;
          });
}

// Makes a value and reads it. The number of case i is `factor` times i.
void addNumbers(Suite& suite, const char* name, double factor)
{
    const int count = suite.scaled(2000000);
    Group& g = suite.group(name, nsPerOp, count).sameCheck();
    g.add("std::variant", limit,
          loop(count,
               [=](int i)
               {
                   Variant value(factor * (i % 100));
                   keep(value);
                   return std::get<double>(value);
               }));
#ifdef HAVE_POCO
    g.add("Poco::Dynamic::Var", kit,
          loop(count,
               [=](int i)
               {
                   Poco::Dynamic::Var value(factor * (i % 100));
                   keep(value);
                   return value.extract<double>();
               }));
#endif
#ifdef HAVE_QT
    g.add("QVariant", kit,
          loop(count,
               [=](int i)
               {
                   QVariant value(factor * (i % 100));
                   keep(value);
                   return value.toDouble();
               }));
#endif
    g.add("vnDynamicType", ours,
          loop(count,
               [=](int i)
               {
                   vnDynamicType value(factor * (i % 100));
                   keep(value);
                   return value.getNumber();
               }));
}

void addTexts(Suite& suite, const char* name, const std::string& text)
{
    const int count = suite.scaled(1000000);
    Group& g = suite.group(name, nsPerOp, count).sameCheck();
    g.add("std::variant", limit,
          loop(count,
               [=](int)
               {
                   Variant value(text);
                   keep(value);
                   const std::string read = std::get<std::string>(value);
                   return static_cast<int>(read.size());
               }));
#ifdef HAVE_POCO
    g.add("Poco::Dynamic::Var", kit,
          loop(count,
               [=](int)
               {
                   Poco::Dynamic::Var value(text);
                   keep(value);
                   const std::string read = value.extract<std::string>();
                   return static_cast<int>(read.size());
               }));
#endif
#ifdef HAVE_QT
    const QString qtText = QString::fromStdString(text);
    g.add("QVariant (shares the text)", kit,
          loop(count,
               [=](int)
               {
                   QVariant value(qtText);
                   keep(value);
                   const QString read = value.toString();
                   return read.size();
               }));
    const QByteArray qtBytes(text.data(), static_cast<int>(text.size()));
    g.add("QVariant, UTF-8 in and out", other,
          loop(count,
               [=](int)
               {
                   QVariant value(QString::fromUtf8(qtBytes));
                   keep(value);
                   const QByteArray read = value.toString().toUtf8();
                   return read.size();
               }));
#endif
    const vnString ourText(text.c_str());
    g.add("vnDynamicType", ours,
          loop(count,
               [=](int)
               {
                   vnDynamicType value(ourText);
                   keep(value);
                   const vnString read = value.getString();
                   return static_cast<int>(read.length());
               }));
}

// What the mixed value number i is: small and large integers, doubles, texts.
template <class Value, class Text>
Value mixed(int i, Text text)
{
    switch (i % 4)
    {
    case 0:
        return Value(static_cast<double>(i % 100));
    case 1:
        return Value(i * 1000.0);
    case 2:
        return Value(i + 0.5);
    default:
        return Value(text(i));
    }
}

std::string textOf(int i)
{
    return "text number " + std::to_string(i);
}

void addWire(Suite& suite)
{
    const int count = suite.scaled(200000);
    Group& write = suite.group("wire form of mixed values: write", nsPerOp, count);
    Group& read = suite.group("wire form of mixed values: read", nsPerOp, count).sameCheck();
#ifdef HAVE_QT
    const auto qtText = [](int i) { return QString::fromStdString(textOf(i)); };
    auto variants = std::make_shared<std::vector<QVariant>>();
    auto cbor = std::make_shared<QCborArray>();
    for (int i = 0; i < count; ++i)
    {
        variants->push_back(mixed<QVariant>(i, qtText));
        cbor->append(mixed<QCborValue>(i, qtText));
    }
    auto stream = std::make_shared<QByteArray>();
    write.add("QVariant by QDataStream", kit,
              [=]
              {
                  stream->clear();
                  QDataStream out(stream.get(), QIODevice::WriteOnly);
                  for (const QVariant& value : *variants)
                      out << value;
                  return static_cast<std::uint64_t>(stream->size());
              });
    auto cborBytes = std::make_shared<QByteArray>();
    write.add("QCborValue", kit,
              [=]
              {
                  *cborBytes = cbor->toCborValue().toCbor();
                  return static_cast<std::uint64_t>(cborBytes->size());
              });
    read.add("QVariant by QDataStream", kit,
             [=]
             {
                 QDataStream in(*stream);
                 std::uint64_t texts = 0;
                 for (int i = 0; i < count; ++i)
                 {
                     QVariant value;
                     in >> value;
                     texts += value.type() == QVariant::String;
                 }
                 return texts;
             });
    read.add("QCborValue", kit,
             [=]
             {
                 const QCborArray values = QCborValue::fromCbor(*cborBytes).toArray();
                 std::uint64_t texts = 0;
                 for (const QCborValue value : values)
                     texts += value.isString();
                 return texts;
             });
#endif
    auto values = std::make_shared<std::vector<vnDynamicType>>();
    std::size_t size = 0;
    for (int i = 0; i < count; ++i)
    {
        values->push_back(mixed<vnDynamicType>(i, [](int n) { return vnString(textOf(n).c_str()); }));
        size += values->back().getDataSize(nullptr);
    }
    auto bytes = std::make_shared<std::vector<unsigned char>>(size);
    write.add("vnDynamicType", ours,
              [=]
              {
                  vnSerializeAdapterMemory out(bytes->data(), static_cast<unsigned int>(bytes->size()));
                  for (vnDynamicType& value : *values)
                      value.write(&out);
                  return static_cast<std::uint64_t>(out.getCurrentPos());
              });
    read.add("vnDynamicType", ours,
             [=]
             {
                 vnSerializeAdapterMemory in(bytes->data(), static_cast<unsigned int>(bytes->size()));
                 const vnString tag = vnDynamicType("").getDynamicType();
                 std::uint64_t texts = 0;
                 for (int i = 0; i < count; ++i)
                 {
                     vnDynamicType value;
                     value.read(&in);
                     texts += value.is(tag);
                 }
                 return texts;
             });
}

#ifdef HAVE_QT
QVariantMap qtMap(const std::vector<QString>& names)
{
    QVariantMap map;
    for (std::size_t i = 0; i < names.size(); ++i)
        map.insert(names[i], QVariant(static_cast<double>(i)));
    return map;
}
#endif

vnDynamicTypeContainer ourContainer(const std::vector<vnString>& names)
{
    vnDynamicTypeContainer container(static_cast<unsigned int>(names.size()));
    for (std::size_t i = 0; i < names.size(); ++i)
        container.setAttribute(names[i], static_cast<double>(i));
    return container;
}

// Containers of `size` attributes; all numbers are for one attribute.
void addContainers(Suite& suite, int size)
{
    const int rounds = suite.scaled(400000) / size + 1;
    const double work = static_cast<double>(rounds) * size;
    const std::string prefix = "container of " + std::to_string(size) + " attributes: ";
    Group& set = suite.group(prefix + "set", nsPerOp, work).sameCheck();
    Group& get = suite.group(prefix + "get", nsPerOp, work).sameCheck();
    Group& write = suite.group(prefix + "write", nsPerOp, work);
    Group& read = suite.group(prefix + "read", nsPerOp, work).sameCheck();
    const auto repeat = [rounds](auto once)
    {
        return [=]
        {
            double sum = 0;
            for (int round = 0; round < rounds; ++round)
                sum += once();
            return static_cast<std::uint64_t>(sum);
        };
    };
#ifdef HAVE_QT
    auto qtNames = std::make_shared<std::vector<QString>>();
    for (int i = 0; i < size; ++i)
        qtNames->push_back(QString("attribute%1").arg(i));
    auto map = std::make_shared<const QVariantMap>(qtMap(*qtNames));
    auto stream = std::make_shared<QByteArray>();
    set.add("QVariantMap", kit, repeat([=] { return qtMap(*qtNames).size(); }));
    get.add("QVariantMap", kit,
            repeat(
                [=]
                {
                    double sum = 0;
                    for (const QString& name : *qtNames)
                        sum += map->value(name).toDouble();
                    return sum;
                }));
    const auto qtWrite = [=]
    {
        stream->clear();
        QDataStream out(stream.get(), QIODevice::WriteOnly);
        out << *map;
        return stream->size();
    };
    qtWrite();
    write.add("QVariantMap", kit, repeat(qtWrite));
    read.add("QVariantMap", kit,
             repeat(
                 [=]
                 {
                     QDataStream in(*stream);
                     QVariantMap again;
                     in >> again;
                     return again.size();
                 }));
#endif
    auto names = std::make_shared<std::vector<vnString>>();
    for (int i = 0; i < size; ++i)
        names->push_back(vnString::formatString("attribute%d", i));
    auto container = std::make_shared<vnDynamicTypeContainer>(ourContainer(*names));
    auto bytes = std::make_shared<std::vector<unsigned char>>(container->getDataSize(nullptr));
    set.add("vnDynamicTypeContainer", ours,
            repeat([=] { return ourContainer(*names).getNumberOfAttributes(); }));
    get.add("vnDynamicTypeContainer", ours,
            repeat(
                [=]
                {
                    double sum = 0;
                    for (const vnString& name : *names)
                        sum += container->getAttribute(name).getNumber();
                    return sum;
                }));
    const auto ourWrite = [=]
    {
        vnSerializeAdapterMemory out(bytes->data(), static_cast<unsigned int>(bytes->size()));
        container->write(&out);
        return out.getCurrentPos();
    };
    ourWrite();
    write.add("vnDynamicTypeContainer", ours, repeat(ourWrite));
    read.add("vnDynamicTypeContainer", ours,
             repeat(
                 [=]
                 {
                     vnSerializeAdapterMemory in(bytes->data(), static_cast<unsigned int>(bytes->size()));
                     vnDynamicTypeContainer again(static_cast<unsigned int>(size));
                     again.read(&in);
                     return again.getNumberOfAttributes();
                 }));
}
} // namespace

int main(int argc, char** argv)
{
    Suite suite("i.dynamic", argc, argv);
    addItems(suite);
    addNumbers(suite, "make and read a small integer", 1);
    addNumbers(suite, "make and read a double", 0.3);
    addTexts(suite, "make and read a text of 11 bytes", "hello world");
    addTexts(suite, "make and read a text of 50 bytes", std::string(50, 'x'));
    addWire(suite);
    addContainers(suite, 10);
    addContainers(suite, 1000);
    suite.run();
    return suite.getResult();
}
