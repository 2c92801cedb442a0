// SPDX-License-Identifier: MIT
// Workload i: JSON text into values and back.
#include "bench.h"

#include <vnBase/vnJSON.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnSerializeAdapterQueue.h>
#include <vnBase/vnVarUInt64.h>

#ifdef HAVE_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif
#ifdef HAVE_POCOJSON
#include <Poco/JSON/Array.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <sstream>
#endif
#ifdef HAVE_QT
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#endif

using namespace bench;

namespace
{
// A document and what each library made of it.
struct Work
{
    std::string text;
    int repeats;
    vnDynamicType value;
#ifdef HAVE_RAPIDJSON
    rapidjson::Document rapid;
#endif
#ifdef HAVE_POCOJSON
    Poco::Dynamic::Var poco;
#endif
#ifdef HAVE_QT
    QJsonDocument qt;
#endif

    double bytes() const
    {
        return static_cast<double>(text.size()) * repeats;
    }
    void clear()
    {
        value = vnDynamicType();
#ifdef HAVE_RAPIDJSON
        rapidjson::Document().Swap(rapid);
#endif
#ifdef HAVE_POCOJSON
        poco.clear();
#endif
#ifdef HAVE_QT
        qt = QJsonDocument();
#endif
    }
};

std::uint64_t countOf(const vnDynamicType& value)
{
    const unsigned char* at = value.getPayload().begin();
    return vnVarUInt64::decode(at, value.getPayload().end());
}

vnDynamicType parse(const std::string& text, unsigned char strict)
{
    vnRefPointer<vnSerializeAdapterMemory> adapter(
        new vnSerializeAdapterMemory(const_cast<char*>(text.data()), static_cast<unsigned int>(text.size())));
    vnJSON json;
    json.setStrict(strict);
    json.read(adapter);
    return json.takeData();
}

template <class Body>
std::uint64_t repeat(const Work& work, Body body)
{
    std::uint64_t sum = 0;
    for (int i = 0; i < work.repeats; ++i)
        sum += body();
    return sum;
}

void addReading(Suite& suite, const std::shared_ptr<Work>& work, const std::string& size)
{
    Group& g = suite.group("read " + size, mbPerSecond, work->bytes()).rounds(5).freshHeap().sameCheck();
    const auto clear = [work] { work->clear(); };
#ifdef HAVE_RAPIDJSON
    g.add(
        "RapidJSON Document", peer,
        [work]
        {
            return repeat(*work,
                          [&]
                          {
                              work->rapid.Parse(work->text.data(), work->text.size());
                              return std::uint64_t(work->rapid.Size());
                          });
        },
        clear);
#endif
#ifdef HAVE_POCOJSON
    g.add(
        "Poco::JSON::Parser", kit,
        [work]
        {
            return repeat(*work,
                          [&]
                          {
                              Poco::JSON::Parser parser;
                              work->poco = parser.parse(work->text);
                              return std::uint64_t(work->poco.extract<Poco::JSON::Array::Ptr>()->size());
                          });
        },
        clear);
#endif
#ifdef HAVE_QT
    g.add(
        "QJsonDocument", kit,
        [work]
        {
            return repeat(*work,
                          [&]
                          {
                              work->qt = QJsonDocument::fromJson(
                                  QByteArray::fromRawData(work->text.data(), int(work->text.size())));
                              return std::uint64_t(work->qt.array().size());
                          });
        },
        clear);
#endif
    for (const unsigned char strict : {0, 1})
        g.add(
            strict ? "vnJSON, strict" : "vnJSON", ours,
            [work, strict]
            {
                std::uint64_t count = 0;
                return repeat(*work,
                              [&]
                              {
                                  work->value = parse(work->text, strict);
                                  count = count ? count : countOf(work->value);
                                  return count;
                              });
            },
            clear);
}

void addWriting(Suite& suite, const std::shared_ptr<Work>& work, const std::string& size)
{
    Group& g = suite.group("write " + size, mbPerSecond, work->bytes()).rounds(5).freshHeap();
#ifdef HAVE_RAPIDJSON
    g.add("RapidJSON Writer", peer,
          [work]
          {
              return repeat(*work,
                            [&]
                            {
                                rapidjson::StringBuffer buffer;
                                rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
                                work->rapid.Accept(writer);
                                return std::uint64_t(buffer.GetSize());
                            });
          });
#endif
#ifdef HAVE_POCOJSON
    g.add("Poco::JSON stringify", kit,
          [work]
          {
              return repeat(*work,
                            [&]
                            {
                                std::ostringstream stream;
                                work->poco.extract<Poco::JSON::Array::Ptr>()->stringify(stream);
                                return std::uint64_t(stream.tellp());
                            });
          });
#endif
#ifdef HAVE_QT
    g.add("QJsonDocument", kit,
          [work] {
              return repeat(*work,
                            [&] { return std::uint64_t(work->qt.toJson(QJsonDocument::Compact).size()); });
          });
#endif
    for (const unsigned char strict : {0, 1})
        g.add(strict ? "vnJSON, strict" : "vnJSON", ours,
              [work, strict]
              {
                  return repeat(*work,
                                [&]
                                {
                                    vnSerializeAdapterQueue queue(
                                        VN_QUEUE_FIFO, static_cast<unsigned int>(work->text.size()));
                                    vnJSON json;
                                    json.setStrict(strict);
                                    json.writeValue(&queue, work->value);
                                    return std::uint64_t(queue.length());
                                });
              });
}
} // namespace

int main(int argc, char** argv)
{
    Suite suite("i.json", argc, argv);
    const std::pair<const char*, int> documents[] = {{"records.json", 1}, {"record.json", 500}};
    for (const auto& [file, repeats] : documents)
    {
        auto work = std::make_shared<Work>();
        work->text = readAll(suite.getDataDir() + "/" + file);
        work->repeats = suite.scaled(repeats);
        const std::string size = repeats == 1 ? "20 MB" : "20 KB";
        addReading(suite, work, size);
        suite.run();
        // Reading clears all but the last one's.
        const int count = work->repeats;
        work->repeats = 1;
        work->value = parse(work->text, 1);
#ifdef HAVE_RAPIDJSON
        work->rapid.Parse(work->text.data(), work->text.size());
#endif
#ifdef HAVE_POCOJSON
        work->poco = Poco::JSON::Parser().parse(work->text);
#endif
#ifdef HAVE_QT
        work->qt =
            QJsonDocument::fromJson(QByteArray::fromRawData(work->text.data(), int(work->text.size())));
#endif
        work->repeats = count;
        addWriting(suite, work, size);
        suite.run();
    }
    return suite.getResult();
}
