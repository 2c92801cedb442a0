// SPDX-License-Identifier: MIT
// Workload n: log messages to a file.  The file is in memory (tmpfs).
#include "bench.h"

#include <vnBase/vnMessage.h>
#include <vnBase/vnNotifyManager.h>
#include <vnBase/vnSerializeAdapterFile.h>

#include <ctime>
#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#ifdef HAVE_POCO
#include <Poco/AutoPtr.h>
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/NObserver.h>
#include <Poco/Notification.h>
#include <Poco/NotificationCenter.h>
#include <Poco/NullChannel.h>
#include <Poco/PatternFormatter.h>
#endif
#ifdef HAVE_QT
#include <QFile>
#include <QLoggingCategory>
#include <QTextStream>
#endif
#ifdef HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>
#endif

#ifdef HAVE_QT
static QFile* qtFile;
static bool qtFlush;
static void qtHandler(QtMsgType type, const QMessageLogContext& c, const QString& m)
{
    const QString s = qFormatLogMessage(type, c, m) + QLatin1Char('\n');
    qtFile->write(s.toUtf8());
    if (qtFlush)
        qtFile->flush();
}
#endif

// A time stamp to the millisecond; the date part is made once a second.
struct Stamp
{
    std::time_t last = 0;
    char date[32];
    int put(char* b)
    {
        timeval t;
        gettimeofday(&t, nullptr);
        if (t.tv_sec != last)
        {
            std::tm tm;
            last = t.tv_sec;
            localtime_r(&last, &tm);
            std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &tm);
        }
        std::memcpy(b, date, 19);
        const int ms = int(t.tv_usec / 1000);
        b[19] = '.';
        b[20] = char('0' + ms / 100);
        b[21] = char('0' + ms / 10 % 10);
        b[22] = char('0' + ms % 10);
        return 23;
    }
};

// Writes messages in the form of the other libraries.
class FileReceiver : public vnMessageReceiverInterface
{
public:
    FileReceiver(const std::string& path, bool flush)
        : m_file(path.c_str(), VN_SERIALIZE_OUTPUT, 0, 0), m_flush(flush)
    {
        vnMessage::addMessageReceiver(this);
    }
    ~FileReceiver() noexcept(false) override { vnMessage::removeMessageReceiver(this); }

    void onMessage(const vnString& sender, vnMessageLevel, const char* message) override
    {
        char line[512];
        char* p = line;
        *p++ = '[';
        p += m_stamp.put(p);
        p = put(p, "] [", 3);
        p = put(p, sender.getString(), sender.length());
        p = put(p, "] [info] ", 9);
        p = put(p, message, std::min<std::size_t>(std::strlen(message), 256));
        *p++ = '\n';
        vnBodyGuard guard(m_mutex);
        m_file.write(reinterpret_cast<unsigned char*>(line), static_cast<unsigned int>(p - line));
        if (m_flush)
            m_file.flush();
    }

private:
    static char* put(char* to, const char* text, std::size_t size)
    {
        std::memcpy(to, text, size);
        return to + size;
    }

    vnMutex m_mutex;
    vnSerializeAdapterFile m_file;
    Stamp m_stamp;
    bool m_flush;
};

// Drops messages, but counts them.
class CountingReceiver : public vnMessageReceiverInterface
{
public:
    CountingReceiver() { vnMessage::addMessageReceiver(this); }
    ~CountingReceiver() noexcept(false) override { vnMessage::removeMessageReceiver(this); }
    void onMessage(const vnString&, vnMessageLevel, const char*) override { ++count; }

    std::uint64_t count = 0;
};

class CountingSlave : public vnNotifyInterface
{
public:
    void onNotify(vnNotifyManager*, vnRefPointer<vnNotifyMessage>&, vnUInt64) override { ++count; }

    std::uint64_t count = 0;
};

#ifdef HAVE_POCO
struct PocoNews : Poco::Notification
{
};
struct PocoReader
{
    std::uint64_t count = 0;
    void onNews(const Poco::AutoPtr<PocoNews>&) { ++count; }
};
#endif

