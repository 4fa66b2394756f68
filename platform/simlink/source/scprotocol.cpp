#include "simlink/scprotocol.h"

#include "simlink/simline.h"

#include "rtk/thread.h"

#include <basekit/uniqueids.h>
#include <interfaces/ipanelevent.h>
#include <logkit/logging.h>

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
int64_t steadyMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
} // namespace

// Reads the socket until told to stop; a pipe wakes it for the stop. Between datagrams it keeps the
// link alive (SCProtocol::keepAlive).
class SCProtocol::Receiver : public rtk::Thread
{
public:
    Receiver(SCProtocol& protocol, int socket) : rtk::Thread("SimLink"), m_protocol(protocol), m_socket(socket)
    {
        m_wake[0] = m_wake[1] = -1;
        if (pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0)
            m_wake[0] = m_wake[1] = -1;
    }
    ~Receiver() override
    {
        shutdown(-1);
        for (int fd : m_wake)
            if (fd >= 0)
                close(fd);
    }
    bool isUsable() const { return m_wake[0] >= 0; }

protected:
    void run() override
    {
        std::string buffer(65536, '\0');
        for (;;)
        {
            pollfd fds[2] = {{m_socket, POLLIN, 0}, {m_wake[0], POLLIN, 0}};
            if (poll(fds, 2, m_protocol.keepAlive()) < 0)
            {
                if (errno == EINTR)
                    continue;
                return;
            }
            if (fds[1].revents != 0)
                return;
            if ((fds[0].revents & POLLIN) == 0)
                continue;
            sockaddr_in from;
            socklen_t fromLength = sizeof(from);
            ssize_t const count = recvfrom(m_socket, &buffer[0], buffer.size(), MSG_DONTWAIT,
                                           reinterpret_cast<sockaddr*>(&from), &fromLength);
            if (count < 0)
                continue;
            m_protocol.receive(std::string(buffer.data(), static_cast<size_t>(count)), from);
        }
    }
    bool shutdownCallback() override
    {
        char const byte = 'q';
        return write(m_wake[1], &byte, 1) == 1;
    }

private:
    SCProtocol& m_protocol;
    int m_socket;
    int m_wake[2];
};

SCProtocol::SCProtocol(IPanelEvent* pEvents, bool receive, unsigned int aliveIntervalMs)
    : m_pEvents(pEvents), m_pHwPanelFeedback(nullptr), m_socket(-1), m_localPort(0), m_hasDestination(false),
      m_sent(0), m_sendFailures(0), m_events(0), m_badDatagrams(0), m_aliveIntervalMs(aliveIntervalMs),
      m_lastSendMs(steadyMs())
{
    std::memset(&m_destination, 0, sizeof(m_destination));
    Orvane::Utilities::Logging::LogCategory log("Startup");
    m_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_socket < 0)
    {
        log.error() << "simulator link: cannot open a UDP socket: " << std::strerror(errno) << std::endl;
        return;
    }
    // Bound to an ephemeral port of every local address: the simulator answers to the port the lines
    // come from, and only datagrams from the simulator's host are taken.
    sockaddr_in local;
    std::memset(&local, 0, sizeof(local));
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    local.sin_port = 0;
    socklen_t length = sizeof(local);
    if (bind(m_socket, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0 ||
        getsockname(m_socket, reinterpret_cast<sockaddr*>(&local), &length) != 0)
    {
        log.error() << "simulator link: cannot bind the UDP socket: " << std::strerror(errno) << std::endl;
        return;
    }
    m_localPort = ntohs(local.sin_port);
    if (receive)
    {
        m_pReceiver.reset(new Receiver(*this, m_socket));
        if (!m_pReceiver->isUsable() || !m_pReceiver->start(rtk::Thread::ePriorityHigh))
        {
            log.error() << "simulator link: cannot start the receiver" << std::endl;
            m_pReceiver.reset();
        }
    }
}

SCProtocol::~SCProtocol()
{
    m_pReceiver.reset();
    if (m_socket >= 0)
        close(m_socket);
    m_pHwPanelFeedback = nullptr;
}

IInterface* SCProtocol::queryInterface(unsigned int id)
{
    return id == IPanelFeedback::s_interfaceID ? static_cast<IPanelFeedback*>(this) : nullptr;
}

