#include "core_widget_helpers.h"

namespace
{
using Texts = std::vector<std::string>;

class WidgetTest : public ModuleCodeTest
{
};

// IF GET b = 1 THEN r := GET a END IF
PDLCodeBlock* readAIfB()
{
    return block(
        {new PDLCommandIf(eq(get({str("b")}), num(1)), block({assign("r", get({str("a")}))}), nullptr)});
}
} // namespace

TEST_F(WidgetTest, ATypeWidgetRunsOncePerNumberForVariableAndInitEvents)
{
    registerType("KEYS", {PDLVariant(4), PDLVariant(7), PDLVariant(9)});
    PDLWidget* pWidget = bind(widget("KEYS", block({probe()})));
    EXPECT_EQ(std::list<uint32_t>({4, 7, 9}), pWidget->getWidgetIDs());
    EXPECT_EQ(0u, newErrors());

    PDLEvent const press = event(PDLEvent::eEventWidget, 7, "PRESS");
    pWidget->execute(&press);
    EXPECT_EQ(Texts({"7:PRESS:7"}), m_journal);
    // The event stays the widget's current one; the run-time pointers are cleared.
    EXPECT_EQ(&press, pWidget->getCurrentEvent());
    EXPECT_EQ(7u, pWidget->getExecWidgetID());
    EXPECT_EQ(nullptr, PDLRunTimeInfo::s_pCurrentContext);

    m_journal.clear();
    PDLEvent const change = event(PDLEvent::eEventVariable, 0, "v");
    pWidget->execute(&change);
    EXPECT_EQ(Texts({"4:v:4", "7:v:7", "9:v:9"}), m_journal);
    EXPECT_EQ(9u, pWidget->getExecWidgetID());

    m_journal.clear();
    PDLEvent const init(PDLEvent::eEventInit);
    pWidget->execute(&init);
    EXPECT_EQ(Texts({"4:INIT:4", "7:INIT:7", "9:INIT:9"}), m_journal);

    // Driver and state events name their number, whichever it is.
    m_journal.clear();
    PDLEvent const trigger = event(PDLEvent::eEventMFDriver, 9, "DEV.1");
    PDLEvent const state = event(PDLEvent::eEventState, 4, "STATE");
    pWidget->execute(&trigger);
    pWidget->execute(&state);
    EXPECT_EQ(Texts({"9:DEV.1:9", "4:STATE:4"}), m_journal);

    m_journal.clear();
    PDLEvent const setVar = event(PDLEvent::eEventSetVar, 7, "x");
    pWidget->execute(&setVar);
    EXPECT_TRUE(m_journal.empty());
    EXPECT_EQ(1, countInLog("\nunknown event type\n\n"));

    m_log.str("");
    pWidget->execute(nullptr);
    EXPECT_EQ(1, countInLog("\nEvent\n\n"));
    EXPECT_TRUE(m_journal.empty());
}

TEST_F(WidgetTest, BadNumbersAreReportedAndTheRestIsKept)
{
    registerType("MIXED", {PDLVariant(3), PDLVariant(0), PDLVariant("abc"), PDLVariant(5)});
    PDLWidget* pMixed = widget("MIXED", block({probe()}));
    EXPECT_EQ(std::list<uint32_t>({3, 5}), pMixed->getWidgetIDs());
    EXPECT_EQ(2, countInLog("\nNon-numeric or zero Widget ID\n\n"));
    EXPECT_EQ(2u, newErrors());

    m_log.str("");
    EXPECT_TRUE(widget("NOPE", block({}))->getWidgetIDs().empty());
    EXPECT_EQ(1, countInLog("\nUnknown type NOPE\n\n"));
    EXPECT_EQ(3u, newErrors());

    // A zero number leaves a widget that never runs.
    m_log.str("");
    PDLWidget* pZero = bind(widget(0u, block({probe()})));
    EXPECT_TRUE(pZero->getWidgetIDs().empty());
    EXPECT_EQ(1, countInLog("\nNon-numeric or zero Widget ID\n\n"));
    PDLEvent const change = event(PDLEvent::eEventVariable, 0, "v");
    pZero->execute(&change);
    EXPECT_TRUE(m_journal.empty());

    m_log.str("");
    PDLWidget* pNoCode = widget(8u, nullptr);
    EXPECT_EQ(1, countInLog("\nm_pWidgetCode\n\n"));
    EXPECT_EQ(1, countInLog("FATAL:"));
    // Every missing part of a run is named.
    m_log.str("");
    pNoCode->execute(nullptr);
    EXPECT_EQ(1, countInLog("\nm_pWidgetCode\n\n"));
    EXPECT_EQ(1, countInLog("\nEvent\n\n"));

    m_log.str("");
    std::unique_ptr<PDLWidget> pOrphan(new PDLWidget(nullptr, "key", "KEYS", nullptr, block({})));
    EXPECT_EQ(1, countInLog("\npParentContext\n\n"));
    TestContext noModule(nullptr, eScopeModule);
    std::unique_ptr<PDLWidget> pLost(new PDLWidget(&noModule, "key", "KEYS", nullptr, block({})));
    EXPECT_EQ(1, countInLog("\npModule\n\n"));
}

