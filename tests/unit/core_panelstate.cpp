// The panel state on its own, without the event manager: change rules, direct subscribers, wildcards,
// unfolding, the shell listing and the destructor's report.

#include "core_fixture.h"
#include "core_panelstate_helpers.h"

#include "pdlbaseclasses.h"
#include "pdlinterpreter.h"

#include "rtk/cmd.h"
#include "rtk/thread.h"

#include <atomic>
#include <cmath>
#include <limits>
#include <memory>
#include <thread>

namespace
{
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
        {
            PDLPanelState::destroyInstance();
        }
        CoreTest::TearDown();
    }

    std::vector<std::string> values(RecordingSubscriber const& subscriber) const
    {
        std::vector<std::string> result;
        for (auto const& call : subscriber.m_direct)
        {
            result.push_back(call.first + "=" + call.second);
        }
        return result;
    }

    PDLPanelState* m_pState = nullptr;
};

std::string pad(std::string const& text, size_t width)
{
    return text.size() >= width ? text : text + std::string(width - text.size(), ' ');
}
} // namespace

TEST_F(CorePanelStateTest, ChangeDetectionAcrossKinds)
{
    RecordingSubscriber direct("direct");
    m_pState->subscribe("X", PDLStateSubscriberKey(&direct, 0));
    PDLStateEntry* pEntry = m_pState->findStateEntry("X");
    ASSERT_NE(pEntry, nullptr);

    // Invalid over a never-set entry is no change, and the entry stays unused.
    m_pState->setValueInvalid("X");
    EXPECT_TRUE(direct.m_direct.empty());
    EXPECT_FALSE(pEntry->isUsed());

    // The first false is a change: the kind was Invalid.
    m_pState->setValueBool("X", false);
    EXPECT_TRUE(pEntry->isUsed());
    m_pState->setValueBool("X", false);
    m_pState->setValueBool("X", true);
    // Another kind always notifies, even when the values read alike.
    m_pState->setValueInt("X", 1);
    m_pState->setValueInt("X", 1);
    m_pState->setValueString("X", "1");
    m_pState->setValueString("X", "1");
    m_pState->setValueInt("X", 1);
    m_pState->setValueFloat("X", 1.0f);
    m_pState->setValueFloat("X", 1.0f);
    m_pState->setValueFloat("X", 1.5f);
    std::vector<std::string> const expected = {"X=OFF", "X=ON", "X=1", "X=1", "X=1", "X=1.0000", "X=1.500"};
    EXPECT_EQ(expected, values(direct));

    // Texts compare byte for byte.
    direct.m_direct.clear();
    m_pState->setValueString("X", "abc");
    m_pState->setValueString("X", "abc");
    m_pState->setValueString("X", "abc ");
    m_pState->setValueString("X", "ABC");
    EXPECT_EQ(3u, direct.m_direct.size());

    // Floats compare exactly: a NaN is a change every time, a tiny difference too.
    direct.m_direct.clear();
    float const nan = std::numeric_limits<float>::quiet_NaN();
    m_pState->setValueFloat("X", nan);
    m_pState->setValueFloat("X", nan);
    m_pState->setValueFloat("X", 0.1f);
    m_pState->setValueFloat("X", std::nextafter(0.1f, 1.0f));
    m_pState->setValueFloat("X", std::nextafter(0.1f, 1.0f));
    EXPECT_EQ(4u, direct.m_direct.size());

    // A valid value going to Invalid notifies with the empty text and keeps the used mark.
    direct.m_direct.clear();
    m_pState->setValueInvalid("X");
    m_pState->setValueInvalid("X");
    ASSERT_EQ(1u, direct.m_direct.size());
    EXPECT_EQ("", direct.m_direct[0].second);
    EXPECT_TRUE(pEntry->isUsed());
    EXPECT_EQ(PDLVariant::eInvalid, pEntry->getValue().getKind());

    // setValue dispatches on the kind of its argument.
    direct.m_direct.clear();
    m_pState->setValue("X", PDLVariant(7));
    m_pState->setValue("X", PDLVariant(7));
    m_pState->setValue("X", PDLVariant(true));
    m_pState->setValue("X", PDLVariant(true));
    m_pState->setValue("X", PDLVariant(2.5f));
    m_pState->setValue("X", PDLVariant(2.5f));
    m_pState->setValue("X", PDLVariant("t"));
    m_pState->setValue("X", PDLVariant("t"));
    m_pState->setValue("X", PDLVariant());
    m_pState->setValue("X", PDLVariant());
    std::vector<std::string> const dispatched = {"X=7", "X=ON", "X=2.500", "X=t", "X="};
    EXPECT_EQ(dispatched, values(direct));

    // An entry without subscribers is marked used by its first change all the same.
    m_pState->setValueInt("Y", 0);
    EXPECT_TRUE(m_pState->findStateEntry("Y")->isUsed());

    m_pState->unsubscribe("X", PDLStateSubscriberKey(&direct, 0));
}