bool SCProtocol::setDstIpAddress(char const* pAddress)
{
    std::string address = pAddress != nullptr && *pAddress != '\0' ? pAddress : s_defaultAddress;
    std::string host = address;
    uint16_t port = s_defaultPort;
    size_t const colon = address.rfind(':');
    Orvane::Utilities::Logging::LogCategory log("Startup");
    if (colon != std::string::npos)
    {
        host = address.substr(0, colon);
        int number = 0;
        if (!simlink::parseInt(address.substr(colon + 1), number) || number < 1 || number > 65535)
        {
            log.error() << "simulator link: bad port in \"" << address << "\"" << std::endl;
            return false;
        }
        port = static_cast<uint16_t>(number);
    }
    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* pResult = nullptr;
    if (host.empty() || getaddrinfo(host.c_str(), nullptr, &hints, &pResult) != 0 || pResult == nullptr)
    {
        log.error() << "simulator link: cannot resolve \"" << address << "\"" << std::endl;
        return false;
    }
    sockaddr_in destination;
    std::memcpy(&destination, pResult->ai_addr, sizeof(destination));
    freeaddrinfo(pResult);
    destination.sin_port = htons(port);
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_destination = destination;
        m_hasDestination = true;
    }
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &destination.sin_addr, text, sizeof(text));
    log.info() << "simulator link: sending to " << text << ":" << port << ", events on port " << m_localPort
               << std::endl;
    send(simlink::makeLine(simlink::s_verbHello, {std::to_string(simlink::s_protocolVersion)}));
    return true;
}

void SCProtocol::setHwPanelFeedbackInterface(IPanelFeedback* pPanelFeedback)
{
    m_pHwPanelFeedback = pPanelFeedback;
}

bool SCProtocol::send(std::string const& line)
{
    sockaddr_in destination;
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (!m_hasDestination || m_socket < 0)
            return false;
        destination = m_destination;
    }
    // Never blocks the core: a datagram the system cannot take now is counted as lost.
    ssize_t const count = sendto(m_socket, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                                 reinterpret_cast<sockaddr const*>(&destination), sizeof(destination));
    if (count != static_cast<ssize_t>(line.size()))
    {
        ++m_sendFailures;
        return false;
    }
    ++m_sent;
    m_lastSendMs = steadyMs();
    return true;
}

bool SCProtocol::sendAttribute(UniqueWidgetID const& id, std::string const& attribute, std::string const& line)
{
    std::lock_guard<std::mutex> guard(m_mirrorLock);
    m_attributeLines[id][attribute] = line;
    return send(line);
}

int SCProtocol::keepAlive()
{
    if (m_aliveIntervalMs == 0)
        return -1;
    int64_t const interval = m_aliveIntervalMs;
    int64_t const idle = steadyMs() - m_lastSendMs.load();
    if (idle < interval)
        return static_cast<int>(interval - idle);
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (!m_hasDestination)
            return static_cast<int>(interval);
    }
    send(simlink::s_verbAlive);
    // A failed send leaves the time as it was: try again after a full interval all the same.
    m_lastSendMs = steadyMs();
    return static_cast<int>(interval);
}

void SCProtocol::sendPanel()
{
    std::lock_guard<std::mutex> guard(m_mirrorLock);
    send(simlink::makeLine(simlink::s_verbHello, {std::to_string(simlink::s_protocolVersion)}));
    for (auto const& module : m_moduleLines)
        send(module.second);
    for (auto const& widget : m_attributeLines)
    {
        std::string const id = widget.first.toString();
        send(simlink::makeLine(simlink::s_verbWidget, {id}));
        send(simlink::makeLine(simlink::s_verbDefault, {id}));
        for (auto const& attribute : widget.second)
            send(attribute.second);
    }
}

