#ifndef RCLP_RCLPLISTENER_H
#define RCLP_RCLPLISTENER_H

// The listening end of the remote control link: a socket and a thread that accepts clients and hands
// each, as an RCLPConnection, to the connector. Deleting the listener ends the listening; the
// connections already handed over live on with their servers.

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

class IRCLPConnector;

class RCLPListener
{
public:
    enum ETransport
    {
        eTransportTCP = 1
    };

    explicit RCLPListener(int transport);
    ~RCLPListener();

    // Binds address (numeric IPv4 or IPv6 text) and port and starts accepting. False, with an error in
    // the "RCLP" log, when the transport is not TCP, the address cannot be bound, or the listener
    // listens already. Port 0 takes any free port (see getPort).
    bool listen(std::string const& address, uint16_t port, IRCLPConnector* pConnector);
    // The port bound, 0 when not listening.
    uint16_t getPort() const { return m_port; }
    std::string const& getAddress() const { return m_address; }

    // Replaces the address and port of later listen calls (a host's test option, so that tests bind
    // the loopback address and a free port); an empty address or a negative port keeps the caller's.
    static void setListenOverride(std::string const& address, int port);

private:
    class Acceptor;

    RCLPListener(RCLPListener const&) = delete;
    RCLPListener& operator=(RCLPListener const&) = delete;

    void acceptLoop();
    void acceptOne();

    int const m_transport;
    int m_fd = -1;
    int m_wakeFd = -1;
    uint16_t m_port = 0;
    std::string m_address;
    IRCLPConnector* m_pConnector = nullptr;
    std::unique_ptr<Acceptor> m_pAcceptor;

    static std::mutex s_overrideLock;
    static std::string s_overrideAddress;
    static int s_overridePort;
};

#endif