TEST_F(WidgetTest, LocalsAreFreshInEveryPass)
{
    // key, macro_level and the declared locals live in the widget's own table.
    PDLVariableList* pLocals = new PDLVariableList();
    pLocals->push_back(simpleVar("n", eScopeLocal));
    PDLWidget* pWidget = bind(widget(7u, block({probe("n"), assign("n", num(5)), probe("n")}), pLocals));
    EXPECT_EQ(eScopeLocal, pWidget->getScope());
    PDLSymbolTable* pTable = pWidget->getSymbolTable();
    ASSERT_TRUE(pTable->hasVariable("key"));
    ASSERT_TRUE(pTable->hasVariable("macro_level"));
    ASSERT_TRUE(pTable->hasVariable("n"));
    EXPECT_EQ(eScopeLocal, pTable->getVariable("key")->getScope());
    EXPECT_FALSE(pTable->getVariable("macro_level")->generatesEvents());

    PDLEvent const press = event(PDLEvent::eEventWidget, 7, "PRESS");
    pWidget->execute(&press);
    pWidget->execute(&press);
    EXPECT_EQ(Texts({"7:PRESS:?", "7:PRESS:5", "7:PRESS:?", "7:PRESS:5"}), m_journal);
}

TEST_F(WidgetTest, SubscriptionsFollowWhatTheLastPassRead)
{
    registerType("KEYS", {PDLVariant(4), PDLVariant(7)});
    declare("r");
    PDLWidget* pWidget = bind(widget("KEYS", readAIfB()));
    PDLEvent const press7 = event(PDLEvent::eEventWidget, 7, "PRESS");
    PDLEvent const press4 = event(PDLEvent::eEventWidget, 4, "PRESS");

    m_pState->setValueInt("b", 1);
    m_pState->setValueString("a", "on");
    pWidget->execute(&press7);
    EXPECT_EQ("on", m_pModule->getVariable("r", false, false)->getValue("", false).getString());
    EXPECT_TRUE(isSubscribed("a", pWidget, 7));
    EXPECT_TRUE(isSubscribed("b", pWidget, 7));
    EXPECT_EQ(std::set<std::string>({"a", "b"}), pWidget->getActiveFIDs(7));
    // Number 4 has not run: its subscriptions are its own.
    EXPECT_FALSE(isSubscribed("b", pWidget, 4));

    // The branch not taken costs its subscription.
    m_pState->setValueInt("b", 0);
    pWidget->execute(&press7);
    EXPECT_FALSE(isSubscribed("a", pWidget, 7));
    EXPECT_TRUE(isSubscribed("b", pWidget, 7));
    EXPECT_EQ(std::set<std::string>({"b"}), pWidget->getActiveFIDs(7));

    pWidget->execute(&press4);
    EXPECT_TRUE(isSubscribed("b", pWidget, 4));
    EXPECT_TRUE(isSubscribed("b", pWidget, 7));

    // Taken again: subscribed again.
    m_pState->setValueInt("b", 1);
    pWidget->execute(&press7);
    EXPECT_TRUE(isSubscribed("a", pWidget, 7));
    EXPECT_FALSE(isSubscribed("a", pWidget, 4));

    // A number outside the type that an event names anyway is watched like the others.
    PDLEvent const press9 = event(PDLEvent::eEventWidget, 9, "PRESS");
    pWidget->execute(&press9);
    EXPECT_TRUE(isSubscribed("a", pWidget, 9));

    // The widget's end drops all of them.
    m_widgets.clear();
    EXPECT_TRUE(subscribers("a").empty());
    EXPECT_TRUE(subscribers("b").empty());
}

