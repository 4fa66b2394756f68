#include "core_command_helpers.h"

#include "pdldebugger.h"

#include <atomic>
#include <chrono>
#include <thread>

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

// IF x = 1 THEN r := "one" ELSIF x = 2 THEN r := "two" ELSE r := "other" END IF
PDLCommand* ifChain()
{
    return new PDLCommandIf(eq(var("x"), num(1)), block({assign("r", str("one"))}),
                            new PDLCommandIf(eq(var("x"), num(2)), block({assign("r", str("two"))}),
                                             block({assign("r", str("other"))})));
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

TEST_F(CommandTest, CommandsRegisterTheirLineButBlocksDoNot)
{
    PDLModule module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
    g_pCurrentModule = &module;
    PDLParseInfo::m_line = 12;
    std::unique_ptr<PDLCodeBlock> pBlock(new PDLCodeBlock());
    EXPECT_EQ(nullptr, module.getCommand(12));
    std::unique_ptr<PDLCommand> pExit(new PDLCommandExit());
    std::unique_ptr<PDLCommand> pPrint(print({num(1)}));
    EXPECT_EQ(pExit.get(), module.getCommand(12));
    PDLParseInfo::m_line = 13;
    std::unique_ptr<PDLCommand> pIf(new PDLCommandIf(new PDLConditionTrue(), new PDLCodeBlock(), nullptr));
    std::unique_ptr<PDLCommand> pDelay(new PDLCommandDelay(num(0)));
    EXPECT_EQ(pIf.get(), module.getCommand(13));
    EXPECT_EQ(13, pDelay->getLine());
    g_pCurrentModule = nullptr;
}

TEST_F(CommandTest, IfChainsTakeTheFirstBranchThatHolds)
{
    PDLVariableSimple* pX = m_context.declare(simpleVar("x"));
    m_context.declare(simpleVar("r"));
    PDLCommand* pChain = bound(ifChain());

    pX->setValue(PDLVariant(1));
    EXPECT_TRUE(pChain->execute());
    EXPECT_EQ("one", value("r").getString());
    pX->setValue(PDLVariant(2));
    EXPECT_TRUE(pChain->execute());
    EXPECT_EQ("two", value("r").getString());
    pX->setValue(PDLVariant(7));
    EXPECT_TRUE(pChain->execute());
    EXPECT_EQ("other", value("r").getString());
    // An Invalid is equal to nothing: the else part runs, after a warning from each condition.
    pX->setInvalid();
    EXPECT_TRUE(pChain->execute());
    EXPECT_EQ("other", value("r").getString());
    EXPECT_EQ(2, countInLog("WARNING:\nVariable x is invalid\n"));
    EXPECT_EQ(0u, newErrors());
    m_log.str("");

    // No else part and a false condition: nothing runs, and the code goes on.
    EXPECT_TRUE(
        run(new PDLCommandIf(new PDLConditionFalse(), new RecordingCommand(&m_journal, "then"), nullptr)));
    EXPECT_TRUE(m_journal.empty());

    // A false from either branch travels up.
    EXPECT_FALSE(run(new PDLCommandIf(new PDLConditionTrue(), new RecordingCommand(&m_journal, "then", false),
                                      new RecordingCommand(&m_journal, "else"))));
    EXPECT_FALSE(run(new PDLCommandIf(new PDLConditionFalse(), new RecordingCommand(&m_journal, "then"),
                                      new RecordingCommand(&m_journal, "else", false))));
    EXPECT_EQ(Texts({"then", "else"}), m_journal);

    // The condition reads through the command's flag; both branches are bound with it.
    auto* pThen = new RecordingCommand(&m_journal, "t");
    auto* pElse = new RecordingCommand(&m_journal, "e");
    m_context.m_registrations.clear();
    bound(new PDLCommandIf(eq(var("x"), num(0)), pThen, pElse));
    EXPECT_EQ(Registrations({{"x", false}}), m_context.m_registrations);
    EXPECT_EQ(1, pElse->m_bindings);
    bound(new PDLCommandIf(eq(var("r"), num(0)), new PDLCodeBlock(), nullptr), true);
    EXPECT_EQ(Registrations({{"x", false}}), m_context.m_registrations);
    EXPECT_EQ("", logText());
}

TEST_F(CommandTest, ControlCommandsWithMissingPartsReportAndStop)
{
    PDLCommand* pIf = bound(new PDLCommandIf(nullptr, nullptr, nullptr));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pCondition\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pIfCode\n"));
    EXPECT_FALSE(pIf->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pCondition\n"));

    PDLCommand* pWhile = bound(new PDLCommandWhile(new PDLConditionTrue(), nullptr));
    EXPECT_FALSE(pWhile->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pCode\n"));

    PDLCommand* pEvent = bound(new PDLCommandEvent(nullptr, block({})));
    EXPECT_FALSE(pEvent->execute());
    EXPECT_EQ(4, countInLog("FATAL:\nm_pCondition\n"));

    PDLCommand* pEmptyEvent = bound(new PDLCommandEvent(new PDLConditionTrue(), nullptr));
    EXPECT_FALSE(pEmptyEvent->execute());
    EXPECT_EQ(2, countInLog("FATAL:\nm_pCodeBlock\n"));
    EXPECT_EQ(9u, newErrors());
}

TEST_F(CommandTest, WhileRunsUntilItsConditionFails)
{
    m_context.declare(simpleVar("i"))->setValue(PDLVariant(0));
    m_context.declare(simpleVar("sum"))->setValue(PDLVariant(0));
    PDLCommand* pLoop = bound(new PDLCommandWhile(
        less(var("i"), num(5)),
        block({increment("i"), assign("sum", new PDLExpressionPlusOp(var("sum"), var("i")))})));
    EXPECT_TRUE(pLoop->execute());
    EXPECT_EQ(5, value("i").getInt());
    EXPECT_EQ(15, value("sum").getInt());
    // The condition fails at once: the body does not run.
    EXPECT_TRUE(pLoop->execute());
    EXPECT_EQ(15, value("sum").getInt());

    // Counting down.
    PDLCommand* pDown = bound(new PDLCommandWhile(less(num(0), var("i")), block({decrement("i")})));
    EXPECT_TRUE(pDown->execute());
    EXPECT_EQ(0, value("i").getInt());
    EXPECT_EQ("", logText());
}

TEST_F(CommandTest, ExitEndsTheLoopAndEverythingAroundIt)
{
    m_context.declare(simpleVar("i"))->setValue(PDLVariant(0));
    CoutCapture out;
    // WHILE TRUE: i++; IF i = 3 THEN EXIT END IF; PRINT i END WHILE; PRINT "after"
    PDLCommand* pHandler = bound(
        block({new PDLCommandWhile(
                   new PDLConditionTrue(),
                   block({increment("i"),
                          new PDLCommandIf(eq(var("i"), num(3)), block({new PDLCommandExit()}), nullptr),
                          print({var("i")})})),
               print({str("after")})}));
    EXPECT_FALSE(pHandler->execute());
    EXPECT_EQ(3, value("i").getInt());
    EXPECT_EQ("12", out.text());
    // An exit is no fault.
    EXPECT_EQ("", logText());
    EXPECT_EQ(0u, newErrors());

    EXPECT_FALSE(run(new PDLCommandExit()));
    EXPECT_EQ(0u, newErrors());
}

TEST_F(CommandTest, ForEachWalksTypesInDeclarationOrderAndSetsInKeyOrder)
{
    PDLModule module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
    module.registerType(
        new PDLType("Steps", values({PDLVariant("zeta"), PDLVariant("alpha"), PDLVariant("mid")})));
    g_pCurrentModule = &module;
    PDLVariableSimple* pItem = m_context.declare(simpleVar("item", eScopeLocal));
    PDLVariableSet* pBag = m_context.declare(setVar("bag", eScopeModule, "Steps"));
    for (int element : {10, 2, 1})
    {
        pBag->addValue(PDLVariant(element));
    }

    CoutCapture out;
    PDLCommand* pOverType = bound(new PDLCommandForEach("item", new PDLSetExpType("Steps", nullptr),
                                                        block({print({var("item"), str(";")})})));
    EXPECT_TRUE(pOverType->execute());
    // The loop variable now reads as the walked type; after the walk it keeps the last value.
    EXPECT_EQ("Steps", pItem->getTypeName());
    EXPECT_EQ("mid", pItem->getValue("", false).getString());
    pItem->reset();
    EXPECT_EQ("", pItem->getTypeName());

    PDLCommand* pOverSet = bound(new PDLCommandForEach("item", new PDLSetExpVariable(setRef("bag"), nullptr),
                                                       block({print({var("item"), str(";")})})));
    EXPECT_TRUE(pOverSet->execute());
    EXPECT_EQ("Steps", pItem->getTypeName());

    // A literal set has no type: the variable keeps the type it has.
    pItem->setTypeName("Other");
    PDLCommand* pOverLiteral =
        bound(new PDLCommandForEach("item", new PDLSetExpConstSet(values({PDLVariant("b"), PDLVariant("a")})),
                                    block({print({var("item")})})));
    EXPECT_TRUE(pOverLiteral->execute());
    EXPECT_EQ("Other", pItem->getTypeName());
    EXPECT_EQ("zeta;alpha;mid;1;10;2;ba", out.text());

    // An empty set runs nothing and leaves the variable alone.
    pItem->setValue(PDLVariant("kept"));
    m_journal.clear();
    EXPECT_TRUE(run(
        new PDLCommandForEach("item", new PDLSetExpConstSet(), new RecordingCommand(&m_journal, "body"))));
    EXPECT_TRUE(m_journal.empty());
    EXPECT_EQ("kept", pItem->getValue("", false).getString());
    EXPECT_EQ("", logText());
    g_pCurrentModule = nullptr;
}

TEST_F(CommandTest, ForEachStopsOnFalseAndSetsOnlyChangedValues)
{
    PDLVariableSimple* pItem = m_context.declare(simpleVar("item", eScopeLocal));
    m_context.declare(simpleVar("count"))->setValue(PDLVariant(0));

    // EXIT after the first element.
    PDLCommand* pFirstOnly =
        bound(new PDLCommandForEach("item", new PDLSetExpConstSet(values({PDLVariant(4), PDLVariant(5)})),
                                    block({increment("count"), new PDLCommandExit()})));
    EXPECT_FALSE(pFirstOnly->execute());
    EXPECT_EQ(1, value("count").getInt());
    EXPECT_EQ(4, pItem->getValue("", false).getInt());

    // An element equal to the present value keeps the old value, kind included.
    pItem->setValue(PDLVariant("7"));
    pItem->clearChangeFlag();
    EXPECT_TRUE(
        run(new PDLCommandForEach("item", new PDLSetExpConstSet(values({PDLVariant(7)})), block({}))));
    EXPECT_EQ(PDLVariant::eString, pItem->getValue("", false).getKind());
    EXPECT_FALSE(pItem->isChanged());
    EXPECT_TRUE(
        run(new PDLCommandForEach("item", new PDLSetExpConstSet(values({PDLVariant(8)})), block({}))));
    EXPECT_TRUE(pItem->isChanged());
    EXPECT_EQ(8, pItem->getValue("", false).getInt());

    // The body may grow the set it walks; the walk sees what lies ahead.
    PDLVariableSet* pSeen = m_context.declare(setVar("seen"));
    pSeen->addValue(PDLVariant("a"));
    PDLCommand* pGrow = bound(new PDLCommandForEach(
        "item", new PDLSetExpVariable(setRef("seen"), nullptr),
        block({new PDLCommandIf(
                   eq(var("item"), str("a")),
                   block({new PDLCommandAddToSet(setRef("seen"), new PDLSetExpSingleValue(str("b")))}),
                   nullptr),
               increment("count")})));
    EXPECT_TRUE(pGrow->execute());
    EXPECT_EQ(3, value("count").getInt());
    EXPECT_EQ("", logText());
}

TEST_F(CommandTest, ForEachNeedsALocalLoopVariable)
{
    m_context.declare(simpleVar("shared"));
    TestContext inner(&m_context, eScopeLocal);
    std::unique_ptr<PDLCommand> pLoop(
        new PDLCommandForEach("shared", new PDLSetExpConstSet(values({PDLVariant(1)})), new PDLCodeBlock()));
    // Declared above, but not in the loop's own scope.
    pLoop->setContext(&inner, false);
    EXPECT_EQ(1, countInLog("ERROR:\nundeclared local variable shared\n"));
    EXPECT_FALSE(pLoop->execute());
    EXPECT_EQ(1, countInLog("FATAL:\nm_pVariable\n"));

    PDLCommand* pBroken = bound(new PDLCommandForEach("nothing", nullptr, nullptr));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pSet\n"));
    EXPECT_EQ(1, countInLog("FATAL:\nm_pCode\n"));
    EXPECT_EQ(1, countInLog("ERROR:\nundeclared local variable nothing\n"));
    EXPECT_FALSE(pBroken->execute());
    EXPECT_EQ(6u, newErrors());
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

TEST_F(CommandTest, NestedCommandsStopAtTheirBreakpoints)
{
    m_context.declare(simpleVar("i"))->setValue(PDLVariant(0));
    m_context.declare(simpleVar("item", eScopeLocal));
    PDLParseInfo::m_filePath = rtk::Path("nested.pdl");
    PDLParseInfo::m_line = 21;
    PDLCommand* pIncrement = increment("i");
    PDLParseInfo::m_line = 22;
    PDLCommand* pExit = new PDLCommandExit();
    PDLParseInfo::m_line = 23;
    PDLCommand* pInEvent = new RecordingCommand(&m_journal, "handler");
    pIncrement->setBreakpoint(true);
    pExit->setBreakpoint(true);
    pInEvent->setBreakpoint(true);
    PDLCommand* pTree = bound(block(
        {new PDLCommandEvent(new PDLConditionTrue(), block({pInEvent})),
         new PDLCommandIf(new PDLConditionTrue(),
                          block({new PDLCommandWhile(less(var("i"), num(2)), block({pIncrement}))}), nullptr),
         new PDLCommandForEach("item", new PDLSetExpConstSet(values({PDLVariant(1), PDLVariant(2)})),
                               block({pExit}))}));

    // The shell's side: keeps releasing the stop until the tree has run.
    std::atomic<bool> done(false);
    std::thread releaser(
        [&done]
        {
            while (!done.load())
            {
                PDLDebugger::s_breakpoint.give();
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
    bool result = true;
    {
        CoutCapture out;
        result = pTree->execute();
        done = true;
        releaser.join();
        // Leave the stop signal standing, as an idle debugger has it, whatever the releaser's last turn.
        PDLDebugger::s_breakpoint.give();
        EXPECT_EQ("breakpoint hit at nested.pdl line 23\n"
                  "breakpoint hit at nested.pdl line 21\n"
                  "breakpoint hit at nested.pdl line 21\n"
                  "breakpoint hit at nested.pdl line 22\n",
                  out.text());
    }
    EXPECT_FALSE(result);
    EXPECT_EQ(2, value("i").getInt());
    EXPECT_EQ(Texts({"handler"}), m_journal);
}
