// simwatch: listens where panelhost --mode simulator sends its simulator lines, prints each line as it
// arrives, and sends the event lines typed on standard input (PRESS, RELEASE, MOVE, EVENT) back to the
// core, to the address the last line came from (or the one given with --core).
//
// Exit status: 0 at the end of input, after --count lines or --timeout seconds of silence; 2 for bad
// options or a port that cannot be bound.

#include <simlink/scprotocol.h>
#include <simlink/simline.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
struct Options
{
    std::string m_bind = "127.0.0.1";
    int m_port = SCProtocol::s_defaultPort;
    std::string m_core;
    long m_count = 0;
    long m_timeout = 0;
    bool m_raw = false;
    bool m_help = false;
};

void usage(std::ostream& out)
{
    out << "Usage: simwatch [--bind ADDRESS] [--port N] [--core HOST:PORT] [--count N] [--timeout SECONDS]\n"
                 "                [--raw]\n"
                 "  Prints every line the core sends to the simulator; lines read from standard input\n"
                 "  (PRESS w.g.m.n | RELEASE w.g.m.n | MOVE w.g.m.n VALUE | EVENT w.g.m.n NAME [VALUE [transient]])\n"
                 "  go back to the core. --port 0 takes any free port. --raw sends input lines unchecked.\n"
                 "  Without --count or --timeout it stops at the end of its input."
              << std::endl;
}

bool parseNumber(std::string const& text, long min, long max, long& value)
{
    char* pEnd = nullptr;
    value = std::strtol(text.c_str(), &pEnd, 10);
    return !text.empty() && *pEnd == '\0' && value >= min && value <= max;
}

bool parseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string const option = argv[i];
        long number = 0;
        if (option == "--raw")
        {
            options.m_raw = true;
            continue;
        }
        if (option == "--help" || option == "-h")
        {
            options.m_help = true;
            return true;
        }
        if (i + 1 >= argc)
        {
            std::cerr << "simwatch: " << option << (option.rfind("--", 0) == 0 ? " needs a value" : ": unknown")
                      << std::endl;
            return false;
        }
        std::string const value = argv[++i];
        if (option == "--bind")
            options.m_bind = value;
        else if (option == "--core")
            options.m_core = value;
        else if (option == "--port" && parseNumber(value, 0, 65535, number))
            options.m_port = static_cast<int>(number);
        else if (option == "--count" && parseNumber(value, 1, 1000000000L, number))
            options.m_count = number;
        else if (option == "--timeout" && parseNumber(value, 1, 86400, number))
            options.m_timeout = number;
        else
        {
            std::cerr << "simwatch: bad option " << option << " " << value << std::endl;
            return false;
        }
    }
    return true;
}

bool resolve(std::string const& text, sockaddr_in& address)
{
    size_t const colon = text.rfind(':');
    long port = 0;
    if (colon == std::string::npos || !parseNumber(text.substr(colon + 1), 1, 65535, port))
        return false;
    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* pResult = nullptr;
    if (getaddrinfo(text.substr(0, colon).c_str(), nullptr, &hints, &pResult) != 0 || pResult == nullptr)
        return false;
    std::memcpy(&address, pResult->ai_addr, sizeof(address));
    freeaddrinfo(pResult);
    address.sin_port = htons(static_cast<uint16_t>(port));
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
    sockaddr_in local;
    if (!resolve(options.m_bind + ":1", local))
    {
        std::cerr << "simwatch: cannot resolve \"" << options.m_bind << "\"" << std::endl;
        return 2;
    }
    local.sin_port = htons(static_cast<uint16_t>(options.m_port));
    int const sock = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    socklen_t length = sizeof(local);
    if (sock < 0 || bind(sock, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0 ||
        getsockname(sock, reinterpret_cast<sockaddr*>(&local), &length) != 0)
    {
        std::cerr << "simwatch: cannot listen on " << options.m_bind << ":" << options.m_port << ": "
                  << std::strerror(errno) << std::endl;
        return 2;
    }
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &local.sin_addr, text, sizeof(text));
    std::cerr << "simwatch: listening on " << text << ":" << ntohs(local.sin_port) << std::endl;

    sockaddr_in core;
    bool haveCore = false;
    if (!options.m_core.empty())
    {
        haveCore = resolve(options.m_core, core);
        if (!haveCore)
        {
            std::cerr << "simwatch: bad core address \"" << options.m_core << "\"" << std::endl;
            return 2;
        }
    }

    std::string input;
    bool inputOpen = true;
    long received = 0;
    std::string buffer(65536, '\0');
    for (;;)
    {
        pollfd fds[2] = {{sock, POLLIN, 0}, {inputOpen ? STDIN_FILENO : -1, POLLIN, 0}};
        int const ready = poll(fds, 2, options.m_timeout > 0 ? static_cast<int>(options.m_timeout * 1000) : -1);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break; // silence for the whole --timeout
        if (fds[0].revents & POLLIN)
        {
            sockaddr_in from;
            socklen_t fromLength = sizeof(from);
            ssize_t const count =
                recvfrom(sock, &buffer[0], buffer.size(), 0, reinterpret_cast<sockaddr*>(&from), &fromLength);
            if (count >= 0)
            {
                // The core answers events on the port its lines come from.
                if (options.m_core.empty())
                {
                    core = from;
                    haveCore = true;
                }
                std::string line(buffer.data(), static_cast<size_t>(count));
                while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
                    line.pop_back();
                std::cout << line << std::endl;
                if (options.m_count > 0 && ++received >= options.m_count)
                    break;
            }
        }
        if (inputOpen && (fds[1].revents & (POLLIN | POLLHUP | POLLERR)))
        {
            char chunk[4096];
            ssize_t const count = read(STDIN_FILENO, chunk, sizeof(chunk));
            if (count <= 0)
            {
                inputOpen = false;
                if (options.m_count == 0 && options.m_timeout == 0)
                    break;
                continue;
            }
            input.append(chunk, static_cast<size_t>(count));
            size_t end = 0;
            while ((end = input.find('\n')) != std::string::npos)
            {
                std::string line = input.substr(0, end);
                input.erase(0, end + 1);
                if (!line.empty() && line.back() == '\r')
                    line.pop_back();
                if (line.find_first_not_of(" \t") == std::string::npos || line[0] == '#')
                    continue;
                simlink::SimEvent event;
                std::string error;
                if (!options.m_raw && !simlink::parseEventLine(line, event, error))
                {
                    std::cerr << "simwatch: not sent: " << error << std::endl;
                    continue;
                }
                if (!haveCore)
                {
                    std::cerr << "simwatch: not sent: no line from the core yet (or give --core)" << std::endl;
                    continue;
                }
                if (sendto(sock, line.data(), line.size(), 0, reinterpret_cast<sockaddr*>(&core), sizeof(core)) < 0)
                    std::cerr << "simwatch: not sent: " << std::strerror(errno) << std::endl;
            }
        }
    }
    close(sock);
    return 0;
}
