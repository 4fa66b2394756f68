#ifndef RCLP_TESTCLIENT_H
#define RCLP_TESTCLIENT_H

// A blocking loopback client of the remote control link for tests: connect, send lines, read lines
// with a time limit.

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

class RCLPTestClient
{
public:
    explicit RCLPTestClient(uint16_t port) : m_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
            close();
    }
    ~RCLPTestClient() { close(); }
    RCLPTestClient(RCLPTestClient const&) = delete;
    RCLPTestClient& operator=(RCLPTestClient const&) = delete;

    bool isConnected() const { return m_fd >= 0; }
    // The local port, as the server sees it.
    uint16_t getLocalPort() const
    {
        sockaddr_in address = {};
        socklen_t length = sizeof(address);
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &length);
        return ntohs(address.sin_port);
    }
    bool sendRaw(std::string const& bytes)
    {
        for (size_t done = 0; done < bytes.size();)
        {
            ssize_t const sent = ::send(m_fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (sent <= 0)
                return false;
            done += static_cast<size_t>(sent);
        }
        return true;
    }
    bool sendLine(std::string const& line) { return sendRaw(line + "\n"); }
    // The next line without its line feed; false when none came within timeoutMs or the connection ended.
    bool readLine(std::string& line, int timeoutMs = 2000)
    {
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;;)
        {
            size_t const feed = m_buffer.find('\n');
            if (feed != std::string::npos)
            {
                line = m_buffer.substr(0, feed);
                m_buffer.erase(0, feed + 1);
                return true;
            }
            long const left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
            pollfd pfd = {m_fd, POLLIN, 0};
            int const ready = m_closed || left <= 0 ? 0 : poll(&pfd, 1, static_cast<int>(left));
            if (ready < 0 && errno == EINTR)
                continue;
            char chunk[65536];
            ssize_t const got = ready > 0 ? ::recv(m_fd, chunk, sizeof(chunk), 0) : -1;
            if (ready <= 0)
                return false;
            if (got <= 0)
            {
                m_closed = true;
                return false;
            }
            m_buffer.append(chunk, static_cast<size_t>(got));
        }
    }
    // True when the server ends the connection within timeoutMs (lines before the end are dropped).
    bool waitClosed(int timeoutMs = 2000)
    {
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (std::string line; !m_closed && std::chrono::steady_clock::now() < deadline;)
            readLine(line, 20);
        return m_closed;
    }
    // Ends the connection with a reset instead of an orderly close.
    void abort()
    {
        linger option = {1, 0};
        setsockopt(m_fd, SOL_SOCKET, SO_LINGER, &option, sizeof(option));
        close();
    }
    void close()
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd;
    std::string m_buffer;
    bool m_closed = false;
};

#endif
