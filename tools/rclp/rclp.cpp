// rclp: a command-line client of the panel's remote control link.
//
//   rclp [--json] [--count N] watch HOST[:PORT] PATTERN...   follow ids and patterns, one line per change
//   rclp [--json] set HOST[:PORT] FID VALUE                  write a panel state value
//   rclp [--json] trigger HOST[:PORT] FID [VALUE]            trigger a panel state event
//   rclp [--json] call HOST[:PORT] FID [NAME=VALUE]...       run a function id with parameters
//
// The port defaults to 56662. watch prints "HH:MM:SS.mmm update FID=VALUE" or "... trigger FID=VALUE";
// --json prints the server's lines as they arrive instead. Exit status: 0 done, 1 connection or
// server error, 2 bad usage.

#include "rclp/rclpwire.h"

#include "basekit/fidhelper.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <iostream>
#include <netdb.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

namespace
{
char const* const s_usage =
    "Usage: rclp [--json] [--count N] watch HOST[:PORT] PATTERN...\n"
    "       rclp [--json] set HOST[:PORT] FID VALUE\n"
    "       rclp [--json] trigger HOST[:PORT] FID [VALUE]\n"
    "       rclp [--json] call HOST[:PORT] FID [NAME=VALUE]...\n"
    "PORT defaults to 56662. watch prints one timestamped line per update or trigger; --json prints\n"
    "the server's JSON lines unchanged; --count N ends watch after N of them.\n";

int usageError(std::string const& message)
{
    std::cerr << "rclp: " << message << "\n" << s_usage;
    return 2;
}

struct Endpoint
{
    std::string m_host;
    std::string m_port = "56662";
};

// HOST, HOST:PORT or [IPV6]:PORT.
bool parseEndpoint(std::string const& text, Endpoint& endpoint)
{
    std::string rest = text;
    if (!rest.empty() && rest[0] == '[')
    {
        size_t close = rest.find(']');
        if (close == std::string::npos)
        {
            return false;
        }
        endpoint.m_host = rest.substr(1, close - 1);
        rest = rest.substr(close + 1);
        if (!rest.empty() && rest[0] != ':')
        {
            return false;
        }
    }
    else
    {
        size_t colon = rest.find(':');
        endpoint.m_host = rest.substr(0, colon);
        rest = colon == std::string::npos ? std::string() : rest.substr(colon);
    }
    if (!rest.empty())
    {
        endpoint.m_port = rest.substr(1);
        if (endpoint.m_port.empty() || endpoint.m_port.size() > 5 ||
            endpoint.m_port.find_first_not_of("0123456789") != std::string::npos || std::stol(endpoint.m_port) > 65535)
        {
            return false;
        }
    }
    return !endpoint.m_host.empty();
}

int connectTo(Endpoint const& endpoint)
{
    std::string where = endpoint.m_host + ":" + endpoint.m_port;
    addrinfo hints;
    std::memset(&hints, 0, sizeof(hints));
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* pList = nullptr;
    int status = getaddrinfo(endpoint.m_host.c_str(), endpoint.m_port.c_str(), &hints, &pList);
    if (status != 0)
    {
        std::cerr << "rclp: cannot connect to " << where << ": " << gai_strerror(status) << std::endl;
        return -1;
    }
    int error = 0;
    for (addrinfo* pInfo = pList; pInfo != nullptr; pInfo = pInfo->ai_next)
    {
        int fd = socket(pInfo->ai_family, pInfo->ai_socktype | SOCK_CLOEXEC, pInfo->ai_protocol);
        if (fd < 0)
        {
            error = errno;
            continue;
        }
        if (connect(fd, pInfo->ai_addr, pInfo->ai_addrlen) == 0)
        {
            freeaddrinfo(pList);
            return fd;
        }
        error = errno;
        close(fd);
    }
    freeaddrinfo(pList);
    std::cerr << "rclp: cannot connect to " << where << ": " << std::strerror(error) << std::endl;
    return -1;
}

bool sendAll(int fd, std::string const& text)
{
    size_t done = 0;
    while (done < text.size())
    {
        ssize_t sent = send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
        if (sent < 0)
        {
            if (errno == EINTR)
            {
                continue;
            }
            std::cerr << "rclp: cannot send: " << std::strerror(errno) << std::endl;
            return false;
        }
        done += static_cast<size_t>(sent);
    }
    return true;
}

std::string timestamp()
{
    timeval now;
    gettimeofday(&now, nullptr);
    tm local;
    localtime_r(&now.tv_sec, &local);
    char buffer[32];
    size_t length = strftime(buffer, sizeof(buffer), "%H:%M:%S", &local);
    snprintf(buffer + length, sizeof(buffer) - length, ".%03ld", static_cast<long>(now.tv_usec / 1000));
    return buffer;
}

// Reads the server's lines until the end of the connection, the count is reached, or the deadline
// (milliseconds; negative: none). Returns the exit status.
int readAnswers(int fd, bool json, long count, int deadlineMs, std::string const& where, bool endIsError)
{
    RCLPLineReader reader;
    long seen = 0;
    bool serverError = false;
    std::vector<char> buffer(65536);
    auto start = std::chrono::steady_clock::now();
    for (;;)
    {
        int wait = -1;
        if (deadlineMs >= 0)
        {
            long spent = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                               std::chrono::steady_clock::now() - start)
                                               .count());
            if (spent >= deadlineMs)
            {
                std::cerr << "rclp: no end of the answer from " << where << std::endl;
                return 1;
            }
            wait = static_cast<int>(deadlineMs - spent);
        }
        pollfd pfd = {fd, POLLIN, 0};
        int ready = poll(&pfd, 1, wait);
        if (ready < 0 && errno != EINTR)
        {
            return 1;
        }
        if (ready <= 0)
        {
            continue;
        }
        ssize_t got = recv(fd, buffer.data(), buffer.size(), 0);
        if (got < 0 && errno == EINTR)
        {
            continue;
        }
        if (got <= 0)
        {
            if (endIsError)
            {
                std::cerr << "rclp: " << where << " closed the connection" << std::endl;
                return 1;
            }
            return serverError ? 1 : 0;
        }
        bool done = false;
        bool fits = reader.feed(buffer.data(), static_cast<size_t>(got),
                                [&](std::string const& line)
                                {
                                    if (done)
                                    {
                                        return;
                                    }
                                    RCLPMessage message;
                                    std::string error;
                                    bool ok = RCLPWire::parseServerLine(line, message, error);
                                    if (json)
                                    {
                                        std::cout << line << std::endl;
                                    }
                                    if (!ok)
                                    {
                                        std::cerr << "rclp: unreadable line from the server (" << error
                                                  << "): " << line << std::endl;
                                        return;
                                    }
                                    if (message.m_op == RCLPMessage::eOpError)
                                    {
                                        serverError = true;
                                        std::cerr << "rclp: server: " << message.m_value << std::endl;
                                        return;
                                    }
                                    if (!json)
                                    {
                                        std::cout << timestamp()
                                                  << (message.m_op == RCLPMessage::eOpUpdate ? " update "
                                                                                             : " trigger ")
                                                  << message.m_fid << "=" << message.m_value << std::endl;
                                    }
                                    if (count > 0 && ++seen >= count)
                                    {
                                        done = true;
                                    }
                                });
        if (done)
        {
            return 0;
        }
        if (!fits)
        {
            std::cerr << "rclp: the server sent a line over the limit" << std::endl;
            return 1;
        }
    }
}
} // namespace

