#ifndef PANELVIEW_WEBSERVER_H
#define PANELVIEW_WEBSERVER_H

// WebServer: the view's HTTP side.
//   GET  /, /index.html, /panel.css, /panel.js   the page (compiled in, see webassets.h)
//   GET  /api/events   the panel as server-sent events: a snapshot, then every change as it happens
//   POST /api/event    a press, release or move from the page (see translateRequest); 204 when sent,
//                      400 / 404 / 413 for a bad request, 503 while no core is heard; errors carry
//                      {"error": text}
// Requests run on a pool of threads; each open page holds one of them for its event stream.

#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace httplib
{
class Server;
}

namespace panelview
{
class LinkEndpoint;
class PageHub;

class WebServer
{
public:
    // Pages that may follow the panel at once; one more gets 503.
    static size_t const s_maxPages = 24;

    WebServer(PageHub& hub, LinkEndpoint& link);
    ~WebServer();

    // Binds (port 0: any free port); false with the reason.
    bool bind(std::string const& host, int port, std::string& error);
    uint16_t getPort() const { return m_port; }
    // Serves on a thread of its own until stop.
    void start();
    // Ends the event streams, then the server.
    void stop();

private:
    WebServer(WebServer const&) = delete;
    WebServer& operator=(WebServer const&) = delete;

    void setUpRoutes();

    PageHub& m_hub;
    LinkEndpoint& m_link;
    std::unique_ptr<httplib::Server> m_pServer;
    std::thread m_thread;
    uint16_t m_port = 0;
};
} // namespace panelview

#endif
