#ifndef RCLP_IRCLPCONNECTOR_H
#define RCLP_IRCLPCONNECTOR_H

class RCLPConnection;

// Told of every new connection by the listener's thread. The connector gives the connection a server
// (RCLPConnection::setServer) and takes it over; a connection left without a server is closed.
class IRCLPConnector
{
public:
    virtual void acceptConnection(RCLPConnection* pConnection) = 0;
    virtual ~IRCLPConnector() {}
};

#endif
