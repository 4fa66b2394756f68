// Widgets and sequences built by hand: the rules that PDL sources cannot reach or the shell cannot
// show. What a panel shows of them (passes per number, subscriptions of the last pass, trace lines, bad
// widget numbers, the state machine) is covered by the sys-widget-* and sys-sequences scenarios.

#include "core_command_helpers.h"

#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdlpanelstate.h"
#include "pdlsequenceclasses.h"
#include "pdlwidgetclasses.h"

#include <interfaces/imacrosystem.h>

#include <basekit/uniqueids.h>

#include <map>
#include <memory>

namespace
{
typedef std::vector<std::string> Texts;

// Journals the number the context runs for, the event it sees and the value of a variable, as
// "number:event:value".
class ProbeCommand : public PDLCommand
{
public:
    ProbeCommand(Texts* pJournal, std::string const& variable)
        : PDLCommand(true), m_pJournal(pJournal), m_variable(variable)
    {
    }

protected:
    bool onExecute() override
    {
        PDLEvent const* pEvent = m_pContext->getCurrentEvent();
        PDLVariable* pVariable = m_pContext->getVariable(m_variable, false, false);
        PDLVariant const value = pVariable != nullptr ? pVariable->getValue("", false) : PDLVariant();
        m_pJournal->push_back(std::to_string(m_pContext->getExecWidgetID()) + ":" +
                              (pEvent != nullptr ? pEvent->m_name : std::string("-")) + ":" +
                              (value.getKind() == PDLVariant::eInvalid ? std::string("?") : value.getString()));
        return true;
    }

    Texts* m_pJournal;
    std::string m_variable;
};

// Levels per widget, and every level written back.
class RecordingMacroSystem : public IMacroSystem
{
public:
    IInterface* queryInterface(unsigned int) override { return nullptr; }
    bool isEventBlocked(UniqueWidgetID const&) override { return false; }
    bool startPreMacro(UniqueWidgetID const&) override { return false; }
    bool startReplaceMacro(UniqueWidgetID const&) override { return false; }
    void afterDownFirst(UniqueWidgetID const&) override {}
    void afterDownSecond(UniqueWidgetID const&) override {}
    void afterDownLast(UniqueWidgetID const&) override {}
    bool hasMacro(UniqueWidgetID const&) override { return false; }
    void onHold(UniqueWidgetID const&) override {}
    void onUp(UniqueWidgetID const&) override {}
    void setMacroLevel(UniqueWidgetID const& id, std::string const& level) override
    {
        m_sets.push_back(id.toString() + "=" + level);
        m_levels[id.getValue()] = level;
    }
    std::string getMacroLevel(UniqueWidgetID const& id) override
    {
        auto it = m_levels.find(id.getValue());
        return it != m_levels.end() ? it->second : std::string("DEFAULT");
    }

