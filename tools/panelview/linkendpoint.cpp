#include "linkendpoint.h"

#include <simlink/simline.h>

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace panelview
{
namespace
{
int64_t steadyMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool sameSender(sockaddr_in const& a, sockaddr_in const& b)
{
    return a.sin_addr.s_addr == b.sin_addr.s_addr && a.sin_port == b.sin_port;
}
} // namespace

LinkEndpoint::LinkEndpoint(LineHandler lineHandler, StateHandler stateHandler, int silenceMs)
    : m_lineHandler(std::move(lineHandler)), m_stateHandler(std::move(stateHandler)), m_silenceMs(silenceMs)
{
    std::memset(&m_core, 0, sizeof(m_core));
}

LinkEndpoint::~LinkEndpoint()
{
    stop();
    for (int fd : {m_socket, m_wake[0], m_wake[1]})
        if (fd >= 0)
            close(fd);
}

bool LinkEndpoint::bind(std::string const& host, int port, std::string& error)
{
    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* pResult = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &pResult) != 0 || pResult == nullptr)
    {
        error = "cannot resolve \"" + host + "\"";
        return false;
    }
    sockaddr_in local;
    std::memcpy(&local, pResult->ai_addr, sizeof(local));
    freeaddrinfo(pResult);
    local.sin_port = htons(static_cast<uint16_t>(port));
    m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_socket >= 0)
    {
        // A SYNC answer arrives as a burst of datagrams: room for a large panel's.
        int const buffer = 4 << 20;
        setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &buffer, sizeof(buffer));
    }
    socklen_t length = sizeof(local);
    if (m_socket < 0 || ::bind(m_socket, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0 ||
        getsockname(m_socket, reinterpret_cast<sockaddr*>(&local), &length) != 0)
    {
        error = "cannot listen on " + host + ":" + std::to_string(port) + ": " + std::strerror(errno);
        return false;
    }
    m_port = ntohs(local.sin_port);
    return true;
}

bool LinkEndpoint::start(std::string& error)
{
    if (m_socket < 0 || pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0)
    {
        error = "the link endpoint cannot start";
        return false;
    }
    m_thread = std::thread(&LinkEndpoint::run, this);
    return true;
}

void LinkEndpoint::stop()
{
    if (!m_thread.joinable())
        return;
    char const byte = 'q';
    if (write(m_wake[1], &byte, 1) != 1)
        return; // the thread cannot be woken; leaving it joinable is better than a hang
    m_thread.join();
}

bool LinkEndpoint::sendToCore(std::string const& line)
{
    sockaddr_in core;
    {
        std::lock_guard<std::mutex> guard(m_coreLock);
        if (!m_hasCore)
            return false;
        core = m_core;
    }
    return sendto(m_socket, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&core),
                  sizeof(core)) == static_cast<ssize_t>(line.size());
}

void LinkEndpoint::changeState(ELinkState state)
{
    if (state == m_state)
        return;
    m_state = state;
    m_stateHandler(state);
}

void LinkEndpoint::received(std::string const& line, sockaddr_in const& from)
{
    ++m_lines;
    bool newCore = false;
    {
        std::lock_guard<std::mutex> guard(m_coreLock);
        newCore = !m_hasCore || !sameSender(m_core, from);
        m_core = from;
        m_hasCore = true;
    }
    bool const wasDown = m_state != eLinkUp;
    changeState(eLinkUp);
    if (newCore || wasDown)
    {
        std::vector<std::string> fields;
        std::string error;
        bool const hello = simlink::splitLine(line, fields, error) && fields[0] == simlink::s_verbHello;
        if (!hello)
        {
            ++m_syncs;
            sendToCore(simlink::s_verbSync);
        }
    }
    m_lineHandler(line);
}

void LinkEndpoint::run()
{
    std::string buffer(65536, '\0');
    int64_t lastLine = steadyMs();
    for (;;)
    {
        int timeout = -1;
        if (m_state == eLinkUp)
            timeout = static_cast<int>(std::max<int64_t>(0, lastLine + m_silenceMs - steadyMs()));
        pollfd fds[2] = {{m_socket, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
        int const ready = poll(fds, 2, timeout);
        if (ready < 0 && errno != EINTR)
            return;
        if (ready > 0 && fds[1].revents != 0)
            return;
        if (ready > 0 && (fds[0].revents & POLLIN) != 0)
        {
            sockaddr_in from;
            socklen_t fromLength = sizeof(from);
            ssize_t const count = recvfrom(m_socket, &buffer[0], buffer.size(), MSG_DONTWAIT,
                                           reinterpret_cast<sockaddr*>(&from), &fromLength);
            if (count >= 0)
            {
                lastLine = steadyMs();
                received(std::string(buffer.data(), static_cast<size_t>(count)), from);
            }
        }
        if (m_state == eLinkUp && steadyMs() - lastLine >= m_silenceMs)
            changeState(eLinkDown);
    }
}
} // namespace panelview
