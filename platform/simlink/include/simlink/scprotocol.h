#ifndef SIMLINK_SCPROTOCOL_H
#define SIMLINK_SCPROTOCOL_H

// SCProtocol: the simulator connection. As an IPanelFeedback it mirrors every write the core sends the
// hardware as one UDP datagram holding one text line (see simline.h) to the simulator's address, and
// answers questions (parameter types, reads) from the hardware feedback it is given. A receiver
// thread turns the simulator's lines (presses, releases, moves, any event) into IPanelEvent::sendEvent
// calls, as the hardware's own events arrive. Datagrams that are not a good event line, or that come
// from another host than the simulator's, are counted and dropped.
//
// The link remembers what it last told the simulator about each module and control (the module
// notices, and per control the attribute lines since its last reset), so that a simulator that comes up
// after the core can ask for the panel as it stands (SYNC) instead of having missed it.

#include <interfaces/ipanelfeedback.h>

#include <basekit/uniqueids.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <netinet/in.h>

class IPanelEvent;

class SCProtocol : public IPanelFeedback
{
public:
    // The simulator's port when an address names none.
    static constexpr uint16_t s_defaultPort = 56663;
    // Where a link without an address (or with the empty one) sends.
    static constexpr char const* s_defaultAddress = "127.0.0.1";
    // The alive interval of a panel's link: a view that hears nothing for a few of these has lost it.
    static constexpr unsigned int s_panelAliveIntervalMs = 1000;

    // Events from the simulator go to pEvents (may be null: they are then counted and dropped). With
    // receive set, a socket on an ephemeral port of every local address and a thread reading it start
    // at once; without, the link only sends. With an alive interval (milliseconds, needs receive), the
    // receiver sends ALIVE whenever the link has sent nothing for that long, so a simulator started
    // later finds the core and one that hears nothing knows the core has gone.
    SCProtocol(IPanelEvent* pEvents, bool receive, unsigned int aliveIntervalMs = 0);
    // Stops the receiver thread and closes the socket.
    ~SCProtocol() override;

    // 1004: this object's IPanelFeedback.
    IInterface* queryInterface(unsigned int id) override;

    // "HOST" or "HOST:PORT"; HOST is a dotted IPv4 address or a name resolved once, here. Empty or null
    // gives the default. Sends HELLO, so the simulator learns where to send events. False for an
    // address that cannot be resolved: the link then sends nothing.
    bool setDstIpAddress(char const* pAddress);
    // Answers the questions of the core; not owned.
    void setHwPanelFeedbackInterface(IPanelFeedback* pPanelFeedback);
    // Where events from the simulator go from now on (null: nowhere, they are counted and dropped).
    // Returns after an event being handed over has arrived, so the old receiver may go then.
    void setPanelEventInterface(IPanelEvent* pEvents);

    // IPanelFeedback: writes go to the simulator only (the fan-out writes the hardware itself).
    EWidgetParameterType getAttributeParamType(UniqueWidgetID const& id, std::string const& attribute) override;
    EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const& id, std::string const& event) override;
    void setAllAttributesToDefault(UniqueWidgetID const& id) override;
    bool setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value) override;
    bool setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value) override;
    bool setAttributeText(UniqueWidgetID const& id, std::string const& attribute, std::string const& value) override;
    bool getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value) override;
    bool getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value) override;
    bool getAttributeText(UniqueWidgetID const& id, std::string const& attribute, std::string& value) override;
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) override;

    // Notices for a view of the panel: a module reported (an empty type: gone), a widget made.
    void sendModuleStatus(UniqueModuleID const& id, std::string const& type, std::string const& version);
    void sendWidgetAdded(UniqueWidgetID const& id);
    // Sends the panel as the link has described it: HELLO, a MODULE line per module present, then per
    // control WIDGET, DEFAULT and its attribute lines since that reset. The answer to SYNC.
    void sendPanel();

    // The local port events are read on; 0 without a receiving socket.
    uint16_t getLocalPort() const { return m_localPort; }
    // Lines sent, sends that failed, events handed to the core, datagrams dropped.
    uint64_t getSentCount() const { return m_sent.load(); }
    uint64_t getSendFailureCount() const { return m_sendFailures.load(); }
    uint64_t getEventCount() const { return m_events.load(); }
    uint64_t getBadDatagramCount() const { return m_badDatagrams.load(); }

private:
    class Receiver;

    SCProtocol(SCProtocol const&) = delete;
    SCProtocol& operator=(SCProtocol const&) = delete;

    // Sends one line, unless no destination is set.
    bool send(std::string const& line);
    // Sends an attribute line and keeps it as the control's latest for that attribute.
    bool sendAttribute(UniqueWidgetID const& id, std::string const& attribute, std::string const& line);
    // ALIVE, when nothing was sent for the alive interval; from the receiver thread. The milliseconds
    // to wait before asking again.
    int keepAlive();
    // One datagram from the simulator, from the receiver thread.
    void receive(std::string const& datagram, sockaddr_in const& from);

    IPanelEvent* m_pEvents;
    IPanelFeedback* m_pHwPanelFeedback;
    int m_socket;
    uint16_t m_localPort;
    std::mutex m_lock; // guards the destination and the event receiver
    sockaddr_in m_destination;
    bool m_hasDestination;
    std::atomic<uint64_t> m_sent;
    std::atomic<uint64_t> m_sendFailures;
    std::atomic<uint64_t> m_events;
    std::atomic<uint64_t> m_badDatagrams;
    unsigned int const m_aliveIntervalMs;
    std::atomic<int64_t> m_lastSendMs; // steady clock, at the last line sent
    // What the simulator was told: module lines by module, attribute lines by control and attribute.
    // Guarded by m_mirrorLock, which is held while a line that changes it is sent, so a SYNC answer and
    // the writes around it reach the simulator in the order they happened.
    std::mutex m_mirrorLock;
    std::map<UniqueModuleID, std::string> m_moduleLines;
    std::map<UniqueWidgetID, std::map<std::string, std::string>> m_attributeLines;
    std::unique_ptr<Receiver> m_pReceiver;
};

#endif
