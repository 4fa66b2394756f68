// panelview: a live view of a panel started in simulator mode, in a web browser. It listens where the
// core sends its simulator lines, draws every module with its controls on a page, updates the page as
// the core writes, and sends the page's presses, releases and fader moves back to the core.
//
// Exit status: 0 after SIGINT or SIGTERM; 2 for bad options or a port that cannot be bound.

#include "linkendpoint.h"
#include "pagehub.h"
#include "webserver.h"

#include <hwpanelmodel.h>

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <pthread.h>
#include <string>

namespace
{
struct Options
{
    std::string m_config = "config";
    std::string m_bind = "127.0.0.1";
    int m_port = 56663;
    std::string m_httpBind = "127.0.0.1";
    int m_httpPort = 8080;
    int m_silenceMs = 3000;
    bool m_help = false;
};

void usage(std::ostream& out)
{
    out << "Usage: panelview [--config DIR] [--bind ADDRESS] [--port N] [--http-bind ADDRESS] [--http-port N]\n"
           "                 [--silence MS]\n"
           "  Serves a live view of the panel whose simulator lines arrive at --bind:--port (127.0.0.1:56663)\n"
           "  on http://--http-bind:--http-port/ (127.0.0.1:8080). Port 0 takes any free port; the ports taken\n"
           "  are named on standard error. --config is the panel's config directory (WidgetTypes.xml,\n"
           "  ModuleTypes.xml, Hardware.xml; default \"config\"). The link counts as lost after --silence\n"
           "  milliseconds without a line from the core (3000)."
        << std::endl;
}

bool parseNumber(std::string const& text, long min, long max, int& value)
{
    char* pEnd = nullptr;
    long const number = std::strtol(text.c_str(), &pEnd, 10);
    if (text.empty() || *pEnd != '\0' || number < min || number > max)
        return false;
    value = static_cast<int>(number);
    return true;
}

bool parseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string const option = argv[i];
        if (option == "--help" || option == "-h")
        {
            options.m_help = true;
            return true;
        }
        if (i + 1 >= argc)
        {
            std::cerr << "panelview: " << option << (option.rfind("--", 0) == 0 ? " needs a value" : ": unknown")
                      << std::endl;
            return false;
        }
        std::string const value = argv[++i];
        bool good = true;
        if (option == "--config")
            options.m_config = value;
        else if (option == "--bind")
            options.m_bind = value;
        else if (option == "--http-bind")
            options.m_httpBind = value;
        else if (option == "--port")
            good = parseNumber(value, 0, 65535, options.m_port);
        else if (option == "--http-port")
            good = parseNumber(value, 0, 65535, options.m_httpPort);
        else if (option == "--silence")
            good = parseNumber(value, 100, 600000, options.m_silenceMs);
        else
            good = false;
        if (!good)
        {
            std::cerr << "panelview: bad option " << option << " " << value << std::endl;
            return false;
        }
    }
    return true;
}
} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parseOptions(argc, argv, options))
    {
        usage(std::cerr);
        return 2;
    }
    if (options.m_help)
    {
        usage(std::cout);
        return 0;
    }

    // The catalogue's readers name what they cannot read; the view then draws what the link tells.
    hwsim::HwPanelModel catalogue;
    std::vector<hwsim::InventoryEntry> inventory;
    std::string const dir = options.m_config + "/";
    if (catalogue.readWidgetTypes(dir + "WidgetTypes.xml") && catalogue.readModuleTypes(dir + "ModuleTypes.xml"))
        catalogue.readInventory(dir + "Hardware.xml", inventory);

    // The signals are taken by sigwait below; every thread started from here on has them blocked.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    panelview::PageHub hub(catalogue, inventory);
    panelview::LinkEndpoint link(
        [&hub](std::string const& line) {
            std::string error;
            // The 1st, 2nd, 4th, 8th ... line not understood is named, so a flood cannot flood the log.
            uint64_t const count = hub.applyLine(line, error) ? 0 : hub.getBadLineCount();
            if (count != 0 && (count & (count - 1)) == 0)
                std::cerr << "panelview: a line from the core was not understood (" << error << "), " << count
                          << " so far" << std::endl;
        },
        [&hub](panelview::ELinkState state) { hub.setLinkState(state); }, options.m_silenceMs);
    panelview::WebServer server(hub, link);
    std::string error;
    if (!link.bind(options.m_bind, options.m_port, error) ||
        !server.bind(options.m_httpBind, options.m_httpPort, error) || !link.start(error))
    {
        std::cerr << "panelview: " << error << std::endl;
        return 2;
    }
    server.start();
    std::cerr << "panelview: simulator link on " << options.m_bind << ":" << link.getPort() << std::endl;
    std::cerr << "panelview: open http://" << options.m_httpBind << ":" << server.getPort() << "/" << std::endl;

    int signal = 0;
    sigwait(&signals, &signal);
    server.stop();
    link.stop();
    return 0;
}
