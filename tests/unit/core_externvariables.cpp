// Extern variables as views of panel-state entries, and the slot assignment command that re-targets
// them.

#include "core_command_helpers.h"

#include "pdlpanelstate.h"
#include "virtualpanel.h"

#include <initializer_list>

namespace
{
using Variables = std::list<PDLVariable*>;
// A delegation type with its nested types, as the catalogue reader builds it.
PDLDelegationType* deviceType(std::string const& name, int slots,
                              std::initializer_list<PDLDelegationType*> children = {})
{
    auto* pType = new PDLDelegationType();
    pType->m_name = name;
    pType->m_slots = slots;
    for (PDLDelegationType* pChild : children)
    {
        pType->m_children.push_back(pChild);
    }
    return pType;
}

bool isSubscribed(PDLPanelState const* pState, std::string const& fid, PDLVariableExtern* pVariable)
{
    PDLStateEntry const* pEntry = pState->findStateEntry(fid);
    return pEntry != nullptr && pEntry->getSubscribers().count(PDLStateSubscriberKey(pVariable, 0)) != 0;
}
// The panel state alone, with a catalogue of a one-slot "Mixer" (nesting a one-slot "Knob") and a
// four-slot "Deck" (nesting a one-slot "Fader"). The declaring module sits in workplace 2.
class ExternTest : public CommandTest
{
protected:
    void SetUp() override
    {
        CommandTest::SetUp();
        m_pState = PDLPanelState::createInstance();
        m_pState->addDeviceDefinition(deviceType("Mixer", 1, {deviceType("Knob", 1)}));
        m_pState->addDeviceDefinition(deviceType("Deck", 4, {deviceType("Fader", 1)}));
        m_pScope.reset(new CommandTestContext());
        m_log.str("");
    }
    void TearDown() override
    {
        m_trees.clear();
        // The event manager may still list the variables; the variables unsubscribe from the state.
        if (PDLEventManager::hasInstance())
        {
            PDLEventManager::destroyInstance();
        }
        m_pScope.reset();
        m_externs.clear();
        if (PDLPanelState::hasInstance())
        {
            PDLPanelState::destroyInstance();
        }
        CommandTest::TearDown();
    }
    PDLVariableExtern* ext(std::string const& name, std::string const& type,
                           PDLVariableExtern* pParent = nullptr, PDLModule const* pModule = nullptr)
    {
        m_externs.emplace_back(
            new PDLVariableExtern(pModule != nullptr ? pModule : &m_module, type, "", name, pParent));
        return m_externs.back().get();
    }
    // An extern variable declared in the command scope, which owns it.
    PDLVariableExtern* declareExt(std::string const& name, std::string const& type)
    {
        auto* pVariable = new PDLVariableExtern(&m_module, type, "", name, nullptr);
        m_pScope->declare(pVariable);
        return pVariable;
    }
    bool runHere(PDLCommand* pCommand)
    {
        m_trees.emplace_back(pCommand);
        pCommand->setContext(m_pScope.get(), false);
        return pCommand->execute();
    }
    PDLModule m_module{nullptr, UniqueModuleID(2, 0, 1), 0, 0, nullptr, ""};
    PDLPanelState* m_pState = nullptr;
    std::unique_ptr<CommandTestContext> m_pScope;
    std::vector<std::unique_ptr<PDLVariableExtern>> m_externs;
};
} // namespace

