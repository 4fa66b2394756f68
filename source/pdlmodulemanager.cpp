#include "pdlmodulemanager.h"

#include "pdlbaseclasses.h"
#include "pdleventmanager.h"
#include "pdlfunctionclasses.h"
#include "pdlinterpreter.h"
#include "pdlmodule.h"
#include "pdltypeclasses.h"

#include "rtk/cmd.h"

#include <logkit/logging.h>

#include <cstdlib>
#include <iomanip>
#include <iostream>

namespace
{
void reportFailedCheck(char const* pName, char const* pFile, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, pName, pFile, line);
}

// A read-only variable of a scope, made at the scope's construction.
PDLVariable* createBuiltIn(PDLContext& context, EScope scope, std::string const& name)
{
    return context.getSymbolTable()->registerVariable(
        new PDLVariableSimple(scope, "", name, false, true, false, false, context.getUniqueModuleID()));
}

long toNumber(std::string const& text)
{
    return std::strtol(text.c_str(), nullptr, 10);
}

// The position named by three shell arguments from first on; out of range ends the process.
UniqueModuleID toModuleID(rtk::CmdParameters const& params, size_t first)
{
    return UniqueModuleID(static_cast<uint16_t>(toNumber(params.get(first))),
                          static_cast<uint16_t>(toNumber(params.get(first + 1))),
                          static_cast<uint16_t>(toNumber(params.get(first + 2))));
}

std::ostream& writeModule(std::ostream& os, UniqueModuleID const& id)
{
    return os << id.getWorkplaceID() << "." << id.getGroupID() << "." << id.getModuleID();
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Scopes

PDLGlobal::PDLGlobal() : PDLContext(nullptr, UniqueModuleID())
{
    m_pEventName = createBuiltIn(*this, eScopeGlobal, "event_name");
    m_pEventID = createBuiltIn(*this, eScopeGlobal, "event_id");
    m_pEventValue = createBuiltIn(*this, eScopeGlobal, "event_value");
}

PDLGlobal::~PDLGlobal() {}

EScope PDLGlobal::getScope() const
{
    return eScopeGlobal;
}

void PDLGlobal::setEvent(PDLEvent const* pEvent)
{
    if (pEvent == nullptr)
    {
        return;
    }
    m_pEventName->setValueString(pEvent->m_name);
    m_pEventID->setValueInt(static_cast<int>(pEvent->m_widgetID));
    if (!pEvent->m_strValue.empty())
    {
        m_pEventValue->setValueString(pEvent->m_strValue);
    }
    else
    {
        m_pEventValue->setValueInt(pEvent->m_intValue);
    }
}

PDLWorkplace::PDLWorkplace(PDLContext* pParent, int workplaceID)
    : PDLContext(pParent, UniqueModuleID(static_cast<uint16_t>(workplaceID), 0, 0))
{
    createBuiltIn(*this, eScopeWorkplace, "workplace_id")->setValueInt(workplaceID);
}

EScope PDLWorkplace::getScope() const
{
    return eScopeWorkplace;
}

int PDLWorkplace::getWorkplaceID() const
{
    return m_moduleID.getWorkplaceID();
}

PDLGroup::PDLGroup(PDLContext* pParent, int workplaceID, int groupID)
    : PDLContext(pParent,
                 UniqueModuleID(static_cast<uint16_t>(workplaceID), static_cast<uint16_t>(groupID), 0))
{
    createBuiltIn(*this, eScopeGroup, "group_id")->setValueInt(groupID);
}

EScope PDLGroup::getScope() const
{
    return eScopeGroup;
}

int PDLGroup::getWorkplaceID() const
{
    return m_moduleID.getWorkplaceID();
}

int PDLGroup::getGroupID() const
{
    return m_moduleID.getGroupID();
}

// ---------------------------------------------------------------------------------------------------
// PDLModuleManager

PDLModuleManager::PDLModuleManager() : m_pGlobal(new PDLGlobal), m_pFunctionID(nullptr)
{
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    pCmd->registerCmd("listModules", "listModules\n\tlist all modules", this,
                      &PDLModuleManager::shellCmdListModules);
    pCmd->registerCmd("loadModule",
                      "loadModule <workplace id> <group id> <module id> <PDL file name>\n\tload module at "
                      "position wpid/gid/mid with specified PDL file",
                      this, &PDLModuleManager::shellCmdLoadModule);
    pCmd->registerCmd("reloadModule",
                      "reloadModule <workplace id> <group id> <module id>\n\treload module at position "
                      "wpid/gid/mid with current PDL file",
                      this, &PDLModuleManager::shellCmdReloadModule);
    pCmd->registerCmd(
        "showTypes",
        "showTypes <workplace id> <group id> <module id>\n\tprint a list of all PDL types of the "
        "specified module",
        this, &PDLModuleManager::shellCmdShowTypes);
    pCmd->registerCmd(
        "showVariables",
        "showVariables [<workplace id> [<group id> [<module id> [w <widget id> | s <sequence id> "
        "| <widget function name>]]]]\n\tshow symbol table of specified group / module / widget, "
        "or global table if no IDs specified",
        this, &PDLModuleManager::shellCmdShowVariables);
    pCmd->registerCmd(
        "traceOn",
        "traceOn <workplace id> <group id> <module id> <widget id>\n\tenable tracing of all events "
        "sent to specified widget/sequence",
        this, &PDLModuleManager::shellCmdTraceOn);
    pCmd->registerCmd("traceOff",
                      "traceOff <workplace id> <group id> <module id> <widget id>\n\tdisable tracing of all "
                      "events sent to specified widget/sequence",
                      this, &PDLModuleManager::shellCmdTraceOff);
}

PDLModuleManager::~PDLModuleManager()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    Orvane::Utilities::Logging::LogCategory log("Startup");
    log.info() << "Unloading modules..." << std::endl;
    m_pFunctionID = nullptr;
    for (auto& entry : m_modules)
    {
        delete entry.second;
    }
    m_modules.clear();
    for (auto& entry : m_groups)
    {
        delete entry.second;
    }
    m_groups.clear();
    for (auto& entry : m_workplaces)
    {
        delete entry.second;
    }
    m_workplaces.clear();
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

bool PDLModuleManager::createModule(UniqueModuleID const& id, int connPort, int connConnector,
                                    rtk::Path const& base, std::string const& pdlFile,
                                    std::string const& mhlFile)
{
    m_configBase = base;
    m_configBase.fixNotFullQualified();
    if (m_modules.find(id) != m_modules.end())
    {
        writeModule(PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__) << "module ",
                    id)
            << " already exists" << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
        return false;
    }
    int const workplaceID = id.getWorkplaceID();
    int const groupKey = (workplaceID << 8) | id.getGroupID();
    PDLWorkplace*& pWorkplace = m_workplaces[workplaceID];
    if (pWorkplace == nullptr)
    {
        pWorkplace = new PDLWorkplace(m_pGlobal, workplaceID);
    }
    PDLGroup*& pGroup = m_groups[groupKey];
    if (pGroup == nullptr)
    {
        pGroup = new PDLGroup(pWorkplace, workplaceID, id.getGroupID());
    }
    PDLModule* pModule = new PDLModule(pGroup, id, connPort, connConnector, m_pFunctionID, mhlFile);
    m_modules[id] = pModule;
    // A module that fails to load stays: events still find it, and a second create reports it.
    return pModule->load(m_configBase, pdlFile);
}

