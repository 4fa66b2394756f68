#ifndef HOST_HOSTSHELL_H
#define HOST_HOSTSHELL_H

// The host's own shell commands (sync, state access, moduleCreate, timing, quit) and the wait for an
// idle engine that sync and script mode rely on.

#include "rtk/cmd.h"

#include <atomic>
#include <csignal>

class IHwSimulation;
class VirtualPanel;

class HostShell
{
public:
    // Registers the commands; pPanel must have been created successfully.
    explicit HostShell(VirtualPanel* pPanel);
    ~HostShell();

    // Returns once the simulated hardware has delivered everything it was asked to report and the
    // engine is idle with nothing left over (see the definition file for why this order is exact), or
    // early once the flag given to setInterruptFlag is set (a signal asks the host to stop). While the
    // engine is held, only the hardware's reports are waited for.
    void waitIdle();
    void setInterruptFlag(volatile sig_atomic_t const* pFlag) { m_pInterrupt = pFlag; }

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
    bool shellCmdEngineHold(rtk::CmdParameters& params);
    // Gives the interpreter mutex back if engineHold took it.
    void releaseEngine();
    bool shellCmdWidgetDefaults(rtk::CmdParameters& params);

    VirtualPanel* m_pPanel;
    IHwSimulation* m_pHwSimulation;
    volatile sig_atomic_t const* m_pInterrupt;
    std::atomic<bool> m_quit;
    // The shell's thread holds the interpreter mutex (engineHold on): events only queue.
    bool m_engineHeld;
    // The engine's pass count when waitIdle last gave up on a loop that does not settle.
    unsigned long m_gaveUpAtPass;
};

#endif
