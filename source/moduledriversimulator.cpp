#include "moduledriversimulator.h"

ModuleDriverSimulator::ModuleDriverSimulator(IPanelEvent* pEvents, char const* /*pAddress*/)
    : m_pEvents(pEvents), m_pHwPanelFeedback(nullptr)
{
    // The simulator link (its protocol object, with the destination address) is made here once the
    // link library is part of the build.
}

ModuleDriverSimulator::~ModuleDriverSimulator() {}

IInterface* ModuleDriverSimulator::queryInterface(unsigned int /*id*/)
{
    return nullptr;
}

void ModuleDriverSimulator::setHwPanelFeedbackInterface(IPanelFeedback* pPanelFeedback)
{
    m_pHwPanelFeedback = pPanelFeedback;
}
