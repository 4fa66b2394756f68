// Extern variables' subscriptions to panel-state entries as slots change, nest and go away. Reads,
// writes, default slots, assignslot and the way back from the panel state are in the lang-extern
// scenario.

#include "core_command_helpers.h"

#include "pdlpanelstate.h"

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
    PDLModule m_module{nullptr, UniqueModuleID(2, 0, 1), 0, 0, nullptr, ""};
    PDLPanelState* m_pState = nullptr;
    std::vector<std::unique_ptr<PDLVariableExtern>> m_externs;
};
} // namespace

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
