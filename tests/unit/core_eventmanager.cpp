#include "core_fixture.h"
#include "core_idlemacrosystem.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlmodulemanager.h"
#include "pdltypeclasses.h"
#include "virtualpanel.h"

#include "rtk/cmd.h"
#include "rtk/thread.h"

#include <basekit/uniqueids.h>

#include <functional>
#include <iostream>
#include <memory>
#include <streambuf>
#include <thread>

namespace
{
// Redirects std::cout into a string for its lifetime; onWrite runs at the first write.
class CoutCapture : public std::streambuf
{
public:
    explicit CoutCapture(std::function<void()> onWrite = nullptr) : m_onWrite(std::move(onWrite))
    {
        m_pOld = std::cout.rdbuf(this);
    }
    ~CoutCapture() override { std::cout.rdbuf(m_pOld); }

    std::string const& text() const { return m_text; }

protected:
    int overflow(int c) override
    {
        if (c != traits_type::eof())
        {
            m_text.push_back(static_cast<char>(c));
            fire();
        }
        return c;
    }
    std::streamsize xsputn(char const* s, std::streamsize n) override
    {
        m_text.append(s, static_cast<size_t>(n));
        fire();
        return n;
    }

private:
    void fire()
    {
        if (m_onWrite)
        {
            std::function<void()> onWrite = std::move(m_onWrite);
            m_onWrite = nullptr;
            onWrite();
        }
    }

    std::streambuf* m_pOld;
    std::string m_text;
    std::function<void()> m_onWrite;
};

// Waits for the engine to become idle; gives up after a generous bound so that a fault fails the test
// instead of hanging it.
bool waitIdle(PDLEventManager* pManager)
{
    for (int i = 0; i < 10000; ++i)
    {
        if (pManager->isIdle())
        {
            return true;
        }
        rtk::Thread::mssleep(1);
    }
    return false;
}

class CoreEventTest : public CoreTest
{
protected:
    void SetUp() override
    {
        CoreTest::SetUp();
        installDriver();
        m_pPanel.reset(new VirtualPanel);
        ASSERT_TRUE(m_pPanel->create(VirtualPanel::eModeHardware, ""));
        // The host installs its macro system before the first hardware event; the path relies on it.
        m_pPanel->setMacroSystemInterface(&m_macroSystem);
        m_pManager = PDLEventManager::getInstance();
        m_released = false;
    }

    void TearDown() override
    {
        rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(3);
        release();
        m_pPanel.reset();
        CoreTest::TearDown();
    }

    // Gives the interpreter mutex that create took; the main loop runs from then on.
    void release()
    {
        if (!m_released)
        {
            m_pPanel->releaseMutex();
            m_released = true;
        }
    }

    IdleMacroSystem m_macroSystem;
    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLEventManager* m_pManager = nullptr;
    bool m_released = false;
};
} // namespace

TEST_F(CoreEventTest, MainLoopWakesOncePerBurstAndDrainsEverything)
{
    ASSERT_TRUE(waitIdle(m_pManager));
    unsigned long const passesBefore = m_pManager->getPassCount();

    // While the start-up thread holds the interpreter mutex, events only queue.
    unsigned int const burst = 200;
    for (unsigned int i = 0; i < burst; ++i)
    {
        m_pManager->sendEvent(UniqueWidgetID(0, 0, 1, static_cast<uint16_t>(i + 1)), "DOWN");
    }
    EXPECT_EQ(burst, m_pManager->getHWEventQueueCount());
    EXPECT_FALSE(m_pManager->isIdle());

    release();
    ASSERT_TRUE(waitIdle(m_pManager));
    EXPECT_EQ(0u, m_pManager->getHWEventQueueCount());
    // One pass drains the burst; the loop may have taken one signal before the mutex was free.
    unsigned long const passes = m_pManager->getPassCount() - passesBefore;
    EXPECT_GE(passes, 1u);
    EXPECT_LE(passes, 2u);

    // Events from another thread while the loop runs are drained too.
    std::thread driver(
        [this]
        {
            for (int i = 0; i < 100; ++i)
            {
                m_pManager->sendEvent(UniqueWidgetID(0, 0, 1, 1), "UP", i, false);
            }
        });
    driver.join();
    ASSERT_TRUE(waitIdle(m_pManager));
    EXPECT_EQ(0u, m_pManager->getHWEventQueueCount());
}

