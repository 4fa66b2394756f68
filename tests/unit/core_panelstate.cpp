// The panel state: change rules, subscribers served directly or by the main loop, wildcards, unfolding,
// triggers, the diagnostics and the destructor's report. The shell listing's layout is covered by the
// panel-state scenarios.

#include "core_fixture.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlpanelstate.h"
#include "virtualpanel.h"

#include "rtk/cmd.h"

#include <basekit/fidhelper.h>

#include <atomic>
#include <cmath>
#include <iostream>
#include <limits>
#include <memory>

namespace
{
typedef std::vector<std::string> Texts;

// Records every call. Served directly (updateDirect on the writer's thread) unless it uses the event
// manager; with patterns it subscribes to new entries that fit them, as wildcard subscribers do.
class RecordingSubscriber : public PDLStateSubscriber
{
public:
    explicit RecordingSubscriber(std::string const& name, bool useEventManager = false,
                                 Texts const& patterns = Texts())
        : m_name(name), m_useEventManager(useEventManager), m_patterns(patterns)
    {
    }
    bool useEventManager() const override { return m_useEventManager; }
    void updateDirect(std::string const& fid, std::string const& value) override
    {
        m_direct.push_back(fid + "=" + value);
    }
    PDLEvent* makeEvent(int id) override
    {
        m_madeEvents.push_back(id);
        // An event without a module: the queue drops it after counting.
        return m_giveEvents ? new PDLEvent(PDLEvent::eEventState) : nullptr;
    }
    PDLEvent* makeTriggerEvent(int id, std::string const& fid, std::string const& parameter) override
    {
        m_triggerEvents.push_back(std::to_string(id) + ":" + fid + ":" + parameter);
        return m_giveEvents ? new PDLEvent(PDLEvent::eEventMFDriver) : nullptr;
    }
    void update() override { ++m_updates; }
    void triggerMFDriverEvent(std::string const& fid, std::string const& parameter) override
    {
        m_directTriggers.push_back(fid + ":" + parameter);
    }
    std::string getDescription(int id) const override { return m_name + "#" + std::to_string(id); }
    void checkNewStateEntry(std::string const& fid) override
    {
        m_asked.push_back(fid);
        for (std::string const& pattern : m_patterns)
        {
            if (FIDPatternHelper(pattern).matches(FIDHelper(fid)))
                PDLPanelState::getInstance()->subscribe(fid, PDLStateSubscriberKey(this, 0));
        }
    }

    std::string m_name;
    bool m_useEventManager;
    Texts m_patterns;
    bool m_giveEvents = false;
    Texts m_direct;
    std::vector<int> m_madeEvents;
    Texts m_triggerEvents;
    Texts m_directTriggers;
    Texts m_asked;
    std::atomic<int> m_updates{0};
};

class CorePanelStateTest : public CoreTest
{
protected:
    void SetUp() override
    {
        CoreTest::SetUp();
        m_pState = PDLPanelState::createInstance();
    }
    void TearDown() override
    {
        rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(3);
        if (PDLPanelState::hasInstance())
            PDLPanelState::destroyInstance();
        CoreTest::TearDown();
    }
    PDLStateEntry* entry(std::string const& fid) const { return m_pState->findStateEntry(fid); }
    bool subscribed(std::string const& fid) const { return entry(fid) != nullptr && entry(fid)->hasSubscribers(); }
    void subscribe(std::string const& fid, PDLStateSubscriber* pSubscriber, int id = 0)
    {
        m_pState->subscribe(fid, PDLStateSubscriberKey(pSubscriber, id));
        m_keys.emplace_back(fid, PDLStateSubscriberKey(pSubscriber, id));
    }
    // Subscribers on the stack go before the state, which reports entries that still have subscribers.
    void unsubscribeAll()
    {
        for (auto const& key : m_keys)
            m_pState->unsubscribe(key.first, key.second);
        m_keys.clear();
    }

