#ifndef MODULEDRIVERSIMULATOR_H
#define MODULEDRIVERSIMULATOR_H

// ModuleDriverSimulator: the second receiver of the feedback fan-out in simulator mode, mirroring the
// panel to a simulator over the simulator link.

#include <interfaces/iinterface.h>

class IPanelEvent;
class IPanelFeedback;

class ModuleDriverSimulator : public IInterface
{
public:
    // Events coming from the simulator enter through pEvents; pAddress may be null.
    ModuleDriverSimulator(IPanelEvent* pEvents, char const* pAddress);
    ~ModuleDriverSimulator() override;

    // 1004: the simulator link's IPanelFeedback; null while the link is not available.
    IInterface* queryInterface(unsigned int id) override;

    // The hardware feedback the simulator link passes on to.
    void setHwPanelFeedbackInterface(IPanelFeedback* pPanelFeedback);
    // Where events from the simulator enter the core.
    IPanelEvent* getPanelEventInterface() const { return m_pEvents; }

private:
    ModuleDriverSimulator(ModuleDriverSimulator const&) = delete;
    ModuleDriverSimulator& operator=(ModuleDriverSimulator const&) = delete;

    IPanelEvent* m_pEvents;
    IPanelFeedback* m_pHwPanelFeedback;
};

#endif
