#ifndef PDLPANELSTATE_H
#define PDLPANELSTATE_H

// PDLPanelState: the keyed store of function values shared by PDL, the host and remote clients.
// It is made before and deleted after everything that subscribes to it.

#include "rtk/singleton.h"

#include <interfaces/iinterface.h>

class PDLPanelState : public virtual IInterface, public rtk::Singleton<PDLPanelState>
{
public:
    PDLPanelState();
    ~PDLPanelState() override;

    // Offers IPanelState and IPSPublisher once the store holds entries; until then nothing.
    IInterface* queryInterface(unsigned int id) override;
};

#endif