    PDLPanelState* m_pState = nullptr;
    std::vector<std::pair<std::string, PDLStateSubscriberKey>> m_keys;
};
} // namespace

TEST_F(CorePanelStateTest, WhatCountsAsAChange)
{
    RecordingSubscriber direct("direct");
    subscribe("X", &direct);
    float const nan = std::numeric_limits<float>::quiet_NaN();
    struct Step
    {
        PDLVariant m_value;
        char const* m_notified; // null: no change
    };
    // A write of another kind is a change even when the values read alike; within a kind the comparison
    // is exact (bytes of a text, bits of a float; a NaN is a change every time).
    std::vector<Step> const steps = {
        {PDLVariant(), nullptr},        {PDLVariant(false), "X=OFF"}, {PDLVariant(false), nullptr},
        {PDLVariant(true), "X=ON"},     {PDLVariant(1), "X=1"},       {PDLVariant(1), nullptr},
        {PDLVariant("1"), "X=1"},       {PDLVariant("1"), nullptr},   {PDLVariant(1), "X=1"},
        {PDLVariant(1.0f), "X=1.0000"}, {PDLVariant(1.0f), nullptr},  {PDLVariant(1.5f), "X=1.500"},
        {PDLVariant("abc"), "X=abc"},   {PDLVariant("abc "), "X=abc "}, {PDLVariant("ABC "), "X=ABC "},
        {PDLVariant(nan), "X=nan"},     {PDLVariant(nan), "X=nan"},   {PDLVariant(0.1f), "X=0.1000"},
        {PDLVariant(std::nextafter(0.1f, 1.0f)), "X=0.1000"},        {PDLVariant(std::nextafter(0.1f, 1.0f)), nullptr},
        {PDLVariant(), "X="},           {PDLVariant(), nullptr},
    };
    for (size_t i = 0; i < steps.size(); ++i)
    {
        SCOPED_TRACE(i);
        direct.m_direct.clear();
        m_pState->setValue("X", steps[i].m_value);
        EXPECT_EQ(steps[i].m_notified != nullptr ? Texts{steps[i].m_notified} : Texts{}, direct.m_direct);
        // The first change marks the entry used for good, also when it goes back to Invalid.
        EXPECT_EQ(i > 0, entry("X")->isUsed());
    }
    // The typed writers compare in the same way.
    direct.m_direct.clear();
    m_pState->setValueInt("X", 7);
    m_pState->setValueInt("X", 7);
    m_pState->setValueBool("X", true);
    m_pState->setValueFloat("X", 2.5f);
    m_pState->setValueString("X", "t");
    m_pState->setValueString("X", "t");
    m_pState->setValueInvalid("X");
    EXPECT_EQ((Texts{"X=7", "X=ON", "X=2.500", "X=t", "X="}), direct.m_direct);
    // An entry without subscribers is marked used by its first change all the same.
    m_pState->setValueInt("Y", 0);
    EXPECT_TRUE(entry("Y")->isUsed());
    unsubscribeAll();
}

TEST_F(CorePanelStateTest, ChangeAndTriggerLinesFollowTheLogLevel)
{
    RecordingSubscriber direct("watcher");
    subscribe("F", &direct, 4);
    m_pState->setValueInt("F", 3);
    EXPECT_EQ("", logText());
    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(5);
    m_pState->setValueBool("F", true);
    m_pState->setValueString("F", "x y");
    m_pState->setValueFloat("F", 0.25f);
    m_pState->setValueInvalid("F");
    m_pState->setValueInvalid("F");
    // A trigger on an id with no subscribers creates the entry and logs, but is no change.
    m_pState->triggerEvent("T.GO", "fast");
    EXPECT_EQ("Panel State change F 3 ==> TRUE\nPanel State change F ON ==> x y\n"
              "Panel State change F x y ==> 0.25\nPanel State change F 0.2500 ==> INV\n"
              "STATE: TRIGGER T.GO ( fast) received.\n",
              logText());
    ASSERT_NE(nullptr, entry("T.GO"));
    EXPECT_FALSE(entry("T.GO")->isUsed());

    // One level up, each change also names every subscriber it reaches.
    m_log.str("");
    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(6);
    m_pState->setValueInt("F", 9);
    EXPECT_EQ("Panel State change F  ==> 9\n  watcher#4\n", logText());
    unsubscribeAll();
}