#ifdef HAVE_SPDLOG
template <class Sink>
static bench::Body spdlogTo(const std::string& path, int n, bool flush)
{
    return [=]
    {
        spdlog::logger log("bench", std::make_shared<Sink>(path, true));
        if (flush)
            log.flush_on(spdlog::level::info);
        for (int i = 0; i < n; i++)
            log.info("message {} of the run, value {}", i, i * 7);
        return 0;
    };
}
#endif

int main(int argc, char** argv)
{
    using namespace bench;
    Suite suite("n.logging", argc, argv);
    const int N = suite.scaled(1000000);
    const vnString sender("bench");
    const std::string path = scratchDir() + "/peer_log.txt";
    auto remove = [path] { unlink(path.c_str()); };

    for (bool flush : {false, true})
    {
        const int n = flush ? N / 5 : N;
        Group& g = suite
                       .group(flush ? "messages to a file, each one flushed" : "messages to a file, buffered",
                              nsPerOp, n)
                       .rounds(3);
        g.add(
            "stamp by hand + fprintf", limit,
            [=]
            {
                FILE* f = std::fopen(path.c_str(), "w");
                Stamp s;
                char b[32];
                for (int i = 0; i < n; i++)
                {
                    b[s.put(b)] = 0;
                    std::fprintf(f, "[%s] [%s] [%s] message %d of the run, value %d\n", b, "bench", "info", i,
                                 i * 7);
                    if (flush)
                        std::fflush(f);
                }
                std::fclose(f);
                return 0;
            },
            remove);
#ifdef HAVE_SPDLOG
        g.add("spdlog basic file, mt", peer, spdlogTo<spdlog::sinks::basic_file_sink_mt>(path, n, flush),
              remove);
        g.add("spdlog basic file, st", peer, spdlogTo<spdlog::sinks::basic_file_sink_st>(path, n, flush),
              remove);
#endif
#ifdef HAVE_POCO
        g.add(
            "Poco Logger + PatternFormatter + FileChannel", kit,
            [=]
            {
                {
                    Poco::AutoPtr<Poco::FileChannel> file(new Poco::FileChannel(path));
                    file->setProperty("flush", flush ? "true" : "false");
                    Poco::AutoPtr<Poco::PatternFormatter> pattern(
                        new Poco::PatternFormatter("[%Y-%m-%d %H:%M:%S.%i] [%s] [%p] %t"));
                    Poco::AutoPtr<Poco::FormattingChannel> channel(
                        new Poco::FormattingChannel(pattern, file));
                    Poco::Logger& log =
                        Poco::Logger::create("bench", channel, Poco::Message::PRIO_INFORMATION);
                    for (int i = 0; i < n; i++)
                        log.information("message %d of the run, value %d", i, i * 7);
                    Poco::Logger::destroy("bench");
                }
                return 0;
            },
            remove);
#endif
#ifdef HAVE_QT
        g.add(
            "qCInfo + message pattern + handler to QFile", kit,
            [=]
            {
                QFile f(QString::fromStdString(path));
                f.open(QIODevice::WriteOnly);
                qtFile = &f;
                qtFlush = flush;
                static QLoggingCategory category("bench");
                qSetMessagePattern("[%{time yyyy-MM-dd HH:mm:ss.zzz}] [%{category}] [%{type}] %{message}");
                QtMessageHandler old = qInstallMessageHandler(qtHandler);
                for (int i = 0; i < n / 5; i++)
                    qCInfo(category, "message %d of the run, value %d", i, i * 7);
                qInstallMessageHandler(old);
                return 0;
            },
            remove, 0.2);
#endif
        g.add(
            "vnMessage to a file adapter", ours,
            [=]
            {
                FileReceiver receiver(path, flush);
                for (int i = 0; i < n; i++)
                    vnMessage::message(sender, VN_MESSAGE_NOTICE, "message %d of the run, value %d", i,
                                       i * 7);
                return 0;
            },
            remove);
        suite.run();
    }
    {
        const int M = suite.scaled(20000000);
        Group& g = suite.group("a message below the level (not written)", nsPerOp, M);
#ifdef HAVE_SPDLOG
        auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(path, true);
        spdlog::logger slog("bench", sink);
        g.add("spdlog", peer,
              [&]
              {
                  for (int i = 0; i < M; i++)
                      slog.debug("message {} of the run, value {}", i, i * 7);
                  return 0;
              });
#endif
#ifdef HAVE_POCO
        Poco::Logger& plog = Poco::Logger::get("quiet");
        plog.setLevel(Poco::Message::PRIO_WARNING);
        g.add("Poco Logger", kit,
              [&]
              {
                  for (int i = 0; i < M; i++)
                      if (plog.debug())
                          plog.debug("message %d of the run, value %d", i, i * 7);
                  return 0;
              });
#endif
#ifdef HAVE_QT
        static QLoggingCategory quiet("quiet", QtWarningMsg);
        g.add("qCDebug", kit,
              [&]
              {
                  for (int i = 0; i < M; i++)
                      qCDebug(quiet, "message %d of the run, value %d", i, i * 7);
                  return 0;
              });
#endif
        g.add("vnMessage", ours,
              [&]
              {
                  for (int i = 0; i < M; i++)
                      vnMessage::message(sender, VN_MESSAGE_DEBUG, "message %d of the run, value %d", i,
                                         i * 7);
                  return 0;
              });
        suite.run();
    }
    {
        Group& g = suite.group("a message to a receiver that drops it", nsPerOp, N);
#ifdef HAVE_SPDLOG
        spdlog::logger slog("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
        g.add("spdlog null sink, mt", peer,
              [&]
              {
                  for (int i = 0; i < N; i++)
                      slog.info("message {} of the run, value {}", i, i * 7);
                  return 0;
              });
#endif
#ifdef HAVE_POCO
        Poco::AutoPtr<Poco::NullChannel> channel(new Poco::NullChannel);
        Poco::Logger& plog = Poco::Logger::create("drop", channel, Poco::Message::PRIO_INFORMATION);
        g.add("Poco Logger + NullChannel", kit,
              [&]
              {
                  for (int i = 0; i < N; i++)
                      plog.information("message %d of the run, value %d", i, i * 7);
                  return 0;
              });
#endif
#ifdef HAVE_QT
        static QLoggingCategory category("drop");
        const auto drop = [](QtMsgType, const QMessageLogContext&, const QString&) {};
        g.add("qCInfo + empty handler", kit,
              [&]
              {
                  QtMessageHandler old = qInstallMessageHandler(drop);
                  for (int i = 0; i < N; i++)
                      qCInfo(category, "message %d of the run, value %d", i, i * 7);
                  qInstallMessageHandler(old);
                  return 0;
              });
#endif
        g.add("vnMessage", ours,
              [&]
              {
                  CountingReceiver receiver;
                  for (int i = 0; i < N; i++)
                      vnMessage::message(sender, VN_MESSAGE_NOTICE, "message %d of the run, value %d", i,
                                         i * 7);
                  return receiver.count;
              });
        suite.run();
    }
    {
        Group& g = suite.group("notification: post to delivery, 1 subscriber", nsPerOp, N).sameCheck();
#ifdef HAVE_POCO
        g.add("Poco::NotificationCenter", kit,
              [&]
              {
                  Poco::NotificationCenter center;
                  PocoReader reader;
                  const Poco::NObserver<PocoReader, PocoNews> observer(reader, &PocoReader::onNews);
                  center.addObserver(observer);
                  for (int i = 0; i < N; i++)
                      center.postNotification(new PocoNews);
                  center.removeObserver(observer);
                  return reader.count;
              });
#endif
        // A message made, queued and delivered.
        g.add("vnNotifyManager", ours,
              [&]
              {
                  vnNotifyManager master;
                  CountingSlave slave;
                  master.addSubscriber(&slave, 0);
                  const vnString command("news");
                  for (int i = 0; i < N; i++)
                      master.notify(command, 0, 0, nullptr, nullptr, 0, 1);
                  return slave.count;
              });
        // The message is made once.
        g.add("vnNotifyMaster", ours,
              [&]
              {
                  vnNotifyManager master;
                  CountingSlave slave;
                  master.addSubscriber(&slave, 0);
                  vnRefPointer<vnNotifyMessage> message(new vnNotifyMessage("news", 0, nullptr, nullptr, 0));
                  for (int i = 0; i < N; i++)
                      master.post(message, 0, 0, 0, 0, 1);
                  return slave.count;
              });
        suite.run();
    }
    remove();
    return suite.getResult();
}
