#ifndef CORE_WIDGET_HELPERS_H
#define CORE_WIDGET_HELPERS_H

// A real module at 1/2/3 with a panel state, a recording macro system, and probes for the code of
// widgets and sequences built by hand from command, condition and expression nodes.

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
#include <set>
#include <string>
#include <utility>
#include <vector>

// Journals, for each run, the number the context runs for, the event it sees and the value of a
// variable (the number's own variable by default), as "exec:event:value".
class ProbeCommand : public PDLCommand
{
public:
    ProbeCommand(std::vector<std::string>* pJournal, std::string const& variable)
        : PDLCommand(true), m_pJournal(pJournal), m_variable(variable)
    {
    }

protected:
    bool onExecute() override
    {
        PDLRunTimeInfo::s_pCurrentObject = this;
        PDLEvent const* pEvent = m_pContext->getCurrentEvent();
        PDLVariable* pVariable = m_pContext->getVariable(m_variable, false, false);
        PDLVariant const value = pVariable != nullptr ? pVariable->getValue("", false) : PDLVariant();
        m_pJournal->push_back(
            std::to_string(m_pContext->getExecWidgetID()) + ":" +
            (pEvent != nullptr ? pEvent->m_name : std::string("-")) + ":" +
            (value.getKind() == PDLVariant::eInvalid ? std::string("?") : value.getString()));
        return true;
    }

    std::vector<std::string>* m_pJournal;
    std::string m_variable;
};

// Levels per widget, and every level written back.
class FakeMacroSystem : public IMacroSystem
{
public:
    IInterface* queryInterface(unsigned int /*id*/) override { return nullptr; }
    bool isEventBlocked(UniqueWidgetID const& /*id*/) override { return false; }
    bool startPreMacro(UniqueWidgetID const& /*id*/) override { return false; }
    bool startReplaceMacro(UniqueWidgetID const& /*id*/) override { return false; }
    void afterDownFirst(UniqueWidgetID const& /*id*/) override {}
    void afterDownLast(UniqueWidgetID const& /*id*/) override {}
    bool hasMacro(UniqueWidgetID const& /*id*/) override { return false; }
    void setMacroLevel(UniqueWidgetID const& id, std::string const& level) override
    {
        m_sets.emplace_back(id.getValue(), level);
        m_levels[id.getValue()] = level;
    }
    std::string getMacroLevel(UniqueWidgetID const& id) override
    {
        m_gets.push_back(id.getValue());
        auto it = m_levels.find(id.getValue());
        return it != m_levels.end() ? it->second : std::string("DEFAULT");
    }
    void afterDownSecond(UniqueWidgetID const& /*id*/) override {}
    void onHold(UniqueWidgetID const& /*id*/) override {}
    void onUp(UniqueWidgetID const& /*id*/) override {}

    std::map<uint32_t, std::string> m_levels;
    std::vector<uint32_t> m_gets;
    std::vector<std::pair<uint32_t, std::string>> m_sets;
};

inline PDLExpression* get(std::initializer_list<PDLExpression*> components)
{
    return new PDLExpressionGet(list(components));
}

inline PDLExpression* word(std::string const& text)
{
    return new PDLExpressionIdentifier(text);
}

inline PDLEvent event(int32_t type, uint32_t widgetID, std::string const& name)
{
    PDLEvent result(type);
    result.m_widgetID = widgetID;
    result.m_name = name;
    return result;
}

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
        if (m_mutexHeld)
        {
            PDLEventManager::getInstance()->setMacroSystemInterface(nullptr);
            PDLInterpreter::mutexGive();
            m_mutexHeld = false;
        }
        rtk::LogManager::getInstance()->getOutput("EventMgr")->setLevel(3);
        // The event engine goes first; the panel state outlives everything that subscribed to it.
        if (PDLEventManager::hasInstance())
        {
            PDLEventManager::destroyInstance();
        }
        PDLPanelState::destroyInstance();
        PDLTest::TearDown();
    }

    // The event engine with the fake macro system; the test then holds the interpreter mutex, so that
    // the main loop stays out of the way.
    void installMacroSystem()
    {
        PDLEventManager::createInstance();
        PDLInterpreter::mutexTake();
        m_mutexHeld = true;
        PDLEventManager::getInstance()->setMacroSystemInterface(&m_macros);
    }

    // A module-scope variable, owned by the module's table.
    PDLVariable* declare(std::string const& name)
    {
        return m_pModule->getSymbolTable()->registerVariable(simpleVar(name));
    }

    void registerType(std::string const& name, std::initializer_list<PDLVariant> elements)
    {
        m_pModule->registerType(new PDLType(name, values(elements)));
    }

    PDLWidget* widget(unsigned int id, PDLCodeBlock* pCode, PDLVariableList* pLocals = nullptr)
    {
        m_widgets.emplace_back(new PDLWidget(m_pModule.get(), "key", id, pLocals, pCode));
        return m_widgets.back().get();
    }

    PDLWidget* widget(std::string const& typeName, PDLCodeBlock* pCode, PDLVariableList* pLocals = nullptr)
    {
        m_widgets.emplace_back(new PDLWidget(m_pModule.get(), "key", typeName, pLocals, pCode));
        return m_widgets.back().get();
    }

    // Binds a widget's code as the module's loading does.
    PDLWidget* bind(PDLWidget* pWidget)
    {
        pWidget->getWidgetCode()->setContext(pWidget, false);
        return pWidget;
    }

    // The subscriptions of an id; empty when the entry does not exist.
    PDLStateSubscriberSet subscribers(std::string const& fid) const
    {
        PDLStateEntry* pEntry = m_pState->findStateEntry(fid);
        return pEntry != nullptr ? pEntry->getSubscribers() : PDLStateSubscriberSet();
    }

    bool isSubscribed(std::string const& fid, PDLStateSubscriber* pSubscriber, int32_t id) const
    {
        return subscribers(fid).count(PDLStateSubscriberKey(pSubscriber, id)) != 0;
    }

    ProbeCommand* probe(std::string const& variable = "key")
    {
        return new ProbeCommand(&m_journal, variable);
    }

    uint32_t newErrors() const { return PDLParseInfo::m_errorCount - m_errors; }

    PDLPanelState* m_pState = nullptr;
    std::unique_ptr<PDLModule> m_pModule;
    std::vector<std::unique_ptr<PDLWidget>> m_widgets;
    std::vector<std::unique_ptr<PDLSequence>> m_sequences;
    std::vector<std::string> m_journal;
    FakeMacroSystem m_macros;
    bool m_mutexHeld = false;
    uint32_t m_errors = 0;
};

#endif
