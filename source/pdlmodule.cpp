#include "pdlmodule.h"

#include "pdlbaseclasses.h"
#include "pdltypeclasses.h"

PDLModule::PDLModule(UniqueModuleID const& id) : m_id(id) {}

PDLModule::~PDLModule()
{
    for (auto& entry : m_types)
    {
        delete entry.second;
    }
}

void PDLModule::executeEvent(PDLEvent const* pEvent)
{
    if (pEvent == nullptr)
    {
        PDLRunTimeInfo::showError(rtk::LogOutput::eLevelFatal, __FILE__, __LINE__) << "Event" << std::endl
                                                                                   << std::endl;
        ++PDLParseInfo::m_errorCount;
        return;
    }
    // Widgets and sequences bound to the event are served here once modules are loaded from PDL.
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