    std::map<uint32_t, std::string> m_levels;
    Texts m_sets;
};

PDLEvent event(int32_t type, uint32_t widgetID, std::string const& name)
{
    PDLEvent result(type);
    result.m_widgetID = widgetID;
    result.m_name = name;
    return result;
}

// A module at 1.2.3 with a panel state; widgets and sequences are bound as the module's loading does.
class ModuleCodeTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        m_errors = PDLParseInfo::m_errorCount;
        m_pState = PDLPanelState::createInstance();
        m_pModule.reset(new PDLModule(nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""));
        PDLParseInfo::m_filePath = rtk::Path("pdl/keys.pdl");
        PDLParseInfo::m_line = 12;
    }
    void TearDown() override
    {
        m_widgets.clear();
        m_sequences.clear();
        m_pModule.reset();
        if (PDLEventManager::hasInstance())
        {
            PDLEventManager::getInstance()->setMacroSystemInterface(nullptr);
            PDLInterpreter::mutexGive();
            PDLEventManager::destroyInstance();
        }
        rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(3);
        PDLPanelState::destroyInstance();
        PDLTest::TearDown();
    }
    // The event engine with the recording macro system; the test holds the interpreter mutex, so that
    // the main loop stays out of the way.
    void installMacroSystem()
    {
        PDLEventManager::createInstance();
        PDLInterpreter::mutexTake();
        PDLEventManager::getInstance()->setMacroSystemInterface(&m_macros);
    }
    PDLVariable* declare(std::string const& name)
    {
        return m_pModule->getSymbolTable()->registerVariable(simpleVar(name));
    }
    void registerType(std::string const& name, std::initializer_list<PDLVariant> elements)
    {
        m_pModule->registerType(new PDLType(name, values(elements)));
    }
    template <class TId>
    PDLWidget* widget(TId id, PDLCodeBlock* pCode)
    {
        m_widgets.emplace_back(new PDLWidget(m_pModule.get(), "key", id, nullptr, pCode));
        if (pCode != nullptr)
            pCode->setContext(m_widgets.back().get(), false);
        return m_widgets.back().get();
    }
    PDLSequence* sequence(std::vector<std::string>* pStartEvents, PDLCondition* pWhen,
                          std::initializer_list<std::pair<std::string, PDLCodeBlock*>> states)
    {
        auto* pStates = new PDLSequenceStateList();
        for (auto const& state : states)
            pStates->addState(state.first, state.second);
        m_sequences.emplace_back(new PDLSequence(m_pModule.get(), "key", 7u, pStartEvents, pWhen, nullptr, pStates));
        m_sequences.back()->init();
        return m_sequences.back().get();
    }
    ProbeCommand* probe(std::string const& variable = "key") { return new ProbeCommand(&m_journal, variable); }
    bool subscribed(std::string const& fid, PDLStateSubscriber* pSubscriber) const
    {
        PDLStateEntry* pEntry = m_pState->findStateEntry(fid);
        return pEntry != nullptr && pEntry->getSubscribers().count(PDLStateSubscriberKey(pSubscriber, 0)) != 0;
    }
    uint32_t newErrors() const { return PDLParseInfo::m_errorCount - m_errors; }

    PDLPanelState* m_pState = nullptr;
    std::unique_ptr<PDLModule> m_pModule;
    std::vector<std::unique_ptr<PDLWidget>> m_widgets;
    std::vector<std::unique_ptr<PDLSequence>> m_sequences;
    Texts m_journal;
    RecordingMacroSystem m_macros;
    uint32_t m_errors = 0;
};
} // namespace

TEST_F(ModuleCodeTest, MacroLevelGoesBackOnlyWhenTheCodeAssignedIt)
{
    // Without a macro system the level is the reset value.
    PDLEvent const press = event(PDLEvent::eEventWidget, 7, "PRESS");
    PDLWidget* pReader = widget(7u, block({probe("macro_level")}));
    pReader->execute(&press);
    installMacroSystem();
    m_macros.m_levels[UniqueWidgetID(1, 2, 3, 7).getValue()] = "SHIFT";
    pReader->execute(&press);
    EXPECT_EQ((Texts{"7:PRESS:?", "7:PRESS:SHIFT"}), m_journal);
    // Reading, assigning the same text and assigning Invalid send nothing back; another text and a
    // number (as its text, for the number of the pass) do.
    widget(7u, block({assign("macro_level", str("SHIFT"))}))->execute(&press);
    widget(7u, block({assign("macro_level", invalid())}))->execute(&press);
    EXPECT_TRUE(m_macros.m_sets.empty());
    widget(7u, block({assign("macro_level", str("ALT"))}))->execute(&press);
    registerType("KEYS", {PDLVariant(4), PDLVariant(9)});
    PDLEvent const change = event(PDLEvent::eEventVariable, 0, "v");
    widget("KEYS", block({assign("macro_level", num(2))}))->execute(&change);
    EXPECT_EQ((Texts{"1.2.3.7=ALT", "1.2.3.4=2", "1.2.3.9=2"}), m_macros.m_sets);

    // A sequence's entry run does not go through the macro system; its event runs do, as a widget's.
    m_journal.clear();
    PDLSequence* pSequence = sequence(nullptr, new PDLConditionTrue(),
                                      {{"INIT", block({probe("macro_level"), assign("macro_level", str("SEQ"))})}});
    rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(7);
    PDLEvent const down = event(PDLEvent::eEventWidget, 7, "DOWN");
    EXPECT_TRUE(pSequence->start(&down));
    EXPECT_TRUE(pSequence->execute(&down));
    EXPECT_EQ((Texts{"7:ENTER:?", "7:DOWN:ALT"}), m_journal);
    EXPECT_EQ("1.2.3.7=SEQ", m_macros.m_sets.back());
    // The engine's debug lines; the sequence's first separator differs from the others.
    EXPECT_EQ(1, countInLog("  start seq 1/2/3/7 (keys.pdl:12)"));
    EXPECT_EQ(1, countInLog("  exec seq  1 / 2/3/7 (keys.pdl:12)"));
    pReader->execute(&press);
    EXPECT_EQ(1, countInLog("  exec widg 1/2/3/7 (keys.pdl:12)"));
}

