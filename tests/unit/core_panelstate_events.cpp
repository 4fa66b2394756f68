// The panel state inside the running core: outdated subscribers served by the main loop, triggers,
// and writers on other threads racing the loop.

#include "core_fixture.h"
#include "core_panelstate_helpers.h"

#include "panelfunctionsystem.h"
#include "pdlinterpreter.h"
#include "virtualpanel.h"

#include "rtk/thread.h"

#include <atomic>
#include <memory>
#include <thread>

namespace
{
bool waitIdle(PDLEventManager* pManager)
{
    for (int i = 0; i < 20000; ++i)
    {
        if (pManager->isIdle())
        {
            return true;
        }
        rtk::Thread::mssleep(1);
    }
    return false;
}

class CorePanelStateEventTest : public CoreTest
{
protected:
    void SetUp() override
    {
        CoreTest::SetUp();
        installDriver();
        m_pPanel.reset(new VirtualPanel);
        ASSERT_TRUE(m_pPanel->create(VirtualPanel::eModeHardware, ""));
        m_pManager = PDLEventManager::getInstance();
        m_pState = PDLPanelState::getInstance();
    }

    void TearDown() override
    {
        rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(3);
        release();
        m_pPanel.reset();
        CoreTest::TearDown();
    }

    // Gives the interpreter mutex that create took on this thread; the main loop runs from then on.
    void release()
    {
        if (!m_released)
        {
            m_pPanel->releaseMutex();
            m_released = true;
        }
    }

    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLEventManager* m_pManager = nullptr;
    PDLPanelState* m_pState = nullptr;
    bool m_released = false;
};
} // namespace

TEST_F(CorePanelStateEventTest, InterfacesThroughThePanel)
{
    EXPECT_EQ(static_cast<IPanelState*>(m_pState), getInterface<IPanelState>(m_pPanel.get()));
    EXPECT_EQ(static_cast<IPSPublisher*>(m_pState), getInterface<IPSPublisher>(m_pPanel.get()));
    PanelFunctionSystem* pSystem = m_pPanel->getPanelFunctionSystem();
    EXPECT_EQ(static_cast<IPanelState*>(m_pState), getInterface<IPanelState>(pSystem));
    EXPECT_EQ(static_cast<IPSPublisher*>(m_pState), getInterface<IPSPublisher>(pSystem));
}

TEST_F(CorePanelStateEventTest, OutdatedSubscribersAreServedOncePerPass)
{
    // The start-up thread holds the interpreter mutex: the main loop cannot run, this thread drives.
    RecordingSubscriber widget("widget", true);
    RecordingSubscriber other("other", true);
    m_pState->subscribe("E", PDLStateSubscriberKey(&widget, 0));
    m_pState->subscribe("E", PDLStateSubscriberKey(&widget, 1));
    m_pState->subscribe("E", PDLStateSubscriberKey(&other, 0));
    m_pState->subscribe("F", PDLStateSubscriberKey(&other, 0));

    for (int i = 0; i < 5; ++i)
    {
        m_pState->setValueInt("E", i);
    }
    m_pState->setValueString("F", "x");
    m_pState->setValueString("F", "y");
    // Nothing is served on the writer's thread.
    EXPECT_TRUE(widget.m_madeEvents.empty());
    EXPECT_EQ(0, other.m_updates.load());

    m_pManager->generateStateEvents();
    // One call per key, however many writes and entries: two ids of one object are two keys.
    EXPECT_EQ((std::vector<int>{0, 1}), widget.m_madeEvents);
    EXPECT_EQ((std::vector<int>{0}), other.m_madeEvents);
    // No event was made, so the subscribers were updated directly.
    EXPECT_EQ(2, widget.m_updates.load());
    EXPECT_EQ(1, other.m_updates.load());
    EXPECT_TRUE(widget.m_direct.empty());

    // The set is empty after the pass; a write that changes nothing marks nobody.
    m_pState->setValueInt("E", 4);
    m_pManager->generateStateEvents();
    EXPECT_EQ(2u, widget.m_madeEvents.size());

    // A subscriber that makes an event is not updated: its event runs as PDL code instead.
    widget.m_giveEvents = true;
    m_pState->setValueInt("E", 5);
    m_pManager->generateStateEvents();
    EXPECT_EQ((std::vector<int>{0, 1, 0, 1}), widget.m_madeEvents);
    EXPECT_EQ(2, widget.m_updates.load());
    EXPECT_EQ(2, other.m_updates.load());

    // A key removed from the entry is no longer marked.
    m_pState->unsubscribe("E", PDLStateSubscriberKey(&widget, 1));
    m_pState->setValueInt("E", 6);
    m_pManager->generateStateEvents();
    EXPECT_EQ((std::vector<int>{0, 1, 0, 1, 0}), widget.m_madeEvents);

    m_pState->unsubscribe("E", PDLStateSubscriberKey(&widget, 0));
    m_pState->unsubscribe("E", PDLStateSubscriberKey(&other, 0));
    m_pState->unsubscribe("F", PDLStateSubscriberKey(&other, 0));
}

