// The panel view's share of the way from an attribute write to a browser: a line sent as the core's
// link sends it, through the view's link end, page hub and HTTP server, until its event has arrived on
// every open page's event stream (read from plain loopback sockets, as a browser's network thread does).
// Arguments: the number of pages following the panel.

#include <linkendpoint.h>
#include <pagehub.h>
#include <webserver.h>

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

namespace
{
sockaddr_in loopback(uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

// A page's event stream on a plain socket.
class Stream
{
public:
    explicit Stream(uint16_t port)
    {
        m_socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in const address = loopback(port);
        std::string const request = "GET /api/events HTTP/1.1\r\nHost: bench\r\n\r\n";
        m_open = connect(m_socket, reinterpret_cast<sockaddr const*>(&address), sizeof(address)) == 0 &&
                 send(m_socket, request.data(), request.size(), 0) == static_cast<ssize_t>(request.size());
    }
    ~Stream() { close(m_socket); }

    // Reads until text has arrived; false after a second without it.
    bool waitFor(std::string const& text)
    {
        for (;;)
        {
            size_t const found = m_buffer.find(text);
            if (found != std::string::npos)
            {
                m_buffer.erase(0, found + text.size());
                return true;
            }
            pollfd fd = {m_socket, POLLIN, 0};
            char chunk[4096];
            ssize_t count = 0;
            if (!m_open || poll(&fd, 1, 1000) <= 0 || (count = recv(m_socket, chunk, sizeof(chunk), 0)) <= 0)
                return false;
            m_buffer.append(chunk, static_cast<size_t>(count));
        }
    }

private:
    int m_socket = -1;
    bool m_open = false;
    std::string m_buffer;
};

void BM_LinkLineToEveryPage(benchmark::State& state)
{
    hwsim::HwPanelModel catalogue; // no configuration: the control is drawn from what the link says
    panelview::PageHub hub(catalogue, {});
    panelview::LinkEndpoint link([&hub](std::string const& line) {
        std::string error;
        hub.applyLine(line, error);
    },
                                 [&hub](panelview::ELinkState linkState) { hub.setLinkState(linkState); }, 60000);
    panelview::WebServer server(hub, link);
    std::string error;
    if (!link.bind("127.0.0.1", 0, error) || !server.bind("127.0.0.1", 0, error) || !link.start(error))
    {
        state.SkipWithError(error.c_str());
        return;
    }
    server.start();
    std::vector<std::unique_ptr<Stream>> pages;
    for (int64_t i = 0; i < state.range(0); ++i)
        pages.emplace_back(new Stream(server.getPort()));
    for (auto const& page : pages)
    {
        if (!page->waitFor("\"event\":\"snapshot\""))
        {
            state.SkipWithError("a page got no snapshot");
            return;
        }
    }

    int const core = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in const view = loopback(link.getPort());
    unsigned value = 0;
    for (auto _ : state)
    {
        ++value;
        std::string const line = "NUM 0.1.2.1 BRIGHTNESS " + std::to_string(value);
        sendto(core, line.data(), line.size(), 0, reinterpret_cast<sockaddr const*>(&view), sizeof(view));
        std::string const expected = "\"value\":" + std::to_string(value) + "}";
        for (auto const& page : pages)
        {
            if (!page->waitFor(expected))
            {
                state.SkipWithError("an event did not arrive");
                break;
            }
        }
    }
    close(core);
    pages.clear();
    server.stop();
    link.stop();
}
BENCHMARK(BM_LinkLineToEveryPage)->Arg(1)->Arg(8)->UseRealTime()->Unit(benchmark::kMicrosecond);
} // namespace

BENCHMARK_MAIN();