TEST_F(CorePanelStateTest, ChangeLinesFollowTheLogLevel)
{
    RecordingSubscriber direct("watcher");
    m_pState->subscribe("F", PDLStateSubscriberKey(&direct, 4));

    // At the default level nothing is written.
    m_log.str("");
    m_pState->setValueInt("F", 3);
    EXPECT_EQ(std::string::npos, logText().find("Panel State change")) << logText();

    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(5);
    m_pState->setValueBool("F", true);
    m_pState->setValueString("F", "x y");
    m_pState->setValueFloat("F", 0.25f);
    m_pState->setValueInvalid("F");
    m_pState->setValueInvalid("F");
    std::string const expected = "Panel State change F 3 ==> TRUE\n"
                                 "Panel State change F ON ==> x y\n"
                                 "Panel State change F x y ==> 0.25\n"
                                 "Panel State change F 0.2500 ==> INV\n";
    EXPECT_EQ(expected, logText());

    // One level up, each change also names every subscriber it reaches.
    m_log.str("");
    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(6);
    m_pState->setValueInt("F", 9);
    EXPECT_EQ("Panel State change F  ==> 9\n  watcher#4\n", logText());

    m_pState->unsubscribe("F", PDLStateSubscriberKey(&direct, 4));
}

TEST_F(CorePanelStateTest, SubscribeTwiceUnsubscribeOnce)
{
    RecordingSubscriber a("a");
    RecordingSubscriber b("b");

    // Unsubscribing an unknown id changes nothing and creates nothing.
    m_pState->unsubscribe("NOPE", PDLStateSubscriberKey(&a, 0));
    EXPECT_EQ(0u, m_pState->getEntryCount());
    EXPECT_EQ(nullptr, m_pState->findStateEntry("NOPE"));

    // Subscribing creates the entry and does not tell the subscriber the present value.
    m_pState->subscribe("S", PDLStateSubscriberKey(&a, 0));
    m_pState->subscribe("S", PDLStateSubscriberKey(&a, 0));
    EXPECT_EQ(1u, m_pState->getEntryCount());
    EXPECT_TRUE(a.m_direct.empty());
    EXPECT_EQ(1u, m_pState->findStateEntry("S")->getSubscribers().size());

    // One object, two ids: two subscriptions, two notifications.
    m_pState->subscribe("S", PDLStateSubscriberKey(&a, 1));
    m_pState->subscribe("S", PDLStateSubscriberKey(&b, 0));
    m_pState->setStateValue("S", "v");
    EXPECT_EQ(2u, a.m_direct.size());
    EXPECT_EQ(1u, b.m_direct.size());

    // One unsubscribe ends the doubly made subscription; the other id stays.
    m_pState->unsubscribe("S", PDLStateSubscriberKey(&a, 0));
    m_pState->unsubscribe("S", PDLStateSubscriberKey(&a, 7));
    a.m_direct.clear();
    m_pState->setStateValue("S", "w");
    ASSERT_EQ(1u, a.m_direct.size());
    EXPECT_EQ(std::make_pair(std::string("S"), std::string("w")), a.m_direct[0]);

    m_pState->unsubscribe("S", PDLStateSubscriberKey(&a, 1));
    m_pState->unsubscribe("S", PDLStateSubscriberKey(&b, 0));
    a.m_direct.clear();
    m_pState->setStateValue("S", "z");
    EXPECT_TRUE(a.m_direct.empty());
    // The entry stays after its last subscriber left.
    ASSERT_NE(nullptr, m_pState->findStateEntry("S"));
    EXPECT_FALSE(m_pState->findStateEntry("S")->hasSubscribers());
    EXPECT_EQ("z", m_pState->getValueString("S"));
}

