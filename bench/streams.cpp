// SPDX-License-Identifier: MIT
// Workload l: byte streams.  The files are in memory (tmpfs), so that the disk
// plays no part.
#include "bench.h"

#include <vnBase/vnSerializeAdapterFile.h>
#include <vnBase/vnSerializeAdapterMemory.h>
#include <vnBase/vnURL.h>

#include <fcntl.h>
#include <memory>
#include <sstream>
#include <streambuf>
#include <sys/sendfile.h>
#include <unistd.h>

#ifdef HAVE_GLIB
#include <gio/gio.h>
#endif
#ifdef HAVE_POCO
#include <Poco/BinaryReader.h>
#include <Poco/BinaryWriter.h>
#include <Poco/FileStream.h>
#include <Poco/MemoryStream.h>
#include <Poco/StreamCopier.h>
#include <Poco/URI.h>
#include <Poco/URIStreamFactory.h>
#include <Poco/URIStreamOpener.h>
#endif
#ifdef HAVE_QT
#include <QDataStream>
#include <QFile>
#endif

// The limit for byte-wise work: a block buffer with an inline get and put.
class HandIn
{
public:
    explicit HandIn(const std::string& path) : fd_(open(path.c_str(), O_RDONLY)) {}
    ~HandIn() { close(fd_); }
    int get() { return p_ < e_ || fill() ? (unsigned char)*p_++ : -1; }

private:
    bool fill()
    {
        const ssize_t n = read(fd_, b_, sizeof b_);
        p_ = b_;
        e_ = b_ + (n > 0 ? n : 0);
        return n > 0;
    }
    int fd_;
    char b_[65536], *p_ = b_, *e_ = b_;
};
class HandOut
{
public:
    explicit HandOut(const std::string& path) : fd_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644)) {}
    ~HandOut()
    {
        flush();
        close(fd_);
    }
    void put(char c)
    {
        if (p_ == b_ + sizeof b_)
            flush();
        *p_++ = c;
    }

private:
    void flush()
    {
        if (write(fd_, b_, p_ - b_) != p_ - b_)
            std::abort();
        p_ = b_;
    }
    int fd_;
    char b_[65536], *p_ = b_;
};

// A std::istream over memory that it does not copy.
struct MemoryBuffer : std::streambuf
{
    explicit MemoryBuffer(const std::string& memory)
    {
        char* data = const_cast<char*>(memory.data());
        setg(data, data, data + memory.size());
    }
};

#ifdef HAVE_POCO
// Gives what ours has built in: a stream over the memory that the path names, "address,length".
class MemoryFactory : public Poco::URIStreamFactory
{
public:
    std::istream* open(const Poco::URI& uri) override
    {
        char* end = nullptr;
        const char* path = uri.getPath().c_str();
        const auto address = std::strtoull(path, &end, 10);
        const auto size = std::strtoull(end + 1, nullptr, 10);
        return new Poco::MemoryInputStream(reinterpret_cast<const char*>(address), std::streamsize(size));
    }
};
#endif

static std::uint64_t openByURL(const vnString& url, int times)
{
    std::uint64_t sum = 0;
    for (int i = 0; i < times; i++)
    {
        vnRefPointer<vnSerializeAdapter> in(vnSerializeAdapter::getURLAdapter(url, VN_SERIALIZE_INPUT));
        sum += in->read();
    }
    return sum;
}

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("l.streams", argc, argv);
    const std::string in = scratchDir() + "/peer_in.bin", out = scratchDir() + "/peer_out.bin";
    {
        std::ofstream f(in, std::ios::binary);
        f << readAll(suite.getDataDir() + "/blob.bin");
    }
    const double size = suite.scaled(100000000);
    [[maybe_unused]] const double part = size / 5; // the very slow ones read this much only
#ifdef HAVE_QT
    const QString qin = QString::fromStdString(in), qout = QString::fromStdString(out);