void SCProtocol::receive(std::string const& datagram, sockaddr_in const& from)
{
    simlink::SimEvent event;
    std::string error;
    if (simlink::isSyncLine(datagram))
    {
        bool fromSimulator = false;
        {
            std::lock_guard<std::mutex> guard(m_lock);
            fromSimulator = m_hasDestination && from.sin_addr.s_addr == m_destination.sin_addr.s_addr;
        }
        // Answered outside m_lock: the answer takes the mirror's lock, and the core's writes take that
        // one before m_lock.
        if (fromSimulator)
        {
            sendPanel();
            return;
        }
    }
    // The lock is held while the event is handed over, so that setPanelEventInterface(nullptr) can
    // tell the core's event entry that nothing reaches it any more.
    std::lock_guard<std::mutex> guard(m_lock);
    bool const fromSimulator = m_hasDestination && from.sin_addr.s_addr == m_destination.sin_addr.s_addr;
    if (!fromSimulator || m_pEvents == nullptr || !simlink::parseEventLine(datagram, event, error))
    {
        // The 1st, 2nd, 4th, 8th ... drop is logged with its reason, so a flood cannot flood the log.
        uint64_t const count = ++m_badDatagrams;
        if ((count & (count - 1)) == 0)
        {
            if (!fromSimulator)
                error = "not from the simulator's host";
            else if (m_pEvents == nullptr)
                error = "no event receiver";
            Orvane::Utilities::Logging::LogCategory("Startup").warning()
                << "simulator link: dropped a datagram (" << error << "), " << count << " so far" << std::endl;
        }
        return;
    }
    ++m_events;
    m_pEvents->sendEvent(event.m_id, event.m_name, event.m_value, event.m_transient);
}

void SCProtocol::setPanelEventInterface(IPanelEvent* pEvents)
{
    std::lock_guard<std::mutex> guard(m_lock);
    m_pEvents = pEvents;
}

IPanelFeedback::EWidgetParameterType SCProtocol::getAttributeParamType(UniqueWidgetID const& id,
                                                                       std::string const& attribute)
{
    return m_pHwPanelFeedback != nullptr ? m_pHwPanelFeedback->getAttributeParamType(id, attribute)
                                         : eParamTypeUnknown;
}

IPanelFeedback::EWidgetParameterType SCProtocol::getReceiveEventParamType(UniqueWidgetID const& id,
                                                                          std::string const& event)
{
    return m_pHwPanelFeedback != nullptr ? m_pHwPanelFeedback->getReceiveEventParamType(id, event)
                                         : eParamTypeUnknown;
}

void SCProtocol::setAllAttributesToDefault(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_mirrorLock);
    m_attributeLines[id].clear();
    send(simlink::makeLine(simlink::s_verbDefault, {id.toString()}));
}

bool SCProtocol::setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value)
{
    return sendAttribute(id, attribute, simlink::makeLine(simlink::s_verbBool, {id.toString(), attribute, value ? "1" : "0"}));
}

bool SCProtocol::setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value)
{
    return sendAttribute(id, attribute,
                         simlink::makeLine(simlink::s_verbNumeric, {id.toString(), attribute, std::to_string(value)}));
}

bool SCProtocol::setAttributeText(UniqueWidgetID const& id, std::string const& attribute, std::string const& value)
{
    return sendAttribute(id, attribute, simlink::makeLine(simlink::s_verbText, {id.toString(), attribute, value}));
}

bool SCProtocol::getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value)
{
    return m_pHwPanelFeedback != nullptr && m_pHwPanelFeedback->getAttributeBool(id, attribute, value);
}

bool SCProtocol::getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value)
{
    return m_pHwPanelFeedback != nullptr && m_pHwPanelFeedback->getAttributeNumeric(id, attribute, value);
}

bool SCProtocol::getAttributeText(UniqueWidgetID const& id, std::string const& attribute, std::string& value)
{
    return m_pHwPanelFeedback != nullptr && m_pHwPanelFeedback->getAttributeText(id, attribute, value);
}

bool SCProtocol::trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value)
{
    return send(simlink::makeLine(simlink::s_verbTrigger, {id.toString(), event, value}));
}

void SCProtocol::sendModuleStatus(UniqueModuleID const& id, std::string const& type, std::string const& version)
{
    std::lock_guard<std::mutex> guard(m_mirrorLock);
    if (type.empty())
    {
        // The core drops the module's widgets with it, without resetting them.
        m_moduleLines.erase(id);
        m_attributeLines.erase(m_attributeLines.lower_bound(UniqueWidgetID(id, 0)),
                               m_attributeLines.upper_bound(UniqueWidgetID(id, 0xffff)));
        send(simlink::makeLine(simlink::s_verbUnplug, {id.toString()}));
        return;
    }
    std::string const line = simlink::makeLine(simlink::s_verbModule, {id.toString(), type, version});
    m_moduleLines[id] = line;
    send(line);
}

void SCProtocol::sendWidgetAdded(UniqueWidgetID const& id)
{
    std::lock_guard<std::mutex> guard(m_mirrorLock);
    m_attributeLines[id];
    send(simlink::makeLine(simlink::s_verbWidget, {id.toString()}));
}