TEST_F(CorePanelStateEventTest, EveryWriteWakesTheMainLoop)
{
    release();
    ASSERT_TRUE(waitIdle(m_pManager));
    IPanelState* pState = getInterface<IPanelState>(m_pPanel.get());
    ASSERT_NE(nullptr, pState);
    pState->setStateValueInt("W", 1);
    ASSERT_TRUE(waitIdle(m_pManager));

    // A write that changes nothing still costs a pass of the main loop.
    unsigned long const passes = m_pManager->getPassCount();
    pState->setStateValueInt("W", 1);
    ASSERT_TRUE(waitIdle(m_pManager));
    EXPECT_GT(m_pManager->getPassCount(), passes);
}

TEST_F(CorePanelStateEventTest, TriggersReachEverySubscriberEachTime)
{
    RecordingSubscriber queued("queued");
    queued.m_giveEvents = true;
    RecordingSubscriber direct("direct");
    m_pState->subscribe("TRG", PDLStateSubscriberKey(&queued, 3));
    m_pState->subscribe("TRG", PDLStateSubscriberKey(&direct, 0));
    m_pState->setStateValueInt("TRG", 1);
    direct.m_direct.clear();

    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(6);
    m_log.str("");
    IPanelState* pState = getInterface<IPanelState>(m_pPanel.get());
    pState->triggerEvent("TRG", "a");
    pState->triggerEvent("TRG", "b");
    // Not merged: each trigger makes its own event or call.
    EXPECT_EQ((std::vector<std::string>{"3:TRG:a", "3:TRG:b"}), queued.m_triggerEvents);
    EXPECT_TRUE(queued.m_directTriggers.empty());
    EXPECT_EQ((std::vector<std::string>{"TRG:a", "TRG:b"}), direct.m_directTriggers);
    // The value stays, and a trigger is no change.
    EXPECT_TRUE(direct.m_direct.empty());
    EXPECT_EQ(1, m_pState->getValue("TRG", false).getInt());
    std::string const log = logText();
    EXPECT_NE(std::string::npos, log.find("STATE: TRIGGER TRG ( a) received.\n")) << log;
    EXPECT_NE(std::string::npos, log.find("       TRIGGER TRG sent to queued#3\n")) << log;
    EXPECT_NE(std::string::npos, log.find("       TRIGGER TRG sent to direct#0\n")) << log;

    m_pState->unsubscribe("TRG", PDLStateSubscriberKey(&queued, 3));
    m_pState->unsubscribe("TRG", PDLStateSubscriberKey(&direct, 0));
}

namespace
{
// Served by the main loop; reads the entry it watches when it runs, as extern variables do.
class ReadingSubscriber : public PDLStateSubscriber
{
public:
    std::string getDescription(int) const override { return "reader"; }
    void update() override
    {
        m_last = PDLPanelState::getInstance()->getValue("RACE", false).getInt();
        ++m_updates;
    }
    std::atomic<int> m_last{-1};
    std::atomic<int> m_updates{0};
};

// Served on the writer's thread; checks that the values arrive in the order written.
class OrderSubscriber : public PDLStateSubscriber
{
public:
    bool useEventManager() const override { return false; }
    std::string getDescription(int) const override { return "order"; }
    void updateDirect(std::string const&, std::string const& value) override
    {
        int const n = std::stoi(value);
        if (n != m_last + 1)
        {
            ++m_outOfOrder;
        }
        m_last = n;
        ++m_calls;
    }
    int m_last = 0;
    int m_calls = 0;
    int m_outOfOrder = 0;
};
} // namespace

TEST_F(CorePanelStateEventTest, WriterThreadRacesTheMainLoop)
{
    ReadingSubscriber reader;
    OrderSubscriber order;
    m_pState->subscribe("RACE", PDLStateSubscriberKey(&reader, 0));
    m_pState->subscribe("RACE", PDLStateSubscriberKey(&order, 0));
    release();

    IPanelState* pState = getInterface<IPanelState>(m_pPanel.get());
    IPSPublisher* pPublisher = getInterface<IPSPublisher>(m_pPanel.get());
    int const writes = 20000;
    std::thread writer(
        [pState]
        {
            for (int i = 1; i <= writes; ++i)
            {
                pState->setStateValueInt("RACE", i);
            }
        });
    // A second thread reads and subscribes beside them, as a remote client would.
    std::thread client(
        [pPublisher]
        {
            RecordingSubscriber passer("passer");
            for (int i = 0; i < 2000; ++i)
            {
                pPublisher->subscribe("RACE", PDLStateSubscriberKey(&passer, 0));
                pPublisher->getValueString("RACE");
                pPublisher->unsubscribe("RACE", PDLStateSubscriberKey(&passer, 0));
            }
        });
    writer.join();
    client.join();
    ASSERT_TRUE(waitIdle(m_pManager));

    // Every write reached the direct subscriber, in order; the loop saw the last value at the end.
    PDLInterpreter::mutexTake();
    EXPECT_EQ(writes, order.m_calls);
    EXPECT_EQ(0, order.m_outOfOrder);
    EXPECT_EQ(writes, order.m_last);
    PDLInterpreter::mutexGive();
    EXPECT_EQ(writes, reader.m_last.load());
    EXPECT_GE(reader.m_updates.load(), 1);
    EXPECT_LE(reader.m_updates.load(), writes);

    pPublisher->unsubscribe("RACE", PDLStateSubscriberKey(&reader, 0));
    pPublisher->unsubscribe("RACE", PDLStateSubscriberKey(&order, 0));
}
