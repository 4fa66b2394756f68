#ifndef RCLP_RCLPCONNECTION_H
#define RCLP_RCLPCONNECTION_H

// One client connection of the remote control link. It owns its socket and a thread that reads the
// client's lines and calls the server; the application (its server) owns the object.
//
// Sending never blocks: a line goes out at once when the socket takes it, the rest waits in an output
// queue that the connection's thread drains. A client that lets its queue grow beyond the limit is
// too slow to follow the panel: it is dropped, with a warning in the log.

#include "rclp/rclpwire.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

class IRCLPServer;

class RCLPConnection
{
public:
    // Takes over the connected socket fd (made non-blocking here).
    RCLPConnection(int fd, std::string const& peerAddress, uint16_t peerPort);
    // Ends the thread (as disconnect does) and closes the socket.
    virtual ~RCLPConnection();

    std::string getPeerAddress() const { return m_peerAddress; }
    uint16_t getPeerPort() const { return m_peerPort; }

    // Asks the connection to end; returns at once. The server hears connStatus(disconnected) from
    // the connection's thread afterwards.
    void disconnect();

    // Queue a line for the client; never block. Dropped silently once the connection has ended.
    void updateState(std::string const& fid, ParameterValue const& value);
    void trigger(std::string const& fid, ParameterValue const& value);

    void setServer(IRCLPServer* pServer) { m_pServer = pServer; }
    IRCLPServer* getServer() const { return m_pServer; }

    // Starts the thread: connStatus(connected), then the client's requests, then
    // connStatus(disconnected). Needs a server. False when the thread cannot start.
    bool start();

    // Bytes as read from the client: complete lines go to the server, errors are answered. False
    // when the connection must end (a line over the limit). Used by the thread; callable directly
    // on a connection that was not started.
    bool receive(char const* pData, size_t size);

    // True once the connection has ended or been asked to end.
    bool isClosing() const { return m_closing.load(); }
    size_t getQueuedBytes() const;

    // The output queue limit in bytes for connections made from now on (default 4 MiB).
    static void setQueueLimit(size_t bytes);
    static size_t getQueueLimit();

private:
    class Worker;

    RCLPConnection(RCLPConnection const&) = delete;
    RCLPConnection& operator=(RCLPConnection const&) = delete;

    void send(std::string const& line);
    // Writes what the socket takes from the queue; false on a socket error. Caller holds m_outLock.
    bool flushLocked();
    void wake();
    void close(char const* pReason);
    void run();
    // After the client's end of input: lets the queue drain for up to timeoutMs.
    void drain(int timeoutMs);

    int m_fd;
    int m_wakeFd;
    std::string const m_peerAddress;
    uint16_t const m_peerPort;
    IRCLPServer* m_pServer = nullptr;
    RCLPLineReader m_reader;
    size_t const m_queueLimit;

    mutable std::mutex m_outLock;
    std::string m_queue;      // bytes not yet taken by the socket
    size_t m_queueOffset = 0; // bytes of m_queue already sent
    std::atomic<bool> m_closing{false};

    std::unique_ptr<Worker> m_pWorker;

    static std::atomic<size_t> s_queueLimit;
};

#endif
