#ifndef INTERFACES_IMODULETEST_H
#define INTERFACES_IMODULETEST_H

#include "interfaces/iinterface.h"

#include <string>

class UniqueModuleID;

// Variable access for test tools.
class IModuleTest : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIModuleTest;

    virtual std::string getVariableValue(UniqueModuleID const& id, std::string const& name) = 0;
    virtual void setVariableValue(UniqueModuleID const& id, std::string const& name,
                                  std::string const& value) = 0;
};

#endif