int main(int argc, char** argv)
{
    signal(SIGPIPE, SIG_IGN);
    bool json = false;
    long count = 0;
    std::vector<std::string> words;
    for (int i = 1; i < argc; ++i)
    {
        std::string arg = argv[i];
        if (arg == "--json")
        {
            json = true;
        }
        else if (arg == "--count")
        {
            char* pEnd = nullptr;
            count = i + 1 < argc ? std::strtol(argv[++i], &pEnd, 10) : 0;
            if (count <= 0 || *pEnd != '\0')
            {
                return usageError("--count needs a number above 0");
            }
        }
        else if (arg == "--help" || arg == "-h")
        {
            std::cout << s_usage;
            return 0;
        }
        else if (arg.size() > 1 && arg[0] == '-' && arg[1] == '-')
        {
            return usageError("unknown option \"" + arg + "\"");
        }
        else
        {
            words.push_back(arg);
        }
    }
    if (words.size() < 2)
    {
        return usageError(words.empty() ? "no command" : "no HOST[:PORT]");
    }
    std::string const& command = words[0];
    Endpoint endpoint;
    if (!parseEndpoint(words[1], endpoint))
    {
        return usageError("bad address \"" + words[1] + "\", expected HOST[:PORT]");
    }
    std::string where = endpoint.m_host + ":" + endpoint.m_port;

    std::string request;
    if (command == "watch")
    {
        if (words.size() < 3)
        {
            return usageError("watch needs at least one PATTERN");
        }
        for (size_t i = 2; i < words.size(); ++i)
        {
            if (FIDPatternHelper::isParameterized(words[i]))
            {
                FIDPatternHelper pattern(words[i]);
                if (!pattern.isValid())
                {
                    std::cerr << "rclp: bad pattern \"" << words[i] << "\": " << pattern.getError() << std::endl;
                    return 2;
                }
            }
            request += RCLPWire::formatSubscribe(words[i]);
        }
    }
    else if (command == "set")
    {
        if (words.size() != 4)
        {
            return usageError("set needs FID and VALUE");
        }
        request = RCLPWire::formatSet(words[2], words[3]);
    }
    else if (command == "trigger")
    {
        if (words.size() != 3 && words.size() != 4)
        {
            return usageError("trigger needs FID and at most one VALUE");
        }
        request = RCLPWire::formatTriggerRequest(words[2], words.size() == 4 ? words[3] : std::string());
    }
    else if (command == "call")
    {
        if (words.size() < 3)
        {
            return usageError("call needs FID");
        }
        ParameterList params;
        for (size_t i = 3; i < words.size(); ++i)
        {
            size_t equals = words[i].find('=');
            if (equals == std::string::npos || equals == 0)
            {
                return usageError("bad parameter \"" + words[i] + "\", expected NAME=VALUE");
            }
            params.add(words[i].substr(0, equals), words[i].substr(equals + 1));
        }
        request = RCLPWire::formatCall(words[2], params);
    }
    else
    {
        return usageError("unknown command \"" + command + "\"");
    }

    int fd = connectTo(endpoint);
    if (fd < 0)
    {
        return 1;
    }
    if (!sendAll(fd, request))
    {
        close(fd);
        return 1;
    }
    int status;
    if (command == "watch")
    {
        status = readAnswers(fd, json, count, -1, where, true);
    }
    else
    {
        // The end of our input ends the connection once the server has answered what came before.
        shutdown(fd, SHUT_WR);
        status = readAnswers(fd, json, 0, 5000, where, false);
    }
    close(fd);
    return status;
}
