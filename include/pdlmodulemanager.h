#ifndef PDLMODULEMANAGER_H
#define PDLMODULEMANAGER_H

// The scopes above the module (PDLGlobal, PDLWorkplace, PDLGroup) and PDLModuleManager, the owner of
// every scope and module, with the shell commands that inspect and reload running PDL.

#include "pdlsymboltable.h"

#include "rtk/path.h"
#include "rtk/singleton.h"

#include <basekit/uniqueids.h>
#include <interfaces/imodulemanager.h>
#include <interfaces/imoduletest.h>

#include <cstdint>
#include <map>
#include <string>

class IFunctionID;
class PDLEvent;
class PDLModule;

namespace rtk
{
class CmdParameters;
}

// The root scope. Holds the three read-only event variables, which setEvent fills with the event that
// is about to run.
class PDLGlobal : public PDLContext
{
public:
    PDLGlobal();
    ~PDLGlobal() override;

    EScope getScope() const override;
    // event_name from the name, event_id from the widget number, event_value from the text value when
    // there is one, else from the number.
    void setEvent(PDLEvent const* pEvent);

protected:
    // Owned by the symbol table.
    PDLVariable* m_pEventName;
    PDLVariable* m_pEventID;
    PDLVariable* m_pEventValue;
};

// The scope of one workplace, with the read-only "workplace_id".
class PDLWorkplace : public PDLContext
{
public:
    PDLWorkplace(PDLContext* pParent, int workplaceID);

    EScope getScope() const override;
    int getWorkplaceID() const override;
};

// The scope of one group of a workplace, with the read-only "group_id".
class PDLGroup : public PDLContext
{
public:
    PDLGroup(PDLContext* pParent, int workplaceID, int groupID);

    EScope getScope() const override;
    int getWorkplaceID() const override;
    int getGroupID() const override;
};

class PDLModuleManager : public IModuleManager, public IModuleTest, public rtk::Singleton<PDLModuleManager>
{
public:
    // Makes the global scope and registers the shell commands.
    PDLModuleManager();
    // Deletes the modules, then the groups, the workplaces and the global scope.
    ~PDLModuleManager() override;

    IInterface* queryInterface(unsigned int id) override;

    // Makes the workplace and group on demand, then a module that is registered and loaded. A module
    // that failed to load stays registered. An id already taken is reported and gives false.
    bool createModule(UniqueModuleID const& id, int connPort, int connConnector, rtk::Path const& base,
                      std::string const& pdlFile, std::string const& mhlFile) override;
    void initModule(UniqueModuleID const& id) override;
    std::string getVariableValue(UniqueModuleID const& id, std::string const& name) override;
    void setVariableValue(UniqueModuleID const& id, std::string const& name,
                          std::string const& value) override;

    // Deletes a module; an unknown id is ignored. Its workplace and group stay.
    void deinitModule(UniqueModuleID const& id);
    // The module at that position; a missing one is reported and gives null.
    PDLModule* getModule(UniqueModuleID const& id);
    // Plain lookups: null when absent, without a report.
    PDLWorkplace* getWorkplace(int workplaceID) const;
    PDLGroup* getGroup(int workplaceID, int groupID) const;
    PDLGlobal* getGlobal() const { return m_pGlobal; }

    // Modules made from now on get this interface; earlier ones keep theirs.
    void setFunctionIDInterface(IFunctionID* pFunctionID) { m_pFunctionID = pFunctionID; }
    IFunctionID* getFunctionIDInterface() const { return m_pFunctionID; }
    rtk::Path const& getConfigBase() const { return m_configBase; }

private:
    bool shellCmdListModules(rtk::CmdParameters& params);
    bool shellCmdLoadModule(rtk::CmdParameters& params);
    bool shellCmdReloadModule(rtk::CmdParameters& params);
    bool shellCmdShowTypes(rtk::CmdParameters& params);
    bool shellCmdShowVariables(rtk::CmdParameters& params);
    bool shellCmdTraceOn(rtk::CmdParameters& params);
    bool shellCmdTraceOff(rtk::CmdParameters& params);
    bool setTrace(rtk::CmdParameters& params, bool on);

    PDLGlobal* m_pGlobal;
    std::map<int, PDLWorkplace*> m_workplaces;
    // Key: workplace id shifted left by 8, or-ed with the group id.
    std::map<int, PDLGroup*> m_groups;
    std::map<UniqueModuleID, PDLModule*> m_modules;
    IFunctionID* m_pFunctionID;
    rtk::Path m_configBase;
};

#endif
