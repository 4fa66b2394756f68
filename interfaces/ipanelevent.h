#ifndef INTERFACES_IPANELEVENT_H
#define INTERFACES_IPANELEVENT_H

#include "interfaces/iinterface.h"

#include <string>

class UniqueModuleID;
class UniqueWidgetID;

// Hardware entry of the core: the module driver library reports modules and control events here,
// from its own threads.
class IPanelEvent : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIPanelEvent;

    // An empty moduleType reports that the module at id has gone.
    virtual void updateModuleStatus(UniqueModuleID const& id, int connPort, int connConnector,
                                    std::string const& moduleType, std::string const& moduleVersion) = 0;
    // The same as sendEvent(id, name, 0, false).
    virtual void sendEvent(UniqueWidgetID const& id, std::string const& name) = 0;
    virtual void sendEvent(UniqueWidgetID const& id, std::string const& name, int value, bool transient) = 0;
};

#endif