#endif
    using File = vnRefPointer<vnSerializeAdapterFile>;
    const auto openIn = [&] { return new vnSerializeAdapterFile(in.c_str(), VN_SERIALIZE_INPUT, 0, 0); };
    const auto openOut = [&] { return new vnSerializeAdapterFile(out.c_str(), VN_SERIALIZE_OUTPUT, 0, 0); };

    {
        Group& g = suite.group("read a 100 MB file byte by byte", mbPerSecond, size).rounds(3).sameCheck();
        g.add("read(2) 64 KB, inline get", limit,
              [&]
              {
                  HandIn f(in);
                  std::uint64_t s = 0;
                  for (int c; (c = f.get()) >= 0;)
                      s += c;
                  return s;
              });
        g.add("getc_unlocked", kit,
              [&]
              {
                  FILE* f = std::fopen(in.c_str(), "rb");
                  std::uint64_t s = 0;
                  for (int c; (c = getc_unlocked(f)) != EOF;)
                      s += c;
                  std::fclose(f);
                  return s;
              });
        g.add("getc (locks)", kit,
              [&]
              {
                  FILE* f = std::fopen(in.c_str(), "rb");
                  std::uint64_t s = 0;
                  for (int c; (c = getc(f)) != EOF;)
                      s += c;
                  std::fclose(f);
                  return s;
              });
        g.add("std::ifstream get()", kit,
              [&]
              {
                  std::ifstream f(in, std::ios::binary);
                  std::uint64_t s = 0;
                  for (int c; (c = f.get()) != EOF;)
                      s += c;
                  return s;
              });
        g.add("std::filebuf sbumpc()", kit,
              [&]
              {
                  std::filebuf f;
                  f.open(in, std::ios::in | std::ios::binary);
                  std::uint64_t s = 0;
                  for (int c; (c = f.sbumpc()) != EOF;)
                      s += c;
                  return s;
              });
#ifdef HAVE_POCO
        g.add("Poco::FileInputStream get()", kit,
              [&]
              {
                  Poco::FileInputStream f(in);
                  std::uint64_t s = 0;
                  for (int c; (c = f.get()) != EOF;)
                      s += c;
                  return s;
              });
#endif
#ifdef HAVE_QT
        g.add("QFile getChar()", kit,
              [&]
              {
                  QFile f(qin);
                  f.open(QIODevice::ReadOnly);
                  std::uint64_t s = 0;
                  for (char c; f.getChar(&c);)
                      s += (unsigned char)c;
                  return s;
              });
        g.add(
            "QDataStream >> quint8 (20 MB)", kit,
            [&]
            {
                QFile f(qin);
                f.open(QIODevice::ReadOnly);
                QDataStream d(&f);
                std::uint64_t s = 0;
                for (int i = 0; i < int(part); i++)
                {
                    quint8 c;
                    d >> c;
                    s += c;
                }
                return s;
            },
            nullptr, part / size);
#endif
#ifdef HAVE_GLIB
        g.add(
            "GBufferedInputStream read_byte (20 MB)", kit,
            [&]
            {
                GFile* file = g_file_new_for_path(in.c_str());
                GInputStream* f = G_INPUT_STREAM(g_file_read(file, nullptr, nullptr));
                GInputStream* b = g_buffered_input_stream_new_sized(f, 65536);
                std::uint64_t s = 0;
                for (int i = 0; i < int(part); i++)
                    s += g_buffered_input_stream_read_byte(G_BUFFERED_INPUT_STREAM(b), nullptr, nullptr);
                g_object_unref(b);
                g_object_unref(f);
                g_object_unref(file);
                return s;
            },
            nullptr, part / size);
#endif
        g.add("vnSerializeAdapterFile read()", ours,
              [&]
              {
                  File f(openIn());
                  std::uint64_t s = 0;
                  while (f->hasData())
                      s += f->read();
                  return s;
              });
        g.add("vnSerializeAdapterFile read(), length known", ours,
              [&]
              {
                  File f(openIn());
                  std::uint64_t s = 0;
                  for (unsigned int n = f->length(); n > 0; n--)
                      s += f->read();
                  return s;
              });
        suite.run();
    }
    {
        Group& g = suite.group("copy a 100 MB file byte by byte", mbPerSecond, size).rounds(3);
        g.add("read(2)/write(2) 64 KB, inline get/put", limit,
              [&]
              {
                  HandIn a(in);
                  HandOut b(out);
                  for (int c; (c = a.get()) >= 0;)
                      b.put(char(c));
                  return 0;
              });
        g.add("getc_unlocked, putc_unlocked", kit,
              [&]
              {
                  FILE *a = std::fopen(in.c_str(), "rb"), *b = std::fopen(out.c_str(), "wb");
                  for (int c; (c = getc_unlocked(a)) != EOF;)
                      putc_unlocked(c, b);
                  std::fclose(a);
                  std::fclose(b);
                  return 0;
              });
        g.add("std::fstream get(), put()", kit,
              [&]
              {
                  std::ifstream a(in, std::ios::binary);
                  std::ofstream b(out, std::ios::binary);
                  for (int c; (c = a.get()) != EOF;)
                      b.put(char(c));
                  return 0;
              });
#ifdef HAVE_POCO
        g.add("Poco::File*Stream get(), put()", kit,
              [&]
              {
                  Poco::FileInputStream a(in);
                  Poco::FileOutputStream b(out);
                  for (int c; (c = a.get()) != EOF;)
                      b.put(char(c));
                  return 0;
              });
#endif
#ifdef HAVE_QT
        g.add("QFile getChar(), putChar()", kit,
              [&]
              {
                  QFile a(qin), b(qout);
                  a.open(QIODevice::ReadOnly);
                  b.open(QIODevice::WriteOnly | QIODevice::Truncate);
                  for (char c; a.getChar(&c);)
                      b.putChar(c);
                  return 0;
              });
#endif
        g.add("vnSerializeAdapterFile read(), write()", ours,
              [&]
              {
                  File a(openIn()), b(openOut());
                  while (a->hasData())
                      b->write(a->read());
                  return 0;
              });
        suite.run();
    }
    {
        Group& g = suite.group("copy a 100 MB file in 64 KB blocks", mbPerSecond, size).rounds(15);
        static char block[65536];
        g.add("sendfile(2)", limit,
              [&]
              {
                  const int a = open(in.c_str(), O_RDONLY),
                            b = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
                  while (sendfile(b, a, nullptr, 65536) > 0)
                  {
                  }
                  close(a);
                  close(b);
                  return 0;
              });
        g.add("read(2), write(2)", limit,
              [&]
              {
                  const int a = open(in.c_str(), O_RDONLY),
                            b = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
                  for (ssize_t n; (n = read(a, block, sizeof block)) > 0;)
                      if (write(b, block, n) != n)
                          std::abort();
                  close(a);
                  close(b);
                  return 0;
              });
        g.add("fread, fwrite", kit,
              [&]
              {
                  FILE *a = std::fopen(in.c_str(), "rb"), *b = std::fopen(out.c_str(), "wb");
                  for (size_t n; (n = std::fread(block, 1, sizeof block, a)) > 0;)
                      std::fwrite(block, 1, n, b);
                  std::fclose(a);
                  std::fclose(b);
                  return 0;
              });
        g.add("std::fstream read, write", kit,
              [&]
              {
                  std::ifstream a(in, std::ios::binary);
                  std::ofstream b(out, std::ios::binary);
                  while (a.read(block, sizeof block), a.gcount() > 0)
                      b.write(block, a.gcount());
                  return 0;
              });
#ifdef HAVE_POCO
        g.add("Poco::StreamCopier, File*Stream", kit,
              [&]
              {
                  Poco::FileInputStream a(in);
                  Poco::FileOutputStream b(out);
                  Poco::StreamCopier::copyStream(a, b, sizeof block);
                  return 0;
              });
#endif
#ifdef HAVE_QT
        g.add("QFile read, write", kit,
              [&]
              {
                  QFile a(qin), b(qout);
                  a.open(QIODevice::ReadOnly);
                  b.open(QIODevice::WriteOnly | QIODevice::Truncate);
                  for (qint64 n; (n = a.read(block, sizeof block)) > 0;)
                      b.write(block, n);
                  return 0;
              });
#endif
#ifdef HAVE_GLIB
        g.add("GFileInputStream read, write", kit,
              [&]
              {
                  GFile *fa = g_file_new_for_path(in.c_str()), *fb = g_file_new_for_path(out.c_str());
                  GInputStream* a = G_INPUT_STREAM(g_file_read(fa, nullptr, nullptr));
                  GOutputStream* b = G_OUTPUT_STREAM(
                      g_file_replace(fb, nullptr, FALSE, G_FILE_CREATE_NONE, nullptr, nullptr));
                  for (gssize n; (n = g_input_stream_read(a, block, sizeof block, nullptr, nullptr)) > 0;)
                      g_output_stream_write_all(b, block, n, nullptr, nullptr, nullptr);
                  g_output_stream_close(b, nullptr, nullptr);
                  g_object_unref(a);
                  g_object_unref(b);
                  g_object_unref(fa);
                  g_object_unref(fb);
                  return 0;
              });
#endif
        g.add("vnSerializeAdapterFile read, write", ours,
              [&]
              {
                  File a(openIn()), b(openOut());
                  unsigned char* const bytes = reinterpret_cast<unsigned char*>(block);
                  while (a->hasData())
                      b->write(bytes, a->read(bytes, sizeof block));
                  return 0;
              });
        suite.run();
    }

    const int INTS = suite.scaled(5000000);
    const std::string memory = readAll(in).substr(0, INTS * 4u);
    const auto newMemory = [](const char* data, std::size_t bytes)
    { return new vnSerializeAdapterMemory(const_cast<char*>(data), static_cast<unsigned int>(bytes)); };
    const auto openMemory = [&] { return newMemory(memory.data(), memory.size()); };
    {
        Group& g = suite.group("memory stream: read 32-bit big-endian", nsPerOp, INTS).rounds(5).sameCheck();
        g.add("memcpy + bswap by hand", limit,
              [&]
              {
                  std::uint64_t s = 0;
                  for (int i = 0; i < INTS; i++)
                  {
                      std::uint32_t v;
                      std::memcpy(&v, memory.data() + 4 * i, 4);
                      v = __builtin_bswap32(v);
                      keep(v);
                      s += v;
                  }
                  return s;
              });
        g.add("std::istream read(4) + bswap", kit,
              [&]
              {
                  MemoryBuffer buffer(memory);
                  std::istream m(&buffer);
                  std::uint64_t s = 0;
                  for (int i = 0; i < INTS; i++)
                  {
                      std::uint32_t v = 0;
                      m.read((char*)&v, 4);
                      s += __builtin_bswap32(v);
                  }
                  return s;
              });
#ifdef HAVE_POCO
        g.add("Poco::BinaryReader", kit,
              [&]
              {
                  Poco::MemoryInputStream m(memory.data(), memory.size());
                  Poco::BinaryReader r(m, Poco::BinaryReader::BIG_ENDIAN_BYTE_ORDER);
                  std::uint64_t s = 0;
                  for (int i = 0; i < INTS; i++)
                  {
                      Poco::UInt32 v;
                      r >> v;
                      s += v;
                  }
                  return s;
              });
#endif
#ifdef HAVE_QT
        g.add("QDataStream", kit,
              [&]
              {
                  QDataStream d(QByteArray::fromRawData(memory.data(), int(memory.size())));
                  std::uint64_t s = 0;
                  for (int i = 0; i < INTS; i++)
                  {
                      quint32 v;
                      d >> v;
                      s += v;
                  }
                  return s;
              });
#endif
#ifdef HAVE_GLIB
        g.add("GDataInputStream", kit,
              [&]
              {
                  GInputStream* m =
                      g_memory_input_stream_new_from_data(memory.data(), memory.size(), nullptr);
                  GDataInputStream* d = g_data_input_stream_new(m);
                  std::uint64_t s = 0;
                  for (int i = 0; i < INTS; i++)
                      s += g_data_input_stream_read_uint32(d, nullptr, nullptr);
                  g_object_unref(d);
                  g_object_unref(m);
                  return s;
              });
#endif
        g.add("vnSerializeAdapterMemory read(4) + bswap", ours,
              [&]
              {
                  vnRefPointer<vnSerializeAdapterMemory> m(openMemory());
                  std::uint64_t s = 0;
                  for (int i = 0; i < INTS; i++)
                  {
                      std::uint32_t v = 0;
                      m->read(reinterpret_cast<unsigned char*>(&v), 4);
                      s += __builtin_bswap32(v);
                  }
                  return s;
              });
        suite.run();
    }
    {
        Group& g = suite.group("memory stream: write 32-bit big-endian", nsPerOp, INTS).rounds(5).sameCheck();
        std::vector<char> ready(INTS * 4u);
        g.add("into ready memory by hand", limit,
              [&]
              {
                  for (int i = 0; i < INTS; i++)
                  {
                      const std::uint32_t v = __builtin_bswap32(i);
                      std::memcpy(ready.data() + 4 * i, &v, 4);
                      keep(ready);
                  }
                  return std::uint64_t(ready.size());
              });
        g.add("std::string append", kit,
              [&]
              {
                  std::string s;
                  for (int i = 0; i < INTS; i++)
                  {
                      const std::uint32_t v = __builtin_bswap32(i);
                      s.append((const char*)&v, 4);
                  }
                  keep(s);
                  return std::uint64_t(s.size());
              });
#ifdef HAVE_POCO
        g.add("Poco::BinaryWriter to ostringstream", kit,
              [&]
              {
                  std::ostringstream o;
                  Poco::BinaryWriter w(o, Poco::BinaryWriter::BIG_ENDIAN_BYTE_ORDER);
                  for (int i = 0; i < INTS; i++)
                      w << Poco::UInt32(i);
                  return std::uint64_t(o.tellp());
              });
#endif
#ifdef HAVE_QT
        g.add("QDataStream to QByteArray", kit,
              [&]
              {
                  QByteArray a;
                  QDataStream d(&a, QIODevice::WriteOnly);
                  for (int i = 0; i < INTS; i++)
                      d << quint32(i);
                  return std::uint64_t(a.size());
              });
#endif
        g.add("vnSerializeAdapterMemory write(4)", ours,
              [&]
              {
                  vnRefPointer<vnSerializeAdapterMemory> m(newMemory(ready.data(), ready.size()));
                  for (int i = 0; i < INTS; i++)
                  {
                      std::uint32_t v = __builtin_bswap32(i);
                      m->write(reinterpret_cast<unsigned char*>(&v), 4);
                  }
                  keep(ready);
                  return std::uint64_t(INTS) * 4;
              });
        suite.run();
    }
    {
        Group& g = suite.group("memory stream: read byte by byte", mbPerSecond, double(memory.size()))
                       .rounds(5)
                       .sameCheck();
        g.add("a pointer", limit,
              [&]
              {
                  std::uint64_t s = 0;
                  for (const char *p = memory.data(), *e = p + memory.size(); p != e; p++)
                  {
                      const unsigned char c = *p;
                      keep(c);
                      s += c;
                  }
                  return s;
              });
#ifdef HAVE_POCO
        g.add("Poco::MemoryInputStream get()", kit,
              [&]
              {
                  Poco::MemoryInputStream m(memory.data(), memory.size());
                  std::uint64_t s = 0;
                  for (int c; (c = m.get()) != EOF;)
                      s += c;
                  return s;
              });
#endif
        g.add("std::istream get()", kit,
              [&]
              {
                  MemoryBuffer buffer(memory);
                  std::istream m(&buffer);
                  std::uint64_t s = 0;
                  for (int c; (c = m.get()) != EOF;)
                      s += c;
                  return s;
              });
        g.add("vnSerializeAdapterMemory read()", ours,
              [&]
              {
                  vnRefPointer<vnSerializeAdapterMemory> m(openMemory());
                  std::uint64_t s = 0;
                  while (m->hasData())
                      s += m->read();
                  return s;
              });
        g.add("vnSerializeAdapterMemory read(), length known", ours,
              [&]
              {
                  vnRefPointer<vnSerializeAdapterMemory> m(openMemory());
                  std::uint64_t s = 0;
                  for (unsigned int n = m->length(); n > 0; n--)
                      s += m->read();
                  return s;
              });
        suite.run();
    }
    {
        Group& g = suite.group("memory stream: write byte by byte", mbPerSecond, double(memory.size()))
                       .rounds(5)
                       .sameCheck();
        std::vector<char> ready(memory.size());
        g.add("a pointer", limit,
              [&]
              {
                  for (char& c : ready)
                  {
                      c = 'x';
                      keep(c);
                  }
                  return std::uint64_t(ready.size());
              });
#ifdef HAVE_POCO
        g.add("Poco::MemoryOutputStream put()", kit,
              [&]
              {
                  Poco::MemoryOutputStream m(ready.data(), ready.size());
                  for (std::size_t i = 0; i < ready.size(); i++)
                      m.put('x');
                  return std::uint64_t(m.charsWritten());
              });
#endif
        g.add("vnSerializeAdapterMemory write()", ours,
              [&]
              {
                  vnRefPointer<vnSerializeAdapterMemory> m(newMemory(ready.data(), ready.size()));
                  for (std::size_t i = 0; i < ready.size(); i++)
                      m->write('x');
                  keep(ready);
                  return std::uint64_t(ready.size());
              });
        suite.run();
    }
    const int BLOCKS = INTS / 4;
    {
        Group& g = suite.group("memory stream: read blocks of 16", nsPerOp, BLOCKS).rounds(5).sameCheck();
        g.add("memcpy", limit,
              [&]
              {
                  std::uint64_t s = 0;
                  char b[16];
                  for (int i = 0; i < BLOCKS; i++)
                  {
                      std::memcpy(b, memory.data() + 16 * i, 16);
                      keep(b);
                      s += (unsigned char)b[5];
                  }
                  return s;
              });
#ifdef HAVE_POCO
        g.add("Poco::MemoryInputStream read", kit,
              [&]
              {
                  Poco::MemoryInputStream m(memory.data(), memory.size());
                  std::uint64_t s = 0;
                  char b[16];
                  for (int i = 0; i < BLOCKS; i++)
                  {
                      m.read(b, 16);
                      keep(b);
                      s += (unsigned char)b[5];
                  }
                  return s;
              });
#endif
        g.add("vnSerializeAdapterMemory read", ours,
              [&]
              {
                  vnRefPointer<vnSerializeAdapterMemory> m(openMemory());
                  std::uint64_t s = 0;
                  unsigned char b[16];
                  for (int i = 0; i < BLOCKS; i++)
                  {
                      m->read(b, 16);
                      keep(b);
                      s += b[5];
                  }
                  return s;
              });
        suite.run();
    }
    {
        Group& g = suite.group("memory stream: write blocks of 16", nsPerOp, BLOCKS).rounds(5).sameCheck();
        std::vector<char> ready(BLOCKS * 16u);
        unsigned char b[16] = "fifteen letters";
        g.add("memcpy", limit,
              [&]
              {
                  for (int i = 0; i < BLOCKS; i++)
                  {
                      std::memcpy(ready.data() + 16 * i, b, 16);
                      keep(ready);
                  }
                  return std::uint64_t(BLOCKS) * 16;
              });
#ifdef HAVE_POCO
        g.add("Poco::MemoryOutputStream write", kit,
              [&]
              {
                  Poco::MemoryOutputStream m(ready.data(), ready.size());
                  for (int i = 0; i < BLOCKS; i++)
                      m.write(reinterpret_cast<char*>(b), 16);
                  return std::uint64_t(m.charsWritten());
              });
#endif
        g.add("vnSerializeAdapterMemory write", ours,
              [&]
              {
                  vnRefPointer<vnSerializeAdapterMemory> m(newMemory(ready.data(), ready.size()));
                  for (int i = 0; i < BLOCKS; i++)
                      m->write(b, 16);
                  keep(ready);
                  return std::uint64_t(BLOCKS) * 16;
              });
        suite.run();
    }
    {
        const int times = suite.scaled(20000);
        const char bytes[] = "bytes in memory";
        const std::string place = std::to_string(reinterpret_cast<std::uintptr_t>(bytes)) + ",15";
        const std::string urls[] = {"mem:" + place, "file:" + out};
        std::ofstream(out, std::ios::binary) << bytes;
#ifdef HAVE_POCO
        Poco::URIStreamOpener opener;
        opener.registerStreamFactory("mem", new MemoryFactory);
#endif
        for (const std::string& url : urls)
        {
            const std::string scheme = url.substr(0, url.find(':') + 1);
            Group& g = suite.group("open by URL, read a byte, close: " + scheme, nsPerOp, times).rounds(5);
            g.sameCheck();
#ifdef HAVE_POCO
            g.add("Poco::URIStreamOpener", kit,
                  [&opener, &url, times]
                  {
                      std::uint64_t sum = 0;
                      for (int i = 0; i < times; i++)
                      {
                          std::unique_ptr<std::istream> stream(opener.open(Poco::URI(url)));
                          sum += static_cast<unsigned char>(stream->get());
                      }
                      return sum;
                  });
#endif
            const vnString ourUrl(url.c_str());
            g.add("getURLAdapter", ours, [ourUrl, times] { return openByURL(ourUrl, times); });
        }
        suite.run();
    }
    unlink(in.c_str());
    unlink(out.c_str());
    return suite.getResult();
}