TEST_F(CorePanelStateTest, DirectSubscriberMayUnsubscribeWhileBeingNotified)
{
    // Unsubscribes itself and the next key of the same entry from within updateDirect.
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
    };
    Leaving leaving;
    m_pState->subscribe("L", PDLStateSubscriberKey(&leaving, 0));
    m_pState->subscribe("L", PDLStateSubscriberKey(&leaving, 1));
    m_pState->setStateValueInt("L", 1);
    EXPECT_EQ(1u, leaving.m_direct.size());
    EXPECT_FALSE(m_pState->findStateEntry("L")->hasSubscribers());
}

TEST_F(CorePanelStateTest, WildcardReachesEntriesMadeLater)
{
    m_pState->setStateValue("CAM.1.IRIS", "a");
    m_pState->setStateValue("CAM.9.IRIS", "b");

    PatternSubscriber wild("wild", {"CAM.[N:1-4].IRIS"});
    PDLStateSubscriberKey const key(&wild, 0);
    m_pState->subscribeWildcard(FIDPatternHelper("CAM.[N:1-4].IRIS"), key);
    EXPECT_TRUE(m_pState->hasWildcardSubscriber(key));
    // Entries that exist and fit are subscribed at once; the others are not.
    EXPECT_TRUE(m_pState->findStateEntry("CAM.1.IRIS")->hasSubscribers());
    EXPECT_FALSE(m_pState->findStateEntry("CAM.9.IRIS")->hasSubscribers());
    EXPECT_EQ(2u, m_pState->getEntryCount());

    // A new entry is offered to the subscriber, which subscribes to it before the first write lands.
    m_pState->setStateValue("CAM.3.IRIS", "c");
    m_pState->setStateValue("CAM.5.IRIS", "d");
    std::vector<std::string> const asked = {"CAM.3.IRIS", "CAM.5.IRIS"};
    EXPECT_EQ(asked, wild.m_asked);
    std::vector<std::string> const expected = {"CAM.3.IRIS=c"};
    EXPECT_EQ(expected, values(wild));
    EXPECT_TRUE(m_pState->findStateEntry("CAM.3.IRIS")->hasSubscribers());
    EXPECT_FALSE(m_pState->findStateEntry("CAM.5.IRIS")->hasSubscribers());

    // Reads create entries too, and are offered in the same way.
    m_pState->getValue("CAM.4.IRIS", false);
    EXPECT_TRUE(m_pState->findStateEntry("CAM.4.IRIS")->hasSubscribers());

    // Unsubscribing the pattern leaves the matching entries and ends the questions.
    m_pState->unsubscribeWildcard(FIDPatternHelper("CAM.[N:1-4].IRIS"), key);
    EXPECT_FALSE(m_pState->hasWildcardSubscriber(key));
    EXPECT_FALSE(m_pState->findStateEntry("CAM.1.IRIS")->hasSubscribers());
    EXPECT_FALSE(m_pState->findStateEntry("CAM.3.IRIS")->hasSubscribers());
    EXPECT_FALSE(m_pState->findStateEntry("CAM.4.IRIS")->hasSubscribers());
    m_pState->setStateValue("CAM.2.IRIS", "e");
    EXPECT_EQ(3u, wild.m_asked.size());
}

