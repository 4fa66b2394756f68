#ifndef INTERFACES_IEVENTMANAGER_H
#define INTERFACES_IEVENTMANAGER_H

#include "interfaces/iinterface.h"

#include <string>

class UniqueModuleID;

class IEventManager : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIEventManager;

    // The caller holds the interpreter mutex.
    virtual void setVariableDelayed(UniqueModuleID const& id, std::string const& name,
                                    std::string const& value) = 0;
    // Changes the PDL file name of a workplace for modules found afterwards.
    virtual void changePDLFilename(int workplaceID, std::string const& name) = 0;
};

#endif
