#ifndef MODULEDRIVERSIMULATOR_H
#define MODULEDRIVERSIMULATOR_H

// ModuleDriverSimulator: the second receiver of the feedback fan-out in simulator mode. It wraps the
// simulator link (SCProtocol), which mirrors every write to the simulator and feeds the simulator's
// events in like the hardware's, and passes the core's module and widget notices on to it.

#include "pdlphysicalwidget.h"

#include <interfaces/iinterface.h>

class IPanelEvent;
class IPanelFeedback;
class SCProtocol;

class ModuleDriverSimulator : public IInterface, public IPhysicalWidgetObserver
{
public:
    // Makes the link (receiving events into pEvents) and, when pAddress is not null, sets where the
    // simulator is ("HOST[:PORT]"; empty: the default).
    ModuleDriverSimulator(IPanelEvent* pEvents, char const* pAddress);
    // Deletes the link.
    ~ModuleDriverSimulator() override;

    // 1004: the link's IPanelFeedback; null for anything else.
    IInterface* queryInterface(unsigned int id) override;

    // The hardware feedback the link answers questions from.
    void setHwPanelFeedbackInterface(IPanelFeedback* pPanelFeedback);
    // No event from the simulator reaches the core after this returns (the core is about to go).
    void stopEvents();

    // IPhysicalWidgetObserver: module reports and new widgets go to the simulator as notices.
    void moduleStatus(UniqueModuleID const& id, std::string const& type, std::string const& version) override;
    void widgetAdded(UniqueWidgetID const& id) override;

    SCProtocol* getProtocol() const { return m_pProtocol; }

private:
    ModuleDriverSimulator(ModuleDriverSimulator const&) = delete;
    ModuleDriverSimulator& operator=(ModuleDriverSimulator const&) = delete;

    SCProtocol* m_pProtocol;
};

#endif
