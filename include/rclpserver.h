#ifndef RCLPSERVER_H
#define RCLPSERVER_H

// The remote control link's side of the core: RCLPConnector, which the listener hands each new
// connection, and one RCLPServer per connection, which subscribes the client to the panel state and
// passes its calls on to IFunctionID.

#include "pdlpanelstate.h"

#include "rclp/irclpconnector.h"
#include "rclp/irclpserver.h"
#include "rclp/rclpconnection.h"
#include "rclp/rclpwire.h"

#include "rtk/cmd.h"
#include "rtk/hostaddress.h"
#include "rtk/semaphore.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <string>

class IFunctionID;

class RCLPServer : public IRCLPServer, public PDLStateSubscriber, public IRCLPStateWriter
{
public:
    static char const* const RCLP_CON_FILE_PATH;

    // Deletes the status file; the connector writes it anew at once.
    explicit RCLPServer(IFunctionID* pFunctionID);
    // Ends the connection and waits until the library has reported its end, then deletes it.
    ~RCLPServer() override;

    void initConnection(RCLPConnection* pConnection);
    void disconnect();
    rtk::HostAddress getPeerAddress() const;
    uint16_t getPeerPort() const;
    bool isInactive() const { return m_inactive.load(); }

    // IRCLPServer, on the connection's thread.
    void subscribe(std::string const& fid) override;
    void unsubscribe(std::string const& fid) override;
    void call(std::string const& fid, ParameterList& params) override;
    void connStatus(EConnStatus status) override;

    // PDLStateSubscriber, on the writer's thread with the interpreter mutex held.
    bool useEventManager() const override { return false; }
    void updateDirect(std::string const& fid, std::string const& value) override;
    void triggerMFDriverEvent(std::string const& fid, std::string const& parameter) override;
    std::string getDescription(int id) const override;
    void checkNewStateEntry(std::string const& fid) override;

    // IRCLPStateWriter: clients that write the panel state themselves.
    void setState(std::string const& fid, ParameterValue const& value) override;
    void triggerState(std::string const& fid, ParameterValue const& value) override;

private:
    RCLPServer(RCLPServer const&) = delete;
    RCLPServer& operator=(RCLPServer const&) = delete;

    PDLStateSubscriberKey key() { return PDLStateSubscriberKey(this, 0); }
    std::string peerText() const;
    // Takes one line out of the status file: the first occurrence of address and the byte after it.
    static void connectionStatusRemove(std::string const& address);

    RCLPConnection* m_pConnection;
    IFunctionID* m_pFunctionID;
    std::atomic<bool> m_inactive;
    std::string m_peerAddress;
    std::map<std::string, int32_t> m_subscriptions;
};

class RCLPConnector : public IRCLPConnector
{
public:
    static char const* const RCLP_CON_FILE_NAME;

    // Registers the shell commands rclpShow and rclpDisconnect.
    RCLPConnector();
    // Deletes every server, which waits for the end of its connection.
    ~RCLPConnector() override;

    void setFunctionIDInterface(IFunctionID* pFunctionID) { m_pFunctionID = pFunctionID; }
    IFunctionID* getFunctionIDInterface() const { return m_pFunctionID; }

    // On the listener's thread: drops the servers whose connection has ended, makes a server for the
    // new connection and rewrites the status file.
    void acceptConnection(RCLPConnection* pConnection) override;
    // Writes the status file: one line with the peer's address per server, in list order.
    void connectionStatusUpdate();

    // The path of the status file in the temporary directory.
    static rtk::Path getStatusFilePath();

private:
    RCLPConnector(RCLPConnector const&) = delete;
    RCLPConnector& operator=(RCLPConnector const&) = delete;

    bool shellCmdRCLPShow(rtk::CmdParameters& params);
    bool shellCmdRCLPDisconnect(rtk::CmdParameters& params);

    std::list<RCLPServer*> m_servers;
    IFunctionID* m_pFunctionID;
    rtk::MutexSemaphore m_mutex;
};

#endif