TEST_F(CorePanelStateTest, WildcardThatMatchesNothingYet)
{
    PatternSubscriber wild("wild", {"DEV.[S:*].ON"});
    m_pState->subscribeWildcard(FIDPatternHelper("DEV.[S:*].ON"), PDLStateSubscriberKey(&wild, 0));
    // Nothing is created; only the wildcard set knows the key.
    EXPECT_EQ(0u, m_pState->getEntryCount());
    EXPECT_TRUE(m_pState->hasWildcardSubscriber(PDLStateSubscriberKey(&wild, 0)));

    m_pState->setStateValueBool("DEV.x.ON", true);
    m_pState->setStateValueBool("DEV.x.OFF", true);
    std::vector<std::string> const expected = {"DEV.x.ON=ON"};
    EXPECT_EQ(expected, values(wild));

    // A subscriber without checkNewStateEntry hears of existing entries only.
    RecordingSubscriber plain("plain");
    m_pState->subscribeWildcard(FIDPatternHelper("DEV.[S:*].OFF"), PDLStateSubscriberKey(&plain, 0));
    m_pState->setStateValueBool("DEV.y.OFF", true);
    m_pState->setStateValueBool("DEV.x.OFF", false);
    std::vector<std::string> const plainSeen = {"DEV.x.OFF=OFF"};
    EXPECT_EQ(plainSeen, values(plain));

    m_pState->unsubscribeWildcard(FIDPatternHelper("DEV.[S:*].ON"), PDLStateSubscriberKey(&wild, 0));
    m_pState->unsubscribeWildcard(FIDPatternHelper("DEV.[S:*].OFF"), PDLStateSubscriberKey(&plain, 0));
}

TEST_F(CorePanelStateTest, GetValueWildcardCreatesNothing)
{
    m_pState->setStateValueInt("P.2.V", 2);
    m_pState->setStateValue("P.1.V", "one");
    m_pState->getValue("P.3.V", false); // exists, Invalid
    m_pState->setStateValueInt("Q.1.V", 5);

    std::unique_ptr<PDLStateValueList> pList(m_pState->getValueWildcard(FIDPatternHelper("P.[N:1-9].V")));
    ASSERT_NE(nullptr, pList);
    ASSERT_EQ(3u, pList->size());
    auto it = pList->begin();
    EXPECT_EQ("P.1.V", it->first);
    EXPECT_EQ("one", it->second.getString());
    ++it;
    EXPECT_EQ("P.2.V", it->first);
    EXPECT_EQ(PDLVariant::eInt, it->second.getKind());
    EXPECT_EQ(2, it->second.getInt());
    ++it;
    EXPECT_EQ("P.3.V", it->first);
    EXPECT_EQ(PDLVariant::eInvalid, it->second.getKind());
    EXPECT_EQ(4u, m_pState->getEntryCount());

    // The values are copies.
    pList->front().second.setString("changed");
    EXPECT_EQ("one", m_pState->getValueString("P.1.V"));

    // No match: an empty list, and still no new entry.
    std::unique_ptr<PDLStateValueList> pEmpty(m_pState->getValueWildcard(FIDPatternHelper("R.[N:*]")));
    ASSERT_NE(nullptr, pEmpty);
    EXPECT_TRUE(pEmpty->empty());
    EXPECT_EQ(4u, m_pState->getEntryCount());
}

TEST_F(CorePanelStateTest, ReadsCreateInvalidEntriesAndWarnOnRequest)
{
    EXPECT_EQ("", m_pState->getValueString("NEW"));
    ASSERT_NE(nullptr, m_pState->findStateEntry("NEW"));
    EXPECT_FALSE(m_pState->findStateEntry("NEW")->isUsed());

    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, m_pState->getValue("NEW", false).getKind());
    EXPECT_EQ("", logText());
    EXPECT_EQ(PDLVariant::eInvalid, m_pState->getValue("NEW", true).getKind());
    EXPECT_NE(std::string::npos, logText().find("WARNING:\nState Entry NEW is invalid\n")) << logText();
    // A warning is no error.
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);

    m_log.str("");
    m_pState->setStateValueFloat("NEW", 2.0f);
    EXPECT_EQ(2.0f, m_pState->getValue("NEW", true).getFloat());
    EXPECT_EQ("", logText());
}

