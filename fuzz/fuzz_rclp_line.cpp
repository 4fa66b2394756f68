// Fuzz target: the input as the byte stream a remote control client sends, cut into reads of a size
// taken from the first byte, through the connection's line reader, message parser and dispatch to a
// server. Besides the sanitizers it checks what the server may be handed and what every answer must
// look like; the whole input is also read as one server line, as the client tool reads it.

#include "rclp/irclpserver.h"
#include "rclp/rclpconnection.h"
#include "rclp/rclpwire.h"

#include "basekit/fidhelper.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace
{
void require(bool condition, char const* pWhat)
{
    if (!condition)
    {
        std::fprintf(stderr, "link invariant broken: %s\n", pWhat);
        std::abort();
    }
}

// Checks that only sound requests get through.
class CheckingServer : public IRCLPServer, public IRCLPStateWriter
{
public:
    void subscribe(std::string const& fid) override { checkSubscription(fid); }
    void unsubscribe(std::string const& fid) override { checkSubscription(fid); }
    void call(std::string const& fid, ParameterList& params) override
    {
        require(!fid.empty(), "call with an empty id");
        std::string name;
        std::string value;
        unsigned int i = 0;
        while (params.getParam(i, name, value))
        {
            ++i;
        }
        require(i == params.getCount(), "parameter count");
    }
    void connStatus(EConnStatus) override { require(false, "connStatus from a connection that never started"); }
    void setState(std::string const& fid, ParameterValue const&) override { checkPlain(fid); }
    void triggerState(std::string const& fid, ParameterValue const&) override { checkPlain(fid); }

private:
    static void checkSubscription(std::string const& fid)
    {
        require(!fid.empty(), "subscription of an empty id");
        require(!FIDPatternHelper::isParameterized(fid) || FIDPatternHelper(fid).isValid(),
                "malformed pattern handed on");
    }
    static void checkPlain(std::string const& fid)
    {
        require(!fid.empty() && !FIDPatternHelper::isParameterized(fid), "a write to a pattern");
    }
};

// Reads what the connection answered and checks each line.
void drainAnswers(int fd, std::string& pending)
{
    char buffer[65536];
    ssize_t got;
    while ((got = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT)) > 0)
    {
        pending.append(buffer, static_cast<size_t>(got));
    }
    size_t feed;
    while ((feed = pending.find('\n')) != std::string::npos)
    {
        RCLPMessage message;
        std::string error;
        require(RCLPWire::parseServerLine(pending.substr(0, feed), message, error), "unreadable answer");
        require(message.m_op == RCLPMessage::eOpError && !message.m_value.empty(), "answer is no error");
        pending.erase(0, feed + 1);
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* pData, size_t size)
{
    std::string const all(reinterpret_cast<char const*>(pData), size);
    RCLPMessage message;
    std::string error;
    if (!RCLPWire::parseServerLine(all, message, error))
    {
        require(!error.empty(), "refusal without a reason");
    }
    if (size == 0)
    {
        return 0;
    }

    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0)
    {
        return 0;
    }
    CheckingServer server;
    std::string answers;
    {
        RCLPConnection connection(fds[0], "fuzz", 1);
        connection.setServer(&server);
        size_t chunk = 1 + pData[0] % 64;
        chunk = pData[0] >= 128 ? chunk * 1024 : chunk;
        bool open = true;
        for (size_t at = 1; at < size && open && !connection.isClosing(); at += chunk)
        {
            size_t take = size - at < chunk ? size - at : chunk;
            open = connection.receive(reinterpret_cast<char const*>(pData) + at, take);
            drainAnswers(fds[1], answers);
        }
    }
    close(fds[1]);
    return 0;
}
