#ifndef PANELVIEW_LINKENDPOINT_H
#define PANELVIEW_LINKENDPOINT_H

// LinkEndpoint: the view's end of the simulator link. It listens where the core sends its lines, hands
// each line on, and sends the page's event lines back to the port the core's lines come from. It keeps
// the link's state: waiting until a core is heard, up while lines (at least the core's ALIVE beat) keep
// coming, down after a silence. A core it does not know yet (a view started after the panel, a panel
// restarted elsewhere) and a core heard again after a silence are asked for the whole panel (SYNC),
// unless their first line is HELLO, which starts the panel afresh by itself.

#include "panelmodel.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include <netinet/in.h>

namespace panelview
{
class LinkEndpoint
{
public:
    using LineHandler = std::function<void(std::string const& line)>;
    using StateHandler = std::function<void(ELinkState state)>;

    // Handlers are called on the endpoint's thread.
    LinkEndpoint(LineHandler lineHandler, StateHandler stateHandler, int silenceMs);
    ~LinkEndpoint();

    // Binds the UDP socket (port 0: any free port); false with the reason.
    bool bind(std::string const& host, int port, std::string& error);
    uint16_t getPort() const { return m_port; }
    // Starts the receiving thread.
    bool start(std::string& error);
    void stop();

    // Sends a line to the core; false when no core was heard yet or the system refused the datagram.
    bool sendToCore(std::string const& line);

    uint64_t getLineCount() const { return m_lines.load(); }
    uint64_t getSyncCount() const { return m_syncs.load(); }

private:
    LinkEndpoint(LinkEndpoint const&) = delete;
    LinkEndpoint& operator=(LinkEndpoint const&) = delete;

    void run();
    void received(std::string const& line, sockaddr_in const& from);
    void changeState(ELinkState state);

    LineHandler m_lineHandler;
    StateHandler m_stateHandler;
    int const m_silenceMs;
    int m_socket = -1;
    int m_wake[2] = {-1, -1};
    uint16_t m_port = 0;
    std::thread m_thread;
    std::mutex m_coreLock; // guards the core's address
    sockaddr_in m_core;
    bool m_hasCore = false;
    ELinkState m_state = eLinkWaiting; // the thread's own
    std::atomic<uint64_t> m_lines{0};
    std::atomic<uint64_t> m_syncs{0};
};
} // namespace panelview

#endif