TEST_F(ExternTest, UnconfiguredVariableReadsInvalidAndRefusesWrites)
{
    PDLVariableExtern* pDeck = ext("deck", "Deck");
    size_t const entries = m_pState->getEntryCount();
    // A quiet read: Invalid and no log.
    EXPECT_EQ(PDLVariant::eInvalid, pDeck->getValue("", false).getKind());
    EXPECT_FALSE(pDeck->isValid());
    EXPECT_EQ("", logText());
    // A warning read names the missing slot, once, and is not counted.
    EXPECT_EQ(PDLVariant::eInvalid, pDeck->getValue("", true).getKind());
    EXPECT_EQ("\nWARNING:\nExternal variable deck has not been configured (no slot assigned)\n\n", logText());
    EXPECT_EQ(0u, newErrors());
    // Writes are counted errors and reach neither the state nor the variable.
    m_log.str("");
    pDeck->setValue(PDLVariant(3));
    pDeck->setValueInt(4);
    EXPECT_EQ(2, countInLog("ERROR:\nExternal variable deck has not been configured (no slot assigned)\n"));
    EXPECT_EQ(2u, newErrors());
    EXPECT_EQ(PDLVariant::eInvalid, pDeck->getValue("", false).getKind());
    EXPECT_FALSE(pDeck->isChanged());
    EXPECT_EQ(entries, m_pState->getEntryCount());
    EXPECT_EQ("", pDeck->getSubscribedFunctionID());
    // Containers stay refused as for any simple variable, and the value cannot be copied out.
    m_log.str("");
    pDeck->setValueAtIndex(PDLVariant(1), PDLVariant(2));
    EXPECT_EQ(1, countInLog("ERROR:\nVariable deck is not an array variable!\n"));
    PDLVariableSimple target(eScopeModule, "", "target", true, false, false, false);
    PDLVariableDescription description(&target, "");
    EXPECT_FALSE(pDeck->copyTo(description));
}

TEST_F(ExternTest, SlotAssignmentSubscribesAndAlwaysRaisesTheChangeFlag)
{
    PDLEventManager::createInstance();
    PDLEventManager* pManager = PDLEventManager::getInstance();
    PDLInterpreter::mutexTake();
    PDLVariableExtern* pDeck = ext("deck", "Deck");
    m_pState->setValueInt("PANEL.EXTVAR2.Deck2", 7);
    m_pState->setValueInt("PANEL.EXTVAR2.Deck3", 7);
    pDeck->setLocalFunctionID("Deck2");
    EXPECT_EQ("Deck2", pDeck->getLocalFunctionID());
    EXPECT_EQ("PANEL.EXTVAR2.Deck2", pDeck->getSubscribedFunctionID());
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.Deck2", pDeck));
    // The value of the entry is fetched at once, and the change is listed like a module variable's.
    EXPECT_EQ(PDLVariant::eInt, pDeck->getValue("", false).getKind());
    EXPECT_EQ(7, pDeck->getValue("", false).getInt());
    EXPECT_TRUE(pDeck->isValid());
    EXPECT_TRUE(pDeck->isChanged());
    EXPECT_EQ(Variables({pDeck}), pManager->getChangedVariables());
    // Another slot with the same value is a change all the same; the old entry loses the subscriber.
    EXPECT_TRUE(pManager->generateVariableEvents());
    // The bare event manager has no global scope and reports it; that is not what is tested here.
    m_log.str("");
    m_errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(pDeck->isChanged());
    pDeck->setLocalFunctionID("Deck3");
    EXPECT_TRUE(pDeck->isChanged());
    EXPECT_EQ(Variables({pDeck}), pManager->getChangedVariables());
    EXPECT_FALSE(isSubscribed(m_pState, "PANEL.EXTVAR2.Deck2", pDeck));
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.Deck3", pDeck));
    EXPECT_EQ(7, pDeck->getValue("", false).getInt());
    // The same slot again: one subscription, and again a change.
    pDeck->clearChangeFlag();
    pDeck->setLocalFunctionID("Deck3");
    EXPECT_TRUE(pDeck->isChanged());
    EXPECT_EQ(1u, m_pState->findStateEntry("PANEL.EXTVAR2.Deck3")->getSubscribers().size());
    // A slot that nobody has set yet: its entry comes into being, and the variable reads Invalid.
    pDeck->setLocalFunctionID("Deck4");
    ASSERT_NE(nullptr, m_pState->findStateEntry("PANEL.EXTVAR2.Deck4"));
    EXPECT_FALSE(pDeck->isValid());
    EXPECT_EQ("", logText());
    EXPECT_EQ(PDLVariant::eInvalid, pDeck->getValue("", true).getKind());
    EXPECT_EQ("\nWARNING:\nVariable deck is invalid\n\n", logText());
    EXPECT_EQ(0u, newErrors());
    PDLInterpreter::mutexGive();
}