void PDLModuleManager::initModule(UniqueModuleID const& id)
{
    auto it = m_modules.find(id);
    if (it == m_modules.end())
    {
        writeModule(
            PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__) << "init: module ", id)
            << " doesn't exist" << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
        return;
    }
    it->second->init();
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
        writeModule(PDLRunTimeInfo::showError(rtk::LogOutput::eLevelError, __FILE__, __LINE__)
                        << "unknown module ",
                    id)
            << std::endl
            << std::endl;
        ++PDLParseInfo::m_errorCount;
        return nullptr;
    }
    return it->second;
}

PDLWorkplace* PDLModuleManager::getWorkplace(int workplaceID) const
{
    auto it = m_workplaces.find(workplaceID);
    return it != m_workplaces.end() ? it->second : nullptr;
}

PDLGroup* PDLModuleManager::getGroup(int workplaceID, int groupID) const
{
    auto it = m_groups.find((workplaceID << 8) | groupID);
    return it != m_groups.end() ? it->second : nullptr;
}

std::string PDLModuleManager::getVariableValue(UniqueModuleID const& id, std::string const& name)
{
    PDLModule* pModule = getModule(id);
    if (pModule == nullptr)
    {
        reportFailedCheck("pModule", __FILE__, __LINE__);
        return std::string();
    }
    PDLVariable* pVariable = pModule->getVariable(name, true, false);
    if (pVariable == nullptr)
    {
        reportFailedCheck("pVar", __FILE__, __LINE__);
        return std::string();
    }
    return pVariable->getValue("", true).getString();
}

void PDLModuleManager::setVariableValue(UniqueModuleID const& id, std::string const& name,
                                        std::string const& value)
{
    // Test tools pass known names; the checks report, and a missing module or variable is then used
    // as it is.
    PDLModule* pModule = getModule(id);
    if (pModule == nullptr)
    {
        reportFailedCheck("pModule", __FILE__, __LINE__);
    }
    PDLVariable* pVariable = pModule->getVariable(name, false, false);
    if (pVariable == nullptr)
    {
        reportFailedCheck("pVar", __FILE__, __LINE__);
    }
    pVariable->setValueString(value);
}

// ---------------------------------------------------------------------------------------------------
// Shell commands

