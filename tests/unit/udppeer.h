#ifndef UDPPEER_H
#define UDPPEER_H

// The test side of the simulator link: a UDP socket on the loopback address, with waits bounded by a
// timeout so a lost datagram fails the test instead of hanging it.

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

class UdpPeer
{
public:
    UdpPeer()
    {
        m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in local = loopback(0);
        socklen_t length = sizeof(local);
        if (m_socket >= 0 && bind(m_socket, reinterpret_cast<sockaddr*>(&local), sizeof(local)) == 0 &&
            getsockname(m_socket, reinterpret_cast<sockaddr*>(&local), &length) == 0)
            m_port = ntohs(local.sin_port);
    }
    ~UdpPeer()
    {
        if (m_socket >= 0)
            close(m_socket);
    }
    bool isOpen() const { return m_port != 0; }
    std::string address() const { return "127.0.0.1:" + std::to_string(m_port); }

    // The next datagram, or "<timeout>" after timeoutMs; remembers the sender's port. The link's ALIVE
    // lines, which come whenever it was silent for a while, are passed over unless keepAlive is set.
    std::string receive(int timeoutMs = 3000, bool keepAlive = false)
    {
        for (;;)
        {
            pollfd fd = {m_socket, POLLIN, 0};
            if (poll(&fd, 1, timeoutMs) <= 0)
                return "<timeout>";
            char buffer[65536];
            sockaddr_in from;
            socklen_t length = sizeof(from);
            ssize_t const count =
                recvfrom(m_socket, buffer, sizeof(buffer), 0, reinterpret_cast<sockaddr*>(&from), &length);
            if (count < 0)
                return "<error>";
            m_senderPort = ntohs(from.sin_port);
            std::string datagram(buffer, static_cast<size_t>(count));
            if (keepAlive || datagram != "ALIVE")
                return datagram;
        }
    }
    // Sends to the port the last datagram came from.
    bool reply(std::string const& text) { return sendTo(m_senderPort, text); }
    bool sendTo(uint16_t port, std::string const& text)
    {
        sockaddr_in to = loopback(port);
        return sendto(m_socket, text.data(), text.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to)) ==
               static_cast<ssize_t>(text.size());
    }

private:
    static sockaddr_in loopback(uint16_t port)
    {
        sockaddr_in address;
        std::memset(&address, 0, sizeof(address));
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }

    int m_socket = -1;
    uint16_t m_port = 0;
    uint16_t m_senderPort = 0;
};

#endif