TEST_F(ExternTest, WritesGoToThePanelStateAndReadBackAtOnce)
{
    PDLVariableExtern* pDeck = ext("deck", "Deck");
    pDeck->setLocalFunctionID("Deck1");
    pDeck->clearChangeFlag();
    std::string const fid = "PANEL.EXTVAR2.Deck1";
    pDeck->setValue(PDLVariant(1));
    EXPECT_EQ(PDLVariant(1), m_pState->getValue(fid, false));
    EXPECT_EQ(1, pDeck->getValue("", false).getInt());
    // The flag comes from the state's notification, not from the write.
    EXPECT_FALSE(pDeck->isChanged());
    // No comparison before the write: an equal value of another kind replaces the old one, in the
    // variable and in the state.
    pDeck->setValue(PDLVariant(true));
    EXPECT_EQ(PDLVariant::eBool, pDeck->getValue("", false).getKind());
    EXPECT_EQ(PDLVariant::eBool, m_pState->getValue(fid, false).getKind());
    pDeck->setValueString("abc");
    EXPECT_EQ(PDLVariant::eString, m_pState->getValue(fid, false).getKind());
    EXPECT_EQ("abc", pDeck->getValue("", false).getString());
    // A read gives the value of the last update, not what the state holds now.
    m_pState->setValueInt(fid, 9);
    EXPECT_EQ("abc", pDeck->getValue("", false).getString());
    pDeck->update();
    EXPECT_EQ(9, pDeck->getValue("", false).getInt());
    EXPECT_TRUE(pDeck->isChanged());
    // An update raises the flag whatever the value.
    pDeck->clearChangeFlag();
    pDeck->update();
    EXPECT_TRUE(pDeck->isChanged());
    // An Invalid write invalidates the entry and the variable, silently.
    pDeck->setValue(PDLVariant());
    EXPECT_EQ(PDLVariant::eInvalid, m_pState->getValue(fid, false).getKind());
    EXPECT_FALSE(pDeck->isValid());
    EXPECT_EQ("", logText());
    EXPECT_EQ(0u, newErrors());
}

TEST_F(ExternTest, NestedVariablesComposeTheirPath)
{
    PDLVariableExtern* pOuter = ext("s", "Deck");
    PDLVariableExtern* pInner = ext("t", "Fader", pOuter);
    pOuter->setLocalFunctionID("S");
    pInner->setLocalFunctionID("T");
    EXPECT_EQ("PANEL.EXTVAR2.S", pOuter->getFunctionID());
    EXPECT_EQ("PANEL.EXTVAR2.S.T", pInner->getFunctionID());
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.S.T", pInner));
    EXPECT_EQ("extvar t (PANEL.EXTVAR2.S.T)", pInner->getDescription(0));
    pInner->setValue(PDLVariant(4));
    EXPECT_EQ(PDLVariant(4), m_pState->getValue("PANEL.EXTVAR2.S.T", false));
    // The parent's new slot changes the child's id at once, but the child stays subscribed where it
    // was until its own slot is set again; its writes already follow the new id.
    pOuter->setLocalFunctionID("U");
    EXPECT_EQ("PANEL.EXTVAR2.U.T", pInner->getFunctionID());
    EXPECT_EQ("PANEL.EXTVAR2.S.T", pInner->getSubscribedFunctionID());
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.S.T", pInner));
    EXPECT_FALSE(isSubscribed(m_pState, "PANEL.EXTVAR2.U.T", pInner));
    pInner->setValue(PDLVariant(5));
    EXPECT_EQ(PDLVariant(5), m_pState->getValue("PANEL.EXTVAR2.U.T", false));
    EXPECT_EQ(PDLVariant(4), m_pState->getValue("PANEL.EXTVAR2.S.T", false));
    pInner->setLocalFunctionID("T");
    EXPECT_FALSE(isSubscribed(m_pState, "PANEL.EXTVAR2.S.T", pInner));
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.U.T", pInner));
    EXPECT_EQ(5, pInner->getValue("", false).getInt());
    EXPECT_EQ("", logText());
    // The root names the workplace of the declaring module.
    PDLModule other(nullptr, UniqueModuleID(5, 1, 1), 0, 0, nullptr, "");
    PDLVariableExtern* pFar = ext("far", "Deck", nullptr, &other);
    pFar->setLocalFunctionID("X");
    EXPECT_EQ("PANEL.EXTVAR5.X", pFar->getSubscribedFunctionID());
    // Without a module there is no id: a failed check.
    PDLVariableExtern orphan(nullptr, "Deck", "", "orphan", nullptr);
    EXPECT_EQ("", orphan.getFunctionID());
    EXPECT_EQ("\nFATAL:\nm_pModule\n\n", logText());
    EXPECT_EQ(1u, newErrors());
}

