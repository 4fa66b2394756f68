// Commands on hand-made trees, for what a script cannot show: a code block's stop and hand-over,
// what binding registers, reports of misuse, delay and unfold. The statements' results are in the
// scenarios lang-statements and lang-functions.

#include "core_command_helpers.h"

#include "pdlpanelstate.h"

#include <chrono>

namespace
{
using Texts = std::vector<std::string>;
void installGotoRecorder(std::vector<std::pair<PDLSequence*, std::string>>* pCalls);
std::vector<std::pair<PDLSequence*, std::string>>* g_pGotoCalls = nullptr;

void recordGoto(PDLSequence* pSequence, std::string const& state)
{
    g_pGotoCalls->emplace_back(pSequence, state);
}

void installGotoRecorder(std::vector<std::pair<PDLSequence*, std::string>>* pCalls)
{
    g_pGotoCalls = pCalls;
    PDLCodeBlock::setGotoStateHandler(pCalls != nullptr ? &recordGoto : nullptr);
}
} // namespace

TEST_F(CommandTest, CodeBlockRunsInOrderAndStopsAtTheFirstFalse)
{
    RecordingCommand* pFirst = new RecordingCommand(&m_journal, "a");
    RecordingCommand* pSecond = new RecordingCommand(&m_journal, "b", false);
    PDLCodeBlock* pBlock = bound(block({pFirst, nullptr, pSecond, new RecordingCommand(&m_journal, "c")}));
    // Null commands are not linked; every linked command was bound once, with the block's context.
    EXPECT_EQ(3u, pBlock->getCommands().size());
    EXPECT_EQ(1, pFirst->m_bindings);
    EXPECT_EQ(&m_context, pSecond->getContext());
    EXPECT_FALSE(pBlock->execute());
    EXPECT_EQ(Texts({"a", "b"}), m_journal);
    m_journal.clear();
    EXPECT_TRUE(run(block({new RecordingCommand(&m_journal, "x"), new RecordingCommand(&m_journal, "y")})));
    EXPECT_EQ(Texts({"x", "y"}), m_journal);
    EXPECT_TRUE(run(block({})));
    EXPECT_EQ("", logText());
    // The block's flag goes to its commands.
    RecordingCommand* pInner = new RecordingCommand(&m_journal, "i");
    bound(block({pInner}), true);
    EXPECT_TRUE(pInner->getNoEventRegistration());
    // A block that was never bound does not run.
    PDLCodeBlock loose;
    loose.addCommand(new RecordingCommand(&m_journal, "never"));
    m_journal.clear();
    EXPECT_FALSE(loose.execute());
    EXPECT_TRUE(m_journal.empty());
    EXPECT_EQ("\nFATAL:\nm_pContext\n\n", logText());
    EXPECT_EQ(1u, newErrors());
}

TEST_F(CommandTest, CodeBlockHandsOverToAnotherStateAfterItsCommands)
{
    std::vector<std::pair<PDLSequence*, std::string>> calls;
    installGotoRecorder(&calls);
    int anySequence = 0;
    PDLSequence* pSequence = reinterpret_cast<PDLSequence*>(&anySequence);
    // Without a sequence there is no state to go to.
    PDLCodeBlock* pWidgetBlock = bound(block({new RecordingCommand(&m_journal, "w")}));
    pWidgetBlock->setGotoState("RUN");
    EXPECT_FALSE(pWidgetBlock->execute());
    EXPECT_EQ(Texts({"w"}), m_journal);
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(1, countInLog("FATAL:\ncurseq\n"));
    EXPECT_EQ(1u, newErrors());
    m_context.m_pSequence = pSequence;
    PDLCodeBlock* pState = bound(block({new RecordingCommand(&m_journal, "s")}));
    pState->setGotoState("RUN");
    EXPECT_EQ("RUN", pState->getGotoState());
    // The hand-over ends the code that runs: the block answers false.
    EXPECT_FALSE(pState->execute());
    ASSERT_EQ(1u, calls.size());
    EXPECT_EQ(pSequence, calls[0].first);
    EXPECT_EQ("RUN", calls[0].second);
    // An exit before the end skips the hand-over.
    PDLCodeBlock* pLeft = bound(block({new PDLCommandExit(), new RecordingCommand(&m_journal, "after")}));
    pLeft->setGotoState("EXIT");
    m_journal.clear();
    EXPECT_FALSE(pLeft->execute());
    EXPECT_TRUE(m_journal.empty());
    EXPECT_EQ(1u, calls.size());
    EXPECT_EQ(1u, newErrors());
    installGotoRecorder(nullptr);
}

