// SPDX-License-Identifier: MIT
#include "vnStandardStreams.h"

#include "vnTool.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include <unistd.h>

namespace
{
// Gives the bytes as they come.
class StandardInput : public vnSerializeAdapter
{
protected:
    void write_imp(unsigned char) override {}

    unsigned char read_imp() override
    {
        unsigned char byte = 0;
        read_imp(&byte, 1);
        return byte;
    }

    unsigned int read_imp(unsigned char* data, unsigned int count) override
    {
        unsigned int done = 0;
        while (done < count && fill())
        {
            const unsigned int step = std::min(count - done, length_imp());
            std::memcpy(data + done, getReadNext(), step);
            done += step;
            open(getReadNext() + step);
        }
        return done;
    }

    unsigned int length_imp() override
    {
        return getReadNext() ? static_cast<unsigned int>(m_end - getReadNext()) : 0;
    }

    unsigned char hasData_imp() override { return fill(); }

private:
    void open(const unsigned char* next) { setReadWindow(next, m_end); }

    bool fill()
    {
        if (length_imp() > 0)
            return true;
        ssize_t got = 0;
        do
            got = ::read(STDIN_FILENO, m_buffer.data(), m_buffer.size());
        while (got < 0 && errno == EINTR);
        if (got < 0)
            throw vnFailure(std::string("can't read standard input: ") + std::strerror(errno));
        m_end = m_buffer.data() + got;
        open(m_buffer.data());
        return got > 0;
    }

    std::vector<unsigned char> m_buffer = std::vector<unsigned char>(vnBlockReader::VN_BLOCK);
    const unsigned char* m_end = nullptr;
};

class StandardOutput : public vnSerializeAdapter
{
public:
    void flush() override { vnFlushResults(); }

protected:
    void write_imp(unsigned char* data, unsigned int count) override { vnWriteResult(data, count); }
    void write_imp(unsigned char byte) override { vnWriteResult(&byte, 1); }
    unsigned char read_imp() override { return 0; }
};
} // namespace

vnAdapter vnOpenStandardStream(vnSerializeAction action)
{
    vnAdapter stream;
    if (action == VN_SERIALIZE_INPUT)
        stream = new StandardInput;
    else
        stream = new StandardOutput;
    stream->setAdapterFlags(VN_ADAPTER_SILENT); // errors are reported by the program
    stream->setName("-");
    return stream;
}
