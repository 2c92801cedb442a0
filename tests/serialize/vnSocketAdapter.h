// SPDX-License-Identifier: MIT
#pragma once

#include <vnBase/vnSerializeAdapter.h>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

/// A connected socket as a stream. It is closed with the adapter.
class vnSocketAdapter : public vnSerializeAdapter
{
public:
    explicit vnSocketAdapter(int descriptor) : m_descriptor(descriptor) {}
    ~vnSocketAdapter() noexcept(false) override { close(m_descriptor); }
    unsigned char isActive() override { return hasData_imp(); }

protected:
    void write_imp(unsigned char* data, unsigned int count) override
    {
        while (count > 0)
        {
            const ssize_t sent = send(m_descriptor, data, count, MSG_NOSIGNAL);
            if (sent <= 0)
            {
                setError("connection closed");
                return;
            }
            data += sent;
            count -= static_cast<unsigned int>(sent);
        }
    }
    void write_imp(unsigned char byte) override { write_imp(&byte, 1); }
    unsigned int read_imp(unsigned char* data, unsigned int count) override
    {
        const ssize_t got = recv(m_descriptor, data, count, 0);
        return got > 0 ? static_cast<unsigned int>(got) : 0;
    }
    unsigned char read_imp() override
    {
        unsigned char byte = 0;
        read_imp(&byte, 1);
        return byte;
    }
    unsigned int length_imp() override
    {
        int count = 0;
        return ioctl(m_descriptor, FIONREAD, &count) == 0 ? static_cast<unsigned int>(count) : 0;
    }
    unsigned char hasData_imp() override
    {
        pollfd wanted{m_descriptor, POLLIN, 0};
        return poll(&wanted, 1, 0) == 0 || length_imp() > 0;
    }

private:
    int m_descriptor;
};
