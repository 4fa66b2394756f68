#ifndef INTERFACES_ICOLORMANAGER_H
#define INTERFACES_ICOLORMANAGER_H

#include "interfaces/iinterface.h"

class IPanelMFD;

// Offered by the module driver library.
class IColorManager : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIColorManager;

    virtual void setPanelMFDInterface(IPanelMFD* pPanelMFD) = 0;
};

#endif
