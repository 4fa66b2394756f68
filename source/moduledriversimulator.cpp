#include "moduledriversimulator.h"

#include <simlink/scprotocol.h>

ModuleDriverSimulator::ModuleDriverSimulator(IPanelEvent* pEvents, char const* pAddress)
    : m_pProtocol(new SCProtocol(pEvents, true, SCProtocol::s_panelAliveIntervalMs))
{
    if (pAddress != nullptr)
    {
        m_pProtocol->setDstIpAddress(pAddress);
    }
}

ModuleDriverSimulator::~ModuleDriverSimulator()
{
    delete m_pProtocol;
    m_pProtocol = nullptr;
}

IInterface* ModuleDriverSimulator::queryInterface(unsigned int id)
{
    if (id != IPanelFeedback::s_interfaceID)
    {
        return nullptr;
    }
    IPanelFeedback* pFeedback = getInterface<IPanelFeedback>(m_pProtocol);
    return pFeedback != nullptr ? static_cast<IInterface*>(pFeedback) : nullptr;
}

void ModuleDriverSimulator::setHwPanelFeedbackInterface(IPanelFeedback* pPanelFeedback)
{
    m_pProtocol->setHwPanelFeedbackInterface(pPanelFeedback);
}

void ModuleDriverSimulator::stopEvents()
{
    m_pProtocol->setPanelEventInterface(nullptr);
}

void ModuleDriverSimulator::moduleStatus(UniqueModuleID const& id, std::string const& type,
                                         std::string const& version)
{
    m_pProtocol->sendModuleStatus(id, type, version);
}

void ModuleDriverSimulator::widgetAdded(UniqueWidgetID const& id)
{
    m_pProtocol->sendWidgetAdded(id);
}
