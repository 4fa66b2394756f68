#include "rclp/rclpconnection.h"

#include "rclp/irclpserver.h"

#include "logkit/logging.h"
#include "rtk/thread.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

std::atomic<size_t> RCLPConnection::s_queueLimit{1024 * 1024};

namespace
{
Orvane::Utilities::Logging::LogCategory& rclpLog()
{
    static Orvane::Utilities::Logging::LogCategory s_log("RCLP");
    return s_log;
}

int const s_sendFlags = MSG_DONTWAIT | MSG_NOSIGNAL;
} // namespace

// The connection's thread; the connection does the work.
class RCLPConnection::Worker : public rtk::Thread
{
public:
    explicit Worker(RCLPConnection& connection) : rtk::Thread("RCLPConnection"), m_connection(connection) {}
    ~Worker() override { shutdown(-1); }

protected:
    void run() override { m_connection.run(); }
    bool shutdownCallback() override
    {
        m_connection.disconnect();
        return true;
    }

private:
    RCLPConnection& m_connection;
};

RCLPConnection::RCLPConnection(int fd, std::string const& peerAddress, uint16_t peerPort)
    : m_fd(fd), m_wakeFd(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)), m_peerAddress(peerAddress),
      m_peerPort(peerPort), m_queueLimit(s_queueLimit.load())
{
    int flags = fcntl(m_fd, F_GETFL, 0);
    if (flags >= 0)
    {
        fcntl(m_fd, F_SETFL, flags | O_NONBLOCK);
    }
    // Updates are small and must leave at once. (Fails harmlessly on sockets that are not TCP.)
    int one = 1;
    setsockopt(m_fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof(one));
}

RCLPConnection::~RCLPConnection()
{
    m_pWorker.reset();
    ::close(m_fd);
    if (m_wakeFd >= 0)
    {
        ::close(m_wakeFd);
    }
}

void RCLPConnection::setQueueLimit(size_t bytes)
{
    s_queueLimit = bytes;
}

size_t RCLPConnection::getQueueLimit()
{
    return s_queueLimit.load();
}

size_t RCLPConnection::getQueuedBytes() const
{
    std::lock_guard<std::mutex> guard(m_outLock);
    return m_queue.size() - m_queueOffset;
}

bool RCLPConnection::start()
{
    if (m_pServer == nullptr || m_pWorker)
    {
        return false;
    }
    m_pWorker.reset(new Worker(*this));
    if (!m_pWorker->start())
    {
        m_pWorker.reset();
        return false;
    }
    return true;
}

void RCLPConnection::disconnect()
{
    std::lock_guard<std::mutex> guard(m_outLock);
    close(nullptr);
}

void RCLPConnection::updateState(std::string const& fid, ParameterValue const& value)
{
    // A change is sent to every subscribed connection in a row on the writer's thread: the line is
    // made once.
    thread_local std::string t_fid;
    thread_local std::string t_value;
    thread_local std::string t_line;
    if (t_line.empty() || fid != t_fid || value.getText() != t_value)
    {
        t_line = RCLPWire::formatUpdate(fid, value.getText());
        t_fid = fid;
        t_value = value.getText();
    }
    send(t_line);
}

void RCLPConnection::trigger(std::string const& fid, ParameterValue const& value)
{
    send(RCLPWire::formatTrigger(fid, value.getText()));
}

void RCLPConnection::wake()
{
    uint64_t one = 1;
    ssize_t written = ::write(m_wakeFd, &one, sizeof(one));
    (void)written; // a full counter already wakes the thread
}

void RCLPConnection::close(char const* pReason)
{
    // Caller holds m_outLock.
    if (m_closing.load())
    {
        return;
    }
    if (pReason != nullptr)
    {
        rclpLog().warning() << "Dropping RCLP client " << m_peerAddress << ":" << m_peerPort << ": " << pReason
                            << std::endl;
    }
    m_closing = true;
    ::shutdown(m_fd, SHUT_RDWR);
    std::string().swap(m_queue);
    m_queueOffset = 0;
    wake();
}