TEST_F(CoreEventTest, HardwareQueueSwitches)
{
    UniqueWidgetID const fader(0, 0, 1, 9);
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();

    // Merging of transient events is off by default.
    m_pManager->sendEvent(fader, "MOVE", 1, true);
    m_pManager->sendEvent(fader, "MOVE", 2, true);
    EXPECT_EQ(2u, m_pManager->getHWEventQueueCount());

    EXPECT_TRUE(pCmd->execute("hwevopt on"));
    EXPECT_TRUE(m_pManager->isHWEventOptimization());
    m_pManager->sendEvent(fader, "MOVE", 3, true);
    m_pManager->sendEvent(fader, "MOVE", 4, true);
    EXPECT_EQ(2u, m_pManager->getHWEventQueueCount()); // merged into the older transient entry
    m_pManager->sendEvent(fader, "TOUCH", 5, true);
    EXPECT_EQ(3u, m_pManager->getHWEventQueueCount()); // other name: no merge
    m_pManager->sendEvent(fader, "MOVE", 6, false);
    EXPECT_EQ(4u, m_pManager->getHWEventQueueCount()); // not transient: always appended
    EXPECT_TRUE(pCmd->execute("hwevopt of"));
    EXPECT_FALSE(m_pManager->isHWEventOptimization());

    // Any word but "on" turns queueing off: events then bypass the queue.
    EXPECT_TRUE(pCmd->execute("hwevq foo"));
    EXPECT_FALSE(m_pManager->isHWEventQueueing());
    m_pManager->sendEvent(fader, "DOWN");
    EXPECT_EQ(4u, m_pManager->getHWEventQueueCount());
    EXPECT_TRUE(pCmd->execute("hwevq on"));
    EXPECT_TRUE(m_pManager->isHWEventQueueing());
    m_pManager->sendEvent(fader, "DOWN");
    EXPECT_EQ(5u, m_pManager->getHWEventQueueCount());

    // setMaxEventTime takes a decimal number; text that is no number sets 0.
    EXPECT_EQ(0u, m_pManager->getMaxEventTime());
    EXPECT_TRUE(pCmd->execute("setMaxEventTime 250 extra"));
    EXPECT_EQ(250u, m_pManager->getMaxEventTime());
    EXPECT_TRUE(pCmd->execute("setMaxEventTime abc"));
    EXPECT_EQ(0u, m_pManager->getMaxEventTime());
}

TEST_F(CoreEventTest, ShellCommandsHelpAndUsage)
{
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    EXPECT_EQ(
        "setMaxEventTime <time in ms>\n\tset the maximum time allowed for one event to execute before a "
        "warning is printed. 0 = unlimited (default)",
        pCmd->getHelp("setMaxEventTime"));
    EXPECT_EQ("hwevq <on|off>\n\tenable / disable queueing of hardware events (default = on)",
              pCmd->getHelp("hwevq"));
    EXPECT_EQ(
        "hwevopt <on|off>\n\tenable / disable optimization of transient hardware events (default = off)",
        pCmd->getHelp("hwevopt"));

    {
        CoutCapture capture;
        EXPECT_FALSE(pCmd->execute("setMaxEventTime"));
        EXPECT_FALSE(pCmd->execute("hwevq"));
        EXPECT_FALSE(pCmd->execute("hwevopt"));
        EXPECT_EQ("Usage: setMaxEventTime <time in ms>\nUsage: hwevq <on|off>\nUsage: hwevopt <on|off>\n",
                  capture.text());
    }
    // Usage changed nothing.
    EXPECT_TRUE(m_pManager->isHWEventQueueing());
    EXPECT_FALSE(m_pManager->isHWEventOptimization());

    // The commands go with the event manager.
    release();
    m_pPanel.reset();
    EXPECT_FALSE(pCmd->hasCommand("setMaxEventTime"));
    EXPECT_FALSE(pCmd->hasCommand("hwevq"));
    EXPECT_FALSE(pCmd->hasCommand("hwevopt"));
}

