#include "pdlsequenceclasses.h"

#include "pdlcommandclasses.h"
#include "pdlconditionclasses.h"
#include "pdleventmanager.h"
#include "pdlmodule.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"

namespace
{
// The end of a state's block hands the sequence over to the named state.
void gotoStateOfSequence(PDLSequence* pSequence, std::string const& state)
{
    pSequence->gotoState(state);
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// PDLSequenceStateList

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
    if (m_states.count(name) != 0)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "duplicate state name " + name, __FILE__,
                               __LINE__);
        delete pBlock;
        return;
    }
    m_states.emplace(name, pBlock);
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

// ---------------------------------------------------------------------------------------------------
// PDLSequence

PDLSequence::PDLSequence(PDLContext* pParent, std::string const& idVariableName, unsigned int id,
                         std::vector<std::string>* pStartEvents, PDLCondition* pWhen,
                         PDLVariableList* pVariables, PDLSequenceStateList* pStates)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pStartEvents(pStartEvents),
      m_pWhenCondition(pWhen), m_pVariableList(pVariables), m_pStateList(pStates), m_pCurrentEvent(nullptr),
      m_pCurrentState(nullptr), m_running(false), m_settingWhenContext(false), m_currentID(0),
      m_traceEnabled(false)
{
    PDLWidget::createLocals(*this, idVariableName, m_pVariableID, m_pVariableMacroLevel);
    if (id != 0)
    {
        m_widgetIDs.push_back(id);
    }
    else
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "Non-numeric or zero Widget ID", __FILE__,
                               __LINE__);
    }
    finishConstruction();
}

PDLSequence::PDLSequence(PDLContext* pParent, std::string const& idVariableName, std::string const& typeName,
                         std::vector<std::string>* pStartEvents, PDLCondition* pWhen,
                         PDLVariableList* pVariables, PDLSequenceStateList* pStates)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pStartEvents(pStartEvents),
      m_pWhenCondition(pWhen), m_pVariableList(pVariables), m_pStateList(pStates), m_pCurrentEvent(nullptr),
      m_pCurrentState(nullptr), m_running(false), m_settingWhenContext(false), m_currentID(0),
      m_traceEnabled(false)
{
    PDLWidget::createLocals(*this, idVariableName, m_pVariableID, m_pVariableMacroLevel);
    PDLWidget::collectTypeIDs(pParent, typeName, m_widgetIDs);
    finishConstruction();
}

PDLSequence::~PDLSequence()
{
    PDLStateSubscriberKey const key(this, 0);
    for (std::string const& fid : m_activeFIDs)
    {
        PDLWidget::unsubscribeState(fid, key);
    }
    for (PDLVariable* pVariable : m_registeredVariables)
    {
        pVariable->unregisterSequence(this);
    }
    delete m_pStateList;
    delete m_pWhenCondition;
    delete m_pVariableList;
    delete m_pStartEvents;
}

void PDLSequence::finishConstruction()
{
    // Every sequence needs the hand-over at the end of its state blocks.
    PDLCodeBlock::setGotoStateHandler(&gotoStateOfSequence);
    getSymbolTable()->registerVariableList(m_pVariableList);
}

void PDLSequence::registerForVariableEvent(std::string const& name, bool separateEvent)
{
    // A plain read in a state block binds nothing; the guard and explicit event reads do.
    if (!m_settingWhenContext && !separateEvent)
    {
        return;
    }
    PDLVariable* pVariable = PDLContext::getVariable(name, false, false);
    if (!PDL_CHECK(pVariable))
    {
        return;
    }
    pVariable->registerSequence(this, separateEvent);
    m_registeredVariables.insert(pVariable);
}

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

PDLEvent* PDLSequence::makeEvent(int id)
{
    PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventState);
    pEvent->m_name = "STATE";
    pEvent->m_pModule = getModule();
    pEvent->m_pSequence = this;
    if (id != 0)
    {
        pEvent->m_widgetID = static_cast<uint32_t>(id);
    }
    return pEvent;
}

PDLEvent* PDLSequence::makeTriggerEvent(int id, std::string const& name, std::string const& value)
{
    PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventMFDriver);
    pEvent->m_widgetID = static_cast<uint32_t>(id);
    pEvent->m_name = name;
    pEvent->m_strValue = value;
    pEvent->m_pModule = getModule();
    pEvent->m_pSequence = this;
    return pEvent;
}

std::string PDLSequence::getDescription(int id) const
{
    return PDLWidget::describe(*this, id);
}

void PDLSequence::init()
{
    PDL_CHECK(m_pWhenCondition);
    PDL_CHECK(m_pStateList);
    if (m_pWhenCondition != nullptr)
    {
        // Reads in the guard bind themselves to this sequence while the flag is up.
        m_settingWhenContext = true;
        m_pWhenCondition->setContext(this, false);
        m_settingWhenContext = false;
    }
    if (m_pStateList != nullptr)
    {
        m_pStateList->setContext(this, false);
    }
    if (m_pStartEvents == nullptr)
    {
        return;
    }
    // A start event may be the name of a variable: its change then starts the sequence.
    for (std::string const& name : *m_pStartEvents)
    {
        if (!hasVariable(name))
        {
            continue;
        }
        PDLVariable* pVariable = PDLContext::getVariable(name, false, false);
        if (pVariable != nullptr)
        {
            pVariable->registerSequence(this, true);
            m_registeredVariables.insert(pVariable);
        }
    }
}