TEST_F(CorePanelStateTest, UnsetWithAndWithoutStar)
{
    m_pState->setStateValueInt("A.B", 1);
    m_pState->setStateValueInt("A.C.D", 2);
    m_pState->setStateValueInt("AB", 3);
    m_pState->setStateValueInt("B.A.X", 4);

    m_pState->unsetStateValue("A.*");
    EXPECT_EQ(4u, m_pState->getEntryCount());
    EXPECT_EQ(PDLVariant::eInvalid, m_pState->findStateEntry("A.B")->getValue().getKind());
    EXPECT_EQ(PDLVariant::eInvalid, m_pState->findStateEntry("A.C.D")->getValue().getKind());
    EXPECT_EQ(3, m_pState->findStateEntry("AB")->getValue().getInt());
    EXPECT_EQ(4, m_pState->findStateEntry("B.A.X")->getValue().getInt());

    // A prefix that matches nothing creates nothing either.
    m_pState->unsetStateValue("Z.*");
    EXPECT_EQ(4u, m_pState->getEntryCount());

    // Without the star only that entry, created if need be.
    m_pState->unsetStateValue("AB");
    EXPECT_EQ(PDLVariant::eInvalid, m_pState->findStateEntry("AB")->getValue().getKind());
    m_pState->unsetStateValue("N.E.W");
    EXPECT_EQ(5u, m_pState->getEntryCount());
    EXPECT_FALSE(m_pState->findStateEntry("N.E.W")->isUsed());

    // setMultiValue writes every entry under the prefix, in key order, and creates none.
    RecordingSubscriber direct("d");
    m_pState->subscribe("A.B", PDLStateSubscriberKey(&direct, 0));
    m_pState->subscribe("A.C.D", PDLStateSubscriberKey(&direct, 0));
    m_pState->setMultiValue("A.", PDLVariant(8));
    std::vector<std::string> const expected = {"A.B=8", "A.C.D=8"};
    EXPECT_EQ(expected, values(direct));
    EXPECT_EQ(5u, m_pState->getEntryCount());
    m_pState->unsubscribe("A.B", PDLStateSubscriberKey(&direct, 0));
    m_pState->unsubscribe("A.C.D", PDLStateSubscriberKey(&direct, 0));
}