TEST_F(WidgetTest, RepeatedAndComposedReadsSubscribeOnce)
{
    declare("r");
    declare("ch")->setValue(PDLVariant(2));
    // r := GET x; r := GET x; ON DEV.$ch DO r := "hit" END
    PDLCodeBlock* pCode = block({assign("r", get({str("x")})), assign("r", get({str("x")})),
                                 new PDLCommandEvent(new PDLConditionEvent(list({word("DEV"), var("ch")})),
                                                     block({assign("r", str("hit"))}))});
    PDLWidget* pWidget = bind(widget(7u, pCode));

    PDLEvent const press = event(PDLEvent::eEventWidget, 7, "DEV.2");
    pWidget->execute(&press);
    EXPECT_EQ(std::set<std::string>({"DEV.2", "x"}), pWidget->getActiveFIDs(7));
    EXPECT_EQ(1u, subscribers("x").size());
    EXPECT_TRUE(isSubscribed("DEV.2", pWidget, 7));
    // Only the driver event of that id runs the handler.
    PDLVariable* pResult = m_pModule->getVariable("r", false, false);
    EXPECT_NE("hit", pResult->getValue("", false).getString());
    PDLEvent const trigger = event(PDLEvent::eEventMFDriver, 7, "DEV.2");
    pWidget->execute(&trigger);
    EXPECT_EQ("hit", pResult->getValue("", false).getString());

    // The composed id follows the variable.
    m_pModule->getVariable("ch", false, false)->setValue(PDLVariant(3));
    pWidget->execute(&press);
    EXPECT_FALSE(isSubscribed("DEV.2", pWidget, 7));
    EXPECT_TRUE(isSubscribed("DEV.3", pWidget, 7));
}

TEST_F(WidgetTest, VariableReadsRegisterTheWidgetUntilItGoes)
{
    PDLVariable* pShared = declare("v");
    PDLVariable* pEventVar = declare("w");
    // IF $v = 1 THEN ... END IF; ON w DO ... END
    PDLCodeBlock* pCode = block({new PDLCommandIf(eq(var("v"), num(1)), block({}), nullptr),
                                 new PDLCommandEvent(new PDLConditionEvent(list({word("w")})), block({}))});
    PDLWidget* pWidget = bind(widget(7u, pCode));
    EXPECT_EQ(1u, pShared->getWidgets().count(pWidget));
    EXPECT_EQ(0u, pShared->getWidgetsSeparate().count(pWidget));
    EXPECT_EQ(1u, pEventVar->getWidgetsSeparate().count(pWidget));

    m_log.str("");
    pWidget->registerForVariableEvent("missing", false);
    EXPECT_EQ(1, countInLog("\npVariable\n\n"));

    m_widgets.clear();
    EXPECT_TRUE(pShared->getWidgets().empty());
    EXPECT_TRUE(pEventVar->getWidgetsSeparate().empty());
}

