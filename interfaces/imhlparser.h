#ifndef INTERFACES_IMHLPARSER_H
#define INTERFACES_IMHLPARSER_H

#include "interfaces/iinterface.h"

#include <string>

namespace rtk
{
class Path;
}
class IPDLInterpreter;
class UniqueModuleID;

// Offered by the module driver library: reads the widget and module type files and a module's MHL file.
class IMHLParser : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIMHLParser;

    virtual bool parseWidgetTypes(rtk::Path const& file) = 0;
    virtual bool parseModuleTypes(rtk::Path const& file) = 0;
    // Announces the module's widgets through IPDLInterpreter::addWidget.
    virtual bool parseModuleMHL(UniqueModuleID const& id, rtk::Path const& base,
                                std::string const& mhlFile) = 0;
    virtual void setPDLInterpreter(IPDLInterpreter* pInterpreter) = 0;
};

#endif
