#include "webserver.h"

#include "linkendpoint.h"
#include "pagehub.h"
#include "webassets.h"

#include <httplib.h>

#include <chrono>

namespace panelview
{
namespace
{
// Pool threads: one per open page's stream, and room for the requests beside them.
size_t const s_poolThreads = WebServer::s_maxPages + 8;
// A stream with nothing to say sends a comment this often, which also finds browsers that are gone.
std::chrono::milliseconds const s_streamKeepAlive(10000);

void answerError(httplib::Response& response, int status, std::string const& text)
{
    response.status = status;
    response.set_content(nlohmann::json({{"error", text}}).dump(), "application/json");
}
} // namespace

WebServer::WebServer(PageHub& hub, LinkEndpoint& link) : m_hub(hub), m_link(link), m_pServer(new httplib::Server)
{
    m_pServer->new_task_queue = [] { return new httplib::ThreadPool(s_poolThreads); };
    m_pServer->set_payload_max_length(4096);
    setUpRoutes();
}

WebServer::~WebServer()
{
    stop();
}

void WebServer::setUpRoutes()
{
    for (size_t i = 0; i < g_webAssetCount; ++i)
    {
        WebAsset const& asset = g_webAssets[i];
        httplib::Server::Handler const handler = [&asset](httplib::Request const&, httplib::Response& response) {
            response.set_header("Cache-Control", "no-cache");
            response.set_content(reinterpret_cast<char const*>(asset.m_pData), asset.m_size, asset.m_contentType);
        };
        m_pServer->Get(asset.m_path, handler);
        if (std::string(asset.m_path) == "/index.html")
            m_pServer->Get("/", handler);
    }

    m_pServer->Get("/api/events", [this](httplib::Request const&, httplib::Response& response) {
        std::shared_ptr<PageHub::Page> const page = m_hub.connect(s_maxPages);
        if (!page)
        {
            answerError(response, 503, "too many pages follow the panel");
            return;
        }
        response.set_header("Cache-Control", "no-cache");
        response.set_header("X-Accel-Buffering", "no");
        PageHub& hub = m_hub;
        response.set_chunked_content_provider(
            "text/event-stream",
            [&hub, page](size_t offset, httplib::DataSink& sink) {
                if (offset == 0)
                {
                    // A browser that lost the stream tries again after a second.
                    std::string const retry = "retry: 1000\n\n";
                    return sink.write(retry.data(), retry.size());
                }
                std::string event;
                if (!hub.next(*page, event, s_streamKeepAlive))
                    return false;
                std::string const text = event.empty() ? std::string(":\n\n") : "data: " + event + "\n\n";
                return sink.write(text.data(), text.size());
            },
            [&hub, page](bool) { hub.disconnect(page); });
    });

    m_pServer->Post("/api/event", [this](httplib::Request const& request, httplib::Response& response) {
        std::string line;
        std::string error;
        int const status = m_hub.translateRequest(request.body, line, error);
        if (status != s_requestOk)
        {
            answerError(response, status, error);
            return;
        }
        if (!m_link.sendToCore(line))
        {
            answerError(response, 503, "no panel is connected");
            return;
        }
        response.status = 204;
    });

    m_pServer->set_error_handler([](httplib::Request const&, httplib::Response& response) {
        if (response.body.empty())
            answerError(response, response.status,
                        response.status == 404   ? "no such page"
                        : response.status == 413 ? "the request is too large"
                                                 : "the request was refused");
    });
}

bool WebServer::bind(std::string const& host, int port, std::string& error)
{
    int const bound = port == 0 ? m_pServer->bind_to_any_port(host) : (m_pServer->bind_to_port(host, port) ? port : -1);
    if (bound <= 0)
    {
        error = "cannot listen on " + host + ":" + std::to_string(port);
        return false;
    }
    m_port = static_cast<uint16_t>(bound);
    return true;
}

void WebServer::start()
{
    m_thread = std::thread([this] { m_pServer->listen_after_bind(); });
}

void WebServer::stop()
{
    m_hub.stop();
    if (m_thread.joinable())
    {
        m_pServer->stop();
        m_thread.join();
    }
}
} // namespace panelview
