#ifndef INTERFACES_IHWMODULEMANAGER_H
#define INTERFACES_IHWMODULEMANAGER_H

#include "interfaces/iinterface.h"

#include <string>

namespace rtk
{
class Path;
}
class IPanelMFD;

// Offered by the module driver library: the hardware side of the panel modules.
class IHwModuleManager : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIHwModuleManager;

    virtual bool parseModuleConfigOverride(rtk::Path const& file) = 0;
    // ports is handed over as the workplace configuration gives it, possibly empty.
    virtual bool setPorts(int workplaceID, std::string const& ports) = 0;
    virtual void startHardwareUpdate() = 0;
    virtual void stopHardwareUpdate() = 0;
    // Null withdraws the pointer.
    virtual void setPanelMFDInterface(IPanelMFD* pPanelMFD) = 0;
    virtual void startDiagnosis() = 0;
    virtual void stopDiagnosis() = 0;
};

#endif
