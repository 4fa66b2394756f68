#include "attributecheck.h"

#include "pdlcommandclasses.h"
#include "pdlexpressionclasses.h"
#include "pdlmodule.h"
#include "pdlpanelcommandclasses.h"
#include "pdlsequenceclasses.h"
#include "pdlwidgetclasses.h"

#include <list>
#include <set>
#include <sstream>

namespace
{
// The code tree keeps its children to itself; these read them through pointers to members, which a
// derived class may form.
struct IfAccess : PDLCommandIf
{
    static PDLCommand const* thenCode(PDLCommandIf const& c) { return c.*(&IfAccess::m_pIfCode); }
    static PDLCommand const* elseCode(PDLCommandIf const& c) { return c.*(&IfAccess::m_pElseCode); }
};
struct WhileAccess : PDLCommandWhile
{
    static PDLCommand const* code(PDLCommandWhile const& c) { return c.*(&WhileAccess::m_pCode); }
};
struct ForEachAccess : PDLCommandForEach
{
    static PDLCommand const* code(PDLCommandForEach const& c) { return c.*(&ForEachAccess::m_pCode); }
};
struct EventAccess : PDLCommandEvent
{
    static PDLCommand const* code(PDLCommandEvent const& c) { return c.*(&EventAccess::m_pCodeBlock); }
};
struct ConnectAccess : PDLCommandConnect
{
    static PDLExpression const* widget(PDLCommandConnect const& c) { return c.*(&ConnectAccess::m_pWidgetId); }
    static std::string const& attribute(PDLCommandConnect const& c) { return c.*(&ConnectAccess::m_attribute); }
};
struct SetAccess : PDLCommandSetAttribute
{
    static PDLExpression const* widget(PDLCommandSetAttribute const& c) { return c.*(&SetAccess::m_pWidgetId); }
    static std::string const& attribute(PDLCommandSetAttribute const& c) { return c.*(&SetAccess::m_attribute); }
};
struct TriggerAccess : PDLCommandTrigger
{
    static PDLExpression const* widget(PDLCommandTrigger const& c) { return c.*(&TriggerAccess::m_pWidgetId); }
    static std::string const& event(PDLCommandTrigger const& c) { return c.*(&TriggerAccess::m_event); }
};
struct SequenceAccess : PDLSequence
{
    static PDLSequenceStateList const* states(PDLSequence const& s) { return s.*(&SequenceAccess::m_pStateList); }
};

class Walker
{
public:
    Walker(ConfigTree const& config, std::string const& moduleType, std::map<unsigned int, WidgetInfo> const& widgets,
           std::string const& widgetSource, std::vector<Diagnostic>& diagnostics)
        : m_config(config), m_moduleType(moduleType), m_widgets(widgets), m_widgetSource(widgetSource),
          m_diagnostics(diagnostics)
    {
    }

    // ownNumbers: the controls the code runs for.
    void walk(PDLCommand const* pCommand, std::list<uint32_t> const& ownNumbers)
    {
        if (pCommand == nullptr)
        {
            return;
        }
        if (auto const* pBlock = dynamic_cast<PDLCodeBlock const*>(pCommand))
        {
            for (PDLCommand const* pChild : pBlock->getCommands())
            {
                walk(pChild, ownNumbers);
            }
        }
        else if (auto const* pIf = dynamic_cast<PDLCommandIf const*>(pCommand))
        {
            walk(IfAccess::thenCode(*pIf), ownNumbers);
            walk(IfAccess::elseCode(*pIf), ownNumbers);
        }
        else if (auto const* pWhile = dynamic_cast<PDLCommandWhile const*>(pCommand))
        {
            walk(WhileAccess::code(*pWhile), ownNumbers);
        }
        else if (auto const* pForEach = dynamic_cast<PDLCommandForEach const*>(pCommand))
        {
            walk(ForEachAccess::code(*pForEach), ownNumbers);
        }
        else if (auto const* pEvent = dynamic_cast<PDLCommandEvent const*>(pCommand))
        {
            walk(EventAccess::code(*pEvent), ownNumbers);
        }
        else if (auto const* pConnect = dynamic_cast<PDLCommandConnect const*>(pCommand))
        {
            check(*pCommand, "connect", ConnectAccess::attribute(*pConnect), false, ConnectAccess::widget(*pConnect),
                  ownNumbers);
        }
        else if (auto const* pSet = dynamic_cast<PDLCommandSetAttribute const*>(pCommand))
        {
            check(*pCommand, "set", SetAccess::attribute(*pSet), false, SetAccess::widget(*pSet), ownNumbers);
        }
        else if (auto const* pTrigger = dynamic_cast<PDLCommandTrigger const*>(pCommand))
        {
            check(*pCommand, "trigger", TriggerAccess::event(*pTrigger), true, TriggerAccess::widget(*pTrigger),
                  ownNumbers);
        }
    }

private:
    void warn(PDLObject const& at, std::string const& text)
    {
        m_diagnostics.push_back(Diagnostic{at.getFilePath().getString(), at.getLine(), eSeverityWarning, text});
    }