TEST_F(CommandTest, EventBlocksRunWhenTheirConditionHolds)
{
    PDLVariableSimple* pTrigger = m_context.declare(simpleVar("trigger"));
    pTrigger->setValue(PDLVariant("IDLE"));
    m_context.declare(simpleVar("other"))->setValue(PDLVariant(1));
    m_context.declare(simpleVar("hits"))->setValue(PDLVariant(0));
    // The condition registers the owner for its variables; the handler's reads do not.
    PDLCommand* pEvent = bound(
        new PDLCommandEvent(eq(var("trigger"), str("PRESS")),
                            block({assign("hits", new PDLExpressionPlusOp(var("hits"), var("other")))})));
    EXPECT_EQ(Registrations({{"trigger", false}}), m_context.m_registrations);
    EXPECT_TRUE(pEvent->execute());
    EXPECT_EQ(0, value("hits").getInt());
    pTrigger->setValue(PDLVariant("PRESS"));
    EXPECT_TRUE(pEvent->execute());
    EXPECT_TRUE(pEvent->execute());
    EXPECT_EQ(2, value("hits").getInt());
    // Bound without registration, the condition registers nothing either.
    m_context.m_registrations.clear();
    bound(new PDLCommandEvent(eq(var("trigger"), str("X")), block({})), true);
    EXPECT_TRUE(m_context.m_registrations.empty());
    // An exit deep inside the handler ends it and everything above.
    m_journal.clear();
    PDLCommand* pOuter =
        bound(block({new PDLCommandEvent(
                         new PDLConditionTrue(),
                         block({new PDLCommandWhile(new PDLConditionTrue(), block({new PDLCommandExit()})),
                                new RecordingCommand(&m_journal, "in handler")})),
                     new RecordingCommand(&m_journal, "after handler")}));
    EXPECT_FALSE(pOuter->execute());
    EXPECT_TRUE(m_journal.empty());
    EXPECT_EQ("", logText());
}

namespace
{
Texts keys(PDLVariableSet const* pSet)
{
    Texts texts;
    for (auto const& element : pSet->getElements())
    {
        texts.push_back(element.first);
    }
    return texts;
}

class CommandStateTest : public CommandTest
{
protected:
    void TearDown() override
    {
        CommandTest::TearDown();
        if (PDLPanelState::hasInstance())
        {
            PDLPanelState::destroyInstance();
        }
    }
};
} // namespace

