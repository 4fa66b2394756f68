#ifndef RCLP_IRCLPSERVER_H
#define RCLP_IRCLPSERVER_H

// What the link library calls on the application's side of one connection. All calls come from the
// connection's own thread, one at a time.

#include <string>

class ParameterList;
class ParameterValue;

enum EConnStatus
{
    eConnStatusConnected = 0,
    eConnStatusDisconnected = 1
};

class IRCLPServer
{
public:
    // fid is a plain function id or a well-formed pattern (malformed ones are answered by the library).
    virtual void subscribe(std::string const& fid) = 0;
    virtual void unsubscribe(std::string const& fid) = 0;
    virtual void call(std::string const& fid, ParameterList& params) = 0;
    // Connected comes once, before any other call; disconnected once, last.
    virtual void connStatus(EConnStatus status) = 0;
    virtual ~IRCLPServer() {}
};

// Optional second face of a server: clients that write the state directly ("set", "trigger"). A
// server without it answers those messages with an error.
class IRCLPStateWriter
{
public:
    virtual void setState(std::string const& fid, ParameterValue const& value) = 0;
    virtual void triggerState(std::string const& fid, ParameterValue const& value) = 0;
    virtual ~IRCLPStateWriter() {}
};

#endif