bool PDLSequence::evaluateStartEvent(PDLEvent const* pEvent)
{
    if (!PDLRunTimeInfo::checkPresent(pEvent != nullptr, "Event", __FILE__, __LINE__) ||
        pEvent->m_type > PDLEvent::eEventVariable)
    {
        return false;
    }
    if (m_pStartEvents == nullptr)
    {
        return pEvent->m_type == PDLEvent::eEventWidget;
    }
    for (std::string const& name : *m_pStartEvents)
    {
        if (name == pEvent->m_name)
        {
            return true;
        }
    }
    return false;
}

bool PDLSequence::evaluateWhenCondition(bool watch)
{
    if (!PDL_CHECK(m_pWhenCondition))
    {
        return false;
    }
    if (watch)
    {
        watchFIDsStart();
    }
    bool const result = m_pWhenCondition->evaluate();
    if (watch)
    {
        watchFIDsStop();
    }
    return result;
}

bool PDLSequence::start(PDLEvent const* pEvent)
{
    if (!PDL_CHECK(m_pVariableID) ||
        !PDLRunTimeInfo::checkPresent(pEvent != nullptr, "Event", __FILE__, __LINE__))
    {
        return false;
    }
    getSymbolTable()->resetVariables();
    m_pVariableID->setValueInt(static_cast<int>(pEvent->m_widgetID));
    m_currentID = pEvent->m_widgetID;

    // Both are evaluated in this order: the guard only for a matching event.
    if (evaluateStartEvent(pEvent) && evaluateWhenCondition(true))
    {
        if (rtk::LogOutput* pLog = PDLWidget::getEventLogIfDebug())
        {
            pLog->level(7) << "  start seq " << getWorkplaceID() << "/" << getGroupID() << "/"
                           << getModuleID() << "/" << m_currentID << " (" << getFileName().getString() << ":"
                           << getLine() << ")" << std::endl;
        }
        m_running = true;
        return gotoState("INIT");
    }
    m_running = false;
    return false;
}

bool PDLSequence::gotoState(std::string const& name)
{
    if (!PDL_CHECK(m_pStateList))
    {
        return false;
    }
    if (!m_running)
    {
        return false;
    }
    if (name == "EXIT" || name == "CANCEL")
    {
        m_running = false;
    }
    m_pCurrentState = m_pStateList->getState(name);
    if (m_pCurrentState != nullptr)
    {
        PDLEvent enter(PDLEvent::eEventVariable);
        enter.m_name = "ENTER";
        if (m_pCurrentEvent != nullptr)
        {
            enter.m_widgetID = m_pCurrentEvent->m_widgetID;
        }
        m_pCurrentEvent = &enter;
        m_pCurrentState->execute();
        m_pCurrentEvent = nullptr;
        return m_running;
    }
    if (name == "EXIT" || name == "CANCEL")
    {
        return true;
    }
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "state " + name + " not found", __FILE__, __LINE__);
    return false;
}

bool PDLSequence::execute(PDLEvent const* pEvent)
{
    PDLRunTimeInfo::s_pCurrentObject = nullptr;
    PDLRunTimeInfo::s_pCurrentContext = this;
    bool result = false;
    if (PDL_CHECK(m_pCurrentState) &&
        PDLRunTimeInfo::checkPresent(pEvent != nullptr, "Event", __FILE__, __LINE__) &&
        PDL_CHECK(m_pVariableID) && PDL_CHECK(m_pVariableMacroLevel))
    {
        result = runEvent(pEvent);
    }
    PDLRunTimeInfo::s_pCurrentObject = nullptr;
    PDLRunTimeInfo::s_pCurrentContext = nullptr;
    return result;
}

bool PDLSequence::runEvent(PDLEvent const* pEvent)
{
    // The guard's reads count as subscriptions of this pass.
    watchFIDsStart();
    if (!evaluateWhenCondition(false))
    {
        watchFIDsStop();
        gotoState("CANCEL");
        return m_running;
    }

    m_running = true;
    m_pVariableID->setValueInt(static_cast<int>(pEvent->m_widgetID));
    m_pCurrentEvent = pEvent;
    m_currentID = pEvent->m_widgetID;

    if (m_traceEnabled && m_traceIDs.count(m_currentID) != 0)
    {
        PDLWidget::printTrace(*this, "Sequence ", m_currentID, pEvent);
    }
    if (rtk::LogOutput* pLog = PDLWidget::getEventLogIfDebug())
    {
        pLog->level(7) << "  exec seq  " << getWorkplaceID() << " / " << getGroupID() << "/" << getModuleID()
                       << "/" << m_currentID << " (" << getFileName().getString() << ":" << getLine() << ")"
                       << std::endl;
    }

    PDLWidget::runWithMacroLevel(*this, m_currentID, m_pVariableMacroLevel, m_pCurrentState);

    watchFIDsStop();
    return m_running;
}

void PDLSequence::watchFIDsStart()
{
    m_staleFIDs.swap(m_activeFIDs);
    m_activeFIDs.clear();
}

void PDLSequence::watchFIDsStop()
{
    PDLStateSubscriberKey const key(this, 0);
    for (std::string const& fid : m_staleFIDs)
    {
        PDLWidget::unsubscribeState(fid, key);
    }
}

void PDLSequence::subscribeFID(std::string const& fid)
{
    PDLWidget::subscribeState(fid, PDLStateSubscriberKey(this, 0));
    m_staleFIDs.erase(fid);
    m_activeFIDs.insert(fid);
}

void PDLSequence::setTrace(unsigned int id, bool on)
{
    if (on)
    {
        m_traceIDs.insert(id);
    }
    else
    {
        m_traceIDs.erase(id);
    }
    m_traceEnabled = !m_traceIDs.empty();
}
