#include "rclp_testclient.h"

#include "rclp/irclpconnector.h"
#include "rclp/irclpserver.h"
#include "rclp/rclpconnection.h"
#include "rclp/rclplistener.h"
#include "rclp/rclpwire.h"

#include "rtk/log.h"

#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace
{
// Records every call as a line of text; owns its connection.
class FakeServer : public IRCLPServer, public IRCLPStateWriter
{
public:
    ~FakeServer() override
    {
        if (m_pConnection != nullptr)
        {
            m_pConnection->disconnect();
            waitFor("connStatus 1");
            delete m_pConnection;
        }
    }

    void subscribe(std::string const& fid) override { record("subscribe " + fid); }
    void unsubscribe(std::string const& fid) override { record("unsubscribe " + fid); }
    void call(std::string const& fid, ParameterList& params) override
    {
        std::string text = "call " + fid;
        std::string name;
        std::string value;
        for (unsigned int i = 0; params.getParam(i, name, value); ++i)
        {
            text += " " + name + "=" + value;
        }
        record(text);
    }
    void connStatus(EConnStatus status) override { record("connStatus " + std::to_string(status)); }
    void setState(std::string const& fid, ParameterValue const& value) override
    {
        record("set " + fid + "=" + value.getText());
    }
    void triggerState(std::string const& fid, ParameterValue const& value) override
    {
        record("trigger " + fid + "=" + value.getText());
    }

    std::vector<std::string> calls()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_calls;
    }
    // True when the call was recorded within 2 s.
    bool waitFor(std::string const& call)
    {
        for (int i = 0; i < 200; ++i)
        {
            for (std::string const& seen : calls())
            {
                if (seen == call)
                {
                    return true;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    RCLPConnection* m_pConnection = nullptr;

private:
    void record(std::string const& text)
    {
        std::lock_guard<std::mutex> guard(m_lock);
        m_calls.push_back(text);
    }

    std::mutex m_lock;
    std::vector<std::string> m_calls;
};

class FakeConnector : public IRCLPConnector
{
public:
    void acceptConnection(RCLPConnection* pConnection) override
    {
        std::lock_guard<std::mutex> guard(m_lock);
        std::unique_ptr<FakeServer> pServer(new FakeServer);
        pServer->m_pConnection = pConnection;
        pConnection->setServer(pServer.get());
        m_servers.push_back(std::move(pServer));
    }
    // The server of the n-th connection, once it has arrived (2 s at most).
    FakeServer* server(size_t n)
    {
        for (int i = 0; i < 200; ++i)
        {
            {
                std::lock_guard<std::mutex> guard(m_lock);
                if (m_servers.size() > n)
                {
                    return m_servers[n].get();
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return nullptr;
    }

private:
    std::mutex m_lock;
    std::vector<std::unique_ptr<FakeServer>> m_servers;
};

class RCLPLinkTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!rtk::LogManager::hasInstance())
        {
            rtk::LogManager::createInstance();
        }
        rtk::LogManager::setSink(&m_log);
        ASSERT_TRUE(m_listener.listen("127.0.0.1", 0, &m_connector));
        ASSERT_NE(0, m_listener.getPort());
    }
    void TearDown() override
    {
        RCLPConnection::setQueueLimit(1024 * 1024);
        rtk::LogManager::setSink(nullptr);
    }

    std::ostringstream m_log;
    FakeConnector m_connector; // outlives the listener
    RCLPListener m_listener{RCLPListener::eTransportTCP};
};
} // namespace

TEST_F(RCLPLinkTest, RequestsReachTheServerAndBadLinesAreAnswered)
{
    RCLPTestClient client(m_listener.getPort());
    ASSERT_TRUE(client.isConnected());
    FakeServer* pServer = m_connector.server(0);
    ASSERT_NE(nullptr, pServer);
    EXPECT_EQ("127.0.0.1", pServer->m_pConnection->getPeerAddress());
    EXPECT_EQ(client.getLocalPort(), pServer->m_pConnection->getPeerPort());

    // A request reaches the server; a bad line, binary bytes included, is answered and reaches nobody.
    // (What each line means is the wire format's part: rclp_wire.cpp.)
    ASSERT_TRUE(client.sendLine(R"({"op":"subscribe","fid":"A.[N:1-3]"})"));
    EXPECT_TRUE(pServer->waitFor("subscribe A.[N:1-3]"));
    for (std::string const& bad : {std::string("garbage"), std::string("\x01\xff\xfe binary"),
                                   std::string(R"({"op":"set","fid":"A.[N:*]","value":"1"})")})
    {
        ASSERT_TRUE(client.sendLine(bad));
        std::string line;
        ASSERT_TRUE(client.readLine(line));
        RCLPMessage answer;
        std::string error;
        ASSERT_TRUE(RCLPWire::parseServerLine(line, answer, error)) << line;
        EXPECT_EQ(RCLPMessage::eOpError, answer.m_op) << line;
    }
    ASSERT_TRUE(client.sendLine(R"({"op":"call","fid":"F","params":[["a","1"],["b","2"]]})"));
    EXPECT_TRUE(pServer->waitFor("call F a=1 b=2"));
    EXPECT_EQ((std::vector<std::string>{"connStatus 0", "subscribe A.[N:1-3]", "call F a=1 b=2"}), pServer->calls());

    // Updates and triggers go out as lines; the client's end ends the connection.
    pServer->m_pConnection->updateState("A.1", ParameterValue("on"));
    pServer->m_pConnection->trigger("A.2", ParameterValue(""));
    std::string line;
    ASSERT_TRUE(client.readLine(line));
    EXPECT_EQ(R"({"op":"update","fid":"A.1","value":"on"})", line);
    ASSERT_TRUE(client.readLine(line));
    EXPECT_EQ(R"({"op":"trigger","fid":"A.2","value":""})", line);
    client.close();
    EXPECT_TRUE(pServer->waitFor("connStatus 1"));
    EXPECT_EQ("connStatus 1", pServer->calls().back());
}

TEST_F(RCLPLinkTest, ConnectionsEndOnOversizedLinesHalfLinesAndServerDisconnect)
{
    // A line over 64 KiB: an error answer, then the end.
    RCLPTestClient big(m_listener.getPort());
    FakeServer* pBig = m_connector.server(0);
    ASSERT_NE(nullptr, pBig);
    big.sendRaw(std::string(RCLPWire::s_maxLineLength + 10, 'x'));
    std::string line;
    ASSERT_TRUE(big.readLine(line));
    EXPECT_EQ(R"({"op":"error","message":"line longer than 65536 bytes; closing the connection"})", line);
    EXPECT_TRUE(big.waitClosed());
    EXPECT_TRUE(pBig->waitFor("connStatus 1"));
    EXPECT_NE(std::string::npos, m_log.str().find("sent a line longer than 65536 bytes"));

    // Half a line, then a reset: the half line is never handed on.
    RCLPTestClient half(m_listener.getPort());
    FakeServer* pHalf = m_connector.server(1);
    ASSERT_NE(nullptr, pHalf);
    half.sendRaw(R"({"op":"subscribe","fid":"A"})" "\n" R"({"op":"subscribe","fid":"B"})");
    EXPECT_TRUE(pHalf->waitFor("subscribe A"));
    half.abort();
    EXPECT_TRUE(pHalf->waitFor("connStatus 1"));
    EXPECT_EQ((std::vector<std::string>{"connStatus 0", "subscribe A", "connStatus 1"}), pHalf->calls());

    // disconnect from the application: the client sees the end, the server hears it last.
    RCLPTestClient dropped(m_listener.getPort());
    FakeServer* pDropped = m_connector.server(2);
    ASSERT_NE(nullptr, pDropped);
    ASSERT_TRUE(pDropped->waitFor("connStatus 0"));
    pDropped->m_pConnection->disconnect();
    EXPECT_TRUE(dropped.waitClosed());
    EXPECT_TRUE(pDropped->waitFor("connStatus 1"));
    // After the end, sends are dropped silently.
    pDropped->m_pConnection->updateState("X", ParameterValue("1"));
    EXPECT_EQ(0u, pDropped->m_pConnection->getQueuedBytes());
}

TEST_F(RCLPLinkTest, ASlowClientIsDroppedWithoutBlockingTheSender)
{
    RCLPConnection::setQueueLimit(64 * 1024);
    RCLPTestClient slow(m_listener.getPort());
    RCLPTestClient quick(m_listener.getPort());
    FakeServer* pSlow = m_connector.server(0);
    FakeServer* pQuick = m_connector.server(1);
    ASSERT_NE(nullptr, pSlow);
    ASSERT_NE(nullptr, pQuick);
    // The slow client reads nothing: socket buffers fill, then the queue, then it is dropped. Every
    // send returns at once, so this loop ends.
    std::string value(1000, 'v');
    int sent = 0;
    while (!pSlow->m_pConnection->isClosing() && sent < 100000)
    {
        pSlow->m_pConnection->updateState("SLOW", ParameterValue(value));
        EXPECT_LE(pSlow->m_pConnection->getQueuedBytes(), 64u * 1024u);
        ++sent;
    }
    EXPECT_TRUE(pSlow->m_pConnection->isClosing());
    EXPECT_TRUE(pSlow->waitFor("connStatus 1"));
    EXPECT_NE(std::string::npos,
              m_log.str().find("Dropping RCLP client 127.0.0.1:" + std::to_string(slow.getLocalPort()) +
                               ": it does not read fast enough (more than 65536 bytes waiting)"));
    // The other client is served as before.
    pQuick->m_pConnection->updateState("QUICK", ParameterValue("1"));
    std::string line;
    ASSERT_TRUE(quick.readLine(line));
    EXPECT_EQ(R"({"op":"update","fid":"QUICK","value":"1"})", line);
}

TEST_F(RCLPLinkTest, ListenRefusesWhatItCannotServe)
{
    FakeConnector connector;
    RCLPListener udp(2);
    EXPECT_FALSE(udp.listen("127.0.0.1", 0, &connector));
    RCLPListener busy(RCLPListener::eTransportTCP);
    EXPECT_FALSE(busy.listen("127.0.0.1", m_listener.getPort(), &connector));
    EXPECT_EQ(0, busy.getPort());
    RCLPListener badAddress(RCLPListener::eTransportTCP);
    EXPECT_FALSE(badAddress.listen("not an address", 0, &connector));
    EXPECT_FALSE(m_listener.listen("127.0.0.1", 0, &connector));
    std::string log = m_log.str();
    EXPECT_NE(std::string::npos, log.find("[RCLP] ERROR Cannot listen for RCLP connections: unknown transport 2"));
    EXPECT_NE(std::string::npos, log.find("[RCLP] ERROR Cannot listen for RCLP connections on 127.0.0.1:" +
                                          std::to_string(m_listener.getPort()) + ": Address already in use"));
    EXPECT_NE(std::string::npos, log.find("the listener listens already"));

    // The override replaces the caller's address and port; a negative port keeps the caller's.
    RCLPListener::setListenOverride("127.0.0.1", 0);
    RCLPListener overridden(RCLPListener::eTransportTCP);
    EXPECT_TRUE(overridden.listen("0.0.0.0", 56662, &connector));
    RCLPListener::setListenOverride("", -1);
    EXPECT_EQ("127.0.0.1", overridden.getAddress());
    EXPECT_NE(56662, overridden.getPort());
    RCLPTestClient client(overridden.getPort());
    EXPECT_TRUE(client.isConnected());
    EXPECT_NE(nullptr, connector.server(0));
}