TEST_F(CorePanelStateTest, SubscriptionsByKeyAndWhileBeingNotified)
{
    RecordingSubscriber a("a");
    RecordingSubscriber b("b");
    // Unsubscribing an unknown id creates nothing; subscribing creates the entry and tells nothing.
    m_pState->unsubscribe("NOPE", PDLStateSubscriberKey(&a, 0));
    EXPECT_EQ(nullptr, entry("NOPE"));
    subscribe("S", &a);
    subscribe("S", &a);
    EXPECT_EQ(1u, entry("S")->getSubscribers().size());
    EXPECT_TRUE(a.m_direct.empty());
    // One object, two ids: two keys, two notifications; one unsubscribe ends a doubly made one.
    subscribe("S", &a, 1);
    subscribe("S", &b);
    m_pState->setStateValue("S", "v");
    EXPECT_EQ(2u, a.m_direct.size());
    m_pState->unsubscribe("S", PDLStateSubscriberKey(&a, 0));
    a.m_direct.clear();
    m_pState->setStateValue("S", "w");
    EXPECT_EQ(Texts{"S=w"}, a.m_direct);

    // A subscriber may unsubscribe itself and the next key of the same entry from within updateDirect.
    class Leaving : public RecordingSubscriber
    {
    public:
        Leaving() : RecordingSubscriber("leaving") {}
        void updateDirect(std::string const& fid, std::string const& value) override
        {
            RecordingSubscriber::updateDirect(fid, value);
            PDLPanelState::getInstance()->unsubscribe(fid, PDLStateSubscriberKey(this, 0));
            PDLPanelState::getInstance()->unsubscribe(fid, PDLStateSubscriberKey(this, 1));
        }
    } leaving;
    m_pState->subscribe("L", PDLStateSubscriberKey(&leaving, 0));
    m_pState->subscribe("L", PDLStateSubscriberKey(&leaving, 1));
    m_pState->setStateValueInt("L", 1);
    EXPECT_EQ(1u, leaving.m_direct.size());
    EXPECT_FALSE(subscribed("L"));
    unsubscribeAll();
    // The entry stays after its last subscriber left.
    EXPECT_FALSE(subscribed("S"));
    EXPECT_EQ("w", m_pState->getValueString("S"));
}

