#ifndef CORE_RCLP_FIXTURE_H
#define CORE_RCLP_FIXTURE_H

// A whole panel whose remote control link listens on a free loopback port, with the status file in
// the test's own directory, and loopback clients to talk to it.

#include "core_fixture.h"
#include "rclp_testclient.h"

#include "panelfunctionsystem.h"
#include "pdlpanelstate.h"
#include "rclpserver.h"
#include "virtualpanel.h"

#include "basekit/fidhelper.h"
#include "rclp/rclplistener.h"
#include "rtk/cmd.h"

#include <interfaces/ifunctionid.h>

#include <fstream>
#include <memory>
#include <mutex>
#include <thread>

namespace rclptest
{
class RecordingFunctionID : public IFunctionID
{
public:
    bool subscribeFunctionID(std::string const&) override { return true; }
    bool callFunctionID(std::string const& fid, FIDParameterList const& params) override
    {
        std::string text = fid;
        for (size_t i = 0; i < params.getCount(); ++i)
        {
            text += " " + params.getName(i) + "=" + params.getValue(i);
        }
        std::lock_guard<std::mutex> guard(m_lock);
        m_calls.push_back(text);
        return true;
    }
    std::vector<std::string> calls()
    {
        std::lock_guard<std::mutex> guard(m_lock);
        return m_calls;
    }

private:
    std::mutex m_lock;
    std::vector<std::string> m_calls;
};

inline std::string updateLine(std::string const& fid, std::string const& value)
{
    return R"({"op":"update","fid":")" + fid + R"(","value":")" + value + R"("})";
}

class CoreRCLPTest : public CoreTest
{
protected:
    void SetUp() override
    {
        CoreTest::SetUp();
        installDriver();
        setenv("TMPDIR", m_directory.c_str(), 1);
        m_pPanel.reset(new VirtualPanel);
        ASSERT_TRUE(m_pPanel->create(VirtualPanel::eModeHardware, ""));
        m_pPanel->setFunctionIDInterface(&m_functionID);
        RCLPListener::setListenOverride("127.0.0.1", 0);
        m_pPanel->startRCLPListener();
        RCLPListener::setListenOverride("", -1);
        m_pPanel->releaseMutex();
        ASSERT_NE(nullptr, m_pPanel->getPanelFunctionSystem()->getRCLPListener());
        m_port = m_pPanel->getPanelFunctionSystem()->getRCLPListener()->getPort();
        m_pState = PDLPanelState::getInstance();
    }
    void TearDown() override
    {
        m_pPanel.reset();
        unsetenv("TMPDIR");
        CoreTest::TearDown();
    }

    // Reads the next line, which must be expected.
    static void expectLine(RCLPTestClient& client, std::string const& expected)
    {
        std::string line;
        ASSERT_TRUE(client.readLine(line)) << "no line, expected " << expected;
        EXPECT_EQ(expected, line);
    }
    // Nothing else has arrived: a fresh subscription's answer is the very next line.
    void expectNothingMore(RCLPTestClient& client)
    {
        std::string fid = "SENTINEL." + std::to_string(++m_sentinels);
        client.sendLine(R"({"op":"subscribe","fid":")" + fid + R"("})");
        expectLine(client, updateLine(fid, ""));
    }

    std::string shell(std::string const& command)
    {
        testing::internal::CaptureStdout();
        EXPECT_TRUE(rtk::CmdProcessor::getInstance()->execute(command));
        return testing::internal::GetCapturedStdout();
    }
    std::string statusFile()
    {
        std::ifstream file(m_directory / "rclpConnections.txt");
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    // Waits until rclpShow prints expected (10 s at most: a busy machine is slow) and returns what it
    // printed last.
    std::string waitForShow(std::string const& expected)
    {
        std::string shown;
        for (int i = 0; i < 1000 && (shown = shell("rclpShow")) != expected; ++i)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return shown;
    }

    RecordingFunctionID m_functionID;
    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLPanelState* m_pState = nullptr;
    uint16_t m_port = 0;
    int m_sentinels = 0;
};
} // namespace rclptest

#endif
