#include "core_widget_helpers.h"

namespace
{
using Texts = std::vector<std::string>;

class SequenceTest : public ModuleCodeTest
{
protected:
    // A sequence for number 7 of the module, bound as the module's loading does.
    PDLSequence* sequence(std::vector<std::string>* pStartEvents, PDLCondition* pWhen,
                          PDLSequenceStateList* pStates, PDLVariableList* pLocals = nullptr)
    {
        m_sequences.emplace_back(
            new PDLSequence(m_pModule.get(), "key", 7u, pStartEvents, pWhen, pLocals, pStates));
        m_sequences.back()->init();
        return m_sequences.back().get();
    }

    // A state block that journals its runs and may end in a goto.
    PDLCodeBlock* state(std::string const& label, std::string const& gotoState = "")
    {
        PDLCodeBlock* pBlock = block({new RecordingCommand(&m_journal, label), probe()});
        pBlock->setGotoState(gotoState);
        return pBlock;
    }

    PDLSequenceStateList* states(std::initializer_list<std::pair<std::string, PDLCodeBlock*>> entries)
    {
        auto* pList = new PDLSequenceStateList();
        for (auto const& entry : entries)
        {
            pList->addState(entry.first, entry.second);
        }
        return pList;
    }

    static std::vector<std::string>* names(std::initializer_list<std::string> texts)
    {
        return new std::vector<std::string>(texts);
    }
};
} // namespace

TEST_F(SequenceTest, TheStartEventArrivesTwice)
{
    PDLSequence* pSequence = sequence(names({"DOWN"}), new PDLConditionTrue(),
                                      states({{"INIT", state("init")}, {"RUN", state("run")}}));
    EXPECT_EQ(std::list<uint32_t>({7}), pSequence->getWidgetIDs());
    EXPECT_FALSE(pSequence->isRunning());

    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    EXPECT_TRUE(pSequence->start(&down));
    EXPECT_TRUE(pSequence->isRunning());
    // First as "ENTER" in INIT; the number is set, the entry event carries none.
    EXPECT_EQ(Texts({"init", "7:ENTER:7"}), m_journal);
    EXPECT_EQ(nullptr, pSequence->getCurrentEvent());

    m_journal.clear();
    EXPECT_TRUE(pSequence->execute(&down));
    EXPECT_EQ(Texts({"init", "7:DOWN:7"}), m_journal);
    EXPECT_EQ(&down, pSequence->getCurrentEvent());
    EXPECT_EQ(nullptr, PDLRunTimeInfo::s_pCurrentContext);
    EXPECT_EQ(0u, newErrors());
}

TEST_F(SequenceTest, StartListDecidesOnlyWhileIdle)
{
    PDLSequence* pSequence =
        sequence(names({"DOWN"}), new PDLConditionTrue(), states({{"INIT", state("init", "")}}));
    PDLEvent const up = event(PDLEvent::eEventWidget, 7, "UP");
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    EXPECT_FALSE(pSequence->start(&up));
    EXPECT_FALSE(pSequence->isRunning());
    EXPECT_TRUE(m_journal.empty());

    EXPECT_TRUE(pSequence->start(&down));
    m_journal.clear();
    EXPECT_TRUE(pSequence->execute(&up));
    EXPECT_EQ(Texts({"init", "7:UP:7"}), m_journal);

    // Names are compared exactly; kinds above variable events never start.
    EXPECT_FALSE(pSequence->evaluateStartEvent(&up));
    PDLEvent const lower = event(PDLEvent::eEventWidget, 7, "down");
    EXPECT_FALSE(pSequence->evaluateStartEvent(&lower));
    PDLEvent const variable = event(PDLEvent::eEventVariable, 0, "DOWN");
    EXPECT_TRUE(pSequence->evaluateStartEvent(&variable));
    PDLEvent const init(PDLEvent::eEventInit);
    EXPECT_FALSE(pSequence->evaluateStartEvent(&init));
    PDLEvent const stateChange = event(PDLEvent::eEventState, 7, "DOWN");
    EXPECT_FALSE(pSequence->evaluateStartEvent(&stateChange));

    // Without a list any widget event starts, no variable event does; an empty list starts nothing.
    PDLSequence* pAny = sequence(nullptr, new PDLConditionTrue(), states({{"INIT", state("any")}}));
    EXPECT_TRUE(pAny->evaluateStartEvent(&up));
    EXPECT_FALSE(pAny->evaluateStartEvent(&variable));
    PDLSequence* pNone = sequence(names({}), new PDLConditionTrue(), states({{"INIT", state("none")}}));
    EXPECT_FALSE(pNone->evaluateStartEvent(&down));
}

