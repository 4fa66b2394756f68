#ifndef MODULEDRIVER_IHWSIMULATION_H
#define MODULEDRIVER_IHWSIMULATION_H

// An interface of the simulated driver library beyond the ones the core uses: what the host needs to
// know to wait until the simulated hardware has said everything it was asked to say. The host asks the
// driver's IHwModuleManager for this id.

#include <interfaces/iinterface.h>

class IHwSimulation : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = 2001;

    // True when no module report or control event waits in the driver and none is being delivered.
    virtual bool isIdle() = 0;
};

#endif