TEST_F(ExternTest, ResetGoesBackToTheDefaultSlotOfAOneSlotType)
{
    // A one-slot type configures itself; the value of the default entry comes with it.
    m_pState->setValueString("PANEL.EXTVAR2.Mixer1", "on");
    PDLVariableExtern* pMixer = ext("mixer", "Mixer");
    pMixer->reset();
    EXPECT_EQ("Mixer1", pMixer->getLocalFunctionID());
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.Mixer1", pMixer));
    EXPECT_EQ("on", pMixer->getValue("", false).getString());
    EXPECT_TRUE(pMixer->isChanged());
    // A child of a one-slot parent: the parent is configured first, so the child subscribes under the
    // parent's default slot.
    PDLVariableExtern* pParent = ext("parent", "Mixer");
    PDLVariableExtern* pKnob = ext("knob", "Knob", pParent);
    pKnob->reset();
    EXPECT_EQ("Mixer1", pParent->getLocalFunctionID());
    EXPECT_EQ("PANEL.EXTVAR2.Mixer1.Knob1", pKnob->getSubscribedFunctionID());
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.Mixer1.Knob1", pKnob));
    // A type of several slots keeps the slot it has; the reset only lowers the flag.
    PDLVariableExtern* pDeck = ext("deck", "Deck");
    pDeck->setLocalFunctionID("Deck3");
    pDeck->setValue(PDLVariant(8));
    pDeck->reset();
    EXPECT_EQ("Deck3", pDeck->getLocalFunctionID());
    EXPECT_EQ(8, pDeck->getValue("", false).getInt());
    EXPECT_FALSE(pDeck->isChanged());
    // ... and an unconfigured one stays unconfigured.
    PDLVariableExtern* pBare = ext("bare", "Deck");
    pBare->reset();
    EXPECT_EQ("", pBare->getSubscribedFunctionID());
    // A one-slot child under it takes the parent's present slot.
    PDLVariableExtern* pFader = ext("fader", "Fader", pDeck);
    pFader->reset();
    EXPECT_EQ("PANEL.EXTVAR2.Deck3.Fader1", pFader->getSubscribedFunctionID());
    EXPECT_EQ("", logText());
    EXPECT_EQ(0u, newErrors());
    // An unknown delegation type is a counted error and stops before the parent is touched.
    PDLVariableExtern* pLonely = ext("lonely", "Mixer");
    PDLVariableExtern* pStray = ext("stray", "Turntable", pLonely);
    pStray->reset();
    EXPECT_EQ("\nERROR:\nExternal variable stray is of unknown delegation type Turntable\n\n", logText());
    EXPECT_EQ(1u, newErrors());
    EXPECT_EQ("", pStray->getLocalFunctionID());
    EXPECT_EQ("", pLonely->getLocalFunctionID());
}

