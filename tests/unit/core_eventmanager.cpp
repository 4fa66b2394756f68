// The event engine's queue, its main loop, its switches and the event record's text. The hardware path
// with macros, variable events, the storm guard and module status are covered by the scenarios.

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

#include <basekit/uniqueids.h>

#include <functional>
#include <iostream>
#include <memory>
#include <streambuf>

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
        std::function<void()> onWrite = std::move(m_onWrite);
        m_onWrite = nullptr;
        if (onWrite)
            onWrite();
    }

    std::streambuf* m_pOld;
    std::string m_text;
    std::function<void()> m_onWrite;
};

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
            m_pPanel->releaseMutex();
        m_released = true;
    }
    IdleMacroSystem m_macroSystem;
    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLEventManager* m_pManager = nullptr;
    bool m_released = false;
};
} // namespace

// The help texts and usage lines of these commands are covered by the sys-engine-shell scenario.
TEST_F(CoreEventTest, ShellSwitchesOfTheHardwareQueue)
{
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    // Each step: a command (or an event when it starts with '+': "+NAME VALUE t" for transient) and the
    // queue count afterwards. Merging of transient events is off by default; "on" exactly enables.
    UniqueWidgetID const fader(0, 0, 1, 9);
    struct Step
    {
        char const* m_action;
        unsigned int m_queued;
    };
    Step const steps[] = {
        {"+MOVE 1 t", 1},  {"+MOVE 2 t", 2},   {"hwevopt on", 2}, {"+MOVE 3 t", 2},   {"+MOVE 4 t", 2},
        {"+TOUCH 5 t", 3}, {"+MOVE 6", 4},     {"+MOVE 7 t", 4},  {"hwevopt On", 4}, {"+MOVE 8 t", 5},
        {"hwevq foo", 5},  {"+DOWN 0", 5},     {"hwevq on", 5},   {"+DOWN 0", 6},
    };
    for (Step const& step : steps)
    {
        std::string const action = step.m_action;
        if (action[0] == '+')
        {
            std::istringstream words(action.substr(1));
            std::string name;
            int value = 0;
            std::string transient;
            words >> name >> value >> transient;
            m_pManager->sendEvent(fader, name, value, transient == "t");
        }
        else
        {
            EXPECT_TRUE(pCmd->execute(action));
        }
        EXPECT_EQ(step.m_queued, m_pManager->getHWEventQueueCount()) << action;
    }
    // setMaxEventTime takes a decimal number; text that is no number sets 0.
    EXPECT_EQ(0u, m_pManager->getMaxEventTime());
    EXPECT_TRUE(pCmd->execute("setMaxEventTime 250 extra"));
    EXPECT_EQ(250u, m_pManager->getMaxEventTime());
    EXPECT_TRUE(pCmd->execute("setMaxEventTime abc"));
    EXPECT_EQ(0u, m_pManager->getMaxEventTime());

}

TEST_F(CoreEventTest, QueuedEventsRunInOrderOrAreDropped)
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
    EXPECT_FALSE(pGlobal->getVariable("event_name", false, false)->isValid());

    m_pManager->executeEventQueue(false);
    // The event with a module set the global event variables; the text value wins over the number.
    EXPECT_EQ("TRIG 7 on", global("event_name") + " " + global("event_id") + " " + global("event_value"));
    std::string const log = logText();
    size_t const first = log.find("Event Setvar x = 1");
    ASSERT_NE(std::string::npos, first) << log;
    EXPECT_LT(first, log.find("Event MFDriver TRIG"));

    // A call from inside the running queue (as PDL code inside the loop makes) returns at once and leaves
    // the queue to the outer run.
    for (int i = 0; i < 3; ++i)
        m_pManager->queueEvent(new PDLEvent(PDLEvent::eEventSetVar));
    rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(3);
    bool nestedReturned = false;
    CoutCapture capture(
        [this, &nestedReturned]
        {
            m_pManager->executeEventQueue(false);
            nestedReturned = true;
        });
    m_pManager->executeEventQueue(true);
    EXPECT_TRUE(nestedReturned);
    EXPECT_EQ(0u, capture.text().find("  Executing     3 Events")) << capture.text();
    EXPECT_NE(std::string::npos, capture.text().find("    3 OK\n")) << capture.text();
}

TEST_F(CoreEventTest, WriteFormatsEveryKind)
{
    PDLModule module(nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, "");
    struct Case
    {
        int m_type;
        bool m_withModule;
        char const* m_text;
    };
    Case const cases[] = {
        {PDLEvent::eEventWidget, false, "Event Widget (17)NAMEval=x/5"},
        {PDLEvent::eEventVariable, false, "Event NAME"},
        {PDLEvent::eEventVariable, true, "Event NAME module 1.2.3"},
        {PDLEvent::eEventInit, false, "Event Init (17)NAME"},
        {PDLEvent::eEventMFDriver, true, "Event MFDriver NAME"},
        {PDLEvent::eEventState, false, "Event State Change widget 17"},
        {PDLEvent::eEventState, true, "Event State Change widget 1.2.3.17"},
        {PDLEvent::eEventSetVar, true, "Event Setvar v = 9"},
        {6, true, ""},
    };
    for (Case const& c : cases)
    {
        PDLEvent event(c.m_type);
        event.m_widgetID = 17;
        event.m_name = "NAME";
        event.m_intValue = 5;
        event.m_strValue = "x";
        event.m_varName = "v";
        event.m_varValue = "9";
        event.m_pModule = c.m_withModule ? &module : nullptr;
        std::ostringstream os;
        event.write(os);
        EXPECT_EQ(c.m_text, os.str()) << c.m_type;
    }
    EXPECT_EQ("INIT", PDLEvent(PDLEvent::eEventInit).m_name);

}
