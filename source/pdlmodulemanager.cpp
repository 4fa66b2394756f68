#include "pdlmodulemanager.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlmodule.h"

#include <logkit/logging.h>

#include <sstream>

namespace
{
void reportFailedCheck(char const* pName, char const* pFile, int line)
{
    PDLRunTimeInfo::showError(rtk::LogOutput::eLevelFatal, pFile, line) << pName << std::endl << std::endl;
    ++PDLParseInfo::m_errorCount;
}
} // namespace

PDLGlobal::PDLGlobal() : m_eventID(0), m_setEventCount(0) {}

PDLGlobal::~PDLGlobal() {}

void PDLGlobal::setEvent(PDLEvent const* pEvent)
{
    if (pEvent == nullptr)
    {
        return;
    }
    m_eventName = pEvent->m_name;
    m_eventID = pEvent->m_widgetID;
    if (!pEvent->m_strValue.empty())
    {
        m_eventValue = pEvent->m_strValue;
    }
    else
    {
        m_eventValue = std::to_string(pEvent->m_intValue);
    }
    ++m_setEventCount;
}

PDLModuleManager::PDLModuleManager() : m_pGlobal(new PDLGlobal), m_pFunctionID(nullptr) {}

PDLModuleManager::~PDLModuleManager()
{
    Orvane::Utilities::Logging::LogCategory log("Startup");
    log.info() << "Unloading modules..." << std::endl;
    m_pFunctionID = nullptr;
    for (auto& entry : m_modules)
    {
        delete entry.second;
    }
    m_modules.clear();
    delete m_pGlobal;
    m_pGlobal = nullptr;
}

IInterface* PDLModuleManager::queryInterface(unsigned int id)
{
    if (id == IModuleManager::s_interfaceID)
    {
        return static_cast<IModuleManager*>(this);
    }
    if (id == IModuleTest::s_interfaceID)
    {
        return static_cast<IModuleTest*>(this);
    }
    return nullptr;
}

bool PDLModuleManager::createModule(UniqueModuleID const& id, int /*connPort*/, int /*connConnector*/,
                                    rtk::Path const& base, std::string const& /*pdlFile*/,
                                    std::string const& /*mhlFile*/)
{
    m_configBase = base;
    m_configBase.fixNotFullQualified();
    if (m_modules.find(id) != m_modules.end())
    {
        PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__)
            << "module " << id.getWorkplaceID() << "." << id.getGroupID() << "." << id.getModuleID()
            << " already exists" << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
        return false;
    }
    // Scopes and the module are made and loaded from PDL with module loading; until then no module
    // can be created.
    return false;
}

void PDLModuleManager::initModule(UniqueModuleID const& id)
{
    if (m_modules.find(id) == m_modules.end())
    {
        PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__)
            << "init: module " << id.getWorkplaceID() << "." << id.getGroupID() << "." << id.getModuleID()
            << " doesn't exist" << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
    }
}

void PDLModuleManager::deinitModule(UniqueModuleID const& id)
{
    auto it = m_modules.find(id);
    if (it == m_modules.end())
    {
        return;
    }
    delete it->second;
    m_modules.erase(it);
}

PDLModule* PDLModuleManager::getModule(UniqueModuleID const& id)
{
    auto it = m_modules.find(id);
    if (it == m_modules.end())
    {
        PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__)
            << "unknown module " << id.getWorkplaceID() << "." << id.getGroupID() << "." << id.getModuleID()
            << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
        return nullptr;
    }
    return it->second;
}

std::string PDLModuleManager::getVariableValue(UniqueModuleID const& id, std::string const& /*name*/)
{
    PDLModule* pModule = getModule(id);
    if (pModule == nullptr)
    {
        reportFailedCheck("pModule", __FILE__, __LINE__);
        return std::string();
    }
    // Module variables come with module loading.
    reportFailedCheck("pVar", __FILE__, __LINE__);
    return std::string();
}

void PDLModuleManager::setVariableValue(UniqueModuleID const& id, std::string const& /*name*/,
                                        std::string const& /*value*/)
{
    PDLModule* pModule = getModule(id);
    if (pModule == nullptr)
    {
        reportFailedCheck("pModule", __FILE__, __LINE__);
    }
    // Module variables come with module loading.
    reportFailedCheck("pVar", __FILE__, __LINE__);
}