TEST_F(CorePanelStateTest, UnfoldedIdsMirrorTheirValues)
{
    PDLInterpreter::mutexTake();
    // Unfolding an Invalid entry makes no boolean entry.
    m_pState->unfoldSID("A");
    EXPECT_TRUE(m_pState->isUnfolded("A"));
    EXPECT_EQ(1u, m_pState->getEntryCount());
    PDLInterpreter::mutexGive();

    m_pState->setStateValue("A", "x");
    EXPECT_TRUE(m_pState->findStateEntry("A.x")->getValue().getBool());
    EXPECT_EQ(2u, m_pState->getEntryCount()); // A and A.x; no "A." for the empty former text

    RecordingSubscriber direct("d");
    m_pState->subscribe("A.x", PDLStateSubscriberKey(&direct, 0));
    m_pState->subscribe("A.y", PDLStateSubscriberKey(&direct, 0));
    m_pState->setStateValue("A", "y");
    EXPECT_EQ("y", m_pState->getValueString("A"));
    EXPECT_EQ(PDLVariant::eBool, m_pState->findStateEntry("A.x")->getValue().getKind());
    EXPECT_FALSE(m_pState->findStateEntry("A.x")->getValue().getBool());
    EXPECT_TRUE(m_pState->findStateEntry("A.y")->getValue().getBool());
    std::vector<std::string> const expected = {"A.x=OFF", "A.y=ON"};
    EXPECT_EQ(expected, values(direct));

    // The same text again touches no boolean entry, even one that was changed behind its back.
    m_pState->setValueBool("A.y", false);
    direct.m_direct.clear();
    m_pState->setStateValue("A", "y");
    EXPECT_TRUE(direct.m_direct.empty());
    EXPECT_FALSE(m_pState->findStateEntry("A.y")->getValue().getBool());
    m_pState->unsubscribe("A.x", PDLStateSubscriberKey(&direct, 0));
    m_pState->unsubscribe("A.y", PDLStateSubscriberKey(&direct, 0));

    // Unfolding an id with a value sets the mirror at once; a second unfold writes nothing.
    m_pState->setStateValue("B", "on");
    PDLInterpreter::mutexTake();
    m_pState->unfoldSID("B");
    EXPECT_TRUE(m_pState->findStateEntry("B.on")->getValue().getBool());
    m_pState->setValueBool("B.on", false);
    m_pState->setValueString("B", "off"); // the unlocked writer does not unfold
    m_pState->unfoldSID("B");
    PDLInterpreter::mutexGive();
    EXPECT_FALSE(m_pState->findStateEntry("B.on")->getValue().getBool());
    EXPECT_EQ(nullptr, m_pState->findStateEntry("B.off"));

    // Numbers: an Invalid present value counts as 0, so "C.0" is cleared and thereby created.
    PDLInterpreter::mutexTake();
    m_pState->unfoldSID("C");
    PDLInterpreter::mutexGive();
    m_pState->setStateValueInt("C", 3);
    ASSERT_NE(nullptr, m_pState->findStateEntry("C.0"));
    EXPECT_EQ(PDLVariant::eBool, m_pState->findStateEntry("C.0")->getValue().getKind());
    EXPECT_FALSE(m_pState->findStateEntry("C.0")->getValue().getBool());
    EXPECT_TRUE(m_pState->findStateEntry("C.3")->getValue().getBool());
    m_pState->setStateValueInt("C", 4);
    EXPECT_FALSE(m_pState->findStateEntry("C.3")->getValue().getBool());
    EXPECT_TRUE(m_pState->findStateEntry("C.4")->getValue().getBool());
    // The same number again leaves the mirror alone.
    m_pState->setValueBool("C.4", false);
    m_pState->setStateValueInt("C", 4);
    EXPECT_FALSE(m_pState->findStateEntry("C.4")->getValue().getBool());

    // Floats and bools never unfold.
    size_t const count = m_pState->getEntryCount();
    m_pState->setStateValueFloat("C", 1.5f);
    m_pState->setStateValueBool("C", true);
    EXPECT_EQ(count, m_pState->getEntryCount());
    EXPECT_TRUE(m_pState->getValue("C", false).getBool());

    // Ids that are not unfolded get no mirror.
    m_pState->setStateValue("D", "q");
    m_pState->setStateValueInt("D", 2);
    EXPECT_EQ(nullptr, m_pState->findStateEntry("D.q"));
    EXPECT_EQ(nullptr, m_pState->findStateEntry("D.2"));
}

TEST_F(CorePanelStateTest, TriggerWithoutSubscribersCreatesAndLogs)
{
    rtk::LogManager::getInstance()->getOutput("PanelState")->setLevel(5);
    m_pState->triggerEvent("T.GO", "fast");
    PDLStateEntry* pEntry = m_pState->findStateEntry("T.GO");
    ASSERT_NE(nullptr, pEntry);
    EXPECT_FALSE(pEntry->isUsed());
    EXPECT_EQ(PDLVariant::eInvalid, pEntry->getValue().getKind());
    EXPECT_EQ("STATE: TRIGGER T.GO ( fast) received.\n", logText());

    // A trigger leaves a stored value and its used mark alone.
    m_pState->setStateValueInt("T.V", 5);
    m_pState->triggerEvent("T.V", "");
    EXPECT_EQ(5, m_pState->getValue("T.V", false).getInt());
}

