#include "pdlsequenceclasses.h"

#include "pdlcommandclasses.h"
#include "pdlconditionclasses.h"
#include "pdltypeclasses.h"

// Minimal form: holds and frees what the parser hands over; the state machine comes with the sequence
// engine.

PDLSequenceStateList::PDLSequenceStateList() {}

PDLSequenceStateList::~PDLSequenceStateList()
{
    for (auto& entry : m_states)
    {
        delete entry.second;
    }
}

void PDLSequenceStateList::addState(std::string const& name, PDLCodeBlock* pBlock)
{
    if (!m_states.emplace(name, pBlock).second)
    {
        delete pBlock;
    }
}

PDLCodeBlock* PDLSequenceStateList::getState(std::string const& name) const
{
    auto it = m_states.find(name);
    return it != m_states.end() ? it->second : nullptr;
}

void PDLSequenceStateList::setContext(PDLContext* pContext, bool noEventRegistration)
{
    for (auto& entry : m_states)
    {
        if (entry.second != nullptr)
        {
            entry.second->setContext(pContext, noEventRegistration);
        }
    }
}

PDLSequence::PDLSequence(PDLContext* pParent, std::string const& /*idVariableName*/, unsigned int id,
                         std::vector<std::string>* pStartEvents, PDLCondition* pWhen,
                         PDLVariableList* pVariables, PDLSequenceStateList* pStates)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pStartEvents(pStartEvents),
      m_pWhenCondition(pWhen), m_pVariableList(pVariables), m_pStateList(pStates), m_pCurrentEvent(nullptr),
      m_pCurrentState(nullptr), m_running(false), m_settingWhenContext(false), m_currentID(0),
      m_traceEnabled(false)
{
    if (id != 0)
    {
        m_widgetIDs.push_back(id);
    }
}

PDLSequence::PDLSequence(PDLContext* pParent, std::string const& /*idVariableName*/,
                         std::string const& /*typeName*/, std::vector<std::string>* pStartEvents,
                         PDLCondition* pWhen, PDLVariableList* pVariables, PDLSequenceStateList* pStates)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pStartEvents(pStartEvents),
      m_pWhenCondition(pWhen), m_pVariableList(pVariables), m_pStateList(pStates), m_pCurrentEvent(nullptr),
      m_pCurrentState(nullptr), m_running(false), m_settingWhenContext(false), m_currentID(0),
      m_traceEnabled(false)
{
}

PDLSequence::~PDLSequence()
{
    delete m_pStateList;
    delete m_pWhenCondition;
    delete m_pVariableList;
    delete m_pStartEvents;
}

void PDLSequence::registerForVariableEvent(std::string const& /*name*/, bool /*separateEvent*/) {}

EScope PDLSequence::getScope() const
{
    return eScopeLocal;
}

PDLEvent const* PDLSequence::getCurrentEvent() const
{
    return m_pCurrentEvent;
}

uint32_t PDLSequence::getExecWidgetID() const
{
    return m_currentID;
}

PDLSequence* PDLSequence::getSequence()
{
    return this;
}

PDLEvent* PDLSequence::makeEvent(int /*id*/)
{
    return nullptr;
}

PDLEvent* PDLSequence::makeTriggerEvent(int /*id*/, std::string const& /*name*/, std::string const& /*value*/)
{
    return nullptr;
}

std::string PDLSequence::getDescription(int /*id*/) const
{
    return std::string();
}

void PDLSequence::init() {}

bool PDLSequence::start(PDLEvent const* /*pEvent*/)
{
    return false;
}

bool PDLSequence::execute(PDLEvent const* /*pEvent*/)
{
    return false;
}

bool PDLSequence::gotoState(std::string const& /*name*/)
{
    return false;
}

bool PDLSequence::evaluateStartEvent(PDLEvent const* /*pEvent*/)
{
    return false;
}

bool PDLSequence::evaluateWhenCondition(bool /*watch*/)
{
    return false;
}

void PDLSequence::watchFIDsStart() {}

void PDLSequence::watchFIDsStop() {}

void PDLSequence::subscribeFID(std::string const& /*fid*/) {}

void PDLSequence::setTrace(unsigned int /*id*/, bool /*on*/) {}