TEST_F(SequenceTest, AFallingGuardCancelsAtTheNextEvent)
{
    // WHEN GET enable = 1
    PDLSequence* pSequence = sequence(nullptr, eq(get({str("enable")}), num(1)),
                                      states({{"INIT", state("init")}, {"CANCEL", state("cancel")}}));
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");

    // A false guard keeps it idle.
    m_pState->setValueInt("enable", 0);
    EXPECT_FALSE(pSequence->start(&down));
    EXPECT_TRUE(m_journal.empty());
    // The guard's read subscribed the sequence, under number 0.
    EXPECT_TRUE(isSubscribed("enable", pSequence, 0));

    m_pState->setValueInt("enable", 1);
    EXPECT_TRUE(pSequence->start(&down));
    EXPECT_TRUE(pSequence->execute(&down));
    m_journal.clear();

    // Nothing happens until the next event, which the sequence does not see as itself.
    m_pState->setValueInt("enable", 0);
    EXPECT_TRUE(pSequence->isRunning());
    EXPECT_TRUE(m_journal.empty());
    PDLEvent const up = event(PDLEvent::eEventWidget, 7, "UP");
    EXPECT_FALSE(pSequence->execute(&up));
    EXPECT_FALSE(pSequence->isRunning());
    EXPECT_EQ(Texts({"cancel", "7:ENTER:7"}), m_journal);
    EXPECT_TRUE(isSubscribed("enable", pSequence, 0));

    // Without a CANCEL state the end is quiet.
    PDLSequence* pBare =
        sequence(nullptr, eq(get({str("enable")}), num(1)), states({{"INIT", state("bare")}}));
    m_pState->setValueInt("enable", 1);
    EXPECT_TRUE(pBare->start(&down));
    m_pState->setValueInt("enable", 0);
    EXPECT_FALSE(pBare->execute(&down));
    EXPECT_EQ(0u, newErrors());

    m_sequences.clear();
    EXPECT_TRUE(subscribers("enable").empty());
}

TEST_F(SequenceTest, GotoMovesBetweenStatesAndExitEnds)
{
    PDLCodeBlock* pRun = state("run");
    PDLSequence* pSequence =
        sequence(nullptr, new PDLConditionTrue(),
                 states({{"INIT", state("init", "RUN")}, {"RUN", pRun}, {"EXIT", state("exit")}}));
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    EXPECT_TRUE(pSequence->start(&down));
    EXPECT_EQ(Texts({"init", "7:ENTER:7", "run", "7:ENTER:7"}), m_journal);
    EXPECT_EQ(pRun, pSequence->getCurrentState());

    m_journal.clear();
    EXPECT_TRUE(pSequence->execute(&down));
    EXPECT_EQ(Texts({"run", "7:DOWN:7"}), m_journal);

    // A goto of the event's own pass hands over: the next event finds the new state.
    m_journal.clear();
    EXPECT_FALSE(pSequence->gotoState("EXIT"));
    EXPECT_FALSE(pSequence->isRunning());
    EXPECT_EQ(Texts({"exit", "7:ENTER:7"}), m_journal);

    // Idle: a goto does nothing.
    m_journal.clear();
    EXPECT_FALSE(pSequence->gotoState("RUN"));
    EXPECT_TRUE(m_journal.empty());

    // "goto EXIT" in INIT on entry: the sequence never runs.
    PDLSequence* pShort =
        sequence(nullptr, new PDLConditionTrue(), states({{"INIT", state("short", "EXIT")}}));
    EXPECT_FALSE(pShort->start(&down));
    EXPECT_FALSE(pShort->isRunning());
    EXPECT_EQ(Texts({"short", "7:ENTER:7"}), m_journal);
    EXPECT_EQ(0u, newErrors());
}

