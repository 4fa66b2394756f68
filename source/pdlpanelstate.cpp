#include "pdlpanelstate.h"

PDLPanelState::PDLPanelState() {}

PDLPanelState::~PDLPanelState() {}

IInterface* PDLPanelState::queryInterface(unsigned int /*id*/)
{
    return nullptr;
}