TEST_F(CommandTest, AssignBindingResolvesWithoutRegisteringTheTarget)
{
    m_context.declare(simpleVar("target"));
    m_context.declare(simpleVar("source"));
    m_context.declare(simpleVar("idx"));
    m_context.declare(arrayVar("row"));
    bound(assign("target", var("source")));
    EXPECT_EQ(Registrations({{"source", false}}), m_context.m_registrations);
    // The source follows the command's flag; the index always registers.
    m_context.m_registrations.clear();
    bound(assign("row", var("source"), var("idx")), true);
    EXPECT_EQ(Registrations({{"idx", false}}), m_context.m_registrations);
    EXPECT_EQ("", logText());
    // Unknown names are reported by the scope; running without the variable stops the code.
    PDLCommand* pUnknown = bound(assign("nope", num(1)));
    EXPECT_EQ("\nERROR:\nundeclared variable nope\n\n", logText());
    EXPECT_FALSE(pUnknown->execute());
    EXPECT_EQ(1, countInLog("FATAL:\nm_pVariable\n"));
    PDLCommand* pEmpty = bound(new PDLCommandAssign(nullptr, nullptr));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pProtoVariable\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pExpression\n"));
    EXPECT_FALSE(pEmpty->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pProtoVariable\n"));
    EXPECT_EQ(5u, newErrors());
}

TEST_F(CommandTest, AssignToReadOnlyVariablesIsRefusedAtBinding)
{
    PDLVariableSimple* pFixed =
        m_context.declare(new PDLVariableSimple(eScopeModule, "", "fixed", true, true, false, false));
    PDLCommand* pAssign = bound(assign("fixed", num(5)));
    EXPECT_EQ("\nERROR:\ncannot assign to read-only variable\n\n", logText());
    EXPECT_EQ(1u, newErrors());
    // Run anyway, the write lands but raises no change.
    EXPECT_TRUE(pAssign->execute());
    EXPECT_EQ(5, pFixed->getValue("", false).getInt());
    EXPECT_FALSE(pFixed->isChanged());
    EXPECT_EQ(1u, newErrors());
}

TEST_F(CommandTest, SetCommandsReadTheirSourceLikeAValue)
{
    PDLVariableSet* pBag = m_context.declare(setVar("bag"));
    PDLVariableSet* pOther = m_context.declare(setVar("other"));
    m_context.declare(simpleVar("v"))->setValue(PDLVariant(7));
    pOther->addValue(PDLVariant("x"));
    pBag->addValue(PDLVariant("old"));
    EXPECT_TRUE(run(new PDLCommandSetAssign(setRef("bag"), new PDLSetExpVariable(setRef("other"), nullptr))));
    EXPECT_EQ(Texts({"x"}), keys(pBag));
    // The source registers, the target does not; the element expression follows the command's flag.
    EXPECT_EQ(Registrations({{"other", false}}), m_context.m_registrations);
    m_context.m_registrations.clear();
    bound(new PDLCommandAddToSet(setRef("bag"), new PDLSetExpSingleValue(var("v"))), true);
    EXPECT_TRUE(m_context.m_registrations.empty());
    bound(new PDLCommandRemoveFromSet(setRef("bag"), new PDLSetExpSingleValue(var("v"))));
    EXPECT_EQ(Registrations({{"v", false}}), m_context.m_registrations);
    // A single Invalid goes in under the empty key.
    EXPECT_TRUE(run(new PDLCommandAddToSet(setRef("bag"), new PDLSetExpSingleValue(invalid()))));
    EXPECT_EQ(Texts({"", "x"}), keys(pBag));
    EXPECT_EQ("", logText());
    // On a simple variable the variable reports the misuse; an unknown set stops the code.
    m_context.declare(simpleVar("single"));
    EXPECT_TRUE(run(new PDLCommandSetAssign(ref("single"), new PDLSetExpConstSet())));
    EXPECT_EQ("\nFATAL:\nPDLVariable::clearAllValues(): base class version called\n\n", logText());
    PDLCommand* pUnknown = bound(new PDLCommandRemoveFromSet(setRef("ghost"), new PDLSetExpConstSet()));
    EXPECT_FALSE(pUnknown->execute());
    EXPECT_EQ(1, countInLog("ERROR:\nundeclared variable ghost\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pVariable\n"));
    EXPECT_EQ(3u, newErrors());
}

TEST_F(CommandTest, DelaySleepsTheGivenMilliseconds)
{
    auto* pDuration = new FixedExpression(PDLVariant("40"));
    PDLCommand* pDelay = bound(new PDLCommandDelay(pDuration));
    auto const start = std::chrono::steady_clock::now();
    EXPECT_TRUE(pDelay->execute());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
    // The duration is read with warnings.
    EXPECT_TRUE(pDuration->m_lastWarn);
    // Nothing to sleep on: no digits, Invalid, negative.
    EXPECT_TRUE(run(new PDLCommandDelay(str("soon"))));
    EXPECT_TRUE(run(new PDLCommandDelay(invalid())));
    EXPECT_TRUE(run(new PDLCommandDelay(num(-5))));
    EXPECT_EQ("", logText());
}

TEST_F(CommandStateTest, UnfoldPublishesTheSelectionBeneathTheId)
{
    PDLPanelState* pState = PDLPanelState::createInstance();
    pState->setValueString("MIX.SEL", "3");
    m_context.declare(simpleVar("part"))->setValue(PDLVariant("SEL"));
    EXPECT_TRUE(run(new PDLCommandUnfold(list({new PDLExpressionIdentifier("MIX"), var("part")}))));
    EXPECT_EQ(PDLVariant::eBool, pState->getValue("MIX.SEL.3", false).getKind());
    EXPECT_TRUE(pState->getValue("MIX.SEL.3", false).getBool());
    EXPECT_EQ(Registrations({{"part", false}}), m_context.m_registrations);
    // An Invalid id unfolds nothing.
    size_t const entries = pState->getEntryCount();
    EXPECT_TRUE(run(new PDLCommandUnfold(list({str("MIX"), invalid()}))));
    EXPECT_EQ(entries, pState->getEntryCount());
    EXPECT_EQ("", logText());
    PDLCommand* pNothing = bound(new PDLCommandUnfold(nullptr));
    EXPECT_FALSE(pNothing->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pFunctionId\n"));
    EXPECT_EQ(2u, newErrors());
}
