#include "pdlwidgetclasses.h"

#include "pdlcommandclasses.h"
#include "pdleventmanager.h"
#include "pdlmodule.h"
#include "pdltypeclasses.h"

#include <interfaces/imacrosystem.h>

#include "rtk/log.h"

#include <iomanip>
#include <iostream>
#include <sstream>

namespace
{
char const* const s_zeroIDText = "Non-numeric or zero Widget ID";
} // namespace

// ---------------------------------------------------------------------------------------------------
// Helpers shared with sequences

rtk::LogOutput* PDLWidget::getEventLogIfDebug()
{
    if (!rtk::LogManager::hasInstance())
    {
        return nullptr;
    }
    rtk::LogOutput* pLog = rtk::LogManager::getInstance()->getOutput("EventMgr");
    return pLog->getLevel() > 6 ? pLog : nullptr;
}

void PDLWidget::printTrace(PDLContext const& context, char const* label, uint32_t id, PDLEvent const* pEvent)
{
    std::cout << context.getFileName().getString() << "(" << context.getLine() << "): " << label
              << std::setw(3) << context.getWorkplaceID() << " / " << std::setw(3) << context.getGroupID()
              << " / " << std::setw(3) << context.getModuleID() << " / " << std::setw(6) << id << " "
              << (pEvent->m_type == PDLEvent::eEventVariable ? "VARCHANGE " : "") << pEvent->m_name
              << std::endl;
}

std::string PDLWidget::describe(PDLContext const& context, int id)
{
    std::ostringstream text;
    text << context.getWorkplaceID() << "." << context.getGroupID() << "." << context.getModuleID() << "."
         << id << " (" << context.getFileName().getString() << "." << context.getLine() << ")";
    return text.str();
}

IMacroSystem* PDLWidget::getMacroSystem()
{
    return PDLEventManager::hasInstance() ? PDLEventManager::getInstance()->getMacroSystemInterface()
                                          : nullptr;
}

void PDLWidget::runWithMacroLevel(PDLContext const& context, uint32_t id, PDLVariable* pMacroLevel,
                                  PDLCommand* pCode)
{
    IMacroSystem* pMacroSystem = getMacroSystem();
    if (pMacroSystem == nullptr)
    {
        pCode->execute();
        return;
    }
    // The module part is the context's own: the same as its workplace, group and module numbers.
    UniqueWidgetID const widgetID(context.getUniqueModuleID(), static_cast<uint16_t>(id));
    pMacroLevel->setValueString(pMacroSystem->getMacroLevel(widgetID));
    pMacroLevel->clearChangeFlag();
    pCode->execute();
    // Only an assignment in the code raises the flag: then the new level goes back.
    if (pMacroLevel->isChanged())
    {
        PDLVariant const level = pMacroLevel->getValue("", false);
        if (level.getKind() != PDLVariant::eInvalid)
        {
            pMacroSystem->setMacroLevel(widgetID, level.getString());
        }
    }
}

// ---------------------------------------------------------------------------------------------------
// PDLWidget

PDLWidget::PDLWidget(PDLContext* pParent, std::string const& idVariableName, unsigned int id,
                     PDLVariableList* pVariables, PDLCodeBlock* pCode)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pVariableList(pVariables),
      m_pWidgetCode(pCode), m_pCurrentEvent(nullptr), m_currentID(0), m_traceEnabled(false)
{
    createLocals(*this, idVariableName, m_pVariableID, m_pVariableMacroLevel);
    if (id != 0)
    {
        m_widgetIDs.push_back(id);
    }
    else
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, s_zeroIDText, __FILE__, __LINE__);
    }
    finishConstruction();
}

PDLWidget::PDLWidget(PDLContext* pParent, std::string const& idVariableName, std::string const& typeName,
                     PDLVariableList* pVariables, PDLCodeBlock* pCode)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pVariableID(nullptr), m_pVariableMacroLevel(nullptr), m_pVariableList(pVariables),
      m_pWidgetCode(pCode), m_pCurrentEvent(nullptr), m_currentID(0), m_traceEnabled(false)
{
    createLocals(*this, idVariableName, m_pVariableID, m_pVariableMacroLevel);
    collectTypeIDs(pParent, typeName, m_widgetIDs);
    finishConstruction();
}

PDLWidget::~PDLWidget()
{
    // Every number that ran, served or not, gives up what its last pass subscribed.
    for (auto const& entry : m_activeFIDs)
    {
        PDLStateSubscriberKey const key(this, static_cast<int32_t>(entry.first));
        for (std::string const& fid : entry.second)
        {
            unsubscribeState(fid, key);
        }
    }
    for (PDLVariable* pVariable : m_registeredVariables)
    {
        pVariable->unregisterWidget(this);
    }
    delete m_pVariableList;
    delete m_pWidgetCode;
}

void PDLWidget::createLocals(PDLContext& context, std::string const& idVariableName,
                             PDLVariable*& pVariableID, PDLVariable*& pVariableMacroLevel)
{
    PDLSymbolTable* pTable = context.getSymbolTable();
    pVariableID = pTable->registerVariable(
        new PDLVariableSimple(eScopeLocal, "", idVariableName, false, false, false, false));
    pVariableMacroLevel = pTable->registerVariable(
        new PDLVariableSimple(eScopeLocal, "", "macro_level", false, false, false, false));
}

std::set<std::string> PDLWidget::getActiveFIDs(uint32_t id) const
{
    auto it = m_activeFIDs.find(id);
    return it != m_activeFIDs.end() ? it->second : std::set<std::string>();
}

