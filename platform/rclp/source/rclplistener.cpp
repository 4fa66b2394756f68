#include "rclp/rclplistener.h"

#include "rclp/irclpconnector.h"
#include "rclp/irclpserver.h"
#include "rclp/rclpconnection.h"

#include "logkit/logging.h"
#include "rtk/thread.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

std::mutex RCLPListener::s_overrideLock;
std::string RCLPListener::s_overrideAddress;
int RCLPListener::s_overridePort = -1;

namespace
{
Orvane::Utilities::Logging::LogCategory& rclpLog()
{
    static Orvane::Utilities::Logging::LogCategory s_log("RCLP");
    return s_log;
}

// The numeric text and port of a socket address.
void describe(sockaddr_storage const& address, std::string& text, uint16_t& port)
{
    char buffer[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET)
    {
        sockaddr_in const& v4 = reinterpret_cast<sockaddr_in const&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, buffer, sizeof(buffer));
        port = ntohs(v4.sin_port);
    }
    else if (address.ss_family == AF_INET6)
    {
        sockaddr_in6 const& v6 = reinterpret_cast<sockaddr_in6 const&>(address);
        inet_ntop(AF_INET6, &v6.sin6_addr, buffer, sizeof(buffer));
        port = ntohs(v6.sin6_port);
    }
    else
    {
        port = 0;
    }
    text = buffer;
}
} // namespace

class RCLPListener::Acceptor : public rtk::Thread
{
public:
    explicit Acceptor(RCLPListener& listener) : rtk::Thread("RCLPListener"), m_listener(listener) {}
    ~Acceptor() override { shutdown(-1); }

protected:
    void run() override { m_listener.acceptLoop(); }
    bool shutdownCallback() override
    {
        uint64_t one = 1;
        ssize_t written = ::write(m_listener.m_wakeFd, &one, sizeof(one));
        return written == sizeof(one);
    }

private:
    RCLPListener& m_listener;
};

RCLPListener::RCLPListener(int transport) : m_transport(transport) {}

RCLPListener::~RCLPListener()
{
    m_pAcceptor.reset();
    if (m_fd >= 0)
    {
        ::close(m_fd);
    }
    if (m_wakeFd >= 0)
    {
        ::close(m_wakeFd);
    }
}

void RCLPListener::setListenOverride(std::string const& address, int port)
{
    std::lock_guard<std::mutex> guard(s_overrideLock);
    s_overrideAddress = address;
    s_overridePort = port;
}

bool RCLPListener::listen(std::string const& address, uint16_t port, IRCLPConnector* pConnector)
{
    std::string bindAddress = address;
    int bindPort = port;
    {
        std::lock_guard<std::mutex> guard(s_overrideLock);
        if (!s_overrideAddress.empty())
        {
            bindAddress = s_overrideAddress;
        }
        if (s_overridePort >= 0)
        {
            bindPort = s_overridePort;
        }
    }
    std::string where = bindAddress + ":" + std::to_string(bindPort);
    if (m_transport != eTransportTCP)
    {
        rclpLog().error() << "Cannot listen for RCLP connections: unknown transport " << m_transport << std::endl;
        return false;
    }
    if (m_fd >= 0 || pConnector == nullptr)
    {
        rclpLog().error() << "Cannot listen for RCLP connections on " << where
                          << (m_fd >= 0 ? ": the listener listens already" : ": no connector") << std::endl;
        return false;
    }

    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    addrinfo* pInfo = nullptr;
    int status = getaddrinfo(bindAddress.c_str(), std::to_string(bindPort).c_str(), &hints, &pInfo);
    if (status != 0 || pInfo == nullptr)
    {
        rclpLog().error() << "Cannot listen for RCLP connections on " << where << ": " << gai_strerror(status)
                          << std::endl;
        return false;
    }
    int fd = socket(pInfo->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int one = 1;
    bool ok = fd >= 0 && setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof(one)) == 0 &&
              bind(fd, pInfo->ai_addr, pInfo->ai_addrlen) == 0 && ::listen(fd, SOMAXCONN) == 0;
    int error = errno;
    freeaddrinfo(pInfo);
    if (!ok)
    {
        rclpLog().error() << "Cannot listen for RCLP connections on " << where << ": " << std::strerror(error)
                          << std::endl;
        if (fd >= 0)
        {
            ::close(fd);
        }
        return false;
    }

    sockaddr_storage bound;
    socklen_t length = sizeof(bound);
    getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
    describe(bound, m_address, m_port);
    m_fd = fd;
    m_wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    m_pConnector = pConnector;
    m_pAcceptor.reset(new Acceptor(*this));
    if (m_wakeFd < 0 || !m_pAcceptor->start())
    {
        rclpLog().error() << "Cannot listen for RCLP connections on " << where << ": no thread" << std::endl;
        m_pAcceptor.reset();
        ::close(m_fd);
        m_fd = -1;
        m_port = 0;
        return false;
    }
    rclpLog().info() << "Listening for RCLP connections on " << m_address << ":" << m_port << std::endl;
    return true;
}

void RCLPListener::acceptLoop()
{
    for (;;)
    {
        pollfd fds[2] = {{m_fd, POLLIN, 0}, {m_wakeFd, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            rclpLog().error() << "RCLP listener stopped: " << std::strerror(errno) << std::endl;
            return;
        }
        if (fds[1].revents != 0)
        {
            return;
        }
        if ((fds[0].revents & POLLIN) != 0)
        {
            acceptOne();
        }
    }
}

void RCLPListener::acceptOne()
{
    sockaddr_storage peer;
    socklen_t length = sizeof(peer);
    int fd = accept4(m_fd, reinterpret_cast<sockaddr*>(&peer), &length, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0)
    {
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
        {
            // Out of descriptors: the client stays in the backlog; try again a little later.
            rclpLog().error() << "Cannot accept an RCLP connection: " << std::strerror(errno) << std::endl;
            rtk::Thread::mssleep(100);
        }
        return;
    }
    std::string address;
    uint16_t port = 0;
    describe(peer, address, port);
    RCLPConnection* pConnection = new RCLPConnection(fd, address, port);
    m_pConnector->acceptConnection(pConnection);
    if (pConnection->getServer() == nullptr)
    {
        // Nobody took the connection.
        delete pConnection;
        return;
    }
    if (!pConnection->start())
    {
        // The server must still hear the end, or it would wait for it forever.
        rclpLog().error() << "Cannot start a thread for RCLP client " << address << ":" << port << std::endl;
        pConnection->disconnect();
        pConnection->getServer()->connStatus(eConnStatusDisconnected);
    }
}