TEST_F(CoreEventTest, EventsWithoutModuleAreDroppedAndOthersReachTheModule)
{
    // The start-up thread holds the interpreter mutex, as every caller of the queue must.
    PDLGlobal* pGlobal = PDLModuleManager::getInstance()->getGlobal();
    rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(6);

    PDLEvent* pDropped = new PDLEvent(PDLEvent::eEventSetVar);
    pDropped->m_varName = "x";
    pDropped->m_varValue = "1";
    m_pManager->queueEvent(pDropped);

    PDLModule module(nullptr, UniqueModuleID(0, 1, 2), 0, 0, nullptr, "");
    PDLEvent* pRun = new PDLEvent(PDLEvent::eEventMFDriver);
    pRun->m_name = "TRIG";
    pRun->m_widgetID = 7;
    pRun->m_strValue = "on";
    pRun->m_pModule = &module;
    m_pManager->queueEvent(pRun);

    auto global = [pGlobal](char const* pName)
    { return pGlobal->getVariable(pName, false, false)->getValue("", false).getString(); };
    // Nothing has run yet: the event variables have no value.
    EXPECT_FALSE(pGlobal->getVariable("event_name", false, false)->isValid());

    m_pManager->executeEventQueue(false);
    // The event with a module set the global event variables; the text value wins over the number.
    EXPECT_EQ("TRIG", global("event_name"));
    EXPECT_EQ("7", global("event_id"));
    EXPECT_EQ("on", global("event_value"));
    // Both were traced at level 6, in queue order.
    std::string const log = logText();
    size_t const first = log.find("Event Setvar x = 1");
    size_t const second = log.find("Event MFDriver TRIG");
    ASSERT_NE(first, std::string::npos) << log;
    EXPECT_LT(first, second);

    // A delayed assignment for a module that does not exist is queued, reported and dropped.
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_pManager->setVariableDelayed(UniqueModuleID(0, 3, 4), "y", "2");
    // Dropped without running: the event variables still hold the last event run.
    EXPECT_EQ("TRIG", global("event_name"));
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    EXPECT_NE(logText().find("unknown module 0.3.4"), std::string::npos);
    EXPECT_NE(logText().find("Event Setvar y = 2"), std::string::npos);
}

TEST_F(CoreEventTest, ExecuteEventQueueRefusesReentry)
{
    for (int i = 0; i < 3; ++i)
    {
        m_pManager->queueEvent(new PDLEvent(PDLEvent::eEventSetVar));
    }
    // The first output of the outer run calls the queue again, as PDL code inside the loop would.
    bool nestedReturned = false;
    CoutCapture capture(
        [this, &nestedReturned]
        {
            m_pManager->executeEventQueue(false);
            nestedReturned = true;
        });
    m_pManager->executeEventQueue(true);
    EXPECT_TRUE(nestedReturned);
    // The outer run still found all three events: the nested call left the queue alone.
    std::string const text = capture.text();
    EXPECT_EQ(0u, text.find("  Executing     3 Events")) << text;
    EXPECT_NE(text.find("    3 OK\n"), std::string::npos) << text;
}

TEST_F(CoreEventTest, WriteFormatsEveryKind)
{
    PDLModule module(nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, "");
    auto text = [](PDLEvent const& event)
    {
        std::ostringstream os;
        event.write(os);
        return os.str();
    };

    PDLEvent widget(PDLEvent::eEventWidget);
    widget.m_widgetID = 17;
    widget.m_name = "DOWN";
    widget.m_intValue = 5;
    widget.m_strValue = "x";
    EXPECT_EQ("Event Widget (17)DOWNval=x/5", text(widget));

    PDLEvent variable(PDLEvent::eEventVariable);
    variable.m_name = "a b ";
    EXPECT_EQ("Event a b ", text(variable));
    variable.m_pModule = &module;
    EXPECT_EQ("Event a b  module 1.2.3", text(variable));

    PDLEvent init(PDLEvent::eEventInit);
    EXPECT_EQ("INIT", init.m_name);
    EXPECT_EQ("Event Init (0)INIT", text(init));

    PDLEvent trigger(PDLEvent::eEventMFDriver);
    trigger.m_name = "GO";
    EXPECT_EQ("Event MFDriver GO", text(trigger));

    PDLEvent state(PDLEvent::eEventState);
    state.m_widgetID = 12;
    EXPECT_EQ("Event State Change widget 12", text(state));
    state.m_pModule = &module;
    EXPECT_EQ("Event State Change widget 1.2.3.12", text(state));

    PDLEvent setVar(PDLEvent::eEventSetVar);
    setVar.m_varName = "v";
    setVar.m_varValue = "9";
    EXPECT_EQ("Event Setvar v = 9", text(setVar));

    PDLEvent unknown(6);
    EXPECT_EQ("", text(unknown));
}

TEST_F(CoreEventTest, ReportsStartOnAFreshLineAndCount)
{
    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__) << "bad thing" << std::endl;
    EXPECT_EQ("\nERROR:\nbad thing\n", logText());

    // Above the output's level nothing is written.
    m_log.str("");
    PDLRunTimeInfo::showError(rtk::LogOutput::eLevelInfo, __FILE__, __LINE__) << "hidden" << std::endl;
    EXPECT_EQ("", logText());
    // Counting is the caller's part: a report alone counts nothing.
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
}
