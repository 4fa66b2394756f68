#ifndef INTERFACES_IWIDGETMANAGER_H
#define INTERFACES_IWIDGETMANAGER_H

#include "interfaces/iinterface.h"

class IPanelEvent;
class IPanelSettings;

// Offered by the module driver library: where its controls report events to, and its settings.
class IWidgetManager : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIWidgetManager;

    virtual void setPanelEventInterface(IPanelEvent* pPanelEvent) = 0;
    virtual void setPanelSettingsInterface(IPanelSettings* pPanelSettings) = 0;
    virtual void setModeFlag(bool flag) = 0;
};

#endif