    void check(PDLCommand const& command, char const* pWhat, std::string const& name, bool isEvent,
               PDLExpression const* pWidgetId, std::list<uint32_t> const& ownNumbers)
    {
        std::list<uint32_t> numbers = ownNumbers;
        if (pWidgetId != nullptr)
        {
            // widget[n]: only a constant number is known before the code runs.
            auto const* pConstant = dynamic_cast<PDLExpressionConstNumber const*>(pWidgetId);
            if (pConstant == nullptr)
            {
                return;
            }
            uint32_t const number = static_cast<uint32_t>(pConstant->evaluate(false).getInt());
            if (m_widgets.count(number) == 0)
            {
                std::ostringstream text;
                text << pWhat << "(widget[" << number << "]." << name << "): module type " << m_moduleType
                     << " has no widget " << number << " (see " << m_widgetSource << ")";
                warn(command, text.str());
                return;
            }
            numbers.assign(1, number);
        }
        // One warning per widget type, naming the controls of that type the code addresses.
        std::map<std::string, std::string> missingByType;
        for (uint32_t number : numbers)
        {
            auto const it = m_widgets.find(number);
            std::set<std::string> attributes;
            std::set<std::string> events;
            if (it == m_widgets.end() || it->second.m_type.empty() ||
                !m_config.getWidgetType(it->second.m_type, attributes, events))
            {
                continue;
            }
            if ((isEvent ? events : attributes).count(name) == 0)
            {
                std::string& list = missingByType[it->second.m_type];
                list += (list.empty() ? "" : ", ") + std::to_string(number);
            }
        }
        for (auto const& entry : missingByType)
        {
            std::ostringstream text;
            text << pWhat << "(" << name << "): widget type " << entry.first << " (widget " << entry.second
                 << ") has no " << (isEvent ? "event " : "attribute ") << name << " (see WidgetTypes.xml)";
            warn(command, text.str());
        }
    }

    ConfigTree const& m_config;
    std::string const& m_moduleType;
    std::map<unsigned int, WidgetInfo> const& m_widgets;
    std::string const& m_widgetSource;
    std::vector<Diagnostic>& m_diagnostics;
};
} // namespace

void checkAttributes(PDLModule const& module, ConfigTree const& config, std::string const& moduleType,
                     std::map<unsigned int, WidgetInfo> const& widgets, std::string const& widgetSource,
                     std::vector<Diagnostic>& diagnostics)
{
    Walker walker(config, moduleType, widgets, widgetSource, diagnostics);
    for (PDLWidget const* pWidget : module.getWidgets())
    {
        walker.walk(pWidget->getWidgetCode(), pWidget->getWidgetIDs());
    }
    for (PDLSequence const* pSequence : module.getSequences())
    {
        PDLSequenceStateList const* pStates = SequenceAccess::states(*pSequence);
        if (pStates == nullptr)
        {
            continue;
        }
        for (auto const& state : pStates->getStates())
        {
            walker.walk(state.second, pSequence->getWidgetIDs());
        }
    }
}