bool PDLModuleManager::shellCmdListModules(rtk::CmdParameters& /*params*/)
{
    std::cout << "Config Base Directory: " << m_configBase.getString() << std::endl << std::endl;
    std::cout << "WPID  GID   MID   MHL file name                  PDL file name" << std::endl;
    std::cout << std::string(80, '=') << std::endl;
    for (auto const& entry : m_modules)
    {
        UniqueModuleID const& id = entry.first;
        PDLModule const* pModule = entry.second;
        std::cout << std::right << std::setw(2) << id.getWorkplaceID() << "    " << std::setw(2)
                  << id.getGroupID() << "    " << std::setw(2) << id.getModuleID() << "    " << std::left
                  << std::setw(30) << pModule->getName() << " " << std::setw(30) << pModule->getSourceName()
                  << std::right << std::endl;
    }
    return true;
}

bool PDLModuleManager::shellCmdLoadModule(rtk::CmdParameters& params)
{
    if (params.getCount() != 4)
    {
        std::cout << "command format: loadModule <workplace id> <group id> <module id> <PDL file name>"
                  << std::endl;
        return false;
    }
    auto it = m_modules.find(toModuleID(params, 0));
    if (it == m_modules.end())
    {
        std::cout << "module doesn't exist" << std::endl;
        return false;
    }
    // The file name is taken from the third argument, the module id; the fourth is required but not
    // read. Scripts rely on the command as it is.
    std::string const fileName = params.get(2);
    // The load deletes code the main loop may be running, or be held in at a breakpoint: it waits for
    // the interpreter mutex, which lets such a stop go.
    PDLInterpreter::mutexTake();
    bool const loaded = it->second->load(m_configBase, fileName);
    if (!loaded)
    {
        std::cout << "module load failed" << std::endl;
    }
    else
    {
        it->second->init();
    }
    PDLInterpreter::mutexGive();
    return loaded;
}

bool PDLModuleManager::shellCmdReloadModule(rtk::CmdParameters& params)
{
    if (params.getCount() != 3)
    {
        std::cout << "command format: reloadModule <workplace id> <group id> <module id>" << std::endl;
        return false;
    }
    auto it = m_modules.find(toModuleID(params, 0));
    if (it == m_modules.end())
    {
        std::cout << "module doesn't exist" << std::endl;
        return false;
    }
    it->second->reload();
    return true;
}

bool PDLModuleManager::shellCmdShowTypes(rtk::CmdParameters& params)
{
    if (params.getCount() != 3)
    {
        std::cout << "wrong argument count (see help)" << std::endl;
        return true;
    }
    PDLModule* pModule = getModule(toModuleID(params, 0));
    if (pModule != nullptr)
    {
        pModule->dumpTypes();
    }
    return true;
}

bool PDLModuleManager::shellCmdShowVariables(rtk::CmdParameters& params)
{
    size_t const count = params.getCount();
    PDLContext* pTarget = nullptr;
    switch (count)
    {
    case 0:
        pTarget = m_pGlobal;
        break;
    case 1:
        pTarget = getWorkplace(static_cast<int>(toNumber(params.get(0))));
        break;
    case 2:
        pTarget =
            getGroup(static_cast<int>(toNumber(params.get(0))), static_cast<int>(toNumber(params.get(1))));
        break;
    case 3:
        pTarget = getModule(toModuleID(params, 0));
        break;
    case 4:
    {
        PDLModule* pModule = getModule(toModuleID(params, 0));
        if (pModule != nullptr)
        {
            pTarget = pModule->getFunction(params.get(3));
        }
        break;
    }
    case 5:
    {
        PDLModule* pModule = getModule(toModuleID(params, 0));
        if (pModule != nullptr)
        {
            unsigned int const id = static_cast<unsigned int>(toNumber(params.get(4)));
            if (params.get(3) == "w")
            {
                pModule->dumpWidgetSymbolTables(id);
            }
            else if (params.get(3) == "s")
            {
                pModule->dumpSequenceSymbolTables(id);
            }
        }
        return true;
    }
    default:
        std::cout << "too many arguments" << std::endl;
        return true;
    }
    if (pTarget != nullptr)
    {
        pTarget->getSymbolTable()->dump();
    }
    return true;
}

bool PDLModuleManager::setTrace(rtk::CmdParameters& params, bool on)
{
    if (params.getCount() != 4)
    {
        std::cout << "wrong argument count" << std::endl;
        return true;
    }
    PDLModule* pModule = getModule(toModuleID(params, 0));
    if (pModule != nullptr)
    {
        pModule->setTrace(static_cast<unsigned int>(toNumber(params.get(3))), on);
    }
    return true;
}

bool PDLModuleManager::shellCmdTraceOn(rtk::CmdParameters& params)
{
    return setTrace(params, true);
}

bool PDLModuleManager::shellCmdTraceOff(rtk::CmdParameters& params)
{
    return setTrace(params, false);
}