TEST_F(CorePanelStateTest, ShellListingAndStatistics)
{
    RecordingSubscriber direct("d");
    m_pState->subscribe("A.1", PDLStateSubscriberKey(&direct, 0));
    m_pState->setStateValueInt("A.1", 5);
    m_pState->getValue("A.2", false);
    m_pState->setStateValue("B", "hi");
    m_pState->unsetStateValue("B");

    std::string const rule(78, '=');
    std::string const head =
        "\nPanel State:\n" + pad("Function ID", 42) + pad("Value", 20) + "[Subscribers/Used]\n" + rule + "\n";
    std::string const a1 = pad("A.1", 40) + "= " + pad("\"5\"", 20) + "[SU]\n";
    std::string const a2 = pad("A.2", 40) + "= " + pad("(INV)", 20) + "[  ]\n";
    std::string const b = pad("B", 40) + "= " + pad("(INV)", 20) + "[ U]\n";
    // 1 of 3 is 33 percent: the quotient is an integer.
    std::string const stats3 = pad("Number of entries: ", 30) + "3\n" + pad("Unsubscribed values: ", 30) +
                               pad("2", 8) + " (66%)\n" + pad("Unused values: ", 30) + pad("1", 8) +
                               " (33%)\n" + pad("Memory usage: ", 30) + "0 KB\n";
    {
        StdoutCapture capture;
        EXPECT_TRUE(rtk::CmdProcessor::getInstance()->execute("showPanelState"));
        EXPECT_EQ(head + a1 + a2 + b + rule + "\nStatistics:\n" + stats3 + rule + "\n", capture.text());
    }

    // With a mask: the listed entries, then the totals. A long value pushes the memory past 1 KB:
    // each entry counts its key, 72, 176, its value text and 16 per subscriber.
    m_pState->setStateValue("L", std::string(1000, 'x'));
    std::string const l = pad("L", 40) + "= \"" + std::string(1000, 'x') + "\"[ U]\n";
    std::string const statsA = pad("Number of entries: ", 30) + "2\n" + pad("Unsubscribed values: ", 30) +
                               pad("1", 8) + " (50%)\n" + pad("Unused values: ", 30) + pad("1", 8) +
                               " (50%)\n" + pad("Memory usage: ", 30) + "0 KB\n";
    std::string const statsAll = pad("Number of entries: ", 30) + "4\n" + pad("Unsubscribed values: ", 30) +
                                 pad("3", 8) + " (75%)\n" + pad("Unused values: ", 30) + pad("1", 8) +
                                 " (25%)\n" + pad("Memory usage: ", 30) + "1 KB\n";
    {
        StdoutCapture capture;
        EXPECT_TRUE(rtk::CmdProcessor::getInstance()->execute("showPanelState A. ignored"));
        EXPECT_EQ(head + a1 + a2 + rule + "\nStatistics:\n" + statsA + "\nTotal:\n" + statsAll + rule + "\n",
                  capture.text());
    }
    {
        StdoutCapture capture;
        m_pState->dump("");
        EXPECT_NE(std::string::npos, capture.text().find(l));
    }

    // A mask that matches nothing: no percentages for an empty listing.
    {
        StdoutCapture capture;
        m_pState->dump("ZZ");
        std::string const statsNone =
            pad("Number of entries: ", 30) + "0\n" + pad("Memory usage: ", 30) + "0 KB\n";
        EXPECT_EQ(head + rule + "\nStatistics:\n" + statsNone + "\nTotal:\n" + statsAll + rule + "\n",
                  capture.text());
    }
    m_pState->unsubscribe("A.1", PDLStateSubscriberKey(&direct, 0));
}

