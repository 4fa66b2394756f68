#ifndef PDLMODULEMANAGER_H
#define PDLMODULEMANAGER_H

// PDLGlobal, the root scope, and PDLModuleManager, the owner of every scope and module.

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

// The global scope. setEvent copies the event that is about to run into the three global event
// variables; until scopes hold PDL variables the values are kept in plain members.
class PDLGlobal
{
public:
    PDLGlobal();
    virtual ~PDLGlobal();

    void setEvent(PDLEvent const* pEvent);

    // event_name, event_id, event_value (a text value when the event has one, else its number).
    std::string const& getEventName() const { return m_eventName; }
    uint32_t getEventID() const { return m_eventID; }
    std::string const& getEventValue() const { return m_eventValue; }
    unsigned int getSetEventCount() const { return m_setEventCount; }

private:
    std::string m_eventName;
    uint32_t m_eventID;
    std::string m_eventValue;
    unsigned int m_setEventCount;
};

class PDLModuleManager : public IModuleManager, public IModuleTest, public rtk::Singleton<PDLModuleManager>
{
public:
    PDLModuleManager();
    ~PDLModuleManager() override;

    IInterface* queryInterface(unsigned int id) override;

    bool createModule(UniqueModuleID const& id, int connPort, int connConnector, rtk::Path const& base,
                      std::string const& pdlFile, std::string const& mhlFile) override;
    void initModule(UniqueModuleID const& id) override;
    std::string getVariableValue(UniqueModuleID const& id, std::string const& name) override;
    void setVariableValue(UniqueModuleID const& id, std::string const& name,
                          std::string const& value) override;

    void deinitModule(UniqueModuleID const& id);
    // The module at that position; a missing one is reported and gives null.
    PDLModule* getModule(UniqueModuleID const& id);
    PDLGlobal* getGlobal() const { return m_pGlobal; }

    void setFunctionIDInterface(IFunctionID* pFunctionID) { m_pFunctionID = pFunctionID; }
    IFunctionID* getFunctionIDInterface() const { return m_pFunctionID; }
    rtk::Path const& getConfigBase() const { return m_configBase; }

private:
    PDLGlobal* m_pGlobal;
    std::map<UniqueModuleID, PDLModule*> m_modules;
    IFunctionID* m_pFunctionID;
    rtk::Path m_configBase;
};

#endif