TEST_F(CorePanelStateTest, WildcardsReachExistingAndLaterEntries)
{
    m_pState->setStateValue("CAM.1.IRIS", "a");
    m_pState->setStateValue("CAM.9.IRIS", "b");
    RecordingSubscriber wild("wild", false, {"CAM.[N:1-4].IRIS"});
    PDLStateSubscriberKey const key(&wild, 0);
    m_pState->subscribeWildcard(FIDPatternHelper("CAM.[N:1-4].IRIS"), key);
    EXPECT_TRUE(subscribed("CAM.1.IRIS"));
    EXPECT_FALSE(subscribed("CAM.9.IRIS"));

    // A new entry is offered to the subscriber, which subscribes to it before the first write lands; reads
    // create entries too.
    m_pState->setStateValue("CAM.3.IRIS", "c");
    m_pState->setStateValue("CAM.5.IRIS", "d");
    m_pState->getValue("CAM.4.IRIS", false);
    EXPECT_EQ((Texts{"CAM.3.IRIS", "CAM.5.IRIS", "CAM.4.IRIS"}), wild.m_asked);
    EXPECT_EQ(Texts{"CAM.3.IRIS=c"}, wild.m_direct);
    EXPECT_TRUE(subscribed("CAM.4.IRIS"));

    // getValueWildcard copies what matches, in key order, and creates nothing.
    m_pState->setStateValueInt("CAM.2.IRIS", 2);
    std::unique_ptr<PDLStateValueList> pList(m_pState->getValueWildcard(FIDPatternHelper("CAM.[N:2-4].IRIS")));
    Texts listed;
    for (auto const& item : *pList)
        listed.push_back(item.first + "=" + item.second.getString());
    EXPECT_EQ((Texts{"CAM.2.IRIS=2", "CAM.3.IRIS=c", "CAM.4.IRIS="}), listed);
    size_t const count = m_pState->getEntryCount();
    EXPECT_TRUE(std::unique_ptr<PDLStateValueList>(m_pState->getValueWildcard(FIDPatternHelper("R.[N:*]")))->empty());
    EXPECT_EQ(count, m_pState->getEntryCount());

    // Unsubscribing the pattern leaves every matching entry and ends the questions.
    m_pState->unsubscribeWildcard(FIDPatternHelper("CAM.[N:1-4].IRIS"), key);
    for (char const* fid : {"CAM.1.IRIS", "CAM.2.IRIS", "CAM.3.IRIS", "CAM.4.IRIS"})
        EXPECT_FALSE(subscribed(fid)) << fid;
    m_pState->setStateValue("CAM.6.IRIS", "e");
    EXPECT_EQ(4u, wild.m_asked.size());
}

TEST_F(CorePanelStateTest, UnsetWithAndWithoutStarAndMultiValues)
{
    m_pState->setStateValueInt("A.B", 1);
    m_pState->setStateValueInt("A.C.D", 2);
    m_pState->setStateValueInt("AB", 3);
    m_pState->setStateValueInt("B.A.X", 4);
    m_pState->unsetStateValue("A.*");
    m_pState->unsetStateValue("Z.*"); // matches nothing, creates nothing
    EXPECT_EQ(4u, m_pState->getEntryCount());
    auto kinds = [this]
    {
        std::string text;
        for (char const* fid : {"A.B", "A.C.D", "AB", "B.A.X"})
            text += std::to_string(entry(fid)->getValue().getKind());
        return text;
    };
    EXPECT_EQ("0022", kinds());
    // Without the star only that entry, created if need be.
    m_pState->unsetStateValue("AB");
    m_pState->unsetStateValue("N.E.W");
    EXPECT_EQ("0002", kinds());
    EXPECT_EQ(5u, m_pState->getEntryCount());
    EXPECT_FALSE(entry("N.E.W")->isUsed());

    // setMultiValue writes every entry under the prefix, in key order, and creates none.
    RecordingSubscriber direct("d");
    subscribe("A.B", &direct);
    subscribe("A.C.D", &direct);
    m_pState->setMultiValue("A.", PDLVariant(8));
    EXPECT_EQ((Texts{"A.B=8", "A.C.D=8"}), direct.m_direct);
    EXPECT_EQ(5u, m_pState->getEntryCount());
    unsubscribeAll();
}