TEST_F(WidgetTest, MacroLevelGoesBackOnlyWhenTheCodeAssignedIt)
{
    // Without a macro system the level is the reset value.
    PDLWidget* pPlain = bind(widget(7u, block({probe("macro_level")})));
    PDLEvent const press = event(PDLEvent::eEventWidget, 7, "PRESS");
    pPlain->execute(&press);
    EXPECT_EQ(Texts({"7:PRESS:?"}), m_journal);

    installMacroSystem();
    uint32_t const id7 = UniqueWidgetID(1, 2, 3, 7).getValue();
    m_macros.m_levels[id7] = "SHIFT";
    m_journal.clear();
    pPlain->execute(&press);
    EXPECT_EQ(Texts({"7:PRESS:SHIFT"}), m_journal);
    EXPECT_EQ(std::vector<uint32_t>({id7}), m_macros.m_gets);
    EXPECT_TRUE(m_macros.m_sets.empty());

    // An assignment of the same text is no change; another text goes back; Invalid does not.
    PDLWidget* pSame = bind(widget(7u, block({assign("macro_level", str("SHIFT"))})));
    pSame->execute(&press);
    EXPECT_TRUE(m_macros.m_sets.empty());

    PDLWidget* pWriter = bind(widget(7u, block({assign("macro_level", str("ALT"))})));
    pWriter->execute(&press);
    ASSERT_EQ(1u, m_macros.m_sets.size());
    EXPECT_EQ(id7, m_macros.m_sets[0].first);
    EXPECT_EQ("ALT", m_macros.m_sets[0].second);

    PDLWidget* pEraser = bind(widget(7u, block({assign("macro_level", invalid())})));
    pEraser->execute(&press);
    EXPECT_EQ(1u, m_macros.m_sets.size());

    // A number assigned goes back as its text, for the number of the pass.
    registerType("KEYS", {PDLVariant(4), PDLVariant(9)});
    PDLWidget* pFamily = bind(widget("KEYS", block({assign("macro_level", num(2))})));
    PDLEvent const change = event(PDLEvent::eEventVariable, 0, "v");
    pFamily->execute(&change);
    ASSERT_EQ(3u, m_macros.m_sets.size());
    EXPECT_EQ(std::make_pair(UniqueWidgetID(1, 2, 3, 4).getValue(), std::string("2")), m_macros.m_sets[1]);
    EXPECT_EQ(std::make_pair(UniqueWidgetID(1, 2, 3, 9).getValue(), std::string("2")), m_macros.m_sets[2]);
}

TEST_F(WidgetTest, TraceAndDebugLogLinesHaveTheirFormat)
{
    registerType("KEYS", {PDLVariant(4), PDLVariant(7)});
    PDLWidget* pWidget = bind(widget("KEYS", block({})));
    PDLEvent const press = event(PDLEvent::eEventWidget, 7, "PRESS");
    PDLEvent const change = event(PDLEvent::eEventVariable, 0, "volume");
    {
        CoutCapture capture;
        pWidget->execute(&press);
        pWidget->setTrace(7, true);
        // A number the widget does not serve changes nothing visible.
        pWidget->setTrace(5, true);
        pWidget->execute(&press);
        pWidget->execute(&change);
        pWidget->setTrace(7, false);
        pWidget->execute(&press);
        EXPECT_EQ("keys.pdl(12): Widget     1 /   2 /   3 /      7 PRESS\n"
                  "keys.pdl(12): Widget     1 /   2 /   3 /      7 VARCHANGE volume\n",
                  capture.text());
    }

    EXPECT_EQ(0, countInLog("exec widg"));
    rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(7);
    pWidget->execute(&change);
    EXPECT_EQ(1, countInLog("  exec widg 1/2/3/4 (keys.pdl:12)"));
    EXPECT_EQ(1, countInLog("  exec widg 1/2/3/7 (keys.pdl:12)"));
}

TEST_F(WidgetTest, StateChangesBecomeEventsForTheWidget)
{
    PDLWidget* pWidget = widget(7u, block({}));
    EXPECT_EQ(pWidget, pWidget->getWidget());
    EXPECT_EQ("1.2.3.7 (keys.pdl.12)", pWidget->getDescription(7));
    EXPECT_TRUE(pWidget->useEventManager());

    std::unique_ptr<PDLEvent> pState(pWidget->makeEvent(7));
    EXPECT_EQ(PDLEvent::eEventState, pState->m_type);
    EXPECT_EQ("STATE", pState->m_name);
    EXPECT_EQ(7u, pState->m_widgetID);
    EXPECT_EQ(m_pModule.get(), pState->m_pModule);
    EXPECT_EQ(pWidget, pState->m_pWidget);
    EXPECT_EQ(nullptr, pState->m_pSequence);
    EXPECT_EQ(0u, std::unique_ptr<PDLEvent>(pWidget->makeEvent(0))->m_widgetID);

    std::unique_ptr<PDLEvent> pTrigger(pWidget->makeTriggerEvent(7, "DEV.1", "go"));
    EXPECT_EQ(PDLEvent::eEventMFDriver, pTrigger->m_type);
    EXPECT_EQ("DEV.1", pTrigger->m_name);
    EXPECT_EQ("go", pTrigger->m_strValue);
    EXPECT_EQ(7u, pTrigger->m_widgetID);
    EXPECT_EQ(m_pModule.get(), pTrigger->m_pModule);
    EXPECT_EQ(pWidget, pTrigger->m_pWidget);
}
