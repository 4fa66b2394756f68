#include "pdlwidgetclasses.h"

#include "pdlcommandclasses.h"
#include "pdltypeclasses.h"

// Minimal form: holds and frees what the parser hands over; running the code comes with the widget
// engine.

PDLWidget::PDLWidget(PDLContext* pParent, std::string const& /*idVariableName*/, unsigned int id,
                     PDLVariableList* pVariables, PDLCodeBlock* pCode)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pVariableList(pVariables),
      m_pWidgetCode(pCode), m_pCurrentEvent(nullptr), m_currentID(0), m_traceEnabled(false)
{
    if (id != 0)
    {
        m_widgetIDs.push_back(id);
    }
}

PDLWidget::PDLWidget(PDLContext* pParent, std::string const& /*idVariableName*/,
                     std::string const& /*typeName*/, PDLVariableList* pVariables, PDLCodeBlock* pCode)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pVariableList(pVariables),
      m_pWidgetCode(pCode), m_pCurrentEvent(nullptr), m_currentID(0), m_traceEnabled(false)
{
}

PDLWidget::~PDLWidget()
{
    delete m_pVariableList;
    delete m_pWidgetCode;
}

void PDLWidget::registerForVariableEvent(std::string const& /*name*/, bool /*separateEvent*/) {}

EScope PDLWidget::getScope() const
{
    return eScopeLocal;
}

PDLEvent const* PDLWidget::getCurrentEvent() const
{
    return m_pCurrentEvent;
}

uint32_t PDLWidget::getExecWidgetID() const
{
    return m_currentID;
}

PDLWidget* PDLWidget::getWidget()
{
    return this;
}

std::string PDLWidget::getDescription(int /*id*/) const
{
    return std::string();
}

PDLEvent* PDLWidget::makeEvent(int /*id*/)
{
    return nullptr;
}

PDLEvent* PDLWidget::makeTriggerEvent(int /*id*/, std::string const& /*name*/, std::string const& /*value*/)
{
    return nullptr;
}

void PDLWidget::execute(PDLEvent const* /*pEvent*/) {}

void PDLWidget::privateExecute(unsigned int /*id*/) {}

void PDLWidget::subscribeFID(std::string const& /*fid*/) {}

void PDLWidget::setTrace(unsigned int /*id*/, bool /*on*/) {}