TEST_F(SequenceTest, UnknownStatesAndDuplicatesAreReported)
{
    // State names are case-sensitive: "exit" is not EXIT.
    PDLSequence* pSequence =
        sequence(nullptr, new PDLConditionTrue(), states({{"INIT", state("init", "exit")}}));
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    // INIT itself was entered; its failed goto leaves the sequence marked running.
    EXPECT_TRUE(pSequence->start(&down));
    EXPECT_EQ(1, countInLog("\nstate exit not found\n\n"));
    EXPECT_EQ(1, countInLog("ERROR:"));
    EXPECT_EQ(1u, newErrors());
    // It stays marked running, without a state: the next event fails.
    EXPECT_TRUE(pSequence->isRunning());
    EXPECT_EQ(nullptr, pSequence->getCurrentState());
    m_journal.clear();
    EXPECT_FALSE(pSequence->execute(&down));
    EXPECT_EQ(1, countInLog("\nm_pCurrentState\n\n"));
    EXPECT_TRUE(m_journal.empty());
    EXPECT_FALSE(pSequence->gotoState("NOWHERE"));
    EXPECT_EQ(1, countInLog("\nstate NOWHERE not found\n\n"));

    m_log.str("");
    PDLSequenceStateList list;
    PDLCodeBlock* pFirst = state("first");
    list.addState("RUN", pFirst);
    list.addState("RUN", state("second"));
    EXPECT_EQ(1, countInLog("\nduplicate state name RUN\n\n"));
    EXPECT_EQ(4u, newErrors());
    EXPECT_EQ(pFirst, list.getState("RUN"));
    EXPECT_EQ(nullptr, list.getState("run"));
    EXPECT_EQ(1u, list.getStates().size());
}

TEST_F(SequenceTest, GuardReadsBindToTheSequenceStateReadsDoNot)
{
    PDLVariable* pGuardVar = declare("armed");
    PDLVariable* pBlockVar = declare("level");
    PDLVariable* pStartVar = declare("go");
    declare("r");
    // WHEN $armed = 1 AND GET guard = 1; the state reads $level, GET other and ON DEV.1
    PDLCodeBlock* pRun =
        block({probe(), assign("r", var("level")), assign("r", get({str("other")})),
               new PDLCommandEvent(new PDLConditionEvent(list({word("DEV"), num(1)})), block({}))});
    PDLSequence* pSequence = sequence(
        names({"go"}), new PDLConditionAnd(eq(var("armed"), num(1)), eq(get({str("guard")}), num(1))),
        states({{"INIT", pRun}}));
    EXPECT_EQ(1u, pGuardVar->getSequences().count(pSequence));
    EXPECT_TRUE(pBlockVar->getSequences().empty());
    EXPECT_TRUE(pBlockVar->getSequencesSeparate().empty());
    // A start event that names a variable: its every change is an event for the sequence.
    EXPECT_EQ(1u, pStartVar->getSequencesSeparate().count(pSequence));

    pGuardVar->setValue(PDLVariant(1));
    m_pState->setValueInt("guard", 1);
    PDLEvent const change = event(PDLEvent::eEventVariable, 0, "go");
    EXPECT_TRUE(pSequence->start(&change));
    EXPECT_TRUE(isSubscribed("guard", pSequence, 0));
    EXPECT_TRUE(isSubscribed("DEV.1", pSequence, 0));
    // A state read of the panel state does not subscribe a sequence.
    EXPECT_TRUE(subscribers("other").empty());

    EXPECT_TRUE(pSequence->execute(&change));
    EXPECT_EQ(std::set<std::string>({"DEV.1", "guard"}), pSequence->getActiveFIDs());

    // An explicit event read registers even in a state block; a plain one does not.
    pSequence->registerForVariableEvent("level", false);
    EXPECT_TRUE(pBlockVar->getSequences().empty());
    pSequence->registerForVariableEvent("level", true);
    EXPECT_EQ(1u, pBlockVar->getSequencesSeparate().count(pSequence));
    m_log.str("");
    pSequence->registerForVariableEvent("missing", true);
    EXPECT_EQ(1, countInLog("\npVariable\n\n"));

    m_sequences.clear();
    EXPECT_TRUE(pGuardVar->getSequences().empty());
    EXPECT_TRUE(pStartVar->getSequencesSeparate().empty());
    EXPECT_TRUE(pBlockVar->getSequencesSeparate().empty());
    EXPECT_TRUE(subscribers("guard").empty());
    EXPECT_TRUE(subscribers("DEV.1").empty());
}