TEST_F(CorePanelStateTest, ShowSubscribersCommand)
{
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    EXPECT_EQ("showSubscribers <FID>\n\tList all subscribers for specified PanelState entry.",
              pCmd->getHelp("showSubscribers"));
    EXPECT_EQ(0u,
              pCmd->getHelp("showPanelState").find("showPanelState [FID search mask]\n\tList all entries"));

    RecordingSubscriber a("alpha");
    m_pState->subscribe("S", PDLStateSubscriberKey(&a, 2));
    m_pState->subscribe("S", PDLStateSubscriberKey(&a, 1));
    m_pState->subscribe("S", PDLStateSubscriberKey(nullptr, 0));
    m_pState->getValue("EMPTY", false);
    {
        StdoutCapture capture;
        EXPECT_TRUE(pCmd->execute("showSubscribers S"));
        // Key order: by address (null first), then by id; a null subscriber gives an empty line.
        EXPECT_EQ("\nalpha#1\nalpha#2\n", capture.text());
    }
    {
        StdoutCapture capture;
        EXPECT_TRUE(pCmd->execute("showSubscribers EMPTY"));
        EXPECT_TRUE(pCmd->execute("showSubscribers UNKNOWN"));
        EXPECT_TRUE(pCmd->execute("showSubscribers"));
        EXPECT_TRUE(pCmd->execute("showSubscribers S EMPTY"));
        EXPECT_EQ("Entry not found.\nmissing FID argument\nmissing FID argument\n", capture.text());
    }
    // Asking does not create.
    EXPECT_EQ(nullptr, m_pState->findStateEntry("UNKNOWN"));

    {
        StdoutCapture capture;
        m_pState->dumpOrphanedEntries();
        EXPECT_EQ("State Entry EMPTY has no subscribers\nState Entry EMPTY has never been set\n"
                  "State Entry S has never been set\n",
                  capture.text());
    }
    m_pState->unsubscribe("S", PDLStateSubscriberKey(&a, 2));
    m_pState->unsubscribe("S", PDLStateSubscriberKey(&a, 1));
    m_pState->unsubscribe("S", PDLStateSubscriberKey(nullptr, 0));

    // The commands go with the store.
    PDLPanelState::destroyInstance();
    EXPECT_FALSE(pCmd->hasCommand("showPanelState"));
    EXPECT_FALSE(pCmd->hasCommand("showSubscribers"));
}

TEST_F(CorePanelStateTest, InterfacesAndTheirLocks)
{
    EXPECT_EQ(static_cast<IPanelState*>(m_pState), getInterface<IPanelState>(m_pState));
    EXPECT_EQ(static_cast<IPSPublisher*>(m_pState), getInterface<IPSPublisher>(m_pState));
    EXPECT_EQ(nullptr, m_pState->queryInterface(eIPanelEvent));
    EXPECT_EQ(nullptr, m_pState->queryInterface(4711));

    // While another thread holds the interpreter mutex, a locked write waits for it.
    PDLInterpreter::mutexTake();
    std::atomic<bool> done(false);
    std::thread writer(
        [this, &done]
        {
            m_pState->setStateValueInt("LOCKED", 1);
            done = true;
        });
    rtk::Thread::mssleep(50);
    EXPECT_FALSE(done.load());
    EXPECT_EQ(nullptr, m_pState->findStateEntry("LOCKED"));
    PDLInterpreter::mutexGive();
    writer.join();
    EXPECT_TRUE(done.load());
    EXPECT_EQ(1, m_pState->getValue("LOCKED", false).getInt());
}

TEST_F(CorePanelStateTest, DestructorReportsEntriesThatStillHaveSubscribers)
{
    RecordingSubscriber forgotten("forgotten");
    m_pState->subscribe("KEEP", PDLStateSubscriberKey(&forgotten, 0));
    m_pState->setStateValueInt("OTHER", 1);
    PDLDelegationType* pType = new PDLDelegationType;
    pType->m_name = "Dev";
    pType->m_children.push_back(new PDLDelegationType);
    m_pState->addDeviceDefinition(pType);

    uint32_t const errors = PDLParseInfo::m_errorCount;
    m_log.str("");
    PDLPanelState::destroyInstance();
    // Definitions and entries are freed (the leak-checked build tells); one report for KEEP.
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);
    std::string const log = logText();
    size_t const deleting = log.find("[Startup] INFO Deleting 2 entries from panel state");
    size_t const report = log.find("FATAL:\ndeleting state entry KEEP with subscribers\n");
    size_t const deleted = log.find("[Startup] INFO Deleted 2 entries");
    ASSERT_NE(std::string::npos, deleting) << log;
    ASSERT_NE(std::string::npos, report) << log;
    ASSERT_NE(std::string::npos, deleted) << log;
    EXPECT_LT(deleting, report);
    EXPECT_LT(report, deleted);
    EXPECT_EQ(std::string::npos, log.find("OTHER"));
}