void RCLPConnection::send(std::string const& line)
{
    std::lock_guard<std::mutex> guard(m_outLock);
    if (m_closing.load())
    {
        return;
    }
    if (m_queueOffset == m_queue.size())
    {
        // Nothing waits: straight to the socket, which takes it whole in the usual case.
        ssize_t sent = ::send(m_fd, line.data(), line.size(), s_sendFlags);
        if (sent == static_cast<ssize_t>(line.size()))
        {
            return;
        }
        if (sent < 0)
        {
            if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)
            {
                close(nullptr); // the reader sees the broken socket too and ends the connection
                return;
            }
            sent = 0;
        }
        m_queue.assign(line, static_cast<size_t>(sent), std::string::npos);
        m_queueOffset = 0;
        // The thread must now wait for the socket to take more.
        wake();
    }
    else
    {
        m_queue.append(line);
    }
    if (m_queue.size() - m_queueOffset > m_queueLimit)
    {
        std::string reason = "it does not read fast enough (more than " + std::to_string(m_queueLimit) +
                             " bytes waiting)";
        close(reason.c_str());
    }
}

bool RCLPConnection::flushLocked()
{
    while (m_queueOffset < m_queue.size())
    {
        ssize_t sent = ::send(m_fd, m_queue.data() + m_queueOffset, m_queue.size() - m_queueOffset, s_sendFlags);
        if (sent < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            return errno == EAGAIN || errno == EWOULDBLOCK;
        }
        m_queueOffset += static_cast<size_t>(sent);
    }
    m_queue.clear();
    m_queueOffset = 0;
    return true;
}

bool RCLPConnection::receive(char const* pData, size_t size)
{
    bool fits = m_reader.feed(pData, size,
                              [this](std::string const& line)
                              {
                                  if (line.empty())
                                  {
                                      return; // blank lines are allowed between messages
                                  }
                                  RCLPMessage message;
                                  std::string error;
                                  if (!RCLPWire::parseClientLine(line, message, error))
                                  {
                                      send(RCLPWire::formatError(error));
                                      return;
                                  }
                                  if (m_pServer == nullptr)
                                  {
                                      send(RCLPWire::formatError("the connection has no server"));
                                      return;
                                  }
                                  error = RCLPWire::dispatch(message, *m_pServer);
                                  if (!error.empty())
                                  {
                                      send(RCLPWire::formatError(error));
                                  }
                              });
    if (!fits)
    {
        std::string limit = std::to_string(RCLPWire::s_maxLineLength);
        send(RCLPWire::formatError("line longer than " + limit + " bytes; closing the connection"));
        rclpLog().warning() << "RCLP client " << m_peerAddress << ":" << m_peerPort << " sent a line longer than "
                            << limit << " bytes; closing the connection" << std::endl;
    }
    return fits;
}

void RCLPConnection::drain(int timeoutMs)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;)
    {
        {
            std::lock_guard<std::mutex> guard(m_outLock);
            if (m_closing.load() || !flushLocked() || m_queueOffset == m_queue.size())
            {
                return;
            }
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
        {
            return;
        }
        pollfd pfd = {m_fd, POLLOUT, 0};
        if (poll(&pfd, 1, static_cast<int>(left.count())) < 0 && errno != EINTR)
        {
            return;
        }
    }
}

void RCLPConnection::run()
{
    m_pServer->connStatus(eConnStatusConnected);
    std::unique_ptr<char[]> buffer(new char[65536]);
    while (!m_closing.load())
    {
        pollfd fds[2];
        fds[0].fd = m_fd;
        fds[0].events = POLLIN;
        fds[0].revents = 0;
        {
            std::lock_guard<std::mutex> guard(m_outLock);
            if (m_queueOffset != m_queue.size())
            {
                fds[0].events |= POLLOUT;
            }
        }
        fds[1].fd = m_wakeFd;
        fds[1].events = POLLIN;
        fds[1].revents = 0;
        if (poll(fds, 2, -1) < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            break;
        }
        if (fds[1].revents != 0)
        {
            uint64_t count = 0;
            ssize_t got = ::read(m_wakeFd, &count, sizeof(count));
            (void)got;
        }
        if (m_closing.load())
        {
            break;
        }
        if ((fds[0].revents & POLLOUT) != 0)
        {
            std::lock_guard<std::mutex> guard(m_outLock);
            if (!flushLocked())
            {
                close(nullptr);
                break;
            }
        }
        if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0)
        {
            ssize_t got = ::recv(m_fd, buffer.get(), 65536, 0);
            if (got == 0)
            {
                // The client has finished sending: what it is still owed goes out first.
                drain(1000);
                break;
            }
            if (got < 0)
            {
                if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
                {
                    continue;
                }
                break;
            }
            if (!receive(buffer.get(), static_cast<size_t>(got)))
            {
                drain(200);
                break;
            }
        }
    }
    {
        std::lock_guard<std::mutex> guard(m_outLock);
        close(nullptr);
    }
    m_pServer->connStatus(eConnStatusDisconnected);
}
