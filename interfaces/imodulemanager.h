#ifndef INTERFACES_IMODULEMANAGER_H
#define INTERFACES_IMODULEMANAGER_H

#include "interfaces/iinterface.h"

#include <string>

namespace rtk
{
class Path;
}
class UniqueModuleID;

// Creation of the modules of the core, and access to their variables by name.
// The two variable operations are declared again, alone, by IModuleTest; one implementation
// overrides both.
class IModuleManager : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIModuleManager;

    virtual bool createModule(UniqueModuleID const& id, int connPort, int connConnector,
                              rtk::Path const& base, std::string const& pdlFile,
                              std::string const& mhlFile) = 0;
    virtual void initModule(UniqueModuleID const& id) = 0;
    virtual std::string getVariableValue(UniqueModuleID const& id, std::string const& name) = 0;
    virtual void setVariableValue(UniqueModuleID const& id, std::string const& name,
                                  std::string const& value) = 0;
};

#endif