TEST_F(CorePanelStateTest, UnfoldedIdsMirrorTheirValues)
{
    auto flag = [this](std::string const& fid)
    {
        PDLStateEntry* pEntry = entry(fid);
        return pEntry == nullptr ? std::string("none") : pEntry->getValue().getString();
    };
    PDLInterpreter::mutexTake();
    m_pState->unfoldSID("A"); // an Invalid entry makes no boolean entry
    m_pState->unfoldSID("C");
    PDLInterpreter::mutexGive();
    EXPECT_EQ(2u, m_pState->getEntryCount());
    m_pState->setStateValue("A", "x");
    EXPECT_EQ(3u, m_pState->getEntryCount()); // no "A." for the empty former text
    RecordingSubscriber direct("d");
    subscribe("A.x", &direct);
    subscribe("A.y", &direct);
    m_pState->setStateValue("A", "y");
    EXPECT_EQ((Texts{"A.x=OFF", "A.y=ON"}), direct.m_direct);
    // The same text again touches no boolean entry, even one that was changed behind its back.
    m_pState->setValueBool("A.y", false);
    direct.m_direct.clear();
    m_pState->setStateValue("A", "y");
    EXPECT_TRUE(direct.m_direct.empty());
    unsubscribeAll();

    // Numbers: an Invalid present value counts as 0, so "C.0" is cleared and thereby created.
    m_pState->setStateValueInt("C", 3);
    EXPECT_EQ("OFF ON", flag("C.0") + " " + flag("C.3"));
    m_pState->setStateValueInt("C", 4);
    EXPECT_EQ("OFF ON", flag("C.3") + " " + flag("C.4"));
    m_pState->setValueBool("C.4", false);
    m_pState->setStateValueInt("C", 4); // the same number leaves the mirror alone
    EXPECT_EQ("OFF", flag("C.4"));
    // Floats and bools never unfold; ids that are not unfolded get no mirror.
    size_t const count = m_pState->getEntryCount();
    m_pState->setStateValueFloat("C", 1.5f);
    m_pState->setStateValueBool("C", true);
    m_pState->setStateValue("D", "q");
    m_pState->setStateValueInt("D", 2);
    EXPECT_EQ(count + 1, m_pState->getEntryCount());

    // Unfolding an id with a value sets its mirror at once; a second unfold writes nothing, and the
    // unlocked writer does not unfold.
    m_pState->setStateValue("B", "on");
    PDLInterpreter::mutexTake();
    m_pState->unfoldSID("B");
    EXPECT_EQ("ON", flag("B.on"));
    m_pState->setValueBool("B.on", false);
    m_pState->setValueString("B", "off");
    m_pState->unfoldSID("B");
    PDLInterpreter::mutexGive();
    EXPECT_EQ("OFF none", flag("B.on") + " " + flag("B.off"));
}

TEST_F(CorePanelStateTest, SubscriberListsAndOrphans)
{
    RecordingSubscriber a("alpha");
    subscribe("S", &a, 2);
    subscribe("S", &a, 1);
    subscribe("S", nullptr);
    m_pState->getValue("EMPTY", false);
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    // Key order: by address (null first), then by id; a null subscriber gives an empty line.
    testing::internal::CaptureStdout();
    EXPECT_TRUE(pCmd->execute("showSubscribers S"));
    EXPECT_TRUE(pCmd->execute("showSubscribers EMPTY"));
    m_pState->dumpOrphanedEntries();
    EXPECT_EQ("\nalpha#1\nalpha#2\nState Entry EMPTY has no subscribers\nState Entry EMPTY has never been set\n"
              "State Entry S has never been set\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(nullptr, entry("UNKNOWN"));
    unsubscribeAll();
    // The commands go with the store.
    PDLPanelState::destroyInstance();
    EXPECT_FALSE(pCmd->hasCommand("showPanelState"));
    EXPECT_FALSE(pCmd->hasCommand("showSubscribers"));
}

TEST_F(CorePanelStateTest, DestructorReportsEntriesThatStillHaveSubscribers)
{
    RecordingSubscriber forgotten("forgotten");
    m_pState->subscribe("KEEP", PDLStateSubscriberKey(&forgotten, 0));
    m_pState->setStateValueInt("OTHER", 1);
    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLPanelState::destroyInstance();
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    std::string const log = logText();
    size_t const deleting = log.find("[Startup] INFO Deleting 2 entries from panel state");
    size_t const report = log.find("FATAL:\ndeleting state entry KEEP with subscribers\n");
    size_t const deleted = log.find("[Startup] INFO Deleted 2 entries");
    ASSERT_NE(std::string::npos, deleted) << log;
    EXPECT_LT(deleting, report);
    EXPECT_LT(report, deleted);
    EXPECT_EQ(std::string::npos, log.find("OTHER"));
}

namespace
{
// The panel state inside a running core: the main loop serves outdated subscribers.
class CorePanelStateEngineTest : public CoreTest
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
        m_pInterface = getInterface<IPanelState>(m_pPanel.get());
    }
    void TearDown() override
    {
        rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(3);
        m_pPanel->releaseMutex();
        m_pPanel.reset();
        CoreTest::TearDown();
    }

    std::unique_ptr<VirtualPanel> m_pPanel;
    PDLEventManager* m_pManager = nullptr;
    PDLPanelState* m_pState = nullptr;
    IPanelState* m_pInterface = nullptr;
};
} // namespace