TEST_F(ModuleCodeTest, SequenceStartEventsStatesAndBindings)
{
    PDLSequence* pDown = sequence(new std::vector<std::string>{"DOWN"}, new PDLConditionTrue(), {{"INIT", block({})}});
    PDLSequence* pAny = sequence(nullptr, new PDLConditionTrue(), {{"INIT", block({})}});
    PDLSequence* pNone = sequence(new std::vector<std::string>{}, new PDLConditionTrue(), {{"INIT", block({})}});
    // Names are compared exactly; kinds above variable events never start; without a list any widget
    // event starts and no variable event does; an empty list starts nothing.
    struct Case
    {
        int32_t m_type;
        char const* m_name;
        bool m_down, m_any, m_none;
    };
    Case const cases[] = {
        {PDLEvent::eEventWidget, "DOWN", true, true, false},    {PDLEvent::eEventWidget, "down", false, true, false},
        {PDLEvent::eEventWidget, "UP", false, true, false},     {PDLEvent::eEventVariable, "DOWN", true, false, false},
        {PDLEvent::eEventInit, "DOWN", false, false, false},    {PDLEvent::eEventState, "DOWN", false, false, false},
        {PDLEvent::eEventMFDriver, "DOWN", false, false, false},
    };
    for (Case const& c : cases)
    {
        PDLEvent const e = event(c.m_type, 7, c.m_name);
        EXPECT_EQ(c.m_down, pDown->evaluateStartEvent(&e)) << c.m_type << c.m_name;
        EXPECT_EQ(c.m_any, pAny->evaluateStartEvent(&e)) << c.m_type << c.m_name;
        EXPECT_EQ(c.m_none, pNone->evaluateStartEvent(&e)) << c.m_type << c.m_name;
    }

    // A duplicate state keeps the first block.
    PDLSequenceStateList states;
    PDLCodeBlock* pFirst = block({});
    states.addState("RUN", pFirst);
    states.addState("RUN", block({}));
    EXPECT_EQ(1, countInLog("\nduplicate state name RUN\n\n"));
    EXPECT_EQ(pFirst, states.getState("RUN"));
    EXPECT_EQ(1u, newErrors());

    // Reads in the guard register the sequence and subscribe it; reads in a state block do neither,
    // unless asked for one event per change. A start event that names a variable registers it too.
    PDLVariable* pGuardVar = declare("armed");
    PDLVariable* pBlockVar = declare("level");
    PDLVariable* pStartVar = declare("go");
    declare("r");
    pGuardVar->setValue(PDLVariant(1));
    m_pState->setValueInt("guard", 1);
    PDLSequence* pBound = sequence(new std::vector<std::string>{"go"},
                                   new PDLConditionAnd(eq(var("armed"), num(1)), eq(new PDLExpressionGet(list({str("guard")})), num(1))),
                                   {{"INIT", block({assign("r", var("level")), assign("r", new PDLExpressionGet(list({str("other")})))})}});
    EXPECT_EQ(1u, pGuardVar->getSequences().count(pBound));
    EXPECT_TRUE(pBlockVar->getSequences().empty());
    EXPECT_EQ(1u, pStartVar->getSequencesSeparate().count(pBound));
    PDLEvent const go = event(PDLEvent::eEventVariable, 0, "go");
    EXPECT_TRUE(pBound->start(&go));
    EXPECT_TRUE(subscribed("guard", pBound));
    EXPECT_FALSE(subscribed("other", pBound));
    pBound->registerForVariableEvent("level", false);
    EXPECT_TRUE(pBlockVar->getSequences().empty());
    pBound->registerForVariableEvent("level", true);
    EXPECT_EQ(1u, pBlockVar->getSequencesSeparate().count(pBound));
    m_sequences.clear();
    EXPECT_TRUE(pGuardVar->getSequences().empty());
    EXPECT_TRUE(pBlockVar->getSequencesSeparate().empty());
    EXPECT_FALSE(subscribed("guard", pBound));
}
