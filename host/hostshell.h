#ifndef HOST_HOSTSHELL_H
#define HOST_HOSTSHELL_H

// The host's own shell commands (sync, state access, moduleCreate, timing, quit) and the wait for an
// idle engine that sync and script mode rely on.

#include "rtk/cmd.h"

#include <atomic>

class IHwSimulation;
class VirtualPanel;

class HostShell
{
public:
    // Registers the commands; pPanel must have been created successfully.
    explicit HostShell(VirtualPanel* pPanel);
    ~HostShell();

    // Returns once the simulated hardware has delivered everything it was asked to report and the
    // engine is idle (see the definition file for why this order is exact).
    void waitIdle();

    bool isQuitRequested() const { return m_quit.load(); }

private:
    HostShell(HostShell const&) = delete;
    HostShell& operator=(HostShell const&) = delete;

    bool shellCmdSync(rtk::CmdParameters& params);
    bool shellCmdQuit(rtk::CmdParameters& params);
    bool shellCmdStateSet(rtk::CmdParameters& params);
    bool shellCmdStateGet(rtk::CmdParameters& params);
    bool shellCmdStateTrigger(rtk::CmdParameters& params);
    bool shellCmdModuleCreate(rtk::CmdParameters& params);
    bool shellCmdTiming(rtk::CmdParameters& params);

    VirtualPanel* m_pPanel;
    IHwSimulation* m_pHwSimulation;
    std::atomic<bool> m_quit;
};

#endif