void PDLWidget::collectTypeIDs(PDLContext* pParent, std::string const& typeName, std::list<uint32_t>& ids)
{
    if (!PDLRunTimeInfo::checkPresent(pParent != nullptr, "pParentContext", __FILE__, __LINE__))
    {
        return;
    }
    PDLModule* pModule = pParent->getModule();
    if (!PDL_CHECK(pModule))
    {
        return;
    }
    PDLType* pType = pModule->getType(typeName);
    if (pType == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "Unknown type " + typeName, __FILE__, __LINE__);
        return;
    }
    for (PDLVariantIteratorCont it = pType->begin(""); it != pType->end(""); ++it)
    {
        int const value = (*it).getInt();
        if (value != 0)
        {
            ids.push_back(static_cast<uint32_t>(value));
        }
        else
        {
            PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, s_zeroIDText, __FILE__, __LINE__);
        }
    }
}

void PDLWidget::finishConstruction()
{
    PDL_CHECK(m_pWidgetCode);
    getSymbolTable()->registerVariableList(m_pVariableList);
}

void PDLWidget::subscribeState(std::string const& fid, PDLStateSubscriberKey const& key)
{
    if (PDLPanelState::hasInstance())
    {
        PDLPanelState::getInstance()->subscribe(fid, key);
    }
}

void PDLWidget::unsubscribeState(std::string const& fid, PDLStateSubscriberKey const& key)
{
    if (PDLPanelState::hasInstance())
    {
        PDLPanelState::getInstance()->unsubscribe(fid, key);
    }
}

void PDLWidget::registerForVariableEvent(std::string const& name, bool separateEvent)
{
    PDLVariable* pVariable = PDLContext::getVariable(name, false, false);
    if (!PDL_CHECK(pVariable))
    {
        return;
    }
    pVariable->registerWidget(this, separateEvent);
    m_registeredVariables.insert(pVariable);
}

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

std::string PDLWidget::getDescription(int id) const
{
    return describe(*this, id);
}

PDLEvent* PDLWidget::makeEvent(int id)
{
    PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventState);
    pEvent->m_name = "STATE";
    pEvent->m_pModule = getModule();
    pEvent->m_pWidget = this;
    if (id != 0)
    {
        pEvent->m_widgetID = static_cast<uint32_t>(id);
    }
    return pEvent;
}

PDLEvent* PDLWidget::makeTriggerEvent(int id, std::string const& name, std::string const& value)
{
    PDLEvent* pEvent = new PDLEvent(PDLEvent::eEventMFDriver);
    pEvent->m_widgetID = static_cast<uint32_t>(id);
    pEvent->m_name = name;
    pEvent->m_strValue = value;
    pEvent->m_pModule = getModule();
    pEvent->m_pWidget = this;
    return pEvent;
}

void PDLWidget::execute(PDLEvent const* pEvent)
{
    PDLRunTimeInfo::s_pCurrentObject = nullptr;
    PDLRunTimeInfo::s_pCurrentContext = this;
    // Each missing part is reported, not only the first.
    bool ready = PDL_CHECK(m_pVariableID);
    ready = PDL_CHECK(m_pWidgetCode) && ready;
    ready = PDLRunTimeInfo::checkPresent(pEvent != nullptr, "Event", __FILE__, __LINE__) && ready;
    if (ready)
    {
        m_pCurrentEvent = pEvent;
        switch (pEvent->m_type)
        {
        case PDLEvent::eEventWidget:
        case PDLEvent::eEventMFDriver:
        case PDLEvent::eEventState:
            privateExecute(pEvent->m_widgetID);
            break;
        case PDLEvent::eEventVariable:
        case PDLEvent::eEventInit:
            for (uint32_t id : m_widgetIDs)
            {
                privateExecute(id);
            }
            break;
        default:
            PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "unknown event type", __FILE__, __LINE__);
            break;
        }
    }
    PDLRunTimeInfo::s_pCurrentObject = nullptr;
    PDLRunTimeInfo::s_pCurrentContext = nullptr;
}

void PDLWidget::privateExecute(unsigned int id)
{
    if (!PDL_CHECK(m_pCurrentEvent) || !PDL_CHECK(m_pVariableMacroLevel) || !PDL_CHECK(m_pVariableID) ||
        !PDL_CHECK(m_pWidgetCode))
    {
        return;
    }
    if (m_traceEnabled && m_traceIDs.count(id) != 0)
    {
        printTrace(*this, "Widget   ", id, m_pCurrentEvent);
    }
    if (rtk::LogOutput* pLog = getEventLogIfDebug())
    {
        pLog->level(7) << "  exec widg " << getWorkplaceID() << "/" << getGroupID() << "/" << getModuleID()
                       << "/" << id << " (" << getFileName().getString() << ":" << getLine() << ")"
                       << std::endl;
    }

    // Locals start afresh in every pass.
    getSymbolTable()->resetVariables();
    m_pVariableID->setValueInt(static_cast<int>(id));
    m_currentID = id;

    // What the last pass subscribed becomes stale until this pass reads it again.
    std::set<std::string>& stale = m_staleFIDs[id];
    std::set<std::string>& active = m_activeFIDs[id];
    stale.swap(active);
    active.clear();

    runWithMacroLevel(*this, id, m_pVariableMacroLevel, m_pWidgetCode);

    // Whatever this pass did not read any more is no longer watched.
    PDLStateSubscriberKey const key(this, static_cast<int32_t>(id));
    for (std::string const& fid : stale)
    {
        unsubscribeState(fid, key);
    }
}

void PDLWidget::subscribeFID(std::string const& fid)
{
    subscribeState(fid, PDLStateSubscriberKey(this, static_cast<int32_t>(m_currentID)));
    m_staleFIDs[m_currentID].erase(fid);
    m_activeFIDs[m_currentID].insert(fid);
}

void PDLWidget::setTrace(unsigned int id, bool on)
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
