#include "pdlmodule.h"

#include "pdlbaseclasses.h"
#include "pdlcommandclasses.h"
#include "pdlfunctionclasses.h"
#include "pdlsequenceclasses.h"
#include "pdltypeclasses.h"
#include "pdlwidgetclasses.h"

PDLInitSection::PDLInitSection(PDLContext* pParent, PDLVariableList* pLocals, PDLCodeBlock* pCode)
    : PDLContext(pParent, pParent != nullptr ? pParent->getUniqueModuleID() : UniqueModuleID()),
      m_pInitCode(pCode)
{
    if (m_pInitCode == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pInitCode", __FILE__, __LINE__);
    }
    getSymbolTable()->registerVariableList(pLocals);
}

PDLInitSection::~PDLInitSection()
{
    delete m_pInitCode;
}

EScope PDLInitSection::getScope() const
{
    return eScopeLocal;
}

void PDLInitSection::init()
{
    if (m_pInitCode == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pInitCode", __FILE__, __LINE__);
        return;
    }
    m_pInitCode->setContext(this, false);
}

void PDLInitSection::execute()
{
    if (m_pInitCode == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "m_pInitCode", __FILE__, __LINE__);
        return;
    }
    m_pInitCode->execute();
}

PDLModule::PDLModule(PDLContext* pParent, UniqueModuleID const& id, int connPort, int connConnector,
                     IFunctionID* pFunctionID, std::string const& name)
    : PDLContext(pParent, id), m_connPort(connPort), m_connConnector(connConnector),
      m_pFunctionID(pFunctionID), m_name(name)
{
}

PDLModule::~PDLModule()
{
    clearContent();
}

void PDLModule::clearContent()
{
    m_runningSequences.clear();
    m_widgetsByID.clear();
    m_sequencesByID.clear();
    m_commandsByLine.clear();
    for (PDLInitSection* pInitSection : m_initSections)
    {
        delete pInitSection;
    }
    m_initSections.clear();
    for (PDLWidget* pWidget : m_widgets)
    {
        delete pWidget;
    }
    m_widgets.clear();
    for (PDLSequence* pSequence : m_sequences)
    {
        delete pSequence;
    }
    m_sequences.clear();
    for (auto& entry : m_functions)
    {
        delete entry.second;
    }
    m_functions.clear();
    for (auto& entry : m_types)
    {
        delete entry.second;
    }
    m_types.clear();
    m_variablesInFile.clear();
}

EScope PDLModule::getScope() const
{
    return eScopeModule;
}

int PDLModule::getWorkplaceID() const
{
    return m_moduleID.getWorkplaceID();
}

int PDLModule::getGroupID() const
{
    return m_moduleID.getGroupID();
}

int PDLModule::getModuleID() const
{
    return m_moduleID.getModuleID();
}

PDLModule* PDLModule::getModule()
{
    return this;
}

IFunctionID* PDLModule::getFunctionIDInterface()
{
    return m_pFunctionID;
}

void PDLModule::executeEvent(PDLEvent const* pEvent)
{
    if (pEvent == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "Event", __FILE__, __LINE__);
        return;
    }
    // Widgets and sequences bound to the event are served here once the event entry is built.
}

void PDLModule::addInitSection(PDLInitSection* pInitSection)
{
    if (pInitSection != nullptr)
    {
        m_initSections.push_back(pInitSection);
    }
}

void PDLModule::addWidget(PDLWidget* pWidget)
{
    if (pWidget == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "pWidget", __FILE__, __LINE__);
        return;
    }
    m_widgets.push_back(pWidget);
    for (uint32_t id : pWidget->getWidgetIDs())
    {
        m_widgetsByID.emplace(id, pWidget);
    }
}

void PDLModule::addSequence(PDLSequence* pSequence)
{
    if (pSequence == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "pSequence", __FILE__, __LINE__);
        return;
    }
    m_sequences.push_back(pSequence);
    for (uint32_t id : pSequence->getWidgetIDs())
    {
        m_sequencesByID.emplace(id, pSequence);
    }
}

void PDLModule::addFunction(PDLFunction* pFunction)
{
    if (pFunction == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "pFunction", __FILE__, __LINE__);
        return;
    }
    if (!m_functions.emplace(pFunction->getName(), pFunction).second)
    {
        // The first function stays; the refused one is neither entered nor freed.
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelError, "function name already exists", __FILE__,
                               __LINE__);
    }
}

void PDLModule::createExternVariables(std::string const& /*fid*/, std::string const& /*typeName*/,
                                      PDLProtoVarVector* pProtos)
{
    // Minimal form until extern variables exist: the declaration is consumed without effect.
    if (pProtos != nullptr)
    {
        for (PDLProtoVariable* pProto : *pProtos)
        {
            delete pProto;
        }
        delete pProtos;
    }
}

PDLFunction* PDLModule::getFunction(std::string const& name) const
{
    auto it = m_functions.find(name);
    return it != m_functions.end() ? it->second : nullptr;
}

bool PDLModule::registerType(PDLType* pType)
{
    if (pType == nullptr)
    {
        PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, "type", __FILE__, __LINE__);
        return false;
    }
    if (hasType(pType->getName()))
    {
        delete pType;
        return false;
    }
    m_types[pType->getName()] = pType;
    return true;
}

bool PDLModule::hasType(std::string const& name) const
{
    return m_types.find(name) != m_types.end();
}

PDLType* PDLModule::getType(std::string const& name) const
{
    auto it = m_types.find(name);
    return it != m_types.end() ? it->second : nullptr;
}

void PDLModule::addVariableInFile(std::string const& name)
{
    m_variablesInFile.insert(name);
}

bool PDLModule::hasVariableInFile(std::string const& name) const
{
    return m_variablesInFile.find(name) != m_variablesInFile.end();
}

void PDLModule::addCommand(int line, PDLCommand* pCommand)
{
    m_commandsByLine.emplace(line, pCommand);
}

PDLCommand* PDLModule::getCommand(int line) const
{
    auto it = m_commandsByLine.find(line);
    return it != m_commandsByLine.end() ? it->second : nullptr;
}
