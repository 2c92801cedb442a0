// SPDX-License-Identifier: MIT
// Counts what a web server has served, by a grammar that is a text of its own: change accesslog.rules for
// another format of the log.
#include <vnBase/vnBaseError.h>
#include <vnBase/vnMessage.h>
#include <vnBase/vnParserFunction.h>
#include <vnBase/vnSerializeAdapterFile.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

namespace
{
class AccessLog : public vnParserFunction<AccessLog>
{
public:
    AccessLog()
    {
        addFunction("digit", &AccessLog::parseDigit);
        addFunction("fMethod", &AccessLog::fMethod);
        addFunction("fStatus", &AccessLog::fStatus);
        addFunction("fSize", &AccessLog::fSize);
        addFunction("fEntry", &AccessLog::fEntry);
        addFunction("fLast", &AccessLog::fLast);
    }

    void print() const
    {
        std::printf("lines %u\n", getLine() + (getColumn() > 0 ? 1 : 0));
        std::printf("requests %llu\n", m_requests);
        std::printf("bytes %llu\n", m_bytes);
        for (const auto& [method, count] : m_methods)
            std::printf("method %s %llu\n", method.c_str(), count);
        for (const auto& [status, count] : m_statuses)
            std::printf("status %s %llu\n", status.c_str(), count);
    }

private:
    // The functions note what they saw; only a line that matched to its end counts.
    vnParseResult fMethod() { return note(m_method); }
    vnParseResult fStatus() { return note(m_status); }
    vnParseResult fSize() { return note(m_size); }
    vnParseResult fEntry()
    {
        ++m_requests;
        ++m_methods[m_method];
        ++m_statuses[m_status];
        m_bytes += std::strtoull(m_size.c_str(), nullptr, 10); // "-" is none
        return VN_PARSE_OK;
    }
    vnParseResult fLast() { return hasData() ? VN_PARSE_NO_MATCH : fEntry(); }
    vnParseResult note(std::string& to)
    {
        vnString text;
        if (!takeMarked(text))
            return VN_PARSE_ERROR;
        to = text.getString();
        return VN_PARSE_OK;
    }

    std::string m_method, m_status, m_size;
    vnUInt64 m_requests = 0;
    vnUInt64 m_bytes = 0;
    std::map<std::string, vnUInt64> m_methods, m_statuses;
};

vnRefPointer<vnSerializeAdapter> openFile(const char* name)
{
    vnRefPointer<vnSerializeAdapter> file(new vnSerializeAdapterFile(name, VN_SERIALIZE_INPUT, 0, 0));
    return file->hasError() ? nullptr : file;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: %s RULES LOG\n", argv[0]);
        return 2;
    }
    const vnRefPointer<vnSerializeAdapter> rules = openFile(argv[1]);
    const vnRefPointer<vnSerializeAdapter> log = openFile(argv[2]);
    AccessLog parser;
    if (!rules || !log || !parser.addRules(rules.get(), argv[1]))
        return 1;
    parser.setAdapter(log.get());
    try
    {
        if (parser.parseRule("log") == VN_PARSE_ERROR)
            std::fprintf(stderr, "%s\n", parser.getError().getString());
        else if (log->hasError())
            std::fprintf(stderr, "%s\n", log->getError().getString());
        else if (parser.hasData())
            std::fprintf(stderr, "line %u matches no rule\n", parser.getLine() + 1);
        else
        {
            parser.print();
            return 0;
        }
    }
    catch (const vnFatalError&)
    {
        // Its message was posted: the parser can't go back over a line of more than 50,000 characters.
        std::fprintf(stderr, "line %u can't be read\n", parser.getLine() + 1);
    }
    return 1;
}