TEST_F(ExternTest, DestructionUnsubscribes)
{
    PDLVariableExtern* pMoved = ext("moved", "Deck");
    pMoved->setLocalFunctionID("Deck1");
    pMoved->setLocalFunctionID("Deck2");
    PDLVariableExtern* pNested = ext("nested", "Fader", pMoved);
    pNested->setLocalFunctionID("Fader1");
    ext("idle", "Deck");
    size_t const entries = m_pState->getEntryCount();
    ASSERT_TRUE(m_pState->findStateEntry("PANEL.EXTVAR2.Deck2")->hasSubscribers());
    ASSERT_TRUE(m_pState->findStateEntry("PANEL.EXTVAR2.Deck2.Fader1")->hasSubscribers());
    m_externs.clear();
    // The entries stay, without subscribers; an unconfigured variable creates none on its way out.
    EXPECT_FALSE(m_pState->findStateEntry("PANEL.EXTVAR2.Deck1")->hasSubscribers());
    EXPECT_FALSE(m_pState->findStateEntry("PANEL.EXTVAR2.Deck2")->hasSubscribers());
    EXPECT_FALSE(m_pState->findStateEntry("PANEL.EXTVAR2.Deck2.Fader1")->hasSubscribers());
    EXPECT_EQ(entries, m_pState->getEntryCount());
    // So the state goes without reporting a leftover subscriber.
    PDLPanelState::destroyInstance();
    EXPECT_EQ(0, countInLog("with subscribers"));
    EXPECT_EQ(0u, newErrors());
}

TEST_F(ExternTest, AssignSlotRetargetsTheVariable)
{
    PDLVariableExtern* pDeck = declareExt("deck", "Deck");
    m_pScope->declare(simpleVar("which"))->setValue(PDLVariant("Deck4"));
    PDLEventManager::createInstance();
    PDLInterpreter::mutexTake();
    m_pState->setValueInt("PANEL.EXTVAR2.Deck2", 11);
    m_pState->setValueInt("PANEL.EXTVAR2.Deck4", 44);
    auto* pText = new FixedExpression(PDLVariant("Deck2"));
    EXPECT_TRUE(runHere(new PDLCommandAssignSlot(ref("deck"), pText)));
    // The source is read without a warning.
    EXPECT_FALSE(pText->m_lastWarn);
    EXPECT_EQ("Deck2", pDeck->getLocalFunctionID());
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.Deck2", pDeck));
    EXPECT_EQ(11, pDeck->getValue("", false).getInt());
    // The reset lowers the flag again, but the change was listed for the event engine already.
    EXPECT_EQ(Variables({pDeck}), PDLEventManager::getInstance()->getChangedVariables());
    // Any expression gives its text: a variable, read like any value, or a number.
    EXPECT_TRUE(runHere(new PDLCommandAssignSlot(ref("deck"), var("which"))));
    EXPECT_EQ("PANEL.EXTVAR2.Deck4", pDeck->getSubscribedFunctionID());
    EXPECT_FALSE(isSubscribed(m_pState, "PANEL.EXTVAR2.Deck2", pDeck));
    EXPECT_EQ(44, pDeck->getValue("", false).getInt());
    EXPECT_EQ(Registrations({{"which", false}}), m_pScope->m_registrations);
    EXPECT_TRUE(runHere(new PDLCommandAssignSlot(ref("deck"), num(3))));
    EXPECT_EQ("PANEL.EXTVAR2.3", pDeck->getSubscribedFunctionID());
    EXPECT_EQ("", logText());
    EXPECT_EQ(0u, newErrors());
    PDLInterpreter::mutexGive();
}

