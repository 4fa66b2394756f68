#include "core_rclp_fixture.h"

#include "rclp/rclpconnection.h"

using namespace rclptest;

TEST_F(CoreRCLPTest, SubscriptionsByIdAndPatternFollowTheState)
{
    RCLPTestClient client(m_port);
    ASSERT_TRUE(client.isConnected());

    // By id: the present value at once (Invalid is the empty text), then each change.
    client.sendLine(R"({"op":"subscribe","fid":"S.ONE"})");
    expectLine(client, updateLine("S.ONE", ""));
    m_pState->setStateValue("S.ONE", "1");
    expectLine(client, updateLine("S.ONE", "1"));
    // A second subscribe sends the value again; the first unsubscribe keeps the subscription.
    client.sendLine(R"({"op":"subscribe","fid":"S.ONE"})");
    expectLine(client, updateLine("S.ONE", "1"));
    client.sendLine(R"({"op":"unsubscribe","fid":"S.ONE"})");
    expectNothingMore(client);
    m_pState->setStateValue("S.ONE", "2");
    expectLine(client, updateLine("S.ONE", "2"));
    client.sendLine(R"({"op":"unsubscribe","fid":"S.ONE"})");
    client.sendLine(R"({"op":"unsubscribe","fid":"NEVER.SUBSCRIBED"})");
    expectNothingMore(client);
    m_pState->setStateValue("S.ONE", "3");
    expectNothingMore(client);

    // By pattern: what matches now, in key order; nothing when nothing matches.
    m_pState->setStateValue("Q.2", "b");
    m_pState->setStateValue("Q.1", "a");
    client.sendLine(R"({"op":"subscribe","fid":"Q.[N:*]"})");
    expectLine(client, updateLine("Q.1", "a"));
    expectLine(client, updateLine("Q.2", "b"));
    client.sendLine(R"({"op":"subscribe","fid":"P.[N:1-2]"})");
    expectNothingMore(client);
    // A new matching entry arrives with its first value, Invalid, then its change.
    m_pState->setStateValue("P.1", "x");
    expectLine(client, updateLine("P.1", ""));
    expectLine(client, updateLine("P.1", "x"));
    m_pState->setStateValue("P.3", "no");
    // An entry subscribed by name is not announced a second time by the pattern.
    client.sendLine(R"({"op":"subscribe","fid":"P.2"})");
    expectLine(client, updateLine("P.2", ""));
    expectNothingMore(client);

    // Triggers reach the client on the caller's thread.
    m_pState->triggerEvent("P.1", "go");
    expectLine(client, R"({"op":"trigger","fid":"P.1","value":"go"})");
    // After the pattern's unsubscribe its entries are quiet.
    client.sendLine(R"({"op":"unsubscribe","fid":"Q.[N:*]"})");
    expectNothingMore(client);
    m_pState->setStateValue("Q.1", "c");
    expectNothingMore(client);
    EXPECT_FALSE(m_pState->findStateEntry("Q.1")->hasSubscribers());
}

TEST_F(CoreRCLPTest, CallsAndWritesFromClientsReachThePanel)
{
    RCLPTestClient writer(m_port);
    RCLPTestClient reader(m_port);
    reader.sendLine(R"({"op":"subscribe","fid":"W.T"})");
    expectLine(reader, updateLine("W.T", ""));

    writer.sendLine(R"({"op":"call","fid":"F.RUN","params":[["a","1"],["b","two"]]})");
    writer.sendLine(R"({"op":"set","fid":"W.V","value":"42"})");
    writer.sendLine(R"({"op":"trigger","fid":"W.T","value":"now"})");
    expectLine(reader, R"({"op":"trigger","fid":"W.T","value":"now"})");
    expectNothingMore(writer); // the writer's requests have all been handled
    EXPECT_EQ(std::vector<std::string>{"F.RUN a=1 b=two"}, m_functionID.calls());
    EXPECT_EQ("42", m_pState->getValueString("W.V"));
}