TEST_F(SequenceTest, PassSubscriptionsAreRenewedOrDropped)
{
    declare("r");
    // INIT: IF $r = 1 THEN ON DEV.2 DO END END IF: a composed event read in a branch
    PDLCodeBlock* pRun = block({new PDLCommandIf(
        eq(var("r"), num(1)),
        block({new PDLCommandEvent(new PDLConditionEvent(list({word("DEV"), num(2)})), block({}))}),
        nullptr)});
    PDLSequence* pSequence = sequence(nullptr, new PDLConditionTrue(), states({{"INIT", pRun}}));
    m_pModule->getVariable("r", false, false)->setValue(PDLVariant(1));
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    EXPECT_TRUE(pSequence->start(&down));
    EXPECT_TRUE(pSequence->execute(&down));
    EXPECT_TRUE(isSubscribed("DEV.2", pSequence, 0));

    m_pModule->getVariable("r", false, false)->setValue(PDLVariant(0));
    EXPECT_TRUE(pSequence->execute(&down));
    EXPECT_FALSE(isSubscribed("DEV.2", pSequence, 0));
    EXPECT_TRUE(pSequence->getActiveFIDs().empty());
}

TEST_F(SequenceTest, MacroTraceAndLogFollowTheWidgetsForm)
{
    installMacroSystem();
    PDLSequence* pSequence =
        sequence(nullptr, new PDLConditionTrue(),
                 states({{"INIT", block({probe("macro_level"), assign("macro_level", str("SEQ"))})}}));
    uint32_t const id7 = UniqueWidgetID(1, 2, 3, 7).getValue();
    m_macros.m_levels[id7] = "BASE";
    rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(7);
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    PDLEvent const change = event(PDLEvent::eEventVariable, 7, "volume");
    {
        CoutCapture capture;
        // The entry run does not go through the macro system.
        EXPECT_TRUE(pSequence->start(&down));
        EXPECT_EQ(Texts({"7:ENTER:?"}), m_journal);
        EXPECT_TRUE(m_macros.m_gets.empty());
        pSequence->setTrace(7, true);
        EXPECT_TRUE(pSequence->execute(&down));
        EXPECT_TRUE(pSequence->execute(&change));
        pSequence->setTrace(7, false);
        EXPECT_TRUE(pSequence->execute(&down));
        EXPECT_EQ("keys.pdl(12): Sequence   1 /   2 /   3 /      7 DOWN\n"
                  "keys.pdl(12): Sequence   1 /   2 /   3 /      7 VARCHANGE volume\n",
                  capture.text());
    }
    EXPECT_EQ(Texts({"7:ENTER:?", "7:DOWN:BASE", "7:volume:SEQ", "7:DOWN:SEQ"}), m_journal);
    ASSERT_EQ(1u, m_macros.m_sets.size());
    EXPECT_EQ(std::make_pair(id7, std::string("SEQ")), m_macros.m_sets[0]);

    EXPECT_EQ(1, countInLog("  start seq 1/2/3/7 (keys.pdl:12)"));
    EXPECT_EQ(3, countInLog("  exec seq  1 / 2/3/7 (keys.pdl:12)"));
}

TEST_F(SequenceTest, StateChangesBecomeEventsForTheSequence)
{
    PDLSequence* pSequence = sequence(nullptr, new PDLConditionTrue(), states({{"INIT", state("init")}}));
    EXPECT_EQ(pSequence, pSequence->getSequence());
    EXPECT_EQ(eScopeLocal, pSequence->getScope());
    EXPECT_EQ("1.2.3.0 (keys.pdl.12)", pSequence->getDescription(0));

    std::unique_ptr<PDLEvent> pState(pSequence->makeEvent(0));
    EXPECT_EQ(PDLEvent::eEventState, pState->m_type);
    EXPECT_EQ("STATE", pState->m_name);
    EXPECT_EQ(0u, pState->m_widgetID);
    EXPECT_EQ(m_pModule.get(), pState->m_pModule);
    EXPECT_EQ(pSequence, pState->m_pSequence);
    EXPECT_EQ(nullptr, pState->m_pWidget);

    std::unique_ptr<PDLEvent> pTrigger(pSequence->makeTriggerEvent(0, "DEV.1", "x"));
    EXPECT_EQ(PDLEvent::eEventMFDriver, pTrigger->m_type);
    EXPECT_EQ("DEV.1", pTrigger->m_name);
    EXPECT_EQ("x", pTrigger->m_strValue);
    EXPECT_EQ(pSequence, pTrigger->m_pSequence);

    // Missing guard and states are reported when bound.
    m_log.str("");
    std::unique_ptr<PDLSequence> pEmpty(
        new PDLSequence(m_pModule.get(), "key", 7u, nullptr, nullptr, nullptr, nullptr));
    pEmpty->init();
    EXPECT_EQ(1, countInLog("\nm_pWhenCondition\n\n"));
    EXPECT_EQ(1, countInLog("\nm_pStateList\n\n"));
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    EXPECT_FALSE(pEmpty->start(&down));
}