TEST_F(ExternTest, AssignSlotOnAOneSlotTypeKeepsTheDefault)
{
    PDLVariableExtern* pMixer = declareExt("mixer", "Mixer");
    m_pState->setValueInt("PANEL.EXTVAR2.Mixer1", 1);
    m_pState->setValueInt("PANEL.EXTVAR2.Mixer7", 7);
    // The slot is set, then the reset replaces it by the type's only slot.
    EXPECT_TRUE(runHere(new PDLCommandAssignSlot(ref("mixer"), str("Mixer7"))));
    EXPECT_EQ("Mixer1", pMixer->getLocalFunctionID());
    EXPECT_TRUE(isSubscribed(m_pState, "PANEL.EXTVAR2.Mixer1", pMixer));
    EXPECT_FALSE(m_pState->findStateEntry("PANEL.EXTVAR2.Mixer7")->hasSubscribers());
    EXPECT_EQ(1, pMixer->getValue("", false).getInt());
    EXPECT_EQ("", logText());
}

namespace
{
// Inside a running panel: the state's own notification path reaches the variable, and mapped reads
// go through the types of the executing module.
class ExternPanelTest : public CommandTest
{
protected:
    void SetUp() override
    {
        CommandTest::SetUp();
        installDriver();
        auto* pRows = new PDLMappedValueList();
        pRows->push_back(new PDLValMapping(PDLVariant("red"), values({PDLVariant(1)})));
        pRows->push_back(new PDLValMapping(PDLVariant("green"), values({PDLVariant(2)})));
        m_module.registerType(new PDLType("Colors", new std::vector<std::string>{"code"}, pRows));
        g_pCurrentModule = &m_module;
        m_pPanel.reset(new VirtualPanel);
        ASSERT_TRUE(m_pPanel->create(VirtualPanel::eModeHardware, ""));
        PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventMFDriver);
        pEvent->m_name = "ENTER";
        pEvent->m_pModule = &m_module;
        PDLEventManager::getInstance()->queueEvent(pEvent);
        PDLEventManager::getInstance()->executeEventQueue(false);
        ASSERT_EQ(&m_module, PDLEventManager::getInstance()->getCurrentModule());
        PDLPanelState::getInstance()->addDeviceDefinition(deviceType("Lamp", 2));
        m_log.str("");
    }
    void TearDown() override
    {
        m_pVariable.reset();
        // The start-up thread still holds the interpreter mutex.
        m_pPanel->releaseMutex();
        m_pPanel.reset();
        CommandTest::TearDown();
    }
    PDLModule m_module{nullptr, UniqueModuleID(3, 2, 1), 0, 0, nullptr, ""};
    std::unique_ptr<VirtualPanel> m_pPanel;
    std::unique_ptr<PDLVariableExtern> m_pVariable;
};
} // namespace

TEST_F(ExternPanelTest, StateChangesReachTheVariableThroughTheMainLoop)
{
    m_pVariable.reset(new PDLVariableExtern(&m_module, "Lamp", "Colors", "lamp", nullptr));
    m_pVariable->setLocalFunctionID("Lamp2");
    PDLPanelState* pState = PDLPanelState::getInstance();
    PDLEventManager* pManager = PDLEventManager::getInstance();
    // A writer from outside: nothing reaches the variable until the main loop's pass.
    pState->setStateValue("PANEL.EXTVAR3.Lamp2", "green");
    EXPECT_EQ(PDLVariant::eInvalid, m_pVariable->getValue("", false).getKind());
    pManager->generateStateEvents();
    EXPECT_EQ("green", m_pVariable->getValue("", false).getString());
    EXPECT_EQ(PDLVariant(2), m_pVariable->getValue("code", true));
    // The variable's own write is visible to the state's readers.
    m_pVariable->setValue(PDLVariant("red"));
    EXPECT_EQ("red", pState->getValueString("PANEL.EXTVAR3.Lamp2"));
    EXPECT_EQ(PDLVariant(1), m_pVariable->getValue("code", true));
    pManager->generateStateEvents();
    EXPECT_EQ("red", m_pVariable->getValue("", false).getString());
    EXPECT_EQ("", logText());
}