TEST_F(CoreRCLPTest, ConnectionStatusFileShellAndCleanUp)
{
    EXPECT_EQ("", shell("rclpShow"));

    std::unique_ptr<RCLPTestClient> pFirst(new RCLPTestClient(m_port));
    RCLPTestClient second(m_port);
    // Two subscriptions of one id: both end with the connection.
    pFirst->sendLine(R"({"op":"subscribe","fid":"C.X"})");
    pFirst->sendLine(R"({"op":"subscribe","fid":"C.X"})");
    expectLine(*pFirst, updateLine("C.X", ""));
    expectLine(*pFirst, updateLine("C.X", ""));
    expectNothingMore(second);
    std::string first = "127.0.0.1:" + std::to_string(pFirst->getLocalPort());
    std::string secondText = "127.0.0.1:" + std::to_string(second.getLocalPort());
    EXPECT_EQ(first + "\n" + secondText + "\n", shell("rclpShow"));
    EXPECT_EQ("127.0.0.1\n127.0.0.1\n", statusFile());

    // A client that went away stays listed as inactive, with its line gone from the file ...
    pFirst.reset();
    EXPECT_EQ(first + " (inactive)\n" + secondText + "\n", waitForShow(first + " (inactive)\n" + secondText + "\n"));
    EXPECT_EQ("127.0.0.1\n", statusFile());
    EXPECT_FALSE(m_pState->findStateEntry("C.X")->hasSubscribers());
    // ... until the next client arrives.
    RCLPTestClient third(m_port);
    expectNothingMore(third);
    std::string thirdText = "127.0.0.1:" + std::to_string(third.getLocalPort());
    EXPECT_EQ(secondText + "\n" + thirdText + "\n", shell("rclpShow"));
    EXPECT_EQ("127.0.0.1\n127.0.0.1\n", statusFile());

    // rclpDisconnect ends every connection; each is marked when its end is reported.
    EXPECT_EQ("", shell("rclpDisconnect"));
    EXPECT_TRUE(second.waitClosed());
    EXPECT_TRUE(third.waitClosed());
    waitForShow(secondText + " (inactive)\n" + thirdText + " (inactive)\n");
    EXPECT_EQ(secondText + " (inactive)\n" + thirdText + " (inactive)\n", shell("rclpShow"));
    EXPECT_EQ("", statusFile());

    std::string log = logText();
    for (std::string const& line :
         {"[RCLP] INFO Accepted RCLP connection from " + first, "[RCLP] INFO RCLP client " + first + " Connected",
          "[RCLP] INFO RCLP client " + first + " Disconnected",
          "[RCLP] INFO Disconnecting RCLP connection " + secondText,
          "[RCLP] INFO RCLP client " + thirdText + " Disconnected"})
    {
        EXPECT_NE(std::string::npos, log.find(line + "\n")) << line << "\n" << log;
    }
}

TEST_F(CoreRCLPTest, StoppingTheListenerKeepsClientsAndShutdownEndsThem)
{
    RCLPTestClient client(m_port);
    client.sendLine(R"({"op":"subscribe","fid":"K.[N:*]"})");
    expectNothingMore(client);
    m_pPanel->stopRCLPListener();
    EXPECT_EQ(nullptr, m_pPanel->getPanelFunctionSystem()->getRCLPListener());
    EXPECT_FALSE(RCLPTestClient(m_port).isConnected());
    m_pState->setStateValue("K.1", "still");
    expectLine(client, updateLine("K.1", ""));
    expectLine(client, updateLine("K.1", "still"));

    // The panel's end waits for every connection's end; the client sees it.
    m_pPanel.reset();
    EXPECT_TRUE(client.waitClosed());
}

TEST_F(CoreRCLPTest, ASlowClientIsDroppedAndBadListensAreRefused)
{
    // A client that reads nothing: socket buffers fill, then its queue, then it is dropped; every write
    // returns at once, so this loop ends, and the other client is served as before.
    RCLPConnection::setQueueLimit(64 * 1024);
    RCLPTestClient slow(m_port);
    RCLPTestClient quick(m_port);
    slow.sendLine(R"({"op":"subscribe","fid":"FLOOD"})");
    quick.sendLine(R"({"op":"subscribe","fid":"QUICK"})");
    expectLine(quick, updateLine("QUICK", ""));
    std::string const value(1000, 'v');
    std::string const slowText = "127.0.0.1:" + std::to_string(slow.getLocalPort());
    for (int i = 0; i < 100000 && shell("rclpShow").find(slowText + " (inactive)") == std::string::npos; ++i)
        m_pState->setStateValue("FLOOD", value + std::to_string(i));
    RCLPConnection::setQueueLimit(1024 * 1024);
    std::string const dropped =
        "[RCLP] WARNING Dropping RCLP client " + slowText + ": it does not read fast enough (more than 65536 bytes waiting)";
    EXPECT_NE(std::string::npos, logText().find(dropped)) << logText();
    m_pState->setStateValue("QUICK", "1");
    expectLine(quick, updateLine("QUICK", "1"));

    // What a listener cannot serve it refuses, with the reason.
    IRCLPConnector* pConnector = m_pPanel->getPanelFunctionSystem()->getRCLPConnector();
    RCLPListener udp(2);
    EXPECT_FALSE(udp.listen("127.0.0.1", 0, pConnector));
    RCLPListener busy(RCLPListener::eTransportTCP);
    EXPECT_FALSE(busy.listen("127.0.0.1", m_port, pConnector));
    EXPECT_NE(std::string::npos, logText().find("[RCLP] ERROR Cannot listen for RCLP connections: unknown transport 2"));
    EXPECT_NE(std::string::npos, logText().find("[RCLP] ERROR Cannot listen for RCLP connections on 127.0.0.1:" +
                                                std::to_string(m_port) + ": Address already in use"));
}