TEST_F(CorePanelStateEngineTest, OutdatedSubscribersAreServedOncePerPass)
{
    // The start-up thread holds the interpreter mutex: the main loop cannot run, this thread drives.
    RecordingSubscriber widget("widget", true);
    RecordingSubscriber other("other", true);
    m_pState->subscribe("E", PDLStateSubscriberKey(&widget, 0));
    m_pState->subscribe("E", PDLStateSubscriberKey(&widget, 1));
    m_pState->subscribe("E", PDLStateSubscriberKey(&other, 0));
    m_pState->subscribe("F", PDLStateSubscriberKey(&other, 0));
    for (int i = 0; i < 5; ++i)
        m_pState->setValueInt("E", i);
    m_pState->setValueString("F", "x");
    EXPECT_TRUE(widget.m_madeEvents.empty()); // nothing is served on the writer's thread

    // One call per key, however many writes and entries; without an event the subscriber is updated.
    m_pManager->generateStateEvents();
    EXPECT_EQ((std::vector<int>{0, 1}), widget.m_madeEvents);
    EXPECT_EQ((std::vector<int>{0}), other.m_madeEvents);
    EXPECT_EQ(2, widget.m_updates.load());
    EXPECT_EQ(1, other.m_updates.load());
    // The set is empty after the pass; a write that changes nothing marks nobody.
    m_pState->setValueInt("E", 4);
    m_pManager->generateStateEvents();
    EXPECT_EQ(2u, widget.m_madeEvents.size());
    // A subscriber that makes an event is not updated: its event runs instead. A key removed from the
    // entry is no longer marked.
    widget.m_giveEvents = true;
    m_pState->unsubscribe("E", PDLStateSubscriberKey(&widget, 1));
    m_pState->setValueInt("E", 5);
    m_pManager->generateStateEvents();
    EXPECT_EQ((std::vector<int>{0, 1, 0}), widget.m_madeEvents);
    EXPECT_EQ(2, widget.m_updates.load());

    // Triggers are not merged: each makes its own event or direct call, and leaves the value.
    RecordingSubscriber direct("direct");
    m_pState->subscribe("E", PDLStateSubscriberKey(&direct, 0));
    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(6);
    m_log.str("");
    m_pInterface->triggerEvent("E", "a");
    m_pInterface->triggerEvent("E", "b");
    EXPECT_EQ((Texts{"0:E:a", "0:E:b"}), widget.m_triggerEvents);
    EXPECT_EQ((Texts{"E:a", "E:b"}), direct.m_directTriggers);
    EXPECT_EQ((Texts{"E:a", "E:b"}), other.m_directTriggers);
    EXPECT_TRUE(direct.m_direct.empty());
    EXPECT_EQ(5, m_pState->getValue("E", false).getInt());
    EXPECT_NE(std::string::npos, logText().find("       TRIGGER E sent to direct#0\n")) << logText();
    for (auto* pSubscriber : {&widget, &other, &direct})
        m_pState->unsubscribe("E", PDLStateSubscriberKey(pSubscriber, 0));
    m_pState->unsubscribe("F", PDLStateSubscriberKey(&other, 0));
}
