#ifndef SIMLINK_SCPROTOCOL_H
#define SIMLINK_SCPROTOCOL_H

// SCProtocol: the simulator connection. As an IPanelFeedback it mirrors every write the core sends the
// hardware as one UDP datagram holding one text line (see simline.h) to the simulator's address, and
// answers questions (parameter types, reads) from the hardware feedback it is given. A receiver
// thread turns the simulator's lines (presses, releases, moves, any event) into IPanelEvent::sendEvent
// calls, as the hardware's own events arrive. Datagrams that are not a good event line, or that come
// from another host than the simulator's, are counted and dropped.

#include <interfaces/ipanelfeedback.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include <netinet/in.h>

class IPanelEvent;
class UniqueModuleID;

class SCProtocol : public IPanelFeedback
{
public:
    // The simulator's port when an address names none.
    static constexpr uint16_t s_defaultPort = 56663;
    // Where a link without an address (or with the empty one) sends.
    static constexpr char const* s_defaultAddress = "127.0.0.1";

    // Events from the simulator go to pEvents (may be null: they are then counted and dropped). With
    // receive set, a socket on an ephemeral port of every local address and a thread reading it start
    // at once; without, the link only sends.
    SCProtocol(IPanelEvent* pEvents, bool receive);
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
    std::unique_ptr<Receiver> m_pReceiver;
};

#endif
